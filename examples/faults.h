// What goes wrong on purpose: scripts/demo --break NAME. Nothing here is meant to be copied.
#ifndef EXAMPLES_FAULTS_H
#define EXAMPLES_FAULTS_H

#include <string>

#include "trel/trelProperty.h"

struct Faults {
  bool withoutUpdate = false;  // the objects behave as if they did not override `update`
  bool wrongByte = false;      // one byte that goes out is wrong
  bool late = false;           // each answer comes when the manager waits no longer

  bool choose(const std::string& name) {
    if (name == "card-without-update") withoutUpdate = true;
    if (name == "wrong-byte") wrongByte = true;
    if (name == "late-card") late = true;
    return withoutUpdate || wrongByte || late;
  }
};

inline constexpr int LATE_BY_MS = 2500;

// Turns over the lowest bit of the last byte that it writes into an answer.
class SpoiledMacAddress : public MacAddressProperty {
 public:
  using MacAddressProperty::MacAddressProperty;

  int serialize(char* buf, int size) override {
    const int written = MacAddressProperty::serialize(buf, size);
    if (written > 0) buf[written - 1] = static_cast<char>(buf[written - 1] ^ 0x01);
    return written;
  }
};

#endif
