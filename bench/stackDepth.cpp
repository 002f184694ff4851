// How much stack does a call of the engine take? Each work runs once, warm, above a stack that is painted; what has another
// colour afterwards was used. From where the stack stood before the call to the deepest byte, hooks and serializing included.
#include <pthread.h>

#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

#include "card.h"

namespace {

constexpr std::size_t STACK = std::size_t{256} * 1024;
constexpr unsigned char COLOUR = 0xA5;
constexpr std::size_t RED_ZONE = 128;  // below the stack pointer, and still a function's own

struct Work {
  bench::Card& card;
  std::string request;  // empty: changes, and a scan that reports them
  int answer;
  unsigned char* stack;  // its lowest byte
  std::size_t depth;
  bool isDone;
};

// The work's call, its arguments ready and in registers, so that the stack stands where it is read.
__attribute__((noinline)) void callAbovePaint(Work& work) {
  TrelProtocolBase& engine = work.card.engine;
  const int length = static_cast<int>(work.request.size());
  const char* const bytes = work.request.data();
  std::uintptr_t top = 0;
#if defined(__x86_64__)
  asm volatile("mov %%rsp, %0" : "=r"(top));
#elif defined(__arm__) || defined(__aarch64__)
  asm volatile("mov %0, sp" : "=r"(top));
#else
#error "by what name does the assembler know the stack pointer of this machine?"
#endif
  const std::size_t unused = top - RED_ZONE - reinterpret_cast<std::uintptr_t>(work.stack);
  for (std::size_t i = 0; i < unused; ++i)
    static_cast<volatile unsigned char*>(work.stack)[i] = COLOUR;
  if (length > 0) {
    engine.handleTrelMsg(length, bytes, "127.0.0.1");
  } else {
    engine.eventHandler();
  }
  std::size_t untouched = 0;
  while (static_cast<volatile unsigned char*>(work.stack)[untouched] == COLOUR)
    ++untouched;
  work.depth = top - reinterpret_cast<std::uintptr_t>(work.stack) - untouched;
}

void* onItsOwnStack(void* argument) {
  Work& work = *static_cast<Work*>(argument);
  const bench::FiftyNumbers numbers(work.card.scalar, work.card.table);
  work.card.engine.eventHandler();
  for (int run = 0; run < 10; ++run) {
    numbers.set(run);
    work.card.engine.eventHandler();
    if (!work.request.empty()) work.card.answers(work.request, work.answer);
  }
  numbers.set(-1);
  if (!work.request.empty()) bench::putMessageId(work.request, work.card.nextMessageId());
  work.card.engine.answerLength = 0;
  callAbovePaint(work);
  work.isDone = work.card.engine.answerLength == work.answer;
  return nullptr;
}

bool print(bench::Card& card, const char* name, const std::string& request, int answer) {
  std::vector<unsigned char> stack(STACK + 64);
  unsigned char* const lowest = stack.data() + (64 - reinterpret_cast<std::uintptr_t>(stack.data()) % 64);
  Work work{card, request, answer, lowest, 0, false};
  pthread_attr_t attributes;
  pthread_t thread{};
  pthread_attr_init(&attributes);
  pthread_attr_setstack(&attributes, lowest, STACK);
  if (pthread_create(&thread, &attributes, onItsOwnStack, &work) != 0) return false;
  pthread_join(thread, nullptr);
  pthread_attr_destroy(&attributes);
  std::printf("%s %zu\n", name, work.depth);
  return work.isDone;
}

}  // namespace

int main() {
  bench::Card card;
  bool good = print(card, "R1", bench::readOneNumber(), bench::ONE_NUMBER_ANSWER);
  good = print(card, "R12", bench::readScalars(), bench::SCALARS_ANSWER) && good;
  good = print(card, "R80", bench::readTable(), bench::TABLE_ANSWER) && good;
  good = print(card, "W1", bench::writeOneNumber(), bench::WRITE_ANSWER) && good;
  good = print(card, "W12", bench::writeTwelveNumbers(), bench::WRITE_ANSWER) && good;
  good = print(card, "N50", "", bench::FIFTY_CHANGES) && good;
  if (!good) std::fputs("error: a work was not done\n", stderr);
  return good ? 0 : 1;
}
