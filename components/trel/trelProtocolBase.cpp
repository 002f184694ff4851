#include "trel/trelProtocolBase.h"

#include <arpa/inet.h>

#include <algorithm>
#include <cctype>
#include <cstring>
#include <ctime>
#include <iomanip>
#include <iostream>
#include <locale>
#include <sstream>
#include <utility>

#include "trel/trelHookOverride.h"
#include "trel/trelMessageWalk.h"
#include "trel/trelObjectIndex.h"
#include "trel/trelPropertyLifetime.h"
#include "trel/trelPropertyList.h"
#include "trel/trelResultText.h"
#include "trel/trelTraceGate.h"
#include "trel/trelWire.h"

using namespace trelWire;

namespace {

// Answers of the sequence check that have no constant among the result codes.
constexpr int RESULT_NO_CONTEXT = 16;
constexpr int RESULT_BAD_ADDRESS = 17;

// Takes the reply out while it is processed: a hook that sends a request of its own gets another reply into the
// engine's buffer. Puts it back afterwards, unless that has happened.
class TakenReply {
 public:
  explicit TakenReply(std::string& buffer) : buffer_(buffer) { reply_.swap(buffer_); }
  TakenReply(const TakenReply&) = delete;
  TakenReply& operator=(const TakenReply&) = delete;
  ~TakenReply() {
    if (buffer_.empty()) buffer_.swap(reply_);
  }
  const std::string& bytes() const { return reply_; }

 private:
  std::string& buffer_;
  std::string reply_;
};

void mark(TRELResponse& response, int result) { response.result = static_cast<TrelResult>(result); }

// The answer to a message, before anything is known but its header. It may have answered another one.
[[gnu::always_inline]] inline void prepare(TRELResponse& response, const TRELMessage& message, const char* senderIp) {
  if (senderIp == nullptr) senderIp = "";
  const std::size_t senderLength = std::strlen(senderIp);
  if (response.sender.size() == senderLength) {
    std::memcpy(&response.sender[0], senderIp, senderLength);
  } else {
    response.sender.assign(senderIp, senderLength);
  }
  response.msgKind = TREL_KIND_RESPONSE;
  response.headerLen = TREL_RESPONSE_HEADER_LEN;
  response.buffer = nullptr;
  response.bufferLen = 0;
  response.properties.clear();
  response.magicNbr = TREL_MAGIC_NBR;
  response.protVersion = TREL_PROT_VERSION;
  response.action = message.action == TREL_ACTION_READ ? TREL_ACTION_READ_RESPONSE : TREL_ACTION_WRITE_RESPONSE;
  response.msgId = message.msgId;
  response.errorTlvIndex = 0;
}

// An answer that carries no values: a failure, its position, and nothing else.
void answerFailure(TRELResponse& response, int result, int position) {
  mark(response, result);
  response.errorTlvIndex = static_cast<unsigned short>(position);
  response.properties.clear();
}

}  // namespace

// ----- EventValueTable -----------------------------------------------------------------------------------------------

EventValueTable::EventValueTable(bool isCommon, int numberOfValues, unsigned int number)
    : common(isCommon),
      size(numberOfValues),
      tableNbr(number),
      values(new unsigned long long[static_cast<std::size_t>(std::max(numberOfValues, 0))]()) {}

EventValueTable::~EventValueTable() { delete[] values; }

bool EventValueTable::has(int index) const { return index >= 0 && index < size; }

unsigned long long EventValueTable::getValue(int index) const { return has(index) ? values[index] : 0; }

bool EventValueTable::setValue(int index, unsigned long long value) {
  if (!has(index)) return false;
  values[index] = value;
  return true;
}

unsigned long long* EventValueTable::getValuePtr(int index) { return has(index) ? values + index : nullptr; }

int EventValueTable::getSize() const { return size; }

bool EventValueTable::getCommon() const { return common; }

int EventValueTable::getTableNbr() const { return static_cast<int>(tableNbr); }

// ----- what an engine keeps between calls ----------------------------------------------------------------------------

// A request, its answer, and what lives for the time between them.
struct TrelProtocolBase::Exchange {
  TRELRequest request{std::string()};
  TRELResponse response{std::string()};
  OldStyleList oldStyle;
};

struct TrelProtocolBase::Working {
  // Used again for every datagram, so that a warm engine allocates nothing. Lent for the duration of a call: a nested one
  // makes its own.
  Exchange exchange;
  bool lent = false;
  std::vector<TrelProperty*> changed;
  TrelObjectIndex index;
  // Of the last refused request: alive until the next one is refused.
  OldStyleList refusedOldStyle;
};

// The engine's exchange is lent for the time of a call.
class TrelProtocolBase::Lent {
 public:
  explicit Lent(Working& working) : lent_(working.lent) { lent_ = true; }
  Lent(const Lent&) = delete;
  Lent& operator=(const Lent&) = delete;
  [[gnu::always_inline]] ~Lent() { lent_ = false; }

 private:
  bool& lent_;
};

// The old-style properties of a request end with it, also by an exception.
class TrelProtocolBase::OldStyleLife {
 public:
  explicit OldStyleLife(OldStyleList& list) : list_(list) {}
  OldStyleLife(const OldStyleLife&) = delete;
  OldStyleLife& operator=(const OldStyleLife&) = delete;
  [[gnu::always_inline]] ~OldStyleLife() { list_.clear(); }

 private:
  OldStyleList& list_;
};

// ----- life and hooks of the engine ----------------------------------------------------------------------------------

TrelProtocolBase::TrelProtocolBase() : TrelProtocolBase(true) {}

TrelProtocolBase::TrelProtocolBase(bool reply)
    : replyOnHeaderError(reply), eventTables{}, messageIdCounter(0), working(std::make_unique<Working>()) {
  // The object is not complete yet, so this reaches the base hook and makes no tables. The application calls it again.
  initEvents();
}

TrelProtocolBase::~TrelProtocolBase() {
  for (EventValueTable*& table : eventTables) {
    delete table;
    table = nullptr;
  }
}

bool TrelProtocolBase::initEventsCore() {
  TREL_DEBUG1("[DEBUG1] %s:%d (%s) - created no event tables because subclass did not provided method", TREL_HERE);
  return true;
}

bool TrelProtocolBase::handleTrelMsgOld(OldStyleProperty*, bool) { return false; }

int TrelProtocolBase::checkTlvOld(OldStyleProperty*, bool) const { return RESULT_GENERAL_ERROR; }

int TrelProtocolBase::eventHandlerOld(TRELTlv*, TRELTlv*, bool) { return 0; }

unsigned short TrelProtocolBase::getNewMessageId() { return ++messageIdCounter; }

bool TrelProtocolBase::amiMessageHandler(std::vector<TrelProperty*>) { return false; }

void TrelProtocolBase::registerObject(TrelObject* object) { objects.push_back(object); }

// The first registered object that knows the OID has it. Above level 8 every object leaves a line, so all are asked.
// `asked` becomes true when the index did not know; `level` is the trace level, before and after.
[[gnu::always_inline]] inline TrelProperty* TrelProtocolBase::findProperty(unsigned int oid, int& level, bool& asked) {
  if (!trelTrace::above(trelTrace::DEBUG3_THRESHOLD, level)) {
    TrelProperty* const property = working->index.find(objects, oid);
    if (property != nullptr) return property;
  }
  asked = true;
  TrelProperty* const property = askObjects(oid);
  level = trelTrace::level();  // objects with a search of their own have been asked
  return property;
}

// By index: a hook may register an object meanwhile.
TrelProperty* TrelProtocolBase::askObjects(unsigned int oid) {
  for (std::size_t i = 0; i < objects.size(); ++i) {
    TrelProperty* const property = objects[i]->getPropFromOID(oid);
    if (property == nullptr) continue;
    // It may be of an object that nobody has registered.
    if (property->object != nullptr && trelHook::mayOverrideUpdate(*property->object)) trelHook::knowUpdateOfProgram();
    return property;
  }
  return nullptr;
}

// ----- one datagram in -----------------------------------------------------------------------------------------------

[[gnu::always_inline]] inline int TrelProtocolBase::handle(Exchange& exchange, int length, const char* buffer,
                                                           const char* senderIp, int level) {
  static constexpr char FUNCTION[] = "handleTrelMsg";
  TRELRequest& message = exchange.request;  // the header is the same in every kind
  const int result = message.decode(buffer, length);
  prepare(exchange.response, message, senderIp);
  mark(exchange.response, result);
  TREL_DEBUG2_AT(level, "[DEBUG2] %s:%d (%s) - TREL message: id %u, action %d, length %d", __FILE__, __LINE__, FUNCTION,
                 message.msgId, message.action, length);
  if (result != RESULT_OK) return answerBadHeader(exchange.response, result);

  switch (message.action) {
    case TREL_ACTION_READ:
    case TREL_ACTION_WRITE:
      return answerRequest(exchange, exchange.response, level);
    case TREL_ACTION_READ_RESPONSE:
    case TREL_ACTION_WRITE_RESPONSE:
      return handleResponse(length, buffer);
    case TREL_ACTION_AMI:
      return handleAmi(length, buffer);
    default:     // GCOVR_EXCL_LINE: the header check has refused every other action
      return 0;  // GCOVR_EXCL_LINE
  }
}

int TrelProtocolBase::handleTrelMsg(int length, const char* buffer, const char* senderIp) {
  const int level = trelTrace::level();  // no hook runs before a request is answered
  TREL_DEBUG2_AT(level, "[DEBUG2] %s:%d (%s) - handling trel msg of length %i", TREL_HERE, length);
  if (length < TREL_HEADER_LEN) {
    TREL_ERROR("[ERROR] %s:%d (%s) - received message is to small for even a message header!", TREL_HERE);
    return 0;
  }
  if (working->lent) return handleNested(length, buffer, senderIp);
  const Lent lent(*working);
  return handle(working->exchange, length, buffer, senderIp, level);
}

// A hook has called the engine again.
[[gnu::noinline]] int TrelProtocolBase::handleNested(int length, const char* buffer, const char* senderIp) {
  Exchange own;
  return handle(own, length, buffer, senderIp, trelTrace::level());
}

[[gnu::noinline]] int TrelProtocolBase::answerBadHeader(TRELResponse& response, int result) {
  static constexpr char FUNCTION[] = "handleTrelMsg";
  if (result == RESULT_WRONG_MAGIC) {
    // Not of this protocol: ignored on purpose, and handled as far as the caller is concerned.
    TREL_DEBUG1("[DEBUG1] %s:%d (%s) - magic number is incorrect!, returning true", __FILE__, __LINE__, FUNCTION);
    return 1;
  }
  if (result == RESULT_PROTOCOL_VERSION_MISMATCH) {
    TREL_ERROR("[ERROR] %s:%d (%s) - protocol mismatch!", __FILE__, __LINE__, FUNCTION);
  } else {
    TREL_ERROR("[ERROR] %s:%d (%s) - invalid action received!", __FILE__, __LINE__, FUNCTION);
  }
  return replyOnHeaderError ? sendMsg(response) : 0;
}

// ----- the sequence of a sender --------------------------------------------------------------------------------------

namespace {

// What the process remembers of one sender, for as long as it lives.
struct SenderContext {
  std::string address;  // empty: free
  unsigned char seen = 0;
  unsigned short lastId = 0;
};

// Never destroyed: an engine may be used until the process ends.
SenderContext* senderContexts() {
  static SenderContext* const contexts = new SenderContext[TREL_SENDER_CONTEXTS];
  return contexts;
}

inline SenderContext* findContext(const std::string& address) {
  SenderContext* const contexts = senderContexts();
  for (SenderContext* context = contexts; context != contexts + TREL_SENDER_CONTEXTS; ++context) {
    if (context->address.size() == address.size() &&
        std::memcmp(context->address.data(), address.data(), address.size()) == 0) {
      return context;
    }
  }
  return nullptr;
}

// Asked of a sender that has no context yet: one that has was found good.
[[gnu::noinline]] bool goodAddress(const std::string& address) {
  in_addr parsed{};
  return address.empty() || inet_pton(AF_INET, address.c_str(), &parsed) == 1;
}

// The context of a sender that has none yet, null when all are taken. The key is the text. An empty one gets the first
// free context without claiming it, so the sender that claims it later inherits what was remembered.
[[gnu::noinline]] SenderContext* claimContext(const std::string& address) {
  SenderContext* const context = findContext(std::string());
  if (context != nullptr) {
    context->address = address;
  } else {
    TREL_WARNING("[WARNING] %s:%d (%s) - Total IP contexts that can be verified is %d", __FILE__, __LINE__,
                 "checkMsgId", TREL_SENDER_CONTEXTS);
  }
  return context;
}

}  // namespace

[[gnu::always_inline]] inline int TrelProtocolBase::followSequence(unsigned short id, const std::string& senderIp,
                                                                   int level) {
  static constexpr char FUNCTION[] = "checkMsgId";
  TREL_DEBUG3_AT(level, "[DEBUG3] %s:%d (%s) - IpAdress being verified : %s\n", __FILE__, __LINE__, FUNCTION,
                 senderIp.c_str());
  if (senderIp.empty()) {
    TREL_WARNING("[WARNING] %s:%d (%s) - IP Address received is NULL", __FILE__, __LINE__, FUNCTION);
  }

  SenderContext* context = findContext(senderIp);
  if (context == nullptr) {
    if (!goodAddress(senderIp)) return RESULT_BAD_ADDRESS;
    context = claimContext(senderIp);
    if (context == nullptr) return RESULT_NO_CONTEXT;
  }

  if (context->seen == 0) {
    context->seen = 1;
    context->lastId = id;
    return RESULT_OK;
  }
  if (context->lastId == id) {
    TREL_WARNING("[WARNING] %s:%d (%s) - Duplicate message msgId=%d", __FILE__, __LINE__, FUNCTION, id);
    return RESULT_DUPLICATE_MSG;
  }
  const int expected = context->lastId + 1;
  context->lastId = id;
  if (static_cast<unsigned short>(expected) == id) return RESULT_OK;
  // Told before the wrap to 16 bits: after 65535 the line says 65536.
  TREL_WARNING("[WARNING] %s:%d (%s) - Messages with msgId in range %d -> %d were lost", __FILE__, __LINE__, FUNCTION,
               expected, id);
  return RESULT_LOST_MSG;
}

int TrelProtocolBase::checkMsgId(const TRELMessage* message, std::string senderIp) {
  return followSequence(message->msgId, senderIp, trelTrace::level());
}

// ----- requests ------------------------------------------------------------------------------------------------------

int TrelProtocolBase::handleRequest(int length, const char* buffer, TRELResponse& response) {
  if (length < TREL_HEADER_LEN) {  // not by way of handleTrelMsg, which has looked
    TREL_ERROR("[ERROR] %s:%d (%s) - received request of %d bytes is shorter than its header", TREL_HERE, length);
    working->refusedOldStyle.clear();
    return refuse(response, RESULT_WRONG_LEN, 0);
  }
  if (working->lent) {
    Exchange own;
    own.request.deserialize(buffer, length);
    return answerRequest(own, response, trelTrace::level());
  }
  const Lent lent(*working);
  working->exchange.request.deserialize(buffer, length);
  return answerRequest(working->exchange, response, trelTrace::level());
}

namespace {

// Apart from refreshValue: it renders the whole property.
[[gnu::noinline]] void traceUpdate(const TrelProperty& property, bool succeeded) {
  TREL_DEBUG2("[DEBUG2] %s:%d (%s) - update() call %s for %s, row %d", __FILE__, __LINE__, "handleRequest",
              succeeded ? "succeeded" : "failed\n", property.str().c_str(), property.row);
}

// Runs for every property that a request names, before anything is checked. Returns the trace level.
inline int refreshValue(TrelObject& object, TrelProperty& property) {
  const bool succeeded = object.update(&property, property.row);
  const int level = trelTrace::level();
  if (!trelTrace::above(trelTrace::DEBUG2_THRESHOLD, level)) return level;
  traceUpdate(property, succeeded);
  return trelTrace::level();  // its text may have been an application's own
}

}  // namespace

// An OID that no object knows. Returns the trace level.
[[gnu::noinline]] int TrelProtocolBase::addOldStyle(Exchange& exchange, unsigned int oid, const char* tlv) {
  TREL_DEBUG2("[DEBUG2] %s:%d (%s) - %i not found in trelObjects, adding old style, making property for it\n", __FILE__,
              __LINE__, "handleRequest", oid);
  // The record is only read; the constructor's parameter is not const for the application's sake.
  auto* record = reinterpret_cast<trel_tlv*>(const_cast<char*>(tlv));
  exchange.oldStyle.push_back(std::make_unique<OldStyleProperty>(record, false));
  exchange.request.properties.push_back(exchange.oldStyle.back().get());
  return trelTrace::level();
}

// Gives the request one property for each TLV, in order, and lets the owning objects refresh their values. Ends at a
// TLV that the datagram's end cuts off and returns what the request is refused with for it, RESULT_OK when all are
// whole. `level` is the trace level, looked at again when an application's hook has run.
[[gnu::always_inline]] inline int TrelProtocolBase::resolveTlvs(Exchange& exchange, int& level, bool& mustCheck) {
  static constexpr char FUNCTION[] = "handleRequest";
  TRELRequest& request = exchange.request;
  working->index.follow(objects);
  ByteReader datagram = tlvArea(request.buffer, request.bufferLen, request.headerLen);
  while (!datagram.atEnd()) {
    const TlvView tlv = nextTlv(datagram);
    if (tlv.cut == TlvView::NO_HEAD) return RESULT_WRONG_LEN;

    TrelProperty* const property = findProperty(tlv.oid, level, mustCheck);
    if (property == nullptr) {
      if (tlv.cut == TlvView::NO_VALUE) return RESULT_WRONG_LEN;
      level = addOldStyle(exchange, tlv.oid, tlv.start);
      continue;
    }

    if (trelTrace::above(trelTrace::DEBUG2_THRESHOLD, level)) {
      TREL_DEBUG2("[DEBUG2] %s:%d (%s) - prop adding: type %i, oid %x", __FILE__, __LINE__, FUNCTION,
                  property->getType(), property->getOid());
      level = trelTrace::level();  // type and OID may have been an application's own
    }
    if (TrelObject* const object = property->object) {
      if (trelHook::overridesUpdate(*object)) level = refreshValue(*object, *property);
    } else {
      mustCheck = true;
    }
    // A read uses the OID alone, so a missing value does not matter to it.
    if (tlv.cut == TlvView::NO_VALUE && request.action == TREL_ACTION_WRITE)
      return refusalOfCutWrite(property, tlv.start);
    trelList::append(request.properties, property);
  }
  return RESULT_OK;
}

// A write whose value is missing: its form and its access are judged as ever, and the length where the value would be.
[[gnu::noinline]] int TrelProtocolBase::refusalOfCutWrite(TrelProperty* property, const char* tlvHead) {
  if (const unsigned int badOid = TrelObjectId(tlvOid(tlvHead)).result) return static_cast<int>(badOid);
  if (const int badForm = property->checkBuffer(tlvHead, false)) return badForm;
  return property->accessType == IFC_CARD_VAR_READ_ONLY ? RESULT_READ_ONLY : RESULT_WRONG_LEN;
}

// This exit differs from the good one: the answer carries no properties, "request handled" is not logged, and the
// old-style properties are not deleted but stay alive until the next request is refused.
int TrelProtocolBase::refuse(TRELResponse& response, int result, int position) {
  answerFailure(response, result, position);
  return sendMsg(response);
}

// A write's answer never carries properties, and has no limit to keep.
[[gnu::noinline]] void TrelProtocolBase::executeWrite(TRELRequest& request, TRELResponse& response, bool plain) {
  if (!request.storeEach(plain, this) || !request.tellEach()) answerFailure(response, RESULT_CANNOT_EXEC, 0);
}

[[gnu::always_inline]] inline void TrelProtocolBase::executeRead(Exchange& exchange, TRELResponse& response) {
  response.properties.swap(exchange.request.properties);  // which has no more use for them
  for (std::size_t i = 0; i < exchange.oldStyle.size(); ++i) {
    // The base version refuses the first one, at position 0.
    if (!handleTrelMsgOld(exchange.oldStyle[i].get(), false)) {
      answerFailure(response, RESULT_CANNOT_EXEC, static_cast<int>(i));
      break;
    }
  }
  if (response.sizeOfTlvs() > TREL_MAX_READ_RESPONSE_LEN - response.headerLen) {
    answerFailure(response, RESULT_TOO_LONG, 0);
  }
}

int TrelProtocolBase::answerRequest(Exchange& exchange, TRELResponse& response, int level) {
  static constexpr char FUNCTION[] = "handleRequest";
  int sent = 0;
  {
    TRELRequest& request = exchange.request;
    const OldStyleLife life(exchange.oldStyle);
    request.properties.clear();
    // A duplicate or a gap is executed all the same; only the answer says so. So is a sender that cannot be followed.
    mark(response, followSequence(request.msgId, response.sender, level));

    bool mustCheck = request.action == TREL_ACTION_WRITE;
    const int cutOff = resolveTlvs(exchange, level, mustCheck);
    int position = 0;
    bool plain = false;
    int refusal = mustCheck ? request.checkEach(position, plain, this) : static_cast<int>(RESULT_OK);
    if (refusal == RESULT_OK && cutOff != RESULT_OK) {  // an earlier TLV that fails is reported first
      refusal = cutOff;
      position = request.countTlvs(0);
      TREL_ERROR("[ERROR] %s:%d (%s) - %s in TLV %d, which the end of the datagram cuts off", __FILE__, __LINE__,
                 FUNCTION, trelResultText(refusal), position);
    }
    if (refusal != RESULT_OK) {
      // Kept, and the former refused request's are deleted.
      working->refusedOldStyle.swap(exchange.oldStyle);
      exchange.oldStyle.clear();
      return refuse(response, refusal, position);
    }

    if (mustCheck) level = trelTrace::level();  // hooks have been asked
    TREL_DEBUG3_AT(level, "[DEBUG3] %s:%d (%s) - TREL %s message: length %d, %d tlvs", __FILE__, __LINE__, FUNCTION,
                   request.action == TREL_ACTION_WRITE ? "Write" : "Read", request.bufferLen, request.countTlvs(0));
    if (request.action == TREL_ACTION_WRITE) {
      executeWrite(request, response, plain);
      sent = sendMsg(response);
    } else {
      executeRead(exchange, response);
      sent = sendMsg(response);
      // The list goes back to where the next request needs its room; of a caller's own answer it is the caller's.
      if (&response == &exchange.response) response.properties.swap(request.properties);
    }
  }
  TREL_DEBUG2("[DEBUG2] %s:%d (%s) - request handled: %s", __FILE__, __LINE__, FUNCTION,
              sent != 0 ? "success" : "failed");
  return sent;
}

// ----- responses and autonomous messages -----------------------------------------------------------------------------

int TrelProtocolBase::handleResponse(int length, const char* buffer) {
  if (length < TREL_RESPONSE_HEADER_LEN) {
    TREL_ERROR("[ERROR] %s:%d (%s) - received response of %d bytes is shorter than its header", TREL_HERE, length);
    return 0;
  }
  TRELResponse response((std::string()));
  response.deserialize(buffer, length);
  switch (response.result) {
    case RESULT_OK:
      break;
    case RESULT_DUPLICATE_MSG:
      TREL_WARNING("[WARNING] %s:%d (%s) - duplicate message reported by the receiver!", TREL_HERE);
      break;
    case RESULT_LOST_MSG:
      TREL_WARNING("[WARNING] %s:%d (%s) - message where lost reported by the receiver!", TREL_HERE);
      break;
    default:
      TREL_ERROR("[ERROR] %s:%d (%s) - the response has an error %i : %s", TREL_HERE, static_cast<int>(response.result),
                 trelResultText(response.result));
      return 0;
  }
  if (response.action == TREL_ACTION_WRITE_RESPONSE) return 1;
  if (response.action == TREL_ACTION_READ_RESPONSE) return applyReceivedValues(response, nullptr) ? 1 : 0;
  return 0;
}

int TrelProtocolBase::handleAmi(int length, const char* buffer) {
  if (length < TREL_AMI_HEADER_LEN) {
    TREL_ERROR("[ERROR] %s:%d (%s) - received AMI of %d bytes is shorter than its header", TREL_HERE, length);
    return 0;
  }
  TRELAmi ami((std::string()));
  ami.deserialize(buffer, length);
  if (ami.action != TREL_ACTION_AMI) {
    TREL_ERROR("[ERROR] %s:%d (%s) - handleAmi got a message that is not an AMI!", TREL_HERE);
    return 0;
  }
  TREL_DEBUG1("[DEBUG1] %s:%d (%s) - handle AMI message", TREL_HERE);
  std::vector<TrelProperty*> applied;
  const bool ok = applyReceivedValues(ami, &applied);
  if (amiMessageHandler(applied)) return ok ? 1 : 0;
  TREL_ERROR("[ERROR] %s:%d (%s) - amiMessageHandler reported failure!", TREL_HERE);
  return 0;
}

// The walk that both share: each TLV to its property, a bad one is skipped, the others are applied. Appends to
// `applied` when it is given. False when a TLV was bad.
bool TrelProtocolBase::applyReceivedValues(const TRELMessage& message, std::vector<TrelProperty*>* applied) {
  const bool isAmi = message.msgKind == TREL_KIND_AMI;
  const char* const function = isAmi ? "handleAmi" : "handleResponse";
  bool ok = true;
  working->index.follow(objects);
  ByteReader datagram = tlvArea(message.buffer, message.bufferLen, message.headerLen);
  while (!datagram.atEnd()) {
    const TlvView tlv = nextTlv(datagram);
    if (tlv.cut != TlvView::WHOLE) {
      TREL_ERROR("[ERROR] %s:%d (%s) - the end of the message cuts off a TLV, it is skipped!", __FILE__, __LINE__,
                 function);
      return false;
    }

    int level = trelTrace::level();
    bool asked = false;
    TrelProperty* property = findProperty(tlv.oid, level, asked);
    if (property == nullptr) {
      TREL_ERROR("[ERROR] %s:%d (%s) - the following oid is not found in the registered objects, skipping!", __FILE__,
                 __LINE__, function);
      TREL_ERROR("[ERROR] %s:%d (%s) - prop NOT found to update: oid %#x", __FILE__, __LINE__, function, tlv.oid);
      ok = false;
      continue;
    }
    if (isAmi) {
      TREL_DEBUG2("[DEBUG2] %s:%d (%s) - prop found to update: type %i, oid %x", __FILE__, __LINE__, function,
                  property->getType(), tlv.oid);
    } else {
      TREL_DEBUG3("[DEBUG3] %s:%d (%s) - prop found to update: type %i, oid %x", __FILE__, __LINE__, function,
                  property->getType(), tlv.oid);
    }

    if (const int error = property->checkBuffer(tlv.start, false)) {
      if (isAmi) {
        TREL_ERROR("[ERROR] %s:%d (%s) - AMI message received has incorrect property with id 0x%x and error %i",
                   __FILE__, __LINE__, function, tlv.oid, error);
      } else {
        TREL_ERROR("[ERROR] %s:%d (%s) - response received has incorrect property with id 0x%x and error %i", __FILE__,
                   __LINE__, function, tlv.oid, error);
      }
      TREL_ERROR("[ERROR] %s:%d (%s) - skipping this property!", __FILE__, __LINE__, function);
      ok = false;
      continue;
    }

    property->deserialize(tlv.start);
    const bool succeeded = property->object == nullptr || property->object->updated(property, property->row);
    TREL_DEBUG2("[DEBUG2] %s:%d (%s) - updated() call %s for %s, row %d", __FILE__, __LINE__, function,
                succeeded ? "succeeded" : "failed\n", property->str().c_str(), property->row);
    if (applied != nullptr) applied->push_back(property);
  }
  return ok;
}

// ----- client operations ---------------------------------------------------------------------------------------------

namespace {

void addAll(TRELRequest& request, const std::vector<TrelProperty*>& properties) {
  for (TrelProperty* property : properties)
    request.addProperty(property);
}

void addAll(TRELRequest& request, const std::vector<TrelObject*>& objects) {
  for (TrelObject* object : objects)
    addAll(request, object->getProperties());
}

}  // namespace

int TrelProtocolBase::readObject(TrelObject& object) {
  TREL_DEBUG3("[DEBUG3] %s:%d (%s) - read object %s", TREL_HERE, object.name.c_str());
  TRELRequest request((std::string()));
  addAll(request, object.getProperties());
  return sendRequest(TREL_ACTION_READ, request);
}

int TrelProtocolBase::readObjects(std::vector<TrelObject*> peerObjects) {
  TRELRequest request((std::string()));
  addAll(request, peerObjects);
  return sendRequest(TREL_ACTION_READ, request);
}

int TrelProtocolBase::readProperty(TrelProperty& property) {
  TREL_DEBUG3("[DEBUG3] %s:%d (%s) - reading property %s", TREL_HERE, property.name.c_str());
  TRELRequest request((std::string()));
  request.addProperty(&property);
  return sendRequest(TREL_ACTION_READ, request);
}

int TrelProtocolBase::readPropertys(std::vector<TrelProperty*> properties) {
  TREL_DEBUG3("[DEBUG3] %s:%d (%s) - reading list of propertys with length %d", TREL_HERE,
              static_cast<int>(properties.size()));
  TRELRequest request((std::string()));
  for (TrelProperty* property : properties) {
    TREL_DEBUG3("[DEBUG3] %s:%d (%s) - reading list of propertys adding %s", TREL_HERE, property->name.c_str());
    request.addProperty(property);
  }
  return sendRequest(TREL_ACTION_READ, request);
}

int TrelProtocolBase::writeObject(TrelObject& object) {
  TREL_DEBUG3("[DEBUG3] %s:%d (%s) - writing object %s", TREL_HERE, object.name.c_str());
  TRELRequest request((std::string()));
  addAll(request, object.getProperties());
  return sendRequest(TREL_ACTION_WRITE, request);
}

int TrelProtocolBase::writeObjects(std::vector<TrelObject*> peerObjects) {
  TREL_DEBUG3("[DEBUG3] %s:%d (%s) - writing list of objects with length %d", TREL_HERE,
              static_cast<int>(peerObjects.size()));
  TRELRequest request((std::string()));
  addAll(request, peerObjects);
  return sendRequest(TREL_ACTION_WRITE, request);
}

int TrelProtocolBase::writeProperty(TrelProperty& property) {
  TREL_DEBUG3("[DEBUG3] %s:%d (%s) - writing property %s", TREL_HERE, property.name.c_str());
  TRELRequest request((std::string()));
  request.addProperty(&property);
  return sendRequest(TREL_ACTION_WRITE, request);
}

int TrelProtocolBase::writePropertys(std::vector<TrelProperty*> properties) {
  TREL_DEBUG3("[DEBUG3] %s:%d (%s) - writing list of propertys with length %d", TREL_HERE,
              static_cast<int>(properties.size()));
  TRELRequest request((std::string()));
  for (TrelProperty* property : properties) {
    TREL_DEBUG3("[DEBUG3] %s:%d (%s) - writing list of propertys adding %s", TREL_HERE, property->name.c_str());
    request.addProperty(property);
  }
  return sendRequest(TREL_ACTION_WRITE, request);
}

int TrelProtocolBase::sendRequest(unsigned char action, TRELRequest& request) {
  const int tlvs = request.countTlvs(0);
  if (tlvs == 0 || tlvs > TREL_MAX_REQUEST_TLVS) {
    // 150 itself is allowed, whatever the line says.
    TREL_ERROR("[ERROR] %s:%d (%s) - invalid nr of tlvs [%d] should be lower then %d", TREL_HERE, tlvs,
               TREL_MAX_REQUEST_TLVS);
    TREL_ERROR("[ERROR] %s:%d (%s) - Message is dropped, enable debug lvl 1 to see objects dropped !!!", TREL_HERE);
    return 0;
  }
  TREL_DEBUG3("[DEBUG3] %s:%d (%s) - Number of tlvs = %d", TREL_HERE, tlvs);
  request.action = action;
  request.msgId = getNewMessageId();
  if (sendMsg(request) == 0) return 0;

  const TakenReply reply(replyBuffer);
  return handleTrelMsg(static_cast<int>(reply.bytes().size()), reply.bytes().data(), nullptr);
}

// ----- events --------------------------------------------------------------------------------------------------------

namespace {

// Shared by all engines of the process and never freed.
struct PendingEvents {
  bool started = false;    // the message has been made, or the attempt failed
  TRELAmi* ami = nullptr;  // what waits to be reported
  int count = 0;           // properties added since the last send
  bool initDone = false;   // the first scan is over
};
PendingEvents pending;

// A property that is destroyed leaves the pending message, at every place. The count stays: it counts additions.
void leavePendingAmi(const TrelProperty* property) {
  auto& waiting = pending.ami->properties;
  waiting.erase(std::remove(waiting.begin(), waiting.end(), property), waiting.end());
}

// A list that an engine keeps between calls, out of it for the time of one: a nested call finds an empty one and grows
// its own.
class KeptList {
 public:
  explicit KeptList(std::vector<TrelProperty*>& home) : home_(home) { list.swap(home_); }
  KeptList(const KeptList&) = delete;
  KeptList& operator=(const KeptList&) = delete;
  ~KeptList() {
    if (list.capacity() > home_.capacity()) list.swap(home_);
  }
  std::vector<TrelProperty*> list;

 private:
  std::vector<TrelProperty*>& home_;
};

// The pending message, made when it is needed for the first time. Null, with an ERROR line, when there was no memory then.
TRELAmi* pendingMessage() {
  if (!pending.started) {
    pending.started = true;
    pending.ami = new TRELAmi((std::string()));
    pending.ami->action = TREL_ACTION_AMI;
    trelLifetime::onPropertyDestroyed(leavePendingAmi);
  }
  if (pending.ami == nullptr) {
    TREL_ERROR("[ERROR] %s:%d (%s) - invalid ptr", __FILE__, __LINE__, "addToAmi");
  }
  return pending.ami;
}

// So many more neither make the pending message go nor leave a line: they may be added in one step.
// While the message is being sent for its size, and after a send that ended in an exception, the count is above the limit.
bool fitUnnoticed(std::size_t added) {
  return !trelTrace::above(trelTrace::DEBUG1_THRESHOLD) &&
         added + static_cast<std::size_t>(pending.count) <= static_cast<std::size_t>(TREL_AMI_PROPERTY_LIMIT);
}

// Changes on their way from an object to the pending message. When an exception ends the way, those that are not there
// yet wait in their properties again, for the next scan.
class TakenEvents {
 public:
  explicit TakenEvents(const std::vector<TrelProperty*>& taken) : taken_(taken) {}
  TakenEvents(const TakenEvents&) = delete;
  TakenEvents& operator=(const TakenEvents&) = delete;
  ~TakenEvents() {
    for (; there_ < taken_.size(); ++there_)
      taken_[there_]->eventPending = true;
  }
  bool any() const { return there_ < taken_.size(); }
  TrelProperty* first() const { return taken_[there_]; }
  void firstIsThere() { ++there_; }
  void allAreThere() { there_ = taken_.size(); }

 private:
  const std::vector<TrelProperty*>& taken_;
  std::size_t there_ = 0;
};

void deleteAll(std::vector<TrelProperty*>& owned) {
  std::vector<TrelProperty*> leaving;
  leaving.swap(owned);  // out of the engine first: a destructor may look there
  for (TrelProperty* property : leaving)
    delete property;
}

}  // namespace

bool TrelProtocolBase::initEvents() {
  // During construction the base hook is the one that is meant.
  if (initEventsCore()) return true;  // NOLINT(clang-analyzer-optin.cplusplus.VirtualCall)
  for (EventValueTable*& table : eventTables) {
    delete table;
    table = nullptr;
  }
  return false;
}

int TrelProtocolBase::eventHandler() {
  TREL_DEBUG1("[DEBUG1] %s:%d (%s) - initDone=%d", TREL_HERE, pending.initDone ? 1 : 0);
  const int added = eventAdd(objects);
  if (!pending.initDone) {
    // What the first scan of the process finds waits for the second, unless it is enough to be sent for its size.
    pending.initDone = true;
    return 0;
  }
  checkForEvent(nullptr, nullptr, false, true);
  return added;
}

int TrelProtocolBase::eventAdd(std::vector<TrelObject*>& eventObjects) {
  KeptList kept(working->changed);
  std::vector<TrelProperty*>& changed = kept.list;
  int added = 0;
  for (std::size_t i = 0; i < eventObjects.size(); ++i) {
    changed.clear();
    eventObjects[i]->takeChanged(changed);
    TakenEvents taken(changed);
    added += static_cast<int>(changed.size());
    if (pending.ami != nullptr && fitUnnoticed(changed.size())) {
      pending.ami->properties.insert(pending.ami->properties.end(), changed.begin(), changed.end());
      pending.count += static_cast<int>(changed.size());
      taken.allAreThere();
      continue;
    }
    while (taken.any()) {
      TrelProperty* const property = taken.first();
      TRELAmi* const ami = pendingMessage();
      if (ami != nullptr) ami->addProperty(property);
      taken.firstIsThere();
      if (ami != nullptr) countAdded(*property);
    }
  }
  return added;
}

bool TrelProtocolBase::checkForEvent(unsigned long long* lastValue, TrelProperty* property, bool compare, bool flush) {
  if (flush) {
    addToAmi(property, true);
    return false;
  }
  if (lastValue == nullptr || property == nullptr) return false;

  // Unsigned getters only: a signed, boolean or time property refuses, leaves its ERROR line and counts as 0.
  unsigned long long sample = 0;
  const int length = property->length();
  if (length == 1) {
    unsigned char value = 0;
    property->get(&value);
    sample = value;
  } else if (length == 2) {
    unsigned short value = 0;
    property->get(&value);
    sample = value;
  } else if (length == 4) {
    unsigned int value = 0;
    property->get(&value);
    sample = value;
  } else if (length == 8) {
    property->get(&sample);
  } else {
    TREL_DEBUG1("[DEBUG1] %s:%d (%s) - not supported len=%d id=0x%08x", TREL_HERE, length, property->id);
    return false;
  }

  // "oid" in these lines is the property's id: variable id or column.
  if (!compare) {
    *lastValue = sample;
    // Both numbers are the new value.
    TREL_DEBUG2("[DEBUG2] %s:%d (%s) - init event oid=0x%08x len=%d %llu ==> %llu", TREL_HERE, property->id, length,
                *lastValue, sample);
    return false;
  }
  if (sample == *lastValue) return false;
  addToAmi(property, false);
  TREL_DEBUG1("[DEBUG1] %s:%d (%s) - event oid=0x%08x len=%d type=%d %llu ==> %llu", TREL_HERE, property->id, length,
              property->getType(), *lastValue, sample);
  *lastValue = sample;
  return true;
}

void TrelProtocolBase::addToAmi(TrelProperty* property, bool flush) {
  TRELAmi* const ami = pendingMessage();
  if (ami == nullptr) return;

  if (!flush) {
    if (property == nullptr) return;
    ami->addProperty(property);
    countAdded(*property);
    return;
  }

  if (pending.count == 0) return;
  sendAmiMsgBase(pending.ami);
  TREL_DEBUG1("[DEBUG1] %s:%d (%s) - send ami msg with %d tlvs", TREL_HERE, pending.count);
  pending.count = 0;
  pending.ami->properties.clear();
  deleteAll(amiOwnedProperties);
}

// A property has been added to the pending message, which is sent when it has more of them than the limit.
void TrelProtocolBase::countAdded(TrelProperty& property) {
  static constexpr char FUNCTION[] = "addToAmi";
  TREL_DEBUG1("[DEBUG1] %s:%d (%s) - add event %d oid=%#x size=%d", __FILE__, __LINE__, FUNCTION, pending.count,
              property.id, property.length());
  ++pending.count;
  if (pending.count <= TREL_AMI_PROPERTY_LIMIT) return;
  // Sent and not emptied: its properties go out again with the next send, and amiOwnedProperties stays. A receiver must
  // take a repeated value as a repetition, not as a change.
  sendAmiMsgBase(pending.ami);
  TREL_DEBUG1("[DEBUG1] %s:%d (%s) - send ami msg with %d tlvs", __FILE__, __LINE__, FUNCTION, pending.count);
  pending.count = 0;
}

int TrelProtocolBase::sendAmiMsgBase(TRELAmi* ami) {
  if (ami == nullptr || ami->properties.empty()) return 0;
  timespec now{};
  clock_gettime(CLOCK_REALTIME, &now);
  ami->msgId = getNewMessageId();
  ami->timeSec = static_cast<unsigned int>(now.tv_sec);
  ami->timeUsec = static_cast<unsigned int>(now.tv_nsec / 1000);
  return sendMsg(*ami);
}

// ----- diagnostics ---------------------------------------------------------------------------------------------------

void TrelProtocolBase::dump_hex(const unsigned char* data, unsigned int length) {
  constexpr unsigned int BYTES_PER_LINE = 8;
  if (data == nullptr) length = 0;
  std::ostringstream dump;
  dump.imbue(std::locale::classic());
  for (unsigned int start = 0; start < length; start += BYTES_PER_LINE) {
    const unsigned int count = std::min(BYTES_PER_LINE, length - start);
    // The offset counts in decimal and grows beyond four digits where it must.
    dump << std::dec << std::setfill('0') << std::setw(4) << start << ": " << std::hex << std::uppercase;
    for (unsigned int i = 0; i < count; ++i)
      dump << std::setw(2) << static_cast<unsigned int>(data[start + i]) << " ";
    for (unsigned int i = count; i < BYTES_PER_LINE; ++i)
      dump << "   ";
    dump << "| ";
    for (unsigned int i = 0; i < count; ++i) {
      const int byte = data[start + i];
      dump << (std::isprint(byte) != 0 && std::iscntrl(byte) == 0 ? static_cast<char>(byte) : '.');
    }
    dump << "\n";
    if (length - start <= BYTES_PER_LINE) break;  // the next start might wrap
  }
  std::cout << "\n hex dump\n" << dump.str() << std::endl;
}

// ----- the legacy card variables -------------------------------------------------------------------------------------

namespace {

// Checks answer true when they reject.
bool lengthAtMost31(unsigned int length) { return length > 31; }
bool lengthAtMost127(unsigned int length) { return length > 127; }
bool lengthIs1(unsigned int length) { return length != 1; }
bool lengthIs4(unsigned int length) { return length != 4; }
bool lengthIs8(unsigned int length) { return length != 8; }
bool lengthIs36(unsigned int length) { return length != 36; }
bool lengthAny(unsigned int) { return false; }

// The clock references of the backplane: 0 to 3, and 128 for none.
bool checkBpClkRef(boost::any& value) {
  unsigned int reference = 0;
  if (const auto* held32 = boost::any_cast<unsigned int>(&value)) {
    reference = *held32;
  } else if (const auto* held16 = boost::any_cast<unsigned short>(&value)) {
    reference = *held16;
  } else if (const auto* held8 = boost::any_cast<unsigned char>(&value)) {
    reference = *held8;
  } else {
    return true;
  }
  return reference > 3 && reference != 128;
}

bool checkGuid(boost::any& value) {
  const auto* guid = boost::any_cast<std::string>(&value);
  if (guid == nullptr || guid->size() != 36) return true;
  return !std::all_of(guid->begin(), guid->end(),
                      [](char c) { return std::isalnum(static_cast<unsigned char>(c)) != 0 || c == '-'; });
}

constexpr IfcCardVarAccessType READ_ONLY = IFC_CARD_VAR_READ_ONLY;
constexpr IfcCardVarAccessType READ_WRITE = IFC_CARD_VAR_READ_WRITE;

// Defaults in the type that the variable's code asks for.
boost::any text(const char* value) { return std::string(value); }
boost::any uint8(unsigned char value) { return value; }
boost::any uint32(unsigned int value) { return value; }
boost::any uint64(unsigned long long value) { return value; }
boost::any int32(int value) { return value; }
boost::any boolean(bool value) { return value; }

// One array a group: built in this order when the library is loaded, taken down row by row from the last when it is
// unloaded. The blanks in the names are part of them.
// clang-format off
const IfcCardVarDef CARD_INFORMATION[] = {
    {0, "Card Type       ", TREL_TYPE_STRING, READ_ONLY, text("xxx"), lengthAtMost31, nullptr, false, 0},
    {1, "Hardware Version", TREL_TYPE_UINT8, READ_ONLY, uint8(0), lengthIs1, nullptr, false, 0},
    {2, "Loadware        ", TREL_TYPE_UINT32, READ_ONLY, uint32(0), lengthIs4, nullptr, false, 0},
    {3, "Backup loadware ", TREL_TYPE_UINT32, READ_ONLY, uint32(0), lengthIs4, nullptr, false, 0},
    {4, "Ifc Slot        ", TREL_TYPE_UINT8, READ_ONLY, uint8(0), lengthIs1, nullptr, false, 0},
    {5, "Temp Sensors    ", TREL_TYPE_UINT8, READ_ONLY, uint8(0), lengthIs1, nullptr, false, 0},
    {6, "Voltage monitors", TREL_TYPE_UINT8, READ_ONLY, uint8(0), lengthIs1, nullptr, false, 0},
    {7, "Boot version    ", TREL_TYPE_UINT32, READ_ONLY, uint32(0), lengthIs4, nullptr, false, 0},
    {8, "HW errors       ", TREL_TYPE_UINT8, READ_ONLY, uint8(0), lengthIs1, nullptr, false, 0},
    {9, "Oper. alarms    ", TREL_TYPE_UINT8, READ_ONLY, uint8(0), lengthIs1, nullptr, false, 0},
    {10, "SW Interface    ", TREL_TYPE_UINT32, READ_ONLY, uint32(0), lengthIs4, nullptr, false, 0},
    {11, "Card Capability ", TREL_TYPE_UINT32, READ_ONLY, uint32(0), lengthIs4, nullptr, false, 0},
};
const IfcCardVarDef CARD_STATUS[] = {
    {0, "Power                     ", TREL_TYPE_UINT32, READ_ONLY, uint32(0), lengthIs4, nullptr, false, 0},
    {1, "HW Error                  ", TREL_TYPE_BOOLEAN, READ_ONLY, boolean(false), lengthIs1, nullptr, false, 0},
    {2, "Oper. Alarm               ", TREL_TYPE_BOOLEAN, READ_ONLY, boolean(false), lengthIs1, nullptr, false, 0},
    {3, "DPLL Active CTRL CLK Alarm", TREL_TYPE_BOOLEAN, READ_ONLY, boolean(false), lengthIs1, nullptr, true, 0},
    {4, "DPLL Recovered CLK Alarm  ", TREL_TYPE_BOOLEAN, READ_ONLY, boolean(false), lengthIs1, nullptr, false, 0},
    {5, "Port recovering CLK Alarm", TREL_TYPE_BOOLEAN, READ_ONLY, boolean(false), lengthIs1, nullptr, false, 0},
};
const IfcCardVarDef CARD_CONTROL[] = {
    {0, "Reboot", TREL_TYPE_BOOLEAN, READ_WRITE, boolean(false), lengthIs1, nullptr, false, 0},
    {1, "UtcTime", TREL_TYPE_UINT64, READ_WRITE, uint64(0), lengthIs8, nullptr, false, 0},
    {2, "BpClkRef", TREL_TYPE_UINT8, READ_WRITE, uint8(128), lengthIs1, checkBpClkRef, false, 0},
    {3, "GUID", TREL_TYPE_STRING, READ_WRITE, text(""), lengthIs36, checkGuid, false, 0},
};
const IfcCardVarDef SOFTWARE_DOWNLOAD[] = {
    {0, "Dld Filename      ", TREL_TYPE_STRING, READ_WRITE, text("xxx"), lengthAtMost127, nullptr, false, 0},
    {1, "Dld Start Download", TREL_TYPE_BOOLEAN, READ_WRITE, boolean(false), lengthIs1, nullptr, false, 0},
    {2, "Dld Stop Download ", TREL_TYPE_BOOLEAN, READ_WRITE, boolean(false), lengthIs1, nullptr, false, 0},
    {3, "Dld commit load   ", TREL_TYPE_BOOLEAN, READ_WRITE, boolean(false), lengthIs1, nullptr, false, 0},
    {4, "Dld accept load   ", TREL_TYPE_BOOLEAN, READ_WRITE, boolean(false), lengthIs1, nullptr, false, 0},
    {5, "Dld state         ", TREL_TYPE_UINT8, READ_ONLY, uint8(0), lengthIs1, nullptr, false, 0},
    {6, "Dld progress      ", TREL_TYPE_UINT8, READ_ONLY, uint8(0), lengthIs1, nullptr, false, 0},
    {7, "Dld name          ", TREL_TYPE_STRING, READ_ONLY, text("brd"), lengthAny, nullptr, false, 0},
    {8, "Dld BSP name      ", TREL_TYPE_STRING, READ_ONLY, text("BSP"), lengthAny, nullptr, false, 0},
    {9, "Dld Clear Errors  ", TREL_TYPE_BOOLEAN, READ_WRITE, text("BSP"), lengthIs1, nullptr, false, 0},
    {10, "Dld Set Commit timer  ", TREL_TYPE_INT32, READ_WRITE, int32(0), lengthIs4, nullptr, false, 0},
};
const IfcCardVarDef TEMPERATURE_SENSORS[] = {
    {0, "Temp Name       ", TREL_TYPE_STRING, READ_ONLY, text(""), lengthAtMost31, nullptr, false, 0},
    {1, "Temp Value      ", TREL_TYPE_INT32, READ_ONLY, int32(0), lengthIs4, nullptr, false, 0},
    {2, "Temp Valid      ", TREL_TYPE_BOOLEAN, READ_ONLY, boolean(false), lengthIs1, nullptr, false, 0},
    {3, "Min Sensor Value", TREL_TYPE_INT32, READ_ONLY, int32(0), lengthIs4, nullptr, false, 0},
    {4, "Max Sensor Value", TREL_TYPE_INT32, READ_ONLY, int32(0), lengthIs4, nullptr, false, 0},
};
const IfcCardVarDef VOLTAGE_MONITORS[] = {
    {0, "Voltage Name    ", TREL_TYPE_STRING, READ_ONLY, text(""), lengthAtMost31, nullptr, false, 0},
    {1, "Voltage Value   ", TREL_TYPE_INT32, READ_ONLY, int32(0), lengthIs4, nullptr, false, 0},
    {2, "Voltage Nominal ", TREL_TYPE_INT32, READ_ONLY, int32(0), lengthIs4, nullptr, false, 0},
    {3, "Voltage Valid   ", TREL_TYPE_BOOLEAN, READ_ONLY, boolean(false), lengthIs1, nullptr, false, 0},
};
const IfcCardVarDef FILE_TRANSFER[] = {
    {0, "FTP Server   ", TREL_TYPE_STRING, READ_WRITE, text(""), lengthAtMost31, nullptr, false, 0},
    {1, "FTP Port     ", TREL_TYPE_UINT32, READ_WRITE, uint32(21), lengthIs4, nullptr, false, 0},
    {2, "FTP User     ", TREL_TYPE_STRING, READ_WRITE, text(""), lengthAtMost31, nullptr, false, 0},
    {3, "FTP Password ", TREL_TYPE_STRING, READ_WRITE, text(""), lengthAtMost31, nullptr, false, 0},
};
const IfcCardVarDef LOG_RETRIEVAL[] = {
    {0, "GETLOG directory ", TREL_TYPE_STRING, READ_WRITE, text(""), lengthAtMost31, nullptr, false, 0},
    {1, "GETLOG result    ", TREL_TYPE_UINT32, READ_ONLY, uint32(0), lengthIs4, nullptr, false, 0},
    {2, "GETLOG state     ", TREL_TYPE_UINT32, READ_WRITE, uint32(0), lengthIs4, nullptr, false, 0},
};
const IfcCardVarDef HARDWARE_ERRORS[] = {
    {0, "HW error ID      ", TREL_TYPE_UINT32, READ_ONLY, uint32(0), lengthIs4, nullptr, false, 0},
    {1, "HW error name    ", TREL_TYPE_STRING, READ_ONLY, text(""), lengthAtMost31, nullptr, false, 0},
    {2, "HW error active  ", TREL_TYPE_BOOLEAN, READ_ONLY, boolean(false), lengthIs1, nullptr, false, 0},
};
const IfcCardVarDef OPERATIONAL_ALARMS[] = {
    {0, "Oper. alarm ID    ", TREL_TYPE_UINT32, READ_ONLY, uint32(0), lengthIs4, nullptr, false, 0},
    {1, "Oper. alarm name  ", TREL_TYPE_STRING, READ_ONLY, text(""), lengthAtMost31, nullptr, false, 0},
    {2, "Oper. alarm active", TREL_TYPE_BOOLEAN, READ_ONLY, boolean(false), lengthIs1, nullptr, false, 0},
};
const IfcCardVarDef VOLTAGE_MONITOR_DEVICE[] = {
    {0, "VoltageMonitorPresent", TREL_TYPE_BOOLEAN, READ_ONLY, boolean(false), nullptr, nullptr, false, 0},
    {1, "VoltageMonitorHwError", TREL_TYPE_BOOLEAN, READ_ONLY, boolean(false), nullptr, nullptr, false, 0},
    {2, "VoltageMonitorVersion", TREL_TYPE_STRING, READ_ONLY, text(""), nullptr, nullptr, false, 0},
    {3, "VoltageMonitorUpdateFailed", TREL_TYPE_BOOLEAN, READ_ONLY, boolean(false), nullptr, nullptr, false, 0},
};
// clang-format on

struct CardVarGroup {
  const IfcCardVarDef* rows;
  std::size_t count;
};

template <std::size_t N>
constexpr CardVarGroup group(const IfcCardVarDef (&rows)[N]) {
  return {rows, N};
}

constexpr CardVarGroup CARD_VAR_GROUPS[] = {
    group(CARD_INFORMATION),    group(CARD_STATUS),        group(CARD_CONTROL),           group(SOFTWARE_DOWNLOAD),
    group(TEMPERATURE_SENSORS), group(VOLTAGE_MONITORS),   group(FILE_TRANSFER),          group(LOG_RETRIEVAL),
    group(HARDWARE_ERRORS),     group(OPERATIONAL_ALARMS), group(VOLTAGE_MONITOR_DEVICE),
};
constexpr std::size_t CARD_VAR_GROUP_COUNT = sizeof CARD_VAR_GROUPS / sizeof CARD_VAR_GROUPS[0];

}  // namespace

const IfcCardVarDef* ifcCardVarDef(unsigned int groupNumber, unsigned int index) {
  if (groupNumber < 1 || groupNumber > CARD_VAR_GROUP_COUNT) return nullptr;
  const CardVarGroup& rows = CARD_VAR_GROUPS[groupNumber - 1];
  return index < rows.count ? &rows.rows[index] : nullptr;
}
