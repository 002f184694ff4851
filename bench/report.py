"""Runs the benchmarks, counts, and prints, checks or records the figures: report.py print|check|update|udp BUILD_FOLDER

Called by scripts/bench, which has built everything."""

import datetime
import json
import os
import sys

from counting import ROOT, callgrind, compiler, fail, machine, markdown, run, values_of

BASELINE = os.path.join(ROOT, "bench", "baseline.json")
FIGURES = os.path.join(ROOT, "docs", "performance", "figures.md")
TOLERANCE = 0.02

# Name of the count, program, function between whose entry and return callgrind counts.
REQUEST = "TrelProtocolBase::handleTrelMsg(*"
COUNTS = [
    ("R1", "readOneNumber", REQUEST),
    ("R12", "readScalars", REQUEST),
    ("R80", "readTable", REQUEST),
    ("W1", "writeOneNumber", REQUEST),
    ("W12", "writeTwelveNumbers", REQUEST),
    ("N50", "reportFiftyChanges", "changeAndReport(*"),
    ("serialize80", "serializeTable", "sizeAndSerialize(*"),
    ("R80among160", "readTableAmongObjects", REQUEST),
    ("idleScan", "idleScan", "TrelProtocolBase::eventHandler()"),
    ("withTraceLine", "shutTraceLine", "bench::withTraceLine(*"),
    ("withoutTraceLine", "shutTraceLine", "bench::withoutTraceLine(*"),
]
IDLE_PROPERTIES = 100000
# Count, what one of it is, how many there are, must, goal; how much more it may be on armhf.
WORKS = [
    ("R1", "R1, instructions", 1, 700, 500, 1.30),
    ("R12", "R12, instructions a variable", 12, 260, 200, 1.10),
    ("R80", "R80, instructions a variable", 80, 220, 160, 1.10),
    ("W1", "W1, instructions", 1, 700, 500, 1.30),
    ("W12", "W12, instructions a variable", 12, 290, 240, 1.20),
    ("N50", "N50, instructions a change", 50, 135, 110, 1.10),
    ("serialize80", "sizeOfTlvs and serialize, 80 cells, instructions a variable", 80, 85, 65, 1.10),
]
# Files that bench/growth.py draws.
PLOTS = [
    ("growth-objects", "with the number of registered objects"),
    ("growth-rows", "with the rows of a table"),
    ("growth-variables", "with the variables in a request"),
    ("growth-eventable", "with the eventable variables of a scan"),
]
EMULATOR = ["qemu-arm", "-L", "/usr/arm-linux-gnueabihf"]
# Work, what of it, must, goal of the ratio between a card on UDP and an echo.
RATIOS = [
    ("R1", "cpu", 1.10, 1.05),
    ("W1", "cpu", 1.10, 1.05),
    ("R12", "cpu", 1.20, 1.10),
    ("W12", "cpu", 1.20, 1.10),
    ("N50", "cpu", 1.35, 1.25),
    ("R80", "cpu", 1.60, 1.45),
    ("R80", "roundTrip", 1.40, 1.25),
]
RATIO_NAMES = {"cpu": "processor time of a card on UDP against an echo", "roundTrip": "round trip of a card on UDP against an echo"}


def count(build):
    """Instructions and blocks of one run of each count, and the bytes of its datagrams."""
    instructions, blocks, wire = {}, {}, {}
    for number, (name, program, function) in enumerate(COUNTS, 1):
        print(f"[{number}/{len(COUNTS)}] {name}: {program}", file=sys.stderr, flush=True)
        path = os.path.join(build, "bench", program)
        plain = values_of(run([path], program))
        counted = callgrind([path], function, os.path.join(build, f"callgrind.{name}"))
        instructions[name] = round(counted / plain["runs"])
        if not name.endswith("TraceLine"):
            blocks[name] = -(-plain["blocks"] // plain["runs"])  # rounded up
        if "answer" in plain:
            wire[name] = (plain["request"], plain["answer"])
    return instructions, blocks, wire


def count_armhf(build):
    """Instructions of one run of each work on armhf, counted by the emulator's plugin."""
    instructions = {}
    for name, program in [(name, program) for name, program, _ in COUNTS if name in [work[0] for work in WORKS]]:
        print(f"{name} on armhf: {program}", file=sys.stderr, flush=True)
        record = os.path.join(build, f"armhf.{name}")
        path = os.path.join(build, "armhf-O2", "bench", program)
        plugin = os.path.join(build, "bench", "libemulatorCount.so")
        plain = values_of(run([*EMULATOR, "-d", "plugin", "-D", record, "-plugin", plugin, path], program + " on armhf"))
        with open(record, encoding="utf-8") as lines:
            counted = values_of(lines.read()).get("counted", 0)
        if counted == 0:
            fail(f"the emulator's plugin did not meet what {program} counts")
        instructions[name] = round(counted / plain["runs"])
    return instructions


def count_start_up(build):
    """Instructions of loading the library, and those of them that its initialisers take."""
    command = [os.path.join(build, "bench", "startUp"), os.path.join(build, "components", "trel", "libtrel.so")]
    return [callgrind(command, function, os.path.join(build, "callgrind.startUp"))
            for function in ("dlopen@*", "_GLOBAL__sub_I_trel*")]


def check(instructions, blocks):
    """Compares with the baseline; names every count that grew by more than the tolerance."""
    with open(BASELINE, encoding="utf-8") as file:
        baseline = json.load(file)
    if baseline["compiler"] != compiler():
        fail(f"the baseline was counted with {baseline['compiler']}, this is {compiler()}: they cannot be compared")
    grown = []
    for kind, counted in (("instructions", instructions), ("blocks", blocks)):
        if baseline[kind].keys() != counted.keys():
            fail(f"bench/baseline.json does not have the same {kind} as the benchmarks; run scripts/bench --update")
        for name, now in counted.items():
            then = baseline[kind][name]
            change = f"{100 * (now - then) / then:+.1f} %" if then else ("new" if now else "none")
            print(f"{name:18} {kind:13} {then:>10} -> {now:>10}   {change}")
            if now > then * (1 + TOLERANCE):
                grown.append(f"{name}: {kind} {then} -> {now} ({change})")
    if grown:
        fail("more than 2 % above bench/baseline.json:\n  " + "\n  ".join(grown) +
             "\nIf that is meant: scripts/bench --update, and the reason in the message of the same commit.")
    print("no count has grown by more than 2 %")


def shown(number):
    """As it stands in the table."""
    if number is None:
        return ""
    if isinstance(number, int):
        return f"{number:,}"
    return f"{number:,.2f}" if number < 20 else f"{number:,.1f}"


def each(number, many):
    return number if many == 1 else number / many


class Table:
    """Rows of figure, what was counted, must, goal, and how it stands."""

    def __init__(self):
        self.rows = []

    def add(self, figure, now, must=None, goal=None, note=""):
        verdict = ""
        if must is not None:
            verdict = "goal reached" if now <= goal else "must reached" if now <= must else "ABOVE MUST"
        self.rows.append((figure, shown(now), shown(must), shown(goal), "; ".join(part for part in (verdict, note) if part)))

    def markdown(self):
        return markdown(("figure", "now", "must", "goal", ""), self.rows, left=(0, 4))


def add_ratios(table, build):
    """Runs the card and the echo in turn; a row for each ratio that is asked for."""
    print(f"a card on UDP and an echo in turn, half a minute; load {os.getloadavg()[0]:.1f}", file=sys.stderr, flush=True)
    lines = [line.split() for line in run([os.path.join(build, "bench", "udpRatios")], "udpRatios").splitlines()]
    ratios = {(name, what): [float(number) for number in numbers] for name, what, *numbers in lines}
    for name, what, must, goal in RATIOS:
        median, least, most = ratios[name, what]
        table.add(f"{name}, {RATIO_NAMES[what]}, ratio", median, must, goal, f"median of nine, {least:.2f} to {most:.2f}")
    table.add("load of the machine during the ratios", os.getloadavg()[0])


def read_sizes(build):
    """Bytes by machine and optimisation: {("armhf", "-Os"): {".text": 1, ...}}"""
    sizes = {}
    with open(os.path.join(build, "sizes.txt"), encoding="utf-8") as lines:
        for name, optimisation, section, size in (line.split() for line in lines):
            sizes.setdefault((name, optimisation), {})[section] = int(size)
    return sizes


def figures(build, instructions, blocks, wire):
    table = Table()
    for name, figure, many, must, goal, _ in WORKS:
        table.add(figure, each(instructions[name], many), must, goal)
    on_armhf = count_armhf(build)
    for name, figure, many, must, goal, more in WORKS:
        table.add(figure.replace(",", " on armhf,", 1), each(on_armhf[name], many), *(each(round(number * more * many), many) for number in (must, goal)))
    table.add("R80 with 160 registered objects against 2, ratio", instructions["R80among160"] / instructions["R80"], 1.15, 1.0)
    table.add("a scan of 100,000 eventable numbers, none pending, instructions a number", instructions["idleScan"] / IDLE_PROPERTIES)
    table.add("a trace line, gate shut, instructions", instructions["withTraceLine"] - instructions["withoutTraceLine"],
              note="no call, no text, no temporary: that is the must; the goal is 4")
    for name in ("R1", "R12", "R80", "W1", "W12", "N50"):
        table.add(f"{name}, blocks of heap", blocks[name], 0, 0)
    for machine, command, programs in (("x86-64", [], build), ("armhf", EMULATOR, os.path.join(build, "armhf-O2"))):
        depths = values_of(run([*command, os.path.join(programs, "bench", "stackDepth")], f"stackDepth on {machine}"))
        table.add(f"stack of a call, {machine}, bytes", max(depths.values()),
                  note=", ".join(f"{name} {depth}" for name, depth in depths.items()))
    loading, initialising = count_start_up(build)
    table.add("loading the library, instructions", loading, note=f"{initialising:,} of them in its own initialisers")
    native = values_of(run([os.path.join(build, "bench", "propertyHeap")], "propertyHeap"))
    with open(os.path.join(build, "heap-armhf.txt"), encoding="utf-8") as file:
        armhf = values_of(file.read())
    for machine, heap, must, goal in (("x86-64", native, None, None), ("armhf", armhf, 128, 112)):
        table.add(f"heap of a 32-bit number in a table, {machine}, bytes", heap["bytesOfAProperty"], must, goal,
                  f"{heap['bytesWithItsShareOfTheTable']} with its share of a table of 16 rows and 5 columns")
    for (name, optimisation), sections in read_sizes(build).items():
        must, goal = (96000, 72000) if (name, optimisation) == ("armhf", "-Os") else (None, None)
        parts = [sections.get(section, 0) for section in (".text", ".rodata", ".data.rel.ro")]
        table.add(f"libtrel.so, {name}, {optimisation}: .text + .rodata + .data.rel.ro, bytes", sum(parts), must, goal,
                  " + ".join(f"{part:,}" for part in parts) + f"; all sections {sum(sections.values()):,}")
    for name, (request, answer) in wire.items():
        if name in ("R1", "R12", "R80", "W1", "W12", "N50"):
            table.add(f"{name}, bytes on the wire", request + answer, note=f"{request} there, {answer} back")
    add_ratios(table, build)
    return table.markdown()


def main():
    if len(sys.argv) != 3 or sys.argv[1] not in ("print", "check", "update", "udp"):
        sys.exit(__doc__)
    mode, build = sys.argv[1:]
    if mode == "udp":
        table = Table()
        add_ratios(table, build)
        print(table.markdown())
        return
    instructions, blocks, wire = count(build)
    if mode == "check":
        check(instructions, blocks)
        return
    table = figures(build, instructions, blocks, wire)
    print(table)
    if mode == "update":
        with open(BASELINE, "w", encoding="utf-8") as file:
            json.dump({"compiler": compiler(), "instructions": instructions, "blocks": blocks}, file, indent=2)
            file.write("\n")
        os.makedirs(os.path.dirname(FIGURES), exist_ok=True)
        with open(FIGURES, "w", encoding="utf-8") as file:
            file.write(f"# What the library costs\n\nCounted on {datetime.date.today().isoformat()}: {machine()}.\n"
                       "Written by `scripts/bench --update`; `bench/README.md` says what is counted and what is not.\n\n"
                       f"{table}\n\n## How the cost grows\n\n" + "\n".join(f"![{words}]({name}.svg)\n" for name, words in PLOTS))
        print("\nwritten: bench/baseline.json, docs/performance/figures.md")


main()
