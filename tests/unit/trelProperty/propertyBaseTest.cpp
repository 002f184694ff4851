// What all properties share: identity, the refusing defaults of the typed accessors, the OID, the pending event.

#include <gtest/gtest.h>

#include <limits>
#include <stdexcept>
#include <string>
#include <type_traits>
#include <vector>

#include "support/logCapture.h"
#include "support/typedAccessors.h"
#include "trel/trelObjects.h"
#include "trel/trelProperty.h"

namespace {

using Lines = std::vector<std::string>;

// A property of no type: what TrelProperty itself does, without any kind on top.
class BareProperty : public TrelProperty {
 public:
  explicit BareProperty(unsigned int itsId, const char* itsName = "bare",
                        IfcCardVarAccessType access = IFC_CARD_VAR_READ_WRITE, bool itsEventable = false)
      : TrelProperty(itsId, itsName, access, itsEventable) {}
  bool isDefault() override { return true; }
  int serialize(char*, int) override { return 0; }
  int deserialize(const char*) override { return 0; }
  int length() override { return 0; }
  int getType() override { return TREL_TYPE_NONE; }
  std::string str() const override { return "bare\n"; }
};

// An object that answers every question about an OID with the same number and keeps what it was asked.
class OidProbe : public TrelObject {
 public:
  explicit OidProbe(unsigned int rowsOfIt) : TrelObject("probe", ifcCard::SCALAR, 0, false, rowsOfIt) {}
  std::string getObjectTypeStr() const override { return "Probe"; }
  unsigned int getOID(unsigned int propertyId, unsigned int row) override {
    askedId = propertyId;
    askedRow = row;
    ++asked;
    return 0xDEADBEEF;
  }
  TrelProperty* getPropFromOID(unsigned int) override { return nullptr; }

  unsigned int askedId = 0;
  unsigned int askedRow = 0;
  int asked = 0;
};

// ----- construction ----------------------------------------------------------------------------------------------------

TEST(PropertyBase, ConstructorKeepsItsArgumentsAndStartsAtRowZeroWithoutEventAndWithoutObject) {
  const BareProperty property(0x12345678, "temperature", IFC_CARD_VAR_READ_ONLY, true);
  EXPECT_EQ(property.name, "temperature");
  EXPECT_EQ(property.accessType, 1U);
  EXPECT_EQ(property.id, 0x12345678U);
  EXPECT_EQ(property.row, 0U);
  EXPECT_TRUE(property.eventable);
  EXPECT_FALSE(property.eventPending);
  EXPECT_EQ(property.object, nullptr);
}

TEST(PropertyBase, PropertyThatIsNotEventableSaysSo) {
  const BareProperty property(1, "plain", IFC_CARD_VAR_READ_WRITE, false);
  EXPECT_FALSE(property.eventable);
  EXPECT_EQ(property.accessType, 0U);
}

TEST(PropertyBase, NameIsCopied) {
  char text[] = "before";
  const BareProperty property(1, text);
  text[0] = 'X';
  EXPECT_EQ(property.name, "before");
}

TEST(PropertyBase, NameMayBeEmpty) {
  const BareProperty property(1, "");
  EXPECT_EQ(property.name, "");
}

TEST(PropertyBase, NullNameFailsWithTheStandardLibrarysLogicError) {
  const char* const none = nullptr;
  EXPECT_THROW(BareProperty(1, none), std::logic_error);
  EXPECT_THROW(TypeProperty<unsigned int>(1, none, IFC_CARD_VAR_READ_WRITE, 0U), std::logic_error);
}

TEST(PropertyBase, AnyAccessTypeIsHeldAsA32BitValue) {
  static_assert(sizeof(IfcCardVarAccessType) == 4);
  static_assert(std::is_same_v<std::underlying_type_t<IfcCardVarAccessType>, unsigned int>);
  const BareProperty property(1, "odd", static_cast<IfcCardVarAccessType>(0xFFFFFFFF));
  EXPECT_EQ(property.accessType, 0xFFFFFFFFU);
}

TEST(PropertyBase, ReadOnlyIsOneAndReadWriteIsZero) {
  EXPECT_EQ(static_cast<unsigned int>(IFC_CARD_VAR_READ_WRITE), 0U);
  EXPECT_EQ(static_cast<unsigned int>(IFC_CARD_VAR_READ_ONLY), 1U);
}

TEST(PropertyBase, IsAbstractNotCopiedAndDeletedThroughItsBase) {
  static_assert(std::is_abstract_v<TrelProperty>);
  static_assert(std::has_virtual_destructor_v<TrelProperty>);
  static_assert(!std::is_copy_constructible_v<BareProperty>);
  static_assert(!std::is_copy_assignable_v<BareProperty>);
  TrelProperty* const property = new BareProperty(1);
  delete property;
}

TEST(PropertyBase, ConstructionAndDestructionWriteNoLine) {
  const LogCapture log;
  { const BareProperty property(1); }
  EXPECT_EQ(log.brief(), Lines{});
}

// ----- defaults of the virtual operations ------------------------------------------------------------------------------

TEST(PropertyBase, SetToDefaultDoesNothing) {
  const LogCapture log;
  BareProperty property(3, "bare", IFC_CARD_VAR_READ_ONLY, true);
  property.eventPending = true;
  property.setToDefault();
  EXPECT_TRUE(property.eventPending);
  EXPECT_EQ(property.id, 3U);
  EXPECT_EQ(property.row, 0U);
  EXPECT_EQ(log.brief(), Lines{});
}

TEST(PropertyBase, EveryValueIsValidUnlessAKindSaysOtherwise) {
  const LogCapture log;
  BareProperty property(1);
  EXPECT_TRUE(property.validValue("\xFF", 1));
  EXPECT_TRUE(property.validValue("", 0));
  EXPECT_TRUE(property.validValue(nullptr, -1));
  EXPECT_EQ(log.brief(), Lines{});
}

// ----- refusing accessors ----------------------------------------------------------------------------------------------

TEST(PropertyBase, EveryGetterRefusesWithItsTypeWordAndLeavesTheCallersVariable) {
  BareProperty property(7, "counter");
  property.row = 5;
  LogCapture log;
  ASSERT_EQ(allTypedAccessors().size(), 11U);
  for (const TypedAccessor& accessor : allTypedAccessors()) {
    SCOPED_TRACE(accessor.word);
    log.clear();
    EXPECT_TRUE(accessor.getLeavesTarget(property));
    EXPECT_EQ(log.brief(), Lines{std::string("3 [ERROR] trelProperty (get) - [counter] Not implemented for ") +
                                 accessor.word + " (property 7, row 5)"});
  }
}

TEST(PropertyBase, EverySetterRefusesWithItsTypeWordAndChangesNothing) {
  BareProperty property(7, "counter", IFC_CARD_VAR_READ_WRITE, true);
  property.row = 5;
  LogCapture log;
  for (const TypedAccessor& accessor : allTypedAccessors()) {
    SCOPED_TRACE(accessor.word);
    log.clear();
    accessor.set(property);
    EXPECT_EQ(log.brief(), Lines{std::string("3 [ERROR] trelProperty (set) - [counter] Not implemented for ") +
                                 accessor.word + " (property 7, row 5)"});
    EXPECT_FALSE(property.eventPending);
  }
}

TEST(PropertyBase, RefusalsOfTheSettersWordForWord) {
  BareProperty property(7, "counter");
  LogCapture log;
  for (const TypedAccessor& accessor : allTypedAccessors())
    accessor.set(property);
  EXPECT_EQ(log.brief(),
            (Lines{
                "3 [ERROR] trelProperty (set) - [counter] Not implemented for uint64_t (property 7, row 0)",
                "3 [ERROR] trelProperty (set) - [counter] Not implemented for uint32_t (property 7, row 0)",
                "3 [ERROR] trelProperty (set) - [counter] Not implemented for uint16_t (property 7, row 0)",
                "3 [ERROR] trelProperty (set) - [counter] Not implemented for uint8_t (property 7, row 0)",
                "3 [ERROR] trelProperty (set) - [counter] Not implemented for int64_t (property 7, row 0)",
                "3 [ERROR] trelProperty (set) - [counter] Not implemented for int32_t (property 7, row 0)",
                "3 [ERROR] trelProperty (set) - [counter] Not implemented for int16_t (property 7, row 0)",
                "3 [ERROR] trelProperty (set) - [counter] Not implemented for int8_t (property 7, row 0)",
                "3 [ERROR] trelProperty (set) - [counter] Not implemented for bool (property 7, row 0)",
                "3 [ERROR] trelProperty (set) - [counter] Not implemented for std::string (property 7, row 0)",
                "3 [ERROR] trelProperty (set) - [counter] Not implemented for array of uint8_t (property 7, row 0)",
            }));
}

TEST(PropertyBase, GetterThatRefusesDoesNotLookAtTheCallersPointer) {
  BareProperty property(7, "counter");
  const LogCapture log;
  property.get(static_cast<unsigned int*>(nullptr));
  property.get(static_cast<std::string*>(nullptr));
  property.get(nullptr, nullptr);
  property.set(nullptr, 3U);
  EXPECT_EQ(log.count("Not implemented for"), 4U);
}

TEST(PropertyBase, RefusalPrintsIdAndRowAsSignedNumbers) {
  BareProperty property(0xFFFFFFFF, "old");
  property.row = 0x80000000;
  const LogCapture log;
  property.set(1U);
  EXPECT_EQ(log.brief(),
            Lines{"3 [ERROR] trelProperty (set) - [old] Not implemented for uint32_t (property -1, row -2147483648)"});
}

TEST(PropertyBase, NameWithPercentSignsIsPrintedAsItIs) {
  BareProperty property(1, "load %s%n %d");
  const LogCapture log;
  property.set(1U);
  EXPECT_EQ(log.brief(),
            Lines{"3 [ERROR] trelProperty (set) - [load %s%n %d] Not implemented for uint32_t (property 1, row 0)"});
}

TEST(PropertyBase, RefusalIsWrittenAboveLevelTwoOnly) {
  BareProperty property(7, "counter");
  LogCapture log(2);
  unsigned int variable = 3;
  property.get(&variable);
  property.set(4U);
  EXPECT_EQ(log.brief(), Lines{});
  EXPECT_EQ(variable, 3U);
  log.setLevel(3);
  property.get(&variable);
  property.set(4U);
  EXPECT_EQ(log.brief().size(), 2U);
}

TEST(PropertyBase, RefusalIsALineOfTheModulesSource) {
  BareProperty property(7, "counter");
  const LogCapture log;
  property.set(1U);
  ASSERT_EQ(log.lines().size(), 1U);
  EXPECT_EQ(log.lines()[0].file, "components/trel/trelProperty.cpp");
  EXPECT_GT(log.lines()[0].line, 0);
}

TEST(PropertyBase, WithoutATraceObjectOrItsLevelNothingIsWritten) {
  BareProperty property(7, "counter");
  const LogCapture log;
  TraceObject* const tracing = g_traceObject;
  g_traceObject = nullptr;
  property.set(1U);
  TraceObject withoutLevel = {nullptr};
  g_traceObject = &withoutLevel;
  property.set(1U);
  g_traceObject = tracing;
  EXPECT_EQ(log.brief(), Lines{});
  property.set(1U);
  EXPECT_EQ(log.brief().size(), 1U);
}

TEST(PropertyBase, NegativeTraceLevelWritesNothing) {
  BareProperty property(7, "counter");
  const LogCapture log(std::numeric_limits<int>::min());
  property.set(1U);
  EXPECT_EQ(log.brief(), Lines{});
}

TEST(PropertyBase, StringSetterOnA32BitNumberIsRefusedAndTheValueStays) {
  TypeProperty<unsigned int> property(9, "uptime", IFC_CARD_VAR_READ_WRITE, 41U, true);
  property.row = 3;
  const LogCapture log;
  property.set(std::string("42"));
  EXPECT_EQ(log.brief(),
            Lines{"3 [ERROR] trelProperty (set) - [uptime] Not implemented for std::string (property 9, row 3)"});
  EXPECT_EQ(property.value, 41U);
  EXPECT_FALSE(property.eventPending);
}

// ----- OID -------------------------------------------------------------------------------------------------------------

TEST(PropertyBase, WithoutAnObjectTheOidIsTheId) {
  BareProperty property(0x9ABCDEF0);
  property.row = 12;
  EXPECT_EQ(property.getOid(), 0x9ABCDEF0U);
}

TEST(PropertyBase, WithAnObjectTheOidIsWhatTheObjectComposesOfIdAndRow) {
  OidProbe object(5);
  auto* const property = new BareProperty(33);
  ASSERT_TRUE(object.addProp(property, 4));
  EXPECT_EQ(property->getOid(), 0xDEADBEEFU);
  EXPECT_EQ(object.askedId, 33U);
  EXPECT_EQ(object.askedRow, 4U);
}

TEST(PropertyBase, OidIsComputedAtEveryCallAndNeverKept) {
  OidProbe object(5);
  auto* const property = new BareProperty(33);
  ASSERT_TRUE(object.addProp(property, 4));
  const int before = object.asked;
  property->getOid();
  property->getOid();
  EXPECT_EQ(object.asked, before + 2);
}

TEST(PropertyBase, OidIsTheBareIdBeforeAddPropAndTheTablesOidAfterwards) {
  TrelTable table("ports", 3, false, 6);
  auto* const property = new TypeProperty<unsigned int>(2, "speed", IFC_CARD_VAR_READ_WRITE, 0U);
  EXPECT_EQ(property->getOid(), 2U);
  ASSERT_TRUE(table.addProp(property, 5));
  EXPECT_EQ(property->getOid(), 0x40C08005U);
}

TEST(PropertyBase, OidOfAScalarPropertyHoldsGroupCommonFlagAndId) {
  TrelScalar scalar("inventory", 1, true);
  auto* const property = new TypeProperty<unsigned int>(5, "type", IFC_CARD_VAR_READ_WRITE, 0U);
  ASSERT_TRUE(scalar.addProp(property, 0));
  EXPECT_EQ(property->getOid(), 0x10800005U);
}

// ----- pending event ---------------------------------------------------------------------------------------------------

TEST(PropertyBase, SendEventIsTrueOnceAfterAChangingWriteAndThenFalse) {
  TypeProperty<unsigned int> property(1, "alarm", IFC_CARD_VAR_READ_WRITE, 5U, true);
  EXPECT_FALSE(property.sendEvent());
  property.set(6U);
  EXPECT_TRUE(property.sendEvent());
  EXPECT_FALSE(property.sendEvent());
}

TEST(PropertyBase, SendEventClearsTheFlag) {
  BareProperty property(1);
  property.eventPending = true;
  EXPECT_TRUE(property.sendEvent());
  EXPECT_FALSE(property.eventPending);
}

TEST(PropertyBase, SendEventHandsOutTheFlagWhetherOrNotThePropertyIsEventable) {
  BareProperty property(1, "plain", IFC_CARD_VAR_READ_WRITE, false);
  property.eventPending = true;
  EXPECT_TRUE(property.sendEvent());
  EXPECT_FALSE(property.sendEvent());
}

TEST(PropertyBase, FlagCyclesWithEveryChangingWrite) {
  TypeProperty<unsigned int> property(1, "alarm", IFC_CARD_VAR_READ_WRITE, 0U, true);
  for (unsigned int value = 1; value <= 3; ++value) {
    property.set(value);
    EXPECT_TRUE(property.sendEvent());
    property.set(value);
    EXPECT_FALSE(property.sendEvent());
  }
}

TEST(PropertyBase, SendEventWritesNoLine) {
  BareProperty property(1);
  const LogCapture log;
  property.sendEvent();
  EXPECT_EQ(log.brief(), Lines{});
}

}  // namespace
