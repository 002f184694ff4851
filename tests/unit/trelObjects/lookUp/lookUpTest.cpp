// Whether an object overrides `update` is asked for every variable that a request names. The name of the base version, as the
// program has it, is looked up in the dynamic linker, which takes its lock: once in a process, not in every request.

#include <dlfcn.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "support/bytes.h"
#include "support/recordingEngine.h"
#include "trel/trelObjects.h"
#include "trel/trelProperty.h"

namespace {

using Calls = std::vector<std::string>;

// What the library has asked of the dynamic linker, oldest first.
Calls calls;
void* programHandle = nullptr;
bool nextOpenFails = false;

// The dynamic linker's own function, behind whatever a sanitizer puts in front of it.
template <typename Function>
Function* next(const char* name) {
  return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

}  // namespace

// Defined in the program, they are found before the dynamic linker's, by shared libraries too.
extern "C" {

[[gnu::visibility("default")]] void* dlopen(const char* name, int flags) noexcept {
  if (name != nullptr) return next<void*(const char*, int)>("dlopen")(name, flags);
  if (nextOpenFails) {
    nextOpenFails = false;
    calls.emplace_back("the program is not opened");
    return nullptr;
  }
  programHandle = next<void*(const char*, int)>("dlopen")(name, flags);
  calls.emplace_back("the program is opened");
  return programHandle;
}

[[gnu::visibility("default")]] int dlclose(void* handle) noexcept {
  calls.emplace_back(handle == programHandle ? "the program is closed" : "something else is closed");
  return next<int(void*)>("dlclose")(handle);
}

}  // extern "C"

namespace {

class Refreshed : public TrelScalar {
 public:
  Refreshed() : TrelScalar("refreshed", 1, true) {
    addProp(new TypeProperty<unsigned int>(5, "temperature", IFC_CARD_VAR_READ_WRITE, 41U), 0);
  }
  bool update(TrelProperty* property, unsigned int) override {
    property->set(42U);
    return true;
  }
};

struct Card {
  Card() { engine.registerObject(&scalar); }
  // The answer to a read of the variable.
  std::string read() {
    engine.forget();
    engine.receive("4F544E31 01 01 0007 | 10800005 01 0000"_hex, "");
    return engine.sent().empty() ? "nothing" : engine.sent().front();
  }
  Refreshed scalar;
  RecordingEngine engine;
};

constexpr const char* FIRST = "4F544E31 01 03 0007 00 0000 | 10800005 01 0004 0000002A";
constexpr const char* REPEATED = "4F544E31 01 03 0007 02 0000 | 10800005 01 0004 0000002A";

TEST(UpdateLookUp, TheProgramIsOpenedByTheFirstRequestAloneAndClosedAgain) {
  Card card;
  EXPECT_EQ(calls, Calls{});
  EXPECT_EQ(card.read(), FIRST);
  EXPECT_EQ(calls, (Calls{"the program is opened", "the program is closed"}));
  EXPECT_EQ(card.read(), REPEATED);
  EXPECT_EQ(calls, (Calls{"the program is opened", "the program is closed"}));
}

TEST(UpdateLookUp, AnObjectThatOverridesNothingIsKnownWithoutTheProgram) {
  TrelScalar plain("plain", 1, true);
  plain.addProp(new TypeProperty<unsigned int>(5, "temperature", IFC_CARD_VAR_READ_WRITE, 42U), 0);
  RecordingEngine engine;
  engine.registerObject(&plain);
  engine.receive("4F544E31 01 01 0007 | 10800005 01 0000"_hex, "");
  EXPECT_EQ(engine.sent(), Datagrams{FIRST});
  EXPECT_EQ(calls, Calls{});
}

TEST(UpdateLookUp, AnEngineWithoutObjectsHasNothingToAskTheProgramFor) {
  RecordingEngine engine;
  engine.receive("4F544E31 01 01 0007 | 10800005 01 0000"_hex, "");
  EXPECT_EQ(engine.sent(), Datagrams{"4F544E31 01 03 0007 05 0000"});
  EXPECT_EQ(calls, Calls{});
}

TEST(UpdateLookUp, AProgramThatCannotBeOpenedIsOpenedByTheNextRequest) {
  Card card;
  nextOpenFails = true;
  EXPECT_EQ(card.read(), FIRST);
  EXPECT_EQ(calls, Calls{"the program is not opened"});
  EXPECT_EQ(card.read(), REPEATED);
  EXPECT_EQ(calls, (Calls{"the program is not opened", "the program is opened", "the program is closed"}));
}

}  // namespace
