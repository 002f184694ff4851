#include "support/promise.h"

#include <cstdio>
#include <cstdlib>

namespace {

const std::uint8_t* inputData = nullptr;
std::size_t inputSize = 0;

}  // namespace

void promiseInput(const std::uint8_t* data, std::size_t size) {
  inputData = data;
  inputSize = size;
}

void promiseBroken(const char* file, int line, const char* condition, std::string_view text) {
  std::fflush(stdout);
  std::fprintf(stderr, "broken promise: %.*s\n  %s:%d: %s\n  input of %zu bytes:", static_cast<int>(text.size()),
               text.data(), file, line, condition, inputSize);
  for (std::size_t i = 0; i < inputSize; ++i)
    std::fprintf(stderr, " %02X", inputData[i]);
  std::fputc('\n', stderr);
  std::abort();
}
