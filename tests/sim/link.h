// The clock and the network of the simulation.

#ifndef TESTS_SIM_LINK_H
#define TESTS_SIM_LINK_H

#include <map>
#include <string>
#include <utility>

#include "sim/dice.h"
#include "sim/statistics.h"

namespace sim {

using Microseconds = unsigned long long;

// Time passes only when the link or a waiting transport says so.
class VirtualClock {
 public:
  Microseconds now() const { return now_; }
  void advanceTo(Microseconds time) {
    if (time > now_) now_ = time;
  }

 private:
  Microseconds now_ = 0;
};

// What the network does, in percent of the datagrams.
struct Weather {
  unsigned int loss = 0;
  unsigned int doubling = 0;
  unsigned int truncation = 0;
  unsigned int flips = 0;
  unsigned int spoofing = 0;
  Microseconds maxDelay = 100;  // each copy has a delay of its own, so that later ones overtake it
};

struct Datagram {
  std::string from;    // what the receiver sees
  std::string sentBy;  // what it would see without spoofing
  unsigned int to = 0;
  std::string bytes;
  unsigned long long number = 0;  // in order of sending
};

class Link {
 public:
  Link(VirtualClock& clock, Statistics& statistics) : clock_(clock), statistics_(statistics) {}

  Weather weather;

  // `spoofed` is the sender's address that takes the place of the true one when the weather says so.
  void send(Datagram datagram, const std::string& spoofed, Dice& dice);
  // Takes out the next datagram that is due by then, and moves the clock to it. False: there is none.
  bool next(Microseconds byThen, Datagram& datagram);
  bool isEmpty() const { return flying_.empty(); }

 private:
  void launch(const Datagram& datagram, Dice& dice);

  VirtualClock& clock_;
  Statistics& statistics_;
  std::multimap<Microseconds, Datagram> flying_;
  unsigned long long sent_ = 0;
  std::map<std::pair<std::string, unsigned int>, unsigned long long> newestDelivered_;  // by sender and receiver
};

}  // namespace sim

#endif
