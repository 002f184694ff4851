// What do sizeOfTlvs and serialize cost, without the engine? A message of the table's 80 cells.
#include "card.h"
#include "measure.h"

__attribute__((noinline)) bool sizeAndSerialize(const TRELMessage& message, char* buffer, int length) {
  return message.headerLen + message.sizeOfTlvs() == bench::TABLE_ANSWER && message.serialize(buffer, length);
}

BENCH_CALLER bool serializes(const TRELMessage& message) {
  static char buffer[1200];
  return sizeAndSerialize(message, buffer, sizeof buffer);
}

int main() {
  bench::countFunction(bench::entryOf(&sizeAndSerialize));
  bench::Card card;
  TRELResponse message((std::string()));
  for (TrelProperty* cell : card.table.getProperties())
    message.addProperty(cell);
  return bench::measure([&] { return serializes(message); });
}
