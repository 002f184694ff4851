// What every property kind must get right in the same way: the slots of its operations, and the refusal of the typed
// accessors that are not its own.

#ifndef TESTS_SUPPORT_PROPERTYINTERFACE_H
#define TESTS_SUPPORT_PROPERTYINTERFACE_H

#include <gtest/gtest.h>

#include <string>
#include <string_view>
#include <vector>

#include "support/classLayout.h"
#include "support/logCapture.h"
#include "support/typedAccessors.h"
#include "trel/trelProperty.h"

// Slots 0 and 1 are the destructor's.
template <typename Kind>
void expectDocumentedSlots() {
  EXPECT_EQ(virtualSlot(&Kind::setToDefault), 2U);
  EXPECT_EQ(virtualSlot(&Kind::isDefault), 3U);
  EXPECT_EQ(virtualSlot(&Kind::serialize), 4U);
  EXPECT_EQ(virtualSlot(&Kind::deserialize), 5U);
  EXPECT_EQ(virtualSlot(&Kind::length), 6U);
  EXPECT_EQ(virtualSlot(&Kind::getType), 7U);
  EXPECT_EQ(virtualSlot(&Kind::validValue), 8U);
  EXPECT_EQ(virtualSlot(static_cast<void (Kind::*)(unsigned long long*)>(&Kind::get)), 9U);
  EXPECT_EQ(virtualSlot(static_cast<void (Kind::*)(unsigned int*)>(&Kind::get)), 10U);
  EXPECT_EQ(virtualSlot(static_cast<void (Kind::*)(unsigned short*)>(&Kind::get)), 11U);
  EXPECT_EQ(virtualSlot(static_cast<void (Kind::*)(unsigned char*)>(&Kind::get)), 12U);
  EXPECT_EQ(virtualSlot(static_cast<void (Kind::*)(long long*)>(&Kind::get)), 13U);
  EXPECT_EQ(virtualSlot(static_cast<void (Kind::*)(int*)>(&Kind::get)), 14U);
  EXPECT_EQ(virtualSlot(static_cast<void (Kind::*)(short*)>(&Kind::get)), 15U);
  EXPECT_EQ(virtualSlot(static_cast<void (Kind::*)(signed char*)>(&Kind::get)), 16U);
  EXPECT_EQ(virtualSlot(static_cast<void (Kind::*)(bool*)>(&Kind::get)), 17U);
  EXPECT_EQ(virtualSlot(static_cast<void (Kind::*)(std::string*)>(&Kind::get)), 18U);
  EXPECT_EQ(virtualSlot(static_cast<void (Kind::*)(unsigned char*, unsigned int*)>(&Kind::get)), 19U);
  EXPECT_EQ(virtualSlot(static_cast<void (Kind::*)(unsigned long long)>(&Kind::set)), 20U);
  EXPECT_EQ(virtualSlot(static_cast<void (Kind::*)(unsigned int)>(&Kind::set)), 21U);
  EXPECT_EQ(virtualSlot(static_cast<void (Kind::*)(unsigned short)>(&Kind::set)), 22U);
  EXPECT_EQ(virtualSlot(static_cast<void (Kind::*)(unsigned char)>(&Kind::set)), 23U);
  EXPECT_EQ(virtualSlot(static_cast<void (Kind::*)(long long)>(&Kind::set)), 24U);
  EXPECT_EQ(virtualSlot(static_cast<void (Kind::*)(int)>(&Kind::set)), 25U);
  EXPECT_EQ(virtualSlot(static_cast<void (Kind::*)(short)>(&Kind::set)), 26U);
  EXPECT_EQ(virtualSlot(static_cast<void (Kind::*)(signed char)>(&Kind::set)), 27U);
  EXPECT_EQ(virtualSlot(static_cast<void (Kind::*)(bool)>(&Kind::set)), 28U);
  EXPECT_EQ(virtualSlot(static_cast<void (Kind::*)(std::string)>(&Kind::set)), 29U);
  EXPECT_EQ(virtualSlot(static_cast<void (Kind::*)(unsigned char*, unsigned int)>(&Kind::set)), 30U);
  EXPECT_EQ(virtualSlot(&Kind::str), 31U);
}

// Adds one virtual operation: its slot is the first one behind those of the kind.
template <typename Kind>
class WithOneMoreOperation : public Kind {
 public:
  using Kind::Kind;
  virtual void oneMore() {}
};
template <typename Kind>
void expectNoFurtherSlot() {
  EXPECT_EQ(virtualSlot(&WithOneMoreOperation<Kind>::oneMore), 32U);
}

// Uses every typed getter but that of `ownGetter` and every setter but that of `ownSetter` (words of typedAccessors.h) and
// expects of each one ERROR line, ending in `where` ("(property 7, row 0)"), and the target left alone. Whether the
// property's value was left alone is the caller's to look at.
inline void expectOtherAccessorsRefused(TrelProperty& property, std::string_view ownGetter, std::string_view ownSetter,
                                        const std::string& where) {
  int refused = 0;
  const auto expectOneLine = [&](const LogCapture& log, const std::string& function, const std::string& word) {
    ++refused;
    EXPECT_EQ(log.brief(), std::vector<std::string>{"3 [ERROR] trelProperty (" + function + ") - [" + property.name +
                                                    "] Not implemented for " + word + " " + where});
  };
  for (const TypedAccessor& accessor : allTypedAccessors()) {
    SCOPED_TRACE(accessor.word);
    if (accessor.word != ownGetter) {
      LogCapture log;
      EXPECT_TRUE(accessor.getLeavesTarget(property)) << "a refused getter wrote to its target";
      expectOneLine(log, "get", accessor.word);
    }
    if (accessor.word != ownSetter) {
      LogCapture log;
      accessor.set(property);
      expectOneLine(log, "set", accessor.word);
    }
  }
  EXPECT_EQ(refused, 20);
}

#endif
