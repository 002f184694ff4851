// Who may send what, through sockets: managers ask, cards report, and whoever was asked answers.

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "plainSocket.h"
#include "station.h"

namespace {

// Open to every address, so that 127.0.0.x are different machines.
class UdpRoles : public testing::Test {
 protected:
  UdpRoles() : station(false) { EXPECT_TRUE(station.open("0.0.0.0")); }

  // Whether a request from there is answered.
  bool mayAsk(const char* address) {
    PlainSocket sender(address);
    sender.send("4F544E31 01 01 0001"_hex, station.port());
    EXPECT_EQ(station.handleDatagrams(), 1);
    return sender.receive() != "nothing";
  }
  // Whether a write from there is executed.
  bool mayWrite(const char* address) {
    PlainSocket sender(address);
    station.scalar.temperature->value = 42;
    sender.send("4F544E31 01 02 0001 | 10800001 01 0004 00000063"_hex, station.port());
    EXPECT_EQ(station.handleDatagrams(), 1);
    return station.temperature() == 99;
  }
  // Whether an autonomous message from there is taken.
  bool mayReport(const char* address) {
    PlainSocket sender(address);
    const unsigned int before = station.amis;
    station.scalar.temperature->value = 42;
    sender.send("4F544E31 01 05 0001 00000064 000003E8 | 10800001 01 0004 00000063"_hex, station.port());
    EXPECT_EQ(station.handleDatagrams(), 1);
    EXPECT_EQ(station.temperature() == 99, station.amis == before + 1);
    return station.amis == before + 1;
  }
  // "asks, writes, reports", as far as it may.
  std::string rights(const char* address) {
    std::string found;
    if (mayAsk(address)) found += "asks ";
    if (mayWrite(address)) found += "writes ";
    if (mayReport(address)) found += "reports ";
    return found;
  }

  Station station;
};

TrelUdpAddress addressOf(unsigned int ip) {
  TrelUdpAddress address;
  address.ip = ip;
  address.port = 4000;
  return address;
}

}  // namespace

TEST_F(UdpRoles, WhereNobodyIsNamedLoopbackIsManagerAndCard) {
  EXPECT_EQ(rights("127.0.0.1"), "asks writes reports ");
  EXPECT_EQ(rights("127.0.0.2"), "");
}

TEST_F(UdpRoles, ThePeerIsACard) {
  ASSERT_TRUE(station.setPeer("127.0.0.2", 4000));
  EXPECT_EQ(rights("127.0.0.2"), "reports ");
  EXPECT_EQ(station.dropped(TREL_UDP_DROP_ROLE), 2U);
  EXPECT_EQ(station.counters().droppedInAll(), 2U);
  EXPECT_EQ(rights("127.0.0.1"), "") << "somebody is named";
}

TEST_F(UdpRoles, AnAllowedAddressWithoutARoleIsAManager) {
  ASSERT_TRUE(station.setAllowedPeers({"127.0.0.2", std::string("127.0.0.3")}));
  EXPECT_EQ(rights("127.0.0.2"), "asks writes ");
  EXPECT_EQ(rights("127.0.0.3"), "asks writes ");
  EXPECT_EQ(station.dropped(TREL_UDP_DROP_ROLE), 2U);
}

TEST_F(UdpRoles, AnAllowedAddressThatIsThePeerTooHasBothRolesInWhateverOrderTheyWereNamed) {
  ASSERT_TRUE(station.setAllowedPeers({"127.0.0.2"}));
  ASSERT_TRUE(station.setPeer("127.0.0.2", 4000));
  EXPECT_EQ(rights("127.0.0.2"), "asks writes reports ");
  ASSERT_TRUE(station.setPeer("127.0.0.3", 4000));
  EXPECT_EQ(rights("127.0.0.2"), "asks writes ");
  ASSERT_TRUE(station.setAllowedPeers({"127.0.0.3"}));
  EXPECT_EQ(rights("127.0.0.3"), "asks writes reports ");
}

TEST_F(UdpRoles, EachAddressMayBeGivenItsRole) {
  ASSERT_TRUE(station.setAllowedPeers(
      {{"127.0.0.1", TREL_UDP_ROLE_MANAGER}, {"127.0.0.2", TREL_UDP_ROLE_CARD}, {"127.0.0.3", TREL_UDP_ROLE_BOTH}}));
  EXPECT_EQ(rights("127.0.0.1"), "asks writes ");
  EXPECT_EQ(rights("127.0.0.2"), "reports ");
  EXPECT_EQ(rights("127.0.0.3"), "asks writes reports ");
  EXPECT_TRUE(station.countersAddUp());
}

TEST_F(UdpRoles, AnAddressThatIsNamedTwiceHasBothOfItsRoles) {
  ASSERT_TRUE(station.setAllowedPeers({{"127.0.0.2", TREL_UDP_ROLE_MANAGER}, {"127.0.0.2", TREL_UDP_ROLE_CARD}}));
  EXPECT_EQ(rights("127.0.0.2"), "asks writes reports ");
}

TEST_F(UdpRoles, WhatIsNoRoleRefusesTheWholeList) {
  ASSERT_TRUE(station.setAllowedPeers({"127.0.0.2"}));
  EXPECT_FALSE(station.setAllowedPeers({"127.0.0.3", {"127.0.0.4", TREL_UDP_ROLE_NONE}}));
  EXPECT_EQ(station.errorText(), "allowed peer 127.0.0.4: 0 is no role");
  EXPECT_FALSE(station.setAllowedPeers({{"127.0.0.4", static_cast<TrelUdpRole>(4)}}));
  EXPECT_EQ(station.errorText(), "allowed peer 127.0.0.4: 4 is no role");
  EXPECT_EQ(rights("127.0.0.2"), "asks writes ");
  EXPECT_EQ(rights("127.0.0.3"), "");
}

TEST_F(UdpRoles, ACardMayNotAskAndItsAnswerIsTakenAllTheSame) {
  PlainSocket card("127.0.0.2");
  ASSERT_TRUE(station.setPeer("127.0.0.2", card.port()));
  station.onRequestSent = [&] {
    card.send("4F544E31 01 02 0001 | 10800001 01 0004 00000058"_hex, station.port());
    card.send("4F544E31 01 03 0001 00 0000 | 10800001 01 0004 00000063"_hex, station.port());
  };
  EXPECT_EQ(station.readTemperature(), 1);
  EXPECT_EQ(station.temperature(), 99U);
  EXPECT_EQ(station.kept(), 0U) << "what may not pass is not kept either";
  EXPECT_EQ(station.dropped(TREL_UDP_DROP_ROLE), 1U);
  EXPECT_TRUE(station.countersAddUp());
}

TEST_F(UdpRoles, TheRoleOfAnAddressCanBeAskedFor) {
  EXPECT_EQ(station.roleOf(addressOf(0x7F000001)), TREL_UDP_ROLE_BOTH);
  EXPECT_EQ(station.roleOf(addressOf(0x7F000002)), TREL_UDP_ROLE_NONE);
  ASSERT_TRUE(station.setAllowedPeers({"10.0.0.1"}));
  ASSERT_TRUE(station.setPeer("10.0.0.2", 4000));
  EXPECT_EQ(station.roleOf(addressOf(0x7F000001)), TREL_UDP_ROLE_NONE);
  EXPECT_EQ(station.roleOf(addressOf(0x0A000001)), TREL_UDP_ROLE_MANAGER);
  EXPECT_EQ(station.roleOf(addressOf(0x0A000002)), TREL_UDP_ROLE_CARD);
}

TEST_F(UdpRoles, ThePeersAreShownWithTheirRolesAndWhatCameFromThem) {
  ASSERT_TRUE(station.setPeer("127.0.0.2", 4000));
  ASSERT_TRUE(station.setAllowedPeers({"127.0.0.3"}));
  mayAsk("127.0.0.2");
  mayReport("127.0.0.2");
  mayAsk("127.0.0.3");
  mayAsk("127.0.0.4");
  const std::vector<TrelUdpPeer> peers = station.peers();
  ASSERT_EQ(peers.size(), 2U);
  EXPECT_EQ(peers[0].ip, 0x7F000003U);
  EXPECT_EQ(peers[0].role, TREL_UDP_ROLE_MANAGER);
  EXPECT_EQ(peers[0].received, 1U);
  EXPECT_EQ(peers[0].dropped, 0U);
  EXPECT_EQ(peers[1].ip, 0x7F000002U);
  EXPECT_EQ(peers[1].role, TREL_UDP_ROLE_CARD);
  EXPECT_EQ(peers[1].received, 2U);
  EXPECT_EQ(peers[1].dropped, 1U);
}

TEST_F(UdpRoles, WhereNobodyIsNamedLoopbackIsTheOnlyPeerShown) {
  const std::vector<TrelUdpPeer> peers = station.peers();
  ASSERT_EQ(peers.size(), 1U);
  EXPECT_EQ(peers[0].ip, 0x7F000001U);
  EXPECT_EQ(peers[0].role, TREL_UDP_ROLE_BOTH);
}
