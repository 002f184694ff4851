// IPv4 address and time properties: a 32-bit and a 64-bit number.

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "support/bytes.h"
#include "support/exactBlock.h"
#include "support/logCapture.h"
#include "support/propertyInterface.h"
#include "trel/trelObjects.h"
#include "trel/trelProperty.h"

namespace {

using Lines = std::vector<std::string>;

constexpr bool IS_LITTLE_ENDIAN = __BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__;

unsigned int valueOf(IpAddressProperty& property) {
  unsigned int value = 0xA5A5A5A5;
  property.get(&value);
  return value;
}

long long valueOf(UnixTimeProperty& property) {
  long long value = -0x5A5A5A5A;
  property.get(&value);
  return value;
}

std::string serialized(TrelProperty& property, std::size_t size) {
  ExactBlock block(size);
  LogCapture log;
  EXPECT_EQ(property.serialize(block.data(), block.length()), block.length());
  EXPECT_EQ(log.brief(), Lines{});
  return asText(block.view());
}

void expectTooSmall(TrelProperty& property, int size) {
  SCOPED_TRACE(size);
  ExactBlock block(size > 0 ? static_cast<std::size_t>(size) : 0);
  const std::string before = asText(block.view());
  LogCapture log;
  EXPECT_EQ(property.serialize(block.data(), size), -1);
  EXPECT_EQ(asText(block.view()), before);
  EXPECT_EQ(log.brief(), Lines{"3 [ERROR] trelProperty (serialize) - [" + property.name +
                               "] serializing buffer has not enough space left"});
}

// ----- IPv4: construction ----------------------------------------------------------------------------------------------

TEST(IpAddressProperty, BothConstructorsSetIdentityAndAccessAndClearTheRest) {
  const IpAddressProperty fromNumber(0x7FFFFF, "number", IFC_CARD_VAR_READ_ONLY, 1U, true);
  const IpAddressProperty fromText(2, "text", IFC_CARD_VAR_READ_WRITE, std::string("1.2.3.4"), false);
  EXPECT_EQ(fromNumber.id, 0x7FFFFFU);
  EXPECT_EQ(fromNumber.name, "number");
  EXPECT_EQ(fromNumber.accessType, 1U);
  EXPECT_TRUE(fromNumber.eventable);
  EXPECT_EQ(fromText.id, 2U);
  EXPECT_EQ(fromText.name, "text");
  EXPECT_EQ(fromText.accessType, 0U);
  EXPECT_FALSE(fromText.eventable);
  for (const IpAddressProperty* property : {&fromNumber, &fromText}) {
    EXPECT_EQ(property->row, 0U);
    EXPECT_FALSE(property->eventPending);
    EXPECT_EQ(property->object, nullptr);
  }
}

TEST(IpAddressProperty, IsDestroyedThroughTheBase) {
  TrelProperty* const property = new IpAddressProperty(1, "a name that is too long to lie in the object itself",
                                                       IFC_CARD_VAR_READ_WRITE, 1U, false);
  delete property;
}

TEST(IpAddressProperty, ANumberIsValueAndDefaultAndGoesOutMostSignificantByteFirst) {
  IpAddressProperty property(0x10800005, "ip", IFC_CARD_VAR_READ_WRITE, 0x0A000001U, false);
  EXPECT_EQ(valueOf(property), 0x0A000001U);
  EXPECT_TRUE(property.isDefault());
  EXPECT_EQ(serialized(property, 11), asText("10800005 0A 0004 0A000001"_hex));
}

// Differs by byte order: the four bytes of the text are the memory image of the number, so that on a little-endian host an
// address given as text goes out reversed, while one given as a number does not.
TEST(IpAddressProperty, ATextIsTheMemoryImageOfValueAndDefault) {
  LogCapture log;
  IpAddressProperty property(0x10800005, "ip", IFC_CARD_VAR_READ_WRITE, std::string("10.0.0.1"), false);
  EXPECT_EQ(log.brief(), Lines{});
  EXPECT_EQ(valueOf(property), IS_LITTLE_ENDIAN ? 0x0100000AU : 0x0A000001U);
  EXPECT_TRUE(property.isDefault());
  EXPECT_EQ(serialized(property, 11),
            IS_LITTLE_ENDIAN ? asText("10800005 0A 0004 0100000A"_hex) : asText("10800005 0A 0004 0A000001"_hex));
}

// Differs by byte order, as above.
TEST(IpAddressProperty, EveryByteOfATextCounts) {
  IpAddressProperty property(0x10800005, "ip", IFC_CARD_VAR_READ_WRITE, std::string("192.168.254.3"), false);
  EXPECT_EQ(valueOf(property), IS_LITTLE_ENDIAN ? 0x03FEA8C0U : 0xC0A8FE03U);
  property.set(5U);
  property.setToDefault();
  EXPECT_EQ(valueOf(property), IS_LITTLE_ENDIAN ? 0x03FEA8C0U : 0xC0A8FE03U);
}

TEST(IpAddressProperty, WhatIsNoDottedQuadGivesZeroWithALine) {
  for (const std::string text : {"", "no address", "256.0.0.1", "10.0.0", "10.0.0.1.2", " 10.0.0.1", "10.0.0.1 ", "::1",
                                 "010.0.0.1", "10.0.0.0x1", "167772161", "%s%n"}) {
    SCOPED_TRACE(text);
    LogCapture log;
    IpAddressProperty property(1, "ip", IFC_CARD_VAR_READ_WRITE, text, true);
    EXPECT_EQ(valueOf(property), 0U);
    EXPECT_TRUE(property.isDefault());
    EXPECT_FALSE(property.eventPending);
    EXPECT_EQ(log.brief(), Lines{"3 [ERROR] trelProperty (IpAddressProperty) - [ip] Invalid default value (" + text +
                                 "). Default set to 0.\n"});
  }
}

TEST(IpAddressProperty, TheLineOfAnInvalidDefaultIsWrittenAboveLevelTwoOnlyAndNamesItsSource) {
  LogCapture log(2);
  const IpAddressProperty unheard(1, "ip", IFC_CARD_VAR_READ_WRITE, std::string("no address"), false);
  EXPECT_EQ(log.brief(), Lines{});
  log.setLevel(3);
  const IpAddressProperty heard(1, "ip", IFC_CARD_VAR_READ_WRITE, std::string("no address"), false);
  ASSERT_EQ(log.lines().size(), 1U);
  EXPECT_EQ(log.lines()[0].format, "[ERROR] %s:%d (%s) - [%s] Invalid default value (%s). Default set to 0.\n");
  EXPECT_EQ(log.lines()[0].file, "components/trel/trelProperty.cpp");
}

// ----- IPv4: value and default -----------------------------------------------------------------------------------------

TEST(IpAddressProperty, HasFourBytesAndTypeTen) {
  IpAddressProperty property(1, "ip", IFC_CARD_VAR_READ_WRITE, 1U, false);
  EXPECT_EQ(property.length(), 4);
  EXPECT_EQ(property.getType(), 10);
}

TEST(IpAddressProperty, SetToDefaultBringsBackTheDefaultWithoutAnEvent) {
  IpAddressProperty property(1, "ip", IFC_CARD_VAR_READ_WRITE, 0xC0A80001U, true);
  property.set(0xC0A80002U);
  EXPECT_FALSE(property.isDefault());
  EXPECT_TRUE(property.sendEvent());
  property.setToDefault();
  EXPECT_TRUE(property.isDefault());
  EXPECT_EQ(valueOf(property), 0xC0A80001U);
  EXPECT_FALSE(property.eventPending);
}

TEST(IpAddressProperty, SetOfTheSameValueRaisesNoEventAndSetOfAnotherDoes) {
  IpAddressProperty property(1, "ip", IFC_CARD_VAR_READ_WRITE, 0x0A000001U, true);
  property.set(0x0A000001U);
  EXPECT_FALSE(property.eventPending);
  property.set(0x8A000001U);
  EXPECT_TRUE(property.eventPending);
  EXPECT_EQ(valueOf(property), 0x8A000001U);
  property.set(0x8A000001U);
  EXPECT_TRUE(property.eventPending) << "a pending event stays until it is handed out";
  EXPECT_TRUE(property.sendEvent());
  EXPECT_FALSE(property.sendEvent());
}

TEST(IpAddressProperty, SetOfAnotherValueRaisesNoEventOfAPropertyThatIsNotEventable) {
  IpAddressProperty property(1, "ip", IFC_CARD_VAR_READ_WRITE, 0x0A000001U, false);
  property.set(0x0A000002U);
  EXPECT_FALSE(property.eventPending);
  EXPECT_EQ(valueOf(property), 0x0A000002U);
}

TEST(IpAddressProperty, EveryAccessorButThatOfUnsigned32BitIsRefusedAndChangesNothing) {
  TrelTable table("table", 3, false, 6);
  auto* const property = new IpAddressProperty(2, "ip", IFC_CARD_VAR_READ_WRITE, 0x0A000001U, true);
  ASSERT_TRUE(table.addProp(property, 5));
  expectOtherAccessorsRefused(*property, "uint32_t", "uint32_t", "(property 2, row 5)");
  EXPECT_EQ(valueOf(*property), 0x0A000001U);
  EXPECT_FALSE(property->eventPending);
}

// ----- IPv4: record and text -------------------------------------------------------------------------------------------

TEST(IpAddressProperty, SerializesTheOidThatTheOwnerComposes) {
  TrelTable table("table", 3, false, 6);
  auto* const property = new IpAddressProperty(2, "ip", IFC_CARD_VAR_READ_WRITE, 0xC0A8FE03U, true);
  ASSERT_TRUE(table.addProp(property, 5));
  ExactBlock block(13);
  EXPECT_EQ(property->serialize(block.data(), block.length()), 11);
  EXPECT_EQ(asText(block.view()), asText("40C08005 0A 0004 C0A8FE03 A5A5"_hex));
}

TEST(IpAddressProperty, ElevenBytesAreEnoughAndTenAreNot) {
  IpAddressProperty property(0x10800005, "ip", IFC_CARD_VAR_READ_WRITE, 0xC0A8FE03U, true);
  EXPECT_EQ(serialized(property, 11), asText("10800005 0A 0004 C0A8FE03"_hex));
  expectTooSmall(property, 10);
  expectTooSmall(property, 0);
  expectTooSmall(property, -1);
}

TEST(IpAddressProperty, DeserializeTakesABigEndianNumberAndRaisesNoEvent) {
  IpAddressProperty property(0x10800005, "ip", IFC_CARD_VAR_READ_WRITE, 1U, true);
  const ExactBlock record("10800005 0A 0004 C0A8FE03"_hex);
  LogCapture log;
  EXPECT_EQ(property.deserialize(record.data()), 11);
  EXPECT_EQ(valueOf(property), 0xC0A8FE03U);
  EXPECT_FALSE(property.eventPending);
  EXPECT_EQ(log.brief(), Lines{});
}

TEST(IpAddressProperty, DeserializeTakesFourBytesWhateverTheLengthFieldSaysAndReturnsTheLengthFieldAndSeven) {
  IpAddressProperty property(0x10800005, "ip", IFC_CARD_VAR_READ_WRITE, 1U, true);
  const ExactBlock sayingTwo("FFFFFFFF 00 0002 01020304"_hex);
  EXPECT_EQ(property.deserialize(sayingTwo.data()), 9);
  EXPECT_EQ(valueOf(property), 0x01020304U);
  const ExactBlock sayingMany("10800005 0A FFFF 05060708"_hex);
  EXPECT_EQ(property.deserialize(sayingMany.data()), 65542);
  EXPECT_EQ(valueOf(property), 0x05060708U);
}

TEST(IpAddressProperty, OnlyARecordOfFourBytesAndTypeTenIsAccepted) {
  IpAddressProperty property(0x10800005, "ip", IFC_CARD_VAR_READ_WRITE, 1U, true);
  const ExactBlock good("10800005 0A 0004 C0A8FE03"_hex);
  const ExactBlock longer("10800005 0A 0005 C0A8FE0304"_hex);
  const ExactBlock number("10800005 01 0004 C0A8FE03"_hex);
  EXPECT_EQ(property.checkBuffer(good.data(), true), 0);
  EXPECT_EQ(property.checkBuffer(longer.data(), true), 8);
  EXPECT_EQ(property.checkBuffer(number.data(), true), 6);
  EXPECT_EQ(valueOf(property), 1U);
}

class IpSentAsNumber : public IpAddressProperty {
 public:
  using IpAddressProperty::IpAddressProperty;
  int getType() override { return TREL_TYPE_UINT32; }
};

TEST(IpAddressProperty, TheTypeOfTheRecordIsThatOfADerivedClass) {
  IpSentAsNumber property(0x10800005, "ip", IFC_CARD_VAR_READ_WRITE, 0xC0A8FE03U, false);
  EXPECT_EQ(serialized(property, 11), asText("10800005 01 0004 C0A8FE03"_hex));
}

TEST(IpAddressProperty, StrIsOneLineOfIdNameAndTwoHexadecimalNumbers) {
  IpAddressProperty property(17, "ip", IFC_CARD_VAR_READ_WRITE, 0x0A00000FU, true);
  property.set(0xC0A8FE03U);
  EXPECT_EQ(property.str(), " 17 |                                       ip :   c0a8fe03(def = a00000f)\n");
  property.set(0U);
  EXPECT_EQ(property.str(), " 17 |                                       ip :          0(def = a00000f)\n");
}

// ----- time ------------------------------------------------------------------------------------------------------------

TEST(UnixTimeProperty, ConstructorSetsIdentityAccessAndValueAndClearsTheRest) {
  UnixTimeProperty property(0x7FFFFF, "time", IFC_CARD_VAR_READ_ONLY, -2LL, true);
  EXPECT_EQ(property.id, 0x7FFFFFU);
  EXPECT_EQ(property.name, "time");
  EXPECT_EQ(property.accessType, 1U);
  EXPECT_TRUE(property.eventable);
  EXPECT_EQ(property.row, 0U);
  EXPECT_FALSE(property.eventPending);
  EXPECT_EQ(property.object, nullptr);
  EXPECT_EQ(valueOf(property), -2LL);
  EXPECT_TRUE(property.isDefault());
  const UnixTimeProperty quiet(1, "quiet", IFC_CARD_VAR_READ_WRITE, 0LL, false);
  EXPECT_EQ(quiet.accessType, 0U);
  EXPECT_FALSE(quiet.eventable);
}

TEST(UnixTimeProperty, IsDestroyedThroughTheBase) {
  TrelProperty* const property = new UnixTimeProperty(1, "a name that is too long to lie in the object itself",
                                                      IFC_CARD_VAR_READ_WRITE, 1LL, false);
  delete property;
}

TEST(UnixTimeProperty, HasEightBytesAndTypeEleven) {
  UnixTimeProperty property(1, "time", IFC_CARD_VAR_READ_WRITE, 0LL, false);
  EXPECT_EQ(property.length(), 8);
  EXPECT_EQ(property.getType(), 11);
}

TEST(UnixTimeProperty, SetToDefaultBringsBackTheDefaultWithoutAnEvent) {
  UnixTimeProperty property(1, "time", IFC_CARD_VAR_READ_WRITE, 0x1122334455667788LL, true);
  property.set(1LL);
  EXPECT_FALSE(property.isDefault());
  EXPECT_TRUE(property.sendEvent());
  property.setToDefault();
  EXPECT_TRUE(property.isDefault());
  EXPECT_EQ(valueOf(property), 0x1122334455667788LL);
  EXPECT_FALSE(property.eventPending);
}

TEST(UnixTimeProperty, AllSixtyFourBitsDecideWhetherAValueIsTheDefaultOrAnother) {
  UnixTimeProperty property(1, "time", IFC_CARD_VAR_READ_WRITE, 5LL, true);
  for (const long long other : {0x100000005LL, 4LL, -5LL, 0x4000000000000005LL}) {
    SCOPED_TRACE(other);
    property.set(other);
    EXPECT_TRUE(property.sendEvent());
    EXPECT_FALSE(property.isDefault());
    EXPECT_EQ(valueOf(property), other);
  }
}

TEST(UnixTimeProperty, SetOfTheSameValueRaisesNoEvent) {
  UnixTimeProperty property(1, "time", IFC_CARD_VAR_READ_WRITE, 1700000000LL, true);
  property.set(1700000000LL);
  EXPECT_FALSE(property.eventPending);
  property.set(1700000001LL);
  EXPECT_TRUE(property.eventPending);
}

TEST(UnixTimeProperty, SetOfAnotherValueRaisesNoEventOfAPropertyThatIsNotEventable) {
  UnixTimeProperty property(1, "time", IFC_CARD_VAR_READ_WRITE, 1LL, false);
  property.set(2LL);
  EXPECT_FALSE(property.eventPending);
  EXPECT_EQ(valueOf(property), 2LL);
}

TEST(UnixTimeProperty, EveryAccessorButThatOfSigned64BitIsRefusedAndChangesNothing) {
  TrelTable table("table", 3, false, 6);
  auto* const property = new UnixTimeProperty(2, "time", IFC_CARD_VAR_READ_WRITE, 1700000000LL, true);
  ASSERT_TRUE(table.addProp(property, 5));
  expectOtherAccessorsRefused(*property, "int64_t", "int64_t", "(property 2, row 5)");
  EXPECT_EQ(valueOf(*property), 1700000000LL);
  EXPECT_FALSE(property->eventPending);
}

TEST(UnixTimeProperty, SerializesSixtyFourBitsBigEndianIntoFifteenBytesAndFourteenAreTooFew) {
  UnixTimeProperty property(0x10800005, "time", IFC_CARD_VAR_READ_WRITE, 0x0102030405060708LL, true);
  EXPECT_EQ(serialized(property, 15), asText("10800005 0B 0008 0102030405060708"_hex));
  property.set(-2LL);
  EXPECT_EQ(serialized(property, 15), asText("10800005 0B 0008 FFFFFFFFFFFFFFFE"_hex));
  expectTooSmall(property, 14);
  expectTooSmall(property, 0);
  expectTooSmall(property, -1);
}

TEST(UnixTimeProperty, SerializesTheOidThatTheOwnerComposes) {
  TrelTable table("table", 3, false, 6);
  auto* const property = new UnixTimeProperty(2, "time", IFC_CARD_VAR_READ_WRITE, 1LL, true);
  ASSERT_TRUE(table.addProp(property, 5));
  ExactBlock block(17);
  EXPECT_EQ(property->serialize(block.data(), block.length()), 15);
  EXPECT_EQ(asText(block.view()), asText("40C08005 0B 0008 0000000000000001 A5A5"_hex));
}

TEST(UnixTimeProperty, DeserializeTakesABigEndianNumberAndRaisesNoEvent) {
  UnixTimeProperty property(0x10800005, "time", IFC_CARD_VAR_READ_WRITE, 1LL, true);
  const ExactBlock record("10800005 0B 0008 0102030405060708"_hex);
  const ExactBlock negative("10800005 0B 0008 FFFFFFFFFFFFFFFE"_hex);
  LogCapture log;
  EXPECT_EQ(property.deserialize(record.data()), 15);
  EXPECT_EQ(valueOf(property), 0x0102030405060708LL);
  EXPECT_EQ(property.deserialize(negative.data()), 15);
  EXPECT_EQ(valueOf(property), -2LL);
  EXPECT_FALSE(property.eventPending);
  EXPECT_EQ(log.brief(), Lines{});
}

TEST(UnixTimeProperty, DeserializeTakesEightBytesWhateverTheLengthFieldSaysAndReturnsTheLengthFieldAndSeven) {
  UnixTimeProperty property(0x10800005, "time", IFC_CARD_VAR_READ_WRITE, 1LL, true);
  const ExactBlock sayingTwo("FFFFFFFF 00 0002 0102030405060708"_hex);
  EXPECT_EQ(property.deserialize(sayingTwo.data()), 9);
  EXPECT_EQ(valueOf(property), 0x0102030405060708LL);
  const ExactBlock sayingMany("10800005 0B FFFF 1112131415161718"_hex);
  EXPECT_EQ(property.deserialize(sayingMany.data()), 65542);
  EXPECT_EQ(valueOf(property), 0x1112131415161718LL);
}

TEST(UnixTimeProperty, OnlyARecordOfEightBytesAndTypeElevenIsAccepted) {
  UnixTimeProperty property(0x10800005, "time", IFC_CARD_VAR_READ_WRITE, 1LL, true);
  const ExactBlock good("10800005 0B 0008 0102030405060708"_hex);
  const ExactBlock shorter("10800005 0B 0004 01020304"_hex);
  const ExactBlock number("10800005 04 0008 0102030405060708"_hex);
  EXPECT_EQ(property.checkBuffer(good.data(), true), 0);
  EXPECT_EQ(property.checkBuffer(shorter.data(), true), 8);
  EXPECT_EQ(property.checkBuffer(number.data(), true), 6);
}

class TimeSentAsNumber : public UnixTimeProperty {
 public:
  using UnixTimeProperty::UnixTimeProperty;
  int getType() override { return TREL_TYPE_INT64; }
};

TEST(UnixTimeProperty, TheTypeOfTheRecordIsThatOfADerivedClass) {
  TimeSentAsNumber property(0x10800005, "time", IFC_CARD_VAR_READ_WRITE, 1LL, false);
  EXPECT_EQ(serialized(property, 15), asText("10800005 04 0008 0000000000000001"_hex));
}

TEST(UnixTimeProperty, StrIsOneLineOfIdNameAndTwoSignedNumbers) {
  UnixTimeProperty property(123, "time", IFC_CARD_VAR_READ_WRITE, 1700000000LL, true);
  property.set(-9223372036854775807LL - 1);
  EXPECT_EQ(property.str(),
            "123 |                                     time : -9223372036854775808(def = 1700000000)\n");
}

}  // namespace
