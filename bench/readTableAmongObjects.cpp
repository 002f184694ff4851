// R80 when 160 objects are registered and the table is the last: what does the search for the right one cost?
#include "card.h"
#include "measure.h"
#include "otherObjects.h"

int main() {
  bench::countFunction(bench::entryOf(&TrelProtocolBase::handleTrelMsg));
  const auto others = bench::otherObjects(158);
  bench::Card card(bench::pointersTo(others));
  std::string request = bench::readTable();
  bench::printWire(request.size(), bench::TABLE_ANSWER);
  return bench::measure([&] { return card.answers(request, bench::TABLE_ANSWER); });
}
