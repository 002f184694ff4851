// What the log tells about drops: a line for each reason, once a second at most.

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "plainSocket.h"
#include "socketFaults.h"
#include "station.h"
#include "support/logCapture.h"

namespace {

constexpr unsigned long long SECOND = 1000000000;

std::string lineOf(const std::string& count, const std::string& last, const std::string& reason) {
  return "4 [WARNING] trelUdp (tellDrops) - dropped " + count +
         " since the last such line, the last from 127.0.0.1:" + last + ": " + reason;
}

class UdpDropLines : public testing::Test {
 protected:
  void drops(unsigned int count, std::string_view bytes) {
    for (unsigned int i = 0; i < count; ++i) {
      peer.send(bytes, station.port());
    }
    EXPECT_EQ(station.handleDatagrams(count), static_cast<int>(count));
    EXPECT_EQ(station.counters().handedOver, 0U);
  }

  StoppedClock clock;
  LogCapture log{4};
  Station station;
  PlainSocket peer;
  const std::string port = std::to_string(peer.port());
};

}  // namespace

TEST_F(UdpDropLines, TellTheReasonTheNumberAndTheLastSenderOnceASecond) {
  drops(3, "00"_hex);
  EXPECT_EQ(log.brief(), std::vector<std::string>{lineOf("1", port, "shorter than a header")});
  log.clear();
  clock.advance(SECOND - 1);
  drops(1, "00"_hex);
  EXPECT_EQ(log.lines().size(), 0U);
  clock.advance(1);
  PlainSocket another;
  another.send("00"_hex, station.port());
  EXPECT_EQ(station.handleDatagrams(), 1);
  EXPECT_EQ(log.brief(),
            std::vector<std::string>{lineOf("4", std::to_string(another.port()), "shorter than a header")});
}

TEST_F(UdpDropLines, TellTheRestWhenTheSecondIsOverAndNothingIsDroppedAnyMore) {
  drops(3, "00"_hex);
  drops(2, "4F544E32 01 01 0001"_hex);
  log.clear();
  clock.advance(SECOND - 1);
  EXPECT_EQ(station.handleDatagrams(), 0);
  EXPECT_EQ(log.lines().size(), 0U);
  clock.advance(1);
  EXPECT_EQ(station.handleDatagrams(), 0);
  const std::vector<std::string> expected = {lineOf("2", port, "shorter than a header"),
                                             lineOf("1", port, "not of this protocol")};
  EXPECT_EQ(log.brief(), expected);
}

TEST_F(UdpDropLines, OfDifferentReasonsDoNotWaitForEachOther) {
  drops(2, "00"_hex);
  drops(2, "4F544E31 01 03 0001"_hex);
  drops(2, "4F544E32 01 01 0001"_hex);
  const std::vector<std::string> expected = {lineOf("1", port, "shorter than a header"),
                                             lineOf("1", port, "response that nobody waits for"),
                                             lineOf("1", port, "not of this protocol")};
  EXPECT_EQ(log.brief(), expected);
}

TEST_F(UdpDropLines, AreNotWrittenWhileTheLevelIsTooLowAndThenTellWhatWasDroppedMeanwhile) {
  log.setLevel(3);
  drops(5, "00"_hex);
  EXPECT_EQ(log.lines().size(), 0U);
  log.setLevel(4);
  drops(1, "00"_hex);
  EXPECT_EQ(log.brief(), std::vector<std::string>{lineOf("6", port, "shorter than a header")});
}

TEST_F(UdpDropLines, TellOfKeptDatagramsThatWereDroppedWithTheSocket) {
  ASSERT_TRUE(station.setPeer("127.0.0.1", peer.port()));
  ASSERT_TRUE(station.setAllowedPeers({"127.0.0.1"}));
  station.onRequestSent = [this] {
    peer.send("4F544E31 01 01 0007"_hex, station.port());
    peer.send("4F544E31 01 01 0008"_hex, station.port());
    peer.send("4F544E31 01 03 0001 00 0000"_hex, station.port());
  };
  EXPECT_EQ(station.readTemperature(), 1);
  station.close();
  EXPECT_EQ(log.brief(), std::vector<std::string>{lineOf("2", port, "was kept when the socket was closed")});
}

TEST_F(UdpDropLines, TellOfAKeptDatagramWhoseSenderMaySendItNoMore) {
  ASSERT_TRUE(station.setPeer("127.0.0.1", peer.port()));
  ASSERT_TRUE(station.setAllowedPeers({"127.0.0.1"}));
  station.onRequestSent = [this] {
    peer.send("4F544E31 01 01 0007"_hex, station.port());
    peer.send("4F544E31 01 03 0001 00 0000"_hex, station.port());
  };
  EXPECT_EQ(station.readTemperature(), 1);
  ASSERT_TRUE(station.setAllowedPeers({}));
  EXPECT_EQ(station.handleDatagrams(), 1);
  EXPECT_EQ(log.brief(), std::vector<std::string>{lineOf("1", port, "sender may not send this")});
}

// The address of the sender is longer than what a std::string holds in itself: where the line needed a block, a station
// would end the process when it goes while memory runs out.
TEST_F(UdpDropLines, TellOfKeptDatagramsThatWereDroppedWithTheStation) {
  PlainSocket far("127.100.100.100");
  {
    Station another(false);
    ASSERT_TRUE(another.open("0.0.0.0"));
    ASSERT_TRUE(another.setPeer("127.0.0.1", peer.port()));
    ASSERT_TRUE(another.setAllowedPeers({"127.100.100.100"}));
    another.onRequestSent = [&] {
      far.send("4F544E31 01 01 0007"_hex, another.port());
      peer.send("4F544E31 01 03 0001 00 0000"_hex, another.port());
    };
    EXPECT_EQ(another.readTemperature(), 1);
    EXPECT_EQ(another.kept(), 1U);
  }
  EXPECT_EQ(log.brief(), std::vector<std::string>{
                             "4 [WARNING] trelUdp (tellDrops) - dropped 1 since the last such line, the last from "
                             "127.100.100.100:" +
                             std::to_string(far.port()) + ": was kept when the socket was closed"});
}
