#include "sim/link.h"

#include <algorithm>
#include <utility>

namespace sim {

void Link::send(Datagram datagram, const std::string& spoofed, Dice& dice) {
  ++statistics_.of[SENT];
  datagram.sentBy = datagram.from;
  datagram.number = ++sent_;
  if (dice.percent(weather.loss)) {
    ++statistics_.of[LOST];
    return;
  }
  if (dice.percent(weather.spoofing)) {
    if (spoofed != datagram.from) ++statistics_.of[SPOOFED];
    datagram.from = spoofed;
  }
  if (!datagram.bytes.empty() && dice.percent(weather.truncation)) {
    ++statistics_.of[TRUNCATED];
    datagram.bytes.resize(dice.below(datagram.bytes.size()));
  }
  if (!datagram.bytes.empty() && dice.percent(weather.flips)) {
    ++statistics_.of[FLIPPED];
    for (unsigned int flips = 1 + dice.below(3); flips > 0; --flips) {
      char& byte = datagram.bytes[dice.below(datagram.bytes.size())];
      byte = static_cast<char>(static_cast<unsigned char>(byte) ^ (1U << dice.below(8)));
    }
  }
  launch(datagram, dice);
  if (dice.percent(weather.doubling)) {
    ++statistics_.of[DOUBLED];
    launch(datagram, dice);
  }
}

void Link::launch(const Datagram& datagram, Dice& dice) {
  flying_.emplace(clock_.now() + 1 + dice.below(weather.maxDelay), datagram);
}

bool Link::next(Microseconds byThen, Datagram& datagram) {
  if (flying_.empty() || flying_.begin()->first > byThen) return false;
  clock_.advanceTo(flying_.begin()->first);
  datagram = std::move(flying_.begin()->second);
  flying_.erase(flying_.begin());
  ++statistics_.of[DELIVERED];
  unsigned long long& newest = newestDelivered_[{datagram.sentBy, datagram.to}];
  if (datagram.number < newest) ++statistics_.of[OVERTAKEN];
  newest = std::max(newest, datagram.number);
  return true;
}

}  // namespace sim
