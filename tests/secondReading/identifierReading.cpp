// Object identifiers: splitting, text, composing and matching.

#include <gtest/gtest.h>

#include <cstddef>
#include <string>
#include <vector>

#include "support/logCapture.h"
#include "trel/trelObjectId.h"
#include "trel/trelObjects.h"
#include "trel/trelProperty.h"

namespace {

using Lines = std::vector<std::string>;

struct Split {
  unsigned int oid;
  bool common;
  bool isTable;
  bool isScalar;
  unsigned int id;
  unsigned int subId;
  unsigned int row;
  unsigned int result;
  const char* text;
};

void expectSplit(const Split& expected) {
  SCOPED_TRACE(expected.oid);
  const TrelObjectId decoded(expected.oid);
  EXPECT_EQ(decoded.common, expected.common);
  EXPECT_EQ(decoded.isTable, expected.isTable);
  EXPECT_EQ(decoded.isScalar, expected.isScalar);
  EXPECT_EQ(decoded.id, expected.id);
  EXPECT_EQ(decoded.subId, expected.subId);
  EXPECT_EQ(decoded.row, expected.row);
  EXPECT_EQ(decoded.result, expected.result);
  EXPECT_EQ(decoded.str(), expected.text);
}

TypeProperty<unsigned int>* number(unsigned int id) {
  return new TypeProperty<unsigned int>(id, "number", IFC_CARD_VAR_READ_WRITE, 0U);
}

// Answers one OID of its own making.
class SelfAnsweringScalar : public TrelScalar {
 public:
  SelfAnsweringScalar() : TrelScalar("own", 1, false) {}
  TrelProperty* getPropFromOID(unsigned int oid) override { return oid == 0xFFFFFFFFU ? &property : nullptr; }
  TypeProperty<unsigned int> property{1, "own", IFC_CARD_VAR_READ_WRITE, 0U};
};

}  // namespace

TEST(ReadingIdentifier, ScalarOidsSplitIntoGroupAndVariableWithoutALine) {
  LogCapture log;
  const Split cases[] = {
      {0x00000000, false, false, true, 0, 0, 0, 0, "scalar object: common = 0, group id = 0, variable id = 0"},
      {0x10800005, true, false, true, 1, 5, 0, 0, "scalar object: common = 1, group id = 1, variable id = 5"},
      {0x11FFFFFF, true, false, true, 3, 0x7FFFFF, 0, 0,
       "scalar object: common = 1, group id = 3, variable id = 8388607"},
      {0x02000005, false, false, true, 4, 5, 0, 0, "scalar object: common = 0, group id = 4, variable id = 5"},
      {0x0FFFFFFF, false, false, true, 31, 0x7FFFFF, 0, 0,
       "scalar object: common = 0, group id = 31, variable id = 8388607"},
      {0x2F800001, false, false, true, 31, 1, 0, 0, "scalar object: common = 0, group id = 31, variable id = 1"},
      {0x30800005, true, false, true, 1, 5, 0, 0, "scalar object: common = 1, group id = 1, variable id = 5"},
      {0x00400000, false, false, true, 0, 0x400000, 0, 0,
       "scalar object: common = 0, group id = 0, variable id = 4194304"},
  };
  for (const Split& one : cases)
    expectSplit(one);
  EXPECT_EQ(log.brief(), Lines{});
}

TEST(ReadingIdentifier, TableOidsSplitIntoTableColumnAndRowAndAreNeverRefused) {
  LogCapture log;
  const Split cases[] = {
      {0x40000000, false, true, false, 0, 0, 0, 0, "table object: common = 0, table id = 0, column = 0, row = 0"},
      {0x4C408007, false, true, false, 49, 2, 7, 0, "table object: common = 0, table id = 49, column = 2, row = 7"},
      {0x50C08007, true, true, false, 3, 2, 7, 0, "table object: common = 1, table id = 3, column = 2, row = 7"},
      {0x7FFFFFFF, true, true, false, 63, 255, 16383, 0,
       "table object: common = 1, table id = 63, column = 255, row = 16383"},
      {0x60C08007, false, true, false, 3, 2, 7, 0, "table object: common = 0, table id = 3, column = 2, row = 7"},
      {0x40003FFF, false, true, false, 0, 0, 16383, 0,
       "table object: common = 0, table id = 0, column = 0, row = 16383"},
      {0x40004000, false, true, false, 0, 1, 0, 0, "table object: common = 0, table id = 0, column = 1, row = 0"},
      {0x403FC000, false, true, false, 0, 255, 0, 0, "table object: common = 0, table id = 0, column = 255, row = 0"},
      {0x40400000, false, true, false, 1, 0, 0, 0, "table object: common = 0, table id = 1, column = 0, row = 0"},
  };
  for (const Split& one : cases)
    expectSplit(one);
  EXPECT_EQ(log.brief(), Lines{});
}

TEST(ReadingIdentifier, CommonScalarOfGroupFourToThirtyOneKeepsGroupAndFlagOnly) {
  for (unsigned int group = 4; group < 32; ++group) {
    LogCapture log;
    expectSplit({0x10000005U | (group << 23), true, false, false, group, 0xFFFFFFFF, 0, 7, "invalid object"});
    ASSERT_EQ(log.lines().size(), 1U);
  }
  LogCapture log(3);
  expectSplit({0x12000005, true, false, false, 4, 0xFFFFFFFF, 0, 7, "invalid object"});
  EXPECT_EQ(log.brief(), Lines{"3 [ERROR] trelObjectId (TrelObjectId) - Failed to decode scalar oid 0x12000005"});
  ASSERT_EQ(log.lines().size(), 1U);
  EXPECT_EQ(log.lines()[0].format, "[ERROR] %s:%d (%s) - Failed to decode scalar oid %#x");
  log.clear();
  expectSplit({0x3F8ABCDE, true, false, false, 31, 0xFFFFFFFF, 0, 7, "invalid object"});
  EXPECT_EQ(log.brief(), Lines{"3 [ERROR] trelObjectId (TrelObjectId) - Failed to decode scalar oid 0x3f8abcde"});
  log.clear();
  log.setLevel(2);
  expectSplit({0x12000005, true, false, false, 4, 0xFFFFFFFF, 0, 7, "invalid object"});
  EXPECT_EQ(log.brief(), Lines{});
}

TEST(ReadingIdentifier, KindTwoAndThreeKeepEveryStartValue) {
  LogCapture log(3);
  const unsigned int oids[] = {0x80000000, 0xC0000000, 0x9FFFFFFF, 0xFFFFFFFF};
  for (const unsigned int oid : oids) {
    expectSplit({oid, false, false, false, 0xFFFFFFFF, 0xFFFFFFFF, 0, 7, "invalid object"});
  }
  EXPECT_EQ(log.brief(), (Lines{"3 [ERROR] trelObjectId (TrelObjectId) - Invalid oid 0x80000000",
                                "3 [ERROR] trelObjectId (TrelObjectId) - Invalid oid 0xc0000000",
                                "3 [ERROR] trelObjectId (TrelObjectId) - Invalid oid 0x9fffffff",
                                "3 [ERROR] trelObjectId (TrelObjectId) - Invalid oid 0xffffffff"}));
  ASSERT_FALSE(log.lines().empty());
  EXPECT_EQ(log.lines()[0].format, "[ERROR] %s:%d (%s) - Invalid oid %#x");
  EXPECT_EQ(log.lines()[0].file, "components/trel/trelObjectId.cpp");
}

TEST(ReadingIdentifier, TableOidIsComposedWithoutMasks) {
  TrelTable plain("t", 3, false, 1);
  TrelTable common("t", 3, true, 1);
  TrelTable first("t", 0, false, 1);
  TrelTable last("t", 63, true, 1);
  TrelTable beyond("t", 64, false, 1);
  TrelTable farBeyond("t", 512, false, 1);
  EXPECT_EQ(plain.getOID(2, 7), 0x40C08007U);
  EXPECT_EQ(common.getOID(2, 7), 0x50C08007U);
  EXPECT_EQ(first.getOID(256, 0), 0x40400000U);
  EXPECT_EQ(first.getOID(0, 16384), 0x40004000U);
  EXPECT_EQ(first.getOID(0, 0x80000000U), 0xC0000000U);
  EXPECT_EQ(first.getOID(0xFFFFFFFFU, 0), 0xFFFFC000U);
  EXPECT_EQ(last.getOID(255, 16383), 0x5FFFFFFFU);
  EXPECT_EQ(beyond.getOID(0, 0), 0x50000000U);
  EXPECT_EQ(farBeyond.getOID(0, 0), 0xC0000000U);
}

TEST(ReadingIdentifier, ScalarOidIsComposedWithoutMasksAndWithoutTheRow) {
  TrelScalar common("s", 1, true);
  TrelScalar plain("s", 31, false);
  TrelScalar beyond("s", 32, false);
  TrelScalar tableBit("s", 128, false);
  EXPECT_EQ(common.getOID(5, 9), 0x10800005U);
  EXPECT_EQ(common.getOID(5, 0xFFFFFFFFU), 0x10800005U);
  EXPECT_EQ(plain.getOID(0x7FFFFF, 0), 0x0FFFFFFFU);
  EXPECT_EQ(plain.getOID(0x10000001U, 0), 0x1F800001U);
  EXPECT_EQ(beyond.getOID(0, 0), 0x10000000U);
  EXPECT_EQ(tableBit.getOID(0, 0), 0x40000000U);
}

TEST(ReadingIdentifier, ObjectAcceptsKindIdAndCommonFlagOfItsOwnOnly) {
  TrelTable table("t", 3, false, 8);
  ASSERT_TRUE(table.addProp(number(2), 7));
  TrelTable commonTable("t", 3, true, 8);
  ASSERT_TRUE(commonTable.addProp(number(2), 7));
  TrelScalar scalar("s", 4, false);
  ASSERT_TRUE(scalar.addProp(number(5), 0));
  TrelScalar commonScalar("s", 3, true);
  ASSERT_TRUE(commonScalar.addProp(number(5), 0));
  TrelScalar unreachable("s", 4, true);
  ASSERT_TRUE(unreachable.addProp(number(5), 0));
  struct Case {
    TrelObject* object;
    unsigned int oid;
    bool accepted;
  };
  const Case cases[] = {
      {&table, 0x40C08007, true},        {&table, 0x60C08007, true},        {&table, 0x50C08007, false},
      {&table, 0x41008007, false},       {&table, 0x40C0C007, false},       {&table, 0x40C08006, false},
      {&table, 0x00C08007, false},       {&table, 0x80C08007, false},       {&table, 0xC0C08007, false},
      {&commonTable, 0x50C08007, true},  {&commonTable, 0x70C08007, true},  {&commonTable, 0x40C08007, false},
      {&scalar, 0x02000005, true},       {&scalar, 0x22000005, true},       {&scalar, 0x12000005, false},
      {&scalar, 0x02000004, false},      {&scalar, 0x01800005, false},      {&scalar, 0x42000005, false},
      {&scalar, 0x82000005, false},      {&scalar, 0xC2000005, false},      {&scalar, 0x02400005, false},
      {&commonScalar, 0x11800005, true}, {&commonScalar, 0x31800005, true}, {&commonScalar, 0x01800005, false},
      {&unreachable, 0x12000005, false}, {&unreachable, 0x02000005, false},
  };
  for (const Case& one : cases) {
    SCOPED_TRACE(one.oid);
    EXPECT_EQ(one.object->getPropFromOID(one.oid) != nullptr, one.accepted);
    EXPECT_EQ(one.object->isValidObjectId(one.oid), one.accepted);
  }
}

TEST(ReadingIdentifier, ObjectWhoseTypeIsNotItsClasssAnswersNothing) {
  TrelTable table("t", 3, false, 8);
  ASSERT_TRUE(table.addProp(number(2), 7));
  TrelScalar scalar("s", 4, false);
  ASSERT_TRUE(scalar.addProp(number(5), 0));
  const unsigned int wrong[] = {2, 0xFFFFFFFF};
  for (const unsigned int type : wrong) {
    table.objectType = static_cast<ifcCard::IfcCardObjectType>(type);
    scalar.objectType = static_cast<ifcCard::IfcCardObjectType>(type);
    EXPECT_EQ(table.getPropFromOID(0x40C08007), nullptr);
    EXPECT_EQ(scalar.getPropFromOID(0x02000005), nullptr);
  }
  table.objectType = ifcCard::SCALAR;
  scalar.objectType = ifcCard::TABLE;
  EXPECT_EQ(table.getPropFromOID(0x40C08007), nullptr);
  EXPECT_EQ(scalar.getPropFromOID(0x02000005), nullptr);
  EXPECT_FALSE(table.isValidObjectId(0x40C08007));
  EXPECT_FALSE(scalar.isValidObjectId(0x02000005));
  table.objectType = ifcCard::TABLE;
  scalar.objectType = ifcCard::SCALAR;
  EXPECT_TRUE(table.isValidObjectId(0x40C08007));
  EXPECT_TRUE(scalar.isValidObjectId(0x02000005));
}

TEST(ReadingIdentifier, ValidityOfAnOidAsksTheObjectsOwnLookUp) {
  SelfAnsweringScalar object;
  TrelObject& base = object;
  EXPECT_TRUE(base.isValidObjectId(0xFFFFFFFFU));
  EXPECT_FALSE(base.isValidObjectId(0x00800001U));
}

TEST(ReadingIdentifier, RecordHasItsFieldsInOrderAndNothingElse) {
  EXPECT_EQ(offsetof(TrelObjectId, common), 0U);
  EXPECT_EQ(offsetof(TrelObjectId, isTable), 1U);
  EXPECT_EQ(offsetof(TrelObjectId, isScalar), 2U);
  EXPECT_EQ(offsetof(TrelObjectId, id), 4U);
  EXPECT_EQ(offsetof(TrelObjectId, subId), 8U);
  EXPECT_EQ(offsetof(TrelObjectId, row), 12U);
  EXPECT_EQ(offsetof(TrelObjectId, result), 16U);
  EXPECT_EQ(sizeof(TrelObjectId), 20U);
}
