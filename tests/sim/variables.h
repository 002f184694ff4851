// The variables of the simulated cards: what they are, and how the model judges their values, which it keeps as they lie on
// the wire.

#ifndef TESTS_SIM_VARIABLES_H
#define TESTS_SIM_VARIABLES_H

#include <memory>
#include <string>
#include <vector>

#include "sim/dice.h"
#include "trel/trelObjects.h"
#include "trel/trelProperty.h"

namespace sim {

inline constexpr unsigned int CARDS = 2;
inline constexpr unsigned int ROWS = 26;  // more eventable cells than one autonomous message waits for

struct VariableKind {
  const char* name;
  unsigned int id;  // of a scalar, or column
  TrelTlvType type;
  bool readOnly;
  bool eventable;
  bool checked;  // received values are limited: isAllowed
};

// Scalar variables of a card and the columns of its table, in ascending id.
const std::vector<VariableKind>& scalarKinds();
const std::vector<VariableKind>& columnKinds();

// Where the variables of card 0 or 1 lie.
unsigned int scalarOid(unsigned int card, unsigned int id);
unsigned int cellOid(unsigned int card, unsigned int column, unsigned int row);

// The value every variable of this kind starts with.
std::string startValue(const VariableKind& kind);
// Whether a peer may write this value; its length is right.
bool isAllowed(const VariableKind& kind, const std::string& value);
// Whether a TLV of this length is for a variable of this kind.
bool hasLength(const VariableKind& kind, unsigned int length);
// Whether the application's setter raises the event: numbers on a change, a MAC address when it is repeated, texts never.
bool raisesEvent(const VariableKind& kind, const std::string& before, const std::string& after);
// Any value that the application might set.
std::string anyValue(const VariableKind& kind, Dice& dice);

// A property of this kind, for TrelObject::addProp. `check` is for texts and must outlive it.
std::unique_ptr<TrelProperty> makeProperty(const VariableKind& kind, StringProperty::StringValueCheck& check);
// The application sets its value, by the setter of its type.
void setValue(TrelProperty& property, const VariableKind& kind, const std::string& value);

// The check of texts: no exclamation mark.
class NoExclamation : public StringProperty::StringValueCheck {
 public:
  bool checkValue(std::string value) override { return value.find('!') == std::string::npos; }
};

}  // namespace sim

#endif
