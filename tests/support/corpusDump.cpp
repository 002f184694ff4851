#include "support/corpusDump.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>
#include <string>

namespace {

constexpr std::size_t MOST_BYTES = 1300;  // of a file
constexpr int MOST_FILES = 6;             // of a test for one target

bool wanted() { return std::getenv("TREL_CORPUS_DUMP") != nullptr; }

// Parameterized tests have a slash in their names.
std::string pathOf(const std::string& target, std::string name) {
  const std::filesystem::path folder = std::filesystem::path(std::getenv("TREL_CORPUS_DUMP")) / target;
  std::filesystem::create_directories(folder);
  for (char& c : name) {
    if (c == '/') c = '-';
  }
  return (folder / name).string();
}

std::string testName() {
  const testing::TestInfo* const test = testing::UnitTest::GetInstance()->current_test_info();
  return test != nullptr ? std::string(test->test_suite_name()) + "." + test->name() : std::string("outside");
}

void writeFile(const std::string& target, const std::string& bytes) {
  static std::map<std::string, int> files;  // of each test, for each target
  if (bytes.size() > MOST_BYTES) return;
  std::string name = testName();
  const int number = ++files[target + name];
  if (number > MOST_FILES) return;
  if (number > 1) name += "-" + std::to_string(number);
  std::ofstream(pathOf(target, name), std::ios::binary) << bytes;
}

// Appends an operation and a datagram to the test's own file, which begins with `start`.
void appendRecord(const std::string& target, const std::string& start, char operation, std::string_view datagram) {
  static std::map<std::string, std::string> files;
  const std::string path = pathOf(target, testName());
  std::string& bytes = files.emplace(path, start).first->second;
  if (bytes.size() + 3 + datagram.size() > MOST_BYTES) return;
  bytes += operation;
  bytes += static_cast<char>(static_cast<unsigned char>(datagram.size() >> 8U));
  bytes += static_cast<char>(static_cast<unsigned char>(datagram.size()));
  bytes += datagram;
  std::ofstream(path, std::ios::binary) << bytes;
}

}  // namespace

void dumpReceived(std::string_view datagram) {
  if (!wanted()) return;
  const std::string flags(1, '\0');
  const bool isAmi = datagram.size() > 5 && datagram[5] == 5;
  writeFile(isAmi ? "autonomousMessage" : "oneDatagram", flags + std::string(datagram));
  appendRecord("datagramSequence", std::string(2, '\0'), '\0', datagram);
}

void dumpReply(std::string_view request, std::string_view reply) {
  if (!wanted()) return;
  const std::string flags(1, '\0');
  const bool isWrite = request.size() > 5 && request[5] == 2;
  writeFile("replyToRequest", std::string(1, isWrite ? '\x40' : '\0') + std::string(reply));
  appendRecord("clientOperations", flags, isWrite ? '\4' : '\0', reply);
}
