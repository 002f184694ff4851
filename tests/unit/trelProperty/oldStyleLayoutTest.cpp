// The binary interface of old-style properties: places of members, slots of virtual operations.

#include <gtest/gtest.h>

#include <string>
#include <type_traits>

#include "support/bytes.h"
#include "support/oldStyleRecord.h"
#include "support/propertyInterface.h"

namespace {

TEST(OldStyleLayout, ReferenceLengthAndTypeFollowTheBaseInThisOrder) {
  const OldStyle property = oldStyleFromWire("10800005 0C 0102"_hex + std::string(258, 'x'));
  const OldStyle empty = oldStyleFromWire("10800005 0D 0000"_hex);
  MemberPlaces places(sizeof(TrelProperty));
  const std::size_t referenceAt = places.next<char*>();
  const std::size_t lengthAt = places.next<unsigned int>();
  const std::size_t typeAt = places.next<unsigned int>();
  ASSERT_NE(peek<char*>(*property, referenceAt), nullptr);
  EXPECT_EQ(std::string(peek<char*>(*property, referenceAt), 258), std::string(258, 'x'));
  EXPECT_EQ(peek<unsigned int>(*property, lengthAt), 258U);
  EXPECT_EQ(peek<unsigned int>(*property, typeAt), 12U);
  EXPECT_EQ(peek<char*>(*empty, referenceAt), nullptr);
  EXPECT_EQ(peek<unsigned int>(*empty, lengthAt), 0U);
  EXPECT_EQ(peek<unsigned int>(*empty, typeAt), 13U);
  EXPECT_EQ(sizeof(OldStyleProperty), places.sizeOf(alignof(void*)));
}

TEST(OldStyleLayout, OperationsStandInTheSlotsOfTheBaseAndNoneIsAdded) {
  expectDocumentedSlots<OldStyleProperty>();
  expectNoFurtherSlot<OldStyleProperty>();
  EXPECT_EQ(virtualSlot(&OldStyleProperty::isPointerValid), static_cast<std::size_t>(-1));
}

TEST(OldStyleLayout, TheOperationsAboutTheWholePropertyAreItsOwnButForTheValueCheck) {
  using Kind = OldStyleProperty;
  EXPECT_TRUE((std::is_same_v<decltype(&Kind::setToDefault), void (Kind::*)()>));
  EXPECT_TRUE((std::is_same_v<decltype(&Kind::isDefault), bool (Kind::*)()>));
  EXPECT_TRUE((std::is_same_v<decltype(&Kind::serialize), int (Kind::*)(char*, int)>));
  EXPECT_TRUE((std::is_same_v<decltype(&Kind::deserialize), int (Kind::*)(const char*)>));
  EXPECT_TRUE((std::is_same_v<decltype(&Kind::length), int (Kind::*)()>));
  EXPECT_TRUE((std::is_same_v<decltype(&Kind::getType), int (Kind::*)()>));
  EXPECT_TRUE((std::is_same_v<decltype(&Kind::str), std::string (Kind::*)() const>));
  EXPECT_TRUE((std::is_same_v<decltype(&Kind::validValue), bool (TrelProperty::*)(const char*, int)>));
}

TEST(OldStyleLayout, ThePropertyIsDestroyedThroughTheBase) {
  TrelProperty* const property = oldStyleFromWire("10800005 0C 0004 01020304"_hex).release();
  delete property;  // a leaked value would end the run under the sanitizer
}

}  // namespace
