// A program that is not position independent has an entry of its own for a function of the library, and its virtual tables name
// that entry. Here the program has a function of that name, which is the same for its tables and can be seen being called: an
// object whose table names it has not overridden `update`, and is not asked.

#include <gtest/gtest.h>

#include "support/bytes.h"
#include "support/recordingEngine.h"
#include "trel/trelObjects.h"
#include "trel/trelProperty.h"

namespace {
int asked = 0;
}

extern "C" {
[[gnu::visibility("default")]] bool updateOfTheProgram(TrelObject* object, TrelProperty* property,
                                                       unsigned int row) asm("_ZN10TrelObject6updateEP12TrelPropertyj");

bool updateOfTheProgram(TrelObject*, TrelProperty*, unsigned int) {
  ++asked;
  return true;
}
}

namespace {

// Overrides nothing.
class Plain : public TrelScalar {
 public:
  Plain() : TrelScalar("plain", 1, true), property(new Number(5, "temperature", IFC_CARD_VAR_READ_WRITE, 42U)) {
    addProp(property, 0);
  }
  using Number = TypeProperty<unsigned int>;
  Number* const property;
};

constexpr const char* ANSWER = "4F544E31 01 03 0007 00 0000 | 10800005 01 0004 0000002A";

void read(RecordingEngine& engine) { engine.receive("4F544E31 01 01 0007 | 10800005 01 0000"_hex, ""); }

}  // namespace

TEST(NameOfTheProgram, StandsInTheTablesOfTheProgram) {
  Plain plain;
  TrelObject& object = plain;
  object.update(plain.property, 0);
  EXPECT_EQ(asked, 1);
}

TEST(NameOfTheProgram, IsNoOverride) {
  Plain plain;
  RecordingEngine engine;
  engine.registerObject(&plain);
  read(engine);
  EXPECT_EQ(engine.sent(), Datagrams{ANSWER});
  EXPECT_EQ(asked, 0);
}

// The first of the two groups is asked and has no such variable; the second one has been lent it.
TEST(NameOfTheProgram, IsNoOverrideOfAnObjectThatNobodyHasRegisteredEither) {
  Plain plain;
  TrelScalar first("first", 1, true);
  TrelScalar second("second", 1, true);
  (*second.rows[0])[5] = plain.property;
  RecordingEngine engine;
  engine.registerObject(&first);
  engine.registerObject(&second);
  read(engine);
  second.rows[0]->clear();
  EXPECT_EQ(engine.sent(), Datagrams{ANSWER});
  EXPECT_EQ(asked, 0);
}
