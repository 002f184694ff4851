// Sampled values: counters that nobody sets but that are looked at now and then. An EventValueTable remembers what was
// reported last, checkForEvent compares and reports what differs. For unsigned numbers of any width.
#include <cstdio>

#include "trelUdp/trelUdp.h"

constexpr unsigned int PORTS = 4, PORT_TABLE = 3, ERRORS = 1;  // rows, table id, its one column

class Ports : public TrelTable {
 public:
  unsigned int hardware[PORTS] = {5, 0, 7, 0};  // stands for the registers

  Ports() : TrelTable("ports", PORT_TABLE, false, PORTS) {
    for (unsigned int row = 0; row < PORTS; ++row)
      addProp(new TypeProperty<unsigned int>(ERRORS, "errors", IFC_CARD_VAR_READ_ONLY, 0u), row);
  }
  bool update(TrelProperty* property, unsigned int row) override {
    property->set(hardware[row]);
    return true;
  }
};

class Card : public TrelUdp {
 public:
  explicit Card(Ports& ports) : ports_(ports) {
    registerObject(&ports_);
    initEvents();   // again, because during the construction of TrelUdp it did not reach the one below
    sample(false);  // what there is at the start is no news
  }
  bool initEventsCore() override {
    eventTables[0] = new EventValueTable(ports_.common, PORTS, PORT_TABLE);  // the engine's from now on
    return true;
  }
  void sample(bool report) {
    ports_.updateAll();
    for (unsigned int row = 0; row < PORTS; ++row)
      checkForEvent(eventTables[0]->getValuePtr(static_cast<int>(row)), ports_.getProp(ERRORS, row), report, false);
    checkForEvent(nullptr, nullptr, report, true);  // sends what was found, in one message; nothing when nothing was
  }

 private:
  Ports& ports_;
};

class Manager : public TrelUdp {
 public:
  int reported = 0;
  bool amiMessageHandler(std::vector<TrelProperty*> properties) override {
    for (const TrelProperty* property : properties)
      std::printf("row %u: %s", property->row, property->str().c_str());
    reported += static_cast<int>(properties.size());
    return true;
  }
};

int main() {
  Ports mirror;
  Manager manager;
  manager.registerObject(&mirror);
  Ports ports;
  Card card(ports);
  if (!manager.open() || !card.open() || !card.setEventReceiver("127.0.0.1", manager.port())) return 1;

  ports.hardware[1] = 3;
  ports.hardware[2] = 8;
  card.sample(true);  // a card does this at its own period
  card.sample(true);  // nothing new
  if (!manager.waitForDatagram(1000)) return 1;
  manager.handleDatagrams();
  return manager.reported == 2 && card.counters().amisSent == 1 ? 0 : 1;
}
