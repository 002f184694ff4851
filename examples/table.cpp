// A table: a fixed number of rows of the same columns. The manager reads all of it, then writes one cell.
#include <cstdio>
#include <string>

#include "localManager.h"

constexpr unsigned int PORTS = 4;

class Ports : public TrelTable {
 public:
  enum Column : unsigned int { LABEL = 1, SPEED = 2, ENABLED = 3 };

  Ports() : TrelTable("ports", 3, false, PORTS) {
    for (unsigned int row = 0; row < PORTS; ++row) {  // each cell is a property of its own
      addProp(new StringProperty(LABEL, "label", IFC_CARD_VAR_READ_ONLY, ""), row);
      addProp(new TypeProperty<unsigned short>(SPEED, "speed", IFC_CARD_VAR_READ_ONLY, 0), row);
      addProp(new TypeProperty<bool>(ENABLED, "enabled", IFC_CARD_VAR_READ_WRITE, false), row);
    }
  }

  void print() {
    for (unsigned int row = 0; row < PORTS; ++row) {
      std::string label;
      unsigned short speed = 0;
      bool enabled = false;
      getProp(LABEL, row)->get(&label);
      getProp(SPEED, row)->get(&speed);
      getProp(ENABLED, row)->get(&enabled);
      std::printf("%-7s %5d  %s\n", label.c_str(), speed, enabled ? "enabled" : "disabled");
    }
  }
};

int main() {
  Ports ports;
  for (unsigned int row = 0; row < PORTS; ++row) {
    ports.getProp(Ports::LABEL, row)->set("port " + std::to_string(row + 1));
    ports.getProp(Ports::SPEED, row)->set(static_cast<unsigned short>(row < 2 ? 1000 : 10000));
  }
  TrelUdp card;
  card.registerObject(&ports);
  card.initEvents();

  Ports mirror;
  LocalManager manager(card);
  manager.registerObject(&mirror);
  if (!manager.connect() || manager.readObject(mirror) != 1) return 1;  // 150 cells at most in one request
  mirror.print();

  TrelProperty* enabled = mirror.getProp(Ports::ENABLED, 2);
  enabled->set(true);
  if (manager.writeProperty(*enabled) != 1) return 1;  // one cell; the others stay as they are
  std::printf("\nafter writing row 2, column %u, OID 0x%08X, the card has:\n", enabled->id, enabled->getOid());
  ports.print();
  return 0;
}
