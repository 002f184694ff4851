// A card that answers requests: its objects, its hooks and how a test asks it.

#ifndef TESTS_UNIT_TRELPROTOCOLBASE_REQUESTCARD_H
#define TESTS_UNIT_TRELPROTOCOLBASE_REQUESTCARD_H

#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "support/bytes.h"
#include "support/logCapture.h"
#include "support/logSelection.h"
#include "support/recordingEngine.h"

using Number = TypeProperty<unsigned int>;
using Octet = TypeProperty<unsigned char>;

// A scalar or a table (Base) whose two hooks are overridden and do what a test puts into them.
template <typename Base>
class Hooked : public Base {
 public:
  using Base::Base;

  bool update(TrelProperty* property, unsigned int row) override { return !onUpdate || onUpdate(property, row); }
  bool updated(TrelProperty* property, unsigned int row) override { return !onUpdated || onUpdated(property, row); }

  std::function<bool(TrelProperty* property, unsigned int row)> onUpdate;
  std::function<bool(TrelProperty* property, unsigned int row)> onUpdated;
};

// An engine that overrides both hooks for OIDs that no registered object knows. Empty, they accept.
class OldStyleEngine : public RecordingEngine {
 public:
  int checkTlvOld(OldStyleProperty* property, bool isWrite) const override {
    return onCheck ? onCheck(property, isWrite) : RESULT_OK;
  }
  bool handleTrelMsgOld(OldStyleProperty* property, bool isWrite) override {
    return !onHandle || onHandle(property, isWrite);
  }

  std::function<int(OldStyleProperty* property, bool isWrite)> onCheck;
  std::function<bool(OldStyleProperty* property, bool isWrite)> onHandle;
};

// One common scalar, group 1, and one table, 3, of which every row has the same two columns. OIDs:
//
//   10800005  temperature  UINT32  42        10800008  serial  UINT32  4711, read-only
//   10800006  fan          UINT8    7        40C04000 + row  current  UINT16  0x0102
//   10800007  label        STRING  ab        40C08000 + row  limit    UINT16  0x0304
template <typename Engine = RecordingEngine>
struct CardOf {
  CardOf() {
    scalar.addProp(temperature, 0);
    scalar.addProp(fan, 0);
    scalar.addProp(label, 0);
    scalar.addProp(serial, 0);
    for (unsigned int row = 0; row < table.rowCount; ++row) {
      table.addProp(new TypeProperty<unsigned short>(1, "current", IFC_CARD_VAR_READ_WRITE, 0x0102), row);
      table.addProp(new TypeProperty<unsigned short>(2, "limit", IFC_CARD_VAR_READ_WRITE, 0x0304), row);
    }
    engine.registerObject(&scalar);
    engine.registerObject(&table);
  }

  Hooked<TrelScalar> scalar{"card", 1, true};
  Hooked<TrelTable> table{"ports", 3, false, 8};
  Number* temperature = new Number(5, "temperature", IFC_CARD_VAR_READ_WRITE, 42U);
  Octet* fan = new Octet(6, "fan", IFC_CARD_VAR_READ_WRITE, 7);
  StringProperty* label = new StringProperty(7, "label", IFC_CARD_VAR_READ_WRITE, "ab");
  Number* serial = new Number(8, "serial", IFC_CARD_VAR_READ_ONLY, 4711U);
  Engine engine;
};

using Card = CardOf<RecordingEngine>;
// The same with hooks for OIDs that no object knows. The tests take 02000001 and following for such.
using OldStyleCard = CardOf<OldStyleEngine>;

inline std::string textOf(StringProperty& property) {
  std::string text;
  property.get(&text);
  return text;
}

// The address that `ask` asks from.
inline constexpr const char* ASKER = "10.0.0.1";

// Sends a request whose bytes 6 and 7 are replaced by an id that is in sequence with those of all former calls, expects
// exactly one answer that carries this id and goes to ASKER, and returns it without magic, version and id:
//
//     EXPECT_EQ(ask(card.engine, "4F544E31 01 01 0000 | 10800005 01 0000"_hex),
//               "03 00 0000 | 10800005 01 0004 0000002A");          action, result, index | TLVs
//
// Anything else is returned as a text that no answer looks like.
inline std::string ask(RecordingEngine& engine, std::string request) {
  static unsigned int id = 0;
  ++id;
  request.at(6) = static_cast<char>(id >> 8);
  request.at(7) = static_cast<char>(id);
  engine.forget();
  engine.receive(request, ASKER);
  if (engine.messages.size() != 1) return "(" + std::to_string(engine.messages.size()) + " answers)";
  const SentMessage& answer = engine.messages.front();
  if (answer.sender != ASKER) return "(answer to " + answer.sender + ")";
  if (!answer.whole || answer.kind != TREL_KIND_RESPONSE) return answer.datagram;
  if (answer.bytes.compare(0, 5, "4F544E31 01"_hex) != 0 || answer.bytes.compare(6, 2, request, 6, 2) != 0) {
    return "(wrong header) " + answer.datagram;
  }
  return asText(answer.bytes.substr(5, 1)) + answer.datagram.substr(std::string("4F544E31 01 03 0000").size());
}

#endif
