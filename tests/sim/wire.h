// The bytes of the protocol, read and written without the library: the model would otherwise repeat its mistakes.

#ifndef TESTS_SIM_WIRE_H
#define TESTS_SIM_WIRE_H

#include <cstddef>
#include <string>
#include <vector>

namespace sim {

inline constexpr unsigned int MAGIC = 0x4F544E31;
inline constexpr unsigned int OID_IGNORED_BIT = 0x20000000;

enum Action : unsigned int { READ = 1, WRITE = 2, READ_RESPONSE = 3, WRITE_RESPONSE = 4, AMI = 5 };

// The `width` low bytes of a number, most significant first.
std::string big(unsigned long long value, unsigned int width);
// The big-endian number at `place`; the bytes must be there.
unsigned long long bigAt(const std::string& bytes, std::size_t place, unsigned int width);

std::string header(unsigned int action, unsigned int msgId);
std::string responseHeader(unsigned int action, unsigned int msgId, unsigned int result, unsigned int index);
std::string tlv(unsigned int oid, unsigned int type, const std::string& value);

// One TLV of a datagram. Of a cut one the value is empty and `length` is what its head says.
struct ReceivedTlv {
  enum Cut { WHOLE, NO_HEAD, NO_VALUE };
  Cut cut;
  unsigned int oid;
  unsigned int type;
  unsigned int length;
  std::string value;
};

// All TLVs from `place` on. One that the end cuts off is the last.
std::vector<ReceivedTlv> tlvsOf(const std::string& bytes, std::size_t place);

}  // namespace sim

#endif
