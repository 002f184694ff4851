// What a transport owes after memory ran out in a call of it or of its engine: the next good datagram is answered, and its
// counters add up. Linked into the programs that test it with stations: every station of a test in which a block was refused
// is asked before it goes.

#include <cstddef>
#include <exception>
#include <string>

#include "allocation/failingAllocator.h"
#include "allocation/goodRead.h"
#include "unit/trelUdp/plainSocket.h"
#include "unit/trelUdp/socketFaults.h"
#include "unit/trelUdp/station.h"

namespace {

// What the test has ordered would disturb the question: its hooks, failing calls, peers and rates.
void forgetOrders(Station& station) {
  station.onRequestSent = nullptr;
  station.onDatagram = nullptr;
  station.scalar.onUpdate = nullptr;
  station.scalar.onUpdated = nullptr;
  for (const FaultyCall call :
       {FaultyCall::SOCKET, FaultyCall::BIND, FaultyCall::SENDTO, FaultyCall::RECVMSG, FaultyCall::POLL})
    failCalls(call, 0, 0);
  if (station.address().ip != 0x7F000001) {
    station.close();
    station.open();
  }
  station.setAllowedPeers({"127.0.0.1"});
  station.setPeerRate({0, 0});
  station.setTotalRate({0, 0});
}

// The first one takes the order to cut a datagram, if the test has left that.
void emptySocket(Station& station, PlainSocket& manager) {
  manager.send("00"_hex, station.port());
  while (station.handleDatagrams() > 0) {
  }
  while (manager.receive() != "nothing") {
  }
}

// Empty, or what is wrong.
std::string ask(Station& station) {
  if (!station.countersAddUp()) return "the counters of a transport do not add up";
  forgetOrders(station);
  PlainSocket manager;
  emptySocket(station, manager);
  manager.send("4F544E31 01 01 B001 | 10800001 01 0000"_hex, station.port());
  station.handleDatagrams();
  const std::string answer = manager.receive();
  const std::string further = manager.receive();
  ++WatchedReceive::goodReads;
  // "4F544E31 01 03 B001 00 0000 | 10800001 01 0004 0000002A", whatever the mark and the value
  const std::string head = "4F544E31 01 03 B001 ";
  const std::string rest = " 0000 | 10800001 01 0004 ";
  bool good = false;
  for (const char* const mark : {"00", "02", "03", "10", "11"}) {
    const std::string begin = head + mark + rest;
    good = good || answer.compare(0, begin.size(), begin) == 0;
  }
  if (!good) return "a good datagram is answered with " + answer;
  if (further != "nothing") return "a good datagram is answered twice, then with " + further;
  return "";
}

void atEnd(Station& station) {
  if (allocatorWatch == nullptr) return;  // an ordinary run of the tests
  FailingAllocator& allocator = FailingAllocator::instance();
  if (allocator.refused() == 0) return;
  allocator.pause();
  std::string fault;
  try {
    fault = ask(station);
  } catch (const std::exception& exception) {
    fault = std::string("a good datagram throws ") + exception.what();
  }
  if (!fault.empty()) WatchedReceive::complain(fault.c_str());
  allocator.resume();
}

[[maybe_unused]] const bool watching = [] {
  Station::atEnd = atEnd;
  return true;
}();

}  // namespace
