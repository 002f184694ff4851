// Object identifiers (OIDs): the 32-bit address of one management variable.
//
//   bit      31 30 | 29 | 28     | 27 ........ 23 | 22 ................................ 0
//   scalar    0  0 |  - | common | group, 5 bits  | variable id, 23 bits
//   bit      31 30 | 29 | 28     | 27 ........ 22 | 21 ..... 14     | 13 ............. 0
//   table     0  1 |  - | common | table, 6 bits  | column, 8 bits  | row, 14 bits
//
// Bit 29 is ignored when an OID is read and written as 0. Bit 31 set is no OID. A common scalar OID may only name the
// groups 0 to 3. In a datagram an OID travels big-endian; everything in this header is in host order.
//
// This header stands on the ground: it includes nothing of the library, and every other header may include it.
#ifndef TREL_TRELOBJECTID_H
#define TREL_TRELOBJECTID_H

#include <string>

// The library's own build defines these two: what it exports, and what of an exported class stays inside. Applications
// leave them alone.
#ifndef TREL_API
#define TREL_API
#endif
#ifndef TREL_LOCAL
#define TREL_LOCAL
#endif

// Result of a check or of a request. The protocol's numbers: do not renumber. One byte in a response, 32 bits in
// memory; any value that a peer sends is held as it came. 16 (no sender context is free) and 17 (the sender's address
// is no IPv4 address) are answered by the sequence check and have no constant: see TrelProtocolBase::checkMsgId.
enum TrelResult : int {
  RESULT_OK = 0,
  RESULT_PROTOCOL_VERSION_MISMATCH = 1,
  RESULT_DUPLICATE_MSG = 2,  // only a mark: the request was executed all the same
  RESULT_LOST_MSG = 3,       // only a mark: the request was executed all the same
  RESULT_INVALID_ACTION = 4,
  RESULT_GENERAL_ERROR = 5,
  RESULT_WRONG_TYPE = 6,
  RESULT_WRONG_OID = 7,
  RESULT_WRONG_LEN = 8,
  RESULT_WRONG_VALUE = 9,
  RESULT_READ_ONLY = 10,
  RESULT_TOO_LONG = 11,
  RESULT_CANNOT_EXEC = 12,
  RESULT_WRONG_MAGIC = 13,
  RESULT_NOT_RECEIVED = 14,
  RESULT_NOT_SEND = 15
};

// One OID, split into its fields. Filled by the constructor; a plain record that owns nothing.
class TREL_API TrelObjectId {
 public:
  bool common;          // bit 28; false when bit 31 is set
  bool isTable;         // a table OID, always usable
  bool isScalar;        // a usable scalar OID
  unsigned int id;      // table or group; 0xFFFFFFFF when bit 31 is set
  unsigned int subId;   // column or variable id; 0xFFFFFFFF when not decoded
  unsigned int row;     // row of a table OID, else 0
  unsigned int result;  // RESULT_OK, or RESULT_WRONG_OID when the OID is unusable

  // Splits oid (host order). Throws nothing: an unusable OID is told by `result` and by one ERROR line, "Invalid oid"
  // when bit 31 is set, "Failed to decode scalar oid" for a common scalar OID of group 4 to 31 (common and id then keep
  // what was decoded). A table OID is never refused.
  explicit TrelObjectId(unsigned int oid);

  // The OID in words, decimal, for the application's own diagnostics; the library does not call it.
  //   "table object: common = 1, table id = 3, column = 2, row = 7"
  //   "scalar object: common = 1, group id = 1, variable id = 5"
  //   "invalid object"
  std::string str() const;
};

#endif
