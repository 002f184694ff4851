// One function twice: with a trace line, and without. Compiled as the library is, in a file of their own.
#ifndef BENCH_TRACELINE_H
#define BENCH_TRACELINE_H

namespace bench {

int withTraceLine(int number);
int withoutTraceLine(int number);

}  // namespace bench

#endif
