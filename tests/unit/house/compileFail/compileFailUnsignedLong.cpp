// unsigned long is 32 bits wide on one machine and 64 on another: it has no type code of its own and is refused.
#include "trel/trelProperty.h"

TypeProperty<unsigned long> property(1, "refused", IFC_CARD_VAR_READ_WRITE, 0UL);
