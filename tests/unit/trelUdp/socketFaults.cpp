#include "socketFaults.h"

#include <dlfcn.h>
#include <poll.h>
#include <sys/socket.h>
#include <time.h>

#include <cerrno>
#include <cstdlib>

namespace {

struct Failures {
  int error = 0;
  unsigned int left = 0;
};
Failures failures[5];
bool cutNext = false;
bool clockStands = false;
timespec standing = {1000, 0};

bool fails(FaultyCall call) {
  Failures& ordered = failures[static_cast<int>(call)];
  if (ordered.left == 0) return false;
  --ordered.left;
  errno = ordered.error;
  return true;
}

// The C library's own function, behind whatever a sanitizer puts in front of it.
template <typename Function>
Function* next(const char* name) {
  void* const found = dlsym(RTLD_NEXT, name);
  if (found == nullptr) std::abort();
  return reinterpret_cast<Function*>(found);
}

}  // namespace

void failCalls(FaultyCall call, int error, unsigned int times) { failures[static_cast<int>(call)] = {error, times}; }

unsigned int failuresLeft(FaultyCall call) { return failures[static_cast<int>(call)].left; }

void cutNextDatagram() { cutNext = true; }

StoppedClock::StoppedClock() { clockStands = true; }
StoppedClock::~StoppedClock() { clockStands = false; }
void StoppedClock::advance(unsigned long long nanoseconds) {
  const unsigned long long sum = static_cast<unsigned long long>(standing.tv_nsec) + nanoseconds;
  standing.tv_sec += static_cast<time_t>(sum / 1000000000);
  standing.tv_nsec = static_cast<long>(sum % 1000000000);
}

// Defined in the program, they are found before the C library's, by shared libraries too.
extern "C" {

[[gnu::visibility("default")]] int socket(int domain, int type, int protocol) noexcept {
  if (fails(FaultyCall::SOCKET)) return -1;
  return next<int(int, int, int)>("socket")(domain, type, protocol);
}

[[gnu::visibility("default")]] int bind(int fd, const sockaddr* address, socklen_t length) noexcept {
  if (fails(FaultyCall::BIND)) return -1;
  return next<int(int, const sockaddr*, socklen_t)>("bind")(fd, address, length);
}

[[gnu::visibility("default")]] ssize_t sendto(int fd, const void* bytes, size_t size, int flags, const sockaddr* to,
                                              socklen_t length) {
  if (fails(FaultyCall::SENDTO)) return -1;
  return next<ssize_t(int, const void*, size_t, int, const sockaddr*, socklen_t)>("sendto")(fd, bytes, size, flags, to,
                                                                                            length);
}

[[gnu::visibility("default")]] ssize_t recvmsg(int fd, msghdr* message, int flags) {
  if (fails(FaultyCall::RECVMSG)) return -1;
  const ssize_t length = next<ssize_t(int, msghdr*, int)>("recvmsg")(fd, message, flags);
  if (length >= 0 && cutNext) {
    cutNext = false;
    message->msg_flags |= MSG_TRUNC;
  }
  return length;
}

[[gnu::visibility("default")]] int clock_gettime(clockid_t clock, timespec* time) noexcept {
  if (!clockStands || clock != CLOCK_MONOTONIC) return next<int(clockid_t, timespec*)>("clock_gettime")(clock, time);
  *time = standing;
  return 0;
}

[[gnu::visibility("default")]] int poll(pollfd* waiting, nfds_t count, int milliseconds) {
  if (fails(FaultyCall::POLL)) return -1;
  return next<int(pollfd*, nfds_t, int)>("poll")(waiting, count, milliseconds);
}
}
