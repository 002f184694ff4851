// How objects compose the OIDs of their properties, and which OIDs they answer.

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "support/logCapture.h"
#include "trel/trelObjects.h"
#include "trel/trelProperty.h"

using Lines = std::vector<std::string>;

namespace {

using Number = TypeProperty<unsigned int>;

// The object owns the property that is returned.
Number* addNumber(TrelObject& object, unsigned int id, unsigned int row) {
  auto* property = new Number(id, "number", IFC_CARD_VAR_READ_WRITE, 0);
  EXPECT_TRUE(object.addProp(property, row));
  return property;
}

}  // namespace

TEST(TableOid, ComposesRowColumnTableAndKind) {
  TrelTable table("table", 3, false, 1);
  EXPECT_EQ(table.getOID(2, 7), 0x40C08007U);
}

TEST(TableOid, CarriesTheCommonFlagOfItsTable) {
  TrelTable table("table", 3, true, 1);
  EXPECT_EQ(table.getOID(2, 7), 0x50C08007U);
}

TEST(TableOid, ReachesTheLastRowColumnAndTable) {
  TrelTable table("table", 63, false, 1);
  EXPECT_EQ(table.getOID(255, 16383), 0x4FFFFFFFU);
  TrelTable first("table", 0, false, 1);
  EXPECT_EQ(first.getOID(0, 0), 0x40000000U);
}

TEST(TableOid, IsComposedWithoutAskingTheRowCount) {
  LogCapture log;
  TrelTable table("table", 0, false, 0);
  EXPECT_EQ(table.getOID(1, 9), 0x40004009U);
  EXPECT_EQ(log.brief(), Lines{});
}

TEST(ScalarOid, IgnoresTheRow) {
  TrelScalar scalar("scalar", 1, true);
  EXPECT_EQ(scalar.getOID(5, 9), 0x10800005U);
  EXPECT_EQ(scalar.getOID(5, 0), 0x10800005U);
  EXPECT_EQ(scalar.getOID(5, 0xFFFFFFFFU), 0x10800005U);
}

TEST(ScalarOid, HasKindZeroAndNoFlagWithoutCommon) {
  TrelScalar scalar("scalar", 1, false);
  EXPECT_EQ(scalar.getOID(5, 0), 0x00800005U);
  TrelScalar first("scalar", 0, false);
  EXPECT_EQ(first.getOID(0, 0), 0x00000000U);
}

TEST(ScalarOid, ReachesTheLastGroupAndVariable) {
  TrelScalar scalar("scalar", 31, false);
  EXPECT_EQ(scalar.getOID(8388607, 0), 0x0FFFFFFFU);
}

TEST(ScalarOid, IsComposedForACommonGroupThatNobodyCanAddress) {
  LogCapture log;
  TrelScalar scalar("scalar", 4, true);
  EXPECT_EQ(scalar.getOID(5, 0), 0x12000005U);
  EXPECT_EQ(log.brief(), Lines{});
}

TEST(OidEncoders, NeverSetBit29) {
  TrelTable table("table", 63, true, 1);
  EXPECT_EQ(table.getOID(255, 16383), 0x5FFFFFFFU);
  TrelScalar scalar("scalar", 3, true);
  EXPECT_EQ(scalar.getOID(8388607, 0), 0x11FFFFFFU);
}

TEST(OidEncoders, AColumnAbove255RunsIntoTheTableId) {
  LogCapture log;
  TrelTable table("table", 0, false, 1);
  EXPECT_EQ(table.getOID(256, 0), 0x40400000U);  // column 0 of table 1
  EXPECT_EQ(log.brief(), Lines{});
}

TEST(OidEncoders, ARowAbove16383RunsIntoTheColumn) {
  LogCapture log;
  TrelTable table("table", 0, false, 1);
  EXPECT_EQ(table.getOID(0, 16384), 0x40004000U);   // row 0 of column 1
  EXPECT_EQ(table.getOID(1, 0x4001), 0x40004001U);  // or-ed, not added: the column's bit is there already
  EXPECT_EQ(log.brief(), Lines{});
}

TEST(OidEncoders, AVariableAbove8388607RunsIntoTheGroup) {
  LogCapture log;
  TrelScalar scalar("scalar", 0, false);
  EXPECT_EQ(scalar.getOID(8388608, 0), 0x00800000U);  // variable 0 of group 1
  EXPECT_EQ(scalar.getOID(0xFFFFFFFFU, 0), 0xFFFFFFFFU);
  EXPECT_EQ(log.brief(), Lines{});
}

TEST(OidEncoders, ATableIdAbove63RunsIntoTheFlagAndKindBits) {
  LogCapture log;
  TrelTable intoCommon("table", 64, false, 1);
  EXPECT_EQ(intoCommon.getOID(2, 7), 0x50008007U);  // common table 0
  TrelTable intoKind("table", 512, false, 1);
  EXPECT_EQ(intoKind.getOID(2, 7), 0xC0008007U);  // kind 3
  EXPECT_EQ(log.brief(), Lines{});
}

TEST(OidEncoders, AGroupIdAbove31RunsIntoTheFlagAndKindBits) {
  LogCapture log;
  TrelScalar intoCommon("scalar", 32, false);
  EXPECT_EQ(intoCommon.getOID(5, 0), 0x10000005U);  // common group 0
  TrelScalar intoKind("scalar", 128, false);
  EXPECT_EQ(intoKind.getOID(5, 0), 0x40000005U);  // a table
  EXPECT_EQ(log.brief(), Lines{});
}

TEST(OidEncoders, AreReachedThroughTheObjectsCommonBase) {
  TrelTable table("table", 3, true, 1);
  TrelScalar scalar("scalar", 1, true);
  TrelObject& tableAsObject = table;
  TrelObject& scalarAsObject = scalar;
  EXPECT_EQ(tableAsObject.getOID(2, 7), 0x50C08007U);
  EXPECT_EQ(scalarAsObject.getOID(5, 9), 0x10800005U);
}

TEST(OidMatchingOfATable, NeedsKindTableIdAndFlag) {
  TrelTable table("table", 3, false, 8);
  Number* property = addNumber(table, 2, 7);
  EXPECT_EQ(table.getPropFromOID(0x40C08007U), property);
  EXPECT_EQ(table.getPropFromOID(0x00C08007U), nullptr);  // kind 0
  EXPECT_EQ(table.getPropFromOID(0x80C08007U), nullptr);  // kind 2
  EXPECT_EQ(table.getPropFromOID(0xC0C08007U), nullptr);  // kind 3
  EXPECT_EQ(table.getPropFromOID(0x40808007U), nullptr);  // table 2
  EXPECT_EQ(table.getPropFromOID(0x48C08007U), nullptr);  // table 35
  EXPECT_EQ(table.getPropFromOID(0x50C08007U), nullptr);  // the common table 3
}

TEST(OidMatchingOfATable, LooksUpTheColumnInTheRow) {
  TrelTable table("table", 3, false, 8);
  Number* second = addNumber(table, 2, 7);
  Number* other = addNumber(table, 2, 6);
  EXPECT_EQ(table.getPropFromOID(0x40C08007U), second);
  EXPECT_EQ(table.getPropFromOID(0x40C08006U), other);
  EXPECT_EQ(table.getPropFromOID(0x40C08008U), nullptr);  // row 8 of 0 to 7
  EXPECT_EQ(table.getPropFromOID(0x40C04007U), nullptr);  // column 1
}

TEST(OidMatchingOfATable, WantsTheFlagOfACommonTable) {
  TrelTable table("table", 3, true, 8);
  Number* property = addNumber(table, 2, 7);
  EXPECT_EQ(table.getPropFromOID(0x50C08007U), property);
  EXPECT_EQ(table.getPropFromOID(0x40C08007U), nullptr);
}

TEST(OidMatchingOfATable, TakesAnyIdWithTheCommonFlag) {
  TrelTable table("table", 63, true, 1);
  Number* property = addNumber(table, 255, 0);
  EXPECT_EQ(table.getPropFromOID(0x5FFFC000U), property);
}

TEST(OidMatchingOfATable, IgnoresBit29) {
  TrelTable table("table", 3, false, 8);
  Number* property = addNumber(table, 2, 7);
  EXPECT_EQ(table.getPropFromOID(0x60C08007U), property);
}

TEST(OidMatchingOfATable, RefusesEveryOidWhenTheObjectIsNotOfTypeTable) {
  TrelTable table("table", 3, false, 8);
  addNumber(table, 2, 7);
  EXPECT_TRUE(table.isValidObjectId(0x40C08007U));
  table.objectType = ifcCard::SCALAR;
  EXPECT_FALSE(table.isValidObjectId(0x40C08007U));
  EXPECT_FALSE(table.isValidObjectId(0x01808007U));
  table.objectType = static_cast<ifcCard::IfcCardObjectType>(2);
  EXPECT_FALSE(table.isValidObjectId(0x40C08007U));
}

TEST(OidMatchingOfAScalar, NeedsKindGroupAndFlag) {
  TrelScalar scalar("scalar", 1, true);
  Number* property = addNumber(scalar, 5, 0);
  EXPECT_EQ(scalar.getPropFromOID(0x10800005U), property);
  EXPECT_EQ(scalar.getPropFromOID(0x50800005U), nullptr);  // kind 1
  EXPECT_EQ(scalar.getPropFromOID(0x90800005U), nullptr);  // kind 2
  EXPECT_EQ(scalar.getPropFromOID(0xD0800005U), nullptr);  // kind 3
  EXPECT_EQ(scalar.getPropFromOID(0x10000005U), nullptr);  // group 0
  EXPECT_EQ(scalar.getPropFromOID(0x11800005U), nullptr);  // group 3
  EXPECT_EQ(scalar.getPropFromOID(0x00800005U), nullptr);  // without the flag
}

TEST(OidMatchingOfAScalar, LooksUpTheVariable) {
  TrelScalar scalar("scalar", 1, true);
  Number* last = addNumber(scalar, 8388607, 0);
  EXPECT_EQ(scalar.getPropFromOID(0x10FFFFFFU), last);
  EXPECT_EQ(scalar.getPropFromOID(0x10800005U), nullptr);
}

TEST(OidMatchingOfAScalar, AnswersAnyGroupWithoutTheCommonFlag) {
  TrelScalar scalar("scalar", 4, false);
  Number* property = addNumber(scalar, 5, 0);
  EXPECT_EQ(scalar.getPropFromOID(0x02000005U), property);
  EXPECT_EQ(scalar.getPropFromOID(0x12000005U), nullptr);
  TrelScalar last("scalar", 31, false);
  Number* lastProperty = addNumber(last, 5, 0);
  EXPECT_EQ(last.getPropFromOID(0x0F800005U), lastProperty);
}

TEST(OidMatchingOfAScalar, NeverAnswersACommonGroupFourOrMore) {
  TrelScalar fourth("scalar", 4, true);
  addNumber(fourth, 5, 0);
  EXPECT_EQ(fourth.getPropFromOID(0x12000005U), nullptr);
  TrelScalar last("scalar", 31, true);
  addNumber(last, 5, 0);
  EXPECT_EQ(last.getPropFromOID(0x1F800005U), nullptr);
  TrelScalar third("scalar", 3, true);
  Number* property = addNumber(third, 5, 0);
  EXPECT_EQ(third.getPropFromOID(0x11800005U), property);
}

TEST(OidMatchingOfAScalar, IgnoresBit29) {
  TrelScalar scalar("scalar", 1, true);
  Number* property = addNumber(scalar, 5, 0);
  EXPECT_EQ(scalar.getPropFromOID(0x30800005U), property);
}

TEST(OidMatchingOfAScalar, RefusesEveryOidWhenTheObjectIsNotOfTypeScalar) {
  TrelScalar scalar("scalar", 1, true);
  addNumber(scalar, 5, 0);
  EXPECT_TRUE(scalar.isValidObjectId(0x10800005U));
  scalar.objectType = ifcCard::TABLE;
  EXPECT_FALSE(scalar.isValidObjectId(0x10800005U));
  EXPECT_FALSE(scalar.isValidObjectId(0x50414000U));
  scalar.objectType = static_cast<ifcCard::IfcCardObjectType>(2);
  EXPECT_FALSE(scalar.isValidObjectId(0x10800005U));
}

TEST(ValidObjectId, IsOneThatNamesARegisteredProperty) {
  TrelTable table("table", 3, false, 8);
  addNumber(table, 2, 7);
  EXPECT_TRUE(table.isValidObjectId(0x40C08007U));
  EXPECT_FALSE(table.isValidObjectId(0x40C08006U));  // this table's, but nothing there
  EXPECT_FALSE(table.isValidObjectId(0x40808007U));  // another table's
  TrelScalar scalar("scalar", 1, true);
  addNumber(scalar, 5, 0);
  EXPECT_TRUE(scalar.isValidObjectId(0x10800005U));
  EXPECT_FALSE(scalar.isValidObjectId(0x10800006U));  // this group's, but nothing there
  EXPECT_FALSE(scalar.isValidObjectId(0x80000000U));
}

TEST(ValidObjectId, IsAskedOfTheObjectsOwnLookUp) {
  class AliasedScalar : public TrelScalar {
   public:
    AliasedScalar() : TrelScalar("alias", 1, false) {}
    TrelProperty* getPropFromOID(unsigned int oid) override {
      return oid == 0xDEADBEEFU ? TrelScalar::getPropFromOID(0x00800005U) : nullptr;
    }
  };
  AliasedScalar scalar;
  addNumber(scalar, 5, 0);
  EXPECT_TRUE(scalar.isValidObjectId(0xDEADBEEFU));
  EXPECT_FALSE(scalar.isValidObjectId(0x00800005U));
}

TEST(OidOfAProperty, RoundTripsThroughItsObjectAndTheDecoder) {
  TrelTable table("table", 49, false, 16);
  Number* cell = addNumber(table, 200, 15);
  EXPECT_EQ(cell->getOid(), 0x4C72000FU);
  const TrelObjectId decoded(0x4C72000FU);
  EXPECT_EQ(decoded.id, 49U);
  EXPECT_EQ(decoded.subId, 200U);
  EXPECT_EQ(decoded.row, 15U);
  EXPECT_EQ(table.getPropFromOID(0x4C72000FU), cell);
}
