#include "udpCard.h"

#include <unistd.h>

#include <utility>

#include "loopback.h"

bench::UdpCard::UdpCard(int socket) : engine_(socket) {
  g_traceObject = &trace_;
  engine_.registerObject(&scalar_);
  engine_.registerObject(&table_);
  engine_.eventHandler();  // the first scan of a process only collects
}

bench::UdpCard::~UdpCard() { g_traceObject = nullptr; }

void bench::UdpCard::answer() {
  const int length = engine_.receive();
  if (length >= 0) engine_.handleTrelMsg(length, engine_.request, engine_.peerText());
}

void bench::UdpCard::report() {
  if (engine_.receive() < 0) return;
  numbers_.set(++value_);
  engine_.eventHandler();
}

void bench::echo(int socket, std::size_t answer) {
  static char buffer[1200];
  sockaddr_in sender{};
  socklen_t length = sizeof sender;
  const ssize_t received = recvfrom(socket, buffer, sizeof buffer, 0, reinterpret_cast<sockaddr*>(&sender), &length);
  if (received >= 0) sendto(socket, buffer, answer, 0, reinterpret_cast<const sockaddr*>(&sender), length);
}

bench::UdpClient::UdpClient(unsigned short server, std::string request,
                            std::function<bool(const char*, std::size_t)> isGood)
    : socket_(connectedSocket(SOCK_DGRAM, server)), request_(std::move(request)), isGood_(std::move(isGood)) {}

bench::UdpClient::~UdpClient() { close(socket_); }

bool bench::UdpClient::ask(std::size_t idAt) {
  ++messageId_;
  request_[idAt] = static_cast<char>(messageId_ >> 8);
  request_[idAt + 1] = static_cast<char>(messageId_);
  return send(socket_, request_.data(), request_.size(), 0) == static_cast<ssize_t>(request_.size());
}

bool bench::UdpClient::takeAnswer() {
  const ssize_t received = recv(socket_, received_, sizeof received_, 0);
  return received > 0 && isGood_(received_, static_cast<std::size_t>(received));
}

bool bench::UdpClient::asks(std::size_t idAt, int atATime) {
  bool good = true;
  for (int i = 0; i < atATime; ++i)
    good = ask(idAt) && good;
  for (int i = 0; i < atATime; ++i)
    good = takeAnswer() && good;
  return good;
}

std::function<bool(const char*, std::size_t)> bench::isAnswerOf(int length) {
  return [length](const char* bytes, std::size_t received) {
    return received == static_cast<std::size_t>(length) && bytes[8] == RESULT_OK;
  };
}

std::function<bool(const char*, std::size_t)> bench::isOf(int length) {
  return [length](const char*, std::size_t received) { return received == static_cast<std::size_t>(length); };
}
