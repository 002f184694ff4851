// One seed, from the first step to the last.

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
