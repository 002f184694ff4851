// Runs a fuzz target over files, without a fuzzer: each file once, or, with --cut, every prefix of it.
//
//   <target> [--cut] <file or folder>...
//
// Says how many inputs it ran. A failure of the target ends the program, and the last line names the input. The exit is also
// not 0 when a file or folder is missing or when there was nothing to run.

#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <string_view>
#include <system_error>
#include <vector>

#include "support/exactBlock.h"

namespace fs = std::filesystem;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

// Mutators stand on this one of the fuzzer; nothing is mutated here.
extern "C" std::size_t LLVMFuzzerMutate(std::uint8_t*, std::size_t size, std::size_t) { return size; }

// The sanitizers end a program without a signal and call this instead; without a sanitizer it is not there.
// NOLINTNEXTLINE(bugprone-reserved-identifier): the name is theirs
extern "C" [[gnu::weak]] void __sanitizer_set_death_callback(void (*callback)());

namespace {

// What is being run, ready to be written by a signal handler.
char current[4096];

void nameCurrent() {
  const ssize_t written = write(STDERR_FILENO, current, std::strlen(current));
  static_cast<void>(written);  // there is nowhere left to complain
}

void onSignal(int number) {
  nameCurrent();
  std::signal(number, SIG_DFL);
  std::raise(number);
}

void run(const std::string& name, std::string_view bytes, std::size_t whole) {
  std::snprintf(current, sizeof current, "failed at %s (the first %zu of its %zu bytes)\n", name.c_str(), bytes.size(),
                whole);
  const ExactBlock block(bytes);  // ends where the bytes end
  LLVMFuzzerTestOneInput(reinterpret_cast<const std::uint8_t*>(block.data()), block.size());
}

// The file, or all files of the folder and below, in the order of their names.
bool collect(const char* place, std::vector<std::string>& files) {
  std::error_code error;
  if (fs::is_regular_file(place, error)) {
    files.emplace_back(place);
    return true;
  }
  if (!fs::is_directory(place, error)) {
    std::fprintf(stderr, "error: there is no file or folder '%s'\n", place);
    return false;
  }
  std::vector<std::string> found;
  for (const fs::directory_entry& entry : fs::recursive_directory_iterator(place)) {
    if (entry.is_regular_file()) found.push_back(entry.path().string());
  }
  std::sort(found.begin(), found.end());
  files.insert(files.end(), found.begin(), found.end());
  return true;
}

}  // namespace

int main(int argc, char** argv) {
  bool cut = false;
  std::vector<std::string> files;
  for (int i = 1; i < argc; ++i) {
    if (std::string_view(argv[i]) == "--cut") {
      cut = true;
    } else if (!collect(argv[i], files)) {
      return 2;
    }
  }
  if (files.empty()) {
    std::fprintf(stderr, "error: there is nothing to run; usage: %s [--cut] <file or folder>...\n", argv[0]);
    return 2;
  }

  for (const int number : {SIGABRT, SIGSEGV, SIGBUS, SIGFPE, SIGILL})
    std::signal(number, onSignal);
  if (__sanitizer_set_death_callback != nullptr) __sanitizer_set_death_callback(nameCurrent);

  std::size_t inputs = 0;
  for (const std::string& file : files) {
    std::ifstream stream(file, std::ios::binary);
    const std::string bytes((std::istreambuf_iterator<char>(stream)), std::istreambuf_iterator<char>());
    if (!stream) {
      std::fprintf(stderr, "error: '%s' cannot be read\n", file.c_str());
      return 2;
    }
    for (std::size_t length = cut ? 0 : bytes.size(); length <= bytes.size(); ++length) {
      run(file, std::string_view(bytes).substr(0, length), bytes.size());
      ++inputs;
    }
  }
  std::snprintf(current, sizeof current, "failed after the last input\n");
  std::printf("%zu inputs of %zu files\n", inputs, files.size());
  return 0;
}
