// Private: what is known of a property of the library's own classes without asking it.
#ifndef TREL_TRELOWNPROPERTY_H
#define TREL_TRELOWNPROPERTY_H

#include "trel/trelHookOverride.h"
#include "trel/trelObjects.h"
#include "trel/trelProperty.h"
#include "trel/trelWire.h"
#include "trel/trelmsg.h"

namespace trelOwn {

// Bytes of a number's value, by type code: what is no big-endian number is one byte.
struct NumberLengths {
  unsigned short of[TREL_TYPE_BOOLEAN + 1];
};
constexpr NumberLengths numberLengths() {
  NumberLengths lengths{};
  unsigned int type = 0;
  for (unsigned short& length : lengths.of) {
    const unsigned int width = trelWire::numberWidth(type++);
    length = static_cast<unsigned short>(width != 0 ? width : 1);
  }
  return lengths;
}

inline constexpr NumberLengths NUMBER_LENGTH = numberLengths();

}  // namespace trelOwn

// The OID of an object's property where nobody needs to be asked; false where somebody must.
inline bool TrelProperty::composeOid(unsigned int& oid) const {
  return object != nullptr && trelHook::composeOid(*object, id, row, oid);
}

// Whether a TLV has the OID, the type and the length of a number of the library's own class, for which nobody must be
// asked. False does not mean that it has not.
inline bool TrelProperty::hasOwnForm(const char* tlv) const {
  const unsigned int type = trelWire::tlvType(tlv);
  unsigned int oid = 0;
  return type <= TREL_TYPE_BOOLEAN && tableOf(*this) == exactTables[type] &&
         trelWire::tlvLen(tlv) == trelOwn::NUMBER_LENGTH.of[type] && composeOid(oid) && oid == trelWire::tlvOid(tlv);
}

// Whether a value may be written; with the line when it may not, but for a read-only property.
inline int TrelProperty::checkWritable(const char* tlv) {
  if (accessType == IFC_CARD_VAR_READ_ONLY) return RESULT_READ_ONLY;
  return validValue(trelWire::tlvValue(tlv), trelWire::tlvLen(tlv)) ? static_cast<int>(RESULT_OK) : refuseValue(tlv);
}

#endif
