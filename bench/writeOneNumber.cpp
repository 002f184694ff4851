// W1: what does it cost to answer a write of one number?
#include "card.h"
#include "measure.h"

int main() {
  bench::countFunction(bench::entryOf(&TrelProtocolBase::handleTrelMsg));
  bench::Card card;
  std::string request = bench::writeOneNumber();
  bench::printWire(request.size(), bench::WRITE_ANSWER);
  return bench::measure([&] { return card.answers(request, bench::WRITE_ANSWER); });
}
