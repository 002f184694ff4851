// How much reaches the engine, through sockets and with a clock that stands still.

#include <gtest/gtest.h>

#include <string>

#include "plainSocket.h"
#include "socketFaults.h"
#include "station.h"

namespace {

constexpr unsigned long long SECOND = 1000000000;

class UdpRate : public testing::Test {
 protected:
  // Sends so many and tells how many of them were answered.
  unsigned int answered(unsigned int count, PlainSocket& sender, std::string_view bytes) {
    for (unsigned int i = 0; i < count; ++i) {
      sender.send(bytes, station.port());
    }
    EXPECT_EQ(station.handleDatagrams(count), static_cast<int>(count));
    unsigned int answers = 0;
    while (sender.receive() != "nothing") {
      ++answers;
    }
    return answers;
  }

  const std::string read = "4F544E31 01 01 0001"_hex;
  StoppedClock clock;
  Station station;
  PlainSocket peer;
};

}  // namespace

TEST_F(UdpRate, OfAPeerHoldsAFloodAndLetsThroughAgainInTime) {
  ASSERT_TRUE(station.setPeerRate({10, 3}));
  EXPECT_EQ(answered(8, peer, read), 3U);
  EXPECT_EQ(station.dropped(TREL_UDP_DROP_PEER_RATE), 5U);
  clock.advance(SECOND / 10 - 1);
  EXPECT_EQ(answered(1, peer, read), 0U);
  clock.advance(1);
  EXPECT_EQ(answered(8, peer, read), 1U);
  EXPECT_TRUE(station.countersAddUp());
}

TEST_F(UdpRate, OfAPeerIsThatOfItsAddressWhateverThePort) {
  ASSERT_TRUE(station.setPeerRate({10, 3}));
  PlainSocket again;
  EXPECT_EQ(answered(2, peer, read), 2U);
  EXPECT_EQ(answered(2, again, read), 1U);
}

TEST_F(UdpRate, OfAllHoldsAFloodFromSeveralPeers) {
  Station everywhere(false);
  ASSERT_TRUE(everywhere.open("0.0.0.0"));
  ASSERT_TRUE(everywhere.setAllowedPeers({"127.0.0.2", "127.0.0.3"}));
  ASSERT_TRUE(everywhere.setTotalRate({10, 3}));
  PlainSocket one("127.0.0.2");
  PlainSocket two("127.0.0.3");
  for (int i = 0; i < 2; ++i) {
    one.send(read, everywhere.port());
    two.send(read, everywhere.port());
  }
  EXPECT_EQ(everywhere.handleDatagrams(), 4);
  EXPECT_EQ(everywhere.counters().handedOver, 3U);
  EXPECT_EQ(everywhere.dropped(TREL_UDP_DROP_TOTAL_RATE), 1U);
  EXPECT_TRUE(everywhere.countersAddUp());
}

TEST_F(UdpRate, OfHeaderErrorsIsOneASecondAfterTheFirstFour) {
  EXPECT_EQ(answered(6, peer, "4F544E31 02 01 0001"_hex), 4U);
  EXPECT_EQ(station.dropped(TREL_UDP_DROP_VERSION), 2U);
  EXPECT_EQ(answered(1, peer, "4F544E31 01 06 0001"_hex), 0U);
  EXPECT_EQ(station.dropped(TREL_UDP_DROP_ACTION), 1U);
  EXPECT_EQ(answered(1, peer, read), 1U) << "good requests are answered meanwhile";
  clock.advance(SECOND);
  EXPECT_EQ(answered(6, peer, "4F544E31 02 01 0001"_hex), 1U);
  ASSERT_TRUE(station.setHeaderErrorRate({0, 0}));
  EXPECT_EQ(answered(20, peer, "4F544E31 02 01 0001"_hex), 20U);
  EXPECT_TRUE(station.countersAddUp());
}

TEST_F(UdpRate, DoesNotHoldTheRepliesThatAreAwaited) {
  ASSERT_TRUE(station.setPeerRate({1, 1}));
  ASSERT_TRUE(station.setTotalRate({1, 1}));
  ASSERT_TRUE(station.setPeer("127.0.0.1", peer.port()));
  unsigned int msgId = 0;
  station.onRequestSent = [&] {
    std::string reply = "4F544E31 01 03 0000 00 0000 | 10800001 01 0004 00000063"_hex;
    reply[7] = static_cast<char>(++msgId);
    peer.send(reply, station.port());
  };
  for (int i = 0; i < 20; ++i) {
    ASSERT_EQ(station.readTemperature(), 1);
  }
  EXPECT_EQ(station.counters().replies, 20U);
  EXPECT_EQ(station.counters().droppedInAll(), 0U);
}

TEST_F(UdpRate, WithABurstOf0WouldLetNothingThroughAndIsRefused) {
  EXPECT_FALSE(station.setPeerRate({10, 0}));
  EXPECT_EQ(station.errorText(), "rate of a peer: 10 a second with a burst of 0 lets nothing through");
  EXPECT_FALSE(station.setTotalRate({1, 0}));
  EXPECT_EQ(station.errorText(), "rate of all: 1 a second with a burst of 0 lets nothing through");
  EXPECT_FALSE(station.setHeaderErrorRate({4294967295, 0}));
  EXPECT_EQ(station.errorText(), "rate of header errors: 4294967295 a second with a burst of 0 lets nothing through");
  EXPECT_EQ(answered(20, peer, read), 20U) << "what was set before holds";
  EXPECT_TRUE(station.setPeerRate({0, 0}));
}
