// What lastResult tells the application about each client operation.

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "plainSocket.h"
#include "station.h"

namespace {

class UdpResult : public testing::Test {
 protected:
  UdpResult() { EXPECT_TRUE(station.setPeer("127.0.0.1", peer.port())); }

  void peerAnswers(std::string_view bytes) {
    station.onRequestSent = [this, bytes = std::string(bytes)] { peer.send(bytes, station.port()); };
  }
  std::string peerAddress() const { return "127.0.0.1:" + std::to_string(peer.port()); }

  Station station;
  PlainSocket peer;
};

}  // namespace

TEST_F(UdpResult, BeforeTheFirstOperationThereIsNone) {
  EXPECT_EQ(station.lastResult().outcome, TREL_UDP_NO_OPERATION);
  EXPECT_EQ(station.lastResult().str(), "no operation yet");
}

TEST_F(UdpResult, ADoneOperationTellsTheCodeAndItsTextAndNoVariable) {
  peerAnswers("4F544E31 01 03 0001 00 0000 | 10800001 01 0004 00000063"_hex);
  EXPECT_EQ(station.readTemperature(), 1);
  EXPECT_EQ(station.lastResult().outcome, TREL_UDP_OK);
  EXPECT_EQ(station.lastResult().code, RESULT_OK);
  EXPECT_STREQ(station.lastResult().text, "RESULT OK");
  EXPECT_EQ(station.lastResult().index, -1);
  EXPECT_EQ(station.lastResult().variable, "");
  EXPECT_EQ(station.lastResult().error, "");
  EXPECT_EQ(station.lastResult().str(), "ok: RESULT OK (0)");
}

TEST_F(UdpResult, DuplicateAndLostAreMarksOfADoneOperation) {
  peerAnswers("4F544E31 01 03 0001 02 0000 | 10800001 01 0004 00000063"_hex);
  EXPECT_EQ(station.readTemperature(), 1);
  EXPECT_EQ(station.lastResult().str(), "ok: RESULT DUPLICATE MSG (2)");
  peerAnswers("4F544E31 01 03 0002 03 0000 | 10800001 01 0004 00000063"_hex);
  EXPECT_EQ(station.readTemperature(), 1);
  EXPECT_EQ(station.lastResult().str(), "ok: RESULT LOST MSG (3)");
}

TEST_F(UdpResult, ARefusalTellsTheCodeItsTextAndThePositionAndNameOfTheVariable) {
  peerAnswers("4F544E31 01 04 0001 0A 0001"_hex);
  EXPECT_EQ(station.writePropertys({station.scalar.temperature, station.scalar.serialNumber}), 0);
  EXPECT_EQ(station.lastResult().outcome, TREL_UDP_REFUSED);
  EXPECT_EQ(station.lastResult().code, RESULT_READ_ONLY);
  EXPECT_STREQ(station.lastResult().text, "RESULT READ ONLY");
  EXPECT_EQ(station.lastResult().index, 1);
  EXPECT_EQ(station.lastResult().variable, "serialNumber");
  EXPECT_EQ(station.lastResult().error, peerAddress() + " refused the request");
  EXPECT_EQ(station.lastResult().str(), "refused: RESULT READ ONLY (10), variable 1, serialNumber");
}

TEST_F(UdpResult, EveryCodeHasItsText) {
  struct Case {
    const char* response;
    int code;
    const char* text;
    const char* variable;
  };
  const Case cases[] = {{"01 0000", 1, "RESULT PROTOCOL VERSION_MISMATCH", ""},
                        {"04 0000", 4, "RESULT INVALID ACTION", ""},
                        {"05 0000", 5, "RESULT GENERAL ERROR", "temperature"},
                        {"06 0000", 6, "RESULT WRONG TYPE", "temperature"},
                        {"07 0000", 7, "RESULT WRONG OID", "temperature"},
                        {"08 0000", 8, "RESULT WRONG LEN", "temperature"},
                        {"09 0000", 9, "RESULT WRONG VALUE", "temperature"},
                        {"0A 0000", 10, "RESULT READ ONLY", "temperature"},
                        {"0B 0000", 11, "RESULT TOO LONG", ""},
                        {"0C 0000", 12, "RESULT CANNOT EXEC", ""},
                        {"0D 0000", 13, "RESULT WRONG MAGIC", ""},
                        {"0E 0000", 14, "RESULT NOT RECEIVED", ""},
                        {"0F 0000", 15, "RESULT NOT SEND", ""},
                        {"10 0000", 16, "", ""},
                        {"11 0000", 17, "", ""},
                        {"12 0000", 18, "unknown", ""},
                        {"FF 0000", 255, "unknown", ""}};
  for (const Case& c : cases) {
    SCOPED_TRACE(c.code);
    station.onRequestSent = [&] {
      std::string request = peer.receive();
      peer.send(operator""_hex("4F544E31 01 04", 14) + operator""_hex(request.substr(15, 4).c_str(), 4) +
                                                       operator""_hex(c.response, 7),
                station.port());
    };
    EXPECT_EQ(station.writeTemperature(1), 0);
    EXPECT_EQ(station.lastResult().outcome, TREL_UDP_REFUSED);
    EXPECT_EQ(station.lastResult().code, c.code);
    EXPECT_STREQ(station.lastResult().text, c.text);
    EXPECT_EQ(station.lastResult().index, 0);
    EXPECT_EQ(station.lastResult().variable, c.variable);
  }
}

TEST_F(UdpResult, APeerWithoutAFreeSenderContextHasDoneItAllTheSame) {
  peerAnswers("4F544E31 01 04 0001 10 0000"_hex);
  EXPECT_EQ(station.writeTemperature(1), 0);
  EXPECT_EQ(station.lastResult().str(),
            "refused: (16): " + peerAddress() + " did what was asked, but follows the sequence of no further sender");
}

TEST_F(UdpResult, APositionBeyondTheRequestNamesNoVariable) {
  peerAnswers("4F544E31 01 04 0001 0A 0001"_hex);
  EXPECT_EQ(station.writeTemperature(1), 0);
  EXPECT_EQ(station.lastResult().index, 1);
  EXPECT_EQ(station.lastResult().variable, "");
  EXPECT_EQ(station.lastResult().str(), "refused: RESULT READ ONLY (10), variable 1");
}

TEST_F(UdpResult, NoReplyIsToldAsThat) {
  EXPECT_EQ(station.readTemperature(), 0);
  EXPECT_EQ(station.lastResult().outcome, TREL_UDP_NO_REPLY);
  EXPECT_EQ(station.lastResult().code, RESULT_NOT_RECEIVED);
  EXPECT_STREQ(station.lastResult().text, "RESULT NOT RECEIVED");
  EXPECT_EQ(station.lastResult().index, -1);
  EXPECT_EQ(station.lastResult().str(), "no reply: no reply from " + peerAddress() + " within 40 ms, sent once");
}

TEST_F(UdpResult, ARequestThatTheEngineDoesNotLetOutIsToldAsNotSent) {
  peerAnswers("4F544E31 01 03 0001 00 0000"_hex);
  EXPECT_EQ(station.readTemperature(), 1);
  TrelScalar empty("empty", 2, false);
  EXPECT_EQ(station.readObject(empty), 0);
  EXPECT_EQ(station.lastResult().outcome, TREL_UDP_NOT_SENT);
  EXPECT_EQ(station.lastResult().code, RESULT_NOT_SEND);
  EXPECT_STREQ(station.lastResult().text, "RESULT NOT SEND");
  EXPECT_EQ(station.lastResult().str(), "not sent: a request carries 1 to 150 variables");
  EXPECT_EQ(station.writePropertys(std::vector<TrelProperty*>(151, station.scalar.temperature)), 0);
  EXPECT_EQ(station.lastResult().outcome, TREL_UDP_NOT_SENT);
  EXPECT_EQ(station.counters().requestsSent, 1U);
}

TEST_F(UdpResult, AReplyWhoseValuesFitNothingIsUnusable) {
  peerAnswers("4F544E31 01 03 0001 00 0000 | 1080FFFF 01 0004 00000063"_hex);
  EXPECT_EQ(station.readTemperature(), 0);
  EXPECT_EQ(station.lastResult().outcome, TREL_UDP_UNUSABLE_REPLY);
  EXPECT_EQ(station.lastResult().code, RESULT_OK);
  EXPECT_EQ(station.lastResult().error,
            "not every value of the reply could be stored; the engine's ERROR lines tell which");
}

TEST_F(UdpResult, AReplyThatEndsInItsHeaderIsUnusable) {
  peerAnswers("4F544E31 01 03 0001 00 00"_hex);
  EXPECT_EQ(station.readTemperature(), 0);
  EXPECT_EQ(station.lastResult().outcome, TREL_UDP_UNUSABLE_REPLY);
  EXPECT_EQ(station.lastResult().code, RESULT_WRONG_LEN);
  EXPECT_EQ(station.lastResult().error, "the reply of " + peerAddress() + " ends in its header, after 10 bytes");
}

TEST_F(UdpResult, AReplyOfAnotherVersionIsUnusableAndEndsTheWait) {
  station.setReplyTimeout(60000);
  peerAnswers("4F544E31 02 03 0001 01 0000"_hex);
  EXPECT_EQ(station.readTemperature(), 0);
  EXPECT_EQ(station.lastResult().outcome, TREL_UDP_UNUSABLE_REPLY);
  EXPECT_EQ(station.lastResult().code, RESULT_PROTOCOL_VERSION_MISMATCH);
  EXPECT_EQ(station.lastResult().error, peerAddress() + " answers in protocol version 2");
}

TEST_F(UdpResult, EveryClientOperationLeavesIts) {
  std::vector<TrelObject*> objects = {&station.scalar};
  std::vector<TrelProperty*> properties = {station.scalar.temperature};
  TRELRequest request("");
  request.addProperty(station.scalar.temperature);
  const std::vector<std::function<int()>> operations = {
      [&] { return station.readObject(station.scalar); },
      [&] { return station.readObjects(objects); },
      [&] { return station.readProperty(*station.scalar.temperature); },
      [&] { return station.readPropertys(properties); },
      [&] { return station.writeObject(station.scalar); },
      [&] { return station.writeObjects(objects); },
      [&] { return station.writeProperty(*station.scalar.temperature); },
      [&] { return station.writePropertys(properties); },
      [&] { return station.sendRequest(1, request); }};
  TrelScalar empty("empty", 2, false);
  for (const std::function<int()>& operation : operations) {
    EXPECT_EQ(station.readObject(empty), 0);
    EXPECT_EQ(station.lastResult().outcome, TREL_UDP_NOT_SENT);
    EXPECT_EQ(operation(), 0);
    EXPECT_EQ(station.lastResult().outcome, TREL_UDP_NO_REPLY);
  }
}

TEST(UdpTexts, EveryReasonToDropHasItsWords) {
  const char* const words[] = {"longer than the receive buffer",
                               "shorter than a header",
                               "sender is not allowed",
                               "sender may not send this",
                               "the last reply once more",
                               "response that nobody waits for",
                               "response to another request than the one that waits",
                               "response of another than the one that was asked",
                               "unknown action, more often than that is answered",
                               "other protocol version, more often than that is answered",
                               "not of this protocol",
                               "too many from its sender",
                               "too many from all senders together",
                               "no room to keep it until the wait is over",
                               "was kept when the socket was closed",
                               "unknown"};
  static_assert(sizeof words / sizeof words[0] == TREL_UDP_DROP_REASONS + 1);
  for (unsigned int reason = 0; reason <= TREL_UDP_DROP_REASONS; ++reason) {
    EXPECT_STREQ(trelUdpDropText(static_cast<TrelUdpDrop>(reason)), words[reason]);
  }
}

TEST(UdpTexts, AnAddressIsDottedTextAndAPort) {
  TrelUdpAddress address;
  EXPECT_EQ(address.str(), "0.0.0.0:0");
  address.ip = 0xC0A80001U;
  address.port = 65535;
  EXPECT_EQ(address.str(), "192.168.0.1:65535");
}

TEST(UdpTexts, EveryOutcomeHasItsWordsAndTellsItsError) {
  struct Case {
    TrelUdpOutcome outcome;
    const char* text;
  };
  const Case cases[] = {{TREL_UDP_REFUSED, "refused: RESULT OK (0): why"},
                        {TREL_UDP_NO_REPLY, "no reply: why"},
                        {TREL_UDP_NOT_SENT, "not sent: why"},
                        {TREL_UDP_UNUSABLE_REPLY, "unusable reply: why"},
                        {TREL_UDP_SOCKET_ERROR, "socket error: why"},
                        {static_cast<TrelUdpOutcome>(7), "unknown: why"}};
  for (const Case& c : cases) {
    TrelUdpResult result;
    result.outcome = c.outcome;
    result.error = "why";
    EXPECT_EQ(result.str(), c.text);
  }
}
