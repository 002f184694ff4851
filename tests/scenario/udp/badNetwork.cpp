#include "badNetwork.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/mman.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <climits>
#include <cstring>
#include <map>
#include <new>
#include <random>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>

namespace {

using Clock = std::chrono::steady_clock;

constexpr unsigned int LIFETIME_SECONDS = 100;  // under a test's time limit

void check(bool good, const char* what) {
  if (!good) throw std::runtime_error(std::string("bad network: ") + what + ": " + std::strerror(errno));
}

sockaddr_in loopback(unsigned short port) {
  sockaddr_in address = {};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  address.sin_port = htons(port);
  return address;
}

int openSocket(unsigned short& port) {
  const int fd = ::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
  check(fd >= 0, "socket");
  sockaddr_in address = loopback(0);
  socklen_t length = sizeof address;
  check(::bind(fd, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0, "bind");
  check(::getsockname(fd, reinterpret_cast<sockaddr*>(&address), &length) == 0, "getsockname");
  port = ntohs(address.sin_port);
  return fd;
}

unsigned char actionOf(const std::string& bytes) { return bytes.size() < 8 ? 0 : static_cast<unsigned char>(bytes[5]); }

unsigned int msgIdOf(const std::string& bytes) {
  if (bytes.size() < 8) return 0;
  const unsigned int id =
      static_cast<unsigned int>(static_cast<unsigned char>(bytes[6])) << 8 | static_cast<unsigned char>(bytes[7]);
  return id % MAX_MSG_IDS;
}

// One process: takes datagrams on either side and passes them on at the other.
class Relay {
 public:
  Relay(const Weather& weather, SharedNotes& notes, int nearFd, int farFd, unsigned short nearPort,
        unsigned short farPort)
      : weather_(weather), notes_(notes), random_(weather.seed), fds_{nearFd, farFd}, ports_{nearPort, farPort} {}

  void run() {
    while (notes_.stop == 0) {
      passOnWhatIsDue();
      pollfd waiting[2] = {{fds_[NEAR], POLLIN, 0}, {fds_[FAR], POLLIN, 0}};
      ::poll(waiting, 2, millisecondsToNext());
      for (const int side : {NEAR, FAR}) {
        if ((waiting[side].revents & POLLIN) != 0) take(side);
      }
    }
  }

 private:
  static constexpr int NEAR = 0;
  static constexpr int FAR = 1;

  struct Flying {
    int to;
    unsigned int number;  // in order of arrival
    std::string bytes;
  };

  void take(int from) {
    char buffer[65536];
    const ssize_t length = ::recv(fds_[from], buffer, sizeof buffer, MSG_DONTWAIT);
    if (length < 0) return;
    const std::string bytes(buffer, static_cast<std::size_t>(length));
    if (from == NEAR) ++notes_.sentBy[msgIdOf(bytes)];
    // The same number of throws for every datagram, so that one decision does not shift the others.
    const unsigned int lossThrow = throwDice(100);
    const unsigned int doubleThrow = throwDice(100);
    const unsigned int delays[2] = {throwDice(weather_.maxDelayMs + 1), throwDice(weather_.maxDelayMs + 1)};
    if (notes_.calm != 0) {
      launch({1 - from, ++number_, bytes}, 0);
      return;
    }
    if (lossThrow < weather_.lossPercent) {
      ++notes_.lost;
      return;
    }
    launch({1 - from, ++number_, bytes}, delays[0]);
    if (doubleThrow < weather_.doublePercent) {
      ++notes_.doubled;
      launch({1 - from, number_, bytes}, delays[1]);
    }
  }

  unsigned int throwDice(unsigned int sides) { return static_cast<unsigned int>(random_() % sides); }

  void launch(Flying datagram, unsigned int delayMs) {
    ++notes_.inFlight;
    flying_.emplace(Clock::now() + std::chrono::milliseconds(delayMs), std::move(datagram));
  }

  void passOnWhatIsDue() {
    while (!flying_.empty() && flying_.begin()->first <= Clock::now()) {
      const Flying& datagram = flying_.begin()->second;
      if (datagram.number < newestPassedOn_) ++notes_.overtaken;
      if (datagram.number > newestPassedOn_) newestPassedOn_ = datagram.number;
      if (datagram.to == FAR) ++notes_.deliveredTo[msgIdOf(datagram.bytes)];
      if (datagram.to == NEAR && actionOf(datagram.bytes) == 5) ++notes_.amisDelivered;
      const sockaddr_in to = loopback(ports_[datagram.to]);
      ::sendto(fds_[datagram.to], datagram.bytes.data(), datagram.bytes.size(), 0,
               reinterpret_cast<const sockaddr*>(&to), sizeof to);
      flying_.erase(flying_.begin());
      --notes_.inFlight;
    }
  }

  int millisecondsToNext() const {
    if (flying_.empty()) return 10;
    const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(flying_.begin()->first - Clock::now());
    if (left.count() >= 10) return 10;
    return left.count() < 0 ? 0 : static_cast<int>(left.count()) + 1;
  }

  const Weather weather_;
  SharedNotes& notes_;
  std::mt19937 random_;
  const int fds_[2];
  const unsigned short ports_[2];
  std::multimap<Clock::time_point, Flying> flying_;
  unsigned int number_ = 0;
  unsigned int newestPassedOn_ = 0;
};

// Runs in a process of its own; never returns there.
template <typename Body>
pid_t start(Body body) {
  const pid_t child = ::fork();
  check(child >= 0, "fork");
  if (child > 0) return child;
  ::alarm(LIFETIME_SECONDS);
  int code = 99;
  try {
    code = body();
  } catch (...) {
  }
  ::_exit(code);
}

bool endedWell(pid_t child) {
  int status = 0;
  pid_t ended = -1;
  do {
    ended = ::waitpid(child, &status, 0);
  } while (ended < 0 && errno == EINTR);
  return ended == child && WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

}  // namespace

BadNetwork::BadNetwork(const Weather& weather, unsigned short nearPort, const FarEnd& farEnd) {
  void* const memory = ::mmap(nullptr, sizeof(SharedNotes), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
  check(memory != MAP_FAILED, "mmap");
  notes_ = new (memory) SharedNotes();

  unsigned short farSidePort = 0;
  const int nearFd = openSocket(nearSidePort_);
  const int farFd = openSocket(farSidePort);
  int portPipe[2];
  check(::pipe(portPipe) == 0, "pipe");

  far_ = start([&] {
    ::close(nearFd);
    ::close(farFd);
    ::close(portPipe[0]);
    return farEnd(*notes_, farSidePort, [&](unsigned short port) {
      check(::write(portPipe[1], &port, sizeof port) == static_cast<ssize_t>(sizeof port), "write");
    });
  });
  ::close(portPipe[1]);
  unsigned short farPort = 0;
  const bool announced = ::read(portPipe[0], &farPort, sizeof farPort) == static_cast<ssize_t>(sizeof farPort);
  ::close(portPipe[0]);
  if (announced) {
    network_ = start([&] {
      Relay(weather, *notes_, nearFd, farFd, nearPort, farPort).run();
      return 0;
    });
  }
  ::close(nearFd);
  ::close(farFd);
  if (!announced) {
    stop();
    throw std::runtime_error("bad network: the far end did not start");
  }
}

BadNetwork::~BadNetwork() {
  stop();
  ::munmap(notes_, sizeof(SharedNotes));
}

bool BadNetwork::calmDown() {
  notes_->calm = 1;
  const Clock::time_point deadline = Clock::now() + std::chrono::seconds(20);
  for (int quiet = 0; quiet < 3; ++quiet) {  // what the ends had just sent comes in meanwhile
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
    while (notes_->inFlight != 0) {
      if (Clock::now() > deadline) return false;
      std::this_thread::sleep_for(std::chrono::milliseconds(5));
      quiet = 0;
    }
  }
  return true;
}

bool BadNetwork::stop() {
  notes_->stop = 1;
  bool well = true;
  for (pid_t* child : {&far_, &network_}) {
    if (*child > 0) well = endedWell(*child) && well;
    *child = -1;
  }
  return well;
}
