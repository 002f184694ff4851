// The sequence of each sender's requests.

#include <gtest/gtest.h>

#include <string>

#include "support/bytes.h"
#include "support/logCapture.h"
#include "support/logSelection.h"
#include "support/recordingEngine.h"
#include "trel/trelProtocolBase.h"

namespace {

int check(TrelProtocolBase& engine, unsigned int id, const std::string& sender) {
  TRELRequest request("");
  request.msgId = static_cast<unsigned short>(id);
  return engine.checkMsgId(&request, sender);
}

void takeContexts(TrelProtocolBase& engine, int count) {
  for (int i = 1; i <= count; ++i)
    EXPECT_EQ(check(engine, 1, "10.0.1." + std::to_string(i)), 0);
}

}  // namespace

TEST(ReadingSequence, EachIdIsJudgedByTheOneBeforeOnly) {
  RecordingEngine engine;
  const struct {
    unsigned int id;
    int result;
    const char* warning;
  } rows[] = {
      {0, 0, ""},  // the first id is taken as it is
      {0, 2, "Duplicate message msgId=0"},
      {1, 0, ""},
      {1, 2, "Duplicate message msgId=1"},
      {1, 2, "Duplicate message msgId=1"},
      {2, 0, ""},
      {10, 3, "Messages with msgId in range 3 -> 10 were lost"},
      {10, 2, "Duplicate message msgId=10"},
      {5, 3, "Messages with msgId in range 11 -> 5 were lost"},  // late: a loss, and the new last id
      {6, 0, ""},
      {65535, 3, "Messages with msgId in range 7 -> 65535 were lost"},
      {65535, 2, "Duplicate message msgId=65535"},
      {0, 0, ""},
      {65535, 3, "Messages with msgId in range 1 -> 65535 were lost"},
      {2, 3, "Messages with msgId in range 65536 -> 2 were lost"},
      {1, 3, "Messages with msgId in range 3 -> 1 were lost"},
      {32768, 3, "Messages with msgId in range 2 -> 32768 were lost"},
      {32769, 0, ""},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.id);
    const LogCapture log;
    EXPECT_EQ(check(engine, row.id, "10.0.0.1"), row.result);
    Lines expected{"7 [DEBUG3] trelProtocolBase (checkMsgId) - IpAdress being verified : 10.0.0.1\n"};
    if (row.warning[0] != '\0')
      expected.push_back("4 [WARNING] trelProtocolBase (checkMsgId) - " + std::string(row.warning));
    EXPECT_EQ(log.brief(), expected);
  }
}

TEST(ReadingSequence, TheSixthSenderIsRefusedForEverAndTheFiveOthersGoOn) {
  RecordingEngine engine;
  takeContexts(engine, 5);
  for (unsigned int id = 7; id < 10; ++id) {
    const LogCapture log;
    EXPECT_EQ(check(engine, id, "10.0.1.6"), 16);
    EXPECT_EQ(log.brief(), (Lines{"7 [DEBUG3] trelProtocolBase (checkMsgId) - IpAdress being verified : 10.0.1.6\n",
                                  "4 [WARNING] trelProtocolBase (checkMsgId) - Total IP contexts that can be verified "
                                  "is 5"}));
  }
  EXPECT_EQ(check(engine, 1, "10.0.1.7"), 16);
  for (int i = 1; i <= 5; ++i) {
    EXPECT_EQ(check(engine, 2, "10.0.1." + std::to_string(i)), 0) << i;
    EXPECT_EQ(check(engine, 2, "10.0.1." + std::to_string(i)), 2) << i;
  }
}

TEST(ReadingSequence, AnAddressThatDoesNotParseIs17WithOneLineAndTouchesNothing) {
  RecordingEngine engine;
  for (const char* sender : {"abc", " 10.0.0.1", "10.0.0.1 ", "10.0.0", "10.0.0.256", "10.0.0.1.2", "::1", " ",
                             "0x0a.0.0.1", "10.0.0.1\n", "-1.0.0.0", "%s%s%n"}) {
    SCOPED_TRACE(sender);
    const LogCapture log;
    EXPECT_EQ(check(engine, 1, sender), 17);
    EXPECT_EQ(check(engine, 1, sender), 17);
    EXPECT_EQ(
        log.brief(),
        Lines(2, "7 [DEBUG3] trelProtocolBase (checkMsgId) - IpAdress being verified : " + std::string(sender) + "\n"));
  }
  takeContexts(engine, 5);
  EXPECT_EQ(check(engine, 1, "abc"), 17);  // before the table is looked at
  EXPECT_EQ(check(engine, 1, "10.0.1.9"), 16);
}

TEST(ReadingSequence, TheKeyIsTheTextAndNotTheAddress) {
  RecordingEngine engine;
  EXPECT_EQ(check(engine, 4, "10.0.0.1"), 0);
  EXPECT_NE(check(engine, 4, "010.0.0.1"), 2);  // the platform may refuse to parse it: 17
  EXPECT_EQ(check(engine, 4, std::string("10.0.0.1\0", 9)), 0);
  EXPECT_EQ(check(engine, 4, std::string("10.0.0.1\0", 9)), 2);
  EXPECT_EQ(check(engine, 4, std::string("10.0.0.1\0x", 10)), 0);
  EXPECT_EQ(check(engine, 4, "10.0.0.11"), 0);  // one key begins another
  EXPECT_EQ(check(engine, 4, "10.0.0.1"), 2);
}

TEST(ReadingSequence, AnEmptyAddressUsesTheFirstFreeContextWhichTheNextSenderInherits) {
  RecordingEngine engine;
  const LogCapture log;
  EXPECT_EQ(check(engine, 10, ""), 0);
  EXPECT_EQ(log.brief(), (Lines{"7 [DEBUG3] trelProtocolBase (checkMsgId) - IpAdress being verified : \n",
                                "4 [WARNING] trelProtocolBase (checkMsgId) - IP Address received is NULL"}));
  EXPECT_EQ(check(engine, 10, ""), 2);
  EXPECT_EQ(check(engine, 10, "10.0.1.1"), 2);  // claims the first context and inherits id 10
  EXPECT_EQ(check(engine, 11, "10.0.1.1"), 0);
  EXPECT_EQ(check(engine, 11, ""), 0);  // the second context, fresh
  EXPECT_EQ(check(engine, 13, ""), 3);
  EXPECT_EQ(check(engine, 14, "10.0.1.2"), 0);
  EXPECT_EQ(check(engine, 1, "10.0.1.3"), 0);
  EXPECT_EQ(check(engine, 1, "10.0.1.4"), 0);
  EXPECT_EQ(check(engine, 1, ""), 0);
  EXPECT_EQ(check(engine, 2, "10.0.1.5"), 0);
  const LogCapture full;
  EXPECT_EQ(check(engine, 3, ""), 16);  // no context is empty any more
  EXPECT_EQ(full.brief(4),
            (Lines{"4 [WARNING] trelProtocolBase (checkMsgId) - IP Address received is NULL",
                   "4 [WARNING] trelProtocolBase (checkMsgId) - Total IP contexts that can be verified is 5"}));
}

TEST(ReadingSequence, TheContextsAreOfTheProcessAndOutliveTheEngines) {
  {
    RecordingEngine engine;
    takeContexts(engine, 4);
  }
  RecordingEngine one;
  RecordingEngine other;
  EXPECT_EQ(check(one, 1, "10.0.1.4"), 2);
  EXPECT_EQ(check(other, 2, "10.0.1.4"), 0);
  EXPECT_EQ(check(one, 2, "10.0.1.4"), 2);
  EXPECT_EQ(check(other, 9, "10.0.9.9"), 0);
  EXPECT_EQ(check(one, 9, "10.0.9.8"), 16);
}

TEST(ReadingSequence, TheResultTravelsInTheAnswerAndTheRequestIsExecutedAllTheSame) {
  RecordingEngine engine;
  TrelScalar scalar("scalar", 1, true);
  auto* property = new TypeProperty<unsigned int>(5, "number", IFC_CARD_VAR_READ_WRITE, 0U);
  ASSERT_TRUE(scalar.addProp(property, 0));
  engine.registerObject(&scalar);
  const struct {
    const char* datagram;
    const char* sender;
    const char* answer;
    unsigned int value;
  } rows[] = {
      {"4F544E31 01 02 0007 | 10800005 01 0004 00000001", "10.0.0.1", "4F544E31 01 04 0007 00 0000", 1},
      {"4F544E31 01 02 0007 | 10800005 01 0004 00000002", "10.0.0.1", "4F544E31 01 04 0007 02 0000", 2},
      {"4F544E31 01 02 0005 | 10800005 01 0004 00000003", "10.0.0.1", "4F544E31 01 04 0005 03 0000", 3},
      {"4F544E31 01 02 0005 | 10800005 01 0004 00000004", "nobody", "4F544E31 01 04 0005 11 0000", 4},
      {"4F544E31 01 01 0005 | 10800005 01 0000", "nobody", "4F544E31 01 03 0005 11 0000 | 10800005 01 0004 00000004",
       4},
      {"4F544E31 01 01 0007 | 10800005 01 0000", "10.0.0.1", "4F544E31 01 03 0007 03 0000 | 10800005 01 0004 00000004",
       4},
      {"4F544E31 01 01 0007 | 10800005 01 0000", "10.0.0.1", "4F544E31 01 03 0007 02 0000 | 10800005 01 0004 00000004",
       4},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.datagram);
    engine.forget();
    engine.receive(operator""_hex(row.datagram, std::string(row.datagram).size()), row.sender);
    EXPECT_EQ(engine.sent(), Datagrams{row.answer});
    unsigned int value = 0;
    property->get(&value);
    EXPECT_EQ(value, row.value);
  }
  takeContexts(engine, 4);
  engine.forget();
  engine.receive("4F544E31 01 02 0001 | 10800005 01 0004 00000009"_hex, "10.0.2.1");
  EXPECT_EQ(engine.sent(), Datagrams{"4F544E31 01 04 0001 10 0000"});
  EXPECT_EQ(property->value, 9U);
}
