#include "sim/operations.h"

#include <algorithm>

#include "sim/brokenPromise.h"
#include "sim/hostile.h"
#include "sim/world.h"

namespace sim {

namespace {

Node& anyNode(World& world) { return *world.nodes[world.dice.below(NODES)]; }

std::size_t anyVariable(World& world, Node& node) { return world.dice.below(node.model().variables.size()); }

void setAny(World& world, Node& node, std::size_t variable) {
  node.set(variable, anyValue(*node.model().variables[variable].kind, world.dice));
}

// One that a peer may write, mostly, and mostly with a value that it may write.
std::size_t anyVariableToWrite(World& world, Node& node) {
  const std::vector<Variable>& variables = node.model().variables;
  std::size_t variable = anyVariable(world, node);
  while (variables[variable].kind->readOnly && !world.dice.oneIn(8))
    variable = anyVariable(world, node);
  for (unsigned int attempt = 0; attempt < 3; ++attempt) {
    const std::string value = anyValue(*variables[variable].kind, world.dice);
    if (!isAllowed(*variables[variable].kind, value)) continue;
    node.set(variable, value);
    break;
  }
  return variable;
}

// Managers ask cards, mostly; any two nodes may talk. What is written is set here first.
Question anyQuestion(World& world, Node& node) {
  Dice& dice = world.dice;
  Question question;
  question.action = dice.oneIn(2) ? READ : WRITE;
  question.peer = dice.oneIn(6) ? dice.below(NODES) : dice.below(CARDS);
  if (question.peer == node.index()) question.peer = (question.peer + 1) % NODES;
  const auto any = [&] {
    return question.action == WRITE ? anyVariableToWrite(world, node) : anyVariable(world, node);
  };
  const unsigned int form = dice.below(20);
  if (form < 8) {
    question.form = Question::PROPERTY;
    question.parts.push_back(any());
  } else if (form < 17) {
    question.form = Question::PROPERTIES;
    for (unsigned int count = dice.oneIn(40) ? 149 + dice.below(3) : dice.below(12); count > 0; --count)
      question.parts.push_back(any());
  } else if (form < 19) {
    question.form = Question::OBJECT;
    question.parts.push_back(dice.below(node.objectCount()));
  } else {
    question.form = Question::OBJECTS;
    for (unsigned int count = dice.below(3); count > 0; --count)
      question.parts.push_back(dice.below(node.objectCount()));
  }
  return question;
}

void askAnything(World& world, Node& node) { node.ask(anyQuestion(world, node)); }

void sampleAny(World& world, Node& node) {
  const NodeModel& model = node.model();
  const std::size_t variable = anyVariable(world, node);
  if (model.variables[variable].kind != &columnKinds()[0]) return;  // the others are not sampled
  node.sample(variable, !world.dice.oneIn(5));
}

// What a node's application does by itself; none of it waits.
void actLocally(World& world, Node& node) {
  Dice& dice = world.dice;
  const unsigned int what = dice.below(100);
  if (what < 45) {
    for (unsigned int count = 1 + dice.below(4); count > 0; --count)
      setAny(world, node, anyVariable(world, node));
  } else if (what < 70) {
    node.scan();
  } else if (what < 75) {
    node.flush();
  } else if (what < 82) {
    node.report(anyVariable(world, node));
  } else if (what < 88) {
    node.reportCopy(anyVariable(world, node));
  } else if (what < 94) {
    sampleAny(world, node);
  } else if (what < 97) {
    node.setToDefault(dice.below(node.objectCount()));
  } else {
    // Enough at once for a message that is sent for its size.
    for (std::size_t variable = 0; variable < node.model().variables.size(); ++variable)
      setAny(world, node, variable);
    const unsigned long long before = world.statistics.of[AMIS_SENT];
    node.scan();
    if (world.statistics.of[AMIS_SENT] > before + 1) ++world.statistics.of[AMIS_FOR_SIZE];
  }
}

void attack(World& world, Node& node) {
  ++world.statistics.of[HOSTILE];
  Datagram datagram;
  datagram.from = hostileSender(world.dice);
  datagram.to = node.index();
  datagram.bytes = hostileDatagram(node.model().variables, world.dice);
  if (world.traced()) world.say("a stranger sends to " + std::string(NAMES[datagram.to]) + " as " + datagram.from);
  const std::string spoofed = datagram.from;
  world.link.send(datagram, spoofed, world.dice);
}

}  // namespace

void takeStep(World& world) {
  Dice& dice = world.dice;
  ++world.statistics.of[STEPS];
  const unsigned int what = dice.below(1000);
  if (what < 400) {
    askAnything(world, dice.oneIn(5) ? anyNode(world) : *world.nodes[CARDS + dice.below(NODES - CARDS)]);
  } else if (what < 750) {
    actLocally(world, anyNode(world));
  } else if (what < 850) {
    attack(world, anyNode(world));
  } else if (what < 855) {
    world.restart(dice.below(NODES));
  } else if (what < 857) {
    settle(world);
  }
  world.deliverAll(world.clock.now() + dice.below(world.link.weather.maxDelay));
}

bool disturb(World& world, Node& node) {
  Dice& dice = world.dice;
  const unsigned int what = dice.below(100);
  if (what < 20) {
    ++world.statistics.of[HOOKS_REFUSED];
    return false;
  }
  if (what < 35) {
    ++world.statistics.of[HOOKS_THREW];
    throw HookThrew();
  }
  if (world.depth >= MAX_DEPTH) return true;
  if (what < 60) {
    actLocally(world, node);
  } else if (what < 80) {
    askAnything(world, node);
  } else {
    world.deliverNext(world.clock.now() + world.link.weather.maxDelay);
  }
  return true;
}

// ----- both ends agree -------------------------------------------------------------------------------------------------

namespace {

constexpr Microseconds LONG_ENOUGH = 1000000;

// While it lives, the network is good and hooks do what they are for.
class Calm {
 public:
  explicit Calm(World& world) : world_(world), wasCalm_(world.calm), weather_(world.link.weather) {
    world.calm = true;
    world.link.weather = Weather();
    world.link.weather.maxDelay = 1;  // nothing overtakes
  }
  ~Calm() {
    world_.calm = wasCalm_;
    world_.link.weather = weather_;
  }
  Calm(const Calm&) = delete;
  Calm& operator=(const Calm&) = delete;

 private:
  World& world_;
  const bool wasCalm_;
  const Weather weather_;
};

// The manager reads all of a card, in answers that are not too long.
void readAll(Node& manager, const Node& card, const NodeModel& truth) {
  const std::vector<Variable>& mirrors = manager.model().variables;
  Question question;
  question.form = Question::PROPERTIES;
  question.peer = card.index();
  std::size_t size = 11;
  const auto askForThese = [&] {
    promiseNumber(manager.ask(question), 1, "result of a read in a quiet network");
    question.parts.clear();
    size = 11;
  };
  for (const Variable& variable : truth.variables) {
    const std::size_t length = 7 + variable.value.size();
    if (size + length > 1200) askForThese();
    size += length;
    const auto mirror =
        std::find_if(mirrors.begin(), mirrors.end(), [&](const Variable& each) { return each.oid == variable.oid; });
    question.parts.push_back(static_cast<std::size_t>(mirror - mirrors.begin()));
  }
  askForThese();
}

// The card tells all of itself to both managers, in autonomous messages that are not sent for their size.
void reportAll(Node& card) {
  const std::size_t count = card.model().variables.size();
  for (std::size_t variable = 0; variable < count; ++variable) {
    card.report(variable);
    if (variable % 50 == 49) card.flush();
  }
  card.flush();
}

// One that asks for the first time when five others have asked is refused for ever.
bool isLockedOut(const ProcessModel& process, unsigned int node) {
  return !process.hasContext(ADDRESSES[node]) &&
         std::all_of(process.senders.begin(), process.senders.end(),
                     [](const ProcessModel::Sender& sender) { return !sender.address.empty(); });
}

void checkMirrors(World& world, const char* what) {
  world.check();  // the engines hold what the models hold, so that comparing models is enough
  for (unsigned int manager = CARDS; manager < NODES; ++manager) {
    for (unsigned int card = 0; card < CARDS; ++card) {
      for (const Variable& variable : world.model.nodes[card].variables) {
        ++world.statistics.of[MIRRORS_COMPARED];
        promiseDatagram(world.model.nodes[manager].find(variable.oid)->value, variable.value, what);
      }
    }
  }
}

}  // namespace

void settle(World& world) {
  const Calm calm(world);
  const Microseconds quiet = world.storm.maxDelay + LONG_ENOUGH;
  world.deliverAll(world.clock.now() + quiet);
  for (const std::unique_ptr<Node>& node : world.nodes) {
    node->scan();
    node->scan();  // the first one of the process does not send
  }
  world.deliverAll(world.clock.now() + quiet);
  promise(world.link.isEmpty(), "the network is not quiet");

  for (unsigned int manager = CARDS; manager < NODES; ++manager) {
    const bool mayRead = !isLockedOut(world.model.process, manager);
    for (unsigned int card = 0; card < CARDS; ++card) {
      if (mayRead) {
        readAll(*world.nodes[manager], *world.nodes[card], world.model.nodes[card]);
      } else {
        reportAll(*world.nodes[card]);
      }
    }
  }
  world.deliverAll(world.clock.now() + quiet);
  checkMirrors(world, "a mirror after everything was read or reported");

  for (unsigned int card = 0; card < CARDS; ++card) {
    Node& node = *world.nodes[card];
    for (unsigned int changes = 0; changes < 10; ++changes) {
      const std::size_t variable = anyVariable(world, node);
      setAny(world, node, variable);
      // Texts, repeated values and those that are not eventable are reported by hand.
      if (!node.model().variables[variable].eventPending) node.report(variable);
    }
    node.scan();
  }
  world.deliverAll(world.clock.now() + quiet);
  checkMirrors(world, "a mirror after all changes were reported");
  ++world.statistics.of[SETTLED];
}

}  // namespace sim
