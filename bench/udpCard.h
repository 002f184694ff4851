// The shared card behind a UDP socket, as lean as a transport can be: one blocking socket, one buffer, no rate, no filter.
// What stands between the two calls of the kernel is the library's work and the hooks, and nothing else.
#ifndef BENCH_UDPCARD_H
#define BENCH_UDPCARD_H

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>

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

// Answers requests for ever.
void serveCard(int socket);
// Changes 50 numbers for each datagram that comes, whatever it is, and reports them. For ever.
void serveChanges(int socket);
// The measure of both: for each datagram that comes, one of that many bytes goes back. For ever.
void serveEcho(int socket, std::size_t answer);

}  // namespace bench

#endif
