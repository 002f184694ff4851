// R80 when 160 objects are registered and the table is the last: what does the search for the right one cost?
#include <memory>
#include <vector>

#include "card.h"
#include "measure.h"

namespace {

// The other 158: all but the card's own two that a table id, a group and the common bit can tell apart.
std::vector<std::unique_ptr<TrelObject>> otherObjects() {
  std::vector<std::unique_ptr<TrelObject>> others;
  for (unsigned int id = 0; id < 64; ++id) {
    others.push_back(std::make_unique<TrelTable>("other", id, true, 1));
    if (id != 3) others.push_back(std::make_unique<TrelTable>("other", id, false, 1));
  }
  for (unsigned int group = 0; group < 31; ++group)
    others.push_back(std::make_unique<TrelScalar>("other", group, false));
  return others;
}

}  // namespace

int main() {
  bench::countFunction(bench::entryOf(&TrelProtocolBase::handleTrelMsg));
  const auto others = otherObjects();
  std::vector<TrelObject*> earlier;
  for (const auto& other : others)
    earlier.push_back(other.get());
  bench::Card card(earlier);
  std::string request = bench::readTable();
  bench::printWire(request.size(), bench::TABLE_ANSWER);
  return bench::measure([&] { return card.answers(request, bench::TABLE_ANSWER); });
}
