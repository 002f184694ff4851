// What is counted, told to whoever counts: callgrind, or the plugin of the emulator (emulatorCount.cpp).
#ifndef BENCH_COUNTED_H
#define BENCH_COUNTED_H

#include <unistd.h>

#include <cstdint>
#include <cstring>
#if __has_include(<valgrind/callgrind.h>)
#include <valgrind/callgrind.h>
#else
#define CALLGRIND_ZERO_STATS  // a foreign machine: callgrind does not count there
#define RUNNING_ON_VALGRIND 0
#endif

namespace bench {

// A call of the kernel that no kernel knows. It is refused, and the emulator's plugin sees it.
constexpr long EMULATOR_CALL = 0x7E57;
enum EmulatorCall : unsigned int {
  COUNT_FUNCTION = 1,   // entry of the function, begin and end of its callers
  COUNT_FROM_HERE = 2,  // forget what was counted
  COUNT_TOLD = 3        // print it
};

// A function that calls the one that is counted: its return there ends the counting.
#define BENCH_CALLER __attribute__((noinline, section("benchCallers")))
extern "C" const char __start_benchCallers[] __attribute__((weak, visibility("hidden")));
extern "C" const char __stop_benchCallers[] __attribute__((weak, visibility("hidden")));

// Where a function begins: the first word of a pointer to it, also of one to a member that is not virtual.
template <typename Function>
std::uintptr_t entryOf(Function function) {
  std::uintptr_t address = 0;
  std::memcpy(&address, &function, sizeof address);
#ifdef __arm__
  address &= ~std::uintptr_t{1};  // says which instruction set it is in
#endif
  return address;
}

// Callgrind, which knows no such call, is told by its command line what to count.
inline void tellEmulator(EmulatorCall what, std::uintptr_t entry = 0) {
  if (RUNNING_ON_VALGRIND) return;
  syscall(EMULATOR_CALL, what, entry, __start_benchCallers, __stop_benchCallers);
}

// To be called before the function runs first.
inline void countFunction(std::uintptr_t entry) { tellEmulator(COUNT_FUNCTION, entry); }

inline void countFromHere() {
  CALLGRIND_ZERO_STATS;
  tellEmulator(COUNT_FROM_HERE);
}

inline void tellCounted() { tellEmulator(COUNT_TOLD); }

}  // namespace bench

#endif
