// A TLV read from the wire, then changed by setters, copies and further records: after each step every accessor, and what is
// written back, agree with the bytes.
//
//   input   one TLV, then steps: a byte that names the step, and what the step takes
//
// A record is meant for values no longer than its first one, and a caller gives 7 + max(length, 8) bytes: both are kept here.

#include <boost/any.hpp>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

#include "support/exactBlock.h"
#include "support/fuzzInput.h"
#include "support/logCapture.h"
#include "support/promise.h"
#include "support/valueOracle.h"
#include "trel/trelmsg.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace {

using namespace oracle;

constexpr unsigned char FILLING = 0xA5;

// What a record must hold.
struct Model {
  unsigned int id = 0;
  unsigned char type = 0;
  unsigned short len = 0;
  bool held = false;   // there is a value
  std::string memory;  // the value's buffer, of the size that the first value gave it

  // A buffer that is there is used again; a new one is zeros.
  void hold() {
    if (!held) memory = std::string(std::max<std::size_t>(len, WIDEST_NUMBER), '\0');
    held = true;
  }
  bool holds(std::size_t length) const { return !held || length <= memory.size(); }
  std::string value() const { return memory.substr(0, len); }

  template <typename T>
  void setNumber(unsigned char code, T number) {
    type = code;
    len = sizeof number;
    hold();
    overlay(memory, memoryOf(number));
  }
  void setBytes(unsigned char code, std::string_view bytes) {
    type = code;
    len = static_cast<unsigned short>(bytes.size());
    hold();
    overlay(memory, bytes);
  }
};

// A number without a value is 0; what is there is read at the width asked for.
template <typename T>
T numberOf(const Model& model) {
  return model.held ? inMemory<T>(model.memory) : T(0);
}

template <typename T>
void checkNumber(const TRELTlv& tlv, const Model& model, T asResult) {
  T byPointer = T(99);
  PROMISE(tlv.getValue(&byPointer) == model.held, "a getter by pointer answers whether there is a value");
  PROMISE(byPointer == (model.held ? numberOf<T>(model) : T(99)),
          "a getter by pointer stores what is held, or nothing");
  PROMISE(asResult == numberOf<T>(model), "a getter with a result returns what is held, or 0");
  if (!model.held) return;  // the others ask nothing
  T byReference = T(99);
  tlv.getValue(byReference);
  PROMISE(byReference == numberOf<T>(model), "a getter by reference stores what is held");
}

void checkFlag(const TRELTlv& tlv, const Model& model) {
  const bool expected = model.held && model.memory[0] != 0;
  bool byPointer = !expected;
  PROMISE(tlv.getValue(&byPointer) == model.held, "the getter of a flag answers whether there is a value");
  PROMISE(byPointer == (model.held ? expected : !expected), "a flag is true when its byte is not 0");
  PROMISE(tlv.getValueAsBool() == expected, "a flag is true when its byte is not 0, and false without a value");
  if (!model.held) return;
  bool byReference = !expected;
  tlv.getValue(byReference);
  PROMISE(byReference == expected, "a flag by reference is true when its byte is not 0");
}

void checkNumbers(const TRELTlv& tlv, const Model& model) {
  checkNumber<unsigned long long>(tlv, model, tlv.getValueAsUInt64());
  checkNumber<unsigned int>(tlv, model, tlv.getValueAsUInt32());
  checkNumber<unsigned short>(tlv, model, tlv.getValueAsUInt16());
  checkNumber<unsigned char>(tlv, model, tlv.getValueAsUInt8());
  checkNumber<long long>(tlv, model, tlv.getValueAsInt64());
  checkNumber<int>(tlv, model, tlv.getValueAsInt32());
  checkNumber<short>(tlv, model, tlv.getValueAsInt16());
  checkNumber<signed char>(tlv, model, tlv.getValueAsInt8());
  checkFlag(tlv, model);
}

std::string upToZero(std::string text) { return text.substr(0, std::min(text.find('\0'), text.size())); }

void checkTexts(const TRELTlv& tlv, const Model& model) {
  std::string all = "before";
  tlv.getValue(all);
  PROMISE(all == (model.held ? model.value() : "before"), "a text is all bytes of the value, zero bytes included");
  PROMISE(tlv.getValueAsString() == (model.held ? model.value() : ""), "a text as result is the same, or empty");
  for (const int most : {-1, 0, 1, model.len - 1, static_cast<int>(model.len), model.len + 1, 70000}) {
    const std::size_t taken = static_cast<std::size_t>(std::clamp(most, 0, static_cast<int>(model.len)));
    std::string text = "before";
    tlv.getValue(&text, most);
    PROMISE(text == (model.held ? upToZero(model.memory.substr(0, taken)) : ""),
            "a text of a greatest length ends there or at a zero byte, and is empty without a value");
  }
}

void checkCopiesOut(const TRELTlv& tlv, const Model& model) {
  for (const int n : {-1, 0, 1, model.len - 1, static_cast<int>(model.len), model.len + 3}) {
    ExactBlock out(static_cast<std::size_t>(std::max(n, 0)), FILLING);
    const int count = std::min(n, static_cast<int>(model.len));
    std::string expected(out.view());
    if (model.held && count > 0) overlay(expected, model.memory.substr(0, static_cast<std::size_t>(count)));
    PROMISE(tlv.getValueArray(out.data(), n) == count, "the result is the smaller of length and room, copied or not");
    PROMISE(out.view() == expected, "no more than the value is copied, and nothing without a value");
  }
  if (!model.held) return;
  for (const std::size_t n : {std::size_t{0}, std::size_t{model.len}, model.memory.size()}) {
    ExactBlock out(n, FILLING);
    tlv.getValue(out.data(), static_cast<int>(n));
    PROMISE(out.view() == model.memory.substr(0, n), "raw bytes are those that are held");
  }
}

template <typename T>
bool anyIs(const boost::any& any, const T& expected) {
  const T* const value = boost::any_cast<T>(&any);
  return value != nullptr && *value == expected;
}

bool anyIsValueOf(const boost::any& any, const Model& model) {
  switch (model.type) {
    case 0:
      return anyIs(any, numberOf<unsigned long long>(model));
    case 1:
      return anyIs(any, numberOf<unsigned int>(model));
    case 2:
      return anyIs(any, numberOf<unsigned short>(model));
    case 3:
      return anyIs(any, numberOf<unsigned char>(model));
    case 4:
    case 11:
      return anyIs(any, numberOf<long long>(model));
    case 5:
      return anyIs(any, numberOf<int>(model));
    case 6:
      return anyIs(any, numberOf<short>(model));
    case 7:
      return anyIs(any, numberOf<signed char>(model));
    case 8:
      return anyIs(any, model.memory[0] != 0);
    default:
      return anyIs(any, upToZero(model.value()));
  }
}

void checkAny(const TRELTlv& tlv, const Model& model) {
  const bool convertible = model.held && (model.type <= 9 || model.type == 11);
  boost::any any = std::string("before");
  PROMISE(tlv.getValue(&any) == convertible, "addresses, byte arrays and unknown codes have no type of the language");
  if (convertible) {
    PROMISE(anyIsValueOf(any, model), "a value is given in the type of its code");
  } else {
    PROMISE(anyIs(any, std::string("before")), "what is not converted leaves the target");
  }
  PROMISE(!tlv.getValue(static_cast<boost::any*>(nullptr)), "a null target is refused");
}

// What the wire gets: a number at the width of its type whatever the length says, other bytes as they are.
void checkSerialize(const TRELTlv& tlv, const Model& model) {
  ExactBlock out(HEAD + std::max<std::size_t>(model.len, WIDEST_NUMBER), FILLING);
  std::string expected(out.view());
  overlay(expected, bigEndian(model.id, 4) + bigEndian(model.type, 1) + bigEndian(model.len, 2));
  if (model.len != 0 && model.held) {
    const std::size_t width = widthOf(model.type);
    const std::string value = width != 0 ? bigEndian(numberInMemory(model.memory, width), width) : model.value();
    expected.replace(HEAD, value.size(), value);
  }
  PROMISE(tlv.serialize(out.data()) == static_cast<int>(HEAD) + model.len, "a TLV takes its length and 7 bytes");
  PROMISE(out.view() == expected, "head and value are written, and nothing else");
}

void check(const TRELTlv& tlv, const Model& model) {
  // The analyzer does not see that a new record is all zeros.
  // NOLINTNEXTLINE(clang-analyzer-core.UndefinedBinaryOperatorResult)
  PROMISE(tlv.id == model.id && tlv.type == model.type && tlv.len == model.len, "OID, type and length are as set");
  PROMISE((tlv.val != nullptr) == model.held, "there is a value when one was given");
  PROMISE(tlv.isPointerValid() == model.held, "the record knows whether it has a value");
  if (model.held) {
    PROMISE(std::string_view(tlv.val, model.memory.size()) == model.memory,
            "the value lies in host order, zeros behind it");
  }
  checkNumbers(tlv, model);
  checkTexts(tlv, model);
  checkCopiesOut(tlv, model);
  checkAny(tlv, model);
  checkSerialize(tlv, model);
}

// The record, and behind it what follows it in the datagram as far as a number may be read at full width.
void deserialize(TRELTlv& tlv, Model& model, const Record& record, std::string_view following) {
  const std::size_t area = std::max<std::size_t>(record.len, WIDEST_NUMBER);
  const std::string value = resized(record.value + std::string(following), area);
  const ExactBlock wire(record.head() + value);
  PROMISE(tlv.deserialize(wire.data()) == static_cast<int>(HEAD) + record.len,
          "a TLV's length and 7 bytes are consumed");

  model.id = record.oid;
  model.type = record.type;
  model.len = record.len;
  if (record.len == 0) return;  // the value stays as it was
  model.hold();
  const std::size_t width = widthOf(record.type);
  overlay(model.memory, width != 0 ? memoryOfNumber(numberIn(value, width), width) : record.value);

  ExactBlock back(wire.size(), FILLING);
  tlv.serialize(back.data());
  const std::size_t travels = HEAD + (width != 0 ? width : record.len);
  PROMISE(back.view().substr(0, travels) == wire.view().substr(0, travels), "what was read is written back as it came");
}

// A copy holds the value and not the rest of the buffer.
Model copyOf(const Model& model) {
  Model copy = model;
  copy.held = model.held && model.len != 0;
  copy.memory = copy.held ? resized(model.value(), std::max<std::size_t>(model.len, WIDEST_NUMBER)) : std::string();
  return copy;
}

void setNumber(TRELTlv& tlv, Model& model, unsigned int step, unsigned long long number) {
  const auto set = [&](unsigned char code, auto value) {
    tlv.setValue(value);
    model.setNumber(code, value);
  };
  switch (step) {
    case 0:
      return set(0, number);
    case 1:
      return set(1, static_cast<unsigned int>(number));
    case 2:
      return set(2, static_cast<unsigned short>(number));
    case 3:
      return set(3, static_cast<unsigned char>(number));
    case 4:
      return set(4, static_cast<long long>(number));
    case 5:
      return set(5, static_cast<int>(number));
    case 6:
      return set(6, static_cast<short>(number));
    case 7:
      return set(7, static_cast<signed char>(number));
    default:
      tlv.setValue((number & 1U) != 0);
      return model.setNumber(8, static_cast<unsigned char>(number & 1U));
  }
}

void setNumberOfCode(TRELTlv& tlv, Model& model, int number, unsigned char code) {
  tlv.setValue(number, code);
  if (code == 5 || code == 10) model.setNumber(code, number);  // any other code changes nothing
}

void setBytes(TRELTlv& tlv, Model& model, FuzzInput& input, bool withCode) {
  const unsigned char code = withCode ? input.u8() : 9;
  const int length = static_cast<std::int16_t>(input.u16());
  const std::string bytes =
      resized(input.bytes(length < 0 ? 0 : static_cast<std::size_t>(length)), static_cast<std::uint16_t>(length));
  if (!model.holds(bytes.size())) return;
  const ExactBlock block(length < 0 ? std::string_view() : bytes);
  if (withCode) {
    tlv.setValue(block.data(), length, code);
  } else {
    tlv.setValue(block.data(), length);
  }
  if (code == 9 || code == 13) model.setBytes(code, bytes);  // BYTE_ARRAY is not set here, nor any other code
}

void setText(TRELTlv& tlv, Model& model, const std::string& text) {
  if (!model.holds(text.size())) return;
  tlv.setValue(text);
  model.setBytes(9, text);
}

// Copies in every way, and goes on with one of them.
void copy(TRELTlv& tlv, Model& model, bool goOnWithCopy) {
  const TRELTlv constructed(tlv);
  check(constructed, copyOf(model));
  TRELTlv assigned;
  assigned.setValue(7U);
  assigned = tlv;
  check(assigned, copyOf(model));
  const TRELTlv& same = assigned;
  assigned = same;
  check(assigned, copyOf(model));
  check(tlv, model);
  if (!goOnWithCopy) return;
  tlv = constructed;
  model = copyOf(model);
}

// As a failed allocation leaves it: a length, and no value.
void loseValue(TRELTlv& tlv, Model& model) {
  std::free(tlv.val);
  tlv.val = nullptr;
  model.held = false;
  model.memory.clear();
}

void step(TRELTlv& tlv, Model& model, FuzzInput& input) {
  const unsigned int what = input.below(17);
  if (what <= 8) return setNumber(tlv, model, what, input.u64());
  switch (what) {
    case 9: {
      const unsigned char code = input.u8();
      return setNumberOfCode(tlv, model, static_cast<int>(input.u32()), code);
    }
    case 10:
      return setText(tlv, model, input.bytes(input.u16()));
    case 11:
      return setBytes(tlv, model, input, false);
    case 12:
      return setBytes(tlv, model, input, true);
    case 13: {
      const Record record = takeRecord(input);
      return model.holds(record.len) ? deserialize(tlv, model, record, "") : void();
    }
    case 14:
      return copy(tlv, model, input.flag());
    case 15:
      return loseValue(tlv, model);
    default:
      tlv.id = model.id = input.u32();
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  constexpr int MOST_STEPS = 8;
  FuzzInput input(data, size);
  const LogCapture log(logLevel(size));
  TRELTlv tlv;
  Model model;
  check(tlv, model);

  const Record first = takeRecord(input);
  FuzzInput following = input;
  deserialize(tlv, model, first, following.bytes(WIDEST_NUMBER));
  check(tlv, model);
  for (int i = 0; i < MOST_STEPS && !input.atEnd(); ++i) {
    step(tlv, model, input);
    check(tlv, model);
  }
  return 0;
}
