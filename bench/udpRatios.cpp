// What does a card cost that answers over UDP, measured in bare answering? The card's process beside one that receives and
// sends datagrams of the same sizes and does nothing else. One line a work: name, what, median, least, most of the ratios.
#include <sys/socket.h>

#include <cstdio>
#include <functional>
#include <string>

#include "card.h"
#include "loopback.h"
#include "udpCard.h"

namespace {

// The client's end: asks, and takes what comes back.
class Client {
 public:
  Client(int server, std::string request, std::size_t answer)
      : socket_(bench::connectedSocket(SOCK_DGRAM, bench::portOf(server))),
        request_(std::move(request)),
        answer_(answer) {}

  // Whether an answer of the right length came.
  bool asks() {
    bench::putMessageId(request_, ++messageId_);
    if (send(socket_, request_.data(), request_.size(), 0) != static_cast<ssize_t>(request_.size())) return false;
    return recv(socket_, received_, sizeof received_, 0) == static_cast<ssize_t>(answer_);
  }
  // The result code of the last answer.
  int result() const { return received_[8]; }

 private:
  int socket_;
  std::string request_;
  std::size_t answer_;
  unsigned short messageId_ = 0;
  char received_[1200];
};

void compare(const char* name, const std::string& request, std::size_t answer, void (*serve)(int)) {
  std::fprintf(stderr, "%s: a card and an echo in turn\n", name);
  const int cardSocket = bench::loopbackSocket(SOCK_DGRAM);
  const int echoSocket = bench::loopbackSocket(SOCK_DGRAM);
  const bench::Server card([&] { serve(cardSocket); });
  const bench::Server echo([&] { bench::serveEcho(echoSocket, answer); });
  Client toCard(cardSocket, request, answer);
  Client toEcho(echoSocket, request, answer);
  const bool isAnswer = serve == bench::serveCard;
  const auto slices =
      bench::alternate({{&card, [&] { return toCard.asks() && (!isAnswer || toCard.result() == RESULT_OK); }},
                        {&echo, [&] { return toEcho.asks(); }}});
  const auto print = [&](const char* what, double bench::Slice::*field) {
    const bench::Ratio ratio = bench::ratioOf(slices[0], slices[1], field);
    std::printf("%s %s %.3f %.3f %.3f\n", name, what, ratio.median, ratio.least, ratio.most);
  };
  print("cpu", &bench::Slice::cpu);
  print("roundTrip", &bench::Slice::roundTrip);
}

}  // namespace

int main() {
  bench::pinToOneCore();
  compare("R1", bench::readOneNumber(), bench::ONE_NUMBER_ANSWER, bench::serveCard);
  compare("W1", bench::writeOneNumber(), bench::WRITE_ANSWER, bench::serveCard);
  compare("R12", bench::readScalars(), bench::SCALARS_ANSWER, bench::serveCard);
  compare("W12", bench::writeTwelveNumbers(), bench::WRITE_ANSWER, bench::serveCard);
  compare("N50", "12345678", bench::FIFTY_CHANGES, bench::serveChanges);
  compare("R80", bench::readTable(), bench::TABLE_ANSWER, bench::serveCard);
  return 0;
}
