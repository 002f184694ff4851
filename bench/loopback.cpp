#include "loopback.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sched.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <ctime>

namespace {

constexpr int SLICES = 9;
constexpr double SLICE_LENGTH = 0.2e9;

[[noreturn]] void failed(const char* what) {
  std::perror(what);
  std::exit(1);
}

double now(clockid_t clock) {
  timespec time{};
  if (clock_gettime(clock, &time) != 0) failed("error: clock_gettime");
  return static_cast<double>(time.tv_sec) * 1e9 + static_cast<double>(time.tv_nsec);
}

sockaddr_in loopbackAddress(unsigned short port) {
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_port = htons(port);
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  return address;
}

int newSocket(int type) {
  const int made = socket(AF_INET, type, 0);
  const timeval patience{5, 0};
  if (made < 0 || setsockopt(made, SOL_SOCKET, SO_RCVTIMEO, &patience, sizeof patience) != 0) failed("error: socket");
  return made;
}

bench::Slice sliceOf(const bench::Contender& contender) {
  const double start = now(CLOCK_MONOTONIC);
  const double cpuStart = contender.server->cpuTime();
  double end = start;
  int exchanges = 0;
  while (end - start < SLICE_LENGTH) {
    for (int i = 0; i < 50; ++i)
      if (!contender.exchange()) failed("error: an answer is missing or wrong");
    exchanges += 50;
    end = now(CLOCK_MONOTONIC);
  }
  // The server waits again: what it did for the last answer is done, since it shares the core.
  return {(contender.server->cpuTime() - cpuStart) / exchanges, (end - start) / exchanges};
}

}  // namespace

void bench::pinToOneCore() {
  cpu_set_t cores;
  if (sched_getaffinity(0, sizeof cores, &cores) != 0) failed("error: sched_getaffinity");
  int last = CPU_SETSIZE - 1;
  while (last > 0 && !CPU_ISSET(last, &cores))
    --last;
  CPU_ZERO(&cores);
  CPU_SET(last, &cores);
  if (sched_setaffinity(0, sizeof cores, &cores) != 0) failed("error: sched_setaffinity");
}

int bench::loopbackSocket(int type, unsigned short port) {
  const int made = newSocket(type);
  const sockaddr_in address = loopbackAddress(port);
  if (bind(made, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) failed("error: bind");
  return made;
}

unsigned short bench::portOf(int socket) {
  sockaddr_in address{};
  socklen_t length = sizeof address;
  if (getsockname(socket, reinterpret_cast<sockaddr*>(&address), &length) != 0) failed("error: getsockname");
  return ntohs(address.sin_port);
}

int bench::connectedSocket(int type, unsigned short port) {
  const int made = newSocket(type);
  const sockaddr_in address = loopbackAddress(port);
  if (connect(made, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) failed("error: connect");
  return made;
}

bench::Server::Server(const std::function<void()>& serve) : pid_(fork()) {
  if (pid_ < 0) failed("error: fork");
  if (pid_ > 0) return;
  prctl(PR_SET_PDEATHSIG, SIGKILL);
  serve();
  _exit(0);
}

bench::Server::~Server() {
  kill(pid_, SIGKILL);
  waitpid(pid_, nullptr, 0);
}

double bench::Server::cpuTime() const {
  clockid_t clock = 0;
  if (clock_getcpuclockid(pid_, &clock) != 0) failed("error: clock_getcpuclockid");
  return now(clock);
}

std::vector<std::vector<bench::Slice>> bench::alternate(const std::vector<Contender>& contenders) {
  std::vector<std::vector<Slice>> slices(contenders.size());
  for (const Contender& contender : contenders)
    sliceOf(contender);
  for (int slice = 0; slice < SLICES; ++slice) {
    for (std::size_t i = 0; i < contenders.size(); ++i) {
      const std::size_t turn = slice % 2 == 0 ? i : contenders.size() - 1 - i;
      slices[turn].push_back(sliceOf(contenders[turn]));
    }
  }
  return slices;
}

bench::Ratio bench::ratioOf(const std::vector<Slice>& slices, const std::vector<Slice>& others, double Slice::*what) {
  std::vector<double> ratios;
  for (std::size_t i = 0; i < slices.size(); ++i)
    ratios.push_back(slices[i].*what / (others[i].*what));
  std::sort(ratios.begin(), ratios.end());
  return {ratios[ratios.size() / 2], ratios.front(), ratios.back()};
}
