// A network between two ends on loopback, in a process of its own, that loses, doubles, delays and thereby reorders datagrams.

#ifndef TESTS_SCENARIO_UDP_BADNETWORK_H
#define TESTS_SCENARIO_UDP_BADNETWORK_H

#include <sys/types.h>

#include <atomic>
#include <functional>

constexpr unsigned int MAX_MSG_IDS = 4096;

// What the network does. The same seed makes the same decisions, datagram by datagram.
struct Weather {
  unsigned int seed = 1;
  unsigned int lossPercent = 0;
  unsigned int doublePercent = 0;
  unsigned int maxDelayMs = 0;  // each copy is delayed by a time of its own, so later ones overtake it
};

// Seen by all processes. The counts are of datagrams from the near to the far end, by message id, unless said otherwise.
struct SharedNotes {
  std::atomic<unsigned int> calm;  // from now on everything is passed on at once, once
  std::atomic<unsigned int> stop;  // all processes end
  std::atomic<unsigned int> inFlight;
  std::atomic<unsigned int> lost;
  std::atomic<unsigned int> doubled;
  std::atomic<unsigned int> overtaken;                 // passed on behind one that came later
  std::atomic<unsigned int> sentBy[MAX_MSG_IDS];       // came from the near end
  std::atomic<unsigned int> deliveredTo[MAX_MSG_IDS];  // were passed on to the far end
  std::atomic<unsigned int> amisDelivered;             // to the near end
  std::atomic<unsigned int> executed[MAX_MSG_IDS];     // for the far end: writes, by the id that their value bears
  std::atomic<unsigned int> farSuccesses;              // for the far end
};

// The far end: runs in its process until notes.stop. `networkPort` is where it sends what is for the near end; it tells its
// own port through `announce`. Its result is the exit code, 0 for good.
using FarEnd = std::function<int(SharedNotes& notes, unsigned short networkPort,
                                 const std::function<void(unsigned short port)>& announce)>;

// Starts the far end and the network. The near end is the caller. All processes end by themselves after a minute or two, also
// when the test has died.
class BadNetwork {
 public:
  BadNetwork(const Weather& weather, unsigned short nearPort, const FarEnd& farEnd);
  ~BadNetwork();
  BadNetwork(const BadNetwork&) = delete;
  BadNetwork& operator=(const BadNetwork&) = delete;

  // Where the near end sends what is for the far end.
  unsigned short nearSidePort() const { return nearSidePort_; }
  SharedNotes& notes() { return *notes_; }

  // Stops losing and delaying, and waits until nothing is on its way. False: it takes too long.
  bool calmDown();
  // Ends both processes. True: both were well to the end.
  bool stop();

 private:
  SharedNotes* notes_;
  unsigned short nearSidePort_ = 0;
  pid_t network_ = -1;
  pid_t far_ = -1;
};

#endif
