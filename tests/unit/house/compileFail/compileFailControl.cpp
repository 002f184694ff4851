// Compiles: what the files beside this one are refused for is their one line, not the compiler, its flags or the headers.
#include "trel/trelProperty.h"

TypeProperty<unsigned long long> unsignedLongLong(1, "taken", IFC_CARD_VAR_READ_WRITE, 0ULL);
TypeProperty<unsigned int> unsignedInt(1, "taken", IFC_CARD_VAR_READ_WRITE, 0U);
TypeProperty<long long> longLong(1, "taken", IFC_CARD_VAR_READ_WRITE, 0LL);
TypeProperty<bool> flag(1, "taken", IFC_CARD_VAR_READ_WRITE, false);
RangeCheckValue<int> range(1, 10);
RangeCheckValue<unsigned char> rangeOfBytes(1, 10);
