// The wire format: the TLV that carries one value, and the messages that carry TLVs.
//
//   datagram          one message, at most 1200 bytes as an answer to a read
//   message           header, then TLVs back to back; no count and no total length: the datagram's end is the message's end
//   header            8 bytes common to all | response: 3 more | autonomous message: 8 more
//   TLV               OID (4) | type (1) | value length (2) | value
//
// Every multi-byte number on the wire is big-endian; everything in memory is in host order. There is no padding
// anywhere.
#ifndef TREL_TRELMSG_H
#define TREL_TRELMSG_H

#include <boost/any.hpp>
#include <cstdlib>
#include <string>
#include <vector>

#include "trel/trelObjectId.h"

class TrelObject;
class TrelProperty;
class TrelProtocolBase;

// ----- TLV -----------------------------------------------------------------------------------------------------------

// Type codes of TLVs. On the wire: do not renumber.
enum TrelTlvType : unsigned char {
  TREL_TYPE_UINT64 = 0,        // 8 bytes, unsigned, big-endian
  TREL_TYPE_UINT32 = 1,        // 4 bytes
  TREL_TYPE_UINT16 = 2,        // 2 bytes
  TREL_TYPE_UINT8 = 3,         // 1 byte
  TREL_TYPE_INT64 = 4,         // 8 bytes, two's complement, big-endian
  TREL_TYPE_INT32 = 5,         // 4 bytes
  TREL_TYPE_INT16 = 6,         // 2 bytes
  TREL_TYPE_INT8 = 7,          // 1 byte
  TREL_TYPE_BOOLEAN = 8,       // 1 byte: 0 false, any other value true
  TREL_TYPE_STRING = 9,        // the characters, no terminator
  TREL_TYPE_IPV4ADDRESS = 10,  // 4 bytes, big-endian
  TREL_TYPE_UNIX_TIME = 11,    // 8 bytes, big-endian
  TREL_TYPE_BYTE_ARRAY = 12,   // the bytes as they are
  TREL_TYPE_MAC_ADDRESS = 13,  // the bytes as they are, 6 for a MAC address
  TREL_TYPE_NONE = 14          // what a property without a code of its own reports; not on the wire
};

// Bytes before a TLV's value: OID, type, length.
inline constexpr int TREL_TLV_HEAD_LEN = 4 + 1 + 2;

// One TLV in memory. Packed: the first three members lie as the 7-byte head does on the wire (but in host order).
struct __attribute__((packed)) trel_tlv {
  unsigned int id;     // OID
  unsigned char type;  // TrelTlvType, or any other value that a peer sent
  unsigned short len;  // bytes of the value
  char* val;           // the value, from malloc; null when there is none. A number is kept in host order at its width
};

// A TLV with typed setters and getters and its conversion to and from the wire. Same members, same packed layout.
//
// Meant to receive one value. A setter or `deserialize` that finds `val` set writes into that buffer as it is, without
// freeing it, growing it or looking at its size: a second value must not be longer than the first one (a buffer made
// here holds at least 8 bytes, so that numbers always fit). The rule is part of the design; who needs a fresh TLV makes
// one.
//
// The record owns `val`: the destructor frees it, copies are deep. When malloc fails, `val` stays null, one ERROR line
// "malloc failed!" is written and nothing is thrown; the checked getters then refuse.
class TREL_API TRELTlv : public trel_tlv {
 public:
  TRELTlv() : trel_tlv{0, 0, 0, nullptr} {}
  // Copies `len` bytes of the value.
  TRELTlv(const TRELTlv& other);
  // Frees the value that was held, then copies as the copy constructor does.
  TRELTlv& operator=(const TRELTlv& other);
  ~TRELTlv() { std::free(val); }

  // --- setters: `id` stays, `type` and `len` follow from the argument, the value is stored in host order ---
  void setValue(unsigned long long value);  // UINT64, 8
  void setValue(unsigned int value);        // UINT32, 4
  void setValue(unsigned short value);      // UINT16, 2
  void setValue(unsigned char value);       // UINT8, 1
  void setValue(long long value);           // INT64, 8
  void setValue(int value);                 // INT32, 4
  void setValue(short value);               // INT16, 2
  void setValue(signed char value);         // INT8, 1
  void setValue(bool value);                // BOOLEAN, 1: the byte 1 or 0
  // A 4-byte value with a code of the caller's: IPv4ADDRESS or INT32. Any other code leaves the record as it is, with
  // one ERROR line.
  void setValue(int value, unsigned char newtype);
  // STRING: the characters without a terminator. Of a length the low 16 bits count. Write
  // setValue(std::string("text")): a plain literal is converted to bool first.
  void setValue(const std::string& value);
  // STRING from `length` bytes. A negative length stores that many (its low 16 bits) zero bytes, and so does a null
  // `data`.
  void setValue(const char* data, int length);
  // STRING or MAC_ADDRESS from `length` bytes. Any other code, BYTE_ARRAY among them, leaves the record as it is,
  // without a line.
  void setValue(const char* data, int length, unsigned char newtype);

  // --- getters that check nothing: neither that there is a value nor its type; the width is the argument's ---
  void getValue(unsigned long long& value) const;
  void getValue(unsigned int& value) const;
  void getValue(unsigned short& value) const;
  void getValue(unsigned char& value) const;
  void getValue(long long& value) const;
  void getValue(int& value) const;
  void getValue(short& value) const;
  void getValue(signed char& value) const;
  void getValue(bool& value) const;  // true when the byte is not 0

  // --- getters that ask isPointerValid: without a value they return false and leave the target; the type is not asked ---
  bool getValue(unsigned long long* value) const;
  bool getValue(unsigned int* value) const;
  bool getValue(unsigned short* value) const;
  bool getValue(unsigned char* value) const;
  bool getValue(long long* value) const;
  bool getValue(int* value) const;
  bool getValue(short* value) const;
  bool getValue(signed char* value) const;
  bool getValue(bool* value) const;

  // --- the same as results: 0 or false without a value ---
  unsigned long long getValueAsUInt64() const;
  unsigned int getValueAsUInt32() const;
  unsigned short getValueAsUInt16() const;
  unsigned char getValueAsUInt8() const;
  long long getValueAsInt64() const;
  int getValueAsInt32() const;
  short getValueAsInt16() const;
  signed char getValueAsInt8() const;
  bool getValueAsBool() const;

  // --- text and bytes ---
  // All `len` bytes, zero bytes included. Without a value the target stays.
  void getValue(std::string& value) const;
  std::string getValueAsString() const;  // the same; empty without a value
  // The first min(maxLen, len) bytes up to the first zero byte. Without a value *out becomes empty. A negative maxLen
  // is 0.
  void getValue(std::string* out, int maxLen) const;
  // Copies exactly n bytes out of the value, unchecked: the caller knows that there are so many. Nothing for n below 1.
  void getValue(char* out, int n) const;
  // Copies min(len, n) bytes when there is a value; returns min(len, n) in both cases.
  int getValueArray(char* out, int n) const;

  // Replaces *out by the value in the C++ type of its code: unsigned long long, unsigned int, unsigned short, unsigned
  // char (codes 0 to 3), long long (4 and 11), int, short, signed char, bool (5 to 8), std::string up to its first zero
  // byte (9). False, and *out as it was, for any other code, without a value, or when out is null.
  bool getValue(boost::any* out) const;

  // True when there is a value. Otherwise false, with the ERROR line "Pointer val in TRELTlv is invalid!".
  bool isPointerValid() const;

  // Writes head and value, numbers big-endian, and returns len + 7. Without a value but with a length only the head is
  // written. A number is written at the width of its type whatever `len` says: the caller gives 7 + max(len, 8) bytes.
  int serialize(char* out) const;
  // Reads what `serialize` writes and returns len + 7. With a length of 0 `val` stays as it was. A number is read at
  // the width of its type whatever the length says: the caller gives 7 + max(length, 8) bytes.
  int deserialize(const char* in);

  // --- text, for logs and diagnostics ---
  // "id=0x1200305 type=UINT32 len=4 val=42"; with a length of 0 only "id=0x1200305 ". "unknown" for a type without a
  // name.
  std::string toString() const;
  // The value alone: numbers in decimal, "true" or "false", a text as it is, an IPv4ADDRESS as "192.168.0.1". Empty
  // with a length of 0 or, after the ERROR line of isPointerValid, without a value; "??" for a type without a name.
  //   UNIX_TIME, BYTE_ARRAY   the bytes, as the platform's util::buf2str shows them; a time is not made a date
  //   MAC_ADDRESS             six decimal numbers with dots: the upper six bytes of the value read as one 8-byte number of this
  //                           host, in which bytes beyond `len` are 0. On a little-endian host the address stands in the lower
  //                           six bytes, so it is shown from its last byte to its third, after two zeros
  std::string valToString() const;
};

// ----- messages ------------------------------------------------------------------------------------------------------

// On the wire: do not renumber.
inline constexpr unsigned int TREL_MAGIC_NBR = 0x4F544E31U;
inline constexpr unsigned char TREL_PROT_VERSION = 1;
enum TrelAction : unsigned char {
  TREL_ACTION_READ = 1,
  TREL_ACTION_WRITE = 2,
  TREL_ACTION_READ_RESPONSE = 3,
  TREL_ACTION_WRITE_RESPONSE = 4,
  TREL_ACTION_AMI = 5
};

// Header lengths: where the TLVs of each kind start.
inline constexpr int TREL_HEADER_LEN = 4 + 1 + 1 + 2;                     // magic, version, action, message id
inline constexpr int TREL_RESPONSE_HEADER_LEN = TREL_HEADER_LEN + 1 + 2;  // result, index of the offending TLV
inline constexpr int TREL_AMI_HEADER_LEN = TREL_HEADER_LEN + 4 + 4;       // seconds, microseconds

// Limits that the engine keeps.
inline constexpr int TREL_MAX_READ_RESPONSE_LEN = 1200;  // a longer answer is replaced by RESULT_TOO_LONG
inline constexpr int TREL_MAX_REQUEST_TLVS = 150;        // in a request that this end sends; a server enforces none

enum TrelMsgKind : unsigned int { TREL_KIND_REQUEST = 0, TREL_KIND_RESPONSE = 1, TREL_KIND_AMI = 2 };

// A message: the common header, and the properties whose TLVs it carries.
//
// The properties write and read their own TLVs. The message lists them in wire order and never owns them. A message to
// be sent is made, filled by addProperty, given `action` and `msgId` and serialized; a received one is deserialized,
// given one property for each TLV by the engine, checked, applied and dropped, all while the datagram is in memory.
class TREL_API TRELMessage {
 public:
  unsigned int msgKind;                   // TrelMsgKind
  int headerLen;                          // where the TLVs start: 8, 11 or 16; 0 in a message of no kind
  const char* buffer;                     // the received datagram, the caller's; null before deserialize
  int bufferLen;                          // its length in bytes
  std::vector<TrelProperty*> properties;  // one for each TLV, in wire order; not owned
  unsigned int magicNbr;
  unsigned char protVersion;
  unsigned char action;
  unsigned short msgId;
  std::string sender;  // the peer's IPv4 address as dotted text; empty when unknown

  // A message of no kind, good for reading a header before the kind is known. Action 0, message id 0.
  explicit TRELMessage(std::string sender);
  // A copy lists the same properties, which stay whose they are.
  TRELMessage(const TRELMessage&) = default;
  TRELMessage& operator=(const TRELMessage&) = default;
  virtual ~TRELMessage();

 protected:
  TRELMessage(std::string sender, TrelMsgKind kind, int headerLen);

 public:
  // --- what a kind adds to the header; the caller has made sure of headerLen bytes ---
  // Writes the bytes behind the common header. Not 0: written.
  virtual int serializeSpecific(char* buf, int len) const;
  // Reads them back. Returns a TrelResult, RESULT_OK in every kind.
  virtual int deserializeSpecific(const char* buf, int len);

  // Appends a property, null or not, however many there are. Always true.
  bool addProperty(TrelProperty* property);
  // Number of properties; the argument is ignored.
  int countTlvs(int unused) const;
  // Bytes of all TLVs: the sum of length() + 7.
  int sizeOfTlvs() const;

  bool checkMagicNbr() const;     // false with a WARNING line
  bool checkProtVersion() const;  // false with an ERROR line
  bool checkAction() const;       // 1 to 5; false with an ERROR line

  // Writes the message into buf[0, len): the common header, one TLV for each property in list order, the header bytes
  // of its kind.
  //   needs    headerLen + sizeOfTlvs() bytes, which is also the number of bytes to transmit
  //   values   are taken from the properties now
  //   returns  false, with one ERROR line, when len is too small (nothing is written) or a property writes another
  //            length than its length() + 7 (what buf then holds must not be sent)
  //   caller   the application's sendMsg, which keeps buf
  bool serialize(char* buf, int len) const;

  // Reads the header of a datagram and remembers where it lies. The TLVs are not looked at.
  //   needs    headerLen bytes, and 8 at least: the length is not compared, the engine has done that
  //   returns  RESULT_WRONG_MAGIC, RESULT_PROTOCOL_VERSION_MISMATCH or RESULT_INVALID_ACTION, the first that holds in this
  //            order, else what deserializeSpecific returns; the header fields are set in every case
  int deserialize(const char* buf, int len);

  // Checks a received request before anything is applied. Changes no property.
  //   needs    one property for each TLV, in order, and TLVs that the engine has found to be whole: the walk follows the
  //            lengths in the datagram, as many steps as there are properties
  //   object's property   its OID must decode; in a write its checkBuffer must accept the TLV
  //   other property      (old-style) the engine's checkTlvOld decides; RESULT_GENERAL_ERROR when that is not
  //                       overridden or the property is no OldStyleProperty; no check without an engine
  //   returns  the first failure, its position in `index` (else untouched), with one ERROR line
  int checkTlvs(int& index, TrelProtocolBase* engine) const;

  // Applies a checked write: stores each value, then calls `updated` of each owning object, in list order.
  //   old-style property  is handed to the engine's handleTrelMsgOld as a write; when that refuses, is not overridden or
  //                       there is no engine, nothing more is stored and no `updated` is called
  //   returns  false when a hook refused (an `updated` with an ERROR line; the others are called all the same) or when an
  //            old-style hook changed a length so that a step or a value would leave the datagram
  bool deserializeTlvs(TrelProtocolBase* engine);

 private:
  friend class TrelProtocolBase;
  inline int decode(const char* buf, int len);
  TREL_LOCAL int refuseHeader() const;
  inline int checkEach(int& index, bool& plain, TrelProtocolBase* engine) const;
  inline bool storeEach(bool plain, TrelProtocolBase* engine);
  inline bool tellEach();
  TREL_LOCAL int checkAny(TrelProperty* property, const char* tlv, TrelProtocolBase* engine) const;
  TREL_LOCAL static int refuse(int failure, const char* tlv);
  TREL_LOCAL bool storeAny(TrelProtocolBase* engine);
  TREL_LOCAL static void traceUpdated(const TrelProperty& property, const TrelObject& object, bool accepted);
};

// Read or write request. Header: 8 bytes.
class TREL_API TRELRequest : public TRELMessage {
 public:
  explicit TRELRequest(std::string sender);
  ~TRELRequest() override;
};

// Answer to a request. Header: the common 8 bytes, result (1), errorTlvIndex (2).
class TREL_API TRELResponse : public TRELMessage {
 public:
  TrelResult result;             // one byte on the wire
  unsigned short errorTlvIndex;  // position from 0 of the TLV that made the request fail, else 0

  explicit TRELResponse(std::string sender);
  ~TRELResponse() override;

  int serializeSpecific(char* buf, int len) const override;
  int deserializeSpecific(const char* buf, int len) override;
};

// Autonomous message: values that changed, sent unasked and never answered. Header: the common 8 bytes, timeSec (4),
// timeUsec (4).
class TREL_API TRELAmi : public TRELMessage {
 public:
  unsigned int timeSec;   // when it was sent, real-time clock
  unsigned int timeUsec;  // microseconds within that second

  explicit TRELAmi(std::string sender);
  ~TRELAmi() override;

  int serializeSpecific(char* buf, int len) const override;
  int deserializeSpecific(const char* buf, int len) override;
};

#endif
