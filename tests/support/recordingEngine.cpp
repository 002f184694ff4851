#include "support/recordingEngine.h"

#include <cstddef>
#include <utility>

#include "support/bytes.h"
#include "support/corpusDump.h"
#include "support/exactBlock.h"

namespace {

constexpr std::size_t TIME_START = 8;  // of an autonomous message: behind magic, version, action, message id
constexpr std::size_t TIME_SIZE = 4 + 4;

std::string withoutTime(std::string bytes, unsigned int kind) {
  if (kind == TREL_KIND_AMI && bytes.size() >= TIME_START + TIME_SIZE)
    bytes.replace(TIME_START, TIME_SIZE, TIME_SIZE, '\0');
  return bytes;
}

SentMessage recordOf(const TRELMessage& message) {
  SentMessage record;
  record.kind = message.msgKind;
  record.sender = message.sender;
  record.datagram = "(not serialized)";
  ExactBlock block(static_cast<std::size_t>(message.headerLen + message.sizeOfTlvs()));
  record.whole = message.serialize(block.data(), block.length());
  if (!record.whole) return record;
  record.bytes = std::string(block.view());
  record.datagram = asDatagram(withoutTime(record.bytes, record.kind));
  return record;
}

}  // namespace

int (*RecordingEngine::watch)(RecordingEngine& engine, int length, const char* data, const char* senderIp) = nullptr;

int RecordingEngine::sendMsg(TRELMessage& message) {
  messages.push_back(recordOf(message));
  if (message.msgKind == TREL_KIND_REQUEST && reply) {
    const std::string request = messages.back().bytes;  // `reply` may send, which moves the records
    replyBuffer = reply(request);
    dumpReply(request, replyBuffer);
  }
  if (whileSending) whileSending(message);
  return result;
}

int RecordingEngine::receive(std::string_view bytes, const char* senderIp) {
  dumpReceived(bytes);
  const ExactBlock block(bytes);
  if (watch != nullptr) return watch(*this, block.length(), block.data(), senderIp);
  return handleTrelMsg(block.length(), block.data(), senderIp);
}

std::vector<std::string> RecordingEngine::sent() const {
  std::vector<std::string> datagrams;
  for (const SentMessage& message : messages)
    datagrams.push_back(message.datagram);
  return datagrams;
}
