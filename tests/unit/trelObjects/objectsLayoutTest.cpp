// The binary interface of the objects: places of members, slots of virtual operations.

#include <gtest/gtest.h>

#include <map>
#include <new>
#include <string>
#include <vector>

#include "support/classLayout.h"
#include "trel/trelObjects.h"

namespace {

template <typename Kind>
class OneMore : public Kind {
 public:
  using Kind::Kind;
  virtual void oneMore() {}
};

class Bare : public TrelObject {
 public:
  Bare() : TrelObject("bare", ifcCard::TABLE, 3, true, 2) {}
  ~Bare() override { ++destroyed; }
  std::string getObjectTypeStr() const override { return "Bare"; }
  unsigned int getOID(unsigned int propertyId, unsigned int) override { return propertyId; }
  TrelProperty* getPropFromOID(unsigned int) override { return nullptr; }
  virtual void oneMore() {}

  static int destroyed;
};
int Bare::destroyed = 0;

TEST(ObjectLayout, MembersStandInTheDocumentedOrderBehindTheVirtualTable) {
  const TrelTable object("ports", 3, true, 2);
  MemberPlaces places(sizeof(void*));
  EXPECT_EQ(placeIn(object, object.objectType), places.next<unsigned int>());
  EXPECT_EQ(placeIn(object, object.name), places.next<std::string>());
  EXPECT_EQ(placeIn(object, object.id), places.next<unsigned int>());
  EXPECT_EQ(placeIn(object, object.common), places.next<bool>());
  EXPECT_EQ(placeIn(object, object.rowCount), places.next<unsigned int>());
  EXPECT_EQ(placeIn(object, object.rows), (places.next<std::vector<std::map<unsigned int, TrelProperty*>*>>()));
  EXPECT_EQ(sizeof(TrelObject), places.sizeOf(alignof(void*)) + sizeof(void*)) << "one more, private, behind them";
}

TEST(ObjectLayout, MembersStandAtTheKnownPlacesWithLibstdcxxStrings) {
  if (sizeof(std::string) != (sizeof(void*) == 8 ? 32U : 24U)) GTEST_SKIP() << "another standard library";
  const TrelTable object("ports", 3, true, 2);
  const bool is64Bit = sizeof(void*) == 8;
  EXPECT_EQ(placeIn(object, object.objectType), is64Bit ? 8U : 4U);
  EXPECT_EQ(placeIn(object, object.name), is64Bit ? 16U : 8U);
  EXPECT_EQ(placeIn(object, object.id), is64Bit ? 48U : 32U);
  EXPECT_EQ(placeIn(object, object.common), is64Bit ? 52U : 36U);
  EXPECT_EQ(placeIn(object, object.rowCount), is64Bit ? 56U : 40U);
  EXPECT_EQ(placeIn(object, object.rows), is64Bit ? 64U : 44U);
  EXPECT_EQ(sizeof(TrelObject), is64Bit ? 96U : 60U);
}

TEST(ObjectLayout, ScalarAndTableAddNoMembers) {
  EXPECT_EQ(sizeof(TrelScalar), sizeof(TrelObject));
  EXPECT_EQ(sizeof(TrelTable), sizeof(TrelObject));
}

// Slots 0 and 1 are the destructor's, so the operation listed second has slot 2.
template <typename Kind>
void expectObjectSlots() {
  EXPECT_EQ(virtualSlot(&Kind::getObjectTypeStr), 2U);
  EXPECT_EQ(virtualSlot(&Kind::getOID), 3U);
  EXPECT_EQ(virtualSlot(&Kind::update), 4U);
  EXPECT_EQ(virtualSlot(&Kind::updated), 5U);
  EXPECT_EQ(virtualSlot(&Kind::getPropFromOID), 6U);
  EXPECT_EQ(virtualSlot(&Kind::str), 7U);
}

TEST(ObjectLayout, VirtualOperationsStandInTheDocumentedOrder) {
  expectObjectSlots<TrelObject>();
  expectObjectSlots<TrelScalar>();
  expectObjectSlots<TrelTable>();
}

TEST(ObjectLayout, NoOtherVirtualOperationFollows) {
  EXPECT_EQ(virtualSlot(&Bare::oneMore), 8U);
  EXPECT_EQ(virtualSlot(&OneMore<TrelScalar>::oneMore), 8U);
  EXPECT_EQ(virtualSlot(&OneMore<TrelTable>::oneMore), 8U);
}

TEST(ObjectLayout, OperationsThatAreNotListedAsVirtualAreNot) {
  constexpr auto notVirtual = static_cast<std::size_t>(-1);
  EXPECT_EQ(virtualSlot(&TrelObject::addProp), notVirtual);
  EXPECT_EQ(virtualSlot(&TrelObject::getProp), notVirtual);
  EXPECT_EQ(virtualSlot(&TrelObject::isValidObjectId), notVirtual);
  EXPECT_EQ(virtualSlot(&TrelObject::getPropertiesOfRow), notVirtual);
  EXPECT_EQ(virtualSlot(&TrelObject::getProperties), notVirtual);
  EXPECT_EQ(virtualSlot(&TrelObject::getPropertiesToEvent), notVirtual);
  EXPECT_EQ(virtualSlot(&TrelObject::setToDefault), notVirtual);
  EXPECT_EQ(virtualSlot(&TrelObject::updateAll), notVirtual);
}

TEST(ObjectLayout, SlotZeroDestroysAndSlotOneDestroysAndDeletes) {
  alignas(Bare) unsigned char storage[sizeof(Bare)];
  auto* const inPlace = new (storage) Bare;
  Bare::destroyed = 0;
  callSlot(inPlace, 0);
  EXPECT_EQ(Bare::destroyed, 1);
  callSlot(new Bare, 1);
  EXPECT_EQ(Bare::destroyed, 2);
}

}  // namespace
