// The engine itself: construction, destruction, registration, message ids, its base hooks and its binary interface.

#include <gtest/gtest.h>

#include <cstddef>
#include <cstring>
#include <memory>
#include <new>
#include <string>
#include <vector>

#include "support/bytes.h"
#include "support/classLayout.h"
#include "support/logCapture.h"
#include "support/logSelection.h"
#include "support/operatorNew.h"
#include "support/recordingEngine.h"

namespace {

using Number = TypeProperty<unsigned int>;

const std::string NO_TABLES =
    "7 [DEBUG1] trelProtocolBase (initEventsCore) - created no event tables because subclass did not provided method";

// Overrides the hook that makes event tables.
class EngineWithTables : public RecordingEngine {
 public:
  bool initEventsCore() override {
    ++calls;
    eventTables[0] = new EventValueTable(false, 4, 0);
    eventTables[19] = new EventValueTable(true, 1, 19);
    return makes;
  }
  int calls = 0;
  bool makes = true;
};

// Overrides the numbering.
class EngineWithOwnIds : public RecordingEngine {
 public:
  unsigned short getNewMessageId() override { return 0xABCD; }
};

class CountingEngine : public RecordingEngine {
 public:
  int eventHandlerOld(TRELTlv*, TRELTlv*, bool) override { return ++oldEvents; }
  int oldEvents = 0;
};

}  // namespace

TEST(CoreConstruction, DefaultConstructionAnswersHeaderErrors) {
  const RecordingEngine engine;
  EXPECT_TRUE(engine.replyOnHeaderError);
}

TEST(CoreConstruction, TheFlagIsStoredAsGiven) {
  const RecordingEngine answering(true);
  const RecordingEngine silent(false);
  EXPECT_TRUE(answering.replyOnHeaderError);
  EXPECT_FALSE(silent.replyOnHeaderError);
}

TEST(CoreConstruction, AfterConstructionEverythingIsEmpty) {
  for (const bool flag : {true, false}) {
    SCOPED_TRACE(flag);
    const RecordingEngine engine(flag);
    EXPECT_TRUE(engine.objects.empty());
    EXPECT_TRUE(engine.amiOwnedProperties.empty());
    for (int i = 0; i < 20; ++i)
      EXPECT_EQ(engine.eventTables[i], nullptr) << i;
    EXPECT_EQ(engine.replyBuffer, "");
    EXPECT_EQ(engine.messageIdCounter, 0);
  }
}

TEST(CoreConstruction, EveryConstructorCallsTheBaseInitEventsCoreOnce) {
  LogCapture log;
  { const RecordingEngine engine; }
  EXPECT_EQ(log.brief(), Lines{NO_TABLES});
  log.clear();
  { const RecordingEngine engine(false); }
  EXPECT_EQ(log.brief(), Lines{NO_TABLES});
}

TEST(CoreConstruction, ConstructionCannotReachAnOverrideSoThereAreNoTables) {
  LogCapture log;
  const EngineWithTables engine;
  EXPECT_EQ(log.brief(), Lines{NO_TABLES});
  EXPECT_EQ(engine.calls, 0);
  EXPECT_EQ(engine.eventTables[0], nullptr);
}

TEST(CoreConstruction, InitEventsOfTheCompleteObjectReachesTheOverride) {
  EngineWithTables engine;
  LogCapture log;
  EXPECT_TRUE(engine.initEvents());
  EXPECT_EQ(log.brief(), Lines{});
  EXPECT_EQ(engine.calls, 1);
  ASSERT_NE(engine.eventTables[0], nullptr);
  EXPECT_EQ(engine.eventTables[0]->getSize(), 4);
}

TEST(CoreConstruction, TheLineOfTheBaseInitEventsCoreNeedsALevelAboveSix) {
  RecordingEngine engine;
  LogCapture below(6);
  engine.initEventsCore();
  EXPECT_EQ(below.brief(), Lines{});
  LogCapture above(7);
  engine.initEventsCore();
  EXPECT_EQ(above.brief(), Lines{NO_TABLES});
}

TEST(CoreConstruction, LinesNameTheSourceFileOfTheEngine) {
  RecordingEngine engine;
  LogCapture log;
  engine.initEventsCore();
  ASSERT_EQ(log.lines().size(), 1U);
  EXPECT_EQ(log.lines()[0].file, "components/trel/trelProtocolBase.cpp");
  EXPECT_GT(log.lines()[0].line, 0);
  EXPECT_EQ(log.lines()[0].format,
            "[DEBUG1] %s:%d (%s) - created no event tables because subclass did not provided method");
}

TEST(CoreConstruction, WithoutATraceObjectOrWithoutALevelNothingIsWritten) {
  RecordingEngine engine;
  LogCapture log;
  TraceObject* const captured = g_traceObject;
  TraceObject withoutLevel = {nullptr};
  g_traceObject = &withoutLevel;
  engine.receive("4F544E"_hex);
  g_traceObject = nullptr;
  engine.receive("4F544E"_hex);
  g_traceObject = captured;
  EXPECT_EQ(log.brief(), Lines{});
}

TEST(CoreDestruction, DeletesEveryEventTable) {
  auto engine = std::make_unique<EngineWithTables>();
  ASSERT_TRUE(engine->initEvents());
  const DeletionWatch first(engine->eventTables[0]);
  const DeletionWatch last(engine->eventTables[19]);
  engine.reset();
  EXPECT_TRUE(first.deleted());
  EXPECT_TRUE(last.deleted());
}

TEST(CoreDestruction, LeavesTheRegisteredObjectsAlone) {
  TrelScalar scalar("card", 1, true);
  scalar.addProp(new Number(5, "temperature", IFC_CARD_VAR_READ_WRITE, 42U), 0);
  {
    RecordingEngine engine;
    engine.registerObject(&scalar);
  }
  unsigned int value = 0;
  scalar.getProp(5, 0)->get(&value);
  EXPECT_EQ(value, 42U);
}

TEST(CoreDestruction, LeavesThePropertiesThatTheAutonomousMessageWouldHaveOwned) {
  const auto property = std::make_unique<Number>(5, "temperature", IFC_CARD_VAR_READ_WRITE, 42U);
  const DeletionWatch watch(property.get());
  {
    RecordingEngine engine;
    engine.amiOwnedProperties.push_back(property.get());
  }
  EXPECT_FALSE(watch.deleted());
}

TEST(CoreRegistration, ObjectsAreKeptInTheOrderOfTheirRegistration) {
  TrelScalar scalar("a", 1, true);
  TrelTable table("b", 3, false, 2);
  RecordingEngine engine;
  engine.registerObject(&table);
  engine.registerObject(&scalar);
  EXPECT_EQ(engine.objects, (std::vector<TrelObject*>{&table, &scalar}));
}

TEST(CoreRegistration, NeitherDuplicatesNorNullAreRefused) {
  TrelScalar scalar("a", 1, true);
  RecordingEngine engine;
  LogCapture log;
  engine.registerObject(&scalar);
  engine.registerObject(nullptr);
  engine.registerObject(&scalar);
  EXPECT_EQ(engine.objects, (std::vector<TrelObject*>{&scalar, nullptr, &scalar}));
  EXPECT_EQ(log.brief(), Lines{});
}

TEST(CoreMessageId, IsOneOnTheFirstCall) {
  RecordingEngine engine;
  EXPECT_EQ(engine.getNewMessageId(), 1);
  EXPECT_EQ(engine.getNewMessageId(), 2);
  EXPECT_EQ(engine.messageIdCounter, 2);
}

TEST(CoreMessageId, IsZeroAfter65535) {
  RecordingEngine engine;
  engine.messageIdCounter = 65534;
  EXPECT_EQ(engine.getNewMessageId(), 65535);
  EXPECT_EQ(engine.getNewMessageId(), 0);
  EXPECT_EQ(engine.getNewMessageId(), 1);
}

TEST(CoreMessageId, EveryEngineCountsForItself) {
  RecordingEngine one;
  RecordingEngine other;
  EXPECT_EQ(one.getNewMessageId(), 1);
  EXPECT_EQ(one.getNewMessageId(), 2);
  EXPECT_EQ(other.getNewMessageId(), 1);
}

TEST(CoreMessageId, RequestsAndAutonomousMessagesShareTheNumbers) {
  Number property(5, "temperature", IFC_CARD_VAR_READ_WRITE, 42U);
  RecordingEngine engine;
  engine.result = 0;  // no reply
  engine.readProperty(property);
  TRELAmi ami("");
  ami.action = 5;
  ami.addProperty(&property);
  engine.sendAmiMsgBase(&ami);
  engine.writeProperty(property);
  EXPECT_EQ(engine.sent(), (Datagrams{"4F544E31 01 01 0001 | 00000005 01 0004 0000002A",
                                      "4F544E31 01 05 0002 00000000 00000000 | 00000005 01 0004 0000002A",
                                      "4F544E31 01 02 0003 | 00000005 01 0004 0000002A"}));
}

TEST(CoreMessageId, AnOverrideNumbersRequestsAndAutonomousMessages) {
  Number property(5, "temperature", IFC_CARD_VAR_READ_WRITE, 42U);
  EngineWithOwnIds engine;
  engine.result = 0;
  engine.readProperty(property);
  TRELAmi ami("");
  ami.action = 5;
  ami.addProperty(&property);
  engine.sendAmiMsgBase(&ami);
  EXPECT_EQ(engine.sent(), (Datagrams{"4F544E31 01 01 ABCD | 00000005 01 0004 0000002A",
                                      "4F544E31 01 05 ABCD 00000000 00000000 | 00000005 01 0004 0000002A"}));
}

TEST(CoreMessageId, AResponseCarriesTheIdOfItsRequestAndTakesNone) {
  RecordingEngine engine;
  engine.receive("4F544E31 01 01 BEEF"_hex);
  engine.receive("4F544E31 02 01 CAFE"_hex);
  EXPECT_EQ(engine.sent(), (Datagrams{"4F544E31 01 03 BEEF 00 0000", "4F544E31 01 03 CAFE 01 0000"}));
  EXPECT_EQ(engine.messageIdCounter, 0);
}

TEST(CoreBaseHooks, ReturnTheirNeutralValues) {
  RecordingEngine engine;
  TRELTlv before;
  TRELTlv after;
  std::string record = "02000001 01 0004 0000002A"_hex;
  OldStyleProperty property(reinterpret_cast<trel_tlv*>(record.data()), false);
  LogCapture log;
  for (const bool isWrite : {false, true}) {
    EXPECT_FALSE(engine.handleTrelMsgOld(&property, isWrite));
    EXPECT_EQ(engine.checkTlvOld(&property, isWrite), 5);
    EXPECT_EQ(engine.eventHandlerOld(&before, &after, isWrite), 0);
  }
  EXPECT_FALSE(engine.amiMessageHandler({}));
  EXPECT_EQ(log.brief(), Lines{});
  EXPECT_TRUE(engine.initEventsCore());
}

TEST(CoreBaseHooks, TheEngineNeverCallsEventHandlerOld) {
  TrelScalar scalar("card", 1, true);
  auto* const property = new Number(5, "temperature", IFC_CARD_VAR_READ_WRITE, 42U, true);
  scalar.addProp(property, 0);
  CountingEngine engine;
  engine.registerObject(&scalar);
  engine.initEvents();
  for (unsigned int value = 1; value < 4; ++value) {
    property->set(value);
    engine.eventHandler();
  }
  engine.receive("4F544E31 01 02 0001 | 10800005 01 0004 00000001"_hex);
  engine.receive("4F544E31 01 01 0002 | 10800005 01 0000 | 02000001 01 0000"_hex);
  engine.receive("4F544E31 01 03 0003 00 0000 | 10800005 01 0004 00000002"_hex);
  engine.receive("4F544E31 01 05 0004 00000000 00000000 | 10800005 01 0004 00000003"_hex);
  EXPECT_EQ(engine.oldEvents, 0);
  EXPECT_EQ(engine.messages.size(), 4U);  // two autonomous messages, two responses
}

TEST(CoreBinaryInterface, MembersLieInTheirDocumentedOrder) {
  const RecordingEngine engine;
  MemberPlaces expected(sizeof(void*));  // behind the reference to the virtual table: there is no base class
  EXPECT_EQ(placeIn(engine, engine.replyOnHeaderError), expected.next<bool>());
  EXPECT_EQ(placeIn(engine, engine.objects), expected.next<std::vector<TrelObject*>>());
  EXPECT_EQ(placeIn(engine, engine.amiOwnedProperties), expected.next<std::vector<TrelProperty*>>());
  EXPECT_EQ(placeIn(engine, engine.eventTables), expected.next<EventValueTable* [20]>());
  EXPECT_EQ(placeIn(engine, engine.replyBuffer), expected.next<std::string>());
  EXPECT_EQ(placeIn(engine, engine.messageIdCounter), expected.next<unsigned short>());
}

TEST(CoreBinaryInterface, HooksStandInTheirDocumentedSlotsBehindTheDestructor) {
  EXPECT_EQ(virtualSlot(&TrelProtocolBase::initEventsCore), 2U);
  EXPECT_EQ(virtualSlot(&TrelProtocolBase::handleTrelMsgOld), 3U);
  EXPECT_EQ(virtualSlot(&TrelProtocolBase::checkTlvOld), 4U);
  EXPECT_EQ(virtualSlot(&TrelProtocolBase::eventHandlerOld), 5U);
  EXPECT_EQ(virtualSlot(&TrelProtocolBase::sendMsg), 6U);
  EXPECT_EQ(virtualSlot(&TrelProtocolBase::getNewMessageId), 7U);
  EXPECT_EQ(virtualSlot(&TrelProtocolBase::amiMessageHandler), 8U);
}

TEST(CoreBinaryInterface, TheLibraryCallsTheHooksThroughTheseSlots) {
  // The table that the library itself made: an override must change its own slot and no other hook's.
  struct Derived : RecordingEngine {
    unsigned short getNewMessageId() override { return 7; }
  };
  RecordingEngine plain;
  Derived derived;
  void** plainTable = nullptr;
  void** derivedTable = nullptr;
  std::memcpy(&plainTable, static_cast<void*>(&plain), sizeof plainTable);
  std::memcpy(&derivedTable, static_cast<void*>(&derived), sizeof derivedTable);
  for (std::size_t slot = 2; slot <= 8; ++slot)
    EXPECT_EQ(plainTable[slot] != derivedTable[slot], slot == 7) << slot;
}

TEST(CoreBinaryInterface, SlotZeroDestroysAndSlotOneAlsoDeletes) {
  struct Watched : RecordingEngine {
    explicit Watched(int& destroyed) : count(destroyed) {}
    ~Watched() override { ++count; }
    int& count;
  };
  int destroyed = 0;
  auto* const engine = new Watched(destroyed);
  const DeletionWatch watch(engine);
  callSlot(engine, 1);
  EXPECT_EQ(destroyed, 1);
  EXPECT_TRUE(watch.deleted());

  alignas(Watched) unsigned char place[sizeof(Watched)];
  auto* const local = new (place) Watched(destroyed);
  callSlot(local, 0);
  EXPECT_EQ(destroyed, 2);
}
