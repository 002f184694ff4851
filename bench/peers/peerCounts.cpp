// How many instructions does a peer's process take for a work? peerCounts PEER WORK, both as numbers from 0. This process
// serves and is counted by callgrind, between entry and return of answerAll; its client is another, that is not. Without
// arguments: how many of the works each peer can do, and its name.
#include <sys/wait.h>
#include <unistd.h>
#include <valgrind/callgrind.h>

#include <cstdio>
#include <cstdlib>
#include <string>

#include "peer.h"

namespace {

constexpr int WARM_UP = 10;
constexpr int RUNS = 100;

// The client's process: as often as the server answers.
int ask(const bench::Peer& peer, const bench::Place& place) {
  const auto client = peer.ask(place);
  for (int run = 0; run < WARM_UP + RUNS; ++run)
    if (!client->asks(1)) return 1;
  return 0;
}

__attribute__((noinline)) void answerAll(bench::PeerServer& server, int questions) {
  for (int i = 0; i < questions; ++i)
    server.answer();
}

int serve(const bench::Peer& peer, const bench::Place& place, char** arguments) {
  const auto server = peer.serve(place);
  const std::string port = std::to_string(place.port);
  const std::string ticks = std::to_string(place.ticks);
  const pid_t client = fork();
  if (client == 0) {
    execl(arguments[0], arguments[0], arguments[1], arguments[2], port.c_str(), ticks.c_str(), nullptr);
    _exit(1);
  }
  const int questions = peer.questionsOf(place.work);
  answerAll(*server, WARM_UP * questions);
  CALLGRIND_ZERO_STATS;
  answerAll(*server, RUNS * questions);
  int status = 0;
  waitpid(client, &status, 0);
  std::printf("runs %d\n", RUNS);
  if (status == 0) return 0;
  std::fprintf(stderr, "error: %s does not do its work\n", peer.name);
  return 1;
}

}  // namespace

int main(int argumentCount, char** arguments) {
  if (argumentCount == 1) {
    for (const bench::Peer& peer : bench::allPeers())
      std::printf("%d %s\n", peer.doesReport ? bench::WORKS : bench::WORKS - 1, peer.name);
    return 0;
  }
  if (argumentCount != 3 && argumentCount != 5) return 2;
  const bench::Peer peer = bench::allPeers().at(static_cast<std::size_t>(std::atoi(arguments[1])));
  const auto work = static_cast<bench::Work>(std::atoi(arguments[2]));
  if (argumentCount == 5)
    return ask(peer, {work, static_cast<unsigned short>(std::atoi(arguments[3])), std::atoi(arguments[4])});
  return serve(peer, bench::newPlace(work), arguments);
}
