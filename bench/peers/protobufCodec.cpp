// protobuf-lite. Counted: `encode`, size and bytes of a message that is filled; `fillAndEncode`, filling it before, which
// uses its memory again; `decode`, twelve numbers that are then taken out.
#include <string>

#include "codec.h"
#include "variables.pb.h"

namespace {

void fillTable(Variables& message) {
  message.Clear();
  char name[] = "temperatureA";
  for (unsigned int row = 0; row < bench::CODEC_ROWS; ++row) {
    name[11] = static_cast<char>('A' + row);
    unsigned int cell = bench::FIRST_CELL + row;
    Variable* variable = message.add_list();
    variable->set_id(cell);
    variable->set_text(name, 12);
    for (int column = 2; column <= 4; ++column) {
      variable = message.add_list();
      variable->set_id(cell += bench::NEXT_COLUMN);
      variable->set_number(-static_cast<int>(row));
    }
    variable = message.add_list();
    variable->set_id(cell + bench::NEXT_COLUMN);
    variable->set_flag(true);
  }
}

__attribute__((noinline)) std::size_t encode(const Variables& message, char* buffer, std::size_t size) {
  const std::size_t length = message.ByteSizeLong();
  return length <= size && message.SerializeToArray(buffer, static_cast<int>(length)) ? length : 0;
}

__attribute__((noinline)) std::size_t fillAndEncode(Variables& message, char* buffer, std::size_t size) {
  fillTable(message);
  return encode(message, buffer, size);
}

__attribute__((noinline)) bool decode(Variables& message, const std::string& bytes, int* values) {
  if (!message.ParseFromString(bytes)) return false;
  for (const Variable& variable : message.list())
    *values++ = variable.number();
  return true;
}

}  // namespace

int main(int argumentCount, char** arguments) {
  static char buffer[2000];
  Variables table;
  fillTable(table);
  Variables numbers;
  for (unsigned int i = 0; i < 12; ++i) {
    Variable* const variable = numbers.add_list();
    variable->set_id(bench::FIRST_CELL + (i % 3 + 1) * bench::NEXT_COLUMN + i / 3);
    variable->set_number(static_cast<int>(i) + 1);
  }
  const std::string written = numbers.SerializeAsString();
  int values[12] = {};
  return bench::measureCodec(
      argumentCount, arguments, [&] { return encode(table, buffer, sizeof buffer) > 0; },
      [&] { return fillAndEncode(table, buffer, sizeof buffer) > 0; },
      [&] { return decode(numbers, written, values) && values[11] == 12; });
}
