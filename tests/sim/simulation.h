// One seed, from the first step to the last.
//
//   operations  chance decides what happens in each step, and what hooks do besides their work
//   world       four nodes (two cards, two managers), the link, the clock, the model
//   node        an engine with its objects, its hooks and its transport; tells the model what it does
//   link        loses, doubles, delays, truncates, flips bits, forges senders; hostile makes what strangers send
//   course      what one datagram must do to an engine, call by call and byte by byte
//   model       values, events, senders, the pending autonomous message: what must be true after each step
//   wire        the bytes of all this, without the library

#ifndef TESTS_SIM_SIMULATION_H
#define TESTS_SIM_SIMULATION_H

#include <string>
#include <vector>

#include "sim/statistics.h"

namespace sim {

struct Plan {
  unsigned long long seed = 1;
  unsigned int steps = 1000;
  std::vector<unsigned int> only;  // not empty: these steps alone, ascending; the last one of all is the settling
  bool traced = false;
};

struct Outcome {
  std::string broken;       // empty: every promise was kept
  unsigned int atStep = 0;  // where it broke
  unsigned long long digest = 0;
  Statistics statistics;
};

// To be called once in a process: the library's process-wide state is fresh only then.
Outcome simulate(const Plan& plan);

}  // namespace sim

#endif
