// The lines of one operation out of a captured log.

#ifndef TESTS_SUPPORT_LOGSELECTION_H
#define TESTS_SUPPORT_LOGSELECTION_H

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "support/logCapture.h"

using Lines = std::vector<std::string>;

// The lines that carry this function's name, as LogCapture::brief shows them, oldest first: what an operation writes
// itself, without what the objects and properties write that it calls.
inline Lines linesOf(const LogCapture& log, std::string_view function) {
  const std::vector<std::string> all = log.brief();
  Lines selected;
  for (std::size_t i = 0; i < all.size(); ++i) {
    if (log.lines()[i].function == function) selected.push_back(all[i]);
  }
  return selected;
}

#endif
