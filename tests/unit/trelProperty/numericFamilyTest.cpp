// The nine numeric types: what they share and how they differ. Their bytes are in numericWireTest.cpp, the flag's own
// rules in numericBoolTest.cpp.

#include <gtest/gtest.h>

#include <cstring>
#include <limits>
#include <memory>
#include <string>
#include <type_traits>
#include <vector>

#include "support/classLayout.h"
#include "support/logCapture.h"
#include "support/propertyInterface.h"
#include "trel/trelProperty.h"

namespace {

using Lines = std::vector<std::string>;

template <typename T>
std::unique_ptr<TrelProperty> makeZero() {
  return std::make_unique<TypeProperty<T>>(7U, "member", IFC_CARD_VAR_READ_WRITE, static_cast<T>(0), true);
}

struct Member {
  const char* type;
  int code;
  int length;
  const char* word;  // as the refusals name it
  std::unique_ptr<TrelProperty> (*make)();
};

const Member members[] = {
    {"unsigned long long", 0, 8, "uint64_t", makeZero<unsigned long long>},
    {"unsigned int", 1, 4, "uint32_t", makeZero<unsigned int>},
    {"unsigned short", 2, 2, "uint16_t", makeZero<unsigned short>},
    {"unsigned char", 3, 1, "uint8_t", makeZero<unsigned char>},
    {"long long", 4, 8, "int64_t", makeZero<long long>},
    {"int", 5, 4, "int32_t", makeZero<int>},
    {"short", 6, 2, "int16_t", makeZero<short>},
    {"signed char", 7, 1, "int8_t", makeZero<signed char>},
    {"bool", 8, 1, "bool", makeZero<bool>},
};

// Runs the check once for each of the nine types: check(T{}).
template <typename Check>
void forEveryType(Check check) {
  {
    SCOPED_TRACE("unsigned long long");
    check(0ULL);
  }
  {
    SCOPED_TRACE("unsigned int");
    check(0U);
  }
  {
    SCOPED_TRACE("unsigned short");
    check(static_cast<unsigned short>(0));
  }
  {
    SCOPED_TRACE("unsigned char");
    check(static_cast<unsigned char>(0));
  }
  {
    SCOPED_TRACE("long long");
    check(0LL);
  }
  {
    SCOPED_TRACE("int");
    check(0);
  }
  {
    SCOPED_TRACE("short");
    check(static_cast<short>(0));
  }
  {
    SCOPED_TRACE("signed char");
    check(static_cast<signed char>(0));
  }
  {
    SCOPED_TRACE("bool");
    check(false);
  }
}

template <typename T>
class AcceptAll : public TypeProperty<T>::TypeValueCheck {
 public:
  bool checkValue(T) override { return true; }
};

// ----- the table -------------------------------------------------------------------------------------------------------

TEST(NumericFamily, TypeCodeAndLengthOfEveryMember) {
  const LogCapture log;
  for (const Member& member : members) {
    SCOPED_TRACE(member.type);
    const std::unique_ptr<TrelProperty> property = member.make();
    EXPECT_EQ(property->getType(), member.code);
    EXPECT_EQ(property->length(), member.length);
  }
  EXPECT_EQ(log.brief(), Lines{});
}

TEST(NumericFamily, TypeOutsideTheTableHasCodeFourteen) {
  EXPECT_EQ(trelDetail::typeCode<char>(), 14);
  EXPECT_EQ(trelDetail::typeCode<long>(), 14);
  EXPECT_EQ(trelDetail::typeCode<unsigned long>(), 14);
  EXPECT_EQ(trelDetail::typeCode<float>(), 14);
}

TEST(NumericFamily, EveryMemberAnswersItsOwnAccessorPairAndRefusesTheOthers) {
  for (const Member& member : members) {
    SCOPED_TRACE(member.type);
    const std::unique_ptr<TrelProperty> property = member.make();
    expectOtherAccessorsRefused(*property, member.word, member.word, "(property 7, row 0)");
    EXPECT_TRUE(property->isDefault()) << "a refused setter changed the value";
    EXPECT_FALSE(property->eventPending);
  }
}

TEST(NumericFamily, OwnAccessorPairWritesNoLine) {
  for (const Member& member : members) {
    SCOPED_TRACE(member.type);
    const std::unique_ptr<TrelProperty> property = member.make();
    const LogCapture log;
    int own = 0;
    for (const TypedAccessor& accessor : allTypedAccessors()) {
      if (std::string(accessor.word) != member.word) continue;
      ++own;
      EXPECT_FALSE(accessor.getLeavesTarget(*property));  // it held 0, the target did not
      accessor.set(*property);
    }
    EXPECT_EQ(own, 1);
    EXPECT_FALSE(property->isDefault());
    EXPECT_EQ(log.brief(), Lines{});
  }
}

TEST(NumericFamily, UnsignedPropertyAskedForAnIntLogsInt32) {
  TypeProperty<unsigned int> property(7, "uptime", IFC_CARD_VAR_READ_WRITE, 41U);
  const LogCapture log;
  int variable = -1;
  property.get(&variable);
  EXPECT_EQ(variable, -1);
  EXPECT_EQ(log.brief(),
            Lines{"3 [ERROR] trelProperty (get) - [uptime] Not implemented for int32_t (property 7, row 0)"});
}

TEST(NumericFamily, PlainNumberSelectsTheIntSetterAndIsRefusedByAnUnsignedProperty) {
  TypeProperty<unsigned int> property(7, "uptime", IFC_CARD_VAR_READ_WRITE, 41U);
  const LogCapture log;
  property.set(42);
  EXPECT_EQ(property.value, 41U);
  EXPECT_EQ(log.brief(),
            Lines{"3 [ERROR] trelProperty (set) - [uptime] Not implemented for int32_t (property 7, row 0)"});
  property.set(42U);
  EXPECT_EQ(property.value, 42U);
  EXPECT_EQ(log.lines().size(), 1U);
}

// ----- construction ----------------------------------------------------------------------------------------------------

TEST(NumericFamily, ConstructorWithCheckAndEventable) {
  forEveryType([](auto zero) {
    using T = decltype(zero);
    const T def = static_cast<T>(1);
    auto* const check = new AcceptAll<T>;
    const TypeProperty<T> property(0x01020304, "full", IFC_CARD_VAR_READ_ONLY, def, check, true);
    EXPECT_EQ(property.id, 0x01020304U);
    EXPECT_EQ(property.name, "full");
    EXPECT_EQ(property.accessType, IFC_CARD_VAR_READ_ONLY);
    EXPECT_EQ(+property.value, +static_cast<T>(1));
    EXPECT_EQ(+property.defaultValue, +static_cast<T>(1));
    EXPECT_EQ(property.valueCheck, check);
    EXPECT_TRUE(property.eventable);
    EXPECT_FALSE(property.eventPending);
    EXPECT_EQ(property.row, 0U);
    EXPECT_EQ(property.object, nullptr);
  });
}

TEST(NumericFamily, ConstructorWithCheckAndNotEventable) {
  forEveryType([](auto zero) {
    using T = decltype(zero);
    auto* const check = new AcceptAll<T>;
    const TypeProperty<T> property(1, "full", IFC_CARD_VAR_READ_WRITE, static_cast<T>(1), check, false);
    EXPECT_EQ(property.valueCheck, check);
    EXPECT_FALSE(property.eventable);
  });
}

TEST(NumericFamily, ConstructorWithCheckAloneIsNotEventable) {
  forEveryType([](auto zero) {
    using T = decltype(zero);
    auto* const check = new AcceptAll<T>;
    const TypeProperty<T> property(2, "checked", IFC_CARD_VAR_READ_WRITE, static_cast<T>(1), check);
    EXPECT_EQ(property.id, 2U);
    EXPECT_EQ(property.name, "checked");
    EXPECT_EQ(property.accessType, IFC_CARD_VAR_READ_WRITE);
    EXPECT_EQ(+property.value, +static_cast<T>(1));
    EXPECT_EQ(+property.defaultValue, +static_cast<T>(1));
    EXPECT_EQ(property.valueCheck, check);
    EXPECT_FALSE(property.eventable);
  });
}

TEST(NumericFamily, ConstructorWithEventableAloneHasNoCheck) {
  forEveryType([](auto zero) {
    using T = decltype(zero);
    const TypeProperty<T> eventable(3, "eventable", IFC_CARD_VAR_READ_ONLY, static_cast<T>(1), true);
    EXPECT_EQ(eventable.id, 3U);
    EXPECT_EQ(eventable.name, "eventable");
    EXPECT_EQ(eventable.accessType, IFC_CARD_VAR_READ_ONLY);
    EXPECT_EQ(+eventable.value, +static_cast<T>(1));
    EXPECT_EQ(+eventable.defaultValue, +static_cast<T>(1));
    EXPECT_EQ(eventable.valueCheck, nullptr);
    EXPECT_TRUE(eventable.eventable);
    const TypeProperty<T> plain(3, "plain", IFC_CARD_VAR_READ_ONLY, static_cast<T>(1), false);
    EXPECT_FALSE(plain.eventable);
  });
}

TEST(NumericFamily, ConstructorWithTheDefaultAloneHasNoCheckAndIsNotEventable) {
  forEveryType([](auto zero) {
    using T = decltype(zero);
    const TypeProperty<T> property(4, "plain", IFC_CARD_VAR_READ_ONLY, static_cast<T>(1));
    EXPECT_EQ(property.id, 4U);
    EXPECT_EQ(property.name, "plain");
    EXPECT_EQ(property.accessType, IFC_CARD_VAR_READ_ONLY);
    EXPECT_EQ(+property.value, +static_cast<T>(1));
    EXPECT_EQ(+property.defaultValue, +static_cast<T>(1));
    EXPECT_EQ(property.valueCheck, nullptr);
    EXPECT_FALSE(property.eventable);
    EXPECT_FALSE(property.eventPending);
  });
}

TEST(NumericFamily, NullCheckIsNoCheck) {
  const TypeProperty<bool> flag(1, "flag", IFC_CARD_VAR_READ_WRITE, true, nullptr);
  EXPECT_EQ(flag.valueCheck, nullptr);
  EXPECT_FALSE(flag.eventable);
  const TypeProperty<unsigned int> number(1, "number", IFC_CARD_VAR_READ_WRITE, 1U, nullptr, true);
  EXPECT_EQ(number.valueCheck, nullptr);
  EXPECT_TRUE(number.eventable);
}

TEST(NumericFamily, ConstructorDoesNotAskTheCheckAboutTheDefault) {
  const LogCapture log;
  const TypeProperty<int> property(1, "odd", IFC_CARD_VAR_READ_WRITE, 99, new RangeCheckValue<int>(1, 10));
  EXPECT_EQ(property.value, 99);
  EXPECT_EQ(log.brief(), Lines{});
}

// ----- get and set -----------------------------------------------------------------------------------------------------

TEST(NumericFamily, EveryMemberReturnsItsLimitsAsTheyWereSet) {
  forEveryType([](auto zero) {
    using T = decltype(zero);
    TypeProperty<T> property(1, "limits", IFC_CARD_VAR_READ_WRITE, zero);
    for (const T limit : {std::numeric_limits<T>::min(), std::numeric_limits<T>::max()}) {
      property.set(limit);
      T read = static_cast<T>(!limit);
      property.get(&read);
      EXPECT_EQ(read, limit);
    }
  });
}

TEST(NumericFamily, SetterKeepsTheDefault) {
  TypeProperty<short> property(1, "level", IFC_CARD_VAR_READ_WRITE, static_cast<short>(-3));
  property.set(static_cast<short>(8));
  EXPECT_EQ(property.value, 8);
  EXPECT_EQ(property.defaultValue, -3);
}

TEST(NumericFamily, SetterDoesNotAskTheCheckBecauseTheApplicationIsTrusted) {
  const LogCapture log;
  TypeProperty<int> property(1, "offset", IFC_CARD_VAR_READ_WRITE, 3, new RangeCheckValue<int>(1, 10));
  property.set(11);
  EXPECT_EQ(property.value, 11);
  EXPECT_EQ(log.brief(), Lines{});
}

TEST(NumericFamily, SetterOfTheApplicationIsNotRefusedForReadOnly) {
  TypeProperty<int> property(1, "sensor", IFC_CARD_VAR_READ_ONLY, 3);
  property.set(11);
  EXPECT_EQ(property.value, 11);
}

TEST(NumericFamily, SameValueRaisesNoEventAnotherValueDoesAndAResetDoesNot) {
  TypeProperty<unsigned int> property(1, "alarm", IFC_CARD_VAR_READ_WRITE, 5U, true);
  property.set(5U);
  EXPECT_FALSE(property.eventPending);
  property.set(6U);
  EXPECT_TRUE(property.eventPending);
  EXPECT_TRUE(property.sendEvent());
  property.setToDefault();
  EXPECT_FALSE(property.eventPending);
  EXPECT_EQ(property.value, 5U);
}

TEST(NumericFamily, EveryEventableMemberRaisesTheEventOnAChangeOnly) {
  forEveryType([](auto zero) {
    using T = decltype(zero);
    TypeProperty<T> property(1, "alarm", IFC_CARD_VAR_READ_WRITE, zero, true);
    property.set(zero);
    EXPECT_FALSE(property.eventPending);
    property.set(static_cast<T>(1));
    EXPECT_TRUE(property.eventPending);
  });
}

TEST(NumericFamily, PropertyThatIsNotEventableRaisesNoEvent) {
  forEveryType([](auto zero) {
    using T = decltype(zero);
    TypeProperty<T> property(1, "plain", IFC_CARD_VAR_READ_WRITE, zero, false);
    property.set(static_cast<T>(1));
    EXPECT_FALSE(property.eventPending);
    EXPECT_EQ(+property.value, +static_cast<T>(1));
  });
}

TEST(NumericFamily, PendingEventStaysWhenTheValueReturnsToWhatItWas) {
  TypeProperty<unsigned int> property(1, "alarm", IFC_CARD_VAR_READ_WRITE, 5U, true);
  property.set(6U);
  property.set(5U);
  property.set(5U);
  EXPECT_TRUE(property.eventPending);
}

// ----- default ---------------------------------------------------------------------------------------------------------

TEST(NumericFamily, DefaultIsComparedAndRestored) {
  forEveryType([](auto zero) {
    using T = decltype(zero);
    TypeProperty<T> property(1, "level", IFC_CARD_VAR_READ_WRITE, static_cast<T>(1));
    EXPECT_TRUE(property.isDefault());
    property.set(zero);
    EXPECT_FALSE(property.isDefault());
    property.setToDefault();
    EXPECT_TRUE(property.isDefault());
    EXPECT_EQ(+property.value, +static_cast<T>(1));
  });
}

TEST(NumericFamily, ResetToDefaultLeavesAPendingEventPending) {
  TypeProperty<unsigned int> property(1, "alarm", IFC_CARD_VAR_READ_WRITE, 5U, true);
  property.set(6U);
  property.setToDefault();
  EXPECT_TRUE(property.eventPending);
}

// ----- binary interface ------------------------------------------------------------------------------------------------

TEST(NumericFamily, MembersStandBehindThoseOfTheBase) {
  forEveryType([](auto zero) {
    using T = decltype(zero);
    using Byte = std::conditional_t<std::is_same_v<T, bool>, unsigned char, T>;
    const TypeProperty<T> property(1, "layout", IFC_CARD_VAR_READ_WRITE, zero);
    MemberPlaces places(sizeof(TrelProperty));
    EXPECT_EQ(placeIn(property, property.value), places.next<Byte>());
    EXPECT_EQ(placeIn(property, property.defaultValue), places.next<Byte>());
    EXPECT_EQ(placeIn(property, property.valueCheck), places.next<typename TypeProperty<T>::TypeValueCheck*>());
    EXPECT_EQ(sizeof(property), places.sizeOf(alignof(TypeProperty<T>)));
    EXPECT_EQ(sizeof property.value, sizeof property.defaultValue);
  });
}

TEST(NumericFamily, MembersStandAtTheKnownPlacesWithLibstdcxxStrings) {
  if (sizeof(std::string) != (sizeof(void*) == 8 ? 32U : 24U)) GTEST_SKIP() << "another standard library";
  const bool is64Bit = sizeof(void*) == 8;
  const TypeProperty<unsigned int> number(1, "layout", IFC_CARD_VAR_READ_WRITE, 0U);
  EXPECT_EQ(placeIn(number, number.value), is64Bit ? 64U : 48U);
  EXPECT_EQ(placeIn(number, number.defaultValue), is64Bit ? 68U : 52U);
  EXPECT_EQ(placeIn(number, number.valueCheck), is64Bit ? 72U : 56U);
  EXPECT_EQ(sizeof number, is64Bit ? 80U : 60U);
  const TypeProperty<signed char> byte(1, "layout", IFC_CARD_VAR_READ_WRITE, static_cast<signed char>(0));
  EXPECT_EQ(placeIn(byte, byte.value), is64Bit ? 64U : 48U);
  EXPECT_EQ(placeIn(byte, byte.defaultValue), is64Bit ? 65U : 49U);
  EXPECT_EQ(placeIn(byte, byte.valueCheck), is64Bit ? 72U : 52U);
  EXPECT_EQ(sizeof byte, is64Bit ? 80U : 56U);
}

TEST(NumericFamily, VirtualOperationsStandWhereThoseOfTheBaseStandAndNoneIsAdded) {
  forEveryType([](auto zero) {
    using T = decltype(zero);
    expectDocumentedSlots<TypeProperty<T>>();
    expectNoFurtherSlot<TypeProperty<T>>();
  });
}

TEST(NumericFamily, CheckHasNoFieldsAndTwoVirtualOperations) {
  forEveryType([](auto zero) {
    using T = decltype(zero);
    using Check = typename TypeProperty<T>::TypeValueCheck;
    class OneMore : public AcceptAll<T> {
     public:
      virtual void oneMore() {}
    };
    static_assert(std::is_abstract_v<Check>);
    static_assert(std::has_virtual_destructor_v<Check>);
    EXPECT_EQ(sizeof(Check), sizeof(void*));
    EXPECT_EQ(virtualSlot(&Check::checkValue), 2U);
    EXPECT_EQ(virtualSlot(&OneMore::oneMore), 3U);
  });
}

template <typename T>
void expectRangeLayout() {
  class OneMore : public RangeCheckValue<T> {
   public:
    using RangeCheckValue<T>::RangeCheckValue;
    virtual void oneMore() {}
  };
  const RangeCheckValue<T> check(static_cast<T>(3), static_cast<T>(9));
  MemberPlaces places(sizeof(void*));
  T min = 0;
  T max = 0;
  std::memcpy(&min, reinterpret_cast<const char*>(&check) + places.next<T>(), sizeof min);
  std::memcpy(&max, reinterpret_cast<const char*>(&check) + places.next<T>(), sizeof max);
  EXPECT_EQ(+min, +static_cast<T>(3));
  EXPECT_EQ(+max, +static_cast<T>(9));
  EXPECT_EQ(sizeof check, places.sizeOf(alignof(RangeCheckValue<T>)));
  EXPECT_EQ(virtualSlot(&RangeCheckValue<T>::checkValue), 2U);
  EXPECT_EQ(virtualSlot(&OneMore::oneMore), 3U);
}

TEST(NumericFamily, RangeCheckHoldsMinimumThenMaximumAndAddsNoVirtualOperation) {
  expectRangeLayout<unsigned long long>();
  expectRangeLayout<unsigned int>();
  expectRangeLayout<unsigned short>();
  expectRangeLayout<unsigned char>();
  expectRangeLayout<long long>();
  expectRangeLayout<int>();
  expectRangeLayout<short>();
  expectRangeLayout<signed char>();
}

}  // namespace
