// Requests that the end of the datagram cuts: every length of every kind, each in a heap block that ends there.

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "requestCard.h"
#include "support/exactBlock.h"

namespace {

using Strings = std::vector<std::string>;

// What is answered to the lengths up to and including `upTo`, from where the row before ends.
struct Expected {
  std::size_t upTo;
  const char* answer;
};

// Everything that a refused request must leave as it was.
template <typename AnyCard>
std::string valuesOf(AnyCard& card) {
  return std::to_string(card.temperature->value) + " " + std::to_string(card.fan->value) + " " + textOf(*card.label) +
         " " + std::to_string(card.serial->value);
}

// Asks every length from 8 on and compares with the table. Each length meets a card of its own.
template <typename AnyCard>
void expectAnswers(const std::string& datagram, const std::vector<Expected>& table) {
  ASSERT_EQ(table.back().upTo, datagram.size());
  std::size_t row = 0;
  for (std::size_t length = 8; length <= datagram.size(); ++length) {
    SCOPED_TRACE("length " + std::to_string(length));
    if (length > table[row].upTo) ++row;
    const std::string expected = table[row].answer;
    AnyCard card;
    LogCapture log(3);
    EXPECT_EQ(ask(card.engine, datagram.substr(0, length)), expected);
    if (expected.substr(3, 2) == "00") {
      EXPECT_EQ(log.brief(), Strings{});
    } else {
      EXPECT_EQ(log.brief(3).size(), 1U);
      EXPECT_EQ(valuesOf(card), "42 7 ab 4711");
    }
  }
}

}  // namespace

TEST(RequestTruncation, LengthsBelowTheHeaderAreNotAnswered) {
  const std::string whole = "4F544E31 01 02 0007 | 10800005 01 0004 00000063"_hex;
  for (std::size_t length = 0; length < 8; ++length) {
    SCOPED_TRACE(length);
    Card card;
    EXPECT_EQ(card.engine.receive(whole.substr(0, length)), 0);
    EXPECT_EQ(card.engine.sent(), Datagrams{});
    EXPECT_EQ(valuesOf(card), "42 7 ab 4711");
  }
}

TEST(RequestTruncation, ARequestHandedPastTheDoorWithLessThanAHeaderIsRefusedUnread) {
  const std::string whole = "4F544E31 01 02 0007"_hex;
  for (std::size_t length = 0; length < 8; ++length) {
    SCOPED_TRACE(length);
    Card card;
    LogCapture log(3);
    const ExactBlock block(whole.substr(0, length));
    TRELResponse response("nobody");
    response.action = 4;
    response.msgId = 7;
    EXPECT_EQ(card.engine.handleRequest(block.length(), block.data(), response), 1);
    EXPECT_EQ(card.engine.sent(), Datagrams{"4F544E31 01 04 0007 08 0000"});
    EXPECT_EQ(log.brief(3).size(), 1U);
  }
}

TEST(RequestTruncation, ARequestHandedPastTheDoorWithItsHeaderAloneIsAnswered) {
  Card card;
  LogCapture log(3);
  TRELResponse response("nobody");
  response.action = 3;
  response.msgId = 7;
  EXPECT_EQ(card.engine.handleRequest(8, "4F544E31 01 01 0007"_hex.data(), response), 1);
  EXPECT_EQ(card.engine.sent(), Datagrams{"4F544E31 01 03 0007 11 0000"});  // a sender that cannot be followed
  EXPECT_EQ(log.brief(3), std::vector<std::string>{});
}

TEST(RequestTruncation, AReadOfKnownOidsIsRefusedWhereAHeadIsCutAndAnsweredWhereAValueIs) {
  expectAnswers<Card>("4F544E31 01 01 0000 | 10800005 01 0004 00000063 | 10800006 03 0001 08"_hex,
                      {{8, "03 00 0000"},
                       {14, "03 08 0000"},
                       {19, "03 00 0000 | 10800005 01 0004 0000002A"},
                       {25, "03 08 0001"},
                       {27, "03 00 0000 | 10800005 01 0004 0000002A | 10800006 03 0001 07"}});
}

TEST(RequestTruncation, AWriteOfKnownOidsIsRefusedWhereAHeadOrAValueIsCut) {
  expectAnswers<Card>(
      "4F544E31 01 02 0000 | 10800005 01 0004 00000063 | 10800006 03 0001 08"_hex,
      {{8, "04 00 0000"}, {18, "04 08 0000"}, {19, "04 00 0000"}, {26, "04 08 0001"}, {27, "04 00 0000"}});
}

TEST(RequestTruncation, AWriteOfATextIsRefusedWhereItsValueIsCut) {
  expectAnswers<Card>("4F544E31 01 02 0000 | 10800007 09 0005 68656C6C6F"_hex,
                      {{8, "04 00 0000"}, {19, "04 08 0000"}, {20, "04 00 0000"}});
}

TEST(RequestTruncation, AnUnknownOidIsRefusedWithWrongLenWhereItIsCutAndIsAskedForWhereItIsWhole) {
  for (const std::string& action : {std::string("01"), std::string("02")}) {
    std::string datagram = "4F544E31 01 00 0000 | 02000001 01 0004 00000063"_hex;
    datagram[5] = action == "01" ? 1 : 2;
    SCOPED_TRACE(action);
    if (action == "01") {
      expectAnswers<Card>(datagram, {{8, "03 00 0000"}, {18, "03 08 0000"}, {19, "03 05 0000"}});
      expectAnswers<OldStyleCard>(
          datagram, {{8, "03 00 0000"}, {18, "03 08 0000"}, {19, "03 00 0000 | 02000001 01 0004 00000063"}});
    } else {
      expectAnswers<Card>(datagram, {{8, "04 00 0000"}, {18, "04 08 0000"}, {19, "04 05 0000"}});
      expectAnswers<OldStyleCard>(datagram, {{8, "04 00 0000"}, {18, "04 08 0000"}, {19, "04 00 0000"}});
    }
  }
}

TEST(RequestTruncation, AKnownOidBeforeACutUnknownOneIsNotAnsweredAndNotWritten) {
  expectAnswers<OldStyleCard>("4F544E31 01 01 0000 | 10800006 03 0001 08 | 02000001 01 0004 00000063"_hex,
                              {{8, "03 00 0000"},
                               {14, "03 08 0000"},
                               {16, "03 00 0000 | 10800006 03 0001 07"},
                               {26, "03 08 0001"},
                               {27, "03 00 0000 | 10800006 03 0001 07 | 02000001 01 0004 00000063"}});
  expectAnswers<OldStyleCard>(
      "4F544E31 01 02 0000 | 10800006 03 0001 08 | 02000001 01 0004 00000063"_hex,
      {{8, "04 00 0000"}, {15, "04 08 0000"}, {16, "04 00 0000"}, {26, "04 08 0001"}, {27, "04 00 0000"}});
}

TEST(RequestTruncation, AnUnknownOidBeforeTheCutIsCheckedFirst) {
  // Refused by itself, it is told first; accepted, the cut is told, and it is not served.
  const std::string read = "4F544E31 01 01 0000 | 02000001 03 0001 00 | 10800005 01 0004 00000063"_hex;
  expectAnswers<Card>(read, {{8, "03 00 0000"}, {15, "03 08 0000"}, {27, "03 05 0000"}});
  expectAnswers<OldStyleCard>(read, {{8, "03 00 0000"},
                                     {15, "03 08 0000"},
                                     {16, "03 00 0000 | 02000001 03 0001 00"},
                                     {22, "03 08 0001"},
                                     {27, "03 00 0000 | 02000001 03 0001 00 | 10800005 01 0004 0000002A"}});
  const std::string write = "4F544E31 01 02 0000 | 02000001 03 0001 00 | 10800005 01 0004 00000063"_hex;
  expectAnswers<Card>(write, {{8, "04 00 0000"}, {15, "04 08 0000"}, {27, "04 05 0000"}});
  expectAnswers<OldStyleCard>(
      write, {{8, "04 00 0000"}, {15, "04 08 0000"}, {16, "04 00 0000"}, {26, "04 08 0001"}, {27, "04 00 0000"}});
}

TEST(RequestTruncation, EmptyValuesAreNeverCut) {
  expectAnswers<OldStyleCard>("4F544E31 01 01 0000 | 02000001 0C 0000 | 10800006 03 0000"_hex,
                              {{8, "03 00 0000"},
                               {14, "03 08 0000"},
                               {15, "03 00 0000 | 02000001 0C 0000"},
                               {21, "03 08 0001"},
                               {22, "03 00 0000 | 02000001 0C 0000 | 10800006 03 0001 07"}});
}

TEST(RequestTruncation, LengthsUpTo65535DoNotReachBeyondTheDatagram) {
  for (const std::string& length :
       {"0001"_hex, "0100"_hex, "7FFF"_hex, "8000"_hex, "FFF8"_hex, "FFF9"_hex, "FFFF"_hex}) {
    SCOPED_TRACE(asText(length));
    OldStyleCard card;
    EXPECT_EQ(ask(card.engine, "4F544E31 01 01 0000 | 10800005 01"_hex + length),
              "03 00 0000 | 10800005 01 0004 0000002A");
    EXPECT_EQ(ask(card.engine, "4F544E31 01 02 0000 | 10800005 01"_hex + length), "04 08 0000");
    EXPECT_EQ(ask(card.engine, "4F544E31 01 02 0000 | 10800007 09"_hex + length), "04 08 0000");
    EXPECT_EQ(ask(card.engine, "4F544E31 01 01 0000 | 02000001 01"_hex + length), "03 08 0000");
    EXPECT_EQ(ask(card.engine, "4F544E31 01 02 0000 | 02000001 01"_hex + length), "04 08 0000");
    EXPECT_EQ(valuesOf(card), "42 7 ab 4711");
  }
}

TEST(RequestTruncation, AReadTlvThatClaimsTheRestOfTheDatagramSwallowsIt) {
  Card card;
  EXPECT_EQ(ask(card.engine, "4F544E31 01 01 0000 | 10800005 01 0100 | 10800006 03 0000 | 02000001 01 0000"_hex),
            "03 00 0000 | 10800005 01 0004 0000002A");
}

TEST(RequestTruncation, ACutWritePassesTheChecksOfOidTypeLengthAndAccessFirst) {
  struct Case {
    const char* rule;
    std::string tlv;  // the value is missing or short
    const char* answer;
    std::size_t errorLines;  // those of the checks that fail, and one
  };
  const Case cases[] = {{"7: not the OID that the object composes", "30800005 02 0004 00"_hex, "04 07 0001", 2},
                        {"7 before 6 and 8", "30800005 02 0009"_hex, "04 07 0001", 2},
                        {"6: not the property's type", "10800005 05 0004 000000"_hex, "04 06 0001", 2},
                        {"6 before 8", "10800005 05 0009 000000"_hex, "04 06 0001", 2},
                        {"6 before 10", "10800008 05 0004 00"_hex, "04 06 0001", 2},
                        {"8: not the property's length", "10800005 01 0009 00000063"_hex, "04 08 0001", 3},
                        {"8 of the length before 10", "10800008 01 0009 00000063"_hex, "04 08 0001", 3},
                        {"10: read-only", "10800008 01 0004 000000"_hex, "04 0A 0001", 1},
                        {"10 also without any value", "10800008 01 0004"_hex, "04 0A 0001", 1},
                        {"8 where the value would be read", "10800005 01 0004 000000"_hex, "04 08 0001", 1},
                        {"8 without any value", "10800005 01 0004"_hex, "04 08 0001", 1},
                        {"8 for a text, whose length is not checked", "10800007 09 FFFF 6162"_hex, "04 08 0001", 1}};
  for (const Case& c : cases) {
    SCOPED_TRACE(c.rule);
    Card card;
    LogCapture log(3);
    EXPECT_EQ(ask(card.engine, "4F544E31 01 02 0000 | 10800006 03 0001 08"_hex + c.tlv), c.answer);
    EXPECT_EQ(log.brief(3).size(), c.errorLines);
    EXPECT_EQ(log.brief().size(), c.errorLines);
    EXPECT_EQ(valuesOf(card), "42 7 ab 4711");
  }
}

TEST(RequestTruncation, AReadOnlyTextIsRefusedForItsAccessAlsoWhenItIsCut) {
  TrelScalar scalar("texts", 2, false);
  scalar.addProp(new StringProperty(1, "fixed", IFC_CARD_VAR_READ_ONLY, "ab"), 0);
  RecordingEngine engine;
  engine.registerObject(&scalar);
  EXPECT_EQ(ask(engine, "4F544E31 01 02 0000 | 01000001 09 0003 7879"_hex), "04 0A 0000");
}

TEST(RequestTruncation, ACutValueIsNotShownToTheCheck) {
  struct Check : Number::TypeValueCheck {
    explicit Check(bool& wasAsked) : asked(wasAsked) {}
    bool checkValue(unsigned int) override {
      asked = true;
      return false;
    }
    bool& asked;
  };
  bool asked = false;
  Card card;
  card.scalar.addProp(new Number(9, "limited", IFC_CARD_VAR_READ_WRITE, 5U, new Check(asked)), 0);
  EXPECT_EQ(ask(card.engine, "4F544E31 01 02 0000 | 10800009 01 0004 000000"_hex), "04 08 0000");
  EXPECT_FALSE(asked);
  EXPECT_EQ(ask(card.engine, "4F544E31 01 02 0000 | 10800009 01 0004 00000000"_hex), "04 09 0000");
  EXPECT_TRUE(asked);
}

TEST(RequestTruncation, AnEarlierTlvThatFailsItsOwnCheckIsReportedFirst) {
  struct Case {
    const char* rule;
    std::string request;
    const char* answer;
  };
  const Case cases[] = {
      {"before a cut head", "4F544E31 01 02 0000 | 10800006 03 0001 08 | 10800005 05 0004 00000000 | 1080"_hex,
       "04 06 0001"},
      {"before a cut value", "4F544E31 01 02 0000 | 10800008 01 0004 00000063 | 10800005 01 0004 0000"_hex,
       "04 0A 0000"},
      {"before a cut value of a wrong type",
       "4F544E31 01 02 0000 | 10800008 01 0004 00000063 | 10800005 05 0004 0000"_hex, "04 0A 0000"},
      {"before a cut unknown OID", "4F544E31 01 02 0000 | 10800006 03 0002 0808 | 02000001 01 0004 00"_hex,
       "04 08 0000"},
      {"in a read, before a cut head", "4F544E31 01 01 0000 | 02000001 01 0000 | 10"_hex, "03 05 0000"}};
  for (const Case& c : cases) {
    SCOPED_TRACE(c.rule);
    Card card;
    EXPECT_EQ(ask(card.engine, c.request), c.answer);
    EXPECT_EQ(valuesOf(card), "42 7 ab 4711");
  }
}

TEST(RequestTruncation, UpdateHasRunForEveryKnownOidBeforeTheCut) {
  struct Case {
    const char* rule;
    std::string request;
    Strings updates;
  };
  const Case cases[] = {
      {"read, cut head",
       "4F544E31 01 01 0000 | 10800005 01 0000 | 10800006 03 0000 | 108000"_hex,
       {"temperature", "fan"}},
      {"write, cut head", "4F544E31 01 02 0000 | 10800005 01 0004 00000063 | 108000"_hex, {"temperature"}},
      {"read, cut unknown", "4F544E31 01 01 0000 | 10800005 01 0000 | 02000001 01 0004"_hex, {"temperature"}},
      {"write whose value is cut: its OID is known",
       "4F544E31 01 02 0000 | 10800005 01 0004 00000063 | 10800006 03 0001"_hex,
       {"temperature", "fan"}},
      {"read whose value is cut", "4F544E31 01 01 0000 | 10800005 01 0004 | "_hex, {"temperature"}}};
  for (const Case& c : cases) {
    SCOPED_TRACE(c.rule);
    Strings updates;
    Card card;
    card.scalar.onUpdate = [&](TrelProperty* property, unsigned int) {
      updates.push_back(property->name);
      return true;
    };
    ask(card.engine, c.request);
    EXPECT_EQ(updates, c.updates);
  }
}

TEST(RequestTruncation, NoHookIsAskedToServeOrToldOfARefusedRequest) {
  OldStyleCard card;
  Strings calls;
  card.engine.onCheck = [&](OldStyleProperty*, bool) {
    calls.push_back("check");
    return RESULT_OK;
  };
  card.engine.onHandle = [&](OldStyleProperty*, bool) {
    calls.push_back("handle");
    return true;
  };
  card.scalar.onUpdated = [&](TrelProperty*, unsigned int) {
    calls.push_back("updated");
    return true;
  };
  EXPECT_EQ(
      ask(card.engine, "4F544E31 01 02 0000 | 10800005 01 0004 00000063 | 02000001 03 0001 00 | 02000002 03 0001"_hex),
      "04 08 0002");
  EXPECT_EQ(calls, Strings{"check"});  // of the one that is whole
}

TEST(RequestTruncation, ARefusalReplacesTheMarkOfTheSequenceAndReturnsWhatSendMsgReturned) {
  for (const int value : {0, 1, 77}) {
    Card card;
    card.engine.result = value;
    EXPECT_EQ(card.engine.receive("4F544E31 01 01 0007 | 1080"_hex, "abc"), value);
    EXPECT_EQ(card.engine.receive("4F544E31 01 02 0007 | 10800005 01 0004"_hex, "abc"), value);
    EXPECT_EQ(card.engine.sent(), (Datagrams{"4F544E31 01 03 0007 08 0000", "4F544E31 01 04 0007 08 0000"}));
  }
}

TEST(RequestTruncation, TheExitIsThatOfEveryRefusedRequest) {
  Card card;
  LogCapture log;
  ask(card.engine, "4F544E31 01 02 0000 | 10800005 01 0004 00000063 | 1080"_hex);
  EXPECT_EQ(log.count("request handled"), 0U);
  EXPECT_EQ(log.count("TREL Write message"), 0U);
}

TEST(RequestTruncation, TheErrorLineNeedsALevelAboveTwo) {
  Card card;
  LogCapture log(2);
  ask(card.engine, "4F544E31 01 01 0000 | 1080"_hex);
  ask(card.engine, "4F544E31 01 02 0000 | 10800005 01 0004 00"_hex);
  EXPECT_EQ(log.brief(), Strings{});
  log.setLevel(3);
  ask(card.engine, "4F544E31 01 01 0000 | 1080"_hex);
  ask(card.engine, "4F544E31 01 02 0000 | 10800005 01 0004 00"_hex);
  ASSERT_EQ(log.lines().size(), 2U);
  for (const LogLine& line : log.lines()) {
    EXPECT_EQ(line.priority, 3);
    EXPECT_EQ(line.tag, "[ERROR]");
  }
}

TEST(RequestTruncation, TheEngineAnswersTheNextDatagramAfterACutOne) {
  OldStyleCard card;
  EXPECT_EQ(ask(card.engine, "4F544E31 01 02 0000 | 10800005 01 0004 00000063 | 02000001 01 0000 | 10"_hex),
            "04 08 0002");
  EXPECT_EQ(ask(card.engine, "4F544E31 01 01 0000 | 10800006 03 0000"_hex), "03 00 0000 | 10800006 03 0001 07");
  EXPECT_EQ(ask(card.engine, "4F544E31 01 02 0000 | 10800005 01 0004 00000063"_hex), "04 00 0000");
  EXPECT_EQ(card.temperature->value, 99U);
}
