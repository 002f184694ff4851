// How objects answer OIDs: which they take for theirs, what they find, and what they say about it.

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "support/logCapture.h"
#include "trel/trelObjects.h"
#include "trel/trelProperty.h"

namespace {

using Lines = std::vector<std::string>;

TypeProperty<unsigned int>* number(unsigned int id) {
  return new TypeProperty<unsigned int>(id, "number", IFC_CARD_VAR_READ_WRITE, 0U);
}

// ----- tables ----------------------------------------------------------------------------------------------------------

TEST(ObjectOids, TableFindsThePropertyOfColumnAndRow) {
  TrelTable table("ports", 3, false, 9);
  auto* const property = number(2);
  ASSERT_TRUE(table.addProp(property, 7));
  const LogCapture log;
  EXPECT_EQ(table.getPropFromOID(0x40C08007), property);
  EXPECT_EQ(log.brief(),
            (Lines{"7 [DEBUG3] trelObjects (getProp) - [ports] Property 2 for row 7 found",
                   "7 [DEBUG3] trelObjects (getPropFromOID) - [ports] Valid object id 0x40c08007 for table 3"}));
}

TEST(ObjectOids, CommonTableFindsItsPropertyUnderTheCommonBit) {
  TrelTable table("ports", 3, true, 9);
  auto* const property = number(2);
  ASSERT_TRUE(table.addProp(property, 7));
  EXPECT_EQ(table.getPropFromOID(0x50C08007), property);
}

TEST(ObjectOids, TableIgnoresBit29) {
  TrelTable table("ports", 3, false, 9);
  auto* const property = number(2);
  ASSERT_TRUE(table.addProp(property, 7));
  EXPECT_EQ(table.getPropFromOID(0x60C08007), property);
}

TEST(ObjectOids, TableTakesEveryFieldAtItsLimit) {
  TrelTable table("last", 63, true, 16384);
  auto* const property = number(255);
  ASSERT_TRUE(table.addProp(property, 16383));
  EXPECT_EQ(table.getPropFromOID(0x5FFFFFFF), property);
}

TEST(ObjectOids, TableDoesNotTakeWhatDiffersInKindIdOrCommonFlag) {
  TrelTable table("ports", 3, false, 9);
  ASSERT_TRUE(table.addProp(number(2), 7));
  struct Case {
    const char* rule;
    unsigned int oid;
    const char* line;
  };
  const Case cases[] = {
      {"a scalar OID", 0x00C08007,
       "7 [DEBUG3] trelObjects (getPropFromOID) - [ports] Invalid object id 0xc08007 for table 3"},
      {"kind 2", 0x80C08007,
       "7 [DEBUG3] trelObjects (getPropFromOID) - [ports] Invalid object id 0x80c08007 for table 3"},
      {"kind 3", 0xC0C08007,
       "7 [DEBUG3] trelObjects (getPropFromOID) - [ports] Invalid object id 0xc0c08007 for table 3"},
      {"another table", 0x41008007,
       "7 [DEBUG3] trelObjects (getPropFromOID) - [ports] Invalid object id 0x41008007 for table 3"},
      {"a common table", 0x50C08007,
       "7 [DEBUG3] trelObjects (getPropFromOID) - [ports] Invalid object id 0x50c08007 for table 3"},
      {"nothing", 0x00000000, "7 [DEBUG3] trelObjects (getPropFromOID) - [ports] Invalid object id 0 for table 3"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.rule);
    const LogCapture log;
    EXPECT_EQ(table.getPropFromOID(c.oid), nullptr);
    EXPECT_EQ(log.brief(), Lines{c.line});
  }
}

TEST(ObjectOids, CommonTableDoesNotTakeAnOidWithoutTheCommonBit) {
  TrelTable table("ports", 3, true, 9);
  ASSERT_TRUE(table.addProp(number(2), 7));
  EXPECT_EQ(table.getPropFromOID(0x40C08007), nullptr);
}

TEST(ObjectOids, TableTellsOfAColumnThatWasNeverAddedAndThenInvalid) {
  TrelTable table("ports", 3, false, 9);
  ASSERT_TRUE(table.addProp(number(2), 7));
  const LogCapture log;
  EXPECT_EQ(table.getPropFromOID(0x40C0C007), nullptr);
  EXPECT_EQ(log.brief(),
            (Lines{"3 [ERROR] trelObjects (getProp) - [ports] Could not find property 3 for row 7",
                   "7 [DEBUG3] trelObjects (getPropFromOID) - [ports] Invalid object id 0x40c0c007 for table 3"}));
}

TEST(ObjectOids, TableTellsOfARowThatItDoesNotHaveAndThenInvalid) {
  TrelTable table("ports", 3, false, 7);
  ASSERT_TRUE(table.addProp(number(2), 6));
  const LogCapture log;
  EXPECT_EQ(table.getPropFromOID(0x40C08007), nullptr);
  EXPECT_EQ(log.brief(),
            (Lines{"3 [ERROR] trelObjects (getProp) - [ports] Could not find property 2 for row 7",
                   "7 [DEBUG3] trelObjects (getPropFromOID) - [ports] Invalid object id 0x40c08007 for table 3"}));
}

TEST(ObjectOids, TableWhoseTypeIsNotATableAnswersNothing) {
  TrelTable table("ports", 3, false, 9);
  ASSERT_TRUE(table.addProp(number(2), 7));
  for (const unsigned int type : {0U, 2U, 0xFFFFFFFFU}) {
    SCOPED_TRACE(type);
    table.objectType = static_cast<ifcCard::IfcCardObjectType>(type);
    const LogCapture log;
    EXPECT_EQ(table.getPropFromOID(0x40C08007), nullptr);
    EXPECT_EQ(table.getPropFromOID(0x00C08007), nullptr);
    EXPECT_EQ(log.brief(),
              (Lines{"7 [DEBUG3] trelObjects (getPropFromOID) - [ports] Invalid object id 0x40c08007 for table 3",
                     "7 [DEBUG3] trelObjects (getPropFromOID) - [ports] Invalid object id 0xc08007 for table 3"}));
  }
}

TEST(ObjectOids, TableWithAnIdAboveItsFieldAnswersNotEvenItsOwnOids) {
  TrelTable table("beyond", 64, false, 1);
  ASSERT_TRUE(table.addProp(number(2), 0));
  EXPECT_EQ(table.getOID(2, 0), 0x50008000U);
  EXPECT_EQ(table.getPropFromOID(0x50008000), nullptr);
}

TEST(ObjectOids, TableDoesNotFindAColumnAboveItsField) {
  TrelTable table("zero", 0, false, 1);
  ASSERT_TRUE(table.addProp(number(256), 0));
  EXPECT_EQ(table.getOID(256, 0), 0x40400000U);
  EXPECT_EQ(table.getPropFromOID(0x40400000), nullptr);
}

// ----- scalars ---------------------------------------------------------------------------------------------------------

TEST(ObjectOids, ScalarFindsThePropertyOfTheVariable) {
  TrelScalar scalar("inventory", 1, true);
  auto* const property = number(5);
  ASSERT_TRUE(scalar.addProp(property, 0));
  const LogCapture log;
  EXPECT_EQ(scalar.getPropFromOID(0x10800005), property);
  EXPECT_EQ(log.brief(),
            (Lines{"7 [DEBUG3] trelObjects (getProp) - [inventory] Property 5 for row 0 found",
                   "7 [DEBUG3] trelObjects (getPropFromOID) - [inventory] Valid object id 0x10800005 for scalar 1"}));
}

TEST(ObjectOids, ScalarIgnoresBit29) {
  TrelScalar scalar("inventory", 1, true);
  auto* const property = number(5);
  ASSERT_TRUE(scalar.addProp(property, 0));
  EXPECT_EQ(scalar.getPropFromOID(0x30800005), property);
}

TEST(ObjectOids, ScalarTakesEveryFieldAtItsLimit) {
  TrelScalar scalar("last", 31, false);
  auto* const property = number(8388607);
  ASSERT_TRUE(scalar.addProp(property, 0));
  EXPECT_EQ(scalar.getPropFromOID(0x0FFFFFFF), property);
}

TEST(ObjectOids, ScalarOfGroupZeroFindsVariableZeroUnderOidZero) {
  TrelScalar scalar("first", 0, false);
  auto* const property = number(0);
  ASSERT_TRUE(scalar.addProp(property, 0));
  const LogCapture log;
  EXPECT_EQ(scalar.getPropFromOID(0x00000000), property);
  EXPECT_EQ(log.brief(), (Lines{"7 [DEBUG3] trelObjects (getProp) - [first] Property 0 for row 0 found",
                                "7 [DEBUG3] trelObjects (getPropFromOID) - [first] Valid object id 0 for scalar 0"}));
}

TEST(ObjectOids, ScalarGivenATableOidAnswersNullAndInvalid) {
  TrelScalar scalar("inventory", 1, false);
  ASSERT_TRUE(scalar.addProp(number(5), 0));
  const LogCapture log;
  EXPECT_EQ(scalar.getPropFromOID(0x40800005), nullptr);
  EXPECT_EQ(log.brief(),
            Lines{"7 [DEBUG3] trelObjects (getPropFromOID) - [inventory] Invalid object id 0x40800005 for scalar 1"});
}

TEST(ObjectOids, ScalarGivenItsOidOfAnIdNeverAddedTellsSoAndThenInvalid) {
  TrelScalar scalar("inventory", 1, false);
  ASSERT_TRUE(scalar.addProp(number(5), 0));
  const LogCapture log;
  EXPECT_EQ(scalar.getPropFromOID(0x00800006), nullptr);
  EXPECT_EQ(log.brief(),
            (Lines{"3 [ERROR] trelObjects (getProp) - [inventory] Could not find property 6 for row 0",
                   "7 [DEBUG3] trelObjects (getPropFromOID) - [inventory] Invalid object id 0x800006 for scalar 1"}));
}

TEST(ObjectOids, ScalarDoesNotTakeWhatDiffersInKindGroupOrCommonFlag) {
  TrelScalar scalar("inventory", 1, false);
  ASSERT_TRUE(scalar.addProp(number(5), 0));
  struct Case {
    const char* rule;
    unsigned int oid;
  };
  const Case cases[] = {
      {"kind 2", 0x80800005}, {"kind 3", 0xC0800005}, {"another group", 0x01000005}, {"a common group", 0x10800005}};
  for (const Case& c : cases) {
    SCOPED_TRACE(c.rule);
    const LogCapture log;
    EXPECT_EQ(scalar.getPropFromOID(c.oid), nullptr);
    EXPECT_EQ(log.brief().size(), 1U);
    EXPECT_EQ(log.count("Invalid object id"), 1U);
  }
}

TEST(ObjectOids, CommonScalarsOfGroupsZeroToThreeAnswer) {
  const unsigned int oids[] = {0x10000005, 0x10800005, 0x11000005, 0x11800005};
  for (unsigned int group = 0; group < 4; ++group) {
    SCOPED_TRACE(group);
    TrelScalar scalar("common", group, true);
    auto* const property = number(5);
    ASSERT_TRUE(scalar.addProp(property, 0));
    EXPECT_EQ(scalar.getPropFromOID(oids[group]), property);
  }
}

TEST(ObjectOids, CommonScalarOfGroupFourOrMoreAnswersNotEvenItsOwnOids) {
  const struct {
    unsigned int group;
    unsigned int oid;
  } cases[] = {{4, 0x12000005}, {31, 0x1F800005}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.group);
    TrelScalar scalar("common", c.group, true);
    ASSERT_TRUE(scalar.addProp(number(5), 0));
    EXPECT_EQ(scalar.getOID(5, 0), c.oid);
    const LogCapture log;
    EXPECT_EQ(scalar.getPropFromOID(c.oid), nullptr);
    EXPECT_EQ(log.brief(3), Lines{});
    EXPECT_EQ(log.count("Invalid object id"), 1U);
  }
}

TEST(ObjectOids, ScalarOfGroupFourThatIsNotCommonAnswers) {
  TrelScalar scalar("four", 4, false);
  auto* const property = number(5);
  ASSERT_TRUE(scalar.addProp(property, 0));
  EXPECT_EQ(scalar.getPropFromOID(0x02000005), property);
}

TEST(ObjectOids, ScalarWhoseTypeIsNotAScalarAnswersNothing) {
  TrelScalar scalar("inventory", 1, false);
  ASSERT_TRUE(scalar.addProp(number(5), 0));
  for (const unsigned int type : {1U, 2U, 0xFFFFFFFFU}) {
    SCOPED_TRACE(type);
    scalar.objectType = static_cast<ifcCard::IfcCardObjectType>(type);
    const LogCapture log;
    EXPECT_EQ(scalar.getPropFromOID(0x00800005), nullptr);
    EXPECT_EQ(scalar.getPropFromOID(0x40800005), nullptr);
    EXPECT_EQ(
        log.brief(),
        (Lines{"7 [DEBUG3] trelObjects (getPropFromOID) - [inventory] Invalid object id 0x800005 for scalar 1",
               "7 [DEBUG3] trelObjects (getPropFromOID) - [inventory] Invalid object id 0x40800005 for scalar 1"}));
  }
}

TEST(ObjectOids, ScalarWithAGroupAboveItsFieldAnswersNotEvenItsOwnOids) {
  TrelScalar scalar("beyond", 32, false);
  ASSERT_TRUE(scalar.addProp(number(5), 0));
  EXPECT_EQ(scalar.getOID(5, 0), 0x10000005U);
  EXPECT_EQ(scalar.getPropFromOID(0x10000005), nullptr);
}

// ----- both ------------------------------------------------------------------------------------------------------------

TEST(ObjectOids, LinesOfALookUpAreWrittenAboveLevelEightOnly) {
  TrelScalar scalar("inventory", 1, false);
  TrelTable table("ports", 3, false, 9);
  ASSERT_TRUE(scalar.addProp(number(5), 0));
  ASSERT_TRUE(table.addProp(number(2), 7));
  LogCapture log(8);
  scalar.getPropFromOID(0x00800005);
  scalar.getPropFromOID(0x40800005);
  table.getPropFromOID(0x40C08007);
  table.getPropFromOID(0x00C08007);
  EXPECT_EQ(log.brief(), Lines{});
  log.setLevel(9);
  scalar.getPropFromOID(0x40800005);
  table.getPropFromOID(0x00C08007);
  EXPECT_EQ(log.brief().size(), 2U);
}

TEST(ObjectOids, IdOfTheObjectIsPrintedAsASignedNumber) {
  TrelScalar scalar("odd", 0xFFFFFFFF, false);
  const LogCapture log;
  scalar.getPropFromOID(0x40000000);
  EXPECT_EQ(log.brief(),
            Lines{"7 [DEBUG3] trelObjects (getPropFromOID) - [odd] Invalid object id 0x40000000 for scalar -1"});
}

TEST(ObjectOids, OidIsValidForAnObjectWhenItNamesOneOfItsProperties) {
  TrelScalar scalar("inventory", 1, false);
  TrelTable table("ports", 3, false, 9);
  ASSERT_TRUE(scalar.addProp(number(5), 0));
  ASSERT_TRUE(table.addProp(number(2), 7));
  EXPECT_TRUE(scalar.isValidObjectId(0x00800005));
  EXPECT_TRUE(table.isValidObjectId(0x40C08007));
  EXPECT_FALSE(scalar.isValidObjectId(0x40C08007));
  EXPECT_FALSE(table.isValidObjectId(0x00800005));
}

TEST(ObjectOids, MatchingOidThatNamesNoPropertyIsNotValid) {
  TrelScalar scalar("inventory", 1, false);
  ASSERT_TRUE(scalar.addProp(number(5), 0));
  const LogCapture log;
  EXPECT_FALSE(scalar.isValidObjectId(0x00800006));
  EXPECT_EQ(log.brief(3), Lines{"3 [ERROR] trelObjects (getProp) - [inventory] Could not find property 6 for row 0"});
}

TEST(ObjectOids, ValidityIsAskedOfTheObjectsOwnLookUp) {
  class Answers : public TrelScalar {
   public:
    Answers() : TrelScalar("answers", 1, false) {}
    TrelProperty* getPropFromOID(unsigned int oid) override {
      asked = oid;
      return oid == 42 ? &property : nullptr;
    }
    unsigned int asked = 0;
    TypeProperty<int> property{1, "hidden", IFC_CARD_VAR_READ_WRITE, 0};
  } object;
  EXPECT_TRUE(object.isValidObjectId(42));
  EXPECT_FALSE(object.isValidObjectId(43));
  EXPECT_EQ(object.asked, 43U);
}

}  // namespace
