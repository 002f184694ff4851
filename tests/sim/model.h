// What the simulation believes: the values of every node and what the process remembers. Written from the protocol's rules
// alone; nothing of the library is asked.

#ifndef TESTS_SIM_MODEL_H
#define TESTS_SIM_MODEL_H

#include <array>
#include <cstddef>
#include <map>
#include <string>
#include <unordered_map>
#include <vector>

#include "sim/variables.h"

namespace sim {

inline constexpr unsigned int NODES = 4;  // two cards, two managers

// One registered variable of one node.
struct Variable {
  const VariableKind* kind = nullptr;
  unsigned int oid = 0;
  bool hooked = false;  // its object overrides update and updated
  std::string value;    // as on the wire
  bool eventPending = false;
  unsigned long long sample = 0;  // last sampled value, of those that are sampled
  TrelProperty* property = nullptr;
};

struct NodeModel {
  std::vector<Variable> variables;                      // in order of registration: objects, rows, ids
  std::unordered_map<unsigned int, std::size_t> byOid;  // into variables
  std::unordered_map<const TrelProperty*, std::size_t> byProperty;
  std::vector<std::size_t> objectStarts;  // index of each object's first variable
  std::map<unsigned int, std::string> oldStyle;
  bool servesOldStyle = false;
  bool answersHeaderErrors = true;
  bool takesAmis = false;  // overrides amiMessageHandler
  unsigned short lastId = 0;
  std::string replyBuffer;

  // The variable that a received OID addresses, or null. Bit 29 is ignored.
  Variable* find(unsigned int oid);
};

// ----- old-style variables: known to the hooks of cards, registered nowhere -----

inline constexpr unsigned int OLD_STYLE_BASE = 0x11800000;
inline constexpr unsigned int OLD_STYLE_COUNT = 8;
// What checkTlvOld of a card says: 0 for good.
int oldStyleRefusal(unsigned int oid, unsigned int type, unsigned int length, bool isWrite);
// The one that passes the check and cannot be executed.
inline constexpr unsigned int OLD_STYLE_BROKEN = OLD_STYLE_BASE + 4;
bool isOldStyleText(unsigned int oid);

// ----- the process -----

// Shared by all nodes, since they live in one process. Several engines in one process are a supported configuration, and only
// so is it seen that they share the five sender contexts, the pending autonomous message and the first scan as the rules say;
// a copy of the state for each node would be a test of the library with its process-wide state replaced. Each seed runs in a
// process of its own, so that this state is fresh.
struct ProcessModel {
  struct Sender {
    std::string address;  // empty: free
    bool seen = false;
    unsigned short lastId = 0;
  };
  std::array<Sender, 5> senders;

  // One entry of the pending autonomous message: a variable of a node, or a property made for the message alone.
  struct Waiting {
    unsigned int node = 0;
    std::size_t variable = 0;
    std::string owned;  // its TLV; empty: a variable
  };
  std::vector<Waiting> waiting;
  int count = 0;
  bool firstScanDone = false;

  // The result of the sequence check, and remembers the id.
  int sequence(const std::string& address, unsigned short id);
  bool hasContext(const std::string& address) const;
};

// All nodes and the process.
struct Model {
  std::array<NodeModel, NODES> nodes;
  ProcessModel process;

  // Each returns the autonomous messages that `node` sends, with a time of 0, and numbers them.
  std::vector<std::string> add(unsigned int node, const ProcessModel::Waiting& entry);
  std::vector<std::string> flush(unsigned int node);
  // The same for the periodic scan; `found` tells its result.
  std::vector<std::string> scan(unsigned int node, int& found);
  // The node is gone, and what waited of it.
  void forget(unsigned int node);

 private:
  void addTo(unsigned int node, const ProcessModel::Waiting& entry, std::vector<std::string>& sent);
  void send(unsigned int node, std::vector<std::string>& sent);
};

}  // namespace sim

#endif
