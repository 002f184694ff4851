// Autonomous messages that are too large for one datagram, and the list that grows because it is never emptied.

#include <gtest/gtest.h>

#include <cerrno>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "plainSocket.h"
#include "socketFaults.h"
#include "station.h"
#include "support/logCapture.h"
#include "support/logSelection.h"

namespace {

// The header that the messages of these tests have, and three variables of 11, 9 and 8 bytes.
const std::string HEADER = "4F544E31 01 05 0102 00000064 000003E8";
const std::string TEMPERATURE = " | 10800001 01 0004 0000002A";
const std::string SERIAL_NUMBER = " | 10800002 02 0002 0007";
const std::string LIMIT = " | 10800003 03 0001 0A";

// The text variable of the common group 2, `length` times the letter x.
class TextScalar : public TrelScalar {
 public:
  TextScalar() : TrelScalar("texts", 2, true) { addProp(text, 0); }
  StringProperty* const text = new StringProperty(1, "description", IFC_CARD_VAR_READ_WRITE, "");
};

std::string textOf(unsigned int count, const std::string& lengthField) {
  std::string text = " | 11000001 09 " + lengthField + " ";
  for (unsigned int i = 0; i < count; ++i)
    text += "78";
  return text;
}

class UdpAmiSplit : public testing::Test {
 protected:
  UdpAmiSplit() : ami("") {
    EXPECT_TRUE(station.setEventReceiver("127.0.0.1", receiver.port()));
    station.registerObject(&texts);
    ami.action = 5;
    ami.msgId = 0x0102;
    ami.timeSec = 0x64;
    ami.timeUsec = 0x3E8;
  }

  void add(const std::vector<TrelProperty*>& properties) {
    for (TrelProperty* property : properties)
      ami.addProperty(property);
  }
  // Everything that has reached the receiver, in order.
  Lines received() {
    Lines all;
    for (std::string datagram = receiver.receive(); datagram != "nothing"; datagram = receiver.receive())
      all.push_back(datagram);
    return all;
  }
  std::string receiverText() const { return "127.0.0.1:" + std::to_string(receiver.port()); }

  PlainSocket receiver;
  Station station;
  TextScalar texts;
  TRELAmi ami;
  TrelProperty* const temperature = station.scalar.temperature;
  TrelProperty* const serialNumber = station.scalar.serialNumber;
  TrelProperty* const limit = station.scalar.limit;
};

}  // namespace

// ----- the limit -----

TEST_F(UdpAmiSplit, TheLimitIs1200BytesUntilItIsSet) {
  EXPECT_EQ(station.amiLimit(), 1200U);
  EXPECT_TRUE(station.setAmiLimit(31));
  EXPECT_EQ(station.amiLimit(), 31U);
  EXPECT_TRUE(station.setAmiLimit(65507));
  EXPECT_EQ(station.amiLimit(), 65507U);
}

TEST_F(UdpAmiSplit, ALimitThatNoNumberFitsOrThatNoDatagramReachesIsRefusedAndChangesNothing) {
  ASSERT_TRUE(station.setAmiLimit(500));
  for (const unsigned int silly : {0U, 16U, 30U, 65508U, 4294967295U}) {
    SCOPED_TRACE(silly);
    EXPECT_FALSE(station.setAmiLimit(silly));
    EXPECT_EQ(station.errorText(), "autonomous message limit " + std::to_string(silly) + ": not 31 to 65507 bytes");
    EXPECT_EQ(station.amiLimit(), 500U);
  }
}

// ----- the parts -----

TEST_F(UdpAmiSplit, EachPartHasTheHeaderOfTheWholeAndTheVariablesKeepTheirOrder) {
  ASSERT_TRUE(station.setAmiLimit(38));
  add({temperature, serialNumber, limit, temperature, serialNumber});
  EXPECT_NE(station.sendMsg(ami), 0);
  EXPECT_EQ(received(),
            (Lines{"4F544E31 01 05 0102 00000064 000003E8 | 10800001 01 0004 0000002A | 10800002 02 0002 0007",
                   "4F544E31 01 05 0102 00000064 000003E8 | 10800003 03 0001 0A | 10800001 01 0004 0000002A",
                   "4F544E31 01 05 0102 00000064 000003E8 | 10800002 02 0002 0007"}));
}

TEST_F(UdpAmiSplit, ExactlyTheLimitIsOneDatagramAndOneByteMoreIsTwo) {
  add({temperature, serialNumber, limit});  // 16 + 11 + 9 + 8 bytes
  ASSERT_TRUE(station.setAmiLimit(44));
  EXPECT_NE(station.sendMsg(ami), 0);
  EXPECT_EQ(received(), Lines{HEADER + TEMPERATURE + SERIAL_NUMBER + LIMIT});
  EXPECT_EQ(station.counters().amisSplit, 0U);
  ASSERT_TRUE(station.setAmiLimit(43));
  EXPECT_NE(station.sendMsg(ami), 0);
  EXPECT_EQ(received(), (Lines{HEADER + TEMPERATURE + SERIAL_NUMBER, HEADER + LIMIT}));
  EXPECT_EQ(station.counters().amisSplit, 1U);
}

TEST_F(UdpAmiSplit, APartIsFilledUpToTheLimitExactly) {
  add({temperature, serialNumber, temperature, serialNumber});
  ASSERT_TRUE(station.setAmiLimit(36));  // 16 + 11 + 9
  EXPECT_NE(station.sendMsg(ami), 0);
  EXPECT_EQ(received(), (Lines{HEADER + TEMPERATURE + SERIAL_NUMBER, HEADER + TEMPERATURE + SERIAL_NUMBER}));
  ASSERT_TRUE(station.setAmiLimit(35));
  EXPECT_NE(station.sendMsg(ami), 0);
  EXPECT_EQ(received(),
            (Lines{HEADER + TEMPERATURE, HEADER + SERIAL_NUMBER, HEADER + TEMPERATURE, HEADER + SERIAL_NUMBER}));
}

TEST_F(UdpAmiSplit, TheDefaultLimitIsKeptToTheByte) {
  add({temperature, texts.text});
  texts.text->set(std::string(1166, 'x'));  // 16 + 11 + 7 + 1166 = 1200
  EXPECT_NE(station.sendMsg(ami), 0);
  EXPECT_EQ(received(), Lines{HEADER + TEMPERATURE + textOf(1166, "048E")});
  texts.text->set(std::string(1167, 'x'));
  EXPECT_NE(station.sendMsg(ami), 0);
  EXPECT_EQ(received(), (Lines{HEADER + TEMPERATURE, HEADER + textOf(1167, "048F")}));
}

TEST_F(UdpAmiSplit, AVariableOverTheLimitHasADatagramOfItsOwnAtItsPlace) {
  texts.text->set(std::string(2000, 'x'));
  add({temperature, texts.text, serialNumber, limit});
  EXPECT_NE(station.sendMsg(ami), 0);
  EXPECT_EQ(received(), (Lines{HEADER + TEMPERATURE, HEADER + textOf(2000, "07D0"), HEADER + SERIAL_NUMBER + LIMIT}));
  EXPECT_EQ(station.counters().amiPartsSent, 3U);
  EXPECT_EQ(station.counters().amiVariablesDropped, 0U);
}

TEST_F(UdpAmiSplit, AMessageOfOneVariableIsNeverSplit) {
  texts.text->set(std::string(2000, 'x'));
  add({texts.text});
  const LogCapture log;
  EXPECT_NE(station.sendMsg(ami), 0);
  EXPECT_EQ(received(), Lines{HEADER + textOf(2000, "07D0")});
  EXPECT_EQ(station.counters().amisSent, 1U);
  EXPECT_EQ(station.counters().amisSplit, 0U);
  EXPECT_EQ(station.counters().amiPartsSent, 0U);
  EXPECT_TRUE(log.lines().empty());
}

TEST_F(UdpAmiSplit, AMessageWithoutVariablesGoesAsItIs) {
  EXPECT_NE(station.sendMsg(ami), 0);
  EXPECT_EQ(received(), Lines{HEADER});
}

TEST_F(UdpAmiSplit, RequestsAndResponsesAreNotSplit) {
  ASSERT_TRUE(station.setAmiLimit(31));
  PlainSocket asker;
  asker.send("4F544E31 01 01 0007 | 10800001 01 0004 00000000 | 10800002 02 0002 0000"_hex, station.port());
  EXPECT_EQ(station.handleDatagrams(), 1);
  EXPECT_EQ(asker.receive(), "4F544E31 01 03 0007 00 0000" + TEMPERATURE + SERIAL_NUMBER);
  ASSERT_TRUE(station.setPeer("127.0.0.1", receiver.port()));
  EXPECT_EQ(station.readPropertys({temperature, serialNumber}), 0);
  EXPECT_EQ(received(), Lines{"4F544E31 01 01 0001" + TEMPERATURE + SERIAL_NUMBER});
}

// ----- through the engine -----

TEST_F(UdpAmiSplit, AllPartsHaveTheMessagesOwnIdAndTimeAndNoFurtherIdIsTaken) {
  ASSERT_TRUE(station.setAmiLimit(31));
  for (int i = 0; i < 3; ++i)
    station.addToAmi(temperature, false);
  station.addToAmi(nullptr, true);
  const Lines parts = received();
  ASSERT_EQ(parts.size(), 3U);
  const std::string header = parts[0].substr(0, HEADER.size());
  EXPECT_EQ(header.substr(0, 19), "4F544E31 01 05 0001");
  EXPECT_NE(header.substr(20, 8), "00000000");
  EXPECT_EQ(parts, (Lines{header + TEMPERATURE, header + TEMPERATURE, header + TEMPERATURE}));

  station.addToAmi(temperature, false);
  station.addToAmi(nullptr, true);
  EXPECT_EQ(receiver.receive().substr(0, 19), "4F544E31 01 05 0002");
  ASSERT_TRUE(station.setPeer("127.0.0.1", receiver.port()));
  station.readTemperature();
  EXPECT_EQ(receiver.receive().substr(0, 19), "4F544E31 01 01 0003");
}

namespace {

// The common table 3: 40 rows of one number, 11 bytes each.
class Samples : public TrelTable {
 public:
  Samples() : TrelTable("samples", 3, true, 40) {
    for (unsigned int row = 0; row < 40; ++row) {
      values.push_back(new TypeProperty<unsigned int>(1, "sample", IFC_CARD_VAR_READ_WRITE, 0U, true));
      addProp(values.back(), row);
    }
  }
  std::vector<TypeProperty<unsigned int>*> values;
};

}  // namespace

TEST(UdpAmiSplitReceiving, AReceivingEngineGetsEveryValueAndHandlesEachPartAsAMessage) {
  Station card;
  Station manager;
  Samples onCard;
  Samples atManager;
  card.registerObject(&onCard);
  manager.registerObject(&atManager);
  ASSERT_TRUE(card.setEventReceiver("127.0.0.1", manager.port()));
  ASSERT_TRUE(card.setAmiLimit(100));  // seven samples
  EXPECT_EQ(card.eventHandler(), 0);
  for (unsigned int row = 0; row < 40; ++row)
    onCard.values[row]->set(1000U + row);
  EXPECT_EQ(card.eventHandler(), 40);
  EXPECT_EQ(card.counters().amiPartsSent, 6U);

  EXPECT_EQ(manager.handleDatagrams(), 6);
  EXPECT_EQ(manager.amis, 6U);
  for (unsigned int row = 0; row < 40; ++row)
    EXPECT_EQ(atManager.values[row]->value, 1000U + row) << row;
}

TEST(UdpAmiSplitReceiving, PartsFromAnAddressThatIsNotAllowedAreDropped) {
  Station card(false);
  Station manager(false);
  ASSERT_TRUE(card.open("127.0.0.2"));
  ASSERT_TRUE(manager.open("127.0.0.1"));
  ASSERT_TRUE(card.setEventReceiver("127.0.0.1", manager.port()));
  ASSERT_TRUE(card.setAmiLimit(31));
  card.scalar.temperature->value = 99;
  TRELAmi ami("");
  ami.action = 5;
  ami.addProperty(card.scalar.temperature);
  ami.addProperty(card.scalar.limit);
  EXPECT_NE(card.sendMsg(ami), 0);
  EXPECT_EQ(manager.handleDatagrams(), 2);
  EXPECT_EQ(manager.dropped(TREL_UDP_DROP_FOREIGN_SENDER), 2U);
  EXPECT_EQ(manager.amis, 0U);
  EXPECT_EQ(manager.temperature(), 42U);

  ASSERT_TRUE(manager.setAllowedPeers({{"127.0.0.2", TREL_UDP_ROLE_CARD}}));
  EXPECT_NE(card.sendMsg(ami), 0);
  EXPECT_EQ(manager.handleDatagrams(), 2);
  EXPECT_EQ(manager.amis, 2U);
  EXPECT_EQ(manager.temperature(), 99U);
}

// ----- what is not sent -----

TEST_F(UdpAmiSplit, TheLargestDatagramCarriesATextOf65484Bytes) {
  texts.text->set(std::string(65484, 'x'));  // 16 + 7 + 65484 = 65507
  add({temperature, texts.text});
  EXPECT_NE(station.sendMsg(ami), 0);
  EXPECT_EQ(received(), (Lines{HEADER + TEMPERATURE, HEADER + textOf(65484, "FFCC")}));
  EXPECT_EQ(station.counters().amisSent, 1U);
}

TEST_F(UdpAmiSplit, AVariableThatNoDatagramCarriesIsLeftOutAndTheOthersGoAllTheSame) {
  texts.text->set(std::string(65485, 'x'));
  add({temperature, texts.text, serialNumber});
  const LogCapture log(3);
  EXPECT_EQ(station.sendMsg(ami), 0);
  EXPECT_EQ(received(), (Lines{HEADER + TEMPERATURE, HEADER + SERIAL_NUMBER}));
  const std::string error =
      "autonomous message 258: 1 of 3 variables left out, the first 1, description, of 65492 bytes: no datagram "
      "carries it";
  EXPECT_EQ(station.errorText(), error);
  EXPECT_EQ(log.brief(), Lines{"3 [ERROR] trelUdp (reportInParts) - " + error});
  EXPECT_EQ(station.counters().amiVariablesDropped, 1U);
  EXPECT_EQ(station.counters().amisSplit, 1U);
  EXPECT_EQ(station.counters().amiPartsSent, 2U);
  EXPECT_EQ(station.counters().amisSent, 0U);
  EXPECT_EQ(station.counters().notSent, 1U);
}

TEST_F(UdpAmiSplit, NothingGoesWhenTheOnlyVariableIsOneThatNoDatagramCarries) {
  texts.text->set(std::string(65485, 'x'));
  add({texts.text});
  EXPECT_EQ(station.sendMsg(ami), 0);
  EXPECT_EQ(received(), Lines{});
  EXPECT_EQ(station.errorText(),
            "autonomous message 258: 1 of 1 variables left out, the first 0, description, of 65492 bytes: no datagram "
            "carries it");
  EXPECT_EQ(station.counters().amiVariablesDropped, 1U);
  EXPECT_EQ(station.counters().amisSplit, 0U);
  EXPECT_EQ(station.counters().notSent, 1U);
}

TEST_F(UdpAmiSplit, WhenAPartFailsTheOthersGoAllTheSameAndTheResultIsZero) {
  ASSERT_TRUE(station.setAmiLimit(31));
  add({temperature, serialNumber, limit});
  failCalls(FaultyCall::SENDTO, ENETUNREACH);
  const LogCapture log(3);
  EXPECT_EQ(station.sendMsg(ami), 0);
  EXPECT_EQ(failuresLeft(FaultyCall::SENDTO), 0U);
  EXPECT_EQ(received(), (Lines{HEADER + SERIAL_NUMBER, HEADER + LIMIT}));
  const std::string error = "autonomous message 258: 1 of 3 parts not sent, the first: send to " + receiverText() +
                            ", 27 bytes: Network is unreachable";
  EXPECT_EQ(station.errorText(), error);
  EXPECT_EQ(log.brief(), Lines{"3 [ERROR] trelUdp (reportInParts) - " + error});
  EXPECT_EQ(station.counters().amisSplit, 1U);
  EXPECT_EQ(station.counters().amiPartsSent, 2U);
  EXPECT_EQ(station.counters().amisSent, 0U);
  EXPECT_EQ(station.counters().notSent, 1U) << "a message, however many of its parts";
}

TEST_F(UdpAmiSplit, ErrorTextTellsOfLeftOutVariablesAndOfFailedParts) {
  ASSERT_TRUE(station.setAmiLimit(31));
  texts.text->set(std::string(65485, 'x'));
  add({texts.text, temperature, texts.text, serialNumber});
  failCalls(FaultyCall::SENDTO, EPERM, 2);
  EXPECT_EQ(station.sendMsg(ami), 0);
  EXPECT_EQ(received(), Lines{});
  EXPECT_EQ(station.errorText(),
            "autonomous message 258: 2 of 4 variables left out, the first 0, description, of 65492 bytes: no datagram "
            "carries it; 2 of 2 parts not sent, the first: send to " +
                receiverText() + ", 27 bytes: Operation not permitted");
  EXPECT_EQ(station.counters().amiVariablesDropped, 2U);
}

TEST_F(UdpAmiSplit, AClosedSocketSendsNoPart) {
  ASSERT_TRUE(station.setAmiLimit(31));
  add({temperature, serialNumber});
  station.close();
  EXPECT_EQ(station.sendMsg(ami), 0);
  EXPECT_EQ(station.errorText(), "autonomous message 258: 2 of 2 parts not sent, the first: send to " + receiverText() +
                                     ": the socket is not open");
  EXPECT_EQ(station.counters().notSent, 1U);
}

TEST_F(UdpAmiSplit, AMessageWhoseVariablesChangeTheirLengthWhileItIsSerializedIsNotCutWrong) {
  // Sets the text to another length when its own turn comes.
  class Meddler : public TypeProperty<unsigned char> {
   public:
    explicit Meddler(StringProperty* victim)
        : TypeProperty<unsigned char>(9, "meddler", IFC_CARD_VAR_READ_WRITE, static_cast<unsigned char>(1)),
          victim_(victim) {}
    int serialize(char* buf, int size) override {
      victim_->set(after);
      return TypeProperty<unsigned char>::serialize(buf, size);
    }
    std::string after;

   private:
    StringProperty* victim_;
  };
  ASSERT_TRUE(station.setAmiLimit(31));
  Meddler meddler(texts.text);
  add({texts.text, &meddler});
  for (const char* after : {"", "0123456789012345678901234567890123456789"}) {
    SCOPED_TRACE(after);
    texts.text->set(std::string("0123456789"));
    meddler.after = after;
    EXPECT_EQ(station.sendMsg(ami), 0);
    EXPECT_EQ(received(), Lines{});
    EXPECT_EQ(station.errorText(),
              "autonomous message 258: a variable is not of the length that it was serialized with");
  }
  EXPECT_EQ(station.counters().notSent, 2U);
  EXPECT_EQ(station.counters().amisSplit, 0U);
}

// ----- hooks -----

TEST_F(UdpAmiSplit, DatagramPassedSeesEachPart) {
  ASSERT_TRUE(station.setAmiLimit(31));
  add({temperature, serialNumber});
  EXPECT_NE(station.sendMsg(ami), 0);
  EXPECT_EQ(station.passed, (Lines{"sent " + HEADER + TEMPERATURE, "sent " + HEADER + SERIAL_NUMBER}));
}

TEST_F(UdpAmiSplit, WhatAHookDoesBetweenTwoPartsDoesNotChangeTheSecond) {
  ASSERT_TRUE(station.setAmiLimit(31));
  add({temperature, serialNumber});
  TRELAmi other("");
  other.action = 5;
  other.msgId = 9;
  other.addProperty(limit);
  other.addProperty(limit);
  station.onDatagram = [&](const TrelUdpDatagram&) {
    station.onDatagram = nullptr;
    ami.properties.clear();
    ami.msgId = 0;
    ami.timeSec = 0;
    station.scalar.serialNumber->value = 0xFFFF;
    EXPECT_NE(station.sendMsg(other), 0);
  };
  EXPECT_NE(station.sendMsg(ami), 0);
  const std::string otherHeader = "4F544E31 01 05 0009 00000000 00000000";
  EXPECT_EQ(received(),
            (Lines{HEADER + TEMPERATURE, otherHeader + LIMIT, otherHeader + LIMIT, HEADER + SERIAL_NUMBER}));
  EXPECT_EQ(station.counters().amisSent, 2U);
  EXPECT_EQ(station.counters().amisSplit, 2U);
}

TEST_F(UdpAmiSplit, AnExceptionOfTheHookEndsTheMessageAndTheNextOneGoesAsEver) {
  ASSERT_TRUE(station.setAmiLimit(31));
  add({temperature, serialNumber});
  station.onDatagram = [](const TrelUdpDatagram&) { throw std::runtime_error("thrown by a hook"); };
  EXPECT_THROW(station.sendMsg(ami), std::runtime_error);
  EXPECT_EQ(received(), Lines{HEADER + TEMPERATURE});
  station.onDatagram = nullptr;
  EXPECT_NE(station.sendMsg(ami), 0);
  EXPECT_EQ(received(), (Lines{HEADER + TEMPERATURE, HEADER + SERIAL_NUMBER}));
}

// ----- counted and logged -----

TEST_F(UdpAmiSplit, MessagesAndPartsAreCounted) {
  ASSERT_TRUE(station.setAmiLimit(31));
  add({temperature, serialNumber, limit});
  EXPECT_NE(station.sendMsg(ami), 0);
  EXPECT_NE(station.sendMsg(ami), 0);
  ami.properties.resize(1);
  EXPECT_NE(station.sendMsg(ami), 0);
  EXPECT_EQ(station.counters().amisSent, 3U);
  EXPECT_EQ(station.counters().amisSplit, 2U);
  EXPECT_EQ(station.counters().amiPartsSent, 6U);
  EXPECT_EQ(station.counters().amiVariablesDropped, 0U);
  EXPECT_EQ(station.counters().notSent, 0U);
}

TEST_F(UdpAmiSplit, EachSplitIsLoggedAboveLevelSix) {
  ASSERT_TRUE(station.setAmiLimit(38));
  add({temperature, serialNumber, limit});  // 44 bytes
  LogCapture log(7);
  EXPECT_NE(station.sendMsg(ami), 0);
  EXPECT_EQ(log.brief(), Lines{"7 [DEBUG1] trelUdp (reportInParts) - autonomous message 258 with 3 tlvs and 44 bytes "
                               "is sent in 2 datagrams"});
  ASSERT_EQ(log.lines().size(), 1U);
  EXPECT_EQ(log.lines()[0].file, "components/trelUdp/trelUdp.cpp");
  EXPECT_EQ(log.lines()[0].format.substr(0, 24), "[DEBUG1] %s:%d (%s) - au");
  log.clear();
  log.setLevel(6);
  EXPECT_NE(station.sendMsg(ami), 0);
  EXPECT_TRUE(log.lines().empty());
}

TEST_F(UdpAmiSplit, WhatWasNotSentIsLoggedAboveLevelTwo) {
  ASSERT_TRUE(station.setAmiLimit(31));
  add({temperature, serialNumber});
  LogCapture log(2);
  failCalls(FaultyCall::SENDTO, EPERM);
  EXPECT_EQ(station.sendMsg(ami), 0);
  EXPECT_TRUE(log.lines().empty());
  log.setLevel(3);
  failCalls(FaultyCall::SENDTO, EPERM);
  EXPECT_EQ(station.sendMsg(ami), 0);
  EXPECT_EQ(log.lines().size(), 1U);
}

TEST_F(UdpAmiSplit, WithoutATraceObjectNothingIsLogged) {
  ASSERT_TRUE(station.setAmiLimit(31));
  add({temperature, serialNumber});
  const LogCapture log;
  TraceObject noLevel = {nullptr};
  TraceObject* const before = g_traceObject;
  for (TraceObject* object : {static_cast<TraceObject*>(nullptr), &noLevel}) {
    g_traceObject = object;
    EXPECT_NE(station.sendMsg(ami), 0);
  }
  g_traceObject = before;
  EXPECT_TRUE(log.lines().empty());
}

// ----- the list that grows -----

namespace {

class UdpAmiGrowth : public UdpAmiSplit {
 protected:
  void change(unsigned int times) {
    for (unsigned int i = 0; i < times; ++i)
      station.addToAmi(limit, false);  // 8 bytes: 148 of them in 1200
  }
  void flush() { station.addToAmi(nullptr, true); }
  Lines warnings(const LogCapture& log) { return log.brief(4); }
};

const std::string GROWN_TO_153 =
    "4 [WARNING] trelUdp (watchGrowth) - the pending autonomous message has grown to 153 tlvs: it is sent for its size "
    "and not "
    "emptied, flush it before 51 changes have come together";

}  // namespace

TEST_F(UdpAmiGrowth, ItIsWarnedAboutAtTheThirdSendingAndNotAgain) {
  const LogCapture log(4);
  change(102);
  EXPECT_EQ(warnings(log), Lines{});
  change(51);
  EXPECT_EQ(warnings(log), Lines{GROWN_TO_153});
  change(51 * 4);
  EXPECT_EQ(warnings(log), Lines{GROWN_TO_153});
  EXPECT_EQ(station.counters().amiListsGrowing, 1U);
  EXPECT_EQ(station.counters().amisSent, 7U);
}

TEST_F(UdpAmiGrowth, TheWarningNeedsALevelAboveThree) {
  const LogCapture log(3);
  change(153);
  EXPECT_TRUE(log.lines().empty());
  EXPECT_EQ(station.counters().amiListsGrowing, 1U);
}

TEST_F(UdpAmiGrowth, AListThatWasEmptiedAndGrowsAnewIsWarnedAboutAnew) {
  const LogCapture log(4);
  change(204);
  change(3);
  flush();
  change(102);
  EXPECT_EQ(warnings(log), Lines{GROWN_TO_153});
  change(51);
  EXPECT_EQ(warnings(log), (Lines{GROWN_TO_153, GROWN_TO_153}));
  EXPECT_EQ(station.counters().amiListsGrowing, 2U);
}

TEST_F(UdpAmiGrowth, AListThatAFlushEmptiesEachTimeIsNotWarnedAbout) {
  const LogCapture log(4);
  for (const unsigned int changes : {10U, 20U, 30U, 50U, 51U + 9U, 60U, 102U + 8U, 110U, 52U, 52U, 103U}) {
    change(changes);
    flush();
  }
  EXPECT_EQ(warnings(log), Lines{});
  EXPECT_EQ(station.counters().amiListsGrowing, 0U);
}

TEST_F(UdpAmiGrowth, MessagesOfTheApplicationBetweenThemHideNothing) {
  const LogCapture log(4);
  for (int i = 0; i < 60; ++i)
    ami.addProperty(limit);
  for (int i = 0; i < 3; ++i) {
    change(51);
    EXPECT_NE(station.sendMsg(ami), 0);
  }
  EXPECT_EQ(warnings(log), Lines{GROWN_TO_153});
}

TEST_F(UdpAmiGrowth, APropertyThatDiesInTheListDelaysTheWarningByOneSending) {
  const LogCapture log(4);
  auto passing = std::make_unique<TypeProperty<unsigned char>>(4, "passing", IFC_CARD_VAR_READ_WRITE,
                                                               static_cast<unsigned char>(1), false);
  station.addToAmi(passing.get(), false);
  change(101);
  passing.reset();
  change(51);  // 152 are sent
  EXPECT_EQ(warnings(log), Lines{});
  change(51);  // 203
  ASSERT_EQ(warnings(log).size(), 1U);
  EXPECT_EQ(log.count("has grown to 203 tlvs"), 1U);
}

TEST_F(UdpAmiGrowth, ItIsWarnedAboutAlsoWhenNobodyReceivesIt) {
  Station lonely;
  const LogCapture log(4);
  for (int i = 0; i < 153; ++i)
    lonely.addToAmi(limit, false);
  EXPECT_EQ(warnings(log), Lines{GROWN_TO_153});
}

TEST_F(UdpAmiGrowth, AGrownListIsSplitAsAnyOther) {
  change(153);  // 16 + 153 * 8 = 1240 bytes
  const Lines datagrams = received();
  ASSERT_EQ(datagrams.size(), 4U);
  EXPECT_EQ(datagrams[2].substr(0, 19), "4F544E31 01 05 0003");
  EXPECT_EQ(datagrams[3], datagrams[2].substr(0, HEADER.size()) + LIMIT + LIMIT + LIMIT + LIMIT + LIMIT);
  EXPECT_EQ(station.counters().amisSplit, 1U);
}
