// nanopb, with memory of fixed size. Counted: `encode`, size and bytes of a message that is filled; `fillAndEncode`, filling
// it before; `decode`, twelve numbers that are then taken out.
#include <pb_decode.h>
#include <pb_encode.h>

#include "codec.h"
#include "variables.pb.h"

namespace {

Variable& next(Variables& message, unsigned int id, pb_size_t kind) {
  Variable& variable = message.list[message.list_count++];
  variable.id = id;
  variable.which_value = kind;
  return variable;
}

void fillTable(Variables& message) {
  message.list_count = 0;
  char name[] = "temperatureA";
  for (unsigned int row = 0; row < bench::CODEC_ROWS; ++row) {
    name[11] = static_cast<char>('A' + row);
    unsigned int cell = bench::FIRST_CELL + row;
    std::memcpy(next(message, cell, Variable_text_tag).value.text, name, sizeof name);
    for (int column = 2; column <= 4; ++column)
      next(message, cell += bench::NEXT_COLUMN, Variable_number_tag).value.number = -static_cast<int>(row);
    next(message, cell + bench::NEXT_COLUMN, Variable_flag_tag).value.flag = true;
  }
}

__attribute__((noinline)) std::size_t encode(const Variables& message, unsigned char* buffer, std::size_t size) {
  std::size_t length = 0;
  if (!pb_get_encoded_size(&length, Variables_fields, &message) || length > size) return 0;
  pb_ostream_t stream = pb_ostream_from_buffer(buffer, size);
  return pb_encode(&stream, Variables_fields, &message) ? stream.bytes_written : 0;
}

__attribute__((noinline)) std::size_t fillAndEncode(Variables& message, unsigned char* buffer, std::size_t size) {
  fillTable(message);
  return encode(message, buffer, size);
}

__attribute__((noinline)) bool decode(Variables& message, const unsigned char* bytes, std::size_t size, int* values) {
  pb_istream_t stream = pb_istream_from_buffer(bytes, size);
  if (!pb_decode(&stream, Variables_fields, &message)) return false;
  for (pb_size_t i = 0; i < message.list_count; ++i)
    values[i] = message.list[i].value.number;
  return true;
}

}  // namespace

int main(int argumentCount, char** arguments) {
  static unsigned char buffer[2000];
  static unsigned char written[200];
  static Variables table = Variables_init_zero;
  static Variables numbers = Variables_init_zero;
  static int values[80];
  fillTable(table);
  for (unsigned int i = 0; i < 12; ++i) {
    const unsigned int cell = bench::FIRST_CELL + (i % 3 + 1) * bench::NEXT_COLUMN + i / 3;
    next(numbers, cell, Variable_number_tag).value.number = static_cast<int>(i) + 1;
  }
  const std::size_t size = encode(numbers, written, sizeof written);
  return bench::measureCodec(
      argumentCount, arguments, [&] { return encode(table, buffer, sizeof buffer) > 0; },
      [&] { return fillAndEncode(table, buffer, sizeof buffer) > 0; },
      [&] { return decode(numbers, written, size, values) && values[11] == 12; });
}
