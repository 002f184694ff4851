// The heap of a benchmark, counted: malloc and its like are this program's own, so blocks of operator new are among them,
// also those that the shared libraries take.
#ifndef BENCH_HEAP_H
#define BENCH_HEAP_H

#include <cstddef>

namespace bench {

// Blocks taken since the program started.
std::size_t heapBlocks();
// Bytes that are taken now, the allocator's own word and rounding of each block included.
std::size_t heapBytes();

}  // namespace bench

#endif
