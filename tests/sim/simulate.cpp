// Cards and managers over a bad network, in virtual time, against a model.

#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <new>
#include <string>
#include <vector>

#include "sim/simulation.h"

namespace {

using sim::Outcome;
using sim::Plan;
using WallClock = std::chrono::steady_clock;

constexpr const char* USAGE =
    "simulate --seed N [--steps 1000] [--only 3,17,20-25] [--trace]   one seed; a failure is shrunk to few steps\n"
    "simulate --seeds FIRST COUNT [--steps 1000] [--jobs 2]           many seeds, each in a process of its own\n"
    "         [--digest 0123456789abcdef]                              and whether all they sent has this digest\n"
    "simulate --seconds S [--steps 1000] [--jobs 2]                   seeds from 1 on, for so long\n"
    "\n"
    "The same seed does the same on every machine. --only takes these steps alone; step number --steps is the last "
    "one,\n"
    "in which the network is quiet and both ends must agree. Exits with 1 when a promise was broken.\n";

constexpr unsigned int CHILD_SECONDS = 300;  // a seed that takes longer hangs
constexpr unsigned int SHRINK_SECONDS = 60;
constexpr unsigned int SEEDS_THAT_REACH_ALL = 40;

double secondsSince(WallClock::time_point start) {
  return std::chrono::duration<double>(WallClock::now() - start).count();
}

[[noreturn]] void fail(const char* what) {
  std::fprintf(stderr, "simulate: %s: %s\n", what, std::strerror(errno));
  std::exit(2);
}

// ----- one seed in a process of its own --------------------------------------------------------------------------------

// What the child tells, in memory that both see.
struct Record {
  bool finished;
  char broken[8192];
  unsigned int atStep;
  unsigned long long digest;
  sim::Statistics statistics;
};

class Child {
 public:
  Child() {
    void* const memory = ::mmap(nullptr, sizeof(Record), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    if (memory == MAP_FAILED) fail("mmap");
    record_ = new (memory) Record();
  }
  ~Child() { ::munmap(record_, sizeof(Record)); }
  Child(const Child&) = delete;
  Child& operator=(const Child&) = delete;

  void start(const Plan& plan) {
    *record_ = Record();
    plan_ = plan;
    std::fflush(stdout);
    pid_ = ::fork();
    if (pid_ < 0) fail("fork");
    if (pid_ > 0) return;
    ::alarm(CHILD_SECONDS);
    const Outcome outcome = sim::simulate(plan);
    std::snprintf(record_->broken, sizeof record_->broken, "%s", outcome.broken.c_str());
    record_->atStep = outcome.atStep;
    record_->digest = outcome.digest;
    record_->statistics = outcome.statistics;
    record_->finished = true;
    std::exit(0);  // with the leak check of a sanitizer
  }

  Outcome wait() {
    int status = 0;
    while (::waitpid(pid_, &status, 0) < 0)
      if (errno != EINTR) fail("waitpid");
    return ended(status);
  }

  // What came of it; a death is an outcome like any other.
  Outcome ended(int status) {
    pid_ = -1;
    Outcome outcome;
    outcome.broken = record_->broken;
    outcome.atStep = record_->finished ? record_->atStep : plan_.steps;
    outcome.digest = record_->digest;
    outcome.statistics = record_->statistics;
    if (WIFSIGNALED(status)) {
      outcome.broken = std::string("the process died of signal ") + std::to_string(WTERMSIG(status)) +
                       (WTERMSIG(status) == SIGALRM ? ", it took too long" : "");
    } else if (outcome.broken.empty() && WEXITSTATUS(status) != 0) {
      outcome.broken = "the process ended with " + std::to_string(WEXITSTATUS(status));
    } else if (!record_->finished) {
      outcome.broken = "the process ended by itself, before the seed was over";
    }
    return outcome;
  }

  pid_t pid() const { return pid_; }
  const Plan& plan() const { return plan_; }

 private:
  Record* record_ = nullptr;
  Plan plan_;
  pid_t pid_ = -1;
};

// ----- failures --------------------------------------------------------------------------------------------------------

std::string listOf(const std::vector<unsigned int>& steps) {
  std::string text;
  for (std::size_t i = 0; i < steps.size();) {
    std::size_t last = i;
    while (last + 1 < steps.size() && steps[last + 1] == steps[last] + 1)
      ++last;
    if (!text.empty()) text += ',';
    text += std::to_string(steps[i]);
    if (last > i) text += '-' + std::to_string(steps[last]);
    i = last + 1;
  }
  return text;
}

std::string commandOf(const Plan& plan) {
  std::string command = program_invocation_name;
  command += " --seed " + std::to_string(plan.seed) + " --steps " + std::to_string(plan.steps);
  if (!plan.only.empty()) command += " --only " + listOf(plan.only);
  return command;
}

bool fails(const Plan& plan) {
  Child child;
  child.start(plan);
  return !child.wait().broken.empty();
}

// Leaves out steps, in ever smaller portions, as long as something still breaks.
Plan shrunk(Plan plan, unsigned int brokeAt) {
  const WallClock::time_point start = WallClock::now();
  if (plan.only.empty()) {
    for (unsigned int step = 0; step <= brokeAt; ++step)
      plan.only.push_back(step);
  }
  for (std::size_t portion = plan.only.size() / 2; portion > 0; portion = portion > 1 ? (portion + 1) / 2 : 0) {
    for (std::size_t from = 0; from < plan.only.size() && plan.only.size() > 1;) {
      if (secondsSince(start) > SHRINK_SECONDS) return plan;
      Plan shorter = plan;
      const auto first = shorter.only.begin() + static_cast<std::ptrdiff_t>(from);
      const auto last = shorter.only.begin() + static_cast<std::ptrdiff_t>(std::min(from + portion, plan.only.size()));
      shorter.only.erase(first, last);
      if (!shorter.only.empty() && fails(shorter)) {
        plan = shorter;
      } else {
        from += portion;
      }
    }
  }
  return plan;
}

void report(const Plan& plan, const Outcome& outcome) {
  std::printf("\nseed %llu, step %u: %s\n\nto repeat:  %s\n", plan.seed, outcome.atStep, outcome.broken.c_str(),
              commandOf(plan).c_str());
  std::printf("looking for fewer steps ...\n");
  const Plan shortest = shrunk(plan, outcome.atStep);
  std::printf("shortest:   %s --trace   (%zu steps)\n", commandOf(shortest).c_str(), shortest.only.size());
}

// ----- many seeds ------------------------------------------------------------------------------------------------------

std::string asHex(unsigned long long digest) {
  char text[17];
  std::snprintf(text, sizeof text, "%016llx", digest);
  return text;
}

void printSummary(unsigned long long seeds, const sim::Statistics& all, unsigned long long digest, double seconds) {
  for (unsigned int i = 0; i < sim::COUNTED; ++i)
    std::printf("%14llu %s\n", all.of[i], sim::COUNTED_NAMES[i]);
  std::printf("%14llu seeds in %.1f s, digest of all datagrams %s\n", seeds, seconds, asHex(digest).c_str());
}

bool everythingWasReached(const sim::Statistics& all) {
  bool reached = true;
  for (unsigned int i = 0; i < sim::COUNTED; ++i) {
    if (all.of[i] > 0) continue;
    std::printf("never happened: %s\n", sim::COUNTED_NAMES[i]);
    reached = false;
  }
  return reached;
}

class ManySeeds {
 public:
  ManySeeds(const Plan& plan, unsigned long long first, unsigned long long count, double seconds, unsigned int jobs)
      : plan_(plan), next_(first), left_(count), seconds_(seconds), children_(jobs) {}

  // An expected digest that is empty: any.
  int run(const std::string& expectedDigest) {
    for (Child& child : children_)
      startNext(child);
    int status = 0;
    for (pid_t ended = ::waitpid(-1, &status, 0); ended > 0 || errno == EINTR; ended = ::waitpid(-1, &status, 0)) {
      for (Child& child : children_) {
        if (ended < 0 || child.pid() != ended) continue;
        take(child, child.ended(status));
        startNext(child);
        break;
      }
      showProgress();
    }
    printSummary(done_, all_, digest_, secondsSince(start_));
    if (!outcome_.broken.empty()) {
      report(failed_, outcome_);
      return 1;
    }
    if (!expectedDigest.empty() && asHex(digest_) != expectedDigest) {
      std::printf("the digest should be %s: other datagrams were sent than elsewhere or before\n",
                  expectedDigest.c_str());
      return 1;
    }
    return done_ < SEEDS_THAT_REACH_ALL || everythingWasReached(all_) ? 0 : 1;
  }

 private:
  void startNext(Child& child) {
    const bool timeIsUp = seconds_ > 0 && secondsSince(start_) > seconds_;
    if (left_ == 0 || timeIsUp || !outcome_.broken.empty()) return;
    --left_;
    Plan plan = plan_;
    plan.seed = next_++;
    child.start(plan);
  }

  void take(const Child& child, const Outcome& outcome) {
    ++done_;
    all_.add(outcome.statistics);
    digest_ += outcome.digest;  // in whatever order the seeds end
    if (outcome.broken.empty() || !outcome_.broken.empty()) return;
    outcome_ = outcome;
    failed_ = child.plan();
  }

  void showProgress() {
    if (secondsSince(shown_) < 5) return;
    shown_ = WallClock::now();
    std::printf("%8.0f s  %llu seeds, %llu steps, %llu datagrams\n", secondsSince(start_), done_, all_.of[sim::STEPS],
                all_.of[sim::SENT]);
    std::fflush(stdout);
  }

  const Plan plan_;
  unsigned long long next_;
  unsigned long long left_;
  const double seconds_;
  std::vector<Child> children_;
  const WallClock::time_point start_ = WallClock::now();
  WallClock::time_point shown_ = start_;
  unsigned long long done_ = 0;
  unsigned long long digest_ = 0;
  sim::Statistics all_;
  Outcome outcome_;  // the first that broke
  Plan failed_;
};

// ----- the command line ------------------------------------------------------------------------------------------------

[[noreturn]] void usage() {
  std::fputs(USAGE, stderr);
  std::exit(2);
}

unsigned long long numberIn(const char* text) {
  char* end = nullptr;
  errno = 0;
  const unsigned long long number = std::strtoull(text, &end, 10);
  if (errno != 0 || end == text || *end != '\0' || *text == '-') usage();
  return number;
}

std::vector<unsigned int> stepsIn(const std::string& text) {
  std::vector<unsigned int> steps;
  for (std::size_t at = 0; at <= text.size();) {
    const std::size_t end = std::min(text.find(',', at), text.size());
    const std::string part = text.substr(at, end - at);
    const std::size_t dash = part.find('-');
    const auto first = static_cast<unsigned int>(numberIn(part.substr(0, dash).c_str()));
    const auto last =
        dash == std::string::npos ? first : static_cast<unsigned int>(numberIn(part.substr(dash + 1).c_str()));
    for (unsigned int step = first; step <= last; ++step)
      steps.push_back(step);
    at = end + 1;
  }
  std::sort(steps.begin(), steps.end());
  return steps;
}

int runOneSeed(const Plan& plan) {
  Outcome outcome;
  if (plan.traced) {
    outcome = sim::simulate(plan);  // in this process, for a debugger
    if (!outcome.broken.empty()) std::printf("\nstep %u: %s\n", outcome.atStep, outcome.broken.c_str());
    return outcome.broken.empty() ? 0 : 1;
  }
  const WallClock::time_point start = WallClock::now();
  Child child;
  child.start(plan);
  outcome = child.wait();
  printSummary(1, outcome.statistics, outcome.digest, secondsSince(start));
  if (outcome.broken.empty()) return 0;
  report(plan, outcome);
  return 1;
}

}  // namespace

int main(int argc, char** argv) {
  Plan plan;
  bool oneSeed = false;
  unsigned long long first = 1;
  unsigned long long count = 0;
  double seconds = 0;
  unsigned int jobs = 2;
  std::string digest;
  for (int i = 1; i < argc; ++i) {
    const std::string option = argv[i];
    const auto value = [&] {
      if (++i == argc) usage();
      return argv[i];
    };
    if (option == "--seed") {
      plan.seed = numberIn(value());
      oneSeed = true;
    } else if (option == "--seeds") {
      first = numberIn(value());
      count = numberIn(value());
    } else if (option == "--seconds") {
      seconds = static_cast<double>(numberIn(value()));
      count = ~0ULL;
    } else if (option == "--steps") {
      plan.steps = static_cast<unsigned int>(numberIn(value()));
    } else if (option == "--only") {
      plan.only = stepsIn(value());
    } else if (option == "--jobs") {
      jobs = static_cast<unsigned int>(std::clamp(numberIn(value()), 1ULL, 64ULL));
    } else if (option == "--digest") {
      digest = value();
    } else if (option == "--trace") {
      plan.traced = true;
    } else {
      usage();
    }
  }
  if (oneSeed == (count > 0)) usage();
  if (!digest.empty() && (oneSeed || seconds > 0)) usage();
  return oneSeed ? runOneSeed(plan) : ManySeeds(plan, first, count, seconds, jobs).run(digest);
}
