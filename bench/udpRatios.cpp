// What does a card cost that answers over UDP, measured in bare answering? The card's process beside one that receives and
// sends datagrams of the same sizes and does nothing else. One line a work: name, what, median, least, most of the ratios.
#include <cstdio>
#include <string>

#include "loopback.h"
#include "udpCard.h"

namespace {

void compare(const char* name, const std::string& request, int answer, bool isReport = false) {
  std::fprintf(stderr, "%s: a card and an echo in turn\n", name);
  const int cardSocket = bench::loopbackSocket(SOCK_DGRAM);
  const int echoSocket = bench::loopbackSocket(SOCK_DGRAM);
  const bench::Server card([&] {
    bench::UdpCard served(cardSocket);
    for (;;)
      isReport ? served.report() : served.answer();
  });
  const bench::Server echo([&] {
    for (;;)
      bench::echo(echoSocket, static_cast<std::size_t>(answer));
  });
  bench::UdpClient toCard(bench::portOf(cardSocket), request,
                          isReport ? bench::isOf(answer) : bench::isAnswerOf(answer));
  bench::UdpClient toEcho(bench::portOf(echoSocket), request, bench::isOf(answer));
  const auto slices = bench::alternate({{&card, [&] { return toCard.asks(bench::MESSAGE_ID_AT); }},
                                        {&echo, [&] { return toEcho.asks(bench::MESSAGE_ID_AT); }}});
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
  compare("R1", bench::readOneNumber(), bench::ONE_NUMBER_ANSWER);
  compare("W1", bench::writeOneNumber(), bench::WRITE_ANSWER);
  compare("R12", bench::readScalars(), bench::SCALARS_ANSWER);
  compare("W12", bench::writeTwelveNumbers(), bench::WRITE_ANSWER);
  compare("N50", "any text", bench::FIFTY_CHANGES, true);
  compare("R80", bench::readTable(), bench::TABLE_ANSWER);
  return 0;
}
