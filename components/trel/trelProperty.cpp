#include "trel/trelProperty.h"

#include <arpa/inet.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iomanip>
#include <locale>
#include <sstream>
#include <utility>

#include "trel/trelObjectId.h"
#include "trel/trelObjects.h"
#include "trel/trelOwnProperty.h"
#include "trel/trelPropertyLifetime.h"
#include "trel/trelTraceGate.h"
#include "trel/trelWire.h"

using namespace trelWire;

// ----- lifetime ------------------------------------------------------------------------------------------------------

namespace {

trelLifetime::PropertyDestroyed propertyDestroyed = nullptr;

}  // namespace

void trelLifetime::onPropertyDestroyed(PropertyDestroyed function) { propertyDestroyed = function; }

// ----- what all kinds write alike ------------------------------------------------------------------------------------

namespace {

// The lines of the templates name the header that they stand in, wherever it was included from.
constexpr char TEMPLATE_FILE[] = "components/trel/trelProperty.h";

bool fits(int size, int len) { return len >= 0 && size >= TLV_HEAD_LEN && size - TLV_HEAD_LEN >= len; }

void refuseSize(const TrelProperty& property, const trelTrace::Site& site) {
  TREL_ERROR("[ERROR] %s:%d (%s) - [%s] serializing buffer has not enough space left", TREL_AT(site),
             property.name.c_str());
}

// Writes the head of a property's TLV and returns where its `len` value bytes go. Null, with the ERROR line and nothing
// written, when `size` bytes do not hold both.
char* beginTlv(TrelProperty& property, char* buf, int size, int len, const trelTrace::Site& site) {
  if (!fits(size, len)) {
    refuseSize(property, site);
    return nullptr;
  }
  storeTlvHead(buf, property.getOid(), static_cast<unsigned int>(property.getType()), static_cast<unsigned int>(len));
  return buf + TLV_HEAD_LEN;
}

// Fills a value area of `len` bytes from what is held. A subclass may claim another length than the value has: what is
// not there goes out as zeros, never as bytes that nobody wrote.
void storeBytes(char* to, int len, const void* held, std::size_t heldLen) {
  const std::size_t area = static_cast<std::size_t>(len);
  std::memset(to, 0, area);
  if (heldLen != 0) std::memcpy(to, held, std::min(area, heldLen));
}

int writeNumber(TrelProperty& property, char* buf, int size, unsigned long long value, unsigned int width,
                const trelTrace::Site& site) {
  const int len = property.length();
  char* to = beginTlv(property, buf, size, len, site);
  if (to == nullptr) return -1;
  if (static_cast<unsigned int>(len) == width) {
    storeNumber(to, value, width);
  } else {
    char number[sizeof value];
    storeNumber(number, value, width);
    storeBytes(to, len, number, width);
  }
  return TLV_HEAD_LEN + len;
}

int writeBytes(TrelProperty& property, char* buf, int size, const void* held, std::size_t heldLen,
               const trelTrace::Site& site) {
  const int len = property.length();
  char* to = beginTlv(property, buf, size, len, site);
  if (to == nullptr) return -1;
  storeBytes(to, len, held, heldLen);
  return TLV_HEAD_LEN + len;
}

// The start of every line of str(): id and name in their columns.
std::ostringstream beginLine(const TrelProperty& property) {
  std::ostringstream line;
  line.imbue(std::locale::classic());  // plain numbers whatever locale the application has set
  line << std::setw(3) << property.id << " | " << std::setw(40) << property.name;
  return line;
}

}  // namespace

// ----- TrelProperty --------------------------------------------------------------------------------------------------

const void* TrelProperty::exactTables[TREL_TYPE_NONE + 1] = {};

TrelProperty::TrelProperty(unsigned int propertyId, const char* propertyName, IfcCardVarAccessType access,
                           bool isEventable)
    : name(propertyName),
      accessType(access),
      id(propertyId),
      row(0),
      eventable(isEventable),
      eventPending(false),
      object(nullptr) {}

TrelProperty::~TrelProperty() {
  if (propertyDestroyed != nullptr) propertyDestroyed(this);
}

void TrelProperty::setToDefault() {}

bool TrelProperty::validValue(const char*, int) { return true; }

// One pair for each type: a property that is of another type refuses, and the log says which was asked for.
#define TREL_NOT_IMPLEMENTED(typeWord)                                                                      \
  TREL_ERROR("[ERROR] %s:%d (%s) - [%s] Not implemented for " typeWord " (property %d, row %d)", TREL_HERE, \
             name.c_str(), id, row)

void TrelProperty::get(unsigned long long*) { TREL_NOT_IMPLEMENTED("uint64_t"); }
void TrelProperty::get(unsigned int*) { TREL_NOT_IMPLEMENTED("uint32_t"); }
void TrelProperty::get(unsigned short*) { TREL_NOT_IMPLEMENTED("uint16_t"); }
void TrelProperty::get(unsigned char*) { TREL_NOT_IMPLEMENTED("uint8_t"); }
void TrelProperty::get(long long*) { TREL_NOT_IMPLEMENTED("int64_t"); }
void TrelProperty::get(int*) { TREL_NOT_IMPLEMENTED("int32_t"); }
void TrelProperty::get(short*) { TREL_NOT_IMPLEMENTED("int16_t"); }
void TrelProperty::get(signed char*) { TREL_NOT_IMPLEMENTED("int8_t"); }
void TrelProperty::get(bool*) { TREL_NOT_IMPLEMENTED("bool"); }
void TrelProperty::get(std::string*) { TREL_NOT_IMPLEMENTED("std::string"); }
void TrelProperty::get(unsigned char*, unsigned int*) { TREL_NOT_IMPLEMENTED("array of uint8_t"); }
void TrelProperty::set(unsigned long long) { TREL_NOT_IMPLEMENTED("uint64_t"); }
void TrelProperty::set(unsigned int) { TREL_NOT_IMPLEMENTED("uint32_t"); }
void TrelProperty::set(unsigned short) { TREL_NOT_IMPLEMENTED("uint16_t"); }
void TrelProperty::set(unsigned char) { TREL_NOT_IMPLEMENTED("uint8_t"); }
void TrelProperty::set(long long) { TREL_NOT_IMPLEMENTED("int64_t"); }
void TrelProperty::set(int) { TREL_NOT_IMPLEMENTED("int32_t"); }
void TrelProperty::set(short) { TREL_NOT_IMPLEMENTED("int16_t"); }
void TrelProperty::set(signed char) { TREL_NOT_IMPLEMENTED("int8_t"); }
void TrelProperty::set(bool) { TREL_NOT_IMPLEMENTED("bool"); }
void TrelProperty::set(std::string) { TREL_NOT_IMPLEMENTED("std::string"); }
void TrelProperty::set(unsigned char*, unsigned int) { TREL_NOT_IMPLEMENTED("array of uint8_t"); }

unsigned int TrelProperty::getOid() {
  unsigned int oid = id;
  if (object == nullptr || composeOid(oid)) return oid;
  return object->getOID(id, row);
}

bool TrelProperty::sendEvent() {
  const bool pending = eventPending;
  eventPending = false;
  return pending;
}

int TrelProperty::checkBuffer(const char* tlv, bool checkValue) {
  if (!hasOwnForm(tlv)) {
    if (const int failure = checkForm(tlv)) return failure;
  }
  return checkValue ? checkWritable(tlv) : static_cast<int>(RESULT_OK);
}

int TrelProperty::refuseValue(const char* tlv) const {
  TREL_ERROR("[ERROR] %s:%d (%s) - [%s] checkbuffer invalid value detected, value has len %i", __FILE__, __LINE__,
             "checkBuffer", name.c_str(), tlvLen(tlv));
  return RESULT_WRONG_VALUE;
}

// The first of OID, type and length that is not the property's, with its lines.
[[gnu::noinline]] int TrelProperty::checkForm(const char* tlv) {
  static constexpr char FUNCTION[] = "checkBuffer";
  const unsigned int oid = tlvOid(tlv);
  if (object != nullptr) {
    const unsigned int ownOid = object->getOID(id, row);
    if (oid != ownOid) {
      // The received OID is shown as the raw word that lay in the datagram, not converted.
      TREL_ERROR("[ERROR] %s:%d (%s) - [%s] trying to deserialize to a property with wrong oid, is %i , should be %i",
                 __FILE__, __LINE__, FUNCTION, name.c_str(), loadHost<int>(tlv), static_cast<int>(ownOid));
      return RESULT_WRONG_OID;
    }
  } else if (oid != id) {
    TREL_ERROR("[ERROR] %s:%d (%s) - [%s] trying to deserialize to a property with wrong id", __FILE__, __LINE__,
               FUNCTION, name.c_str());
    return RESULT_WRONG_OID;
  }

  const int ownType = getType();
  const int type = tlvType(tlv);
  if (type != ownType) {
    TREL_ERROR("[ERROR] %s:%d (%s) - [%s] trying to deserialize to a property of wrong type this %i, buf %i", __FILE__,
               __LINE__, FUNCTION, name.c_str(), ownType, type);
    return RESULT_WRONG_TYPE;
  }

  const int len = tlvLen(tlv);
  if (ownType == TREL_TYPE_STRING) {
    TREL_DEBUG3("[DEBUG3] %s:%d (%s) - [%s] we cannot know the size of a string when receiving, it is %i", __FILE__,
                __LINE__, FUNCTION, name.c_str(), len);
  } else if (len != length()) {
    TREL_ERROR("[ERROR] %s:%d (%s) - [%s] trying to deserialize a property but tlv has incorrect size parameter",
               __FILE__, __LINE__, FUNCTION, name.c_str());
    TREL_ERROR("[ERROR] %s:%d (%s) - [%s] it should be %i but it is %i", __FILE__, __LINE__, FUNCTION, name.c_str(),
               length(), len);
    return RESULT_WRONG_LEN;
  }
  return RESULT_OK;
}

// ----- numbers -------------------------------------------------------------------------------------------------------

[[gnu::noinline]] bool TrelProperty::decodeNumber(const char* value, unsigned long long& decoded, int line,
                                                  const char* function) {
  const auto signExtended = [](long long number) { return static_cast<unsigned long long>(number); };
  switch (getType()) {
    case TREL_TYPE_UINT64:
    case TREL_TYPE_INT64:
      decoded = loadU64(value);
      return true;
    case TREL_TYPE_UINT32:
    case TREL_TYPE_IPV4ADDRESS:
      decoded = loadU32(value);
      return true;
    case TREL_TYPE_INT32:
      decoded = signExtended(static_cast<int>(loadU32(value)));
      return true;
    case TREL_TYPE_UINT16:
      decoded = loadU16(value);
      return true;
    case TREL_TYPE_INT16:
      decoded = signExtended(static_cast<short>(loadU16(value)));
      return true;
    case TREL_TYPE_UINT8:
    case TREL_TYPE_BOOLEAN:
      decoded = byteAt(value, 0);
      return true;
    case TREL_TYPE_INT8:
      decoded = signExtended(static_cast<signed char>(value[0]));
      return true;
    default:
      TREL_ERROR("[ERROR] %s:%d (%s) - [%s] type deserializing is not handled ok!", TEMPLATE_FILE, line, function,
                 name.c_str());
      return false;
  }
}

template <typename Stored>
inline bool TrelProperty::writeOwn(char* buf, int size, TrelTlvType code, const Stored& value) {
  constexpr int WIDTH = sizeof(Stored);
  unsigned int oid = 0;
  if (size < TLV_HEAD_LEN + WIDTH || !composeOid(oid)) return false;
  storeTlvHead(buf, oid, code, WIDTH);
  storeNumber(buf + TLV_HEAD_LEN, static_cast<unsigned long long>(value), WIDTH);
  return true;
}

template <typename Stored>
inline Stored TrelProperty::readOwn(const char* value) {
  return static_cast<Stored>(loadNumber(value, sizeof(Stored)));
}

// Apart from those that call them, and with so few arguments that they need no stack for them.
template <typename Stored>
[[gnu::noinline]] int TrelProperty::serializeAsked(char* buf, int size, const Stored& value) {
  return writeNumber(*this, buf, size, static_cast<unsigned long long>(value), sizeof(Stored),
                     {TEMPLATE_FILE, trelDetail::SERIALIZE_LINE, "serialize"});
}

template <typename Stored>
[[gnu::noinline]] int TrelProperty::deserializeAsked(const char* tlv, Stored& value) {
  unsigned long long decoded = 0;
  if (decodeNumber(tlvValue(tlv), decoded, trelDetail::DESERIALIZE_LINE, "deserialize"))
    value = static_cast<Stored>(decoded);
  return lengthWithHead(tlv);
}

void TrelProperty::traceValueCheck(int line) const {
  // The tag is the property's whole text with its newline, not its name.
  TREL_DEBUG2("[DEBUG2] %s:%d (%s) - [%s] will be checked for valid value", TEMPLATE_FILE, line, "validValue",
              str().c_str());
}

int TrelProperty::lengthWithHead(const char* tlv) { return TLV_HEAD_LEN + tlvLen(tlv); }

[[gnu::noinline]] std::string TrelProperty::describe(const std::string& value, const std::string& defaultValue) const {
  std::ostringstream line = beginLine(*this);
  line << " : " << std::setw(20) << value << "  (def = " << defaultValue << (eventable ? ", eventable" : "") << ")\n";
  return line.str();
}

[[gnu::noinline]] std::string trelDetail::digits(unsigned long long number) { return std::to_string(number); }

[[gnu::noinline]] std::string trelDetail::digits(long long number) { return std::to_string(number); }

bool trelDetail::wantsRangeTrace() { return trelTrace::above(trelTrace::DEBUG1_THRESHOLD); }

[[gnu::noinline]] void trelDetail::traceRange(int line, const std::string& min, const std::string& max,
                                              const std::string& value) {
  // One text: a zero byte among the characters of the 8-bit types ends the line.
  const std::string text = "checking value is valid with min:" + min + " and max:" + max + " and value " + value;
  TREL_DEBUG1("[DEBUG1] %s:%d (%s) - %s", TEMPLATE_FILE, line, "checkValue", text.c_str());
}

template class TypeProperty<unsigned long long>;
template class TypeProperty<unsigned int>;
template class TypeProperty<unsigned short>;
template class TypeProperty<unsigned char>;
template class TypeProperty<long long>;
template class TypeProperty<int>;
template class TypeProperty<short>;
template class TypeProperty<signed char>;
template class TypeProperty<bool>;

template class RangeCheckValue<unsigned long long>;
template class RangeCheckValue<unsigned int>;
template class RangeCheckValue<unsigned short>;
template class RangeCheckValue<unsigned char>;
template class RangeCheckValue<long long>;
template class RangeCheckValue<int>;
template class RangeCheckValue<short>;
template class RangeCheckValue<signed char>;

// ----- StringProperty ------------------------------------------------------------------------------------------------

StringProperty::StringProperty(unsigned int propertyId, const char* propertyName, IfcCardVarAccessType access,
                               std::string def)
    : StringProperty(propertyId, propertyName, access, std::move(def), nullptr, false) {}

StringProperty::StringProperty(unsigned int propertyId, const char* propertyName, IfcCardVarAccessType access,
                               std::string def, bool isEventable)
    : StringProperty(propertyId, propertyName, access, std::move(def), nullptr, isEventable) {}

StringProperty::StringProperty(unsigned int propertyId, const char* propertyName, IfcCardVarAccessType access,
                               std::string def, StringValueCheck* check)
    : StringProperty(propertyId, propertyName, access, std::move(def), check, false) {}

StringProperty::StringProperty(unsigned int propertyId, const char* propertyName, IfcCardVarAccessType access,
                               std::string def, StringValueCheck* check, bool isEventable)
    : TrelProperty(propertyId, propertyName, access, isEventable),
      value(std::move(def)),
      defaultValue(value),
      valueCheck(check) {
  exactTables[TREL_TYPE_STRING] = tableOf(*this);
}

StringProperty::~StringProperty() = default;

void StringProperty::setToDefault() { value = defaultValue; }

bool StringProperty::isDefault() { return value == defaultValue; }

int StringProperty::serialize(char* buf, int size) {
  const int len = static_cast<int>(value.size());
  unsigned int oid = 0;
  if (!isExactly(TREL_TYPE_STRING) || !fits(size, len) || !composeOid(oid)) return serializeAsked(buf, size);
  storeTlvHead(buf, oid, TREL_TYPE_STRING, static_cast<unsigned int>(len));
  std::memcpy(buf + TLV_HEAD_LEN, value.data(), value.size());
  return TLV_HEAD_LEN + len;
}

[[gnu::noinline]] int StringProperty::serializeAsked(char* buf, int size) {
  return writeBytes(*this, buf, size, value.data(), value.size(), {__FILE__, __LINE__, "serialize"});
}

int StringProperty::deserialize(const char* tlv) {
  value.assign(tlvValue(tlv), tlvLen(tlv));
  return lengthWithHead(tlv);
}

int StringProperty::length() { return static_cast<int>(value.size()); }

int StringProperty::getType() { return TREL_TYPE_STRING; }

bool StringProperty::validValue(const char* received, int len) {
  if (valueCheck == nullptr) return true;
  return valueCheck->checkValue(std::string(received, static_cast<std::size_t>(std::max(len, 0))));
}

void StringProperty::get(std::string* out) { *out = value; }

// A changed text is not reported, not even that of an eventable property.
void StringProperty::set(std::string v) { value = std::move(v); }

std::string StringProperty::str() const { return describe(value, defaultValue); }

// ----- ArrayProperty -------------------------------------------------------------------------------------------------

ArrayProperty::ArrayProperty(unsigned int propertyId, const char* propertyName, IfcCardVarAccessType access,
                             bool isEventable)
    : TrelProperty(propertyId, propertyName, access, isEventable), value(nullptr), valueLength(0) {}

ArrayProperty::~ArrayProperty() = default;

void ArrayProperty::setToDefault() {}

bool ArrayProperty::isDefault() { return false; }

int ArrayProperty::serialize(char* buf, int size) {
  // What travels is the storage of the reference and of the length behind it, not the block: a receiver must take the
  // content of a byte array as undefined.
  char storage[sizeof value + sizeof valueLength];
  std::memcpy(storage, &value, sizeof value);
  std::memcpy(storage + sizeof value, &valueLength, sizeof valueLength);
  return writeBytes(*this, buf, size, storage, sizeof storage, TREL_SITE);
}

int ArrayProperty::deserialize(const char* tlv) {
  valueLength = tlvLen(tlv);  // also when the bytes are not taken
  if (value != nullptr) {
    std::free(value);
    value = nullptr;
    if (valueLength != 0) value = static_cast<unsigned char*>(std::calloc(valueLength, 1));
    if (value != nullptr) std::memcpy(value, tlvValue(tlv), valueLength);
  }
  return lengthWithHead(tlv);
}

int ArrayProperty::length() { return static_cast<int>(valueLength); }

int ArrayProperty::getType() { return TREL_TYPE_BYTE_ARRAY; }

void ArrayProperty::get(unsigned char* out, unsigned int* len) {
  if (len != nullptr) *len = valueLength;
  if (out != nullptr && value != nullptr) std::memcpy(out, value, valueLength);
}

void ArrayProperty::set(unsigned char* data, unsigned int n) {
  if (value == nullptr) return;  // a value is taken only where one is held already
  std::free(value);
  valueLength = n;
  value = nullptr;
  if (n == 0) return;
  value = static_cast<unsigned char*>(std::calloc(n, 1));
  if (data == nullptr || value == nullptr) return;
  // Compared with the new, zeroed block, not with the former value: only all zeros raise the event.
  if (std::memcmp(value, data, n) == 0 && eventable) eventPending = true;
  std::memcpy(value, data, n);
}

std::string ArrayProperty::str() const {
  std::ostringstream line = beginLine(*this);
  line << " : \n  ";
  for (unsigned int i = 0; value != nullptr && i < valueLength; ++i)
    line << static_cast<char>(value[i]) << " ";
  line << "\n";
  return line.str();
}

// ----- MacAddressProperty --------------------------------------------------------------------------------------------

MacAddressProperty::MacAddressProperty(unsigned int propertyId, const char* propertyName, IfcCardVarAccessType access,
                                       unsigned char* defaultBytes, bool isEventable)
    : TrelProperty(propertyId, propertyName, access, isEventable), value{}, defaultValue{} {
  if (defaultBytes != nullptr) std::memcpy(defaultValue, defaultBytes, sizeof defaultValue);
  std::memcpy(value, defaultValue, sizeof value);
}

MacAddressProperty::MacAddressProperty(unsigned int propertyId, const char* propertyName, IfcCardVarAccessType access,
                                       std::string defaultText, bool isEventable)
    : TrelProperty(propertyId, propertyName, access, isEventable), value{}, defaultValue{} {
  if (defaultText.empty()) return;
  unsigned int fields[6] = {};
  const int converted = std::sscanf(defaultText.c_str(), "%x:%x:%x:%x:%x:%x", &fields[0], &fields[1], &fields[2],
                                    &fields[3], &fields[4], &fields[5]);
  if (converted != 6) {
    TREL_ERROR("[ERROR] %s:%d (%s) - [%s] Invalid default value (%s). Default set to 0.\n", TREL_HERE, name.c_str(),
               defaultText.c_str());
    return;
  }
  std::transform(std::begin(fields), std::end(fields), defaultValue,
                 [](unsigned int field) { return static_cast<unsigned char>(field); });  // the low 8 bits
  std::memcpy(value, defaultValue, sizeof value);
}

MacAddressProperty::~MacAddressProperty() = default;

void MacAddressProperty::setToDefault() { std::memcpy(value, defaultValue, sizeof value); }

bool MacAddressProperty::isDefault() { return std::memcmp(value, defaultValue, sizeof value) == 0; }

int MacAddressProperty::serialize(char* buf, int size) {
  return writeBytes(*this, buf, size, value, sizeof value, TREL_SITE);
}

int MacAddressProperty::deserialize(const char* tlv) {
  std::memcpy(value, tlvValue(tlv), sizeof value);
  return lengthWithHead(tlv);
}

int MacAddressProperty::length() { return sizeof value; }

int MacAddressProperty::getType() { return TREL_TYPE_MAC_ADDRESS; }

void MacAddressProperty::get(unsigned char* out) { std::memcpy(out, value, sizeof value); }

void MacAddressProperty::set(unsigned char* data, unsigned int n) {
  const std::size_t given = data != nullptr ? std::min(static_cast<std::size_t>(n), sizeof value) : 0;
  unsigned char received[sizeof value] = {};  // what is not given compares as 0
  if (given != 0) std::memcpy(received, data, given);
  // Equality raises the event: a repeated address is reported, a changed one is not.
  if (eventable && std::memcmp(received, value, sizeof value) == 0) eventPending = true;
  if (given != 0) std::memcpy(value, received, given);
}

std::string MacAddressProperty::str() const {
  std::ostringstream line = beginLine(*this);
  const auto put = [&line](const unsigned char(&bytes)[6]) {
    for (const unsigned char byte : bytes) {
      line << std::hex << std::setw(2) << std::setfill('0') << static_cast<unsigned int>(byte) << " ";
    }
  };
  line << " :    ";
  put(value);
  line << " (def = ";
  put(defaultValue);
  line << ")\n";
  return line.str();
}

// ----- IpAddressProperty ---------------------------------------------------------------------------------------------

IpAddressProperty::IpAddressProperty(unsigned int propertyId, const char* propertyName, IfcCardVarAccessType access,
                                     unsigned int defaultAddress, bool isEventable)
    : TrelProperty(propertyId, propertyName, access, isEventable),
      value(defaultAddress),
      defaultValue(defaultAddress) {}

IpAddressProperty::IpAddressProperty(unsigned int propertyId, const char* propertyName, IfcCardVarAccessType access,
                                     std::string defaultText, bool isEventable)
    : TrelProperty(propertyId, propertyName, access, isEventable), value(0), defaultValue(0) {
  in_addr address{};
  if (inet_pton(AF_INET, defaultText.c_str(), &address) != 1) {
    TREL_ERROR("[ERROR] %s:%d (%s) - [%s] Invalid default value (%s). Default set to 0.\n", TREL_HERE, name.c_str(),
               defaultText.c_str());
    return;
  }
  // The four bytes become the number's memory image, unconverted. On a little-endian host such an address reaches the
  // wire reversed; one given as a number does not.
  std::memcpy(&defaultValue, &address, sizeof defaultValue);
  value = defaultValue;
}

IpAddressProperty::~IpAddressProperty() = default;

void IpAddressProperty::setToDefault() { value = defaultValue; }

bool IpAddressProperty::isDefault() { return value == defaultValue; }

int IpAddressProperty::serialize(char* buf, int size) {
  return writeNumber(*this, buf, size, value, sizeof value, TREL_SITE);
}

int IpAddressProperty::deserialize(const char* tlv) {
  value = loadU32(tlvValue(tlv));
  return lengthWithHead(tlv);
}

int IpAddressProperty::length() { return sizeof value; }

int IpAddressProperty::getType() { return TREL_TYPE_IPV4ADDRESS; }

void IpAddressProperty::get(unsigned int* out) { *out = value; }

void IpAddressProperty::set(unsigned int v) {
  if (eventable && v != value) eventPending = true;
  value = v;
}

std::string IpAddressProperty::str() const {
  std::ostringstream line = beginLine(*this);
  line << " : " << std::hex << std::setw(10) << value << "(def = " << defaultValue << ")\n";
  return line.str();
}

// ----- UnixTimeProperty ----------------------------------------------------------------------------------------------

UnixTimeProperty::UnixTimeProperty(unsigned int propertyId, const char* propertyName, IfcCardVarAccessType access,
                                   long long defaultTime, bool isEventable)
    : TrelProperty(propertyId, propertyName, access, isEventable), value(defaultTime), defaultValue(defaultTime) {}

UnixTimeProperty::~UnixTimeProperty() = default;

void UnixTimeProperty::setToDefault() { value = defaultValue; }

bool UnixTimeProperty::isDefault() { return value == defaultValue; }

int UnixTimeProperty::serialize(char* buf, int size) {
  return writeNumber(*this, buf, size, static_cast<unsigned long long>(value), sizeof value, TREL_SITE);
}

int UnixTimeProperty::deserialize(const char* tlv) {
  value = static_cast<long long>(loadU64(tlvValue(tlv)));
  return lengthWithHead(tlv);
}

int UnixTimeProperty::length() { return sizeof value; }

int UnixTimeProperty::getType() { return TREL_TYPE_UNIX_TIME; }

void UnixTimeProperty::get(long long* out) { *out = value; }

void UnixTimeProperty::set(long long v) {
  if (eventable && v != value) eventPending = true;
  value = v;
}

std::string UnixTimeProperty::str() const {
  std::ostringstream line = beginLine(*this);
  line << " : " << value << "(def = " << defaultValue << ")\n";
  return line.str();
}

// ----- OldStyleProperty ----------------------------------------------------------------------------------------------

unsigned int OldStyleProperty::counter = 0;

namespace {

// Zeros, and room for every number: a value that is shorter than its type's width stays inside the buffer, and reads as
// if zero bytes followed.
unsigned int bufferSize(unsigned int len) { return std::max<unsigned int>(len, sizeof(unsigned long long)); }
char* allocateBuffer(unsigned int len) { return static_cast<char*>(std::calloc(bufferSize(len), 1)); }

const char* bytesOf(const trel_tlv* record) { return reinterpret_cast<const char*>(record); }
unsigned int oidOf(const char* raw, bool hostOrder) { return hostOrder ? loadHost<unsigned int>(raw) : tlvOid(raw); }
unsigned short lengthOf(const char* raw, bool hostOrder) {
  return hostOrder ? loadHost<unsigned short>(raw + 5) : tlvLen(raw);
}

}  // namespace

OldStyleProperty::OldStyleProperty(trel_tlv* record, bool hostOrder)
    : TrelProperty(oidOf(bytesOf(record), hostOrder), "temp", IFC_CARD_VAR_READ_WRITE, false),
      m_value_pointer(nullptr),
      m_length(lengthOf(bytesOf(record), hostOrder)),
      m_type(tlvType(bytesOf(record))) {
  ++counter;
  name = "OldStyleProperty_" + std::to_string(counter);
  row = TrelObjectId(id).row;

  if (m_length == 0) return;
  m_value_pointer = allocateBuffer(m_length);
  if (m_value_pointer == nullptr) {
    TREL_ERROR("[ERROR] %s:%d (%s) - malloc failed!", TREL_HERE);
    return;
  }
  std::memcpy(m_value_pointer, tlvValue(bytesOf(record)), m_length);
  // An address and a time stay in wire order here, although `deserialize` and `serialize` convert them.
  const bool converted = !hostOrder && m_type != TREL_TYPE_IPV4ADDRESS && m_type != TREL_TYPE_UNIX_TIME;
  if (converted) wireToHost(m_value_pointer, numberWidth(m_type));
}

OldStyleProperty::OldStyleProperty(const OldStyleProperty& other)
    : TrelProperty(other.id, "temp", other.accessType, other.eventable),
      m_value_pointer(nullptr),
      m_length(other.m_length),
      m_type(other.m_type) {
  name = other.name;
  row = other.row;
  eventPending = other.eventPending;  // `object` stays null: the copy belongs to nobody
  if (other.m_value_pointer == nullptr) return;
  m_value_pointer = allocateBuffer(m_length);
  if (m_value_pointer == nullptr) {
    TREL_ERROR("[ERROR] %s:%d (%s) - malloc failed!", TREL_HERE);
    return;
  }
  std::memcpy(m_value_pointer, other.m_value_pointer, bufferSize(m_length));
}

OldStyleProperty::~OldStyleProperty() { std::free(m_value_pointer); }

void OldStyleProperty::setToDefault() {}

bool OldStyleProperty::isDefault() { return false; }

int OldStyleProperty::serialize(char* buf, int size) {
  const int len = length();
  char* to = beginTlv(*this, buf, size, len, TREL_SITE);
  if (to == nullptr) return -1;
  if (len > 0) {
    if (m_value_pointer == nullptr) {
      TREL_ERROR("[ERROR] %s:%d (%s) - [%s] m_value_pointer is nullpointer but length set is not 0!!!", TREL_HERE,
                 name.c_str());
      return 0;
    }
    // The number's big-endian form, cut to the length that the peer gave; beyond its width what is stored.
    char number[sizeof(unsigned long long)];
    std::memcpy(number, m_value_pointer, sizeof number);
    const unsigned int width = numberWidth(static_cast<unsigned int>(getType()));
    hostToWire(number, width);
    storeBytes(to, len, m_value_pointer, bufferSize(m_length));
    std::memcpy(to, number, std::min(static_cast<std::size_t>(len), static_cast<std::size_t>(width)));
  }
  return TLV_HEAD_LEN + len;
}

int OldStyleProperty::deserialize(const char* tlv) {
  id = tlvOid(tlv);
  m_type = tlvType(tlv);
  m_length = tlvLen(tlv);
  std::free(m_value_pointer);
  m_value_pointer = allocateBuffer(m_length);
  if (m_value_pointer == nullptr) {
    TREL_ERROR("[ERROR] %s:%d (%s) - malloc failed!", TREL_HERE);
  } else {
    std::memcpy(m_value_pointer, tlvValue(tlv), m_length);
    wireToHost(m_value_pointer, numberWidth(m_type));
  }
  return lengthWithHead(tlv);
}

int OldStyleProperty::length() { return static_cast<int>(m_length); }

int OldStyleProperty::getType() { return static_cast<int>(m_type); }

std::string OldStyleProperty::str() const { return name + ":\n" + "\n"; }

bool OldStyleProperty::isPointerValid() const {
  if (m_value_pointer != nullptr) return true;
  TREL_ERROR("[ERROR] %s:%d (%s) - Pointer val in OldStyleProperty is invalid!", TREL_HERE);
  return false;
}

bool OldStyleProperty::mayGet(bool accepted, int line) const {
  if (!accepted) {
    TREL_ERROR("[ERROR] %s:%d (%s) - [%s] Trying to get the wrong type from oldStyleProperty", __FILE__, line, "get",
               name.c_str());
  }
  return accepted;
}

bool OldStyleProperty::maySet(bool accepted, int line) const {
  if (!accepted) {
    TREL_ERROR("[ERROR] %s:%d (%s) - [%s] Trying to set the wrong type for oldStyleProperty", __FILE__, line, "set",
               name.c_str());
  }
  return accepted;
}

void OldStyleProperty::copyOut(void* out, unsigned int width) const {
  if (isPointerValid() && out != nullptr) std::memcpy(out, m_value_pointer, width);
}

void OldStyleProperty::copyIn(const void* newValue, unsigned int width, int line) {
  if (m_value_pointer == nullptr) m_value_pointer = allocateBuffer(m_length);
  if (m_value_pointer == nullptr) {
    TREL_ERROR("[ERROR] %s:%d (%s) - malloc failed in set!", __FILE__, line, "set");
    return;
  }
  std::memcpy(m_value_pointer, newValue, width);
}

void OldStyleProperty::replaceValue(const void* data, unsigned int n, int line) {
  std::free(m_value_pointer);
  m_value_pointer = nullptr;
  m_length = 0;
  if (n == 0) return;  // no value is left, and no length
  m_length = n;
  m_value_pointer = allocateBuffer(n);
  if (m_value_pointer == nullptr) {
    TREL_ERROR("[ERROR] %s:%d (%s) - malloc failed in set!", __FILE__, line, "set");
    return;
  }
  if (data != nullptr) std::memcpy(m_value_pointer, data, n);
}

void OldStyleProperty::get(unsigned long long* out) {
  if (mayGet(m_type == TREL_TYPE_UINT64, __LINE__)) copyOut(out, sizeof *out);
}
void OldStyleProperty::get(unsigned int* out) {
  if (mayGet(m_type == TREL_TYPE_UINT32, __LINE__)) copyOut(out, sizeof *out);
}
void OldStyleProperty::get(unsigned short* out) {
  if (mayGet(m_type == TREL_TYPE_UINT16, __LINE__)) copyOut(out, sizeof *out);
}
void OldStyleProperty::get(unsigned char* out) {
  if (mayGet(m_type == TREL_TYPE_UINT8, __LINE__)) copyOut(out, sizeof *out);
}
void OldStyleProperty::get(long long* out) {
  if (mayGet(m_type == TREL_TYPE_INT64, __LINE__)) copyOut(out, sizeof *out);
}
void OldStyleProperty::get(int* out) {
  if (mayGet(m_type == TREL_TYPE_INT32 || m_type == TREL_TYPE_IPV4ADDRESS, __LINE__)) copyOut(out, sizeof *out);
}
void OldStyleProperty::get(short* out) {
  if (mayGet(m_type == TREL_TYPE_INT16, __LINE__)) copyOut(out, sizeof *out);
}
void OldStyleProperty::get(signed char* out) {
  if (mayGet(m_type == TREL_TYPE_INT8, __LINE__)) copyOut(out, sizeof *out);
}
void OldStyleProperty::get(bool* out) {
  if (mayGet(m_type == TREL_TYPE_BOOLEAN, __LINE__) && isPointerValid() && out != nullptr) *out = *m_value_pointer != 0;
}
void OldStyleProperty::get(std::string* out) {
  if (mayGet(m_type == TREL_TYPE_STRING, __LINE__) && isPointerValid() && out != nullptr) {
    out->assign(m_value_pointer, m_length);
  }
}
void OldStyleProperty::get(unsigned char* out, unsigned int* len) {
  const bool accepted = m_type == TREL_TYPE_BYTE_ARRAY || m_type == TREL_TYPE_MAC_ADDRESS;
  if (!mayGet(accepted, __LINE__) || !isPointerValid() || out == nullptr || len == nullptr) return;
  std::memset(out, 0, *len);  // the caller's count, whatever is held
  std::memcpy(out, m_value_pointer, std::min(*len, m_length));
}

void OldStyleProperty::set(unsigned long long value) {
  if (maySet(m_type == TREL_TYPE_UINT64, __LINE__)) copyIn(&value, sizeof value, __LINE__);
}
void OldStyleProperty::set(unsigned int value) {
  if (maySet(m_type == TREL_TYPE_UINT32, __LINE__)) copyIn(&value, sizeof value, __LINE__);
}
void OldStyleProperty::set(unsigned short value) {
  if (maySet(m_type == TREL_TYPE_UINT16, __LINE__)) copyIn(&value, sizeof value, __LINE__);
}
void OldStyleProperty::set(unsigned char value) {
  if (maySet(m_type == TREL_TYPE_UINT8, __LINE__)) copyIn(&value, sizeof value, __LINE__);
}
void OldStyleProperty::set(long long) {
  maySet(false, __LINE__);  // refuses every property, INT64 too: such a value can be read and not set
}
void OldStyleProperty::set(int value) {
  if (maySet(m_type == TREL_TYPE_INT32 || m_type == TREL_TYPE_IPV4ADDRESS, __LINE__))
    copyIn(&value, sizeof value, __LINE__);
}
void OldStyleProperty::set(short value) {
  if (maySet(m_type == TREL_TYPE_INT16, __LINE__)) copyIn(&value, sizeof value, __LINE__);
}
void OldStyleProperty::set(signed char value) {
  if (maySet(m_type == TREL_TYPE_INT8, __LINE__)) copyIn(&value, sizeof value, __LINE__);
}
void OldStyleProperty::set(bool value) {
  const unsigned char byte = value ? 1 : 0;
  if (maySet(m_type == TREL_TYPE_BOOLEAN, __LINE__)) copyIn(&byte, sizeof byte, __LINE__);
}
void OldStyleProperty::set(std::string value) {
  if (maySet(m_type == TREL_TYPE_STRING, __LINE__)) {
    replaceValue(value.data(), static_cast<unsigned int>(value.size()), __LINE__);
  }
}
void OldStyleProperty::set(unsigned char* data, unsigned int n) {
  if (maySet(m_type == TREL_TYPE_BYTE_ARRAY || m_type == TREL_TYPE_MAC_ADDRESS, __LINE__))
    replaceValue(data, n, __LINE__);
}
