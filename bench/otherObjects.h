// Objects that are asked before the card's own, and that know none of its variables.
#ifndef BENCH_OTHEROBJECTS_H
#define BENCH_OTHEROBJECTS_H

#include <memory>
#include <vector>

#include "trel/trelObjects.h"

namespace bench {

// As many as are wanted, 158 at most: all but the card's two that a table id, a group and the common bit can tell apart.
inline std::vector<std::unique_ptr<TrelObject>> otherObjects(std::size_t wanted) {
  std::vector<std::unique_ptr<TrelObject>> others;
  for (unsigned int id = 0; id < 64; ++id) {
    others.push_back(std::make_unique<TrelTable>("other", id, true, 1));
    if (id != 3) others.push_back(std::make_unique<TrelTable>("other", id, false, 1));
  }
  for (unsigned int group = 0; group < 31; ++group)
    others.push_back(std::make_unique<TrelScalar>("other", group, false));
  others.resize(wanted);
  return others;
}

inline std::vector<TrelObject*> pointersTo(const std::vector<std::unique_ptr<TrelObject>>& objects) {
  std::vector<TrelObject*> pointers;
  for (const auto& object : objects)
    pointers.push_back(object.get());
  return pointers;
}

}  // namespace bench

#endif
