// Private: what is known of a property of the library's own classes without asking it.
#ifndef TREL_TRELOWNPROPERTY_H
#define TREL_TRELOWNPROPERTY_H

#include "trel/trelHookOverride.h"
#include "trel/trelObjects.h"
#include "trel/trelProperty.h"
#include "trel/trelWire.h"
#include "trel/trelmsg.h"

namespace trelOwn {

// Bytes of a number's value: what is no big-endian number is one byte.
constexpr unsigned short lengthOf(TrelTlvType type) {
  return static_cast<unsigned short>(trelWire::numberWidth(type) != 0 ? trelWire::numberWidth(type) : 1);
}

inline constexpr unsigned short NUMBER_LENGTH[] = {
    lengthOf(TREL_TYPE_UINT64), lengthOf(TREL_TYPE_UINT32), lengthOf(TREL_TYPE_UINT16),
    lengthOf(TREL_TYPE_UINT8),  lengthOf(TREL_TYPE_INT64),  lengthOf(TREL_TYPE_INT32),
    lengthOf(TREL_TYPE_INT16),  lengthOf(TREL_TYPE_INT8),   lengthOf(TREL_TYPE_BOOLEAN)};
static_assert(sizeof NUMBER_LENGTH / sizeof NUMBER_LENGTH[0] == TREL_TYPE_BOOLEAN + 1, "by type code");

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
         trelWire::tlvLen(tlv) == trelOwn::NUMBER_LENGTH[type] && composeOid(oid) && oid == trelWire::tlvOid(tlv);
}

// Whether a value may be written; with the line when it may not, but for a read-only property.
inline int TrelProperty::checkWritable(const char* tlv) {
  if (accessType == IFC_CARD_VAR_READ_ONLY) return RESULT_READ_ONLY;
  return validValue(trelWire::tlvValue(tlv), trelWire::tlvLen(tlv)) ? static_cast<int>(RESULT_OK) : refuseValue(tlv);
}

#endif
