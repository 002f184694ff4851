#include "sim/variables.h"

#include "sim/wire.h"

namespace sim {

namespace {

// The limits of checked numbers; they fit the widths that are checked.
constexpr unsigned int LEVEL_MIN = 10;
constexpr unsigned int LEVEL_MAX = 200;
constexpr unsigned int LIMIT_MAX = 0x7FFFFFFF;
constexpr int TRIM_MAX = 1000;

// So long that a whole table with it is more than an answer may carry.
constexpr const char* START_TEXT = "a text to start with";

unsigned long long numberIn(const std::string& value) {
  return bigAt(value, 0, static_cast<unsigned int>(value.size()));
}

unsigned int widthOf(TrelTlvType type) {
  switch (type) {
    case TREL_TYPE_UINT64:
    case TREL_TYPE_INT64:
    case TREL_TYPE_UNIX_TIME:
      return 8;
    case TREL_TYPE_UINT32:
    case TREL_TYPE_INT32:
    case TREL_TYPE_IPV4ADDRESS:
      return 4;
    case TREL_TYPE_UINT16:
    case TREL_TYPE_INT16:
      return 2;
    case TREL_TYPE_UINT8:
    case TREL_TYPE_INT8:
    case TREL_TYPE_BOOLEAN:
      return 1;
    case TREL_TYPE_MAC_ADDRESS:
      return 6;
    default:
      return 0;
  }
}

template <typename T>
std::unique_ptr<TrelProperty> number(const VariableKind& kind, T start,
                                     typename TypeProperty<T>::TypeValueCheck* check = nullptr) {
  const IfcCardVarAccessType access = kind.readOnly ? IFC_CARD_VAR_READ_ONLY : IFC_CARD_VAR_READ_WRITE;
  return std::make_unique<TypeProperty<T>>(kind.id, kind.name, access, start, check, kind.eventable);
}

}  // namespace

const std::vector<VariableKind>& scalarKinds() {
  //                                               id  type                   read-only  eventable  checked
  static const std::vector<VariableKind> kinds = {
      {"counter", 0, TREL_TYPE_UINT64, false, true, false},   {"limit", 1, TREL_TYPE_UINT32, false, false, true},
      {"port", 2, TREL_TYPE_UINT16, false, true, false},      {"level", 3, TREL_TYPE_UINT8, false, true, true},
      {"offset", 4, TREL_TYPE_INT64, false, false, false},    {"trim", 5, TREL_TYPE_INT32, false, true, true},
      {"gain", 6, TREL_TYPE_INT16, false, false, false},      {"bias", 7, TREL_TYPE_INT8, false, true, false},
      {"enabled", 8, TREL_TYPE_BOOLEAN, false, true, false},  {"label", 9, TREL_TYPE_STRING, false, true, true},
      {"blob", 10, TREL_TYPE_BYTE_ARRAY, false, true, false}, {"mac", 11, TREL_TYPE_MAC_ADDRESS, false, true, false},
      {"ip", 12, TREL_TYPE_IPV4ADDRESS, false, true, false},  {"since", 13, TREL_TYPE_UNIX_TIME, false, true, false},
      {"version", 14, TREL_TYPE_UINT32, true, false, false},  {"serial", 15, TREL_TYPE_STRING, true, false, false},
      {"alarms", 16, TREL_TYPE_UINT32, true, true, false}};
  return kinds;
}

const std::vector<VariableKind>& columnKinds() {
  static const std::vector<VariableKind> kinds = {{"reading", 0, TREL_TYPE_UINT32, false, true, false},
                                                  {"setpoint", 1, TREL_TYPE_INT16, false, true, false},
                                                  {"remark", 2, TREL_TYPE_STRING, false, false, false}};
  return kinds;
}

unsigned int scalarOid(unsigned int card, unsigned int id) { return 0x10000000U | (1 + card) << 23 | id; }

unsigned int cellOid(unsigned int card, unsigned int column, unsigned int row) {
  return 0x40000000U | (3 + card) << 22 | column << 14 | row;
}

std::string startValue(const VariableKind& kind) {
  if (kind.type == TREL_TYPE_STRING) return START_TEXT;
  return big(kind.checked ? 20 : 1, widthOf(kind.type));  // a byte array has no width and starts empty
}

bool isAllowed(const VariableKind& kind, const std::string& value) {
  if (!kind.checked) return true;
  switch (kind.type) {
    case TREL_TYPE_UINT32:
      return numberIn(value) <= LIMIT_MAX;
    case TREL_TYPE_UINT8:
      return numberIn(value) >= LEVEL_MIN && numberIn(value) <= LEVEL_MAX;
    case TREL_TYPE_INT32: {
      const auto trim = static_cast<int>(numberIn(value));
      return trim >= -TRIM_MAX && trim <= TRIM_MAX;
    }
    default:
      return value.find('!') == std::string::npos;
  }
}

// A byte array never holds a block, and what it is sent must have the length that it has: none.
bool hasLength(const VariableKind& kind, unsigned int length) {
  return kind.type == TREL_TYPE_STRING || length == widthOf(kind.type);
}

bool raisesEvent(const VariableKind& kind, const std::string& before, const std::string& after) {
  if (!kind.eventable || kind.type == TREL_TYPE_STRING || kind.type == TREL_TYPE_BYTE_ARRAY) return false;
  return kind.type == TREL_TYPE_MAC_ADDRESS ? before == after : before != after;
}

std::string anyValue(const VariableKind& kind, Dice& dice) {
  if (kind.type == TREL_TYPE_STRING) {
    std::string text = dice.bytes(dice.below(12));
    if (dice.oneIn(8)) text += '!';
    return text;
  }
  if (kind.type == TREL_TYPE_BOOLEAN) return big(dice.below(2), 1);
  const unsigned int width = widthOf(kind.type);
  if (dice.oneIn(2)) return big(dice.below(256), width);  // small ones pass the checks, and repeat
  return dice.bytes(width);
}

std::unique_ptr<TrelProperty> makeProperty(const VariableKind& kind, StringProperty::StringValueCheck& check) {
  const IfcCardVarAccessType access = kind.readOnly ? IFC_CARD_VAR_READ_ONLY : IFC_CARD_VAR_READ_WRITE;
  switch (kind.type) {
    case TREL_TYPE_UINT64:
      return number<unsigned long long>(kind, 1);
    case TREL_TYPE_UINT32:
      if (kind.checked) return number<unsigned int>(kind, 20, new RangeCheckValue<unsigned int>(0, LIMIT_MAX));
      return number<unsigned int>(kind, 1);
    case TREL_TYPE_UINT16:
      return number<unsigned short>(kind, 1);
    case TREL_TYPE_UINT8:
      return number<unsigned char>(kind, 20, new RangeCheckValue<unsigned char>(LEVEL_MIN, LEVEL_MAX));
    case TREL_TYPE_INT64:
      return number<long long>(kind, 1);
    case TREL_TYPE_INT32:
      return number<int>(kind, 20, new RangeCheckValue<int>(-TRIM_MAX, TRIM_MAX));
    case TREL_TYPE_INT16:
      return number<short>(kind, 1);
    case TREL_TYPE_INT8:
      return number<signed char>(kind, 1);
    case TREL_TYPE_BOOLEAN:
      return number<bool>(kind, true);
    case TREL_TYPE_STRING:
      return std::make_unique<StringProperty>(kind.id, kind.name, access, std::string(START_TEXT),
                                              kind.checked ? &check : nullptr, kind.eventable);
    case TREL_TYPE_MAC_ADDRESS: {
      unsigned char address[6] = {0, 0, 0, 0, 0, 1};
      return std::make_unique<MacAddressProperty>(kind.id, kind.name, access, address, kind.eventable);
    }
    case TREL_TYPE_IPV4ADDRESS:
      return std::make_unique<IpAddressProperty>(kind.id, kind.name, access, 1U, kind.eventable);
    case TREL_TYPE_UNIX_TIME:
      return std::make_unique<UnixTimeProperty>(kind.id, kind.name, access, 1LL, kind.eventable);
    default:
      return std::make_unique<ArrayProperty>(kind.id, kind.name, access, kind.eventable);
  }
}

void setValue(TrelProperty& property, const VariableKind& kind, const std::string& value) {
  const unsigned long long raw = value.size() <= 8 ? numberIn(value) : 0;
  switch (kind.type) {
    case TREL_TYPE_UINT64:
      return property.set(raw);
    case TREL_TYPE_UINT32:
    case TREL_TYPE_IPV4ADDRESS:
      return property.set(static_cast<unsigned int>(raw));
    case TREL_TYPE_UINT16:
      return property.set(static_cast<unsigned short>(raw));
    case TREL_TYPE_UINT8:
      return property.set(static_cast<unsigned char>(raw));
    case TREL_TYPE_INT64:
    case TREL_TYPE_UNIX_TIME:
      return property.set(static_cast<long long>(raw));
    case TREL_TYPE_INT32:
      return property.set(static_cast<int>(raw));
    case TREL_TYPE_INT16:
      return property.set(static_cast<short>(raw));
    case TREL_TYPE_INT8:
      return property.set(static_cast<signed char>(raw));
    case TREL_TYPE_BOOLEAN:
      return property.set(raw != 0);
    case TREL_TYPE_STRING:
      return property.set(value);
    case TREL_TYPE_MAC_ADDRESS: {
      std::string bytes = value;
      return property.set(reinterpret_cast<unsigned char*>(bytes.data()), static_cast<unsigned int>(bytes.size()));
    }
    default:
      return;  // a byte array takes no value as long as it holds none
  }
}

}  // namespace sim
