// The hook that sees every datagram, and what is left when a hook throws.

#include <gtest/gtest.h>

#include <stdexcept>
#include <string>
#include <vector>

#include "plainSocket.h"
#include "station.h"

namespace {

struct Thrown : std::runtime_error {
  Thrown() : std::runtime_error("thrown by a hook") {}
};

class UdpHooks : public testing::Test {
 protected:
  UdpHooks() {
    EXPECT_TRUE(station.setPeer("127.0.0.1", peer.port()));
    EXPECT_TRUE(station.setAllowedPeers({"127.0.0.1"}));  // it asks, too
  }

  void peerAnswers(std::string_view bytes) {
    station.onRequestSent = [this, bytes = std::string(bytes)] { peer.send(bytes, station.port()); };
  }
  // The station serves and asks as if nothing had happened; msgId is the id of its next request.
  void expectThatAllWorks(const std::string& msgId) {
    station.onDatagram = nullptr;
    station.scalar.onUpdate = nullptr;
    station.scalar.onUpdated = nullptr;
    while (station.handleDatagrams() > 0) {
    }
    PlainSocket asker;
    asker.send("4F544E31 01 01 7777"_hex, station.port());
    EXPECT_EQ(station.handleDatagrams(), 1);
    EXPECT_EQ(asker.receive().substr(0, 16), "4F544E31 01 03 7");
    const std::string reply = "4F544E31 01 03 " + msgId + " 00 0000 | 10800003 03 0001 37";
    peerAnswers(operator""_hex(reply.data(), reply.size()));
    EXPECT_EQ(station.readProperty(*station.scalar.limit), 1) << station.lastResult().str();
    EXPECT_EQ(station.scalar.limit->value, 0x37);
    EXPECT_TRUE(station.countersAddUp());
    EXPECT_EQ(station.kept(), 0U);
  }

  Station station;
  PlainSocket peer;
};

}  // namespace

// ----- every datagram is seen -----

TEST_F(UdpHooks, EveryDatagramIsSeenOnceAsItWentThroughTheSocket) {
  PlainSocket asker;
  station.onRequestSent = [&] {
    asker.send("4F544E31 01 01 0007"_hex, station.port());
    peer.send("4F544E31 01 03 0009 00 0000"_hex, station.port());
    peer.send("4F544E31 01 03 0001 00 0000 | 10800001 01 0004 00000063"_hex, station.port());
  };
  EXPECT_EQ(station.readTemperature(), 1);
  EXPECT_EQ(station.handleDatagrams(), 1);
  asker.send("4F544E31 01 01 0008"_hex, station.port());
  EXPECT_EQ(station.handleDatagrams(), 1);
  const std::vector<std::string> expected = {
      "sent 4F544E31 01 01 0001 | 10800001 01 0004 0000002A",
      "kept 4F544E31 01 01 0007",
      "dropped (response to another request than the one that waits) 4F544E31 01 03 0009 00 0000",
      "reply 4F544E31 01 03 0001 00 0000 | 10800001 01 0004 00000063",
      "sent 4F544E31 01 03 0007 00 0000",
      "handed over 4F544E31 01 01 0008",
      "sent 4F544E31 01 03 0008 00 0000"};
  EXPECT_EQ(station.passed, expected);
}

TEST_F(UdpHooks, ItIsToldTheOtherEnd) {
  PlainSocket asker;
  std::vector<std::string> others;
  station.onDatagram = [&](const TrelUdpDatagram& datagram) { others.push_back(datagram.address.str()); };
  asker.send("4F544E31 01 01 0007"_hex, station.port());
  EXPECT_EQ(station.handleDatagrams(), 1);
  const std::string address = "127.0.0.1:" + std::to_string(asker.port());
  EXPECT_EQ(others, (std::vector<std::string>{address, address}));
}

TEST_F(UdpHooks, WhatTheSystemRefusedToSendIsNotSeenAsSent) {
  station.close();
  EXPECT_EQ(station.readTemperature(), 0);
  EXPECT_TRUE(station.passed.empty());
}

// ----- exceptions -----

TEST_F(UdpHooks, AnExceptionOfUpdateLeavesTheTransportAsItWas) {
  PlainSocket asker;
  asker.send("4F544E31 01 01 0001 | 10800001 01 0004 00000000"_hex, station.port());
  station.scalar.onUpdate = [] { throw Thrown(); };
  EXPECT_THROW(station.handleDatagrams(), Thrown);
  EXPECT_EQ(asker.receive(), "nothing");
  expectThatAllWorks("0001");
  const std::string late = "4F544E31 01 01 0001"_hex;
  EXPECT_EQ(station.handleTrelMsg(8, late.data(), "127.0.0.1"), 0) << "no datagram is being handled any more";
}

TEST_F(UdpHooks, AnExceptionWhileAKeptDatagramIsHandledLosesThatOneAlone) {
  station.onRequestSent = [this] {
    peer.send("4F544E31 01 01 0007 | 10800001 01 0004 00000000"_hex, station.port());
    peer.send("4F544E31 01 01 0008"_hex, station.port());
  };
  EXPECT_EQ(station.readTemperature(), 0);
  ASSERT_EQ(station.kept(), 2U);
  station.scalar.onUpdate = [] { throw Thrown(); };
  EXPECT_THROW(station.handleDatagrams(), Thrown);
  EXPECT_EQ(station.kept(), 1U);
  peer.receive();
  EXPECT_EQ(station.handleDatagrams(), 1);
  EXPECT_EQ(peer.receive(), "4F544E31 01 03 0008 00 0000");
  expectThatAllWorks("0002");
}

TEST_F(UdpHooks, AnExceptionOfUpdatedLeavesTheResultOfItsOperation) {
  peerAnswers("4F544E31 01 03 0001 00 0000 | 10800001 01 0004 00000063"_hex);
  station.scalar.onUpdated = [] { throw Thrown(); };
  EXPECT_THROW(station.readTemperature(), Thrown);
  EXPECT_EQ(station.lastResult().outcome, TREL_UDP_OK);
  expectThatAllWorks("0002");
}

TEST_F(UdpHooks, AnExceptionWhenTheRequestWasSentEndsItsWait) {
  station.onDatagram = [](const TrelUdpDatagram& datagram) {
    if (datagram.fate == TREL_UDP_SENT) throw Thrown();
  };
  EXPECT_THROW(station.readTemperature(), Thrown);
  EXPECT_EQ(station.lastResult().outcome, TREL_UDP_NO_REPLY);
  EXPECT_EQ(station.lastResult().error,
            "an exception ended the wait for the reply of 127.0.0.1:" + std::to_string(peer.port()));
  peer.send("4F544E31 01 03 0001 00 0000 | 10800001 01 0004 00000058"_hex, station.port());
  station.onDatagram = nullptr;
  EXPECT_EQ(station.handleDatagrams(), 1);
  EXPECT_EQ(station.dropped(TREL_UDP_DROP_UNAWAITED_REPLY), 1U) << "nobody waits for it any more";
  EXPECT_EQ(station.temperature(), 42U);
  expectThatAllWorks("0002");
}

TEST_F(UdpHooks, AnExceptionWhenTheReplyIsSeenLosesTheReply) {
  peerAnswers("4F544E31 01 03 0001 00 0000 | 10800001 01 0004 00000063"_hex);
  station.onDatagram = [](const TrelUdpDatagram& datagram) {
    if (datagram.fate == TREL_UDP_REPLY) throw Thrown();
  };
  EXPECT_THROW(station.readTemperature(), Thrown);
  EXPECT_EQ(station.temperature(), 42U);
  EXPECT_EQ(station.lastResult().error,
            "an exception ended the wait for the reply of 127.0.0.1:" + std::to_string(peer.port()));
  expectThatAllWorks("0002");
}

TEST_F(UdpHooks, AnExceptionWhenADatagramIsHandedOverLosesItAndItCountsAsHandedOver) {
  peer.send("4F544E31 01 01 0007"_hex, station.port());
  station.onDatagram = [](const TrelUdpDatagram&) { throw Thrown(); };
  EXPECT_THROW(station.handleDatagrams(), Thrown);
  EXPECT_EQ(peer.receive(), "nothing");
  EXPECT_EQ(station.counters().handedOver, 1U);
  expectThatAllWorks("0001");
}

TEST_F(UdpHooks, AnExceptionWhenADatagramIsKeptLosesItNot) {
  station.onRequestSent = [this] { peer.send("4F544E31 01 01 0007"_hex, station.port()); };
  station.onDatagram = [](const TrelUdpDatagram& datagram) {
    if (datagram.fate == TREL_UDP_KEPT) throw Thrown();
  };
  EXPECT_THROW(station.readTemperature(), Thrown);
  EXPECT_EQ(station.kept(), 1U);
  peer.receive();
  EXPECT_EQ(station.handleDatagrams(), 1);
  EXPECT_EQ(peer.receive(), "4F544E31 01 03 0007 00 0000");
  expectThatAllWorks("0002");
}

TEST_F(UdpHooks, AnExceptionInANestedRequestLeavesTheOuterOneToItsHook) {
  bool caught = false;
  unsigned int sent = 0;
  station.onDatagram = [&](const TrelUdpDatagram& datagram) {
    if (datagram.fate != TREL_UDP_SENT) return;
    if (++sent == 2) throw Thrown();
    try {
      station.readProperty(*station.scalar.limit);
    } catch (const Thrown&) {
      caught = true;
    }
    peer.send("4F544E31 01 03 0001 00 0000 | 10800001 01 0004 00000063"_hex, station.port());
  };
  EXPECT_EQ(station.readTemperature(), 1);
  EXPECT_TRUE(caught);
  EXPECT_EQ(station.temperature(), 99U);
  expectThatAllWorks("0003");
}

TEST_F(UdpHooks, AnExceptionOfASerializingPropertyIsNoSentRequest) {
  class Thrower : public TypeProperty<unsigned int> {
   public:
    Thrower() : TypeProperty<unsigned int>(9, "thrower", IFC_CARD_VAR_READ_WRITE, 0U) {}
    int serialize(char*, int) override { throw Thrown(); }
  };
  Thrower thrower;
  EXPECT_THROW(station.readProperty(thrower), Thrown);
  EXPECT_EQ(station.lastResult().outcome, TREL_UDP_NOT_SENT);
  EXPECT_EQ(peer.receive(), "nothing");
  expectThatAllWorks("0002");
}
