// Requests: how a read and a write are answered, step by step.

#include <gtest/gtest.h>

#include <functional>
#include <limits>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "support/bytes.h"
#include "support/exactBlock.h"
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

// Both hooks overridden; every call goes to one list that several objects share.
template <typename Base>
class Hooked : public Base {
 public:
  using Base::Base;
  bool update(TrelProperty* property, unsigned int row) override {
    calls->push_back("update " + property->name + " " + std::to_string(row));
    if (onUpdate) onUpdate(property);
    return updateResult;
  }
  bool updated(TrelProperty* property, unsigned int row) override {
    calls->push_back("updated " + property->name + " " + std::to_string(row));
    if (onUpdated) onUpdated(property);
    return updatedResult;
  }
  std::vector<std::string>* calls = nullptr;
  std::function<void(TrelProperty*)> onUpdate;
  std::function<void(TrelProperty*)> onUpdated;
  bool updateResult = true;
  bool updatedResult = true;
};

class CheckingOnly : public RecordingEngine {
 public:
  int checkTlvOld(OldStyleProperty*, bool) const override { return 0; }
};

class Serving : public RecordingEngine {
 public:
  int checkTlvOld(OldStyleProperty* property, bool isWrite) const override {
    calls.push_back("check " + property->name + (isWrite ? " write" : " read"));
    return check ? check(property) : 0;
  }
  bool handleTrelMsgOld(OldStyleProperty* property, bool isWrite) override {
    calls.push_back("serve " + property->name + (isWrite ? " write" : " read"));
    return serve ? serve(property) : true;
  }
  std::function<int(OldStyleProperty*)> check;
  std::function<bool(OldStyleProperty*)> serve;
  mutable std::vector<std::string> calls;
};

// Common scalar group 1: numbers 5 and 6, read-only 7, string 8, ranged 9. Table 3, two rows: number in column 2.
template <typename Engine>
struct Card {
  Card() {
    scalar.calls = &hooks;
    table.calls = &hooks;
    const auto add = [](TrelObject& object, TrelProperty* property, unsigned int row) {
      EXPECT_TRUE(object.addProp(property, row));
    };
    add(scalar, five = new Number(5, "five", IFC_CARD_VAR_READ_WRITE, 0x55U), 0);
    add(scalar, six = new Number(6, "six", IFC_CARD_VAR_READ_WRITE, 0x66U), 0);
    add(scalar, fixed = new Number(7, "fixed", IFC_CARD_VAR_READ_ONLY, 0x77U), 0);
    add(scalar, text = new StringProperty(8, "text", IFC_CARD_VAR_READ_WRITE, std::string("ab")), 0);
    add(scalar, ranged = new Number(9, "ranged", IFC_CARD_VAR_READ_WRITE, 1U, new RangeCheckValue<unsigned int>(1, 4)),
        0);
    add(table, new Number(2, "cell0", IFC_CARD_VAR_READ_WRITE, 0xC0U), 0);
    add(table, cell = new Number(2, "cell1", IFC_CARD_VAR_READ_WRITE, 0xC1U), 1);
    engine.registerObject(&scalar);
    engine.registerObject(&table);
  }
  Engine engine;
  std::vector<std::string> hooks;
  Hooked<TrelScalar> scalar{"scalar", 1, true};
  Hooked<TrelTable> table{"table", 3, false, 2};
  Number* five = nullptr;
  Number* six = nullptr;
  Number* fixed = nullptr;
  StringProperty* text = nullptr;
  Number* ranged = nullptr;
  Number* cell = nullptr;

  std::string state() {
    std::string all;
    for (TrelObject* object : {static_cast<TrelObject*>(&scalar), static_cast<TrelObject*>(&table)})
      all += object->str(0, 0);
    return all;
  }
};

std::string bytesOf(const char* digits) { return operator""_hex(digits, std::string(digits).size()); }

}  // namespace

TEST(ReadingRequest, AReadUpdatesEachPropertyWithItsRowInOrderBeforeTheOneAnswer) {
  Card<RecordingEngine> card;
  card.engine.whileSending = [&](TRELMessage&) { card.hooks.push_back("send"); };
  EXPECT_EQ(card.engine.receive("4F544E31 01 01 0001 | 40C08001 01 0000 | 10800005 09 0003 AABBCC | 40C08000 FF 0000 | "
                                "10800005 01 0000"_hex),
            1);
  EXPECT_EQ(card.engine.sent(),
            Datagrams{"4F544E31 01 03 0001 00 0000 | 40C08001 01 0004 000000C1 | 10800005 01 0004 00000055 | "
                      "40C08000 01 0004 000000C0 | 10800005 01 0004 00000055"});
  EXPECT_EQ(card.hooks, (Calls{"update cell1 1", "update five 0", "update cell0 0", "update five 0", "send"}));
}

TEST(ReadingRequest, TheValuesAreTakenWhenTheAnswerIsSerialized) {
  Card<RecordingEngine> card;
  unsigned int next = 1;
  card.scalar.onUpdate = [&](TrelProperty* property) { property->set(next++); };
  card.engine.receive("4F544E31 01 01 0001 | 10800005 01 0000 | 10800006 01 0000 | 10800005 01 0000"_hex);
  EXPECT_EQ(card.engine.sent(), Datagrams{"4F544E31 01 03 0001 00 0000 | 10800005 01 0004 00000003 | "
                                          "10800006 01 0004 00000002 | 10800005 01 0004 00000003"});
}

TEST(ReadingRequest, TheLinesOfARead) {
  Card<RecordingEngine> card;
  card.scalar.updateResult = false;
  const std::string five = "  5 | " + std::string(36, ' ') + "five : " + std::string(18, ' ') + "85  (def = 85)\n";
  const std::string cell = "  2 | " + std::string(35, ' ') + "cell1 : " + std::string(17, ' ') + "193  (def = 193)\n";
  for (const int result : {1, 0, -3}) {
    const LogCapture log;
    card.engine.result = result;
    EXPECT_EQ(card.engine.receive("4F544E31 01 01 0001 | 10800005 01 0000 | 40C08001 01 0000"_hex, nullptr), result);
    EXPECT_EQ(linesOf(log, "handleRequest").back(), "7 [DEBUG2] trelProtocolBase (handleRequest) - request handled: " +
                                                        std::string(result != 0 ? "success" : "failed"));
    EXPECT_EQ(log.count("prop adding: type 1, oid 10800005"), 1U);
    EXPECT_EQ(log.count("prop adding: type 1, oid 40c08001"), 1U);
    EXPECT_EQ(log.count("update() call failed\n for " + five + ", row 0"), 1U);
    EXPECT_EQ(log.count("update() call succeeded for " + cell + ", row 1"), 1U);
    EXPECT_EQ(log.count("TREL Read message: length 22, 2 tlvs"), 1U);
    for (const LogLine& line : log.lines()) {
      if (line.message.find("prop adding") == 0 || line.message.find("update() call") == 0) {
        EXPECT_EQ(line.tag, "[DEBUG2]");
        EXPECT_EQ(line.format.find("[DEBUG2] %s:%d (%s) - "), 0U);
      }
      if (line.message.find("TREL Read") == 0) {
        EXPECT_EQ(line.tag, "[DEBUG3]");
      }
    }
  }
  EXPECT_EQ(card.engine.sent().back(),
            "4F544E31 01 03 0001 02 0000 | 10800005 01 0004 00000055 | 40C08001 01 0004 000000C1");
}

TEST(ReadingRequest, AnObjectThatDoesNotOverrideUpdateLeavesNoUpdateLine) {
  RecordingEngine engine;
  WatchedScalar scalar("scalar", 1, true);
  ASSERT_TRUE(scalar.addProp(new Number(5, "five", IFC_CARD_VAR_READ_WRITE, 1U), 0));
  engine.registerObject(&scalar);
  const LogCapture log;
  engine.receive("4F544E31 01 01 0001 | 10800005 01 0000"_hex);
  EXPECT_EQ(log.count("update() call"), 0U);
  EXPECT_EQ(log.count("prop adding"), 1U);
  EXPECT_TRUE(scalar.calls.empty());
}

TEST(ReadingRequest, AWriteStoresEverythingFirstAndThenTellsTheObjectsAndIsAnsweredWithoutTlvs) {
  Card<RecordingEngine> card;
  std::string seen;
  card.scalar.onUpdated = [&](TrelProperty*) {
    seen += std::to_string(card.five->value) + "," + std::to_string(card.cell->value) + ";";
  };
  const LogCapture log;
  card.engine.receive(
      "4F544E31 01 02 0001 | 10800005 01 0004 00000001 | 10800008 09 0003 78007A | "
      "10800005 01 0004 00000002 | 40C08001 01 0004 00000003"_hex);
  EXPECT_EQ(card.engine.sent(), Datagrams{"4F544E31 01 04 0001 00 0000"});
  EXPECT_EQ(card.hooks, (Calls{"update five 0", "update text 0", "update five 0", "update cell1 1", "updated five 0",
                               "updated text 0", "updated five 0", "updated cell1 1"}));
  EXPECT_EQ(seen, "2,3;2,3;2,3;");
  std::string text;
  card.text->get(&text);
  EXPECT_EQ(text, std::string("x\0z", 3));
  EXPECT_EQ(log.count("TREL Write message: length 51, 4 tlvs"), 1U);
  EXPECT_EQ(linesOf(log, "deserializeTlvs"),
            (Lines{"7 [DEBUG2] trelmsg (deserializeTlvs) - scalar: Property five updated",
                   "7 [DEBUG2] trelmsg (deserializeTlvs) - scalar: Property text updated",
                   "7 [DEBUG2] trelmsg (deserializeTlvs) - scalar: Property five updated",
                   "7 [DEBUG2] trelmsg (deserializeTlvs) - table: Property cell1 updated"}));
}

TEST(ReadingRequest, AFailedUpdatedIsAnsweredWith12AndIndexZeroAndTheOthersAreToldAllTheSame) {
  Card<RecordingEngine> card;
  card.scalar.updatedResult = false;
  const LogCapture log;
  card.engine.receive(
      "4F544E31 01 02 0001 | 40C08000 01 0004 00000009 | 10800005 01 0004 00000001 | "
      "40C08001 01 0004 00000003"_hex);
  EXPECT_EQ(card.engine.sent(), Datagrams{"4F544E31 01 04 0001 0C 0000"});
  EXPECT_EQ(card.five->value, 1U);
  EXPECT_EQ(card.hooks.back(), "updated cell1 1");
  EXPECT_EQ(log.brief(3), Lines{"3 [ERROR] trelmsg (deserializeTlvs) - scalar: Property five updated call failed"});
}

TEST(ReadingRequest, AnEmptyReadAndAnEmptyWriteAreAnswered) {
  Card<RecordingEngine> card;
  const LogCapture log;
  card.engine.receive("4F544E31 01 01 0001"_hex);
  card.engine.receive("4F544E31 01 02 0002"_hex);
  EXPECT_EQ(card.engine.sent(), (Datagrams{"4F544E31 01 03 0001 00 0000", "4F544E31 01 04 0002 00 0000"}));
  EXPECT_EQ(log.count("TREL Read message: length 8, 0 tlvs"), 1U);
  EXPECT_EQ(log.count("TREL Write message: length 8, 0 tlvs"), 1U);
}

TEST(ReadingRequest, TheFirstBadTlvOfAWriteDecidesAndNothingIsWritten) {
  const struct {
    const char* tlvs;
    const char* answer;
    const char* line;
  } rows[] = {
      {"10800005 01 0004 00000001 | 10800007 01 0004 00000001", "0A 0001", "RESULT READ ONLY in OID 0x10800007"},
      {"10800007 09 0004 00000001 | 10800005 01 0004 00000001", "06 0000", "RESULT WRONG TYPE in OID 0x10800007"},
      {"10800007 01 0002 0001 | 10800005 09 0000", "08 0000", "RESULT WRONG LEN in OID 0x10800007"},
      {"10800005 01 0004 00000001 | 10800006 01 0004 00000001 | 10800009 01 0004 00000005", "09 0002",
       "RESULT WRONG VALUE in OID 0x10800009"},
      {"10800005 01 0004 00000001 | 10800009 01 0004 00000000", "09 0001", "RESULT WRONG VALUE in OID 0x10800009"},
      {"10800005 01 0004 00000001 | 1080000A 01 0004 00000001", "05 0001", "RESULT GENERAL ERROR in OID 0x1080000a"},
      {"10800005 01 0004 00000001 | FFFFFFFF 01 0000", "05 0001", "RESULT GENERAL ERROR in OID 0xffffffff"},
      // Bit 29 is ignored when the property is found and counts when the OIDs are compared.
      {"10800005 01 0004 00000001 | 30800006 01 0004 00000001", "07 0001", "RESULT WRONG OID in OID 0x30800006"},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.tlvs);
    Card<RecordingEngine> card;
    const std::string before = card.state();
    const LogCapture log;
    card.engine.receive(bytesOf("4F544E31 01 02 0001") + bytesOf(row.tlvs), nullptr);
    ASSERT_EQ(card.engine.messages.size(), 1U);
    EXPECT_EQ(asText(card.engine.messages[0].bytes.substr(8)), asText(bytesOf(row.answer)));
    EXPECT_EQ(card.state(), before);
    EXPECT_EQ(log.brief(3).back(), "3 [ERROR] trelmsg (checkTlvs) - " + std::string(row.line));
    EXPECT_EQ(log.count("request handled"), 0U);
    EXPECT_EQ(log.count("TREL Write message"), 0U);
    for (const std::string& call : card.hooks)
      EXPECT_EQ(call.find("update "), 0U) << call;
    // Every request after it is served.
    card.engine.forget();
    card.engine.receive("4F544E31 01 01 0009 | 10800005 01 0000"_hex, nullptr);
    ASSERT_EQ(card.engine.messages.size(), 1U);
    EXPECT_EQ(asText(card.engine.messages[0].bytes.substr(11)), "10 80 00 05 01 00 04 00 00 00 55");
  }
}

TEST(ReadingRequest, TheUpdateHookRunsForEveryKnownOidEvenWhenTheRequestIsRefused) {
  Card<RecordingEngine> card;
  card.engine.receive(
      "4F544E31 01 02 0001 | 10800007 01 0004 00000001 | 12345678 01 0000 | 40C08001 01 0004 00000001"_hex);
  EXPECT_EQ(card.hooks, (Calls{"update fixed 0", "update cell1 1"}));
  EXPECT_EQ(card.engine.sent(), Datagrams{"4F544E31 01 04 0001 0A 0000"});
}

TEST(ReadingRequest, AReadAsksTheOidAloneAndAnswersReadOnlyOnesToo) {
  Card<RecordingEngine> card;
  card.engine.receive("4F544E31 01 01 0001 | 10800007 0C 0005 0102030405 | 30800005 01 0000"_hex);
  EXPECT_EQ(card.engine.sent(),
            Datagrams{"4F544E31 01 03 0001 00 0000 | 10800007 01 0004 00000077 | 10800005 01 0004 00000055"});
}

TEST(ReadingRequest, AnUnknownOidIsLoggedAsASignedNumberWithANewlineAndRefusedWith5) {
  Card<RecordingEngine> card;
  const LogCapture log;
  card.engine.receive("4F544E31 01 01 0001 | 10800005 01 0000 | 80000005 01 0000"_hex);
  EXPECT_EQ(card.engine.sent(), Datagrams{"4F544E31 01 03 0001 05 0001"});
  EXPECT_EQ(log.count("-2147483643 not found in trelObjects, adding old style, making property for it\n"), 1U);
  EXPECT_EQ(linesOf(log, "checkTlvs"), Lines{"3 [ERROR] trelmsg (checkTlvs) - RESULT GENERAL ERROR in OID 0x80000005"});
}

TEST(ReadingRequest, AnUnknownOidWithACheckButNoServiceIsAnsweredWith12AndIndexZero) {
  Card<CheckingOnly> card;
  card.engine.receive("4F544E31 01 01 0001 | 10800005 01 0000 | 10800099 01 0000"_hex);
  card.engine.receive(
      "4F544E31 01 02 0002 | 10800005 01 0004 00000001 | 10800099 01 0000 | 10800006 01 0004 00000002"_hex);
  EXPECT_EQ(card.engine.sent(), (Datagrams{"4F544E31 01 03 0001 0C 0000", "4F544E31 01 04 0002 0C 0000"}));
  EXPECT_EQ(card.five->value, 1U);  // stored before the walk stopped
  EXPECT_EQ(card.six->value, 0x66U);
  EXPECT_EQ(card.hooks, (Calls{"update five 0", "update five 0", "update six 0"}));
}

TEST(ReadingRequest, TheIndexOfARefusedOldStyleReadIsItsPositionAmongTheOldStyleOnes) {
  Card<Serving> card;
  card.engine.serve = [](OldStyleProperty* property) { return property->id != 0x10800099; };
  card.engine.receive(
      "4F544E31 01 01 0001 | 10800005 01 0000 | 10800098 03 0001 AA | 10800006 01 0000 | "
      "10800099 03 0001 BB | 1080009A 03 0001 CC"_hex);
  EXPECT_EQ(card.engine.sent(), Datagrams{"4F544E31 01 03 0001 0C 0001"});
  EXPECT_EQ(card.engine.calls,
            (Calls{"check OldStyleProperty_1 read", "check OldStyleProperty_2 read", "check OldStyleProperty_3 read",
                   "serve OldStyleProperty_1 read", "serve OldStyleProperty_2 read"}));
}

TEST(ReadingRequest, AServedOldStyleReadAnswersWhatTheHookLeftAmongTheRegisteredOnes) {
  Card<Serving> card;
  card.engine.serve = [](OldStyleProperty* property) {
    EXPECT_EQ(property->object, nullptr);
    EXPECT_EQ(property->row, 7U);
    property->set(std::string("hi"));
    return true;
  };
  card.engine.receive("4F544E31 01 01 0001 | 40C48007 09 0000 | 10800005 01 0000"_hex);
  EXPECT_EQ(card.engine.sent(),
            Datagrams{"4F544E31 01 03 0001 00 0000 | 40C48007 09 0002 6869 | 10800005 01 0004 00000055"});
}

TEST(ReadingRequest, AnOldStyleWriteIsServedInTheOrderOfTheTlvsAndStopsTheWalkWhenItIsRefused) {
  Card<Serving> card;
  unsigned int fiveWhenServed = 0;
  unsigned int received = 0;
  card.engine.serve = [&](OldStyleProperty* property) {
    fiveWhenServed = card.five->value;
    property->get(&received);
    return property->id == 0x10800098;
  };
  card.engine.receive(
      "4F544E31 01 02 0001 | 10800005 01 0004 00000001 | 10800098 01 0004 A1B2C3D4 | "
      "10800006 01 0004 00000002"_hex);
  EXPECT_EQ(fiveWhenServed, 1U);
  EXPECT_EQ(received, 0xA1B2C3D4U);
  EXPECT_EQ(card.six->value, 2U);
  EXPECT_EQ(card.hooks, (Calls{"update five 0", "update six 0", "updated five 0", "updated six 0"}));
  card.hooks.clear();
  card.engine.receive(
      "4F544E31 01 02 0002 | 10800005 01 0004 00000011 | 10800099 01 0004 A1B2C3D4 | "
      "10800006 01 0004 00000022"_hex);
  EXPECT_EQ(card.five->value, 0x11U);
  EXPECT_EQ(card.six->value, 2U);
  EXPECT_EQ(card.hooks, (Calls{"update five 0", "update six 0"}));
  EXPECT_EQ(card.engine.sent(), (Datagrams{"4F544E31 01 04 0001 00 0000", "4F544E31 01 04 0002 0C 0000"}));
  EXPECT_EQ(card.engine.calls, (Calls{"check OldStyleProperty_1 write", "serve OldStyleProperty_1 write",
                                      "check OldStyleProperty_2 write", "serve OldStyleProperty_2 write"}));
}

TEST(ReadingRequest, WhatCheckTlvOldReturnsIsTheAnswerAndNamedInTheLog) {
  const struct {
    int result;
    const char* onTheWire;
    const char* text;
  } rows[] = {{1, "01", "RESULT PROTOCOL VERSION_MISMATCH"},
              {10, "0A", "RESULT READ ONLY"},
              {15, "0F", "RESULT NOT SEND"},
              {16, "10", ""},
              {17, "11", ""},
              {18, "12", "unknown"},
              {255, "FF", "unknown"},
              {300, "2C", "unknown"},
              {-1, "FF", "unknown"}};
  for (const auto& row : rows) {
    SCOPED_TRACE(row.result);
    Card<Serving> card;
    card.engine.check = [&](OldStyleProperty*) { return row.result; };
    const LogCapture log;
    card.engine.receive("4F544E31 01 01 0001 | 10800005 01 0000 | 10800098 01 0000"_hex, nullptr);
    EXPECT_EQ(card.engine.sent(), Datagrams{"4F544E31 01 03 0001 " + std::string(row.onTheWire) + " 0001"});
    EXPECT_EQ(linesOf(log, "checkTlvs"),
              Lines{"3 [ERROR] trelmsg (checkTlvs) - " + std::string(row.text) + " in OID 0x10800098"});
  }
}

TEST(ReadingRequest, ARequestOfManyTlvsReportsAnIndexOfSixteenBits) {
  Card<RecordingEngine> card;
  std::string datagram = "4F544E31 01 01 0001"_hex;
  for (int i = 0; i < 300; ++i)
    datagram += "10800005 01 0000"_hex;
  card.engine.receive(datagram + "1080000A 01 0000"_hex);
  card.engine.receive(datagram);
  // 301 TLVs are more than this end would ever ask for: a server takes them.
  EXPECT_EQ(card.engine.sent(), (Datagrams{"4F544E31 01 03 0001 05 012C", "4F544E31 01 03 0001 0B 0000"}));
}

TEST(ReadingRequest, AnAnswerOf1200BytesPassesAndOneMoreIsTooLong) {
  const struct {
    std::size_t text;
    std::size_t answer;
  } rows[] = {{1182, 1200}, {1183, 11}, {60000, 11}};
  for (const auto& row : rows) {
    SCOPED_TRACE(row.text);
    Card<RecordingEngine> card;
    card.text->set(std::string(row.text, 't'));
    const LogCapture log;
    card.engine.receive("4F544E31 01 01 0001 | 10800008 09 0000"_hex, nullptr);
    ASSERT_EQ(card.engine.messages.size(), 1U);
    EXPECT_EQ(card.engine.messages[0].bytes.size(), row.answer);
    if (row.answer == 11) {
      EXPECT_EQ(card.engine.messages[0].datagram, "4F544E31 01 03 0001 0B 0000");
    }
    EXPECT_EQ(log.count("request handled: success"), 1U);
  }
  // 1200 bytes by eleven-byte TLVs and one text.
  Card<RecordingEngine> card;
  card.text->set(std::string(1182 - 11, 't'));
  card.engine.receive("4F544E31 01 01 0001 | 10800008 09 0000 | 10800005 01 0000"_hex, nullptr);
  EXPECT_EQ(card.engine.messages[0].bytes.size(), 1200U);
}

TEST(ReadingRequest, TheSizeLimitReplacesADuplicateMarkAndIsNotAskedForWrites) {
  Card<RecordingEngine> card;
  const std::string longText(2000, 't');
  card.engine.receive("4F544E31 01 02 0001 | 10800008 09 07D0"_hex + longText);
  std::string text;
  card.text->get(&text);
  EXPECT_EQ(text, longText);
  card.engine.receive("4F544E31 01 01 0001 | 10800008 09 0000"_hex);
  EXPECT_EQ(card.engine.sent(), (Datagrams{"4F544E31 01 04 0001 00 0000", "4F544E31 01 03 0001 0B 0000"}));
}

TEST(ReadingRequest, AnOldStyleValueThatTheHookMadeTooLongIsTooLong) {
  Card<Serving> card;
  card.engine.serve = [](OldStyleProperty* property) {
    property->set(std::string(1183, 'x'));
    return true;
  };
  card.engine.receive("4F544E31 01 01 0001 | 10800098 09 0000"_hex);
  EXPECT_EQ(card.engine.sent(), Datagrams{"4F544E31 01 03 0001 0B 0000"});
}

TEST(ReadingRequest, ATlvWhoseHeadIsCutEndsTheWalkAndIsRefusedWith8AndItsIndex) {
  const std::string head = "10800006 01 00"_hex;
  for (const char* action : {"01", "02"}) {
    for (std::size_t rest = 1; rest <= 6; ++rest) {
      SCOPED_TRACE(action + std::string(" ") + std::to_string(rest));
      Card<Serving> card;
      const std::string before = card.state();
      const LogCapture log;
      card.engine.receive(
          "4F544E31 01"_hex + bytesOf(action) + "0001 | 10800005 01 0004 00000009"_hex + head.substr(0, rest), nullptr);
      ASSERT_EQ(card.engine.messages.size(), 1U);
      EXPECT_EQ(asText(card.engine.messages[0].bytes.substr(8)), "08 00 01");
      EXPECT_EQ(card.state(), before);
      EXPECT_EQ(card.hooks, Calls{"update five 0"});
      EXPECT_EQ(log.brief(3).size(), 1U);
      EXPECT_EQ(log.count("request handled"), 0U);
    }
  }
}

TEST(ReadingRequest, ATlvWhoseValueIsCutIsAnsweredInAReadAndJudgedByItsFormInAWrite) {
  const struct {
    const char* action;
    const char* tlvs;
    const char* answer;  // from the result on
  } rows[] = {
      {"01", "10800005 01 0004 000000", "00 00 00 10 80 00 05 01 00 04 00 00 00 55"},
      {"01", "10800005 01 FFFF", "00 00 00 10 80 00 05 01 00 04 00 00 00 55"},
      {"01", "10800005 01 0000 | 10800099 01 0001", "08 00 01"},
      {"01", "10800099 01 0000 | 10800005 01 0001", "05 00 00"},
      {"02", "10800006 01 0004 00000001 | 10800005 01 0004 000000", "08 00 01"},
      {"02", "10800006 01 0004 00000001 | 10800005 01 0004", "08 00 01"},
      {"02", "10800006 01 0004 00000001 | 10800005 02 0004 000000", "06 00 01"},
      {"02", "10800006 01 0004 00000001 | 10800005 01 0005 00000000", "08 00 01"},
      {"02", "10800006 01 0004 00000001 | 10800007 01 0004 000000", "0A 00 01"},
      {"02", "10800006 01 0004 00000001 | 10800007 02 0004 000000", "06 00 01"},
      {"02", "10800006 01 0004 00000001 | 30800005 01 0004 000000", "07 00 01"},
      {"02", "10800006 01 0004 00000001 | 10800009 01 0004 FFFFFF", "08 00 01"},  // not 9: no value was there
      {"02", "10800006 01 0004 00000001 | 10800008 09 FFFF 6162", "08 00 01"},
      {"02", "10800006 01 0004 00000001 | 10800099 01 0004 000000", "08 00 01"},
      {"02", "10800007 01 0004 00000001 | 10800005 01 0004 000000", "0A 00 00"},
      {"02", "10800099 01 0004 00000001 | 10800005 01 0004 000000", "05 00 00"},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(std::string(row.action) + " " + row.tlvs);
    Card<RecordingEngine> card;
    const std::string before = card.state();
    const LogCapture log;
    card.engine.receive("4F544E31 01"_hex + bytesOf(row.action) + "0001"_hex + bytesOf(row.tlvs), nullptr);
    ASSERT_EQ(card.engine.messages.size(), 1U);
    const std::string answer = card.engine.messages[0].bytes.substr(8);
    if (answer[0] != 2) {  // contexts are the process's: the first round is no duplicate, the later ones are
      EXPECT_EQ(asText(answer), row.answer);
    } else {
      EXPECT_EQ(asText(answer.substr(1)), std::string(row.answer).substr(3));
    }
    EXPECT_EQ(card.state(), before);
  }
}

TEST(ReadingRequest, AHookThatShortensAnOldStyleValueDuringAWriteShiftsWhatFollows) {
  Card<Serving> card;
  auto* zero = new Number(0, "zero", IFC_CARD_VAR_READ_WRITE, 0U);
  ASSERT_TRUE(card.scalar.addProp(zero, 0));
  card.engine.serve = [](OldStyleProperty* property) {
    property->set(std::string("ab"));
    return true;
  };
  // Two bytes less: the length of what follows is read from 00 01, its value from 00 04 A1 A2.
  card.engine.receive("4F544E31 01 02 0001 | 10800098 09 0004 61626364 | 10800000 01 0004 A1A2A3A4"_hex);
  EXPECT_EQ(zero->value, 0x0004A1A2U);
  // Here the length would be read from 05 01: a step that leaves the datagram.
  card.engine.receive("4F544E31 01 02 0002 | 10800098 09 0004 61626364 | 10800005 01 0004 A1A2A3A4"_hex);
  EXPECT_EQ(card.five->value, 0x55U);
  EXPECT_EQ(card.engine.sent(), (Datagrams{"4F544E31 01 04 0001 00 0000", "4F544E31 01 04 0002 0C 0000"}));
}

TEST(ReadingRequest, AHookThatLengthensAnOldStyleValueBeyondTheDatagramEndsTheWrite) {
  for (const std::size_t length :
       {std::size_t{5}, std::size_t{15}, std::size_t{16}, std::size_t{17}, std::size_t{65535}, std::size_t{200000}}) {
    SCOPED_TRACE(length);
    Card<Serving> card;
    card.engine.serve = [&](OldStyleProperty* property) {
      property->set(std::string(length, 'x'));
      return true;
    };
    card.engine.receive("4F544E31 01 02 0001 | 10800098 09 0004 61626364 | 10800005 01 0004 A1A2A3A4"_hex, nullptr);
    ASSERT_EQ(card.engine.messages.size(), 1U);
    EXPECT_EQ(asText(card.engine.messages[0].bytes.substr(8)), "0C 00 00");
    EXPECT_EQ(card.five->value, 0x55U);
  }
}

TEST(ReadingRequest, AnOldStyleWriteWithoutFollowersMayChangeItsLengthFreely) {
  Card<Serving> card;
  card.engine.serve = [](OldStyleProperty* property) {
    property->set(std::string());
    return true;
  };
  card.engine.receive("4F544E31 01 02 0001 | 10800005 01 0004 00000001 | 10800098 09 0004 61626364"_hex);
  EXPECT_EQ(card.engine.sent(), Datagrams{"4F544E31 01 04 0001 00 0000"});
  EXPECT_EQ(card.five->value, 1U);
}

TEST(ReadingRequest, OldStylePropertiesAreAliveWhileTheAnswerIsSentAndThoseOfARefusedOneUntilTheNextRefusal) {
  Card<Serving> card;
  OldStyleProperty* kept = nullptr;
  card.engine.check = [&](OldStyleProperty* property) {
    kept = property;
    return 12;
  };
  card.engine.receive("4F544E31 01 01 0001 | 10800098 09 0002 6162"_hex);
  ASSERT_NE(kept, nullptr);
  OldStyleProperty* const refused = kept;
  card.engine.check = nullptr;
  card.engine.whileSending = [](TRELMessage& message) { EXPECT_EQ(message.properties.size(), 1U); };
  card.engine.receive("4F544E31 01 01 0002 | 10800099 09 0002 6364"_hex);
  EXPECT_EQ(card.engine.messages.back().datagram, "4F544E31 01 03 0002 00 0000 | 10800099 09 0002 6364");
  EXPECT_EQ(refused->name, "OldStyleProperty_1");  // alive: the sanitizer watches
  std::string value;
  refused->get(&value);
  EXPECT_EQ(value, "ab");
}

TEST(ReadingRequest, TheSameRequestMadeByTwoEnginesIsAnsweredByEachFromItsOwnObjects) {
  Card<RecordingEngine> one;
  Card<RecordingEngine> other;
  one.five->set(1U);
  other.five->set(2U);
  one.engine.receive("4F544E31 01 01 0001 | 10800005 01 0000"_hex);
  other.engine.receive("4F544E31 01 01 0002 | 10800005 01 0000"_hex);
  EXPECT_EQ(one.engine.sent(), Datagrams{"4F544E31 01 03 0001 00 0000 | 10800005 01 0004 00000001"});
  EXPECT_EQ(other.engine.sent(), Datagrams{"4F544E31 01 03 0002 00 0000 | 10800005 01 0004 00000002"});
}

TEST(ReadingRequest, AHookMayHandleAnotherDatagramWithoutHarmToItsOwn) {
  Card<Serving> card;
  bool nested = false;
  const auto nest = [&](TrelProperty*) {
    if (nested) return;
    nested = true;
    card.engine.receive("4F544E31 01 01 0002 | 40C08000 01 0000 | 10800099 01 0000 | 10800006 01 0000"_hex);
    card.engine.receive("4F544E31 01 02 0003 | 10800007 01 0004 00000001"_hex);
    card.engine.receive("4F544E31 01 02 0004 | 10800006 01 0004 00000001 | 1080009A 01 0004 00000001"_hex);
  };
  const Datagrams inner = {
      "4F544E31 01 03 0002 00 0000 | 40C08000 01 0004 000000C0 | 10800099 01 0000 | "
      "10800006 01 0004 00000066",
      "4F544E31 01 04 0003 0A 0000", "4F544E31 01 04 0004 00 0000"};
  card.scalar.onUpdate = nest;
  card.engine.receive("4F544E31 01 01 0001 | 10800005 01 0000 | 1080009B 03 0001 EE | 40C08001 01 0000"_hex);
  Datagrams expected = inner;
  expected.push_back(
      "4F544E31 01 03 0001 00 0000 | 10800005 01 0004 00000055 | 1080009B 03 0001 EE | "
      "40C08001 01 0004 000000C1");
  EXPECT_EQ(card.engine.sent(), expected);

  card.scalar.onUpdate = nullptr;
  card.engine.forget();
  card.six->set(0x66U);
  nested = false;
  card.scalar.onUpdated = nest;
  card.engine.receive(
      "4F544E31 01 02 0001 | 10800005 01 0004 00000011 | 1080009B 03 0001 EE | 40C08001 01 0004 00000012"_hex);
  ASSERT_EQ(card.engine.messages.size(), 4U);
  EXPECT_EQ(card.engine.messages[3].bytes.substr(0, 8), "4F544E31 01 04 0001"_hex);
  EXPECT_EQ(card.engine.messages[0].bytes.substr(11),
            "40C08000 01 0004 000000C0 | 10800099 01 0000 | "
            "10800006 01 0004 00000066"_hex);
  EXPECT_EQ(card.five->value, 0x11U);
  EXPECT_EQ(card.cell->value, 0x12U);
}

TEST(ReadingRequest, AnExceptionOfAHookLeavesTheEngineAbleToAnswerTheNextDatagram) {
  const auto throwIt = [](TrelProperty*) { throw std::runtime_error("hook"); };
  Card<Serving> card;
  const std::string write = "4F544E31 01 02 0001 | 10800098 03 0001 EE | 10800005 01 0004 00000055"_hex;
  const std::string read = "4F544E31 01 01 0001 | 10800098 03 0001 EE | 10800005 01 0000"_hex;
  const auto expectGoodRead = [&] {
    card.scalar.onUpdate = nullptr;
    card.scalar.onUpdated = nullptr;
    card.engine.check = nullptr;
    card.engine.serve = nullptr;
    card.engine.whileSending = nullptr;
    card.engine.forget();
    card.engine.receive(read);
    ASSERT_EQ(card.engine.messages.size(), 1U);
    EXPECT_EQ(asText(card.engine.messages[0].bytes.substr(11)),
              "10 80 00 98 03 00 01 EE 10 80 00 05 01 00 04 00 00 00 55");
  };
  card.scalar.onUpdate = throwIt;
  EXPECT_THROW(card.engine.receive(read), std::runtime_error);
  expectGoodRead();
  card.scalar.onUpdated = throwIt;
  EXPECT_THROW(card.engine.receive(write), std::runtime_error);
  expectGoodRead();
  card.engine.check = [](OldStyleProperty*) -> int { throw std::runtime_error("check"); };
  EXPECT_THROW(card.engine.receive(read), std::runtime_error);
  expectGoodRead();
  card.engine.serve = [](OldStyleProperty*) -> bool { throw std::runtime_error("serve"); };
  EXPECT_THROW(card.engine.receive(read), std::runtime_error);
  expectGoodRead();
  EXPECT_NO_THROW(card.engine.receive(write));
  card.engine.whileSending = [](TRELMessage&) { throw std::runtime_error("send"); };
  EXPECT_THROW(card.engine.receive(read), std::runtime_error);
  expectGoodRead();
}

namespace {

// An application's own kind: its virtuals decide what the engine sees.
class Moody : public TypeProperty<unsigned int> {
 public:
  using TypeProperty<unsigned int>::TypeProperty;
  bool validValue(const char* received, int len) override {
    asked = std::string(received, static_cast<std::size_t>(len));
    return valid;
  }
  int getType() override { return TREL_TYPE_IPV4ADDRESS; }
  bool valid = true;
  std::string asked;
};

}  // namespace

TEST(ReadingRequest, TheVirtualsOfAnApplicationsPropertyAreAsked) {
  RecordingEngine engine;
  TrelScalar scalar("scalar", 1, true);
  auto* moody = new Moody(5, "moody", IFC_CARD_VAR_READ_WRITE, 3U);
  ASSERT_TRUE(scalar.addProp(moody, 0));
  engine.registerObject(&scalar);
  engine.receive("4F544E31 01 02 0001 | 10800005 01 0004 00000001"_hex);
  engine.receive("4F544E31 01 02 0002 | 10800005 0A 0004 C0A80001"_hex);
  EXPECT_EQ(asText(moody->asked), "C0 A8 00 01");
  EXPECT_EQ(moody->value, 0xC0A80001U);
  moody->valid = false;
  engine.receive("4F544E31 01 02 0003 | 10800005 0A 0004 C0A80002"_hex);
  engine.receive("4F544E31 01 01 0004 | 10800005 0A 0000"_hex);
  EXPECT_EQ(engine.sent(),
            (Datagrams{"4F544E31 01 04 0001 06 0000", "4F544E31 01 04 0002 00 0000", "4F544E31 01 04 0003 09 0000",
                       "4F544E31 01 03 0004 00 0000 | 10800005 0A 0004 C0A80001"}));
}

TEST(ReadingRequest, EveryAccessTypeButOneIsWritable) {
  RecordingEngine engine;
  TrelScalar scalar("scalar", 1, true);
  for (unsigned int access : {0U, 1U, 2U, 3U, 0x101U, 0xFFFFFFFFU}) {
    const unsigned int id = access & 0xFFFU;
    ASSERT_TRUE(scalar.addProp(new Number(id, "n", static_cast<IfcCardVarAccessType>(access), 0U), 0));
  }
  engine.registerObject(&scalar);
  engine.receive(
      "4F544E31 01 02 0001 | 10800000 01 0004 00000001 | 10800002 01 0004 00000001 | "
      "10800003 01 0004 00000001 | 10800101 01 0004 00000001 | 10800FFF 01 0004 00000001"_hex);
  engine.receive("4F544E31 01 02 0002 | 10800001 01 0004 00000001"_hex);
  EXPECT_EQ(engine.sent(), (Datagrams{"4F544E31 01 04 0001 00 0000", "4F544E31 01 04 0002 0A 0000"}));
}

namespace {

// Answers an OID that does not decode, and one of a neighbour.
class Liar : public TrelScalar {
 public:
  using TrelScalar::TrelScalar;
  TrelProperty* getPropFromOID(unsigned int oid) override {
    return oid == 0x80000005U || oid == 0x12000005U || oid == 0x10800006U ? getProp(5, 0) : nullptr;
  }
};

// Something polymorphic in front: the tables of virtual operations are not where they are in a plain class.
class Listener {
 public:
  virtual ~Listener() = default;
  virtual void listen() { ++heard; }
  int heard = 0;
};

class ListeningObject : public Listener, public Hooked<TrelScalar> {
 public:
  using Hooked<TrelScalar>::Hooked;
};
class PlainListeningObject : public Listener, public TrelScalar {
 public:
  using TrelScalar::TrelScalar;
};
class VirtualObject : public virtual Listener, public Hooked<TrelScalar> {
 public:
  using Hooked<TrelScalar>::Hooked;
  bool update(TrelProperty* property, unsigned int row) override { return Hooked<TrelScalar>::update(property, row); }
};
class ListeningEngine : public Listener, public Serving {};
class PlainListeningEngine : public Listener, public RecordingEngine {};

}  // namespace

TEST(ReadingRequest, AnOidThatDoesNotDecodeIsRefusedWith7EvenWhenAnObjectAnswersForIt) {
  for (const char* oid : {"80000005", "12000005"}) {
    for (const char* action : {"01", "02"}) {
      SCOPED_TRACE(oid);
      RecordingEngine engine;
      Liar liar("liar", 1, true);
      ASSERT_TRUE(liar.addProp(new Number(5, "five", IFC_CARD_VAR_READ_WRITE, 5U), 0));
      engine.registerObject(&liar);
      engine.receive(bytesOf("4F544E31 01") + bytesOf(action) + "0001 | 10800006 01 0000"_hex, nullptr);
      engine.receive(bytesOf("4F544E31 01") + bytesOf(action) + "0001"_hex + bytesOf(oid) + "01 0004 00000001"_hex,
                     nullptr);
      ASSERT_EQ(engine.messages.size(), 2U);
      const bool read = std::string(action) == "01";
      EXPECT_EQ(asText(engine.messages[0].bytes.substr(9)), read ? "00 00 10 80 00 05 01 00 04 00 00 00 05" : "00 00");
      if (!read) {
        EXPECT_EQ(engine.messages[0].bytes[8], 7);
      }
      EXPECT_EQ(asText(engine.messages[1].bytes.substr(8)), "07 00 00");
    }
  }
}

TEST(ReadingRequest, HooksAreFoundInClassesThatInheritThemAndBehindAnotherBase) {
  std::vector<std::string> hooks;
  ListeningObject first("first", 1, true);
  VirtualObject second("second", 2, true);
  PlainListeningObject third("third", 3, true);
  first.calls = second.calls = &hooks;
  for (TrelObject* object :
       {static_cast<TrelObject*>(&first), static_cast<TrelObject*>(&second), static_cast<TrelObject*>(&third)})
    ASSERT_TRUE(object->addProp(new Number(5, object->name.c_str(), IFC_CARD_VAR_READ_WRITE, 0U), 0));
  ListeningEngine engine;
  PlainListeningEngine plain;
  for (RecordingEngine* each : {static_cast<RecordingEngine*>(&engine), static_cast<RecordingEngine*>(&plain)}) {
    each->registerObject(&first);
    each->registerObject(&second);
    each->registerObject(&third);
  }
  const LogCapture log;
  engine.receive(
      "4F544E31 01 02 0001 | 10800005 01 0004 00000001 | 11000005 01 0004 00000002 | "
      "11800005 01 0004 00000003 | 10800099 03 0001 AA"_hex);
  EXPECT_EQ(hooks, (Calls{"update first 0", "update second 0", "updated first 0", "updated second 0"}));
  EXPECT_EQ(log.count("update() call succeeded"), 2U);
  EXPECT_EQ(engine.calls, (Calls{"check OldStyleProperty_1 write", "serve OldStyleProperty_1 write"}));
  EXPECT_EQ(engine.sent(), Datagrams{"4F544E31 01 04 0001 00 0000"});
  plain.receive("4F544E31 01 01 0002 | 10800099 03 0001 AA"_hex);
  EXPECT_EQ(plain.sent(), Datagrams{"4F544E31 01 03 0002 05 0000"});
}

TEST(ReadingRequest, AnOverrideThatCallsTheBaseIsAnOverrideAllTheSame) {
  class CallsBase : public CheckingOnly {
   public:
    bool handleTrelMsgOld(OldStyleProperty* property, bool isWrite) override {
      return property->id == 0x10800098 || TrelProtocolBase::handleTrelMsgOld(property, isWrite);
    }
  };
  CallsBase engine;
  engine.receive("4F544E31 01 01 0001 | 10800098 03 0001 AA | 10800099 03 0001 AA"_hex);
  EXPECT_EQ(engine.sent(), Datagrams{"4F544E31 01 03 0001 0C 0001"});
}

TEST(ReadingRequest, AnIndexBeyondSixteenBitsLosesItsUpperOnes) {
  RecordingEngine engine;
  TrelScalar scalar("scalar", 1, true);
  ASSERT_TRUE(scalar.addProp(new Number(5, "five", IFC_CARD_VAR_READ_WRITE, 0U), 0));
  engine.registerObject(&scalar);
  std::string datagram = "4F544E31 01 01 0001"_hex;
  for (int i = 0; i < 65538; ++i)
    datagram += "10800005 01 0000"_hex;
  engine.receive(datagram + "10800006 01 0000"_hex);
  EXPECT_EQ(engine.sent(), Datagrams{"4F544E31 01 03 0001 05 0002"});
}

TEST(ReadingRequest, AnExceptionWhileARefusalIsSentLosesNoOldStyleProperty) {
  Card<RecordingEngine> card;
  card.engine.whileSending = [](TRELMessage&) { throw std::runtime_error("send"); };
  for (int i = 0; i < 3; ++i)
    EXPECT_THROW(card.engine.receive("4F544E31 01 01 0001 | 10800098 09 0003 616263 | 10800099 09 0003 616263"_hex),
                 std::runtime_error);
  EXPECT_THROW(card.engine.receive("4F544E31 01 01 0001 | 10800098 09 0003 616263 | 1080"_hex), std::runtime_error);
  card.engine.whileSending = nullptr;
  card.engine.forget();
  card.engine.receive("4F544E31 01 01 0002 | 10800005 01 0000"_hex);
  EXPECT_EQ(card.engine.sent(), Datagrams{"4F544E31 01 03 0002 00 0000 | 10800005 01 0004 00000055"});
}

TEST(ReadingRequest, FiftyRefusedRequestsKeepTheOldStylePropertiesOfTheLastOneOnly) {
  class Watching : public RecordingEngine {
   public:
    int checkTlvOld(OldStyleProperty* property, bool) const override {
      // A property that is alive is known to the pending message; a dead one has left it.
      const_cast<Watching*>(this)->addToAmi(property, false);
      return 9;
    }
  };
  Watching engine;
  for (int i = 0; i < 50; ++i)
    engine.receive("4F544E31 01 01 0001 | 10800098 03 0001 AA"_hex);
  engine.forget();
  engine.addToAmi(nullptr, true);
  EXPECT_EQ(engine.sent(), Datagrams{"4F544E31 01 05 0001 00000000 00000000 | 10800098 03 0001 AA"});
}

TEST(ReadingRequest, ATransportMayHandleOtherRequestsBeforeItSerializesTheAnswer) {
  class Busy : public Serving {
   public:
    int sendMsg(TRELMessage& message) override {
      if (!busy) {
        busy = true;
        receive("4F544E31 01 01 0002 | 10800006 01 0000 | 10800099 03 0001 BB | 40C08000 01 0000"_hex);
        receive("4F544E31 01 01 0003 | 10800006 01 0000 | 1080"_hex);
        receive("4F544E31 01 02 0004 | 10800005 01 0004 00000009"_hex);
      }
      return Serving::sendMsg(message);
    }
    bool busy = false;
  };
  Card<Busy> card;
  card.engine.receive("4F544E31 01 01 0001 | 10800005 01 0000 | 10800098 03 0001 AA | 40C08001 01 0000"_hex);
  EXPECT_EQ(card.engine.sent(),
            (Datagrams{"4F544E31 01 03 0002 00 0000 | 10800006 01 0004 00000066 | 10800099 03 0001 BB | "
                       "40C08000 01 0004 000000C0",
                       "4F544E31 01 03 0003 08 0001", "4F544E31 01 04 0004 00 0000",
                       "4F544E31 01 03 0001 00 0000 | 10800005 01 0004 00000009 | 10800098 03 0001 AA | "
                       "40C08001 01 0004 000000C1"}));
}

TEST(ReadingRequest, TheSequenceIsCheckedForTheSenderThatTheAnswerCarries) {
  Card<RecordingEngine> card;
  const std::string request = "4F544E31 01 01 0001 | 10800005 01 0000"_hex;
  TRELResponse response("abc");
  response.action = 3;
  response.result = RESULT_NOT_SEND;
  EXPECT_EQ(card.engine.handleRequest(static_cast<int>(request.size()), request.data(), response), 1);
  EXPECT_EQ(card.engine.sent(), Datagrams{"4F544E31 01 03 0000 11 0000 | 10800005 01 0004 00000055"});
}

TEST(ReadingRequest, AStepThatAnApplicationsPropertyMakesOutOfTheDatagramEndsTheWrite) {
  for (const int step : {std::numeric_limits<int>::min(), -1000, std::numeric_limits<int>::max(), 23, 1000}) {
    SCOPED_TRACE(step);
    RecordingEngine engine;
    TrelScalar scalar("scalar", 1, true);
    auto* fake = new FakeProperty("10800005 01 0004 00000001"_hex, 5);
    auto* six = new Number(6, "six", IFC_CARD_VAR_READ_WRITE, 0x66U);
    ASSERT_TRUE(scalar.addProp(fake, 0));
    ASSERT_TRUE(scalar.addProp(six, 0));
    engine.registerObject(&scalar);
    fake->deserializeResult = step;
    engine.receive("4F544E31 01 02 0001 | 10800005 01 0004 00000001 | 10800006 01 0004 00000002"_hex, nullptr);
    ASSERT_EQ(engine.messages.size(), 1U);
    EXPECT_EQ(asText(engine.messages[0].bytes.substr(8)), "0C 00 00");
    EXPECT_EQ(six->value, 0x66U);
  }
}

TEST(ReadingRequest, APropertyWithoutAnOwnerThatAnObjectAnswersWithCountsAsOneWithoutHooks) {
  class Lender : public TrelScalar {
   public:
    using TrelScalar::TrelScalar;
    TrelProperty* getPropFromOID(unsigned int oid) override { return oid == 0x10800042 ? &loose : nullptr; }
    Number loose{0x10800042, "loose", IFC_CARD_VAR_READ_WRITE, 7U};
  };
  Lender lender("lender", 1, true);
  Serving engine;
  engine.registerObject(&lender);
  engine.receive("4F544E31 01 01 0001 | 10800042 01 0000"_hex);
  engine.receive("4F544E31 01 02 0002 | 10800042 01 0004 00000001"_hex);
  engine.receive("4F544E31 01 02 0003 | 10800042 01 0004 0000"_hex);
  ASSERT_EQ(engine.messages.size(), 3U);
  EXPECT_EQ(engine.messages[0].datagram, "4F544E31 01 03 0001 05 0000");
  EXPECT_EQ(engine.messages[1].datagram, "4F544E31 01 04 0002 05 0000");
  EXPECT_EQ(engine.messages[2].bytes.size(), 11U);
  EXPECT_TRUE(engine.calls.empty());
  EXPECT_EQ(lender.loose.value, 7U);
  // A reply and an autonomous message store into it; there is no one to tell.
  EXPECT_EQ(engine.receive("4F544E31 01 03 0001 00 0000 | 10800042 01 0004 00000008"_hex), 1);
  EXPECT_EQ(lender.loose.value, 8U);
  engine.receive("4F544E31 01 05 0001 00000000 00000000 | 10800042 01 0004 00000009"_hex);
  EXPECT_EQ(lender.loose.value, 9U);
}

TEST(ReadingRequest, AllLinesOfARequestInTheirOrderUnderTheNameOfItsFunction) {
  Card<Serving> card;
  const std::string five = "  5 | " + std::string(36, ' ') + "five : " + std::string(18, ' ') + "85  (def = 85)\n";
  LogCapture log;
  card.engine.whileSending = [&](TRELMessage&) { log.clear(); };
  card.engine.result = 0;
  card.engine.receive("4F544E31 01 01 0001 | 10800005 01 0000 | 10800098 03 0001 AA"_hex);
  EXPECT_EQ(log.brief(), Lines{"7 [DEBUG2] trelProtocolBase (handleRequest) - request handled: failed"});
  card.engine.whileSending = nullptr;
  card.engine.result = 2;
  log.clear();
  card.engine.receive("4F544E31 01 01 0002 | 10800005 01 0000 | 10800098 03 0001 AA"_hex);
  const std::string start = "[DEBUG2] trelProtocolBase (handleRequest) - ";
  EXPECT_EQ(linesOf(log, "handleRequest"),
            (Lines{"7 " + start + "prop adding: type 1, oid 10800005",
                   "7 " + start + "update() call succeeded for " + five + ", row 0",
                   "7 " + start + "276824216 not found in trelObjects, adding old style, making property for it\n",
                   "7 [DEBUG3] trelProtocolBase (handleRequest) - TREL Read message: length 23, 2 tlvs",
                   "7 " + start + "request handled: success"}));
}
