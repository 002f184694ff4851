#include "support/fuzzCard.h"

#include <new>
#include <utility>

#include "support/bytes.h"
#include "support/exactBlock.h"
#include "support/promise.h"

namespace {

constexpr std::uint32_t REFUSES_UPDATED = 0x10800002;

std::string serialized(const TRELMessage& message, unsigned char filling) {
  ExactBlock block(static_cast<std::size_t>(message.headerLen + message.sizeOfTlvs()), filling);
  PROMISE(message.serialize(block.data(), block.length()), "what is sent fits into the bytes that it asks for");
  return std::string(block.view());
}

}  // namespace

template <typename Object>
bool HookedObject<Object>::update(TrelProperty* property, unsigned int) {
  return card->onUpdate == nullptr || card->onUpdate(property);
}

template <typename Object>
bool HookedObject<Object>::updated(TrelProperty* property, unsigned int) {
  if (card->onUpdated != nullptr) return card->onUpdated(property);
  return !(card->behaviour.refusesUpdated && property->getOid() == REFUSES_UPDATED);
}

template class HookedObject<TrelScalar>;
template class HookedObject<TrelTable>;

FuzzCard::FuzzCard(const CardBehaviour& how) : TrelProtocolBase(how.answersHeaderErrors), behaviour(how) {
  constexpr IfcCardVarAccessType RW = IFC_CARD_VAR_READ_WRITE;
  constexpr IfcCardVarAccessType RO = IFC_CARD_VAR_READ_ONLY;
  unsigned char address[6] = {1, 2, 3, 4, 5, 6};

  // In the order of cardVariables().
  add(scalar_, new TypeProperty<unsigned long long>(0, "u64", RW, 1, true), 0);
  add(scalar_, new TypeProperty<unsigned int>(1, "u32", RW, 1, new RangeCheckValue<unsigned int>(0, 0x7FFFFFFF)), 0);
  add(scalar_, new TypeProperty<unsigned short>(2, "u16", RW, 1, true), 0);
  add(scalar_, new TypeProperty<unsigned char>(3, "u8", RW, 1, new RangeCheckValue<unsigned char>(0, 200)), 0);
  add(scalar_, new TypeProperty<long long>(4, "i64", RW, -1, new RangeCheckValue<long long>(-1000000, 1000000)), 0);
  add(scalar_, new TypeProperty<int>(5, "i32", RW, -1, true), 0);
  add(scalar_, new TypeProperty<short>(6, "i16", RW, -1, new RangeCheckValue<short>(-100, 100)), 0);
  add(scalar_, new TypeProperty<signed char>(7, "i8", RW, -1, new RangeCheckValue<signed char>(-10, 10)), 0);
  add(scalar_, new TypeProperty<bool>(8, "flag", RW, true, true), 0);
  add(scalar_, new StringProperty(9, "text", RW, "text", &noExclamation_, true), 0);
  add(scalar_, new ArrayProperty(10, "bytes", RW, true), 0);
  add(scalar_, new MacAddressProperty(11, "mac", RW, address, true), 0);
  add(scalar_, new IpAddressProperty(12, "ip", RW, 0x0A000001U, true), 0);
  add(scalar_, new UnixTimeProperty(13, "time", RW, 1, true), 0);
  add(scalar_, new TypeProperty<unsigned int>(14, "fixed", RO, 1), 0);
  add(scalar_, new StringProperty(15, "fixed text", RO, "fixed"), 0);
  add(scalar_,
      new TypeProperty<unsigned long long>(16, "u64 limited", RW, 1,
                                           new RangeCheckValue<unsigned long long>(1, 0x7FFFFFFFFFFFFFFF)),
      0);
  add(scalar_, new TypeProperty<unsigned short>(17, "u16 limited", RW, 10, new RangeCheckValue<unsigned short>(10, 20)),
      0);
  add(scalar_, new TypeProperty<int>(18, "i32 limited", RW, 0, new RangeCheckValue<int>(-5, 5)), 0);
  for (unsigned int row = 0; row < 4; ++row) {
    add(table_, new TypeProperty<unsigned int>(0, "cell", RW, row, true), row);
    add(table_, new StringProperty(1, "label", RW, "label"), row);
    add(table_, new MacAddressProperty(2, "port", RW, address, false), row);
  }
  probe_ = new TypeProperty<unsigned int>(20, "probe", RO, 7);
  add(probeObject_, probe_, 0);

  scalar_.card = table_.card = this;
  registerObject(&scalar_);
  registerObject(&table_);
  registerObject(&probeObject_);
}

FuzzCard::~FuzzCard() {
  flush();
  // A flush with nothing counted leaves them; their destructor takes them out of what waits.
  for (TrelProperty* property : amiOwnedProperties)
    delete property;
}

void FuzzCard::flush() {
  whileSending = nullptr;
  checkForEvent(nullptr, nullptr, false, true);
}

void FuzzCard::report(std::unique_ptr<TrelProperty> property) {
  amiOwnedProperties.push_back(property.get());
  addToAmi(property.release(), false);
}

void FuzzCard::add(TrelObject& object, TrelProperty* property, unsigned int row) {
  PROMISE(object.addProp(property, row), "the card is whole");
  properties_.push_back(property);
}

int FuzzCard::sendMsg(TRELMessage& message) {
  const std::string bytes = serialized(message, 0xA5);
  PROMISE(bytes == serialized(message, 0x5A), "no byte is sent that nobody wrote");
  if (message.msgKind == TREL_KIND_RESPONSE) {
    PROMISE(!frames_.empty(), "an answer belongs to a datagram");
    PROMISE(bytes.size() <= (message.action == TREL_ACTION_READ_RESPONSE ? 1200U : 11U), "an answer keeps its size");
  } else if (message.msgKind == TREL_KIND_REQUEST) {
    requests.push_back(bytes);
    std::string reply;
    if (onRequest != nullptr && onRequest(reply)) replyBuffer = reply;
  } else {
    events.push_back(bytes);
  }
  if (whileSending != nullptr) whileSending();
  if (message.msgKind == TREL_KIND_RESPONSE) {  // sent, now that nothing threw
    frames_.back().answer = bytes;
    ++frames_.back().answers;
  }
  return behaviour.sendResult;
}

Handled FuzzCard::inFrame(const std::function<int()>& call) {
  frames_.emplace_back();
  const std::size_t depth = frames_.size();
  int returned = 0;
  bool threw = false;
  try {
    returned = call();
  } catch (const HookFailure&) {
    threw = true;
  } catch (const std::bad_alloc&) {
    PROMISE(allocatorFails, "memory does not run out by itself");
    threw = true;
  }
  PROMISE(frames_.size() == depth, "every call ends before the one that it was made in");
  Handled handled = std::move(frames_.back());  // without asking for memory, which may have run out
  frames_.pop_back();
  handled.returned = returned;
  handled.threw = threw;
  return handled;
}

Handled FuzzCard::receive(std::string_view datagram, const char* sender) {
  const ExactBlock block(datagram);
  Handled handled = inFrame([&] { return handleTrelMsg(block.length(), block.data(), sender); });
  PROMISE(block.view() == datagram, "a datagram is only read");
  const int expected = answersExpected(datagram, behaviour.answersHeaderErrors);
  if (handled.threw) {
    PROMISE(handled.answers == 0, "a datagram whose handling a hook ends is not answered");
  } else {
    PROMISE(handled.answers == expected, "a request is answered once, anything else never");
  }
  return handled;
}

Handled FuzzCard::run(const std::function<int()>& operation) {
  Handled handled = inFrame(operation);
  PROMISE(handled.answers <= 1, "a reply causes at most one answer");
  return handled;
}

void FuzzCard::mustAnswerTheNextRead() {
  onUpdate = nullptr;
  whileSending = nullptr;
  behaviour.sendResult = 1;
  probe_->set(0xC0FFEE01U);
  const Handled handled = receive("4F544E31 01 01 1234 | 01000014 01 0000"_hex, "10.0.0.1");
  const Expected expected{1, true, "4F544E31 01 03 1234 00 0000 | 01000014 01 0004 C0FFEE01"_hex, true};
  mustBe(handled, expected);
}

std::string FuzzCard::snapshot() {
  std::string state;
  for (TrelProperty* property : properties_) {
    ExactBlock block(static_cast<std::size_t>(TREL_TLV_HEAD_LEN + property->length()));
    PROMISE(property->serialize(block.data(), block.length()) == block.length(),
            "a property has the length that it tells");
    state += block.view();
  }
  return state;
}

int OldStyleFuzzCard::checkTlvOld(OldStyleProperty* property, bool) const {
  return onOldStyleCheck != nullptr ? onOldStyleCheck(property) : checkOfOldStyle(property->id);
}

bool OldStyleFuzzCard::handleTrelMsgOld(OldStyleProperty* property, bool) {
  return onOldStyle != nullptr ? onOldStyle(property) : servesOldStyleOid(property->id);
}

bool OldStyleFuzzCard::amiMessageHandler(std::vector<TrelProperty*>) {
  return onEvents != nullptr ? onEvents() : behaviour.acceptsEvents;
}

void prepareProcess() {
  static const bool prepared = [] {
    FuzzCard card{CardBehaviour()};
    for (const char* sender : {"10.0.0.1", "10.0.0.2", "10.0.0.3", "10.0.0.4", "10.0.0.5"})
      card.receive("4F544E31 01 01 0001"_hex, sender);
    card.eventHandler();
    return true;
  }();
  static_cast<void>(prepared);
}

std::unique_ptr<FuzzCard> makeCard(const CardBehaviour& behaviour) {
  prepareProcess();
  if (behaviour.servesOldStyle) return std::make_unique<OldStyleFuzzCard>(behaviour);
  return std::make_unique<FuzzCard>(behaviour);
}
