// A whole card: two variables that a manager may read, and one of them write, over UDP on loopback.
#include <cstdio>

#include "trelUdp/trelUdp.h"

int main() {
  TrelScalar led("led", 1, false);
  led.addProp(new StringProperty(1, "colour", IFC_CARD_VAR_READ_ONLY, "green"), 0);
  auto* percent = new RangeCheckValue<unsigned int>(0u, 100u);
  led.addProp(new TypeProperty<unsigned int>(2, "brightness", IFC_CARD_VAR_READ_WRITE, 50u, percent), 0);

  TrelUdp card;
  card.registerObject(&led);
  card.initEvents();
  if (!card.open("127.0.0.1", 4000)) {
    std::fprintf(stderr, "%s\n", card.errorText().c_str());
    return 1;
  }
  while (card.handleDatagrams() >= 0)
    card.waitForDatagram(1000);
}
