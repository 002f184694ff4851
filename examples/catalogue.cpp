// The catalogue of the legacy card variables: what there is in each of its eleven groups, with type, access, default and checks.
// It carries no OIDs: which variable a TLV is about is the application's.
#include <cstdio>
#include <string>

#include "trel/trelProtocolBase.h"

// The default has the C++ type that belongs to `type`; TRELTlv turns the same types into text.
std::string defaultText(const boost::any& value) {
  TRELTlv tlv;
  if (const auto* text = boost::any_cast<std::string>(&value)) return "\"" + *text + "\"";
  if (const auto* flag = boost::any_cast<bool>(&value)) tlv.setValue(*flag);
  if (const auto* number = boost::any_cast<unsigned char>(&value)) tlv.setValue(*number);
  if (const auto* number = boost::any_cast<unsigned int>(&value)) tlv.setValue(*number);
  if (const auto* number = boost::any_cast<unsigned long long>(&value)) tlv.setValue(*number);
  if (const auto* number = boost::any_cast<int>(&value)) tlv.setValue(*number);
  return tlv.valToString();
}

// A check answers true for what is NOT acceptable, and one that is null accepts everything.
bool acceptable(const IfcCardVarDef& variable, unsigned int length, boost::any value) {
  if (variable.lengthCheck != nullptr && variable.lengthCheck(length)) return false;
  return variable.valueCheck == nullptr || !variable.valueCheck(value);
}

int main() {
  int count = 0;
  for (unsigned int group = 1; group <= 11; ++group) {
    for (unsigned int index = 0; ifcCardVarDef(group, index) != nullptr; ++index)
      ++count;
  }
  std::printf("%d variables; group 3, card control:\n", count);

  for (unsigned int index = 0; const IfcCardVarDef* variable = ifcCardVarDef(3, index); ++index) {
    std::printf("%u  %-8s  type %2u  %s  default %s\n", variable->index, variable->name, variable->type,
                variable->accessType == IFC_CARD_VAR_READ_ONLY ? "read only " : "read-write",
                defaultText(variable->defaultValue).c_str());
  }

  const IfcCardVarDef* clock = ifcCardVarDef(3, 2);
  if (clock == nullptr) return 1;
  const bool takes3 = acceptable(*clock, 1, static_cast<unsigned char>(3));
  const bool takes4 = acceptable(*clock, 1, static_cast<unsigned char>(4));
  std::printf("%s: 3 is %s, 4 is %s\n", clock->name, takes3 ? "accepted" : "refused", takes4 ? "accepted" : "refused");
  return count == 59 && takes3 && !takes4 ? 0 : 1;
}
