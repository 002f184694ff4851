// Encoding and decoding alone: the table's 80 cells as a list of named variables, and the twelve numbers of W12.
#ifndef BENCH_PEERS_CODEC_H
#define BENCH_PEERS_CODEC_H

#include <cstdio>
#include <cstring>

#include "measure.h"

namespace bench {

constexpr unsigned int CODEC_ROWS = 16;
constexpr unsigned int FIRST_CELL = 0x40C04000;  // column 1, row 0
constexpr unsigned int NEXT_COLUMN = 0x4000;

// Runs what the first argument names: encode, fill (and encode), decode.
template <typename Encode, typename Fill, typename Decode>
int measureCodec(int argumentCount, char** arguments, Encode encode, Fill fill, Decode decode) {
  if (argumentCount == 2) {
    if (std::strcmp(arguments[1], "encode") == 0) return measure(encode);
    if (std::strcmp(arguments[1], "fill") == 0) return measure(fill);
    if (std::strcmp(arguments[1], "decode") == 0) return measure(decode);
  }
  std::fputs("usage: PROGRAM encode|fill|decode\n", stderr);
  return 2;
}

}  // namespace bench

#endif
