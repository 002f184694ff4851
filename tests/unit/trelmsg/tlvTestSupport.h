// What the tests of the TLV element share.

#ifndef TESTS_UNIT_TRELMSG_TLVTESTSUPPORT_H
#define TESTS_UNIT_TRELMSG_TLVTESTSUPPORT_H

#include <cstdlib>
#include <cstring>
#include <string>
#include <string_view>

#include "support/bytes.h"
#include "trel/trelmsg.h"

// Numbers lie in a value buffer in the order of the machine: its bytes are written down twice where they are looked at.
inline constexpr bool BIG_ENDIAN_HOST = __BYTE_ORDER__ == __ORDER_BIG_ENDIAN__;

// The members are packed, so nothing may take a reference to them: tests compare copies.
inline unsigned int idOf(const trel_tlv& tlv) { return tlv.id; }
inline unsigned int typeOf(const trel_tlv& tlv) { return tlv.type; }
inline unsigned int lenOf(const trel_tlv& tlv) { return tlv.len; }
inline char* valOf(const trel_tlv& tlv) { return tlv.val; }

// The first `count` bytes of the value buffer, whatever `len` says.
inline std::string storedBytes(const trel_tlv& tlv, std::size_t count) {
  if (valOf(tlv) == nullptr) return "(no value)";
  return asText(std::string_view(valOf(tlv), count));
}

// A buffer of exactly these bytes, from malloc, as a record wants to own it.
inline char* ownedBytes(std::string_view bytes) {
  auto* buffer = static_cast<char*>(std::malloc(bytes.size()));
  if (!bytes.empty()) std::memcpy(buffer, bytes.data(), bytes.size());
  return buffer;
}

// Gives an empty record a type, a length and a value of exactly these bytes.
inline void fill(TRELTlv& tlv, unsigned char type, std::string_view bytes) {
  tlv.type = type;
  tlv.len = static_cast<unsigned short>(bytes.size());
  tlv.val = ownedBytes(bytes);
}

#endif
