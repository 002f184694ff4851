// Private: a datagram's header, as far as a transport reads it. The only place of this library that knows byte order. The
// caller knows the datagram to be long enough.
#ifndef TREL_TRELUDPHEADER_H
#define TREL_TRELUDPHEADER_H

#include "trel/trelmsg.h"

namespace trelUdpHeader {

inline unsigned int byteAt(const char* bytes, unsigned int index) { return static_cast<unsigned char>(bytes[index]); }
inline unsigned short u16At(const char* bytes, unsigned int index) {
  return static_cast<unsigned short>(byteAt(bytes, index) << 8 | byteAt(bytes, index + 1));
}
inline unsigned int u32At(const char* bytes, unsigned int index) {
  return static_cast<unsigned int>(u16At(bytes, index)) << 16 | u16At(bytes, index + 2);
}

inline bool hasOurMagic(const char* bytes) { return u32At(bytes, 0) == TREL_MAGIC_NBR; }
inline unsigned int versionOf(const char* bytes) { return byteAt(bytes, 4); }
inline unsigned int actionOf(const char* bytes) { return byteAt(bytes, 5); }
inline unsigned short msgIdOf(const char* bytes) { return u16At(bytes, 6); }
// Of a response.
inline unsigned int resultOf(const char* bytes) { return byteAt(bytes, 8); }
inline unsigned short errorIndexOf(const char* bytes) { return u16At(bytes, 9); }

}  // namespace trelUdpHeader

#endif
