#include "sim/simulation.h"

#include <algorithm>

#include "sim/brokenPromise.h"
#include "sim/operations.h"
#include "sim/world.h"

#include <libtrace/trace.h>

namespace sim {

namespace {

// In some seeds every trace line is written, so that the texts are made; the test support drops them.
class Tracing {
 public:
  explicit Tracing(bool on) : trace_{&level_} {
    if (on) g_traceObject = &trace_;
  }
  ~Tracing() { g_traceObject = nullptr; }
  Tracing(const Tracing&) = delete;
  Tracing& operator=(const Tracing&) = delete;

 private:
  int level_ = 9;
  TraceObject trace_;
};

// Step `steps` is the settling at the end.
void runStep(World& world, const Plan& plan, unsigned int step) {
  // Every step has dice of its own.
  world.dice = Dice(plan.seed * 0x10001 + step);
  if (world.traced()) world.say("--- step " + std::to_string(step));
  if (step == plan.steps) {
    settle(world);
  } else {
    takeStep(world);
  }
  world.check();
}

// Both cards and both managers take their sender contexts before strangers can.
void greet(World& world) {
  for (unsigned int node = 0; node < NODES; ++node) {
    Question question;
    question.parts.push_back(0);
    question.peer = (node + CARDS) % NODES;
    world.nodes[node]->ask(question);
  }
}

// Five strangers take all the contexts: whatever the nodes ask each other is refused.
void lockOut(World& world) {
  for (const char* stranger : {"10.0.0.61", "10.0.0.62", "10.0.0.63", "10.0.0.64", "10.0.0.65"}) {
    Datagram request;
    request.from = stranger;
    request.bytes = header(READ, 0);
    world.nodes[0]->arrives(request);
  }
}

}  // namespace

Outcome simulate(const Plan& plan) {
  Outcome outcome;
  Dice dice(plan.seed ^ 0x5DEECE66DULL);
  const Tracing tracing(dice.oneIn(16));
  try {
    World world(plan.seed, plan.traced, outcome.statistics);
    if (!dice.oneIn(8)) {
      greet(world);
    } else if (dice.oneIn(2)) {
      lockOut(world);
    }
    world.calm = false;
    world.link.weather = world.storm;
    for (unsigned int step = 0; step <= plan.steps; ++step) {
      if (!plan.only.empty() && !std::binary_search(plan.only.begin(), plan.only.end(), step)) continue;
      outcome.atStep = step;
      runStep(world, plan, step);
    }
    outcome.digest = world.digest;
  } catch (const BrokenPromise& broken) {
    outcome.broken = broken.what();
  } catch (const std::exception& unexpected) {
    outcome.broken = std::string("unexpected exception: ") + unexpected.what();
  }
  return outcome;
}

}  // namespace sim
