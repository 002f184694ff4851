// What the library costs where it must cost nothing: a warm engine allocates nothing, a shut trace line builds nothing.
#include <gtest/gtest.h>

#include <memory>
#include <new>
#include <string>

#include "libtrace/trace.h"
#include "support/bytes.h"
#include "support/exactBlock.h"
#include "support/logCapture.h"
#include "support/operatorNew.h"
#include "trel/trelProtocolBase.h"

namespace {

// Serializes into a buffer of its own, as a thrifty application does, and remembers the length alone.
class ThriftyCard : public TrelProtocolBase {
 public:
  int sendMsg(TRELMessage& message) override {
    sentLength = message.headerLen + message.sizeOfTlvs();
    return message.serialize(buffer, sizeof buffer) ? 1 : 0;
  }
  int receive(const ExactBlock& datagram) {
    return handleTrelMsg(static_cast<int>(datagram.size()), datagram.data(), "127.0.0.1");
  }
  char buffer[1200] = {};
  int sentLength = 0;
};

class SampledScalar : public TrelScalar {
 public:
  SampledScalar() : TrelScalar("sampled", 1, true) {}
  bool update(TrelProperty* property, unsigned int) override {
    if (property->id == 1) property->set(++sample);
    return true;
  }
  bool updated(TrelProperty*, unsigned int) override { return true; }
  unsigned int sample = 0;
};

// A number that counts how often it is rendered.
class CountedProperty : public TypeProperty<unsigned int> {
 public:
  using TypeProperty<unsigned int>::TypeProperty;
  std::string str() const override {
    ++rendered;
    return TypeProperty<unsigned int>::str();
  }
  mutable int rendered = 0;
};

struct Fixture {
  Fixture() {
    counted = new CountedProperty(1, "counter", IFC_CARD_VAR_READ_WRITE, 0u, new RangeCheckValue<unsigned int>(0, 100));
    scalar.addProp(counted, 0);
    scalar.addProp(new StringProperty(2, "name", IFC_CARD_VAR_READ_WRITE, "a name longer than any short string"), 0);
    scalar.addProp(new TypeProperty<bool>(3, "enabled", IFC_CARD_VAR_READ_WRITE, true), 0);
    for (unsigned int row = 0; row < 16; ++row) {
      table.addProp(new TypeProperty<int>(1, "value", IFC_CARD_VAR_READ_WRITE, 5), row);
    }
    card.registerObject(&scalar);
    card.registerObject(&table);
  }
  SampledScalar scalar;
  TrelTable table{"table", 3, false, 16};
  ThriftyCard card;
  CountedProperty* counted = nullptr;
};

// Blocks taken while the same request is handled once more, after it has been handled once.
std::size_t blocksOfARepetition(ThriftyCard& card, const std::string& request) {
  const ExactBlock block(request);
  card.receive(block);
  const std::size_t before = newBlocks();
  card.receive(block);
  return newBlocks() - before;
}

TEST(Cost, AWarmReadOfRegisteredObjectsAllocatesNothing) {
  Fixture f;
  EXPECT_EQ(blocksOfARepetition(f.card,
                                "4F544E31 01 01 0001 | 10800001 01 0000 | 10800002 09 0000 | 10800003 08 0000 |"
                                "40C04000 05 0000 | 40C04001 05 0000 | 40C0400F 05 0000"_hex),
            0u);
  EXPECT_EQ(f.card.sentLength, 11 + 11 + (7 + 35) + 8 + 3 * 11);
}

TEST(Cost, AWarmWriteOfRegisteredObjectsAllocatesNothing) {
  Fixture f;
  EXPECT_EQ(blocksOfARepetition(
                f.card,
                "4F544E31 01 02 0001 | 10800001 01 0004 0000002A | 10800002 09 0003 616263 | 10800003 08 0001 00 |"
                "40C04007 05 0004 FFFFFFFE"_hex),
            0u);
  EXPECT_EQ(f.card.sentLength, 11);
  int value = 0;
  f.table.getProp(1, 7)->get(&value);
  EXPECT_EQ(value, -2);
}

TEST(Cost, AWarmRefusalAllocatesNothing) {
  Fixture f;
  EXPECT_EQ(blocksOfARepetition(f.card, "4F544E31 01 02 0001 | 10800001 01 0004 000003E8"_hex), 0u);  // out of range
}

TEST(Cost, AFirstReadAllocatesSoTheCountIsNoAccident) {
  Fixture f;
  const std::string request = "4F544E31 01 01 0001 | 10800001 01 0000"_hex;
  const std::size_t before = newBlocks();
  f.card.handleTrelMsg(static_cast<int>(request.size()), request.data(), "127.0.0.1");
  EXPECT_GT(newBlocks() - before, 0u);
}

TEST(Cost, AFirstRequestOfSixteenVariablesTakesAsManyBlocksAsOneOfOne) {
  const auto blocksOfAFirstRead = [](int variables) {
    Fixture f;
    std::string request = "4F544E31 01 01 0001"_hex;
    for (int i = 0; i < variables; ++i)
      request += "10800003 08 0000"_hex;
    const ExactBlock block(request);
    const std::size_t before = newBlocks();
    f.card.receive(block);
    return newBlocks() - before;
  };
  blocksOfAFirstRead(1);  // a sender becomes known once in a process
  const std::size_t one = blocksOfAFirstRead(1);
  EXPECT_EQ(blocksOfAFirstRead(16), one);
  EXPECT_GT(blocksOfAFirstRead(17), one);
}

TEST(Cost, WithoutMemoryForItsPlacesAPropertyIsFoundAllTheSame) {
  bool happened = true;
  for (std::size_t after = 0; happened; ++after) {
    SCOPED_TRACE(after);
    TrelTable table("table", 3, false, 4);
    auto property = std::make_unique<TypeProperty<int>>(0, "value", IFC_CARD_VAR_READ_WRITE, 5);
    bool added = false;
    {
      NewFailure failure(after);
      try {
        added = table.addProp(property.get(), 2);
      } catch (const std::bad_alloc&) {
      }
      happened = failure.happened();
    }
    EXPECT_EQ(table.getProp(0, 2), added ? property.get() : nullptr);
    if (added) static_cast<void>(property.release());
    EXPECT_EQ(table.getProp(0, 1), nullptr);
    EXPECT_EQ(table.getProperties().size(), added ? 1U : 0U);
  }
}

TEST(Cost, AShutTraceLineRendersNoProperty) {
  Fixture f;
  const ExactBlock read("4F544E31 01 01 0001 | 10800001 01 0000"_hex);
  const ExactBlock write("4F544E31 01 02 0002 | 10800001 01 0004 00000001"_hex);
  {
    LogCapture log(7);
    f.card.receive(read);
    f.card.receive(write);
    EXPECT_EQ(f.counted->rendered, 0);
  }
  LogCapture log(8);
  f.card.receive(read);
  EXPECT_EQ(f.counted->rendered, 1) << "update() call";
  f.card.receive(write);
  EXPECT_EQ(f.counted->rendered, 3) << "update() call, and the value check's line";
}

TEST(Cost, WithoutATraceObjectNoLineIsWritten) {
  Fixture f;
  LogCapture log(9);
  g_traceObject = nullptr;
  const ExactBlock garbage("00"_hex);
  f.card.receive(garbage);
  EXPECT_EQ(log.lines().size(), 0u);
  TraceObject withoutLevel{nullptr};
  g_traceObject = &withoutLevel;
  f.card.receive(garbage);
  EXPECT_EQ(log.lines().size(), 0u);
}

}  // namespace
