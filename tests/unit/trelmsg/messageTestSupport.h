// What the tests of messages share.

#ifndef TESTS_UNIT_TRELMSG_MESSAGETESTSUPPORT_H
#define TESTS_UNIT_TRELMSG_MESSAGETESTSUPPORT_H

#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

#include "support/bytes.h"
#include "support/exactBlock.h"
#include "support/logCapture.h"
#include "support/recordingEngine.h"
#include "trel/trelObjects.h"
#include "trel/trelProperty.h"
#include "trel/trelmsg.h"

// A received request of either kind in a heap block that ends where it ends.
class ReceivedRequest {
 public:
  explicit ReceivedRequest(const std::string& bytes) : block(bytes), message("10.0.0.1") {
    EXPECT_EQ(message.deserialize(block.data(), block.length()), RESULT_OK);
  }
  // The old-style property for the TLV that starts at this offset, as the engine makes it. The caller's.
  OldStyleProperty* makeOldStyle(std::size_t offset) {
    return new OldStyleProperty(reinterpret_cast<trel_tlv*>(block.data() + offset), false);
  }

  ExactBlock block;
  TRELRequest message;
};

// An engine that serves old-style variables as a test tells it.
class OldStyleEngine : public RecordingEngine {
 public:
  struct Call {
    OldStyleProperty* property;
    bool isWrite;
  };

  int checkTlvOld(OldStyleProperty* property, bool isWrite) const override {
    checked.push_back({property, isWrite});
    return checkResult;
  }
  bool handleTrelMsgOld(OldStyleProperty* property, bool isWrite) override {
    handled.push_back({property, isWrite});
    if (onHandle) onHandle(property);
    return handleResult;
  }

  int checkResult = RESULT_OK;                               // what checkTlvOld returns
  bool handleResult = true;                                  // what handleTrelMsgOld returns
  std::function<void(OldStyleProperty* property)> onHandle;  // runs inside handleTrelMsgOld
  mutable std::vector<Call> checked;
  std::vector<Call> handled;
};

#endif
