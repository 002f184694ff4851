#include "trelUdp/trelUdpGuard.h"

#include "trelUdp/trelUdpHeader.h"

using namespace trelUdpHeader;

namespace {

constexpr unsigned long long ONE_SECOND = 1000000000;  // nanoseconds
constexpr unsigned long long ONE_DATAGRAM = 1000000000;

bool isRequest(unsigned int action) { return action == TREL_ACTION_READ || action == TREL_ACTION_WRITE; }
// Of whatever version: an error answer of another version is a response too, and to answer it would make two ends answer
// each other's errors for ever.
bool isResponse(unsigned int action) {
  return action == TREL_ACTION_READ_RESPONSE || action == TREL_ACTION_WRITE_RESPONSE;
}
bool isKnown(unsigned int action) { return action >= TREL_ACTION_READ && action <= TREL_ACTION_AMI; }

// An action that nobody knows is no role's: the engine only says so.
bool mayDo(TrelUdpRole role, unsigned int action) {
  if (isRequest(action)) return (role & TREL_UDP_ROLE_MANAGER) != 0;
  if (action == TREL_ACTION_AMI) return (role & TREL_UDP_ROLE_CARD) != 0;
  return true;
}

bool same(const TrelUdpAddress& one, const TrelUdpAddress& other) {
  return one.ip == other.ip && one.port == other.port;
}

// ----- verdicts -----

TrelUdpVerdict passed(TrelUdpFate fate) { return {fate, TREL_UDP_DROP_CUT, nullptr, 0}; }
TrelUdpVerdict dropped(TrelUdpDrop reason) { return {TREL_UDP_DROPPED, reason, nullptr, 0}; }

// The innermost wait that this is the reply of, or null. An outer one gets its reply too while an inner one goes on.
TrelUdpAwaited* waitFor(const TrelUdpArrival& response) {
  for (TrelUdpAwaited* wait = response.awaited; wait != nullptr; wait = wait->outer) {
    if (wait->sent && !wait->answered && same(response.sender, wait->peer) && msgIdOf(response.bytes) == wait->msgId &&
        actionOf(response.bytes) == wait->replyAction) {
      return wait;
    }
  }
  return nullptr;
}

}  // namespace

// ----- TrelUdpBucket -----

void TrelUdpBucket::setRate(const TrelUdpRate& rate) {
  rate_ = rate;
  credit_ = rate.burst * ONE_DATAGRAM;
}

bool TrelUdpBucket::has(unsigned long long now) {
  if (rate_.perSecond == 0) return true;
  const unsigned long long elapsed = now > last_ ? now - last_ : 0;
  last_ = now;
  const unsigned long long full = rate_.burst * ONE_DATAGRAM;
  // Divided and compared, because the product may be more than a number holds.
  if (elapsed > (full - credit_) / rate_.perSecond) {
    credit_ = full;
  } else {
    credit_ += elapsed * rate_.perSecond;
  }
  return credit_ >= ONE_DATAGRAM;
}

void TrelUdpBucket::take() {
  if (rate_.perSecond != 0) credit_ -= ONE_DATAGRAM;
}

// ----- TrelUdpGuard -----

void TrelUdpGuard::setSpeakers(const std::vector<Speaker>& speakers) {
  std::vector<Peer> wanted;
  for (const Speaker& speaker : speakers) {
    const Peer* const known = find(speaker.ip);
    wanted.push_back(known != nullptr ? *known
                                      : Peer{{speaker.ip, speaker.role, 0, 0}, TrelUdpBucket(peerRate_), ++namings_});
    wanted.back().shown.role = speaker.role;
  }
  peers_.swap(wanted);
}

TrelUdpRole TrelUdpGuard::roleOf(unsigned int ip) const {
  for (const Peer& peer : peers_) {
    if (peer.shown.ip == ip) return peer.shown.role;
  }
  return TREL_UDP_ROLE_NONE;
}

std::vector<TrelUdpPeer> TrelUdpGuard::peers() const {
  std::vector<TrelUdpPeer> shown;
  for (const Peer& peer : peers_) {
    shown.push_back(peer.shown);
  }
  return shown;
}

void TrelUdpGuard::setPeerRate(const TrelUdpRate& rate) {
  peerRate_ = rate;
  for (Peer& peer : peers_) {
    peer.bucket.setRate(rate);
  }
}

TrelUdpVerdict TrelUdpGuard::judge(const TrelUdpArrival& arrival) {
  Peer* const sender = find(arrival.sender.ip);
  TrelUdpVerdict verdict = decide(arrival, sender);
  if (sender != nullptr) {
    ++sender->shown.received;
    if (verdict.fate == TREL_UDP_DROPPED) ++sender->shown.dropped;
    verdict.naming = sender->naming;
  }
  return verdict;
}

TrelUdpVerdict TrelUdpGuard::judgeKept(const TrelUdpAddress& sender, unsigned long long naming, const char* bytes) {
  const TrelUdpRole role = roleOf(sender.ip);
  if (role != TREL_UDP_ROLE_NONE && mayDo(role, actionOf(bytes))) return passed(TREL_UDP_HANDED_OVER);
  dropKept(sender, naming);
  return dropped(role == TREL_UDP_ROLE_NONE ? TREL_UDP_DROP_FOREIGN_SENDER : TREL_UDP_DROP_ROLE);
}

// Not for one who was taken off and named again: it begins anew, and did not receive this one.
void TrelUdpGuard::dropKept(const TrelUdpAddress& sender, unsigned long long naming) {
  Peer* const peer = find(sender.ip);
  if (peer != nullptr && peer->naming == naming) ++peer->shown.dropped;
}

TrelUdpGuard::Peer* TrelUdpGuard::find(unsigned int ip) {
  for (Peer& peer : peers_) {
    if (peer.shown.ip == ip) return &peer;
  }
  return nullptr;
}

TrelUdpVerdict TrelUdpGuard::decide(const TrelUdpArrival& arrival, Peer* sender) {
  if (arrival.cut) return dropped(TREL_UDP_DROP_CUT);
  if (arrival.length < static_cast<unsigned int>(TREL_HEADER_LEN)) return dropped(TREL_UDP_DROP_SHORT);

  const unsigned int action = actionOf(arrival.bytes);
  if (isResponse(action)) return decideResponse(arrival, sender != nullptr);
  if (sender == nullptr) return dropped(TREL_UDP_DROP_FOREIGN_SENDER);
  if (!mayDo(sender->shown.role, action)) return dropped(TREL_UDP_DROP_ROLE);

  const bool isHeaderError = !isKnown(action) || versionOf(arrival.bytes) != TREL_PROT_VERSION;
  if (isHeaderError && !headerErrors_.has(arrival.now)) {
    return dropped(isKnown(action) ? TREL_UDP_DROP_VERSION : TREL_UDP_DROP_ACTION);
  }
  if (!hasOurMagic(arrival.bytes)) return dropped(TREL_UDP_DROP_MAGIC);
  if (!sender->bucket.has(arrival.now)) return dropped(TREL_UDP_DROP_PEER_RATE);
  if (!all_.has(arrival.now)) return dropped(TREL_UDP_DROP_TOTAL_RATE);
  if (arrival.keep && arrival.kept >= TREL_UDP_MAX_KEPT) return dropped(TREL_UDP_DROP_KEPT_FULL);

  if (isHeaderError) headerErrors_.take();
  sender->bucket.take();
  all_.take();
  return passed(arrival.keep ? TREL_UDP_KEPT : TREL_UDP_HANDED_OVER);
}

// A response never goes to the engine from here: it is the reply that a wait is for, or it is nothing. The one who was
// asked may answer even when it may not speak otherwise, because it was asked before that was changed.
TrelUdpVerdict TrelUdpGuard::decideResponse(const TrelUdpArrival& arrival, bool isAllowed) {
  if (TrelUdpAwaited* const wait = waitFor(arrival)) {
    if (!hasOurMagic(arrival.bytes)) return dropped(TREL_UDP_DROP_MAGIC);
    lastReplyFrom_ = arrival.sender;
    lastReplyId_ = wait->msgId;
    lastReplyAction_ = wait->replyAction;
    return {TREL_UDP_REPLY, TREL_UDP_DROP_CUT, wait, 0};
  }
  if (!isAllowed) return dropped(TREL_UDP_DROP_FOREIGN_SENDER);
  if (isDuplicate(arrival)) return dropped(TREL_UDP_DROP_DUPLICATE_REPLY);
  if (arrival.awaited == nullptr || !arrival.awaited->sent) return dropped(TREL_UDP_DROP_UNAWAITED_REPLY);
  return dropped(same(arrival.sender, arrival.awaited->peer) ? TREL_UDP_DROP_STALE_REPLY : TREL_UDP_DROP_FOREIGN_REPLY);
}

bool TrelUdpGuard::isDuplicate(const TrelUdpArrival& response) const {
  return same(response.sender, lastReplyFrom_) && msgIdOf(response.bytes) == lastReplyId_ &&
         actionOf(response.bytes) == lastReplyAction_;
}

// ----- TrelUdpDropLog -----

unsigned long long TrelUdpDropLog::tell(TrelUdpDrop reason, unsigned long long now) {
  Reason& of = reasons_[reason];
  if (now < of.last) of.last = now;
  if (of.untold == 0 || (of.told && now - of.last < ONE_SECOND)) return 0;
  const unsigned long long count = of.untold;
  of = {0, now, true};
  return count;
}
