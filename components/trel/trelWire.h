// Private: bytes of a datagram. The only place that knows byte order, and the only place that compares a wire length
// with what is there.
#ifndef TREL_TRELWIRE_H
#define TREL_TRELWIRE_H

#include <endian.h>

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string_view>

namespace trelWire {

inline constexpr int TLV_HEAD_LEN = 4 + 1 + 2;  // OID, type, value length

// --- numbers in memory that the caller knows to be long enough, and that has no alignment ----------------------------

// In host order.
template <typename T>
T loadHost(const char* from) {
  T value;
  std::memcpy(&value, from, sizeof value);
  return value;
}
template <typename T>
void storeHost(char* to, T value) {
  std::memcpy(to, &value, sizeof value);
}

// Big-endian, as on the wire.
inline unsigned int byteAt(const char* from, unsigned int index) { return static_cast<unsigned char>(from[index]); }
inline unsigned short loadU16(const char* from) { return be16toh(loadHost<std::uint16_t>(from)); }
inline unsigned int loadU32(const char* from) { return be32toh(loadHost<std::uint32_t>(from)); }
inline unsigned long long loadU64(const char* from) { return be64toh(loadHost<std::uint64_t>(from)); }

inline void storeU16(char* to, unsigned int value) { storeHost(to, htobe16(static_cast<std::uint16_t>(value))); }
inline void storeU32(char* to, unsigned int value) { storeHost(to, htobe32(value)); }
inline void storeU64(char* to, unsigned long long value) { storeHost(to, htobe64(value)); }

// --- the number types ------------------------------------------------------------------------------------------------

// Width of the big-endian number that a value of this type code is, or 0 when its bytes travel as they are (8-bit
// numbers, BOOLEAN, STRING, BYTE_ARRAY, MAC_ADDRESS and any code that the protocol does not know).
inline constexpr unsigned int numberWidth(unsigned int type) {
  switch (type) {
    case 0:   // UINT64
    case 4:   // INT64
    case 11:  // UNIX_TIME
      return 8;
    case 1:   // UINT32
    case 5:   // INT32
    case 10:  // IPv4ADDRESS
      return 4;
    case 2:  // UINT16
    case 6:  // INT16
      return 2;
    default:
      return 0;
  }
}

// A big-endian number of 1, 2, 4 or 8 bytes.
inline unsigned long long loadNumber(const char* from, unsigned int width) {
  switch (width) {
    case 8:
      return loadU64(from);
    case 4:
      return loadU32(from);
    case 2:
      return loadU16(from);
    default:
      return byteAt(from, 0);
  }
}
inline void storeNumber(char* to, unsigned long long value, unsigned int width) {
  switch (width) {
    case 8:
      storeU64(to, value);
      break;
    case 4:
      storeU32(to, static_cast<unsigned int>(value));
      break;
    case 2:
      storeU16(to, static_cast<unsigned int>(value));
      break;
    default:
      to[0] = static_cast<char>(value);
      break;
  }
}

// A value buffer keeps its number in host order: turns it from wire order into that, or back.
inline void wireToHost(char* number, unsigned int width) {
  if (width == 8) {
    storeHost(number, loadU64(number));
  } else if (width == 4) {
    storeHost(number, loadU32(number));
  } else if (width == 2) {
    storeHost(number, loadU16(number));
  }
}
inline void hostToWire(char* number, unsigned int width) {
  if (width == 8) {
    storeU64(number, loadHost<unsigned long long>(number));
  } else if (width == 4) {
    storeU32(number, loadHost<unsigned int>(number));
  } else if (width == 2) {
    storeU16(number, loadHost<unsigned short>(number));
  }
}

// --- one TLV whose caller knows that it is whole ---------------------------------------------------------------------

inline unsigned int tlvOid(const char* tlv) { return loadU32(tlv); }
inline unsigned char tlvType(const char* tlv) { return static_cast<unsigned char>(tlv[4]); }
inline unsigned short tlvLen(const char* tlv) { return loadU16(tlv + 5); }
inline const char* tlvValue(const char* tlv) { return tlv + TLV_HEAD_LEN; }

// The head that every TLV starts with; the caller has made sure of 7 bytes. A longer value's length keeps its low 16
// bits.
inline void storeTlvHead(char* to, unsigned int oid, unsigned int type, unsigned int len) {
  storeU32(to, oid);
  to[4] = static_cast<char>(type);
  storeU16(to + 5, len);
}

// --- cursors ---------------------------------------------------------------------------------------------------------

// Hands out the bytes of a datagram from front to back, never past its end. What does not fit is null and fails the
// reader for good. Owns nothing: it and what it hands out live no longer than the datagram.
class ByteReader {
 public:
  ByteReader(const char* data, std::size_t size) : at_(data), left_(size) {}

  // The next `size` bytes, or null. The only place that compares and moves.
  const char* take(std::size_t size) {
    if (size > left_) {  // sizes, not pointers: at_ + size may not exist
      at_ = nullptr;     // nothing is left, and not even no byte can be taken
      left_ = 0;
      return nullptr;
    }
    const char* taken = at_;
    at_ += size;
    left_ -= size;
    return taken;
  }

  // Where the next bytes lie, for one who knows how many there are.
  const char* at() const { return at_; }
  std::size_t left() const { return left_; }
  bool atEnd() const { return left_ == 0; }

 private:
  const char* at_;
  std::size_t left_;
};

// One received TLV, still lying in the datagram.
struct TlvView {
  enum Cut {
    WHOLE,
    NO_HEAD,  // the 7-byte head does not fit in what is left: nothing of this view may be used
    NO_VALUE  // the head fits, the value does not: only the head may be read
  };
  Cut cut = NO_HEAD;
  const char* start = nullptr;  // the head; behind it the value when the TLV is whole
  unsigned int oid = 0;
};

// Takes the next TLV of the datagram. The caller has seen that something is left. A cut TLV is the last one: the caller
// ends its walk.
inline TlvView nextTlv(ByteReader& datagram) {
  TlvView tlv;
  if (datagram.left() < TLV_HEAD_LEN) return tlv;
  tlv.start = datagram.take(TLV_HEAD_LEN);
  tlv.oid = tlvOid(tlv.start);
  const std::size_t length = tlvLen(tlv.start);
  tlv.cut = length <= datagram.left() ? TlvView::WHOLE : TlvView::NO_VALUE;
  datagram.take(length);
  return tlv;
}

// The bytes of a received message behind its header; none when the message is no longer than the header.
inline ByteReader tlvArea(const char* buffer, int bufferLen, int headerLen) {
  if (bufferLen <= headerLen) return ByteReader(buffer, 0);
  return ByteReader(buffer + headerLen, static_cast<std::size_t>(bufferLen) - static_cast<std::size_t>(headerLen));
}

}  // namespace trelWire

#endif
