// A property made from a record of any type and length: after each step every accessor, and what is written back, agree with
// the bytes.
//
//   input   a byte: 0 made from the record in wire order, as the engine makes one, 1 from the same record in host order;
//           the record, a TLV; then steps: a byte that names the step, and what the step takes

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <utility>

#include "support/exactBlock.h"
#include "support/fuzzInput.h"
#include "support/logCapture.h"
#include "support/promise.h"
#include "support/serializeCheck.h"
#include "support/valueOracle.h"
#include "trel/trelProperty.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace {

using namespace oracle;

constexpr unsigned char FILLING = 0xA5;

// What a property must hold.
struct Model {
  unsigned int oid = 0;
  unsigned int row = 0;
  unsigned int type = 0;
  unsigned int len = 0;
  bool held = false;   // there is a value, an empty one too
  std::string memory;  // the value's buffer: zeros behind the value, 8 bytes at least
  std::string name;

  void hold(std::string_view value) {
    len = static_cast<unsigned int>(value.size());
    held = true;
    memory = resized(value, std::max(value.size(), WIDEST_NUMBER));
  }
  // From wire order to host order; a short value reads as if zeros followed.
  void convert() {
    const std::size_t width = widthOf(type);
    overlay(memory, memoryOfNumber(numberIn(memory, width), width));
  }
  std::string onTheWire() const {
    const std::size_t width = widthOf(type);
    std::string value = memory;
    overlay(value, bigEndian(numberInMemory(memory, width), width));
    return bigEndian(oid, 4) + bigEndian(type, 1) + bigEndian(len, 2) + value.substr(0, len);
  }
};

// All such properties of the process are counted, for their names.
unsigned int made = 0;

std::unique_ptr<OldStyleProperty> make(const Record& record, bool hostOrder, Model& model) {
  const std::string head =
      hostOrder ? memoryOf(record.oid) + memoryOf(record.type) + memoryOf(record.len) : record.head();
  ExactBlock block(head + record.value);
  auto property = std::make_unique<OldStyleProperty>(reinterpret_cast<trel_tlv*>(block.data()), hostOrder);
  model.oid = record.oid;
  model.row = rowOf(record.oid);
  model.type = record.type;
  model.name = "OldStyleProperty_" + std::to_string(++made);
  if (record.len == 0) return property;
  model.hold(record.value);
  const bool staysInWireOrder = model.type == 10 || model.type == 11;
  if (!hostOrder && !staysInWireOrder) model.convert();
  return property;
}

template <typename T>
void checkGetter(OldStyleProperty& property, const Model& model, bool accepted) {
  T value = T(99);
  property.get(&value);
  const T expected = accepted && model.held ? inMemory<T>(model.memory) : T(99);
  PROMISE(value == expected, "a getter copies the value of its own type and leaves its target for any other");
  property.get(static_cast<T*>(nullptr));
}

void checkFlagGetter(OldStyleProperty& property, const Model& model) {
  for (const bool before : {false, true}) {
    bool value = before;
    property.get(&value);
    PROMISE(value == (model.type == 8 && model.held ? model.memory[0] != 0 : before),
            "a flag is true when its byte is not 0");
  }
}

void checkTextGetter(OldStyleProperty& property, const Model& model) {
  std::string text = "before";
  property.get(&text);
  PROMISE(text == (model.type == 9 && model.held ? model.memory.substr(0, model.len) : "before"),
          "a text is exactly the bytes of the value");
}

void checkBytesGetter(OldStyleProperty& property, const Model& model) {
  const bool accepted = (model.type == 12 || model.type == 13) && model.held;
  for (const unsigned int wanted : {0U, model.len / 2, model.len, model.len + 3}) {
    ExactBlock out(wanted, FILLING);
    unsigned int count = wanted;
    property.get(reinterpret_cast<unsigned char*>(out.data()), &count);
    const std::string value = model.memory.substr(0, std::min(model.len, wanted));
    PROMISE(out.view() == (accepted ? resized(value, wanted) : std::string(wanted, static_cast<char>(FILLING))),
            "as many bytes as are asked for: those that are held, then zeros");
    PROMISE(count == wanted, "the caller's count stays");
    property.get(static_cast<unsigned char*>(nullptr), &count);
    property.get(reinterpret_cast<unsigned char*>(out.data()), static_cast<unsigned int*>(nullptr));
  }
}

void checkGetters(OldStyleProperty& property, const Model& model) {
  checkGetter<unsigned long long>(property, model, model.type == 0);
  checkGetter<unsigned int>(property, model, model.type == 1);
  checkGetter<unsigned short>(property, model, model.type == 2);
  checkGetter<unsigned char>(property, model, model.type == 3);
  checkGetter<long long>(property, model, model.type == 4);
  checkGetter<int>(property, model, model.type == 5 || model.type == 10);
  checkGetter<short>(property, model, model.type == 6);
  checkGetter<signed char>(property, model, model.type == 7);
  checkFlagGetter(property, model);
  checkTextGetter(property, model);
  checkBytesGetter(property, model);
}

void check(OldStyleProperty& property, const Model& model) {
  PROMISE(property.getOid() == model.oid && property.id == model.oid, "the whole OID is kept");
  PROMISE(property.row == model.row, "the row is that of the OID that it was made with");
  PROMISE(property.getType() == static_cast<int>(model.type), "the type is the record's");
  PROMISE(property.length() == static_cast<int>(model.len), "the length is the value's");
  PROMISE(property.isPointerValid() == model.held, "the property knows whether it has a value");
  PROMISE(property.name == model.name && property.str() == model.name + ":\n\n", "the name counts the properties made");
  PROMISE(property.object == nullptr && property.accessType == IFC_CARD_VAR_READ_WRITE, "it is nobody's, and writable");
  PROMISE(!property.eventable && !property.eventPending && !property.isDefault(), "it has no events and no default");
  checkGetters(property, model);
  checkSerialize(property, model.onTheWire());
}

void deserialize(OldStyleProperty& property, Model& model, const Record& record) {
  const ExactBlock block(record.bytes());
  PROMISE(property.deserialize(block.data()) == static_cast<int>(block.size()),
          "a record's length and 7 bytes are consumed");
  model.oid = record.oid;
  model.type = record.type;
  model.hold(record.value);
  model.convert();
  ExactBlock back(block.size(), FILLING);
  PROMISE(property.serialize(back.data(), back.length()) == back.length() && back.view() == block.view(),
          "what was read is written back as it came, whatever its type and length");
}

void checkBuffer(OldStyleProperty& property, const Model& model, const Record& record, bool checkValue) {
  int expected = RESULT_OK;
  if (record.oid != model.oid) {
    expected = RESULT_WRONG_OID;
  } else if (record.type != model.type) {
    expected = RESULT_WRONG_TYPE;
  } else if (record.type != 9 && record.len != model.len) {
    expected = RESULT_WRONG_LEN;
  }
  const ExactBlock block(record.bytes());
  PROMISE(property.checkBuffer(block.data(), checkValue) == expected, "OID, type and length are judged in this order");
}

template <typename T>
void set(OldStyleProperty& property, Model& model, bool accepted, T value) {
  property.set(value);
  if (!accepted) return;
  if (!model.held) model.memory = std::string(std::max<std::size_t>(model.len, WIDEST_NUMBER), '\0');
  model.held = true;
  overlay(model.memory, memoryOf(value));
}

void setBytes(OldStyleProperty& property, Model& model, const std::string& bytes, bool asText) {
  if (asText) {
    property.set(bytes);
  } else {
    ExactBlock block(bytes);
    property.set(reinterpret_cast<unsigned char*>(block.data()), static_cast<unsigned int>(block.size()));
  }
  if (asText ? model.type != 9 : model.type != 12 && model.type != 13) return;
  model.hold(bytes);
  model.held = !bytes.empty();
}

void copy(std::unique_ptr<OldStyleProperty>& property, const Model& model) {
  auto copied = std::make_unique<OldStyleProperty>(*property);
  check(*copied, model);
  check(*property, model);
  property = std::move(copied);
}

void setNumber(OldStyleProperty& property, Model& model, unsigned int step, unsigned long long number) {
  switch (step) {
    case 0:
      return set(property, model, model.type == 0, number);
    case 1:
      return set(property, model, model.type == 1, static_cast<unsigned int>(number));
    case 2:
      return set(property, model, model.type == 2, static_cast<unsigned short>(number));
    case 3:
      return set(property, model, model.type == 3, static_cast<unsigned char>(number));
    case 4:
      return set(property, model, false, static_cast<long long>(number));  // INT64 can be read and not set
    case 5:
      return set(property, model, model.type == 5 || model.type == 10, static_cast<int>(number));
    case 6:
      return set(property, model, model.type == 6, static_cast<short>(number));
    case 7:
      return set(property, model, model.type == 7, static_cast<signed char>(number));
    default:
      return set(property, model, model.type == 8, (number & 1U) != 0);
  }
}

void step(std::unique_ptr<OldStyleProperty>& property, Model& model, FuzzInput& input) {
  const unsigned int what = input.below(15);
  if (what <= 8) return setNumber(*property, model, what, input.u64());
  switch (what) {
    case 9:
      return setBytes(*property, model, input.bytes(input.u16()), true);
    case 10:
      return setBytes(*property, model, input.bytes(input.u16()), false);
    case 11:
      return deserialize(*property, model, takeRecord(input));
    case 12: {
      const bool checkValue = input.flag();
      return checkBuffer(*property, model, takeRecord(input), checkValue);
    }
    case 13:
      return copy(property, model);
    default:
      property->setToDefault();  // there is none: everything stays
      PROMISE(property->validValue("", 0), "every value may be written");
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  constexpr int MOST_STEPS = 8;
  FuzzInput input(data, size);
  const LogCapture log(logLevel(size));
  const bool hostOrder = input.flag();
  Model model;
  auto property = make(takeRecord(input), hostOrder, model);
  check(*property, model);
  for (int i = 0; i < MOST_STEPS && !input.atEnd(); ++i) {
    step(property, model, input);
    check(*property, model);
  }
  return 0;
}
