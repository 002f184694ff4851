// W12: what does it cost to answer a write of twelve numbers?
#include "card.h"
#include "measure.h"

int main() {
  bench::Card card;
  std::string request = bench::writeTwelveNumbers();
  constexpr int ANSWER = 11;
  bench::printWire(request.size(), ANSWER);
  return bench::measure([&] { return card.answers(request, ANSWER); });
}
