// What happens in a simulation, by chance.

#ifndef TESTS_SIM_OPERATIONS_H
#define TESTS_SIM_OPERATIONS_H

namespace sim {

class Node;
class World;

// One step: some node's application does something, or a stranger does, and time passes.
void takeStep(World& world);

// From inside a hook or a transport: refuses, throws HookThrew, or calls the engine again. False: refuses.
bool disturb(World& world, Node& node);

// The faults stop, what is on its way arrives, managers read everything: then their mirrors must equal the cards. Then cards
// change and report, and the mirrors must equal them again without a read.
void settle(World& world);

}  // namespace sim

#endif
