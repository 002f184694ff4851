// What does eventHandler cost when nothing has changed? 100,000 eventable numbers in one table.
#include "card.h"
#include "measure.h"

int main() {
  constexpr unsigned int ROWS = 10000;
  TrelTable table("large", 1, false, ROWS);
  for (unsigned int row = 0; row < ROWS; ++row) {
    for (unsigned int column = 1; column <= 10; ++column)
      table.addProp(new TypeProperty<unsigned int>(column, "value", IFC_CARD_VAR_READ_WRITE, 0, true), row);
  }
  bench::BufferEngine engine;
  engine.registerObject(&table);
  engine.eventHandler();  // the first scan of a process only collects
  return bench::measure([&] { return engine.eventHandler() == 0; }, 10);
}
