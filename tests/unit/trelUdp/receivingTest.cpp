// What is received: who is answered where, what is dropped and why, and how much one call takes.

#include <gtest/gtest.h>
#include <signal.h>
#include <sys/time.h>

#include <cerrno>
#include <chrono>
#include <cstddef>
#include <new>
#include <string>
#include <vector>

#include "plainSocket.h"
#include "socketFaults.h"
#include "station.h"
#include "support/logCapture.h"
#include "support/operatorNew.h"

namespace {

using Clock = std::chrono::steady_clock;

long long millisecondsSince(Clock::time_point start) {
  return std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - start).count();
}

}  // namespace

// ----- answers -----

TEST(UdpReceiving, ARequestIsAnsweredToTheAddressAndPortThatAsked) {
  Station station(false);
  ASSERT_TRUE(station.open("0.0.0.0"));
  ASSERT_TRUE(station.setAllowedPeers({"127.0.0.1", "127.0.0.2"}));
  PlainSocket one;
  PlainSocket two;
  PlainSocket elsewhere("127.0.0.2");
  one.send("4F544E31 01 01 0001 | 10800001 01 0004 00000000"_hex, station.port());
  two.send("4F544E31 01 01 0002 | 10800002 02 0002 0000"_hex, station.port());
  elsewhere.send("4F544E31 01 01 0003 | 10800003 03 0001 00"_hex, station.port());
  EXPECT_EQ(station.handleDatagrams(), 3);
  EXPECT_EQ(one.receive(), "4F544E31 01 03 0001 00 0000 | 10800001 01 0004 0000002A");
  EXPECT_EQ(two.receive(), "4F544E31 01 03 0002 00 0000 | 10800002 02 0002 0007");
  EXPECT_EQ(elsewhere.receive(), "4F544E31 01 03 0003 00 0000 | 10800003 03 0001 0A");
  EXPECT_EQ(one.lastSenderPort(), station.port()) << "and it comes from the port that was asked";
  EXPECT_EQ(station.counters().responsesSent, 3U);
}

TEST(UdpReceiving, AWriteIsExecutedAndAnswered) {
  Station station;
  PlainSocket peer;
  peer.send("4F544E31 01 02 0001 | 10800001 01 0004 00000063"_hex, station.port());
  EXPECT_EQ(station.handleDatagrams(), 1);
  EXPECT_EQ(station.temperature(), 99U);
  EXPECT_EQ(peer.receive(), "4F544E31 01 04 0001 00 0000");
}

TEST(UdpReceiving, AnAnswerGoesToTheOneThatAskedEvenWhenThePeerIsAnother) {
  Station station;
  PlainSocket peer;
  PlainSocket asker;
  ASSERT_TRUE(station.setPeer("127.0.0.1", peer.port()));
  ASSERT_TRUE(station.setAllowedPeers({"127.0.0.1"}));
  asker.send("4F544E31 01 01 0001"_hex, station.port());
  EXPECT_EQ(station.handleDatagrams(), 1);
  EXPECT_EQ(asker.receive(), "4F544E31 01 03 0001 00 0000");
  EXPECT_EQ(peer.receive(), "nothing");
}

TEST(UdpReceiving, ARequestWhoseValuesCannotBeSerializedIsAnsweredAllTheSame) {
  class Liar : public TypeProperty<unsigned int> {
   public:
    Liar() : TypeProperty<unsigned int>(9, "liar", IFC_CARD_VAR_READ_WRITE, 0U, false) {}
    int serialize(char*, int) override { return 3; }
  };
  Station station;
  PlainSocket peer;
  station.scalar.addProp(new Liar, 0);
  peer.send("4F544E31 01 01 0007 | 10800001 01 0004 00000000 | 10800009 01 0004 00000000"_hex, station.port());
  EXPECT_EQ(station.handleDatagrams(), 1);
  EXPECT_EQ(peer.receive(), "4F544E31 01 03 0007 0C 0000");
  EXPECT_EQ(peer.receive(), "nothing");
  EXPECT_EQ(station.counters().responsesSent, 1U);
  EXPECT_EQ(station.counters().notSent, 0U);
  EXPECT_EQ(
      station.errorText(),
      "response 7 to 127.0.0.1:" + std::to_string(peer.port()) +
          ": its values cannot be serialized, RESULT CANNOT EXEC is sent instead; the engine's ERROR lines tell why");
}

TEST(UdpReceiving, AResponseThatAnswersNoDatagramIsNotSent) {
  Station station;
  PlainSocket peer;
  ASSERT_TRUE(station.setPeer("127.0.0.1", peer.port()));
  const std::string request = "4F544E31 01 01 0007"_hex;
  EXPECT_EQ(station.handleTrelMsg(8, request.data(), "127.0.0.1"), 0) << "the transport does not know who sent it";
  EXPECT_EQ(station.errorText(), "response 7: answers no datagram that is being handled");
  EXPECT_EQ(station.counters().notSent, 1U);
  EXPECT_EQ(peer.receive(), "nothing");
}

// ----- autonomous messages -----

TEST(UdpReceiving, AnAutonomousMessageOfAnAllowedAddressIsHandled) {
  Station station;
  PlainSocket peer;
  peer.send("4F544E31 01 05 0001 00000064 000003E8 | 10800001 01 0004 00000063"_hex, station.port());
  EXPECT_EQ(station.handleDatagrams(), 1);
  EXPECT_EQ(station.amis, 1U);
  EXPECT_EQ(station.temperature(), 99U);
  EXPECT_EQ(peer.receive(), "nothing") << "it is never answered";
  EXPECT_EQ(station.counters().handedOver, 1U);
}

TEST(UdpReceiving, AnAutonomousMessageGoesToTheConfiguredReceiver) {
  Station station;
  PlainSocket peer;
  PlainSocket receiver;
  ASSERT_TRUE(station.setPeer("127.0.0.1", peer.port()));
  ASSERT_TRUE(station.setEventReceiver("127.0.0.1", receiver.port()));
  TRELAmi ami("");
  ami.action = 5;
  ami.msgId = 0x0102;
  ami.timeSec = 0x64;
  ami.timeUsec = 0x3E8;
  ami.addProperty(station.scalar.temperature);
  EXPECT_NE(station.sendMsg(ami), 0);
  EXPECT_EQ(receiver.receive(), "4F544E31 01 05 0102 00000064 000003E8 | 10800001 01 0004 0000002A");
  EXPECT_EQ(peer.receive(), "nothing");
  EXPECT_EQ(station.counters().amisSent, 1U);
}

TEST(UdpReceiving, WithoutAReceiverAnAutonomousMessageIsNotSent) {
  Station station;
  PlainSocket peer;
  ASSERT_TRUE(station.setPeer("127.0.0.1", peer.port()));
  TRELAmi ami("");
  ami.msgId = 9;
  EXPECT_EQ(station.sendMsg(ami), 0);
  EXPECT_EQ(station.errorText(), "autonomous message 9: there is no event receiver");
  EXPECT_EQ(station.counters().notSent, 1U);
  EXPECT_EQ(peer.receive(), "nothing");
}

// ----- what is dropped -----

TEST(UdpReceiving, AResponseThatNobodyWaitsForIsDroppedBecauseTheEngineWouldStoreItsValues) {
  Station station;
  PlainSocket peer;
  const LogCapture log;
  peer.send("4F544E31 01 03 0001 00 0000 | 10800002 02 0002 0063"_hex, station.port());
  peer.send("4F544E31 01 04 0001 00 0000"_hex, station.port());
  EXPECT_EQ(station.handleDatagrams(), 2);
  EXPECT_EQ(station.dropped(TREL_UDP_DROP_UNAWAITED_REPLY), 2U);
  EXPECT_EQ(station.scalar.serialNumber->value, 7);
  EXPECT_EQ(station.counters().handedOver, 0U);
  EXPECT_EQ(log.lines().size(), 1U) << "the transport's own; the engine writes a line about everything that it sees";
}

TEST(UdpReceiving, AResponseOfAnotherVersionIsNotAnsweredSoTwoVersionsDoNotAnswerEachOtherForEver) {
  Station station;
  PlainSocket peer;
  peer.send("4F544E31 02 04 0001 01 0000"_hex, station.port());
  EXPECT_EQ(station.handleDatagrams(), 1);
  EXPECT_EQ(peer.receive(), "nothing");
  EXPECT_EQ(station.dropped(TREL_UDP_DROP_UNAWAITED_REPLY), 1U);

  peer.send("4F544E31 02 01 0001"_hex, station.port());
  EXPECT_EQ(station.handleDatagrams(), 1);
  EXPECT_EQ(peer.receive(), "4F544E31 01 03 0001 01 0000") << "a request of another version is";
}

TEST(UdpReceiving, WithoutReplyOnHeaderErrorARequestOfAnotherVersionIsNotAnswered) {
  TrelUdp udp(false);
  ASSERT_TRUE(udp.open());
  PlainSocket peer;
  peer.send("4F544E31 02 01 0001"_hex, udp.port());
  EXPECT_EQ(udp.handleDatagrams(), 1);
  EXPECT_EQ(peer.receive(), "nothing");
  EXPECT_EQ(udp.counters().handedOver, 1U);
}

TEST(UdpReceiving, WhatIsNoMessageOfTheProtocolIsDroppedBeforeTheEngineSeesIt) {
  Station station;
  PlainSocket peer;
  const LogCapture log(3);  // errors, which the engine would write
  peer.send(""_hex, station.port());
  peer.send("4F544E31 01 01 00"_hex, station.port());
  peer.send("4F544E32 01 01 0001"_hex, station.port());
  EXPECT_EQ(station.handleDatagrams(), 3);
  EXPECT_EQ(station.dropped(TREL_UDP_DROP_SHORT), 2U);
  EXPECT_EQ(station.dropped(TREL_UDP_DROP_MAGIC), 1U);
  EXPECT_EQ(station.counters().handedOver, 0U);
  EXPECT_EQ(log.lines().size(), 0U);
  EXPECT_EQ(peer.receive(), "nothing");
}

TEST(UdpReceiving, AShortDatagramIsNotTakenForTheOneThatLayInTheBufferBefore) {
  Station station;
  PlainSocket peer;
  peer.send("4F544E31 01 03 0001 00 0000"_hex, station.port());
  peer.send("4F544E31 01"_hex, station.port());
  EXPECT_EQ(station.handleDatagrams(), 2);
  EXPECT_EQ(station.dropped(TREL_UDP_DROP_UNAWAITED_REPLY), 1U);
  EXPECT_EQ(station.dropped(TREL_UDP_DROP_SHORT), 1U);
}

TEST(UdpReceiving, TheLongestDatagramThatUdpCarriesIsReceivedWhole) {
  Station station;
  PlainSocket peer;
  std::string longest = "4F544E31 01 02 0001 | 10800001 01 0004 00000063 | 10800002 00 FFC1"_hex;
  longest.resize(65507, '\x55');
  unsigned int length = 0;
  station.onDatagram = [&](const TrelUdpDatagram& datagram) {
    if (datagram.fate == TREL_UDP_HANDED_OVER) length = datagram.length;
  };
  peer.send(longest, station.port());
  EXPECT_EQ(station.handleDatagrams(), 1);
  EXPECT_EQ(length, 65507U);
  EXPECT_EQ(peer.receive(), "4F544E31 01 04 0001 06 0001");
  EXPECT_EQ(station.temperature(), 42U);
}

TEST(UdpReceiving, ADatagramThatWasCutIsDroppedWhateverItIs) {
  Station station;
  PlainSocket peer;
  cutNextDatagram();
  peer.send("4F544E31 01 02 0001 | 10800001 01 0004 00000063"_hex, station.port());
  EXPECT_EQ(station.handleDatagrams(), 1);
  EXPECT_EQ(station.dropped(TREL_UDP_DROP_CUT), 1U);
  EXPECT_EQ(station.counters().handedOver, 0U);
  EXPECT_EQ(station.temperature(), 42U);
  EXPECT_EQ(peer.receive(), "nothing");
}

// ----- how much -----

TEST(UdpReceiving, OneCallHandlesABoundedNumberOfDatagrams) {
  Station station;
  PlainSocket peer;
  for (int i = 0; i < 40; ++i) {
    peer.send("4F544E31 01 01 0001"_hex, station.port());
  }
  EXPECT_EQ(station.handleDatagrams(), 32);
  EXPECT_EQ(station.handleDatagrams(3), 3);
  EXPECT_EQ(station.handleDatagrams(0), 0);
  EXPECT_EQ(station.handleDatagrams(), 5);
  EXPECT_EQ(station.handleDatagrams(), 0);
  EXPECT_EQ(station.counters().handedOver, 40U);
}

TEST(UdpReceiving, DroppedDatagramsCountSoThatAFloodCannotHoldTheCall) {
  Station station(false);
  ASSERT_TRUE(station.open("0.0.0.0"));
  PlainSocket stranger("127.0.0.2");
  for (int i = 0; i < 40; ++i) {
    stranger.send("4F544E31 01 01 0001"_hex, station.port());
  }
  EXPECT_EQ(station.handleDatagrams(), 32);
  EXPECT_EQ(station.dropped(TREL_UDP_DROP_FOREIGN_SENDER), 32U);
}

TEST(UdpReceiving, TheCountersAddUp) {
  Station station;
  PlainSocket peer;
  peer.send("4F544E31 01 01 0001"_hex, station.port());
  peer.send("4F544E31 01 03 0001 00 0000"_hex, station.port());
  peer.send("00"_hex, station.port());
  EXPECT_EQ(station.handleDatagrams(), 3);
  EXPECT_EQ(station.counters().received, 3U);
  EXPECT_EQ(station.counters().handedOver, 1U);
  EXPECT_EQ(station.counters().droppedInAll(), 2U);
  EXPECT_TRUE(station.countersAddUp());
}

// What there is no memory for is lost, a reply or a datagram that has to be kept.
TEST(UdpReceiving, TheCountersAddUpWhereverMemoryRunsOut) {
  bool happened = true;
  std::size_t after = 0;
  for (; happened && after < 500; ++after) {
    Station station;
    PlainSocket peer;
    ASSERT_TRUE(station.setPeer("127.0.0.1", peer.port()));
    ASSERT_TRUE(station.setAllowedPeers({"127.0.0.1"}));
    station.setReplyTimeout(0);
    station.onRequestSent = [&] {
      peer.send("4F544E31 01 01 0007 | 10800001 01 0004 00000000"_hex, station.port());
      peer.send("4F544E31 01 03 0001 00 0000 | 10800001 01 0004 00000063"_hex, station.port());
    };
    {
      const NewFailure failure(after);
      try {
        station.readTemperature();
        station.handleDatagrams();
      } catch (const std::bad_alloc&) {
      }
      happened = failure.happened();
    }
    ASSERT_TRUE(station.countersAddUp()) << after;
    ASSERT_EQ(station.peers()[0].received, station.counters().received) << after;
  }
  EXPECT_GT(after, 10U);
  EXPECT_FALSE(happened);
}

// ----- errors of the system's calls -----

TEST(UdpReceiving, AnInterruptedCallIsMadeAgain) {
  Station station;
  PlainSocket peer;
  peer.send("4F544E31 01 01 0001"_hex, station.port());
  failCalls(FaultyCall::RECVMSG, EINTR, 3);
  failCalls(FaultyCall::SENDTO, EINTR, 3);
  EXPECT_EQ(station.handleDatagrams(), 1);
  EXPECT_EQ(failuresLeft(FaultyCall::RECVMSG), 0U);
  EXPECT_EQ(failuresLeft(FaultyCall::SENDTO), 0U);
  EXPECT_EQ(peer.receive(), "4F544E31 01 03 0001 00 0000");
  EXPECT_EQ(station.counters().receiveErrors, 0U);
  EXPECT_EQ(station.errorText(), "");
}

TEST(UdpReceiving, AFailureToReceiveIsToldWithTheAddressAndTheSystemsWords) {
  Station station;
  failCalls(FaultyCall::RECVMSG, ENOMEM);
  EXPECT_EQ(station.handleDatagrams(), -1);
  EXPECT_EQ(station.errorText(), "receive at " + station.address().str() + ": Cannot allocate memory");
  EXPECT_EQ(station.counters().receiveErrors, 1U);

  PlainSocket peer;
  peer.send("4F544E31 01 01 0001"_hex, station.port());
  EXPECT_EQ(station.handleDatagrams(), 1) << "the next call works";
}

TEST(UdpReceiving, AFailureBehindHandledDatagramsIsToldByTheNextCall) {
  Station station;
  PlainSocket peer;
  peer.send("4F544E31 01 01 0001"_hex, station.port());
  station.scalar.onUpdate = [] {};
  station.onDatagram = [](const TrelUdpDatagram& datagram) {
    if (datagram.fate == TREL_UDP_HANDED_OVER) failCalls(FaultyCall::RECVMSG, ENOMEM, 2);
  };
  EXPECT_EQ(station.handleDatagrams(), 1);
  EXPECT_EQ(station.handleDatagrams(), -1);
}

TEST(UdpReceiving, AnAnswerThatTheSystemRefusesIsToldWithTheAddressAndTheSystemsWords) {
  Station station;
  PlainSocket peer;
  peer.send("4F544E31 01 01 0001"_hex, station.port());
  failCalls(FaultyCall::SENDTO, ENETUNREACH);
  EXPECT_EQ(station.handleDatagrams(), 1);
  EXPECT_EQ(station.errorText(),
            "send to 127.0.0.1:" + std::to_string(peer.port()) + ", 11 bytes: Network is unreachable");
  EXPECT_EQ(station.counters().notSent, 1U);
  EXPECT_EQ(station.counters().responsesSent, 0U);
}

TEST(UdpReceiving, AMessageThatUdpCannotCarryIsToldWithItsLength) {
  Station station;
  PlainSocket receiver;
  ASSERT_TRUE(station.setPeer("127.0.0.1", receiver.port()));
  StringProperty text(9, "text", IFC_CARD_VAR_READ_WRITE, std::string(65500, 'x'));
  TRELRequest request("");
  request.action = 2;
  request.addProperty(&text);
  EXPECT_EQ(station.sendMsg(request), 0);
  EXPECT_EQ(station.errorText(),
            "send to 127.0.0.1:" + std::to_string(receiver.port()) + ", 65515 bytes: Message too long");
}

// ----- waiting -----

TEST(UdpReceiving, WaitingEndsWhenADatagramComesOrTheTimeIsOver) {
  Station station;
  PlainSocket peer;
  EXPECT_FALSE(station.waitForDatagram(0));
  const Clock::time_point start = Clock::now();
  EXPECT_FALSE(station.waitForDatagram(30));
  EXPECT_GE(millisecondsSince(start), 30);
  peer.send("00"_hex, station.port());
  EXPECT_TRUE(station.waitForDatagram(60000));
  EXPECT_TRUE(station.waitForDatagram(0)) << "it takes nothing";
  EXPECT_EQ(station.handleDatagrams(), 1);
  EXPECT_EQ(station.errorText(), "");
}

TEST(UdpReceiving, ASignalEndsTheWait) {
  Station station;
  struct sigaction action = {};
  action.sa_handler = [](int) {};
  ASSERT_EQ(::sigaction(SIGALRM, &action, nullptr), 0);
  const itimerval soon = {{0, 20000}, {0, 20000}};
  ASSERT_EQ(::setitimer(ITIMER_REAL, &soon, nullptr), 0);
  const Clock::time_point start = Clock::now();
  EXPECT_FALSE(station.waitForDatagram(60000));
  const itimerval never = {};
  ::setitimer(ITIMER_REAL, &never, nullptr);
  EXPECT_LT(millisecondsSince(start), 30000);
  EXPECT_EQ(station.errorText(), "");
}

TEST(UdpReceiving, AFailureToWaitIsTold) {
  Station station;
  failCalls(FaultyCall::POLL, ENOMEM);
  EXPECT_FALSE(station.waitForDatagram(60000));
  EXPECT_EQ(station.errorText(), "wait at " + station.address().str() + ": Cannot allocate memory");
  EXPECT_EQ(station.counters().receiveErrors, 1U);
}
