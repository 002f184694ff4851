// One end of the network: an engine, its objects and its transport, in lockstep with the model.

#ifndef TESTS_SIM_NODE_H
#define TESTS_SIM_NODE_H

#include <cstddef>
#include <deque>
#include <memory>
#include <string>
#include <vector>

#include "sim/course.h"
#include "sim/link.h"
#include "sim/model.h"
#include "trel/trelProtocolBase.h"

namespace sim {

class World;

// A client operation: which of the eight, about what.
struct Question {
  enum Form { PROPERTY, PROPERTIES, OBJECT, OBJECTS };
  Action action = READ;
  Form form = PROPERTY;
  std::vector<std::size_t> parts;  // indexes of variables, or of objects
  unsigned int peer = 0;
};

class Node : public TrelProtocolBase {
 public:
  // Cards are the nodes 0 and 1 and have variables of their own; managers have mirrors of both cards' variables.
  Node(World& world, unsigned int index);
  ~Node() override;

  // --- the network ---
  int sendMsg(TRELMessage& message) override;
  // A datagram for this node. What a hook throws ends here, as in an application's receive loop.
  void arrives(const Datagram& datagram);

  // --- what the application does ---
  // What the engine returned; 0 also when a hook threw.
  int ask(const Question& question);
  void set(std::size_t variable, const std::string& value);
  void setToDefault(std::size_t object);
  void scan();
  void flush();
  void report(std::size_t variable);
  // Reports the present value by a property made for the message alone.
  void reportCopy(std::size_t variable);
  // Samples a cell of the column "reading".
  void sample(std::size_t variable, bool compare);
  bool initEventsCore() override;

  // --- hooks of the objects ---
  bool onUpdate(TrelProperty* property);
  bool onUpdated(TrelProperty* property);

  // Whether everything is as the model has it.
  void check();

  unsigned int index() const { return index_; }
  NodeModel& model() { return model_; }
  std::size_t objectCount() const { return objects_.size(); }

 protected:
  // Maybe refuses, throws, or calls the engine again. False: refuses.
  bool disturbed();
  Course& course();

  World& world_;
  NodeModel& model_;

 private:
  // A request whose reply is waited for.
  struct Waiting {
    unsigned int peer;
    unsigned int action;  // of the reply
    unsigned int msgId;
    bool answered;
    std::string reply;
  };

  void addObject(std::unique_ptr<TrelObject> object, const std::vector<VariableKind>& kinds, unsigned int rows,
                 bool hooked);
  void handOver(const std::string& bytes, const std::string& sender, bool senderIsKnown);
  bool isReply(const Datagram& datagram);
  int sendRequestAndWait(const std::string& bytes);
  int sendAnswer(const TRELMessage& message, const std::string& bytes);
  std::string requestBytes(const Question& question, unsigned short msgId) const;
  int callEngine(const Question& question);
  void expect(std::vector<std::string> amis);
  void checkSentForSize();

  const unsigned int index_;
  NoExclamation noExclamation_;
  std::vector<std::unique_ptr<TrelObject>> objects_;
  std::vector<std::unique_ptr<Course>> courses_;  // of the datagrams that are being handled, innermost last
  std::vector<Waiting*> waiting_;                 // innermost last
  std::deque<std::string> expectedAmis_;
  const Question* asked_ = nullptr;  // the next request that is sent is about this
};

// Serves old-style variables.
class Card : public Node {
 public:
  using Node::Node;
  int checkTlvOld(OldStyleProperty* property, bool isWrite) const override;
  bool handleTrelMsgOld(OldStyleProperty* property, bool isWrite) override;
};

// Takes autonomous messages.
class Manager : public Node {
 public:
  using Node::Node;
  bool amiMessageHandler(std::vector<TrelProperty*> properties) override;
};

}  // namespace sim

#endif
