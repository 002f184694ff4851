// A manager in the card's own process, so that an example is one program that ends by itself. In earnest the two are programs
// of their own, and neither needs this: the card loops as in smallestCard.cpp, the manager is a plain TrelUdp as in client.cpp.
#ifndef EXAMPLES_LOCALMANAGER_H
#define EXAMPLES_LOCALMANAGER_H

#include "trelUdp/trelUdp.h"

class LocalManager : public TrelUdp {
 public:
  explicit LocalManager(TrelUdp& card) : card_(card) {}

  // Opens both ends on loopback, on free ports.
  bool connect() { return card_.open() && open() && setPeer("127.0.0.1", card_.port()); }

  // As soon as a request is out, before its reply is awaited, the card gets its turn.
  void datagramPassed(const TrelUdpDatagram& datagram) override {
    if (datagram.fate == TREL_UDP_SENT && card_.waitForDatagram(1000)) card_.handleDatagrams();
  }

 private:
  TrelUdp& card_;
};

#endif
