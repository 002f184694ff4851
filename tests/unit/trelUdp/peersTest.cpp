// Who may speak to the engine, and whom it speaks to.

#include <gtest/gtest.h>

#include <cstddef>
#include <new>
#include <string>
#include <vector>

#include "plainSocket.h"
#include "station.h"
#include "support/logCapture.h"
#include "support/operatorNew.h"

namespace {

constexpr unsigned int ip(unsigned int a, unsigned int b, unsigned int c, unsigned int d) {
  return a << 24 | b << 16 | c << 8 | d;
}

bool allows(const TrelUdp& udp, unsigned int address) {
  TrelUdpAddress sender;
  sender.ip = address;
  sender.port = 4000;
  return udp.isAllowed(sender);
}

// What an address that may speak gets for a request without variables.
const char* const ANSWERED = "4F544E31 01 03 0001 00 0000";

// Asks from that address; tells what came back.
std::string askedFrom(const char* address, TrelUdp& udp) {
  PlainSocket peer(address);
  peer.send("4F544E31 01 01 0001"_hex, udp.port());
  EXPECT_EQ(udp.handleDatagrams(), 1);
  return peer.receive();
}

// Reports from that address; tells how many reports reached the application.
unsigned int reportsFrom(const char* address, Station& station) {
  const unsigned int before = station.amis;
  PlainSocket peer(address);
  peer.send("4F544E31 01 05 0001 00000064 000003E8 | 10800001 01 0004 00000063"_hex, station.port());
  EXPECT_EQ(station.handleDatagrams(), 1);
  return station.amis - before;
}

}  // namespace

TEST(UdpPeers, WithAnEmptyListOnlyLoopbackMaySpeak) {
  Station station(false);
  ASSERT_TRUE(station.open("0.0.0.0"));
  EXPECT_TRUE(allows(station, ip(127, 0, 0, 1)));
  EXPECT_FALSE(allows(station, ip(10, 0, 0, 1)));
  EXPECT_FALSE(allows(station, ip(192, 168, 0, 1)));
  EXPECT_FALSE(allows(station, 0));
  EXPECT_EQ(askedFrom("127.0.0.1", station), ANSWERED);
}

TEST(UdpPeers, LoopbackIsOneAddressSoThatLocalProgramsCannotTakeAllSenderContexts) {
  Station station(false);
  ASSERT_TRUE(station.open("0.0.0.0"));
  EXPECT_FALSE(allows(station, ip(127, 0, 0, 2)));
  EXPECT_EQ(askedFrom("127.0.0.2", station), "nothing");
  EXPECT_EQ(station.dropped(TREL_UDP_DROP_FOREIGN_SENDER), 1U);
}

TEST(UdpPeers, WhatIsFromAnotherAddressIsDroppedBeforeTheEngineSeesIt) {
  Station station(false);
  ASSERT_TRUE(station.open("0.0.0.0"));
  PlainSocket stranger("127.0.0.2");
  const LogCapture log;
  stranger.send("4F544E31 01 01 0001 | 10800001 01 0004 00000000"_hex, station.port());  // read
  stranger.send("4F544E31 01 02 0002 | 10800001 01 0004 00000063"_hex, station.port());  // write
  stranger.send("4F544E31 01 05 0003 00000000 00000000 | 10800001 01 0004 00000063"_hex, station.port());
  stranger.send("4F544E31 01 03 0004 00 0000 | 10800001 01 0004 00000063"_hex, station.port());
  stranger.send("00000000 00 00 0000"_hex, station.port());
  EXPECT_EQ(station.handleDatagrams(), 5);
  EXPECT_EQ(station.dropped(TREL_UDP_DROP_FOREIGN_SENDER), 5U);
  EXPECT_EQ(station.counters().droppedInAll(), 5U);
  EXPECT_EQ(station.counters().handedOver, 0U);
  EXPECT_EQ(station.temperature(), 42U);
  EXPECT_EQ(stranger.receive(), "nothing");
  EXPECT_EQ(log.lines().size(), 1U) << "the transport's own; the engine writes a line about everything that it sees";
}

TEST(UdpPeers, AllowedAddressesMaySpeakFromAnyPort) {
  Station station(false);
  ASSERT_TRUE(station.open("0.0.0.0"));
  ASSERT_TRUE(station.setAllowedPeers({"127.0.0.2", "127.0.0.3"}));
  EXPECT_EQ(askedFrom("127.0.0.2", station), ANSWERED);
  EXPECT_EQ(askedFrom("127.0.0.2", station), "4F544E31 01 03 0001 02 0000")
      << "another port, the same sender: duplicate";
  EXPECT_EQ(askedFrom("127.0.0.3", station), ANSWERED);
}

TEST(UdpPeers, OnceAnAddressIsNamedLoopbackIsNotImplied) {
  Station station(false);
  ASSERT_TRUE(station.open("0.0.0.0"));
  ASSERT_TRUE(station.setAllowedPeers({"127.0.0.2"}));
  EXPECT_EQ(askedFrom("127.0.0.1", station), "nothing");
  ASSERT_TRUE(station.setAllowedPeers({}));
  EXPECT_EQ(askedFrom("127.0.0.1", station), ANSWERED);
}

TEST(UdpPeers, TheConfiguredPeerIsOneOfThoseAllowed) {
  Station station(false);
  ASSERT_TRUE(station.open("0.0.0.0"));
  ASSERT_TRUE(station.setPeer("127.0.0.2", 4000));
  EXPECT_EQ(reportsFrom("127.0.0.2", station), 1U) << "from another port than 4000";
  EXPECT_EQ(reportsFrom("127.0.0.1", station), 0U) << "the list is not empty: the peer is in it";
  ASSERT_TRUE(station.setPeer("127.0.0.3", 4000));
  EXPECT_EQ(reportsFrom("127.0.0.2", station), 0U) << "it is the peer no more";
  EXPECT_EQ(reportsFrom("127.0.0.3", station), 1U);
}

TEST(UdpPeers, TheEventReceiverIsNotAllowedToSpeakByBeingIt) {
  Station station(false);
  ASSERT_TRUE(station.open("0.0.0.0"));
  ASSERT_TRUE(station.setEventReceiver("127.0.0.2", 4000));
  EXPECT_EQ(askedFrom("127.0.0.2", station), "nothing");
}

TEST(UdpPeers, FiveDifferentAddressesAreAllowedAndASixthIsRefused) {
  TrelUdp udp;
  EXPECT_TRUE(udp.setAllowedPeers({"10.0.0.1", "10.0.0.2", "10.0.0.3", "10.0.0.4", "10.0.0.5"}));
  EXPECT_FALSE(udp.setAllowedPeers({"10.0.0.1", "10.0.0.2", "10.0.0.3", "10.0.0.4", "10.0.0.5", "10.0.0.6"}));
  EXPECT_EQ(
      udp.errorText(),
      "allowed peers: 6 different addresses (10.0.0.1, 10.0.0.2, 10.0.0.3, 10.0.0.4, 10.0.0.5, 10.0.0.6) would be "
      "allowed to speak, and the engine follows 5");
  EXPECT_TRUE(allows(udp, ip(10, 0, 0, 5))) << "a refused list changes nothing";
  EXPECT_FALSE(allows(udp, ip(10, 0, 0, 6)));
}

TEST(UdpPeers, ThePeerCountsAmongTheFive) {
  TrelUdp udp;
  ASSERT_TRUE(udp.setPeer("10.0.0.9", 4000));
  EXPECT_FALSE(udp.setAllowedPeers({"10.0.0.1", "10.0.0.2", "10.0.0.3", "10.0.0.4", "10.0.0.5"}));
  EXPECT_TRUE(udp.setAllowedPeers({"10.0.0.1", "10.0.0.2", "10.0.0.3", "10.0.0.4"}));
  EXPECT_TRUE(udp.setAllowedPeers({"10.0.0.1", "10.0.0.2", "10.0.0.3", "10.0.0.4", "10.0.0.9"})) << "it is in the list";

  EXPECT_FALSE(udp.setPeer("10.0.0.8", 4000));
  EXPECT_EQ(
      udp.errorText(),
      "peer 10.0.0.8:4000: 6 different addresses (10.0.0.1, 10.0.0.2, 10.0.0.3, 10.0.0.4, 10.0.0.9, 10.0.0.8) would "
      "be allowed to speak, and the engine follows 5");
  EXPECT_EQ(udp.peer().str(), "10.0.0.9:4000") << "a refused peer changes nothing";
  EXPECT_TRUE(udp.setPeer("10.0.0.2", 4001)) << "another of the five";
}

// Neither at once nor later, when who may speak is put together anew.
TEST(UdpPeers, AListThatThereIsNoMemoryForChangesNothing) {
  const std::vector<TrelUdpAllowedPeer> list = {"10.0.0.1", "10.0.0.2"};
  bool happened = true;
  std::size_t after = 0;
  for (; happened && after < 100; ++after) {
    TrelUdp udp;
    ASSERT_TRUE(udp.setPeer("10.0.0.9", 4000));
    {
      const NewFailure failure(after);
      try {
        udp.setAllowedPeers(list);
      } catch (const std::bad_alloc&) {
      }
      happened = failure.happened();
    }
    EXPECT_EQ(allows(udp, ip(10, 0, 0, 1)), !happened) << after;
    ASSERT_TRUE(udp.setPeer("10.0.0.9", 4001));
    EXPECT_EQ(allows(udp, ip(10, 0, 0, 1)), !happened) << after;
  }
  EXPECT_GT(after, 2U);
  EXPECT_FALSE(happened);
}

TEST(UdpPeers, APeerThatThereIsNoMemoryForChangesNothing) {
  bool happened = true;
  std::size_t after = 0;
  for (; happened && after < 100; ++after) {
    TrelUdp udp;
    ASSERT_TRUE(udp.setAllowedPeers({"10.0.0.1"}));
    ASSERT_TRUE(udp.setPeer("10.0.0.9", 4000));
    {
      const NewFailure failure(after);
      try {
        udp.setPeer("10.0.0.8", 4000);
      } catch (const std::bad_alloc&) {
      }
      happened = failure.happened();
    }
    EXPECT_EQ(udp.peer().str(), happened ? "10.0.0.9:4000" : "10.0.0.8:4000") << after;
    EXPECT_EQ(allows(udp, ip(10, 0, 0, 8)), !happened) << after;
  }
  EXPECT_GT(after, 2U);
  EXPECT_FALSE(happened);
}

TEST(UdpPeers, AnAddressThatIsNamedTwiceCountsOnce) {
  TrelUdp udp;
  EXPECT_TRUE(udp.setAllowedPeers({"10.0.0.1", "10.0.0.1", "10.0.0.2", "10.0.0.1", "10.0.0.2", "10.0.0.2"}));
  EXPECT_TRUE(allows(udp, ip(10, 0, 0, 2)));
}

TEST(UdpPeers, WhatIsNotTheAddressOfOneMachineIsRefusedAsAPeer) {
  struct Case {
    const char* address;
    unsigned short port;
    const char* error;
  };
  const Case cases[] = {{"", 4000, "peer \"\": no dotted IPv4 address"},
                        {"card7", 4000, "peer \"card7\": no dotted IPv4 address"},
                        {"010.0.0.1", 4000, "peer \"010.0.0.1\": no dotted IPv4 address"},
                        {"fe80::1", 4000, "peer \"fe80::1\": no dotted IPv4 address"},
                        {"0.0.0.0", 4000, "peer 0.0.0.0: not the address of one machine"},
                        {"224.0.0.1", 4000, "peer 224.0.0.1: not the address of one machine"},
                        {"255.255.255.255", 4000, "peer 255.255.255.255: not the address of one machine"},
                        {"10.0.0.1", 0, "peer 10.0.0.1: port 0"}};
  TrelUdp udp;
  for (const Case& c : cases) {
    SCOPED_TRACE(c.error);
    EXPECT_FALSE(udp.setPeer(c.address, c.port));
    EXPECT_EQ(udp.errorText(), c.error);
    EXPECT_EQ(udp.peer().port, 0);
  }
  EXPECT_TRUE(udp.setPeer("223.255.255.255", 65535));
  EXPECT_EQ(udp.peer().str(), "223.255.255.255:65535");
}

TEST(UdpPeers, OneBadAddressRefusesTheWholeList) {
  TrelUdp udp;
  ASSERT_TRUE(udp.setAllowedPeers({"10.0.0.1"}));
  EXPECT_FALSE(udp.setAllowedPeers({"10.0.0.2", "abc"}));
  EXPECT_EQ(udp.errorText(), "allowed peer \"abc\": no dotted IPv4 address");
  EXPECT_FALSE(udp.setAllowedPeers({"10.0.0.2", "0.0.0.0"}));
  EXPECT_EQ(udp.errorText(), "allowed peer 0.0.0.0: not the address of one machine");
  EXPECT_TRUE(allows(udp, ip(10, 0, 0, 1)));
  EXPECT_FALSE(allows(udp, ip(10, 0, 0, 2)));
}

TEST(UdpPeers, TheEventReceiverMayBeAGroupOfMachines) {
  TrelUdp udp;
  EXPECT_EQ(udp.eventReceiver().port, 0);
  EXPECT_TRUE(udp.setEventReceiver("239.1.2.3", 4001));
  EXPECT_EQ(udp.eventReceiver().str(), "239.1.2.3:4001");
  EXPECT_FALSE(udp.setEventReceiver("nobody", 4001));
  EXPECT_EQ(udp.errorText(), "event receiver \"nobody\": no dotted IPv4 address");
  EXPECT_FALSE(udp.setEventReceiver("0.0.0.0", 4001));
  EXPECT_EQ(udp.errorText(), "event receiver 0.0.0.0: not the address of one machine");
  EXPECT_FALSE(udp.setEventReceiver("10.0.0.1", 0));
  EXPECT_EQ(udp.errorText(), "event receiver 10.0.0.1: port 0");
  EXPECT_EQ(udp.eventReceiver().str(), "239.1.2.3:4001");
}
