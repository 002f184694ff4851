// What a fuzz target asserts.

#ifndef TESTS_FUZZ_SUPPORT_PROMISE_H
#define TESTS_FUZZ_SUPPORT_PROMISE_H

#include <cstddef>
#include <cstdint>
#include <string_view>

// Prints the text, the place and the bytes of the input at hand, and aborts, in a release build too. The input at hand is the
// one that the last FuzzInput was made from.
//
//     PROMISE(engine.answers() <= 1, "a datagram causes at most one answer");
#define PROMISE(condition, text) \
  ((condition) ? static_cast<void>(0) : promiseBroken(__FILE__, __LINE__, #condition, (text)))

// The text of a broken promise may be made at run time: it is asked for only then.
[[noreturn]] void promiseBroken(const char* file, int line, const char* condition, std::string_view text);

// Sets the input at hand.
void promiseInput(const std::uint8_t* data, std::size_t size);

#endif
