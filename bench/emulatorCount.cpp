// Counts the instructions of a program that runs under the emulator, for machines that callgrind does not know: a plugin,
//
//   qemu-arm -plugin libemulatorCount.so PROGRAM
//
// The program says what is counted by a call of the kernel that does not exist (counted.h): from the first instruction of
// a function to the first that its caller executes again. Prints "counted NUMBER" when the program says so.
//
// The emulator's header is not in Debian's package of it, so the few names of its interface, version 1, that are needed are
// declared here.
#include <cstddef>
#include <cstdint>
#include <string>

#include "counted.h"

#define EMULATOR_API extern "C" __attribute__((visibility("default")))

extern "C" {
struct qemu_plugin_tb;
struct qemu_plugin_insn;
void qemu_plugin_register_vcpu_tb_trans_cb(std::uint64_t id,
                                           void (*translate)(std::uint64_t id, qemu_plugin_tb* block));
std::size_t qemu_plugin_tb_n_insns(const qemu_plugin_tb* block);
qemu_plugin_insn* qemu_plugin_tb_get_insn(const qemu_plugin_tb* block, std::size_t index);
std::uint64_t qemu_plugin_insn_vaddr(const qemu_plugin_insn* instruction);
void qemu_plugin_register_vcpu_insn_exec_cb(qemu_plugin_insn* instruction, void (*execute)(unsigned int, void*),
                                            int flags, void* data);
void qemu_plugin_register_vcpu_insn_exec_inline(qemu_plugin_insn* instruction, int operation, void* number,
                                                std::uint64_t operand);
void qemu_plugin_register_vcpu_syscall_cb(std::uint64_t id,
                                          void (*call)(std::uint64_t id, unsigned int cpu, std::int64_t number,
                                                       std::uint64_t, std::uint64_t, std::uint64_t, std::uint64_t,
                                                       std::uint64_t, std::uint64_t, std::uint64_t, std::uint64_t));
void qemu_plugin_outs(const char* text);
}

namespace {

constexpr int NO_REGISTERS = 0;
constexpr int ADD_64 = 0;

std::uint64_t executed = 0;  // of the whole program
std::uint64_t counted = 0;   // of the function, without the call that is going on
std::uint64_t entered = 0;   // `executed` when the call began that is going on
bool isInside = false;

std::uint64_t entry = 0;
std::uint64_t callersBegin = 0;
std::uint64_t callersEnd = 0;

void atEntry(unsigned int, void*) {
  if (isInside) return;
  isInside = true;
  entered = executed;
}

void inCaller(unsigned int, void*) {
  if (!isInside) return;
  isInside = false;
  counted += executed - entered;
}

// Every block of instructions is translated before it runs first; those of the function and its callers after the program
// has said where they are.
void translate(std::uint64_t, qemu_plugin_tb* block) {
  for (std::size_t i = 0; i < qemu_plugin_tb_n_insns(block); ++i) {
    qemu_plugin_insn* instruction = qemu_plugin_tb_get_insn(block, i);
    const std::uint64_t address = qemu_plugin_insn_vaddr(instruction);
    if (entry != 0 && address == entry)
      qemu_plugin_register_vcpu_insn_exec_cb(instruction, atEntry, NO_REGISTERS, nullptr);
    if (address >= callersBegin && address < callersEnd)
      qemu_plugin_register_vcpu_insn_exec_cb(instruction, inCaller, NO_REGISTERS, nullptr);
    qemu_plugin_register_vcpu_insn_exec_inline(instruction, ADD_64, &executed, 1);
  }
}

void call(std::uint64_t, unsigned int, std::int64_t number, std::uint64_t what, std::uint64_t first,
          std::uint64_t second, std::uint64_t third, std::uint64_t, std::uint64_t, std::uint64_t, std::uint64_t) {
  if (number != bench::EMULATOR_CALL) return;
  switch (what) {
    case bench::COUNT_FUNCTION:
      entry = first;
      callersBegin = second;
      callersEnd = third;
      break;
    case bench::COUNT_FROM_HERE:
      counted = 0;
      break;
    case bench::COUNT_TOLD:
      qemu_plugin_outs(("counted " + std::to_string(counted) + "\n").c_str());
      break;
    default:
      break;
  }
}

}  // namespace

EMULATOR_API int qemu_plugin_version;
int qemu_plugin_version = 1;

EMULATOR_API int qemu_plugin_install(std::uint64_t id, const void*, int, char**);
int qemu_plugin_install(std::uint64_t id, const void*, int, char**) {
  qemu_plugin_register_vcpu_tb_trans_cb(id, translate);
  qemu_plugin_register_vcpu_syscall_cb(id, call);
  return 0;
}
