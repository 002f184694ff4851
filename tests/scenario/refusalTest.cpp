// What a card refuses, and what its manager makes of the refusal.

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "scenario/linkedEngines.h"
#include "support/logCapture.h"
#include "support/logSelection.h"

namespace {

Lines refusal(const std::string& text) {
  return {"3 [ERROR] trelProtocolBase (handleResponse) - the response has an error " + text};
}

}  // namespace

TEST(Refusal, AReadOnlyVariableIsNotWrittenAndNoneOfTheOthersIs) {
  Line line;
  line.mirror.counter->set(7U);
  LogCapture log(3);
  EXPECT_EQ(line.manager.writePropertys({line.mirror.counter, line.mirror.version}), 0);
  EXPECT_EQ(line.onCard.counter->value, 42U);
  EXPECT_EQ(line.onCard.chassis.calls, Calls{});
  EXPECT_EQ(line.traffic, (Traffic{"manager: 4F544E31 01 02 0001 | 10800005 01 0004 00000007 | 10800006 02 0002 0102",
                                   "card: 4F544E31 01 04 0001 0A 0001"}));
  EXPECT_EQ(linesOf(log, "handleResponse"), refusal("10 : RESULT READ ONLY"));
}

TEST(Refusal, AValueOutsideItsRangeIsNotWritten) {
  Line line;
  LogCapture log(3);
  for (const int refused : {0, 101, 255}) {
    const auto value = static_cast<unsigned char>(refused);
    line.mirror.limit->set(value);
    log.clear();
    EXPECT_EQ(line.manager.writeProperty(*line.mirror.limit), 0);
    EXPECT_EQ(line.onCard.limit->value, 10);
    EXPECT_EQ(linesOf(log, "handleResponse"), refusal("9 : RESULT WRONG VALUE"));
  }
  EXPECT_EQ(line.traffic.back(), "card: 4F544E31 01 04 0003 09 0000");
  for (const int accepted : {1, 100}) {
    const auto value = static_cast<unsigned char>(accepted);
    line.mirror.limit->set(value);
    EXPECT_EQ(line.manager.writeProperty(*line.mirror.limit), 1);
    EXPECT_EQ(line.onCard.limit->value, value);
  }
}

TEST(Refusal, AVariableThatTheCardDoesNotHaveRefusesTheWholeRead) {
  Line line;
  TypeProperty<unsigned int> unknown(0x10800063, "unknown", IFC_CARD_VAR_READ_WRITE, 0U);
  LogCapture log(3);
  EXPECT_EQ(line.manager.readPropertys({line.mirror.counter, &unknown}), 0);
  EXPECT_EQ(line.mirror.counter->value, 0U);
  EXPECT_EQ(line.traffic,
            (Traffic{"manager: 4F544E31 01 01 0001 | 10800005 01 0004 00000000 | 10800063 01 0004 00000000",
                     "card: 4F544E31 01 03 0001 05 0001"}));
  EXPECT_EQ(linesOf(log, "handleResponse"), refusal("5 : RESULT GENERAL ERROR"));
}

TEST(Refusal, AVariableOfAnotherTypeOrWidthIsRefusedInAWriteAndAnsweredInARead) {
  Line line;
  TypeProperty<int> otherType(0x10800005, "type", IFC_CARD_VAR_READ_WRITE, 1);
  TypeProperty<unsigned char> otherWidth(0x10800006, "width", IFC_CARD_VAR_READ_WRITE, 1);
  LogCapture log(3);
  EXPECT_EQ(line.manager.writeProperty(otherType), 0);
  EXPECT_EQ(linesOf(log, "handleResponse"), refusal("6 : RESULT WRONG TYPE"));
  EXPECT_EQ(line.manager.readPropertys({&otherType, &otherWidth}), 1);
  EXPECT_EQ(line.mirror.counter->value, 42U);
  EXPECT_EQ(line.traffic,
            (Traffic{"manager: 4F544E31 01 02 0001 | 10800005 05 0004 00000001", "card: 4F544E31 01 04 0001 06 0000",
                     "manager: 4F544E31 01 01 0002 | 10800005 05 0004 00000001 | 10800006 03 0001 01",
                     "card: 4F544E31 01 03 0002 00 0000 | 10800005 01 0004 0000002A | "
                     "10800006 02 0002 0102"}));
}

TEST(Refusal, AMirrorOfAnotherTypeSkipsTheValueAndKeepsTheOthers) {
  Line line;
  TrelScalar wrong("wrong", 2, false);
  auto* number = new TypeProperty<int>(1, "number", IFC_CARD_VAR_READ_WRITE, -1);
  wrong.addProp(number, 0);
  line.manager.registerObject(&wrong);
  TrelScalar right("right", 2, false);
  right.addProp(new TypeProperty<unsigned int>(1, "number", IFC_CARD_VAR_READ_WRITE, 9U), 0);
  line.card.registerObject(&right);
  LogCapture log(3);
  EXPECT_EQ(line.manager.readPropertys({number, line.mirror.counter}), 0);
  EXPECT_EQ(number->value, -1);
  EXPECT_EQ(line.mirror.counter->value, 42U);
  EXPECT_EQ(linesOf(log, "handleResponse"),
            (Lines{"3 [ERROR] trelProtocolBase (handleResponse) - "
                   "response received has incorrect property with id 0x1000001 and error 6",
                   "3 [ERROR] trelProtocolBase (handleResponse) - skipping this property!"}));
}

TEST(Refusal, AnAnswerAbove1200BytesIsRefusedAndOneOf1200IsRead) {
  Line line;
  line.onCard.label->set(std::string(1182, 'x'));  // 11 + 7 + 1182
  EXPECT_EQ(line.manager.readProperty(*line.mirror.label), 1);
  EXPECT_EQ(line.mirror.labelText(), std::string(1182, 'x'));
  line.onCard.label->set(std::string(1183, 'y'));
  LogCapture log(3);
  EXPECT_EQ(line.manager.readProperty(*line.mirror.label), 0);
  EXPECT_EQ(line.mirror.labelText(), std::string(1182, 'x'));
  EXPECT_EQ(line.traffic.back(), "card: 4F544E31 01 03 0002 0B 0000");
  EXPECT_EQ(linesOf(log, "handleResponse"), refusal("11 : RESULT TOO LONG"));
}

TEST(Refusal, AnUpdatedThatRefusesOnTheCardMakesTheWriteFailAlthoughTheValueStays) {
  Line line;
  line.onCard.chassis.result = false;
  line.mirror.counter->set(7U);
  LogCapture log(3);
  EXPECT_EQ(line.manager.writeProperty(*line.mirror.counter), 0);
  EXPECT_EQ(line.onCard.counter->value, 7U);
  EXPECT_EQ(line.traffic.back(), "card: 4F544E31 01 04 0001 0C 0000");
  EXPECT_EQ(linesOf(log, "handleResponse"), refusal("12 : RESULT CANNOT EXEC"));
}

TEST(Refusal, ACardOfAnotherVersionAnswersWithItsErrorWhichTheManagerReports) {
  Line line;
  line.manager.onTheLine = [](std::string bytes) {
    bytes[4] = 2;
    return bytes;
  };
  LogCapture log(3);
  EXPECT_EQ(line.manager.readProperty(*line.mirror.counter), 0);
  EXPECT_EQ(line.mirror.counter->value, 0U);
  EXPECT_EQ(line.traffic.back(), "card: 4F544E31 01 03 0001 01 0000");
  EXPECT_EQ(linesOf(log, "handleResponse"), refusal("1 : RESULT PROTOCOL VERSION_MISMATCH"));
}

TEST(Refusal, AnUnknownActionIsAnsweredAsAWrite) {
  Line line;
  line.manager.onTheLine = [](std::string bytes) {
    bytes[5] = 6;
    return bytes;
  };
  LogCapture log(3);
  EXPECT_EQ(line.manager.readProperty(*line.mirror.counter), 0);
  EXPECT_EQ(line.traffic.back(), "card: 4F544E31 01 04 0001 04 0000");
  EXPECT_EQ(linesOf(log, "handleResponse"), refusal("4 : RESULT INVALID ACTION"));
}

TEST(Refusal, ARequestOfAForeignMagicNumberIsNotAnswered) {
  Line line;
  line.manager.onTheLine = [](std::string bytes) {
    bytes[0] = 'X';
    return bytes;
  };
  EXPECT_EQ(line.manager.readProperty(*line.mirror.counter), 0);
  EXPECT_EQ(line.card.lastResult, 1);
  EXPECT_EQ(line.traffic.size(), 1U);
}

TEST(Refusal, TheSixthSenderIsAnsweredButItsAnswersCountAsErrors) {
  Line line;
  const std::string read = "4F544E31 01 01 0001 | 10800005 01 0000"_hex;
  for (const char* sender : {"10.0.1.1", "10.0.1.2", "10.0.1.3", "10.0.1.4", "10.0.1.5"})
    line.card.receive(read, sender);
  LogCapture log(3);
  EXPECT_EQ(line.manager.readProperty(*line.mirror.counter), 0);
  EXPECT_EQ(line.mirror.counter->value, 0U);
  EXPECT_EQ(line.traffic.back(), "card: 4F544E31 01 03 0001 10 0000 | 10800005 01 0004 0000002A");
  EXPECT_EQ(linesOf(log, "handleResponse"), refusal("16 : "));
}
