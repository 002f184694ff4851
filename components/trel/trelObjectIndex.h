// Private: which registered object to ask about an OID, without asking all of them.
//
// The rule is that the first object in order of registration that knows an OID has it. The index tells which object that
// is while all objects search with the library's own getPropFromOID; with one that overrides it, there is no index, and
// all are asked in their turn. What it tells is an offer: who takes it compares with the object as it is now, and asks
// all when that does not fit.
#ifndef TREL_TRELOBJECTINDEX_H
#define TREL_TRELOBJECTINDEX_H

#include <algorithm>
#include <array>
#include <cstddef>
#include <vector>

#include "trel/trelCells.h"
#include "trel/trelHookOverride.h"
#include "trel/trelObjects.h"
#include "trel/trelOidLayout.h"

class TrelObjectIndex {
 public:
  TrelObjectIndex() { first_.fill(NONE); }

  // Brings the index up to date when an object has been registered. Not during a datagram: what is registered meanwhile
  // stands behind all others, and is found by asking.
  void follow(const std::vector<TrelObject*>& objects) {
    if (objects.size() != followed_) build(objects);
    if (mayOverrideUpdate_) trelHook::knowUpdateOfProgram();
  }

  // The property that has this OID; null when the objects must be asked. Compiled into both walks of a datagram.
  [[gnu::always_inline]] TrelProperty* find(const std::vector<TrelObject*>& objects, unsigned int oid) const {
    if (trelOid::kind(oid) == trelOid::KIND_TABLE) {
      const unsigned short first = first_[tablePlace(oid)];
      if (first == NONE) return nullptr;
      const TrelObject& table = *objects[first];
      if (table.objectType != ifcCard::TABLE || table.id != trelOid::table(oid)) return nullptr;
      if (table.common != trelOid::common(oid)) return nullptr;
      return table.find(trelOid::column(oid), trelOid::row(oid));
    }
    if (trelOid::kind(oid) != trelOid::KIND_SCALAR) return nullptr;
    const unsigned short first = first_[scalarPlace(oid)];
    if (first == NONE) return nullptr;
    const TrelObject& scalar = *objects[first];
    if (scalar.objectType != ifcCard::SCALAR || scalar.id != trelOid::group(oid)) return nullptr;
    if (scalar.common != trelOid::common(oid)) return nullptr;
    return scalar.find(trelOid::variable(oid), 0);
  }

 private:
  // A place for each object that an OID can name: the scalar groups, those of common ones, the tables, common ones.
  static constexpr unsigned int SCALAR_GROUPS = 32;
  static constexpr unsigned int TABLES = 64;
  static constexpr unsigned int PLACES = 2 * SCALAR_GROUPS + 2 * TABLES;
  static constexpr unsigned short NONE = 0xFFFF;

  // The bit behind group and table is the common one.
  static unsigned int scalarPlace(unsigned int oid) { return (oid >> trelOid::GROUP_SHIFT) % (2 * SCALAR_GROUPS); }
  static unsigned int tablePlace(unsigned int oid) {
    return 2 * SCALAR_GROUPS + (oid >> trelOid::TABLE_SHIFT) % (2 * TABLES);
  }

  void build(const std::vector<TrelObject*>& objects) {
    followed_ = objects.size();
    first_.fill(NONE);
    mayOverrideUpdate_ = std::any_of(objects.begin(), objects.end(),
                                     [](const TrelObject* object) { return trelHook::mayOverrideUpdate(*object); });
    for (std::size_t i = std::min(followed_, std::size_t{NONE}); i-- > 0;) {  // from the last: the first one stays
      const TrelObject& object = *objects[i];
      const void* const search = trelHook::versionOf(object, trelHook::GET_PROP_FROM_OID);
      if (search == trelHook::own.tableSearch) {
        const bool addressable = object.objectType == ifcCard::TABLE && object.id < TABLES;
        if (addressable)
          first_[tablePlace(trelOid::ofTable(object.id, object.common, 0, 0))] = static_cast<unsigned short>(i);
      } else if (search == trelHook::own.scalarSearch) {
        const bool addressable = object.objectType == ifcCard::SCALAR && object.id < SCALAR_GROUPS &&
                                 trelOid::usableScalar(trelOid::ofScalar(object.id, object.common, 0));
        if (addressable)
          first_[scalarPlace(trelOid::ofScalar(object.id, object.common, 0))] = static_cast<unsigned short>(i);
      } else {
        first_.fill(NONE);  // it may know any OID
        return;
      }
    }
  }

  std::array<unsigned short, PLACES> first_;  // the position of the first object of each place, or NONE
  std::size_t followed_ = 0;                  // objects that the index knows
  bool mayOverrideUpdate_ = false;            // one of them
};

#endif
