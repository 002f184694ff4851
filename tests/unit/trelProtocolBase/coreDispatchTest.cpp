// The entry point for received datagrams: what is refused at the door, what is answered there, and who gets the rest.

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "support/bytes.h"
#include "support/logCapture.h"
#include "support/logSelection.h"
#include "support/recordingEngine.h"

namespace {

using Number = TypeProperty<unsigned int>;

const std::string TOO_SMALL =
    "3 [ERROR] trelProtocolBase (handleTrelMsg) - received message is to small for even a message header!";

class Receiver : public RecordingEngine {
 public:
  using RecordingEngine::RecordingEngine;
  bool amiMessageHandler(std::vector<TrelProperty*> properties) override {
    received.push_back(properties.size());
    return true;
  }
  std::vector<std::size_t> received;
};

}  // namespace

TEST(CoreDispatch, ADatagramShorterThanTheHeaderIsRefusedWithTheErrorLine) {
  const std::string whole = "4F544E31 01 01 0007"_hex;
  for (std::size_t length = 0; length < 8; ++length) {
    SCOPED_TRACE(length);
    RecordingEngine engine(true);
    LogCapture log;
    EXPECT_EQ(engine.receive(whole.substr(0, length)), 0);
    EXPECT_EQ(engine.sent(), Datagrams{});
    EXPECT_EQ(log.brief(), (Lines{"7 [DEBUG2] trelProtocolBase (handleTrelMsg) - handling trel msg of length " +
                                      std::to_string(length),
                                  TOO_SMALL}));
  }
}

TEST(CoreDispatch, ANegativeLengthIsShorterThanTheHeader) {
  RecordingEngine engine;
  LogCapture log;
  EXPECT_EQ(engine.handleTrelMsg(-1, nullptr, "10.0.0.1"), 0);
  EXPECT_EQ(log.brief(),
            (Lines{"7 [DEBUG2] trelProtocolBase (handleTrelMsg) - handling trel msg of length -1", TOO_SMALL}));
  EXPECT_EQ(engine.handleTrelMsg(0, nullptr, nullptr), 0);
  EXPECT_EQ(engine.sent(), Datagrams{});
}

TEST(CoreDispatch, EightBytesWithAGoodHeaderAreDispatched) {
  RecordingEngine engine;
  LogCapture log(3);
  EXPECT_EQ(engine.receive("4F544E31 01 01 0007"_hex), 1);
  EXPECT_EQ(engine.receive("4F544E31 01 02 0008"_hex), 1);
  EXPECT_EQ(engine.sent(), (Datagrams{"4F544E31 01 03 0007 00 0000", "4F544E31 01 04 0008 00 0000"}));
  EXPECT_EQ(log.brief(), Lines{});
}

TEST(CoreDispatch, ActionsOneAndTwoGoToRequestHandling) {
  TrelScalar scalar("card", 1, true);
  scalar.addProp(new Number(5, "temperature", IFC_CARD_VAR_READ_WRITE, 42U), 0);
  RecordingEngine engine;
  engine.registerObject(&scalar);
  engine.receive("4F544E31 01 02 0007 | 10800005 01 0004 0000002B"_hex);
  engine.receive("4F544E31 01 01 0008 | 10800005 01 0000"_hex);
  EXPECT_EQ(engine.sent(),
            (Datagrams{"4F544E31 01 04 0007 00 0000", "4F544E31 01 03 0008 00 0000 | 10800005 01 0004 0000002B"}));
}

TEST(CoreDispatch, ActionsThreeAndFourGoToResponseHandlingAndAreNotAnswered) {
  TrelScalar scalar("card", 1, true);
  auto* const property = new Number(5, "temperature", IFC_CARD_VAR_READ_WRITE, 42U);
  scalar.addProp(property, 0);
  RecordingEngine engine;
  engine.registerObject(&scalar);
  EXPECT_EQ(engine.receive("4F544E31 01 03 0007 00 0000 | 10800005 01 0004 0000002B"_hex), 1);
  EXPECT_EQ(property->value, 43U);
  EXPECT_EQ(engine.receive("4F544E31 01 03 0007 05 0000"_hex), 0);
  EXPECT_EQ(engine.receive("4F544E31 01 04 0007 00 0000"_hex), 1);
  EXPECT_EQ(engine.receive("4F544E31 01 04 0007 0C 0001"_hex), 0);
  EXPECT_EQ(engine.sent(), Datagrams{});
}

TEST(CoreDispatch, ActionFiveGoesToAutonomousMessageHandlingAndIsNotAnswered) {
  TrelScalar scalar("card", 1, true);
  auto* const property = new Number(5, "temperature", IFC_CARD_VAR_READ_WRITE, 42U);
  scalar.addProp(property, 0);
  Receiver engine;
  engine.registerObject(&scalar);
  EXPECT_EQ(engine.receive("4F544E31 01 05 0007 00000001 00000002 | 10800005 01 0004 0000002B"_hex), 1);
  EXPECT_EQ(property->value, 43U);
  EXPECT_EQ(engine.receive("4F544E31 01 05 0007 00000001 00000002"_hex), 1);
  EXPECT_EQ(engine.receive("4F544E31 01 05 0007 00000001 00000002 | 02000001 01 0000"_hex), 0);
  EXPECT_EQ(engine.received, (std::vector<std::size_t>{1, 0, 0}));
  EXPECT_EQ(engine.sent(), Datagrams{});
}

TEST(CoreDispatch, TheResultOfRequestHandlingIsWhatSendMsgReturned) {
  for (const int value : {0, 1, 77, -5}) {
    SCOPED_TRACE(value);
    RecordingEngine engine;
    engine.result = value;
    EXPECT_EQ(engine.receive("4F544E31 01 01 0007"_hex), value);
    EXPECT_EQ(engine.sent().size(), 1U);
  }
}

TEST(CoreDispatch, AResponseShorterThanItsHeaderIsRefusedWithAnErrorLine) {
  const std::string whole = "4F544E31 01 03 0007 00 0000"_hex;
  for (std::size_t length = 8; length < whole.size(); ++length) {
    SCOPED_TRACE(length);
    RecordingEngine engine;
    LogCapture log(3);
    EXPECT_EQ(engine.receive(whole.substr(0, length)), 0);
    EXPECT_EQ(log.brief().size(), 1U);
    EXPECT_EQ(log.brief(3).size(), 1U);
    EXPECT_EQ(engine.sent(), Datagrams{});
  }
}

TEST(CoreDispatch, AnAutonomousMessageShorterThanItsHeaderIsRefusedWithAnErrorLine) {
  const std::string whole = "4F544E31 01 05 0007 00000001 00000002"_hex;
  for (std::size_t length = 8; length < whole.size(); ++length) {
    SCOPED_TRACE(length);
    Receiver engine;
    LogCapture log(3);
    EXPECT_EQ(engine.receive(whole.substr(0, length)), 0);
    EXPECT_EQ(log.brief().size(), 1U);
    EXPECT_EQ(log.brief(3).size(), 1U);
    EXPECT_EQ(engine.received, std::vector<std::size_t>{});
    EXPECT_EQ(engine.sent(), Datagrams{});
  }
}

TEST(CoreDispatch, AForeignMagicNumberIsReportedAsHandledAndNotAnswered) {
  for (const bool answers : {true, false}) {
    for (const char* const datagram : {"314E544F 01 01 0007", "314E544F 01 02 0007", "00000000 01 05 0007"}) {
      SCOPED_TRACE(datagram);
      RecordingEngine engine(answers);
      engine.result = 0;
      EXPECT_EQ(engine.receive(operator""_hex(datagram, std::string(datagram).size())), 1);
      EXPECT_EQ(engine.sent(), Datagrams{});
    }
  }
}

TEST(CoreDispatch, AForeignMagicNumberIsToldBeforeVersionAndAction) {
  RecordingEngine engine;
  LogCapture log;
  EXPECT_EQ(engine.receive("314E544F 09 09 0102"_hex), 1);
  EXPECT_EQ(log.brief(),
            (Lines{"7 [DEBUG2] trelProtocolBase (handleTrelMsg) - handling trel msg of length 8",
                   "4 [WARNING] trelmsg (checkMagicNbr) - Invalid magic nbr 0x314e544f (should be 0x4f544e31)",
                   "7 [DEBUG2] trelProtocolBase (handleTrelMsg) - TREL message: id 258, action 9, length 8",
                   "7 [DEBUG1] trelProtocolBase (handleTrelMsg) - magic number is incorrect!, returning true"}));
}

TEST(CoreDispatch, AVersionMismatchIsAnsweredWithResultOneAndTheActionOfTheAnswer) {
  struct Case {
    const char* rule;
    std::string datagram;
    const char* answer;
  };
  const Case cases[] = {
      {"a read by a read response", "4F544E31 02 01 0007"_hex, "4F544E31 01 03 0007 01 0000"},
      {"a write by a write response", "4F544E31 02 02 0007"_hex, "4F544E31 01 04 0007 01 0000"},
      {"a read response by a write response", "4F544E31 00 03 0007"_hex, "4F544E31 01 04 0007 01 0000"},
      {"a write response by a write response", "4F544E31 FF 04 0007"_hex, "4F544E31 01 04 0007 01 0000"},
      {"an autonomous message by a write response", "4F544E31 02 05 0007"_hex, "4F544E31 01 04 0007 01 0000"},
      {"and it is told before a wrong action", "4F544E31 02 09 0007"_hex, "4F544E31 01 04 0007 01 0000"},
      {"whatever follows the header", "4F544E31 02 01 FFFE | 10800005 01 0000"_hex, "4F544E31 01 03 FFFE 01 0000"}};
  for (const Case& c : cases) {
    SCOPED_TRACE(c.rule);
    RecordingEngine engine(true);
    EXPECT_EQ(engine.receive(c.datagram, "10.0.0.9"), 1);
    ASSERT_EQ(engine.sent(), Datagrams{c.answer});
    EXPECT_EQ(engine.messages[0].sender, "10.0.0.9");
    EXPECT_EQ(engine.messages[0].kind, static_cast<unsigned int>(TREL_KIND_RESPONSE));
  }
}

TEST(CoreDispatch, AnUnknownActionIsAnsweredByAWriteResponseWithResultFour) {
  for (const int action : {0, 6, 7, 128, 255}) {
    SCOPED_TRACE(action);
    std::string datagram = "4F544E31 01 00 0007"_hex;
    datagram[5] = static_cast<char>(action);
    RecordingEngine engine(true);
    EXPECT_EQ(engine.receive(datagram), 1);
    EXPECT_EQ(engine.sent(), Datagrams{"4F544E31 01 04 0007 04 0000"});
  }
}

TEST(CoreDispatch, AHeaderErrorAnswerReturnsWhatSendMsgReturned) {
  for (const int value : {0, 1, 77, -5}) {
    SCOPED_TRACE(value);
    RecordingEngine engine(true);
    engine.result = value;
    EXPECT_EQ(engine.receive("4F544E31 02 01 0007"_hex), value);
    EXPECT_EQ(engine.receive("4F544E31 01 06 0007"_hex), value);
  }
}

TEST(CoreDispatch, WithoutTheFlagHeaderErrorsAreDropped) {
  RecordingEngine engine(false);
  EXPECT_EQ(engine.receive("4F544E31 02 01 0007"_hex), 0);
  EXPECT_EQ(engine.receive("4F544E31 01 06 0007"_hex), 0);
  EXPECT_EQ(engine.sent(), Datagrams{});
}

TEST(CoreDispatch, HeaderErrorsDoNotTouchTheSequence) {
  RecordingEngine engine;
  engine.receive("4F544E31 02 01 0007"_hex);
  engine.receive("4F544E31 01 06 0007"_hex);
  engine.receive("314E544F 01 01 0007"_hex);
  engine.forget();
  engine.receive("4F544E31 01 01 0007"_hex);
  EXPECT_EQ(engine.sent(), Datagrams{"4F544E31 01 03 0007 00 0000"});
}

TEST(CoreDispatch, OnlyRequestsAreSequenceChecked) {
  Receiver engine;
  for (int i = 0; i < 2; ++i) {
    engine.receive("4F544E31 01 03 0007 00 0000"_hex);
    engine.receive("4F544E31 01 04 0007 00 0000"_hex);
    engine.receive("4F544E31 01 05 0007 00000000 00000000"_hex);
  }
  engine.receive("4F544E31 01 01 0007"_hex);
  EXPECT_EQ(engine.sent(), Datagrams{"4F544E31 01 03 0007 00 0000"});
}

TEST(CoreDispatch, TheAnswerCarriesTheAddressTextAsItCame) {
  RecordingEngine engine;
  engine.receive("4F544E31 01 01 0007"_hex, "192.168.100.200");
  engine.receive("4F544E31 01 01 0007"_hex, "no address");
  engine.receive("4F544E31 02 01 0007"_hex, "no address");
  ASSERT_EQ(engine.messages.size(), 3U);
  EXPECT_EQ(engine.messages[0].sender, "192.168.100.200");
  EXPECT_EQ(engine.messages[1].sender, "no address");
  EXPECT_EQ(engine.messages[2].sender, "no address");
}

TEST(CoreDispatch, ANullAddressIsTheEmptyText) {
  RecordingEngine engine;
  engine.receive("4F544E31 01 01 0007"_hex, nullptr);
  engine.receive("4F544E31 02 01 0007"_hex, nullptr);
  ASSERT_EQ(engine.messages.size(), 2U);
  EXPECT_EQ(engine.messages[0].sender, "");
  EXPECT_EQ(engine.messages[0].datagram, "4F544E31 01 03 0007 00 0000");
  EXPECT_EQ(engine.messages[1].sender, "");
}

TEST(CoreDispatch, LinesOfAVersionMismatch) {
  for (const bool answers : {true, false}) {
    RecordingEngine engine(answers);
    LogCapture log;
    engine.receive("4F544E31 02 01 FFFF | 10"_hex);
    EXPECT_EQ(log.brief(), (Lines{"7 [DEBUG2] trelProtocolBase (handleTrelMsg) - handling trel msg of length 9",
                                  "3 [ERROR] trelmsg (checkProtVersion) - Invalid protocol version 0x2 (should be 0x1)",
                                  "7 [DEBUG2] trelProtocolBase (handleTrelMsg) - TREL message: id 65535, action 1, "
                                  "length 9",
                                  "3 [ERROR] trelProtocolBase (handleTrelMsg) - protocol mismatch!"}));
  }
}

TEST(CoreDispatch, LinesOfAnUnknownAction) {
  for (const bool answers : {true, false}) {
    RecordingEngine engine(answers);
    LogCapture log;
    engine.receive("4F544E31 01 FF 0007"_hex);
    EXPECT_EQ(log.brief(),
              (Lines{"7 [DEBUG2] trelProtocolBase (handleTrelMsg) - handling trel msg of length 8",
                     "3 [ERROR] trelmsg (checkAction) - Invalid value 255 for action field",
                     "7 [DEBUG2] trelProtocolBase (handleTrelMsg) - TREL message: id 7, action 255, length 8",
                     "3 [ERROR] trelProtocolBase (handleTrelMsg) - invalid action received!"}));
  }
}

TEST(CoreDispatch, EachLineAppearsAboveItsThreshold) {
  struct Case {
    int level;
    Lines lines;
  };
  const std::string small = TOO_SMALL;
  const std::string magic = "7 [DEBUG1] trelProtocolBase (handleTrelMsg) - magic number is incorrect!, returning true";
  const std::string mismatch = "3 [ERROR] trelProtocolBase (handleTrelMsg) - protocol mismatch!";
  const std::string action = "3 [ERROR] trelProtocolBase (handleTrelMsg) - invalid action received!";
  const std::string handling = "7 [DEBUG2] trelProtocolBase (handleTrelMsg) - handling trel msg of length ";
  const std::string header = "7 [DEBUG2] trelProtocolBase (handleTrelMsg) - TREL message: id 7, action ";
  const Case cases[] = {{2, {}},
                        {3, {small, mismatch, action}},
                        {6, {small, mismatch, action}},
                        {7, {small, magic, mismatch, action}},
                        {8,
                         {handling + "1", small, handling + "8", header + "1, length 8", magic, handling + "8",
                          header + "1, length 8", mismatch, handling + "8", header + "0, length 8", action}}};
  for (const Case& c : cases) {
    SCOPED_TRACE(c.level);
    RecordingEngine engine;
    LogCapture log(c.level);
    engine.receive("4F"_hex);
    engine.receive("00000000 01 01 0007"_hex);
    engine.receive("4F544E31 00 01 0007"_hex);
    engine.receive("4F544E31 01 00 0007"_hex);
    EXPECT_EQ(linesOf(log, "handleTrelMsg"), c.lines);
  }
}
