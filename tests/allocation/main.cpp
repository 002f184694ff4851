// The main() of every test program: GoogleTest's, and the same tests once more with memory running out.
//
//   <program> --every-allocation=quick    each place that takes a block fails, where a test first and last passes it, and in the
//                                         first eight tests that do
//   <program> --every-allocation=full     each block fails; of tests that take thousands, as many as minutes allow
//   <program> --every-allocation=12       block 12 alone (counted from 0), with its chain of calls and the test's output
//   <program> --every-allocation=12+      block 12 and all later ones, likewise
//   --allocation-part=2/3                 the second third of the tests
//   --gtest_filter=...                    these tests only
//   <program> --each-in-a-process         every TEST once, each in a process of its own: what ctest does, for machines on
//                                         which it takes long to start a program
//
// Each TEST runs once to count the blocks that the library takes, and then again for each of them, in two modes: that one
// block is refused, and that one with all later ones. Each run is a process of its own. What the test expects cannot hold
// there and is not looked at. A run is good when
//   - it ends: no signal, no std::terminate, no sanitizer's finding, nothing that hangs; a fall of the test's own code over
//     a value that is not there is counted and is no fault of the library
//   - the library has lost no block that it took, an old-style property among them
//   - RecordingEngine has answered a good read right after each datagram in which a block was refused, and a transport before
//     it goes

#include <dlfcn.h>
#include <execinfo.h>
#include <fnmatch.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/mman.h>
#include <sys/time.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <iterator>
#include <map>
#include <set>
#include <sstream>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "allocation/eachInAProcess.h"
#include "allocation/failingAllocator.h"
#include "allocation/goodRead.h"
#include "support/operatorNew.h"
#include "support/recordingEngine.h"

extern "C" {
// A sanitizer, where there is one, calls the function before it ends the process.
[[gnu::weak]] void __sanitizer_set_death_callback(void (*callback)());
// Asked by the sanitizer of undefined behaviour, which knows no callback of the other one: a finding of it is a signal.
[[gnu::visibility("default")]] const char* __ubsan_default_options();
}

const char* __ubsan_default_options() { return "abort_on_error=1"; }

namespace {

// How a run tells its end: exit codes, or the signal that ended it.
constexpr int GOOD = 0;
constexpr int TEST_FAILED = 80;  // only looked at in the run that refuses nothing
constexpr int LOST_A_BLOCK = 81;
constexpr int BROKE_A_PROMISE = 82;
constexpr int LIBRARY_FELL = 83;
constexpr int TEST_FELL = 84;

// A run may take this long; no test takes a tenth of it. The processor's time tells a library that hangs from a test that
// waits for what did not come.
constexpr int CPU_SECONDS = 20;
constexpr unsigned int WALL_SECONDS = 120;

constexpr std::size_t MOST_BLOCKS = 1U << 20U;

// What a run leaves for the process that started it.
struct Report {
  std::size_t counted;
  std::size_t refused;
  std::size_t goodReads;
  std::size_t lost;
  bool complained;
  std::uint64_t chains[MOST_BLOCKS];  // of the run that refuses nothing: who asked for each block
};
Report* report = nullptr;

struct Run {
  std::string test;
  Refusals refusals;
  bool counts = false;  // the run that refuses nothing
  bool shown = false;   // somebody wants to see it

  std::string name() const {
    if (counts) return test + ", nothing refused";
    return test + ", block " + std::to_string(refusals.first) + (refusals.andAllLater ? " and all later" : "");
  }
  std::string option() const { return std::to_string(refusals.first) + (refusals.andAllLater ? "+" : ""); }
};

struct Totals {
  std::size_t tests = 0;
  std::size_t runs = 0;
  std::size_t blocks = 0;
  std::size_t chosen = 0;  // of the blocks, those that are refused
  std::size_t refused = 0;
  std::size_t goodReads = 0;
  std::size_t testFell = 0;
  std::size_t faults = 0;
};

// ----- in the run's own process --------------------------------------------------------------------------------------

void keepChain(std::size_t number) {
  if (number < MOST_BLOCKS) report->chains[number] = FailingAllocator::chainOfCalls();
}

void complain(const char* text) {
  report->complained = true;
  std::fprintf(stderr, "%s\n", text);
}

void keepFigures() {
  const FailingAllocator& allocator = FailingAllocator::instance();
  report->counted = allocator.counted();
  report->refused = allocator.refused();
  report->goodReads = WatchedReceive::goodReads;
}

// The getters of TRELTlv that check nothing: whoever calls one without a value answers for it.
bool isUncheckedGetter(const void* address) {
  Dl_info function{};
  if (dladdr(address, &function) == 0 || function.dli_sname == nullptr) return false;
  const std::string_view name = function.dli_sname;
  return name.substr(0, 23) == "_ZNK7TRELTlv8getValueER" || name == "_ZNK7TRELTlv8getValueEPci";
}

// Ends a run that fell. The test's own code may fall over a value that a failure has left out; the library may not.
[[noreturn, TEST_WATCH, gnu::noinline]] void fell(bool mayBeTheHeap) {
  const CodePlace place = innermostPlace();
  keepFigures();
  void* chain[24];
  backtrace_symbols_fd(chain, backtrace(chain, static_cast<int>(std::size(chain))), STDERR_FILENO);
  const bool ofTest = place.owner == CodeOwner::TEST || isUncheckedGetter(place.address);
  _exit(ofTest && !(mayBeTheHeap && place.behindAllocator) ? TEST_FELL : LIBRARY_FELL);
}

// The C library ends a process whose heap is broken from within the allocator, whoever called it.
// First the refusals end: the sanitizer asks for blocks of its own before a function that does not return.
[[TEST_WATCH]] void onSignal(int signal) {
  FailingAllocator::instance().stop();
  fell(signal == SIGABRT);
}
[[TEST_WATCH]] void onSanitizer() {
  FailingAllocator::instance().stop();
  fell(true);
}

void watchFalls() {
  static char stack[1U << 16U];
  stack_t other{};
  other.ss_sp = stack;
  other.ss_size = sizeof stack;
  sigaltstack(&other, nullptr);
  struct sigaction action {};
  action.sa_handler = onSignal;
  action.sa_flags = static_cast<int>(SA_ONSTACK | SA_RESETHAND);
  for (const int signal : {SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGABRT})
    sigaction(signal, &action, nullptr);
  // An exception that meets `noexcept` is found where it was thrown, so nobody is asked whose it is.
  std::set_terminate([] {
    keepFigures();
    std::fprintf(stderr, "std::terminate\n");
    _exit(LIBRARY_FELL);
  });
  if (__sanitizer_set_death_callback != nullptr) __sanitizer_set_death_callback(onSanitizer);
  itimerval limit{};
  limit.it_value.tv_sec = CPU_SECONDS;
  setitimer(ITIMER_PROF, &limit, nullptr);
  alarm(WALL_SECONDS);
}

// From the test's fixture on until it is gone.
class CountWhileTested : public testing::EmptyTestEventListener {
 public:
  explicit CountWhileTested(const Run& run) : run_(run) {}
  void OnTestStart(const testing::TestInfo&) override {
    FailingAllocator::instance().start(run_.refusals, run_.counts ? keepChain : nullptr, run_.shown);
  }
  void OnTestEnd(const testing::TestInfo&) override { FailingAllocator::instance().stop(); }

 private:
  const Run& run_;
};

[[noreturn]] void perform(const Run& run, int errors) {
  auto& listeners = testing::UnitTest::GetInstance()->listeners();
  if (!run.shown) {
    if (std::freopen("/dev/null", "w", stdout) == nullptr) _exit(1);
    dup2(errors, STDERR_FILENO);
    delete listeners.Release(listeners.default_result_printer());
  }
  watchFalls();
  GTEST_FLAG_SET(filter, run.test);
  listeners.Append(new CountWhileTested(run));
  const bool passed = RUN_ALL_TESTS() == 0;
  keepFigures();
  report->lost = FailingAllocator::instance().lost();
  if (report->complained) _exit(BROKE_A_PROMISE);
  if (report->lost != 0) _exit(LOST_A_BLOCK);
  _exit(passed ? GOOD : TEST_FAILED);
}

// ----- in the process that starts them -------------------------------------------------------------------------------

class Runner {
 public:
  Runner() : errors_(memfd_create("errors", 0)) {
    void* const memory = mmap(nullptr, sizeof *report, PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    if (memory == MAP_FAILED || errors_ < 0) std::exit(2);
    report = static_cast<Report*>(memory);
    RecordingEngine::watch = WatchedReceive::handle;
    WatchedReceive::complain = complain;
  }

  // The status of the process that it ran in, as waitpid gives it.
  int start(const Run& run) {
    report->counted = report->refused = report->goodReads = report->lost = 0;
    report->complained = false;
    if (lseek(errors_, 0, SEEK_SET) != 0 || ftruncate(errors_, 0) != 0) std::exit(2);
    std::fflush(nullptr);
    const pid_t child = fork();
    if (child == 0) perform(run, errors_);
    int status = 0;
    if (child < 0 || waitpid(child, &status, 0) != child) std::exit(2);
    return status;
  }

  // What the last run wrote to standard error, its first lines.
  std::string errors() const {
    std::string text(4000, '\0');
    const ssize_t count = pread(errors_, text.data(), text.size(), 0);
    text.resize(count > 0 ? static_cast<std::size_t>(count) : 0);
    return text;
  }

 private:
  int errors_;
};

std::string meaningOf(int status) {
  if (WIFSIGNALED(status)) {
    const int signal = WTERMSIG(status);
    if (signal == SIGPROF) return "hangs";
    if (signal == SIGALRM) return "waits for what does not come";
    return std::string("ended by ") + strsignal(signal);
  }
  switch (WEXITSTATUS(status)) {
    case TEST_FAILED:
      return "the test fails";
    case LOST_A_BLOCK:
      return "the library loses a block";
    case BROKE_A_PROMISE:
      return "breaks a promise";
    case LIBRARY_FELL:
      return "the library falls";
    case TEST_FELL:
      return "the test's own code falls";
    default:
      return "exit code " + std::to_string(WEXITSTATUS(status));
  }
}

// Leaves so many of the numbers, evenly spread.
void thinOut(std::vector<std::size_t>& numbers, std::size_t most) {
  if (numbers.size() <= most) return;
  for (std::size_t i = 0; i < most; ++i)
    numbers[i] = numbers[i * numbers.size() / most];
  numbers.resize(most);
}

// Which blocks are refused: all, or those where a chain of calls is met first and last. Each costs a run of the whole test, so
// that of a test that takes thousands only some are, and in the short form a few of one that takes tens of thousands. Under a
// sanitizer a run takes five times as long.
std::vector<std::size_t> blocksToRefuse(bool all) {
  const std::size_t costOfAll = __sanitizer_set_death_callback == nullptr ? 2000000 : 400000;
  constexpr std::size_t COST_OF_SOME = 200000;
  constexpr std::size_t MANY = 20000;
  constexpr std::size_t FEW = 2;
  constexpr unsigned int TESTS_OF_A_CHAIN = 8;
  static std::map<std::uint64_t, unsigned int> testsWith;
  std::vector<std::size_t> numbers;
  const std::size_t count = std::min(report->counted, MOST_BLOCKS);
  const auto isKnown = [](std::uint64_t chain) { return testsWith[chain] >= TESTS_OF_A_CHAIN; };
  std::set<std::uint64_t> met;
  for (std::size_t i = 0; i < count; ++i) {
    if (all || (met.insert(report->chains[i]).second && !isKnown(report->chains[i]))) numbers.push_back(i);
  }
  met.clear();
  for (std::size_t i = count; i > 0 && !all; --i) {
    if (met.insert(report->chains[i - 1]).second && !isKnown(report->chains[i - 1])) numbers.push_back(i - 1);
  }
  std::sort(numbers.begin(), numbers.end());
  numbers.erase(std::unique(numbers.begin(), numbers.end()), numbers.end());
  if (!all && report->counted > MANY) thinOut(numbers, FEW);
  thinOut(numbers, (all ? costOfAll : COST_OF_SOME) / std::max<std::size_t>(report->counted, 1) + 1);
  std::set<std::uint64_t> refused;  // a chain that was thinned out has not had its test
  for (const std::size_t number : numbers) {
    if (refused.insert(report->chains[number]).second) ++testsWith[report->chains[number]];
  }
  return numbers;
}

class EveryAllocation {
 public:
  EveryAllocation(std::string program, bool all, bool mayBeWithoutBlocks)
      : program_(std::move(program)), all_(all), mayBeWithoutBlocks_(mayBeWithoutBlocks) {}

  bool runs(const std::vector<std::string>& tests) {
    const auto began = std::chrono::steady_clock::now();
    for (std::size_t i = 0; i < tests.size(); ++i) {
      const Totals before = totals_;
      runTest(tests[i]);
      std::printf("[%zu/%zu] %s: %zu blocks, %zu of them refused\n", i + 1, tests.size(), tests[i].c_str(),
                  totals_.blocks - before.blocks, totals_.chosen - before.chosen);
      std::fflush(stdout);
    }
    const std::chrono::duration<double> took = std::chrono::steady_clock::now() - began;
    std::printf(
        "%zu tests, %zu blocks, %zu of them refused, %zu runs, %zu refusals, %zu good reads, %zu falls of test code, "
        "%zu faults, %.1f s\n",
        totals_.tests, totals_.blocks, totals_.chosen, totals_.runs, totals_.refused, totals_.goodReads,
        totals_.testFell, totals_.faults, took.count());
    if (totals_.refused == 0 && totals_.faults == 0) std::printf("nothing was refused, so nothing has been shown\n");
    return totals_.faults == 0 && (totals_.refused != 0 || mayBeWithoutBlocks_);
  }

 private:
  void runTest(const std::string& test) {
    Run run;
    run.test = test;
    run.counts = true;
    ++totals_.tests;
    const int status = runner_.start(run);
    if (status != 0) {
      fault(run, status);
      return;
    }
    totals_.blocks += report->counted;
    run.counts = false;
    for (const std::size_t number : blocksToRefuse(all_)) {
      ++totals_.chosen;
      for (const bool andAllLater : {false, true}) {
        run.refusals = {number, andAllLater};
        refuse(run);
      }
    }
  }

  void refuse(const Run& run) {
    const int status = runner_.start(run);
    ++totals_.runs;
    totals_.refused += report->refused;
    totals_.goodReads += report->goodReads;
    const int code = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    if (code == GOOD || code == TEST_FAILED) {
      if (report->refused == 0) fault(run, status);  // the test does not run the same way twice
      return;
    }
    if (code == TEST_FELL) {
      ++totals_.testFell;
    } else {
      fault(run, status);
    }
  }

  void fault(const Run& run, int status) {
    ++totals_.faults;
    const bool ended = WIFEXITED(status) && (WEXITSTATUS(status) == GOOD || WEXITSTATUS(status) == TEST_FAILED);
    std::printf("FAULT %s: %s\n%s", run.name().c_str(),
                ended && !run.counts ? "nothing was refused" : meaningOf(status).c_str(), runner_.errors().c_str());
    if (!run.counts) {
      std::printf("  again: %s --every-allocation=%s --gtest_filter=%s\n", program_.c_str(), run.option().c_str(),
                  run.test.c_str());
    }
    std::fflush(stdout);
  }

  std::string program_;
  bool all_;
  bool mayBeWithoutBlocks_;  // a part of the tests
  Runner runner_;
  Totals totals_;
};

// Whether one of the patterns fits: '*' and '?' in them, ':' between them.
bool fitsOneOf(const std::string& name, const std::string& patterns) {
  std::istringstream all(patterns);
  for (std::string pattern; std::getline(all, pattern, ':');) {
    if (fnmatch(pattern.c_str(), name.c_str(), 0) == 0) return true;
  }
  return false;
}

// Whether GoogleTest's filter lets the test through: behind a '-' stand those that it does not.
bool isWanted(const std::string& name) {
  const std::string filter = GTEST_FLAG_GET(filter);
  const std::size_t minus = filter.find('-');
  const std::string wanted = filter.substr(0, minus);
  const std::string unwanted = minus == std::string::npos ? std::string() : filter.substr(minus + 1);
  return (wanted.empty() || fitsOneOf(name, wanted)) && !fitsOneOf(name, unwanted);
}

std::vector<std::string> testNames() {
  std::vector<std::string> names;
  const testing::UnitTest& all = *testing::UnitTest::GetInstance();
  for (int i = 0; i < all.total_test_suite_count(); ++i) {
    const testing::TestSuite& suite = *all.GetTestSuite(i);
    for (int k = 0; k < suite.total_test_count(); ++k) {
      const std::string name = std::string(suite.name()) + "." + suite.GetTestInfo(k)->name();
      if (isWanted(name)) names.push_back(name);
    }
  }
  return names;
}

// Takes "--<name>=<value>" out of the arguments.
std::string takeOption(int& argc, char** argv, std::string_view name) {
  std::string value;
  int kept = 1;
  for (int i = 1; i < argc; ++i) {
    const std::string_view argument = argv[i];
    if (argument.size() > name.size() && argument.substr(0, name.size()) == name && argument[name.size()] == '=') {
      value = argument.substr(name.size() + 1);
    } else {
      argv[kept++] = argv[i];
    }
  }
  argc = kept;
  return value;
}

// One run that somebody looks at.
int show(const std::string& which, const std::vector<std::string>& names) {
  char* end = nullptr;
  Run run;
  run.shown = true;
  run.refusals.first = std::strtoul(which.c_str(), &end, 10);
  run.refusals.andAllLater = *end == '+';
  if (end == which.c_str() || names.size() != 1) {
    std::fprintf(stderr,
                 "--every-allocation is quick, full, or a block's number, with '+' for all later ones; a number "
                 "needs a --gtest_filter that names one test\n");
    return 2;
  }
  run.test = names.front();
  Runner runner;
  const int status = runner.start(run);
  std::printf("%s: %s\n", run.name().c_str(), status == 0 ? "good" : meaningOf(status).c_str());
  return WIFEXITED(status) && (WEXITSTATUS(status) == GOOD || WEXITSTATUS(status) == TEST_FAILED) ? 0 : 1;
}

int everyAllocation(const std::string& program, const std::string& which, const std::string& part) {
  [[maybe_unused]] const std::size_t blocks =
      newBlocks();  // brings in operator new, which a sanitizer would have its own of
  FailingAllocator::instance();
  std::vector<std::string> names = testNames();
  if (which != "quick" && which != "full") return show(which, names);

  unsigned int number = 1;
  unsigned int parts = 1;
  if (!part.empty() && (std::sscanf(part.c_str(), "%u/%u", &number, &parts) != 2 || number < 1 || number > parts)) {
    std::fprintf(stderr, "--allocation-part is a number and how many there are, as in 2/3\n");
    return 2;
  }
  if (names.size() < parts) parts = 1;  // too few to be shared out
  if (number > parts) return 0;
  std::vector<std::string> mine;
  for (std::size_t i = number - 1; i < names.size(); i += parts)
    mine.push_back(names[i]);
  return EveryAllocation(program, which == "full", parts > 1).runs(mine) ? 0 : 1;
}

}  // namespace

int main(int argc, char** argv) {
  const std::string which = takeOption(argc, argv, "--every-allocation");
  const std::string part = takeOption(argc, argv, "--allocation-part");
  testing::InitGoogleMock(&argc, argv);
  if (argc == 2 && std::string_view(argv[1]) == "--each-in-a-process") return eachInAProcess();
  if (which.empty()) return RUN_ALL_TESTS();
  return everyAllocation(argv[0], which, part);
}
