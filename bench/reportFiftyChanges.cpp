// N50: what does it cost to change 50 numbers and to report them? Counted: the 50 sets and one eventHandler, which scans the
// card's 92 variables, collects those that changed, and sends.
#include <vector>

#include "card.h"
#include "measure.h"

constexpr int SENT = 16 + 50 * 11;

// 48 numbers of the table, then two scalars.
struct Numbers {
  std::vector<TrelProperty*> inTable;
  TrelProperty* scalars[2];
};

__attribute__((noinline)) int changeAndReport(bench::Card& card, const Numbers& numbers, int value) {
  for (TrelProperty* number : numbers.inTable)
    number->set(value);
  for (TrelProperty* number : numbers.scalars)
    number->set(static_cast<unsigned int>(value));
  return card.engine.eventHandler();
}

int main() {
  bench::Card card;
  Numbers numbers{{}, {card.scalar.getProp(4, 0), card.scalar.getProp(5, 0)}};
  for (unsigned int row = 0; row < bench::TABLE_ROWS; ++row) {
    for (unsigned int column = 2; column <= 4; ++column)
      numbers.inTable.push_back(card.table.getProp(column, row));
  }
  card.engine.eventHandler();  // the first scan of a process only collects
  int value = 0;
  bench::printWire(0, SENT);
  return bench::measure([&] {
    card.engine.answerLength = 0;
    return changeAndReport(card, numbers, ++value) == 50 && card.engine.answerLength == SENT;
  });
}
