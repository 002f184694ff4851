// R12: what does it cost to answer a read of the 12 scalars?
#include "card.h"
#include "measure.h"

int main() {
  bench::Card card;
  std::string request = bench::readScalars();
  constexpr int ANSWER = 11 + 22 + 2 * 8 + 6 * 11 + 3 * 8;
  bench::printWire(request.size(), ANSWER);
  return bench::measure([&] { return card.answers(request, ANSWER); });
}
