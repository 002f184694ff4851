#include "support/bytes.h"

#include <stdexcept>
#include <vector>

namespace {

constexpr std::size_t TLV_HEAD = 4 + 1 + 2;  // OID, type, length of the value

unsigned int nibbleOf(char digit) {
  if (digit >= '0' && digit <= '9') return static_cast<unsigned int>(digit - '0');
  if (digit >= 'A' && digit <= 'F') return static_cast<unsigned int>(digit - 'A') + 10;
  if (digit >= 'a' && digit <= 'f') return static_cast<unsigned int>(digit - 'a') + 10;
  throw std::invalid_argument(std::string("not a hexadecimal digit: '") + digit + "'");
}

std::string digitsOf(std::string_view bytes, std::string_view between) {
  static const char digits[] = "0123456789ABCDEF";
  std::string text;
  for (const char c : bytes) {
    if (!text.empty()) text += between;
    const unsigned int byte = static_cast<unsigned char>(c);
    text += digits[byte >> 4];
    text += digits[byte & 0x0F];
  }
  return text;
}

unsigned int byteAt(std::string_view bytes, std::size_t position) {
  return static_cast<unsigned char>(bytes[position]);
}

// Takes the fields of the given widths from the front of `rest`, as many as are whole. False: one was not.
bool takeFields(std::string_view& rest, const std::vector<std::size_t>& widths, std::string& text) {
  for (std::size_t i = 0; i < widths.size(); ++i) {
    if (rest.size() < widths[i]) return false;
    if (i > 0) text += ' ';
    text += digitsOf(rest.substr(0, widths[i]), "");
    rest.remove_prefix(widths[i]);
  }
  return true;
}

std::vector<std::size_t> headerWidths(std::string_view bytes) {
  std::vector<std::size_t> widths = {4, 1, 1, 2};  // magic, version, action, message id
  const unsigned int action = bytes.size() > 5 ? byteAt(bytes, 5) : 0;
  if (action == 3 || action == 4) widths.insert(widths.end(), {1, 2});  // result, index
  if (action == 5) widths.insert(widths.end(), {4, 4});                 // seconds, microseconds
  return widths;
}

}  // namespace

std::string operator""_hex(const char* digits, std::size_t length) {
  std::string bytes;
  bool half = false;
  unsigned int high = 0;
  for (const char digit : std::string_view(digits, length)) {
    if (digit == ' ' || digit == '|') continue;
    if (half) {
      bytes += static_cast<char>(static_cast<unsigned char>(high << 4 | nibbleOf(digit)));
    } else {
      high = nibbleOf(digit);
    }
    half = !half;
  }
  if (half) throw std::invalid_argument("an odd number of hexadecimal digits: " + std::string(digits, length));
  return bytes;
}

std::string asText(std::string_view bytes) { return digitsOf(bytes, " "); }

std::string asDatagram(std::string_view bytes) {
  std::string text;
  std::string_view rest = bytes;
  bool whole = takeFields(rest, headerWidths(bytes), text);
  while (whole && rest.size() >= TLV_HEAD) {
    const std::size_t length = byteAt(rest, 5) << 8 | byteAt(rest, 6);
    if (rest.size() < TLV_HEAD + length) break;
    text += " | ";
    takeFields(rest, {4, 1, 2}, text);
    if (length > 0) {
      text += ' ';
      takeFields(rest, {length}, text);
    }
  }
  if (!rest.empty()) text += " ! " + digitsOf(rest, "");
  return text;
}
