// A property that does what a test tells it, wrong things too, and keeps what it was asked.

#ifndef TESTS_SUPPORT_FAKEPROPERTY_H
#define TESTS_SUPPORT_FAKEPROPERTY_H

#include <cstring>
#include <string>
#include <utility>
#include <vector>

#include "trel/trelProperty.h"

// Made from the bytes of one TLV, it behaves well until told otherwise: it writes them, announces their length, and steps
// over as many when it is read.
class FakeProperty : public TrelProperty {
 public:
  explicit FakeProperty(std::string bytes, unsigned int propertyId = 5, const char* propertyName = "fake")
      : TrelProperty(propertyId, propertyName, IFC_CARD_VAR_READ_WRITE, false),
        announcedLength(static_cast<int>(bytes.size()) - TREL_TLV_HEAD_LEN),
        serializeResult(static_cast<int>(bytes.size())),
        deserializeResult(static_cast<int>(bytes.size())),
        tlv(std::move(bytes)) {}

  // What it does.
  int announcedLength;    // what length() returns
  int serializeResult;    // what serialize returns after it has written; -1 writes nothing
  int deserializeResult;  // what deserialize returns
  std::string tlv;        // what serialize writes; its fifth byte is the type

  // What it was asked, oldest first.
  struct Place {
    const char* start;
    int size;
  };
  std::vector<Place> serializedTo;
  std::vector<const char*> deserializedFrom;
  unsigned int* deletions = nullptr;  // counted up by the destructor

  ~FakeProperty() override {
    if (deletions != nullptr) ++*deletions;
  }

  bool isDefault() override { return false; }
  int serialize(char* buf, int size) override {
    serializedTo.push_back({buf, size});
    if (serializeResult != -1) std::memcpy(buf, tlv.data(), tlv.size());
    return serializeResult;
  }
  int deserialize(const char* from) override {
    deserializedFrom.push_back(from);
    return deserializeResult;
  }
  int length() override { return announcedLength; }
  int getType() override { return static_cast<unsigned char>(tlv[4]); }
  std::string str() const override { return name; }
};

#endif
