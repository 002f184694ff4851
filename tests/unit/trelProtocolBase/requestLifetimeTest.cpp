// How long old-style properties live, and what happens when a hook throws or the memory is short: nothing is lost, nothing
// grows, and the next datagram is answered.

#include <gtest/gtest.h>

#include <memory>
#include <new>
#include <stdexcept>
#include <string>
#include <vector>

#include "requestCard.h"
#include "support/operatorNew.h"

namespace {

struct HookFailed : std::runtime_error {
  HookFailed() : std::runtime_error("a hook of the application failed") {}
};

const std::string ONE_REFUSED = "4F544E31 01 01 0000 | 02000001 01 0004 00000102"_hex;

// A card whose check keeps what it was shown, and answers `result`.
struct KeepingCard : OldStyleCard {
  KeepingCard() {
    engine.onCheck = [this](OldStyleProperty* property, bool) {
      kept.push_back(property);
      watches.push_back(std::make_unique<DeletionWatch>(property));
      return result;
    };
  }
  std::size_t deletedCount() const {
    std::size_t count = 0;
    for (const auto& watch : watches)
      count += watch->deleted() ? 1 : 0;
    return count;
  }
  int result = RESULT_WRONG_VALUE;
  std::vector<OldStyleProperty*> kept;
  std::vector<std::unique_ptr<DeletionWatch>> watches;
};

unsigned int valueOf(OldStyleProperty& property) {
  unsigned int value = 0;
  property.get(&value);
  return value;
}

}  // namespace

TEST(RequestLifetime, OldStylePropertiesOfAnAnsweredRequestLiveUntilTheAnswerIsSent) {
  for (const std::string& request :
       {"4F544E31 01 01 0000 | 02000001 01 0004 00000102 | 02000002 01 0004 00000103"_hex,
        "4F544E31 01 02 0000 | 02000001 01 0004 00000102 | 02000002 01 0004 00000103"_hex}) {
    SCOPED_TRACE(asDatagram(request));
    KeepingCard card;
    card.result = RESULT_OK;
    std::size_t deletedAtSending = 99;
    card.engine.whileSending = [&](TRELMessage&) { deletedAtSending = card.deletedCount(); };
    ask(card.engine, request);
    EXPECT_EQ(deletedAtSending, 0U);
    EXPECT_EQ(card.watches.size(), 2U);
    EXPECT_EQ(card.deletedCount(), 2U);
  }
}

TEST(RequestLifetime, OldStylePropertiesOfAnAnsweredRequestEndBeforeItIsSaidToBeHandled) {
  for (const std::string& request :
       {"4F544E31 01 01 0000 | 02000001 01 0004 00000102"_hex, "4F544E31 01 02 0000 | 02000001 01 0004 00000102"_hex}) {
    SCOPED_TRACE(asDatagram(request));
    KeepingCard card;
    card.result = RESULT_OK;
    LogCapture log;
    std::size_t deletedWhenHandled = 99;
    log.whileWriting = [&](const LogLine& line) {
      if (line.message == "request handled: success") deletedWhenHandled = card.deletedCount();
    };
    ask(card.engine, request);
    EXPECT_EQ(deletedWhenHandled, 1U);
  }
}

TEST(RequestLifetime, OldStylePropertiesOfARequestThatCannotBeExecutedAreDeletedBeforeItReturns) {
  for (const std::string& request :
       {"4F544E31 01 01 0000 | 02000001 01 0004 00000102 | 02000002 01 0004 00000103"_hex,
        "4F544E31 01 02 0000 | 02000001 01 0004 00000102 | 02000002 01 0004 00000103"_hex}) {
    SCOPED_TRACE(asDatagram(request));
    KeepingCard card;
    card.result = RESULT_OK;
    card.engine.onHandle = [](OldStyleProperty*, bool) { return false; };
    EXPECT_EQ(ask(card.engine, request).substr(3), "0C 0000");
    EXPECT_EQ(card.watches.size(), 2U);
    EXPECT_EQ(card.deletedCount(), 2U);
  }
}

TEST(RequestLifetime, OldStylePropertiesOfARefusedRequestStayAliveAfterTheCall) {
  KeepingCard card;
  EXPECT_EQ(ask(card.engine, ONE_REFUSED), "03 09 0000");
  ASSERT_EQ(card.kept.size(), 1U);
  EXPECT_EQ(card.deletedCount(), 0U);
  EXPECT_EQ(card.kept[0]->getOid(), 0x02000001U);
  EXPECT_EQ(valueOf(*card.kept[0]), 0x102U);
  EXPECT_EQ(card.kept[0]->name, "OldStyleProperty_1");
}

TEST(RequestLifetime, AnsweredRequestsAndOtherMessagesDoNotEndThem) {
  KeepingCard card;
  ask(card.engine, ONE_REFUSED);
  card.result = RESULT_OK;
  EXPECT_EQ(ask(card.engine, "4F544E31 01 01 0000 | 10800005 01 0000"_hex), "03 00 0000 | 10800005 01 0004 0000002A");
  EXPECT_EQ(ask(card.engine, "4F544E31 01 01 0000 | 02000002 03 0001 01"_hex), "03 00 0000 | 02000002 03 0001 01");
  EXPECT_EQ(ask(card.engine, "4F544E31 01 02 0000 | 02000003 03 0001 01"_hex), "04 00 0000");
  card.engine.receive("4F544E31 01 03 0007 00 0000 | 10800005 01 0004 00000001"_hex);
  card.engine.receive("4F544E31 01 05 0007 00000000 00000000"_hex);
  card.engine.receive("4F544E31"_hex);
  card.engine.receive("4F544E31 02 01 0007"_hex);
  EXPECT_FALSE(card.watches.at(0)->deleted());
  EXPECT_EQ(valueOf(*card.kept[0]), 0x102U);
  EXPECT_EQ(card.deletedCount(), 2U);  // the answered ones
}

TEST(RequestLifetime, TheNextRefusedRequestEndsThem) {
  KeepingCard card;
  ask(card.engine, "4F544E31 01 01 0000 | 10800005 01 0000 | 02000001 01 0004 00000102"_hex);
  ask(card.engine, "4F544E31 01 01 0000 | 02000002 01 0004 00000103"_hex);
  ASSERT_EQ(card.watches.size(), 2U);
  EXPECT_TRUE(card.watches[0]->deleted());
  EXPECT_FALSE(card.watches[1]->deleted());
  EXPECT_EQ(valueOf(*card.kept[1]), 0x103U);
}

TEST(RequestLifetime, ARequestThatIsRefusedForAnyOtherCauseEndsThemToo) {
  for (const std::string& request : {"4F544E31 01 02 0000 | 10800008 01 0004 00000001"_hex,
                                     "4F544E31 01 01 0000 | 10"_hex, "4F544E31 01 02 0000 | 10800005 01 0004 00"_hex}) {
    SCOPED_TRACE(asDatagram(request));
    KeepingCard card;
    ask(card.engine, ONE_REFUSED);
    EXPECT_EQ(card.deletedCount(), 0U);
    ask(card.engine, request);
    EXPECT_EQ(card.deletedCount(), 1U);
  }
}

TEST(RequestLifetime, TheEndOfTheEngineEndsThem) {
  auto card = std::make_unique<OldStyleCard>();
  OldStyleProperty* kept = nullptr;
  card->engine.onCheck = [&](OldStyleProperty* property, bool) {
    kept = property;
    return RESULT_WRONG_VALUE;
  };
  ask(card->engine, ONE_REFUSED);
  const DeletionWatch watch(kept);
  card.reset();
  EXPECT_TRUE(watch.deleted());
}

TEST(RequestLifetime, AnotherEnginesRefusalDoesNotEndThem) {
  KeepingCard card;
  KeepingCard other;
  ask(card.engine, ONE_REFUSED);
  ask(other.engine, ONE_REFUSED);
  EXPECT_EQ(card.deletedCount(), 0U);
  EXPECT_EQ(other.deletedCount(), 0U);
}

TEST(RequestLifetime, ThoseOfACutRequestStayAliveAsThoseOfEveryRefusedOne) {
  for (const std::string& request : {"4F544E31 01 01 0000 | 02000001 01 0004 00000102 | 10"_hex,
                                     "4F544E31 01 01 0000 | 02000001 01 0004 00000102 | 02000002 01 0004 00"_hex,
                                     "4F544E31 01 02 0000 | 02000001 01 0004 00000102 | 10800005 01 0004 00"_hex}) {
    SCOPED_TRACE(asDatagram(request));
    KeepingCard card;
    card.result = RESULT_OK;
    EXPECT_EQ(ask(card.engine, request).substr(3), "08 0001");
    ASSERT_EQ(card.kept.size(), 1U);
    EXPECT_EQ(card.deletedCount(), 0U);
    EXPECT_EQ(valueOf(*card.kept[0]), 0x102U);
    card.result = RESULT_WRONG_VALUE;
    ask(card.engine, ONE_REFUSED);
    EXPECT_TRUE(card.watches[0]->deleted());
  }
}

TEST(RequestLifetime, APeerCannotMakeMemoryGrow) {
  const std::string requests[] = {
      "4F544E31 01 01 0007 | 02000001 01 0004 00000102 | 02000002 09 0003 616263"_hex,
      "4F544E31 01 02 0007 | 02000001 01 0004 00000102 | 10800005 01 0004 00000063 | 10"_hex,
      "4F544E31 01 02 0007 | 10800008 01 0004 00000001"_hex,
      "4F544E31 01 01 0007 | 10800005 01 0000 | 02000001 01 0000 | 02000002 01 0009"_hex,
      "4F544E31 02 01 0007 | 02000001 01 0000"_hex,
      "4F544E31 01 03 0007 00 0000 | 02000001 01 0000"_hex,
      "4F544E31 01 05 0007 00000000 00000000 | 02000001 01 0000"_hex};
  Card card;
  std::size_t afterTheFirstRounds = 0;
  for (int round = 0; round < 200; ++round) {
    for (const std::string& request : requests)
      card.engine.receive(request);
    card.engine.forget();
    if (round == 5) afterTheFirstRounds = liveBlocks();
  }
  EXPECT_EQ(liveBlocks(), afterTheFirstRounds);
}

// ----- exceptions -----

TEST(RequestException, OfEachHookPassesThroughAndTheNextDatagramIsAnswered) {
  enum Hook { UPDATE, CHECK, HANDLE, UPDATED, SEND };
  struct Case {
    const char* rule;
    Hook hook;
    std::string request;
  };
  const std::string read =
      "4F544E31 01 01 0000 | 10800006 03 0000 | 02000001 01 0004 00000102 | 10800005 01 0000 | 02000002 "
      "03 0001 00"_hex;
  const std::string write =
      "4F544E31 01 02 0000 | 10800006 03 0001 08 | 02000001 01 0004 00000102 | 10800005 01 0004 00000063 "
      "| 02000002 03 0001 00"_hex;
  const Case cases[] = {{"update in a read", UPDATE, read},     {"update in a write", UPDATE, write},
                        {"check in a read", CHECK, read},       {"check in a write", CHECK, write},
                        {"handle in a read", HANDLE, read},     {"handle in a write", HANDLE, write},
                        {"updated in a write", UPDATED, write}, {"send in a read", SEND, read},
                        {"send in a write", SEND, write}};
  for (const Case& c : cases) {
    SCOPED_TRACE(c.rule);
    // The hook fails at its first call, or at its second, when the request is under way.
    for (int failsAt = 1; failsAt <= (c.hook == SEND ? 1 : 2); ++failsAt) {
      SCOPED_TRACE(failsAt);
      std::vector<std::unique_ptr<DeletionWatch>> watches;
      {
        OldStyleCard card;
        int calls = 0;
        bool armed = true;
        const auto failAtLast = [&](Hook hook) {
          if (armed && hook == c.hook && ++calls == failsAt) throw HookFailed();
        };
        card.scalar.onUpdate = [&](TrelProperty*, unsigned int) {
          failAtLast(UPDATE);
          return true;
        };
        card.scalar.onUpdated = [&](TrelProperty*, unsigned int) {
          failAtLast(UPDATED);
          return true;
        };
        card.engine.onCheck = [&](OldStyleProperty* property, bool) {
          watches.push_back(std::make_unique<DeletionWatch>(property));
          failAtLast(CHECK);
          return RESULT_OK;
        };
        card.engine.onHandle = [&](OldStyleProperty*, bool) {
          failAtLast(HANDLE);
          return true;
        };
        card.engine.whileSending = [&](TRELMessage&) { failAtLast(SEND); };
        EXPECT_THROW(ask(card.engine, c.request), HookFailed);
        armed = false;
        EXPECT_EQ(ask(card.engine, "4F544E31 01 01 0000 | 10800006 03 0000 | 02000003 03 0001 2A"_hex).substr(0, 10),
                  "03 00 0000");
        EXPECT_EQ(ask(card.engine, "4F544E31 01 01 0000 | 10800008 01 0000 | 02000003 03 0001 2A"_hex),
                  "03 00 0000 | 10800008 01 0004 00001267 | 02000003 03 0001 2A");
        EXPECT_EQ(ask(card.engine, "4F544E31 01 02 0000 | 10800005 01 0004 00000001 | 02000003 03 0001 2A"_hex),
                  "04 00 0000");
        EXPECT_EQ(ask(card.engine, "4F544E31 01 02 0000 | 10800008 01 0004 00000001 | 02000003 03 0001 2A"_hex),
                  "04 0A 0000");
      }
      for (const auto& watch : watches)
        EXPECT_TRUE(watch->deleted());  // none is lost
    }
  }
}

TEST(RequestException, WhileARefusalIsSentLosesNothing) {
  KeepingCard card;
  card.engine.whileSending = [](TRELMessage&) { throw HookFailed(); };
  EXPECT_THROW(ask(card.engine, ONE_REFUSED), HookFailed);
  card.engine.whileSending = nullptr;
  ASSERT_EQ(card.watches.size(), 1U);
  EXPECT_EQ(ask(card.engine, ONE_REFUSED), "03 09 0000");
  EXPECT_TRUE(card.watches[0]->deleted());
  EXPECT_FALSE(card.watches[1]->deleted());
  EXPECT_EQ(ask(card.engine, "4F544E31 01 01 0000 | 10800006 03 0000"_hex), "03 00 0000 | 10800006 03 0001 07");
}

TEST(RequestException, RepeatedExceptionsDoNotMakeMemoryGrow) {
  OldStyleCard card;
  card.engine.onHandle = [](OldStyleProperty*, bool) -> bool { throw HookFailed(); };
  const std::string request = "4F544E31 01 01 0007 | 02000001 01 0004 00000102 | 10800005 01 0000"_hex;
  std::size_t afterTheFirst = 0;
  for (int round = 0; round < 200; ++round) {
    EXPECT_THROW(card.engine.receive(request), HookFailed);
    if (round == 5) afterTheFirst = liveBlocks();
  }
  EXPECT_EQ(liveBlocks(), afterTheFirst);
}

TEST(RequestException, OfTheAllocatorPassesThroughAndTheNextDatagramIsAnswered) {
  struct Case {
    const char* rule;
    std::string request;
    const char* answer;
  };
  const Case cases[] = {
      {"read", "4F544E31 01 01 0000 | 10800006 03 0000 | 02000001 01 0004 00000102 | 02000002 03 0001 00"_hex,
       "03 00 0000 | 10800006 03 0001 07 | 02000001 01 0004 00000102 | 02000002 03 0001 00"},
      {"write", "4F544E31 01 02 0000 | 10800006 03 0001 07 | 02000001 01 0004 00000102 | 02000002 03 0001 00"_hex,
       "04 00 0000"},
      {"refused", "4F544E31 01 02 0000 | 02000001 01 0004 00000102 | 10800008 01 0004 00000001"_hex, "04 0A 0001"},
      {"cut", "4F544E31 01 02 0000 | 02000001 01 0004 00000102 | 1080"_hex, "04 08 0001"}};
  for (const Case& c : cases) {
    SCOPED_TRACE(c.rule);
    int failures = 0;
    for (std::size_t after = 0;; ++after) {
      ASSERT_LT(after, 500U);
      SCOPED_TRACE(after);
      OldStyleCard card;  // a cold engine each time: it has nothing kept to work with
      std::string answer;
      bool happened = false;
      {
        const NewFailure failure(after);
        try {
          answer = ask(card.engine, c.request);
        } catch (const std::bad_alloc&) {
        }
        happened = failure.happened();
      }
      ask(card.engine, "4F544E31 01 01 0000"_hex);  // its mark tells of the request that was lost
      EXPECT_EQ(ask(card.engine, c.request), c.answer);
      if (!happened) {
        EXPECT_EQ(answer, c.answer);
        break;
      }
      ++failures;
    }
    EXPECT_GT(failures, 5);
  }
}

TEST(RequestException, OfTheAllocatorLosesNothing) {
  const std::string request =
      "4F544E31 01 01 0007 | 10800006 03 0000 | 02000001 01 0004 00000102 | 02000002 03 0001 00"_hex;
  const auto receiveWithAFailure = [&](std::size_t after) {
    OldStyleCard card;
    const NewFailure failure(after);
    try {
      card.engine.receive(request);
    } catch (const std::bad_alloc&) {
    }
    return failure.happened();
  };
  ASSERT_FALSE(receiveWithAFailure(10000));  // from now on the process has what it keeps
  const std::size_t live = liveBlocks();
  std::size_t after = 0;
  while (receiveWithAFailure(after)) {
    ASSERT_EQ(liveBlocks(), live) << after;
    ++after;
  }
  EXPECT_GT(after, 5U);
}
