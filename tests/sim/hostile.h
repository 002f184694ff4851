// Datagrams from strangers.

#ifndef TESTS_SIM_HOSTILE_H
#define TESTS_SIM_HOSTILE_H

#include <string>

#include "sim/dice.h"
#include "sim/model.h"

namespace sim {

// A sender that may be anything: known, unknown, no address, none at all ("null").
std::string hostileSender(Dice& dice);
// Nearly good, wrong in places, or noise. The variables are those of the engine that it is meant for.
std::string hostileDatagram(const std::vector<Variable>& variables, Dice& dice);

}  // namespace sim

#endif
