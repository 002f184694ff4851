// Calls inside calls: hooks that ask the peer, hooks that handle datagrams, requests inside a wait.

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "plainSocket.h"
#include "station.h"

namespace {

class UdpNesting : public testing::Test {
 protected:
  UdpNesting() {
    EXPECT_TRUE(station.setPeer("127.0.0.1", peer.port()));
    EXPECT_TRUE(station.setAllowedPeers({"127.0.0.1"}));  // it asks, too
  }

  Station station;
  PlainSocket peer;
  PlainSocket asker;
};

}  // namespace

TEST_F(UdpNesting, EachAnswerGoesToItsOwnAskerWhenAHookHandlesTheNextDatagram) {
  PlainSocket second;
  PlainSocket third;
  asker.send("4F544E31 01 01 0001 | 10800001 01 0004 00000000"_hex, station.port());
  second.send("4F544E31 01 01 0002 | 10800002 02 0002 0000"_hex, station.port());
  third.send("4F544E31 01 01 0003 | 10800003 03 0001 00"_hex, station.port());
  station.scalar.onUpdate = [this] { station.handleDatagrams(1); };
  EXPECT_EQ(station.handleDatagrams(1), 1);
  EXPECT_EQ(asker.receive(), "4F544E31 01 03 0001 00 0000 | 10800001 01 0004 0000002A");
  EXPECT_EQ(second.receive(), "4F544E31 01 03 0002 00 0000 | 10800002 02 0002 0007");
  EXPECT_EQ(third.receive(), "4F544E31 01 03 0003 00 0000 | 10800003 03 0001 0A");
  EXPECT_TRUE(station.countersAddUp());
}

TEST_F(UdpNesting, TheDatagramThatIsBeingHandledIsNotOverwrittenByANestedOne) {
  PlainSocket second;
  asker.send("4F544E31 01 02 0001 | 10800001 01 0004 00000063 | 10800003 03 0001 09"_hex, station.port());
  second.send("4F544E31 01 02 0002 | 10800001 01 0004 00000011 | 10800003 03 0001 05"_hex, station.port());
  bool nested = false;
  station.scalar.onUpdate = [&] {
    if (nested) return;
    nested = true;
    station.handleDatagrams(1);
  };
  EXPECT_EQ(station.handleDatagrams(1), 1);
  EXPECT_EQ(station.temperature(), 99U) << "the outer write is stored last, with its own bytes";
  EXPECT_EQ(station.scalar.limit->value, 9);
  EXPECT_EQ(asker.receive(), "4F544E31 01 04 0001 00 0000");
  EXPECT_EQ(second.receive(), "4F544E31 01 04 0002 00 0000");
}

TEST_F(UdpNesting, AHookMayAskThePeerWhileARequestIsBeingAnswered) {
  asker.send("4F544E31 01 01 0001 | 10800001 01 0004 00000000"_hex, station.port());
  station.scalar.onUpdate = [this] {
    station.scalar.onUpdate = nullptr;
    EXPECT_EQ(station.readProperty(*station.scalar.limit), 1);
  };
  station.onRequestSent = [this] {
    peer.send("4F544E31 01 03 0001 00 0000 | 10800003 03 0001 63"_hex, station.port());
  };
  EXPECT_EQ(station.handleDatagrams(), 1);
  EXPECT_EQ(station.scalar.limit->value, 99);
  EXPECT_EQ(peer.receive(), "4F544E31 01 01 0001 | 10800003 03 0001 0A");
  EXPECT_EQ(peer.receive(), "nothing") << "the answer is not the peer's";
  EXPECT_EQ(asker.receive(), "4F544E31 01 03 0001 00 0000 | 10800001 01 0004 0000002A");
}

TEST_F(UdpNesting, AHookMayAskThePeerOnWhoseBehalfItRuns) {
  peer.send("4F544E31 01 02 0009 | 10800001 01 0004 00000063"_hex, station.port());
  station.scalar.onUpdated = [this] {
    station.scalar.onUpdated = nullptr;
    EXPECT_EQ(station.readProperty(*station.scalar.limit), 1);
  };
  station.onRequestSent = [this] { peer.send("4F544E31 01 03 0001 00 0000"_hex, station.port()); };
  EXPECT_EQ(station.handleDatagrams(), 1);
  EXPECT_EQ(peer.receive(), "4F544E31 01 01 0001 | 10800003 03 0001 0A");
  EXPECT_EQ(peer.receive(), "4F544E31 01 04 0009 00 0000");
}

TEST_F(UdpNesting, AHookThatProcessesAReplyMayAskAgain) {
  station.onRequestSent = [this] {
    peer.send("4F544E31 01 03 0001 00 0000 | 10800001 01 0004 00000063 | 10800003 03 0001 09"_hex, station.port());
    peer.send("4F544E31 01 03 0002 00 0000 | 10800002 02 0002 0058"_hex, station.port());
  };
  std::string nested;
  station.scalar.onUpdated = [&] {
    station.scalar.onUpdated = nullptr;
    station.onRequestSent = [this] {
      peer.send("4F544E31 01 03 0002 00 0000 | 10800002 02 0002 0058"_hex, station.port());
    };
    EXPECT_EQ(station.readProperty(*station.scalar.serialNumber), 1);
    nested = station.lastResult().str();
  };
  EXPECT_EQ(station.readPropertys({station.scalar.temperature, station.scalar.limit}), 1);
  EXPECT_EQ(station.temperature(), 99U);
  EXPECT_EQ(station.scalar.serialNumber->value, 88);
  EXPECT_EQ(station.scalar.limit->value, 9) << "the rest of the outer reply is applied behind the nested one";
  EXPECT_EQ(nested, "ok: RESULT OK (0)");
  EXPECT_EQ(station.dropped(TREL_UDP_DROP_UNAWAITED_REPLY), 1U) << "a reply before its request";
}

TEST_F(UdpNesting, TheResultOfANestedOperationDoesNotReplaceThatOfTheOuterOne) {
  station.onRequestSent = [this] {
    peer.send("4F544E31 01 03 0001 03 0000 | 10800001 01 0004 00000063"_hex, station.port());
  };
  station.scalar.onUpdated = [this] {
    station.onRequestSent = [this] { peer.send("4F544E31 01 04 0002 0A 0000"_hex, station.port()); };
    EXPECT_EQ(station.writeProperty(*station.scalar.serialNumber), 0);
    EXPECT_EQ(station.lastResult().str(), "refused: RESULT READ ONLY (10), variable 0, serialNumber");
  };
  EXPECT_EQ(station.readTemperature(), 1);
  EXPECT_EQ(station.lastResult().str(), "ok: RESULT LOST MSG (3)");
}

TEST_F(UdpNesting, TheErrorAnswerToAReplyOfAnotherVersionGoesToNobody) {
  asker.send("4F544E31 01 01 0005 | 10800001 01 0004 00000000"_hex, station.port());
  station.scalar.onUpdate = [this] {
    station.scalar.onUpdate = nullptr;
    EXPECT_EQ(station.readProperty(*station.scalar.limit), 0);
  };
  station.onRequestSent = [this] { peer.send("4F544E31 02 03 0001 01 0000"_hex, station.port()); };
  EXPECT_EQ(station.handleDatagrams(), 1);
  EXPECT_EQ(peer.receive(), "4F544E31 01 01 0001 | 10800003 03 0001 0A");
  EXPECT_EQ(peer.receive(), "nothing");
  EXPECT_EQ(asker.receive(), "4F544E31 01 03 0005 00 0000 | 10800001 01 0004 0000002A");
  EXPECT_EQ(asker.receive(), "nothing");
}

TEST_F(UdpNesting, ARequestInsideAWaitGetsItsReplyAndTheOuterOneItsOwn) {
  int inner = -1;
  unsigned int requests = 0;
  station.onRequestSent = [&] {
    if (++requests == 1) {
      inner = station.readProperty(*station.scalar.limit);
    } else {
      // The outer reply comes first, in the middle of the inner wait.
      peer.send("4F544E31 01 03 0001 00 0000 | 10800001 01 0004 00000063"_hex, station.port());
      peer.send("4F544E31 01 03 0002 00 0000 | 10800003 03 0001 09"_hex, station.port());
    }
  };
  EXPECT_EQ(station.readTemperature(), 1);
  EXPECT_EQ(inner, 1);
  EXPECT_EQ(station.temperature(), 99U);
  EXPECT_EQ(station.scalar.limit->value, 9);
  EXPECT_EQ(station.counters().replies, 2U);
  EXPECT_EQ(station.counters().droppedInAll(), 0U);
  EXPECT_EQ(station.lastResult().str(), "ok: RESULT OK (0)");
}

TEST_F(UdpNesting, ARequestInsideAWaitThatGetsNoReplyDoesNotHarmTheOuterOne) {
  int inner = -1;
  unsigned int requests = 0;
  station.onRequestSent = [&] {
    if (++requests > 1) return;
    inner = station.readProperty(*station.scalar.limit);
    EXPECT_EQ(station.lastResult().outcome, TREL_UDP_NO_REPLY);
    peer.send("4F544E31 01 03 0001 00 0000 | 10800001 01 0004 00000063"_hex, station.port());
  };
  EXPECT_EQ(station.readTemperature(), 1);
  EXPECT_EQ(inner, 0);
  EXPECT_EQ(station.lastResult().outcome, TREL_UDP_OK);
}

TEST_F(UdpNesting, AReplyThatAHookTakesFromTheSocketEndsTheWaitForIt) {
  station.onRequestSent = [this] {
    peer.send("4F544E31 01 03 0001 00 0000 | 10800001 01 0004 00000063"_hex, station.port());
    EXPECT_EQ(station.handleDatagrams(), 1);
  };
  EXPECT_EQ(station.readTemperature(), 1);
  EXPECT_EQ(station.temperature(), 99U);
  EXPECT_TRUE(station.countersAddUp());
}

TEST_F(UdpNesting, ARequestInsideAWaitMayGoToAnotherPeer) {
  PlainSocket other;
  unsigned int requests = 0;
  station.onRequestSent = [&] {
    if (++requests == 1) {
      ASSERT_TRUE(station.setPeer("127.0.0.1", other.port()));
      EXPECT_EQ(station.readProperty(*station.scalar.limit), 1);
      peer.send("4F544E31 01 03 0001 00 0000 | 10800001 01 0004 00000063"_hex, station.port());
    } else {
      other.send("4F544E31 01 03 0001 00 0000 | 10800001 01 0004 00000058"_hex, station.port());  // not asked for that
      other.send("4F544E31 01 03 0002 00 0000 | 10800003 03 0001 09"_hex, station.port());
    }
  };
  EXPECT_EQ(station.readTemperature(), 1) << "its reply is still awaited from the peer that was asked";
  EXPECT_EQ(station.temperature(), 99U);
  EXPECT_EQ(station.scalar.limit->value, 9);
  EXPECT_EQ(station.dropped(TREL_UDP_DROP_STALE_REPLY), 1U);
}

TEST_F(UdpNesting, ARequestThroughTheEnginesOwnOperationsWorksToo) {
  TrelProtocolBase& engine = station;
  station.onRequestSent = [this] { peer.send("4F544E31 01 04 0001 0A 0000"_hex, station.port()); };
  EXPECT_EQ(engine.writeProperty(*station.scalar.serialNumber), 0);
  EXPECT_EQ(station.lastResult().str(), "refused: RESULT READ ONLY (10), variable 0, serialNumber");
}

TEST_F(UdpNesting, ANestedRequestThroughTheEnginesOwnOperationsLeavesTheResultOfTheOuterOne) {
  station.onRequestSent = [this] {
    peer.send("4F544E31 01 03 0001 00 0000 | 10800001 01 0004 00000063"_hex, station.port());
  };
  station.scalar.onUpdated = [this] {
    TrelProtocolBase& engine = station;
    station.onRequestSent = [this] { peer.send("4F544E31 01 04 0002 0A 0000"_hex, station.port()); };
    EXPECT_EQ(engine.writeProperty(*station.scalar.serialNumber), 0);
    EXPECT_EQ(station.lastResult().code, RESULT_READ_ONLY);
  };
  EXPECT_EQ(station.readTemperature(), 1);
  EXPECT_EQ(station.lastResult().str(), "ok: RESULT OK (0)");
}

TEST_F(UdpNesting, ARequestThroughTheEngineIsNotTakenForAnEarlierOneThatWasNotSent) {
  TrelScalar empty("empty", 2, false);
  EXPECT_EQ(station.readObject(empty), 0);
  TrelProtocolBase& engine = station;
  EXPECT_EQ(engine.readProperty(*station.scalar.temperature), 0);
  EXPECT_EQ(station.lastResult().outcome, TREL_UDP_NO_REPLY);
}

TEST_F(UdpNesting, TheReplyOfTheOuterRequestIsTakenOnceWhileTheInnerOneWaits) {
  unsigned int requests = 0;
  station.onRequestSent = [&] {
    if (++requests == 1) {
      EXPECT_EQ(station.readProperty(*station.scalar.limit), 1);
    } else {
      peer.send("4F544E31 01 03 0001 00 0000 | 10800001 01 0004 00000063"_hex, station.port());
      peer.send("4F544E31 01 03 0001 00 0000 | 10800001 01 0004 00000058"_hex, station.port());
      peer.send("4F544E31 01 03 0002 00 0000 | 10800003 03 0001 09"_hex, station.port());
    }
  };
  EXPECT_EQ(station.readTemperature(), 1);
  EXPECT_EQ(station.temperature(), 99U);
  EXPECT_EQ(station.counters().replies, 2U);
  EXPECT_EQ(station.dropped(TREL_UDP_DROP_DUPLICATE_REPLY), 1U);
}

// ----- how deep -----

TEST_F(UdpNesting, AHookThatHandlesDatagramsIsInsideItselfFourTimesAtMostWhileDatagramsCome) {
  unsigned int depth = 0;
  unsigned int deepest = 0;
  station.onDatagram = [&](const TrelUdpDatagram&) {
    deepest = std::max(deepest, ++depth);
    if (station.counters().received < 1000) peer.send("00"_hex, station.port());
    station.handleDatagrams();
    --depth;
  };
  peer.send("00"_hex, station.port());
  EXPECT_GT(station.handleDatagrams(), 0);
  EXPECT_EQ(deepest, 4U);
  EXPECT_TRUE(station.countersAddUp());
}

TEST_F(UdpNesting, AnUpdateThatHandlesDatagramsIsInsideItselfFourTimesAtMostAndAllAreAnswered) {
  unsigned int depth = 0;
  unsigned int deepest = 0;
  station.scalar.onUpdate = [&] {
    deepest = std::max(deepest, ++depth);
    station.handleDatagrams();
    --depth;
  };
  for (int i = 0; i < 10; ++i) {
    asker.send("4F544E31 01 01 0001 | 10800001 01 0004 00000000"_hex, station.port());
  }
  while (station.handleDatagrams() > 0) {
  }
  EXPECT_EQ(deepest, 4U);
  EXPECT_EQ(station.counters().responsesSent, 10U);
}

// A hook that goes on until everything is handled would go on for ever.
TEST_F(UdpNesting, InsideFourCallsOfHandleDatagramsThereIsNothingToWaitFor) {
  unsigned int depth = 0;
  bool there = true;
  std::string error;
  station.onDatagram = [&](const TrelUdpDatagram&) {
    if (++depth < 4) {
      station.handleDatagrams(1);
    } else if (depth == 4) {
      there = station.waitForDatagram(60000);
      error = station.errorText();
    }
  };
  for (int i = 0; i < 5; ++i) {
    peer.send("00"_hex, station.port());
  }
  EXPECT_EQ(station.handleDatagrams(1), 1);
  EXPECT_FALSE(there);
  EXPECT_EQ(error, "wait: 4 calls of handleDatagrams, one inside the other, are all");
  EXPECT_TRUE(station.waitForDatagram(0)) << "outside of them the fifth one is";
}

TEST_F(UdpNesting, AHookThatAsksForEachDatagramHasFourRequestsWaitingAtMost) {
  station.setReplyTimeout(0);
  unsigned int depth = 0;
  unsigned int deepest = 0;
  std::string refused;
  station.onRequestSent = [this] {
    if (station.counters().received < 1000) peer.send("00"_hex, station.port());
  };
  station.onDatagram = [&](const TrelUdpDatagram& datagram) {
    if (datagram.fate != TREL_UDP_DROPPED) return;
    deepest = std::max(deepest, ++depth);
    station.readTemperature();
    if (station.lastResult().outcome == TREL_UDP_NOT_SENT && refused.empty()) refused = station.lastResult().str();
    --depth;
  };
  EXPECT_EQ(station.readTemperature(), 0);
  EXPECT_EQ(deepest, 4U);
  EXPECT_EQ(refused, "not sent: request 5: 4 requests wait already, one inside the other");
  EXPECT_EQ(station.lastResult().outcome, TREL_UDP_NO_REPLY) << "the outermost has its own result";
}

TEST_F(UdpNesting, DatagramsOfAnyLengthInsideEachOtherAreWhole) {
  const std::string lengths[] = {std::string(9, 'a'), std::string(65507, 'b'), std::string(), std::string(3, 'd')};
  std::vector<std::string> before;
  std::vector<std::string> after;
  station.onDatagram = [&](const TrelUdpDatagram& datagram) {
    before.emplace_back(datagram.bytes, datagram.length);
    station.handleDatagrams(1);
    after.emplace_back(datagram.bytes, datagram.length);
  };
  for (const std::string& bytes : lengths) {
    peer.send(bytes, station.port());
  }
  EXPECT_EQ(station.handleDatagrams(1), 1);
  EXPECT_EQ(before, (std::vector<std::string>{lengths[0], lengths[1], lengths[2], lengths[3]}));
  EXPECT_EQ(after, (std::vector<std::string>{lengths[3], lengths[2], lengths[1], lengths[0]}));
  EXPECT_EQ(station.dropped(TREL_UDP_DROP_CUT), 0U);
}

// ----- datagrams that the application hands to its engine -----

TEST_F(UdpNesting, TheAnswerToADatagramOfTheApplicationIsNotTheAnswerToTheOneThatIsBeingHandled) {
  const std::string others[] = {"4F544E31 01 01 7777"_hex, "4F544E31 01 02 0001"_hex};
  asker.send("4F544E31 01 01 0001 | 10800001 01 0004 00000000"_hex, station.port());
  station.scalar.onUpdate = [&] {
    for (const std::string& bytes : others) {
      EXPECT_EQ(station.handleTrelMsg(8, bytes.data(), "127.0.0.1"), 0);
    }
    EXPECT_EQ(station.errorText(), "response 1: answers no datagram that is being handled");
  };
  EXPECT_EQ(station.handleDatagrams(), 1);
  EXPECT_EQ(asker.receive(), "4F544E31 01 03 0001 00 0000 | 10800001 01 0004 0000002A");
  EXPECT_EQ(asker.receive(), "nothing");
}

TEST_F(UdpNesting, ADatagramHasOneAnswerWhateverTheApplicationHandsToItsEngine) {
  const std::string like = "4F544E31 01 01 0001"_hex;
  asker.send("4F544E31 01 01 0001 | 10800001 01 0004 00000000"_hex, station.port());
  station.scalar.onUpdate = [&] { station.handleTrelMsg(8, like.data(), "127.0.0.1"); };
  EXPECT_EQ(station.handleDatagrams(), 1);
  EXPECT_NE(asker.receive(), "nothing");
  EXPECT_EQ(asker.receive(), "nothing");
}

// ----- results -----

TEST_F(UdpNesting, ARequestThatGetsNoReplyBeforeTheOperationHasItsMessageIdIsNotItsRequest) {
  class Asker : public Station {
   public:
    unsigned short getNewMessageId() override {
      if (asksFirst) {
        asksFirst = false;
        TrelProtocolBase& engine = *this;
        EXPECT_EQ(engine.readProperty(*scalar.temperature), 0);
      }
      return Station::getNewMessageId();
    }
    bool asksFirst = true;
  };
  Asker first;
  ASSERT_TRUE(first.setPeer("127.0.0.1", peer.port()));
  first.onRequestSent = [&] { peer.send("4F544E31 01 04 0002 00 0000"_hex, first.port()); };
  EXPECT_EQ(first.writeTemperature(99), 1);
  EXPECT_EQ(first.lastResult().str(), "ok: RESULT OK (0)");
}
