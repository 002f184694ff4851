#!/usr/bin/env python3
"""Plants faults into a copy of the tree and times the tools that see them; run by scripts/planted-faults."""

import argparse
import os
import pathlib
import shutil
import signal
import subprocess
import sys
import time

ROOT = pathlib.Path(__file__).resolve().parent.parent
WORK = ROOT / "build" / "planted-faults"
TREE = WORK / "tree"
ENGINE = "components/trel/trelProtocolBase.cpp"
MESSAGE = "components/trel/trelmsg.cpp"
PROPERTY = "components/trel/trelProperty.cpp"
WIRE = "components/trel/trelWire.h"
GUARD = "components/trelUdp/trelUdpGuard.cpp"
LONGEST_TEST_RUN = 300  # seconds

# Name, what it would mean in the field, file, the lines that stand there (exactly once), what takes their place.
FAULTS = [
    ("bounds-check-removed", "a length that a peer chose leads beyond the datagram", WIRE,
     "length <= datagram.left() ? TlvView::WHOLE : TlvView::NO_VALUE;", "TlvView::WHOLE;"),
    ("length-taken-as-signed", "a length of 32768 and more runs backwards", WIRE,
     "tlv.cut = length <= datagram.left() ?",
     "tlv.cut = static_cast<short>(length) <= static_cast<long>(datagram.left()) ?"),
    ("header-length-not-checked", "a response shorter than its header is decoded", ENGINE,
     "if (length < TREL_RESPONSE_HEADER_LEN) {", "if (length < TREL_HEADER_LEN) {"),
    ("refused-path-leaks", "each refused request loses its old-style properties", ENGINE,
     "    working->refusedOldStyle.swap(exchange.oldStyle);\n",
     "    working->refusedOldStyle.swap(exchange.oldStyle);\n"
     "    for (auto& property : exchange.oldStyle) static_cast<void>(property.release());\n"),
    ("lost-when-memory-is-short", "an old-style property is lost when the list cannot grow", ENGINE,
     "oldStyle.push_back(std::make_unique<OldStyleProperty>(record, false));",
     "oldStyle.emplace_back(new OldStyleProperty(record, false));"),
    ("buffer-not-zeroed", "a value that is shorter than its number goes out with bytes that nobody wrote", PROPERTY,
     "return static_cast<char*>(std::calloc(bufferSize(len), 1)); }",
     "return static_cast<char*>(std::malloc(bufferSize(len))); }"),
    ("buffer-too-small", "a number is read and written behind a value that is shorter than its type", PROPERTY,
     "unsigned int bufferSize(unsigned int len) { return std::max<unsigned int>(len, sizeof(unsigned long long)); }",
     "unsigned int bufferSize(unsigned int len) { return len; }"),
    ("reply-kept-across-a-nested-call", "a hook that sends a request frees the reply that is being read", ENGINE,
     "  const TakenReply reply(replyBuffer);\n"
     "  return handleTrelMsg(static_cast<int>(reply.bytes().size()), reply.bytes().data(), nullptr);",
     "  return handleTrelMsg(static_cast<int>(replyBuffer.size()), replyBuffer.data(), nullptr);"),
    ("list-kept-across-a-nested-call", "a nested request deletes the old-style properties of the outer one", ENGINE,
     "  if (working->lent) return handleNested(length, buffer, senderIp);\n", ""),
    ("objects-walked-by-iterator", "a hook that registers an object moves the list under the search", ENGINE,
     "  for (std::size_t i = 0; i < objects.size(); ++i) {\n"
     "    TrelProperty* const property = objects[i]->getPropFromOID(oid);\n",
     "  for (TrelObject* object : objects) {\n"
     "    TrelProperty* const property = object->getPropFromOID(oid);\n"),
    ("destroyed-property-stays-pending", "the next autonomous message reads a property that is gone", ENGINE,
     "waiting.erase(std::remove(waiting.begin(), waiting.end(), property), waiting.end());",
     "static_cast<void>(property);\n  static_cast<void>(waiting);"),
    ("refusal-comes-after-the-write", "a write that is refused has changed the variables before the bad one", ENGINE,
     "  int refusal = mustCheck ? request.checkEach(position, plain, this) : static_cast<int>(RESULT_OK);\n",
     "  int refusal = mustCheck ? request.checkEach(position, plain, this) : static_cast<int>(RESULT_OK);\n"
     "  if (refusal == RESULT_WRONG_VALUE) request.deserializeTlvs(this);\n"),
    ("answer-limit-forgotten", "a read is answered with any number of bytes", ENGINE,
     "if (response.sizeOfTlvs() > TREL_MAX_READ_RESPONSE_LEN - response.headerLen) {",
     "if (response.sizeOfTlvs() > 65535 - response.headerLen) {"),
    ("two-answers", "a refused request is answered twice", ENGINE,
     "      exchange.oldStyle.clear();\n      return refuse(response, refusal, position);\n",
     "      exchange.oldStyle.clear();\n      if (position > 1) sendMsg(response);\n"
     "      return refuse(response, refusal, position);\n"),
    ("copies-what-the-caller-asks-for", "a read of bytes goes beyond the value", PROPERTY,
     "std::memcpy(out, m_value_pointer, std::min(*len, m_length));", "std::memcpy(out, m_value_pointer, *len);"),
    ("failed-allocation-not-looked-at", "a value is copied to a null pointer when memory is short", PROPERTY,
     "  if (m_value_pointer == nullptr) {\n    TREL_ERROR(\"[ERROR] %s:%d (%s) - malloc failed!\", TREL_HERE);\n    return;\n  }\n"
     "  std::memcpy(m_value_pointer, tlvValue(bytesOf(record)), m_length);",
     "  std::memcpy(m_value_pointer, tlvValue(bytesOf(record)), m_length);"),
    ("errors-answered-without-limit", "two ends of different versions answer each other for ever", GUARD,
     "  if (isHeaderError) headerErrors_.take();\n", ""),
    ("role-not-looked-at", "whoever may send events may also write", GUARD,
     "if (isRequest(action)) return (role & TREL_UDP_ROLE_MANAGER) != 0;",
     "if (isRequest(action)) return role != TREL_UDP_ROLE_NONE;"),
]

children = []


class Tool:
    """One way of looking for faults: what it needs built, and the command that fails when it has seen one."""

    def __init__(self, name, preset, targets, command):
        self.name, self.preset, self.targets, self.command = name, preset, targets, command


def ctest(preset, *arguments):
    return ["ctest", "--preset", preset, "-j", str(os.cpu_count()), "--stop-on-failure", *arguments]


# What does not look at the library's behaviour, or builds programs of its own.
NOT_ABOUT_BEHAVIOUR = "^(HookOverride|Install|Consumer|ExportedSymbols|Package|Hardening|CompileFail|EveryAllocation|Simulation|Soak|Corpus)"


# Each target on its corpus, then for so many seconds on inputs of its own; ends at the first find.
FUZZ_UNTIL_A_FIND = """
for how in -runs=0 -max_total_time="$1"; do
  for source in tests/fuzz/*.cpp; do
    target=$(basename "$source" .cpp)
    [[ $target != replayMain ]] || continue
    mkdir -p build/fuzz/planted/"$target"
    build/fuzz/tests/fuzz/"$target" "$how" -artifact_prefix=build/fuzz/planted/ -dict=tests/fuzz/trel.dict \\
      build/fuzz/planted/"$target" tests/fuzz/corpus/"$target" || exit 1
  done
done
"""


def tools(seconds):
    return [
        Tool("tests", "release", ["all"], ctest("release", "-E", NOT_ABOUT_BEHAVIOUR)),
        Tool("sanitizers", "asan", ["all"], ctest("asan", "-E", NOT_ABOUT_BEHAVIOUR)),
        Tool("allocation", "release", ["all"], ctest("release", "-R", "^EveryAllocation", "--no-tests=error")),
        Tool("fuzz", "fuzz", ["trelFuzzTargets"], ["bash", "-c", FUZZ_UNTIL_A_FIND, "fuzz", str(max(seconds // 12, 1))]),
        Tool("simulation", "release", ["all"], ["scripts/simulate", str(seconds)]),
    ]


def fail(message):
    print(f"error: {message}", file=sys.stderr)
    sys.exit(1)


def run(command, log, timeout=None):
    """Runs a command in the copy and returns its exit code, or None when its time was over."""
    with open(log, "a", encoding="utf-8") as output:
        print("\n$", *command, file=output, flush=True)
        process = subprocess.Popen(command, cwd=TREE, stdin=subprocess.DEVNULL, stdout=output, stderr=output,
                                   start_new_session=True)
        children.append(process)
        try:
            return process.wait(timeout)
        except subprocess.TimeoutExpired:
            return None
        finally:
            stop(process)
            children.remove(process)


def stop(process):
    try:
        os.killpg(process.pid, signal.SIGKILL)
    except ProcessLookupError:
        pass
    process.wait()


def copy_tree():
    """The files that git knows, as they are here, so that builds of an earlier run stay useful."""
    WORK.mkdir(parents=True, exist_ok=True)
    listed = subprocess.run(["git", "ls-files", "-z", "--cached"], cwd=ROOT, check=True, capture_output=True).stdout
    names = [name for name in listed.decode().split("\0") if name and (ROOT / name).is_file()]
    for old in [path for path in TREE.rglob("*") if path.is_file() and "build" not in path.relative_to(TREE).parts[:1]]:
        if str(old.relative_to(TREE)) not in names:
            old.unlink()
    for name in names:
        source, target = ROOT / name, TREE / name
        if target.is_file() and target.read_bytes() == source.read_bytes():
            continue
        target.parent.mkdir(parents=True, exist_ok=True)
        shutil.copy2(source, target)
        target.touch()


def build(tool, log):
    """True when what the tool needs is built."""
    configured = (TREE / "build" / tool.preset / "build.ninja").exists() or run(
        ["cmake", "--preset", tool.preset, "-DCMAKE_LINK_DEPENDS_NO_SHARED=ON", "-DTREL_WERROR=OFF"], log) == 0
    return configured and run(["cmake", "--build", "--preset", tool.preset, "--target", *tool.targets], log) == 0


def look(tool, seconds, log):
    """Seconds until the tool complained; None when it did not."""
    started = time.monotonic()
    code = run(tool.command, log, None if seconds is None else max(seconds + 60, LONGEST_TEST_RUN))
    return time.monotonic() - started if code not in (None, 0) else None


def plant(file, old, new):
    text = file.read_text(encoding="utf-8")
    if text.count(old) != 1:
        return None
    file.write_text(text.replace(old, new), encoding="utf-8")
    return text


def cell(found):
    return "-" if found is None else f"{found:.1f}" if isinstance(found, float) else found


def write_report(rows, used):
    """The table so far, as lines; also left in a file after each fault, because a run takes long."""
    report = ["| fault | in the field | " + " | ".join(tool.name for tool in used) + " |",
              "| --- | --- |" + " ---: |" * len(used)]
    report += [f"| {name} | {meaning} | " + " | ".join(cell(value) for value in values) + " |"
               for name, meaning, values in rows]
    (WORK / "report.md").write_text("\n".join(report) + "\n", encoding="utf-8")
    return report


def main():
    parser = argparse.ArgumentParser(prog="scripts/planted-faults", add_help=True)
    parser.add_argument("--list", action="store_true")
    parser.add_argument("--first", action="store_true")
    parser.add_argument("--seconds", type=int, default=60)
    parser.add_argument("--tools", default="")
    parser.add_argument("faults", nargs="*")
    arguments = parser.parse_args()
    known = [fault[0] for fault in FAULTS]
    if arguments.list:
        for name, meaning, file, _, _ in FAULTS:
            print(f"{name:34} {meaning} ({file})")
        gone = [name for name, _, file, old, _ in FAULTS if (ROOT / file).read_text(encoding="utf-8").count(old) != 1]
        if gone:
            fail(f"the lines that these change do not stand exactly once in their file; mend the list: {' '.join(gone)}")
        return
    for name in arguments.faults:
        if name not in known:
            fail(f"there is no fault '{name}'; there are: {' '.join(known)}")
    chosen = [fault for fault in FAULTS if not arguments.faults or fault[0] in arguments.faults]
    used = tools(arguments.seconds)
    if arguments.tools:
        names = arguments.tools.split(",")
        for name in names:
            if name not in [tool.name for tool in used]:
                fail(f"there is no tool '{name}'; there are: {' '.join(tool.name for tool in used)}")
        used = sorted((tool for tool in used if tool.name in names), key=lambda tool: names.index(tool.name))

    copy_tree()
    log = WORK / "log.txt"
    log.write_text("", encoding="utf-8")
    print(f"the tree as it is, {len(used)} tools (what they print: {log.relative_to(ROOT)})", flush=True)
    for tool in used:
        if not build(tool, log):
            fail(f"the tree does not build for '{tool.name}'; see {log}")
        if look(tool, None, log) is not None:
            fail(f"'{tool.name}' complains about the tree as it is; see {log}")
        print(f"  {tool.name}: nothing", flush=True)

    rows, unseen = [], []
    for number, (name, meaning, file, old, new) in enumerate(chosen, 1):
        print(f"{number} of {len(chosen)}: {name}", flush=True)
        path = TREE / file
        before = plant(path, old, new) if path.is_file() else None
        if before is None:
            fail(f"{name}: the lines that it changes do not stand exactly once in {file}; mend the list of faults")
        found = {}
        try:
            for tool in used:
                if not build(tool, log):
                    found[tool.name] = "no build"
                    continue
                found[tool.name] = look(tool, arguments.seconds, log)
                print(f"  {tool.name}: {cell(found[tool.name])}", flush=True)
                if arguments.first and found[tool.name] is not None:
                    break
        finally:
            path.write_text(before, encoding="utf-8")
        rows.append((name, meaning, [found.get(tool.name, "") for tool in used]))
        report = write_report(rows, used)
        if not any(isinstance(value, float) for value in found.values()):
            unseen.append(name)

    print("\nseconds until a tool complained; - when it did not\n")
    print("\n".join(report))
    if unseen:
        fail(f"seen by no tool: {' '.join(unseen)}")
    print(f"\nall {len(rows)} faults were seen")


def interrupted(*_):
    for process in list(children):
        stop(process)
    sys.exit(130)


signal.signal(signal.SIGTERM, interrupted)
signal.signal(signal.SIGINT, interrupted)
main()
