#include "allocation/eachInAProcess.h"

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <string>
#include <vector>

namespace {

constexpr unsigned int SECONDS = 600;

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

// The child's part: one TEST, its output into a file.
[[noreturn]] void runOne(const std::string& name, std::FILE* output) {
  dup2(fileno(output), STDOUT_FILENO);
  dup2(fileno(output), STDERR_FILENO);
  alarm(SECONDS);
  testing::GTEST_FLAG(filter) = name;
  const int result = RUN_ALL_TESTS();
  std::fflush(nullptr);
  _exit(result);
}

void show(std::FILE* output) {
  std::rewind(output);
  for (int c = std::fgetc(output); c != EOF; c = std::fgetc(output))
    std::putchar(c);
}

bool succeeds(const std::string& name) {
  std::FILE* const output = std::tmpfile();
  if (output == nullptr) {
    std::perror("error: no temporary file");
    return false;
  }
  std::fflush(nullptr);
  const pid_t child = fork();
  if (child == 0) runOne(name, output);
  int status = 0;
  const bool ended = child > 0 && waitpid(child, &status, 0) == child;
  const bool good = ended && WIFEXITED(status) && WEXITSTATUS(status) == 0;
  if (!good) {
    show(output);
    if (ended && WIFSIGNALED(status)) std::printf("ended by signal %d\n", WTERMSIG(status));
  }
  std::fclose(output);
  return good;
}

}  // namespace

int eachInAProcess() {
  const std::vector<std::string> names = namesOfAllTests();
  std::size_t failed = 0;
  for (std::size_t i = 0; i < names.size(); ++i) {
    const bool good = succeeds(names[i]);
    if (!good) ++failed;
    std::printf("[%zu/%zu] %s %s\n", i + 1, names.size(), good ? "passed" : "FAILED", names[i].c_str());
  }
  std::printf("%zu tests, %zu failed\n", names.size(), failed);
  return names.empty() || failed != 0 ? 1 : 0;
}
