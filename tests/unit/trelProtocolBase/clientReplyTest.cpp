// What becomes of a reply: its result, the values of a read, the hook of the owning object, the trace lines.

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "support/bytes.h"
#include "support/logCapture.h"
#include "support/logSelection.h"
#include "support/recordingEngine.h"
#include "support/watchedObject.h"
#include "trel/trelProtocolBase.h"

namespace {

using Number = TypeProperty<unsigned int>;
using Small = TypeProperty<unsigned short>;

// A manager's mirror of a card: a common scalar of group 1 and a table 3 of six rows, all of whose values start at 0.
struct Manager {
  Manager() {
    chassis.addProp(counter, 0);
    chassis.addProp(level, 0);
    chassis.addProp(label, 0);
    for (unsigned int row = 0; row < 6; ++row)
      sensors.addProp(new Small(2, "high", IFC_CARD_VAR_READ_WRITE, 0), row);
    engine.registerObject(&chassis);
    engine.registerObject(&sensors);
  }

  // Reads the counter; the peer answers with these bytes.
  int read(const std::string& reply) {
    engine.reply = [reply](std::string_view) { return reply; };
    return engine.readProperty(*counter);
  }
  int write(const std::string& reply) {
    engine.reply = [reply](std::string_view) { return reply; };
    return engine.writeProperty(*counter);
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
  RecordingEngine engine;
};

const char* const CLIENT = "handleResponse";

}  // namespace

// ----- values -----

TEST(ClientReply, AReadReplyStoresItsValuesAndTellsTheOwner) {
  Manager manager;
  EXPECT_EQ(manager.read("4F544E31 01 03 0001 00 0000 | 10800005 01 0004 01020304 | 10800006 02 0002 0506 | "
                         "10800007 09 0003 616263 | 40C08005 02 0002 FFFE"_hex),
            1);
  EXPECT_EQ(manager.counter->value, 0x01020304U);
  EXPECT_EQ(manager.level->value, 0x0506);
  EXPECT_EQ(manager.text(), "abc");
  EXPECT_EQ(static_cast<Small*>(manager.sensors.getProp(2, 5))->value, 0xFFFE);
  EXPECT_EQ(manager.chassis.calls, (Calls{"counter row 0", "level row 0", "label row 0"}));
  EXPECT_EQ(manager.sensors.calls, (Calls{"high row 5"}));
}

TEST(ClientReply, EachOwnerIsToldBeforeTheNextTlvIsStored) {
  Manager manager;
  unsigned int levelThen = 99;
  unsigned int counterThen = 99;
  manager.chassis.onUpdated = [&](TrelProperty* property) {
    if (property != manager.counter) return;
    counterThen = manager.counter->value;
    levelThen = manager.level->value;
  };
  EXPECT_EQ(manager.read("4F544E31 01 03 0001 00 0000 | 10800005 01 0004 0000002A | 10800006 02 0002 0007"_hex), 1);
  EXPECT_EQ(counterThen, 42U);
  EXPECT_EQ(levelThen, 0U);
  EXPECT_EQ(manager.level->value, 7);
}

TEST(ClientReply, AReplyMayCarryPropertiesThatWereNotAskedFor) {
  Manager manager;
  EXPECT_EQ(manager.read("4F544E31 01 03 0001 00 0000 | 10800006 02 0002 0007"_hex), 1);
  EXPECT_EQ(manager.counter->value, 0U);
  EXPECT_EQ(manager.level->value, 7);
}

TEST(ClientReply, ARepeatedOidIsStoredAndToldEachTime) {
  Manager manager;
  EXPECT_EQ(manager.read("4F544E31 01 03 0001 00 0000 | 10800005 01 0004 00000001 | 10800005 01 0004 00000002"_hex), 1);
  EXPECT_EQ(manager.counter->value, 2U);
  EXPECT_EQ(manager.chassis.calls, (Calls{"counter row 0", "counter row 0"}));
}

TEST(ClientReply, AReadReplyWithoutTlvsIsASuccess) {
  Manager manager;
  LogCapture log(4);
  EXPECT_EQ(manager.read("4F544E31 01 03 0001 00 0000"_hex), 1);
  EXPECT_EQ(manager.counter->value, 0U);
  EXPECT_EQ(log.brief(), Lines{});
}

TEST(ClientReply, ReadOnlyPropertiesAndValueChecksDoNotResistAReply) {
  WatchedScalar scalar("s", 2, false);
  Number* guarded = new Number(1, "guarded", IFC_CARD_VAR_READ_ONLY, 0U, new RangeCheckValue<unsigned int>(0U, 10U));
  scalar.addProp(guarded, 0);
  RecordingEngine engine;
  engine.registerObject(&scalar);
  engine.reply = [](std::string_view) { return "4F544E31 01 03 0001 00 0000 | 01000001 01 0004 000003E8"_hex; };
  EXPECT_EQ(engine.readProperty(*guarded), 1);
  EXPECT_EQ(guarded->value, 1000U);
  EXPECT_EQ(scalar.calls, Calls{"guarded row 0"});
}

TEST(ClientReply, AStringTakesWhateverLengthTheReplyHas) {
  Manager manager;
  EXPECT_EQ(manager.read("4F544E31 01 03 0001 00 0000 | 10800007 09 0000"_hex), 1);
  EXPECT_EQ(manager.text(), "");
  EXPECT_EQ(manager.read("4F544E31 01 03 0001 00 0000 | 10800007 09 0005 6100620063"_hex), 1);
  EXPECT_EQ(manager.text(), std::string("a\0b\0c", 5));
}

TEST(ClientReply, AReceivedValueRaisesNoEvent) {
  Manager manager;
  EXPECT_EQ(manager.read("4F544E31 01 03 0001 00 0000 | 10800005 01 0004 0000002A"_hex), 1);
  EXPECT_EQ(manager.counter->value, 42U);
  EXPECT_FALSE(manager.counter->eventPending);
}

TEST(ClientReply, OfTwoObjectsThatKnowAnOidTheFirstRegisteredIsUpdated) {
  WatchedScalar first("first", 2, false);
  WatchedScalar second("second", 2, false);
  Number* inFirst = new Number(1, "a", IFC_CARD_VAR_READ_WRITE, 0U);
  Number* inSecond = new Number(1, "b", IFC_CARD_VAR_READ_WRITE, 0U);
  first.addProp(inFirst, 0);
  second.addProp(inSecond, 0);
  RecordingEngine engine;
  engine.registerObject(&second);
  engine.registerObject(&first);
  EXPECT_EQ(engine.receive("4F544E31 01 03 0001 00 0000 | 01000001 01 0004 00000005"_hex), 1);
  EXPECT_EQ(inFirst->value, 0U);
  EXPECT_EQ(inSecond->value, 5U);
}

TEST(ClientReply, APropertyThatBelongsToNoRegisteredObjectDoesNotReceiveItsAnswer) {
  RecordingEngine engine;
  Number loose(0x10800005, "loose", IFC_CARD_VAR_READ_WRITE, 1U);
  engine.reply = [](std::string_view) { return "4F544E31 01 03 0001 00 0000 | 10800005 01 0004 0000002A"_hex; };
  EXPECT_EQ(engine.readProperty(loose), 0);
  EXPECT_EQ(loose.value, 1U);
}

// ----- the hook -----

TEST(ClientReply, AnUpdatedThatRefusesDoesNotMakeTheReplyFail) {
  Manager manager;
  manager.chassis.result = false;
  EXPECT_EQ(manager.read("4F544E31 01 03 0001 00 0000 | 10800005 01 0004 0000002A | 10800006 02 0002 0007"_hex), 1);
  EXPECT_EQ(manager.counter->value, 42U);
  EXPECT_EQ(manager.level->value, 7);
  EXPECT_EQ(manager.chassis.calls, (Calls{"counter row 0", "level row 0"}));
}

TEST(ClientReply, AnObjectThatDoesNotOverrideUpdatedCountsAsASuccess) {
  TrelScalar scalar("plain", 1, true);
  scalar.addProp(new Number(5, "counter", IFC_CARD_VAR_READ_WRITE, 0U), 0);
  RecordingEngine engine;
  engine.registerObject(&scalar);
  LogCapture log(8);
  EXPECT_EQ(engine.receive("4F544E31 01 03 0001 00 0000 | 10800005 01 0004 0000002A"_hex), 1);
  EXPECT_EQ(linesOf(log, CLIENT),
            Lines{"7 [DEBUG2] trelProtocolBase (handleResponse) - updated() call succeeded for "
                  "  5 |                                  counter :                   42  (def = 0)\n, row 0"});
}

TEST(ClientReply, UpdateIsNotCalledForAReply) {
  class Counting : public TrelScalar {
   public:
    using TrelScalar::TrelScalar;
    bool update(TrelProperty*, unsigned int) override {
      ++updates;
      return true;
    }
    int updates = 0;
  };
  Counting scalar("s", 1, true);
  scalar.addProp(new Number(5, "counter", IFC_CARD_VAR_READ_WRITE, 0U), 0);
  RecordingEngine engine;
  engine.registerObject(&scalar);
  EXPECT_EQ(engine.receive("4F544E31 01 03 0001 00 0000 | 10800005 01 0004 0000002A"_hex), 1);
  EXPECT_EQ(scalar.updates, 0);
}

// ----- results -----

TEST(ClientReply, AReplyWithResult2IsAppliedAfterAWarning) {
  Manager manager;
  LogCapture log(4);
  EXPECT_EQ(manager.read("4F544E31 01 03 0001 02 0000 | 10800005 01 0004 0000002A"_hex), 1);
  EXPECT_EQ(manager.counter->value, 42U);
  EXPECT_EQ(manager.chassis.calls, Calls{"counter row 0"});
  EXPECT_EQ(log.brief(), Lines{"4 [WARNING] trelProtocolBase (handleResponse) - "
                               "duplicate message reported by the receiver!"});
}

TEST(ClientReply, AReplyWithResult3IsAppliedAfterAWarning) {
  Manager manager;
  LogCapture log(4);
  EXPECT_EQ(manager.read("4F544E31 01 03 0001 03 0000 | 10800005 01 0004 0000002A"_hex), 1);
  EXPECT_EQ(manager.counter->value, 42U);
  EXPECT_EQ(manager.chassis.calls, Calls{"counter row 0"});
  EXPECT_EQ(log.brief(), Lines{"4 [WARNING] trelProtocolBase (handleResponse) - "
                               "message where lost reported by the receiver!"});
}

TEST(ClientReply, AWriteReplyWithResult2Or3IsASuccessAfterTheSameWarning) {
  Manager manager;
  LogCapture log(4);
  EXPECT_EQ(manager.write("4F544E31 01 04 0001 02 0000"_hex), 1);
  EXPECT_EQ(manager.write("4F544E31 01 04 0001 03 0000"_hex), 1);
  EXPECT_EQ(log.brief(),
            (Lines{"4 [WARNING] trelProtocolBase (handleResponse) - duplicate message reported by the receiver!",
                   "4 [WARNING] trelProtocolBase (handleResponse) - message where lost reported by the receiver!"}));
}

TEST(ClientReply, TheWarningsAreSilentAtTheirThreshold) {
  Manager manager;
  LogCapture log(3);
  EXPECT_EQ(manager.read("4F544E31 01 03 0001 02 0000"_hex), 1);
  EXPECT_EQ(manager.read("4F544E31 01 03 0001 03 0000"_hex), 1);
  EXPECT_EQ(log.brief(), Lines{});
}

TEST(ClientReply, AReplyWithResult9AppliesNothingAndReturns0) {
  Manager manager;
  LogCapture log(3);
  EXPECT_EQ(manager.read("4F544E31 01 03 0001 09 0000 | 10800005 01 0004 0000002A"_hex), 0);
  EXPECT_EQ(manager.counter->value, 0U);
  EXPECT_EQ(manager.chassis.calls, Calls{});
  EXPECT_EQ(log.brief(), Lines{"3 [ERROR] trelProtocolBase (handleResponse) - "
                               "the response has an error 9 : RESULT WRONG VALUE"});
}

TEST(ClientReply, EveryResultBut0And2And3IsAnErrorWithItsText) {
  struct Case {
    const char* byte;
    const char* text;
  };
  const Case cases[] = {
      {"01", "1 : RESULT PROTOCOL VERSION_MISMATCH"},
      {"04", "4 : RESULT INVALID ACTION"},
      {"05", "5 : RESULT GENERAL ERROR"},
      {"06", "6 : RESULT WRONG TYPE"},
      {"07", "7 : RESULT WRONG OID"},
      {"08", "8 : RESULT WRONG LEN"},
      {"09", "9 : RESULT WRONG VALUE"},
      {"0A", "10 : RESULT READ ONLY"},
      {"0B", "11 : RESULT TOO LONG"},
      {"0C", "12 : RESULT CANNOT EXEC"},
      {"0D", "13 : RESULT WRONG MAGIC"},
      {"0E", "14 : RESULT NOT RECEIVED"},
      {"0F", "15 : RESULT NOT SEND"},
      {"10", "16 : "},  // these two travel without a text
      {"11", "17 : "},
      {"12", "18 : unknown"},
      {"7F", "127 : unknown"},
      {"80", "128 : unknown"},
      {"FF", "255 : unknown"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.text);
    for (const char* action : {"03", "04"}) {
      SCOPED_TRACE(action);
      const std::string header = std::string("4F544E31 01 ") + action + " 0001 " + c.byte + " 0000";
      const std::string values = "10800005 01 0004 0000002A";
      const std::string reply = operator""_hex(header.data(), header.size()) + operator""_hex(values.data(),
                                                                                              values.size());
      Manager manager;
      LogCapture log(3);
      EXPECT_EQ(manager.read(reply), 0);
      EXPECT_EQ(manager.counter->value, 0U);
      EXPECT_EQ(
          log.brief(),
          Lines{std::string("3 [ERROR] trelProtocolBase (handleResponse) - the response has an error ") + c.text});
    }
  }
}

TEST(ClientReply, TheErrorOfAReplyIsSilentAtItsThreshold) {
  Manager manager;
  LogCapture log(2);
  EXPECT_EQ(manager.read("4F544E31 01 03 0001 09 0000"_hex), 0);
  EXPECT_EQ(log.brief(), Lines{});
}

TEST(ClientReply, AWriteReplyWithResult0Returns1AndChangesNoLocalProperty) {
  Manager manager;
  manager.counter->set(5U);
  LogCapture log(4);
  EXPECT_EQ(manager.write("4F544E31 01 04 0001 00 0000"_hex), 1);
  EXPECT_EQ(manager.counter->value, 5U);
  EXPECT_EQ(manager.chassis.calls, Calls{});
  EXPECT_EQ(log.brief(), Lines{});
}

TEST(ClientReply, TlvsInAWriteReplyAreNotLookedAt) {
  Manager manager;
  LogCapture log(4);
  EXPECT_EQ(manager.write("4F544E31 01 04 0001 00 0000 | 10800005 01 0004 0000002A"_hex), 1);
  EXPECT_EQ(manager.write("4F544E31 01 04 0001 00 0000 | 10800063 01 0004 0000002A | FF"_hex), 1);
  EXPECT_EQ(manager.counter->value, 0U);
  EXPECT_EQ(manager.chassis.calls, Calls{});
  EXPECT_EQ(log.brief(), Lines{});
}

TEST(ClientReply, TheActionOfTheReplyDecidesNotThatOfTheRequest) {
  Manager manager;
  EXPECT_EQ(manager.write("4F544E31 01 03 0001 00 0000 | 10800005 01 0004 0000002A"_hex), 1);
  EXPECT_EQ(manager.counter->value, 42U);
  EXPECT_EQ(manager.read("4F544E31 01 04 0002 00 0000 | 10800005 01 0004 0000002B"_hex), 1);
  EXPECT_EQ(manager.counter->value, 42U);
}

TEST(ClientReply, TheErrorIndexOfAReplyIsNotLookedAt) {
  Manager manager;
  EXPECT_EQ(manager.read("4F544E31 01 03 0001 00 FFFF | 10800005 01 0004 0000002A"_hex), 1);
  EXPECT_EQ(manager.counter->value, 42U);
}

TEST(ClientReply, AReplyWithAnotherMessageIdIsProcessedAllTheSame) {
  Manager manager;
  LogCapture log(4);
  EXPECT_EQ(manager.read("4F544E31 01 03 BEEF 00 0000 | 10800005 01 0004 0000002A"_hex), 1);
  EXPECT_EQ(manager.counter->value, 42U);
  EXPECT_EQ(log.brief(), Lines{});
}

TEST(ClientReply, HandleResponseOfAnyOtherActionReturns0AndAppliesNothing) {
  for (const char* action : {"01", "02", "05"}) {
    SCOPED_TRACE(action);
    Manager manager;
    const std::string text =
        std::string("4F544E31 01 ") + action + " 0001 00 0000 | 10800005 01 0004 0000002A | 10800006 02 0002 0007";
    const std::string bytes = operator""_hex(text.data(), text.size());
    EXPECT_EQ(manager.engine.handleResponse(static_cast<int>(bytes.size()), bytes.data()), 0);
    EXPECT_EQ(manager.counter->value, 0U);
    EXPECT_EQ(manager.chassis.calls, Calls{});
    EXPECT_TRUE(manager.engine.messages.empty());
  }
}

// ----- TLVs that do not fit -----

TEST(ClientReply, AnUnknownOidIsSkippedTheKnownOneIsUpdatedAndTheResultIs0) {
  Manager manager;
  LogCapture log(3);
  EXPECT_EQ(manager.read("4F544E31 01 03 0001 00 0000 | 10800063 01 0004 00000001 | 10800005 01 0004 0000002A"_hex), 0);
  EXPECT_EQ(manager.counter->value, 42U);
  EXPECT_EQ(manager.chassis.calls, Calls{"counter row 0"});
  EXPECT_EQ(linesOf(log, CLIENT),
            (Lines{"3 [ERROR] trelProtocolBase (handleResponse) - "
                   "the following oid is not found in the registered objects, skipping!",
                   "3 [ERROR] trelProtocolBase (handleResponse) - prop NOT found to update: oid 0x10800063"}));
}

TEST(ClientReply, TheOidOfAnUnknownTlvIsShownAsItIs) {
  struct Case {
    std::string tlv;
    const char* shown;
  };
  const Case cases[] = {
      {"00000000 01 0000"_hex, "0"},  // of a zero the format leaves the prefix out
      {"80000005 01 0000"_hex, "0x80000005"},
      {"FFFFFFFF FF 0000"_hex, "0xffffffff"},
      {"40C08006 02 0002 0000"_hex, "0x40c08006"},  // a row that the table does not have
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.shown);
    Manager manager;
    LogCapture log(3);
    EXPECT_EQ(manager.read("4F544E31 01 03 0001 00 0000"_hex + c.tlv), 0);
    EXPECT_EQ(
        linesOf(log, CLIENT),
        (Lines{"3 [ERROR] trelProtocolBase (handleResponse) - "
               "the following oid is not found in the registered objects, skipping!",
               std::string("3 [ERROR] trelProtocolBase (handleResponse) - prop NOT found to update: oid ") + c.shown}));
  }
}

TEST(ClientReply, ATlvThatDoesNotFitItsPropertyIsSkippedWithItsErrorAndTheOthersAreApplied) {
  struct Case {
    const char* rule;
    std::string tlv;
    const char* line;
  };
  const Case cases[] = {
      // Bit 29 is ignored when the property is looked up and compared when the TLV is checked.
      {"another OID", "30800005 01 0004 0000002A"_hex, "id 0x30800005 and error 7"},
      {"another type", "10800005 05 0004 0000002A"_hex, "id 0x10800005 and error 6"},
      {"a string", "10800005 09 0004 0000002A"_hex, "id 0x10800005 and error 6"},
      {"a longer value", "10800005 01 0005 000000002A"_hex, "id 0x10800005 and error 8"},
      {"a shorter value", "10800005 01 0002 002A"_hex, "id 0x10800005 and error 8"},
      {"no value", "10800005 01 0000"_hex, "id 0x10800005 and error 8"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.rule);
    Manager manager;
    LogCapture log(3);
    EXPECT_EQ(
        manager.read("4F544E31 01 03 0001 00 0000 | 10800007 09 0001 78"_hex + c.tlv + "10800006 02 0002 0007"_hex), 0);
    EXPECT_EQ(manager.counter->value, 0U);
    EXPECT_EQ(manager.text(), "x");
    EXPECT_EQ(manager.level->value, 7);
    EXPECT_EQ(manager.chassis.calls, (Calls{"label row 0", "level row 0"}));
    EXPECT_EQ(linesOf(log, CLIENT), (Lines{std::string("3 [ERROR] trelProtocolBase (handleResponse) - "
                                                       "response received has incorrect property with ") +
                                               c.line,
                                           "3 [ERROR] trelProtocolBase (handleResponse) - skipping this property!"}));
  }
}

// ----- trace lines -----

TEST(ClientReply, AFoundPropertyIsTracedWithTypeAndOidAndItsHookWithTextAndRow) {
  Manager manager;
  LogCapture log(9);
  EXPECT_EQ(manager.engine.receive("4F544E31 01 03 0001 00 0000 | 40C08005 02 0002 002A"_hex), 1);
  EXPECT_EQ(linesOf(log, CLIENT),
            (Lines{"7 [DEBUG3] trelProtocolBase (handleResponse) - prop found to update: type 2, oid 40c08005",
                   "7 [DEBUG2] trelProtocolBase (handleResponse) - updated() call succeeded for "
                   "  2 |                                     high :                   42  (def = 0)\n, row 5"}));
}

TEST(ClientReply, AFailedHookIsTracedWithANewlineBehindTheWord) {
  Manager manager;
  manager.chassis.result = false;
  LogCapture log(8);
  EXPECT_EQ(manager.engine.receive("4F544E31 01 03 0001 00 0000 | 10800006 02 0002 002A"_hex), 1);
  EXPECT_EQ(linesOf(log, CLIENT),
            (Lines{"7 [DEBUG2] trelProtocolBase (handleResponse) - updated() call failed\n for "
                   "  6 |                                    level :                   42  (def = 0)\n, row 0"}));
}

TEST(ClientReply, TheFoundLineIsOfTheThirdGradeAndTheHooksLineOfTheSecond) {
  Manager manager;
  LogCapture log(8);
  manager.engine.receive("4F544E31 01 03 0001 00 0000 | 10800006 02 0002 002A"_hex);
  EXPECT_EQ(linesOf(log, CLIENT).size(), 1U);
  log.clear();
  log.setLevel(7);
  manager.engine.receive("4F544E31 01 03 0001 00 0000 | 10800006 02 0002 002A"_hex);
  EXPECT_EQ(linesOf(log, CLIENT), Lines{});
}

TEST(ClientReply, TheTextOfAPropertyIsNotBuiltWhileItsLineIsNotWritten) {
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
  Counted* counted = new Counted(5, "counted", IFC_CARD_VAR_READ_WRITE, 0U);
  scalar.addProp(counted, 0);
  RecordingEngine engine;
  engine.registerObject(&scalar);
  LogCapture log(7);
  engine.receive("4F544E31 01 03 0001 00 0000 | 10800005 01 0004 0000002A"_hex);
  EXPECT_EQ(counted->texts, 0);
  log.setLevel(8);
  engine.receive("4F544E31 01 03 0001 00 0000 | 10800005 01 0004 0000002A"_hex);
  EXPECT_EQ(counted->texts, 1);
}

TEST(ClientReply, TheErrorsOfSkippedTlvsAreSilentAtTheirThreshold) {
  Manager manager;
  LogCapture log(2);
  EXPECT_EQ(manager.read("4F544E31 01 03 0001 00 0000 | 10800063 01 0000 | 10800005 01 0000"_hex), 0);
  EXPECT_EQ(log.brief(), Lines{});
}

// ----- the road of a reply -----

TEST(ClientReply, TheReplyIsEnteredAsADatagramWithoutASenderSoItsSequenceIsNotChecked) {
  Manager manager;
  LogCapture log(9);
  EXPECT_EQ(manager.read("4F544E31 01 03 0001 00 0000 | 10800005 01 0004 0000002A"_hex), 1);
  EXPECT_EQ(linesOf(log, "handleTrelMsg"),
            (Lines{"7 [DEBUG2] trelProtocolBase (handleTrelMsg) - handling trel msg of length 22",
                   "7 [DEBUG2] trelProtocolBase (handleTrelMsg) - TREL message: id 1, action 3, length 22"}));
  EXPECT_EQ(linesOf(log, "checkMsgId"), Lines{});
}

TEST(ClientReply, AReplyOfAForeignMagicNumberCountsAsASuccessThatChangesNothing) {
  Manager manager;
  EXPECT_EQ(manager.read("314E544F 01 03 0001 00 0000 | 10800005 01 0004 0000002A"_hex), 1);
  EXPECT_EQ(manager.counter->value, 0U);
}

TEST(ClientReply, AReplyOfAnotherVersionIsAnsweredByAnErrorResponseWhoseSendingDecides) {
  Manager manager;
  EXPECT_EQ(manager.read("4F544E31 02 03 0001 00 0000 | 10800005 01 0004 0000002A"_hex), 1);
  EXPECT_EQ(manager.counter->value, 0U);
  EXPECT_EQ(manager.engine.sent(),
            (Datagrams{"4F544E31 01 01 0001 | 10800005 01 0004 00000000", "4F544E31 01 04 0001 01 0000"}));
}

TEST(ClientReply, WithoutRepliesOnHeaderErrorsAReplyOfAnotherVersionReturns0) {
  RecordingEngine engine(false);
  Number loose(5, "loose", IFC_CARD_VAR_READ_WRITE, 1U);
  engine.reply = [](std::string_view) { return "4F544E31 02 03 0001 00 0000"_hex; };
  EXPECT_EQ(engine.readProperty(loose), 0);
  EXPECT_EQ(engine.messages.size(), 1U);
}

TEST(ClientReply, AReplyThatIsARequestIsAnsweredAsOne) {
  Manager manager;
  manager.level->value = 7;
  EXPECT_EQ(manager.read("4F544E31 01 01 0009 | 10800006 02 0000"_hex), 1);
  EXPECT_EQ(manager.engine.sent(), (Datagrams{"4F544E31 01 01 0001 | 10800005 01 0004 00000000",
                                              "4F544E31 01 03 0009 00 0000 | 10800006 02 0002 0007"}));
  EXPECT_EQ(manager.engine.messages[1].sender, "");  // a reply has no sender
}

TEST(ClientReply, AResponseThatNobodyAskedForSetsPropertiesAllTheSame) {
  Manager manager;
  EXPECT_EQ(manager.engine.receive("4F544E31 01 03 0001 00 0000 | 10800006 02 0002 002A"_hex, "203.0.113.9"), 1);
  EXPECT_EQ(manager.level->value, 42);
  EXPECT_EQ(manager.chassis.calls, Calls{"level row 0"});
  EXPECT_TRUE(manager.engine.messages.empty());
}
