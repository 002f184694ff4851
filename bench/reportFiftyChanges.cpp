// N50: what does it cost to change 50 numbers and to report them? Counted: the 50 sets and one eventHandler, which scans the
// card's 92 variables, collects those that changed, and sends.
#include "card.h"
#include "measure.h"

__attribute__((noinline)) int changeAndReport(bench::Card& card, const bench::FiftyNumbers& numbers, int value) {
  numbers.set(value);
  return card.engine.eventHandler();
}

BENCH_CALLER bool reports(bench::Card& card, const bench::FiftyNumbers& numbers, int value) {
  card.engine.answerLength = 0;
  return changeAndReport(card, numbers, value) == 50 && card.engine.answerLength == bench::FIFTY_CHANGES;
}

int main() {
  bench::countFunction(bench::entryOf(&changeAndReport));
  bench::Card card;
  const bench::FiftyNumbers numbers(card.scalar, card.table);
  card.engine.eventHandler();  // the first scan of a process only collects
  int value = 0;
  bench::printWire(0, bench::FIFTY_CHANGES);
  return bench::measure([&] { return reports(card, numbers, ++value); });
}
