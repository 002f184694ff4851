// The model of the card: what the rules say about one datagram, over plain bytes.

#include <algorithm>
#include <cstring>

#include "support/bytes.h"
#include "support/fuzzCard.h"
#include "support/promise.h"

// The sanitizers' own, where one is there. NOLINTNEXTLINE(bugprone-reserved-identifier)
extern "C" [[gnu::weak]] std::size_t __sanitizer_get_current_allocated_bytes();

namespace {

constexpr std::size_t HEAD = 7;  // of a TLV
constexpr std::uint8_t STRING = 9, IPV4 = 10, UNIX_TIME = 11;

bool isSigned(std::uint8_t type) { return type >= 4 && type <= 7; }

std::string headOf(std::uint32_t oid, std::uint8_t type, std::size_t length) {
  return bigEndian(oid, 4) + bigEndian(type, 1) + bigEndian(length, 2);
}

std::string answerOf(std::string_view datagram, unsigned int result, std::size_t index) {
  return "4F544E31 01"_hex + bigEndian(datagram[5] == 1 ? 3 : 4, 1) + std::string(datagram.substr(6, 2)) +
         bigEndian(result, 1) + bigEndian(index, 2);
}

}  // namespace

std::string bigEndian(std::uint64_t value, unsigned int width) {
  std::string bytes;
  for (unsigned int i = width; i > 0; --i)
    bytes += static_cast<char>(static_cast<unsigned char>(value >> (8 * (i - 1))));
  return bytes;
}

std::uint64_t bigEndianAt(std::string_view bytes, std::size_t place, unsigned int width) {
  std::uint64_t value = 0;
  for (unsigned int i = 0; i < width; ++i)
    value = value << 8U | static_cast<unsigned char>(bytes[place + i]);
  return value;
}

const char* senderOf(unsigned int number) {
  static const char* const senders[] = {"10.0.0.1", "10.0.0.2", "10.0.0.3", "10.0.0.4",
                                        "10.0.0.6", nullptr,    "",         "no address"};
  return senders[number % 8];
}

std::size_t heapInUse() {
  return __sanitizer_get_current_allocated_bytes != nullptr ? __sanitizer_get_current_allocated_bytes() : 0;
}

int checkOfOldStyle(std::uint32_t oid) {
  switch (oid & 0xFU) {
    case 0xE:
      return RESULT_WRONG_VALUE;
    case 0xD:
      return 200;  // of the application's own
    default:
      return RESULT_OK;
  }
}

bool servesOldStyleOid(std::uint32_t oid) { return (oid & 0xFU) != 0xC; }

const std::vector<CardVariable>& cardVariables() {
  static const std::vector<CardVariable> variables = [] {
    std::vector<CardVariable> all{
        {0x10800000, 0, "00000000 00000001"_hex},
        {0x10800001, 1, "00000001"_hex, false, true, 0, 0x7FFFFFFF},
        {0x10800002, 2, "0001"_hex},
        {0x10800003, 3, "01"_hex, false, true, 0, 200},
        {0x10800004, 4, "FFFFFFFF FFFFFFFF"_hex, false, true, -1000000, 1000000},
        {0x10800005, 5, "FFFFFFFF"_hex},
        {0x10800006, 6, "FFFF"_hex, false, true, -100, 100},
        {0x10800007, 7, "FF"_hex, false, true, -10, 10},
        {0x10800008, 8, "01"_hex},
        {0x10800009, 9, "text", false, true},
        {0x1080000A, 12, ""},
        {0x1080000B, 13, "01 02 03 04 05 06"_hex},
        {0x1080000C, 10, "0A000001"_hex},
        {0x1080000D, 11, "00000000 00000001"_hex},
        {0x1080000E, 1, "00000001"_hex, true},
        {0x1080000F, 9, "fixed", true},
        {0x10800010, 0, "00000000 00000001"_hex, false, true, 1, 0x7FFFFFFFFFFFFFFF},
        {0x10800011, 2, "000A"_hex, false, true, 10, 20},
        {0x10800012, 5, "00000000"_hex, false, true, -5, 5},
    };
    for (std::uint32_t row = 0; row < 4; ++row) {
      all.push_back({0x40C00000 + row, 1, bigEndian(row, 4)});
      all.push_back({0x40C04000 + row, 9, "label"});
      all.push_back({0x40C08000 + row, 13, "01 02 03 04 05 06"_hex});
    }
    all.push_back({0x01000014, 1, "00000007"_hex, true});
    return all;
  }();
  return variables;
}

int answersExpected(std::string_view datagram, bool answersHeaderErrors) {
  if (datagram.size() < 8 || datagram.compare(0, 4, "OTN1") != 0) return 0;
  const unsigned int action = static_cast<unsigned char>(datagram[5]);
  if (datagram[4] != 1 || action < 1 || action > 5) return answersHeaderErrors ? 1 : 0;
  return action <= 2 ? 1 : 0;
}

// Bit 29 stands for nothing: an OID with it finds the same variable.
CardVariable* CardModel::find(std::uint32_t oid) {
  const auto found = std::find_if(variables_.begin(), variables_.end(),
                                  [oid](const CardVariable& variable) { return variable.oid == (oid & ~0x20000000U); });
  return found != variables_.end() ? &*found : nullptr;
}

// OID, type, length, in this order.
int CardModel::formRefusal(const CardVariable& variable, const Entry& received) {
  if (received.oid != variable.oid) return RESULT_WRONG_OID;
  if (received.type != variable.type) return RESULT_WRONG_TYPE;
  if (variable.type != STRING && received.value.size() != variable.value.size()) return RESULT_WRONG_LEN;
  return RESULT_OK;
}

bool CardModel::mayBeWritten(const CardVariable& variable, std::string_view value) {
  if (!variable.limited) return true;
  if (variable.type == STRING) return value.find('!') == std::string_view::npos;
  const auto width = static_cast<unsigned int>(value.size());
  const std::uint64_t number = bigEndianAt(value, 0, width);
  if (!isSigned(variable.type)) {
    return number >= static_cast<std::uint64_t>(variable.min) && number <= static_cast<std::uint64_t>(variable.max);
  }
  const std::uint64_t sign = 1ULL << (8 * width - 1);
  const auto whole = static_cast<long long>((number ^ sign) - sign);
  return whole >= variable.min && whole <= variable.max;
}

// The answer to a read of an OID that no object knows, whose hook leaves the value alone: what was received, but that an
// address and a time are taken as they lie and turned on the way out.
std::string CardModel::echo(const Entry& entry) {
  std::string value = entry.value;
  const std::uint16_t one = 1;
  const bool littleEndian = *reinterpret_cast<const unsigned char*>(&one) == 1;
  const std::size_t width = entry.type == IPV4 ? 4 : entry.type == UNIX_TIME ? 8 : 0;
  if (littleEndian && width > 0) {
    value.resize(std::max(value.size(), width), '\0');
    std::reverse(value.begin(), value.begin() + static_cast<std::ptrdiff_t>(width));
    value.resize(entry.value.size());
  }
  return headOf(entry.oid, entry.type, value.size()) + value;
}

Expected CardModel::request(std::string_view datagram) {
  const bool isWrite = datagram[5] == 2;
  std::vector<Entry> entries;
  int cutOff = RESULT_OK;
  for (std::size_t place = 8; place < datagram.size();) {
    const std::string_view left = datagram.substr(place);
    if (left.size() < HEAD) {
      cutOff = RESULT_WRONG_LEN;
      break;
    }
    const auto oid = static_cast<std::uint32_t>(bigEndianAt(left, 0, 4));
    const auto length = static_cast<std::size_t>(bigEndianAt(left, 5, 2));
    const bool whole = left.size() - HEAD >= length;
    Entry entry{find(oid), oid, static_cast<std::uint8_t>(left[4]), std::string(left.substr(HEAD, length))};
    if (!whole && (entry.variable == nullptr || isWrite)) {
      cutOff = RESULT_WRONG_LEN;
      if (entry.variable != nullptr) {
        entry.value.resize(length);
        if (const int form = formRefusal(*entry.variable, entry)) {
          cutOff = form;
        } else if (entry.variable->readOnly) {
          cutOff = RESULT_READ_ONLY;
        }
      }
      break;
    }
    entries.push_back(entry);
    place += HEAD + length;
  }

  Expected expected{behaviour_.sendResult, true, "", false};
  const auto refused = [&](int result, std::size_t index) {
    expected.answer = answerOf(datagram, static_cast<unsigned int>(result), index);
    return expected;
  };
  for (std::size_t i = 0; i < entries.size(); ++i) {
    const Entry& entry = entries[i];
    int refusal = RESULT_OK;
    if (entry.variable == nullptr) {
      refusal = behaviour_.servesOldStyle ? checkOfOldStyle(entry.oid) : RESULT_GENERAL_ERROR;
    } else if (isWrite) {
      refusal = formRefusal(*entry.variable, entry);
      if (refusal == RESULT_OK && entry.variable->readOnly) refusal = RESULT_READ_ONLY;
      if (refusal == RESULT_OK && !mayBeWritten(*entry.variable, entry.value)) refusal = RESULT_WRONG_VALUE;
    }
    if (refusal != RESULT_OK) return refused(refusal, i);
  }
  if (cutOff != RESULT_OK) return refused(cutOff, entries.size());

  std::size_t oldStyle = 0;
  std::string values;
  bool ok = true;
  for (const Entry& entry : entries) {
    if (entry.variable == nullptr) {
      if (!servesOldStyleOid(entry.oid)) return refused(RESULT_CANNOT_EXEC, isWrite ? 0 : oldStyle);
      ++oldStyle;
      values += echo(entry);
      continue;
    }
    if (isWrite) {
      entry.variable->value = entry.value;
      ok = ok && !(behaviour_.refusesUpdated && entry.variable->oid == 0x10800002);
    } else {
      values += headOf(entry.variable->oid, entry.variable->type, entry.variable->value.size()) + entry.variable->value;
    }
  }
  if (isWrite) {
    if (!ok) return refused(RESULT_CANNOT_EXEC, 0);
    values.clear();
  } else if (11 + values.size() > 1200) {
    return refused(RESULT_TOO_LONG, 0);
  }
  expected.followsSequence = true;
  expected.answer = answerOf(datagram, 0, 0) + values;
  return expected;
}

bool CardModel::receivedValues(std::string_view tlvs) {
  bool ok = true;
  while (!tlvs.empty()) {
    if (tlvs.size() < HEAD || tlvs.size() - HEAD < bigEndianAt(tlvs, 5, 2)) return false;
    const auto length = static_cast<std::size_t>(bigEndianAt(tlvs, 5, 2));
    const auto oid = static_cast<std::uint32_t>(bigEndianAt(tlvs, 0, 4));
    const Entry entry{find(oid), oid, static_cast<std::uint8_t>(tlvs[4]), std::string(tlvs.substr(HEAD, length))};
    if (entry.variable == nullptr || formRefusal(*entry.variable, entry) != RESULT_OK) {
      ok = false;
    } else {
      entry.variable->value = entry.value;
    }
    tlvs.remove_prefix(HEAD + length);
  }
  return ok;
}

Expected CardModel::handle(std::string_view datagram) {
  if (datagram.size() < 8) return {};
  if (datagram.compare(0, 4, "OTN1") != 0) return {1, false, "", false};
  const unsigned int action = static_cast<unsigned char>(datagram[5]);
  if (datagram[4] != 1 || action < 1 || action > 5) {
    if (!behaviour_.answersHeaderErrors) return {};
    const unsigned int result = datagram[4] != 1 ? RESULT_PROTOCOL_VERSION_MISMATCH : RESULT_INVALID_ACTION;
    return {behaviour_.sendResult, true, answerOf(datagram, result, 0), false};
  }
  if (action <= 2) return request(datagram);
  if (action <= 4) {
    if (datagram.size() < 11) return {};
    const char result = datagram[8];
    if (result != 0 && result != 2 && result != 3) return {};
    if (action == 4) return {1, false, "", false};
    return {receivedValues(datagram.substr(11)) ? 1 : 0, false, "", false};
  }
  if (datagram.size() < 16) return {};
  const bool ok = receivedValues(datagram.substr(16));
  return {ok && behaviour_.servesOldStyle && behaviour_.acceptsEvents ? 1 : 0, false, "", false};
}

std::string CardModel::tlvs(const std::vector<std::size_t>& places) const {
  std::string all;
  for (const std::size_t place : places) {
    const CardVariable& variable = variables_[place];
    all += headOf(variable.oid, variable.type, variable.value.size()) + variable.value;
  }
  return all;
}

std::string CardModel::snapshot() const {
  std::vector<std::size_t> places(variables_.size());
  for (std::size_t i = 0; i < places.size(); ++i)
    places[i] = i;
  return tlvs(places);
}

void mustBe(const Handled& handled, const Expected& expected) {
  PROMISE(!handled.threw, "nothing but a hook throws");
  PROMISE((handled.answers > 0) == expected.answered, "what is to be answered is answered");
  std::string answer = handled.answer;
  if (expected.followsSequence && answer.size() > 8) {
    const char result = answer[8];
    PROMISE(result == 0 || result == 2 || result == 3 || result == 16 || result == 17,
            "a request that is done tells its sequence");
    answer[8] = 0;
  }
  if (answer != expected.answer) {
    const std::string text = "the answer is what the rules say\n  is        " + asDatagram(handled.answer) +
                             "\n  should be " + asDatagram(expected.answer);
    PROMISE(answer == expected.answer, text);
  }
  PROMISE(handled.returned == expected.returned, "the call returns what the rules say");
}
