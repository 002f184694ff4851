// Properties: the typed management variables that a peer reads and writes.
//
//   TrelProperty                         what all kinds share, and the interface through which the engine sees them
//     TypeProperty<T>                    the nine numbers: 64, 32, 16 and 8 bit, unsigned and signed, and bool
//     StringProperty  ArrayProperty      text, bytes
//     MacAddressProperty  IpAddressProperty  UnixTimeProperty
//     OldStyleProperty                   made by the engine from a TLV that no registered object knows
//
// A property belongs to one row of one TrelObject, which deletes it. It is made with `new` and handed to
// TrelObject::addProp. Everything here is used from the one thread that drives the engine.
//
// Getters and setters return nothing: the argument's type selects the overload, and a property that is of another type
// logs "Not implemented for ..." and changes nothing. set(42) is the int overload, so an unsigned property refuses it:
// write 42U. A text literal is converted to bool before it is made a std::string: write set(std::string("text")).
#ifndef TREL_TRELPROPERTY_H
#define TREL_TRELPROPERTY_H

#include <cstring>
#include <string>
#include <type_traits>

#include "trel/trelObjectId.h"
#include "trel/trelmsg.h"

class TrelObject;

// Who may write a property. Only READ_ONLY is ever tested: every other value, known here or not, is writable.
enum IfcCardVarAccessType : unsigned int { IFC_CARD_VAR_READ_WRITE = 0, IFC_CARD_VAR_READ_ONLY = 1 };

// The base of all property kinds.
class TREL_API TrelProperty {
 public:
  std::string name;                 // tag of every log line about the property
  IfcCardVarAccessType accessType;  // what a received write meets; the application's own set() is never refused for it
  unsigned int id;     // variable id in a scalar, column in a table; the whole OID of an old-style property
  unsigned int row;    // set by TrelObject::addProp, 0 before
  bool eventable;      // takes part in event reporting
  bool eventPending;   // a change waits to be reported; see sendEvent
  TrelObject* object;  // the owner, set by TrelObject::addProp; null for a property outside any object

 protected:
  // The name is copied and must not be null (std::logic_error).
  TrelProperty(unsigned int id, const char* name, IfcCardVarAccessType accessType, bool eventable);
  TrelProperty(const TrelProperty&) = delete;
  TrelProperty& operator=(const TrelProperty&) = delete;

 public:
  // A property that is destroyed while it waits in the pending autonomous message is taken out of it.
  virtual ~TrelProperty();

  // Back to the default value given at construction. Never raises an event.
  virtual void setToDefault();
  virtual bool isDefault() = 0;

  // Writes the property as one TLV into buf[0, size): OID, type and length big-endian, then the value as it is now.
  // Returns the bytes written, 7 + length(). -1, with one ERROR line and nothing written, when size is smaller.
  virtual int serialize(char* buf, int size) = 0;

  // Stores the value of a received TLV that checkBuffer has accepted; asks nothing again, raises no event, calls no
  // hook. Returns 7 + the TLV's length field.
  virtual int deserialize(const char* tlv) = 0;

  virtual int length() = 0;  // bytes of the value in a TLV
  // TrelTlvType. A number is decoded at the width of this code: a subclass that answers another code must have its
  // length() agree, or the value is read beyond the TLV.
  virtual int getType() = 0;

  // Whether a received value (wire order, len bytes) may be written. Every value may, unless a kind says otherwise.
  virtual bool validValue(const char* value, int len);

  // Typed access. Each kind overrides the pair of its own type; the others log an ERROR line and change nothing, and a
  // getter leaves the caller's variable as it was.
  virtual void get(unsigned long long* value);
  virtual void get(unsigned int* value);
  virtual void get(unsigned short* value);
  virtual void get(unsigned char* value);
  virtual void get(long long* value);
  virtual void get(int* value);
  virtual void get(short* value);
  virtual void get(signed char* value);
  virtual void get(bool* value);
  virtual void get(std::string* value);
  virtual void get(unsigned char* buf, unsigned int* len);
  virtual void set(unsigned long long value);
  virtual void set(unsigned int value);
  virtual void set(unsigned short value);
  virtual void set(unsigned char value);
  virtual void set(long long value);
  virtual void set(int value);
  virtual void set(short value);
  virtual void set(signed char value);
  virtual void set(bool value);
  virtual void set(std::string value);
  virtual void set(unsigned char* buf, unsigned int len);

  // One line of text with its newline: id, name, value, default.
  virtual std::string str() const = 0;

  // The OID: the owner composes it from `id` and `row`; without an owner it is `id`.
  unsigned int getOid();

  // Hands the pending event out once: returns eventPending and clears it.
  bool sendEvent();

  // Whether a received TLV fits this property; changes nothing. The first failure decides:
  //   RESULT_WRONG_OID    the TLV is for another OID
  //   RESULT_WRONG_TYPE   type code and getType() differ
  //   RESULT_WRONG_LEN    length field and length() differ; a STRING may have any length
  //   and with checkValue, as for a write:
  //   RESULT_READ_ONLY    accessType is READ_ONLY (no log line)
  //   RESULT_WRONG_VALUE  validValue refuses
  // Each but READ_ONLY leaves its ERROR lines. The caller knows the TLV to be whole: no length of the datagram is
  // compared.
  int checkBuffer(const char* tlv, bool checkValue);

 protected:
  friend class TRELMessage;
  // For the templates below, compiled once for all numbers; `line` and `function` are the caller's, for the log.
  // The number at the width of the code that getType() answers; false, with an ERROR line and nothing in `decoded`, when
  // that is no number's.
  bool decodeNumber(const char* value, unsigned long long& decoded, int line, const char* function);
  // Compiled for the stored types of the nine numbers. An object that is not of a subclass is written and read without
  // asking anybody, unless its OID must be asked for or `size` is too small: false, and nothing is written.
  template <typename Stored>
  TREL_LOCAL bool writeOwn(char* buf, int size, TrelTlvType code, const Stored& value);
  template <typename Stored>
  TREL_LOCAL static Stored readOwn(const char* value);
  // Any other is asked for OID, type and length.
  template <typename Stored>
  TREL_LOCAL int serializeAsked(char* buf, int size, const Stored& value);
  template <typename Stored>
  TREL_LOCAL int deserializeAsked(const char* tlv, Stored& value);
  // The virtual table of a property, which tells its class. While a constructor runs, that of the constructor's class.
  static const void* tableOf(const TrelProperty& property) {
    const void* table = nullptr;
    std::memcpy(&table, static_cast<const void*>(&property), sizeof table);
    return table;
  }
  inline bool composeOid(unsigned int& oid) const;
  inline bool hasOwnForm(const char* tlv) const;
  TREL_LOCAL int checkForm(const char* tlv);
  inline int checkWritable(const char* tlv);
  TREL_LOCAL int refuseValue(const char* tlv) const;
  // Of the library's own class for this type code, and of no subclass.
  bool isExactly(TrelTlvType code) const { return tableOf(*this) == exactTables[code]; }
  // The tables of those classes, by type code.
  TREL_LOCAL static const void* exactTables[TREL_TYPE_NONE + 1];
  void traceValueCheck(int line) const;
  static int lengthWithHead(const char* tlv);
  std::string describe(const std::string& value, const std::string& defaultValue) const;
};

namespace trelDetail {

// For RangeCheckValue below: whether its DEBUG1 line is wanted, and the line.
TREL_API bool wantsRangeTrace();
TREL_API void traceRange(int line, const std::string& min, const std::string& max, const std::string& value);

// The decimal digits of a number, compiled once for all types.
TREL_API std::string digits(unsigned long long number);
TREL_API std::string digits(long long number);

// Type code of a number; TREL_TYPE_NONE for any other type.
template <typename T>
constexpr TrelTlvType typeCode() {
  return std::is_same_v<T, unsigned long long> ? TREL_TYPE_UINT64
         : std::is_same_v<T, unsigned int>     ? TREL_TYPE_UINT32
         : std::is_same_v<T, unsigned short>   ? TREL_TYPE_UINT16
         : std::is_same_v<T, unsigned char>    ? TREL_TYPE_UINT8
         : std::is_same_v<T, long long>        ? TREL_TYPE_INT64
         : std::is_same_v<T, int>              ? TREL_TYPE_INT32
         : std::is_same_v<T, short>            ? TREL_TYPE_INT16
         : std::is_same_v<T, signed char>      ? TREL_TYPE_INT8
         : std::is_same_v<T, bool>             ? TREL_TYPE_BOOLEAN
                                               : TREL_TYPE_NONE;
}

// A value as text: the 8-bit types as numbers, a flag as 0 or 1.
template <typename T>
std::string valueText(T value) {
  if constexpr (std::is_signed_v<T>) {
    return digits(static_cast<long long>(value));
  } else {
    return digits(static_cast<unsigned long long>(value));
  }
}

}  // namespace trelDetail

// ----- numbers -------------------------------------------------------------------------------------------------------

// A number or a flag. T is one of unsigned long long, unsigned int, unsigned short, unsigned char, long long, int,
// short, signed char, bool; those nine are compiled into the library.
template <typename T>
class TREL_API TypeProperty : public TrelProperty {
  static_assert(
      !std::is_same_v<T, unsigned long>,
      "TypeProperty<unsigned long> has no type code: use unsigned long long (64 bit) or unsigned int (32 bit)");
  static_assert(!std::is_same_v<T, long>,
                "TypeProperty<long> has no type code: use long long (64 bit) or int (32 bit)");

 public:
  // A bool is kept as the byte that was received: 2 stays 2, goes out as 2 and differs from a default of true.
  using Stored = std::conditional_t<std::is_same_v<T, bool>, unsigned char, T>;

  // Decides whether a received value may be written. The application's own set() does not ask it.
  class TREL_API TypeValueCheck {
   public:
    virtual ~TypeValueCheck() = default;
    virtual bool checkValue(T value) = 0;
  };

  Stored value;
  Stored defaultValue;
  TypeValueCheck* valueCheck;  // may be null; owned, so a check belongs to one property only

  // Value and default start at `def`.
  TypeProperty(unsigned int id, const char* name, IfcCardVarAccessType accessType, T def, TypeValueCheck* check,
               bool eventable);
  TypeProperty(unsigned int id, const char* name, IfcCardVarAccessType accessType, T def, TypeValueCheck* check);
  TypeProperty(unsigned int id, const char* name, IfcCardVarAccessType accessType, T def, bool eventable);
  TypeProperty(unsigned int id, const char* name, IfcCardVarAccessType accessType, T def);
  ~TypeProperty() override;

  using TrelProperty::get;
  using TrelProperty::set;

  void setToDefault() override;
  bool isDefault() override;
  int serialize(char* buf, int size) override;
  // Reads the value at the width of getType(), asked through the virtual table. A code that is no number leaves the
  // value as it is, with the ERROR line "type deserializing is not handled ok!".
  int deserialize(const char* tlv) override;
  int length() override;
  int getType() override;
  // True without a check; otherwise the check decides, on the value decoded as `deserialize` does. False, with the
  // ERROR line "type deserializing is not handled ok!", when getType() is no number. len is not asked.
  bool validValue(const char* value, int len) override;
  void get(T* out) override;
  // Stores v, without asking the check. A changed value of an eventable property raises the event.
  void set(T v) override;
  std::string str() const override;

 private:
  // Apart from validValue, which most often has nothing to ask.
  bool passesCheck(const char* received);
};

// Accepts min to max, both included. With min above max nothing is accepted.
template <typename T>
class TREL_API RangeCheckValue : public TypeProperty<T>::TypeValueCheck {
  static_assert(!std::is_same_v<T, bool>,
                "RangeCheckValue<bool> checks nothing: derive from TypeProperty<bool>::TypeValueCheck");

 public:
  RangeCheckValue(T minimum, T maximum);
  ~RangeCheckValue() override;
  // Leaves one DEBUG1 line with the three numbers; the 8-bit types stand in it as raw characters, not as numbers.
  bool checkValue(T value) override;

 private:
  T min;
  T max;
};

// ----- text and bytes ------------------------------------------------------------------------------------------------

// A text. Its length on the wire is the value's; a received one may have any length, unless the check refuses it.
class TREL_API StringProperty : public TrelProperty {
 public:
  class TREL_API StringValueCheck {
   public:
    virtual ~StringValueCheck() = default;
    virtual bool checkValue(std::string value) = 0;
  };

  // The check may be null and stays the application's: it must live as long as the property.
  StringProperty(unsigned int id, const char* name, IfcCardVarAccessType access, std::string defaultValue);
  StringProperty(unsigned int id, const char* name, IfcCardVarAccessType access, std::string defaultValue,
                 bool eventable);
  StringProperty(unsigned int id, const char* name, IfcCardVarAccessType access, std::string defaultValue,
                 StringValueCheck* check);
  StringProperty(unsigned int id, const char* name, IfcCardVarAccessType access, std::string defaultValue,
                 StringValueCheck* check, bool eventable);
  ~StringProperty() override;

  using TrelProperty::get;
  using TrelProperty::set;

  void setToDefault() override;
  bool isDefault() override;
  int serialize(char* buf, int size) override;
  int deserialize(const char* tlv) override;
  int length() override;
  int getType() override;
  // Hands the check exactly len bytes, zero bytes included.
  bool validValue(const char* value, int len) override;
  void get(std::string* out) override;
  // Stores v. Never raises an event, not even for an eventable property: report a changed text with
  // TrelProtocolBase::addToAmi.
  void set(std::string v) override;
  std::string str() const override;

 private:
  TREL_LOCAL int serializeAsked(char* buf, int size);

  std::string value;
  std::string defaultValue;
  StringValueCheck* valueCheck;
};

// A block of bytes, as declared by an application. It starts without a block and takes a value only when it holds one,
// so it never comes to hold one: what a peer can learn of it is its length, which follows what was received. The
// content of a byte-array value that this class sends is undefined for the receiver; only head and length mean
// something.
class TREL_API ArrayProperty : public TrelProperty {
 public:
  ArrayProperty(unsigned int id, const char* name, IfcCardVarAccessType access, bool eventable);
  ~ArrayProperty() override;

  using TrelProperty::get;
  using TrelProperty::set;

  void setToDefault() override;  // nothing: there is no default
  bool isDefault() override;     // always false
  // The value area holds the bytes of the reference to the block and of the length behind it, then zeros.
  int serialize(char* buf, int size) override;
  // Takes the length in every case; the bytes only when a block is held.
  int deserialize(const char* tlv) override;
  int length() override;
  int getType() override;
  // Stores the length in *len; copies the bytes to out when out is not null and a block is held.
  void get(unsigned char* out, unsigned int* len) override;
  // Without a held block: nothing. Otherwise replaces the block by n bytes; raises the event of an eventable property
  // when all n bytes are zero, because they are compared with the new, zeroed block.
  void set(unsigned char* data, unsigned int n) override;
  std::string str() const override;

 private:
  unsigned char* value;
  unsigned int valueLength;
};

// ----- addresses and time --------------------------------------------------------------------------------------------

// Six bytes that travel as stored.
class TREL_API MacAddressProperty : public TrelProperty {
 public:
  // Six bytes, or null for all zeros.
  MacAddressProperty(unsigned int id, const char* name, IfcCardVarAccessType access, unsigned char* defaultBytes,
                     bool eventable);
  // "00:1a:2B:3c:4D:5e": six hexadecimal fields of which the low 8 bits count. Empty text: zeros. Any other text:
  // zeros, with an ERROR line.
  MacAddressProperty(unsigned int id, const char* name, IfcCardVarAccessType access, std::string defaultText,
                     bool eventable);
  ~MacAddressProperty() override;

  using TrelProperty::get;
  using TrelProperty::set;

  void setToDefault() override;
  bool isDefault() override;
  int serialize(char* buf, int size) override;
  int deserialize(const char* tlv) override;  // six bytes whatever the length field says
  int length() override;
  int getType() override;
  void get(unsigned char* out) override;  // copies six bytes
  // Takes n bytes, six at most. Raises the event of an eventable property when the first six bytes at `data` are equal
  // to the value that is held (bytes beyond n count as 0): a repeated address is reported, a changed one is not.
  void set(unsigned char* data, unsigned int n) override;
  std::string str() const override;

 private:
  unsigned char value[6];
  unsigned char defaultValue[6];
};

// An IPv4 address as a number whose most significant byte is the first one of the dotted form; big-endian on the wire.
class TREL_API IpAddressProperty : public TrelProperty {
 public:
  IpAddressProperty(unsigned int id, const char* name, IfcCardVarAccessType access, unsigned int defaultAddress,
                    bool eventable);
  // Dotted text. Its four bytes are taken as the memory image of the number: on a little-endian host an address given
  // as text reaches the wire reversed, one given as a number does not. What inet_pton refuses becomes 0, with an ERROR
  // line.
  IpAddressProperty(unsigned int id, const char* name, IfcCardVarAccessType access, std::string defaultText,
                    bool eventable);
  ~IpAddressProperty() override;

  using TrelProperty::get;
  using TrelProperty::set;

  void setToDefault() override;
  bool isDefault() override;
  int serialize(char* buf, int size) override;
  int deserialize(const char* tlv) override;
  int length() override;
  int getType() override;
  void get(unsigned int* out) override;
  void set(unsigned int v) override;  // a changed value of an eventable property raises the event
  std::string str() const override;

 private:
  unsigned int value;
  unsigned int defaultValue;
};

// A signed 64-bit time; unit and epoch are the application's.
class TREL_API UnixTimeProperty : public TrelProperty {
 public:
  UnixTimeProperty(unsigned int id, const char* name, IfcCardVarAccessType access, long long defaultTime,
                   bool eventable);
  ~UnixTimeProperty() override;

  using TrelProperty::get;
  using TrelProperty::set;

  void setToDefault() override;
  bool isDefault() override;
  int serialize(char* buf, int size) override;
  int deserialize(const char* tlv) override;
  int length() override;
  int getType() override;
  void get(long long* out) override;
  void set(long long v) override;  // a changed value of an eventable property raises the event
  std::string str() const override;

 private:
  long long value;
  long long defaultValue;
};

// ----- old-style -----------------------------------------------------------------------------------------------------

// A value of any type, made from one TLV. The engine makes one for each TLV of a request whose OID no registered object
// knows and hands it to the application's checkTlvOld and handleTrelMsgOld; it lives for that request only.
//
// `id` is the TLV's whole OID, `row` the row in it, `object` null. The value lies in host order in a buffer of the
// property's own that holds at least 8 bytes, zero-filled: a value shorter than its type's width reads as if zero bytes
// followed.
//
// The typed accessors accept exactly these types and log an ERROR line for any other:
//   unsigned 64, 32, 16, 8: UINT64, UINT32, UINT16, UINT8     bool: BOOLEAN       std::string: STRING
//   get(long long*): INT64     set(long long): none, it refuses every property, INT64 too
//   int: INT32 and IPv4ADDRESS   short: INT16   signed char: INT8   bytes: BYTE_ARRAY and MAC_ADDRESS   UNIX_TIME: none
// None raises an event. A getter without a value logs "Pointer val in OldStyleProperty is invalid!" and leaves the
// target.
class TREL_API OldStyleProperty : public TrelProperty {
 public:
  // From a raw record: OID at offset 0, type at 4, length at 5, value from 7 on (not behind `val`). With hostOrder
  // false the record is in wire order, as it lies in a datagram; OID, length and the types 0, 4, 1, 5, 2 and 6 are
  // converted, an IPv4ADDRESS and a UNIX_TIME stay in wire order here although `deserialize` and `serialize` convert
  // them. The caller knows the record to be whole.
  // Named "OldStyleProperty_" and a number that counts all of them in the process from 1.
  OldStyleProperty(trel_tlv* record, bool hostOrder);
  // A deep copy, outside any object.
  OldStyleProperty(const OldStyleProperty& other);
  ~OldStyleProperty() override;

  void setToDefault() override;  // nothing: there is no default
  bool isDefault() override;     // always false
  // 0, with an ERROR line, when there is a length but no value. Exactly length() bytes are written, the first ones of a
  // number's big-endian form.
  int serialize(char* buf, int size) override;
  // Takes OID, type, length and value of a record in wire order; `row` stays.
  int deserialize(const char* tlv) override;
  int length() override;
  int getType() override;

  using TrelProperty::get;
  using TrelProperty::set;

  void get(unsigned long long* out) override;
  void get(unsigned int* out) override;
  void get(unsigned short* out) override;
  void get(unsigned char* out) override;
  void get(long long* out) override;
  void get(int* out) override;
  void get(short* out) override;
  void get(signed char* out) override;
  void get(bool* out) override;
  void get(std::string* out) override;
  // Copies *len bytes, the caller's count: those that are held, then zeros. *len stays.
  void get(unsigned char* out, unsigned int* len) override;
  void set(unsigned long long value) override;
  void set(unsigned int value) override;
  void set(unsigned short value) override;
  void set(unsigned char value) override;
  void set(long long value) override;
  void set(int value) override;
  void set(short value) override;
  void set(signed char value) override;
  void set(bool value) override;
  // These two take the new value's length with it; an empty one leaves no value at all.
  void set(std::string value) override;
  void set(unsigned char* data, unsigned int n) override;

  std::string str() const override;  // the name and a colon; the value is not rendered

  // True when there is a value; otherwise false with an ERROR line.
  bool isPointerValid() const;

 private:
  TREL_LOCAL bool mayGet(bool accepted, int line) const;
  TREL_LOCAL bool maySet(bool accepted, int line) const;
  TREL_LOCAL void copyOut(void* out, unsigned int width) const;
  TREL_LOCAL void copyIn(const void* newValue, unsigned int width, int line);
  TREL_LOCAL void replaceValue(const void* data, unsigned int n, int line);

  TREL_LOCAL static unsigned int counter;  // of all old-style properties in the process, for their names

  char* m_value_pointer;
  unsigned int m_length;
  unsigned int m_type;
};

// ----- the templates -------------------------------------------------------------------------------------------------

template <typename T>
TypeProperty<T>::TypeProperty(unsigned int propertyId, const char* propertyName, IfcCardVarAccessType access, T def,
                              TypeValueCheck* check, bool isEventable)
    : TrelProperty(propertyId, propertyName, access, isEventable),
      value(static_cast<Stored>(def)),
      defaultValue(static_cast<Stored>(def)),
      valueCheck(check) {
  exactTables[trelDetail::typeCode<T>()] = tableOf(*this);
}

template <typename T>
TypeProperty<T>::TypeProperty(unsigned int propertyId, const char* propertyName, IfcCardVarAccessType access, T def,
                              TypeValueCheck* check)
    : TypeProperty(propertyId, propertyName, access, def, check, false) {}

template <typename T>
TypeProperty<T>::TypeProperty(unsigned int propertyId, const char* propertyName, IfcCardVarAccessType access, T def,
                              bool isEventable)
    : TypeProperty(propertyId, propertyName, access, def, nullptr, isEventable) {}

template <typename T>
TypeProperty<T>::TypeProperty(unsigned int propertyId, const char* propertyName, IfcCardVarAccessType access, T def)
    : TypeProperty(propertyId, propertyName, access, def, nullptr, false) {}

template <typename T>
TypeProperty<T>::~TypeProperty() {
  delete valueCheck;
}

template <typename T>
void TypeProperty<T>::setToDefault() {
  value = defaultValue;  // a reset is not reported: eventPending stays
}

template <typename T>
bool TypeProperty<T>::isDefault() {
  return value == defaultValue;
}

namespace trelDetail {
// Where the next two stand, for the log.
inline constexpr int SERIALIZE_LINE = __LINE__ + 4;
inline constexpr int DESERIALIZE_LINE = __LINE__ + 10;
}  // namespace trelDetail

template <typename T>
int TypeProperty<T>::serialize(char* buf, int size) {
  constexpr TrelTlvType CODE = trelDetail::typeCode<T>();
  if (!isExactly(CODE) || !writeOwn<Stored>(buf, size, CODE, value)) return serializeAsked<Stored>(buf, size, value);
  return TREL_TLV_HEAD_LEN + static_cast<int>(sizeof(Stored));
}

template <typename T>
int TypeProperty<T>::deserialize(const char* tlv) {
  if (!isExactly(trelDetail::typeCode<T>())) return deserializeAsked<Stored>(tlv, value);
  value = readOwn<Stored>(tlv + TREL_TLV_HEAD_LEN);
  return lengthWithHead(tlv);
}

template <typename T>
int TypeProperty<T>::length() {
  return static_cast<int>(sizeof(Stored));
}

template <typename T>
int TypeProperty<T>::getType() {
  return trelDetail::typeCode<T>();
}

template <typename T>
bool TypeProperty<T>::validValue(const char* received, int) {
  return valueCheck == nullptr || passesCheck(received);
}

template <typename T>
[[gnu::noinline]] bool TypeProperty<T>::passesCheck(const char* received) {
  unsigned long long decoded = 0;
  if (!decodeNumber(received, decoded, __LINE__, "validValue")) return false;
  traceValueCheck(__LINE__);
  return valueCheck->checkValue(static_cast<T>(static_cast<Stored>(decoded)));
}

template <typename T>
void TypeProperty<T>::get(T* out) {
  *out = static_cast<T>(value);
}

template <typename T>
void TypeProperty<T>::set(T v) {
  const Stored stored = static_cast<Stored>(v);
  if (eventable && stored != value) eventPending = true;
  value = stored;
}

template <typename T>
std::string TypeProperty<T>::str() const {
  return describe(trelDetail::valueText(static_cast<T>(value)), trelDetail::valueText(static_cast<T>(defaultValue)));
}

template <typename T>
RangeCheckValue<T>::RangeCheckValue(T minimum, T maximum) : min(minimum), max(maximum) {}

template <typename T>
RangeCheckValue<T>::~RangeCheckValue() = default;

template <typename T>
bool RangeCheckValue<T>::checkValue(T value) {
  if (trelDetail::wantsRangeTrace()) {
    // The 8-bit types stand in the line as the characters that they are.
    const auto text = [](T number) {
      if constexpr (sizeof(T) == 1) {
        return std::string(1, static_cast<char>(number));
      } else {
        return trelDetail::valueText(number);
      }
    };
    trelDetail::traceRange(__LINE__, text(min), text(max), text(value));
  }
  return min <= value && value <= max;
}

extern template class TypeProperty<unsigned long long>;
extern template class TypeProperty<unsigned int>;
extern template class TypeProperty<unsigned short>;
extern template class TypeProperty<unsigned char>;
extern template class TypeProperty<long long>;
extern template class TypeProperty<int>;
extern template class TypeProperty<short>;
extern template class TypeProperty<signed char>;
extern template class TypeProperty<bool>;

extern template class RangeCheckValue<unsigned long long>;
extern template class RangeCheckValue<unsigned int>;
extern template class RangeCheckValue<unsigned short>;
extern template class RangeCheckValue<unsigned char>;
extern template class RangeCheckValue<long long>;
extern template class RangeCheckValue<int>;
extern template class RangeCheckValue<short>;
extern template class RangeCheckValue<signed char>;

#endif
