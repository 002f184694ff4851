// A UDP socket without anything of the library: the other end in the tests of the transport.

#ifndef TESTS_UNIT_TRELUDP_PLAINSOCKET_H
#define TESTS_UNIT_TRELUDP_PLAINSOCKET_H

#include <string>
#include <string_view>

// Bound to a free port. A failing call throws std::runtime_error, so that a test cannot go on without its other end.
// Datagrams on loopback are there as soon as they were sent: nothing here waits for them.
class PlainSocket {
 public:
  explicit PlainSocket(const char* address = "127.0.0.1");
  ~PlainSocket();
  PlainSocket(const PlainSocket&) = delete;
  PlainSocket& operator=(const PlainSocket&) = delete;

  unsigned short port() const { return port_; }

  // One datagram to that port of 127.0.0.1, or of another address.
  void send(std::string_view bytes, unsigned short toPort, const char* toAddress = "127.0.0.1");
  // The oldest datagram that is waiting, as asDatagram writes it; "nothing" when none is. Its sender is kept for reply().
  std::string receive();
  // Answers the sender of the datagram received last.
  void reply(std::string_view bytes);
  unsigned short lastSenderPort() const { return lastPort_; }

 private:
  int fd_;
  unsigned short port_ = 0;
  unsigned int lastIp_ = 0;  // network order
  unsigned short lastPort_ = 0;
};

#endif
