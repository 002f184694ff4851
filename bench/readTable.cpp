// R80: what does it cost to answer a read of a whole table, 80 variables?
#include "card.h"
#include "measure.h"

int main() {
  bench::countFunction(bench::entryOf(&TrelProtocolBase::handleTrelMsg));
  bench::Card card;
  std::string request = bench::readTable();
  bench::printWire(request.size(), bench::TABLE_ANSWER);
  return bench::measure([&] { return card.answers(request, bench::TABLE_ANSWER); });
}
