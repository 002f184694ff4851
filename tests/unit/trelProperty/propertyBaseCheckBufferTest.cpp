// checkBuffer: whether a received TLV fits a property. The first failing step decides: OID, type, length, access, value.

#include <gtest/gtest.h>

#include <string>
#include <string_view>
#include <vector>

#include "support/bytes.h"
#include "support/exactBlock.h"
#include "support/logCapture.h"
#include "trel/trelObjects.h"
#include "trel/trelProperty.h"

namespace {

using Lines = std::vector<std::string>;

constexpr bool LITTLE_ENDIAN_HOST = __BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__;

// A property whose type, length and verdict on a value are set by the test, and which keeps what it was asked.
class Probe : public TrelProperty {
 public:
  explicit Probe(unsigned int itsId, int itsType = TREL_TYPE_UINT32, int itsLength = 4,
                 IfcCardVarAccessType access = IFC_CARD_VAR_READ_WRITE)
      : TrelProperty(itsId, "probe", access, true), type(itsType), valueLength(itsLength) {}
  void setToDefault() override { ++changed; }
  bool isDefault() override { return false; }
  int serialize(char*, int) override { return -1; }
  int deserialize(const char*) override {
    ++changed;
    return 0;
  }
  int length() override {
    ++lengthAsked;
    return valueLength;
  }
  int getType() override { return type; }
  bool validValue(const char* value, int len) override {
    ++valueAsked;
    askedValue = value;
    askedLen = len;
    return verdict;
  }
  std::string str() const override { return "probe\n"; }

  int type;
  int valueLength;
  bool verdict = true;
  int changed = 0;
  int lengthAsked = 0;
  int valueAsked = 0;
  const char* askedValue = nullptr;
  int askedLen = -1;
};

// An object that gives every property the same OID.
class OneOid : public TrelObject {
 public:
  explicit OneOid(unsigned int itsOid) : TrelObject("one", ifcCard::SCALAR, 0, false, 1), oid(itsOid) {}
  std::string getObjectTypeStr() const override { return "One"; }
  unsigned int getOID(unsigned int, unsigned int) override { return oid; }
  TrelProperty* getPropFromOID(unsigned int) override { return nullptr; }
  unsigned int oid;
};

int check(TrelProperty& property, std::string_view tlv, bool checkValue) {
  const ExactBlock block(tlv);
  return property.checkBuffer(block.data(), checkValue);
}

// ----- step 1: OID -----------------------------------------------------------------------------------------------------

TEST(CheckBuffer, FittingTlvIsAcceptedWithoutALine) {
  Probe property(0x10800005);
  const LogCapture log;
  EXPECT_EQ(check(property, "10800005 01 0004 0000002A"_hex, true), 0);
  EXPECT_EQ(check(property, "10800005 01 0004 0000002A"_hex, false), 0);
  EXPECT_EQ(log.brief(), Lines{});
}

TEST(CheckBuffer, WithoutAnObjectTheOidIsComparedWithTheId) {
  Probe property(0x10800005);
  const LogCapture log;
  EXPECT_EQ(check(property, "10800006 01 0004 0000002A"_hex, true), 7);
  EXPECT_EQ(log.brief(),
            Lines{"3 [ERROR] trelProperty (checkBuffer) - [probe] trying to deserialize to a property with "
                  "wrong id"});
}

TEST(CheckBuffer, WithoutAnObjectTheRowDoesNotMatter) {
  Probe property(0x10800005);
  property.row = 9;
  EXPECT_EQ(check(property, "10800005 01 0004 0000002A"_hex, true), 0);
}

TEST(CheckBuffer, WithAnObjectTheOidIsComparedWithTheComposedOne) {
  TrelTable table("ports", 3, false, 6);
  auto* const property = new Probe(2);
  ASSERT_TRUE(table.addProp(property, 5));
  EXPECT_EQ(check(*property, "40C08005 01 0004 0000002A"_hex, true), 0);
  EXPECT_EQ(check(*property, "00000002 01 0004 0000002A"_hex, true), 7);
}

// The received OID stands in the line as its four bytes read in host order, unconverted; the expected one as it is.
// Differs by byte order: 0x40C08005 read on a little-endian host is 0x0580C040.
TEST(CheckBuffer, WrongOidLineShowsTheReceivedWordRawAndTheExpectedOneConverted) {
  TrelTable table("ports", 3, false, 6);
  auto* const property = new Probe(2);
  ASSERT_TRUE(table.addProp(property, 4));
  const LogCapture log;
  EXPECT_EQ(check(*property, "40C08005 01 0004 0000002A"_hex, true), 7);
  EXPECT_EQ(
      log.brief(),
      Lines{LITTLE_ENDIAN_HOST ? "3 [ERROR] trelProperty (checkBuffer) - [probe] trying to deserialize to a property "
                                 "with wrong oid, is 92323904 , should be 1086357508"
                               : "3 [ERROR] trelProperty (checkBuffer) - [probe] trying to deserialize to a property "
                                 "with wrong oid, is 1086357509 , should be 1086357508"});
}

// Differs by byte order: FF 00 00 01 is -16777215 on a big-endian host and 0x010000FF on a little-endian one.
TEST(CheckBuffer, WrongOidLinePrintsBothAsSignedDecimal) {
  OneOid object(0x80000001);
  auto* const property = new Probe(1);
  ASSERT_TRUE(object.addProp(property, 0));
  LogCapture log;
  EXPECT_EQ(check(*property, "FF000001 01 0004 00000000"_hex, false), 7);
  EXPECT_EQ(
      log.brief(),
      Lines{LITTLE_ENDIAN_HOST ? "3 [ERROR] trelProperty (checkBuffer) - [probe] trying to deserialize to a property "
                                 "with wrong oid, is 16777471 , should be -2147483647"
                               : "3 [ERROR] trelProperty (checkBuffer) - [probe] trying to deserialize to a property "
                                 "with wrong oid, is -16777215 , should be -2147483647"});
  log.clear();
  EXPECT_EQ(check(*property, "FFFFFFFF 01 0004 00000000"_hex, false), 7);
  EXPECT_EQ(log.brief(),
            Lines{"3 [ERROR] trelProperty (checkBuffer) - [probe] trying to deserialize to a property with "
                  "wrong oid, is -1 , should be -2147483647"});
}

TEST(CheckBuffer, TlvForAnotherOidIsRefusedForItEvenWhenTypeAndLengthAreWrongToo) {
  TrelScalar scalar("inventory", 1, true);
  auto* const property = new Probe(5, TREL_TYPE_UINT32, 4, IFC_CARD_VAR_READ_ONLY);
  property->verdict = false;
  ASSERT_TRUE(scalar.addProp(property, 0));
  const LogCapture log;
  EXPECT_EQ(check(*property, "10800006 09 0001 2A"_hex, true), 7);
  EXPECT_EQ(log.brief(3).size(), 1U);
  EXPECT_EQ(log.count("wrong oid"), 1U);
  EXPECT_EQ(property->valueAsked, 0);
}

TEST(CheckBuffer, WithoutAnObjectTooTheOidIsCheckedFirst) {
  Probe property(5, TREL_TYPE_UINT32, 4, IFC_CARD_VAR_READ_ONLY);
  const LogCapture log;
  EXPECT_EQ(check(property, "00000006 09 0001 2A"_hex, true), 7);
  EXPECT_EQ(log.brief().size(), 1U);
}

// ----- step 2: type ----------------------------------------------------------------------------------------------------

TEST(CheckBuffer, OtherTypeIsRefusedWithBothCodes) {
  Probe property(5);
  const LogCapture log;
  EXPECT_EQ(check(property, "00000005 05 0004 0000002A"_hex, true), 6);
  EXPECT_EQ(log.brief(), Lines{"3 [ERROR] trelProperty (checkBuffer) - [probe] trying to deserialize to a property of "
                               "wrong type this 1, buf 5"});
}

TEST(CheckBuffer, ReceivedTypeIsAnUnsignedByte) {
  Probe property(5);
  const LogCapture log;
  EXPECT_EQ(check(property, "00000005 FF 0004 0000002A"_hex, true), 6);
  EXPECT_EQ(log.brief(), Lines{"3 [ERROR] trelProperty (checkBuffer) - [probe] trying to deserialize to a property of "
                               "wrong type this 1, buf 255"});
}

TEST(CheckBuffer, TypeCodeIsComparedAsANumberWhateverItMeans) {
  Probe property(5, 255, 1);
  EXPECT_EQ(check(property, "00000005 FF 0001 2A"_hex, true), 0);
  property.type = 14;
  EXPECT_EQ(check(property, "00000005 0E 0001 2A"_hex, true), 0);
  property.type = -1;
  EXPECT_EQ(check(property, "00000005 FF 0001 2A"_hex, true), 6);
}

TEST(CheckBuffer, WrongTypeIsToldBeforeWrongLengthAndReadOnly) {
  Probe property(5, TREL_TYPE_UINT32, 4, IFC_CARD_VAR_READ_ONLY);
  EXPECT_EQ(check(property, "00000005 02 0002 002A"_hex, true), 6);
}

// ----- step 3: length --------------------------------------------------------------------------------------------------

TEST(CheckBuffer, LengthOfTwoForA32BitPropertyIsRefusedWithTwoLinesThatEndInFourAndTwo) {
  TypeProperty<unsigned int> property(5, "uptime", IFC_CARD_VAR_READ_WRITE, 0U);
  const LogCapture log;
  EXPECT_EQ(check(property, "00000005 01 0002 002A"_hex, true), 8);
  EXPECT_EQ(log.brief(),
            (Lines{"3 [ERROR] trelProperty (checkBuffer) - [uptime] trying to deserialize a property but tlv "
                   "has incorrect size parameter",
                   "3 [ERROR] trelProperty (checkBuffer) - [uptime] it should be 4 but it is 2"}));
}

TEST(CheckBuffer, LengthFieldIsBigEndianAndUnsigned) {
  Probe property(5, TREL_TYPE_BYTE_ARRAY, 0x0102);
  const LogCapture log;
  EXPECT_EQ(check(property, "00000005 0C 0102"_hex, false), 0);
  EXPECT_EQ(check(property, "00000005 0C 0201"_hex, false), 8);
  EXPECT_EQ(check(property, "00000005 0C FFFF"_hex, false), 8);
  EXPECT_EQ(log.count("it should be 258 but it is 513"), 1U);
  EXPECT_EQ(log.count("it should be 258 but it is 65535"), 1U);
}

TEST(CheckBuffer, LengthAboveSixteenBitsNeverFits) {
  Probe property(5, TREL_TYPE_BYTE_ARRAY, 0x10000);
  EXPECT_EQ(check(property, "00000005 0C 0000"_hex, false), 8);
}

TEST(CheckBuffer, StringTypeAcceptsAnyLengthWithADebugLine) {
  for (const auto& [tlv, lengthText] : std::vector<std::pair<std::string, std::string>>{
           {"00000005 09 0000"_hex, "0"}, {"00000005 09 0003 616263"_hex, "3"}, {"00000005 09 FFFF"_hex, "65535"}}) {
    SCOPED_TRACE(lengthText);
    Probe property(5, TREL_TYPE_STRING, 1);
    const LogCapture log;
    EXPECT_EQ(check(property, tlv, false), 0);
    EXPECT_EQ(log.brief(),
              Lines{"7 [DEBUG3] trelProperty (checkBuffer) - [probe] we cannot know the size of a string when "
                    "receiving, it is " +
                    lengthText});
  }
}

TEST(CheckBuffer, StringLineIsWrittenAboveLevelEightOnly) {
  Probe property(5, TREL_TYPE_STRING, 1);
  LogCapture log(8);
  EXPECT_EQ(check(property, "00000005 09 0003 616263"_hex, true), 0);
  EXPECT_EQ(log.brief(), Lines{});
  log.setLevel(9);
  EXPECT_EQ(check(property, "00000005 09 0003 616263"_hex, true), 0);
  EXPECT_EQ(log.brief().size(), 1U);
}

TEST(CheckBuffer, MalformedTlvToAReadOnlyPropertyIsToldByItsForm) {
  Probe property(5, TREL_TYPE_UINT32, 4, IFC_CARD_VAR_READ_ONLY);
  EXPECT_EQ(check(property, "00000005 01 0002 002A"_hex, true), 8);
  EXPECT_EQ(check(property, "00000005 01 0002 002A"_hex, false), 8);
}

// ----- steps 4 and 5: read or write, access ----------------------------------------------------------------------------

TEST(CheckBuffer, ReadOfAReadOnlyPropertyPasses) {
  Probe property(5, TREL_TYPE_UINT32, 4, IFC_CARD_VAR_READ_ONLY);
  const LogCapture log;
  EXPECT_EQ(check(property, "00000005 01 0004 0000002A"_hex, false), 0);
  EXPECT_EQ(property.valueAsked, 0);
  EXPECT_EQ(log.brief(), Lines{});
}

TEST(CheckBuffer, WriteOfAReadOnlyPropertyIsRefusedWithoutALineAndWithoutAskingTheValue) {
  Probe property(5, TREL_TYPE_UINT32, 4, IFC_CARD_VAR_READ_ONLY);
  property.verdict = false;
  const LogCapture log;
  EXPECT_EQ(check(property, "00000005 01 0004 0000002A"_hex, true), 10);
  EXPECT_EQ(property.valueAsked, 0);
  EXPECT_EQ(log.brief(), Lines{});
}

TEST(CheckBuffer, EveryAccessTypeButOneIsWritable) {
  for (const unsigned int access : {0U, 2U, 3U, 10U, 0x80000001U, 0xFFFFFFFFU}) {
    SCOPED_TRACE(access);
    Probe property(5, TREL_TYPE_UINT32, 4, static_cast<IfcCardVarAccessType>(access));
    EXPECT_EQ(check(property, "00000005 01 0004 0000002A"_hex, true), 0);
  }
}

TEST(CheckBuffer, WithoutCheckValueOnlyTheFormIsChecked) {
  Probe property(5);
  property.verdict = false;
  EXPECT_EQ(check(property, "00000005 01 0004 0000002A"_hex, false), 0);
  EXPECT_EQ(property.valueAsked, 0);
}

TEST(CheckBuffer, WithoutCheckValueNothingBehindTheHeadIsRead) {
  Probe property(5);
  EXPECT_EQ(check(property, "00000005 01 0004"_hex, false), 0);
}

TEST(CheckBuffer, FormAndAccessAreJudgedFromTheHeadAlone) {
  Probe readOnly(5, TREL_TYPE_UINT32, 4, IFC_CARD_VAR_READ_ONLY);
  EXPECT_EQ(check(readOnly, "00000005 01 0004"_hex, true), 10);
  EXPECT_EQ(check(readOnly, "00000005 01 0005"_hex, true), 8);
  EXPECT_EQ(check(readOnly, "00000005 02 0004"_hex, true), 6);
  EXPECT_EQ(check(readOnly, "00000006 01 0004"_hex, true), 7);
}

// ----- step 6: value ---------------------------------------------------------------------------------------------------

TEST(CheckBuffer, ValueIsAskedOnceWithItsPlaceInTheTlvAndTheReceivedLength) {
  Probe property(5, TREL_TYPE_STRING, 99);
  const ExactBlock block("00000005 09 0003 616263"_hex);
  EXPECT_EQ(property.checkBuffer(block.data(), true), 0);
  EXPECT_EQ(property.valueAsked, 1);
  EXPECT_EQ(property.askedValue, block.data() + 7);
  EXPECT_EQ(property.askedLen, 3);
}

TEST(CheckBuffer, ValueOfTheLargestLengthIsAskedWithAPositiveLength) {
  Probe property(5, TREL_TYPE_STRING, 99);
  EXPECT_EQ(check(property, "00000005 09 FFFF"_hex, true), 0);
  EXPECT_EQ(property.askedLen, 65535);
}

TEST(CheckBuffer, RefusedValueIsNineWithItsLengthInTheLine) {
  Probe property(5);
  property.verdict = false;
  const LogCapture log;
  EXPECT_EQ(check(property, "00000005 01 0004 0000002A"_hex, true), 9);
  EXPECT_EQ(
      log.brief(),
      Lines{"3 [ERROR] trelProperty (checkBuffer) - [probe] checkbuffer invalid value detected, value has len 4"});
}

TEST(CheckBuffer, RefusedStringHasItsDebugLineFirst) {
  Probe property(5, TREL_TYPE_STRING, 0);
  property.verdict = false;
  const LogCapture log;
  EXPECT_EQ(check(property, "00000005 09 0002 6162"_hex, true), 9);
  EXPECT_EQ(
      log.brief(),
      (Lines{"7 [DEBUG3] trelProperty (checkBuffer) - [probe] we cannot know the size of a string when receiving, it "
             "is 2",
             "3 [ERROR] trelProperty (checkBuffer) - [probe] checkbuffer invalid value detected, value has len 2"}));
}

TEST(CheckBuffer, ValueOutsideTheRangeOfANumberIsRefused) {
  TypeProperty<int> property(5, "offset", IFC_CARD_VAR_READ_WRITE, 3, new RangeCheckValue<int>(1, 10));
  LogCapture log(3);
  EXPECT_EQ(check(property, "00000005 05 0004 0000000B"_hex, true), 9);
  EXPECT_EQ(
      log.brief(),
      Lines{"3 [ERROR] trelProperty (checkBuffer) - [offset] checkbuffer invalid value detected, value has len 4"});
  EXPECT_EQ(check(property, "00000005 05 0004 0000000A"_hex, true), 0);
  EXPECT_EQ(check(property, "00000005 05 0004 0000000B"_hex, false), 0);
}

// ----- always ----------------------------------------------------------------------------------------------------------

TEST(CheckBuffer, ErrorLinesAreWrittenAboveLevelTwoOnlyAndTheResultIsTheSame) {
  struct Case {
    const char* rule;
    std::string tlv;
    int result;
    std::size_t lines;
  };
  const Case cases[] = {{"wrong OID", "00000006 01 0004 0000002A"_hex, 7, 1},
                        {"wrong type", "00000005 02 0004 0000002A"_hex, 6, 1},
                        {"wrong length", "00000005 01 0005 0000002A00"_hex, 8, 2},
                        {"wrong value", "00000005 01 0004 0000002A"_hex, 9, 1}};
  for (const Case& c : cases) {
    SCOPED_TRACE(c.rule);
    Probe property(5);
    property.verdict = false;
    LogCapture log(2);
    EXPECT_EQ(check(property, c.tlv, true), c.result);
    EXPECT_EQ(log.brief(), Lines{});
    log.setLevel(3);
    EXPECT_EQ(check(property, c.tlv, true), c.result);
    EXPECT_EQ(log.brief(3).size(), c.lines);
    EXPECT_EQ(log.lines().size(), c.lines);
  }
}

TEST(CheckBuffer, WrongOidLineOfAnOwnedPropertyIsWrittenAboveLevelTwoOnly) {
  OneOid object(1);
  auto* const property = new Probe(1);
  ASSERT_TRUE(object.addProp(property, 0));
  LogCapture log(2);
  EXPECT_EQ(check(*property, "00000002 01 0004 0000002A"_hex, true), 7);
  EXPECT_EQ(log.brief(), Lines{});
  log.setLevel(3);
  EXPECT_EQ(check(*property, "00000002 01 0004 0000002A"_hex, true), 7);
  EXPECT_EQ(log.brief().size(), 1U);
}

TEST(CheckBuffer, ChangesNothingWhateverTheResult) {
  Probe property(5, TREL_TYPE_UINT32, 4);
  property.eventPending = true;
  EXPECT_EQ(check(property, "00000005 01 0004 0000002A"_hex, true), 0);
  EXPECT_EQ(check(property, "00000006 01 0004 0000002A"_hex, true), 7);
  EXPECT_EQ(check(property, "00000005 02 0004 0000002A"_hex, true), 6);
  EXPECT_EQ(check(property, "00000005 01 0003 00002A"_hex, true), 8);
  property.verdict = false;
  EXPECT_EQ(check(property, "00000005 01 0004 0000002A"_hex, true), 9);
  property.accessType = IFC_CARD_VAR_READ_ONLY;
  EXPECT_EQ(check(property, "00000005 01 0004 0000002A"_hex, true), 10);
  EXPECT_EQ(property.changed, 0);
  EXPECT_TRUE(property.eventPending);
  EXPECT_EQ(property.id, 5U);
  EXPECT_EQ(property.row, 0U);
}

TEST(CheckBuffer, ValueOfANumberIsNotTakenOver) {
  TypeProperty<unsigned int> property(5, "uptime", IFC_CARD_VAR_READ_WRITE, 1U, true);
  EXPECT_EQ(check(property, "00000005 01 0004 0000002A"_hex, true), 0);
  EXPECT_EQ(property.value, 1U);
  EXPECT_FALSE(property.eventPending);
}

TEST(CheckBuffer, TlvMayLieAtAnyAddress) {
  TypeProperty<long long> property(0x01020304, "total", IFC_CARD_VAR_READ_WRITE, 0LL,
                                   new RangeCheckValue<long long>(-2, -2));
  for (std::size_t offset = 0; offset < 8; ++offset) {
    SCOPED_TRACE(offset);
    const ExactBlock block(std::string(offset, '\0') + "01020304 04 0008 FFFFFFFFFFFFFFFE"_hex);
    EXPECT_EQ(property.checkBuffer(block.data() + offset, true), 0);
  }
}

TEST(CheckBuffer, LinesComeFromTheModulesSource) {
  Probe property(5);
  const LogCapture log;
  check(property, "00000006 01 0004 0000002A"_hex, true);
  ASSERT_EQ(log.lines().size(), 1U);
  EXPECT_EQ(log.lines()[0].file, "components/trel/trelProperty.cpp");
}

}  // namespace
