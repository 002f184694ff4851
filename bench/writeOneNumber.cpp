// W1: what does it cost to answer a write of one number?
#include "card.h"
#include "measure.h"

int main() {
  bench::Card card;
  std::string request = bench::writeOneNumber();
  constexpr int ANSWER = 11;
  bench::printWire(request.size(), ANSWER);
  return bench::measure([&] { return card.answers(request, ANSWER); });
}
