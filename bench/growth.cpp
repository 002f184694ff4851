// How does the cost grow? growth QUESTION NUMBER, a question being one of
//
//   objects    R80 of the shared card, with so many objects registered, the table last; 1 to 160
//   rows       a read of the last 80 variables of a table of so many rows of 5 columns; 16 to 16,384
//   read       a read of so many numbers of one byte; 1 to 148, because more do not fit an answer
//   write      a write of so many numbers of one byte; 1 to 150
//   eventable  a scan of so many eventable numbers, none of which has changed; multiples of 10, to 100,000
//
// Prints how many runs were counted, and how many variables each of them had.
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "card.h"
#include "measure.h"
#include "otherObjects.h"

namespace {

constexpr unsigned int READ = 1;
constexpr unsigned int WRITE = 2;

// A table besides the card's own two objects, asked before them.
class LargeTable : public TrelTable {
 public:
  explicit LargeTable(unsigned int number) : TrelTable("large", 1, false, number) {}
  bool update(TrelProperty*, unsigned int) override { return true; }
  bool updated(TrelProperty*, unsigned int) override { return true; }

  template <typename T>
  void fill(unsigned int columns, bool isEventable) {
    for (unsigned int row = 0; row < rows.size(); ++row) {
      for (unsigned int column = 1; column <= columns; ++column)
        addProp(new TypeProperty<T>(column, "value", IFC_CARD_VAR_READ_WRITE, T{0}, isEventable), row);
    }
  }
};

// A request of the last variables of a table, as a peer sends it.
std::string requestOf(TrelTable& table, std::size_t variables, unsigned int action) {
  TRELRequest message((std::string()));
  const std::vector<TrelProperty*> all = table.getProperties();
  for (std::size_t i = all.size() - variables; i < all.size(); ++i)
    message.addProperty(all[i]);
  message.action = static_cast<unsigned char>(action);
  std::string bytes(static_cast<std::size_t>(message.headerLen + message.sizeOfTlvs()), '\0');
  message.serialize(bytes.data(), static_cast<int>(bytes.size()));
  return bytes;
}

int measureRequest(bench::Card& card, std::string request, int answer, std::size_t variables) {
  std::printf("variables %zu\n", variables);
  return bench::measure([&] { return card.answers(request, answer); });
}

int objects(unsigned int number) {
  const bool isTableAlone = number == 1;
  const auto others = bench::otherObjects(isTableAlone ? 0 : number - 2);
  bench::Card card(bench::pointersTo(others), !isTableAlone);
  return measureRequest(card, bench::readTable(), bench::TABLE_ANSWER, 80);
}

int rows(unsigned int number) {
  LargeTable table(number);
  table.fill<int>(5, true);
  bench::Card card({&table});
  return measureRequest(card, requestOf(table, 80, READ), 11 + 80 * 11, 80);
}

int variables(unsigned int number, unsigned int action) {
  LargeTable table(30);
  table.fill<unsigned char>(5, true);
  bench::Card card({&table});
  const int answer = action == READ ? 11 + static_cast<int>(number) * 8 : bench::WRITE_ANSWER;
  return measureRequest(card, requestOf(table, number, action), answer, number);
}

int eventable(unsigned int number) {
  LargeTable table(number / 10);
  table.fill<unsigned int>(10, true);
  bench::BufferEngine engine;
  engine.registerObject(&table);
  engine.eventHandler();  // the first scan of a process only collects
  std::printf("variables %u\n", number);
  return bench::measure([&] { return engine.eventHandler() == 0; }, 10);
}

}  // namespace

int main(int argumentCount, char** arguments) {
  if (argumentCount == 3) {
    const std::string question = arguments[1];
    const auto number = static_cast<unsigned int>(std::strtoul(arguments[2], nullptr, 10));
    if (question == "objects" && number >= 1 && number <= 160) return objects(number);
    if (question == "rows" && number >= 16 && number <= 16384) return rows(number);
    if (question == "read" && number >= 1 && number <= 148) return variables(number, READ);
    if (question == "write" && number >= 1 && number <= 150) return variables(number, WRITE);
    if (question == "eventable" && number >= 10 && number <= 100000 && number % 10 == 0) return eventable(number);
  }
  std::fputs("usage: growth objects|rows|read|write|eventable NUMBER\n", stderr);
  return 2;
}
