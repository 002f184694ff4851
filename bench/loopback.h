// Two processes and a client on one core, and how their slices of time are compared.
//
// A round trip that wakes another core takes ten times what the answering costs, and hides it; so everything runs on one.
// A slice is 0.2 s in which the client asks, waits for the answer and asks again. The slices of what is compared alternate,
// and nothing is quoted but the ratio of two neighbours: the median of nine.
#ifndef BENCH_LOOPBACK_H
#define BENCH_LOOPBACK_H

#include <sys/types.h>

#include <functional>
#include <string>
#include <vector>

namespace bench {

// Puts this process, and those that it starts, on one core: the last one that it may use.
void pinToOneCore();

// A socket on 127.0.0.1, of SOCK_DGRAM or SOCK_STREAM; port 0 is a free one. Whoever waits on it longer than five seconds
// gets an error. Ends the program when there is none.
int loopbackSocket(int type, unsigned short port = 0);
unsigned short portOf(int socket);
// The same, connected to that port.
int connectedSocket(int type, unsigned short port);

// A process of its own that runs `serve`. It ends with this object, and with the process that started it.
class Server {
 public:
  explicit Server(const std::function<void()>& serve);
  Server(const Server&) = delete;
  Server& operator=(const Server&) = delete;
  ~Server();

  // Nanoseconds of processor time that it took so far, its own and the kernel's on its behalf.
  double cpuTime() const;

 private:
  pid_t pid_ = -1;
};

// One of those that are compared: a server, and one question and its answer. `exchange`: whether the answer was a good one.
struct Contender {
  const Server* server;
  std::function<bool()> exchange;
};

// What one exchange took in a slice, in nanoseconds: of the server's processor time, and from question to answer.
struct Slice {
  double cpu;
  double roundTrip;
};

// The slices of each contender, [contender][slice]: one to warm up that is forgotten, then nine. The order turns around from
// slice to slice. Ends the program when an exchange fails.
std::vector<std::vector<Slice>> alternate(const std::vector<Contender>& contenders);

// The ratios of neighbouring slices.
struct Ratio {
  double median;
  double least;
  double most;
};
Ratio ratioOf(const std::vector<Slice>& slices, const std::vector<Slice>& others, double Slice::*what);

}  // namespace bench

#endif
