// How a question is asked: some runs to warm up, then the runs that count.
#ifndef BENCH_MEASURE_H
#define BENCH_MEASURE_H

#include <cstddef>
#include <cstdio>

#include "counted.h"
#include "heap.h"

namespace bench {

constexpr int WARM_UP = 10;

// Calls `run`, which returns whether all was well, and prints how many runs counted and how many blocks they took from
// the heap. Callgrind forgets the runs that warm up; what it counts of the others is for its --toggle-collect to say.
// Returns the program's exit code.
template <typename Run>
int measure(Run run, int runs = 100) {
  bool good = true;
  for (int i = 0; i < WARM_UP; ++i)
    good = run() && good;
  const std::size_t before = heapBlocks();
  countFromHere();
  for (int i = 0; i < runs; ++i)
    good = run() && good;
  tellCounted();
  std::printf("runs %d\nblocks %zu\n", runs, heapBlocks() - before);
  if (!good) std::fputs("error: what was measured did not do its work\n", stderr);
  return good ? 0 : 1;
}

// Prints what one run puts on the wire.
inline void printWire(std::size_t request, std::size_t answer) {
  std::printf("request %zu\nanswer %zu\n", request, answer);
}

}  // namespace bench

#endif
