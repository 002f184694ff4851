// A message of every kind: any bytes as a datagram, header fields and TLVs against rules of their own, and back to the same
// bytes.
//
//   input   kind (0 of no kind, 1 request, 2 response, 3 autonomous message), hooks (0 no engine, 1 an engine whose hooks are
//           not overridden, 2 refuse, 3 accept), and the datagram
//
// A datagram that is shorter than its kind's header is not handed over: the engine looks at that before.

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "support/exactBlock.h"
#include "support/fuzzInput.h"
#include "support/logCapture.h"
#include "support/promise.h"
#include "support/recordingEngine.h"
#include "support/valueOracle.h"
#include "trel/trelObjects.h"
#include "trel/trelProperty.h"
#include "trel/trelmsg.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace {

using namespace oracle;

constexpr unsigned char FILLING = 0xA5;
constexpr std::size_t COMMON_HEADER = 8;
constexpr char SENDER[] = "10.0.0.1";

// ----- header --------------------------------------------------------------------------------------------------------

enum Kind : unsigned int { NO_KIND, REQUEST, RESPONSE, AMI };
constexpr std::array<std::size_t, 4> HEADER = {0, 8, 11, 16};

std::unique_ptr<TRELMessage> make(Kind kind) {
  switch (kind) {
    case NO_KIND:
      return std::make_unique<TRELMessage>(SENDER);
    case REQUEST:
      return std::make_unique<TRELRequest>(SENDER);
    case RESPONSE:
      return std::make_unique<TRELResponse>(SENDER);
    default:
      return std::make_unique<TRELAmi>(SENDER);
  }
}

int expectedResult(std::string_view datagram) {
  if (datagram.substr(0, 4) != "OTN1") return RESULT_WRONG_MAGIC;
  if (datagram[4] != 1) return RESULT_PROTOCOL_VERSION_MISMATCH;
  return datagram[5] >= 1 && datagram[5] <= 5 ? RESULT_OK : RESULT_INVALID_ACTION;
}

void checkKindFields(const TRELMessage& message, std::string_view fields) {
  if (const auto* response = dynamic_cast<const TRELResponse*>(&message)) {
    PROMISE(static_cast<unsigned int>(response->result) == numberIn(fields, 1), "the result is one byte");
    PROMISE(response->errorTlvIndex == numberIn(fields.substr(1), 2), "the index is two bytes");
  }
  if (const auto* ami = dynamic_cast<const TRELAmi*>(&message)) {
    PROMISE(ami->timeSec == numberIn(fields, 4) && ami->timeUsec == numberIn(fields.substr(4), 4),
            "the time is 4 and 4 bytes");
  }
}

// Fields of the kind are read from a good header alone; in a bad one they stay 0.
void checkHeader(TRELMessage& message, Kind kind, const ExactBlock& datagram) {
  const std::string_view bytes = datagram.view();
  const std::size_t headerLen = std::max(HEADER[kind], COMMON_HEADER);
  const int result = message.deserialize(datagram.data(), datagram.length());
  PROMISE(result == expectedResult(bytes), "magic, version and action are judged in this order");
  PROMISE(message.magicNbr == numberIn(bytes, 4) && message.protVersion == numberIn(bytes.substr(4), 1) &&
              message.action == numberIn(bytes.substr(5), 1) && message.msgId == numberIn(bytes.substr(6), 2),
          "the header fields are the datagram's, whatever the result is");
  PROMISE(message.buffer == datagram.data() && message.bufferLen == datagram.length(),
          "the message knows where it lies");
  PROMISE(message.headerLen == static_cast<int>(HEADER[kind]) && message.sender == SENDER, "kind and sender stay");
  PROMISE(message.properties.empty(), "the TLVs are not looked at");

  std::string header(bytes.substr(0, headerLen));
  if (result != RESULT_OK) std::fill(header.begin() + COMMON_HEADER, header.end(), '\0');
  checkKindFields(message, std::string_view(header).substr(COMMON_HEADER));

  ExactBlock back(headerLen, FILLING);
  PROMISE(!message.serialize(back.data(), back.length() - 1) &&
              back.view() == std::string(headerLen, static_cast<char>(FILLING)),
          "a place one byte too small is refused, and nothing is written");
  PROMISE(message.serialize(back.data(), back.length()) && back.view() == header,
          "a header is written back as it came");
}

// ----- TLVs ----------------------------------------------------------------------------------------------------------

std::vector<Record> wholeTlvs(std::string_view area) {
  std::vector<Record> tlvs;
  while (area.size() >= HEAD) {
    Record tlv;
    tlv.oid = static_cast<unsigned int>(numberIn(area, 4));
    tlv.type = static_cast<unsigned char>(area[4]);
    tlv.len = static_cast<unsigned short>(numberIn(area.substr(5), 2));
    if (tlv.len > area.size() - HEAD) break;
    tlv.value = area.substr(HEAD, tlv.len);
    area.remove_prefix(HEAD + tlv.len);
    tlvs.push_back(std::move(tlv));
  }
  return tlvs;
}

// Announces one length and writes another, but never more than there is room for.
class Liar : public TrelProperty {
 public:
  explicit Liar(int written) : TrelProperty(ID, "liar", IFC_CARD_VAR_READ_WRITE, false), written_(written) {}

  static constexpr unsigned int ID = 9;
  bool isDefault() override { return false; }
  int serialize(char* buf, int size) override {
    std::fill_n(buf, std::clamp(written_, 0, size), 'x');
    return written_;
  }
  int deserialize(const char*) override { return 0; }
  int length() override { return 1; }
  int getType() override { return 3; }
  std::string str() const override { return name; }

 private:
  int written_;
};

// Old-style properties read and write TLVs of every type and length, so a whole message comes back byte for byte.
void checkSerialize(TRELMessage& message, Kind kind, std::string_view bytes, const std::vector<Record>& tlvs) {
  const std::size_t headerLen = HEADER[kind];
  std::vector<std::unique_ptr<OldStyleProperty>> properties;
  std::string expected(bytes.substr(0, headerLen));
  for (const Record& tlv : tlvs) {
    ExactBlock block(tlv.bytes());
    properties.push_back(std::make_unique<OldStyleProperty>(reinterpret_cast<trel_tlv*>(block.data()), false));
    properties.back()->deserialize(block.data());
    PROMISE(message.addProperty(properties.back().get()), "a message takes every property");
    expected += block.view();
  }
  PROMISE(message.countTlvs(99) == static_cast<int>(tlvs.size()), "the TLVs are counted");
  PROMISE(message.sizeOfTlvs() == static_cast<int>(expected.size() - headerLen),
          "their size is the sum of length and 7");

  ExactBlock out(expected.size() + 1, FILLING);
  const int needed = static_cast<int>(expected.size());
  PROMISE(
      !message.serialize(out.data(), needed - 1) && out.view() == std::string(out.size(), static_cast<char>(FILLING)),
      "a place one byte too small is refused, and nothing is written");
  PROMISE(message.serialize(out.data(), needed), "a place of just the size is enough");
  PROMISE(out.view() == expected + static_cast<char>(FILLING),
          "a message is written back as it came, and nothing behind it");

  constexpr std::array<int, 3> WRITTEN = {-1, 7, 8};  // the last one is what it announces
  const int written = WRITTEN[tlvs.size() % WRITTEN.size()];
  Liar liar(written);
  message.addProperty(&liar);
  ExactBlock more(expected.size() + HEAD + 1, FILLING);
  PROMISE(message.serialize(more.data(), more.length()) == (written == 8),
          "a property that writes another length than it announces fails");
  message.properties.clear();
}

// ----- a request's check and its execution ---------------------------------------------------------------------------

enum Hooks : unsigned int { NO_ENGINE, NOT_OVERRIDDEN, REFUSING, ACCEPTING };

class HookedEngine : public RecordingEngine {
 public:
  explicit HookedEngine(bool accepts) : accepts_(accepts) {}
  int checkTlvOld(OldStyleProperty*, bool) const override { return accepts_ ? 0 : 12; }
  bool handleTrelMsgOld(OldStyleProperty*, bool) override { return true; }

 private:
  bool accepts_;
};

std::unique_ptr<TrelProtocolBase> engineWith(Hooks hooks) {
  if (hooks == NO_ENGINE) return nullptr;
  if (hooks == NOT_OVERRIDDEN) return std::make_unique<RecordingEngine>();
  return std::make_unique<HookedEngine>(hooks == ACCEPTING);
}

// A scalar with a number, a text, a read-only number and an address.
class Card {
 public:
  static constexpr unsigned int GROUP = COMMON | 1U << 23;

  Card() : scalar_("scalar", 1, true) {
    scalar_.addProp(new TypeProperty<unsigned int>(1, "number", IFC_CARD_VAR_READ_WRITE, 0x01020304U), 0);
    scalar_.addProp(new StringProperty(2, "text", IFC_CARD_VAR_READ_WRITE, "text"), 0);
    scalar_.addProp(new TypeProperty<unsigned short>(3, "constant", IFC_CARD_VAR_READ_ONLY, 0x0506), 0);
    scalar_.addProp(new MacAddressProperty(4, "address", IFC_CARD_VAR_READ_WRITE, std::string("1:2:3:4:5:6"), false),
                    0);
    wire = {{GROUP | 1, {1, "\x01\x02\x03\x04"}},
            {GROUP | 2, {9, "text"}},
            {GROUP | 3, {2, "\x05\x06"}},
            {GROUP | 4, {13, "\x01\x02\x03\x04\x05\x06"}}};
  }

  TrelProperty* find(unsigned int oid) { return wire.count(oid) != 0 ? scalar_.getPropFromOID(oid) : nullptr; }

  // What each must hold: type and value.
  std::map<unsigned int, std::pair<unsigned char, std::string>> wire;

  void check() {
    for (const auto& [oid, held] : wire) {
      const std::string expected =
          bigEndian(oid, 4) + bigEndian(held.first, 1) + bigEndian(held.second.size(), 2) + held.second;
      ExactBlock out(expected.size(), FILLING);
      PROMISE(
          scalar_.getPropFromOID(oid)->serialize(out.data(), out.length()) == out.length() && out.view() == expected,
          "a property holds what was last accepted for it");
    }
  }

 private:
  TrelScalar scalar_;
};

int failureOf(const Record& tlv, const Card& card, bool isWrite, Hooks hooks) {
  const auto known = card.wire.find(tlv.oid);
  if (known == card.wire.end()) {
    if (hooks == NO_ENGINE || hooks == ACCEPTING) return RESULT_OK;
    return hooks == NOT_OVERRIDDEN ? RESULT_GENERAL_ERROR : RESULT_CANNOT_EXEC;
  }
  const auto& [type, value] = known->second;
  if (!isWrite) return RESULT_OK;
  if (tlv.type != type) return RESULT_WRONG_TYPE;
  if (type != 9 && tlv.len != value.size()) return RESULT_WRONG_LEN;
  return tlv.oid == (Card::GROUP | 3) ? RESULT_READ_ONLY : RESULT_OK;
}

// As the engine does with a request whose TLVs are all whole: one property for each TLV, then the check, then the values.
void checkTlvs(TRELMessage& message, const std::vector<Record>& tlvs, Hooks hooks) {
  Card card;
  const std::unique_ptr<TrelProtocolBase> engine = engineWith(hooks);
  const bool isWrite = message.action == 2;
  std::vector<std::unique_ptr<OldStyleProperty>> unknown;
  int expected = RESULT_OK;
  int position = -1;
  bool handled = true;  // as far as the first property that no hook takes
  for (const Record& tlv : tlvs) {
    TrelProperty* property = card.find(tlv.oid);
    if (property == nullptr) {
      ExactBlock block(tlv.bytes());
      unknown.push_back(std::make_unique<OldStyleProperty>(reinterpret_cast<trel_tlv*>(block.data()), false));
      property = unknown.back().get();
    }
    message.addProperty(property);
    if (expected != RESULT_OK) continue;
    expected = failureOf(tlv, card, isWrite, hooks);
    if (expected != RESULT_OK) position = message.countTlvs(0) - 1;
  }

  int index = -1;
  PROMISE(message.checkTlvs(index, engine.get()) == expected, "the first TLV that fails decides");
  PROMISE(index == position, "and its position is told, and no other");
  card.check();
  if (expected == RESULT_OK && isWrite) {
    for (const Record& tlv : tlvs) {
      const auto known = card.wire.find(tlv.oid);
      if (known == card.wire.end()) handled = handled && hooks == ACCEPTING;
      if (known != card.wire.end() && handled) known->second.second = tlv.value;
    }
    PROMISE(message.deserializeTlvs(engine.get()) == handled,
            "a property without object and without a hook ends the writing");
    card.check();
  }
  message.properties.clear();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  FuzzInput input(data, size);
  const LogCapture log(logLevel(size));
  const Kind kind = static_cast<Kind>(input.below(4));
  const Hooks hooks = static_cast<Hooks>(input.below(4));
  const ExactBlock datagram(input.rest());
  if (datagram.size() < std::max(HEADER[kind], COMMON_HEADER)) return 0;

  const std::unique_ptr<TRELMessage> message = make(kind);
  checkHeader(*message, kind, datagram);
  if (kind == NO_KIND || expectedResult(datagram.view()) != RESULT_OK) return 0;
  const std::vector<Record> tlvs = wholeTlvs(datagram.view().substr(HEADER[kind]));
  checkSerialize(*message, kind, datagram.view(), tlvs);
  checkTlvs(*message, tlvs, hooks);
  return 0;
}
