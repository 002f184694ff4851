// The engine's entry point, its hooks and its life.

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "support/bytes.h"
#include "support/classLayout.h"
#include "support/exactBlock.h"
#include "support/fakeProperty.h"
#include "support/logCapture.h"
#include "support/logSelection.h"
#include "support/recordingEngine.h"
#include "trel/trelObjects.h"
#include "trel/trelProperty.h"
#include "trel/trelProtocolBase.h"

namespace {

// Common scalar group 1: variable 5 has the OID 0x10800005.
TypeProperty<unsigned int>* addNumber(TrelObject& object, unsigned int id, unsigned int value, unsigned int row = 0) {
  auto* property = new TypeProperty<unsigned int>(id, "number", IFC_CARD_VAR_READ_WRITE, value);
  EXPECT_TRUE(object.addProp(property, row));
  return property;
}

class UpdateCounter : public TrelScalar {
 public:
  using TrelScalar::TrelScalar;
  bool update(TrelProperty*, unsigned int) override {
    ++updates;
    return true;
  }
  int updates = 0;
};

class TablesMadeDuringConstruction : public RecordingEngine {
 public:
  bool initEventsCore() override {
    ++calls;
    eventTables[0] = new EventValueTable(false, 2, 0);
    eventTables[19] = new EventValueTable(true, 3, 19);
    return works;
  }
  int calls = 0;
  bool works = true;
};

class OwnIds : public RecordingEngine {
 public:
  unsigned short getNewMessageId() override { return 0xBEEF; }
};

}  // namespace

TEST(ReadingEngine, AFreshEngineIsEmptyAndItsConstructorReachesTheBaseEventTableHookOnly) {
  const LogCapture log;
  TablesMadeDuringConstruction engine;
  EXPECT_EQ(linesOf(log, "initEventsCore"),
            Lines{"7 [DEBUG1] trelProtocolBase (initEventsCore) - created no event tables because subclass did not "
                  "provided method"});
  EXPECT_EQ(engine.calls, 0);
  EXPECT_TRUE(engine.replyOnHeaderError);
  EXPECT_TRUE(engine.objects.empty());
  EXPECT_TRUE(engine.amiOwnedProperties.empty());
  for (int i = 0; i < 20; ++i)
    EXPECT_EQ(engine.eventTables[i], nullptr) << i;
  EXPECT_TRUE(engine.replyBuffer.empty());
  EXPECT_EQ(engine.messageIdCounter, 0);
  EXPECT_FALSE(RecordingEngine(false).replyOnHeaderError);
  EXPECT_TRUE(RecordingEngine(true).replyOnHeaderError);
}

TEST(ReadingEngine, InitEventsAsksTheOverrideAndDropsEveryTableWhenItRefuses) {
  TablesMadeDuringConstruction engine;
  EXPECT_TRUE(engine.initEvents());
  ASSERT_NE(engine.eventTables[0], nullptr);
  ASSERT_NE(engine.eventTables[19], nullptr);
  EXPECT_EQ(engine.eventTables[19]->getTableNbr(), 19);
  // Two tables that the application made before are the engine's: they go as well.
  engine.eventTables[7] = new EventValueTable(false, 1, 7);
  for (const int made : {0, 19}) {
    delete engine.eventTables[made];
    engine.eventTables[made] = nullptr;
  }
  engine.works = false;
  EXPECT_FALSE(engine.initEvents());
  EXPECT_EQ(engine.calls, 2);
  for (int i = 0; i < 20; ++i)
    EXPECT_EQ(engine.eventTables[i], nullptr) << i;
}

TEST(ReadingEngine, TheVirtualOperationsStandInTheirDocumentedSlotsWithNothingBehind) {
  EXPECT_EQ(virtualSlot(&TrelProtocolBase::initEventsCore), 2U);
  EXPECT_EQ(virtualSlot(&TrelProtocolBase::handleTrelMsgOld), 3U);
  EXPECT_EQ(virtualSlot(&TrelProtocolBase::checkTlvOld), 4U);
  EXPECT_EQ(virtualSlot(&TrelProtocolBase::eventHandlerOld), 5U);
  EXPECT_EQ(virtualSlot(&TrelProtocolBase::sendMsg), 6U);
  EXPECT_EQ(virtualSlot(&TrelProtocolBase::getNewMessageId), 7U);
  EXPECT_EQ(virtualSlot(&TrelProtocolBase::amiMessageHandler), 8U);
  class OneMore : public TrelProtocolBase {
   public:
    virtual void more() {}
  };
  EXPECT_EQ(virtualSlot(&OneMore::more), 9U);
}

TEST(ReadingEngine, TheBaseHooksRefuseAndReturnNeutralValues) {
  RecordingEngine engine;
  const std::string record = "10800005 01 0004 00000001"_hex;
  ExactBlock block(record);
  OldStyleProperty property(reinterpret_cast<trel_tlv*>(block.data()), false);
  const LogCapture log;
  EXPECT_TRUE(engine.initEventsCore());
  EXPECT_FALSE(engine.handleTrelMsgOld(&property, true));
  EXPECT_FALSE(engine.handleTrelMsgOld(&property, false));
  EXPECT_EQ(engine.checkTlvOld(&property, true), 5);
  EXPECT_EQ(engine.checkTlvOld(&property, false), 5);
  EXPECT_EQ(engine.eventHandlerOld(nullptr, nullptr, true), 0);
  EXPECT_FALSE(engine.amiMessageHandler({}));
  EXPECT_EQ(log.lines().size(), 1U);
}

TEST(ReadingEngine, MessageIdsCountFromOneAndWrapToZeroAfter65535) {
  RecordingEngine engine;
  EXPECT_EQ(engine.getNewMessageId(), 1);
  EXPECT_EQ(engine.getNewMessageId(), 2);
  engine.messageIdCounter = 65534;
  EXPECT_EQ(engine.getNewMessageId(), 65535);
  EXPECT_EQ(engine.getNewMessageId(), 0);
  EXPECT_EQ(engine.getNewMessageId(), 1);
}

TEST(ReadingEngine, RequestsAndAutonomousMessagesTakeTheirIdsFromTheOverride) {
  OwnIds engine;
  TrelScalar scalar("scalar", 1, true);
  auto* property = addNumber(scalar, 5, 7);
  engine.result = 0;
  engine.readProperty(*property);
  engine.addToAmi(property, false);
  engine.addToAmi(nullptr, true);
  EXPECT_EQ(engine.sent(), (Datagrams{"4F544E31 01 01 BEEF | 10800005 01 0004 00000007",
                                      "4F544E31 01 05 BEEF 00000000 00000000 | 10800005 01 0004 00000007"}));
  EXPECT_EQ(engine.messageIdCounter, 0);
}

TEST(ReadingEngine, ADatagramBelowEightBytesIsRefusedWithOneErrorWhateverItSays) {
  RecordingEngine engine;
  for (const int length : {7, 1, 0, -1, -2147483647 - 1}) {
    SCOPED_TRACE(length);
    const LogCapture log;
    EXPECT_EQ(engine.handleTrelMsg(length, length == 7 ? "OTN1\x01\x01\x00" : nullptr, "10.0.0.1"), 0);
    EXPECT_EQ(log.brief(), (Lines{"7 [DEBUG2] trelProtocolBase (handleTrelMsg) - handling trel msg of length " +
                                      std::to_string(length),
                                  "3 [ERROR] trelProtocolBase (handleTrelMsg) - received message is to small for even "
                                  "a message header!"}));
  }
  EXPECT_TRUE(engine.messages.empty());
  // Eight bytes are a whole request.
  EXPECT_EQ(engine.receive("4F544E31 01 01 0007"_hex), 1);
  EXPECT_EQ(engine.sent(), Datagrams{"4F544E31 01 03 0007 00 0000"});
}

TEST(ReadingEngine, AForeignMagicIsIgnoredAsHandledAndComesBeforeEveryOtherHeaderFault) {
  for (const bool answers : {true, false}) {
    RecordingEngine engine(answers);
    const LogCapture log;
    EXPECT_EQ(engine.receive("314E544F 09 09 ABCD"_hex), 1);
    EXPECT_TRUE(engine.messages.empty());
    EXPECT_EQ(log.brief(),
              (Lines{"7 [DEBUG2] trelProtocolBase (handleTrelMsg) - handling trel msg of length 8",
                     "4 [WARNING] trelmsg (checkMagicNbr) - Invalid magic nbr 0x314e544f (should be 0x4f544e31)",
                     "7 [DEBUG2] trelProtocolBase (handleTrelMsg) - TREL message: id 43981, action 9, length 8",
                     "7 [DEBUG1] trelProtocolBase (handleTrelMsg) - magic number is incorrect!, returning true"}));
  }
}

TEST(ReadingEngine, HeaderErrorsAreAnsweredWithAction3ForAReadAnd4ForEveryOtherAction) {
  const struct {
    const char* datagram;
    const char* answer;
    const char* lastLine;
  } rows[] = {
      {"4F544E31 02 01 0102 | 10800005", "4F544E31 01 03 0102 01 0000", "protocol mismatch!"},
      {"4F544E31 00 02 0102", "4F544E31 01 04 0102 01 0000", "protocol mismatch!"},
      {"4F544E31 FF 03 FFFF", "4F544E31 01 04 FFFF 01 0000", "protocol mismatch!"},
      {"4F544E31 02 04 0102", "4F544E31 01 04 0102 01 0000", "protocol mismatch!"},
      {"4F544E31 02 05 0102", "4F544E31 01 04 0102 01 0000", "protocol mismatch!"},
      {"4F544E31 02 07 0102", "4F544E31 01 04 0102 01 0000", "protocol mismatch!"},
      {"4F544E31 01 00 0102", "4F544E31 01 04 0102 04 0000", "invalid action received!"},
      {"4F544E31 01 06 0102", "4F544E31 01 04 0102 04 0000", "invalid action received!"},
      {"4F544E31 01 FF 0102", "4F544E31 01 04 0102 04 0000", "invalid action received!"},
      {"4F544E31 01 81 0102", "4F544E31 01 04 0102 04 0000", "invalid action received!"},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.datagram);
    const std::string datagram = operator""_hex(row.datagram, std::string(row.datagram).size());
    RecordingEngine engine;
    for (const int result : {-7, 0, 5}) {
      engine.forget();
      engine.result = result;
      const LogCapture log;
      EXPECT_EQ(engine.receive(datagram, "10.1.2.3"), result);
      EXPECT_EQ(engine.sent(), Datagrams{row.answer});
      ASSERT_EQ(engine.messages.size(), 1U);
      EXPECT_EQ(engine.messages[0].sender, "10.1.2.3");
      EXPECT_EQ(log.brief(3).back(), "3 [ERROR] trelProtocolBase (handleTrelMsg) - " + std::string(row.lastLine));
    }
    RecordingEngine silent(false);
    EXPECT_EQ(silent.receive(datagram), 0);
    EXPECT_TRUE(silent.messages.empty());
  }
}

TEST(ReadingEngine, TheHeaderLinesPrintVersionInHexAndActionInDecimal) {
  RecordingEngine engine(false);
  const LogCapture log;
  engine.receive("4F544E31 10 07 0001"_hex);
  engine.receive("4F544E31 01 FF 0001"_hex);
  EXPECT_EQ(log.brief(3), (Lines{"3 [ERROR] trelmsg (checkProtVersion) - Invalid protocol version 0x10 (should be 0x1)",
                                 "3 [ERROR] trelProtocolBase (handleTrelMsg) - protocol mismatch!",
                                 "3 [ERROR] trelmsg (checkAction) - Invalid value 255 for action field",
                                 "3 [ERROR] trelProtocolBase (handleTrelMsg) - invalid action received!"}));
}

TEST(ReadingEngine, ANullSenderBecomesAnEmptyAddressInTheAnswer) {
  RecordingEngine engine;
  engine.receive("4F544E31 02 01 0001"_hex, nullptr);
  engine.receive("4F544E31 01 01 0001"_hex, nullptr);
  engine.receive("4F544E31 01 01 0002"_hex, "nonsense");
  ASSERT_EQ(engine.messages.size(), 3U);
  EXPECT_EQ(engine.messages[0].sender, "");
  EXPECT_EQ(engine.messages[1].sender, "");
  EXPECT_EQ(engine.messages[2].sender, "nonsense");
}

TEST(ReadingEngine, OnlyRequestsAreAnsweredAndOnlyRequestsMoveTheSequence) {
  RecordingEngine engine;
  EXPECT_EQ(engine.receive("4F544E31 01 01 0001"_hex), 1);
  EXPECT_EQ(engine.receive("4F544E31 01 03 0050 00 0000"_hex), 1);
  EXPECT_EQ(engine.receive("4F544E31 01 04 0051 00 0000"_hex), 1);
  EXPECT_EQ(engine.receive("4F544E31 01 05 0052 00000000 00000000"_hex), 0);
  EXPECT_EQ(engine.receive("4F544E31 02 01 0053"_hex), 1);  // a header error
  EXPECT_EQ(engine.receive("4F544E31 01 02 0002"_hex), 1);
  EXPECT_EQ(engine.sent(),
            (Datagrams{"4F544E31 01 03 0001 00 0000", "4F544E31 01 03 0053 01 0000", "4F544E31 01 04 0002 00 0000"}));
}

TEST(ReadingEngine, AnObjectRegisteredTwiceIsFoundOnceAndOfTwoWithOneIdTheFirstThatKnowsThePropertyAnswers) {
  RecordingEngine engine;
  UpdateCounter first("first", 1, true);
  UpdateCounter second("second", 1, true);
  addNumber(first, 5, 0x11);
  addNumber(second, 5, 0x22);
  addNumber(second, 6, 0x33);
  engine.registerObject(&first);
  engine.registerObject(&second);
  engine.registerObject(&first);
  EXPECT_EQ(engine.objects, (std::vector<TrelObject*>{&first, &second, &first}));
  engine.receive("4F544E31 01 01 0001 | 10800005 01 0000 | 10800006 01 0000"_hex);
  EXPECT_EQ(engine.sent(),
            Datagrams{"4F544E31 01 03 0001 00 0000 | 10800005 01 0004 00000011 | 10800006 01 0004 00000033"});
  EXPECT_EQ(first.updates, 1);
  EXPECT_EQ(second.updates, 1);
}

TEST(ReadingEngine, TheDestructorDeletesNeitherObjectsNorThePropertiesThatWaitForAFlush) {
  unsigned int deletions = 0;
  TrelScalar scalar("scalar", 1, true);
  auto* mine = new FakeProperty("10800005 01 0004 00000001"_hex);
  mine->deletions = &deletions;
  ASSERT_TRUE(scalar.addProp(mine, 0));
  FakeProperty waiting("10800006 01 0004 00000001"_hex, 6);
  waiting.deletions = &deletions;
  {
    TablesMadeDuringConstruction engine;
    engine.registerObject(&scalar);
    engine.amiOwnedProperties.push_back(&waiting);
    EXPECT_TRUE(engine.initEvents());  // its tables go with the engine: the leak checker watches
  }
  EXPECT_EQ(deletions, 0U);
}

TEST(ReadingEngine, TheTraceLevelDecidesWhichGradesOfALineAreWritten) {
  RecordingEngine engine;
  const struct {
    int level;
    std::size_t lines;  // of a datagram that leaves DEBUG2, WARNING, DEBUG2, DEBUG1
  } rows[] = {{-5, 0}, {0, 0}, {3, 0}, {4, 1}, {6, 1}, {7, 2}, {8, 4}, {9, 4}};
  for (const auto& row : rows) {
    SCOPED_TRACE(row.level);
    const LogCapture log(row.level);
    engine.receive("00000000 01 01 0001"_hex);
    EXPECT_EQ(log.lines().size(), row.lines);
  }
}

TEST(ReadingEngine, ATraceObjectThatIsAbsentOrWithoutALevelWritesNothing) {
  RecordingEngine engine;
  const LogCapture log;
  TraceObject* const given = g_traceObject;
  TraceObject levelless = *given;
  levelless.level = nullptr;
  for (TraceObject* trace : {static_cast<TraceObject*>(nullptr), &levelless}) {
    g_traceObject = trace;
    EXPECT_EQ(engine.receive("4F544E31 02 01 0001"_hex), 1);
    EXPECT_EQ(engine.receive("4F544E31"_hex), 0);
  }
  g_traceObject = given;
  EXPECT_TRUE(log.lines().empty());
}
