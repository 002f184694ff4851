// Events: the tables of last values, the pending autonomous message, and the receiving side.

#include <gtest/gtest.h>

#include <ctime>
#include <functional>
#include <limits>
#include <memory>
#include <string>
#include <vector>

#include "support/bytes.h"
#include "support/fakeProperty.h"
#include "support/logCapture.h"
#include "support/logSelection.h"
#include "support/recordingEngine.h"
#include "support/watchedObject.h"
#include "trel/trelObjects.h"
#include "trel/trelProperty.h"
#include "trel/trelProtocolBase.h"

namespace {

using Number = TypeProperty<unsigned int>;

// Scalar of common group 1 with `count` eventable numbers, ids from 0.
struct Source {
  explicit Source(unsigned int count) {
    for (unsigned int i = 0; i < count; ++i) {
      numbers.push_back(new Number(i, "number", IFC_CARD_VAR_READ_WRITE, 0U, true));
      EXPECT_TRUE(scalar.addProp(numbers.back(), 0));
    }
    engine.registerObject(&scalar);
  }
  void change() {
    for (Number* number : numbers)
      number->set(number->value + 1);
  }
  RecordingEngine engine;
  TrelScalar scalar{"scalar", 1, true};
  std::vector<Number*> numbers;
};

std::size_t tlvsIn(const SentMessage& message) { return (message.bytes.size() - 16) / 11; }

class AmiReceiver : public RecordingEngine {
 public:
  bool amiMessageHandler(std::vector<TrelProperty*> properties) override {
    received.push_back(properties);
    properties.clear();
    if (onAmi) onAmi();
    return works;
  }
  std::vector<std::vector<TrelProperty*>> received;
  std::function<void()> onAmi;
  bool works = true;
};

std::string bytesOf(const std::string& digits) { return operator""_hex(digits.data(), digits.size()); }

const char AMI[] = "4F544E31 01 05 0001 00000001 00000002";

}  // namespace

TEST(ReadingEvent, AnEventValueTableKeepsItsValuesAndRefusesEveryIndexOutside) {
  EventValueTable table(false, 4, 7);
  EXPECT_EQ(table.getSize(), 4);
  EXPECT_FALSE(table.getCommon());
  EXPECT_EQ(table.getTableNbr(), 7);
  for (int i = 0; i < 4; ++i)
    EXPECT_EQ(table.getValue(i), 0U);
  EXPECT_TRUE(table.setValue(3, 0xFFFFFFFFFFFFFFFFULL));
  EXPECT_EQ(table.getValue(3), 0xFFFFFFFFFFFFFFFFULL);
  ASSERT_NE(table.getValuePtr(0), nullptr);
  *table.getValuePtr(0) = 5;
  EXPECT_EQ(table.getValue(0), 5U);
  EXPECT_EQ(table.getValuePtr(3) - table.getValuePtr(0), 3);
  for (const int index : {4, 5, -1, std::numeric_limits<int>::min(), std::numeric_limits<int>::max()}) {
    SCOPED_TRACE(index);
    EXPECT_EQ(table.getValue(index), 0U);
    EXPECT_FALSE(table.setValue(index, 1));
    EXPECT_EQ(table.getValuePtr(index), nullptr);
  }
  for (const int size : {0, -1, std::numeric_limits<int>::min()}) {
    EventValueTable none(true, size, 0xFFFFFFFFU);
    EXPECT_EQ(none.getSize(), size);
    EXPECT_TRUE(none.getCommon());
    EXPECT_EQ(none.getTableNbr(), -1);
    EXPECT_EQ(none.getValue(0), 0U);
    EXPECT_FALSE(none.setValue(-1, 1));
    EXPECT_EQ(none.getValuePtr(-1), nullptr);
  }
}

TEST(ReadingEvent, TheFirstScanCollectsAndEveryLaterOneSends) {
  Source source(3);
  source.change();
  {
    const LogCapture log;
    EXPECT_EQ(source.engine.eventHandler(), 0);
    EXPECT_EQ(linesOf(log, "eventHandler"), Lines{"7 [DEBUG1] trelProtocolBase (eventHandler) - initDone=0"});
    EXPECT_EQ(linesOf(log, "addToAmi"), (Lines{"7 [DEBUG1] trelProtocolBase (addToAmi) - add event 0 oid=0 size=4",
                                               "7 [DEBUG1] trelProtocolBase (addToAmi) - add event 1 oid=0x1 size=4",
                                               "7 [DEBUG1] trelProtocolBase (addToAmi) - add event 2 oid=0x2 size=4"}));
  }
  EXPECT_TRUE(source.engine.messages.empty());
  source.numbers[1]->set(9U);
  const LogCapture log;
  EXPECT_EQ(source.engine.eventHandler(), 1);
  EXPECT_EQ(linesOf(log, "eventHandler"), Lines{"7 [DEBUG1] trelProtocolBase (eventHandler) - initDone=1"});
  EXPECT_EQ(linesOf(log, "addToAmi"), (Lines{"7 [DEBUG1] trelProtocolBase (addToAmi) - add event 3 oid=0x1 size=4",
                                             "7 [DEBUG1] trelProtocolBase (addToAmi) - send ami msg with 4 tlvs"}));
  EXPECT_EQ(source.engine.sent(),
            Datagrams{"4F544E31 01 05 0001 00000000 00000000 | 10800000 01 0004 00000001 | 10800001 01 0004 00000009 | "
                      "10800002 01 0004 00000001 | 10800001 01 0004 00000009"});
  EXPECT_EQ(source.engine.messages[0].sender, "");
  EXPECT_EQ(source.engine.eventHandler(), 0);  // nothing pending: nothing sent
  EXPECT_EQ(source.engine.messages.size(), 1U);
  source.change();
  EXPECT_EQ(source.engine.eventHandler(), 3);
  EXPECT_EQ(source.engine.sent()[1],
            "4F544E31 01 05 0002 00000000 00000000 | 10800000 01 0004 00000002 | 10800001 01 0004 0000000A | "
            "10800002 01 0004 00000002");
}

TEST(ReadingEvent, TheFiftyFirstPropertySendsAtOnceAndTheListStays) {
  Source source(52);
  source.change();
  for (unsigned int i = 0; i < 50; ++i)
    source.engine.addToAmi(source.numbers[i], false);
  EXPECT_TRUE(source.engine.messages.empty());
  unsigned int deletions = 0;
  auto* owned = new FakeProperty("10800063 01 0004 00000001"_hex, 99);
  owned->deletions = &deletions;
  source.engine.amiOwnedProperties = {owned, nullptr};
  const LogCapture log;
  source.engine.addToAmi(source.numbers[50], false);
  ASSERT_EQ(source.engine.messages.size(), 1U);
  EXPECT_EQ(tlvsIn(source.engine.messages[0]), 51U);
  EXPECT_EQ(linesOf(log, "addToAmi"), (Lines{"7 [DEBUG1] trelProtocolBase (addToAmi) - add event 50 oid=0x32 size=4",
                                             "7 [DEBUG1] trelProtocolBase (addToAmi) - send ami msg with 51 tlvs"}));
  EXPECT_EQ(deletions, 0U);
  EXPECT_EQ(source.engine.amiOwnedProperties.size(), 2U);
  source.engine.addToAmi(nullptr, true);  // the count is 0: nothing happens, the list stays
  EXPECT_EQ(source.engine.messages.size(), 1U);
  EXPECT_EQ(deletions, 0U);
  source.engine.addToAmi(source.numbers[51], false);
  source.engine.addToAmi(nullptr, true);
  ASSERT_EQ(source.engine.messages.size(), 2U);
  EXPECT_EQ(tlvsIn(source.engine.messages[1]), 52U);
  EXPECT_EQ(log.lines().back().message, "send ami msg with 1 tlvs");
  EXPECT_EQ(deletions, 1U);
  EXPECT_TRUE(source.engine.amiOwnedProperties.empty());
  source.engine.addToAmi(source.numbers[0], false);
  source.engine.addToAmi(source.numbers[0], true);  // a flush adds nothing
  EXPECT_EQ(tlvsIn(source.engine.messages[2]), 1U);
}

TEST(ReadingEvent, AFirstScanOf51ChangesSendsAlready) {
  Source source(51);
  source.change();
  EXPECT_EQ(source.engine.eventHandler(), 0);
  ASSERT_EQ(source.engine.messages.size(), 1U);
  EXPECT_EQ(tlvsIn(source.engine.messages[0]), 51U);
  EXPECT_EQ(source.engine.eventHandler(), 0);
  EXPECT_EQ(source.engine.messages.size(), 1U);
  source.change();
  EXPECT_EQ(source.engine.eventHandler(), 51);
  ASSERT_EQ(source.engine.messages.size(), 2U);
  EXPECT_EQ(tlvsIn(source.engine.messages[1]), 102U);
  source.change();
  EXPECT_EQ(source.engine.eventHandler(), 51);
  EXPECT_EQ(tlvsIn(source.engine.messages[2]), 153U);  // beyond 150: that limit is of requests
}

TEST(ReadingEvent, AFlushDeletesWhatTheEngineOwnsAfterItWasSentEvenWhenTheTransportFails) {
  RecordingEngine engine;
  unsigned int deletions = 0;
  auto* owned = new FakeProperty("10800063 01 0004 00000001"_hex, 0x10800063);
  owned->deletions = &deletions;
  engine.amiOwnedProperties.push_back(owned);
  engine.addToAmi(owned, false);
  engine.result = 0;
  engine.whileSending = [&](TRELMessage& message) {
    EXPECT_EQ(deletions, 0U);
    EXPECT_EQ(message.headerLen, 16);
    EXPECT_EQ(message.msgKind, 2U);
  };
  EXPECT_FALSE(engine.checkForEvent(nullptr, nullptr, true, true));
  EXPECT_EQ(engine.sent(), Datagrams{"4F544E31 01 05 0001 00000000 00000000 | 10800063 01 0004 00000001"});
  EXPECT_EQ(deletions, 1U);
  EXPECT_TRUE(engine.amiOwnedProperties.empty());
  engine.checkForEvent(nullptr, nullptr, false, true);
  EXPECT_EQ(engine.messages.size(), 1U);  // the failure is not repeated
}

TEST(ReadingEvent, TwoEnginesShareThePendingMessageAndTheStartFlag) {
  Source one(1);
  Source other(2);
  one.change();
  other.change();
  EXPECT_EQ(one.engine.eventHandler(), 0);
  EXPECT_EQ(other.engine.eventHandler(), 2);  // the start is over for this engine too
  EXPECT_TRUE(one.engine.messages.empty());
  ASSERT_EQ(other.engine.messages.size(), 1U);
  EXPECT_EQ(tlvsIn(other.engine.messages[0]), 3U);
}

TEST(ReadingEvent, SendAmiMsgBaseStampsAndNumbersAndReturnsWhatTheTransportReturns) {
  RecordingEngine engine;
  EXPECT_EQ(engine.sendAmiMsgBase(nullptr), 0);
  TRELAmi ami("1.2.3.4");
  EXPECT_EQ(engine.sendAmiMsgBase(&ami), 0);
  EXPECT_TRUE(engine.messages.empty());
  EXPECT_EQ(engine.messageIdCounter, 0);
  Number number(0x10800001, "n", IFC_CARD_VAR_READ_WRITE, 1U);
  ami.addProperty(&number);
  ami.action = 5;
  engine.result = -9;
  const std::time_t before = std::time(nullptr);
  EXPECT_EQ(engine.sendAmiMsgBase(&ami), -9);
  EXPECT_EQ(ami.msgId, 1);
  EXPECT_GE(ami.timeSec, static_cast<unsigned int>(before - 1));
  EXPECT_LE(ami.timeSec, static_cast<unsigned int>(std::time(nullptr) + 1));
  EXPECT_LT(ami.timeUsec, 1000000U);
}

TEST(ReadingEvent, CheckForEventReadsEachWidthZeroExtended) {
  RecordingEngine engine;
  TypeProperty<unsigned long long> eight(1, "eight", IFC_CARD_VAR_READ_WRITE, 0xF1F2F3F4F5F6F7F8ULL);
  Number four(2, "four", IFC_CARD_VAR_READ_WRITE, 0xF1F2F3F4U);
  TypeProperty<unsigned short> two(3, "two", IFC_CARD_VAR_READ_WRITE, 0xF1F2);
  TypeProperty<unsigned char> one(4, "one", IFC_CARD_VAR_READ_WRITE, 0xF1);
  const struct {
    TrelProperty* property;
    unsigned long long value;
    const char* init;
    const char* event;
  } rows[] = {
      {&eight, 0xF1F2F3F4F5F6F7F8ULL, "init event oid=0x00000001 len=8 17434265340928784376 ==> 17434265340928784376",
       "event oid=0x00000001 len=8 type=0 3 ==> 17434265340928784376"},
      {&four, 0xF1F2F3F4ULL, "init event oid=0x00000002 len=4 4059231220 ==> 4059231220",
       "event oid=0x00000002 len=4 type=1 3 ==> 4059231220"},
      {&two, 0xF1F2ULL, "init event oid=0x00000003 len=2 61938 ==> 61938",
       "event oid=0x00000003 len=2 type=2 3 ==> 61938"},
      {&one, 0xF1ULL, "init event oid=0x00000004 len=1 241 ==> 241", "event oid=0x00000004 len=1 type=3 3 ==> 241"},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.property->name);
    unsigned long long last = 0xFFFFFFFFFFFFFFFFULL;
    LogCapture log;
    EXPECT_FALSE(engine.checkForEvent(&last, row.property, false, false));
    EXPECT_EQ(last, row.value);
    EXPECT_EQ(log.brief(), Lines{"7 [DEBUG2] trelProtocolBase (checkForEvent) - " + std::string(row.init)});
    log.clear();
    EXPECT_FALSE(engine.checkForEvent(&last, row.property, true, false));
    EXPECT_TRUE(log.lines().empty());
    last = 3;
    EXPECT_TRUE(engine.checkForEvent(&last, row.property, true, false));
    EXPECT_EQ(last, row.value);
    ASSERT_EQ(log.lines().size(), 2U);
    EXPECT_EQ(log.lines()[0].function, "addToAmi");
    EXPECT_EQ(log.brief()[1], "7 [DEBUG1] trelProtocolBase (checkForEvent) - " + std::string(row.event));
    EXPECT_FALSE(engine.checkForEvent(nullptr, row.property, true, false));
  }
  engine.addToAmi(nullptr, true);
  EXPECT_EQ(engine.sent(), Datagrams{"4F544E31 01 05 0001 00000000 00000000 | 00000001 00 0008 F1F2F3F4F5F6F7F8 | "
                                     "00000002 01 0004 F1F2F3F4 | 00000003 02 0002 F1F2 | 00000004 03 0001 F1"});
}

TEST(ReadingEvent, CheckForEventRefusesEveryOtherLengthAndTakesARefusedGetterAsZero) {
  RecordingEngine engine;
  unsigned char address[6] = {1, 2, 3, 4, 5, 6};
  MacAddressProperty mac(0xAB, "mac", IFC_CARD_VAR_READ_WRITE, address, false);
  StringProperty empty(0xAC, "empty", IFC_CARD_VAR_READ_WRITE, std::string());
  StringProperty three(0x12345678, "three", IFC_CARD_VAR_READ_WRITE, std::string("abc"));
  unsigned long long last = 77;
  {
    const LogCapture log;
    EXPECT_FALSE(engine.checkForEvent(&last, &mac, true, false));
    EXPECT_FALSE(engine.checkForEvent(&last, &empty, false, false));
    EXPECT_FALSE(engine.checkForEvent(&last, &three, true, false));
    EXPECT_EQ(log.brief(), (Lines{"7 [DEBUG1] trelProtocolBase (checkForEvent) - not supported len=6 id=0x000000ab",
                                  "7 [DEBUG1] trelProtocolBase (checkForEvent) - not supported len=0 id=0x000000ac",
                                  "7 [DEBUG1] trelProtocolBase (checkForEvent) - not supported len=3 id=0x12345678"}));
  }
  EXPECT_EQ(last, 77U);
  TypeProperty<int> negative(1, "negative", IFC_CARD_VAR_READ_WRITE, -5);
  const LogCapture log;
  EXPECT_FALSE(engine.checkForEvent(&last, &negative, false, false));
  EXPECT_EQ(last, 0U);
  EXPECT_EQ(log.brief(3),
            Lines{"3 [ERROR] trelProperty (get) - [negative] Not implemented for uint32_t (property 1, row 0)"});
  EXPECT_TRUE(engine.messages.empty());
}

TEST(ReadingEvent, EventAddWalksObjectsRowsAndIdsInOrderAndHandsEachChangeOutOnce) {
  RecordingEngine engine;
  TrelTable table("table", 3, false, 2);
  TrelScalar scalar("scalar", 1, true);
  for (unsigned int row = 0; row < 2; ++row)
    for (unsigned int column : {4U, 2U})
      ASSERT_TRUE(table.addProp(new Number(column, "cell", IFC_CARD_VAR_READ_WRITE, 0U, true), row));
  ASSERT_TRUE(scalar.addProp(new Number(5, "five", IFC_CARD_VAR_READ_WRITE, 0U, true), 0));
  ASSERT_TRUE(scalar.addProp(new Number(6, "mute", IFC_CARD_VAR_READ_WRITE, 0U, false), 0));
  std::vector<TrelObject*> objects = {&table, &scalar};
  for (TrelObject* object : objects)
    for (TrelProperty* property : object->getProperties())
      property->set(1U);
  EXPECT_EQ(engine.eventAdd(objects), 5);
  EXPECT_EQ(engine.eventAdd(objects), 0);
  engine.addToAmi(nullptr, true);
  EXPECT_EQ(engine.sent(),
            Datagrams{"4F544E31 01 05 0001 00000000 00000000 | 40C08000 01 0004 00000001 | 40C10000 01 0004 00000001 | "
                      "40C08001 01 0004 00000001 | 40C10001 01 0004 00000001 | 10800005 01 0004 00000001"});
}

TEST(ReadingEvent, APropertyDestroyedWhileItWaitsLeavesThePendingMessageAtEveryPlaceAndTheCountStays) {
  RecordingEngine engine;
  auto stays = std::make_unique<Number>(0x10800001, "stays", IFC_CARD_VAR_READ_WRITE, 1U);
  auto goes = std::make_unique<Number>(0x10800002, "goes", IFC_CARD_VAR_READ_WRITE, 2U);
  engine.addToAmi(goes.get(), false);
  engine.addToAmi(stays.get(), false);
  engine.addToAmi(goes.get(), false);
  goes.reset();
  const LogCapture log;
  engine.addToAmi(nullptr, true);
  EXPECT_EQ(engine.sent(), Datagrams{"4F544E31 01 05 0001 00000000 00000000 | 10800001 01 0004 00000001"});
  EXPECT_EQ(log.count("send ami msg with 3 tlvs"), 1U);
  engine.addToAmi(stays.get(), false);
  stays.reset();
  engine.addToAmi(nullptr, true);  // an empty message is not sent
  EXPECT_EQ(engine.messages.size(), 1U);
  EXPECT_EQ(engine.messageIdCounter, 1);
}

TEST(ReadingEvent, APropertyAddedWhileTheMessageIsSentGoesWithTheList) {
  Source source(2);
  source.engine.addToAmi(source.numbers[0], false);
  source.engine.whileSending = [&](TRELMessage&) { source.engine.addToAmi(source.numbers[1], false); };
  source.engine.addToAmi(nullptr, true);
  source.engine.whileSending = nullptr;
  source.engine.addToAmi(nullptr, true);
  ASSERT_EQ(source.engine.messages.size(), 1U);
  EXPECT_EQ(tlvsIn(source.engine.messages[0]), 1U);
}

TEST(ReadingEvent, AReceivedMessageIsAppliedToldOneByOneAndHandedOverAsAWhole) {
  AmiReceiver engine;
  WatchedScalar scalar("scalar", 1, true);
  auto* five = new Number(5, "five", IFC_CARD_VAR_READ_ONLY, 0U, true);
  auto* six = new Number(6, "six", IFC_CARD_VAR_READ_WRITE, 0U, new RangeCheckValue<unsigned int>(7, 8));
  ASSERT_TRUE(scalar.addProp(five, 0));
  ASSERT_TRUE(scalar.addProp(six, 0));
  engine.registerObject(&scalar);
  engine.onAmi = [&] { EXPECT_EQ(scalar.calls.size(), 3U); };
  scalar.result = false;
  const LogCapture log;
  EXPECT_EQ(engine.receive(bytesOf(AMI) + "10800006 01 0004 00000001 | 10800005 01 0004 00000002 | "
                                          "10800006 01 0004 00000003"_hex),
            1);
  EXPECT_EQ(engine.received, (std::vector<std::vector<TrelProperty*>>{{six, five, six}}));
  EXPECT_EQ(scalar.calls, (Calls{"six row 0", "five row 0", "six row 0"}));
  EXPECT_EQ(five->value, 2U);
  EXPECT_EQ(six->value, 3U);
  EXPECT_FALSE(five->eventPending);
  EXPECT_TRUE(engine.messages.empty());
  Lines lines;
  for (const LogLine& line : log.lines())
    if (line.function == "handleAmi") lines.push_back(line.tag + " " + line.message);
  ASSERT_EQ(lines.size(), 7U);
  EXPECT_EQ(lines[0], "[DEBUG1] handle AMI message");
  EXPECT_EQ(lines[1], "[DEBUG2] prop found to update: type 1, oid 10800006");
  EXPECT_EQ(lines[2], "[DEBUG2] updated() call failed\n for   6 | " + std::string(37, ' ') +
                          "six : " + std::string(19, ' ') + "1  (def = 0)\n, row 0");
}

TEST(ReadingEvent, BadTlvsOfAReceivedMessageAreSkippedAndTheResultIsFailure) {
  const struct {
    const char* tlv;
    Lines errors;
  } rows[] = {
      {"10800099 01 0004 00000001",
       {"the following oid is not found in the registered objects, skipping!",
        "prop NOT found to update: oid 0x10800099"}},
      {"10800006 02 0002 0001",
       {"AMI message received has incorrect property with id 0x10800006 and error 6", "skipping this property!"}},
      {"10800006 01 0000",
       {"AMI message received has incorrect property with id 0x10800006 and error 8", "skipping this property!"}},
      {"30800006 01 0004 00000001",
       {"AMI message received has incorrect property with id 0x30800006 and error 7", "skipping this property!"}},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.tlv);
    AmiReceiver engine;
    TrelScalar scalar("scalar", 1, true);
    auto* five = new Number(5, "five", IFC_CARD_VAR_READ_WRITE, 0U);
    ASSERT_TRUE(scalar.addProp(five, 0));
    ASSERT_TRUE(scalar.addProp(new Number(6, "six", IFC_CARD_VAR_READ_WRITE, 0U), 0));
    engine.registerObject(&scalar);
    const LogCapture log;
    EXPECT_EQ(engine.receive(bytesOf(AMI) + bytesOf(row.tlv) + "10800005 01 0004 00000002"_hex), 0);
    EXPECT_EQ(engine.received, (std::vector<std::vector<TrelProperty*>>{{five}}));
    EXPECT_EQ(five->value, 2U);
    Lines errors;
    for (const LogLine& line : log.lines())
      if (line.priority == 3 && line.function == "handleAmi") errors.push_back(line.message);
    EXPECT_EQ(errors, row.errors);
  }
}

TEST(ReadingEvent, AnEmptyMessageIsHandedOverAndARefusingOrAbsentHandlerIsAFailure) {
  AmiReceiver engine;
  EXPECT_EQ(engine.receive(bytesOf(AMI)), 1);
  ASSERT_EQ(engine.received.size(), 1U);
  EXPECT_TRUE(engine.received[0].empty());
  engine.works = false;
  RecordingEngine base;
  for (RecordingEngine* each : {static_cast<RecordingEngine*>(&engine), &base}) {
    const LogCapture log;
    EXPECT_EQ(each->receive(bytesOf(AMI)), 0);
    EXPECT_EQ(log.brief(3), Lines{"3 [ERROR] trelProtocolBase (handleAmi) - amiMessageHandler reported failure!"});
  }
}

TEST(ReadingEvent, AMessageThatIsNoneOrIsCutIsRefusedOrAppliedUpToTheCut) {
  AmiReceiver engine;
  TrelScalar scalar("scalar", 1, true);
  auto* five = new Number(5, "five", IFC_CARD_VAR_READ_WRITE, 0U);
  ASSERT_TRUE(scalar.addProp(five, 0));
  engine.registerObject(&scalar);
  const std::string request = "4F544E31 01 01 0001 00000001 00000002 | 10800005 01 0004 00000001"_hex;
  {
    const LogCapture log;
    EXPECT_EQ(engine.handleAmi(static_cast<int>(request.size()), request.data()), 0);
    EXPECT_EQ(log.brief(3),
              Lines{"3 [ERROR] trelProtocolBase (handleAmi) - handleAmi got a message that is not an AMI!"});
  }
  EXPECT_EQ(five->value, 0U);
  for (std::size_t length = 8; length < 16; ++length) {
    const LogCapture log(2 + 1);
    EXPECT_EQ(engine.receive(bytesOf(AMI).substr(0, length)), 0);
    EXPECT_EQ(log.lines().size(), 1U);
  }
  EXPECT_TRUE(engine.received.empty());
  const std::string whole = bytesOf(AMI) + "10800005 01 0004 00000001 | 10800005 01 0004 00000002"_hex;
  for (std::size_t length = whole.size() - 10; length < whole.size(); ++length) {
    SCOPED_TRACE(length);
    five->set(0U);
    engine.received.clear();
    const LogCapture log(3);
    EXPECT_EQ(engine.receive(whole.substr(0, length)), 0);
    EXPECT_EQ(five->value, 1U);
    EXPECT_EQ(engine.received, (std::vector<std::vector<TrelProperty*>>{{five}}));
    EXPECT_EQ(log.lines().size(), 1U);
  }
}

TEST(ReadingEvent, AHandlerMayCallTheEngineAgain) {
  AmiReceiver engine;
  TrelScalar scalar("scalar", 1, true);
  auto* five = new Number(5, "five", IFC_CARD_VAR_READ_WRITE, 0U);
  ASSERT_TRUE(scalar.addProp(five, 0));
  engine.registerObject(&scalar);
  int depth = 0;
  engine.onAmi = [&] {
    if (++depth > 3) return;
    engine.receive(bytesOf(AMI) + "10800005 01 0004 00000002"_hex);
    engine.receive("4F544E31 01 01 0001 | 10800005 01 0000"_hex);
  };
  EXPECT_EQ(engine.receive(bytesOf(AMI) + "10800005 01 0004 00000001"_hex), 1);
  EXPECT_EQ(engine.received.size(), 4U);
  EXPECT_EQ(engine.messages.size(), 3U);
}

TEST(ReadingEvent, ABaseObjectsUpdatedCountsAsSuccessAndIsLoggedAllTheSame) {
  AmiReceiver engine;
  TrelScalar scalar("scalar", 1, true);
  ASSERT_TRUE(scalar.addProp(new Number(5, "five", IFC_CARD_VAR_READ_WRITE, 0U), 0));
  engine.registerObject(&scalar);
  const LogCapture log;
  EXPECT_EQ(engine.receive(bytesOf(AMI) + "10800005 01 0004 00000001"_hex), 1);
  EXPECT_EQ(linesOf(log, "handleAmi").back().find("failed"), std::string::npos);
  EXPECT_EQ(log.count("updated() call succeeded for   5 | " + std::string(36, ' ') + "five : " + std::string(19, ' ') +
                      "1  (def = 0)\n, row 0"),
            1U);
}

TEST(ReadingEvent, TheFlagAloneDecidesWhatAScanReportsAndReceivedValuesDoNotRaiseIt) {
  Source source(1);
  auto* mute = new Number(7, "mute", IFC_CARD_VAR_READ_WRITE, 0U, false);
  ASSERT_TRUE(source.scalar.addProp(mute, 0));
  source.engine.receive("4F544E31 01 02 0001 | 10800000 01 0004 00000009"_hex);
  source.engine.receive("4F544E31 01 05 0001 00000000 00000000 | 10800000 01 0004 0000000A"_hex);
  EXPECT_FALSE(source.numbers[0]->eventPending);
  mute->eventPending = true;
  EXPECT_EQ(source.engine.eventHandler(), 0);
  EXPECT_EQ(source.engine.eventHandler(), 0);
  EXPECT_EQ(source.engine.messages.back().datagram,
            "4F544E31 01 05 0001 00000000 00000000 | 10800007 01 0004 00000000");
}

TEST(ReadingEvent, AnObjectMayBeRegisteredWhileAScanSends) {
  Source source(60);
  source.change();
  TrelScalar late("late", 2, true);
  auto* number = new Number(1, "late", IFC_CARD_VAR_READ_WRITE, 0U, true);
  ASSERT_TRUE(late.addProp(number, 0));
  number->set(1U);
  source.engine.whileSending = [&](TRELMessage&) {
    for (int i = 0; i < 40; ++i)
      source.engine.registerObject(&late);
  };
  source.engine.eventHandler();
  EXPECT_GE(source.engine.messages.size(), 1U);
  source.engine.whileSending = nullptr;
  source.engine.eventHandler();
  EXPECT_GE(tlvsIn(source.engine.messages.back()), 60U);
}

TEST(ReadingEvent, AFlushInsideAFlushDeletesWhatTheEngineOwnsOnce) {
  RecordingEngine engine;
  unsigned int deletions = 0;
  auto* owned = new FakeProperty("10800063 01 0004 00000001"_hex, 0x10800063);
  owned->deletions = &deletions;
  engine.amiOwnedProperties = {owned};
  engine.addToAmi(owned, false);
  bool nested = false;
  engine.whileSending = [&](TRELMessage&) {
    if (nested) return;
    nested = true;
    engine.addToAmi(nullptr, true);
  };
  engine.addToAmi(nullptr, true);
  EXPECT_EQ(deletions, 1U);
  EXPECT_EQ(engine.messages.size(), 2U);  // the count is reset behind the send
  engine.addToAmi(nullptr, true);
  EXPECT_EQ(engine.messages.size(), 2U);
}

TEST(ReadingEvent, ATransportThatThrowsInAFlushLeavesAnEngineThatFlushesAndAnswers) {
  RecordingEngine engine;
  Number number(0x10800001, "n", IFC_CARD_VAR_READ_WRITE, 1U);
  engine.addToAmi(&number, false);
  engine.whileSending = [](TRELMessage&) { throw 1; };
  EXPECT_THROW(engine.addToAmi(nullptr, true), int);
  engine.whileSending = nullptr;
  engine.addToAmi(&number, false);
  engine.addToAmi(nullptr, true);
  engine.receive("4F544E31 01 01 0001"_hex);
  EXPECT_EQ(engine.sent().back(), "4F544E31 01 03 0001 00 0000");
}

TEST(ReadingEvent, AnOldStylePropertyThatItsHookReportedIsGoneFromTheMessageWhenTheRequestIsOver) {
  class Reporting : public RecordingEngine {
   public:
    int checkTlvOld(OldStyleProperty* property, bool) const override {
      const_cast<Reporting*>(this)->addToAmi(property, false);
      return property->id == 0x10800099 ? 9 : 0;
    }
    bool handleTrelMsgOld(OldStyleProperty* property, bool) override {
      addToAmi(property, false);
      return true;
    }
  };
  {
    Reporting engine;
    engine.receive("4F544E31 01 01 0001 | 10800098 01 0004 00000001"_hex);
    engine.receive("4F544E31 01 02 0002 | 10800098 01 0004 00000001"_hex);
    engine.forget();
    engine.addToAmi(nullptr, true);
    EXPECT_TRUE(engine.messages.empty());
    engine.receive("4F544E31 01 02 0003 | 10800099 01 0004 00000001"_hex);
  }
  RecordingEngine other;  // the pending message outlives the engine whose refused property it held
  Number number(0x10800001, "n", IFC_CARD_VAR_READ_WRITE, 1U);
  other.addToAmi(&number, false);
  other.addToAmi(nullptr, true);
  EXPECT_EQ(other.sent(), Datagrams{"4F544E31 01 05 0001 00000000 00000000 | 10800001 01 0004 00000001"});
}

TEST(ReadingEvent, HandleAmiAsksTheActionAloneOfTheHeader) {
  AmiReceiver engine;
  TrelScalar scalar("scalar", 1, true);
  auto* five = new Number(5, "five", IFC_CARD_VAR_READ_WRITE, 0U);
  ASSERT_TRUE(scalar.addProp(five, 0));
  engine.registerObject(&scalar);
  const std::string foreign = "00000000 07 05 0001 00000001 00000002 | 10800005 01 0004 00000001"_hex;
  EXPECT_EQ(engine.handleAmi(static_cast<int>(foreign.size()), foreign.data()), 1);
  EXPECT_EQ(five->value, 1U);
}

TEST(ReadingEvent, AMessageReceivedInsideUpdatedLeavesTheOuterListWhole) {
  AmiReceiver engine;
  WatchedScalar scalar("scalar", 1, true);
  auto* five = new Number(5, "five", IFC_CARD_VAR_READ_WRITE, 0U);
  auto* six = new Number(6, "six", IFC_CARD_VAR_READ_WRITE, 0U);
  ASSERT_TRUE(scalar.addProp(five, 0));
  ASSERT_TRUE(scalar.addProp(six, 0));
  engine.registerObject(&scalar);
  bool nested = false;
  scalar.onUpdated = [&](TrelProperty*) {
    if (nested) return;
    nested = true;
    EXPECT_EQ(engine.receive(bytesOf(AMI) + "10800006 01 0004 00000009"_hex), 1);
  };
  EXPECT_EQ(engine.receive(bytesOf(AMI) + "10800005 01 0004 00000001 | 10800006 01 0004 00000002"_hex), 1);
  EXPECT_EQ(engine.received, (std::vector<std::vector<TrelProperty*>>{{six}, {five, six}}));
  EXPECT_EQ(six->value, 2U);
}
