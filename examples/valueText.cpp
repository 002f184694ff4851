#include "valueText.h"

#include <ctime>

#include "chassis.h"

namespace {

// Each getter fits one type, and the argument selects it: asked with another one, a property leaves `value` as it was.
template <typename T>
T valueOf(TrelProperty& property) {
  T value{};
  property.get(&value);
  return value;
}

std::string macText(TrelProperty& property) {
  // The getter of a MAC address takes the bytes and fills exactly six.
  unsigned char bytes[6] = {};
  property.get(bytes);
  std::string text;
  for (const unsigned char byte : bytes) {
    if (!text.empty()) text += ':';
    text += hexText(std::string(1, static_cast<char>(byte)));
  }
  return text;
}

}  // namespace

std::string valueText(TrelProperty& property) {
  switch (property.getType()) {
    case TREL_TYPE_UINT64:
      return std::to_string(valueOf<unsigned long long>(property));
    case TREL_TYPE_UINT32:
      return std::to_string(valueOf<unsigned int>(property));
    case TREL_TYPE_UINT16:
      return std::to_string(valueOf<unsigned short>(property));
    case TREL_TYPE_UINT8:
      return std::to_string(valueOf<unsigned char>(property));
    case TREL_TYPE_INT64:
      return std::to_string(valueOf<long long>(property));
    case TREL_TYPE_INT32:
      return std::to_string(valueOf<int>(property));
    case TREL_TYPE_INT16:
      return std::to_string(valueOf<short>(property));
    case TREL_TYPE_INT8:
      return std::to_string(valueOf<signed char>(property));
    case TREL_TYPE_BOOLEAN:
      return valueOf<bool>(property) ? "true" : "false";
    case TREL_TYPE_STRING:
      return valueOf<std::string>(property);
    case TREL_TYPE_IPV4ADDRESS:
      return chassis::dotted(valueOf<unsigned int>(property));
    case TREL_TYPE_UNIX_TIME:
      return timeText(valueOf<long long>(property));
    case TREL_TYPE_MAC_ADDRESS:
      return macText(property);
    default:
      return "(" + typeText(property.getType()) + ")";
  }
}

std::string typeText(int type) {
  static const char* const names[] = {"UINT64",      "UINT32",    "UINT16",     "UINT8",      "INT64",
                                      "INT32",       "INT16",     "INT8",       "BOOLEAN",    "STRING",
                                      "IPv4ADDRESS", "UNIX_TIME", "BYTE_ARRAY", "MAC_ADDRESS"};
  return type >= 0 && type < TREL_TYPE_NONE ? names[type] : "type " + std::to_string(type);
}

std::string timeText(long long secondsSince1970) {
  const std::time_t seconds = static_cast<std::time_t>(secondsSince1970);
  std::tm utc = {};
  char text[40];
  if (gmtime_r(&seconds, &utc) == nullptr) return std::to_string(secondsSince1970) + " s";
  return std::string(text, std::strftime(text, sizeof text, "%Y-%m-%d %H:%M:%S UTC", &utc));
}

std::string hexText(const std::string& bytes) {
  static const char digits[] = "0123456789abcdef";
  std::string text;
  for (const char byte : bytes) {
    text += digits[static_cast<unsigned char>(byte) >> 4];
    text += digits[static_cast<unsigned char>(byte) & 0x0F];
  }
  return text;
}

std::string left(const std::string& text, unsigned int width) {
  return text.size() < width ? text + std::string(width - text.size(), ' ') : text;
}

std::string right(const std::string& text, unsigned int width) {
  return text.size() < width ? std::string(width - text.size(), ' ') + text : text;
}
