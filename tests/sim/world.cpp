#include "sim/world.h"

#include <cstdio>

#include "sim/brokenPromise.h"

namespace sim {

World::World(unsigned long long seed, bool traced, Statistics& counted)
    : statistics(counted), link(clock, counted), dice(seed), traced_(traced) {
  storm.loss = dice.below(30);
  storm.doubling = dice.below(25);
  storm.truncation = dice.below(8);
  storm.flips = dice.below(8);
  storm.spoofing = dice.below(4);
  storm.maxDelay = 100 + dice.below(40000);
  disturbancesIn = 15 + dice.below(60);
  careless = dice.oneIn(4);
  if (dice.oneIn(2)) firstId = 65500;
  for (unsigned int node = 0; node < NODES; ++node)
    make(node);
}

void World::make(unsigned int node) {
  model.nodes[node] = NodeModel();
  model.nodes[node].lastId = firstId;
  if (node < CARDS) {
    nodes[node] = std::make_unique<Card>(*this, node);
  } else {
    nodes[node] = std::make_unique<Manager>(*this, node);
  }
  nodes[node]->initEvents();
}

void World::restart(unsigned int node) {
  ++statistics.of[RESTARTS];
  nodes[node].reset();
  model.forget(node);
  make(node);
}

void World::send(unsigned int from, const std::string& address, const std::string& bytes) {
  if (traced_) say(std::string(NAMES[from]) + " sends to " + address + ": " + asDatagram(bytes));
  for (const char byte : bytes)
    digest = (digest ^ static_cast<unsigned char>(byte)) * 0x100000001B3ULL;
  for (unsigned int to = 0; to < NODES; ++to) {
    if (address != ADDRESSES[to]) continue;
    Datagram datagram;
    datagram.from = ADDRESSES[from];
    datagram.to = to;
    datagram.bytes = bytes;
    link.send(datagram, ADDRESSES[dice.below(NODES)], dice);
  }
}

bool World::deliverNext(Microseconds byThen) {
  Datagram datagram;
  if (!link.next(byThen, datagram)) return false;
  if (traced_) say(std::string(NAMES[datagram.to]) + " gets from " + datagram.from + ": " + asDatagram(datagram.bytes));
  nodes[datagram.to]->arrives(datagram);
  return true;
}

void World::deliverAll(Microseconds byThen) {
  while (deliverNext(byThen)) {
  }
  clock.advanceTo(byThen);
}

void World::check() {
  promiseNumber(depth, 0, "depth of calls between the steps");
  for (const std::unique_ptr<Node>& node : nodes)
    node->check();
}

void World::say(const std::string& line) const { std::printf("%10llu us  %s\n", clock.now(), line.c_str()); }

}  // namespace sim
