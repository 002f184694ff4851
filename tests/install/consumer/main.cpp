// A consumer's program: a card with one variable, and one write request that it is handed. Exit code 0: the write arrived.

#include "trelUdp/trelUdp.h"

int main() {
  auto* brightness = new TypeProperty<unsigned int>(1, "brightness", IFC_CARD_VAR_READ_WRITE, 50u);
  TrelScalar led("led", 1, false);
  led.addProp(brightness, 0);
  TrelUdp card;
  card.registerObject(&led);
  const char write[] =
      "OTN1\1\2\0\7"
      "\0\x80\0\1"
      "\1\0\4"
      "\0\0\0\x2A";
  card.handleTrelMsg(sizeof write - 1, write, "127.0.0.1");
  unsigned int value = 0;
  brightness->get(&value);
  return value == 42u ? 0 : 1;
}
