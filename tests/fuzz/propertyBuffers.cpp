// Received TLVs and a property of every kind: what checkBuffer accepts is stored and comes back, in serialize, in the typed
// getter and in the text; what it refuses changes nothing.
//
//   input   kind (below), configuration (access, events, owner, value check), default value (8 bytes), for a range its two
//           ends (8 bytes each), then steps: a byte, and what the step takes
//   a step's low two bits    0 a TLV arrives in an answer, 1 in a write, 2 the application sets a value, 3 resets it
//   its bits 2, 3 and 4      the TLV gets the property's own OID, type, length: so deep places are reached soon

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>

#include "support/exactBlock.h"
#include "support/fuzzInput.h"
#include "support/logCapture.h"
#include "support/objectBytes.h"
#include "support/promise.h"
#include "support/serializeCheck.h"
#include "support/valueOracle.h"
#include "trel/trelObjects.h"
#include "trel/trelProperty.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace {

using namespace oracle;

constexpr unsigned char FILLING = 0xA5;
constexpr unsigned int ID = 5;
constexpr char NAME[] = "variable";

// The second byte of the input.
struct Configuration {
  bool readOnly;
  bool eventable;
  enum Owner { NONE, SCALAR, COMMON_SCALAR, TABLE } owner;
  enum Check { NO_CHECK, RANGE, OWN_CHECK, NO_CHECK_EITHER } check;

  explicit Configuration(unsigned int bits)
      : readOnly((bits & 1U) != 0),
        eventable((bits & 2U) != 0),
        owner(static_cast<Owner>(bits >> 2 & 3U)),
        check(static_cast<Check>(bits >> 4 & 3U)) {}

  IfcCardVarAccessType access() const { return readOnly ? IFC_CARD_VAR_READ_ONLY : IFC_CARD_VAR_READ_WRITE; }
};

std::string padded(const std::string& text, std::size_t width) {
  return std::string(width - std::min(width, text.size()), ' ') + text;
}

// One kind of property, as a peer and an application see it. The value is kept as the bytes that travel.
class Kind {
 public:
  explicit Kind(const Configuration& given) : configuration(given) {}
  Kind(const Kind&) = delete;
  Kind& operator=(const Kind&) = delete;
  virtual ~Kind() = default;

  virtual std::unique_ptr<TrelProperty> make() = 0;
  virtual unsigned int type() const = 0;
  // Whether a received value of the right form may be written.
  virtual bool accepts(const std::string& bytes) const {
    static_cast<void>(bytes);
    return true;
  }
  virtual void received(const std::string& bytes) { value = bytes; }
  // The application sets what it likes. True: this raises the event of an eventable property.
  virtual bool set(TrelProperty& property, FuzzInput& input) = 0;
  virtual void reset() { value = defaultValue; }
  virtual bool isDefault() const { return value == defaultValue; }
  // What the value area must hold when it is sent.
  virtual std::string sent(const TrelProperty& property) const {
    static_cast<void>(property);
    return value;
  }
  virtual std::size_t length() const { return value.size(); }
  // The text behind the name.
  virtual std::string text() const = 0;
  virtual void checkGetter(TrelProperty& property) const = 0;

  Configuration configuration;
  std::string value;
  std::string defaultValue;
};

// The nine numbers. A flag is kept as the byte that arrived.
template <typename T>
class Number : public Kind {
 public:
  using Stored = std::conditional_t<std::is_same_v<T, bool>, unsigned char, T>;
  static constexpr bool IS_FLAG = std::is_same_v<T, bool>;

  Number(const Configuration& given, unsigned int code, FuzzInput& input) : Kind(given), code_(code) {
    initial_ = static_cast<T>(input.u64());
    value = defaultValue = wire(static_cast<Stored>(initial_));
    if (configuration.check != Configuration::RANGE) return;
    min_ = static_cast<T>(input.u64());
    max_ = static_cast<T>(input.u64());
  }

  std::unique_ptr<TrelProperty> make() override {
    return std::make_unique<TypeProperty<T>>(ID, NAME, configuration.access(), initial_, newCheck(),
                                             configuration.eventable);
  }
  unsigned int type() const override { return code_; }
  bool accepts(const std::string& bytes) const override {
    const T number = static_cast<T>(stored(bytes));
    if (configuration.check == Configuration::RANGE && !IS_FLAG) return min_ <= number && number <= max_;
    return configuration.check != Configuration::OWN_CHECK || isWanted(number);
  }
  bool set(TrelProperty& property, FuzzInput& input) override {
    const T number = static_cast<T>(input.u64());
    property.set(number);
    return std::exchange(value, wire(static_cast<Stored>(number))) != value;
  }
  std::string text() const override {
    const auto shown = [](const std::string& bytes) { return std::to_string(+static_cast<T>(stored(bytes))); };
    return " : " + padded(shown(value), 20) + "  (def = " + shown(defaultValue) +
           (configuration.eventable ? ", eventable" : "") + ")\n";
  }
  void checkGetter(TrelProperty& property) const override {
    const T expected = static_cast<T>(stored(value));
    T number = static_cast<T>(static_cast<unsigned long long>(expected) ^ 1U);
    property.get(&number);
    PROMISE(number == expected, "the getter gives the number that is held");
  }

 private:
  // Odd numbers are.
  static bool isWanted(T number) { return (static_cast<unsigned long long>(number) & 1U) != 0; }

  class OwnCheck : public TypeProperty<T>::TypeValueCheck {
   public:
    bool checkValue(T number) override { return isWanted(number); }
  };

  typename TypeProperty<T>::TypeValueCheck* newCheck() const {
    if (configuration.check == Configuration::OWN_CHECK) return new OwnCheck;
    if constexpr (!IS_FLAG) {
      if (configuration.check == Configuration::RANGE) return new RangeCheckValue<T>(min_, max_);
    }
    return nullptr;
  }
  static std::string wire(Stored number) { return bigEndian(static_cast<unsigned long long>(number), sizeof number); }
  static Stored stored(const std::string& bytes) { return static_cast<Stored>(numberIn(bytes, sizeof(Stored))); }

  unsigned int code_;
  T initial_;
  T min_ = T(0);
  T max_ = T(0);
};

// A text; its check lets at most so many bytes pass as the input says.
class Text : public Kind {
 public:
  Text(const Configuration& given, FuzzInput& input) : Kind(given) {
    value = defaultValue = input.bytes(8);
    if (configuration.check == Configuration::RANGE) check_.most = static_cast<std::size_t>(input.u64() % 64);
    if (configuration.check == Configuration::RANGE) input.u64();
  }

  std::unique_ptr<TrelProperty> make() override {
    return std::make_unique<StringProperty>(ID, NAME, configuration.access(), defaultValue,
                                            hasCheck() ? &check_ : nullptr, configuration.eventable);
  }
  unsigned int type() const override { return 9; }
  bool accepts(const std::string& bytes) const override { return !hasCheck() || bytes.size() <= check_.most; }
  bool set(TrelProperty& property, FuzzInput& input) override {
    value = input.bytes(input.u8());
    property.set(value);
    return false;  // a text never raises an event
  }
  std::string text() const override {
    return " : " + padded(value, 20) + "  (def = " + defaultValue + (configuration.eventable ? ", eventable" : "") +
           ")\n";
  }
  void checkGetter(TrelProperty& property) const override {
    std::string text = value + "before";
    property.get(&text);
    PROMISE(text == value, "the getter gives the text that is held");
  }

 private:
  class LengthCheck : public StringProperty::StringValueCheck {
   public:
    bool checkValue(std::string text) override { return text.size() <= most; }
    std::size_t most = 4;
  };
  bool hasCheck() const {
    return configuration.check == Configuration::RANGE || configuration.check == Configuration::OWN_CHECK;
  }

  LengthCheck check_;
};

// Bytes. Declared by an application it never holds a block, and only its length follows what arrives; one that holds a block is
// made here past the interface.
class Bytes : public Kind {
 public:
  // The block's reference and length follow the base.
  static constexpr std::size_t REFERENCE = sizeof(TrelProperty);
  static constexpr std::size_t LENGTH = REFERENCE + sizeof(unsigned char*);

  Bytes(const Configuration& given, bool holding, FuzzInput& input) : Kind(given), holding_(holding) {
    const std::string block = input.bytes(8);
    if (holding_) value = block;
    holding_ = holding_ && !block.empty();
  }

  std::unique_ptr<TrelProperty> make() override {
    // Its destructor leaves the block alone.
    class Property : public ArrayProperty {
     public:
      using ArrayProperty::ArrayProperty;
      Property(const Property&) = delete;
      Property& operator=(const Property&) = delete;
      ~Property() override { std::free(blockOf(*this)); }
    };
    auto property = std::make_unique<Property>(ID, NAME, configuration.access(), configuration.eventable);
    if (holding_) {
      auto* block = static_cast<unsigned char*>(std::malloc(value.size()));
      std::copy(value.begin(), value.end(), block);
      poke(*property, REFERENCE, block);
      poke(*property, LENGTH, static_cast<unsigned int>(value.size()));
    }
    return property;
  }
  unsigned int type() const override { return 12; }
  void received(const std::string& bytes) override { take(bytes); }
  bool set(TrelProperty& property, FuzzInput& input) override {
    ExactBlock bytes(input.bytes(input.u8()));
    property.set(reinterpret_cast<unsigned char*>(bytes.data()), static_cast<unsigned int>(bytes.size()));
    if (!holding_) return false;
    take(std::string(bytes.view()));
    return !value.empty() && value.find_first_not_of('\0') == std::string::npos;  // compared with a zeroed block
  }
  void reset() override {}
  bool isDefault() const override { return false; }
  // The reference and the length behind it as they lie in memory, then zeros.
  std::string sent(const TrelProperty& property) const override {
    const std::string storage = memoryOf(blockOf(property)) + memoryOf(static_cast<unsigned int>(value.size()));
    return resized(storage, value.size());
  }
  std::string text() const override {
    std::string text = " : \n  ";
    for (const char byte : holding_ ? value : std::string()) {
      text += byte;
      text += ' ';
    }
    return text + "\n";
  }
  void checkGetter(TrelProperty& property) const override {
    ExactBlock out(value.size(), FILLING);
    unsigned int count = 99;
    property.get(reinterpret_cast<unsigned char*>(out.data()), &count);
    PROMISE(count == value.size(), "the getter gives the length");
    PROMISE(out.view() == (holding_ ? value : std::string(value.size(), static_cast<char>(FILLING))),
            "and the bytes when there are some");
  }

 private:
  static unsigned char* blockOf(const TrelProperty& property) { return peek<unsigned char*>(property, REFERENCE); }
  void take(const std::string& bytes) {
    value = bytes;
    holding_ = holding_ && !bytes.empty();
  }

  bool holding_;
};

class Mac : public Kind {
 public:
  Mac(const Configuration& given, FuzzInput& input) : Kind(given) {
    value = defaultValue = resized(input.bytes(8), LENGTH);
  }

  std::unique_ptr<TrelProperty> make() override {
    ExactBlock bytes(defaultValue);
    return std::make_unique<MacAddressProperty>(
        ID, NAME, configuration.access(), reinterpret_cast<unsigned char*>(bytes.data()), configuration.eventable);
  }
  unsigned int type() const override { return 13; }
  bool set(TrelProperty& property, FuzzInput& input) override {
    ExactBlock bytes(input.bytes(input.below(LENGTH + 4)));
    property.set(reinterpret_cast<unsigned char*>(bytes.data()), static_cast<unsigned int>(bytes.size()));
    const bool equal = resized(bytes.view(), LENGTH) == value;  // a repeated address is the event
    overlay(value, bytes.view().substr(0, LENGTH));
    return equal;
  }
  std::string text() const override {
    return " :    " + hexadecimal(value) + " (def = " + hexadecimal(defaultValue) + ")\n";
  }
  void checkGetter(TrelProperty& property) const override {
    ExactBlock out(LENGTH, FILLING);
    property.get(reinterpret_cast<unsigned char*>(out.data()));
    PROMISE(out.view() == value, "the getter gives the six bytes");
  }

 private:
  static constexpr std::size_t LENGTH = 6;

  static std::string hexadecimal(const std::string& bytes) {
    std::string text;
    for (const char byte : bytes) {
      char digits[8];
      std::snprintf(digits, sizeof digits, "%02x ", static_cast<unsigned int>(static_cast<unsigned char>(byte)));
      text += digits;
    }
    return text;
  }
};

// An address or a time: numbers with texts of their own.
template <typename Property, typename T, unsigned int CODE>
class PlainNumber : public Kind {
 public:
  PlainNumber(const Configuration& given, FuzzInput& input) : Kind(given) {
    value = defaultValue = bigEndian(input.u64(), sizeof(T));
  }

  std::unique_ptr<TrelProperty> make() override {
    return std::make_unique<Property>(ID, NAME, configuration.access(), number(defaultValue), configuration.eventable);
  }
  unsigned int type() const override { return CODE; }
  bool set(TrelProperty& property, FuzzInput& input) override {
    const std::string bytes = bigEndian(input.u64(), sizeof(T));
    property.set(number(bytes));
    return std::exchange(value, bytes) != bytes;
  }
  std::string text() const override {
    if (CODE == 11)
      return " : " + std::to_string(number(value)) + "(def = " + std::to_string(number(defaultValue)) + ")\n";
    return " : " + padded(hexadecimal(value), 10) + "(def = " + hexadecimal(defaultValue) + ")\n";
  }
  void checkGetter(TrelProperty& property) const override {
    T got = static_cast<T>(~static_cast<unsigned long long>(number(value)));
    property.get(&got);
    PROMISE(got == number(value), "the getter gives the number that is held");
  }

 private:
  static T number(const std::string& bytes) { return static_cast<T>(numberIn(bytes, sizeof(T))); }
  static std::string hexadecimal(const std::string& bytes) {
    char digits[32];
    std::snprintf(digits, sizeof digits, "%llx", numberIn(bytes, sizeof(T)));
    return digits;
  }
};

constexpr unsigned int KINDS = 15;

std::unique_ptr<Kind> kindOf(unsigned int kind, const Configuration& configuration, FuzzInput& input) {
  switch (kind) {
    case 0:
      return std::make_unique<Number<unsigned long long>>(configuration, 0U, input);
    case 1:
      return std::make_unique<Number<unsigned int>>(configuration, 1U, input);
    case 2:
      return std::make_unique<Number<unsigned short>>(configuration, 2U, input);
    case 3:
      return std::make_unique<Number<unsigned char>>(configuration, 3U, input);
    case 4:
      return std::make_unique<Number<long long>>(configuration, 4U, input);
    case 5:
      return std::make_unique<Number<int>>(configuration, 5U, input);
    case 6:
      return std::make_unique<Number<short>>(configuration, 6U, input);
    case 7:
      return std::make_unique<Number<signed char>>(configuration, 7U, input);
    case 8:
      return std::make_unique<Number<bool>>(configuration, 8U, input);
    case 9:
      return std::make_unique<Text>(configuration, input);
    case 10:
      return std::make_unique<PlainNumber<IpAddressProperty, unsigned int, 10>>(configuration, input);
    case 11:
      return std::make_unique<PlainNumber<UnixTimeProperty, long long, 11>>(configuration, input);
    case 12:
      return std::make_unique<Bytes>(configuration, false, input);
    case 13:
      return std::make_unique<Mac>(configuration, input);
    default:
      return std::make_unique<Bytes>(configuration, true, input);
  }
}

// The property in its place: alone, or in an object that owns it.
class Place {
 public:
  Place(Configuration::Owner owner, std::unique_ptr<TrelProperty> property)
      : alone_(std::move(property)), at_(*alone_) {
    constexpr unsigned int ROW = 2;
    switch (owner) {
      case Configuration::NONE:
        oid_ = ID;
        return;
      case Configuration::SCALAR:
        object_ = std::make_unique<TrelScalar>("scalar", 31, false);
        oid_ = 31U << 23 | ID;
        break;
      case Configuration::COMMON_SCALAR:
        object_ = std::make_unique<TrelScalar>("scalar", 1, true);
        oid_ = COMMON | 1U << 23 | ID;
        break;
      case Configuration::TABLE:
        object_ = std::make_unique<TrelTable>("table", 3, false, ROW + 1);
        oid_ = 1U << 30 | 3U << 22 | ID << 14 | ROW;
    }
    PROMISE(object_->addProp(alone_.release(), owner == Configuration::TABLE ? ROW : 0), "an object takes a property");
  }

  TrelProperty& property() { return at_; }
  unsigned int oid() const { return oid_; }

 private:
  std::unique_ptr<TrelObject> object_;
  std::unique_ptr<TrelProperty> alone_;
  TrelProperty& at_;
  unsigned int oid_ = 0;
};

void check(TrelProperty& property, const Kind& kind, unsigned int oid) {
  PROMISE(property.getOid() == oid, "the OID is composed of the owner's and the property's numbers");
  PROMISE(property.getType() == static_cast<int>(kind.type()), "the type is the kind's");
  PROMISE(property.length() == static_cast<int>(kind.length()), "the length is the value's");
  PROMISE(property.isDefault() == kind.isDefault(), "a value is the default when it is equal to it");
  kind.checkGetter(property);
  PROMISE(property.str() == "  5 | " + padded(NAME, 40) + kind.text(), "the text shows id, name, value and default");
  checkSerialize(property,
                 bigEndian(oid, 4) + bigEndian(kind.type(), 1) + bigEndian(kind.length(), 2) + kind.sent(property));
}

int expectedResult(const Kind& kind, const Record& record, unsigned int oid, bool isWrite) {
  if (record.oid != oid) return RESULT_WRONG_OID;
  if (record.type != kind.type()) return RESULT_WRONG_TYPE;
  if (kind.type() != 9 && record.len != kind.length()) return RESULT_WRONG_LEN;
  if (!isWrite) return RESULT_OK;
  if (kind.configuration.readOnly) return RESULT_READ_ONLY;
  return kind.accepts(record.value) ? RESULT_OK : RESULT_WRONG_VALUE;
}

// In the engine's order: a TLV is looked at, and stored only when it was accepted.
void receive(TrelProperty& property, Kind& kind, const Record& record, unsigned int oid, bool isWrite) {
  const ExactBlock tlv(record.bytes());
  const int result = property.checkBuffer(tlv.data(), isWrite);
  PROMISE(result == expectedResult(kind, record, oid, isWrite), "OID, type, length, access and value, in this order");
  check(property, kind, oid);  // looking changes nothing
  if (result != RESULT_OK) return;
  PROMISE(property.deserialize(tlv.data()) == tlv.length(), "the TLV's length and 7 bytes are consumed");
  kind.received(record.value);
}

Record takeTlv(FuzzInput& input, unsigned int step, const Kind& kind, unsigned int oid) {
  Record record = takeRecord(input);
  if ((step & 4U) != 0) record.oid = oid;
  if ((step & 8U) != 0) record.type = static_cast<unsigned char>(kind.type());
  if ((step & 16U) != 0) {
    record.len = static_cast<unsigned short>(kind.length());
    record.value = resized(record.value, record.len);
  }
  return record;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  constexpr int MOST_STEPS = 12;
  FuzzInput input(data, size);
  const LogCapture log(logLevel(size));
  const unsigned int which = input.below(KINDS);
  const Configuration configuration(input.u8());
  const std::unique_ptr<Kind> kind = kindOf(which, configuration, input);
  Place place(configuration.owner, kind->make());
  TrelProperty& property = place.property();
  check(property, *kind, place.oid());

  for (int i = 0; i < MOST_STEPS && !input.atEnd(); ++i) {
    bool event = false;
    const unsigned int step = input.u8();
    switch (step & 3U) {
      case 0:
      case 1:
        receive(property, *kind, takeTlv(input, step, *kind, place.oid()), place.oid(), (step & 1U) != 0);
        break;
      case 2:
        event = kind->set(property, input) && configuration.eventable;
        break;
      default:
        property.setToDefault();
        kind->reset();
    }
    check(property, *kind, place.oid());
    PROMISE(property.sendEvent() == event && !property.sendEvent(),
            "an event is raised by a setter alone, and handed out once");
  }
  return 0;
}
