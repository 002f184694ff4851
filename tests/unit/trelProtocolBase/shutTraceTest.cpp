// With the gate shut nothing is written, and everything else happens as ever: the engine's own refusals.

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "requestCard.h"

namespace {

constexpr int LEVEL_WITHOUT_ERRORS = 2;
using Lines = std::vector<std::string>;

}  // namespace

TEST(ShutTraceEngine, ARequestThatIsShorterThanItsHeaderIsRefusedWithoutALine) {
  CardOf<> card;
  LogCapture log(LEVEL_WITHOUT_ERRORS);
  TRELResponse response("10.0.0.1");
  response.action = TREL_ACTION_READ_RESPONSE;
  response.msgId = 7;
  EXPECT_EQ(card.engine.handleRequest(7, "4F544E31 01 01 00"_hex.data(), response), 1);
  EXPECT_EQ(card.engine.sent(), Datagrams{"4F544E31 01 03 0007 08 0000"});
  EXPECT_EQ(log.brief(), Lines{});
}

TEST(ShutTraceEngine, AMessageThatIsNoAutonomousOneIsRefusedWithoutALine) {
  CardOf<> card;
  LogCapture log(LEVEL_WITHOUT_ERRORS);
  const std::string response = "4F544E31 01 03 0007 00 0000 | 10800005 01 0004 0000002B"_hex;
  EXPECT_EQ(card.engine.handleAmi(static_cast<int>(response.size()), response.data()), 0);
  EXPECT_EQ(log.brief(), Lines{});
  log.setLevel(LEVEL_WITHOUT_ERRORS + 1);
  EXPECT_EQ(card.engine.handleAmi(static_cast<int>(response.size()), response.data()), 0);
  EXPECT_EQ(log.brief(), Lines{"3 [ERROR] trelProtocolBase (handleAmi) - handleAmi got a message that is not an AMI!"});
}

TEST(ShutTraceEngine, NoPropertyIsNoEvent) {
  CardOf<> card;
  card.engine.addToAmi(nullptr, false);
  card.engine.addToAmi(nullptr, true);
  unsigned long long lastValue = 42;
  EXPECT_FALSE(card.engine.checkForEvent(&lastValue, nullptr, true, false));
  EXPECT_EQ(lastValue, 42U);
  EXPECT_TRUE(card.engine.messages.empty());
}
