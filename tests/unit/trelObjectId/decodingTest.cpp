// What an OID says: its fields, whether it is usable, its text, and the line that an unusable one leaves.

#include <gtest/gtest.h>

#include <cstddef>
#include <locale>
#include <sstream>
#include <string>
#include <type_traits>
#include <vector>

#include "support/logCapture.h"
#include "trel/trelObjectId.h"

using Lines = std::vector<std::string>;

namespace {

constexpr unsigned int NOT_DECODED = 0xFFFFFFFFU;

// The fields in their order.
struct Fields {
  bool common;
  bool isTable;
  bool isScalar;
  unsigned int id;
  unsigned int subId;
  unsigned int row;
  unsigned int result;
};

void expectDecoded(unsigned int oid, const Fields& expected, const char* text) {
  // Not streamed into a testing::Message, which binds std::hex as a reference: a Thumb function's address is odd, and the
  // sanitizer takes the reference for a misaligned one.
  std::ostringstream name;
  name << "OID 0x" << std::hex << oid;
  SCOPED_TRACE(name.str());
  const TrelObjectId decoded(oid);
  EXPECT_EQ(decoded.common, expected.common);
  EXPECT_EQ(decoded.isTable, expected.isTable);
  EXPECT_EQ(decoded.isScalar, expected.isScalar);
  EXPECT_EQ(decoded.id, expected.id);
  EXPECT_EQ(decoded.subId, expected.subId);
  EXPECT_EQ(decoded.row, expected.row);
  EXPECT_EQ(decoded.result, expected.result);
  EXPECT_EQ(decoded.str(), text);
}

}  // namespace

TEST(ObjectIdDecoding, ZeroIsVariableZeroOfScalarGroupZero) {
  LogCapture log;
  expectDecoded(0x00000000U, {false, false, true, 0, 0, 0, 0},
                "scalar object: common = 0, group id = 0, variable id = 0");
  EXPECT_EQ(log.brief(), Lines{});
}

TEST(ObjectIdDecoding, CommonScalarOfGroupOneSplitsIntoGroupAndVariable) {
  LogCapture log;
  expectDecoded(0x10800005U, {true, false, true, 1, 5, 0, 0},
                "scalar object: common = 1, group id = 1, variable id = 5");
  EXPECT_EQ(log.brief(), Lines{});
}

TEST(ObjectIdDecoding, GroupFourIsValidWithoutTheCommonFlag) {
  LogCapture log;
  expectDecoded(0x02000005U, {false, false, true, 4, 5, 0, 0},
                "scalar object: common = 0, group id = 4, variable id = 5");
  EXPECT_EQ(log.brief(), Lines{});
}

TEST(ObjectIdDecoding, GroupFourIsRefusedWithTheCommonFlagAndKeepsFlagAndGroup) {
  LogCapture log;
  expectDecoded(0x12000005U, {true, false, false, 4, NOT_DECODED, 0, 7}, "invalid object");
  EXPECT_EQ(log.brief(), Lines{"3 [ERROR] trelObjectId (TrelObjectId) - Failed to decode scalar oid 0x12000005"});
}

TEST(ObjectIdDecoding, AllGroupsAreValidWithoutTheCommonFlag) {
  LogCapture log;
  const unsigned int oids[32] = {
      0x00000001U, 0x00800001U, 0x01000001U, 0x01800001U, 0x02000001U, 0x02800001U, 0x03000001U, 0x03800001U,
      0x04000001U, 0x04800001U, 0x05000001U, 0x05800001U, 0x06000001U, 0x06800001U, 0x07000001U, 0x07800001U,
      0x08000001U, 0x08800001U, 0x09000001U, 0x09800001U, 0x0A000001U, 0x0A800001U, 0x0B000001U, 0x0B800001U,
      0x0C000001U, 0x0C800001U, 0x0D000001U, 0x0D800001U, 0x0E000001U, 0x0E800001U, 0x0F000001U, 0x0F800001U};
  for (unsigned int group = 0; group < 32; ++group) {
    SCOPED_TRACE(group);
    const TrelObjectId decoded(oids[group]);
    EXPECT_TRUE(decoded.isScalar);
    EXPECT_FALSE(decoded.common);
    EXPECT_EQ(decoded.id, group);
    EXPECT_EQ(decoded.subId, 1U);
    EXPECT_EQ(decoded.result, 0U);
  }
  EXPECT_EQ(log.brief(), Lines{});
}

TEST(ObjectIdDecoding, OnlyGroupsZeroToThreeAreValidWithTheCommonFlag) {
  struct {
    unsigned int oid;
    unsigned int group;
    bool usable;
  } const cases[] = {{0x10000001U, 0, true},   {0x10800001U, 1, true},   {0x11000001U, 2, true},
                     {0x11800001U, 3, true},   {0x12000001U, 4, false},  {0x12800001U, 5, false},
                     {0x14000001U, 8, false},  {0x18000001U, 16, false}, {0x19800001U, 19, false},
                     {0x1F000001U, 30, false}, {0x1F800001U, 31, false}};
  for (const auto& each : cases) {
    SCOPED_TRACE(each.group);
    const TrelObjectId decoded(each.oid);
    EXPECT_EQ(decoded.isScalar, each.usable);
    EXPECT_EQ(decoded.result, each.usable ? 0U : 7U);
    EXPECT_EQ(decoded.id, each.group);
    EXPECT_EQ(decoded.subId, each.usable ? 1U : NOT_DECODED);
    EXPECT_TRUE(decoded.common);
    EXPECT_FALSE(decoded.isTable);
    EXPECT_EQ(decoded.row, 0U);
  }
}

TEST(ObjectIdDecoding, TheLargestScalarHasGroup31AndVariable8388607) {
  expectDecoded(0x0FFFFFFFU, {false, false, true, 31, 8388607, 0, 0},
                "scalar object: common = 0, group id = 31, variable id = 8388607");
  expectDecoded(0x11FFFFFFU, {true, false, true, 3, 8388607, 0, 0},
                "scalar object: common = 1, group id = 3, variable id = 8388607");
}

TEST(ObjectIdDecoding, AScalarHasNoRowWhateverItsVariable) {
  // The bits of a table's row and column belong to the variable id here.
  expectDecoded(0x00C08007U, {false, false, true, 1, 0x00408007U, 0, 0},
                "scalar object: common = 0, group id = 1, variable id = 4227079");
}

TEST(ObjectIdDecoding, ATableSplitsIntoTableColumnAndRow) {
  LogCapture log;
  expectDecoded(0x4C408007U, {false, true, false, 49, 2, 7, 0},
                "table object: common = 0, table id = 49, column = 2, row = 7");
  expectDecoded(0x50C08007U, {true, true, false, 3, 2, 7, 0},
                "table object: common = 1, table id = 3, column = 2, row = 7");
  EXPECT_EQ(log.brief(), Lines{});
}

TEST(ObjectIdDecoding, TheFieldsOfATableTouchWithoutOverlapping) {
  expectDecoded(0x40000000U, {false, true, false, 0, 0, 0, 0},
                "table object: common = 0, table id = 0, column = 0, row = 0");
  expectDecoded(0x40003FFFU, {false, true, false, 0, 0, 16383, 0},
                "table object: common = 0, table id = 0, column = 0, row = 16383");
  expectDecoded(0x40004000U, {false, true, false, 0, 1, 0, 0},
                "table object: common = 0, table id = 0, column = 1, row = 0");
  expectDecoded(0x403FC000U, {false, true, false, 0, 255, 0, 0},
                "table object: common = 0, table id = 0, column = 255, row = 0");
  expectDecoded(0x40400000U, {false, true, false, 1, 0, 0, 0},
                "table object: common = 0, table id = 1, column = 0, row = 0");
  expectDecoded(0x4FC00000U, {false, true, false, 63, 0, 0, 0},
                "table object: common = 0, table id = 63, column = 0, row = 0");
  expectDecoded(0x50000000U, {true, true, false, 0, 0, 0, 0},
                "table object: common = 1, table id = 0, column = 0, row = 0");
}

TEST(ObjectIdDecoding, TheFieldsOfAScalarTouchWithoutOverlapping) {
  expectDecoded(0x007FFFFFU, {false, false, true, 0, 8388607, 0, 0},
                "scalar object: common = 0, group id = 0, variable id = 8388607");
  expectDecoded(0x00800000U, {false, false, true, 1, 0, 0, 0},
                "scalar object: common = 0, group id = 1, variable id = 0");
  expectDecoded(0x0F800000U, {false, false, true, 31, 0, 0, 0},
                "scalar object: common = 0, group id = 31, variable id = 0");
  expectDecoded(0x10000000U, {true, false, true, 0, 0, 0, 0},
                "scalar object: common = 1, group id = 0, variable id = 0");
}

TEST(ObjectIdDecoding, TheLargestTableIsUsable) {
  LogCapture log;
  expectDecoded(0x7FFFFFFFU, {true, true, false, 63, 255, 16383, 0},
                "table object: common = 1, table id = 63, column = 255, row = 16383");
  EXPECT_EQ(log.brief(), Lines{});
}

TEST(ObjectIdDecoding, CommonTablesAreNotRestrictedToTheFirstIds) {
  LogCapture log;
  expectDecoded(0x51000000U, {true, true, false, 4, 0, 0, 0},
                "table object: common = 1, table id = 4, column = 0, row = 0");
  expectDecoded(0x5FC00000U, {true, true, false, 63, 0, 0, 0},
                "table object: common = 1, table id = 63, column = 0, row = 0");
  EXPECT_EQ(log.brief(), Lines{});
}

TEST(ObjectIdDecoding, KindTwoIsInvalidAndLeavesTheStartValues) {
  LogCapture log;
  expectDecoded(0x80000000U, {false, false, false, NOT_DECODED, NOT_DECODED, 0, 7}, "invalid object");
  EXPECT_EQ(log.brief(), Lines{"3 [ERROR] trelObjectId (TrelObjectId) - Invalid oid 0x80000000"});
}

TEST(ObjectIdDecoding, KindThreeIsInvalidAndLeavesTheStartValues) {
  LogCapture log;
  expectDecoded(0xC0000000U, {false, false, false, NOT_DECODED, NOT_DECODED, 0, 7}, "invalid object");
  EXPECT_EQ(log.brief(), Lines{"3 [ERROR] trelObjectId (TrelObjectId) - Invalid oid 0xc0000000"});
}

TEST(ObjectIdDecoding, AnInvalidKindDecodesNothingOfTheOtherBits) {
  LogCapture log;
  expectDecoded(0x90C08007U, {false, false, false, NOT_DECODED, NOT_DECODED, 0, 7}, "invalid object");
  expectDecoded(0xFFFFFFFFU, {false, false, false, NOT_DECODED, NOT_DECODED, 0, 7}, "invalid object");
  EXPECT_EQ(log.brief(), (Lines{"3 [ERROR] trelObjectId (TrelObjectId) - Invalid oid 0x90c08007",
                                "3 [ERROR] trelObjectId (TrelObjectId) - Invalid oid 0xffffffff"}));
}

TEST(ObjectIdDecoding, Bit29IsIgnoredInAScalar) {
  expectDecoded(0x20000000U, {false, false, true, 0, 0, 0, 0},
                "scalar object: common = 0, group id = 0, variable id = 0");
  expectDecoded(0x30800005U, {true, false, true, 1, 5, 0, 0},
                "scalar object: common = 1, group id = 1, variable id = 5");
}

TEST(ObjectIdDecoding, Bit29IsIgnoredInATable) {
  expectDecoded(0x60C08007U, {false, true, false, 3, 2, 7, 0},
                "table object: common = 0, table id = 3, column = 2, row = 7");
}

TEST(ObjectIdDecoding, Bit29DoesNotSaveACommonScalarOfGroupFour) {
  LogCapture log;
  expectDecoded(0x32000005U, {true, false, false, 4, NOT_DECODED, 0, 7}, "invalid object");
  EXPECT_EQ(log.brief(), Lines{"3 [ERROR] trelObjectId (TrelObjectId) - Failed to decode scalar oid 0x32000005"});
}

TEST(ObjectIdDecoding, TheLinesComeFromTheModulesFileWithTheirFormatsWhole) {
  LogCapture log;
  const TrelObjectId refusedScalar(0x12000005U);
  const TrelObjectId refusedKind(0x80000000U);
  ASSERT_EQ(log.lines().size(), 2U);
  EXPECT_EQ(log.lines()[0].format, "[ERROR] %s:%d (%s) - Failed to decode scalar oid %#x");
  EXPECT_EQ(log.lines()[1].format, "[ERROR] %s:%d (%s) - Invalid oid %#x");
  for (const LogLine& line : log.lines()) {
    EXPECT_EQ(line.file, "components/trel/trelObjectId.cpp");
    EXPECT_GT(line.line, 0);
  }
}

TEST(ObjectIdDecoding, TheLinesAppearAboveLevelTwoOnly) {
  LogCapture log(2);
  const TrelObjectId silentScalar(0x12000005U);
  const TrelObjectId silentKind(0x80000000U);
  EXPECT_EQ(log.brief(), Lines{});
  EXPECT_EQ(silentScalar.result, 7U);
  EXPECT_EQ(silentKind.result, 7U);
  log.setLevel(3);
  const TrelObjectId toldScalar(0x12000005U);
  const TrelObjectId toldKind(0x80000000U);
  EXPECT_EQ(log.brief(), (Lines{"3 [ERROR] trelObjectId (TrelObjectId) - Failed to decode scalar oid 0x12000005",
                                "3 [ERROR] trelObjectId (TrelObjectId) - Invalid oid 0x80000000"}));
}

TEST(ObjectIdDecoding, WithoutATraceObjectNothingIsWrittenAndTheResultStands) {
  g_traceObject = nullptr;
  EXPECT_EQ(TrelObjectId(0x80000000U).result, 7U);
  TraceObject withoutLevel = {nullptr};
  g_traceObject = &withoutLevel;
  EXPECT_EQ(TrelObjectId(0x80000000U).result, 7U);
  g_traceObject = nullptr;
}

TEST(ObjectIdText, FollowsTheFieldsTableFirst) {
  TrelObjectId record(0x00000000U);
  record.common = true;
  record.isTable = true;
  record.isScalar = true;
  record.id = 4294967295U;
  record.subId = 10;
  record.row = 20;
  EXPECT_EQ(record.str(), "table object: common = 1, table id = 4294967295, column = 10, row = 20");
  record.isTable = false;
  EXPECT_EQ(record.str(), "scalar object: common = 1, group id = 4294967295, variable id = 10");
  record.isScalar = false;
  EXPECT_EQ(record.str(), "invalid object");
}

TEST(ObjectIdText, HasPlainNumbersWhateverTheLocaleOfTheProcess) {
  class Grouped : public std::numpunct<char> {
   protected:
    char do_thousands_sep() const override { return '.'; }
    std::string do_grouping() const override { return "\3"; }
  };
  const std::locale former = std::locale::global(std::locale(std::locale::classic(), new Grouped));
  EXPECT_EQ(TrelObjectId(0x0FFFFFFFU).str(), "scalar object: common = 0, group id = 31, variable id = 8388607");
  EXPECT_EQ(TrelObjectId(0x7FFFFFFFU).str(), "table object: common = 1, table id = 63, column = 255, row = 16383");
  std::locale::global(former);
}

TEST(ObjectIdLayout, FieldsLieInTheirOrderWithoutAdditions) {
  // Three bools and four 32-bit numbers: the same on every machine.
  static_assert(std::is_standard_layout_v<TrelObjectId>);
  EXPECT_EQ(offsetof(TrelObjectId, common), 0U);
  EXPECT_EQ(offsetof(TrelObjectId, isTable), 1U);
  EXPECT_EQ(offsetof(TrelObjectId, isScalar), 2U);
  EXPECT_EQ(offsetof(TrelObjectId, id), 4U);
  EXPECT_EQ(offsetof(TrelObjectId, subId), 8U);
  EXPECT_EQ(offsetof(TrelObjectId, row), 12U);
  EXPECT_EQ(offsetof(TrelObjectId, result), 16U);
  EXPECT_EQ(sizeof(TrelObjectId), 20U);
}

TEST(ObjectIdLayout, HasNoVirtualOperationAndCopiesAsItIs) {
  EXPECT_FALSE(std::is_polymorphic_v<TrelObjectId>);
  EXPECT_TRUE(std::is_trivially_copyable_v<TrelObjectId>);
  EXPECT_TRUE((std::is_same_v<decltype(TrelObjectId::id), unsigned int>));
  EXPECT_TRUE((std::is_same_v<decltype(TrelObjectId::subId), unsigned int>));
  EXPECT_TRUE((std::is_same_v<decltype(TrelObjectId::row), unsigned int>));
  EXPECT_TRUE((std::is_same_v<decltype(TrelObjectId::result), unsigned int>));
}
