// libmodbus over TCP. The variables are holding registers: a number takes two, two characters take one, a flag one.
//
//   0 to 24     the scalars: 8 of text, 2 bytes, 6 numbers, 3 flags
//   100 to 307  the table: 16 names of 6 registers, then 48 numbers, then 16 flags
//
// The columns lie together, which suits it best: twelve numbers are one write, and the table is two reads of 104 registers,
// because a read carries 125.
#include <modbus.h>
#include <sys/socket.h>
#include <unistd.h>

#include <string>
#include <vector>

#include "loopback.h"
#include "peer.h"
#include "support/bytes.h"

namespace {

class Server : public bench::PeerServer {
 public:
  explicit Server(const bench::Place& place)
      : context_(modbus_new_tcp("127.0.0.1", place.port)),
        registers_(modbus_mapping_new(0, 0, 308, 0)),
        listener_(modbus_tcp_listen(context_, 1)) {}
  ~Server() override {
    modbus_mapping_free(registers_);
    close(listener_);
    modbus_close(context_);
    modbus_free(context_);
  }

  void answer() override {
    if (!isConnected_) isConnected_ = modbus_tcp_accept(context_, &listener_) >= 0;
    unsigned char query[MODBUS_TCP_MAX_ADU_LENGTH];
    const int length = modbus_receive(context_, query);
    if (length > 0) modbus_reply(context_, query, length, registers_);
  }

 private:
  modbus_t* context_;
  modbus_mapping_t* registers_;
  int listener_;
  bool isConnected_ = false;
};

struct Question {
  std::string request;
  std::size_t answer;  // bytes
};

class Client : public bench::PeerClient {
 public:
  Client(unsigned short port, std::vector<Question> questions)
      : socket_(bench::connectedSocket(SOCK_STREAM, port)), questions_(std::move(questions)) {}
  ~Client() override { close(socket_); }

  bool asks(int atATime) override {
    for (int i = 0; i < atATime; ++i) {
      for (Question& question : questions_)
        if (!ask(question)) return false;
    }
    for (int i = 0; i < atATime; ++i) {
      for (const Question& question : questions_)
        if (!takeAnswer(question)) return false;
    }
    return true;
  }

 private:
  bool ask(Question& question) {
    ++transaction_;
    question.request[0] = static_cast<char>(transaction_ >> 8);
    question.request[1] = static_cast<char>(transaction_);
    return send(socket_, question.request.data(), question.request.size(), 0) > 0;
  }
  bool takeAnswer(const Question& question) const {
    char answer[MODBUS_TCP_MAX_ADU_LENGTH];
    const ssize_t received = recv(socket_, answer, question.answer, MSG_WAITALL);
    return received == static_cast<ssize_t>(question.answer) && answer[7] == question.request[7];
  }

  int socket_;
  std::vector<Question> questions_;
  unsigned short transaction_ = 0;
};

std::unique_ptr<bench::PeerServer> serve(const bench::Place& place) { return std::make_unique<Server>(place); }

// Transaction, protocol, length, unit; function 3 reads and 16 writes: first register, how many, bytes and values.
std::vector<Question> questionsOf(bench::Work work) {
  switch (work) {
    case bench::Work::R1:
      return {{"0000 0000 0006 FF | 03 000A 0002"_hex, 9 + 2 * 2}};
    case bench::Work::R12:
      return {{"0000 0000 0006 FF | 03 0000 0019"_hex, 9 + 2 * 25}};
    case bench::Work::R80:
      return {{"0000 0000 0006 FF | 03 0064 0068"_hex, 9 + 2 * 104},
              {"0000 0000 0006 FF | 03 00CC 0068"_hex, 9 + 2 * 104}};
    case bench::Work::W1:
      return {{"0000 0000 000B FF | 10 000A 0002 04 0000002A"_hex, 12}};
    case bench::Work::W12:
      return {
          {"0000 0000 0037 FF | 10 00C4 0018 30 00000001 00000002 FFFFFF03 00000004 00000005 FFFFFF06"
           " 00000007 00000008 FFFFFF09 0000000A 0000000B FFFFFF0C"_hex,
           12}};
    case bench::Work::N50:
      break;
  }
  return {};
}

std::unique_ptr<bench::PeerClient> ask(const bench::Place& place) {
  return std::make_unique<Client>(place.port, questionsOf(place.work));
}

}  // namespace

bench::Peer bench::modbusPeer() {
  return {"libmodbus", false, [](Work work) { return static_cast<int>(questionsOf(work).size()); }, serve, ask};
}
