// Private: decides what becomes of a received datagram. Knows no socket and no clock: all that it goes by is given to it.
//
//   1 size       whole, and a header at least
//   2 peer, role from whom, and whether that one may send this. Of responses, the one that is awaited
//   3 action     a known one; the engine answers others with an error, so these pass as often as header errors may
//   4 version    ours; likewise
//   5 magic      ours
//   6 rate       of the sender, and of all
//   7 room       when it has to be kept
//
// The first that does not hold is the reason of the drop. What is dropped takes nothing from any rate.
#ifndef TREL_TRELUDPGUARD_H
#define TREL_TRELUDPGUARD_H

#include "trelUdp/trelUdp.h"

// So many at once, and so many a second from then on. Full at first.
class TrelUdpBucket {
 public:
  explicit TrelUdpBucket(const TrelUdpRate& rate) { setRate(rate); }
  // Full again.
  void setRate(const TrelUdpRate& rate);
  // Whether one more may pass now, in nanoseconds of any clock. A time before the one told last counts as no time passed,
  // and time goes on from there.
  bool has(unsigned long long now);
  // One passed. Only after has().
  void take();

 private:
  TrelUdpRate rate_;
  // In billionths of a datagram: a rate of n a second is n of them each nanosecond, without a remainder.
  unsigned long long credit_ = 0;
  unsigned long long last_ = 0;
};

// A reply that is awaited.
struct TrelUdpAwaited {
  TrelUdpAwaited* outer = nullptr;  // the wait around this one
  TrelUdpAddress peer;
  unsigned short msgId = 0;
  unsigned int replyAction = 0;
  bool sent = false;  // nothing that came before its request left is its reply
  bool answered = false;
};

struct TrelUdpArrival {
  TrelUdpAddress sender;
  const char* bytes = nullptr;
  unsigned int length = 0;
  bool cut = false;                   // there was more of it
  TrelUdpAwaited* awaited = nullptr;  // the innermost one
  bool keep = false;                  // a wait is going on: what is for the engine is kept
  unsigned int kept = 0;              // how many are
  unsigned long long now = 0;         // nanoseconds of a clock that does not go back
};

struct TrelUdpVerdict {
  TrelUdpFate fate;       // never TREL_UDP_SENT
  TrelUdpDrop drop;       // when dropped
  TrelUdpAwaited* reply;  // whose reply it is, when it is one
  // Which naming of its sender it was counted for, 0 for none: judgeKept and dropKept want to know.
  unsigned long long naming;
};

class TrelUdpGuard {
 public:
  // An address that may speak, and what it may say.
  struct Speaker {
    unsigned int ip;
    TrelUdpRole role;
  };

  // Who may speak: these, at most TREL_UDP_MAX_PEERS. Those who could speak before keep their rate and their counts.
  void setSpeakers(const std::vector<Speaker>& speakers);
  TrelUdpRole roleOf(unsigned int ip) const;
  // In the order of setSpeakers.
  std::vector<TrelUdpPeer> peers() const;

  void setPeerRate(const TrelUdpRate& rate);
  void setTotalRate(const TrelUdpRate& rate) { all_.setRate(rate); }
  void setHeaderErrorRate(const TrelUdpRate& rate) { headerErrors_.setRate(rate); }

  TrelUdpVerdict judge(const TrelUdpArrival& arrival);
  // One that was kept, when its turn has come: its sender may have been forbidden to speak meanwhile.
  TrelUdpVerdict judgeKept(const TrelUdpAddress& sender, unsigned long long naming, const char* bytes);
  // One that was kept and has no turn any more.
  void dropKept(const TrelUdpAddress& sender, unsigned long long naming);

 private:
  struct Peer {
    TrelUdpPeer shown;
    TrelUdpBucket bucket;
    unsigned long long naming;  // a number of its own each time that an address is named anew
  };

  Peer* find(unsigned int ip);
  TrelUdpVerdict decide(const TrelUdpArrival& arrival, Peer* sender);
  TrelUdpVerdict decideResponse(const TrelUdpArrival& arrival, bool isAllowed);
  bool isDuplicate(const TrelUdpArrival& response) const;

  std::vector<Peer> peers_;
  unsigned long long namings_ = 0;
  TrelUdpRate peerRate_ = TREL_UDP_PEER_RATE;
  TrelUdpBucket all_{TREL_UDP_TOTAL_RATE};
  TrelUdpBucket headerErrors_{TREL_UDP_HEADER_ERROR_RATE};
  // The reply that was taken last, to know its duplicates. Nobody has the address 0.
  TrelUdpAddress lastReplyFrom_;
  unsigned short lastReplyId_ = 0;
  unsigned int lastReplyAction_ = 0;
};

// Whether a drop is told in the log now: of each reason once a second.
class TrelUdpDropLog {
 public:
  // So many were dropped.
  void add(TrelUdpDrop reason, unsigned long long count) { reasons_[reason].untold += count; }
  // How many there are to tell, those of this line and those since the line before; 0: there is nothing to tell now. What
  // it returns counts as told.
  unsigned long long tell(TrelUdpDrop reason, unsigned long long now);

 private:
  struct Reason {
    unsigned long long untold = 0;
    unsigned long long last = 0;  // when it was told last
    bool told = false;
  };
  Reason reasons_[TREL_UDP_DROP_REASONS];
};

#endif
