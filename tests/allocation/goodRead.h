// What an engine owes after memory ran out inside a call.

#ifndef TESTS_ALLOCATION_GOODREAD_H
#define TESTS_ALLOCATION_GOODREAD_H

#include "support/recordingEngine.h"

// Hands the datagram to the engine, and when the failing allocator has refused a block meanwhile, a good read afterwards,
// which must be answered. `complain` is told what was wrong, once for each datagram at most.
class WatchedReceive {
 public:
  using Complaint = void (*)(const char* text);
  static Complaint complain;
  // How many good reads have been asked for.
  static std::size_t goodReads;

  static int handle(RecordingEngine& engine, int length, const char* data, const char* senderIp);
};

#endif
