// Text properties: value, default, check, and the record on the wire.

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
using namespace std::string_literals;

// Keeps what it was asked and answers as it is told.
class RecordingCheck : public StringProperty::StringValueCheck {
 public:
  explicit RecordingCheck(bool itsVerdict) : verdict(itsVerdict) {}
  ~RecordingCheck() override { ++destroyed; }
  bool checkValue(std::string value) override {
    asked.push_back(value);
    return verdict;
  }

  bool verdict;
  std::vector<std::string> asked;
  static int destroyed;
};
int RecordingCheck::destroyed = 0;

std::string valueOf(TrelProperty& property) {
  std::string value = "not answered";
  property.get(&value);
  return value;
}

std::string serialized(TrelProperty& property, std::size_t size) {
  ExactBlock block(size);
  const int written = property.serialize(block.data(), block.length());
  EXPECT_EQ(written, block.length());
  return asText(block.view());
}

// ----- construction ----------------------------------------------------------------------------------------------------

TEST(StringProperty, EveryConstructorSetsIdentityAndAccessAndClearsTheRest) {
  RecordingCheck check(true);
  const StringProperty plain(0x7FFFFF, "plain", IFC_CARD_VAR_READ_ONLY, "d");
  const StringProperty withEvent(2, "event", IFC_CARD_VAR_READ_WRITE, "d", true);
  const StringProperty withCheck(3, "check", IFC_CARD_VAR_READ_ONLY, "d", &check);
  const StringProperty withBoth(4, "both", static_cast<IfcCardVarAccessType>(77), "d", &check, true);
  EXPECT_EQ(plain.id, 0x7FFFFFU);
  EXPECT_EQ(plain.name, "plain");
  EXPECT_EQ(plain.accessType, 1U);
  EXPECT_FALSE(plain.eventable);
  EXPECT_EQ(withEvent.id, 2U);
  EXPECT_EQ(withEvent.name, "event");
  EXPECT_EQ(withEvent.accessType, 0U);
  EXPECT_TRUE(withEvent.eventable);
  EXPECT_EQ(withCheck.id, 3U);
  EXPECT_EQ(withCheck.name, "check");
  EXPECT_EQ(withCheck.accessType, 1U);
  EXPECT_FALSE(withCheck.eventable);
  EXPECT_EQ(withBoth.id, 4U);
  EXPECT_EQ(withBoth.name, "both");
  EXPECT_EQ(withBoth.accessType, 77U);
  EXPECT_TRUE(withBoth.eventable);
  for (const StringProperty* property : {&plain, &withEvent, &withCheck, &withBoth}) {
    SCOPED_TRACE(property->name);
    EXPECT_EQ(property->row, 0U);
    EXPECT_FALSE(property->eventPending);
    EXPECT_EQ(property->object, nullptr);
  }
}

TEST(StringProperty, EveryConstructorStartsTheValueAtTheDefault) {
  RecordingCheck check(false);
  StringProperty plain(1, "plain", IFC_CARD_VAR_READ_WRITE, "one");
  StringProperty withEvent(2, "event", IFC_CARD_VAR_READ_WRITE, "two", true);
  StringProperty withCheck(3, "check", IFC_CARD_VAR_READ_WRITE, "three", &check);
  StringProperty withBoth(4, "both", IFC_CARD_VAR_READ_WRITE, "four", &check, true);
  EXPECT_EQ(valueOf(plain), "one");
  EXPECT_EQ(valueOf(withEvent), "two");
  EXPECT_EQ(valueOf(withCheck), "three");
  EXPECT_EQ(valueOf(withBoth), "four");
  EXPECT_TRUE(plain.isDefault());
  EXPECT_TRUE(withEvent.isDefault());
  EXPECT_TRUE(withCheck.isDefault());
  EXPECT_TRUE(withBoth.isDefault());
  EXPECT_TRUE(check.asked.empty()) << "a default is not checked";
}

TEST(StringProperty, TheCheckIsTheOneGivenOrNone) {
  RecordingCheck check(false);
  StringProperty plain(1, "plain", IFC_CARD_VAR_READ_WRITE, "");
  StringProperty withEvent(2, "event", IFC_CARD_VAR_READ_WRITE, "", true);
  StringProperty withCheck(3, "check", IFC_CARD_VAR_READ_WRITE, "", &check);
  StringProperty withBoth(4, "both", IFC_CARD_VAR_READ_WRITE, "", &check, true);
  StringProperty withNull(5, "null", IFC_CARD_VAR_READ_WRITE, "", nullptr);
  EXPECT_TRUE(plain.validValue("x", 1));
  EXPECT_TRUE(withEvent.validValue("x", 1));
  EXPECT_FALSE(withCheck.validValue("x", 1));
  EXPECT_FALSE(withBoth.validValue("x", 1));
  EXPECT_TRUE(withNull.validValue("x", 1));
}

TEST(StringProperty, TheNameIsCopied) {
  char name[] = "label";
  const StringProperty property(1, name, IFC_CARD_VAR_READ_WRITE, "");
  name[0] = 'X';
  EXPECT_EQ(property.name, "label");
}

TEST(StringProperty, TheCheckStaysTheApplications) {
  RecordingCheck check(true);
  { const StringProperty property(1, "label", IFC_CARD_VAR_READ_WRITE, "", &check, true); }
  EXPECT_EQ(RecordingCheck::destroyed, 0);
  EXPECT_TRUE(check.checkValue("alive"));
}

TEST(StringProperty, IsDestroyedThroughTheBase) {
  TrelProperty* const property =
      new StringProperty(1, "label", IFC_CARD_VAR_READ_WRITE, "a default that is too long to lie in the object itself");
  delete property;  // a leak of either text would end the run under the sanitizer
}

// ----- value and default -----------------------------------------------------------------------------------------------

TEST(StringProperty, LengthIsTheValuesSizeInBytesAndTheTypeIsNine) {
  StringProperty property(1, "label", IFC_CARD_VAR_READ_WRITE, "abc");
  EXPECT_EQ(property.length(), 3);
  property.set(""s);
  EXPECT_EQ(property.length(), 0);
  property.set("a\0b\0"s);
  EXPECT_EQ(property.length(), 4);
  property.set("\xC3\xA9"s);  // one letter, two bytes
  EXPECT_EQ(property.length(), 2);
  EXPECT_EQ(property.getType(), 9);
}

TEST(StringProperty, GetHandsOutTheWholeValueAndSetReplacesIt) {
  StringProperty property(1, "label", IFC_CARD_VAR_READ_WRITE, "default");
  property.set("zero\0inside"s);
  EXPECT_EQ(valueOf(property), "zero\0inside"s);
  property.set(""s);
  EXPECT_EQ(valueOf(property), "");
}

TEST(StringProperty, SetDoesNotAskTheCheck) {
  RecordingCheck check(false);
  StringProperty property(1, "label", IFC_CARD_VAR_READ_WRITE, "default", &check);
  property.set("refused by the check"s);
  EXPECT_EQ(valueOf(property), "refused by the check");
  EXPECT_TRUE(check.asked.empty());
}

TEST(StringProperty, SetNeverRaisesAnEventNotEvenOfAnEventableProperty) {
  StringProperty property(1, "label", IFC_CARD_VAR_READ_WRITE, "default", true);
  property.set("changed"s);
  EXPECT_FALSE(property.eventPending);
  property.set("changed"s);
  EXPECT_FALSE(property.eventPending);
}

TEST(StringProperty, SetLeavesAPendingEventPending) {
  StringProperty property(1, "label", IFC_CARD_VAR_READ_WRITE, "default", true);
  property.eventPending = true;
  property.set("changed"s);
  EXPECT_TRUE(property.eventPending);
}

TEST(StringProperty, IsDefaultRightAfterConstructionAndAfterSetToDefault) {
  StringProperty property(1, "label", IFC_CARD_VAR_READ_WRITE, "default", true);
  EXPECT_TRUE(property.isDefault());
  property.set("other"s);
  EXPECT_FALSE(property.isDefault());
  property.setToDefault();
  EXPECT_TRUE(property.isDefault());
  EXPECT_EQ(valueOf(property), "default");
  EXPECT_FALSE(property.eventPending);
}

TEST(StringProperty, IsDefaultComparesLengthAndEveryByte) {
  StringProperty property(1, "label", IFC_CARD_VAR_READ_WRITE, "ab\0cd"s);
  const struct {
    std::string value;
    bool isDefault;
  } rows[] = {{"ab\0cd"s, true},    {"ab\0ce"s, false}, {"ab"s, false},
              {"ab\0cd\0"s, false}, {""s, false},       {"Ab\0cd"s, false}};
  for (const auto& row : rows) {
    SCOPED_TRACE(asText(row.value));
    property.set(row.value);
    EXPECT_EQ(property.isDefault(), row.isDefault);
  }
}

TEST(StringProperty, TwoEmptyTextsAreEqual) {
  StringProperty property(1, "label", IFC_CARD_VAR_READ_WRITE, "");
  EXPECT_TRUE(property.isDefault());
  property.set("x"s);
  EXPECT_FALSE(property.isDefault());
  property.set(""s);
  EXPECT_TRUE(property.isDefault());
}

// ----- check -----------------------------------------------------------------------------------------------------------

TEST(StringProperty, WithoutACheckEveryValueIsValid) {
  StringProperty property(1, "label", IFC_CARD_VAR_READ_ONLY, "");
  EXPECT_TRUE(property.validValue("", 0));
  EXPECT_TRUE(property.validValue("text", 4));
  EXPECT_TRUE(property.validValue("\xFF\x00\x80", 3));
  EXPECT_TRUE(property.validValue(nullptr, 0));
  EXPECT_EQ(valueOf(property), "");
}

TEST(StringProperty, TheCheckGetsExactlyTheReceivedBytesZeroBytesIncluded) {
  RecordingCheck check(true);
  StringProperty property(1, "label", IFC_CARD_VAR_READ_WRITE, "default", &check);
  const ExactBlock received("61 00 62 00 FF"_hex);
  EXPECT_TRUE(property.validValue(received.data(), received.length()));
  EXPECT_TRUE(property.validValue(received.data(), 2));
  EXPECT_TRUE(property.validValue(received.data(), 0));
  ASSERT_EQ(check.asked.size(), 3U);
  EXPECT_EQ(asText(check.asked[0]), "61 00 62 00 FF");
  EXPECT_EQ(asText(check.asked[1]), "61 00");
  EXPECT_EQ(asText(check.asked[2]), "");
  EXPECT_EQ(valueOf(property), "default");
}

TEST(StringProperty, TheChecksVerdictIsTheAnswer) {
  RecordingCheck check(true);
  StringProperty property(1, "label", IFC_CARD_VAR_READ_WRITE, "default", &check);
  EXPECT_TRUE(property.validValue("x", 1));
  check.verdict = false;
  EXPECT_FALSE(property.validValue("x", 1));
}

TEST(StringProperty, AReceivedTextOfAnyLengthIsAcceptedWithALineOfItsLength) {
  StringProperty property(0x10800005, "label", IFC_CARD_VAR_READ_WRITE, "default");
  const ExactBlock record("10800005 09 0003 616263"_hex);
  const ExactBlock empty("10800005 09 0000"_hex);
  LogCapture log;
  EXPECT_EQ(property.checkBuffer(record.data(), true), 0);
  EXPECT_EQ(property.checkBuffer(empty.data(), false), 0);
  EXPECT_EQ(
      log.brief(),
      (Lines{
          "7 [DEBUG3] trelProperty (checkBuffer) - [label] we cannot know the size of a string when receiving, it is 3",
          "7 [DEBUG3] trelProperty (checkBuffer) - [label] we cannot know the size of a string when receiving, it is "
          "0"}));
}

TEST(StringProperty, TheLengthLineIsWrittenAboveLevelEightOnly) {
  StringProperty property(0x10800005, "label", IFC_CARD_VAR_READ_WRITE, "default");
  const ExactBlock record("10800005 09 0003 616263"_hex);
  LogCapture log(8);
  property.checkBuffer(record.data(), true);
  EXPECT_EQ(log.brief(), Lines{});
  log.setLevel(9);
  property.checkBuffer(record.data(), true);
  EXPECT_EQ(log.brief().size(), 1U);
}

TEST(StringProperty, AReceivedTextThatTheCheckRefusesIsAWrongValueOfAWriteAndPassesAsARead) {
  RecordingCheck check(false);
  StringProperty property(0x10800005, "label", IFC_CARD_VAR_READ_WRITE, "default", &check);
  const ExactBlock record("10800005 09 0003 610063"_hex);
  LogCapture log(3);
  EXPECT_EQ(property.checkBuffer(record.data(), false), 0);
  EXPECT_TRUE(check.asked.empty());
  EXPECT_EQ(property.checkBuffer(record.data(), true), 9);
  EXPECT_EQ(check.asked, Lines{"a\0c"s});
  EXPECT_EQ(
      log.brief(),
      Lines{"3 [ERROR] trelProperty (checkBuffer) - [label] checkbuffer invalid value detected, value has len 3"});
}

// ----- accessors of other types ----------------------------------------------------------------------------------------

TEST(StringProperty, EveryAccessorButThatOfTextIsRefusedAndChangesNothing) {
  TrelTable table("table", 3, false, 6);
  auto* const property = new StringProperty(2, "label", IFC_CARD_VAR_READ_WRITE, "default", true);
  ASSERT_TRUE(table.addProp(property, 5));
  expectOtherAccessorsRefused(*property, "std::string", "std::string", "(property 2, row 5)");
  EXPECT_EQ(valueOf(*property), "default");
  EXPECT_FALSE(property->eventPending);
}

// ----- record ----------------------------------------------------------------------------------------------------------

TEST(StringProperty, SerializesOidTypeLengthAndTheBytesWithoutATerminator) {
  StringProperty property(0x10800005, "label", IFC_CARD_VAR_READ_WRITE, "abc");
  ExactBlock block(20);
  EXPECT_EQ(property.serialize(block.data(), block.length()), 10);
  EXPECT_EQ(asText(block.view()), asText("10800005 09 0003 616263 A5A5A5A5A5A5A5A5A5A5"_hex));
}

TEST(StringProperty, SerializesZeroBytesInsideTheText) {
  StringProperty property(0x10800005, "label", IFC_CARD_VAR_READ_WRITE, "a\0\0b\0"s);
  EXPECT_EQ(serialized(property, 12), asText("10800005 09 0005 6100006200"_hex));
}

TEST(StringProperty, SerializesTheOidThatTheOwnerComposes) {
  TrelTable table("table", 3, false, 6);
  auto* const property = new StringProperty(2, "label", IFC_CARD_VAR_READ_WRITE, "x");
  ASSERT_TRUE(table.addProp(property, 5));
  EXPECT_EQ(serialized(*property, 8), asText("40C08005 09 0001 78"_hex));
}

TEST(StringProperty, ABufferOfExactlyLengthAndSevenBytesIsEnough) {
  StringProperty property(0x10800005, "label", IFC_CARD_VAR_READ_WRITE, "twelve bytes");
  LogCapture log;
  EXPECT_EQ(serialized(property, 19), asText("10800005 09 000C 7477656C7665206279746573"_hex));
  EXPECT_EQ(log.brief(), Lines{});
}

TEST(StringProperty, OneByteLessIsRefusedWithALineAndNothingWritten) {
  StringProperty alone(0x10800005, "label", IFC_CARD_VAR_READ_WRITE, "abc");
  TrelScalar object("object", 1, true);
  auto* const held = new StringProperty(5, "label", IFC_CARD_VAR_READ_WRITE, "abc");
  object.addProp(held, 0);
  for (StringProperty* property : {&alone, held}) {
    for (const int size : {9, 7, 1, 0, -1, -2147483647}) {
      SCOPED_TRACE(size);
      ExactBlock block(size > 0 ? static_cast<std::size_t>(size) : 0);
      const std::string before = asText(block.view());
      LogCapture log;
      EXPECT_EQ(property->serialize(block.data(), size), -1);
      EXPECT_EQ(asText(block.view()), before);
      EXPECT_EQ(log.brief(),
                Lines{"3 [ERROR] trelProperty (serialize) - [label] serializing buffer has not enough space left"});
    }
  }
}

TEST(StringProperty, TheLineOfTooLittleSpaceIsWrittenAboveLevelTwoOnlyAndNamesItsSource) {
  StringProperty property(0x10800005, "label", IFC_CARD_VAR_READ_WRITE, "abc");
  ExactBlock block(9);
  LogCapture log(2);
  EXPECT_EQ(property.serialize(block.data(), block.length()), -1);
  EXPECT_EQ(log.brief(), Lines{});
  log.setLevel(3);
  EXPECT_EQ(property.serialize(block.data(), block.length()), -1);
  ASSERT_EQ(log.lines().size(), 1U);
  EXPECT_EQ(log.lines()[0].format, "[ERROR] %s:%d (%s) - [%s] serializing buffer has not enough space left");
  EXPECT_EQ(log.lines()[0].file, "components/trel/trelProperty.cpp");
  EXPECT_GT(log.lines()[0].line, 0);
}

TEST(StringProperty, AnEmptyTextIsARecordOfSevenBytes) {
  StringProperty property(0x10800005, "label", IFC_CARD_VAR_READ_WRITE, "");
  EXPECT_EQ(serialized(property, 7), asText("10800005 09 0000"_hex));
  ExactBlock six(6);
  EXPECT_EQ(property.serialize(six.data(), six.length()), -1);
}

TEST(StringProperty, ATextBeyond65535BytesIsWrittenWholeBehindTheLow16BitsOfItsLength) {
  StringProperty property(0x10800005, "label", IFC_CARD_VAR_READ_WRITE, std::string(65538, 'x'));
  ExactBlock block(65545);
  EXPECT_EQ(property.serialize(block.data(), block.length()), 65545);
  EXPECT_EQ(asText(block.view().substr(0, 9)), asText("10800005 09 0002 7878"_hex));
  EXPECT_EQ(block.view().substr(7), std::string(65538, 'x'));
}

// The head of a record asks the object that is sent, so that a class derived from it may travel as something else.
class TextSentAsBytes : public StringProperty {
 public:
  using StringProperty::StringProperty;
  int length() override { return 2; }
  int getType() override { return TREL_TYPE_BYTE_ARRAY; }
};

TEST(StringProperty, LengthAndTypeOfTheRecordAreThoseOfADerivedClass) {
  TextSentAsBytes property(0x10800005, "label", IFC_CARD_VAR_READ_WRITE, "ab");
  EXPECT_EQ(serialized(property, 9), asText("10800005 0C 0002 6162"_hex));
  property.set("abcd"s);
  ExactBlock enough(40);
  EXPECT_EQ(property.serialize(enough.data(), enough.length()), 9);
  EXPECT_EQ(asText(enough.view().substr(0, 9)), asText("10800005 0C 0002 6162"_hex));
  ExactBlock tooSmall(8);
  EXPECT_EQ(property.serialize(tooSmall.data(), tooSmall.length()), -1);
}

TEST(StringProperty, DeserializeTakesTheBytesOfTheRecordAndReturnsItsSize) {
  StringProperty property(0x10800005, "label", IFC_CARD_VAR_READ_WRITE, "default");
  const ExactBlock record("10800005 09 0005 6100620063"_hex);
  EXPECT_EQ(property.deserialize(record.data()), 12);
  EXPECT_EQ(valueOf(property), "a\0b\0c"s);
  EXPECT_EQ(property.length(), 5);
}

TEST(StringProperty, DeserializeOfAnEmptyTextEmptiesTheValue) {
  StringProperty property(0x10800005, "label", IFC_CARD_VAR_READ_WRITE, "default");
  const ExactBlock record("10800005 09 0000"_hex);
  EXPECT_EQ(property.deserialize(record.data()), 7);
  EXPECT_EQ(valueOf(property), "");
}

TEST(StringProperty, DeserializeReadsTheLengthAsUnsigned) {
  StringProperty property(0x10800005, "label", IFC_CARD_VAR_READ_WRITE, "default");
  const ExactBlock record("10800005 09 FFFF"_hex + std::string(65535, 'y'));
  EXPECT_EQ(property.deserialize(record.data()), 65542);
  EXPECT_EQ(valueOf(property), std::string(65535, 'y'));
}

TEST(StringProperty, DeserializeAsksNoCheckRaisesNoEventAndWritesNoLine) {
  RecordingCheck check(false);
  StringProperty property(0x10800005, "label", IFC_CARD_VAR_READ_ONLY, "default", &check, true);
  const ExactBlock record("10800005 09 0003 616263"_hex);
  LogCapture log;
  EXPECT_EQ(property.deserialize(record.data()), 10);
  EXPECT_EQ(valueOf(property), "abc");
  EXPECT_TRUE(check.asked.empty());
  EXPECT_FALSE(property.eventPending);
  EXPECT_EQ(log.brief(), Lines{});
}

TEST(StringProperty, DeserializeLooksNeitherAtOidNorAtType) {
  StringProperty property(0x10800005, "label", IFC_CARD_VAR_READ_WRITE, "default");
  const ExactBlock record("FFFFFFFF 0E 0001 7A"_hex);
  EXPECT_EQ(property.deserialize(record.data()), 8);
  EXPECT_EQ(valueOf(property), "z");
  EXPECT_EQ(property.id, 0x10800005U);
}

// ----- text ------------------------------------------------------------------------------------------------------------

TEST(StringProperty, StrIsOneLineOfIdNameValueAndDefaultInTheirColumns) {
  StringProperty property(7, "label", IFC_CARD_VAR_READ_WRITE, "the default");
  property.set("the value"s);
  EXPECT_EQ(property.str(),
            "  7 |                                    label :            the value  (def = the default)\n");
}

TEST(StringProperty, StrTellsAnEventableProperty) {
  const StringProperty property(42, "hardware version", IFC_CARD_VAR_READ_WRITE, "", true);
  EXPECT_EQ(property.str(),
            " 42 |                         hardware version :                       (def = , eventable)\n");
}

TEST(StringProperty, StrCutsNothingThatIsWiderThanItsColumn) {
  StringProperty property(8388607, "a name of more than forty characters, spelled out", IFC_CARD_VAR_READ_WRITE, "d");
  property.set("a value of more than twenty characters"s);
  EXPECT_EQ(property.str(),
            "8388607 | a name of more than forty characters, spelled out : a value of more than twenty characters"
            "  (def = d)\n");
}

}  // namespace
