// Private: which version of a virtual operation an object has, the library's own or an application's.
//
// A virtual table is asked because a flag set by the base version would take an override that calls it for none.
#ifndef TREL_TRELHOOKOVERRIDE_H
#define TREL_TRELHOOKOVERRIDE_H

#include <cstring>

#include "trel/trelObjects.h"
#include "trel/trelOidLayout.h"

namespace trelHook {

// Places in an object's virtual table, after the two entries of the destructor and getObjectTypeStr.
enum Slot : unsigned int { GET_OID = 3, UPDATE = 4, GET_PROP_FROM_OID = 6 };

inline const void* versionOf(const TrelObject& object, Slot slot) {
  const void* const* table = nullptr;
  std::memcpy(&table, static_cast<const void*>(&object), sizeof table);
  return table[slot];
}

// The library's own versions, as its own classes name them. The constructors of those put them here, so they are there
// before an object is.
struct OwnVersions {
  const void* update;           // of both classes
  const void* updateOfProgram;  // the same function as the program names it, which may be another address
  const void* scalarOid;
  const void* tableOid;
  const void* scalarSearch;
  const void* tableSearch;
};
extern OwnVersions own;

// Finds out how the program names `update`, when that is not known yet. Before overridesUpdate is asked of an object
// that may override it: of one that does not, nothing more needs to be known.
void findUpdateOfProgram();
inline bool mayOverrideUpdate(const TrelObject& object) { return versionOf(object, UPDATE) != own.update; }
inline void knowUpdateOfProgram() {
  if (own.updateOfProgram == nullptr) findUpdateOfProgram();
}

// True when the object's class, or one between it and TrelObject, overrides `update`; also when that override calls the
// base version.
inline bool overridesUpdate(const TrelObject& object) {
  const void* const update = versionOf(object, UPDATE);
  return update != own.update && update != own.updateOfProgram;
}

// object.getOID(propertyId, row) where that is the library's own: false, and nothing in `oid`, where it is not, and the
// object must be asked.
inline bool composeOid(const TrelObject& object, unsigned int propertyId, unsigned int row, unsigned int& oid) {
  const void* const version = versionOf(object, GET_OID);
  if (__builtin_expect(version == own.tableOid, 1) != 0) {
    oid = trelOid::ofTable(object.id, object.common, propertyId, row);
    return true;
  }
  if (version == own.scalarOid) {
    oid = trelOid::ofScalar(object.id, object.common, propertyId);
    return true;
  }
  return false;
}

}  // namespace trelHook

#endif
