// What does a trace line cost while the gate is shut? The difference of a function with one and the same without.
#include "card.h"
#include "measure.h"
#include "traceLine.h"

int main() {
  const bench::Card card;  // sets the trace level
  return bench::measure([] { return bench::withTraceLine(1) == bench::withoutTraceLine(1); });
}
