// The sequence check of received requests: five senders, one last id each, for the life of the process.

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "support/bytes.h"
#include "support/logCapture.h"
#include "support/logSelection.h"
#include "support/recordingEngine.h"

namespace {

const std::string A = "10.0.0.1";
const std::string B = "10.0.0.2";

// checkMsgId of an engine of its own: the contexts are the process's.
int check(const std::string& sender, unsigned short id) {
  RecordingEngine engine;
  TRELRequest request(sender);
  request.msgId = id;
  return engine.checkMsgId(&request, sender);
}

void takeAllContexts() {
  for (const char* const sender : {"10.1.0.1", "10.1.0.2", "10.1.0.3", "10.1.0.4", "10.1.0.5"})
    ASSERT_EQ(check(sender, 7), 0);
}

std::string verified(const std::string& sender) {
  return "7 [DEBUG3] trelProtocolBase (checkMsgId) - IpAdress being verified : " + sender + "\n";
}

}  // namespace

TEST(CoreSequence, TheFirstIdOfASenderIsInSequenceWhateverItIs) {
  EXPECT_EQ(check("10.0.0.1", 0), 0);
  EXPECT_EQ(check("10.0.0.2", 1), 0);
  EXPECT_EQ(check("10.0.0.3", 4711), 0);
  EXPECT_EQ(check("10.0.0.4", 65535), 0);
}

TEST(CoreSequence, TheNextIdIsInSequence) {
  EXPECT_EQ(check(A, 7), 0);
  EXPECT_EQ(check(A, 8), 0);
  EXPECT_EQ(check(A, 9), 0);
}

TEST(CoreSequence, TheSameIdYieldsZeroThenTwoThenTwoAgain) {
  EXPECT_EQ(check(A, 7), 0);
  EXPECT_EQ(check(A, 7), 2);
  EXPECT_EQ(check(A, 7), 2);
  EXPECT_EQ(check(A, 8), 0);
}

TEST(CoreSequence, AGapIsLossAndTheNewIdIsRemembered) {
  EXPECT_EQ(check(A, 7), 0);
  EXPECT_EQ(check(A, 9), 3);
  EXPECT_EQ(check(A, 9), 2);
  EXPECT_EQ(check(A, 10), 0);
}

TEST(CoreSequence, ALowerIdCountsAsLossNotAsADuplicate) {
  EXPECT_EQ(check(A, 7), 0);
  EXPECT_EQ(check(A, 8), 0);
  EXPECT_EQ(check(A, 7), 3);
  EXPECT_EQ(check(A, 8), 0);
  EXPECT_EQ(check(A, 6), 3);
}

TEST(CoreSequence, ZeroFollows65535) {
  EXPECT_EQ(check(A, 65535), 0);
  EXPECT_EQ(check(A, 0), 0);
  EXPECT_EQ(check(A, 1), 0);
}

TEST(CoreSequence, TheIdAfter65535IsPrintedAs65536WhenIdsWereLost) {
  EXPECT_EQ(check(A, 65535), 0);
  LogCapture log(4);
  EXPECT_EQ(check(A, 2), 3);
  EXPECT_EQ(log.brief(),
            Lines{"4 [WARNING] trelProtocolBase (checkMsgId) - Messages with msgId in range 65536 -> 2 were "
                  "lost"});
}

TEST(CoreSequence, LinesOfLossAndOfADuplicate) {
  EXPECT_EQ(check(A, 7), 0);
  LogCapture log;
  check(A, 65535);
  check(A, 65535);
  check(A, 3);
  EXPECT_EQ(
      linesOf(log, "checkMsgId"),
      (Lines{verified(A),
             "4 [WARNING] trelProtocolBase (checkMsgId) - Messages with msgId in range 8 -> 65535 were lost",
             verified(A), "4 [WARNING] trelProtocolBase (checkMsgId) - Duplicate message msgId=65535", verified(A),
             "4 [WARNING] trelProtocolBase (checkMsgId) - Messages with msgId in range 65536 -> 3 were "
             "lost"}));
}

TEST(CoreSequence, AnIdInSequenceLeavesTheDebugLineAlone) {
  LogCapture log;
  check(A, 7);
  check(A, 8);
  EXPECT_EQ(linesOf(log, "checkMsgId"), (Lines{verified(A), verified(A)}));
}

TEST(CoreSequence, EachLineAppearsAboveItsThreshold) {
  struct Case {
    int level;
    std::size_t lines;
  };
  takeAllContexts();
  check("10.1.0.1", 20);
  const Case cases[] = {{3, 0}, {4, 5}, {8, 5}, {9, 9}};
  for (const Case& c : cases) {
    SCOPED_TRACE(c.level);
    check("10.1.0.1", 20);
    check("10.1.0.2", 20);
    LogCapture log(c.level);
    check("10.1.0.1", 20);  // duplicate
    check("10.1.0.2", 30);  // loss
    check("10.1.0.9", 1);   // no context left
    check("", 1);           // no address, and no context left
    EXPECT_EQ(linesOf(log, "checkMsgId").size(), c.lines);
  }
}

TEST(CoreSequence, SendersAreFollowedSeparately) {
  EXPECT_EQ(check(A, 7), 0);
  EXPECT_EQ(check(B, 7), 0);
  EXPECT_EQ(check(A, 8), 0);
  EXPECT_EQ(check(B, 7), 2);
  EXPECT_EQ(check(B, 9), 3);
  EXPECT_EQ(check(A, 9), 0);
}

TEST(CoreSequence, TheSixthSenderYields16OnEveryMessage) {
  takeAllContexts();
  LogCapture log;
  for (int i = 0; i < 3; ++i)
    EXPECT_EQ(check("10.1.0.6", static_cast<unsigned short>(i)), 16);
  EXPECT_EQ(check("10.1.0.7", 7), 16);
  const std::string full = "4 [WARNING] trelProtocolBase (checkMsgId) - Total IP contexts that can be verified is 5";
  EXPECT_EQ(linesOf(log, "checkMsgId"), (Lines{verified("10.1.0.6"), full, verified("10.1.0.6"), full,
                                               verified("10.1.0.6"), full, verified("10.1.0.7"), full}));
}

TEST(CoreSequence, TheFirstFiveSendersAreStillFollowedWhenTheTableIsFull) {
  takeAllContexts();
  EXPECT_EQ(check("10.1.0.6", 8), 16);
  EXPECT_EQ(check("10.1.0.1", 8), 0);
  EXPECT_EQ(check("10.1.0.5", 7), 2);
  EXPECT_EQ(check("10.1.0.3", 9), 3);
}

TEST(CoreSequence, ATextThatIsNoIPv4AddressYields17AndOnlyTheDebugLine) {
  for (const char* const sender : {"abc", "1.2.3", "1.2.3.4.5", "256.1.1.1", " 10.0.0.1", "10.0.0.1 ", "10.0.0.1x",
                                   "::1", "10.0.0.-1", "0x0a000001"}) {
    SCOPED_TRACE(sender);
    LogCapture log;
    EXPECT_EQ(check(sender, 7), 17);
    EXPECT_EQ(linesOf(log, "checkMsgId"), Lines{verified(sender)});
  }
}

TEST(CoreSequence, ATextThatIsNoIPv4AddressTakesNoContext) {
  for (int i = 0; i < 10; ++i)
    EXPECT_EQ(check("abc", 7), 17);
  takeAllContexts();
  EXPECT_EQ(check("abc", 7), 17);  // not 16: it is judged before the table is looked at
}

TEST(CoreSequence, TheKeyIsTheAddressTextNotTheParsedAddress) {
  EXPECT_EQ(check("10.0.0.1", 7), 0);
  // The C library of the system refuses a leading zero (17); where one accepts it, the sender has a context of its own (0).
  EXPECT_NE(check("010.0.0.1", 7), 2);
  EXPECT_EQ(check("10.0.0.1", 7), 2);
}

TEST(CoreSequence, TheKeyIsComparedWithAllItsBytes) {
  const std::string longer("10.0.0.1\0x", 10);  // reads as 10.0.0.1 up to its zero byte
  EXPECT_EQ(check("10.0.0.1", 7), 0);
  EXPECT_EQ(check(longer, 7), 0);
  EXPECT_EQ(check(longer, 7), 2);
  EXPECT_EQ(check("10.0.0.1", 8), 0);
}

TEST(CoreSequence, AnAddressThatStartsLikeAnotherIsAnother) {
  EXPECT_EQ(check("10.0.0.1", 7), 0);
  EXPECT_EQ(check("10.0.0.10", 7), 0);
  EXPECT_EQ(check("10.0.0.100", 7), 0);
  EXPECT_EQ(check("10.0.0.1", 7), 2);
}

TEST(CoreSequence, AnEmptyAddressIsWarnedOfAndFollowed) {
  LogCapture log;
  EXPECT_EQ(check("", 7), 0);
  EXPECT_EQ(check("", 7), 2);
  EXPECT_EQ(check("", 9), 3);
  const std::string none = "4 [WARNING] trelProtocolBase (checkMsgId) - IP Address received is NULL";
  EXPECT_EQ(linesOf(log, "checkMsgId"),
            (Lines{verified(""), none, verified(""), none,
                   "4 [WARNING] trelProtocolBase (checkMsgId) - Duplicate message msgId=7", verified(""), none,
                   "4 [WARNING] trelProtocolBase (checkMsgId) - Messages with msgId in range 8 -> 9 were lost"}));
}

TEST(CoreSequence, ASenderThatClaimsTheContextAnEmptyAddressUsedInheritsItsLastId) {
  EXPECT_EQ(check("", 7), 0);
  EXPECT_EQ(check(A, 7), 2);
  EXPECT_EQ(check(A, 8), 0);
  // The empty address moves on to the next free context.
  EXPECT_EQ(check("", 100), 0);
  EXPECT_EQ(check(B, 101), 0);
  EXPECT_EQ(check(A, 9), 0);
}

TEST(CoreSequence, AnEmptyAddressClaimsNoContext) {
  for (unsigned short id = 0; id < 10; ++id)
    EXPECT_EQ(check("", id), 0);
  EXPECT_EQ(check("10.1.0.1", 10), 0);
  for (const char* const sender : {"10.1.0.2", "10.1.0.3", "10.1.0.4", "10.1.0.5"})
    EXPECT_EQ(check(sender, 7), 0);
  EXPECT_EQ(check("10.1.0.6", 7), 16);
}

TEST(CoreSequence, AnEmptyAddressFindsNoContextWhenTheTableIsFull) {
  takeAllContexts();
  LogCapture log(8);
  EXPECT_EQ(check("", 7), 16);
  EXPECT_EQ(linesOf(log, "checkMsgId"),
            (Lines{"4 [WARNING] trelProtocolBase (checkMsgId) - IP Address received is NULL",
                   "4 [WARNING] trelProtocolBase (checkMsgId) - Total IP contexts that can be verified is 5"}));
}

TEST(CoreSequence, TwoEnginesShareTheContexts) {
  RecordingEngine one;
  RecordingEngine other;
  one.receive("4F544E31 01 01 0007"_hex);
  other.receive("4F544E31 01 01 0007"_hex);
  one.receive("4F544E31 01 01 0008"_hex);
  EXPECT_EQ(one.sent(), (Datagrams{"4F544E31 01 03 0007 00 0000", "4F544E31 01 03 0008 00 0000"}));
  EXPECT_EQ(other.sent(), Datagrams{"4F544E31 01 03 0007 02 0000"});
}

TEST(CoreSequence, TheContextsOutliveTheEngine) {
  {
    RecordingEngine engine;
    engine.receive("4F544E31 01 01 0007"_hex);
  }
  RecordingEngine engine;
  engine.receive("4F544E31 01 01 0007"_hex);
  EXPECT_EQ(engine.sent(), Datagrams{"4F544E31 01 03 0007 02 0000"});
}

TEST(CoreSequence, TheAddressGivenCountsNotTheMessages) {
  RecordingEngine engine;
  TRELRequest request(B);
  request.msgId = 7;
  EXPECT_EQ(engine.checkMsgId(&request, A), 0);
  EXPECT_EQ(check(A, 7), 2);
  EXPECT_EQ(check(B, 7), 0);
}
