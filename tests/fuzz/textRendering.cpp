// Texts for logs and diagnostics, of any bytes: the TLV's, an OID's, an object's with properties of every kind, and the hex
// dump. Each is compared with one made here by the rules; what is not a received text holds no unprintable byte.
//
//   input   0 and a TLV | 1 and an OID | 2, a table's rows, first row and number of rows to print, values | 3 and bytes to dump

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <iostream>
#include <sstream>
#include <string>
#include <string_view>
#include <vector>

#include <libframework/util.h>

#include "support/exactBlock.h"
#include "support/fuzzInput.h"
#include "support/logCapture.h"
#include "support/promise.h"
#include "support/recordingEngine.h"
#include "support/valueOracle.h"
#include "trel/trelObjectId.h"
#include "trel/trelObjects.h"
#include "trel/trelProperty.h"
#include "trel/trelmsg.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace {

using namespace oracle;

constexpr std::array<const char*, 14> TYPE_NAMES = {"UINT64",      "UINT32",    "UINT16",     "UINT8",      "INT64",
                                                    "INT32",       "INT16",     "INT8",       "BOOLEAN",    "STRING",
                                                    "IPv4ADDRESS", "UNIX_TIME", "BYTE_ARRAY", "MAC_ADDRESS"};

bool isPrintable(char byte) { return byte >= ' ' && byte <= '~'; }
bool isPrintable(std::string_view text) {
  return std::all_of(text.begin(), text.end(), [](char byte) { return isPrintable(byte); });
}

std::string hexadecimal(unsigned int number) {
  char digits[16];
  std::snprintf(digits, sizeof digits, "%x", number);
  return digits;
}

// `count` bytes of a number from its most significant one on.
std::string dotted(unsigned long long number, std::size_t width, std::size_t count) {
  std::string text;
  for (const char byte : bigEndian(number, width).substr(0, count))
    text += (text.empty() ? "" : ".") + std::to_string(static_cast<unsigned char>(byte));
  return text;
}

// ----- TLV -----------------------------------------------------------------------------------------------------------

// `area` is the value and what follows it in the datagram: a number is read at its full width, whatever the length says.
std::string expectedValue(const Record& tlv, const std::string& area) {
  if (tlv.len == 0) return "";
  const unsigned long long number = numberIn(area, widthOf(tlv.type));
  const unsigned char byte = static_cast<unsigned char>(area[0]);
  switch (tlv.type) {
    case 0:
    case 1:
    case 2:
      return std::to_string(number);
    case 3:
      return std::to_string(byte);
    case 4:
      return std::to_string(static_cast<long long>(number));
    case 5:
      return std::to_string(static_cast<int>(number));
    case 6:
      return std::to_string(static_cast<short>(number));
    case 7:
      return std::to_string(static_cast<signed char>(byte));
    case 8:
      return byte != 0 ? "true" : "false";
    case 9:
      return tlv.value;
    case 10:
      return dotted(number, 4, 4);
    case 11: {  // the bytes as they lie in memory: the number in host order, and zeros where the value is longer
      const std::string memory = resized(memoryOfNumber(number, 8), std::max<std::size_t>(tlv.len, 8));
      return util::buf2str(memory.data(), tlv.len, 0);
    }
    case 12:
      return util::buf2str(tlv.value.data(), tlv.len, 0);
    case 13:
      return dotted(inMemory<unsigned long long>(tlv.value), 8, 6);
    default:
      return "??";
  }
}

void renderTlv(FuzzInput& input) {
  const Record record = takeRecord(input);
  const std::string area =
      resized(record.value + input.bytes(WIDEST_NUMBER), std::max<std::size_t>(record.len, WIDEST_NUMBER));
  const ExactBlock wire(record.head() + area);
  TRELTlv tlv;
  tlv.deserialize(wire.data());

  const std::string value = tlv.valToString();
  PROMISE(value == expectedValue(record, area), "a value is shown as its type says");
  PROMISE(record.type == 9 || isPrintable(value), "of all values only a received text shows bytes as they are");
  PROMISE(value.size() <= 24U + 3U * record.len, "the text is bounded by the value");
  std::string expected = "id=0x" + hexadecimal(record.oid) + " ";
  if (record.len != 0) {
    expected += std::string("type=") + (record.type < TYPE_NAMES.size() ? TYPE_NAMES[record.type] : "unknown");
    expected += " len=" + std::to_string(record.len) + " val=" + value;
  }
  PROMISE(tlv.toString() == expected, "a TLV shows its OID and, when it has a value, type, length and value");
}

// ----- OID -----------------------------------------------------------------------------------------------------------

std::string expectedOid(unsigned int oid) {
  const std::string common = "common = " + std::to_string(oid >> 28 & 1U);
  const unsigned int group = oid >> 23 & 31U;
  switch (oid >> 30) {
    case 0:
      if ((oid & COMMON) != 0 && group > 3) return "invalid object";
      return "scalar object: " + common + ", group id = " + std::to_string(group) +
             ", variable id = " + std::to_string(oid & 0x7FFFFFU);
    case 1:
      return "table object: " + common + ", table id = " + std::to_string(oid >> 22 & 63U) +
             ", column = " + std::to_string(oid >> 14 & 255U) + ", row = " + std::to_string(rowOf(oid));
    default:
      return "invalid object";
  }
}

void renderOid(FuzzInput& input) {
  const unsigned int oid = input.u32();
  const TrelObjectId decoded(oid);
  const std::string text = expectedOid(oid);
  PROMISE(decoded.str() == text, "an OID is shown by its fields");
  PROMISE((decoded.result == 7) == (text == "invalid object"), "an OID that is none is refused");
}

// ----- object --------------------------------------------------------------------------------------------------------

std::vector<TrelProperty*> propertiesOfEveryKind(FuzzInput& input) {
  const auto access = IFC_CARD_VAR_READ_WRITE;
  const unsigned long long number = input.u64();
  const std::string text = input.bytes(input.u8());
  std::string bytes = resized(input.bytes(6), 6);
  const bool eventable = input.flag();
  return {new TypeProperty<unsigned long long>(1, "uint64", access, number, eventable),
          new TypeProperty<unsigned char>(3, "uint8", access, static_cast<unsigned char>(number), eventable),
          new TypeProperty<signed char>(4, "int8", access, static_cast<signed char>(number), eventable),
          new TypeProperty<bool>(2, "bool", access, (number & 1U) != 0, eventable),
          new StringProperty(5, "text", access, text, eventable),
          new ArrayProperty(8, "bytes", access, eventable),
          new MacAddressProperty(7, "mac", access, reinterpret_cast<unsigned char*>(bytes.data()), eventable),
          new IpAddressProperty(6, "address", access, static_cast<unsigned int>(number), eventable),
          new UnixTimeProperty(9, "time", access, static_cast<long long>(number), eventable)};
}

void renderObject(FuzzInput& input) {
  const unsigned int rowCount = input.below(4);
  const int firstRow = static_cast<std::int16_t>(input.u16());
  const int mostRows = static_cast<std::int16_t>(input.u16());
  TrelTable table("table", 3, false, rowCount);
  std::string expected = "\nTable : 3 (size = " + std::to_string(rowCount) + ")\n" + std::string(27, '-') + "\n";
  int printed = 0;
  for (unsigned int row = 0; row < rowCount; ++row) {
    std::vector<TrelProperty*> properties = propertiesOfEveryKind(input);
    for (TrelProperty* property : properties)
      PROMISE(table.addProp(property, row), "a row takes a property");
    const bool isPrinted = static_cast<int>(row) >= firstRow && (mostRows == 0 || printed < mostRows);
    if (!isPrinted) continue;
    ++printed;
    std::sort(properties.begin(), properties.end(),
              [](const TrelProperty* left, const TrelProperty* right) { return left->id < right->id; });
    expected += "\nProperties for row " + std::to_string(row) + ":\n";
    for (const TrelProperty* property : properties) {
      const std::string text = property->str();
      PROMISE(text.back() == '\n', "a property is shown on lines of its own");
      PROMISE(property->id == 5 || property->id == 8 || isPrintable(std::string_view(text).substr(0, text.size() - 1)),
              "of all kinds only a text shows bytes as they are");
      expected += text;
    }
  }
  PROMISE(table.str(firstRow, mostRows) == expected + "\n", "the rows asked for are shown, their properties by id");
}

// ----- hex dump ------------------------------------------------------------------------------------------------------

// While it lives, standard output is a string.
class CapturedOutput {
 public:
  CapturedOutput() : former_(std::cout.rdbuf(text_.rdbuf())) {}
  ~CapturedOutput() { std::cout.rdbuf(former_); }
  CapturedOutput(const CapturedOutput&) = delete;
  CapturedOutput& operator=(const CapturedOutput&) = delete;
  std::string text() const { return text_.str(); }

 private:
  std::ostringstream text_;
  std::streambuf* former_;
};

void dump(FuzzInput& input) {
  constexpr std::size_t A_LINE = 8;
  const ExactBlock bytes(input.rest());
  std::string expected = "\n hex dump\n";
  for (std::size_t start = 0; start < bytes.size(); start += A_LINE) {
    const std::string_view line = bytes.view().substr(start, A_LINE);
    const std::string offset = std::to_string(start);
    std::string digits;
    std::string shown;
    for (const char byte : line) {
      char two[8];
      std::snprintf(two, sizeof two, "%02X ", static_cast<unsigned int>(static_cast<unsigned char>(byte)));
      digits += two;
      shown += isPrintable(byte) ? byte : '.';
    }
    digits.resize(3 * A_LINE, ' ');
    expected.append(offset.size() < 4 ? 4 - offset.size() : 0, '0');
    expected.append(offset).append(": ").append(digits).append("| ").append(shown).append("\n");
  }

  RecordingEngine engine;
  const CapturedOutput output;
  engine.dump_hex(reinterpret_cast<const unsigned char*>(bytes.data()), static_cast<unsigned int>(bytes.size()));
  const std::string text = output.text();
  PROMISE(text == expected + "\n", "eight bytes to a line: decimal offset, hexadecimal digits, what can be printed");
  PROMISE(
      static_cast<std::size_t>(std::count(text.begin(), text.end(), '\n')) == 3 + (bytes.size() + A_LINE - 1) / A_LINE,
      "one line for eight bytes, and three around them");
  PROMISE(engine.messages.empty(), "a dump sends nothing");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  FuzzInput input(data, size);
  const LogCapture log(logLevel(size));
  switch (input.below(4)) {
    case 0:
      renderTlv(input);
      break;
    case 1:
      renderOid(input);
      break;
    case 2:
      renderObject(input);
      break;
    default:
      dump(input);
  }
  return 0;
}
