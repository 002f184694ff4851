#include "trel/trelmsg.h"

#include <libframework/util.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <limits>
#include <locale>
#include <sstream>
#include <type_traits>
#include <utility>

#include "trel/trelMessageWalk.h"
#include "trel/trelObjectId.h"
#include "trel/trelObjects.h"
#include "trel/trelOidLayout.h"
#include "trel/trelProperty.h"
#include "trel/trelPropertyList.h"
#include "trel/trelProtocolBase.h"  // checkTlvs and deserializeTlvs ask the engine's old-style hooks, and no more of it
#include "trel/trelResultText.h"
#include "trel/trelTraceGate.h"
#include "trel/trelWire.h"

using namespace trelWire;
using namespace trelHeader;

// ----- TRELTlv -------------------------------------------------------------------------------------------------------

namespace {

// A value buffer: zeros, and at least as wide as the widest number, so that a number is read and written inside it
// whatever length a peer gave.
char* allocateValue(std::size_t len) {
  constexpr std::size_t WIDEST_NUMBER = 8;
  return static_cast<char*>(std::calloc(std::max(len, WIDEST_NUMBER), 1));
}

// A buffer that is there is used again as it is. Null when there is none and none is to be had.
char* valueBuffer(TRELTlv& tlv, int line) {
  if (tlv.val == nullptr) tlv.val = allocateValue(tlv.len);
  if (tlv.val == nullptr) TREL_ERROR("[ERROR] %s:%d (%s) - malloc failed!", __FILE__, line, "setValue");
  return tlv.val;
}

template <typename T>
void setNumber(TRELTlv& tlv, TrelTlvType type, T value, int line) {
  tlv.type = type;
  tlv.len = sizeof value;
  if (char* buffer = valueBuffer(tlv, line)) storeHost(buffer, value);
}

void setBytes(TRELTlv& tlv, unsigned char type, const char* data, int length, int line) {
  tlv.type = type;
  tlv.len = static_cast<unsigned short>(length);
  char* buffer = valueBuffer(tlv, line);
  if (buffer == nullptr) return;
  if (length < 0 || data == nullptr) {
    std::memset(buffer, 0, tlv.len);
  } else {
    std::memmove(buffer, data, tlv.len);  // the bytes may be the record's own
  }
}

template <typename T>
bool getChecked(const TRELTlv& tlv, T* value) {
  if (!tlv.isPointerValid()) return false;
  *value = loadHost<T>(tlv.val);
  return true;
}

template <typename T>
T getOrZero(const TRELTlv& tlv) {
  T value = 0;
  getChecked(tlv, &value);
  return value;
}

void copyValue(TRELTlv& to, const TRELTlv& from, int line, const char* function) {
  to.id = from.id;
  to.type = from.type;
  to.len = from.len;
  to.val = nullptr;
  if (from.len == 0 || from.val == nullptr) return;
  to.val = allocateValue(from.len);
  if (to.val == nullptr) {
    TREL_ERROR("[ERROR] %s:%d (%s) - malloc failed!", __FILE__, line, function);
    return;
  }
  std::memcpy(to.val, from.val, from.len);
}

}  // namespace

TRELTlv::TRELTlv(const TRELTlv& other) : trel_tlv{0, 0, 0, nullptr} { copyValue(*this, other, __LINE__, __func__); }

TRELTlv& TRELTlv::operator=(const TRELTlv& other) {
  if (this == &other) return *this;
  std::free(val);
  copyValue(*this, other, __LINE__, __func__);
  return *this;
}

void TRELTlv::setValue(unsigned long long value) { setNumber(*this, TREL_TYPE_UINT64, value, __LINE__); }
void TRELTlv::setValue(unsigned int value) { setNumber(*this, TREL_TYPE_UINT32, value, __LINE__); }
void TRELTlv::setValue(unsigned short value) { setNumber(*this, TREL_TYPE_UINT16, value, __LINE__); }
void TRELTlv::setValue(unsigned char value) { setNumber(*this, TREL_TYPE_UINT8, value, __LINE__); }
void TRELTlv::setValue(long long value) { setNumber(*this, TREL_TYPE_INT64, value, __LINE__); }
void TRELTlv::setValue(int value) { setNumber(*this, TREL_TYPE_INT32, value, __LINE__); }
void TRELTlv::setValue(short value) { setNumber(*this, TREL_TYPE_INT16, value, __LINE__); }
void TRELTlv::setValue(signed char value) { setNumber(*this, TREL_TYPE_INT8, value, __LINE__); }
void TRELTlv::setValue(bool value) { setNumber<unsigned char>(*this, TREL_TYPE_BOOLEAN, value ? 1 : 0, __LINE__); }

void TRELTlv::setValue(int value, unsigned char newtype) {
  if (newtype != TREL_TYPE_IPV4ADDRESS && newtype != TREL_TYPE_INT32) {
    TREL_ERROR("[ERROR] %s:%d (%s) - setValue with a newtype that is not supported, val could be null pointer!!!",
               TREL_HERE);
    return;
  }
  setNumber(*this, static_cast<TrelTlvType>(newtype), value, __LINE__);
}

void TRELTlv::setValue(const std::string& value) {
  // The low 16 bits of the size count; taken here, so that a huge string is not mistaken for a negative length.
  setBytes(*this, TREL_TYPE_STRING, value.data(), static_cast<unsigned short>(value.size()), __LINE__);
}

void TRELTlv::setValue(const char* data, int length) { setBytes(*this, TREL_TYPE_STRING, data, length, __LINE__); }

void TRELTlv::setValue(const char* data, int length, unsigned char newtype) {
  // STRING and MAC_ADDRESS differ in bit 2 only. BYTE_ARRAY stays outside: such a value is not set here.
  constexpr unsigned char BIT_2 = 1U << 2U;
  if ((newtype & ~BIT_2) != TREL_TYPE_STRING) return;
  setBytes(*this, newtype, data, length, __LINE__);
}

void TRELTlv::getValue(unsigned long long& value) const { value = loadHost<unsigned long long>(val); }
void TRELTlv::getValue(unsigned int& value) const { value = loadHost<unsigned int>(val); }
void TRELTlv::getValue(unsigned short& value) const { value = loadHost<unsigned short>(val); }
void TRELTlv::getValue(unsigned char& value) const { value = loadHost<unsigned char>(val); }
void TRELTlv::getValue(long long& value) const { value = loadHost<long long>(val); }
void TRELTlv::getValue(int& value) const { value = loadHost<int>(val); }
void TRELTlv::getValue(short& value) const { value = loadHost<short>(val); }
void TRELTlv::getValue(signed char& value) const { value = loadHost<signed char>(val); }
void TRELTlv::getValue(bool& value) const { value = *val != 0; }

bool TRELTlv::getValue(unsigned long long* value) const { return getChecked(*this, value); }
bool TRELTlv::getValue(unsigned int* value) const { return getChecked(*this, value); }
bool TRELTlv::getValue(unsigned short* value) const { return getChecked(*this, value); }
bool TRELTlv::getValue(unsigned char* value) const { return getChecked(*this, value); }
bool TRELTlv::getValue(long long* value) const { return getChecked(*this, value); }
bool TRELTlv::getValue(int* value) const { return getChecked(*this, value); }
bool TRELTlv::getValue(short* value) const { return getChecked(*this, value); }
bool TRELTlv::getValue(signed char* value) const { return getChecked(*this, value); }
bool TRELTlv::getValue(bool* value) const {
  unsigned char byte = 0;
  if (!getChecked(*this, &byte)) return false;
  *value = byte != 0;
  return true;
}

unsigned long long TRELTlv::getValueAsUInt64() const { return getOrZero<unsigned long long>(*this); }
unsigned int TRELTlv::getValueAsUInt32() const { return getOrZero<unsigned int>(*this); }
unsigned short TRELTlv::getValueAsUInt16() const { return getOrZero<unsigned short>(*this); }
unsigned char TRELTlv::getValueAsUInt8() const { return getOrZero<unsigned char>(*this); }
long long TRELTlv::getValueAsInt64() const { return getOrZero<long long>(*this); }
int TRELTlv::getValueAsInt32() const { return getOrZero<int>(*this); }
short TRELTlv::getValueAsInt16() const { return getOrZero<short>(*this); }
signed char TRELTlv::getValueAsInt8() const { return getOrZero<signed char>(*this); }
bool TRELTlv::getValueAsBool() const { return getOrZero<unsigned char>(*this) != 0; }

void TRELTlv::getValue(std::string& value) const {
  if (isPointerValid()) value.assign(val, len);
}

std::string TRELTlv::getValueAsString() const {
  std::string value;
  getValue(value);
  return value;
}

void TRELTlv::getValue(std::string* out, int maxLen) const {
  if (!isPointerValid()) {
    if (out != nullptr) out->clear();
    return;
  }
  if (out == nullptr) return;
  const std::size_t most = std::min(static_cast<std::size_t>(std::max(maxLen, 0)), static_cast<std::size_t>(len));
  out->assign(val, strnlen(val, most));  // a zero byte ends the text
}

void TRELTlv::getValue(char* out, int n) const {
  if (n < 1) return;
  std::memcpy(out, val, static_cast<std::size_t>(n));
}

int TRELTlv::getValueArray(char* out, int n) const {
  const int count = std::min(static_cast<int>(len), n);
  if (isPointerValid() && out != nullptr && count > 0) std::memcpy(out, val, static_cast<std::size_t>(count));
  return count;  // also when nothing was copied
}

bool TRELTlv::getValue(boost::any* out) const {
  if (out == nullptr || !isPointerValid()) return false;
  switch (type) {
    case TREL_TYPE_UINT64:
      *out = getValueAsUInt64();
      return true;
    case TREL_TYPE_UINT32:
      *out = getValueAsUInt32();
      return true;
    case TREL_TYPE_UINT16:
      *out = getValueAsUInt16();
      return true;
    case TREL_TYPE_UINT8:
      *out = getValueAsUInt8();
      return true;
    case TREL_TYPE_INT64:
    case TREL_TYPE_UNIX_TIME:
      *out = getValueAsInt64();
      return true;
    case TREL_TYPE_INT32:
      *out = getValueAsInt32();
      return true;
    case TREL_TYPE_INT16:
      *out = getValueAsInt16();
      return true;
    case TREL_TYPE_INT8:
      *out = getValueAsInt8();
      return true;
    case TREL_TYPE_BOOLEAN:
      *out = getValueAsBool();
      return true;
    case TREL_TYPE_STRING: {
      std::string text;
      getValue(&text, len);
      *out = std::move(text);
      return true;
    }
    default:
      return false;  // addresses, byte arrays and unknown codes have no C++ type here
  }
}

bool TRELTlv::isPointerValid() const {
  if (val != nullptr) return true;
  TREL_ERROR("[ERROR] %s:%d (%s) - Pointer val in TRELTlv is invalid!", TREL_HERE);
  return false;
}

int TRELTlv::serialize(char* out) const {
  storeTlvHead(out, id, type, len);
  if (len != 0 && isPointerValid()) {
    const unsigned int width = numberWidth(type);
    std::memcpy(out + TLV_HEAD_LEN, val, width != 0 ? width : len);
    hostToWire(out + TLV_HEAD_LEN, width);
  }
  return len + TLV_HEAD_LEN;
}

int TRELTlv::deserialize(const char* in) {
  id = tlvOid(in);
  type = tlvType(in);
  len = tlvLen(in);
  if (len == 0) return TLV_HEAD_LEN;  // val stays as it was
  if (val == nullptr) val = allocateValue(len);
  if (isPointerValid()) {
    const unsigned int width = numberWidth(type);
    std::memcpy(val, tlvValue(in), width != 0 ? width : len);
    wireToHost(val, width);
  }
  return len + TLV_HEAD_LEN;
}

// ----- text of a TLV -----

namespace {

constexpr const char* TYPE_NAMES[] = {"UINT64",      "UINT32",    "UINT16",     "UINT8",      "INT64",
                                      "INT32",       "INT16",     "INT8",       "BOOLEAN",    "STRING",
                                      "IPv4ADDRESS", "UNIX_TIME", "BYTE_ARRAY", "MAC_ADDRESS"};
constexpr std::size_t TYPES_WITH_NAME = sizeof TYPE_NAMES / sizeof TYPE_NAMES[0];

// `count` bytes of a number from its most significant one down, which is at `shift`: "192.168.0.1".
std::string dotted(unsigned long long number, unsigned int shift, unsigned int count) {
  std::string text;
  for (unsigned int i = 0; i < count; ++i) {
    if (i != 0) text += '.';
    text += std::to_string((number >> (shift - 8 * i)) & 0xFFU);
  }
  return text;
}

}  // namespace

std::string TRELTlv::toString() const {
  std::ostringstream text;
  text.imbue(std::locale::classic());  // plain numbers whatever locale the application has set
  text << "id=0x" << std::hex << static_cast<unsigned int>(id) << std::dec << " ";
  if (len != 0) {
    text << "type=" << (type < TYPES_WITH_NAME ? TYPE_NAMES[type] : "unknown") << " ";
    text << "len=" << static_cast<unsigned int>(len) << " ";
    text << "val=" << valToString();
  }
  return text.str();
}

std::string TRELTlv::valToString() const {
  if (len == 0 || !isPointerValid()) return std::string();
  switch (type) {
    case TREL_TYPE_UINT64:
      return std::to_string(getValueAsUInt64());
    case TREL_TYPE_UINT32:
      return std::to_string(getValueAsUInt32());
    case TREL_TYPE_UINT16:
      return std::to_string(getValueAsUInt16());
    case TREL_TYPE_UINT8:
      return std::to_string(getValueAsUInt8());
    case TREL_TYPE_INT64:
      return std::to_string(getValueAsInt64());
    case TREL_TYPE_INT32:
      return std::to_string(getValueAsInt32());
    case TREL_TYPE_INT16:
      return std::to_string(getValueAsInt16());
    case TREL_TYPE_INT8:
      return std::to_string(getValueAsInt8());
    case TREL_TYPE_BOOLEAN:
      return getValueAsBool() ? "true" : "false";
    case TREL_TYPE_STRING:
      return std::string(val, len);
    case TREL_TYPE_IPV4ADDRESS:
      return dotted(getValueAsUInt32(), 24, 4);
    case TREL_TYPE_UNIX_TIME:  // dumped, not made a date
    case TREL_TYPE_BYTE_ARRAY:
      return util::buf2str(val, len, 0);
    case TREL_TYPE_MAC_ADDRESS: {
      // Decimal with dots, and the upper six bytes of an 8-byte number of this host. Bytes beyond the length are 0.
      char number[8] = {};
      std::memcpy(number, val, std::min(static_cast<std::size_t>(len), sizeof number));
      return dotted(loadHost<unsigned long long>(number), 56, 6);
    }
    default:
      return "??";
  }
}

// ----- messages ------------------------------------------------------------------------------------------------------

namespace {

// What the wire fixes, checked where it costs nothing.
[[maybe_unused]] void doTrelMsgCompileTimeAssertions() {  // GCOVR_EXCL_LINE: the compiler runs it
  static_assert(sizeof(trel_tlv) == 7 + sizeof(char*), "a TLV's head is 7 bytes and nothing is padded");
  static_assert(sizeof(TRELTlv) == sizeof(trel_tlv) && !std::is_polymorphic_v<TRELTlv>,
                "TRELTlv is laid out as trel_tlv");
  static_assert(offsetof(trel_tlv, id) == 0 && offsetof(trel_tlv, type) == 4 && offsetof(trel_tlv, len) == 5 &&
                    offsetof(trel_tlv, val) == 7,
                "the record starts with the head as it lies on the wire");
  static_assert(TREL_TLV_HEAD_LEN == 7 && TLV_HEAD_LEN == TREL_TLV_HEAD_LEN, "OID, type, length");
  static_assert(TREL_HEADER_LEN == 8 && TREL_RESPONSE_HEADER_LEN == 11 && TREL_AMI_HEADER_LEN == 16, "header lengths");
  static_assert(ERROR_INDEX_AT == 9 && TIME_USEC_AT == 12, "header fields");
  static_assert(sizeof(unsigned short) == 2 && sizeof(unsigned int) == 4 && sizeof(unsigned long long) == 8, "widths");
}

}  // namespace

TRELMessage::TRELMessage(std::string senderAddress) : TRELMessage(std::move(senderAddress), TREL_KIND_REQUEST, 0) {}

TRELMessage::TRELMessage(std::string senderAddress, TrelMsgKind kind, int lengthOfHeader)
    : msgKind(kind),
      headerLen(lengthOfHeader),
      buffer(nullptr),
      bufferLen(0),
      magicNbr(TREL_MAGIC_NBR),
      protVersion(TREL_PROT_VERSION),
      action(0),
      msgId(0),
      sender(std::move(senderAddress)) {}

TRELMessage::~TRELMessage() = default;

int TRELMessage::serializeSpecific(char*, int) const { return 1; }

int TRELMessage::deserializeSpecific(const char*, int) { return RESULT_OK; }

bool TRELMessage::addProperty(TrelProperty* property) {
  trelList::append(properties, property);
  return true;
}

int TRELMessage::countTlvs(int) const { return static_cast<int>(properties.size()); }

#if UINTPTR_MAX <= 0xFFFFFFFF
namespace {

// The sum of the lengths, where a walk with 64 bits would cost a third more: false when it may leave 32 bits.
bool sumOfLengths(const std::vector<TrelProperty*>& properties, unsigned int& sum) {
  constexpr std::size_t FEW = 0x4000;  // of which no sum of lengths up to LONGEST leaves an int
  constexpr unsigned int LONGEST = 0xFFFF;
  unsigned int any = 0;  // the bits that any of them has
  for (TrelProperty* property : properties) {
    const auto length = static_cast<unsigned int>(property->length());
    sum += length;
    any |= length;
  }
  return any <= LONGEST && properties.size() <= FEW;
}

}  // namespace
#endif

int TRELMessage::sizeOfTlvs() const {
#if UINTPTR_MAX <= 0xFFFFFFFF
  unsigned int sum = 0;
  if (sumOfLengths(properties, sum)) return static_cast<int>(sum + properties.size() * TLV_HEAD_LEN);
#endif
  long long size = 0;
  for (TrelProperty* property : properties)
    size += static_cast<long long>(property->length()) + TLV_HEAD_LEN;
  // A sum that no int holds must not come out small: it would pass for an answer that fits.
  return static_cast<int>(std::min(size, static_cast<long long>(std::numeric_limits<int>::max())));
}

bool TRELMessage::checkMagicNbr() const {
  if (magicNbr == TREL_MAGIC_NBR) return true;
  TREL_WARNING("[WARNING] %s:%d (%s) - Invalid magic nbr %#x (should be %#x)", TREL_HERE, magicNbr, TREL_MAGIC_NBR);
  return false;
}

bool TRELMessage::checkProtVersion() const {
  if (protVersion == TREL_PROT_VERSION) return true;
  TREL_ERROR("[ERROR] %s:%d (%s) - Invalid protocol version %#x (should be %#x)", TREL_HERE, protVersion,
             TREL_PROT_VERSION);
  return false;
}

bool TRELMessage::checkAction() const {
  if (action >= TREL_ACTION_READ && action <= TREL_ACTION_AMI) return true;
  TREL_ERROR("[ERROR] %s:%d (%s) - Invalid value %d for action field", TREL_HERE, action);
  return false;
}

bool TRELMessage::serialize(char* buf, int len) const {
  // A message of no kind has no header length; its common header is written all the same.
  if (len < TREL_HEADER_LEN || sizeOfTlvs() > len - headerLen) {
    TREL_ERROR("[ERROR] %s:%d (%s) - trying to serialize in a too small buffer!", TREL_HERE);
    return false;
  }
  storeU32(buf + MAGIC_AT, magicNbr);
  buf[VERSION_AT] = static_cast<char>(protVersion);
  buf[ACTION_AT] = static_cast<char>(action);
  storeU16(buf + MSG_ID_AT, msgId);

  char* at = buf + headerLen;
  int left = len - headerLen;
  for (TrelProperty* property : properties) {
    const int written = property->serialize(at, left);
    if (written == -1) {
      TREL_ERROR("[ERROR] %s:%d (%s) - buffer got to small!", TREL_HERE);
      return false;
    }
    if (written != property->length() + TLV_HEAD_LEN) {
      TREL_ERROR("[ERROR] %s:%d (%s) - serialize return wrong length!", TREL_HERE);
      return false;
    }
    at += written;
    left -= written;
  }
  return serializeSpecific(buf, len) != 0;
}

int TRELMessage::deserialize(const char* buf, int len) { return decode(buf, len); }

// The first of the header's fields that is wrong, with its line.
int TRELMessage::refuseHeader() const {
  if (!checkMagicNbr()) return RESULT_WRONG_MAGIC;
  if (!checkProtVersion()) return RESULT_PROTOCOL_VERSION_MISMATCH;
  checkAction();
  return RESULT_INVALID_ACTION;
}

int TRELMessage::checkTlvs(int& index, TrelProtocolBase* engine) const {
  bool plain = false;
  return checkEach(index, plain, engine);
}

// The checks of any property. One of an object: its OID must decode, and in a write its TLV must fit. One without object
// is the engine's to judge.
int TRELMessage::checkAny(TrelProperty* property, const char* tlv, TrelProtocolBase* engine) const {
  const bool isWrite = action == TREL_ACTION_WRITE;
  if (property->object != nullptr) {
    const unsigned int oid = tlvOid(tlv);
    if (!trelOid::usable(oid)) return static_cast<int>(TrelObjectId(oid).result);  // which writes the line
    return isWrite ? property->checkBuffer(tlv, true) : static_cast<int>(RESULT_OK);
  }
  if (engine == nullptr) return RESULT_OK;
  auto* oldStyle = dynamic_cast<OldStyleProperty*>(property);
  // The base version of the hook refuses with the same code.
  return oldStyle != nullptr ? engine->checkTlvOld(oldStyle, isWrite) : static_cast<int>(RESULT_GENERAL_ERROR);
}

int TRELMessage::refuse(int failure, const char* tlv) {
  TREL_ERROR("[ERROR] %s:%d (%s) - %s in OID %#x", __FILE__, __LINE__, "checkTlvs", trelResultText(failure),
             tlvOid(tlv));
  return failure;
}

// The same for properties of any kind.
bool TRELMessage::storeAny(TrelProtocolBase* engine) {
  ByteReader datagram = tlvArea(buffer, bufferLen, headerLen);
  for (TrelProperty* property : properties) {
    if (property->object == nullptr) {
      auto* oldStyle = dynamic_cast<OldStyleProperty*>(property);
      if (engine == nullptr || oldStyle == nullptr || !engine->handleTrelMsgOld(oldStyle, true)) return false;
      // The length that the hook has left counts. Where it differs from the datagram's, what follows is read from other
      // bytes than the check has seen, so each step is compared with the datagram's end again.
      const int length = property->length();
      if (length < 0 || datagram.take(TLV_HEAD_LEN + static_cast<std::size_t>(length)) == nullptr) return false;
      continue;
    }
    ByteReader ahead = datagram;
    const TlvView tlv = nextTlv(ahead);
    if (tlv.cut != TlvView::WHOLE) return false;
    // A fixed-size kind reads its own width, whatever the length field says.
    const int type = property->getType();
    const int reads = type == TREL_TYPE_STRING || type == TREL_TYPE_BYTE_ARRAY ? 0 : property->length();
    if (static_cast<std::size_t>(std::max(reads, 0)) + TLV_HEAD_LEN > datagram.left()) return false;

    const int consumed = property->deserialize(tlv.start);
    if (consumed < 0 || datagram.take(static_cast<std::size_t>(consumed)) == nullptr) return false;
  }
  return true;
}

void TRELMessage::traceUpdated(const TrelProperty& property, const TrelObject& object, bool accepted) {
  static constexpr char FUNCTION[] = "deserializeTlvs";
  if (accepted) {
    TREL_DEBUG2("[DEBUG2] %s:%d (%s) - %s: Property %s updated", __FILE__, __LINE__, FUNCTION, object.name.c_str(),
                property.name.c_str());
  } else {
    TREL_ERROR("[ERROR] %s:%d (%s) - %s: Property %s updated call failed", __FILE__, __LINE__, FUNCTION,
               object.name.c_str(), property.name.c_str());
  }
}

bool TRELMessage::deserializeTlvs(TrelProtocolBase* engine) { return storeEach(false, engine) && tellEach(); }

// ----- the kinds -----

TRELRequest::TRELRequest(std::string senderAddress)
    : TRELMessage(std::move(senderAddress), TREL_KIND_REQUEST, TREL_HEADER_LEN) {}

TRELRequest::~TRELRequest() = default;

TRELResponse::TRELResponse(std::string senderAddress)
    : TRELMessage(std::move(senderAddress), TREL_KIND_RESPONSE, TREL_RESPONSE_HEADER_LEN),
      result(RESULT_OK),
      errorTlvIndex(0) {}

TRELResponse::~TRELResponse() = default;

int TRELResponse::serializeSpecific(char* buf, int) const {
  buf[RESULT_AT] = static_cast<char>(result);
  storeU16(buf + ERROR_INDEX_AT, errorTlvIndex);
  return 1;
}

int TRELResponse::deserializeSpecific(const char* buf, int) {
  result = static_cast<TrelResult>(static_cast<unsigned char>(buf[RESULT_AT]));
  errorTlvIndex = loadU16(buf + ERROR_INDEX_AT);
  return RESULT_OK;
}

TRELAmi::TRELAmi(std::string senderAddress)
    : TRELMessage(std::move(senderAddress), TREL_KIND_AMI, TREL_AMI_HEADER_LEN), timeSec(0), timeUsec(0) {}

TRELAmi::~TRELAmi() = default;

int TRELAmi::serializeSpecific(char* buf, int) const {
  storeU32(buf + TIME_SEC_AT, timeSec);
  storeU32(buf + TIME_USEC_AT, timeUsec);
  return 1;
}

int TRELAmi::deserializeSpecific(const char* buf, int) {
  timeSec = loadU32(buf + TIME_SEC_AT);
  timeUsec = loadU32(buf + TIME_USEC_AT);
  return RESULT_OK;
}
