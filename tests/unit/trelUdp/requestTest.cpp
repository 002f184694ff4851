// A request and its one reply: what is taken for it, what is not, how long it is awaited, and what happens to the rest.

#include <gtest/gtest.h>
#include <signal.h>
#include <sys/time.h>

#include <cerrno>
#include <chrono>
#include <climits>
#include <string>
#include <thread>

#include "plainSocket.h"
#include "socketFaults.h"
#include "station.h"
#include "support/logCapture.h"

namespace {

using Clock = std::chrono::steady_clock;

long long millisecondsSince(Clock::time_point start) {
  return std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - start).count();
}

// The station asks, the plain socket is its peer. Loopback delivers at once, so what the peer sends from within onRequestSent
// is there before the station waits.
class UdpRequest : public testing::Test {
 protected:
  UdpRequest() {
    EXPECT_TRUE(station.setPeer("127.0.0.1", peer.port()));
    EXPECT_TRUE(station.setAllowedPeers({"127.0.0.1"}));  // it asks, too
  }

  // The peer does this for every request that reaches it.
  void peerAnswers(std::string_view bytes) {
    station.onRequestSent = [this, bytes = std::string(bytes)] { peer.send(bytes, station.port()); };
  }

  Station station;
  PlainSocket peer;
};

const char* const REQUEST_1 = "4F544E31 01 01 0001 | 10800001 01 0004 0000002A";

}  // namespace

// ----- the one reply -----

TEST_F(UdpRequest, GoesToThePeerAndTakesItsReply) {
  peerAnswers("4F544E31 01 03 0001 00 0000 | 10800001 01 0004 00000063"_hex);
  EXPECT_EQ(station.readTemperature(), 1);
  EXPECT_EQ(peer.receive(), REQUEST_1);
  EXPECT_EQ(peer.lastSenderPort(), station.port());
  EXPECT_EQ(station.temperature(), 99U);
  EXPECT_EQ(station.lastResult().outcome, TREL_UDP_OK);
  EXPECT_EQ(station.counters().requestsSent, 1U);
  EXPECT_EQ(station.counters().requestsSentAgain, 0U);
  EXPECT_EQ(station.counters().replies, 1U);
  EXPECT_EQ(station.counters().timeOuts, 0U);
  EXPECT_EQ(station.counters().droppedInAll(), 0U);
}

TEST_F(UdpRequest, AWriteAwaitsAWriteResponse) {
  peerAnswers("4F544E31 01 04 0001 00 0000"_hex);
  EXPECT_EQ(station.writeTemperature(99), 1);
  EXPECT_EQ(peer.receive(), "4F544E31 01 02 0001 | 10800001 01 0004 00000063");
}

TEST_F(UdpRequest, ThePeerMayBeChangedBetweenCalls) {
  PlainSocket other("127.0.0.2");
  Station everywhere(false);
  ASSERT_TRUE(everywhere.open("0.0.0.0"));
  ASSERT_TRUE(everywhere.setPeer("127.0.0.1", peer.port()));
  everywhere.onRequestSent = [&] { peer.send("4F544E31 01 03 0001 00 0000"_hex, everywhere.port()); };
  EXPECT_EQ(everywhere.readTemperature(), 1);

  ASSERT_TRUE(everywhere.setPeer("127.0.0.2", other.port()));
  everywhere.onRequestSent = [&] {
    other.receive();
    other.reply("4F544E31 01 03 0002 00 0000"_hex);
  };
  EXPECT_EQ(everywhere.readTemperature(), 1) << everywhere.lastResult().str();
  EXPECT_EQ(peer.receive(), REQUEST_1);
  EXPECT_EQ(peer.receive(), "nothing");
}

TEST_F(UdpRequest, AReplyThatTakesItsTimeIsAwaited) {
  station.setReplyTimeout(60000);
  const Clock::time_point start = Clock::now();
  std::thread card([this, port = station.port()] {
    std::this_thread::sleep_for(std::chrono::milliseconds(80));
    peer.send("4F544E31 01 03 0001 00 0000 | 10800001 01 0004 00000063"_hex, port);
  });
  EXPECT_EQ(station.readTemperature(), 1);
  card.join();
  EXPECT_EQ(station.temperature(), 99U);
  EXPECT_LT(millisecondsSince(start), 30000);
}

// ----- what is not its reply -----

TEST_F(UdpRequest, AReplyWithAnotherMessageIdIsStaleAndNeverReachesTheEngine) {
  station.onRequestSent = [this] {
    peer.send("4F544E31 01 03 0000 00 0000 | 10800001 01 0004 00000058"_hex, station.port());
    peer.send("4F544E31 01 03 0002 00 0000 | 10800001 01 0004 00000058"_hex, station.port());
    peer.send("4F544E31 01 03 0001 00 0000 | 10800001 01 0004 00000063"_hex, station.port());
  };
  EXPECT_EQ(station.readTemperature(), 1);
  EXPECT_EQ(station.temperature(), 99U);
  EXPECT_EQ(station.dropped(TREL_UDP_DROP_STALE_REPLY), 2U);
  EXPECT_EQ(station.counters().replies, 1U);
}

TEST_F(UdpRequest, AReplyWithAnotherActionIsStale) {
  peerAnswers("4F544E31 01 04 0001 00 0000"_hex);
  EXPECT_EQ(station.readTemperature(), 0) << "a read is not answered by a write response";
  EXPECT_EQ(station.dropped(TREL_UDP_DROP_STALE_REPLY), 1U);
  peerAnswers("4F544E31 01 03 0002 00 0000"_hex);
  EXPECT_EQ(station.writeTemperature(99), 0) << "nor a write by a read response";
  EXPECT_EQ(station.dropped(TREL_UDP_DROP_STALE_REPLY), 2U);
}

TEST_F(UdpRequest, AReplyFromAnotherPortIsForeign) {
  PlainSocket other;
  station.onRequestSent = [&] {
    other.send("4F544E31 01 03 0001 00 0000 | 10800001 01 0004 00000058"_hex, station.port());
    peer.send("4F544E31 01 03 0001 00 0000 | 10800001 01 0004 00000063"_hex, station.port());
  };
  EXPECT_EQ(station.readTemperature(), 1);
  EXPECT_EQ(station.temperature(), 99U);
  EXPECT_EQ(station.dropped(TREL_UDP_DROP_FOREIGN_REPLY), 1U);
}

TEST_F(UdpRequest, AReplyFromAnotherAddressIsForeignEvenIfThatMaySpeak) {
  Station everywhere(false);
  ASSERT_TRUE(everywhere.open("0.0.0.0"));
  ASSERT_TRUE(everywhere.setPeer("127.0.0.1", peer.port()));
  ASSERT_TRUE(everywhere.setAllowedPeers({"127.0.0.2"}));
  PlainSocket allowed("127.0.0.2");
  PlainSocket stranger("127.0.0.3");
  everywhere.onRequestSent = [&] {
    allowed.send("4F544E31 01 03 0001 00 0000 | 10800001 01 0004 00000058"_hex, everywhere.port());
    stranger.send("4F544E31 01 03 0001 00 0000 | 10800001 01 0004 00000058"_hex, everywhere.port());
  };
  EXPECT_EQ(everywhere.readTemperature(), 0);
  EXPECT_EQ(everywhere.temperature(), 42U);
  EXPECT_EQ(everywhere.dropped(TREL_UDP_DROP_FOREIGN_REPLY), 1U);
  EXPECT_EQ(everywhere.dropped(TREL_UDP_DROP_FOREIGN_SENDER), 1U);
}

TEST_F(UdpRequest, AReplyThatWasThereBeforeTheRequestLeftIsNotItsReply) {
  peer.send("4F544E31 01 03 0001 00 0000 | 10800001 01 0004 00000058"_hex, station.port());
  EXPECT_EQ(station.readTemperature(), 0);
  EXPECT_EQ(station.temperature(), 42U);
  EXPECT_EQ(station.dropped(TREL_UDP_DROP_UNAWAITED_REPLY), 1U);
  EXPECT_EQ(station.lastResult().outcome, TREL_UDP_NO_REPLY);
}

TEST_F(UdpRequest, AReplyThatWasThereBeforeTheRequestLeftIsNotItsReplyHoweverManyStandBeforeIt) {
  const std::string replies[] = {"4F544E31 01 03 0001 00 0000 | 10800001 01 0004 00000058"_hex,
                                 "4F544E31 01 03 0002 00 0000 | 10800001 01 0004 00000058"_hex};
  const unsigned int before[] = {64, 200};
  for (int i = 0; i < 2; ++i) {
    for (unsigned int sent = 0; sent < before[i]; ++sent) {
      peer.send("00"_hex, station.port());
    }
    peer.send(replies[i], station.port());
    EXPECT_EQ(station.readTemperature(), 0);
    EXPECT_EQ(station.temperature(), 42U);
  }
  EXPECT_EQ(station.dropped(TREL_UDP_DROP_SHORT), 264U);
  EXPECT_EQ(station.dropped(TREL_UDP_DROP_UNAWAITED_REPLY), 2U);
}

TEST_F(UdpRequest, AReplyThatIsThereWhenTheTimeIsOverIsTakenHoweverManyStandBeforeIt) {
  station.setReplyTimeout(0);
  station.onRequestSent = [this] {
    for (int i = 0; i < 200; ++i) {
      peer.send("00"_hex, station.port());
    }
    peer.send("4F544E31 01 03 0001 00 0000"_hex, station.port());
  };
  EXPECT_EQ(station.readTemperature(), 1);
}

TEST_F(UdpRequest, TheLateReplyToAGivenUpRequestIsDroppedByTheNextOne) {
  EXPECT_EQ(station.readTemperature(), 0);
  station.onRequestSent = [this] {
    peer.send("4F544E31 01 03 0001 00 0000 | 10800001 01 0004 00000058"_hex, station.port());  // late
    peer.send("4F544E31 01 03 0002 00 0000 | 10800001 01 0004 00000063"_hex, station.port());
  };
  EXPECT_EQ(station.readTemperature(), 1);
  EXPECT_EQ(station.temperature(), 99U);
  EXPECT_EQ(station.dropped(TREL_UDP_DROP_STALE_REPLY), 1U);
}

TEST_F(UdpRequest, TheLateReplyToAGivenUpRequestIsDroppedWhenNobodyWaits) {
  EXPECT_EQ(station.readTemperature(), 0);
  peer.send("4F544E31 01 03 0001 00 0000 | 10800001 01 0004 00000058"_hex, station.port());
  const LogCapture log;
  EXPECT_EQ(station.handleDatagrams(), 1);
  EXPECT_EQ(station.temperature(), 42U);
  EXPECT_EQ(station.dropped(TREL_UDP_DROP_UNAWAITED_REPLY), 1U);
  EXPECT_EQ(log.lines().size(), 1U) << "the transport's own; the engine writes a line about everything that it sees";
}

TEST_F(UdpRequest, TheDuplicateOfTheReplyIsDroppedByTheNextRequest) {
  station.onRequestSent = [this] {
    peer.send("4F544E31 01 03 0001 00 0000 | 10800001 01 0004 00000063"_hex, station.port());
    peer.send("4F544E31 01 03 0001 00 0000 | 10800001 01 0004 00000063"_hex, station.port());
  };
  EXPECT_EQ(station.readTemperature(), 1);
  station.scalar.temperature->value = 1;
  peerAnswers("4F544E31 01 04 0002 00 0000"_hex);
  EXPECT_EQ(station.writeTemperature(1), 1);
  EXPECT_EQ(station.temperature(), 1U);
  EXPECT_EQ(station.dropped(TREL_UDP_DROP_DUPLICATE_REPLY), 1U);
  EXPECT_EQ(station.counters().replies, 2U);
}

TEST_F(UdpRequest, TheDuplicateOfTheReplyIsDroppedWhenNobodyWaits) {
  peerAnswers("4F544E31 01 03 0001 00 0000 | 10800001 01 0004 00000063"_hex);
  EXPECT_EQ(station.readTemperature(), 1);
  station.scalar.temperature->value = 1;
  peer.send("4F544E31 01 03 0001 00 0000 | 10800001 01 0004 00000063"_hex, station.port());
  EXPECT_EQ(station.handleDatagrams(), 1);
  EXPECT_EQ(station.temperature(), 1U);
  EXPECT_EQ(station.dropped(TREL_UDP_DROP_DUPLICATE_REPLY), 1U);
}

// ----- time-outs and repetitions -----

TEST_F(UdpRequest, WithoutAReplyItEndsWhenTheTimeIsOverAndTheEngineHandlesNothing) {
  station.setReplyTimeout(60);
  const LogCapture log;
  const Clock::time_point start = Clock::now();
  EXPECT_EQ(station.readTemperature(), 0);
  EXPECT_GE(millisecondsSince(start), 60);
  EXPECT_LT(millisecondsSince(start), 30000);
  EXPECT_EQ(log.count("handling trel msg"), 0U);
  EXPECT_EQ(station.counters().timeOuts, 1U);
  EXPECT_EQ(station.errorText(), "no reply from 127.0.0.1:" + std::to_string(peer.port()) + " within 60 ms, sent once");
}

TEST_F(UdpRequest, ATimeOutOfZeroDoesNotWaitButLooks) {
  station.setReplyTimeout(0);
  EXPECT_EQ(station.readTemperature(), 0);
  peerAnswers("4F544E31 01 03 0002 00 0000"_hex);
  EXPECT_EQ(station.readTemperature(), 1);
}

TEST_F(UdpRequest, AReadIsSentAgainWithTheSameMessageId) {
  station.setReadRetries(2);
  EXPECT_EQ(station.readTemperature(), 0);
  EXPECT_EQ(peer.receive(), REQUEST_1);
  EXPECT_EQ(peer.receive(), REQUEST_1);
  EXPECT_EQ(peer.receive(), REQUEST_1);
  EXPECT_EQ(peer.receive(), "nothing");
  EXPECT_EQ(station.counters().requestsSent, 1U);
  EXPECT_EQ(station.counters().requestsSentAgain, 2U);
  EXPECT_EQ(station.counters().timeOuts, 3U);
  EXPECT_EQ(station.lastResult().error,
            "no reply from 127.0.0.1:" + std::to_string(peer.port()) + " within 40 ms, sent 3 times");
}

TEST_F(UdpRequest, TheReplyToARepeatedReadIsTakenWhicheverSendingItAnswers) {
  station.setReadRetries(2);
  unsigned int sendings = 0;
  station.onRequestSent = [&] {
    if (++sendings == 2) {
      peer.send("4F544E31 01 03 0001 02 0000 | 10800001 01 0004 00000063"_hex, station.port());
      peer.send("4F544E31 01 03 0001 02 0000 | 10800001 01 0004 00000063"_hex, station.port());
    }
  };
  EXPECT_EQ(station.readTemperature(), 1);
  EXPECT_EQ(station.temperature(), 99U);
  EXPECT_EQ(sendings, 2U);
  EXPECT_EQ(station.lastResult().code, RESULT_DUPLICATE_MSG) << "the peer had it already";
  EXPECT_EQ(station.handleDatagrams(), 1);
  EXPECT_EQ(station.dropped(TREL_UDP_DROP_DUPLICATE_REPLY), 1U);
}

TEST(UdpRequestDefaults, AReadIsRepeatedTwiceAndAWriteNeverUnlessTheApplicationAsksForIt) {
  PlainSocket peer;
  StationScalar scalar;
  TrelUdp udp;
  ASSERT_TRUE(udp.open());
  ASSERT_TRUE(udp.setPeer("127.0.0.1", peer.port()));
  udp.registerObject(&scalar);
  udp.setReplyTimeout(10);
  EXPECT_EQ(udp.readProperty(*scalar.temperature), 0);
  EXPECT_EQ(udp.counters().requestsSent + udp.counters().requestsSentAgain, 3U);
  EXPECT_EQ(udp.writeProperty(*scalar.temperature), 0);
  EXPECT_EQ(udp.counters().requestsSent + udp.counters().requestsSentAgain, 4U);
  udp.setWriteRetries(2);
  EXPECT_EQ(udp.writeProperty(*scalar.temperature), 0);
  EXPECT_EQ(udp.counters().requestsSent + udp.counters().requestsSentAgain, 7U);
}

TEST_F(UdpRequest, AWriteThatIsSentAgainHasTheSameMessageIdAndValue) {
  station.setWriteRetries(1);
  station.onRequestSent = [this] { station.scalar.temperature->value = 5; };
  EXPECT_EQ(station.writeTemperature(99), 0);
  EXPECT_EQ(peer.receive(), "4F544E31 01 02 0001 | 10800001 01 0004 00000063");
  EXPECT_EQ(peer.receive(), "4F544E31 01 02 0001 | 10800001 01 0004 00000063");
  EXPECT_EQ(peer.receive(), "nothing");
}

TEST_F(UdpRequest, SignalsNeitherEndTheWaitNorProlongIt) {
  station.setReplyTimeout(100);
  struct sigaction action = {};
  action.sa_handler = [](int) {};
  ASSERT_EQ(::sigaction(SIGALRM, &action, nullptr), 0);
  const itimerval often = {{0, 5000}, {0, 5000}};
  const Clock::time_point start = Clock::now();
  ASSERT_EQ(::setitimer(ITIMER_REAL, &often, nullptr), 0);
  EXPECT_EQ(station.readTemperature(), 0);
  const itimerval never = {};
  ::setitimer(ITIMER_REAL, &never, nullptr);
  EXPECT_GE(millisecondsSince(start), 100);
  EXPECT_LT(millisecondsSince(start), 30000);
  EXPECT_EQ(station.lastResult().outcome, TREL_UDP_NO_REPLY);
}

TEST_F(UdpRequest, AFloodDoesNotProlongTheWait) {
  station.setReplyTimeout(100);
  const Clock::time_point start = Clock::now();
  // For each datagram that is received another one comes, so the socket is never empty.
  station.onRequestSent = [this] { peer.send("4F544E31 01 03 0007 00 0000"_hex, station.port()); };
  station.onDatagram = [this, start](const TrelUdpDatagram& datagram) {
    if (datagram.fate == TREL_UDP_SENT || millisecondsSince(start) > 20000) return;
    peer.send("4F544E31 01 03 0007 00 0000"_hex, station.port());
  };
  EXPECT_EQ(station.readTemperature(), 0);
  EXPECT_LT(millisecondsSince(start), 20000);
  EXPECT_EQ(station.lastResult().outcome, TREL_UDP_NO_REPLY);
  EXPECT_TRUE(station.countersAddUp());
}

TEST_F(UdpRequest, AFloodDoesNotKeepTheRequestFromLeaving) {
  for (int i = 0; i < 65; ++i) {
    peer.send("4F544E31 01 03 0007 00 0000"_hex, station.port());
  }
  station.onDatagram = [this](const TrelUdpDatagram& datagram) {
    if (datagram.fate != TREL_UDP_SENT && station.counters().requestsSent == 0 &&
        station.counters().received < 100000) {
      peer.send("4F544E31 01 03 0007 00 0000"_hex, station.port());
    }
  };
  peerAnswers("4F544E31 01 03 0001 00 0000"_hex);
  EXPECT_EQ(station.readTemperature(), 1);
  EXPECT_LT(station.counters().received, 100000U);
}

// ----- what else comes meanwhile -----

TEST_F(UdpRequest, RequestsThatComeMeanwhileAreKeptAndAnsweredAfterwardsInTheirOrder) {
  PlainSocket asker;
  station.onRequestSent = [&] {
    asker.send("4F544E31 01 01 0007 | 10800001 01 0004 00000000"_hex, station.port());
    peer.send("4F544E31 01 02 0008 | 10800001 01 0004 00000058"_hex, station.port());
    asker.send("4F544E31 01 01 0008 | 10800001 01 0004 00000000"_hex, station.port());
    peer.send("4F544E31 01 03 0001 00 0000 | 10800001 01 0004 00000063"_hex, station.port());
  };
  EXPECT_EQ(station.readTemperature(), 1);
  EXPECT_EQ(station.temperature(), 99U) << "the write has not been executed yet";
  EXPECT_EQ(station.kept(), 3U);
  EXPECT_EQ(asker.receive(), "nothing");
  EXPECT_EQ(peer.receive(), REQUEST_1);
  EXPECT_EQ(peer.receive(), "nothing");
  EXPECT_TRUE(station.countersAddUp());

  EXPECT_TRUE(station.waitForDatagram(60000)) << "kept datagrams are there to be handled";
  EXPECT_EQ(station.handleDatagrams(1), 1);
  EXPECT_EQ(station.kept(), 2U);
  EXPECT_EQ(station.handleDatagrams(), 2);
  EXPECT_EQ(asker.receive(), "4F544E31 01 03 0007 00 0000 | 10800001 01 0004 00000063");
  EXPECT_EQ(peer.receive(), "4F544E31 01 04 0008 00 0000");
  EXPECT_EQ(asker.receive(), "4F544E31 01 03 0008 02 0000 | 10800001 01 0004 00000058");
  EXPECT_EQ(station.kept(), 0U);
  EXPECT_TRUE(station.countersAddUp());
}

TEST_F(UdpRequest, KeptDatagramsAreHandledBeforeThoseThatCameLater) {
  station.onRequestSent = [this] { peer.send("4F544E31 01 02 0007 | 10800001 01 0004 00000001"_hex, station.port()); };
  EXPECT_EQ(station.readTemperature(), 0);
  peer.send("4F544E31 01 02 0008 | 10800001 01 0004 00000002"_hex, station.port());
  EXPECT_EQ(station.handleDatagrams(), 2);
  EXPECT_EQ(station.temperature(), 2U);
}

TEST_F(UdpRequest, AnAutonomousMessageThatComesMeanwhileIsKeptToo) {
  station.onRequestSent = [this] {
    peer.send("4F544E31 01 05 0007 00000064 000003E8 | 10800001 01 0004 00000058"_hex, station.port());
    peer.send("4F544E31 01 03 0001 00 0000"_hex, station.port());
  };
  EXPECT_EQ(station.readTemperature(), 1);
  EXPECT_EQ(station.amis, 0U);
  EXPECT_EQ(station.handleDatagrams(), 1);
  EXPECT_EQ(station.amis, 1U);
  EXPECT_EQ(station.temperature(), 88U);
}

TEST_F(UdpRequest, DatagramsFromOthersThanTheAllowedAreNotKept) {
  Station everywhere(false);
  ASSERT_TRUE(everywhere.open("0.0.0.0"));
  ASSERT_TRUE(everywhere.setPeer("127.0.0.1", peer.port()));
  PlainSocket stranger("127.0.0.2");
  everywhere.onRequestSent = [&] { stranger.send("4F544E31 01 01 0001"_hex, everywhere.port()); };
  EXPECT_EQ(everywhere.readTemperature(), 0);
  EXPECT_EQ(everywhere.kept(), 0U);
  EXPECT_EQ(everywhere.dropped(TREL_UDP_DROP_FOREIGN_SENDER), 1U);
}

TEST_F(UdpRequest, SixtyFourDatagramsAreKeptAndTheRestIsDropped) {
  station.onRequestSent = [this] {
    for (int i = 0; i < 70; ++i) {
      peer.send("4F544E31 01 01 0007"_hex, station.port());
    }
    peer.send("4F544E31 01 03 0001 00 0000"_hex, station.port());
  };
  EXPECT_EQ(station.readTemperature(), 1) << "the reply behind them is found all the same";
  EXPECT_EQ(station.kept(), 64U);
  EXPECT_EQ(station.dropped(TREL_UDP_DROP_KEPT_FULL), 6U);
  EXPECT_EQ(station.handleDatagrams(), 32) << "what was kept counts towards the bound";
  EXPECT_EQ(station.handleDatagrams(), 32);
  EXPECT_EQ(station.handleDatagrams(), 0);
  EXPECT_TRUE(station.countersAddUp());
}

TEST_F(UdpRequest, AKeptDatagramIsDroppedWhenItsSenderIsAllowedNoMore) {
  station.onRequestSent = [this] { peer.send("4F544E31 01 01 0007"_hex, station.port()); };
  EXPECT_EQ(station.readTemperature(), 0);
  ASSERT_EQ(station.kept(), 1U);
  peer.receive();
  ASSERT_TRUE(station.setAllowedPeers({"127.0.0.9"}));
  ASSERT_TRUE(station.setPeer("127.0.0.9", 4000));
  EXPECT_EQ(station.handleDatagrams(), 1);
  EXPECT_EQ(station.dropped(TREL_UDP_DROP_FOREIGN_SENDER), 1U);
  EXPECT_EQ(peer.receive(), "nothing");
  EXPECT_TRUE(station.countersAddUp());
}

TEST_F(UdpRequest, AKeptDatagramIsDroppedWhenItsSenderHasLostTheRoleForIt) {
  station.onRequestSent = [this] {
    peer.send("4F544E31 01 01 0007"_hex, station.port());
    peer.send("4F544E31 01 05 0008 00000064 000003E8 | 10800001 01 0004 00000063"_hex, station.port());
  };
  EXPECT_EQ(station.readTemperature(), 0);
  ASSERT_EQ(station.kept(), 2U);
  peer.receive();
  ASSERT_TRUE(station.setAllowedPeers({}));
  EXPECT_EQ(station.handleDatagrams(), 2);
  EXPECT_EQ(station.dropped(TREL_UDP_DROP_ROLE), 1U);
  EXPECT_EQ(peer.receive(), "nothing");
  EXPECT_EQ(station.temperature(), 99U) << "it is a card still";
  EXPECT_TRUE(station.countersAddUp());
}

TEST_F(UdpRequest, KeptDatagramsAreDroppedWithTheSocket) {
  station.onRequestSent = [this] { peer.send("4F544E31 01 01 0007"_hex, station.port()); };
  EXPECT_EQ(station.readTemperature(), 0);
  station.close();
  EXPECT_EQ(station.peers()[0].received, 1U);
  EXPECT_EQ(station.peers()[0].dropped, 1U);
  EXPECT_EQ(station.kept(), 0U);
  EXPECT_EQ(station.dropped(TREL_UDP_DROP_CLOSED), 1U);
  EXPECT_TRUE(station.countersAddUp());
}

// ----- what cannot be sent -----

TEST_F(UdpRequest, WithoutAPeerNothingIsSent) {
  Station alone;
  EXPECT_EQ(alone.readTemperature(), 0);
  EXPECT_EQ(alone.errorText(), "request 1: there is no peer");
  EXPECT_EQ(alone.lastResult().outcome, TREL_UDP_NOT_SENT);
  EXPECT_EQ(alone.counters().notSent, 1U);
  EXPECT_EQ(alone.counters().requestsSent, 0U);
}

TEST_F(UdpRequest, WithoutASocketNothingIsSent) {
  station.close();
  EXPECT_EQ(station.readTemperature(), 0);
  EXPECT_EQ(station.errorText(), "send to 127.0.0.1:" + std::to_string(peer.port()) + ": the socket is not open");
  EXPECT_EQ(station.lastResult().outcome, TREL_UDP_NOT_SENT);
  EXPECT_EQ(station.counters().receiveErrors, 0U);
}

TEST_F(UdpRequest, WhatTheSystemRefusesToSendIsToldWithAddressAndErrnoText) {
  failCalls(FaultyCall::SENDTO, EPERM);
  EXPECT_EQ(station.readTemperature(), 0);
  EXPECT_EQ(station.lastResult().outcome, TREL_UDP_NOT_SENT);
  EXPECT_EQ(station.lastResult().error,
            "send to 127.0.0.1:" + std::to_string(peer.port()) + ", 19 bytes: Operation not permitted");
  EXPECT_EQ(station.counters().timeOuts, 0U);
}

TEST_F(UdpRequest, ARepetitionThatTheSystemRefusesIsNoUnsentRequest) {
  station.setReadRetries(1);
  station.onRequestSent = [] { failCalls(FaultyCall::SENDTO, ENETDOWN); };
  EXPECT_EQ(station.readTemperature(), 0);
  EXPECT_EQ(station.lastResult().outcome, TREL_UDP_SOCKET_ERROR);
  EXPECT_EQ(station.lastResult().code, RESULT_NOT_RECEIVED);
}

TEST_F(UdpRequest, AFailureWhileTheReplyIsAwaitedIsTold) {
  for (const FaultyCall call : {FaultyCall::RECVMSG, FaultyCall::POLL}) {
    station.onRequestSent = [call] { failCalls(call, ENOMEM); };
    EXPECT_EQ(station.readTemperature(), 0);
    EXPECT_EQ(station.lastResult().outcome, TREL_UDP_SOCKET_ERROR);
    EXPECT_EQ(station.lastResult().error, (call == FaultyCall::POLL ? "poll at " : "receive at ") +
                                              station.address().str() + ": Cannot allocate memory");
  }
  station.onRequestSent = [this] { station.close(); };
  EXPECT_EQ(station.readTemperature(), 0);
  EXPECT_EQ(station.lastResult().outcome, TREL_UDP_SOCKET_ERROR);
  EXPECT_EQ(station.lastResult().error, "receive: the socket is not open");
}

TEST_F(UdpRequest, OnlyReadsAndWritesAreRequests) {
  TRELRequest request("");
  request.addProperty(station.scalar.temperature);
  EXPECT_EQ(station.sendRequest(3, request), 0);
  EXPECT_EQ(station.errorText(), "request 1: action 3 is no request");
  EXPECT_EQ(peer.receive(), "nothing");
}

TEST_F(UdpRequest, AMessageThatDoesNotSerializeIsNotSent) {
  class Liar : public TypeProperty<unsigned int> {
   public:
    Liar() : TypeProperty<unsigned int>(9, "liar", IFC_CARD_VAR_READ_WRITE, 0U) {}
    int serialize(char*, int) override { return 3; }
  };
  Liar liar;
  EXPECT_EQ(station.readProperty(liar), 0);
  EXPECT_EQ(station.lastResult().outcome, TREL_UDP_NOT_SENT);
  EXPECT_EQ(station.errorText(), "send to 127.0.0.1:" + std::to_string(peer.port()) +
                                     ": the message cannot be serialized; the engine's ERROR lines tell why");
  EXPECT_EQ(peer.receive(), "nothing");
}

TEST_F(UdpRequest, AMessageThatNoBufferHoldsIsNotSent) {
  class Endless : public TypeProperty<unsigned int> {
   public:
    Endless() : TypeProperty<unsigned int>(9, "endless", IFC_CARD_VAR_READ_WRITE, 0U) {}
    int length() override { return INT_MAX; }
  };
  Endless endless;
  EXPECT_EQ(station.readProperty(endless), 0);
  EXPECT_EQ(station.lastResult().outcome, TREL_UDP_NOT_SENT);
  EXPECT_EQ(station.errorText(),
            "send to 127.0.0.1:" + std::to_string(peer.port()) + ": a message of 2147483655 bytes or more is too long");
  EXPECT_EQ(station.counters().notSent, 1U);
}

TEST_F(UdpRequest, AMessageOfNoKindIsNotSent) {
  TRELMessage message("");
  message.action = 1;
  EXPECT_EQ(station.sendMsg(message), 0);
  EXPECT_EQ(station.errorText(), "send to 127.0.0.1:" + std::to_string(peer.port()) + ": the message has no header");
  message.msgKind = 3;
  EXPECT_EQ(station.sendMsg(message), 0);
  EXPECT_EQ(station.errorText(), "message of the unknown kind 3");
  EXPECT_EQ(station.counters().notSent, 2U);
  EXPECT_EQ(peer.receive(), "nothing");
}
