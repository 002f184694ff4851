#include "sim/sockets.h"

#include <dirent.h>

#include <string>

#include "sim/brokenPromise.h"
#include "trel/trelObjects.h"
#include "trel/trelProperty.h"
#include "trelUdp/trelUdp.h"

namespace sim {

namespace {

constexpr const char* LOOPBACK = "127.0.0.1";
constexpr unsigned int PATIENCE = 10000;  // ms; passes only when the system loses a datagram on its way to itself

// One end, with one variable.
class End : public TrelUdp {
 public:
  End() : level(new TypeProperty<unsigned int>(0, "level", IFC_CARD_VAR_READ_WRITE, 0U)) {
    promise(object_.addProp(level, 0), "addProp refuses a new property");
    registerObject(&object_);
    // Whoever asks again as soon as the answer is there would be over the rates.
    const TrelUdpRate any{0, 1};
    promise(setPeerRate(any) && setTotalRate(any), "the rates cannot be lifted");
    setReplyTimeout(PATIENCE);
  }

  TypeProperty<unsigned int>* const level;  // the object's

  void openAnyPort() { promise(open(LOOPBACK), ("open: " + errorText()).c_str()); }
  unsigned int value() const {
    unsigned int is = 0;
    level->get(&is);
    return is;
  }

 private:
  TrelScalar object_{"sockets", 1, true};
};

// Has the card answer as soon as a request is out, before it waits.
class AskingEnd : public End {
 public:
  explicit AskingEnd(End& card) : card_(card) {}
  void datagramPassed(const TrelUdpDatagram& datagram) override {
    if (datagram.fate != TREL_UDP_SENT) return;
    promise(card_.waitForDatagram(PATIENCE), "a datagram to 127.0.0.1 does not arrive");
    card_.handleDatagrams();
  }

 private:
  End& card_;
};

void talk(AskingEnd& manager, End& card, unsigned int value) {
  manager.level->set(value);
  promiseNumber(manager.writeProperty(*manager.level), 1, ("a write: " + manager.lastResult().str()).c_str());
  promiseNumber(card.value(), value, "the value that was written");
  card.level->set(value + 1);
  promiseNumber(manager.readProperty(*manager.level), 1, ("a read: " + manager.lastResult().str()).c_str());
  promiseNumber(manager.value(), value + 1, "the value that was read");
}

}  // namespace

unsigned int openDescriptors() {
  DIR* const folder = ::opendir("/proc/self/fd");
  promise(folder != nullptr, "/proc/self/fd cannot be read");
  unsigned int count = 0;
  while (::readdir(folder) != nullptr)
    ++count;
  ::closedir(folder);
  return count - 3;  // without ".", ".." and the folder's own
}

void Sockets::promiseOpen(unsigned int sockets, const char* when) const {
  promiseNumber(openDescriptors(), descriptors_ + sockets, (std::string("open descriptors ") + when).c_str());
}

void Sockets::round() {
  if (rounds_ == 0) descriptors_ = openDescriptors();
  promiseOpen(0, "before the sockets are opened");
  {
    End card;
    AskingEnd manager(card);
    card.openAnyPort();
    promise(!manager.open(LOOPBACK, card.port()), "two sockets are bound to one port");
    promiseOpen(1, "after a socket that cannot be bound");
    promise(manager.setPeer(LOOPBACK, card.port()), "the card's address is refused");

    manager.openAnyPort();
    promiseOpen(2, "while both sockets are open");
    talk(manager, card, static_cast<unsigned int>(rounds_));
    manager.close();
    promiseOpen(1, "after one socket was closed");

    manager.openAnyPort();
    promiseOpen(2, "after it was opened again");
    talk(manager, card, static_cast<unsigned int>(rounds_ + 1000));
    datagrams_ += card.counters().received + manager.counters().received;
  }
  promiseOpen(0, "after both ends are gone");
  ++rounds_;
}

}  // namespace sim
