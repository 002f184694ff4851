// Bytes of the protocol as text, in both directions: tests write down the bytes they send and compare what they got in
// a form that a failure prints as a datagram.

#ifndef TESTS_SUPPORT_BYTES_H
#define TESTS_SUPPORT_BYTES_H

#include <cstddef>
#include <string>
#include <string_view>

// The bytes that the hexadecimal digits name, of either case: "4F544E31 01 | 0A"_hex is six bytes.
//   ignored  blanks and '|', wherever they stand, so that fields can be set apart; two digits of one byte need not touch
//   throws   std::invalid_argument for any other character and for an odd number of digits
std::string operator""_hex(const char* digits, std::size_t length);

// The bytes as two upper-case hexadecimal digits each, one blank between: "4F 54 4E 31".
std::string asText(std::string_view bytes);

// A datagram on one readable line, its header and each of its TLVs set apart by " | ":
//
//     4F544E31 01 01 0007 | 10800005 01 0000                      request:  magic, version, action, message id
//     4F544E31 01 03 0007 00 0000 | 10800005 01 0004 0000002A     response: also result and index (actions 3 and 4)
//     4F544E31 01 05 0007 00000064 000003E8 | ...                 autonomous message: also seconds and microseconds
//
// Each TLV is OID, type, length of the value, and the value, which is left out when it is empty. What is no whole field,
// of the header or of a TLV, stands at the end behind " ! ": bytes that a receiver could not have understood. The text
// follows the bytes alone; nothing of the library is asked.
std::string asDatagram(std::string_view bytes);

#endif
