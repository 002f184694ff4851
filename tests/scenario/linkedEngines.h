// A card and a manager in one process: two engines whose transports are a function call.

#ifndef TESTS_SCENARIO_LINKEDENGINES_H
#define TESTS_SCENARIO_LINKEDENGINES_H

#include <cstddef>
#include <functional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "support/bytes.h"
#include "support/exactBlock.h"
#include "support/watchedObject.h"
#include "trel/trelProtocolBase.h"

// One end of the line. Its sendMsg hands each datagram to the peer's handleTrelMsg in a heap block of its own that ends
// where the datagram ends, and is gone afterwards; a response travels back on the stack of the request that it answers.
class LinkedEngine : public TrelProtocolBase {
 public:
  // The name is used in `traffic`; the address is what the peer sees as the sender.
  LinkedEngine(std::string ownName, std::string ownAddress)
      : name_(std::move(ownName)), address_(std::move(ownAddress)) {}

  // Joins both ends; both write to this list what they send.
  static void link(LinkedEngine& one, LinkedEngine& other, std::vector<std::string>& traffic) {
    one.peer_ = &other;
    other.peer_ = &one;
    one.traffic_ = &traffic;
    other.traffic_ = &traffic;
  }

  int sendMsg(TRELMessage& message) override {
    ExactBlock block(static_cast<std::size_t>(message.headerLen + message.sizeOfTlvs()));
    if (!message.serialize(block.data(), block.length())) return 0;
    std::string bytes(block.view());
    traffic_->push_back(name_ + ": " + shown(message, bytes));
    if (onTheLine) bytes = onTheLine(bytes);
    if (message.msgKind == TREL_KIND_RESPONSE) {
      peer_->replyBuffer = bytes;
      return 1;
    }
    if (whileWaiting) whileWaiting();
    if (message.msgKind == TREL_KIND_REQUEST && leavesReplyBuffer) return 1;
    replyBuffer.clear();
    peer_->receive(bytes, address_.c_str());
    return message.msgKind == TREL_KIND_AMI || !replyBuffer.empty() ? 1 : 0;
  }

  bool amiMessageHandler(std::vector<TrelProperty*> properties) override {
    for (const TrelProperty* property : properties)
      reported.push_back(property->name);
    return true;
  }

  // Takes a datagram out of a block of exactly its size.
  int receive(std::string_view bytes, const char* senderIp) {
    const ExactBlock block(bytes);
    lastResult = handleTrelMsg(block.length(), block.data(), senderIp);
    return lastResult;
  }

  // What the line makes of what this end sends; not set: nothing.
  std::function<std::string(std::string bytes)> onTheLine;
  // What this end's transport does between sending and the answer.
  std::function<void()> whileWaiting;
  // The transport reports success for requests without sending them or filling replyBuffer.
  bool leavesReplyBuffer = false;
  // Result of the last datagram that was received.
  int lastResult = -1;
  // Names of all properties that autonomous messages brought.
  std::vector<std::string> reported;

  using TrelProtocolBase::replyBuffer;

 private:
  // The time of an autonomous message is not shown.
  static std::string shown(const TRELMessage& message, std::string bytes) {
    if (message.msgKind == TREL_KIND_AMI) bytes.replace(8, 8, 8, '\0');
    return asDatagram(bytes);
  }

  std::string name_;
  std::string address_;
  LinkedEngine* peer_ = nullptr;
  std::vector<std::string>* traffic_ = nullptr;
};

// The variables of the card; the manager has the same as a mirror. A scalar (group 1, common) and a table 3 with four rows.
struct Variables {
  explicit Variables(unsigned int start)
      : counter(new TypeProperty<unsigned int>(5, "counter", IFC_CARD_VAR_READ_WRITE, start, true)) {
    chassis.addProp(counter, 0);
    chassis.addProp(version, 0);
    chassis.addProp(label, 0);
    chassis.addProp(limit, 0);
    for (unsigned int row = 0; row < 4; ++row) {
      temperature.push_back(new TypeProperty<short>(1, "temperature", IFC_CARD_VAR_READ_WRITE, 0, true));
      sensors.addProp(temperature.back(), row);
    }
  }
  std::string labelText() const {
    std::string text;
    label->get(&text);
    return text;
  }

  WatchedScalar chassis{"chassis", 1, true};
  WatchedTable sensors{"sensors", 3, false, 4};
  TypeProperty<unsigned int>* counter;
  TypeProperty<unsigned short>* version =
      new TypeProperty<unsigned short>(6, "version", IFC_CARD_VAR_READ_ONLY, 0x0102, false);
  StringProperty* label = new StringProperty(7, "label", IFC_CARD_VAR_READ_WRITE, "none");
  TypeProperty<unsigned char>* limit = new TypeProperty<unsigned char>(
      8, "limit", IFC_CARD_VAR_READ_WRITE, 10, new RangeCheckValue<unsigned char>(1, 100), false);
  std::vector<TypeProperty<short>*> temperature;
};

// Card and manager, joined. The card's counter starts at 42, the manager's copy of it at 0.
struct Line {
  Line() {
    LinkedEngine::link(card, manager, traffic);
    card.registerObject(&onCard.chassis);
    card.registerObject(&onCard.sensors);
    manager.registerObject(&mirror.chassis);
    manager.registerObject(&mirror.sensors);
  }

  std::vector<std::string> traffic;  // "<name>: <datagram>"
  Variables onCard{42};
  Variables mirror{0};
  LinkedEngine card{"card", "10.0.0.2"};
  LinkedEngine manager{"manager", "10.0.0.1"};
};

// What Line::traffic is compared with.
using Traffic = std::vector<std::string>;

#endif
