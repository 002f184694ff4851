// Applying a checked request: the values first, then the hooks of the objects.

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "messageTestSupport.h"
#include "support/fakeProperty.h"
#include "support/logSelection.h"
#include "support/watchedObject.h"

namespace {

using Number = TypeProperty<unsigned int>;
using Byte = TypeProperty<unsigned char>;
using OldStyle = std::unique_ptr<OldStyleProperty>;

// The common scalar group 1 with a few variables, whose `updated` a test can watch and refuse.
class DeserializeTlvs : public testing::Test {
 protected:
  DeserializeTlvs() : scalar("scalar", 1, true) {
    number = new Number(5, "number", IFC_CARD_VAR_READ_WRITE, 1);
    byte = new Byte(6, "byte", IFC_CARD_VAR_READ_WRITE, 1);
    text = new StringProperty(7, "text", IFC_CARD_VAR_READ_WRITE, "");
    scalar.addProp(number, 0);
    scalar.addProp(byte, 0);
    scalar.addProp(text, 0);
  }

  // The scalar owns them.
  WatchedScalar scalar;
  Number* number;
  Byte* byte;
  StringProperty* text;
  OldStyleEngine engine;
};

std::string textOf(StringProperty& property) {
  std::string value;
  property.get(&value);
  return value;
}

}  // namespace

TEST_F(DeserializeTlvs, WithoutPropertiesReturnsTrueAtOnce) {
  LogCapture log;
  TRELRequest fresh("");
  EXPECT_TRUE(fresh.deserializeTlvs(&engine));
  EXPECT_TRUE(fresh.deserializeTlvs(nullptr));
  ReceivedRequest received("4F544E31 01 02 0007"_hex);
  EXPECT_TRUE(received.message.deserializeTlvs(&engine));
  EXPECT_EQ(log.brief(), Lines{});
}

TEST_F(DeserializeTlvs, StoresEveryValueAndThenCallsUpdatedInListOrder) {
  LogCapture log;
  ReceivedRequest received(
      "4F544E31 01 02 0007 | 10800007 09 0003 616263 | 10800005 01 0004 0000002A | 10800006 03 0001 2B"_hex);
  received.message.addProperty(text);
  received.message.addProperty(number);
  received.message.addProperty(byte);
  std::vector<unsigned int> lastValueInEachCall;
  scalar.onUpdated = [&](TrelProperty*) { lastValueInEachCall.push_back(byte->value); };
  EXPECT_TRUE(received.message.deserializeTlvs(&engine));
  EXPECT_EQ(textOf(*text), "abc");
  EXPECT_EQ(number->value, 42U);
  EXPECT_EQ(byte->value, 43U);
  EXPECT_EQ(scalar.calls, (Calls{"text row 0", "number row 0", "byte row 0"}));
  EXPECT_EQ(lastValueInEachCall, (std::vector<unsigned int>{43, 43, 43}));
  EXPECT_EQ(linesOf(log, "deserializeTlvs"),
            (Lines{"7 [DEBUG2] trelmsg (deserializeTlvs) - scalar: Property text updated",
                   "7 [DEBUG2] trelmsg (deserializeTlvs) - scalar: Property number updated",
                   "7 [DEBUG2] trelmsg (deserializeTlvs) - scalar: Property byte updated"}));
}

TEST_F(DeserializeTlvs, CallsUpdatedWithTheRowOfTheProperty) {
  WatchedTable table("table", 3, false, 8);
  auto* cell = new Byte(2, "cell", IFC_CARD_VAR_READ_WRITE, 1);
  ASSERT_TRUE(table.addProp(cell, 7));
  ReceivedRequest received("4F544E31 01 02 0007 | 40C08007 03 0001 2A"_hex);
  received.message.addProperty(cell);
  EXPECT_TRUE(received.message.deserializeTlvs(&engine));
  EXPECT_EQ(cell->value, 42U);
  EXPECT_EQ(table.calls, Calls{"cell row 7"});
}

TEST_F(DeserializeTlvs, StoresValuesOfObjectsWhoseHookIsNotOverridden) {
  TrelScalar plain("plain", 0, false);
  auto* property = new Byte(1, "property", IFC_CARD_VAR_READ_WRITE, 1);
  ASSERT_TRUE(plain.addProp(property, 0));
  ReceivedRequest received("4F544E31 01 02 0007 | 00000001 03 0001 2A"_hex);
  received.message.addProperty(property);
  LogCapture log;
  EXPECT_TRUE(received.message.deserializeTlvs(&engine));
  EXPECT_EQ(property->value, 42U);
  EXPECT_EQ(linesOf(log, "deserializeTlvs"),
            Lines{"7 [DEBUG2] trelmsg (deserializeTlvs) - plain: Property property updated"});
}

TEST_F(DeserializeTlvs, NeedsNoEngineForPropertiesOfObjects) {
  ReceivedRequest received("4F544E31 01 02 0007 | 10800006 03 0001 2A"_hex);
  received.message.addProperty(byte);
  EXPECT_TRUE(received.message.deserializeTlvs(nullptr));
  EXPECT_EQ(byte->value, 42U);
  EXPECT_EQ(scalar.calls, Calls{"byte row 0"});
}

TEST_F(DeserializeTlvs, ChecksNothingAgain) {
  auto* readOnly = new Number(8, "readOnly", IFC_CARD_VAR_READ_ONLY, 1, new RangeCheckValue<unsigned int>(0, 100));
  ASSERT_TRUE(scalar.addProp(readOnly, 0));
  ReceivedRequest received("4F544E31 01 02 0007 | 10800008 01 0004 FFFFFFFF"_hex);
  received.message.addProperty(readOnly);
  EXPECT_TRUE(received.message.deserializeTlvs(&engine));
  EXPECT_EQ(readOnly->value, 4294967295U);
}

TEST_F(DeserializeTlvs, ARefusingHookFailsTheMessageAndTheOthersAreCalledAllTheSame) {
  WatchedScalar refusing("refusing", 2, false);
  refusing.result = false;
  auto* first = new Byte(1, "first", IFC_CARD_VAR_READ_WRITE, 1);
  auto* second = new Byte(2, "second", IFC_CARD_VAR_READ_WRITE, 1);
  ASSERT_TRUE(refusing.addProp(first, 0));
  ASSERT_TRUE(refusing.addProp(second, 0));
  ReceivedRequest received("4F544E31 01 02 0007 | 01000001 03 0001 2A | 10800006 03 0001 2B | 01000002 03 0001 2C"_hex);
  received.message.addProperty(first);
  received.message.addProperty(byte);
  received.message.addProperty(second);
  LogCapture log;
  EXPECT_FALSE(received.message.deserializeTlvs(&engine));
  EXPECT_EQ(first->value, 42U);
  EXPECT_EQ(byte->value, 43U);
  EXPECT_EQ(second->value, 44U);
  EXPECT_EQ(refusing.calls, (Calls{"first row 0", "second row 0"}));
  EXPECT_EQ(scalar.calls, Calls{"byte row 0"});
  EXPECT_EQ(linesOf(log, "deserializeTlvs"),
            (Lines{"3 [ERROR] trelmsg (deserializeTlvs) - refusing: Property first updated call failed",
                   "7 [DEBUG2] trelmsg (deserializeTlvs) - scalar: Property byte updated",
                   "3 [ERROR] trelmsg (deserializeTlvs) - refusing: Property second updated call failed"}));
}

TEST_F(DeserializeTlvs, OneRefusalIsNotForgottenByALaterSuccess) {
  scalar.result = false;
  scalar.onUpdated = [&](TrelProperty*) {
    if (scalar.calls.size() > 1) scalar.result = true;
  };
  ReceivedRequest received("4F544E31 01 02 0007 | 10800006 03 0001 2A | 10800005 01 0004 0000002B"_hex);
  received.message.addProperty(byte);
  received.message.addProperty(number);
  EXPECT_FALSE(received.message.deserializeTlvs(&engine));
  EXPECT_EQ(scalar.calls, (Calls{"byte row 0", "number row 0"}));
}

TEST_F(DeserializeTlvs, TheLineOfASuccessAppearsAboveLevelSeven) {
  ReceivedRequest received("4F544E31 01 02 0007 | 10800006 03 0001 2A"_hex);
  received.message.addProperty(byte);
  LogCapture log(7);
  EXPECT_TRUE(received.message.deserializeTlvs(&engine));
  EXPECT_EQ(log.brief(), Lines{});
  log.setLevel(8);
  EXPECT_TRUE(received.message.deserializeTlvs(&engine));
  ASSERT_EQ(log.brief(), Lines{"7 [DEBUG2] trelmsg (deserializeTlvs) - scalar: Property byte updated"});
  EXPECT_EQ(log.lines()[0].format, "[DEBUG2] %s:%d (%s) - %s: Property %s updated");
  EXPECT_EQ(log.lines()[0].file, "components/trel/trelmsg.cpp");
}

TEST_F(DeserializeTlvs, TheLineOfAFailureAppearsAboveLevelTwo) {
  ReceivedRequest received("4F544E31 01 02 0007 | 10800006 03 0001 2A"_hex);
  received.message.addProperty(byte);
  scalar.result = false;
  LogCapture log(2);
  EXPECT_FALSE(received.message.deserializeTlvs(&engine));
  EXPECT_EQ(log.brief(), Lines{});
  log.setLevel(3);
  EXPECT_FALSE(received.message.deserializeTlvs(&engine));
  ASSERT_EQ(log.brief(), Lines{"3 [ERROR] trelmsg (deserializeTlvs) - scalar: Property byte updated call failed"});
  EXPECT_EQ(log.lines()[0].format, "[ERROR] %s:%d (%s) - %s: Property %s updated call failed");
}

TEST_F(DeserializeTlvs, GivesEachPropertyThePlaceBehindTheFormerOne) {
  ReceivedRequest received(
      "4F544E31 01 02 0007 | 10800001 09 0003 616263 | 10800002 09 0000 | 10800003 09 0001 64"_hex);
  std::vector<FakeProperty*> fakes;
  const std::string tlvs[] = {"10800001 09 0003 616263"_hex, "10800002 09 0000"_hex, "10800003 09 0001 64"_hex};
  for (unsigned int i = 0; i < 3; ++i) {
    fakes.push_back(new FakeProperty(tlvs[i], i + 1));
    ASSERT_TRUE(scalar.addProp(fakes.back(), 0));
    received.message.addProperty(fakes.back());
  }
  EXPECT_TRUE(received.message.deserializeTlvs(&engine));
  const std::vector<const char*> first{received.block.data() + 8};
  const std::vector<const char*> second{received.block.data() + 18};
  const std::vector<const char*> third{received.block.data() + 25};
  EXPECT_EQ(fakes[0]->deserializedFrom, first);
  EXPECT_EQ(fakes[1]->deserializedFrom, second);
  EXPECT_EQ(fakes[2]->deserializedFrom, third);
}

TEST_F(DeserializeTlvs, StepsByWhatThePropertysDeserializeReturns) {
  // The first value ends in what reads as a TLV; a property that takes one byte only leads the walk there.
  ReceivedRequest received("4F544E31 01 02 0007 | 10800001 09 0009 61 10800002030001 2A | 10800002 03 0001 2B"_hex);
  auto* first = new FakeProperty("10800001 09 0009 61 10800002030001 2A"_hex, 1);
  auto* second = new FakeProperty("10800002 03 0001 2B"_hex, 2);
  ASSERT_TRUE(scalar.addProp(first, 0));
  ASSERT_TRUE(scalar.addProp(second, 0));
  received.message.addProperty(first);
  received.message.addProperty(second);
  first->deserializeResult = 8;
  EXPECT_TRUE(received.message.deserializeTlvs(&engine));
  const std::vector<const char*> expected{received.block.data() + 16};
  EXPECT_EQ(second->deserializedFrom, expected);
}

TEST_F(DeserializeTlvs, AStepOutOfTheDatagramEndsTheWalk) {
  const int steps[] = {1000, -1000, 2147483647};
  for (const int step : steps) {
    SCOPED_TRACE(step);
    WatchedScalar fakes("fakes", 2, false);
    auto* first = new FakeProperty("01000001 09 0003 616263"_hex, 1);
    auto* second = new FakeProperty("01000002 09 0000"_hex, 2);
    ASSERT_TRUE(fakes.addProp(first, 0));
    ASSERT_TRUE(fakes.addProp(second, 0));
    first->deserializeResult = step;
    ReceivedRequest received("4F544E31 01 02 0007 | 01000001 09 0003 616263 | 01000002 09 0000"_hex);
    received.message.addProperty(first);
    received.message.addProperty(second);
    EXPECT_FALSE(received.message.deserializeTlvs(&engine));
    EXPECT_TRUE(second->deserializedFrom.empty());
  }
}

TEST_F(DeserializeTlvs, APropertyThatTakesNothingLeavesTheNextOneAtItsPlace) {
  auto* first = new FakeProperty("10800001 09 0001 61"_hex, 1);
  auto* second = new FakeProperty("10800001 09 0001 61"_hex, 2);
  ASSERT_TRUE(scalar.addProp(first, 0));
  ASSERT_TRUE(scalar.addProp(second, 0));
  first->deserializeResult = 0;
  ReceivedRequest received("4F544E31 01 02 0007 | 10800001 09 0001 61"_hex);
  received.message.addProperty(first);
  received.message.addProperty(second);
  EXPECT_TRUE(received.message.deserializeTlvs(&engine));
  const std::vector<const char*> expected{received.block.data() + 8};
  EXPECT_EQ(second->deserializedFrom, expected);
}

TEST_F(DeserializeTlvs, ATextAtTheEndMayBeShorterThanTheOneItReplaces) {
  text->set(std::string("a text that is longer than the datagram"));
  ReceivedRequest shorter("4F544E31 01 02 0007 | 10800007 09 0003 616263"_hex);
  shorter.message.addProperty(text);
  EXPECT_TRUE(shorter.message.deserializeTlvs(&engine));
  EXPECT_EQ(textOf(*text), "abc");
  ReceivedRequest empty("4F544E31 01 02 0007 | 10800007 09 0000"_hex);
  empty.message.addProperty(text);
  EXPECT_TRUE(empty.message.deserializeTlvs(&engine));
  EXPECT_EQ(textOf(*text), "");
}

TEST_F(DeserializeTlvs, AByteArrayAtTheEndMayBeShorterThanTheOneItReplaces) {
  auto* array = new ArrayProperty(8, "array", IFC_CARD_VAR_READ_WRITE, false);
  ASSERT_TRUE(scalar.addProp(array, 0));
  ReceivedRequest longer("4F544E31 01 02 0007 | 10800008 0C 0004 01020304"_hex);
  longer.message.addProperty(array);
  EXPECT_TRUE(longer.message.deserializeTlvs(&engine));
  EXPECT_EQ(array->length(), 4);
  ReceivedRequest shorter("4F544E31 01 02 0007 | 10800008 0C 0001 01"_hex);
  shorter.message.addProperty(array);
  EXPECT_TRUE(shorter.message.deserializeTlvs(&engine));
  EXPECT_EQ(array->length(), 1);
}

TEST_F(DeserializeTlvs, TheTlvsStartBehindTheHeaderOfTheKind) {
  const ExactBlock block("4F544E31 01 05 0007 00000064 000003E8 | 10800006 03 0001 2A"_hex);
  TRELAmi message("");
  ASSERT_EQ(message.deserialize(block.data(), block.length()), 0);
  message.addProperty(byte);
  EXPECT_TRUE(message.deserializeTlvs(&engine));
  EXPECT_EQ(byte->value, 42U);
}

// --- properties without an object ---

TEST_F(DeserializeTlvs, AnOldStylePropertyIsHandedToItsHookAsAWrite) {
  ReceivedRequest received("4F544E31 01 02 0007 | 00000001 09 0003 616263 | 10800006 03 0001 2A"_hex);
  const OldStyle property(received.makeOldStyle(8));
  received.message.addProperty(property.get());
  received.message.addProperty(byte);
  LogCapture log;
  EXPECT_TRUE(received.message.deserializeTlvs(&engine));
  ASSERT_EQ(engine.handled.size(), 1U);
  EXPECT_EQ(engine.handled[0].property, property.get());
  EXPECT_TRUE(engine.handled[0].isWrite);
  EXPECT_EQ(byte->value, 42U);
  // Nobody's `updated` is called for it, and no line tells of it.
  EXPECT_EQ(scalar.calls, Calls{"byte row 0"});
  EXPECT_EQ(linesOf(log, "deserializeTlvs"),
            Lines{"7 [DEBUG2] trelmsg (deserializeTlvs) - scalar: Property byte updated"});
}

TEST_F(DeserializeTlvs, AnOldStylePropertyIsAWriteWhateverTheAction) {
  ReceivedRequest received("4F544E31 01 01 0007 | 00000001 03 0001 2A"_hex);
  const OldStyle property(received.makeOldStyle(8));
  received.message.addProperty(property.get());
  EXPECT_TRUE(received.message.deserializeTlvs(&engine));
  ASSERT_EQ(engine.handled.size(), 1U);
  EXPECT_TRUE(engine.handled[0].isWrite);
}

TEST_F(DeserializeTlvs, AnOldStyleTlvWithoutAValueIsSevenBytes) {
  ReceivedRequest received("4F544E31 01 02 0007 | 00000001 09 0000 | 10800006 03 0001 2A"_hex);
  const OldStyle property(received.makeOldStyle(8));
  received.message.addProperty(property.get());
  received.message.addProperty(byte);
  EXPECT_TRUE(received.message.deserializeTlvs(&engine));
  EXPECT_EQ(byte->value, 42U);
}

TEST_F(DeserializeTlvs, ARefusingOldStyleHookStopsTheMessageWithoutAnyUpdated) {
  ReceivedRequest received(
      "4F544E31 01 02 0007 | 10800005 01 0004 0000002A | 00000001 03 0001 2B | 10800006 03 0001 2C"_hex);
  const OldStyle property(received.makeOldStyle(19));
  received.message.addProperty(number);
  received.message.addProperty(property.get());
  received.message.addProperty(byte);
  engine.handleResult = false;
  EXPECT_FALSE(received.message.deserializeTlvs(&engine));
  EXPECT_EQ(engine.handled.size(), 1U);
  EXPECT_EQ(number->value, 42U);  // what was stored before stays
  EXPECT_EQ(byte->value, 1U);
  EXPECT_EQ(scalar.calls, Calls{});
}

TEST_F(DeserializeTlvs, AnOldStylePropertyStopsTheMessageWhenTheHookIsNotOverridden) {
  RecordingEngine plain;
  ReceivedRequest received("4F544E31 01 02 0007 | 00000001 03 0001 2A | 10800006 03 0001 2B"_hex);
  const OldStyle property(received.makeOldStyle(8));
  received.message.addProperty(property.get());
  received.message.addProperty(byte);
  EXPECT_FALSE(received.message.deserializeTlvs(&plain));
  EXPECT_EQ(byte->value, 1U);
  EXPECT_EQ(scalar.calls, Calls{});
}

TEST_F(DeserializeTlvs, AnOldStylePropertyStopsTheMessageWithoutAnEngine) {
  ReceivedRequest received("4F544E31 01 02 0007 | 00000001 03 0001 2A | 10800006 03 0001 2B"_hex);
  const OldStyle property(received.makeOldStyle(8));
  received.message.addProperty(property.get());
  received.message.addProperty(byte);
  EXPECT_FALSE(received.message.deserializeTlvs(nullptr));
  EXPECT_EQ(byte->value, 1U);
  EXPECT_EQ(scalar.calls, Calls{});
}

TEST_F(DeserializeTlvs, APropertyWithoutObjectThatIsNoOldStylePropertyStopsTheMessageWithoutAskingTheHook) {
  FakeProperty stray("00000001 03 0001 2A"_hex);
  ReceivedRequest received("4F544E31 01 02 0007 | 00000001 03 0001 2A | 10800006 03 0001 2B"_hex);
  received.message.addProperty(&stray);
  received.message.addProperty(byte);
  EXPECT_FALSE(received.message.deserializeTlvs(&engine));
  EXPECT_TRUE(engine.handled.empty());
  EXPECT_TRUE(stray.deserializedFrom.empty());
  EXPECT_EQ(byte->value, 1U);
  EXPECT_EQ(scalar.calls, Calls{});
}

TEST_F(DeserializeTlvs, AnOldStyleHookThatShortensItsValueShiftsTheValuesBehindIt) {
  // The text ends in what reads as a TLV; cut off before it, the walk takes that for the next one, unchecked.
  ReceivedRequest received("4F544E31 01 02 0007 | 00000001 09 000B 616263 10800006030001 2B | 10800006 03 0001 2A"_hex);
  const OldStyle property(received.makeOldStyle(8));
  received.message.addProperty(property.get());
  received.message.addProperty(byte);
  engine.onHandle = [](OldStyleProperty* handled) { handled->set(std::string("abc")); };
  EXPECT_TRUE(received.message.deserializeTlvs(&engine));
  EXPECT_EQ(byte->value, 43U);
}

TEST_F(DeserializeTlvs, AnOldStyleHookThatLengthensItsValueCannotLeadOutOfTheDatagram) {
  const std::size_t lengths[] = {5,  6,    12,
                                 13, 1000, 65535};  // the head fits and the value does not; nothing fits; far out
  for (const std::size_t length : lengths) {
    SCOPED_TRACE(length);
    scalar.calls.clear();
    ReceivedRequest received("4F544E31 01 02 0007 | 00000001 09 0004 61626364 | 10800006 03 0001 2A"_hex);
    const OldStyle property(received.makeOldStyle(8));
    received.message.addProperty(property.get());
    received.message.addProperty(byte);
    engine.onHandle = [length](OldStyleProperty* handled) { handled->set(std::string(length, 'x')); };
    EXPECT_FALSE(received.message.deserializeTlvs(&engine));
    EXPECT_EQ(byte->value, 1U);
  }
}

TEST_F(DeserializeTlvs, AnOldStyleHookCannotMakeALongerValueBeReadThanTheDatagramHolds) {
  // After the shift the text's length is read from its own characters: far more than what is left.
  ReceivedRequest received("4F544E31 01 02 0007 | 00000001 09 0001 61 | 10800007 09 0008 4142434445464748"_hex);
  const OldStyle property(received.makeOldStyle(8));
  received.message.addProperty(property.get());
  received.message.addProperty(text);
  engine.onHandle = [](OldStyleProperty* handled) { handled->set(std::string("abc")); };
  EXPECT_FALSE(received.message.deserializeTlvs(&engine));
  EXPECT_EQ(textOf(*text), "");
}

TEST_F(DeserializeTlvs, AStepOutOfTheDatagramIsAFailureAfterTheLastTlvToo) {
  ReceivedRequest received("4F544E31 01 02 0007 | 10800006 03 0001 2A | 00000001 09 0004 61626364"_hex);
  const OldStyle property(received.makeOldStyle(16));
  received.message.addProperty(byte);
  received.message.addProperty(property.get());
  engine.onHandle = [](OldStyleProperty* handled) { handled->set(std::string("abcde")); };
  EXPECT_FALSE(received.message.deserializeTlvs(&engine));
  EXPECT_EQ(byte->value, 42U);
  EXPECT_EQ(scalar.calls, Calls{});
}

TEST_F(DeserializeTlvs, AShiftedTlvIsNotReadAtTheWidthOfItsNumberPastTheDatagram) {
  // Four bytes further on, the end of the number's TLV reads as a head with a length of 0 that ends with the datagram.
  ReceivedRequest received("4F544E31 01 02 0007 | 00000001 09 0004 61626364 | 10800005 01 0004 002A0000"_hex);
  const OldStyle property(received.makeOldStyle(8));
  received.message.addProperty(property.get());
  received.message.addProperty(number);
  engine.onHandle = [](OldStyleProperty* handled) { handled->set(std::string("abcdefgh")); };
  EXPECT_FALSE(received.message.deserializeTlvs(&engine));
  EXPECT_EQ(number->value, 1U);
}

TEST_F(DeserializeTlvs, ATlvThatTheDatagramEndsInIsNotRead) {
  const std::string cut[] = {"4F544E31 01 02 0007 | 10800006 03 0001 2A | 10800005 01 0004 0000"_hex,
                             "4F544E31 01 02 0007 | 10800006 03 0001 2A | 10800005 01 0004"_hex,
                             "4F544E31 01 02 0007 | 10800006 03 0001 2A | 10800005 01 00"_hex,
                             "4F544E31 01 02 0007 | 10800006 03 0001 2A"_hex};
  for (const std::string& bytes : cut) {
    SCOPED_TRACE(asDatagram(bytes));
    ReceivedRequest received(bytes);
    received.message.addProperty(byte);
    received.message.addProperty(number);
    EXPECT_FALSE(received.message.deserializeTlvs(&engine));
    EXPECT_EQ(byte->value, 42U);
    EXPECT_EQ(number->value, 1U);
  }
}

TEST_F(DeserializeTlvs, AnOldStyleHookThatKeepsTheLengthShiftsNothing) {
  ReceivedRequest received("4F544E31 01 02 0007 | 00000001 09 0004 61626364 | 10800006 03 0001 2A"_hex);
  const OldStyle property(received.makeOldStyle(8));
  received.message.addProperty(property.get());
  received.message.addProperty(byte);
  engine.onHandle = [](OldStyleProperty* handled) { handled->set(std::string("wxyz")); };
  EXPECT_TRUE(received.message.deserializeTlvs(&engine));
  EXPECT_EQ(byte->value, 42U);
}
