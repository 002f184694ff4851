// Private: where the fields of an OID lie. The decoder, the encoders and the look-up of objects share these masks, so
// that they cannot disagree.
#ifndef TREL_TRELOIDLAYOUT_H
#define TREL_TRELOIDLAYOUT_H

namespace trelOid {

// On the wire: do not renumber.
inline constexpr unsigned int KIND_SCALAR = 0;
inline constexpr unsigned int KIND_TABLE = 1;
inline constexpr unsigned int TABLE_BIT = 0x40000000U;
inline constexpr unsigned int COMMON_BIT = 0x10000000U;
inline constexpr unsigned int COMMON_GROUPS = 4;  // a common scalar OID may use the groups 0 to 3

inline constexpr unsigned int GROUP_SHIFT = 23;
inline constexpr unsigned int TABLE_SHIFT = 22;
inline constexpr unsigned int COLUMN_SHIFT = 14;

inline constexpr unsigned int kind(unsigned int oid) { return oid >> 30; }
inline constexpr bool common(unsigned int oid) { return (oid & COMMON_BIT) != 0; }
inline constexpr unsigned int group(unsigned int oid) { return (oid >> GROUP_SHIFT) & 0x1FU; }
inline constexpr unsigned int variable(unsigned int oid) { return oid & 0x007FFFFFU; }
inline constexpr unsigned int table(unsigned int oid) { return (oid >> TABLE_SHIFT) & 0x3FU; }
inline constexpr unsigned int column(unsigned int oid) { return (oid >> COLUMN_SHIFT) & 0xFFU; }
inline constexpr unsigned int row(unsigned int oid) { return oid & 0x3FFFU; }

// A common scalar OID outside the common groups addresses nothing.
inline constexpr bool usableScalar(unsigned int oid) { return !common(oid) || group(oid) < COMMON_GROUPS; }
// What TrelObjectId decodes without a complaint.
inline constexpr bool usable(unsigned int oid) {
  return kind(oid) == KIND_TABLE || (kind(oid) == KIND_SCALAR && usableScalar(oid));
}

// No operand is masked or checked: ids are the application's own, and this runs for every TLV that is written. Column
// 256 of table 0 is column 0 of table 1.
inline constexpr unsigned int ofScalar(unsigned int group, bool common, unsigned int variable) {
  return variable | group << GROUP_SHIFT | (common ? COMMON_BIT : 0);
}
inline constexpr unsigned int ofTable(unsigned int table, bool common, unsigned int column, unsigned int row) {
  return row | TABLE_BIT | column << COLUMN_SHIFT | table << TABLE_SHIFT | (common ? COMMON_BIT : 0);
}

}  // namespace trelOid

#endif
