// Memory that runs out in the middle of a conversation.

#include <gtest/gtest.h>

#include <cstddef>
#include <new>
#include <string>
#include <vector>

#include "scenario/linkedEngines.h"
#include "support/logCapture.h"
#include "support/operatorNew.h"
#include "support/recordingEngine.h"

namespace {

// Everything that two ends do with each other: write, read, a refused request with an unknown OID, an event.
void converse(Line& line, TrelProperty& unknown) {
  line.manager.writeProperty(*line.mirror.counter);
  line.manager.readObject(line.mirror.chassis);
  line.manager.readProperty(unknown);
  line.onCard.temperature[0]->set(static_cast<short>(line.onCard.temperature[0]->value + 1));
  line.card.eventHandler();
}

}  // namespace

TEST(Allocation, AFailureAnywhereInAConversationLeavesBothEndsAbleToGoOn) {
  Line line;
  TypeProperty<unsigned int> unknown(0x10800063, "unknown", IFC_CARD_VAR_READ_WRITE, 0U);
  line.mirror.counter->set(7U);
  LogCapture log(3);
  std::size_t after = 0;
  for (bool happened = true; happened && after < 5000; ++after) {
    {
      const NewFailure failure(after);
      try {
        converse(line, unknown);
      } catch (const std::bad_alloc&) {
      }
      happened = failure.happened();
    }
    SCOPED_TRACE(after);
    line.onCard.label->set("label " + std::to_string(after));
    ASSERT_EQ(line.manager.readProperty(*line.mirror.label), 1);
    ASSERT_EQ(line.mirror.labelText(), "label " + std::to_string(after));
    ASSERT_EQ(line.manager.writeProperty(*line.mirror.counter), 1);
    log.clear();
  }
  EXPECT_GT(after, 20U);
  EXPECT_LT(after, 5000U);
}

TEST(Allocation, APendingMessageThatCouldNotBeMadeIsReportedByEveryLaterCall) {
  RecordingEngine engine;
  TypeProperty<unsigned int> property(5, "p", IFC_CARD_VAR_READ_WRITE, 0U);
  bool failed = false;
  {
    const NewFailure failure(0);
    try {
      engine.addToAmi(&property, false);
    } catch (const std::bad_alloc&) {
      failed = true;
    }
  }
  ASSERT_TRUE(failed);
  LogCapture log(3);
  engine.addToAmi(&property, false);
  engine.addToAmi(nullptr, true);
  EXPECT_EQ(log.brief(), (std::vector<std::string>{"3 [ERROR] trelProtocolBase (addToAmi) - invalid ptr",
                                                   "3 [ERROR] trelProtocolBase (addToAmi) - invalid ptr"}));
  log.clear();
  log.setLevel(2);
  engine.addToAmi(&property, false);
  EXPECT_EQ(log.brief(), std::vector<std::string>{});
  EXPECT_TRUE(engine.messages.empty());
}
