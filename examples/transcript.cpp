#include "transcript.h"

#include <unistd.h>

#include <cstdio>

#include "valueText.h"

namespace {

constexpr const char* BOLD = "\033[1m";
constexpr const char* GREEN = "\033[32m";
constexpr const char* RED = "\033[31m";
constexpr const char* PLAIN = "\033[0m";

constexpr unsigned int VERDICT_COLUMN = 92;

std::string quoted(const std::string& text) { return text.empty() ? "\"\"" : text; }

}  // namespace

Transcript::Transcript() : colours_(isatty(STDOUT_FILENO) == 1) {}

void Transcript::title(const std::string& text) { print("\n" + coloured(BOLD, text)); }

void Transcript::section(const std::string& name) {
  section_ = name;
  print("\n" + coloured(BOLD, std::to_string(++sections_) + "  " + name));
}

void Transcript::say(const std::string& text) { print(text.empty() ? "" : "   " + text); }

bool Transcript::expect(const std::string& what, const std::string& expected, const std::string& got) {
  return expectThat(got == expected, what, quoted(expected), got);
}

bool Transcript::expectThat(bool holds, const std::string& what, const std::string& expectation,
                            const std::string& got) {
  ++comparisons_;
  if (holds) return true;
  notExpected_.push_back(expectation);
  differences_.push_back("section " + std::to_string(sections_) + ", " + what + ": expected " + expectation + ", got " +
                         quoted(got));
  return false;
}

void Transcript::judged(const std::string& line) {
  std::string verdict = coloured(GREEN, "ok");
  if (!notExpected_.empty()) {
    std::string wanted;
    for (const std::string& expectation : notExpected_)
      wanted += (wanted.empty() ? "" : "; ") + expectation;
    verdict = coloured(RED, "DIFFERS, expected " + wanted);
  }
  notExpected_.clear();
  print(left("   " + line, VERDICT_COLUMN) + "  " + verdict);
}

void Transcript::giveUp(const std::string& why) {
  notExpected_.clear();
  differences_.push_back("section " + std::to_string(sections_) + ", " + section_ + ": " + why);
  print("   " + coloured(RED, "STOPPED: " + why));
}

int Transcript::end() {
  const std::string values = std::to_string(comparisons_) + " values";
  if (differences_.empty()) {
    print("\n" + coloured(GREEN, "All " + values + " are what was expected."));
    return 0;
  }
  print("\n" + coloured(RED, "NOT as expected (" + values + " were compared):"));
  for (const std::string& difference : differences_)
    print("   - " + difference);
  return 1;
}

void Transcript::print(const std::string& text) {
  std::printf("%s\n", text.c_str());
  std::fflush(stdout);
}

std::string Transcript::coloured(const char* colour, const std::string& text) const {
  return colours_ ? colour + text + PLAIN : text;
}
