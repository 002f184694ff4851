// An object that makes others known while it is asked for an OID: the engine's list grows under its own search.

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "requestCard.h"

namespace {

// Knows nothing itself. The first time it is asked, it registers as many scalars as it was told, of which the last one
// answers.
class Discoverer : public TrelScalar {
 public:
  Discoverer(TrelProtocolBase& engine, unsigned int count)
      : TrelScalar("discoverer", 31, false), engine_(engine), count_(count) {}
  TrelProperty* getPropFromOID(unsigned int oid) override {
    ++asked;
    for (; count_ > 0; --count_) {
      found.push_back(std::make_unique<TrelScalar>("found", count_ == 1 ? 1 : 30, count_ == 1));
      engine_.registerObject(found.back().get());
      if (count_ == 1) found.back()->addProp(new Number(5, "temperature", IFC_CARD_VAR_READ_WRITE, 42), 0);
    }
    return TrelScalar::getPropFromOID(oid);
  }
  int asked = 0;
  std::vector<std::unique_ptr<TrelScalar>> found;

 private:
  TrelProtocolBase& engine_;
  unsigned int count_;
};

}  // namespace

TEST(LazyRegistration, AnObjectThatIsRegisteredWhileAnOidIsSearchedIsAskedInItsTurn) {
  struct Case {
    unsigned int count;  // the list moves in memory when it grows
    const char* sender;
  };
  for (const Case& c : {Case{1, "10.0.0.1"}, Case{2, "10.0.0.2"}, Case{100, "10.0.0.3"}}) {
    SCOPED_TRACE(c.count);
    RecordingEngine engine;
    Discoverer discoverer(engine, c.count);
    engine.registerObject(&discoverer);
    engine.receive("4F544E31 01 01 0007 | 10800005 01 0000"_hex, c.sender);
    EXPECT_EQ(engine.sent(), Datagrams{"4F544E31 01 03 0007 00 0000 | 10800005 01 0004 0000002A"});
    EXPECT_EQ(discoverer.asked, 1);
    EXPECT_EQ(discoverer.found.size(), c.count);
  }
}

TEST(LazyRegistration, SoItIsForAResponseAndForAnAutonomousMessage) {
  for (const std::string& message : {"4F544E31 01 03 0007 00 0000 | 10800005 01 0004 0000002B"_hex,
                                     "4F544E31 01 05 0007 00000000 00000000 | 10800005 01 0004 0000002B"_hex}) {
    SCOPED_TRACE(asDatagram(message));
    RecordingEngine engine;
    Discoverer discoverer(engine, 100);
    engine.registerObject(&discoverer);
    engine.receive(message);
    ASSERT_EQ(discoverer.found.size(), 100U);
    unsigned int value = 0;
    discoverer.found.back()->getPropFromOID(0x10800005)->get(&value);
    EXPECT_EQ(value, 0x2BU);
  }
}
