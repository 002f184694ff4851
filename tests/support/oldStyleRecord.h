// Old-style properties made from records that a test writes down as bytes.

#ifndef TESTS_SUPPORT_OLDSTYLERECORD_H
#define TESTS_SUPPORT_OLDSTYLERECORD_H

#include <memory>
#include <string>
#include <string_view>

#include "support/exactBlock.h"
#include "support/objectBytes.h"
#include "trel/trelProperty.h"

using OldStyle = std::unique_ptr<OldStyleProperty>;

// Made as the engine makes one, from a record in wire order. The record is a block of exactly these bytes and is gone when
// the property is there.
inline OldStyle oldStyleFromWire(std::string_view record) {
  ExactBlock block(record);
  return std::make_unique<OldStyleProperty>(reinterpret_cast<trel_tlv*>(block.data()), false);
}

// The same from a record in host order.
inline OldStyle oldStyleFromHost(std::string_view record) {
  ExactBlock block(record);
  return std::make_unique<OldStyleProperty>(reinterpret_cast<trel_tlv*>(block.data()), true);
}

// deserialize of a block of exactly these bytes.
inline int deserializeExactly(TrelProperty& property, std::string_view record) {
  const ExactBlock block(record);
  return property.deserialize(block.data());
}

// Where the value lies, or null. The reference follows the base.
inline const char* heldValue(const OldStyleProperty& property) {
  return peek<const char*>(property, sizeof(TrelProperty));
}

// The first bytes of the value as it lies in memory.
inline std::string heldBytes(const OldStyleProperty& property, std::size_t count) {
  const char* const value = heldValue(property);
  return value == nullptr ? std::string("none") : std::string(value, count);
}

#endif
