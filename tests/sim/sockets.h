// A card and a manager with real sockets, opened and closed again and again.

#ifndef TESTS_SIM_SOCKETS_H
#define TESTS_SIM_SOCKETS_H

namespace sim {

// Open descriptors of this process.
unsigned int openDescriptors();

// Both ends lie in this thread, on 127.0.0.1 and ports that the system chooses: a datagram is there when it was sent, so that
// nothing waits and nothing is lost.
class Sockets {
 public:
  // Opens both ends, talks, closes and opens one of them again, talks, and drops them while they are open; on the way a socket
  // that cannot be bound. Breaks its promise when a descriptor is missing or left over, or a talk goes wrong.
  void round();

  unsigned long long rounds() const { return rounds_; }
  unsigned long long datagrams() const { return datagrams_; }
  // With nothing open here, at the first round and ever since.
  unsigned int descriptors() const { return descriptors_; }

 private:
  void promiseOpen(unsigned int sockets, const char* when) const;

  unsigned long long rounds_ = 0;
  unsigned long long datagrams_ = 0;
  unsigned int descriptors_ = 0;
};

}  // namespace sim

#endif
