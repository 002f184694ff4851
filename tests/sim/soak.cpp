// Ten million datagrams through one card and one manager, a fifth of them hostile: nothing grows, and every good one is
// answered. Without a model and without a bad network; simulate has those. Now and then two ends with sockets come and go.

#include <malloc.h>

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "sim/brokenPromise.h"
#include "sim/dice.h"
#include "sim/hostile.h"
#include "sim/model.h"
#include "sim/sockets.h"
#include "sim/wire.h"
#include "support/exactBlock.h"
#include "trel/trelProtocolBase.h"

// Where the address sanitizer has put its own allocator in place of malloc, it counts; elsewhere this is null.
extern "C" __attribute__((weak)) std::size_t __sanitizer_get_current_allocated_bytes();

namespace {

using namespace sim;

constexpr const char* USAGE =
    "soak [datagrams]   at least 1000, without a number 10000000; exits with 1 when something grows or fails\n";
constexpr const char* CARD_ADDRESS = "10.0.0.1";
constexpr const char* MANAGER_ADDRESS = "10.0.0.11";
constexpr unsigned short FIRST_ID = 65000;          // both ends wrap soon
constexpr unsigned int DATAGRAMS_PER_ROUND = 1000;  // of sockets

// ----- the two ends ----------------------------------------------------------------------------------------------------

class Peer : public TrelProtocolBase {
 public:
  Peer() {
    messageIdCounter = FIRST_ID;
    replyBuffer.reserve(65536);
    add(std::make_unique<TrelScalar>("scalar", 1, true), scalarKinds(), 1);
    add(std::make_unique<TrelTable>("table", 3, false, ROWS), columnKinds(), ROWS);
    initEvents();
  }

  int receive(const std::string& bytes, const char* sender) {
    ++received;
    const ExactBlock block(bytes);
    return handleTrelMsg(block.length(), block.data(), sender);
  }

  unsigned short lastId() const { return lastId_; }

  std::vector<Variable> variables;
  std::string answer;  // the last one that was sent
  unsigned long long received = 0;
  unsigned int wraps = 0;  // of the message ids

 protected:
  static std::string bytesOf(TRELMessage& message) {
    ExactBlock block(static_cast<std::size_t>(message.headerLen + message.sizeOfTlvs()));
    promise(message.serialize(block.data(), block.length()), "a message cannot be serialized");
    return std::string(block.view());
  }
  // For each id that this end has chosen.
  void countWrap(unsigned short id) {
    promiseNumber(id, static_cast<unsigned short>(lastId_ + 1), "the next message id");
    if (id == 0) ++wraps;
    lastId_ = id;
  }

 private:
  void add(std::unique_ptr<TrelObject> object, const std::vector<VariableKind>& kinds, unsigned int rows) {
    for (unsigned int row = 0; row < rows; ++row) {
      for (const VariableKind& kind : kinds) {
        Variable variable;
        variable.kind = &kind;
        variable.property = makeProperty(kind, noExclamation_).release();
        promise(object->addProp(variable.property, row), "addProp refuses a new property");
        variable.oid = variable.property->getOid();
        variable.value = startValue(kind);
        variables.push_back(variable);
      }
    }
    registerObject(object.get());
    objects_.push_back(std::move(object));
  }

  NoExclamation noExclamation_;
  std::vector<std::unique_ptr<TrelObject>> objects_;
  unsigned short lastId_ = FIRST_ID;
};

class Manager : public Peer {
 public:
  int sendMsg(TRELMessage& message) override;
  bool amiMessageHandler(std::vector<TrelProperty*>) override {
    ++amis;
    return true;
  }
  Peer* card = nullptr;
  std::string nextReply;  // not empty: comes before the card's reply to the next request and is taken for it
  unsigned long long amis = 0;
};

class Card : public Peer {
 public:
  explicit Card(Manager& manager) : manager_(manager) {}
  int sendMsg(TRELMessage& message) override {
    const std::string bytes = bytesOf(message);
    if (message.msgKind == TREL_KIND_RESPONSE) {
      answer = bytes;
    } else {
      promise(message.msgKind == TREL_KIND_AMI, "the card sends requests");
      countWrap(message.msgId);
      promiseNumber(manager_.receive(bytes, CARD_ADDRESS), 1, "result of an autonomous message");
    }
    return 1;
  }
  int checkTlvOld(OldStyleProperty* property, bool isWrite) const override {
    return oldStyleRefusal(property->id, static_cast<unsigned int>(property->getType()),
                           static_cast<unsigned int>(property->length()), isWrite);
  }
  bool handleTrelMsgOld(OldStyleProperty* property, bool isWrite) override {
    if (!isWrite && isOldStyleText(property->id)) property->set(std::string("a text that is longer than it was"));
    return property->id != OLD_STYLE_BROKEN;
  }

 private:
  Manager& manager_;
};

int Manager::sendMsg(TRELMessage& message) {
  const std::string bytes = bytesOf(message);
  if (message.msgKind == TREL_KIND_RESPONSE) {
    answer = bytes;
    return 1;
  }
  promise(message.msgKind == TREL_KIND_REQUEST, "the manager reports events");
  countWrap(message.msgId);
  card->answer.clear();
  card->receive(bytes, MANAGER_ADDRESS);
  replyBuffer = nextReply.empty() ? card->answer : nextReply;
  nextReply.clear();
  ++received;  // the reply, which the engine hands to itself
  return 1;
}

// ----- traffic ---------------------------------------------------------------------------------------------------------

std::string tlvOf(TrelProperty& property) {
  std::string bytes(static_cast<std::size_t>(7 + property.length()), '\0');
  promiseNumber(property.serialize(bytes.data(), static_cast<int>(bytes.size())), bytes.size(), "length of a TLV");
  return bytes;
}

class Soak {
 public:
  Soak() { manager_.card = &card_; }

  unsigned long long datagrams() const { return card_.received + manager_.received; }

  // The largest of everything, so that lists have grown as far as they ever will.
  void warmUp() {
    readGood(0);  // the manager is the first sender, and keeps its context
    sockets.round();
    std::string most;
    for (unsigned int i = 0; i < 9361; ++i)
      most += big(i % 2 == 0 ? card_.variables[0].oid : OLD_STYLE_BASE, 4) + big(i % 2 == 0 ? 0 : 1, 1) + big(0, 2);
    for (Peer* peer : {static_cast<Peer*>(&card_), static_cast<Peer*>(&manager_)}) {
      peer->receive(header(READ, 0) + most, "10.0.0.66");
      peer->receive(header(WRITE, 1) + most, "10.0.0.66");
    }
    for (Variable& variable : card_.variables)
      setValue(*variable.property, *variable.kind, anyValue(*variable.kind, dice_));
    scan();
    scan();
  }

  void step() {
    if (sockets.rounds() <= datagrams() / DATAGRAMS_PER_ROUND) sockets.round();
    const unsigned int what = dice_.below(100);
    if (what < 31) {
      attack();
    } else if (what < 33) {
      manager_.nextReply = hostileDatagram(manager_.variables, dice_);
      ++hostile;
      manager_.readProperty(*manager_.variables[any()].property);
    } else if (what < 63) {
      readGood(any());
    } else if (what < 90) {
      writeGood(any());
    } else {
      const std::size_t variable = any();
      setValue(*card_.variables[variable].property, *card_.variables[variable].kind,
               anyValue(*card_.variables[variable].kind, dice_));
      scan();
    }
  }

  // What may differ between two moments without having grown: the texts, the last refused request, the last reply.
  void tidyUp() {
    scan();
    const std::string ownText(40, 'x');  // in a block of its own, which takes the place of a larger one
    for (Peer* peer : {static_cast<Peer*>(&card_), static_cast<Peer*>(&manager_)}) {
      for (Variable& variable : peer->variables)
        if (variable.kind->type == TREL_TYPE_STRING) setValue(*variable.property, *variable.kind, ownText);
      peer->receive(header(READ, 0) + tlv(0x07000000, 0, ""), "10.0.0.66");
      peer->answer.clear();
      peer->answer.shrink_to_fit();
    }
    readGood(0);
    card_.answer.clear();
    card_.answer.shrink_to_fit();
    manager_.nextReply.shrink_to_fit();
  }

  void checkCoverage() const {
    promise(card_.wraps > 0 && manager_.wraps > 0, "the message ids have not wrapped on both sides");
    promise(reads > 0 && writes > 0 && manager_.amis > 0, "a kind of good traffic is missing");
    promise(hostile * 5 > datagrams(), "less than a fifth of the datagrams was hostile");
  }

  void printCounts() const {
    std::printf(
        "%llu good reads, %llu good writes, %llu autonomous messages, %llu hostile of %llu datagrams (%.0f %%)\n",
        reads, writes, manager_.amis, hostile, datagrams(),
        100.0 * static_cast<double>(hostile) / static_cast<double>(datagrams()));
    std::printf("message ids wrapped %u times on the card, %u times on the manager\n", card_.wraps, manager_.wraps);
    std::printf("%llu rounds of sockets, with %llu datagrams through them\n", sockets.rounds(), sockets.datagrams());
  }

  unsigned long long reads = 0;
  unsigned long long writes = 0;
  unsigned long long hostile = 0;
  Sockets sockets;

 private:
  std::size_t any() { return dice_.below(card_.variables.size()); }

  void attack() {
    ++hostile;
    Peer& target = dice_.oneIn(5) ? static_cast<Peer&>(manager_) : card_;
    std::string sender = hostileSender(dice_);
    if (sender == MANAGER_ADDRESS) sender = "10.0.0.69";  // its sequence is followed below
    target.receive(hostileDatagram(target.variables, dice_), sender == "null" ? nullptr : sender.c_str());
  }

  // The manager has a value afterwards that equals the card's, and was answered without a mark: no id was lost.
  void readGood(std::size_t variable) {
    Variable& truth = card_.variables[variable];
    if (truth.property->length() > 1000)
      setValue(*truth.property, *truth.kind, "short");  // more than an answer carries
    promiseNumber(manager_.readProperty(*manager_.variables[variable].property), 1, "result of a good read");
    promiseDatagram(card_.answer,
                    header(READ_RESPONSE, manager_.lastId()) + std::string(3, '\0') + tlvOf(*truth.property),
                    "answer to a good read");
    promiseDatagram(tlvOf(*manager_.variables[variable].property), tlvOf(*truth.property), "a value that was read");
    ++reads;
  }

  void writeGood(std::size_t variable) {
    Variable& mirror = manager_.variables[variable];
    if (mirror.kind->readOnly) return;
    const std::string value = anyValue(*mirror.kind, dice_);
    if (!isAllowed(*mirror.kind, value)) return;
    setValue(*mirror.property, *mirror.kind, value);
    promiseNumber(manager_.writeProperty(*mirror.property), 1, "result of a good write");
    promiseDatagram(card_.answer, header(WRITE_RESPONSE, manager_.lastId()) + std::string(3, '\0'),
                    "answer to a good write");
    promiseDatagram(tlvOf(*card_.variables[variable].property), tlvOf(*mirror.property), "a value that was written");
    ++writes;
  }

  void scan() { card_.eventHandler(); }

  Dice dice_{20240607};
  Manager manager_;
  Card card_{manager_};
};

// ----- measuring -------------------------------------------------------------------------------------------------------

std::size_t liveHeap() {
  if (__sanitizer_get_current_allocated_bytes != nullptr) return __sanitizer_get_current_allocated_bytes();
  const struct mallinfo2 heap = mallinfo2();
  return heap.uordblks + heap.hblkhd;
}

// Blocks that malloc keeps back for the thread count as live, unless it is told to keep none.
std::size_t tolerance() {
  const char* const tunables = std::getenv("GLIBC_TUNABLES");
  const bool exact = __sanitizer_get_current_allocated_bytes != nullptr ||
                     (tunables != nullptr && std::strstr(tunables, "glibc.malloc.tcache_count=0") != nullptr);
  return exact ? 4096 : 512 * 1024;
}

void run(unsigned long long wanted) {
  const auto start = std::chrono::steady_clock::now();
  std::printf("%llu datagrams\n", wanted);  // and stdout has its buffer before the first measurement
  Soak soak;
  soak.warmUp();
  std::size_t heapAtFirst = 0;
  std::size_t heapAtMost = 0;
  std::size_t heap = 0;
  for (unsigned int hundredth = 1; hundredth <= 100; ++hundredth) {
    while (soak.datagrams() < wanted / 100 * hundredth)
      soak.step();
    soak.tidyUp();
    heap = liveHeap();
    const unsigned int descriptors = openDescriptors();
    if (hundredth == 1) heapAtFirst = heap;
    heapAtMost = std::max(heapAtMost, heap);
    if (hundredth == 1 || hundredth % 10 == 0) {
      const std::chrono::duration<double> passed = std::chrono::steady_clock::now() - start;
      std::printf("%3u %%  %10llu datagrams  %6.1f s  live heap %zu bytes  %u descriptors\n", hundredth,
                  soak.datagrams(), passed.count(), heap, descriptors);
      std::fflush(stdout);
    }
    promise(heap <= heapAtFirst + tolerance(),
            ("the live heap has grown to " + std::to_string(heap) + " bytes").c_str());
    promiseNumber(descriptors, soak.sockets.descriptors(), "open descriptors");
  }
  soak.printCounts();
  std::printf("live heap: %zu bytes at 1 %%, %zu at most, %zu at the end (tolerance %zu)\n", heapAtFirst, heapAtMost,
              heap, tolerance());
  std::printf("descriptors: %u throughout, besides the sockets of a round\n", soak.sockets.descriptors());
  soak.checkCoverage();
}

}  // namespace

int main(int argc, char** argv) {
  unsigned long long datagrams = 10000000;
  if (argc > 1) {
    char* end = nullptr;
    datagrams = std::strtoull(argv[1], &end, 10);
    if (argc > 2 || end == argv[1] || *end != '\0' || argv[1][0] == '-' || datagrams < 1000) {
      std::fputs(USAGE, stderr);
      return 2;
    }
  }
  try {
    run(datagrams);
  } catch (const std::exception& broken) {
    std::printf("\nbroken: %s\n", broken.what());
    return 1;
  }
  return 0;
}
