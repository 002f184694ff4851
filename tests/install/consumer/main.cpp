// The smallest program that needs the whole library: its own engine, an object, a property and one datagram.

#include <string>
#include <vector>

#include "trel/trelObjects.h"
#include "trel/trelProperty.h"
#include "trel/trelProtocolBase.h"

class Card : public TrelProtocolBase {
 public:
  int sendMsg(TRELMessage& message) override {
    std::vector<char> buffer(static_cast<std::size_t>(message.headerLen + message.sizeOfTlvs()));
    sent = message.serialize(buffer.data(), static_cast<int>(buffer.size())) ? std::string(buffer.begin(), buffer.end())
                                                                             : std::string();
    return static_cast<int>(sent.size());
  }
  std::string sent;
};

int main() {
  const unsigned char read[] = {'O', 'T', 'N', '1', 1, 1, 0, 7, 0x10, 0x80, 0, 5, 1, 0, 0};
  Card card;
  return card.handleTrelMsg(sizeof read, reinterpret_cast<const char*>(read), "10.0.0.1") && card.sent.size() > 0 ? 0
                                                                                                                  : 1;
}
