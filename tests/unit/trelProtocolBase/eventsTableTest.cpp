// The table of last reported values, and the tables that an engine owns.

#include <gtest/gtest.h>

#include <cstddef>
#include <cstring>
#include <limits>
#include <type_traits>

#include "support/allocationFailure.h"
#include "support/logCapture.h"
#include "support/logSelection.h"
#include "support/operatorNew.h"
#include "support/recordingEngine.h"
#include "trel/trelProtocolBase.h"

namespace {

// Makes tables in three slots; `verdict` is what it returns.
class TableEngine : public RecordingEngine {
 public:
  bool initEventsCore() override {
    ++calls;
    eventTables[0] = new EventValueTable(false, 4, 7);
    eventTables[7] = new EventValueTable(true, 1, 8);
    eventTables[19] = new EventValueTable(false, 100, 9);
    return verdict;
  }
  int tables() const {
    int count = 0;
    for (const EventValueTable* table : eventTables) {
      if (table != nullptr) ++count;
    }
    return count;
  }
  int calls = 0;
  bool verdict = true;
};

}  // namespace

// ----- the values -----

TEST(EventTable, KeepsWhatItWasMadeWith) {
  const EventValueTable table(false, 4, 7);
  EXPECT_FALSE(table.getCommon());
  EXPECT_EQ(table.getSize(), 4);
  EXPECT_EQ(table.getTableNbr(), 7);
  const EventValueTable common(true, 1, 0xFFFFFFFFU);
  EXPECT_TRUE(common.getCommon());
  EXPECT_EQ(common.getSize(), 1);
  EXPECT_EQ(common.getTableNbr(), -1);
}

TEST(EventTable, StartsWithZeros) {
  const EventValueTable table(false, 1000, 7);
  for (int i = 0; i < 1000; ++i)
    ASSERT_EQ(table.getValue(i), 0U);
}

TEST(EventTable, StoresSixtyFourBitsPerIndex) {
  EventValueTable table(false, 4, 7);
  EXPECT_TRUE(table.setValue(0, 1));
  EXPECT_TRUE(table.setValue(3, 0xFEDCBA9876543210ULL));
  EXPECT_EQ(table.getValue(0), 1U);
  EXPECT_EQ(table.getValue(1), 0U);
  EXPECT_EQ(table.getValue(2), 0U);
  EXPECT_EQ(table.getValue(3), 0xFEDCBA9876543210ULL);
}

TEST(EventTable, AnIndexOutsideIsRefusedAndTouchesNothing) {
  EventValueTable table(false, 4, 7);
  for (const int index : {4, 5, 1000000, std::numeric_limits<int>::max(), -1, std::numeric_limits<int>::min()}) {
    SCOPED_TRACE(index);
    EXPECT_FALSE(table.setValue(index, 1));
    EXPECT_EQ(table.getValue(index), 0U);
    EXPECT_EQ(table.getValuePtr(index), nullptr);
  }
  for (int i = 0; i < 4; ++i)
    EXPECT_EQ(table.getValue(i), 0U);
}

TEST(EventTable, TheAddressOfAValueIsItsPlaceInTheTable) {
  EventValueTable table(false, 4, 7);
  unsigned long long* third = table.getValuePtr(2);
  ASSERT_NE(third, nullptr);
  *third = 42;
  EXPECT_EQ(table.getValue(2), 42U);
  table.setValue(2, 43);
  EXPECT_EQ(*third, 43U);
  EXPECT_EQ(table.getValuePtr(0), third - 2);
  EXPECT_EQ(table.getValuePtr(3), third + 1);
}

TEST(EventTable, ATableWithoutValuesTellsItsSizeAndRefusesEveryIndex) {
  for (const int size : {0, -1, std::numeric_limits<int>::min()}) {
    SCOPED_TRACE(size);
    EventValueTable table(false, size, 7);
    EXPECT_EQ(table.getSize(), size);
    for (const int index : {0, 1, -1, -2, size}) {
      EXPECT_FALSE(table.setValue(index, 1));
      EXPECT_EQ(table.getValue(index), 0U);
      EXPECT_EQ(table.getValuePtr(index), nullptr);
    }
  }
}

TEST(EventTable, LiesInMemoryAsCommonSizeNumberValues) {
  static_assert(!std::is_polymorphic_v<EventValueTable>, "the table has no virtual operations");
  EventValueTable table(true, 0x01020304, 0x05060708);
  struct Layout {
    bool common;
    int size;
    unsigned int tableNbr;
    unsigned long long* values;
  };
  static_assert(sizeof(EventValueTable) == sizeof(Layout), "nothing but the four members");
  EXPECT_EQ(offsetof(Layout, size), 4U);
  EXPECT_EQ(offsetof(Layout, tableNbr), 8U);
  EXPECT_EQ(offsetof(Layout, values), sizeof(void*) == 8 ? 16U : 12U);
  Layout seen;
  std::memcpy(&seen, static_cast<const void*>(&table), sizeof(seen));
  EXPECT_TRUE(seen.common);
  EXPECT_EQ(seen.size, 0x01020304);
  EXPECT_EQ(seen.tableNbr, 0x05060708U);
  EXPECT_EQ(seen.values, table.getValuePtr(0));
}

// ----- initEvents -----

TEST(EventTable, OfFewerThanNoValuesHasNoneAndNoRoomForAny) {
  unsigned int refused = 1;
  {
    const AllocationFailure failure(8);
    const EventValueTable table(false, -5, 7);
    refused = failure.count();
  }
  EXPECT_EQ(refused, 0U);
}

TEST(InitEvents, WithoutAnOverrideNoTableIsMadeAndALineSaysSo) {
  RecordingEngine engine;
  LogCapture log(7);
  EXPECT_TRUE(engine.initEvents());
  EXPECT_EQ(log.brief(), Lines{"7 [DEBUG1] trelProtocolBase (initEventsCore) - "
                               "created no event tables because subclass did not provided method"});
  for (const EventValueTable* table : engine.eventTables)
    EXPECT_EQ(table, nullptr);
}

TEST(InitEvents, TheLineOfTheBaseVersionIsSilentAtItsThreshold) {
  RecordingEngine engine;
  LogCapture log(6);
  EXPECT_TRUE(engine.initEvents());
  EXPECT_TRUE(engine.initEventsCore());
  EXPECT_EQ(log.brief(), Lines{});
}

TEST(InitEvents, DuringConstructionTheBaseVersionRunsSoTheApplicationCallsItAgain) {
  LogCapture log(7);
  TableEngine engine;
  EXPECT_EQ(log.brief(), Lines{"7 [DEBUG1] trelProtocolBase (initEventsCore) - "
                               "created no event tables because subclass did not provided method"});
  EXPECT_EQ(engine.calls, 0);
  EXPECT_EQ(engine.tables(), 0);
  log.clear();
  EXPECT_TRUE(engine.initEvents());
  EXPECT_EQ(log.brief(), Lines{});
  EXPECT_EQ(engine.calls, 1);
}

TEST(InitEvents, TablesOfASuccessfulOverrideStayWhereTheyWerePut) {
  TableEngine engine;
  EXPECT_TRUE(engine.initEvents());
  EXPECT_EQ(engine.tables(), 3);
  EXPECT_EQ(engine.eventTables[0]->getTableNbr(), 7);
  EXPECT_EQ(engine.eventTables[7]->getTableNbr(), 8);
  EXPECT_EQ(engine.eventTables[19]->getTableNbr(), 9);
  // The engine frees them; a leak would be reported at the end of this process.
}

TEST(InitEvents, AFailedOverrideLosesAllTables) {
  TableEngine engine;
  engine.verdict = false;
  const std::size_t before = liveBlocks();
  EXPECT_FALSE(engine.initEvents());
  EXPECT_EQ(liveBlocks(), before);
  EXPECT_EQ(engine.calls, 1);
  EXPECT_EQ(engine.tables(), 0);
  EXPECT_FALSE(engine.initEvents());
  EXPECT_EQ(engine.tables(), 0);
}

TEST(InitEvents, AFailureAlsoLosesTheTablesOfAnEarlierSuccess) {
  class Once : public RecordingEngine {
   public:
    bool initEventsCore() override {
      if (eventTables[3] != nullptr) return false;
      eventTables[3] = new EventValueTable(false, 4, 7);
      return true;
    }
  };
  Once engine;
  EXPECT_TRUE(engine.initEvents());
  EXPECT_NE(engine.eventTables[3], nullptr);
  EXPECT_FALSE(engine.initEvents());
  EXPECT_EQ(engine.eventTables[3], nullptr);
}

TEST(InitEvents, EventHandlerOldReturns0AndTheEngineNeverCallsIt) {
  class Counting : public RecordingEngine {
   public:
    int eventHandlerOld(TRELTlv* oldTlv, TRELTlv* newTlv, bool flag) override {
      ++calls;
      return RecordingEngine::eventHandlerOld(oldTlv, newTlv, flag);
    }
    int calls = 0;
  };
  Counting engine;
  TrelScalar scalar("s", 1, true);
  auto* property = new TypeProperty<unsigned int>(5, "p", IFC_CARD_VAR_READ_WRITE, 0U, true);
  scalar.addProp(property, 0);
  engine.registerObject(&scalar);
  property->set(1U);
  engine.eventHandler();
  engine.eventHandler();
  EXPECT_EQ(engine.calls, 0);
  TRELTlv tlv;
  EXPECT_EQ(engine.eventHandlerOld(nullptr, nullptr, true), 0);
  EXPECT_EQ(engine.eventHandlerOld(&tlv, &tlv, false), 0);
}
