// Everything that a seed simulates.

#ifndef TESTS_SIM_WORLD_H
#define TESTS_SIM_WORLD_H

#include <array>
#include <memory>
#include <string>

#include "sim/dice.h"
#include "sim/link.h"
#include "sim/model.h"
#include "sim/node.h"
#include "sim/statistics.h"

namespace sim {

inline constexpr const char* ADDRESSES[NODES] = {"10.0.0.1", "10.0.0.2", "10.0.0.11", "10.0.0.12"};
inline constexpr const char* NAMES[NODES] = {"card 0", "card 1", "manager 2", "manager 3"};
// How deep hooks and transports call engines from inside a call. Deeper requests are not sent.
inline constexpr unsigned int MAX_DEPTH = 5;

class World {
 public:
  // What the weather is, and how the applications behave, follows from the seed.
  World(unsigned long long seed, bool traced, Statistics& statistics);

  Statistics& statistics;
  VirtualClock clock;
  Link link;
  Dice dice;  // thrown anew for each step, so that a step that is left out does not change the others
  Model model;
  std::array<std::unique_ptr<Node>, NODES> nodes;

  bool calm = true;                                   // hooks only do what they are for
  unsigned int disturbancesIn = 40;                   // one call of a hook in so many is disturbed
  bool careless = false;                              // transports hand over some responses that nobody waits for
  unsigned short firstId = 0;                         // what the engines' ids start behind
  Weather storm;                                      // while it is not calm
  unsigned int depth = 0;                             // calls from inside a call
  unsigned long long digest = 0xCBF29CE484222325ULL;  // of all datagrams

  // Destroys the node's engine and objects and makes new ones. Inside no call.
  void restart(unsigned int node);
  void send(unsigned int from, const std::string& address, const std::string& bytes);
  // Delivers the next datagram that is due by then. False: there is none, and the clock stands.
  bool deliverNext(Microseconds byThen);
  void deliverAll(Microseconds byThen);
  // Every node is as the model has it.
  void check();

  bool traced() const { return traced_; }
  void say(const std::string& line) const;

 private:
  void make(unsigned int node);

  bool traced_;
};

// Counts how deep calls are nested.
class Deeper {
 public:
  explicit Deeper(World& world) : world_(world) {
    if (++world_.depth > 1) ++world_.statistics.of[NESTED_CALLS];
  }
  ~Deeper() { --world_.depth; }
  Deeper(const Deeper&) = delete;
  Deeper& operator=(const Deeper&) = delete;

 private:
  World& world_;
};

}  // namespace sim

#endif
