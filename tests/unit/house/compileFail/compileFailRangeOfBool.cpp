// A range of a flag checks nothing: it is refused.
#include "trel/trelProperty.h"

RangeCheckValue<bool> check(false, true);
