// The trace lines of request handling, in their order, with their texts and thresholds.

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "requestCard.h"

namespace {

const std::string HANDLE = "7 [DEBUG2] trelProtocolBase (handleRequest) - ";
const std::string HANDLE3 = "7 [DEBUG3] trelProtocolBase (handleRequest) - ";

std::string padded(std::size_t width, const std::string& text) { return std::string(width - text.size(), ' ') + text; }

// What str() of the card's temperature is, its newline included.
std::string temperatureText(const std::string& value) {
  return "  5 | " + padded(40, "temperature") + " : " + padded(20, value) + "  (def = 42)\n";
}

// The same objects without overridden hooks.
struct PlainCard {
  PlainCard() {
    scalar.addProp(new Number(5, "temperature", IFC_CARD_VAR_READ_WRITE, 42U), 0);
    engine.registerObject(&scalar);
  }
  TrelScalar scalar{"card", 1, true};
  RecordingEngine engine;
};

// Counts how often its text is built.
class CountingText : public Number {
 public:
  using Number::Number;
  std::string str() const override {
    ++built;
    return "text\n";
  }
  mutable int built = 0;
};

// Opens the log for every line when it is asked for its type.
class OpeningNumber : public Number {
 public:
  OpeningNumber(unsigned int number, LogCapture& log)
      : Number(number, "opening", IFC_CARD_VAR_READ_WRITE, 1U), log_(log) {}
  int getType() override {
    log_.setLevel(9);
    return Number::getType();
  }

 private:
  LogCapture& log_;
};

}  // namespace

TEST(RequestLog, EveryLineOfAReadInItsOrder) {
  Card card;
  LogCapture log;
  card.engine.receive("4F544E31 01 01 0007 | 10800005 01 0000"_hex);
  EXPECT_EQ(log.brief(),
            (Lines{"7 [DEBUG2] trelProtocolBase (handleTrelMsg) - handling trel msg of length 15",
                   "7 [DEBUG2] trelProtocolBase (handleTrelMsg) - TREL message: id 7, action 1, length 15",
                   "7 [DEBUG3] trelProtocolBase (checkMsgId) - IpAdress being verified : 10.0.0.1\n",
                   "7 [DEBUG3] trelObjects (getProp) - [card] Property 5 for row 0 found",
                   "7 [DEBUG3] trelObjects (getPropFromOID) - [card] Valid object id 0x10800005 for scalar 1",
                   HANDLE + "prop adding: type 1, oid 10800005",
                   HANDLE + "update() call succeeded for " + temperatureText("42") + ", row 0",
                   HANDLE3 + "TREL Read message: length 15, 1 tlvs", HANDLE + "request handled: success"}));
}

TEST(RequestLog, EveryLineOfAWriteInItsOrder) {
  Card card;
  LogCapture log;
  card.engine.receive("4F544E31 01 02 0007 | 10800005 01 0004 00000063"_hex);
  EXPECT_EQ(log.brief(),
            (Lines{"7 [DEBUG2] trelProtocolBase (handleTrelMsg) - handling trel msg of length 19",
                   "7 [DEBUG2] trelProtocolBase (handleTrelMsg) - TREL message: id 7, action 2, length 19",
                   "7 [DEBUG3] trelProtocolBase (checkMsgId) - IpAdress being verified : 10.0.0.1\n",
                   "7 [DEBUG3] trelObjects (getProp) - [card] Property 5 for row 0 found",
                   "7 [DEBUG3] trelObjects (getPropFromOID) - [card] Valid object id 0x10800005 for scalar 1",
                   HANDLE + "prop adding: type 1, oid 10800005",
                   HANDLE + "update() call succeeded for " + temperatureText("42") + ", row 0",
                   HANDLE3 + "TREL Write message: length 19, 1 tlvs",
                   "7 [DEBUG2] trelmsg (deserializeTlvs) - card: Property temperature updated",
                   HANDLE + "request handled: success"}));
}

TEST(RequestLog, TheUpdateLineShowsThePropertyAsUpdateLeftIt) {
  Card card;
  card.scalar.onUpdate = [&](TrelProperty*, unsigned int) {
    card.temperature->set(50U);
    return true;
  };
  LogCapture log(8);
  card.engine.receive("4F544E31 01 01 0007 | 10800005 01 0000"_hex);
  EXPECT_EQ(linesOf(log, "handleRequest").at(1),
            HANDLE + "update() call succeeded for " + temperatureText("50") + ", row 0");
}

TEST(RequestLog, AFailedUpdateIsToldWithANewlineBehindTheWord) {
  Card card;
  card.scalar.onUpdate = [](TrelProperty*, unsigned int) { return false; };
  LogCapture log(8);
  card.engine.receive("4F544E31 01 01 0007 | 10800005 01 0000"_hex);
  EXPECT_EQ(linesOf(log, "handleRequest"),
            (Lines{HANDLE + "prop adding: type 1, oid 10800005",
                   HANDLE + "update() call failed\n for " + temperatureText("42") + ", row 0",
                   HANDLE + "request handled: success"}));
}

TEST(RequestLog, TheUpdateLineShowsTheRow) {
  Card card;
  LogCapture log(8);
  card.engine.receive("4F544E31 01 01 0007 | 40C04003 01 0000"_hex);
  EXPECT_EQ(linesOf(log, "handleRequest").at(0), HANDLE + "prop adding: type 2, oid 40c04003");
  EXPECT_EQ(linesOf(log, "handleRequest").at(1), HANDLE + "update() call succeeded for   1 | " + padded(40, "current") +
                                                     " : " + padded(20, "258") + "  (def = 258)\n, row 3");
}

TEST(RequestLog, AnObjectThatDoesNotOverrideUpdateLeavesNoUpdateLine) {
  PlainCard card;
  LogCapture log;
  card.engine.receive("4F544E31 01 01 0007 | 10800005 01 0000"_hex);
  EXPECT_EQ(linesOf(log, "handleRequest"),
            (Lines{HANDLE + "prop adding: type 1, oid 10800005", HANDLE3 + "TREL Read message: length 15, 1 tlvs",
                   HANDLE + "request handled: success"}));
  EXPECT_EQ(card.engine.sent(), Datagrams{"4F544E31 01 03 0007 00 0000 | 10800005 01 0004 0000002A"});
}

TEST(RequestLog, TheOidOfAPropertyIsThatOfThePropertyNotOfTheTlv) {
  Card card;
  LogCapture log(8);
  card.engine.receive("4F544E31 01 01 0007 | 30800005 01 0000"_hex);  // bit 29 is ignored
  EXPECT_EQ(linesOf(log, "handleRequest").at(0), HANDLE + "prop adding: type 1, oid 10800005");
}

TEST(RequestLog, AnUnknownOidIsPrintedAsASignedNumber) {
  OldStyleCard card;
  LogCapture log(8);
  card.engine.receive("4F544E31 01 01 0007 | 02000001 01 0000 | 41004007 01 0000"_hex);
  EXPECT_EQ(linesOf(log, "handleRequest"),
            (Lines{HANDLE + "33554433 not found in trelObjects, adding old style, making property for it\n",
                   HANDLE + "1090535431 not found in trelObjects, adding old style, making property for it\n",
                   HANDLE + "request handled: success"}));
  log.clear();
  card.engine.receive("4F544E31 01 01 0008 | FFFFFFFE 01 0000"_hex);
  EXPECT_EQ(linesOf(log, "handleRequest").at(0),
            HANDLE + "-2 not found in trelObjects, adding old style, making property for it\n");
}

TEST(RequestLog, ARefusedRequestIsToldByTheCheckAlone) {
  Card card;
  LogCapture log;
  card.engine.receive("4F544E31 01 02 0007 | 10800006 03 0001 08 | 10800008 01 0004 00000001"_hex);
  EXPECT_EQ(linesOf(log, "handleRequest").size(), 4U);  // two adding lines, two update lines
  EXPECT_EQ(log.brief(3), Lines{"3 [ERROR] trelmsg (checkTlvs) - RESULT READ ONLY in OID 0x10800008"});
  EXPECT_EQ(log.count("TREL Write message"), 0U);
  EXPECT_EQ(log.count("request handled"), 0U);
}

TEST(RequestLog, ARefusedUnknownOidIsToldByTheCheck) {
  Card card;
  LogCapture log;
  card.engine.receive("4F544E31 01 01 0007 | 02000001 01 0000"_hex);
  EXPECT_EQ(log.brief(3), Lines{"3 [ERROR] trelmsg (checkTlvs) - RESULT GENERAL ERROR in OID 0x2000001"});
  EXPECT_EQ(linesOf(log, "handleRequest"),
            Lines{HANDLE + "33554433 not found in trelObjects, adding old style, making property for it\n"});
}

TEST(RequestLog, TheLastLineTellsWhetherSendMsgSucceeded) {
  for (const int value : {0, 1, 2, -1}) {
    SCOPED_TRACE(value);
    Card card;
    card.engine.result = value;
    LogCapture log(8);
    card.engine.receive("4F544E31 01 01 0007"_hex);
    EXPECT_EQ(linesOf(log, "handleRequest"),
              Lines{HANDLE + (value != 0 ? "request handled: success" : "request handled: failed")});
  }
}

TEST(RequestLog, AnAnswerWithCannotExecIsARequestHandled) {
  OldStyleCard card;
  card.engine.onHandle = [](OldStyleProperty*, bool) { return false; };
  LogCapture log;
  card.engine.receive("4F544E31 01 01 0007 | 02000001 01 0000"_hex);
  EXPECT_EQ(linesOf(log, "handleRequest"),
            (Lines{HANDLE + "33554433 not found in trelObjects, adding old style, making property for it\n",
                   HANDLE3 + "TREL Read message: length 15, 1 tlvs", HANDLE + "request handled: success"}));
}

TEST(RequestLog, TheMessageLineCountsKnownAndUnknownTlvs) {
  OldStyleCard card;
  LogCapture log;
  card.engine.receive("4F544E31 01 01 0007 | 02000001 01 0000 | 10800005 01 0000 | 10800006 01 0000"_hex);
  EXPECT_EQ(log.count("TREL Read message: length 29, 3 tlvs"), 1U);
  card.engine.receive("4F544E31 01 02 0008"_hex);
  EXPECT_EQ(log.count("TREL Write message: length 8, 0 tlvs"), 1U);
}

TEST(RequestLog, EachLineAppearsAboveItsThreshold) {
  struct Case {
    int level;
    std::size_t lines;
  };
  // known: adding, update; unknown: one; message; handled
  const Case cases[] = {{2, 0}, {7, 0}, {8, 4}, {9, 5}};
  for (const Case& c : cases) {
    SCOPED_TRACE(c.level);
    OldStyleCard card;
    LogCapture log(c.level);
    card.engine.receive("4F544E31 01 01 0007 | 10800005 01 0000 | 02000001 01 0000"_hex);
    EXPECT_EQ(linesOf(log, "handleRequest").size(), c.lines);
  }
}

TEST(RequestLog, ALevelThatAPropertyChangesCountsFromTheNextLineOn) {
  PlainCard card;
  LogCapture log(8);
  card.scalar.addProp(new OpeningNumber(6, log), 0);
  card.engine.receive("4F544E31 01 01 0007 | 10800006 01 0000"_hex);
  EXPECT_EQ(linesOf(log, "handleRequest"),
            (Lines{HANDLE + "prop adding: type 1, oid 10800006", HANDLE3 + "TREL Read message: length 15, 1 tlvs",
                   HANDLE + "request handled: success"}));
}

TEST(RequestLog, ALevelThatATextChangesCountsFromTheNextLineOn) {
  struct Opening : Number {
    explicit Opening(LogCapture& openedLog) : Number(20, "opening", IFC_CARD_VAR_READ_WRITE, 1U), log(openedLog) {}
    std::string str() const override {
      log.setLevel(9);
      return "text";
    }
    LogCapture& log;
  };
  Card card;
  LogCapture log(8);
  card.scalar.addProp(new Opening(log), 0);
  card.engine.receive("4F544E31 01 01 0007 | 10800014 01 0000 | 10800006 03 0000"_hex);
  EXPECT_EQ(log.count("Property 6 for row 0 found"), 1U);
}

TEST(RequestLog, NoTextIsBuiltForALineThatIsNotWritten) {
  Card card;
  auto* const property = new CountingText(20, "counting", IFC_CARD_VAR_READ_WRITE, 1U);
  card.scalar.addProp(property, 0);
  const std::string read = "4F544E31 01 01 0007 | 10800014 01 0000"_hex;
  LogCapture log(7);
  card.engine.receive(read);
  EXPECT_EQ(property->built, 0);
  log.setLevel(8);
  card.engine.receive(read);
  EXPECT_EQ(property->built, 1);
}

TEST(RequestLog, LinesOfTheEngineNameItsSourceFileAlsoWhenAHelperWritesThem) {
  OldStyleCard card;
  LogCapture log;
  card.engine.receive("4F544E31 01 01 0007 | 10800005 01 0000 | 02000001 01 0000"_hex);
  for (const LogLine& line : log.lines()) {
    if (line.function != "handleRequest") continue;
    EXPECT_EQ(line.file, "components/trel/trelProtocolBase.cpp");
    EXPECT_GT(line.line, 0);
  }
}
