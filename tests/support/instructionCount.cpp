#include "support/instructionCount.h"

#include <sys/ptrace.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <cstdlib>

namespace {

[[noreturn]] void failed(const char* what) {
  std::perror(what);
  std::exit(1);
}

// Whether the process has stopped for this signal; false when it has ended.
bool stopsFor(pid_t process, int signal) {
  int status = 0;
  if (waitpid(process, &status, 0) != process) failed("waitpid");
  return WIFSTOPPED(status) && WSTOPSIG(status) == signal;
}

// The process that is watched: stops before the work that counts and behind it.
[[noreturn]] void doWatched(const std::function<void()>& work) {
  if (ptrace(PTRACE_TRACEME, 0, nullptr, nullptr) != 0) _exit(1);
  work();
  raise(SIGSTOP);
  work();
  raise(SIGSTOP);
  _exit(0);
}

// 0 when it cannot be watched.
std::size_t count(const std::function<void()>& work) {
  std::fflush(nullptr);
  const pid_t process = fork();
  if (process < 0) failed("fork");
  if (process == 0) doWatched(work);
  std::size_t steps = 0;
  if (!stopsFor(process, SIGSTOP)) return 0;
  do {
    if (ptrace(PTRACE_SINGLESTEP, process, nullptr, nullptr) != 0) break;
    ++steps;
  } while (stopsFor(process, SIGTRAP));
  kill(process, SIGKILL);
  waitpid(process, nullptr, 0);
  return steps;
}

}  // namespace

bool canCountInstructions() {
#ifdef TREL_TEST_SANITIZED
  return false;
#else
  static const bool can = count([] {}) > 1;
  return can;
#endif
}

std::size_t instructionsOf(const std::function<void()>& work) {
  const std::size_t steps = count(work);
  if (steps == 0) {
    std::fprintf(stderr, "error: the work that was to be counted has ended its process\n");
    std::exit(1);
  }
  return steps;
}
