// What a warm transport costs in blocks of memory.

#include <gtest/gtest.h>

#include "plainSocket.h"
#include "socketFaults.h"
#include "station.h"
#include "support/operatorNew.h"

namespace {

// Without the notes that Station keeps.
class QuietStation : public Station {
 public:
  void datagramPassed(const TrelUdpDatagram&) override {}
};

}  // namespace

TEST(UdpCost, AWarmTransportAnswersWithoutAllocating) {
  QuietStation station;
  PlainSocket peer;
  for (int warming = 0; warming < 2; ++warming) {
    peer.send("4F544E31 01 01 0001 | 10800001 01 0004 00000000"_hex, station.port());
    peer.send("4F544E31 01 02 0002 | 10800001 01 0004 00000063"_hex, station.port());
    ASSERT_EQ(station.handleDatagrams(), 2);
  }
  peer.send("4F544E31 01 01 0001 | 10800001 01 0004 00000000"_hex, station.port());
  peer.send("4F544E31 01 02 0002 | 10800001 01 0004 00000063"_hex, station.port());
  const std::size_t before = newBlocks();
  const int handled = station.handleDatagrams();
  const std::size_t after = newBlocks();
  EXPECT_EQ(handled, 2);
  EXPECT_EQ(after, before);
}

TEST(UdpCost, WhatIsDroppedAllocatesNothing) {
  const StoppedClock clock;
  QuietStation station;
  ASSERT_TRUE(station.setPeerRate({1, 1}));
  PlainSocket peer;
  const std::string datagrams[] = {"00"_hex, "4F544E31 01 03 0001"_hex, "4F544E32 01 01 0001"_hex,
                                   "4F544E31 01 01 0001"_hex};
  peer.send("4F544E31 01 01 0001"_hex, station.port());
  ASSERT_EQ(station.handleDatagrams(), 1);
  for (const std::string& bytes : datagrams) {
    peer.send(bytes, station.port());
  }
  const std::size_t before = newBlocks();
  const int taken = station.handleDatagrams();
  const std::size_t after = newBlocks();
  EXPECT_EQ(taken, 4);
  EXPECT_EQ(after, before);
}
