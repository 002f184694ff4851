#include "libframework/util.h"

#include <cstddef>

namespace util {

std::string buf2str(const char* buf, unsigned int len, int /*mode*/) {
  static const char digits[] = "0123456789abcdef";
  std::string text;
  text.reserve(static_cast<std::size_t>(len) * 3);
  for (unsigned int i = 0; i < len; ++i) {
    // Through unsigned char: a plain char is negative above 0x7f on some machines and not on others.
    const unsigned char byte = static_cast<unsigned char>(buf[i]);
    if (i > 0) {
      text += ' ';
    }
    text += digits[byte >> 4];
    text += digits[byte & 0x0F];
  }
  return text;
}

}  // namespace util
