// What the transport lets through: the decision alone, without a socket and with times that are written out.

#include <gtest/gtest.h>

#include <climits>
#include <string>
#include <vector>

#include "support/bytes.h"
#include "support/exactBlock.h"
#include "trelUdp/trelUdpGuard.h"

namespace {

constexpr unsigned long long SECOND = 1000000000;

TrelUdpAddress at(unsigned char lastByte, unsigned short port = 4000) {
  TrelUdpAddress address;
  address.ip = 0x0A000000U | lastByte;
  address.port = port;
  return address;
}

// 10.0.0.x
const TrelUdpAddress MANAGER = at(1);
const TrelUdpAddress CARD = at(2);
const TrelUdpAddress BOTH = at(3);
const TrelUdpAddress OTHER_MANAGER = at(4);
const TrelUdpAddress STRANGER = at(9);

const std::string READ = "4F544E31 01 01 0001"_hex;
const std::string READ_RESPONSE = "4F544E31 01 03 0001"_hex;
const std::string AMI = "4F544E31 01 05 0001"_hex;
const std::string OTHER_VERSION = "4F544E31 02 01 0001"_hex;
const std::string UNKNOWN_ACTION = "4F544E31 01 06 0001"_hex;
const std::string FOREIGN_MAGIC = "4F544E32 01 01 0001"_hex;

std::string text(const TrelUdpVerdict& verdict) {
  static const char* const fates[] = {"sent", "handed over", "reply", "kept"};
  return verdict.fate == TREL_UDP_DROPPED ? trelUdpDropText(verdict.drop) : fates[verdict.fate];
}

class UdpGuard : public testing::Test {
 protected:
  UdpGuard() {
    guard.setSpeakers({{MANAGER.ip, TREL_UDP_ROLE_MANAGER},
                       {CARD.ip, TREL_UDP_ROLE_CARD},
                       {BOTH.ip, TREL_UDP_ROLE_BOTH},
                       {OTHER_MANAGER.ip, TREL_UDP_ROLE_MANAGER}});
    guard.setPeerRate({0, 0});
    guard.setTotalRate({0, 0});
    guard.setHeaderErrorRate({0, 0});
  }

  TrelUdpVerdict judge(const std::string& bytes, const TrelUdpAddress& sender, unsigned long long now) {
    const ExactBlock block(bytes);
    arrival.sender = sender;
    arrival.bytes = block.data();
    arrival.length = static_cast<unsigned int>(bytes.size());
    arrival.now = now;
    return guard.judge(arrival);
  }
  std::string fate(const std::string& bytes, const TrelUdpAddress& sender = MANAGER, unsigned long long now = 0) {
    return text(judge(bytes, sender, now));
  }
  // How many of so many at once are handed over.
  unsigned int passing(unsigned int count, const std::string& bytes, const TrelUdpAddress& sender,
                       unsigned long long now) {
    unsigned int passed = 0;
    for (unsigned int i = 0; i < count; ++i) {
      if (fate(bytes, sender, now) == "handed over") ++passed;
    }
    return passed;
  }

  TrelUdpGuard guard;
  TrelUdpArrival arrival;  // what a test changes of it holds for the next ones too
};

TrelUdpAwaited awaited(const TrelUdpAddress& peer, unsigned short msgId, unsigned int replyAction) {
  TrelUdpAwaited wait;
  wait.peer = peer;
  wait.msgId = msgId;
  wait.replyAction = replyAction;
  wait.sent = true;
  return wait;
}

}  // namespace

// ----- a rate -----

TEST(UdpBucket, ABurstPassesAtOnceAndNoMore) {
  TrelUdpBucket bucket({10, 3});
  for (int i = 0; i < 3; ++i) {
    EXPECT_TRUE(bucket.has(0));
    bucket.take();
  }
  EXPECT_FALSE(bucket.has(0));
}

TEST(UdpBucket, TheNextPassesWhenItsTimeHasComeToTheNanosecond) {
  TrelUdpBucket bucket({10, 1});
  ASSERT_TRUE(bucket.has(5 * SECOND));
  bucket.take();
  EXPECT_FALSE(bucket.has(5099999999));
  EXPECT_TRUE(bucket.has(5100000000));
}

TEST(UdpBucket, NothingIsLostByAskingOftenOrByARateThatDoesNotDivideASecond) {
  TrelUdpBucket bucket({3, 2});
  for (int i = 0; i < 2; ++i) {
    ASSERT_TRUE(bucket.has(0));
    bucket.take();
  }
  for (unsigned long long now = 0; now < 333333333; now += 111111111) {
    EXPECT_FALSE(bucket.has(now));
  }
  EXPECT_FALSE(bucket.has(333333333)) << "a third of a second is longer";
  EXPECT_TRUE(bucket.has(333333334));
  bucket.take();
  EXPECT_FALSE(bucket.has(666666666));
  EXPECT_TRUE(bucket.has(666666667)) << "and what the last one waited too long counts for this one";
}

TEST(UdpBucket, NeverHoldsMoreThanItsBurst) {
  TrelUdpBucket bucket({1000, 2});
  EXPECT_TRUE(bucket.has(0));
  for (int i = 0; i < 2; ++i) {
    ASSERT_TRUE(bucket.has(3600 * SECOND));
    bucket.take();
  }
  EXPECT_FALSE(bucket.has(3600 * SECOND));
}

TEST(UdpBucket, TimeThatStandsStillRefillsNothing) {
  TrelUdpBucket bucket({UINT_MAX, 1});
  ASSERT_TRUE(bucket.has(7));
  bucket.take();
  for (int i = 0; i < 1000; ++i) {
    ASSERT_FALSE(bucket.has(7));
  }
  EXPECT_TRUE(bucket.has(8)) << "four a nanosecond";
}

TEST(UdpBucket, TimeThatGoesBackRefillsNothingAndGoesOnFromThere) {
  TrelUdpBucket bucket({1, 1});
  ASSERT_TRUE(bucket.has(5 * SECOND));
  bucket.take();
  EXPECT_FALSE(bucket.has(1 * SECOND));
  EXPECT_FALSE(bucket.has(1999999999));
  EXPECT_TRUE(bucket.has(2 * SECOND));
}

TEST(UdpBucket, NoTimeAndNoRateIsTooLargeToCalculateWith) {
  struct Case {
    TrelUdpRate rate;
    unsigned long long elapsed;
  };
  const Case cases[] = {{{4, 1}, 4611686018427387904},  // their product is 2 to the 64th
                        {{1, 1}, ULLONG_MAX},
                        {{UINT_MAX, 1}, ULLONG_MAX},
                        {{UINT_MAX, UINT_MAX}, ULLONG_MAX},
                        {{1, UINT_MAX}, ULLONG_MAX}};
  for (const Case& c : cases) {
    SCOPED_TRACE(c.elapsed);
    TrelUdpBucket bucket(c.rate);
    ASSERT_TRUE(bucket.has(0));
    bucket.take();
    ASSERT_TRUE(bucket.has(c.elapsed));
    bucket.take();
    EXPECT_EQ(bucket.has(c.elapsed), c.rate.burst > 1) << "no more than the burst";
  }
}

TEST(UdpBucket, ARateOf0LetsAnyNumberThrough) {
  TrelUdpBucket bucket({0, 0});
  for (int i = 0; i < 10000; ++i) {
    ASSERT_TRUE(bucket.has(0));
    bucket.take();
  }
}

TEST(UdpBucket, ANewRateHoldsAtOnceWithAFullBurst) {
  TrelUdpBucket bucket({1, 1});
  ASSERT_TRUE(bucket.has(0));
  bucket.take();
  bucket.setRate({1, 2});
  for (int i = 0; i < 2; ++i) {
    ASSERT_TRUE(bucket.has(0));
    bucket.take();
  }
  EXPECT_FALSE(bucket.has(0));
}

// ----- size -----

TEST_F(UdpGuard, WhatIsShorterThanAHeaderIsDroppedAndNotRead) {
  for (unsigned int length = 0; length < 8; ++length) {
    EXPECT_EQ(fate(READ.substr(0, length)), "shorter than a header") << length;
  }
  EXPECT_EQ(fate(READ), "handed over") << "8 bytes are a header";
}

TEST_F(UdpGuard, WhatWasCutIsDropped) {
  arrival.cut = true;
  EXPECT_EQ(fate(READ), "longer than the receive buffer");
}

// ----- peer and role -----

TEST_F(UdpGuard, OneThatIsNotNamedMaySendNothing) {
  for (const std::string& bytes : {READ, READ_RESPONSE, AMI, OTHER_VERSION, UNKNOWN_ACTION, FOREIGN_MAGIC}) {
    EXPECT_EQ(fate(bytes, STRANGER), "sender is not allowed") << asDatagram(bytes);
  }
}

TEST_F(UdpGuard, AnyPortOfAnAllowedAddressIsTheSamePeer) {
  EXPECT_EQ(fate(READ, at(1, 1)), "handed over");
  EXPECT_EQ(fate(READ, at(1, 65535)), "handed over");
}

TEST_F(UdpGuard, AManagerAsksACardReportsAndNobodyAnswersUnasked) {
  const std::string no = "sender may not send this";
  const std::string unawaited = "response that nobody waits for";
  struct Case {
    const char* bytes;
    std::string manager, card, both;
  };
  const Case cases[] = {
      {"4F544E31 01 01 0001", "handed over", no, "handed over"},
      {"4F544E31 01 02 0001", "handed over", no, "handed over"},
      {"4F544E31 01 03 0001", unawaited, unawaited, unawaited},
      {"4F544E31 01 04 0001", unawaited, unawaited, unawaited},
      {"4F544E31 01 05 0001", no, "handed over", "handed over"},
      {"4F544E31 01 00 0001", "handed over", "handed over", "handed over"},  // the engine answers these
      {"4F544E31 01 06 0001", "handed over", "handed over", "handed over"},
      {"4F544E31 01 FF 0001", "handed over", "handed over", "handed over"},
      {"4F544E31 02 01 0001", "handed over", no, "handed over"},
      {"4F544E31 02 03 0001", unawaited, unawaited, unawaited},
      {"4F544E31 02 05 0001", no, "handed over", "handed over"}};
  for (const Case& c : cases) {
    const std::string text = c.bytes;
    SCOPED_TRACE(text);
    const std::string bytes = operator""_hex(text.data(), text.size());
    EXPECT_EQ(fate(bytes, MANAGER), c.manager);
    EXPECT_EQ(fate(bytes, CARD), c.card);
    EXPECT_EQ(fate(bytes, BOTH), c.both);
  }
}

TEST_F(UdpGuard, RolesAreThoseThatWereNamedLast) {
  guard.setSpeakers({{MANAGER.ip, TREL_UDP_ROLE_CARD}});
  EXPECT_EQ(fate(READ, MANAGER), "sender may not send this");
  EXPECT_EQ(fate(AMI, MANAGER), "handed over");
  EXPECT_EQ(fate(AMI, CARD), "sender is not allowed");
  EXPECT_EQ(guard.roleOf(MANAGER.ip), TREL_UDP_ROLE_CARD);
  EXPECT_EQ(guard.roleOf(CARD.ip), TREL_UDP_ROLE_NONE);
}

TEST_F(UdpGuard, AKeptDatagramIsJudgedBySenderAndRoleAgain) {
  EXPECT_EQ(text(guard.judgeKept(MANAGER, 1, READ.data())), "handed over");
  EXPECT_EQ(text(guard.judgeKept(CARD, 2, READ.data())), "sender may not send this");
  EXPECT_EQ(text(guard.judgeKept(CARD, 2, AMI.data())), "handed over");
  EXPECT_EQ(text(guard.judgeKept(STRANGER, 0, READ.data())), "sender is not allowed");
}

// ----- responses -----

TEST_F(UdpGuard, AResponsePassesWhenItIsTheOneAwaitedAndOnce) {
  TrelUdpAwaited wait = awaited(CARD, 0xFFFE, 4);
  arrival.awaited = &wait;
  const std::string reply = "4F544E31 01 04 FFFE 00 0000"_hex;
  EXPECT_EQ(fate("4F544E31 01 04 FFFD 00 0000"_hex, CARD), "response to another request than the one that waits");
  EXPECT_EQ(fate("4F544E31 01 04 00FE 00 0000"_hex, CARD), "response to another request than the one that waits");
  EXPECT_EQ(fate("4F544E31 01 03 FFFE 00 0000"_hex, CARD), "response to another request than the one that waits");
  EXPECT_EQ(fate(reply, at(2, 4001)), "response of another than the one that was asked");
  EXPECT_EQ(fate(reply, MANAGER), "response of another than the one that was asked");
  EXPECT_EQ(fate(reply, STRANGER), "sender is not allowed");

  const TrelUdpVerdict verdict = judge(reply, CARD, 0);
  EXPECT_EQ(verdict.fate, TREL_UDP_REPLY);
  EXPECT_EQ(verdict.reply, &wait);
  wait.answered = true;
  EXPECT_EQ(fate(reply, CARD), "the last reply once more");
  EXPECT_EQ(fate("4F544E31 01 03 FFFE 00 0000"_hex, CARD), "response to another request than the one that waits");
  arrival.awaited = nullptr;
  EXPECT_EQ(fate(reply, CARD), "the last reply once more");
  EXPECT_EQ(fate(reply, at(2, 4001)), "response that nobody waits for");
}

TEST_F(UdpGuard, NothingThatCameBeforeTheRequestLeftIsItsReply) {
  TrelUdpAwaited wait = awaited(CARD, 1, 3);
  wait.sent = false;
  arrival.awaited = &wait;
  EXPECT_EQ(fate(READ_RESPONSE, CARD), "response that nobody waits for");
}

TEST_F(UdpGuard, AnOuterWaitGetsItsReplyWhileAnInnerOneGoesOn) {
  TrelUdpAwaited outer = awaited(CARD, 1, 3);
  TrelUdpAwaited inner = awaited(BOTH, 1, 3);
  inner.outer = &outer;
  arrival.awaited = &inner;
  EXPECT_EQ(judge(READ_RESPONSE, CARD, 0).reply, &outer);
  EXPECT_EQ(judge(READ_RESPONSE, BOTH, 0).reply, &inner);
}

TEST_F(UdpGuard, TheOneThatWasAskedMayAnswerEvenWhenItIsNotNamedAnyMore) {
  TrelUdpAwaited wait = awaited(STRANGER, 1, 3);
  arrival.awaited = &wait;
  EXPECT_EQ(fate(READ_RESPONSE, STRANGER), "reply");
  EXPECT_EQ(fate(READ, STRANGER), "sender is not allowed");
}

TEST_F(UdpGuard, AReplyMayBeOfAnotherVersionAndNotOfAnotherProtocol) {
  TrelUdpAwaited wait = awaited(CARD, 1, 3);
  arrival.awaited = &wait;
  EXPECT_EQ(fate("4F544E32 01 03 0001"_hex, CARD), "not of this protocol");
  EXPECT_EQ(fate("4F544E31 02 03 0001"_hex, CARD), "reply") << "so that whoever waits is told";
}

// ----- action, version, magic -----

TEST_F(UdpGuard, EveryByteOfTheMagicNumberCounts) {
  for (const std::string& bytes : {"CF544E31 01 01 0001"_hex, "4FD44E31 01 01 0001"_hex, "4F54CE31 01 01 0001"_hex,
                                   "4F544EB1 01 01 0001"_hex, "314E544F 01 01 0001"_hex}) {
    EXPECT_EQ(fate(bytes), "not of this protocol") << asDatagram(bytes);
  }
}

TEST_F(UdpGuard, HeaderErrorsOfAllPeersShareARateOfTheirOwn) {
  guard.setHeaderErrorRate({1, 4});
  EXPECT_EQ(fate(OTHER_VERSION, MANAGER), "handed over");
  EXPECT_EQ(fate(UNKNOWN_ACTION, MANAGER), "handed over");
  EXPECT_EQ(fate(UNKNOWN_ACTION, CARD), "handed over");
  EXPECT_EQ(fate(OTHER_VERSION, BOTH), "handed over");
  EXPECT_EQ(fate(OTHER_VERSION, MANAGER), "other protocol version, more often than that is answered");
  EXPECT_EQ(fate(UNKNOWN_ACTION, BOTH), "unknown action, more often than that is answered");
  EXPECT_EQ(fate(READ, MANAGER), "handed over") << "what is no error does not count";
  EXPECT_EQ(fate(OTHER_VERSION, MANAGER, 999999999), "other protocol version, more often than that is answered");
  EXPECT_EQ(fate(UNKNOWN_ACTION, CARD, SECOND), "handed over");
  EXPECT_EQ(fate(OTHER_VERSION, MANAGER, SECOND), "other protocol version, more often than that is answered");
}

// ----- rate -----

TEST_F(UdpGuard, EachPeerHasARateOfItsOwnWhateverItsPort) {
  guard.setPeerRate({10, 3});
  EXPECT_EQ(passing(5, READ, MANAGER, 0), 3U);
  EXPECT_EQ(fate(READ, MANAGER), "too many from its sender");
  EXPECT_EQ(fate(READ, at(1, 4001)), "too many from its sender");
  EXPECT_EQ(passing(5, AMI, CARD, 0), 3U);
  EXPECT_EQ(passing(5, READ, MANAGER, SECOND / 10), 1U);
  EXPECT_EQ(passing(5, READ, MANAGER, SECOND), 3U);
}

TEST_F(UdpGuard, AllTogetherHaveARate) {
  guard.setTotalRate({10, 3});
  EXPECT_EQ(passing(2, READ, MANAGER, 0), 2U);
  EXPECT_EQ(passing(2, AMI, CARD, 0), 1U);
  EXPECT_EQ(fate(READ, BOTH), "too many from all senders together");
  EXPECT_EQ(passing(5, READ, BOTH, SECOND / 10), 1U);
}

TEST_F(UdpGuard, AwaitedRepliesCountForNoRate) {
  guard.setPeerRate({1, 1});
  guard.setTotalRate({1, 1});
  guard.setHeaderErrorRate({1, 1});
  ASSERT_EQ(fate(AMI, CARD), "handed over");
  ASSERT_EQ(fate(AMI, CARD), "too many from its sender");
  TrelUdpAwaited wait = awaited(CARD, 1, 3);
  arrival.awaited = &wait;
  for (int i = 0; i < 100; ++i) {
    ASSERT_EQ(fate(READ_RESPONSE, CARD), "reply");
  }
  EXPECT_EQ(fate(AMI, CARD, SECOND), "handed over") << "and take nothing from it";
}

TEST_F(UdpGuard, WhatIsDroppedTakesNothingFromAnyRate) {
  guard.setPeerRate({1, 1});
  guard.setTotalRate({1, 1});
  guard.setHeaderErrorRate({1, 1});
  EXPECT_EQ(fate(FOREIGN_MAGIC), "not of this protocol");
  EXPECT_EQ(fate("4F544E32 02 01 0001"_hex), "not of this protocol");
  EXPECT_EQ(fate(AMI), "sender may not send this");
  EXPECT_EQ(fate(READ_RESPONSE), "response that nobody waits for");
  EXPECT_EQ(fate("00"_hex), "shorter than a header");
  arrival.keep = true;
  arrival.kept = TREL_UDP_MAX_KEPT;
  EXPECT_EQ(fate(OTHER_VERSION), "no room to keep it until the wait is over");
  arrival.kept = 0;
  EXPECT_EQ(fate(OTHER_VERSION), "kept");
  EXPECT_EQ(fate(READ), "too many from its sender");
}

TEST_F(UdpGuard, WhoIsNamedAgainKeepsItsRateAndWhoWasForgottenBeginsAnew) {
  guard.setPeerRate({1, 1});
  ASSERT_EQ(passing(1, READ, MANAGER, 0), 1U);
  ASSERT_EQ(passing(1, READ, OTHER_MANAGER, 0), 1U);
  guard.setSpeakers({{OTHER_MANAGER.ip, TREL_UDP_ROLE_MANAGER}});
  EXPECT_EQ(fate(READ, OTHER_MANAGER), "too many from its sender");
  guard.setSpeakers({{MANAGER.ip, TREL_UDP_ROLE_MANAGER}, {OTHER_MANAGER.ip, TREL_UDP_ROLE_BOTH}});
  EXPECT_EQ(fate(READ, OTHER_MANAGER), "too many from its sender");
  EXPECT_EQ(passing(3, READ, MANAGER, 0), 1U) << "at the rate that was set";
}

TEST_F(UdpGuard, ANewRateOfThePeersHoldsForAllOfThemAtOnce) {
  guard.setPeerRate({1, 1});
  ASSERT_EQ(passing(2, READ, MANAGER, 0), 1U);
  guard.setPeerRate({1, 2});
  EXPECT_EQ(passing(5, READ, MANAGER, 0), 2U);
  EXPECT_EQ(passing(5, AMI, CARD, 0), 2U);
}

TEST(UdpGuardDefaults, AFloodIsHeldAndHeaderErrorsAreAnsweredFourTimes) {
  TrelUdpGuard guard;
  guard.setSpeakers(
      {{MANAGER.ip, TREL_UDP_ROLE_MANAGER}, {OTHER_MANAGER.ip, TREL_UDP_ROLE_MANAGER}, {BOTH.ip, TREL_UDP_ROLE_BOTH}});
  const auto passing = [&](const std::string& bytes, const TrelUdpAddress& sender, unsigned long long now) {
    unsigned int passed = 0;
    for (unsigned int i = 0; i < 5000; ++i) {
      TrelUdpArrival arrival;
      arrival.sender = sender;
      arrival.bytes = bytes.data();
      arrival.length = static_cast<unsigned int>(bytes.size());
      arrival.now = now;
      if (guard.judge(arrival).fate == TREL_UDP_HANDED_OVER) ++passed;
    }
    return passed;
  };
  EXPECT_EQ(passing(OTHER_VERSION, MANAGER, 0), 4U);
  EXPECT_EQ(passing(READ, MANAGER, 0), 996U);
  EXPECT_EQ(passing(READ, OTHER_MANAGER, 0), 1000U);
  EXPECT_EQ(passing(READ, BOTH, 0), 0U) << "2000 in all";
  EXPECT_EQ(passing(READ, BOTH, SECOND / 10), 400U);
}

// ----- room -----

TEST_F(UdpGuard, DuringAWaitWhatIsForTheEngineIsKeptWhileThereIsRoom) {
  arrival.keep = true;
  arrival.kept = 63;
  EXPECT_EQ(fate(READ), "kept");
  arrival.kept = 64;
  EXPECT_EQ(fate(READ), "no room to keep it until the wait is over");
  arrival.keep = false;
  EXPECT_EQ(fate(READ), "handed over");
}

// ----- the order -----

TEST_F(UdpGuard, OfTwoRulesThatADatagramBreaksTheEarlierIsReported) {
  // What is exhausted when the datagram comes.
  constexpr unsigned int ERRORS = 1;  // the rate of header errors
  constexpr unsigned int SENDER = 2;  // that of the sender
  constexpr unsigned int ALL = 4;     // that of all
  constexpr unsigned int ROOM = 8;
  struct Case {
    const char* rule;
    const char* bytes;
    TrelUdpAddress sender;
    unsigned int exhausted;
    TrelUdpDrop drop;
  };
  const Case cases[] = {
      {"short before sender", "00", STRANGER, 0, TREL_UDP_DROP_SHORT},
      {"short before magic", "4F544E 01 01 0001", MANAGER, 0, TREL_UDP_DROP_SHORT},
      {"sender before unawaited", "4F544E31 01 03 0001", STRANGER, 0, TREL_UDP_DROP_FOREIGN_SENDER},
      {"sender before action", "4F544E31 01 06 0001", STRANGER, ERRORS, TREL_UDP_DROP_FOREIGN_SENDER},
      {"sender before version", "4F544E31 02 01 0001", STRANGER, ERRORS, TREL_UDP_DROP_FOREIGN_SENDER},
      {"sender before magic", "4F544E32 01 01 0001", STRANGER, 0, TREL_UDP_DROP_FOREIGN_SENDER},
      {"role before version", "4F544E31 02 01 0001", CARD, ERRORS, TREL_UDP_DROP_ROLE},
      {"role before magic", "4F544E32 01 01 0001", CARD, 0, TREL_UDP_DROP_ROLE},
      {"role before rate", "4F544E31 01 01 0001", CARD, SENDER | ALL, TREL_UDP_DROP_ROLE},
      {"unawaited before version", "4F544E31 02 03 0001", CARD, ERRORS, TREL_UDP_DROP_UNAWAITED_REPLY},
      {"unawaited before magic", "4F544E32 01 03 0001", CARD, 0, TREL_UDP_DROP_UNAWAITED_REPLY},
      {"unawaited before rate", "4F544E31 01 03 0001", CARD, SENDER | ALL, TREL_UDP_DROP_UNAWAITED_REPLY},
      {"action before version", "4F544E31 02 06 0001", MANAGER, ERRORS, TREL_UDP_DROP_ACTION},
      {"action before magic", "4F544E32 01 06 0001", MANAGER, ERRORS, TREL_UDP_DROP_ACTION},
      {"action before rate", "4F544E31 01 06 0001", MANAGER, ERRORS | SENDER | ALL, TREL_UDP_DROP_ACTION},
      {"version before magic", "4F544E32 02 01 0001", MANAGER, ERRORS, TREL_UDP_DROP_VERSION},
      {"version before rate", "4F544E31 02 01 0001", MANAGER, ERRORS | SENDER | ALL, TREL_UDP_DROP_VERSION},
      {"action and version below their rate", "4F544E32 02 06 0001", MANAGER, 0, TREL_UDP_DROP_MAGIC},
      {"magic before rate", "4F544E32 01 01 0001", MANAGER, SENDER | ALL, TREL_UDP_DROP_MAGIC},
      {"sender's rate before that of all", "4F544E31 01 01 0001", MANAGER, SENDER | ALL, TREL_UDP_DROP_PEER_RATE},
      {"sender's rate before room", "4F544E31 01 01 0001", MANAGER, SENDER | ROOM, TREL_UDP_DROP_PEER_RATE},
      {"rate of all before room", "4F544E31 01 01 0001", MANAGER, ALL | ROOM, TREL_UDP_DROP_TOTAL_RATE},
      {"room", "4F544E31 01 01 0001", MANAGER, ROOM, TREL_UDP_DROP_KEPT_FULL}};
  for (const Case& c : cases) {
    SCOPED_TRACE(c.rule);
    arrival = TrelUdpArrival();
    guard.setPeerRate({0, 0});
    guard.setTotalRate({0, 0});
    guard.setHeaderErrorRate({1, 1});
    if ((c.exhausted & ERRORS) != 0) fate(OTHER_VERSION, OTHER_MANAGER);
    guard.setPeerRate({1, 1});
    if ((c.exhausted & SENDER) != 0) fate(c.sender.ip == CARD.ip ? AMI : READ, c.sender);
    guard.setTotalRate({1, 1});
    if ((c.exhausted & ALL) != 0) fate(READ, OTHER_MANAGER);
    arrival.keep = (c.exhausted & ROOM) != 0;
    arrival.kept = 64;
    const std::string text = c.bytes;
    EXPECT_EQ(fate(operator""_hex(text.data(), text.size()), c.sender), trelUdpDropText(c.drop));
    arrival.cut = true;
    EXPECT_EQ(fate(operator""_hex(text.data(), text.size()), c.sender), "longer than the receive buffer");
  }
}

// ----- counts -----

TEST_F(UdpGuard, WhatComesFromEachPeerIsCounted) {
  fate(READ, MANAGER);
  fate(AMI, MANAGER);
  fate("00"_hex, CARD);
  const unsigned long long naming = judge(AMI, CARD, 0).naming;
  fate(READ_RESPONSE, CARD);
  fate(READ, STRANGER);
  guard.judgeKept(CARD, naming, AMI.data());
  guard.judgeKept(CARD, naming, READ.data());
  const std::vector<TrelUdpPeer> peers = guard.peers();
  ASSERT_EQ(peers.size(), 4U);
  EXPECT_EQ(peers[0].ip, 0x0A000001U);
  EXPECT_EQ(peers[0].role, TREL_UDP_ROLE_MANAGER);
  EXPECT_EQ(peers[0].received, 2U);
  EXPECT_EQ(peers[0].dropped, 1U);
  EXPECT_EQ(peers[1].ip, 0x0A000002U);
  EXPECT_EQ(peers[1].received, 3U);
  EXPECT_EQ(peers[1].dropped, 3U);
  EXPECT_EQ(peers[2].received, 0U);
  guard.setSpeakers({{CARD.ip, TREL_UDP_ROLE_BOTH}});
  EXPECT_EQ(guard.peers()[0].received, 3U) << "named again";
  EXPECT_EQ(guard.peers()[0].role, TREL_UDP_ROLE_BOTH);
}

TEST_F(UdpGuard, AKeptDatagramThatIsDroppedIsCountedForItsSender) {
  const unsigned long long naming = judge(READ, MANAGER, 0).naming;
  guard.dropKept(MANAGER, naming);
  EXPECT_EQ(guard.peers()[0].received, 1U);
  EXPECT_EQ(guard.peers()[0].dropped, 1U);
  guard.dropKept(STRANGER, 0);
  EXPECT_EQ(guard.peers()[0].dropped, 1U);
}

TEST_F(UdpGuard, WhatWasKeptBeforeItsSenderWasTakenOffIsNotCountedWhenThatIsNamedAgain) {
  const unsigned long long naming = judge(READ, MANAGER, 0).naming;
  guard.setSpeakers({{CARD.ip, TREL_UDP_ROLE_CARD}});
  guard.setSpeakers({{MANAGER.ip, TREL_UDP_ROLE_CARD}});
  EXPECT_EQ(text(guard.judgeKept(MANAGER, naming, READ.data())), "sender may not send this");
  guard.dropKept(MANAGER, naming);
  EXPECT_EQ(guard.peers()[0].received, 0U);
  EXPECT_EQ(guard.peers()[0].dropped, 0U) << "no more than were received";
}

// ----- when a drop is told -----

TEST(UdpDropLog, TheFirstIsToldAtOnceAndTheNextLineASecondLaterWithAllThatCameMeanwhile) {
  TrelUdpDropLog log;
  EXPECT_EQ(log.tell(TREL_UDP_DROP_SHORT, 0), 0U) << "there is none";
  log.add(TREL_UDP_DROP_SHORT, 1);
  EXPECT_EQ(log.tell(TREL_UDP_DROP_SHORT, 5 * SECOND), 1U);
  EXPECT_EQ(log.tell(TREL_UDP_DROP_SHORT, 5 * SECOND), 0U);
  log.add(TREL_UDP_DROP_SHORT, 1);
  EXPECT_EQ(log.tell(TREL_UDP_DROP_SHORT, 5 * SECOND), 0U);
  log.add(TREL_UDP_DROP_SHORT, 7);
  EXPECT_EQ(log.tell(TREL_UDP_DROP_SHORT, 5999999999), 0U);
  EXPECT_EQ(log.tell(TREL_UDP_DROP_SHORT, 6 * SECOND), 8U);
  EXPECT_EQ(log.tell(TREL_UDP_DROP_SHORT, 9 * SECOND), 0U) << "nothing came since";
}

TEST(UdpDropLog, EachReasonHasALineOfItsOwn) {
  TrelUdpDropLog log;
  for (unsigned int reason = 0; reason < TREL_UDP_DROP_REASONS; ++reason) {
    log.add(static_cast<TrelUdpDrop>(reason), 1);
    EXPECT_EQ(log.tell(static_cast<TrelUdpDrop>(reason), 0), 1U) << reason;
  }
}

TEST(UdpDropLog, ATimeThatGoesBackSilencesNothingForLongerThanASecond) {
  TrelUdpDropLog log;
  log.add(TREL_UDP_DROP_ROLE, 1);
  EXPECT_EQ(log.tell(TREL_UDP_DROP_ROLE, ULLONG_MAX), 1U);
  log.add(TREL_UDP_DROP_ROLE, 1);
  EXPECT_EQ(log.tell(TREL_UDP_DROP_ROLE, 3 * SECOND), 0U);
  EXPECT_EQ(log.tell(TREL_UDP_DROP_ROLE, 4 * SECOND), 1U);
}
