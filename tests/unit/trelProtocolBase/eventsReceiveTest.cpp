// Received autonomous messages: values, the application's handler, messages that end too early, nested calls.

#include <gtest/gtest.h>

#include <cstddef>
#include <functional>
#include <stdexcept>
#include <string>
#include <vector>

#include "support/bytes.h"
#include "support/exactBlock.h"
#include "support/logCapture.h"
#include "support/logSelection.h"
#include "support/recordingEngine.h"
#include "support/watchedObject.h"
#include "trel/trelProtocolBase.h"

namespace {

using Number = TypeProperty<unsigned int>;
using Small = TypeProperty<unsigned short>;

// Keeps the names of the properties that the handler was given, one text each call.
class HandlingEngine : public RecordingEngine {
 public:
  bool amiMessageHandler(std::vector<TrelProperty*> properties) override {
    std::string names;
    for (TrelProperty* property : properties)
      names += property->name + ".";
    handled.push_back(names);
    if (onHandled) onHandled(properties);
    return verdict;
  }
  std::vector<std::string> handled;
  std::function<void(const std::vector<TrelProperty*>&)> onHandled;
  bool verdict = true;
};

using Handled = std::vector<std::string>;

// A manager's mirror of a card: a common scalar of group 1 and a table 3 of six rows, all of whose values start at 0.
template <typename Engine>
struct MirrorOf {
  MirrorOf() {
    chassis.addProp(counter, 0);
    chassis.addProp(level, 0);
    chassis.addProp(label, 0);
    for (unsigned int row = 0; row < 6; ++row)
      sensors.addProp(new Small(2, "high", IFC_CARD_VAR_READ_WRITE, 0), row);
    engine.registerObject(&chassis);
    engine.registerObject(&sensors);
  }
  std::string text() const {
    std::string value;
    label->get(&value);
    return value;
  }

  WatchedScalar chassis{"chassis", 1, true};
  WatchedTable sensors{"sensors", 3, false, 6};
  Number* counter = new Number(5, "counter", IFC_CARD_VAR_READ_WRITE, 0U, true);
  Small* level = new Small(6, "level", IFC_CARD_VAR_READ_ONLY, 0);
  StringProperty* label = new StringProperty(7, "label", IFC_CARD_VAR_READ_WRITE, "-");
  Engine engine;
};

using Manager = MirrorOf<HandlingEngine>;
using PlainManager = MirrorOf<RecordingEngine>;

const char* const AMI = "handleAmi";
const char* const FAILURE = "3 [ERROR] trelProtocolBase (handleAmi) - amiMessageHandler reported failure!";

// A header of 16 bytes: id 7, 100 seconds, 1000 microseconds.
const std::string HEADER = "4F544E31 01 05 0007 00000064 000003E8"_hex;

// TLVs that end at 27, 36 and 46.
std::string threeValues() {
  return HEADER + "10800005 01 0004 01020304 | 10800006 02 0002 0506 | 10800007 09 0003 616263"_hex;
}

}  // namespace

// ----- values and hooks -----

TEST(HandleAmi, StoresItsValuesTellsTheOwnersAndHandsThePropertiesOver) {
  Manager manager;
  EXPECT_EQ(manager.engine.receive(threeValues() + "40C08005 02 0002 FFFE"_hex), 1);
  EXPECT_EQ(manager.counter->value, 0x01020304U);
  EXPECT_EQ(manager.level->value, 0x0506);
  EXPECT_EQ(manager.text(), "abc");
  EXPECT_EQ(static_cast<Small*>(manager.sensors.getProp(2, 5))->value, 0xFFFE);
  EXPECT_EQ(manager.chassis.calls, (Calls{"counter row 0", "level row 0", "label row 0"}));
  EXPECT_EQ(manager.sensors.calls, (Calls{"high row 5"}));
  EXPECT_EQ(manager.engine.handled, Handled{"counter.level.label.high."});
}

TEST(HandleAmi, IsNeverAnswered) {
  Manager manager;
  manager.engine.receive(threeValues());
  manager.engine.receive(HEADER + "10800063 01 0000"_hex);
  manager.engine.receive(threeValues().substr(0, 20));
  manager.engine.verdict = false;
  manager.engine.receive(threeValues());
  EXPECT_TRUE(manager.engine.messages.empty());
}

TEST(HandleAmi, EachOwnerIsToldBeforeTheNextTlvIsStoredAndTheHandlerAfterAll) {
  Manager manager;
  std::vector<std::string> order;
  manager.chassis.onUpdated = [&](TrelProperty* property) {
    order.push_back(property->name + " with counter " + std::to_string(manager.counter->value) + " and level " +
                    std::to_string(manager.level->value));
  };
  manager.engine.onHandled = [&](const std::vector<TrelProperty*>&) { order.push_back("handler"); };
  manager.engine.receive(HEADER + "10800005 01 0004 0000002A | 10800006 02 0002 0007"_hex);
  EXPECT_EQ(order, (std::vector<std::string>{"counter with counter 42 and level 0", "level with counter 42 and level 7",
                                             "handler"}));
}

TEST(HandleAmi, ARepeatedPropertyIsHandedOverEachTime) {
  Manager manager;
  EXPECT_EQ(manager.engine.receive(HEADER + "10800005 01 0004 00000001 | 10800005 01 0004 00000002"_hex), 1);
  EXPECT_EQ(manager.counter->value, 2U);
  EXPECT_EQ(manager.chassis.calls, (Calls{"counter row 0", "counter row 0"}));
  EXPECT_EQ(manager.engine.handled, Handled{"counter.counter."});
}

TEST(HandleAmi, ReadOnlyPropertiesAndValueChecksDoNotResist) {
  WatchedScalar scalar("s", 2, false);
  auto* guarded = new Number(1, "guarded", IFC_CARD_VAR_READ_ONLY, 0U, new RangeCheckValue<unsigned int>(0U, 10U));
  scalar.addProp(guarded, 0);
  HandlingEngine engine;
  engine.registerObject(&scalar);
  EXPECT_EQ(engine.receive(HEADER + "01000001 01 0004 000003E8"_hex), 1);
  EXPECT_EQ(guarded->value, 1000U);
}

TEST(HandleAmi, AReceivedValueRaisesNoEvent) {
  Manager manager;
  EXPECT_EQ(manager.engine.receive(HEADER + "10800005 01 0004 0000002A"_hex), 1);
  EXPECT_FALSE(manager.counter->eventPending);
}

TEST(HandleAmi, AnUpdatedThatRefusesIsOnlyTracedAndThePropertyIsHandedOver) {
  Manager manager;
  manager.chassis.result = false;
  LogCapture log(8);
  EXPECT_EQ(manager.engine.receive(HEADER + "10800006 02 0002 002A"_hex), 1);
  EXPECT_EQ(manager.level->value, 42);
  EXPECT_EQ(manager.engine.handled, Handled{"level."});
  EXPECT_EQ(linesOf(log, AMI),
            (Lines{"7 [DEBUG1] trelProtocolBase (handleAmi) - handle AMI message",
                   "7 [DEBUG2] trelProtocolBase (handleAmi) - prop found to update: type 2, oid 10800006",
                   "7 [DEBUG2] trelProtocolBase (handleAmi) - updated() call failed\n for "
                   "  6 |                                    level :                   42  (def = 0)\n, row 0"}));
}

TEST(HandleAmi, AnObjectThatDoesNotOverrideUpdatedCountsAsASuccess) {
  TrelTable table("plain", 3, false, 6);
  table.addProp(new Small(2, "high", IFC_CARD_VAR_READ_WRITE, 0), 5);
  HandlingEngine engine;
  engine.registerObject(&table);
  LogCapture log(8);
  EXPECT_EQ(engine.receive(HEADER + "40C08005 02 0002 002A"_hex), 1);
  EXPECT_EQ(engine.handled, Handled{"high."});
  EXPECT_EQ(linesOf(log, AMI),
            (Lines{"7 [DEBUG1] trelProtocolBase (handleAmi) - handle AMI message",
                   "7 [DEBUG2] trelProtocolBase (handleAmi) - prop found to update: type 2, oid 40c08005",
                   "7 [DEBUG2] trelProtocolBase (handleAmi) - updated() call succeeded for "
                   "  2 |                                     high :                   42  (def = 0)\n, row 5"}));
}

// ----- the application's handler -----

TEST(HandleAmi, WithoutTlvsTheHandlerIsGivenAnEmptyList) {
  Manager manager;
  EXPECT_EQ(manager.engine.receive(HEADER), 1);
  EXPECT_EQ(manager.engine.handled, Handled{""});
}

TEST(HandleAmi, WithTheBaseHandlerTheResultIs0AndTheFailureIsLogged) {
  PlainManager manager;
  LogCapture log(3);
  EXPECT_EQ(manager.engine.receive(HEADER), 0);
  EXPECT_EQ(log.brief(), Lines{FAILURE});
}

TEST(HandleAmi, WithTheBaseHandlerTheValuesAreStoredAllTheSame) {
  PlainManager manager;
  LogCapture log(3);
  EXPECT_EQ(manager.engine.receive(threeValues()), 0);
  EXPECT_EQ(manager.counter->value, 0x01020304U);
  EXPECT_EQ(manager.text(), "abc");
  EXPECT_EQ(manager.chassis.calls.size(), 3U);
  EXPECT_EQ(log.brief(), Lines{FAILURE});
}

TEST(HandleAmi, TheBaseHandlerReturnsFalse) {
  RecordingEngine engine;
  EXPECT_FALSE(engine.amiMessageHandler({}));
}

TEST(HandleAmi, AHandlerThatRefusesMakesTheResult0WithAnErrorLine) {
  Manager manager;
  manager.engine.verdict = false;
  LogCapture log(3);
  EXPECT_EQ(manager.engine.receive(threeValues()), 0);
  EXPECT_EQ(manager.engine.handled.size(), 1U);
  EXPECT_EQ(manager.counter->value, 0x01020304U);
  EXPECT_EQ(log.brief(), Lines{FAILURE});
}

TEST(HandleAmi, TheFailureLineIsSilentAtItsThreshold) {
  PlainManager manager;
  LogCapture log(2);
  EXPECT_EQ(manager.engine.receive(HEADER), 0);
  EXPECT_EQ(log.brief(), Lines{});
}

// ----- TLVs that do not fit -----

TEST(HandleAmi, AnUnknownOidIsSkippedTheGoodOnesAreAppliedAndHandedOverAndTheResultIs0) {
  Manager manager;
  LogCapture log(3);
  EXPECT_EQ(manager.engine.receive(HEADER + "10800063 01 0004 00000001 | 10800005 01 0004 0000002A"_hex), 0);
  EXPECT_EQ(manager.counter->value, 42U);
  EXPECT_EQ(manager.engine.handled, Handled{"counter."});
  EXPECT_EQ(linesOf(log, AMI),
            (Lines{"3 [ERROR] trelProtocolBase (handleAmi) - "
                   "the following oid is not found in the registered objects, skipping!",
                   "3 [ERROR] trelProtocolBase (handleAmi) - prop NOT found to update: oid 0x10800063"}));
}

TEST(HandleAmi, OnlyUnknownOidsGiveTheHandlerAnEmptyList) {
  Manager manager;
  EXPECT_EQ(manager.engine.receive(HEADER + "10800063 01 0004 00000001"_hex), 0);
  EXPECT_EQ(manager.engine.handled, Handled{""});
}

TEST(HandleAmi, ATlvThatDoesNotFitItsPropertyIsSkippedWithItsErrorAndTheOthersAreApplied) {
  struct Case {
    const char* rule;
    std::string tlv;
    const char* line;
  };
  const Case cases[] = {
      // Bit 29 is ignored when the property is looked up and compared when the TLV is checked.
      {"another OID", "30800005 01 0004 0000002A"_hex, "id 0x30800005 and error 7"},
      {"another type", "10800005 05 0004 0000002A"_hex, "id 0x10800005 and error 6"},
      {"a longer value", "10800005 01 0005 000000002A"_hex, "id 0x10800005 and error 8"},
      {"no value", "10800005 01 0000"_hex, "id 0x10800005 and error 8"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.rule);
    Manager manager;
    LogCapture log(3);
    EXPECT_EQ(manager.engine.receive(HEADER + "10800007 09 0001 78"_hex + c.tlv + "10800006 02 0002 0007"_hex), 0);
    EXPECT_EQ(manager.counter->value, 0U);
    EXPECT_EQ(manager.engine.handled, Handled{"label.level."});
    EXPECT_EQ(manager.chassis.calls, (Calls{"label row 0", "level row 0"}));
    EXPECT_EQ(linesOf(log, AMI), (Lines{std::string("3 [ERROR] trelProtocolBase (handleAmi) - "
                                                    "AMI message received has incorrect property with ") +
                                            c.line,
                                        "3 [ERROR] trelProtocolBase (handleAmi) - skipping this property!"}));
  }
}

TEST(HandleAmi, ABadTlvAndARefusingHandlerLeaveBothTraces) {
  Manager manager;
  manager.engine.verdict = false;
  LogCapture log(3);
  EXPECT_EQ(manager.engine.receive(HEADER + "10800063 01 0000"_hex), 0);
  EXPECT_EQ(linesOf(log, AMI),
            (Lines{"3 [ERROR] trelProtocolBase (handleAmi) - "
                   "the following oid is not found in the registered objects, skipping!",
                   "3 [ERROR] trelProtocolBase (handleAmi) - prop NOT found to update: oid 0x10800063", FAILURE}));
}

// ----- trace grades -----

TEST(HandleAmi, ItsFirstLineIsOfTheFirstGradeAndThoseOfTheTlvsOfTheSecond) {
  Manager manager;
  LogCapture log(6);
  manager.engine.receive(threeValues());
  EXPECT_EQ(linesOf(log, AMI), Lines{});
  log.setLevel(7);
  manager.engine.receive(threeValues());
  EXPECT_EQ(linesOf(log, AMI), Lines{"7 [DEBUG1] trelProtocolBase (handleAmi) - handle AMI message"});
  log.clear();
  log.setLevel(8);
  manager.engine.receive(threeValues());
  EXPECT_EQ(linesOf(log, AMI).size(), 7U);
}

TEST(HandleAmi, TheTextOfAPropertyIsNotBuiltWhileItsLineIsNotWritten) {
  class Counted : public Number {
   public:
    using Number::Number;
    std::string str() const override {
      ++texts;
      return "text";
    }
    mutable int texts = 0;
  };
  WatchedScalar scalar("s", 1, true);
  auto* counted = new Counted(5, "counted", IFC_CARD_VAR_READ_WRITE, 0U);
  scalar.addProp(counted, 0);
  HandlingEngine engine;
  engine.registerObject(&scalar);
  LogCapture log(7);
  engine.receive(HEADER + "10800005 01 0004 0000002A"_hex);
  EXPECT_EQ(counted->texts, 0);
}

// ----- what is not checked -----

TEST(HandleAmi, ItsSequenceIsNotFollowed) {
  Manager manager;
  LogCapture log(9);
  EXPECT_EQ(manager.engine.receive("4F544E31 01 01 0007 | 10800006 02 0000"_hex), 1);
  log.clear();
  EXPECT_EQ(manager.engine.receive("4F544E31 01 05 0099 00000000 00000000"_hex), 1);
  EXPECT_EQ(manager.engine.receive("4F544E31 01 05 0099 00000000 00000000"_hex), 1);
  EXPECT_EQ(linesOf(log, "checkMsgId"), Lines{});
  EXPECT_EQ(manager.engine.receive("4F544E31 01 01 0008 | 10800006 02 0000"_hex), 1);
  EXPECT_EQ(manager.engine.sent(), (Datagrams{"4F544E31 01 03 0007 00 0000 | 10800006 02 0002 0000",
                                              "4F544E31 01 03 0008 00 0000 | 10800006 02 0002 0000"}));
}

TEST(HandleAmi, AnySenderWillDo) {
  Manager manager;
  for (const char* sender : {"10.0.0.1", "not an address", ""})
    EXPECT_EQ(manager.engine.receive(threeValues(), sender), 1);
  EXPECT_EQ(manager.engine.receive(threeValues(), nullptr), 1);
  EXPECT_EQ(manager.engine.handled.size(), 4U);
}

TEST(HandleAmi, ItsTimeIsNotLookedAt) {
  Manager manager;
  EXPECT_EQ(manager.engine.receive("4F544E31 01 05 0007 FFFFFFFF FFFFFFFF | 10800006 02 0002 0007"_hex), 1);
  EXPECT_EQ(manager.level->value, 7);
}

TEST(HandleAmi, CalledForAnotherActionItRefuses) {
  for (const char* action : {"01", "02", "03", "04"}) {
    SCOPED_TRACE(action);
    Manager manager;
    const std::string text = std::string("4F544E31 01 ") + action + " 0007 00000064 000003E8 | 10800006 02 0002 0007";
    const std::string bytes = operator""_hex(text.data(), text.size());
    LogCapture log(7);
    EXPECT_EQ(manager.engine.handleAmi(static_cast<int>(bytes.size()), bytes.data()), 0);
    EXPECT_EQ(manager.level->value, 0);
    EXPECT_EQ(manager.engine.handled, Handled{});
    EXPECT_EQ(log.brief(), Lines{"3 [ERROR] trelProtocolBase (handleAmi) - "
                                 "handleAmi got a message that is not an AMI!"});
  }
}

// ----- messages that end too early -----

TEST(HandleAmi, EveryTruncationAppliesItsWholeTlvsAndNoMore) {
  for (std::size_t size = 0; size <= 46; ++size) {
    SCOPED_TRACE(size);
    Manager manager;
    LogCapture log(3);
    const bool endsWithATlv = size == 16 || size == 27 || size == 36 || size == 46;
    EXPECT_EQ(manager.engine.receive(threeValues().substr(0, size)), endsWithATlv ? 1 : 0);
    EXPECT_EQ(manager.counter->value, size >= 27 ? 0x01020304U : 0U);
    EXPECT_EQ(manager.level->value, size >= 36 ? 0x0506 : 0);
    EXPECT_EQ(manager.text(), size == 46 ? "abc" : "-");
    std::string names;
    if (size >= 27) names += "counter.";
    if (size >= 36) names += "level.";
    if (size == 46) names += "label.";
    EXPECT_EQ(manager.engine.handled, size >= 16 ? Handled{names} : Handled{});
    EXPECT_EQ(log.brief().size(), endsWithATlv ? 0U : 1U);
  }
}

TEST(HandleAmi, ItselfRefusesEveryLengthBelowItsHeader) {
  for (int length = -1; length < 16; ++length) {
    SCOPED_TRACE(length);
    Manager manager;
    const ExactBlock block(HEADER.substr(0, length < 0 ? 0 : static_cast<std::size_t>(length)));
    LogCapture log(3);
    EXPECT_EQ(manager.engine.handleAmi(length, block.data()), 0);
    EXPECT_EQ(log.brief().size(), 1U);
    EXPECT_EQ(manager.engine.handled, Handled{});
  }
  Manager manager;
  const ExactBlock whole(HEADER);
  EXPECT_EQ(manager.engine.handleAmi(whole.length(), whole.data()), 1);
}

TEST(HandleAmi, ALengthThatReachesBehindTheDatagramEndsTheWalk) {
  struct Case {
    const char* rule;
    std::string cut;
  };
  const Case cases[] = {
      {"a number, one byte too long", "10800005 01 0004 010203"_hex},
      {"a text of 65535", "10800007 09 FFFF 61"_hex},
      {"an unknown OID of 65535", "10800063 09 FFFF 61"_hex},
      {"a wrong length as well", "10800005 01 FFFF 01020304"_hex},
      {"a head of 6 bytes", "10800005 01 00"_hex},
      {"one byte", "10"_hex},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.rule);
    Manager manager;
    LogCapture log(3);
    EXPECT_EQ(manager.engine.receive(HEADER + "10800006 02 0002 0506"_hex + c.cut), 0);
    EXPECT_EQ(manager.level->value, 0x0506);
    EXPECT_EQ(manager.counter->value, 0U);
    EXPECT_EQ(manager.text(), "-");
    EXPECT_EQ(manager.engine.handled, Handled{"level."});
    EXPECT_GE(linesOf(log, AMI).size(), 1U);
  }
}

// ----- nested calls -----

TEST(HandleAmi, AClientOperationInsideUpdatedIsDoneAndTheWalkGoesOn) {
  Manager manager;
  manager.engine.reply = [](std::string_view) { return "4F544E31 01 03 0001 00 0000 | 10800007 09 0001 78"_hex; };
  int inner = -1;
  manager.chassis.onUpdated = [&](TrelProperty* property) {
    if (property == manager.counter) inner = manager.engine.readProperty(*manager.label);
  };
  EXPECT_EQ(manager.engine.receive(HEADER + "10800005 01 0004 0000002A | 10800006 02 0002 0007"_hex), 1);
  EXPECT_EQ(inner, 1);
  EXPECT_EQ(manager.text(), "x");
  EXPECT_EQ(manager.level->value, 7);
  EXPECT_EQ(manager.chassis.calls, (Calls{"counter row 0", "label row 0", "level row 0"}));
  EXPECT_EQ(manager.engine.handled, Handled{"counter.level."});
}

TEST(HandleAmi, AMessageInsideUpdatedIsHandledByItself) {
  Manager manager;
  int inner = -1;
  manager.chassis.onUpdated = [&](TrelProperty* property) {
    if (property == manager.counter) inner = manager.engine.receive(HEADER + "10800007 09 0001 78"_hex);
  };
  EXPECT_EQ(manager.engine.receive(HEADER + "10800005 01 0004 0000002A | 10800006 02 0002 0007"_hex), 1);
  EXPECT_EQ(inner, 1);
  EXPECT_EQ(manager.engine.handled, (Handled{"label.", "counter.level."}));
}

TEST(HandleAmi, AMessageInsideTheHandlerDoesNotChangeTheListThatTheHandlerHas) {
  Manager manager;
  std::vector<TrelProperty*> before;
  std::vector<TrelProperty*> after;
  int inner = -1;
  manager.engine.onHandled = [&](const std::vector<TrelProperty*>& properties) {
    if (inner != -1) return;
    before = properties;
    inner = 0;
    inner = manager.engine.receive(HEADER + "10800007 09 0001 78"_hex);
    after = properties;
  };
  EXPECT_EQ(manager.engine.receive(HEADER + "10800005 01 0004 0000002A | 10800006 02 0002 0007"_hex), 1);
  EXPECT_EQ(inner, 1);
  EXPECT_EQ(before, (std::vector<TrelProperty*>{manager.counter, manager.level}));
  EXPECT_EQ(after, before);
  EXPECT_EQ(manager.engine.handled, (Handled{"counter.level.", "label."}));
}

TEST(HandleAmi, MayArriveWhileATransportWaitsForAReply) {
  Manager manager;
  int inner = -1;
  manager.engine.reply = [&](std::string_view) {
    inner = manager.engine.receive(HEADER + "10800006 02 0002 0007"_hex);
    return "4F544E31 01 03 0001 00 0000 | 10800005 01 0004 0000002A"_hex;
  };
  EXPECT_EQ(manager.engine.readProperty(*manager.counter), 1);
  EXPECT_EQ(inner, 1);
  EXPECT_EQ(manager.counter->value, 42U);
  EXPECT_EQ(manager.level->value, 7);
  EXPECT_EQ(manager.engine.handled, Handled{"level."});
}

TEST(HandleAmi, AsAReplyToARequestItIsHandledAsWhatItIs) {
  Manager manager;
  manager.engine.reply = [](std::string_view) { return HEADER + "10800006 02 0002 0007"_hex; };
  EXPECT_EQ(manager.engine.readProperty(*manager.counter), 1);
  EXPECT_EQ(manager.level->value, 7);
  EXPECT_EQ(manager.engine.handled, Handled{"level."});
}

TEST(HandleAmi, AnExceptionOfTheHandlerOrOfUpdatedLeavesTheEngineAbleToGoOn) {
  Manager manager;
  manager.engine.onHandled = [](const std::vector<TrelProperty*>&) { throw std::runtime_error("handler"); };
  EXPECT_THROW(manager.engine.receive(threeValues()), std::runtime_error);
  manager.engine.onHandled = nullptr;
  manager.chassis.onUpdated = [](TrelProperty*) { throw std::runtime_error("updated"); };
  EXPECT_THROW(manager.engine.receive(threeValues()), std::runtime_error);
  manager.chassis.onUpdated = nullptr;
  EXPECT_EQ(manager.engine.receive(threeValues()), 1);
  EXPECT_EQ(manager.engine.handled.back(), "counter.level.label.");
  EXPECT_EQ(manager.engine.receive("4F544E31 01 01 0007 | 10800006 02 0000"_hex), 1);
  EXPECT_EQ(manager.engine.sent(), Datagrams{"4F544E31 01 03 0007 00 0000 | 10800006 02 0002 0506"});
}
