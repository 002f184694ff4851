// A card of every property kind for the fuzz targets, and a model of what it must answer.

#ifndef TESTS_FUZZ_SUPPORT_FUZZCARD_H
#define TESTS_FUZZ_SUPPORT_FUZZCARD_H

#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "trel/trelObjects.h"
#include "trel/trelProperty.h"
#include "trel/trelProtocolBase.h"

// One variable of the card, as a peer sees it.
struct CardVariable {
  std::uint32_t oid;
  std::uint8_t type;
  std::string value;  // on the wire
  bool readOnly = false;
  bool limited = false;  // only min to max may be written; of a text: no '!'
  long long min = 0;
  long long max = 0;
};

// Every variable with its value at the start: the nine numbers with and without limits, text, bytes, addresses, time, a table
// of four rows, and last the probe, which the good read behind each input asks for.
const std::vector<CardVariable>& cardVariables();

// How the card's application behaves; the same for the card and for the model of it.
struct CardBehaviour {
  bool answersHeaderErrors = true;
  bool servesOldStyle = true;  // overrides the hooks for OIDs that no object knows, and the one for autonomous messages
  bool acceptsEvents = true;   // what the hook for autonomous messages says
  bool refusesUpdated = false;  // `updated` of the variable 10800002 fails
  int sendResult = 1;           // what the transport returns
};

// What the application says to an OID that no object knows: a result code, and whether it then serves it.
int checkOfOldStyle(std::uint32_t oid);
bool servesOldStyleOid(std::uint32_t oid);

// ----- the card ------------------------------------------------------------------------------------------------------

class FuzzCard;

template <typename Object>
class HookedObject : public Object {
 public:
  using Object::Object;
  bool update(TrelProperty* property, unsigned int row) override;
  bool updated(TrelProperty* property, unsigned int row) override;
  FuzzCard* card = nullptr;
};

class NoExclamation : public StringProperty::StringValueCheck {
 public:
  bool checkValue(std::string value) override { return value.find('!') == std::string::npos; }
};

// What a hook of a target throws: nothing else may be thrown.
struct HookFailure {};

// What one datagram caused.
struct Handled {
  bool threw = false;  // the exception of a hook or of the allocator reached the caller
  int returned = 0;
  int answers = 0;
  std::string answer;  // the last one
};

// Asserts by itself whatever holds for all that is sent: it can be serialized, every byte of it was written, an answer belongs
// to a datagram that is being handled, is no longer than 1200 bytes to a read and 11 bytes to anything else.
class FuzzCard : public TrelProtocolBase {
 public:
  explicit FuzzCard(const CardBehaviour& behaviour);
  ~FuzzCard() override;
  // Sends what waits to be reported, so that the next input starts with nothing pending.
  void flush();

  // Hands a datagram to the engine in a heap block that ends where it ends. Asserts the number of answers: none to what is no
  // request and no header error, exactly one to a request, none when a hook threw before.
  Handled receive(std::string_view datagram, const char* sender);
  // Runs a client operation or an event scan, whose reply may be a datagram of any kind.
  Handled run(const std::function<int()>& operation);
  // How many datagrams and operations are being handled, one inside the other.
  std::size_t depth() const { return frames_.size(); }
  // A property of the engine's own, which it deletes when what waits to be reported has been sent.
  void report(std::unique_ptr<TrelProperty> property);
  // A read of the probe must be answered, literally.
  void mustAnswerTheNextRead();

  // The TLVs of all variables as they would be sent now, in the order of cardVariables().
  std::string snapshot();
  const std::vector<TrelProperty*>& properties() const { return properties_; }
  const std::vector<TrelObject*>& allObjects() const { return objects; }
  TrelScalar& scalar() { return scalar_; }
  TrelTable& table() { return table_; }

  int sendMsg(TRELMessage& message) override;

  // For the targets. Each may call the card again, change values where its place allows it, and throw.
  std::function<bool(TrelProperty*)> onUpdate;
  std::function<bool(TrelProperty*)> onUpdated;
  std::function<void()> whileSending;
  // What the transport puts into replyBuffer for a request; false: it leaves it as it is.
  std::function<bool(std::string& reply)> onRequest;

  CardBehaviour behaviour;
  bool allocatorFails = false;  // the target makes it fail: std::bad_alloc may be thrown
  // Sent so far. No vectors of strings: libFuzzer carries an instance of that template without exceptions, which the linker may
  // take for ours too, and which loses its block when memory runs out.
  std::deque<std::string> requests;
  std::deque<std::string> events;  // autonomous messages
  using TrelProtocolBase::messageIdCounter;
  using TrelProtocolBase::replyBuffer;

 private:
  void add(TrelObject& object, TrelProperty* property, unsigned int row);
  Handled inFrame(const std::function<int()>& call);

  NoExclamation noExclamation_;
  HookedObject<TrelScalar> scalar_{"scalar", 1, true};
  HookedObject<TrelTable> table_{"table", 3, false, 4};
  TrelScalar probeObject_{"probe", 2, false};
  TypeProperty<unsigned int>* probe_ = nullptr;
  std::vector<TrelProperty*> properties_;
  std::vector<Handled> frames_;
};

// The card whose application has the hooks that the engine may find not overridden.
class OldStyleFuzzCard : public FuzzCard {
 public:
  using FuzzCard::FuzzCard;
  int checkTlvOld(OldStyleProperty* property, bool isWrite) const override;
  bool handleTrelMsgOld(OldStyleProperty* property, bool isWrite) override;
  bool amiMessageHandler(std::vector<TrelProperty*> properties) override;

  // When it is set, asked instead of the fixed policy.
  std::function<bool(OldStyleProperty*)> onOldStyle;
  std::function<int(OldStyleProperty*)> onOldStyleCheck;
  std::function<bool()> onEvents;
};

// Takes the process to where every input finds it: five senders are known, the first event scan is over.
void prepareProcess();

// A card that behaves so.
std::unique_ptr<FuzzCard> makeCard(const CardBehaviour& behaviour);

// ----- the model -----------------------------------------------------------------------------------------------------

// What a datagram must cause.
struct Expected {
  int returned = 0;
  bool answered = false;
  std::string answer;
  bool followsSequence = false;  // its result is that of the sender's sequence: 0, 2, 3, 16 or 17, by what came before
};

// The rules for one datagram, over plain bytes; nothing of the library is asked. Its hooks change no value.
class CardModel {
 public:
  explicit CardModel(const CardBehaviour& behaviour) : behaviour_(behaviour), variables_(cardVariables()) {}

  Expected handle(std::string_view datagram);
  std::string snapshot() const;
  // The TLVs of these variables.
  std::string tlvs(const std::vector<std::size_t>& places) const;
  std::vector<CardVariable>& variables() { return variables_; }

 private:
  struct Entry {
    CardVariable* variable;  // null: old-style
    std::uint32_t oid;
    std::uint8_t type;
    std::string value;
  };
  CardVariable* find(std::uint32_t oid);
  static int formRefusal(const CardVariable& variable, const Entry& received);
  static bool mayBeWritten(const CardVariable& variable, std::string_view value);
  static std::string echo(const Entry& entry);
  Expected request(std::string_view datagram);
  bool receivedValues(std::string_view tlvs);

  CardBehaviour behaviour_;
  std::vector<CardVariable> variables_;
};

// Asserts that a datagram caused what it must.
void mustBe(const Handled& handled, const Expected& expected);

// How many answers a datagram must cause, when no hook throws.
int answersExpected(std::string_view datagram, bool answersHeaderErrors);

// A sender's address for a number: four that are known, one too many, none, an empty text and one that is no address.
const char* senderOf(unsigned int number);

// A number of the width, big-endian; and the number that stands there.
std::string bigEndian(std::uint64_t value, unsigned int width);
std::uint64_t bigEndianAt(std::string_view bytes, std::size_t place, unsigned int width);

// Bytes of heap in use, where a sanitizer counts them; elsewhere 0.
std::size_t heapInUse();

#endif
