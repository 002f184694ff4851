// A transport of one's own: two engines joined without sockets. sendMsg is all that it takes. What a transport owes the engine:
// a request returns with its own reply in replyBuffer, and no other response reaches the engine, which would store its values.
#include <cstdio>
#include <deque>
#include <map>
#include <string>

#include "trel/trelProtocolBase.h"

class End : public TrelProtocolBase {
 public:
  End* other = nullptr;
  bool busy = false;  // leaves what comes for later

  int sendMsg(TRELMessage& message) override {
    std::string bytes(static_cast<std::size_t>(message.headerLen + message.sizeOfTlvs()), '\0');
    if (!message.serialize(&bytes[0], static_cast<int>(bytes.size()))) return 0;
    other->arrived(bytes);
    return message.msgKind == TREL_KIND_REQUEST ? awaitReply(message) : 1;
  }

  // Hands requests and autonomous messages to the engine. The sender's address is the key of its sequence check.
  void serve() {
    while (!busy && !asked_.empty()) {
      const std::string bytes = asked_.front();
      asked_.pop_front();
      handleTrelMsg(static_cast<int>(bytes.size()), bytes.data(), "10.0.0.1");
    }
  }

 private:
  void arrived(const std::string& bytes) {
    TRELMessage head("");
    if (bytes.size() < TREL_HEADER_LEN) return;  // deserialize does not compare the length
    if (head.deserialize(bytes.data(), static_cast<int>(bytes.size())) != RESULT_OK) return;
    if (head.action == TREL_ACTION_READ_RESPONSE || head.action == TREL_ACTION_WRITE_RESPONSE)
      replies_[{head.msgId, head.action}] = bytes;
    else
      asked_.push_back(bytes);
  }

  // Waits, with an end: here it is one turn of the other. A reply has the request's id, and its action + 2.
  int awaitReply(const TRELMessage& request) {
    other->serve();
    const auto reply = replies_.find({request.msgId, request.action + 2});
    const bool came = reply != replies_.end();
    if (came) replyBuffer = reply->second;
    std::printf("request %d: %s, of %d replies\n", request.msgId, came ? "answered" : "no answer",
                static_cast<int>(replies_.size()));
    replies_.clear();  // what is left answers an earlier request, too late
    return came ? 1 : 0;
  }

  std::deque<std::string> asked_;
  std::map<std::pair<int, int>, std::string> replies_;  // by id and action
};

int main() {
  TrelScalar tank("tank", 11, false), mirror("tank", 11, false);
  auto* level = new TypeProperty<unsigned int>(1, "level", IFC_CARD_VAR_READ_ONLY, 0u);
  tank.addProp(new TypeProperty<unsigned int>(1, "level", IFC_CARD_VAR_READ_ONLY, 42u), 0);
  mirror.addProp(level, 0);
  End card, manager;
  card.registerObject(&tank);
  manager.registerObject(&mirror);
  card.other = &manager;
  manager.other = &card;

  card.busy = true;
  const bool early = manager.readProperty(*level) == 1;
  std::printf("level %u\n", level->value);
  card.busy = false;  // from now on it answers, the first request too
  const bool late = manager.readProperty(*level) == 1;
  std::printf("level %u\n", level->value);
  return !early && late && level->value == 42 ? 0 : 1;
}
