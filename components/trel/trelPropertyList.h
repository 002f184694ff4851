// Private: the lists of properties that the walks of a datagram fill.
#ifndef TREL_TRELPROPERTYLIST_H
#define TREL_TRELPROPERTYLIST_H

#include <vector>

class TrelProperty;

namespace trelList {

// Room for one more, and for as many again.
[[gnu::noinline]] inline void grow(std::vector<TrelProperty*>& list) {
  list.reserve(list.empty() ? 16 : 2 * list.size());
}

// Appends. The vector's own operation would take the address of the pointer for the case that the list must grow, which
// costs the walks a guarded stack frame.
inline void append(std::vector<TrelProperty*>& list, TrelProperty* property) {
  if (list.size() == list.capacity()) grow(list);
  if (list.size() == list.capacity()) __builtin_unreachable();
  list.push_back(property);
}

}  // namespace trelList

#endif
