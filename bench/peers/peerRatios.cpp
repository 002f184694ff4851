// What do other protocols' cards cost, measured in what ours costs? Each work is done by all in turn. One line a work and
// peer: work, the median, least and most ratio of the processor time of its process to that of ours, its name. At last the
// read of the table once more, MANY at a time, so that nobody is woken for a single one: work "R80-many".
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <memory>
#include <vector>

#include "loopback.h"
#include "peer.h"

namespace {

// A peer's process and its client.
class Running {
 public:
  Running(const bench::Peer& peer, bench::Work work) : name(peer.name) {
    const bench::Place place = bench::newPlace(work);
    int ready[2];
    if (pipe(ready) != 0) std::exit(1);
    server = std::make_unique<bench::Server>([&] {
      const auto served = peer.serve(place);
      if (write(ready[1], "", 1) != 1) return;
      for (;;)
        served->answer();
    });
    close(ready[1]);
    char byte = 0;
    if (read(ready[0], &byte, 1) != 1) {
      std::fprintf(stderr, "error: %s does not start\n", name);
      std::exit(1);
    }
    close(ready[0]);
    client = peer.ask(place);
  }

  const char* name;
  std::unique_ptr<bench::Server> server;
  std::unique_ptr<bench::PeerClient> client;
};

constexpr int MANY = 32;

void compare(int work, int atATime, const char* called) {
  std::vector<std::unique_ptr<Running>> running;
  std::vector<bench::Contender> contenders;
  for (const bench::Peer& peer : bench::allPeers()) {
    if (work == static_cast<int>(bench::Work::N50) && !peer.doesReport) continue;
    running.push_back(std::make_unique<Running>(peer, static_cast<bench::Work>(work)));
    contenders.push_back({running.back()->server.get(), [atATime, one = running.back().get()] {
                            if (one->client->asks(atATime)) return true;
                            std::fprintf(stderr, "error: %s does not do its work\n", one->name);
                            return false;
                          }});
  }
  std::fprintf(stderr, "%s: %zu processes in turn\n", called, running.size());
  const auto slices = bench::alternate(contenders);
  for (std::size_t i = 1; i < slices.size(); ++i) {
    const bench::Ratio ratio = bench::ratioOf(slices[i], slices[0], &bench::Slice::cpu);
    std::printf("%s %.2f %.2f %.2f %s\n", called, ratio.median, ratio.least, ratio.most, running[i]->name);
  }
}

}  // namespace

int main() {
  bench::pinToOneCore();
  for (int work = 0; work < bench::WORKS; ++work)
    compare(work, 1, bench::WORK_NAMES[work]);
  compare(static_cast<int>(bench::Work::R80), MANY, "R80-many");
  return 0;
}
