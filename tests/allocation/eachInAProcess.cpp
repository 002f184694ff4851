#include "allocation/eachInAProcess.h"

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <string>
#include <vector>

extern "C" {
// The leak sanitizer, where there is one.
[[gnu::weak]] void __lsan_do_leak_check();
}

namespace {

constexpr unsigned int SECONDS = 600;
// How a child tells that its TEST has passed over itself.
constexpr int EXIT_SKIPPED = 77;

enum class Outcome { PASSED, SKIPPED, FAILED };

std::vector<std::string> namesOfAllTests() {
  std::vector<std::string> names;
  const testing::UnitTest& all = *testing::UnitTest::GetInstance();
  for (int s = 0; s < all.total_test_suite_count(); ++s) {
    const testing::TestSuite& suite = *all.GetTestSuite(s);
    for (int t = 0; t < suite.total_test_count(); ++t)
      names.push_back(std::string(suite.name()) + "." + suite.GetTestInfo(t)->name());
  }
  return names;
}

// The child's part: one TEST, its output into a file. It ends without giving back what all the tests that it has not run hold,
// which takes an emulator longer than the TEST.
[[noreturn]] void runOne(const std::string& name, std::FILE* output) {
  dup2(fileno(output), STDOUT_FILENO);
  dup2(fileno(output), STDERR_FILENO);
  alarm(SECONDS);
  testing::GTEST_FLAG(filter) = name;
  const int result = RUN_ALL_TESTS();
  std::fflush(nullptr);
  if (__lsan_do_leak_check != nullptr) __lsan_do_leak_check();  // ends the process when a block is lost
  _exit(result == 0 && testing::UnitTest::GetInstance()->skipped_test_count() != 0 ? EXIT_SKIPPED : result);
}

void show(std::FILE* output) {
  std::rewind(output);
  for (int c = std::fgetc(output); c != EOF; c = std::fgetc(output))
    std::putchar(c);
}

Outcome run(const std::string& name) {
  std::FILE* const output = std::tmpfile();
  if (output == nullptr) {
    std::perror("error: no temporary file");
    return Outcome::FAILED;
  }
  std::fflush(nullptr);
  const pid_t child = fork();
  if (child == 0) runOne(name, output);
  int status = 0;
  const bool ended = child > 0 && waitpid(child, &status, 0) == child;
  const int code = ended && WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  const Outcome outcome = code == 0 ? Outcome::PASSED : code == EXIT_SKIPPED ? Outcome::SKIPPED : Outcome::FAILED;
  if (outcome == Outcome::FAILED) {
    show(output);
    if (ended && WIFSIGNALED(status)) std::printf("ended by signal %d\n", WTERMSIG(status));
  }
  std::fclose(output);
  return outcome;
}

const char* textOf(Outcome outcome) {
  switch (outcome) {
    case Outcome::PASSED:
      return "passed";
    case Outcome::SKIPPED:
      return "skipped";
    default:
      return "FAILED";
  }
}

}  // namespace

int eachInAProcess() {
  const std::vector<std::string> names = namesOfAllTests();
  std::size_t failed = 0;
  std::size_t skipped = 0;
  for (std::size_t i = 0; i < names.size(); ++i) {
    const Outcome outcome = run(names[i]);
    if (outcome == Outcome::FAILED) ++failed;
    if (outcome == Outcome::SKIPPED) ++skipped;
    std::printf("[%zu/%zu] %s %s\n", i + 1, names.size(), textOf(outcome), names[i].c_str());
  }
  std::printf("%zu tests, %zu failed, %zu skipped\n", names.size(), failed, skipped);
  return names.empty() || failed != 0 ? 1 : 0;
}
