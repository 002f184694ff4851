// The shared card behind a UDP socket, as lean as a transport can be: one blocking socket, one buffer, no rate, no filter.
// What stands between the two calls of the kernel is the library's work and the hooks, and nothing else.
#ifndef BENCH_UDPCARD_H
#define BENCH_UDPCARD_H

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>

#include <cstddef>
#include <functional>
#include <string>

#include "card.h"

namespace bench {

// An engine whose answers and reports go to whoever was heard last.
class SocketEngine : public TrelProtocolBase {
 public:
  explicit SocketEngine(int socket) : socket_(socket) {}

  int sendMsg(TRELMessage& message) override {
    const int length = message.headerLen + message.sizeOfTlvs();
    if (length > static_cast<int>(sizeof answer_) || !message.serialize(answer_, length)) return 0;
    const ssize_t sent = sendto(socket_, answer_, static_cast<std::size_t>(length), 0,
                                reinterpret_cast<const sockaddr*>(&peer_), sizeof peer_);
    return sent == length ? 1 : 0;
  }

  // Waits for a datagram; its length, or -1 at the end.
  int receive() {
    sockaddr_in sender{};
    socklen_t length = sizeof sender;
    const ssize_t received =
        recvfrom(socket_, request, sizeof request, 0, reinterpret_cast<sockaddr*>(&sender), &length);
    if (sender.sin_addr.s_addr != peer_.sin_addr.s_addr) inet_ntop(AF_INET, &sender.sin_addr, text_, sizeof text_);
    peer_ = sender;
    return static_cast<int>(received);
  }
  const char* peerText() const { return text_; }

  char request[1200];

 private:
  int socket_;
  sockaddr_in peer_{};
  char text_[INET_ADDRSTRLEN] = "";
  char answer_[1200];
};

// The shared card on a socket, at the same trace level.
class UdpCard {
 public:
  explicit UdpCard(int socket);
  UdpCard(const UdpCard&) = delete;
  UdpCard& operator=(const UdpCard&) = delete;
  ~UdpCard();

  // Waits for a request and answers it.
  void answer();
  // Waits for a datagram, whatever it is, changes 50 numbers and reports them to whom it came from.
  void report();

 private:
  int level_ = 4;
  TraceObject trace_{&level_};
  CardScalar scalar_;
  CardTable table_;
  SocketEngine engine_;
  FiftyNumbers numbers_{scalar_, table_};
  int value_ = 0;
};

// The measure of both: waits for a datagram, and sends one of so many bytes back.
void echo(int socket, std::size_t answer);

// The client's end: asks, and takes what comes back.
class UdpClient {
 public:
  // `isGood` looks at an answer.
  UdpClient(unsigned short server, std::string request,
            std::function<bool(const char* bytes, std::size_t length)> isGood);
  UdpClient(const UdpClient&) = delete;
  UdpClient& operator=(const UdpClient&) = delete;
  ~UdpClient();

  // So many exchanges, all asked before the first answer is taken. `idAt`: where the request has a number of two bytes that
  // is another one each time.
  bool asks(std::size_t idAt, int atATime = 1);

 private:
  bool ask(std::size_t idAt);
  bool takeAnswer();

  int socket_;
  std::string request_;
  std::function<bool(const char*, std::size_t)> isGood_;
  unsigned short messageId_ = 0;
  char received_[4096];
};

// Where a request of ours has its message id.
constexpr std::size_t MESSAGE_ID_AT = 6;
// Whether an answer, or a report, has this length; an answer must be a good one besides.
std::function<bool(const char*, std::size_t)> isAnswerOf(int length);
std::function<bool(const char*, std::size_t)> isOf(int length);

}  // namespace bench

#endif
