// A client: reads and writes a card's variables, and tells what became of each request. The card runs in a process of its own,
// because the manager waits for each reply.
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <string>

#include "trelUdp/trelUdp.h"

class Led : public TrelScalar {
 public:
  StringProperty* colour = new StringProperty(1, "colour", IFC_CARD_VAR_READ_WRITE, "");
  TypeProperty<unsigned int>* brightness = new TypeProperty<unsigned int>(2, "brightness", IFC_CARD_VAR_READ_WRITE, 50u,
                                                                          new RangeCheckValue<unsigned int>(0u, 100u));

  Led() : TrelScalar("led", 1, false) {
    addProp(colour, 0);
    addProp(brightness, 0);
  }
};

// Returns at once; the card serves until it is ended, for 10 seconds at most.
pid_t startCard(unsigned short& port) {
  Led led;
  led.colour->set(std::string("green"));
  TrelUdp card;
  card.registerObject(&led);
  card.initEvents();
  if (!card.open()) return -1;
  port = card.port();
  const pid_t process = fork();
  if (process != 0) return process;  // the caller's end of the socket closes here
  alarm(10);
  while (card.handleDatagrams() >= 0)
    card.waitForDatagram(1000);
  _exit(1);
}

int main() {
  unsigned short port = 0;
  const pid_t card = startCard(port);
  if (card < 0) return 1;

  Led led;  // ours, with the values of the last reading
  TrelUdp manager;
  manager.registerObject(&led);
  bool good = manager.open() && manager.setPeer("127.0.0.1", port);

  // 1: done. 0: lastResult tells why not.
  good = manager.readObject(led) == 1 && good;
  std::fputs((led.colour->str() + led.brightness->str()).c_str(), stdout);

  led.brightness->set(80u);
  good = manager.writeProperty(*led.brightness) == 1 && good;
  std::printf("write 80: %s\n", manager.lastResult().str().c_str());

  // Both or none: one refused variable refuses the request.
  led.colour->set(std::string("red"));
  led.brightness->set(101u);
  good = manager.writePropertys({led.colour, led.brightness}) == 0 && good;
  const TrelUdpResult& result = manager.lastResult();
  std::printf("write 101: code %d, variable %d, %s\n", result.code, result.index, result.variable.c_str());

  good = manager.readObject(led) == 1 && good;  // ours still had the refused values
  std::printf("card's value: %u\n", led.brightness->value);

  kill(card, SIGTERM);
  waitpid(card, nullptr, 0);
  manager.setReplyTimeout(50);
  manager.setReadRetries(1);
  good = manager.readObject(led) == 0 && manager.lastResult().outcome == TREL_UDP_NO_REPLY && good;
  std::printf("no card: %s\n", manager.lastResult().text);
  return good && led.brightness->value == 80 ? 0 : 1;
}
