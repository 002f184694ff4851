// MAC address properties: six bytes that travel as they are.

#include <gtest/gtest.h>

#include <string>
#include <string_view>
#include <vector>

#include "support/bytes.h"
#include "support/exactBlock.h"
#include "support/logCapture.h"
#include "support/propertyInterface.h"
#include "trel/trelObjects.h"
#include "trel/trelProperty.h"

namespace {

using Lines = std::vector<std::string>;

unsigned char* bytesOf(ExactBlock& block) { return reinterpret_cast<unsigned char*>(block.data()); }

MacAddressProperty* newMac(std::string_view sixBytes, bool eventable) {
  ExactBlock bytes(sixBytes);
  return new MacAddressProperty(0x10800005, "mac", IFC_CARD_VAR_READ_WRITE, bytesOf(bytes), eventable);
}

// A property outside any object, released at the end.
class Mac {
 public:
  explicit Mac(std::string_view sixBytes, bool eventable = true) : property(newMac(sixBytes, eventable)) {}
  ~Mac() { delete property; }
  Mac(const Mac&) = delete;
  Mac& operator=(const Mac&) = delete;
  MacAddressProperty* operator->() const { return property; }
  // Hands the property a block of exactly these bytes.
  void set(std::string_view bytes) const {
    ExactBlock block(bytes);
    property->set(bytesOf(block), static_cast<unsigned int>(block.size()));
  }
  MacAddressProperty* const property;
};

std::string valueOf(MacAddressProperty& property) {
  ExactBlock out(6);
  property.get(bytesOf(out));
  return asText(out.view());
}
std::string valueOf(const Mac& mac) { return valueOf(*mac.property); }

// ----- construction from bytes -----------------------------------------------------------------------------------------

TEST(MacAddressProperty, BothConstructorsSetIdentityAndAccessAndClearTheRest) {
  unsigned char bytes[6] = {1, 2, 3, 4, 5, 6};
  const MacAddressProperty fromBytes(0x7FFFFF, "bytes", IFC_CARD_VAR_READ_ONLY, bytes, true);
  const MacAddressProperty fromText(2, "text", IFC_CARD_VAR_READ_WRITE, std::string("1:2:3:4:5:6"), false);
  EXPECT_EQ(fromBytes.id, 0x7FFFFFU);
  EXPECT_EQ(fromBytes.name, "bytes");
  EXPECT_EQ(fromBytes.accessType, 1U);
  EXPECT_TRUE(fromBytes.eventable);
  EXPECT_EQ(fromText.id, 2U);
  EXPECT_EQ(fromText.name, "text");
  EXPECT_EQ(fromText.accessType, 0U);
  EXPECT_FALSE(fromText.eventable);
  for (const MacAddressProperty* property : {&fromBytes, &fromText}) {
    EXPECT_EQ(property->row, 0U);
    EXPECT_FALSE(property->eventPending);
    EXPECT_EQ(property->object, nullptr);
  }
}

TEST(MacAddressProperty, SixDefaultBytesAreCopiedToValueAndDefault) {
  ExactBlock bytes("00 1A 2B 3C 4D FE"_hex);
  MacAddressProperty property(1, "mac", IFC_CARD_VAR_READ_WRITE, bytesOf(bytes), false);
  bytes.data()[0] = 0x77;
  EXPECT_EQ(valueOf(property), "00 1A 2B 3C 4D FE");
  EXPECT_TRUE(property.isDefault());
  unsigned char other[6] = {9, 9, 9, 9, 9, 9};
  property.set(other, 6);
  property.setToDefault();
  EXPECT_EQ(valueOf(property), "00 1A 2B 3C 4D FE");
}

TEST(MacAddressProperty, NullDefaultBytesGiveZeros) {
  MacAddressProperty property(1, "mac", IFC_CARD_VAR_READ_WRITE, static_cast<unsigned char*>(nullptr), false);
  EXPECT_EQ(valueOf(property), "00 00 00 00 00 00");
  EXPECT_TRUE(property.isDefault());
}

TEST(MacAddressProperty, IsDestroyedThroughTheBase) {
  TrelProperty* const property =
      new MacAddressProperty(1, "a name that is too long to lie in the object itself", IFC_CARD_VAR_READ_WRITE,
                             static_cast<unsigned char*>(nullptr), false);
  delete property;
}

// ----- construction from text ------------------------------------------------------------------------------------------

struct TextRow {
  const char* text;
  const char* value;
};

void expectTaken(const TextRow& row) {
  SCOPED_TRACE(row.text);
  LogCapture log;
  MacAddressProperty property(1, "mac", IFC_CARD_VAR_READ_WRITE, std::string(row.text), false);
  EXPECT_EQ(valueOf(property), row.value);
  EXPECT_TRUE(property.isDefault());
  property.setToDefault();
  EXPECT_EQ(valueOf(property), row.value);
  EXPECT_EQ(log.brief(), Lines{});
}

TEST(MacAddressProperty, SixHexadecimalFieldsOfEitherCaseBecomeTheBytes) {
  expectTaken({"00:1a:2B:3c:4D:5e", "00 1A 2B 3C 4D 5E"});
  expectTaken({"FF:ff:0:1:02:A", "FF FF 00 01 02 0A"});
}

TEST(MacAddressProperty, AFieldWiderThanAByteKeepsItsLowEightBits) {
  expectTaken({"1ff:1a:2b:3c:4d:5e", "FF 1A 2B 3C 4D 5E"});
  expectTaken({"00:1a:2b:3c:4d:12345678", "00 1A 2B 3C 4D 78"});
  expectTaken({"100:200:300:400:500:600", "00 00 00 00 00 00"});
}

// What a formatted read of hexadecimal numbers takes along: blanks before a field, a prefix, whatever follows the sixth.
TEST(MacAddressProperty, TextAroundSixReadableFieldsIsTolerated) {
  expectTaken({" 00: 1a:2b:3c:4d:5e", "00 1A 2B 3C 4D 5E"});
  expectTaken({"0x10:0X1a:2b:3c:4d:5e", "10 1A 2B 3C 4D 5E"});
  expectTaken({"00:1a:2b:3c:4d:5e:6f", "00 1A 2B 3C 4D 5E"});
  expectTaken({"00:1a:2b:3c:4d:5e and more", "00 1A 2B 3C 4D 5E"});
}

TEST(MacAddressProperty, AnEmptyTextGivesZerosWithoutALine) { expectTaken({"", "00 00 00 00 00 00"}); }

TEST(MacAddressProperty, AnyOtherTextGivesZerosWithALine) {
  for (const std::string text :
       {"00:1a:2b", "00:1a:2b:3c:4d", "00:1a:2b:3c:4d:", "no address", "00:1a:2b:3c:4d:zz", " ", "00-1a-2b-3c-4d-5e",
        "001a2b3c4d5e", "00 :1a:2b:3c:4d:5e", ":1a:2b:3c:4d:5e", "%s%n"}) {
    SCOPED_TRACE(text);
    LogCapture log;
    MacAddressProperty property(1, "mac", IFC_CARD_VAR_READ_WRITE, text, false);
    EXPECT_EQ(valueOf(property), "00 00 00 00 00 00");
    EXPECT_TRUE(property.isDefault());
    EXPECT_EQ(log.brief(), Lines{"3 [ERROR] trelProperty (MacAddressProperty) - [mac] Invalid default value (" + text +
                                 "). Default set to 0.\n"});
  }
}

TEST(MacAddressProperty, TheLineOfAnInvalidDefaultIsWrittenAboveLevelTwoOnlyAndNamesItsSource) {
  LogCapture log(2);
  const MacAddressProperty unheard(1, "mac", IFC_CARD_VAR_READ_WRITE, std::string("no address"), false);
  EXPECT_EQ(log.brief(), Lines{});
  log.setLevel(3);
  const MacAddressProperty heard(1, "mac", IFC_CARD_VAR_READ_WRITE, std::string("no address"), false);
  ASSERT_EQ(log.lines().size(), 1U);
  EXPECT_EQ(log.lines()[0].format, "[ERROR] %s:%d (%s) - [%s] Invalid default value (%s). Default set to 0.\n");
  EXPECT_EQ(log.lines()[0].file, "components/trel/trelProperty.cpp");
}

// ----- value and default -----------------------------------------------------------------------------------------------

TEST(MacAddressProperty, HasSixBytesAndTypeThirteen) {
  const Mac mac("01 02 03 04 05 06"_hex);
  EXPECT_EQ(mac->length(), 6);
  EXPECT_EQ(mac->getType(), 13);
}

TEST(MacAddressProperty, GetCopiesSixBytesAndNoMore) {
  const Mac mac("01 02 03 04 05 06"_hex);
  ExactBlock out(8);
  mac->get(bytesOf(out));
  EXPECT_EQ(asText(out.view()), "01 02 03 04 05 06 A5 A5");
}

TEST(MacAddressProperty, EachOfTheSixBytesDecidesWhetherTheValueIsTheDefault) {
  const Mac mac("01 02 03 04 05 06"_hex);
  for (const std::string& other : {"FF 02 03 04 05 06"_hex, "01 FF 03 04 05 06"_hex, "01 02 FF 04 05 06"_hex,
                                   "01 02 03 FF 05 06"_hex, "01 02 03 04 FF 06"_hex, "01 02 03 04 05 FF"_hex}) {
    SCOPED_TRACE(asText(other));
    mac.set(other);
    EXPECT_FALSE(mac->isDefault());
    mac->setToDefault();
    EXPECT_TRUE(mac->isDefault());
    EXPECT_EQ(valueOf(mac), "01 02 03 04 05 06");
  }
}

TEST(MacAddressProperty, SetToDefaultRaisesNoEvent) {
  const Mac mac("01 02 03 04 05 06"_hex);
  mac.set("09 09 09 09 09 09"_hex);
  mac->setToDefault();
  mac->setToDefault();
  EXPECT_FALSE(mac->eventPending);
}

// The reverse of every other kind.
TEST(MacAddressProperty, SetOfTheSameSixBytesRaisesTheEventAndSetOfOtherBytesDoesNot) {
  const Mac mac("01 02 03 04 05 06"_hex);
  mac.set("01 02 03 04 05 07"_hex);
  EXPECT_FALSE(mac->eventPending);
  EXPECT_EQ(valueOf(mac), "01 02 03 04 05 07");
  mac.set("01 02 03 04 05 07"_hex);
  EXPECT_TRUE(mac->eventPending);
  EXPECT_EQ(valueOf(mac), "01 02 03 04 05 07");
}

TEST(MacAddressProperty, EachOfTheSixBytesDecidesWhetherTheValueIsTheSame) {
  for (const std::string& other : {"FF 02 03 04 05 06"_hex, "01 FF 03 04 05 06"_hex, "01 02 FF 04 05 06"_hex,
                                   "01 02 03 FF 05 06"_hex, "01 02 03 04 FF 06"_hex, "01 02 03 04 05 FF"_hex}) {
    SCOPED_TRACE(asText(other));
    const Mac mac("01 02 03 04 05 06"_hex);
    mac.set(other);
    EXPECT_FALSE(mac->eventPending);
    EXPECT_EQ(valueOf(mac), asText(other));
  }
}

TEST(MacAddressProperty, NoEventIsRaisedOfAPropertyThatIsNotEventable) {
  const Mac mac("01 02 03 04 05 06"_hex, false);
  mac.set("01 02 03 04 05 06"_hex);
  EXPECT_FALSE(mac->eventPending);
  mac.set("01 02 03 04 05 07"_hex);
  EXPECT_FALSE(mac->eventPending);
}

TEST(MacAddressProperty, AChangingSetLeavesAPendingEventPending) {
  const Mac mac("01 02 03 04 05 06"_hex);
  mac->eventPending = true;
  mac.set("09 09 09 09 09 09"_hex);
  EXPECT_TRUE(mac->eventPending);
}

TEST(MacAddressProperty, SetOfFewerBytesChangesThoseAloneAndReadsNoMore) {
  const Mac mac("01 02 03 04 05 06"_hex);
  mac.set("AA BB CC"_hex);
  EXPECT_EQ(valueOf(mac), "AA BB CC 04 05 06");
  mac.set("");
  EXPECT_EQ(valueOf(mac), "AA BB CC 04 05 06");
  EXPECT_FALSE(mac->eventPending);
}

TEST(MacAddressProperty, BytesThatAreNotGivenCountAsZeroInTheComparison) {
  const Mac endsInZeros("01 02 03 00 00 00"_hex);
  endsInZeros.set("01 02 03"_hex);
  EXPECT_TRUE(endsInZeros->eventPending);
  EXPECT_EQ(valueOf(endsInZeros), "01 02 03 00 00 00");
  const Mac endsInNumbers("01 02 03 04 05 06"_hex);
  endsInNumbers.set("01 02 03"_hex);
  EXPECT_FALSE(endsInNumbers->eventPending);
  EXPECT_EQ(valueOf(endsInNumbers), "01 02 03 04 05 06");
  const Mac zeros("00 00 00 00 00 00"_hex);
  zeros.set("");
  EXPECT_TRUE(zeros->eventPending);
}

TEST(MacAddressProperty, SetOfMoreBytesWritesSixAndLeavesTheDefault) {
  const Mac mac("01 02 03 04 05 06"_hex);
  mac.set("A1 A2 A3 A4 A5 A6 A7 A8 A9 AA AB AC AD AE"_hex);
  EXPECT_EQ(valueOf(mac), "A1 A2 A3 A4 A5 A6");
  mac->setToDefault();
  EXPECT_EQ(valueOf(mac), "01 02 03 04 05 06");
}

TEST(MacAddressProperty, SetWithoutDataChangesNothing) {
  const Mac mac("01 02 03 04 05 06"_hex);
  mac->set(nullptr, 6);
  EXPECT_EQ(valueOf(mac), "01 02 03 04 05 06");
  EXPECT_FALSE(mac->eventPending);
}

TEST(MacAddressProperty, TheFirstSixOfMoreBytesAreCompared) {
  const Mac mac("01 02 03 04 05 06"_hex);
  mac.set("01 02 03 04 05 06 07 08"_hex);
  EXPECT_TRUE(mac->eventPending);
}

// ----- accessors of other types ----------------------------------------------------------------------------------------

TEST(MacAddressProperty, IsReadByTheByteGetterAndSetByTheBytesSetterAndRefusesTheOthers) {
  TrelTable table("table", 3, false, 6);
  MacAddressProperty* const property = newMac("01 02 03 04 05 06"_hex, true);
  property->id = 2;
  ASSERT_TRUE(table.addProp(property, 5));
  expectOtherAccessorsRefused(*property, "uint8_t", "array of uint8_t", "(property 2, row 5)");
  EXPECT_EQ(valueOf(*property), "01 02 03 04 05 06");
  EXPECT_FALSE(property->eventPending);
}

// ----- record ----------------------------------------------------------------------------------------------------------

TEST(MacAddressProperty, SerializesTheSixBytesUnchangedIntoThirteen) {
  const Mac mac("00 1A 2B 3C 4D 5E"_hex);
  ExactBlock block(13);
  LogCapture log;
  EXPECT_EQ(mac->serialize(block.data(), block.length()), 13);
  EXPECT_EQ(asText(block.view()), asText("10800005 0D 0006 001A2B3C4D5E"_hex));
  EXPECT_EQ(log.brief(), Lines{});
}

TEST(MacAddressProperty, SerializesTheOidThatTheOwnerComposes) {
  TrelTable table("table", 3, false, 6);
  MacAddressProperty* const property = newMac("01 02 03 04 05 06"_hex, true);
  property->id = 2;
  ASSERT_TRUE(table.addProp(property, 5));
  ExactBlock block(15);
  EXPECT_EQ(property->serialize(block.data(), block.length()), 13);
  EXPECT_EQ(asText(block.view()), asText("40C08005 0D 0006 010203040506 A5A5"_hex));
}

TEST(MacAddressProperty, TwelveBytesAreTooFew) {
  const Mac mac("00 1A 2B 3C 4D 5E"_hex);
  for (const int size : {12, 0, -1}) {
    SCOPED_TRACE(size);
    ExactBlock block(size > 0 ? static_cast<std::size_t>(size) : 0);
    const std::string before = asText(block.view());
    LogCapture log;
    EXPECT_EQ(mac->serialize(block.data(), size), -1);
    EXPECT_EQ(asText(block.view()), before);
    EXPECT_EQ(log.brief(),
              Lines{"3 [ERROR] trelProperty (serialize) - [mac] serializing buffer has not enough space left"});
  }
}

TEST(MacAddressProperty, DeserializeTakesSixBytesAndRaisesNoEvent) {
  const Mac mac("01 02 03 04 05 06"_hex);
  const ExactBlock record("10800005 0D 0006 A1A2A3A4A5A6"_hex);
  LogCapture log;
  EXPECT_EQ(mac->deserialize(record.data()), 13);
  EXPECT_EQ(valueOf(mac), "A1 A2 A3 A4 A5 A6");
  EXPECT_EQ(mac->deserialize(record.data()), 13);
  EXPECT_FALSE(mac->eventPending);
  EXPECT_FALSE(mac->isDefault());
  EXPECT_EQ(log.brief(), Lines{});
}

TEST(MacAddressProperty, DeserializeTakesSixBytesWhateverTheLengthFieldSaysAndReturnsTheLengthFieldAndSeven) {
  const Mac mac("01 02 03 04 05 06"_hex);
  const ExactBlock sayingTwo("FFFFFFFF 00 0002 A1A2A3A4A5A6"_hex);
  EXPECT_EQ(mac->deserialize(sayingTwo.data()), 9);
  EXPECT_EQ(valueOf(mac), "A1 A2 A3 A4 A5 A6");
  const ExactBlock sayingMany("10800005 0D FFFF B1B2B3B4B5B6"_hex);
  EXPECT_EQ(mac->deserialize(sayingMany.data()), 65542);
  EXPECT_EQ(valueOf(mac), "B1 B2 B3 B4 B5 B6");
}

TEST(MacAddressProperty, OnlyARecordOfSixBytesAndTypeThirteenIsAccepted) {
  const Mac mac("01 02 03 04 05 06"_hex);
  const ExactBlock good("10800005 0D 0006 A1A2A3A4A5A6"_hex);
  const ExactBlock shorter("10800005 0D 0005 A1A2A3A4A5"_hex);
  const ExactBlock bytes("10800005 0C 0006 A1A2A3A4A5A6"_hex);
  EXPECT_EQ(mac->checkBuffer(good.data(), true), 0);
  EXPECT_EQ(mac->checkBuffer(shorter.data(), true), 8);
  EXPECT_EQ(mac->checkBuffer(bytes.data(), true), 6);
  mac->accessType = IFC_CARD_VAR_READ_ONLY;
  EXPECT_EQ(mac->checkBuffer(good.data(), true), 10);
  EXPECT_EQ(mac->checkBuffer(good.data(), false), 0);
}

class MacSentAsBytes : public MacAddressProperty {
 public:
  using MacAddressProperty::MacAddressProperty;
  int getType() override { return TREL_TYPE_BYTE_ARRAY; }
};

TEST(MacAddressProperty, TheTypeOfTheRecordIsThatOfADerivedClass) {
  MacSentAsBytes property(0x10800005, "mac", IFC_CARD_VAR_READ_WRITE, std::string("1:2:3:4:5:6"), false);
  ExactBlock block(13);
  EXPECT_EQ(property.serialize(block.data(), block.length()), 13);
  EXPECT_EQ(asText(block.view()), asText("10800005 0C 0006 010203040506"_hex));
}

// ----- text ------------------------------------------------------------------------------------------------------------

TEST(MacAddressProperty, StrIsOneLineOfIdNameAndTwoTimesSixHexadecimalBytes) {
  const Mac mac("00 1A 2B 3C 4D FE"_hex);
  mac->id = 7;
  mac.set("0A 00 FF 10 01 02"_hex);
  EXPECT_EQ(mac->str(),
            "  7 |                                      mac :    0a 00 ff 10 01 02  (def = 00 1a 2b 3c 4d fe )\n");
}

}  // namespace
