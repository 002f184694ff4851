// R12: what does it cost to answer a read of the 12 scalars?
#include "card.h"
#include "measure.h"

int main() {
  bench::countFunction(bench::entryOf(&TrelProtocolBase::handleTrelMsg));
  bench::Card card;
  std::string request = bench::readScalars();
  bench::printWire(request.size(), bench::SCALARS_ANSWER);
  return bench::measure([&] { return card.answers(request, bench::SCALARS_ANSWER); });
}
