// Events: a card reports what has changed, unasked; a manager is told. An eventable property raises its event when set()
// changes it, and eventHandler(), called at the card's own period, sends all that were raised in one autonomous message.
#include <cstdio>
#include <string>

#include "trelUdp/trelUdp.h"

class Alarms : public TrelScalar {
 public:
  enum Variable : unsigned int { DOOR_OPEN = 1, FANS_FAILED = 2, LAST_WORDS = 3 };

  Alarms() : TrelScalar("alarms", 9, false) {
    const bool eventable = true;
    addProp(new TypeProperty<bool>(DOOR_OPEN, "doorOpen", IFC_CARD_VAR_READ_ONLY, false, eventable), 0);
    addProp(new TypeProperty<unsigned int>(FANS_FAILED, "fansFailed", IFC_CARD_VAR_READ_ONLY, 0u, eventable), 0);
    addProp(new StringProperty(LAST_WORDS, "lastWords", IFC_CARD_VAR_READ_ONLY, ""), 0);
  }
};

class Manager : public TrelUdp {
 public:
  int reported = 0;

  // The values are stored already; these are the properties that they went to.
  bool amiMessageHandler(std::vector<TrelProperty*> properties) override {
    std::printf("a report of %d\n", static_cast<int>(properties.size()));
    for (const TrelProperty* property : properties)
      std::fputs(property->str().c_str(), stdout);
    reported += static_cast<int>(properties.size());
    return true;
  }
};

int main() {
  Alarms mirror;
  Manager manager;
  manager.registerObject(&mirror);

  Alarms alarms;
  TrelUdp card;
  card.registerObject(&alarms);
  card.initEvents();
  if (!manager.open() || !card.open() || !card.setEventReceiver("127.0.0.1", manager.port())) return 1;
  card.eventHandler();  // the first call in a process collects only

  alarms.getProp(Alarms::DOOR_OPEN, 0)->set(true);
  alarms.getProp(Alarms::FANS_FAILED, 0)->set(2u);
  card.eventHandler();
  if (!manager.waitForDatagram(1000)) return 1;
  manager.handleDatagrams();

  alarms.getProp(Alarms::FANS_FAILED, 0)->set(2u);  // no change, no event
  std::printf("%d changes\n", card.eventHandler());

  TrelProperty* lastWords = alarms.getProp(Alarms::LAST_WORDS, 0);
  lastWords->set(std::string("smoke"));  // a text raises no event: put it into the next message by hand
  card.addToAmi(lastWords, false);
  card.eventHandler();
  if (!manager.waitForDatagram(1000)) return 1;
  manager.handleDatagrams();
  return manager.reported == 3 ? 0 : 1;
}
