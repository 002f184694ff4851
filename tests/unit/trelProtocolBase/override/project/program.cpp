// Asks the library, for classes of many shapes, whether it takes a hook for overridden. Ends with 0 when every answer is
// right; names each wrong one otherwise.
//
// What shows the answer for `update` is the trace line "update() call": it is written for an overridden hook, also when the
// override does nothing but call the base version, and not otherwise. For the engine's hooks it is the response.

#include <dlfcn.h>

#include <cstdio>
#include <memory>
#include <string>
#include <vector>

#include "support/bytes.h"
#include "support/logCapture.h"
#include "trel/trelProtocolBase.h"

// With a name that other files could see, as most applications' classes have.
class PublicPlain : public TrelScalar {
 public:
  using TrelScalar::TrelScalar;
};

class PublicTailCalling : public TrelScalar {
 public:
  using TrelScalar::TrelScalar;
  bool update(TrelProperty* property, unsigned int row) override { return TrelScalar::update(property, row); }
};

namespace {

int failures = 0;
bool nextLookUpFails = false;

void expect(const char* what, int found, int expected) {
  if (found == expected) return;
  ++failures;
  std::printf("%s: %d instead of %d\n", what, found, expected);
}

// ----- objects -----

class Plain : public TrelScalar {
 public:
  using TrelScalar::TrelScalar;
};

class OnlyUpdated : public TrelScalar {
 public:
  using TrelScalar::TrelScalar;
  bool updated(TrelProperty*, unsigned int) override { return true; }
};

class Overriding : public TrelScalar {
 public:
  using TrelScalar::TrelScalar;
  bool update(TrelProperty* property, unsigned int) override { return property != nullptr; }
};

// The same code as the base version.
class OverridingWithTheSame : public TrelScalar {
 public:
  using TrelScalar::TrelScalar;
  bool update(TrelProperty*, unsigned int) override { return true; }
};

class TailCalling : public TrelScalar {
 public:
  using TrelScalar::TrelScalar;
  bool update(TrelProperty* property, unsigned int row) override { return TrelScalar::update(property, row); }
};

class TailCallingTheRoot : public TrelScalar {
 public:
  using TrelScalar::TrelScalar;
  bool update(TrelProperty* property, unsigned int row) override { return TrelObject::update(property, row); }
};

class PlainTable : public TrelTable {
 public:
  using TrelTable::TrelTable;
};

class TailCallingTable final : public TrelTable {
 public:
  using TrelTable::TrelTable;
  bool update(TrelProperty* property, unsigned int row) final { return TrelTable::update(property, row); }
};

// Derived twice.
class PlainOfPlain : public Plain {
 public:
  using Plain::Plain;
};

class OverridingOfPlain : public Plain {
 public:
  using Plain::Plain;
  bool update(TrelProperty* property, unsigned int row) override { return Plain::update(property, row); }
};

class PlainOfOverriding : public Overriding {
 public:
  using Overriding::Overriding;
};

class TailCallingOfTailCalling : public TailCalling {
 public:
  using TailCalling::TailCalling;
  bool update(TrelProperty* property, unsigned int row) override { return TailCalling::update(property, row); }
};

// Back to the base version, past an override: still an override.
class BackToTheBase : public Overriding {
 public:
  using Overriding::Overriding;
  bool update(TrelProperty* property, unsigned int row) override { return TrelObject::update(property, row); }
};

// Multiple inheritance, the object first and second, and through a virtual base.
class Component {
 public:
  virtual ~Component() = default;
  virtual int tick() { return ++ticks; }
  int ticks = 0;
};

class PlainAndComponent : public TrelScalar, public Component {
 public:
  using TrelScalar::TrelScalar;
};

class OverridingAndComponent : public TrelScalar, public Component {
 public:
  using TrelScalar::TrelScalar;
  bool update(TrelProperty* property, unsigned int row) override { return TrelScalar::update(property, row); }
};

class ComponentAndPlain : public Component, public TrelScalar {
 public:
  using TrelScalar::TrelScalar;
};

class ComponentAndOverriding : public Component, public TrelScalar {
 public:
  using TrelScalar::TrelScalar;
  bool update(TrelProperty* property, unsigned int row) override {
    tick();
    return TrelScalar::update(property, row);
  }
};

class ComponentAndTailCalling : public Component, public TrelScalar {
 public:
  using TrelScalar::TrelScalar;
  bool update(TrelProperty* property, unsigned int row) override { return TrelScalar::update(property, row); }
};

class VirtuallyPlain : public Component, public virtual TrelScalar {
 public:
  VirtuallyPlain(const char* name, unsigned int id, bool common) : TrelScalar(name, id, common) {}
};

class VirtuallyOverriding : public Component, public virtual TrelScalar {
 public:
  VirtuallyOverriding(const char* name, unsigned int id, bool common) : TrelScalar(name, id, common) {}
  bool update(TrelProperty* property, unsigned int row) override { return TrelScalar::update(property, row); }
};

// An object of the application's own kind.
class OwnKind : public TrelObject {
 public:
  OwnKind(const char* name, unsigned int id, bool common) : TrelObject(name, ifcCard::SCALAR, id, common, 1) {}
  std::string getObjectTypeStr() const override { return "Own"; }
  unsigned int getOID(unsigned int, unsigned int) override { return 0x10800005; }
  TrelProperty* getPropFromOID(unsigned int) override { return getProp(5, 0); }
};

class OverridingOwnKind : public OwnKind {
 public:
  using OwnKind::OwnKind;
  bool update(TrelProperty* property, unsigned int row) override { return OwnKind::update(property, row); }
};

// ----- engines -----

class Engine : public TrelProtocolBase {
 public:
  int sendMsg(TRELMessage& message) override {
    const auto* const response = dynamic_cast<const TRELResponse*>(&message);
    result = response != nullptr ? static_cast<int>(response->result) : -1;
    return 1;
  }
  int receive(const std::string& datagram) {
    result = -2;
    return handleTrelMsg(static_cast<int>(datagram.size()), datagram.data(), "nobody");
  }
  int result = -2;
};

class CheckingEngine : public Engine {
 public:
  int checkTlvOld(OldStyleProperty*, bool) const override { return RESULT_OK; }
};

class ServingEngine : public CheckingEngine {
 public:
  bool handleTrelMsgOld(OldStyleProperty*, bool) override { return true; }
  bool amiMessageHandler(std::vector<TrelProperty*>) override { return true; }
};

class DerivedEngine : public ServingEngine {};

class ServingOnlyEngine : public Engine {
 public:
  bool handleTrelMsgOld(OldStyleProperty*, bool) override { return true; }
};

class TailCallingEngine : public Engine {
 public:
  int checkTlvOld(OldStyleProperty* property, bool isWrite) const override {
    return Engine::checkTlvOld(property, isWrite);
  }
  bool handleTrelMsgOld(OldStyleProperty* property, bool isWrite) override {
    return Engine::handleTrelMsgOld(property, isWrite);
  }
};

const std::string READ = "4F544E31 01 01 0007 | 10800005 01 0000"_hex;

// How many "update() call" lines a read of variable 5 of this object leaves.
template <typename Object>
void expectUpdateLines(const char* what, std::unique_ptr<Object> object, int expected) {
  object->addProp(new TypeProperty<unsigned int>(5, "temperature", IFC_CARD_VAR_READ_WRITE, 42U), 0);
  Engine engine;
  engine.registerObject(object.get());
  LogCapture log(8);
  engine.receive(object->objectType == ifcCard::TABLE ? "4F544E31 01 01 0007 | 50414000 01 0000"_hex : READ);
  expect(what, static_cast<int>(log.count("update() call succeeded")), expected);
  expect(what, static_cast<int>(log.count("update() call")), expected);
  expect(what, static_cast<int>(log.count("prop adding")), 1);
}

template <typename Object>
void expectUpdateLinesOfScalar(const char* what, int expected) {
  expectUpdateLines(what, std::make_unique<Object>("object", 1U, true), expected);
}

template <typename Object>
void expectUpdateLinesOfTable(const char* what, int expected) {
  expectUpdateLines(what, std::make_unique<Object>("object", 1U, true, 1U), expected);
}

template <typename AnyEngine>
void expectResults(const char* what, int read, int write, int ami) {
  AnyEngine engine;
  LogCapture log(2);
  engine.receive("4F544E31 01 01 0007 | 02000001 03 0001 00"_hex);
  expect(what, engine.result, read);
  engine.receive("4F544E31 01 02 0007 | 02000001 03 0001 00"_hex);
  expect(what, engine.result, write);
  expect(what, engine.receive("4F544E31 01 05 0007 00000000 00000000"_hex), ami);
}

}  // namespace

// Stands in for the C library's: a look-up of the program's names fails when memory has run out.
extern "C" [[gnu::visibility("default")]] void* dlopen(const char* name, int flags) noexcept {
  if (nextLookUpFails) {
    nextLookUpFails = false;
    return nullptr;
  }
  return reinterpret_cast<void* (*)(const char*, int)>(dlsym(RTLD_NEXT, "dlopen"))(name, flags);
}

int main() {
  nextLookUpFails = true;
  expectUpdateLinesOfScalar<Overriding>("a class that overrides, without memory for a look-up", 1);
  nextLookUpFails = false;

  expectUpdateLinesOfScalar<TrelScalar>("a scalar of the library's class", 0);
  expectUpdateLinesOfScalar<Plain>("a class that overrides nothing", 0);
  expectUpdateLinesOfScalar<PublicPlain>("a class that overrides nothing, with linkage", 0);
  expectUpdateLinesOfScalar<OnlyUpdated>("a class that overrides another hook", 0);
  expectUpdateLinesOfScalar<Overriding>("a class that overrides", 1);
  expectUpdateLinesOfScalar<OverridingWithTheSame>("a class that overrides with the base version's code", 1);
  expectUpdateLinesOfScalar<TailCalling>("an override that calls the base version", 1);
  expectUpdateLinesOfScalar<PublicTailCalling>("an override that calls the base version, with linkage", 1);
  expectUpdateLinesOfScalar<TailCallingTheRoot>("an override that calls the root's version", 1);
  expectUpdateLinesOfScalar<PlainOfPlain>("derived twice, nothing overridden", 0);
  expectUpdateLinesOfScalar<OverridingOfPlain>("derived twice, overridden at the end", 1);
  expectUpdateLinesOfScalar<PlainOfOverriding>("derived twice, overridden between", 1);
  expectUpdateLinesOfScalar<TailCallingOfTailCalling>("derived twice, overridden twice", 1);
  expectUpdateLinesOfScalar<BackToTheBase>("derived twice, past the override back to the base version", 1);
  expectUpdateLinesOfScalar<PlainAndComponent>("two bases, nothing overridden", 0);
  expectUpdateLinesOfScalar<OverridingAndComponent>("two bases, overridden", 1);
  expectUpdateLinesOfScalar<ComponentAndPlain>("the object as second base, nothing overridden", 0);
  expectUpdateLinesOfScalar<ComponentAndOverriding>("the object as second base, overridden", 1);
  expectUpdateLinesOfScalar<ComponentAndTailCalling>(
      "the object as second base, an override that calls the base version", 1);
  expectUpdateLinesOfScalar<VirtuallyPlain>("the object as virtual base, nothing overridden", 0);
  expectUpdateLinesOfScalar<VirtuallyOverriding>("the object as virtual base, overridden", 1);
  expectUpdateLinesOfScalar<OwnKind>("an own kind of object, nothing overridden", 0);
  expectUpdateLinesOfScalar<OverridingOwnKind>("an own kind of object, overridden", 1);
  expectUpdateLinesOfTable<TrelTable>("a table of the library's class", 0);
  expectUpdateLinesOfTable<PlainTable>("a table that overrides nothing", 0);
  expectUpdateLinesOfTable<TailCallingTable>("a table with an override that calls the base version", 1);

  expectResults<Engine>("an engine that overrides nothing", RESULT_GENERAL_ERROR, RESULT_GENERAL_ERROR, 0);
  expectResults<CheckingEngine>("an engine that only checks", RESULT_CANNOT_EXEC, RESULT_CANNOT_EXEC, 0);
  expectResults<ServingEngine>("an engine that checks and serves", 17, 17, 1);
  expectResults<DerivedEngine>("an engine whose base checks and serves", 17, 17, 1);
  expectResults<ServingOnlyEngine>("an engine that only serves", RESULT_GENERAL_ERROR, RESULT_GENERAL_ERROR, 0);
  expectResults<TailCallingEngine>("an engine that calls the base versions", RESULT_GENERAL_ERROR, RESULT_GENERAL_ERROR,
                                   0);

  if (failures == 0) std::printf("every answer is right\n");
  return failures == 0 ? 0 : 1;
}
