// A property belongs to one row of one object, and a check to one property: a copy would delete the check twice.
#include "trel/trelProperty.h"

TypeProperty<int> property(1, "original", IFC_CARD_VAR_READ_WRITE, 0);
TypeProperty<int> copy(property);
