#include "allocation/goodRead.h"

#include <algorithm>
#include <cstddef>
#include <new>
#include <string>
#include <utility>
#include <vector>

#include "allocation/failingAllocator.h"
#include "support/bytes.h"
#include "trel/trelObjectId.h"

namespace {

constexpr const char* THROWN = "a good read throws std::bad_alloc";

// The first property that a peer can read, with what it is addressed by.
TrelProperty* readable(const RecordingEngine& engine, unsigned int& oid) {
  for (TrelObject* object : engine.objects) {
    for (TrelProperty* property : object->getProperties()) {
      oid = property->getOid();
      const bool fits = TREL_RESPONSE_HEADER_LEN + TREL_TLV_HEAD_LEN + property->length() <= TREL_MAX_READ_RESPONSE_LEN;
      if (!fits || TrelObjectId(oid).result != RESULT_OK) continue;
      // Another object may stand before it.
      const auto finds = [&](TrelObject* other) { return other->getPropFromOID(oid) != nullptr; };
      const auto found = std::find_if(engine.objects.begin(), engine.objects.end(), finds);
      if (found != engine.objects.end() && (*found)->getPropFromOID(oid) == property) return property;
    }
  }
  return nullptr;
}

std::string bigEndian(unsigned int value, int bytes) {
  std::string text;
  for (int shift = 8 * (bytes - 1); shift >= 0; shift -= 8)
    text += static_cast<char>(value >> static_cast<unsigned int>(shift));
  return text;
}

// Empty, or what is wrong with the answers. A test's hook may have sent what it likes besides.
std::string faultOf(const std::vector<SentMessage>& messages, unsigned short id, unsigned int oid) {
  const std::string head = "4F544E31 01 03"_hex + bigEndian(id, 2);
  constexpr std::size_t RESULT_AT = 8;
  constexpr std::size_t OID_AT = 11;
  std::string fault;
  std::size_t answers = 0;
  for (const SentMessage& message : messages) {
    if (message.kind != TREL_KIND_RESPONSE || message.bytes.compare(0, RESULT_AT, head) != 0) continue;
    ++answers;
    const bool good = message.bytes.size() > OID_AT &&
                      ("00 02 03 10 11"_hex).find(message.bytes[RESULT_AT]) != std::string::npos &&
                      message.bytes.compare(RESULT_AT + 1, 2, "0000"_hex) == 0 &&
                      message.bytes.compare(OID_AT, 4, bigEndian(oid, 4)) == 0;
    if (!good) fault = "a good read is answered with " + message.datagram;
  }
  if (answers != 1) fault = "a good read has " + std::to_string(answers) + " answers";
  return fault;
}

// Empty, or what is wrong. The engine is as it is, but for what the test's transport does besides recording.
std::string readFrom(RecordingEngine& engine, const char* senderIp) {
  unsigned int oid = 0;
  if (readable(engine, oid) == nullptr) return std::string();
  static unsigned short id = 0xB000;  // far from what tests use
  ++id;
  const std::string read = "4F544E31 01 01"_hex + bigEndian(id, 2) + bigEndian(oid, 4) + "01 0000"_hex;
  std::vector<SentMessage> messages;
  messages.swap(engine.messages);
  auto whileSending = std::exchange(engine.whileSending, nullptr);
  std::string fault;
  try {
    engine.handleTrelMsg(static_cast<int>(read.size()), read.data(), senderIp);
    fault = faultOf(engine.messages, id, oid);
    ++WatchedReceive::goodReads;
  } catch (const std::bad_alloc&) {
    fault = THROWN;
  } catch (...) {  // a hook of the test
  }
  engine.whileSending = std::move(whileSending);
  engine.messages.swap(messages);
  return fault;
}

void check(RecordingEngine& engine, int length, const char* senderIp, std::size_t oldStyleBefore) {
  FailingAllocator& allocator = FailingAllocator::instance();
  allocator.pause();
  std::string fault = readFrom(engine, senderIp);
  if (fault == THROWN) fault = readFrom(engine, senderIp);  // the test may have a failure of its own, which comes once
  // Those of the last refused request may stay: the former one's, or as many as this one had TLVs.
  const auto most = std::max(oldStyleBefore, static_cast<std::size_t>(std::max(length, 0)) / TREL_TLV_HEAD_LEN);
  const std::size_t oldStyle = allocator.alive(sizeof(OldStyleProperty));
  if (fault.empty() && oldStyle > most) fault = std::to_string(oldStyle) + " old-style properties are alive";
  if (!fault.empty()) WatchedReceive::complain(fault.c_str());
  allocator.resume();
}

}  // namespace

WatchedReceive::Complaint WatchedReceive::complain = nullptr;
std::size_t WatchedReceive::goodReads = 0;

int WatchedReceive::handle(RecordingEngine& engine, int length, const char* data, const char* senderIp) {
  const FailingAllocator& allocator = FailingAllocator::instance();
  const std::size_t refusedBefore = allocator.refused();
  const std::size_t oldStyleBefore = allocator.alive(sizeof(OldStyleProperty));
  int result = 0;
  try {
    result = engine.handleTrelMsg(length, data, senderIp);
  } catch (...) {
    if (allocator.refused() != refusedBefore) check(engine, length, senderIp, oldStyleBefore);
    throw;
  }
  if (allocator.refused() != refusedBefore) check(engine, length, senderIp, oldStyleBefore);
  return result;
}
