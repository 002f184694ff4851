#include "traceLine.h"

#include "trel/trelTraceGate.h"

int bench::withTraceLine(int number) {
  TREL_DEBUG3("[DEBUG3] %s:%d (%s) - number %d", TREL_HERE, number);
  return number + 1;
}

int bench::withoutTraceLine(int number) { return number + 1; }
