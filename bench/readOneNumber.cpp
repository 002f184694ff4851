// R1: what does it cost to answer a read of one number?
#include "card.h"
#include "measure.h"

int main() {
  bench::Card card;
  std::string request = bench::readOneNumber();
  constexpr int ANSWER = 11 + 11;
  bench::printWire(request.size(), ANSWER);
  return bench::measure([&] { return card.answers(request, ANSWER); });
}
