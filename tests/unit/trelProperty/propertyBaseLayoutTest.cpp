// The binary interface of the property base: places of members, slots of virtual operations.

#include <gtest/gtest.h>

#include <new>
#include <string>

#include "support/classLayout.h"
#include "support/propertyInterface.h"
#include "trel/trelProperty.h"

namespace {

class BareProperty : public TrelProperty {
 public:
  BareProperty() : TrelProperty(1, "bare", IFC_CARD_VAR_READ_WRITE, false) {}
  ~BareProperty() override { ++destroyed; }
  bool isDefault() override { return true; }
  int serialize(char*, int) override { return 0; }
  int deserialize(const char*) override { return 0; }
  int length() override { return 0; }
  int getType() override { return TREL_TYPE_NONE; }
  std::string str() const override { return {}; }
  virtual void firstOfAnApplication() {}

  static int destroyed;
};
int BareProperty::destroyed = 0;

TEST(PropertyBaseLayout, MembersStandInTheDocumentedOrderBehindTheVirtualTable) {
  const BareProperty property;
  MemberPlaces places(sizeof(void*));
  EXPECT_EQ(placeIn(property, property.name), places.next<std::string>());
  EXPECT_EQ(placeIn(property, property.accessType), places.next<unsigned int>());
  EXPECT_EQ(placeIn(property, property.id), places.next<unsigned int>());
  EXPECT_EQ(placeIn(property, property.row), places.next<unsigned int>());
  EXPECT_EQ(placeIn(property, property.eventable), places.next<bool>());
  EXPECT_EQ(placeIn(property, property.eventPending), places.next<bool>());
  EXPECT_EQ(placeIn(property, property.object), places.next<TrelObject*>());
  EXPECT_EQ(sizeof(TrelProperty), places.sizeOf(alignof(void*)));
}

TEST(PropertyBaseLayout, MembersStandAtTheKnownPlacesWithLibstdcxxStrings) {
  if (sizeof(std::string) != (sizeof(void*) == 8 ? 32U : 24U)) GTEST_SKIP() << "another standard library";
  const BareProperty property;
  const bool is64Bit = sizeof(void*) == 8;
  EXPECT_EQ(placeIn(property, property.name), is64Bit ? 8U : 4U);
  EXPECT_EQ(placeIn(property, property.accessType), is64Bit ? 40U : 28U);
  EXPECT_EQ(placeIn(property, property.id), is64Bit ? 44U : 32U);
  EXPECT_EQ(placeIn(property, property.row), is64Bit ? 48U : 36U);
  EXPECT_EQ(placeIn(property, property.eventable), is64Bit ? 52U : 40U);
  EXPECT_EQ(placeIn(property, property.eventPending), is64Bit ? 53U : 41U);
  EXPECT_EQ(placeIn(property, property.object), is64Bit ? 56U : 44U);
  EXPECT_EQ(sizeof(TrelProperty), is64Bit ? 64U : 48U);
}

TEST(PropertyBaseLayout, VirtualOperationsStandInTheDocumentedOrder) { expectDocumentedSlots<TrelProperty>(); }

TEST(PropertyBaseLayout, NoOtherVirtualOperationFollows) {
  EXPECT_EQ(virtualSlot(&BareProperty::firstOfAnApplication), 32U);
}

TEST(PropertyBaseLayout, OperationsThatAreNotListedAsVirtualAreNot) {
  constexpr auto notVirtual = static_cast<std::size_t>(-1);
  EXPECT_EQ(virtualSlot(&TrelProperty::getOid), notVirtual);
  EXPECT_EQ(virtualSlot(&TrelProperty::sendEvent), notVirtual);
  EXPECT_EQ(virtualSlot(&TrelProperty::checkBuffer), notVirtual);
}

TEST(PropertyBaseLayout, SlotZeroDestroysAndSlotOneDestroysAndDeletes) {
  alignas(BareProperty) unsigned char storage[sizeof(BareProperty)];
  auto* const inPlace = new (storage) BareProperty;
  BareProperty::destroyed = 0;
  callSlot(inPlace, 0);
  EXPECT_EQ(BareProperty::destroyed, 1);
  callSlot(new BareProperty, 1);
  EXPECT_EQ(BareProperty::destroyed, 2);
}

}  // namespace
