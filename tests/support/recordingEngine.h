// An engine whose transport is a list: what it sends is kept as bytes, what it receives is given as bytes.

#ifndef TESTS_SUPPORT_RECORDINGENGINE_H
#define TESTS_SUPPORT_RECORDINGENGINE_H

#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "trel/trelProtocolBase.h"

// One call of sendMsg.
struct SentMessage {
  unsigned int kind = 0;  // TrelMsgKind of the message
  std::string sender;     // message.sender, the address that a response goes to
  bool whole = false;     // serialize succeeded; otherwise bytes is empty and datagram "(not serialized)"
  std::string bytes;      // the datagram as it would go out
  std::string
      datagram;  // the same as asDatagram shows it; the eight bytes of an autonomous message's time are shown as 0
};

// An engine that records what sendMsg is given. It overrides sendMsg and no other hook, so that hooks which a test does
// not override itself are "not overridden" for the engine.
//
//     RecordingEngine engine;
//     engine.registerObject(&scalar);
//     EXPECT_EQ(engine.receive("4F544E31 01 01 0007 | 10800005 01 0000"_hex), 1);
//     EXPECT_EQ(engine.sent(), Datagrams{"4F544E31 01 03 0007 00 0000 | 10800005 01 0004 0000002A"});
//
// As a client it answers by itself what `reply` says:
//
//     engine.reply = [](std::string_view request) { return "4F544E31 01 03 0001 00 0000"_hex; };
//     EXPECT_EQ(engine.readProperty(property), 1);
class RecordingEngine : public TrelProtocolBase {
 public:
  RecordingEngine() = default;
  explicit RecordingEngine(bool answersHeaderErrors) : TrelProtocolBase(answersHeaderErrors) {}

  // Serializes the message into a block of exactly its size, keeps it, fills replyBuffer if it is a request, calls
  // `whileSending` and returns `result`, in this order.
  int sendMsg(TRELMessage& message) override;

  // Hands the bytes to handleTrelMsg in a heap block that ends where they end, and is gone after the call. The sender may
  // be null.
  int receive(std::string_view bytes, const char* senderIp = "10.0.0.1");

  // The datagrams so far, oldest first, as asDatagram shows them.
  std::vector<std::string> sent() const;
  // Forgets the messages so far.
  void forget() { messages.clear(); }

  // Set by whoever wants to look at every datagram that is received: it hands the datagram to handleTrelMsg itself.
  static int (*watch)(RecordingEngine& engine, int length, const char* data, const char* senderIp);

  // What sendMsg returns. It does not keep sendMsg from filling replyBuffer.
  int result = 1;
  // Asked for each request with the request's bytes; what it returns becomes replyBuffer. When it is not set, replyBuffer
  // stays as it is.
  std::function<std::string(std::string_view request)> reply;
  // Called at the end of each sendMsg, for what a transport might do meanwhile: call the engine again, throw.
  std::function<void(TRELMessage& message)> whileSending;
  // Every sendMsg so far, oldest first.
  std::vector<SentMessage> messages;

  // Members that the engine keeps for derived classes, for the eyes of tests.
  using TrelProtocolBase::amiOwnedProperties;
  using TrelProtocolBase::eventTables;
  using TrelProtocolBase::messageIdCounter;
  using TrelProtocolBase::objects;
  using TrelProtocolBase::replyBuffer;
  using TrelProtocolBase::replyOnHeaderError;
};

// What sent() is compared with.
using Datagrams = std::vector<std::string>;

#endif
