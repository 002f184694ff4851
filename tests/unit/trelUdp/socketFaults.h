// What the system does, on demand: failures of socket, bind, sendto, recvmsg and poll as the transport calls them, and a clock
// that stands still.

#ifndef TESTS_UNIT_TRELUDP_SOCKETFAULTS_H
#define TESTS_UNIT_TRELUDP_SOCKETFAULTS_H

enum class FaultyCall { SOCKET, BIND, SENDTO, RECVMSG, POLL };

// The next `times` calls fail with this errno without reaching the system; those behind them work again.
void failCalls(FaultyCall call, int error, unsigned int times = 1);
// How many of the failures ordered have not happened: 0 when the code under test has met them all.
unsigned int failuresLeft(FaultyCall call);
// The next datagram that recvmsg delivers is said to have been longer than the buffer.
void cutNextDatagram();

// While it lives, the monotonic clock of the whole program stands still but for what it is told. One at a time. Nothing that
// waits for a reply that does not come may be called meanwhile: its time would never be over.
class StoppedClock {
 public:
  StoppedClock();
  ~StoppedClock();
  StoppedClock(const StoppedClock&) = delete;
  StoppedClock& operator=(const StoppedClock&) = delete;
  void advance(unsigned long long nanoseconds);
};

#endif
