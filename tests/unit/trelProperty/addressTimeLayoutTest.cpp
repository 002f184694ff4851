// The binary interface of the address and time properties: places of members, slots of virtual operations.

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <type_traits>

#include "support/objectBytes.h"
#include "support/propertyInterface.h"
#include "trel/trelProperty.h"

namespace {

// The operations that each of the three has of its own; the value check is the base's.
template <typename Kind>
void expectOwnOperations() {
  EXPECT_TRUE((std::is_same_v<decltype(&Kind::setToDefault), void (Kind::*)()>));
  EXPECT_TRUE((std::is_same_v<decltype(&Kind::isDefault), bool (Kind::*)()>));
  EXPECT_TRUE((std::is_same_v<decltype(&Kind::serialize), int (Kind::*)(char*, int)>));
  EXPECT_TRUE((std::is_same_v<decltype(&Kind::deserialize), int (Kind::*)(const char*)>));
  EXPECT_TRUE((std::is_same_v<decltype(&Kind::length), int (Kind::*)()>));
  EXPECT_TRUE((std::is_same_v<decltype(&Kind::getType), int (Kind::*)()>));
  EXPECT_TRUE((std::is_same_v<decltype(&Kind::str), std::string (Kind::*)() const>));
  EXPECT_TRUE((std::is_same_v<decltype(&Kind::validValue), bool (TrelProperty::*)(const char*, int)>));
}

TEST(AddressTimeLayout, MacValueAndDefaultAreSixBytesEachAndAdjacentBehindTheBase) {
  unsigned char first[6] = {1, 2, 3, 4, 5, 6};
  unsigned char second[6] = {0xA1, 0xA2, 0xA3, 0xA4, 0xA5, 0xA6};
  MacAddressProperty property(1, "mac", IFC_CARD_VAR_READ_WRITE, first, false);
  property.set(second, 6);
  const char* const behindBase = reinterpret_cast<const char*>(&property) + sizeof(TrelProperty);
  EXPECT_EQ(std::memcmp(behindBase, "\xA1\xA2\xA3\xA4\xA5\xA6", 6), 0);
  EXPECT_EQ(std::memcmp(behindBase + 6, "\x01\x02\x03\x04\x05\x06", 6), 0);
  EXPECT_EQ(sizeof(MacAddressProperty), sizeof(TrelProperty) + (sizeof(void*) == 8 ? 16U : 12U));
}

TEST(AddressTimeLayout, IpValueAndDefaultAreThirtyTwoBitsEachBehindTheBase) {
  IpAddressProperty property(1, "ip", IFC_CARD_VAR_READ_WRITE, 0x0A000001U, false);
  property.set(0xC0A80102U);
  MemberPlaces places(sizeof(TrelProperty));
  EXPECT_EQ(peek<unsigned int>(property, places.next<unsigned int>()), 0xC0A80102U);
  EXPECT_EQ(peek<unsigned int>(property, places.next<unsigned int>()), 0x0A000001U);
  EXPECT_EQ(sizeof(IpAddressProperty), places.sizeOf(alignof(void*)));
}

TEST(AddressTimeLayout, TimeValueAndDefaultAreSixtyFourBitsEachBehindTheBase) {
  UnixTimeProperty property(1, "time", IFC_CARD_VAR_READ_WRITE, -1LL, false);
  property.set(0x1122334455667788LL);
  MemberPlaces places(sizeof(TrelProperty));
  EXPECT_EQ(peek<long long>(property, places.next<long long>()), 0x1122334455667788LL);
  EXPECT_EQ(peek<long long>(property, places.next<long long>()), -1LL);
  EXPECT_EQ(sizeof(UnixTimeProperty), places.sizeOf(alignof(UnixTimeProperty)));
}

TEST(AddressTimeLayout, MacOperationsStandInTheSlotsOfTheBaseAndNoneIsAdded) {
  expectDocumentedSlots<MacAddressProperty>();
  expectNoFurtherSlot<MacAddressProperty>();
  expectOwnOperations<MacAddressProperty>();
}

TEST(AddressTimeLayout, IpOperationsStandInTheSlotsOfTheBaseAndNoneIsAdded) {
  expectDocumentedSlots<IpAddressProperty>();
  expectNoFurtherSlot<IpAddressProperty>();
  expectOwnOperations<IpAddressProperty>();
}

TEST(AddressTimeLayout, TimeOperationsStandInTheSlotsOfTheBaseAndNoneIsAdded) {
  expectDocumentedSlots<UnixTimeProperty>();
  expectNoFurtherSlot<UnixTimeProperty>();
  expectOwnOperations<UnixTimeProperty>();
}

}  // namespace
