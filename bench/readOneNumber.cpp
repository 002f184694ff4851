// R1: what does it cost to answer a read of one number?
#include "card.h"
#include "measure.h"

int main() {
  bench::countFunction(bench::entryOf(&TrelProtocolBase::handleTrelMsg));
  bench::Card card;
  std::string request = bench::readOneNumber();
  bench::printWire(request.size(), bench::ONE_NUMBER_ANSWER);
  return bench::measure([&] { return card.answers(request, bench::ONE_NUMBER_ANSWER); });
}
