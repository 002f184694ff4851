// How much heap does a 32-bit number in a table take? A table of 16 rows and 5 such columns, and the same table empty.
#include <cstddef>
#include <cstdio>

#include "heap.h"
#include "trel/trelObjects.h"

int main() {
  constexpr unsigned int ROWS = 16;
  constexpr unsigned int COLUMNS = 5;
  const std::size_t before = bench::heapBytes();
  TrelTable table("numbers", 1, false, ROWS);
  const std::size_t empty = bench::heapBytes();
  for (unsigned int row = 0; row < ROWS; ++row) {
    for (unsigned int column = 1; column <= COLUMNS; ++column)
      table.addProp(new TypeProperty<int>(column, "fifteen letters", IFC_CARD_VAR_READ_WRITE, 0), row);
  }
  const std::size_t full = bench::heapBytes();
  std::printf("bytesOfAProperty %zu\n", (full - empty) / (ROWS * COLUMNS));
  std::printf("bytesWithItsShareOfTheTable %zu\n", (full - before + ROWS * COLUMNS - 1) / (ROWS * COLUMNS));
  return 0;
}
