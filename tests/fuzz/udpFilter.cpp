// What a UDP transport lets through: datagrams, times and waits through its guard, beside a model that knows the rules.
//
// Input: one byte that says which rates hold at first (bit 0 of each peer, bit 1 of all, bit 2 of header errors), then records
// of an operation, a length and a text. The operation's bits 0 to 2 say what happens, bits 3 to 5 who the other end is:
//   0  the text arrives as a datagram; bit 6: cut off
//   1  so many nanoseconds pass            2  the clock is set to that, be it back
//   3  a reply is awaited: its message id (2 bytes), its action (1); bit 6: its request has not left yet
//   4  the innermost wait ends
//   5  these may speak: the roles of 10.0.0.1 to 10.0.0.5, a byte each; 0: not this one
//   6  a rate: which (1 byte), datagrams a second (2), burst (1)
//   7  the oldest datagram that was kept has its turn; bit 6: all of them are dropped with their socket

#include <algorithm>
#include <deque>
#include <string>
#include <vector>

#include "support/datagramMutator.h"
#include "support/exactBlock.h"
#include "support/fuzzInput.h"
#include "support/promise.h"
#include "trelUdp/trelUdpGuard.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);
extern "C" std::size_t LLVMFuzzerCustomMutator(std::uint8_t* data, std::size_t size, std::size_t maxSize,
                                               unsigned int seed);

namespace {

constexpr unsigned long long SECOND = 1000000000;
constexpr unsigned int ADDRESSES = 5;  // that may be named; what is sent from another one is a stranger's
constexpr std::size_t MAX_WAITS = 8;

constexpr TrelUdpRate NO_LIMIT = {0, 0};
constexpr TrelUdpRate FIRST_PEER_RATE = {10, 3};
constexpr TrelUdpRate FIRST_TOTAL_RATE = {20, 5};
constexpr TrelUdpRate FIRST_HEADER_ERROR_RATE = {1, 4};

unsigned int ipOf(unsigned int index) { return 0x0A000001U + index; }

// 10.0.0.1 to 10.0.0.6, of which the last is named by nobody, and two of them from another port.
TrelUdpAddress otherEnd(unsigned int operation) {
  const unsigned int number = operation >> 3 & 7U;
  TrelUdpAddress address;
  address.ip = ipOf(number % 6);
  address.port = number < 6 ? 4000 : 4001;
  return address;
}

bool same(const TrelUdpAddress& one, const TrelUdpAddress& other) {
  return one.ip == other.ip && one.port == other.port;
}

unsigned long long numberOf(const std::string& text) {
  unsigned long long number = 0;
  for (const char byte : text) {
    number = number << 8 | static_cast<unsigned char>(byte);
  }
  return number;
}

unsigned int byteOf(const std::string& text, std::size_t index) {
  return index < text.size() ? static_cast<unsigned char>(text[index]) : 0;
}

// Time that only goes forward, however the clock is set. Steps are cut where they make no difference to any rate here.
class ForwardTime {
 public:
  unsigned long long at(unsigned long long clock) {
    if (clock > last_) sum_ += std::min(clock - last_, 1000 * SECOND);
    last_ = clock;
    return sum_;
  }

 private:
  unsigned long long last_ = 0;
  unsigned long long sum_ = 0;
};

// A rate as it is promised: in no window of time pass more than its burst and what its length allows; and whatever breaks that
// in no window may pass.
class ModelRate {
 public:
  explicit ModelRate(const TrelUdpRate& rate) : rate_(rate) {}
  void set(const TrelUdpRate& rate) {
    rate_ = rate;
    passes_.clear();
  }

  bool allows(unsigned long long clock) {
    if (rate_.perSecond == 0) return true;
    now_ = time_.at(clock);
    unsigned long long inWindow = 1;
    for (std::size_t i = passes_.size(); i-- > 0;) {
      ++inWindow;
      if (inWindow <= rate_.burst) continue;
      const unsigned long long nanoseconds = (inWindow - rate_.burst) * SECOND;
      if (now_ - passes_[i] < (nanoseconds + rate_.perSecond - 1) / rate_.perSecond) return false;
    }
    return true;
  }
  void pass() {
    if (rate_.perSecond != 0) passes_.push_back(now_);
  }

 private:
  TrelUdpRate rate_;
  ForwardTime time_;
  unsigned long long now_ = 0;
  std::vector<unsigned long long> passes_;
};

struct ModelPeer {
  unsigned int role = 0;
  unsigned int naming = 0;  // how often somebody had been named when this one was
  ModelRate rate{NO_LIMIT};
  unsigned long long received = 0;
  unsigned long long dropped = 0;
};

struct Arrived {
  TrelUdpAddress sender;
  std::string bytes;
  bool cut = false;
  // When it was received: which naming of its sender was counted, for the model and for the guard.
  unsigned int naming = 0;
  unsigned long long guardNaming = 0;
};

struct Expected {
  TrelUdpFate fate = TREL_UDP_DROPPED;
  TrelUdpDrop drop = TREL_UDP_DROP_CUT;
  const TrelUdpAwaited* reply = nullptr;
};

Expected because(TrelUdpDrop reason) { return {TREL_UDP_DROPPED, reason, nullptr}; }

unsigned int msgIdOf(const std::string& bytes) { return byteOf(bytes, 6) << 8 | byteOf(bytes, 7); }

// The rules, said once more and in another way.
class Model {
 public:
  ModelPeer* peer(unsigned int ip) {
    const unsigned int index = ip - ipOf(0);
    return index < ADDRESSES && peers_[index].role != 0 ? &peers_[index] : nullptr;
  }
  void name(unsigned int index, unsigned int role) {
    if (role == 0 || peers_[index].role == 0) {
      peers_[index] = ModelPeer();
      peers_[index].rate.set(peerRate_);
      peers_[index].naming = ++namings_;
    }
    peers_[index].role = role;
  }
  void setRate(unsigned int which, const TrelUdpRate& rate) {
    if (which == 1) all_.set(rate);
    if (which == 2) headerErrors_.set(rate);
    if (which != 0) return;
    peerRate_ = rate;
    for (ModelPeer& peer : peers_) {
      peer.rate.set(rate);
    }
  }

  Expected judge(const Arrived& arrived, const std::deque<TrelUdpAwaited>& waits, std::size_t kept,
                 unsigned long long clock) {
    ModelPeer* const sender = peer(arrived.sender.ip);
    const Expected expected = decide(arrived, sender, waits, kept, clock);
    if (sender != nullptr) {
      ++sender->received;
      if (expected.fate == TREL_UDP_DROPPED) ++sender->dropped;
    }
    return expected;
  }

  Expected judgeKept(const Arrived& arrived) {
    ModelPeer* const sender = peer(arrived.sender.ip);
    if (sender == nullptr) return because(TREL_UDP_DROP_FOREIGN_SENDER);
    if (hasRoleFor(*sender, byteOf(arrived.bytes, 5))) return {TREL_UDP_HANDED_OVER, TREL_UDP_DROP_CUT, nullptr};
    dropKept(arrived);
    return because(TREL_UDP_DROP_ROLE);
  }
  // Counted for the one who was counted as having sent it, if that one is there still.
  void dropKept(const Arrived& arrived) {
    ModelPeer* const sender = peer(arrived.sender.ip);
    if (sender != nullptr && sender->naming == arrived.naming) ++sender->dropped;
  }

 private:
  static bool hasRoleFor(const ModelPeer& peer, unsigned int action) {
    if (action == 1 || action == 2) return peer.role == 1 || peer.role == 3;
    if (action == 5) return peer.role == 2 || peer.role == 3;
    return true;
  }

  Expected decide(const Arrived& arrived, ModelPeer* sender, const std::deque<TrelUdpAwaited>& waits, std::size_t kept,
                  unsigned long long clock) {
    if (arrived.cut) return because(TREL_UDP_DROP_CUT);
    if (arrived.bytes.size() < 8) return because(TREL_UDP_DROP_SHORT);
    const unsigned int action = byteOf(arrived.bytes, 5);
    const bool foreign = arrived.bytes.substr(0, 4) != "OTN1";
    if (action == 3 || action == 4) return decideResponse(arrived, sender != nullptr, foreign, waits);
    if (sender == nullptr) return because(TREL_UDP_DROP_FOREIGN_SENDER);
    if (!hasRoleFor(*sender, action)) return because(TREL_UDP_DROP_ROLE);

    const bool unknown = action == 0 || action > 5;
    const bool otherVersion = byteOf(arrived.bytes, 4) != 1;
    if (unknown && !headerErrors_.allows(clock)) return because(TREL_UDP_DROP_ACTION);
    if (otherVersion && !headerErrors_.allows(clock)) return because(TREL_UDP_DROP_VERSION);
    if (foreign) return because(TREL_UDP_DROP_MAGIC);
    if (!sender->rate.allows(clock)) return because(TREL_UDP_DROP_PEER_RATE);
    if (!all_.allows(clock)) return because(TREL_UDP_DROP_TOTAL_RATE);
    if (!waits.empty() && kept == 64) return because(TREL_UDP_DROP_KEPT_FULL);
    if (unknown || otherVersion) headerErrors_.pass();
    sender->rate.pass();
    all_.pass();
    return {waits.empty() ? TREL_UDP_HANDED_OVER : TREL_UDP_KEPT, TREL_UDP_DROP_CUT, nullptr};
  }

  // The innermost wait is the last one.
  Expected decideResponse(const Arrived& arrived, bool isNamed, bool foreign, const std::deque<TrelUdpAwaited>& waits) {
    for (auto wait = waits.rbegin(); wait != waits.rend(); ++wait) {
      if (!wait->sent || wait->answered || !same(wait->peer, arrived.sender)) continue;
      if (wait->msgId != msgIdOf(arrived.bytes) || wait->replyAction != byteOf(arrived.bytes, 5)) continue;
      if (foreign) return because(TREL_UDP_DROP_MAGIC);
      lastReply_ = arrived;
      return {TREL_UDP_REPLY, TREL_UDP_DROP_CUT, &*wait};
    }
    if (!isNamed) return because(TREL_UDP_DROP_FOREIGN_SENDER);
    if (!lastReply_.bytes.empty() && same(arrived.sender, lastReply_.sender) &&
        msgIdOf(arrived.bytes) == msgIdOf(lastReply_.bytes) &&
        byteOf(arrived.bytes, 5) == byteOf(lastReply_.bytes, 5)) {
      return because(TREL_UDP_DROP_DUPLICATE_REPLY);
    }
    if (waits.empty() || !waits.back().sent) return because(TREL_UDP_DROP_UNAWAITED_REPLY);
    if (same(waits.back().peer, arrived.sender)) return because(TREL_UDP_DROP_STALE_REPLY);
    return because(TREL_UDP_DROP_FOREIGN_REPLY);
  }

  ModelPeer peers_[ADDRESSES];
  unsigned int namings_ = 0;
  TrelUdpRate peerRate_ = NO_LIMIT;
  ModelRate all_{NO_LIMIT};
  ModelRate headerErrors_{NO_LIMIT};
  Arrived lastReply_;
};

// The log of drops: never two lines of a reason within a second, and no drop told twice or lost.
class DropLines {
 public:
  void drop(TrelUdpDrop reason, unsigned long long clock, unsigned long long forward) {
    Told& told = told_[reason];
    ++told.untold;
    log_.add(reason, 1);
    const unsigned long long count = log_.tell(reason, clock);
    PROMISE(count == 0 || count == told.untold, "a line tells every drop since the one before");
    PROMISE(count != 0 || told.lines != 0, "the first drop of a reason is told at once");
    if (count == 0) return;
    PROMISE(told.lines == 0 || forward - told.last >= SECOND, "a reason is told once a second at most");
    told = {0, told.lines + 1, forward};
  }

 private:
  struct Told {
    unsigned long long untold = 0;
    unsigned long long lines = 0;
    unsigned long long last = 0;
  };
  TrelUdpDropLog log_;
  Told told_[TREL_UDP_DROP_REASONS];
};

class Session {
 public:
  explicit Session(unsigned int limits) {
    setRate(0, (limits & 1U) != 0 ? FIRST_PEER_RATE : NO_LIMIT);
    setRate(1, (limits & 2U) != 0 ? FIRST_TOTAL_RATE : NO_LIMIT);
    setRate(2, (limits & 4U) != 0 ? FIRST_HEADER_ERROR_RATE : NO_LIMIT);
    setSpeakers("\x01\x02\x03");
  }

  void act(unsigned int operation, const std::string& text) {
    switch (operation & 7U) {
      case 0:
        arrive({otherEnd(operation), text, (operation & 64U) != 0});
        break;
      case 1:
        setClock(clock_ + numberOf(text));
        break;
      case 2:
        setClock(numberOf(text));
        break;
      case 3:
        await(otherEnd(operation), text, (operation & 64U) == 0);
        break;
      case 4:
        if (!waits_.empty()) waits_.pop_back();
        break;
      case 5:
        setSpeakers(text);
        break;
      case 6:
        setRate(byteOf(text, 0) % 3, {byteOf(text, 1) << 8 | byteOf(text, 2), std::max(byteOf(text, 3), 1U)});
        break;
      default:
        (operation & 64U) != 0 ? dropKept() : handleOldestKept();
        break;
    }
  }

  void mustHaveCountedEveryDatagramOnce() const {
    PROMISE(received_ == passed_ + dropped_ + kept_.size(), "every datagram has one fate");
  }

 private:
  void setClock(unsigned long long clock) {
    clock_ = clock;
    forward_ = time_.at(clock);
  }

  void await(const TrelUdpAddress& peer, const std::string& text, bool sent) {
    if (waits_.size() == MAX_WAITS) return;
    TrelUdpAwaited wait;
    wait.outer = waits_.empty() ? nullptr : &waits_.back();
    wait.peer = peer;
    wait.msgId = static_cast<unsigned short>(byteOf(text, 0) << 8 | byteOf(text, 1));
    wait.replyAction = byteOf(text, 2);
    wait.sent = sent;
    waits_.push_back(wait);
  }

  void setSpeakers(const std::string& roles) {
    std::vector<TrelUdpGuard::Speaker> speakers;
    for (unsigned int i = 0; i < ADDRESSES; ++i) {
      const unsigned int role = byteOf(roles, i) & 3U;
      model_.name(i, role);
      if (role != 0) speakers.push_back({ipOf(i), static_cast<TrelUdpRole>(role)});
    }
    guard_.setSpeakers(speakers);
  }

  void setRate(unsigned int which, const TrelUdpRate& rate) {
    if (which == 0) guard_.setPeerRate(rate);
    if (which == 1) guard_.setTotalRate(rate);
    if (which == 2) guard_.setHeaderErrorRate(rate);
    model_.setRate(which, rate);
  }

  void arrive(const Arrived& arrived) {
    const ExactBlock block(arrived.bytes);
    TrelUdpArrival arrival;
    arrival.sender = arrived.sender;
    arrival.bytes = block.data();
    arrival.length = static_cast<unsigned int>(block.size());
    arrival.cut = arrived.cut;
    arrival.awaited = waits_.empty() ? nullptr : &waits_.back();
    arrival.keep = !waits_.empty();
    arrival.kept = static_cast<unsigned int>(kept_.size());
    arrival.now = clock_;

    ++received_;
    const Expected expected = model_.judge(arrived, waits_, kept_.size(), clock_);
    const TrelUdpVerdict verdict = guard_.judge(arrival);
    mustBe(verdict, expected);
    mustBeCounted(arrived.sender.ip);
    if (verdict.fate == TREL_UDP_HANDED_OVER || verdict.fate == TREL_UDP_KEPT) mustBeAllowed(arrived);
    if (verdict.fate == TREL_UDP_KEPT) {
      kept_.push_back(arrived);
      kept_.back().naming = model_.peer(arrived.sender.ip)->naming;
      kept_.back().guardNaming = verdict.naming;
    } else {
      settle(verdict);
    }
  }

  void handleOldestKept() {
    if (kept_.empty()) return;
    const Arrived arrived = kept_.front();
    kept_.pop_front();
    const Expected expected = model_.judgeKept(arrived);
    const TrelUdpVerdict verdict =
        guard_.judgeKept(arrived.sender, arrived.guardNaming, ExactBlock(arrived.bytes).data());
    mustBe(verdict, expected);
    mustBeCounted(arrived.sender.ip);
    if (verdict.fate == TREL_UDP_HANDED_OVER) mustBeAllowed(arrived);
    settle(verdict);
  }

  void dropKept() {
    for (const Arrived& arrived : kept_) {
      model_.dropKept(arrived);
      guard_.dropKept(arrived.sender, arrived.guardNaming);
      mustBeCounted(arrived.sender.ip);
    }
    dropped_ += kept_.size();
    kept_.clear();
  }

  static void mustBe(const TrelUdpVerdict& verdict, const Expected& expected) {
    PROMISE(verdict.fate == expected.fate, "the fate is what the rules say");
    PROMISE(verdict.fate != TREL_UDP_DROPPED || verdict.drop == expected.drop,
            "the first rule that is broken is the reason");
    PROMISE(verdict.reply == expected.reply, "a reply is that of the innermost wait that it fits");
  }

  // What the engine gets, whatever the model says.
  void mustBeAllowed(const Arrived& arrived) {
    const unsigned int role = guard_.roleOf(arrived.sender.ip);
    const unsigned int action = byteOf(arrived.bytes, 5);
    PROMISE(role != TREL_UDP_ROLE_NONE, "the engine hears nobody who is not named");
    PROMISE(!arrived.cut && arrived.bytes.size() >= 8 && arrived.bytes.substr(0, 4) == "OTN1",
            "and of its protocol alone");
    PROMISE(action != 3 && action != 4, "no response");
    PROMISE((action != 1 && action != 2) || (role & TREL_UDP_ROLE_MANAGER) != 0, "requests of managers");
    PROMISE(action != 5 || (role & TREL_UDP_ROLE_CARD) != 0, "reports of cards");
  }

  void mustBeCounted(unsigned int ip) {
    const ModelPeer* const expected = model_.peer(ip);
    for (const TrelUdpPeer& peer : guard_.peers()) {
      if (peer.ip != ip) continue;
      PROMISE(expected != nullptr && peer.role == expected->role, "a peer has the role that it was given");
      PROMISE(peer.received == expected->received && peer.dropped == expected->dropped,
              "each peer's datagrams are counted");
      return;
    }
    PROMISE(expected == nullptr, "everyone who may speak is shown");
  }

  void settle(const TrelUdpVerdict& verdict) {
    if (verdict.reply != nullptr) verdict.reply->answered = true;
    if (verdict.fate != TREL_UDP_DROPPED) {
      ++passed_;
      return;
    }
    ++dropped_;
    lines_.drop(verdict.drop, clock_, forward_);
  }

  TrelUdpGuard guard_;
  Model model_;
  DropLines lines_;
  unsigned long long clock_ = 0;
  ForwardTime time_;
  unsigned long long forward_ = 0;
  std::deque<TrelUdpAwaited> waits_;  // whose places stay while others come and go at the end
  std::deque<Arrived> kept_;
  unsigned long long received_ = 0;
  unsigned long long passed_ = 0;
  unsigned long long dropped_ = 0;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  FuzzInput input(data, size);
  Session session(input.u8());
  while (!input.atEnd()) {
    const unsigned int operation = input.u8();
    session.act(operation, input.bytes(input.u16()));
  }
  session.mustHaveCountedEveryDatagramOnce();
  return 0;
}

extern "C" std::size_t LLVMFuzzerCustomMutator(std::uint8_t* data, std::size_t size, std::size_t maxSize,
                                               unsigned int seed) {
  return mutateRecords({data, size, maxSize, seed}, 1);
}
