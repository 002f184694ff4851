// W12: what does it cost to answer a write of twelve numbers?
#include "card.h"
#include "measure.h"

int main() {
  bench::countFunction(bench::entryOf(&TrelProtocolBase::handleTrelMsg));
  bench::Card card;
  std::string request = bench::writeTwelveNumbers();
  bench::printWire(request.size(), bench::WRITE_ANSWER);
  return bench::measure([&] { return card.answers(request, bench::WRITE_ANSWER); });
}
