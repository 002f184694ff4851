// Stand-in for the platform's utility library: the one function of it that this tree uses.

#ifndef LIBFRAMEWORK_UTIL_H
#define LIBFRAMEWORK_UTIL_H

#include <string>

namespace util {

// The bytes buf[0, len) as text for a person: two lower-case hexadecimal digits a byte, one blank between two bytes,
// none at either end ("00 7f ff"). The empty string when len is 0; buf is not looked at then and may be null.
//   mode     chooses among the renderings of the platform's own library; this stand-in has one and ignores it
//   throws   nothing but what the allocation of the result throws
std::string buf2str(const char* buf, unsigned int len, int mode);

}  // namespace util

#endif
