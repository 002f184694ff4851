// The bytes of a datagram, field by field, with the names of the fields.
#ifndef EXAMPLES_DATAGRAMFIELDS_H
#define EXAMPLES_DATAGRAMFIELDS_H

#include <string>
#include <vector>

#include "trel/trelObjects.h"

// One line for each field of a request or response: offset, bytes, name, meaning. The objects give the variables their
// names. Bytes that are no whole message end in a line that says so.
std::vector<std::string> datagramFields(const std::string& datagram, const std::vector<TrelObject*>& objects);

#endif
