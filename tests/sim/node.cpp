#include "sim/node.h"

#include <cstring>
#include <utility>

#include "sim/brokenPromise.h"
#include "sim/operations.h"
#include "sim/world.h"
#include "support/exactBlock.h"

namespace sim {

namespace {

constexpr Microseconds TIMEOUT = 50000;
constexpr unsigned int READ_ATTEMPTS = 3;  // a read may be repeated, a write is not

// An object that tells its node what the engine asks of it.
template <typename Base>
class Hooked : public Base {
 public:
  template <typename... Arguments>
  explicit Hooked(Node& node, Arguments... arguments) : Base(arguments...), node_(node) {}
  bool update(TrelProperty* property, unsigned int row) override {
    promise(property->row == row, "update is given another row");
    return node_.onUpdate(property);
  }
  bool updated(TrelProperty* property, unsigned int row) override {
    promise(property->row == row, "updated is given another row");
    return node_.onUpdated(property);
  }

 private:
  Node& node_;
};

}  // namespace

// ----- construction ----------------------------------------------------------------------------------------------------

// A card's engine answers header errors, a manager's does not. The objects of cards and the first one of managers have hooks.
Node::Node(World& world, unsigned int index)
    : TrelProtocolBase(index < CARDS), world_(world), model_(world.model.nodes[index]), index_(index) {
  const bool isCard = index < CARDS;
  model_.servesOldStyle = isCard;
  model_.answersHeaderErrors = isCard;
  model_.takesAmis = !isCard;
  messageIdCounter = model_.lastId;
  for (unsigned int card = 0; card < CARDS; ++card) {
    if (isCard && card != index) continue;
    addObject(std::make_unique<Hooked<TrelScalar>>(*this, "scalar", 1 + card, true), scalarKinds(), 1, true);
    if (isCard) {
      addObject(std::make_unique<Hooked<TrelTable>>(*this, "table", 3 + card, false, ROWS), columnKinds(), ROWS, true);
    } else {
      addObject(std::make_unique<TrelTable>("table", 3 + card, false, ROWS), columnKinds(), ROWS, false);
    }
  }
  for (unsigned int i = 0; isCard && i < OLD_STYLE_COUNT; ++i)
    model_.oldStyle[OLD_STYLE_BASE + i] = isOldStyleText(OLD_STYLE_BASE + i) ? "old" : big(i, 4);
}

void Node::addObject(std::unique_ptr<TrelObject> object, const std::vector<VariableKind>& kinds, unsigned int rows,
                     bool hooked) {
  model_.objectStarts.push_back(model_.variables.size());
  const bool isScalar = object->objectType == ifcCard::SCALAR;
  const unsigned int card = object->id - (isScalar ? 1 : 3);
  for (unsigned int row = 0; row < rows; ++row) {
    for (const VariableKind& kind : kinds) {
      std::unique_ptr<TrelProperty> property = makeProperty(kind, noExclamation_);
      Variable variable;
      variable.kind = &kind;
      variable.oid = isScalar ? scalarOid(card, kind.id) : cellOid(card, kind.id, row);
      variable.hooked = hooked;
      variable.value = startValue(kind);
      variable.property = property.get();
      promise(object->addProp(property.get(), row), "addProp refuses a new property");
      model_.byOid[variable.oid] = model_.variables.size();
      model_.byProperty[property.release()] = model_.variables.size();
      model_.variables.push_back(variable);
    }
  }
  registerObject(object.get());
  objects_.push_back(std::move(object));
}

bool Node::initEventsCore() {
  eventTables[0] = new EventValueTable(false, static_cast<int>(CARDS * ROWS), 0);
  return true;
}

// The engine does not delete what it still owns for the pending message: the application does.
Node::~Node() {
  for (TrelProperty* property : amiOwnedProperties)
    delete property;
}

Course& Node::course() {
  promise(!courses_.empty(), "the engine calls a hook although no datagram is being handled");
  return *courses_.back();
}

// ----- the network -----------------------------------------------------------------------------------------------------

int Node::sendMsg(TRELMessage& message) {
  ExactBlock block(static_cast<std::size_t>(message.headerLen + message.sizeOfTlvs()));
  promise(message.serialize(block.data(), block.length()), "a message of the engine cannot be serialized");
  std::string bytes(block.view());
  if (message.msgKind == TREL_KIND_RESPONSE) return sendAnswer(message, bytes);
  if (message.msgKind == TREL_KIND_REQUEST) return sendRequestAndWait(bytes);

  promise(bytes.size() >= 16 && bigAt(bytes, 12, 4) < 1000000, "an autonomous message has a wrong time");
  bytes.replace(8, 8, 8, '\0');
  promise(!expectedAmis_.empty(), "an autonomous message nobody expected");
  promiseDatagram(bytes, expectedAmis_.front(), "autonomous message");
  expectedAmis_.pop_front();
  ++world_.statistics.of[AMIS_SENT];
  for (unsigned int manager = CARDS; manager < NODES; ++manager)
    if (manager != index_) world_.send(index_, ADDRESSES[manager], bytes);
  return static_cast<int>(world_.dice.below(2));  // ignored by the engine
}

int Node::sendAnswer(const TRELMessage& message, const std::string& bytes) {
  Course& answered = course();
  promiseDatagram(bytes, answered.answerIsSent(), "answer");
  promise(message.action != READ_RESPONSE || bytes.size() <= 1200, "the answer to a read is longer than 1200 bytes");
  promise(message.sender == answered.sender(), "an answer goes to another address than the request came from");
  world_.send(index_, message.sender, bytes);
  disturbed();
  const int result = world_.calm ? 1 : static_cast<int>(world_.dice.below(3)) - 1;
  answered.transportReturns(result);
  return result;
}

// Waits in virtual time. Whatever else arrives meanwhile, for this node or another, is handed over at once, from inside the
// engine's call.
int Node::sendRequestAndWait(const std::string& bytes) {
  promise(asked_ != nullptr, "a request nobody asked for");
  const Question& question = *asked_;
  asked_ = nullptr;
  promiseDatagram(bytes, requestBytes(question, ++model_.lastId), "request");
  promise(replyBuffer == model_.replyBuffer, "replyBuffer has changed by itself");

  if (!world_.calm && world_.dice.oneIn(40)) {
    // A transport that does not wait, and says that it did: the old reply is processed again.
    ++world_.statistics.of[STALE_REPLIES];
  } else {
    if (world_.depth > MAX_DEPTH) return 0;
    Waiting reply{question.peer, question.action == READ ? READ_RESPONSE : WRITE_RESPONSE, model_.lastId, false, ""};
    waiting_.push_back(&reply);
    const unsigned int attempts = question.action == READ ? READ_ATTEMPTS : 1;
    for (unsigned int attempt = 0; attempt < attempts && !reply.answered; ++attempt) {
      if (attempt > 0) ++world_.statistics.of[RETRIES];
      world_.send(index_, ADDRESSES[question.peer], bytes);
      const Microseconds deadline = world_.clock.now() + TIMEOUT;
      while (!reply.answered && world_.deliverNext(deadline)) {
      }
      if (!reply.answered) world_.clock.advanceTo(deadline);
    }
    waiting_.pop_back();
    if (!reply.answered) {
      ++world_.statistics.of[TIMED_OUT];
      return 0;
    }
    replyBuffer = reply.reply;
    model_.replyBuffer = reply.reply;
  }
  // From here on the engine processes what lies in replyBuffer, and keeps it out of there meanwhile.
  courses_.push_back(
      std::make_unique<Course>(world_.model, index_, model_.replyBuffer, std::string(), world_.statistics));
  model_.replyBuffer.clear();
  return 1;
}

bool Node::isReply(const Datagram& datagram) {
  if (datagram.bytes.size() < 8) return false;
  const auto action = bigAt(datagram.bytes, 5, 1);
  const auto msgId = bigAt(datagram.bytes, 6, 2);
  for (auto each = waiting_.rbegin(); each != waiting_.rend(); ++each) {
    Waiting& request = **each;
    if (request.answered || datagram.from != ADDRESSES[request.peer] || action != request.action ||
        msgId != request.msgId)
      continue;
    request.answered = true;
    request.reply = datagram.bytes;
    return true;
  }
  return false;
}

void Node::arrives(const Datagram& datagram) {
  const unsigned long long action = datagram.bytes.size() < 8 ? 0 : bigAt(datagram.bytes, 5, 1);
  if (action == READ_RESPONSE || action == WRITE_RESPONSE) {
    if (isReply(datagram)) return;
    if (world_.calm || !world_.careless || !world_.dice.oneIn(4)) return;
    ++world_.statistics.of[UNASKED_RESPONSES];
  }
  handOver(datagram.bytes, datagram.from, datagram.from != "null");
}

void Node::handOver(const std::string& bytes, const std::string& sender, bool senderIsKnown) {
  const Deeper deeper(world_);
  const std::size_t outer = courses_.size();
  const ExactBlock block(bytes);
  courses_.push_back(
      std::make_unique<Course>(world_.model, index_, bytes, senderIsKnown ? sender : std::string(), world_.statistics));
  try {
    const int result = handleTrelMsg(block.length(), block.data(), senderIsKnown ? sender.c_str() : nullptr);
    course().returned(result);
  } catch (const HookThrew&) {
    if (world_.traced()) world_.say(std::string(NAMES[index_]) + ": the hook's exception arrives outside");
  }
  promiseNumber(courses_.size(), outer + 1, "datagrams being handled");
  courses_.pop_back();
}

// ----- what the application does ---------------------------------------------------------------------------------------

std::string Node::requestBytes(const Question& question, unsigned short msgId) const {
  std::string bytes = header(question.action, msgId);
  const auto add = [&](std::size_t variable) {
    const Variable& asked = model_.variables[variable];
    bytes += tlv(asked.oid, asked.kind->type, asked.value);
  };
  for (const std::size_t part : question.parts) {
    if (question.form == Question::PROPERTY || question.form == Question::PROPERTIES) {
      add(part);
      continue;
    }
    const std::size_t end =
        part + 1 < model_.objectStarts.size() ? model_.objectStarts[part + 1] : model_.variables.size();
    for (std::size_t variable = model_.objectStarts[part]; variable < end; ++variable)
      add(variable);
  }
  return bytes;
}

int Node::callEngine(const Question& question) {
  const bool reads = question.action == READ;
  if (question.form == Question::PROPERTY) {
    TrelProperty& property = *model_.variables[question.parts[0]].property;
    return reads ? readProperty(property) : writeProperty(property);
  }
  if (question.form == Question::PROPERTIES) {
    std::vector<TrelProperty*> properties;
    for (const std::size_t part : question.parts)
      properties.push_back(model_.variables[part].property);
    return reads ? readPropertys(properties) : writePropertys(properties);
  }
  if (question.form == Question::OBJECT) {
    TrelObject& object = *objects_[question.parts[0]];
    return reads ? readObject(object) : writeObject(object);
  }
  std::vector<TrelObject*> asked;
  for (const std::size_t part : question.parts)
    asked.push_back(objects_[part].get());
  return reads ? readObjects(asked) : writeObjects(asked);
}

int Node::ask(const Question& question) {
  const Deeper deeper(world_);
  const std::size_t tlvs = tlvsOf(requestBytes(question, 0), 8).size();
  const bool mayBeSent = tlvs >= 1 && tlvs <= 150;
  if (world_.traced()) {
    world_.say(std::string(NAMES[index_]) + (question.action == READ ? " reads " : " writes ") + std::to_string(tlvs) +
               " variables of " + NAMES[question.peer]);
  }
  const std::size_t outer = courses_.size();
  asked_ = mayBeSent ? &question : nullptr;
  int result = 0;
  bool threw = false;
  try {
    result = callEngine(question);
  } catch (const HookThrew&) {
    threw = true;
  }
  promise(asked_ == nullptr, "a client operation sends nothing");
  if (courses_.size() == outer) {  // nothing was sent, or no reply came
    promise(!threw, "an exception from nowhere");
    promiseNumber(result, 0, "result of a client operation without a reply");
    return 0;
  }
  promiseNumber(courses_.size(), outer + 1, "replies being handled");
  if (!threw) course().returned(result);
  // The reply goes back into replyBuffer, unless a nested request has left another one there.
  if (model_.replyBuffer.empty()) model_.replyBuffer = course().bytes();
  courses_.pop_back();
  promise(replyBuffer == model_.replyBuffer, "replyBuffer is not the last reply");
  if (!threw && result != 0) ++world_.statistics.of[question.action == READ ? READS_ACKNOWLEDGED : WRITES_ACKNOWLEDGED];
  return result;
}

void Node::set(std::size_t variable, const std::string& value) {
  Variable& changed = model_.variables[variable];
  if (raisesEvent(*changed.kind, changed.value, value)) changed.eventPending = true;
  setValue(*changed.property, *changed.kind, value);
  changed.value = value;
}

void Node::setToDefault(std::size_t object) {
  objects_[object]->setToDefault();
  const std::size_t end =
      object + 1 < model_.objectStarts.size() ? model_.objectStarts[object + 1] : model_.variables.size();
  for (std::size_t i = model_.objectStarts[object]; i < end; ++i)
    model_.variables[i].value = startValue(*model_.variables[i].kind);
}

// ----- events ----------------------------------------------------------------------------------------------------------

void Node::expect(std::vector<std::string> amis) {
  promise(expectedAmis_.empty(), "an autonomous message was not sent");
  for (std::string& ami : amis)
    expectedAmis_.push_back(std::move(ami));
}

void Node::scan() {
  int found = 0;
  expect(world_.model.scan(index_, found));
  promiseNumber(eventHandler(), found, "events that eventHandler found");
  promise(expectedAmis_.empty(), "eventHandler has not sent what waits");
}

void Node::flush() {
  expect(world_.model.flush(index_));
  addToAmi(nullptr, true);
  promise(expectedAmis_.empty(), "a flush has not sent what waits");
}

void Node::report(std::size_t variable) {
  ProcessModel::Waiting entry;
  entry.node = index_;
  entry.variable = variable;
  expect(world_.model.add(index_, entry));
  addToAmi(model_.variables[variable].property, false);
  checkSentForSize();
}

// Outside of every object, a property's id is its whole OID.
void Node::reportCopy(std::size_t variable) {
  const Variable& original = model_.variables[variable];
  VariableKind kind = *original.kind;
  kind.id = original.oid;
  std::unique_ptr<TrelProperty> copy = makeProperty(kind, noExclamation_);
  setValue(*copy, kind, original.value);
  ProcessModel::Waiting entry;
  entry.node = index_;
  entry.owned = tlv(original.oid, kind.type, original.value);
  expect(world_.model.add(index_, entry));
  amiOwnedProperties.push_back(copy.get());
  addToAmi(copy.release(), false);
  checkSentForSize();
}

void Node::sample(std::size_t variable, bool compare) {
  Variable& sampled = model_.variables[variable];
  const unsigned long long value = bigAt(sampled.value, 0, 4);
  const unsigned int row = sampled.oid & 0x3FFFU;
  const unsigned int card = ((sampled.oid >> 22) & 0x3FU) - 3;
  const bool changed = compare && value != sampled.sample;
  if (changed) {
    ProcessModel::Waiting entry;
    entry.node = index_;
    entry.variable = variable;
    expect(world_.model.add(index_, entry));
  }
  sampled.sample = value;
  unsigned long long* const last = eventTables[0]->getValuePtr(static_cast<int>(card * ROWS + row));
  promise(checkForEvent(last, sampled.property, compare, false) == changed, "checkForEvent sees a change that is none");
  promise(*last == value, "checkForEvent does not remember the sample");
  checkSentForSize();
}

void Node::checkSentForSize() {
  promise(expectedAmis_.empty(), "the pending autonomous message was not sent for its size");
}

// ----- hooks -----------------------------------------------------------------------------------------------------------

bool Node::disturbed() {
  ++world_.statistics.of[HOOKS_CALLED];
  if (world_.calm || !world_.dice.oneIn(world_.disturbancesIn)) return true;
  return disturb(world_, *this);
}

bool Node::onUpdate(TrelProperty* property) {
  course().updateIsCalled(property);
  const std::size_t variable = model_.byProperty.at(property);
  if (!world_.calm && world_.dice.oneIn(8)) {
    const VariableKind& kind = *model_.variables[variable].kind;
    set(variable, anyValue(kind, world_.dice));
  }
  return disturbed();  // the engine ignores it
}

bool Node::onUpdated(TrelProperty* property) {
  Course& current = course();
  current.updatedIsCalled(property);
  const bool good = disturbed();
  current.updatedReturns(good);
  return good;
}

int Card::checkTlvOld(OldStyleProperty* property, bool isWrite) const {
  auto* const self = const_cast<Card*>(this);  // the hook is const, the simulation around it is not
  self->course().oldStyleIsChecked(property->id);
  self->disturbed();
  return oldStyleRefusal(property->id, static_cast<unsigned int>(property->getType()),
                         static_cast<unsigned int>(property->length()), isWrite);
}

bool Card::handleTrelMsgOld(OldStyleProperty* property, bool isWrite) {
  ++world_.statistics.of[OLD_STYLE_SERVED];
  Course& current = course();
  const std::string received = current.oldStyleIsServed(property->id);
  bool good = property->id != OLD_STYLE_BROKEN && disturbed();
  std::string& held = model_.oldStyle[property->id];
  std::string left = received;
  if (good && isOldStyleText(property->id)) {
    std::string text;
    if (property->length() > 0) property->get(&text);
    promise(text == received, "an old-style text is not what was received");
    if (isWrite) {
      held = text;
    } else {
      property->set(held);
      left = held;
    }
  } else if (good) {
    unsigned int number = 0;
    if (property->length() > 0) property->get(&number);
    promise(big(number, static_cast<unsigned int>(received.size())) == received,
            "an old-style number is not what was received");
    if (isWrite) {
      held = received;
    } else {
      property->set(static_cast<unsigned int>(bigAt(held, 0, 4)));
      left = held.substr(0, received.size());
    }
  }
  current.oldStyleWas(good, tlv(property->id, static_cast<unsigned int>(property->getType()), left));
  return good;
}

bool Manager::amiMessageHandler(std::vector<TrelProperty*> properties) {
  Course& current = course();
  current.amiHandlerIsCalled(properties);
  const bool good = disturbed();
  current.amiHandlerReturns(good);
  return good;
}

// ----- invariants ------------------------------------------------------------------------------------------------------

void Node::check() {
  promise(courses_.empty() && waiting_.empty(), "a call has not ended");
  promiseNumber(messageIdCounter, model_.lastId, "last message id");
  promise(replyBuffer == model_.replyBuffer, "replyBuffer has changed by itself");
  char bytes[2048];
  for (const Variable& variable : model_.variables) {
    const int length = variable.property->serialize(bytes, sizeof bytes);
    const std::size_t size = variable.value.size();
    // Compared in place: this is asked for hundreds of variables after each step.
    if (length == static_cast<int>(7 + size) && variable.property->eventPending == variable.eventPending &&
        std::memcmp(bytes + 7, variable.value.data(), size) == 0)
      continue;
    promise(length >= 7, "a property cannot be serialized");
    promiseNumber(variable.property->eventPending ? 1 : 0, variable.eventPending ? 1 : 0,
                  (std::string(variable.kind->name) + ": eventPending").c_str());
    promiseDatagram(std::string(bytes, static_cast<std::size_t>(length)),
                    tlv(variable.oid, variable.kind->type, variable.value),
                    (std::string(NAMES[index_]) + ", " + variable.kind->name).c_str());
  }
}

}  // namespace sim
