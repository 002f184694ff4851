#include <sys/socket.h>

#include "loopback.h"
#include "peer.h"
#include "udpCard.h"

namespace {

// Of the answers, in the order of the works.
constexpr int LENGTHS[] = {bench::ONE_NUMBER_ANSWER, bench::SCALARS_ANSWER, bench::TABLE_ANSWER,
                           bench::WRITE_ANSWER,      bench::WRITE_ANSWER,   bench::FIFTY_CHANGES};

class Server : public bench::PeerServer {
 public:
  explicit Server(const bench::Place& place)
      : isReport_(place.work == bench::Work::N50),
        card_(isReport_ ? place.ticks : bench::loopbackSocket(SOCK_DGRAM, place.port)) {}

  void answer() override { isReport_ ? card_.report() : card_.answer(); }

 private:
  bool isReport_;
  bench::UdpCard card_;
};

class Client : public bench::PeerClient {
 public:
  Client(unsigned short port, const std::string& request, std::function<bool(const char*, std::size_t)> isGood)
      : client_(port, request, std::move(isGood)) {}

  bool asks(int atATime) override { return client_.asks(bench::MESSAGE_ID_AT, atATime); }

 private:
  bench::UdpClient client_;
};

std::unique_ptr<bench::PeerServer> serve(const bench::Place& place) { return std::make_unique<Server>(place); }

// Receives what ours receives, sends as many bytes as ours does, and does nothing else.
class EchoServer : public bench::PeerServer {
 public:
  explicit EchoServer(const bench::Place& place)
      : socket_(place.work == bench::Work::N50 ? place.ticks : bench::loopbackSocket(SOCK_DGRAM, place.port)),
        answer_(static_cast<std::size_t>(LENGTHS[static_cast<int>(place.work)])) {}

  void answer() override { bench::echo(socket_, answer_); }

 private:
  int socket_;
  std::size_t answer_;
};

std::unique_ptr<bench::PeerServer> serveEcho(const bench::Place& place) { return std::make_unique<EchoServer>(place); }

std::string requestOf(bench::Work work) {
  switch (work) {
    case bench::Work::R1:
      return bench::readOneNumber();
    case bench::Work::R12:
      return bench::readScalars();
    case bench::Work::R80:
      return bench::readTable();
    case bench::Work::W1:
      return bench::writeOneNumber();
    case bench::Work::W12:
      return bench::writeTwelveNumbers();
    case bench::Work::N50:
      break;
  }
  return "any text";
}

std::unique_ptr<bench::PeerClient> ask(const bench::Place& place) {
  const int answer = LENGTHS[static_cast<int>(place.work)];
  if (place.work == bench::Work::N50)
    return std::make_unique<Client>(bench::portOf(place.ticks), requestOf(place.work), bench::isOf(answer));
  return std::make_unique<Client>(place.port, requestOf(place.work), bench::isAnswerOf(answer));
}

std::unique_ptr<bench::PeerClient> askEcho(const bench::Place& place) {
  const unsigned short port = place.work == bench::Work::N50 ? bench::portOf(place.ticks) : place.port;
  return std::make_unique<Client>(port, requestOf(place.work), bench::isOf(LENGTHS[static_cast<int>(place.work)]));
}

}  // namespace

bench::Peer bench::echoPeer() {
  return {"bare echo", true, [](Work) { return 1; }, serveEcho, askEcho};
}

bench::Peer bench::trelPeer() {
  return {"trel", true, [](Work) { return 1; }, serve, ask};
}
