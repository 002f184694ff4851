// Every datagram of a conversation, cut at every length, out of a heap block that ends at the cut.

#include <gtest/gtest.h>

#include <cstddef>
#include <functional>
#include <string>

#include "scenario/linkedEngines.h"
#include "support/logCapture.h"

namespace {

// Cuts what passes to `size` bytes.
std::function<std::string(std::string)> cutTo(std::size_t size) {
  return [size](const std::string& bytes) { return bytes.substr(0, size); };
}

}  // namespace

TEST(Truncation, AReadResponseIsAppliedUpToItsLastWholeTlv) {
  // 11 bytes of header; counter to 22, version to 31, label "cut me" to 44, limit to 52.
  for (std::size_t size = 0; size <= 52; ++size) {
    SCOPED_TRACE(size);
    // Each line's first request has the number of the one before: the card answers it as a duplicate, with the values.
    Line line;
    line.onCard.label->set(std::string("cut me"));
    line.card.onTheLine = cutTo(size);
    LogCapture log(3);
    const bool endsWithATlv = size == 11 || size == 22 || size == 31 || size == 44 || size == 52;
    EXPECT_EQ(line.manager.readObject(line.mirror.chassis), endsWithATlv ? 1 : 0);
    EXPECT_EQ(line.mirror.counter->value, size >= 22 ? 42U : 0U);
    EXPECT_EQ(line.mirror.labelText(), size >= 44 ? "cut me" : "none");
    const std::size_t applied = size >= 52 ? 4 : size >= 44 ? 3 : size >= 31 ? 2 : size >= 22 ? 1 : 0;
    EXPECT_EQ(line.mirror.chassis.calls.size(), applied);
    // No bytes at all is no reply: the transport itself reports that.
    EXPECT_EQ(log.brief().size(), endsWithATlv || size == 0 ? 0U : 1U);
  }
}

TEST(Truncation, AWriteResponseNeedsItsElevenBytes) {
  for (std::size_t size = 0; size <= 11; ++size) {
    SCOPED_TRACE(size);
    Line line;
    line.card.onTheLine = cutTo(size);
    EXPECT_EQ(line.manager.writeProperty(*line.mirror.counter), size == 11 ? 1 : 0);
    EXPECT_EQ(line.onCard.counter->value, 0U);
  }
}

TEST(Truncation, AnErrorResponseNeedsItsElevenBytes) {
  for (std::size_t size = 1; size <= 11; ++size) {
    SCOPED_TRACE(size);
    Line line;
    line.card.onTheLine = cutTo(size);
    LogCapture log(3);
    EXPECT_EQ(line.manager.writeProperty(*line.mirror.version), 0);
    EXPECT_EQ(log.count("the response has an error 10 : RESULT READ ONLY"), size == 11 ? 1U : 0U);
  }
}

TEST(Truncation, AnAutonomousMessageIsAppliedUpToItsLastWholeTlv) {
  // 16 bytes of header; counter to 27, two temperatures to 36 and 45.
  Line first;
  first.card.eventHandler();
  for (std::size_t size = 0; size <= 45; ++size) {
    SCOPED_TRACE(size);
    Line line;
    line.onCard.counter->set(43U);
    line.onCard.temperature[0]->set(static_cast<short>(20));
    line.onCard.temperature[3]->set(static_cast<short>(-20));
    line.card.onTheLine = cutTo(size);
    LogCapture log(3);
    EXPECT_EQ(line.card.eventHandler(), 3);
    const bool endsWithATlv = size == 16 || size == 27 || size == 36 || size == 45;
    EXPECT_EQ(line.manager.lastResult, endsWithATlv ? 1 : 0);
    EXPECT_EQ(line.mirror.counter->value, size >= 27 ? 43U : 0U);
    EXPECT_EQ(line.mirror.temperature[0]->value, size >= 36 ? 20 : 0);
    EXPECT_EQ(line.mirror.temperature[3]->value, size >= 45 ? -20 : 0);
    const std::size_t applied = size >= 45 ? 3 : size >= 36 ? 2 : size >= 27 ? 1 : 0;
    EXPECT_EQ(line.manager.reported.size(), applied);
    EXPECT_EQ(log.brief().size(), endsWithATlv ? 0U : 1U);
  }
}

TEST(Truncation, ACutWriteRequestChangesNothingOnTheCard) {
  // 8 bytes of header; counter to 19, limit to 27.
  for (std::size_t size = 0; size <= 27; ++size) {
    SCOPED_TRACE(size);
    Line line;
    line.mirror.counter->set(7U);
    line.mirror.limit->set(static_cast<unsigned char>(50));
    line.manager.onTheLine = cutTo(size);
    const int result = line.manager.writePropertys({line.mirror.counter, line.mirror.limit});
    const bool endsWithATlv = size == 8 || size == 19 || size == 27;
    EXPECT_EQ(result, endsWithATlv ? 1 : 0);
    EXPECT_EQ(line.onCard.counter->value, size == 19 || size == 27 ? 7U : 42U);
    EXPECT_EQ(line.onCard.limit->value, size == 27 ? 50 : 10);
  }
}

TEST(Truncation, ACutReadRequestIsAnsweredWhenItsOidsAreThere) {
  // 8 bytes of header; the counter's head to 15 and value to 19, the version's head to 26 and value to 28.
  for (std::size_t size = 0; size <= 28; ++size) {
    SCOPED_TRACE(size);
    Line line;
    line.manager.onTheLine = cutTo(size);
    const int result = line.manager.readPropertys({line.mirror.counter, line.mirror.version});
    const bool answered = size == 8 || (size >= 15 && size <= 19) || size >= 26;
    EXPECT_EQ(result, answered ? 1 : 0);
    EXPECT_EQ(line.mirror.counter->value, answered && size >= 15 ? 42U : 0U);
  }
}
