#include "allocation/failingAllocator.h"

#include <execinfo.h>
#include <fcntl.h>
#include <link.h>
#include <pthread.h>
#include <unistd.h>
#include <unwind.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

extern "C" {
// The leak sanitizer, where there is one.
[[gnu::weak]] void __lsan_ignore_object(const void* block);
[[gnu::weak]] int __lsan_do_recoverable_leak_check();

// Made by the linker for the section that TEST_WATCH names.
extern const char __start_test_watch[];
extern const char __stop_test_watch[];
}

namespace {

using Address = std::uintptr_t;

Address addressOf(const void* pointer) { return reinterpret_cast<Address>(pointer); }

struct Range {
  Address from = 0;
  Address to = 0;
  bool has(Address address) const { return address >= from && address < to; }
};

void tell(std::string_view text) {
  [[maybe_unused]] const auto written = write(STDERR_FILENO, text.data(), text.size());
}

// ----- whose code an address is -----

struct Modules {
  Range program;
  Range library[8];
  std::size_t libraries = 0;
};
Modules modules;

int addModule(dl_phdr_info* module, std::size_t, void*) {
  const char* const slash = std::strrchr(module->dlpi_name, '/');
  const char* const name = slash != nullptr ? slash + 1 : module->dlpi_name;
  const bool isProgram = module->dlpi_name[0] == '\0' && modules.program.to == 0;  // the first; later: the kernel's own
  const bool isLibrary = std::strncmp(name, "libtrel", std::strlen("libtrel")) == 0;
  if (!isProgram && !isLibrary) return 0;
  for (int i = 0; i < module->dlpi_phnum; ++i) {
    const auto& part = module->dlpi_phdr[i];
    if (part.p_type != PT_LOAD || (part.p_flags & PF_X) == 0) continue;
    const Range code{module->dlpi_addr + part.p_vaddr, module->dlpi_addr + part.p_vaddr + part.p_memsz};
    if (isProgram) {
      modules.program = code;
    } else if (modules.libraries < std::size(modules.library)) {
      modules.library[modules.libraries++] = code;
    }
  }
  return 0;
}

bool isLibraryCode(Address at) {
  const Range* const first = modules.library;
  return std::any_of(first, first + modules.libraries, [&](const Range& code) { return code.has(at); });
}

[[TEST_WATCH]] _Unwind_Reason_Code nextFrame(_Unwind_Context* frame, void* argument) {
  auto& place = *static_cast<CodePlace*>(argument);
  const Address at = _Unwind_GetIP(frame) - 1;  // in the call, not behind it
  place.address = reinterpret_cast<const void*>(at);
  if (isLibraryCode(at)) {
    place.owner = CodeOwner::LIBRARY;
    return _URC_END_OF_STACK;
  }
  if (!modules.program.has(at)) return _URC_NO_REASON;
  if (isAllocatorCode(place.address)) {
    place.behindAllocator = true;
    return _URC_NO_REASON;
  }
  if (at >= addressOf(__start_test_watch) && at < addressOf(__stop_test_watch)) return _URC_NO_REASON;
  place.owner = CodeOwner::TEST;
  return _URC_END_OF_STACK;
}

_Unwind_Reason_Code addFrame(_Unwind_Context* frame, void* argument) {
  auto& chain = *static_cast<std::uint64_t*>(argument);
  const Address at = _Unwind_GetIP(frame) - 1;
  if (isLibraryCode(at)) chain = (chain ^ at) * 0x100000001B3ULL;
  return _URC_NO_REASON;
}

// ----- the library's blocks that are alive -----

// What is known of a block. Addresses are kept inverted: what is kept here must not look as if somebody knew the block.
struct Block {
  Address inverted = 0;
  std::size_t size = 0;
  void* origin[16] = {};
  int origins = 0;

  Range range() const { return {~inverted, ~inverted + std::max<std::size_t>(size, 1)}; }
};

// A table of fixed size: it must not ask the allocator that it is part of.
class LiveBlocks {
 public:
  void add(const void* block, std::size_t size) {
    const Address inverted = ~addressOf(block);
    std::size_t slot = home(inverted);
    while (keys_[slot] != 0)
      slot = next(slot);
    keys_[slot] = inverted;
    Block& entry = blocks_[slot];
    entry.inverted = inverted;
    entry.size = size;
    entry.origins = withOrigins ? backtrace(entry.origin, static_cast<int>(std::size(entry.origin))) : 0;
    if (++used_ == SLOTS - 1) {
      tell("more blocks of the library are alive than the table holds\n");
      _exit(1);
    }
  }

  void remove(const void* block) {
    const Address inverted = ~addressOf(block);
    std::size_t gap = home(inverted);
    while (keys_[gap] != inverted) {
      if (keys_[gap] == 0) return;
      gap = next(gap);
    }
    --used_;
    // Those behind it move up, so that none stands behind a gap.
    for (std::size_t at = next(gap); keys_[at] != 0; at = next(at)) {
      const std::size_t wanted = home(keys_[at]);
      const bool mayStay = gap <= at ? gap < wanted && wanted <= at : gap < wanted || wanted <= at;
      if (mayStay) continue;
      keys_[gap] = keys_[at];
      blocks_[gap] = blocks_[at];
      gap = at;
    }
    keys_[gap] = 0;
  }

  template <typename Function>
  void each(Function function) const {
    if (used_ == 0) return;
    for (std::size_t slot = 0; slot < SLOTS; ++slot) {
      if (keys_[slot] != 0) function(blocks_[slot]);
    }
  }

  std::size_t count() const { return used_; }
  bool withOrigins = false;

 private:
  static constexpr std::size_t SLOTS = 1U << 15U;
  static std::size_t home(Address inverted) { return (inverted / 16 * 0x9E3779B1U) % SLOTS; }
  static std::size_t next(std::size_t slot) { return (slot + 1) % SLOTS; }

  Address keys_[SLOTS];  // 0: no block
  Block blocks_[SLOTS];
  std::size_t used_ = 0;
};
LiveBlocks live;

// ----- who can still be reached -----

// The parts of memory in which an address may be kept: what may be written to, but for stacks and the table above. Takes
// and gives back nothing itself, so that they are still there when they are looked at.
struct WritableMemory {
  Range parts[1000];
  std::size_t count = 0;

  void find() {
    static char text[1U << 18U];
    const int file = open("/proc/self/maps", O_RDONLY);
    std::size_t length = 0;
    for (ssize_t got = 1; got > 0 && length + 1 < sizeof text;
         length += static_cast<std::size_t>(std::max<ssize_t>(got, 0)))
      got = read(file, text + length, sizeof text - 1 - length);
    close(file);
    text[length] = '\0';
    for (char* line = std::strtok(text, "\n"); line != nullptr; line = std::strtok(nullptr, "\n")) {
      if (std::strstr(line, " rw-p ") == nullptr || std::strstr(line, "[stack") != nullptr) continue;
      char* end = nullptr;
      const auto from = static_cast<Address>(std::strtoull(line, &end, 16));
      const auto to = static_cast<Address>(std::strtoull(end + 1, nullptr, 16));
      const Range own{addressOf(&live), addressOf(&live + 1)};
      add({from, std::clamp(own.from, from, to)});
      add({std::clamp(own.to, from, to), to});
    }
  }

 private:
  void add(const Range& part) {
    if (part.from < part.to && count < std::size(parts)) parts[count++] = part;
  }
};
WritableMemory writableMemory;

class Reachability {
 public:
  explicit Reachability(std::vector<Block> blocks) : blocks_(std::move(blocks)), reached_(blocks_.size(), false) {
    std::sort(blocks_.begin(), blocks_.end(), [](const Block& a, const Block& b) { return a.inverted > b.inverted; });
    all_ = {blocks_.front().range().from, blocks_.back().range().to};
    waiting_.reserve(blocks_.size());
  }

  // What the addresses in this range reach. The blocks themselves count only once they are reached.
  void startFrom(const Range& memory) {
    Address at = memory.from;
    for (std::size_t i = 0; i <= blocks_.size() && at < memory.to; ++i) {
      const Range block = i < blocks_.size() ? blocks_[i].range() : Range{memory.to, memory.to};
      if (block.to <= at) continue;
      look({at, std::min(block.from, memory.to)});
      at = std::max(at, block.to);
    }
  }

  std::vector<Block> unreached() {
    while (!waiting_.empty()) {
      const std::size_t index = waiting_.back();
      waiting_.pop_back();
      look(blocks_[index].range());
    }
    std::vector<Block> lost;
    for (std::size_t i = 0; i < blocks_.size(); ++i) {
      if (!reached_[i]) lost.push_back(blocks_[i]);
    }
    return lost;
  }

 private:
  void look(const Range& memory) {
    constexpr Address WORD = sizeof(Address);
    for (Address at = (memory.from + WORD - 1) / WORD * WORD; at + WORD <= memory.to; at += WORD) {
      Address value = 0;
      std::memcpy(&value, reinterpret_cast<const void*>(at), sizeof value);
      if (all_.has(value)) reach(value);
    }
  }

  void reach(Address value) {
    const auto behind = std::upper_bound(blocks_.begin(), blocks_.end(), value,
                                         [](Address a, const Block& block) { return a < block.range().from; });
    if (behind == blocks_.begin() || !std::prev(behind)->range().has(value)) return;
    const auto index = static_cast<std::size_t>(std::prev(behind) - blocks_.begin());
    if (reached_[index]) return;
    reached_[index] = true;
    waiting_.push_back(index);
  }

  std::vector<Block> blocks_;
  Range all_;
  std::vector<bool> reached_;
  std::vector<std::size_t> waiting_;
};

pthread_t watchedThread;

}  // namespace

// Not inlined: the frame of this function has to be one that is looked past.
[[TEST_WATCH, gnu::noinline]] CodePlace innermostPlace() {
  CodePlace place;
  _Unwind_Backtrace(nextFrame, &place);
  return place;
}

FailingAllocator& FailingAllocator::instance() {
  static FailingAllocator allocator;
  return allocator;
}

FailingAllocator::FailingAllocator() {
  dl_iterate_phdr(addModule, nullptr);
  watchedThread = pthread_self();
  allocatorWatch = this;
  void* once = nullptr;
  backtrace(&once, 1);  // it takes blocks of its own when it is called first
}

void FailingAllocator::start(const Refusals& refusals, Counter counter, bool withOrigins) {
  refusals_ = refusals;
  counter_ = counter;
  live.withOrigins = withOrigins;
  counting_ = true;
}

void FailingAllocator::stop() { counting_ = false; }

std::uint64_t FailingAllocator::chainOfCalls() {
  std::uint64_t chain = 0xCBF29CE484222325ULL;
  _Unwind_Backtrace(addFrame, &chain);
  return chain;
}

std::size_t FailingAllocator::alive(std::size_t size) const {
  std::size_t found = 0;
  live.each([&](const Block& block) { found += block.size == size ? 1 : 0; });
  return found;
}

std::size_t FailingAllocator::lost() const {
  if (live.count() == 0) return 0;
  if (__lsan_do_recoverable_leak_check != nullptr) return __lsan_do_recoverable_leak_check() != 0 ? 1 : 0;

  std::vector<Block> blocks;
  blocks.reserve(live.count());
  live.each([&](const Block& block) { blocks.push_back(block); });
  Reachability reachability(std::move(blocks));
  writableMemory.find();
  std::for_each(writableMemory.parts, writableMemory.parts + writableMemory.count,
                [&](const Range& memory) { reachability.startFrom(memory); });
  const std::vector<Block> unreached = reachability.unreached();
  for (const Block& block : unreached) {
    tell("lost: a block of " + std::to_string(block.size) + " bytes\n");
    backtrace_symbols_fd(block.origin, block.origins, STDERR_FILENO);
  }
  return unreached.size();
}

[[TEST_WATCH]] bool FailingAllocator::refuses(std::size_t) {
  takenByLibrary_ = false;
  if (!counting_ || paused_ || pthread_equal(pthread_self(), watchedThread) == 0) return false;
  if (innermostPlace().owner != CodeOwner::LIBRARY) return false;
  takenByLibrary_ = true;
  const std::size_t number = counted_++;
  if (counter_ != nullptr) counter_(number);
  if (number < refusals_.first || (number > refusals_.first && !refusals_.andAllLater)) return false;
  ++refused_;
  if (live.withOrigins) {
    tell("refused: block " + std::to_string(number) + " of the library\n");
    void* origin[24];
    backtrace_symbols_fd(origin, backtrace(origin, static_cast<int>(std::size(origin))), STDERR_FILENO);
  }
  return true;
}

[[TEST_WATCH]] void FailingAllocator::taken(void* block, std::size_t size) {
  if (takenByLibrary_) {
    live.add(block, size);
  } else if (__lsan_ignore_object != nullptr) {
    __lsan_ignore_object(block);  // somebody else's: the test's, and the dynamic linker's
  }
  takenByLibrary_ = false;
}

[[TEST_WATCH]] void FailingAllocator::givenBack(void* block) { live.remove(block); }
