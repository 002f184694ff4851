#include "udpCard.h"

#include <vector>

namespace {

// The shared card on a socket, at the same trace level.
struct UdpCard {
  explicit UdpCard(int socket) : engine(socket) {
    g_traceObject = &trace;
    engine.registerObject(&scalar);
    engine.registerObject(&table);
  }

  int level = 4;
  TraceObject trace{&level};
  bench::CardScalar scalar;
  bench::CardTable table;
  bench::SocketEngine engine;
};

}  // namespace

void bench::serveCard(int socket) {
  UdpCard card(socket);
  for (;;) {
    const int length = card.engine.receive();
    if (length >= 0) card.engine.handleTrelMsg(length, card.engine.request, card.engine.peerText());
  }
}

void bench::serveChanges(int socket) {
  UdpCard card(socket);
  const FiftyNumbers numbers(card.scalar, card.table);
  card.engine.eventHandler();  // the first scan of a process only collects
  for (int value = 1;; ++value) {
    if (card.engine.receive() < 0) continue;
    numbers.set(value);
    card.engine.eventHandler();
  }
}

void bench::serveEcho(int socket, std::size_t answer) {
  std::vector<char> buffer(1200);
  for (;;) {
    sockaddr_in sender{};
    socklen_t length = sizeof sender;
    const ssize_t received =
        recvfrom(socket, buffer.data(), buffer.size(), 0, reinterpret_cast<sockaddr*>(&sender), &length);
    if (received >= 0) sendto(socket, buffer.data(), answer, 0, reinterpret_cast<const sockaddr*>(&sender), length);
  }
}
