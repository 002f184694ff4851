// Objects that keep what the engine tells them.

#ifndef TESTS_SUPPORT_WATCHEDOBJECT_H
#define TESTS_SUPPORT_WATCHEDOBJECT_H

#include <functional>
#include <string>
#include <vector>

#include "trel/trelObjects.h"

// A scalar or a table (Base) that overrides `updated` and no other hook, so that `update` is "not overridden" for the
// engine. `onUpdated` runs inside the hook, for what an application might do there: look at values, call the engine again,
// throw.
template <typename Base>
class Watched : public Base {
 public:
  using Base::Base;

  bool updated(TrelProperty* property, unsigned int row) override {
    calls.push_back(property->name + " row " + std::to_string(row));
    if (onUpdated) onUpdated(property);
    return result;
  }

  std::vector<std::string> calls;  // "<property> row <row>", oldest first
  std::function<void(TrelProperty* property)> onUpdated;
  bool result = true;  // what `updated` returns
};

using WatchedScalar = Watched<TrelScalar>;
using WatchedTable = Watched<TrelTable>;

// What `calls` is compared with.
using Calls = std::vector<std::string>;

#endif
