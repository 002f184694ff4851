// The binary interface of the text and byte-array properties: places of members, slots of virtual operations.

#include <gtest/gtest.h>

#include <string>
#include <type_traits>

#include "support/objectBytes.h"
#include "support/propertyInterface.h"
#include "trel/trelProperty.h"

namespace {

class NothingIsValid : public StringProperty::StringValueCheck {
 public:
  bool checkValue(std::string) override { return false; }
};

const std::string& stringIn(const StringProperty& property, std::size_t offset) {
  return *reinterpret_cast<const std::string*>(reinterpret_cast<const char*>(&property) + offset);
}

TEST(StringPropertyLayout, ValueDefaultAndCheckFollowTheBaseInThisOrder) {
  NothingIsValid check;
  StringProperty property(1, "label", IFC_CARD_VAR_READ_WRITE, "the default", &check);
  property.set(std::string("the value"));
  MemberPlaces places(sizeof(TrelProperty));
  EXPECT_EQ(stringIn(property, places.next<std::string>()), "the value");
  EXPECT_EQ(stringIn(property, places.next<std::string>()), "the default");
  EXPECT_EQ(peek<StringProperty::StringValueCheck*>(property, places.next<void*>()), &check);
  EXPECT_EQ(sizeof(StringProperty), places.sizeOf(alignof(std::string)));
}

TEST(StringPropertyLayout, OperationsStandInTheSlotsOfTheBaseAndNoneIsAdded) {
  expectDocumentedSlots<StringProperty>();
  expectNoFurtherSlot<StringProperty>();
}

TEST(StringPropertyLayout, TheOperationsAboutTheWholePropertyAreItsOwn) {
  EXPECT_TRUE((std::is_same_v<decltype(&StringProperty::setToDefault), void (StringProperty::*)()>));
  EXPECT_TRUE((std::is_same_v<decltype(&StringProperty::isDefault), bool (StringProperty::*)()>));
  EXPECT_TRUE((std::is_same_v<decltype(&StringProperty::serialize), int (StringProperty::*)(char*, int)>));
  EXPECT_TRUE((std::is_same_v<decltype(&StringProperty::deserialize), int (StringProperty::*)(const char*)>));
  EXPECT_TRUE((std::is_same_v<decltype(&StringProperty::length), int (StringProperty::*)()>));
  EXPECT_TRUE((std::is_same_v<decltype(&StringProperty::getType), int (StringProperty::*)()>));
  EXPECT_TRUE((std::is_same_v<decltype(&StringProperty::validValue), bool (StringProperty::*)(const char*, int)>));
  EXPECT_TRUE((std::is_same_v<decltype(&StringProperty::str), std::string (StringProperty::*)() const>));
}

TEST(StringPropertyLayout, ACheckIsAnAbstractClassWithAVirtualDestructorAndOneOperation) {
  using Check = StringProperty::StringValueCheck;
  EXPECT_TRUE(std::is_abstract_v<Check>);
  EXPECT_TRUE(std::has_virtual_destructor_v<Check>);
  EXPECT_EQ(sizeof(Check), sizeof(void*));
  EXPECT_EQ(virtualSlot(&Check::checkValue), 2U);
}

TEST(ArrayPropertyLayout, TheReferenceToTheBlockFollowsTheBaseAndTheLengthFollowsTheReference) {
  ArrayProperty property(1, "blob", IFC_CARD_VAR_READ_WRITE, false);
  const char record[] = "\x00\x00\x00\x01\x0C\x12\x34";
  property.deserialize(record);
  MemberPlaces places(sizeof(TrelProperty));
  EXPECT_EQ(peek<unsigned char*>(property, places.next<unsigned char*>()), nullptr);
  EXPECT_EQ(peek<unsigned int>(property, places.next<unsigned int>()), 0x1234U);
  EXPECT_EQ(sizeof(ArrayProperty), places.sizeOf(alignof(void*)));
}

TEST(ArrayPropertyLayout, OperationsStandInTheSlotsOfTheBaseAndNoneIsAdded) {
  expectDocumentedSlots<ArrayProperty>();
  expectNoFurtherSlot<ArrayProperty>();
}

TEST(ArrayPropertyLayout, TheOperationsAboutTheWholePropertyAreItsOwnButForTheValueCheck) {
  EXPECT_TRUE((std::is_same_v<decltype(&ArrayProperty::setToDefault), void (ArrayProperty::*)()>));
  EXPECT_TRUE((std::is_same_v<decltype(&ArrayProperty::isDefault), bool (ArrayProperty::*)()>));
  EXPECT_TRUE((std::is_same_v<decltype(&ArrayProperty::serialize), int (ArrayProperty::*)(char*, int)>));
  EXPECT_TRUE((std::is_same_v<decltype(&ArrayProperty::deserialize), int (ArrayProperty::*)(const char*)>));
  EXPECT_TRUE((std::is_same_v<decltype(&ArrayProperty::length), int (ArrayProperty::*)()>));
  EXPECT_TRUE((std::is_same_v<decltype(&ArrayProperty::getType), int (ArrayProperty::*)()>));
  EXPECT_TRUE((std::is_same_v<decltype(&ArrayProperty::str), std::string (ArrayProperty::*)() const>));
  EXPECT_TRUE((std::is_same_v<decltype(&ArrayProperty::validValue), bool (TrelProperty::*)(const char*, int)>));
}

}  // namespace
