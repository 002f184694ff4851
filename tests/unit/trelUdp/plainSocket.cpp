#include "plainSocket.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/uio.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <stdexcept>
#include <vector>

#include "support/bytes.h"

namespace {

[[noreturn]] void failed(const char* what) {
  throw std::runtime_error(std::string("plain socket: ") + what + ": " + std::strerror(errno));
}

// sendmsg and recvfrom: the calls of the transport are others, and the tests make those fail.
void sendRaw(int fd, std::string_view bytes, unsigned int ip, unsigned short port) {
  sockaddr_in to = {};
  to.sin_family = AF_INET;
  to.sin_addr.s_addr = ip;
  to.sin_port = htons(port);
  iovec place = {const_cast<char*>(bytes.data()), bytes.size()};
  msghdr header = {};
  header.msg_name = &to;
  header.msg_namelen = sizeof to;
  header.msg_iov = &place;
  header.msg_iovlen = 1;
  if (::sendmsg(fd, &header, 0) < 0) failed("send");
}

}  // namespace

PlainSocket::PlainSocket(const char* address) : fd_(::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0)) {
  sockaddr_in raw = {};
  raw.sin_family = AF_INET;
  socklen_t rawLen = sizeof raw;
  if (fd_ < 0 || ::inet_pton(AF_INET, address, &raw.sin_addr) != 1) failed(address);
  if (::bind(fd_, reinterpret_cast<const sockaddr*>(&raw), sizeof raw) != 0) failed("bind");
  if (::getsockname(fd_, reinterpret_cast<sockaddr*>(&raw), &rawLen) != 0) failed("getsockname");
  port_ = ntohs(raw.sin_port);
}

PlainSocket::~PlainSocket() { ::close(fd_); }

void PlainSocket::send(std::string_view bytes, unsigned short toPort, const char* toAddress) {
  in_addr ip;
  if (::inet_pton(AF_INET, toAddress, &ip) != 1) failed(toAddress);
  sendRaw(fd_, bytes, ip.s_addr, toPort);
}

std::string PlainSocket::receive() {
  std::vector<char> buffer(65536);
  sockaddr_in from = {};
  socklen_t fromLen = sizeof from;
  const ssize_t length =
      ::recvfrom(fd_, buffer.data(), buffer.size(), MSG_DONTWAIT, reinterpret_cast<sockaddr*>(&from), &fromLen);
  if (length < 0 && (errno == EAGAIN || errno == EWOULDBLOCK)) return "nothing";
  if (length < 0) failed("receive");
  lastIp_ = from.sin_addr.s_addr;
  lastPort_ = ntohs(from.sin_port);
  return asDatagram(std::string_view(buffer.data(), static_cast<std::size_t>(length)));
}

void PlainSocket::reply(std::string_view bytes) { sendRaw(fd_, bytes, lastIp_, lastPort_); }
