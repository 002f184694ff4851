// The typed accessors of old-style properties: each accepts the type codes of its own and refuses every other.

#include <gtest/gtest.h>

#include <map>
#include <set>
#include <string>
#include <vector>

#include "support/bytes.h"
#include "support/exactBlock.h"
#include "support/logCapture.h"
#include "support/oldStyleRecord.h"

namespace {

using Lines = std::vector<std::string>;
using namespace std::string_literals;

constexpr bool IS_LITTLE_ENDIAN = __BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__;
constexpr int LAST_TYPE = 14;

// One property for each type code; they all hold the same eight bytes, as a record of that type brings them.
OldStyle ofType(int type) {
  return oldStyleFromWire("10800005"_hex + std::string(1, static_cast<char>(type)) + "0008 0102030405060708"_hex);
}

const Lines REFUSED_GET = {
    "3 [ERROR] trelProperty (get) - [OldStyleProperty_1] Trying to get the wrong type from oldStyleProperty"};
const Lines REFUSED_SET = {
    "3 [ERROR] trelProperty (set) - [OldStyleProperty_1] Trying to set the wrong type for oldStyleProperty"};

// Every type code: `values` holds what the getter gives for those that it accepts; the target of any other stays.
template <typename T>
void expectGet(const std::map<int, T>& values, const T& before) {
  for (int type = 0; type <= LAST_TYPE; ++type) {
    SCOPED_TRACE("type " + std::to_string(type));
    const OldStyle property = ofType(type);
    property->name = "OldStyleProperty_1";
    T target = before;
    LogCapture log;
    property->get(&target);
    const auto accepted = values.find(type);
    EXPECT_EQ(target, accepted != values.end() ? accepted->second : before);
    EXPECT_EQ(log.brief(), accepted != values.end() ? Lines{} : REFUSED_GET);
  }
}

// Every type code: of those accepted the first bytes are the value in host order; the others stay as they were, and so do
// length, type and event.
template <typename T>
void expectSet(const std::set<int>& accepted, T value, const std::string& little, const std::string& big) {
  for (int type = 0; type <= LAST_TYPE; ++type) {
    SCOPED_TRACE("type " + std::to_string(type));
    const OldStyle property = ofType(type);
    property->name = "OldStyleProperty_1";
    property->eventable = true;
    const std::string before = heldBytes(*property, 8);
    LogCapture log;
    property->set(value);
    const bool isAccepted = accepted.count(type) != 0;
    const std::string written = IS_LITTLE_ENDIAN ? little : big;
    const std::string after = isAccepted ? written + before.substr(written.size()) : before;
    EXPECT_EQ(asText(heldBytes(*property, 8)), asText(after));
    EXPECT_EQ(log.brief(), isAccepted ? Lines{} : REFUSED_SET);
    EXPECT_EQ(property->length(), 8);
    EXPECT_EQ(property->getType(), type);
    EXPECT_FALSE(property->eventPending);
  }
}

// ----- getters ---------------------------------------------------------------------------------------------------------

TEST(OldStyleAccess, Unsigned64BitIsReadFromTypeZeroAlone) {
  expectGet<unsigned long long>({{0, 0x0102030405060708ULL}}, 0xA5A5A5A5A5A5A5A5ULL);
}

TEST(OldStyleAccess, Unsigned32BitIsReadFromTypeOneAlone) { expectGet<unsigned int>({{1, 0x01020304U}}, 0xA5A5A5A5U); }

TEST(OldStyleAccess, Unsigned16BitIsReadFromTypeTwoAlone) { expectGet<unsigned short>({{2, 0x0102}}, 0xA5A5); }

TEST(OldStyleAccess, Unsigned8BitIsReadFromTypeThreeAlone) { expectGet<unsigned char>({{3, 0x01}}, 0xA5); }

// The setter of the same type accepts nothing.
TEST(OldStyleAccess, Signed64BitIsReadFromTypeFourAlone) {
  expectGet<long long>({{4, 0x0102030405060708LL}}, -0x5A5A5A5A5A5A5A5ALL);
}

// Differs by byte order: the address lies in memory as it came.
TEST(OldStyleAccess, Signed32BitIsReadFromTypeFiveAndFromAnIpv4Address) {
  expectGet<int>({{5, 0x01020304}, {10, IS_LITTLE_ENDIAN ? 0x04030201 : 0x01020304}}, -0x5A5A5A5A);
}

TEST(OldStyleAccess, Signed16BitIsReadFromTypeSixAlone) { expectGet<short>({{6, 0x0102}}, -0x5A5A); }

TEST(OldStyleAccess, Signed8BitIsReadFromTypeSevenAlone) { expectGet<signed char>({{7, 0x01}}, -0x5A); }

TEST(OldStyleAccess, BoolIsReadFromTypeEightAlone) { expectGet<bool>({{8, true}}, false); }

TEST(OldStyleAccess, TextIsReadFromTypeNineAlone) {
  expectGet<std::string>({{9, "0102030405060708"_hex}}, "what was there");
}

TEST(OldStyleAccess, BytesAreReadFromTypesTwelveAndThirteen) {
  for (int type = 0; type <= LAST_TYPE; ++type) {
    SCOPED_TRACE("type " + std::to_string(type));
    const OldStyle property = ofType(type);
    property->name = "OldStyleProperty_1";
    ExactBlock out(8);
    unsigned int length = 8;
    LogCapture log;
    property->get(reinterpret_cast<unsigned char*>(out.data()), &length);
    const bool accepted = type == 12 || type == 13;
    EXPECT_EQ(asText(out.view()), accepted ? "01 02 03 04 05 06 07 08" : "A5 A5 A5 A5 A5 A5 A5 A5");
    EXPECT_EQ(log.brief(), accepted ? Lines{} : REFUSED_GET);
    EXPECT_EQ(length, 8U);
  }
}

TEST(OldStyleAccess, NegativeNumbersKeepTheirSign) {
  long long value64 = 0;
  oldStyleFromWire("10800005 04 0008 FFFFFFFFFFFFFFFE"_hex)->get(&value64);
  EXPECT_EQ(value64, -2);
  int value32 = 0;
  oldStyleFromWire("10800005 05 0004 FFFFFFFD"_hex)->get(&value32);
  EXPECT_EQ(value32, -3);
  short value16 = 0;
  oldStyleFromWire("10800005 06 0002 FFFC"_hex)->get(&value16);
  EXPECT_EQ(value16, -4);
  signed char value8 = 0;
  oldStyleFromWire("10800005 07 0001 FB"_hex)->get(&value8);
  EXPECT_EQ(value8, -5);
}

TEST(OldStyleAccess, EveryByteButZeroIsTrue) {
  for (const char byte : {'\x01', '\x02', '\x80', '\xFF'}) {
    bool value = false;
    oldStyleFromWire("10800005 08 0001"_hex + byte)->get(&value);
    EXPECT_TRUE(value);
  }
  bool value = true;
  oldStyleFromWire("10800005 08 0001 00"_hex)->get(&value);
  EXPECT_FALSE(value);
}

TEST(OldStyleAccess, TypesBeyondTheKnownOnesAreRefusedByEveryAccessor) {
  for (const int type : {15, 128, 255}) {
    SCOPED_TRACE(type);
    const OldStyle property = ofType(type);
    LogCapture log;
    unsigned int value = 5;
    std::string text = "before";
    property->get(&value);
    property->get(&text);
    property->set(7U);
    property->set("text"s);
    EXPECT_EQ(value, 5U);
    EXPECT_EQ(text, "before");
    EXPECT_EQ(asText(heldBytes(*property, 8)), "01 02 03 04 05 06 07 08");
    EXPECT_EQ(log.count("Trying to get the wrong type from oldStyleProperty"), 2U);
    EXPECT_EQ(log.count("Trying to set the wrong type for oldStyleProperty"), 2U);
    EXPECT_EQ(property->getType(), type);
  }
}

TEST(OldStyleAccess, ANullTargetOfTheRightTypeIsLeftAlone) {
  LogCapture log;
  ofType(0)->get(static_cast<unsigned long long*>(nullptr));
  ofType(1)->get(static_cast<unsigned int*>(nullptr));
  ofType(2)->get(static_cast<unsigned short*>(nullptr));
  ofType(3)->get(static_cast<unsigned char*>(nullptr));
  ofType(4)->get(static_cast<long long*>(nullptr));
  ofType(5)->get(static_cast<int*>(nullptr));
  ofType(6)->get(static_cast<short*>(nullptr));
  ofType(7)->get(static_cast<signed char*>(nullptr));
  ofType(8)->get(static_cast<bool*>(nullptr));
  ofType(9)->get(static_cast<std::string*>(nullptr));
  unsigned int length = 8;
  ofType(12)->get(nullptr, &length);
  EXPECT_EQ(length, 8U);
  ExactBlock out(8);
  ofType(12)->get(reinterpret_cast<unsigned char*>(out.data()), nullptr);
  EXPECT_EQ(asText(out.view()), "A5 A5 A5 A5 A5 A5 A5 A5");
  EXPECT_EQ(log.brief(3), Lines{});
}

// ----- getters without a value -----------------------------------------------------------------------------------------

template <typename T>
void expectNothingFrom(int type, T before) {
  SCOPED_TRACE("type " + std::to_string(type));
  const OldStyle property = oldStyleFromWire("10800005"_hex + std::string(1, static_cast<char>(type)) + "0000"_hex);
  T target = before;
  LogCapture log;
  property->get(&target);
  EXPECT_EQ(target, before);
  EXPECT_EQ(log.brief(),
            Lines{"3 [ERROR] trelProperty (isPointerValid) - Pointer val in OldStyleProperty is invalid!"});
}

TEST(OldStyleAccess, WithoutAValueAGetterOfTheRightTypeWritesALineAndLeavesItsTarget) {
  expectNothingFrom<unsigned long long>(0, 0xA5A5A5A5A5A5A5A5ULL);
  expectNothingFrom<unsigned int>(1, 0xA5A5A5A5U);
  expectNothingFrom<unsigned short>(2, 0xA5A5);
  expectNothingFrom<unsigned char>(3, 0xA5);
  expectNothingFrom<long long>(4, -5);
  expectNothingFrom<int>(5, -5);
  expectNothingFrom<int>(10, -5);
  expectNothingFrom<short>(6, -5);
  expectNothingFrom<signed char>(7, -5);
  expectNothingFrom<bool>(8, true);
  expectNothingFrom<std::string>(9, "what was there");
}

TEST(OldStyleAccess, ATextOfLengthZeroHasNoValueAndLeavesTheCallersText) {
  const OldStyle property = oldStyleFromWire("10800005 09 0000"_hex);
  EXPECT_EQ(heldValue(*property), nullptr);
  std::string text = "what was there";
  LogCapture log;
  property->get(&text);
  EXPECT_EQ(text, "what was there");
  EXPECT_EQ(log.brief(),
            Lines{"3 [ERROR] trelProperty (isPointerValid) - Pointer val in OldStyleProperty is invalid!"});
}

TEST(OldStyleAccess, WithoutAValueTheBytesGetterWritesALineAndLeavesItsTarget) {
  for (const std::string& record : {"10800005 0C 0000"_hex, "10800005 0D 0000"_hex}) {
    const OldStyle property = oldStyleFromWire(record);
    ExactBlock out(4);
    unsigned int length = 4;
    LogCapture log;
    property->get(reinterpret_cast<unsigned char*>(out.data()), &length);
    EXPECT_EQ(asText(out.view()), "A5 A5 A5 A5");
    EXPECT_EQ(length, 4U);
    EXPECT_EQ(log.brief(),
              Lines{"3 [ERROR] trelProperty (isPointerValid) - Pointer val in OldStyleProperty is invalid!"});
  }
}

TEST(OldStyleAccess, AGetterOfTheWrongTypeIsRefusedForItsTypeBeforeTheMissingValue) {
  const OldStyle property = oldStyleFromWire("10800005 01 0000"_hex);
  unsigned short value = 5;
  LogCapture log;
  property->get(&value);
  EXPECT_EQ(log.brief(), REFUSED_GET);
}

// ----- text and bytes --------------------------------------------------------------------------------------------------

TEST(OldStyleAccess, ATextIsExactlyTheReceivedBytes) {
  std::string text = "a longer text that was there";
  oldStyleFromWire("10800005 09 0005 6100620063"_hex)->get(&text);
  EXPECT_EQ(text, "a\0b\0c"s);
}

TEST(OldStyleAccess, TheBytesGetterCopiesTheCallersCount) {
  const OldStyle property = oldStyleFromWire("10800005 0D 0006 010203040506"_hex);
  ExactBlock three(3);
  unsigned int length = 3;
  property->get(reinterpret_cast<unsigned char*>(three.data()), &length);
  EXPECT_EQ(asText(three.view()), "01 02 03");
  EXPECT_EQ(length, 3U);
  ExactBlock untouched(2);
  length = 0;
  property->get(reinterpret_cast<unsigned char*>(untouched.data()), &length);
  EXPECT_EQ(asText(untouched.view()), "A5 A5");
  EXPECT_EQ(length, 0U);
}

TEST(OldStyleAccess, BytesBeyondTheHeldOnesAreZeroAndTheCountStays) {
  const OldStyle property = oldStyleFromWire("10800005 0C 0003 010203"_hex);
  ExactBlock out(20);
  unsigned int length = 20;
  LogCapture log;
  property->get(reinterpret_cast<unsigned char*>(out.data()), &length);
  EXPECT_EQ(asText(out.view()), asText("010203 0000000000000000000000000000000000"_hex));
  EXPECT_EQ(length, 20U);
  EXPECT_EQ(log.brief(), Lines{});
}

// ----- setters ---------------------------------------------------------------------------------------------------------

// All of these differ by byte order: the value is kept in that of the host.
TEST(OldStyleAccess, Unsigned64BitIsSetInTypeZeroAlone) {
  expectSet<unsigned long long>({0}, 0xA1B2C3D4E5F60718ULL, "1807F6E5D4C3B2A1"_hex, "A1B2C3D4E5F60718"_hex);
}

TEST(OldStyleAccess, Unsigned32BitIsSetInTypeOneAlone) {
  expectSet<unsigned int>({1}, 0xA1B2C3D4U, "D4C3B2A1"_hex, "A1B2C3D4"_hex);
}

TEST(OldStyleAccess, Unsigned16BitIsSetInTypeTwoAlone) {
  expectSet<unsigned short>({2}, 0xA1B2, "B2A1"_hex, "A1B2"_hex);
}

TEST(OldStyleAccess, Unsigned8BitIsSetInTypeThreeAlone) { expectSet<unsigned char>({3}, 0xA1, "A1"_hex, "A1"_hex); }

// Although the getter accepts type 4.
TEST(OldStyleAccess, Signed64BitIsSetInNoTypeAtAll) { expectSet<long long>({}, 5, ""_hex, ""_hex); }

TEST(OldStyleAccess, Signed32BitIsSetInTypeFiveAndInAnIpv4Address) {
  expectSet<int>({5, 10}, 0x71B2C3D4, "D4C3B271"_hex, "71B2C3D4"_hex);
}

TEST(OldStyleAccess, Signed16BitIsSetInTypeSixAlone) { expectSet<short>({6}, -2, "FEFF"_hex, "FFFE"_hex); }

TEST(OldStyleAccess, Signed8BitIsSetInTypeSevenAlone) { expectSet<signed char>({7}, -2, "FE"_hex, "FE"_hex); }

TEST(OldStyleAccess, BoolIsSetInTypeEightAloneAsOneOrZero) {
  expectSet<bool>({8}, true, "01"_hex, "01"_hex);
  const OldStyle property = oldStyleFromWire("10800005 08 0001 FF"_hex);
  property->set(true);
  EXPECT_EQ(asText(heldBytes(*property, 1)), "01");
  property->set(false);
  EXPECT_EQ(asText(heldBytes(*property, 1)), "00");
}

TEST(OldStyleAccess, ASigned64BitNumberIsReadAndNeverSet) {
  const OldStyle property = oldStyleFromWire("10800005 04 0008 FFFFFFFFFFFFFFFE"_hex);
  long long value = 0;
  property->get(&value);
  EXPECT_EQ(value, -2);
  LogCapture log;
  property->set(7LL);
  EXPECT_EQ(log.brief(), REFUSED_SET);
  property->get(&value);
  EXPECT_EQ(value, -2);
}

TEST(OldStyleAccess, ATimeIsCarriedAndServedByNoAccessor) {
  const OldStyle property = oldStyleFromWire("00000001 09 0000"_hex);
  deserializeExactly(*property, "10800005 0B 0008 0102030405060708"_hex);
  LogCapture log;
  long long value = -5;
  property->get(&value);
  property->set(5LL);
  EXPECT_EQ(value, -5);
  EXPECT_EQ(log.brief(), (Lines{REFUSED_GET[0], REFUSED_SET[0]}));
  ExactBlock block(15);
  EXPECT_EQ(property->serialize(block.data(), block.length()), 15);
  EXPECT_EQ(asText(block.view()), asText("10800005 0B 0008 0102030405060708"_hex));
}

TEST(OldStyleAccess, TextIsSetInTypeNineAlone) {
  for (int type = 0; type <= LAST_TYPE; ++type) {
    SCOPED_TRACE("type " + std::to_string(type));
    const OldStyle property = ofType(type);
    property->name = "OldStyleProperty_1";
    property->eventable = true;
    const std::string before = heldBytes(*property, 8);
    LogCapture log;
    property->set("a\0bc and more"s);
    EXPECT_EQ(property->length(), type == 9 ? 13 : 8);
    EXPECT_EQ(heldBytes(*property, type == 9 ? 13 : 8), type == 9 ? "a\0bc and more"s : before);
    EXPECT_EQ(log.brief(), type == 9 ? Lines{} : REFUSED_SET);
    EXPECT_FALSE(property->eventPending);
  }
}

TEST(OldStyleAccess, BytesAreSetInTypesTwelveAndThirteen) {
  for (int type = 0; type <= LAST_TYPE; ++type) {
    SCOPED_TRACE("type " + std::to_string(type));
    const OldStyle property = ofType(type);
    property->name = "OldStyleProperty_1";
    property->eventable = true;
    const std::string before = heldBytes(*property, 8);
    const bool accepted = type == 12 || type == 13;
    ExactBlock data("A1 A2 A3"_hex);
    LogCapture log;
    property->set(reinterpret_cast<unsigned char*>(data.data()), 3);
    EXPECT_EQ(property->length(), accepted ? 3 : 8);
    EXPECT_EQ(asText(heldBytes(*property, accepted ? 3 : 8)), accepted ? "A1 A2 A3" : asText(before));
    EXPECT_EQ(log.brief(), accepted ? Lines{} : REFUSED_SET);
    EXPECT_FALSE(property->eventPending);
  }
}

TEST(OldStyleAccess, AnEmptyTextLeavesNoValue) {
  const OldStyle property = oldStyleFromWire("10800005 09 0003 616263"_hex);
  LogCapture log;
  property->set(""s);
  EXPECT_EQ(heldValue(*property), nullptr);
  EXPECT_EQ(property->length(), 0);
  EXPECT_EQ(log.brief(), Lines{});
}

TEST(OldStyleAccess, NoBytesLeaveNoValue) {
  const OldStyle property = oldStyleFromWire("10800005 0C 0003 010203"_hex);
  ExactBlock nothing("");
  property->set(reinterpret_cast<unsigned char*>(nothing.data()), 0);
  EXPECT_EQ(heldValue(*property), nullptr);
  EXPECT_EQ(property->length(), 0);
  deserializeExactly(*property, "10800005 0C 0003 010203"_hex);
  property->set(nullptr, 0);
  EXPECT_EQ(heldValue(*property), nullptr);
}

TEST(OldStyleAccess, BytesWithoutDataAreThatManyZeros) {
  const OldStyle property = oldStyleFromWire("10800005 0C 0003 010203"_hex);
  property->set(nullptr, 12);
  EXPECT_EQ(property->length(), 12);
  EXPECT_EQ(asText(heldBytes(*property, 12)), "00 00 00 00 00 00 00 00 00 00 00 00");
}

TEST(OldStyleAccess, TextAndBytesAreTakenWhereThereWasNoValue) {
  const OldStyle text = oldStyleFromWire("10800005 09 0000"_hex);
  text->set("abc"s);
  std::string value;
  text->get(&value);
  EXPECT_EQ(value, "abc");
  EXPECT_EQ(text->length(), 3);
  const OldStyle bytes = oldStyleFromWire("10800005 0D 0000"_hex);
  unsigned char six[6] = {1, 2, 3, 4, 5, 6};
  bytes->set(six, 6);
  EXPECT_EQ(bytes->length(), 6);
  EXPECT_EQ(asText(heldBytes(*bytes, 6)), "01 02 03 04 05 06");
}

TEST(OldStyleAccess, ASetterLeavesAPendingEventPending) {
  const OldStyle property = oldStyleFromWire("10800005 01 0004 01020304"_hex);
  property->eventable = true;
  property->eventPending = true;
  property->set(9U);
  EXPECT_TRUE(property->eventPending);
}

TEST(OldStyleAccess, AReadOnlyAccessTypeRefusesNoSetter) {
  const OldStyle property = oldStyleFromWire("10800005 01 0004 01020304"_hex);
  property->accessType = IFC_CARD_VAR_READ_ONLY;
  property->set(9U);
  unsigned int value = 0;
  property->get(&value);
  EXPECT_EQ(value, 9U);
}

// ----- the trace level -------------------------------------------------------------------------------------------------

TEST(OldStyleAccess, EveryLineIsWrittenAboveLevelTwoOnly) {
  const OldStyle property = oldStyleFromWire("10800005 01 0000"_hex);
  const OldStyle stuck = oldStyleFromWire("10800005 01 0000"_hex);
  poke(*stuck, sizeof(TrelProperty) + sizeof(void*), 4U);
  ExactBlock block(11);
  unsigned int value = 0;
  unsigned short shortValue = 0;
  const auto everyLine = [&] {
    property->get(&shortValue);
    property->set(shortValue);
    property->get(&value);
    property->serialize(block.data(), 6);
    stuck->serialize(block.data(), 11);
  };
  LogCapture log(2);
  everyLine();
  EXPECT_EQ(log.brief(), Lines{});
  log.setLevel(3);
  everyLine();
  ASSERT_EQ(log.lines().size(), 5U);
  EXPECT_EQ(log.lines()[0].format, "[ERROR] %s:%d (%s) - [%s] Trying to get the wrong type from oldStyleProperty");
  EXPECT_EQ(log.lines()[1].format, "[ERROR] %s:%d (%s) - [%s] Trying to set the wrong type for oldStyleProperty");
  EXPECT_EQ(log.lines()[2].format, "[ERROR] %s:%d (%s) - Pointer val in OldStyleProperty is invalid!");
  EXPECT_EQ(log.lines()[3].format, "[ERROR] %s:%d (%s) - [%s] serializing buffer has not enough space left");
  EXPECT_EQ(log.lines()[4].format,
            "[ERROR] %s:%d (%s) - [%s] m_value_pointer is nullpointer but length set is not 0!!!");
  for (const LogLine& line : log.lines()) {
    EXPECT_EQ(line.priority, 3);
    EXPECT_EQ(line.file, "components/trel/trelProperty.cpp");
  }
}

}  // namespace
