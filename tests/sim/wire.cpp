#include "sim/wire.h"

namespace sim {

std::string big(unsigned long long value, unsigned int width) {
  std::string bytes(width, '\0');
  for (unsigned int i = 0; i < width; ++i)
    bytes[i] = static_cast<char>(static_cast<unsigned char>(value >> (8 * (width - 1 - i))));
  return bytes;
}

unsigned long long bigAt(const std::string& bytes, std::size_t place, unsigned int width) {
  unsigned long long value = 0;
  for (unsigned int i = 0; i < width; ++i)
    value = value << 8 | static_cast<unsigned char>(bytes[place + i]);
  return value;
}

std::string header(unsigned int action, unsigned int msgId) {
  return big(MAGIC, 4) + big(1, 1) + big(action, 1) + big(msgId, 2);
}

std::string responseHeader(unsigned int action, unsigned int msgId, unsigned int result, unsigned int index) {
  return header(action, msgId) + big(result, 1) + big(index, 2);
}

std::string tlv(unsigned int oid, unsigned int type, const std::string& value) {
  return big(oid, 4) + big(type, 1) + big(value.size(), 2) + value;
}

std::vector<ReceivedTlv> tlvsOf(const std::string& bytes, std::size_t place) {
  std::vector<ReceivedTlv> all;
  while (place < bytes.size()) {
    ReceivedTlv received{ReceivedTlv::NO_HEAD, 0, 0, 0, std::string()};
    if (bytes.size() - place >= 7) {
      received.oid = static_cast<unsigned int>(bigAt(bytes, place, 4));
      received.type = static_cast<unsigned int>(bigAt(bytes, place + 4, 1));
      received.length = static_cast<unsigned int>(bigAt(bytes, place + 5, 2));
      place += 7;
      received.cut = bytes.size() - place >= received.length ? ReceivedTlv::WHOLE : ReceivedTlv::NO_VALUE;
      if (received.cut == ReceivedTlv::WHOLE) received.value = bytes.substr(place, received.length);
    }
    all.push_back(received);
    if (received.cut != ReceivedTlv::WHOLE) break;
    place += received.length;
  }
  return all;
}

}  // namespace sim
