"""Compares with other protocols' cards: peers.py print|update BUILD_FOLDER

Called by scripts/bench, which has built everything. `update` writes the figures into docs/performance/peers.md."""

import datetime
import os
import re
import sys

from counting import ROOT, callgrind, commit, machine, markdown, run, values_of

DOCUMENT = os.path.join(ROOT, "docs", "performance", "peers.md")
WORKS = ["R1", "R12", "R80", "W1", "W12", "N50"]
# Peer, how many times our processor time its R80 must and should take.
MUSTS = [("libmodbus", 2, 2.4), ("Net-SNMP", 20, 25), ("Net-SNMP with access control", 35, 40)]
OURS = "trel"
MANY = "R80-many"  # as peerRatios calls it


def ratios(build):
    """{peer: {work: (median, least, most)}}"""
    print(f"all in turn, a minute and a half; load {os.getloadavg()[0]:.1f}", file=sys.stderr, flush=True)
    found = {}
    for line in run([os.path.join(build, "bench", "peers", "peerRatios")], "peerRatios").splitlines():
        work, median, least, most, name = line.split(maxsplit=4)
        found.setdefault(name, {})[work] = (float(median), float(least), float(most))
    return found


def counts(build):
    """{peer: {work: instructions}}"""
    program = os.path.join(build, "bench", "peers", "peerCounts")
    found = {}
    for peer, line in enumerate(run([program], "peerCounts").splitlines()):
        works, name = line.split(maxsplit=1)
        for work in range(int(works)):
            print(f"{name}, {WORKS[work]}: counting", file=sys.stderr, flush=True)
            counted = callgrind([program, str(peer), str(work)], "*answerAll*", os.path.join(build, "callgrind.peer"))
            found.setdefault(name, {})[WORKS[work]] = round(counted / 100)
    return found


def codecs(build):
    """Rows of library, and instructions a variable of each step."""
    rows = []
    for name, program in (("nanopb", "nanopbCodec"), ("protobuf-lite", "protobufCodec")):
        cells = []
        for step, function, variables in (("encode", "encode", 80), ("fill", "fillAndEncode", 80), ("decode", "decode", 12)):
            print(f"{name}, {step}: counting", file=sys.stderr, flush=True)
            command = [os.path.join(build, "bench", "peers", program), step]
            runs = values_of(run(command, program))["runs"]
            record = os.path.join(build, "callgrind.codec")
            cells.append(f"{callgrind(command, f'*::{function}(*', record) / runs / variables:,.0f}")
        rows.append([name, *cells])
    table = callgrind([os.path.join(build, "bench", "serializeTable")], "sizeAndSerialize(*",
                      os.path.join(build, "callgrind.codec"))
    return [[OURS, "", f"{table / 100 / 80:,.0f}", ""]] + rows


def figures(build):
    measured = ratios(build)
    load = os.getloadavg()[0]
    counted = counts(build)
    names = list(counted)
    parts = [f"Measured on {datetime.date.today().isoformat()}: {machine()}, commit {commit()}; load {load:.1f}.",
             "Processor time of the answering process, ours being 1: median of nine, least to most.",
             markdown(["peer", *WORKS], [[name, *("{:.2f} ({:.2f} to {:.2f})".format(*measured[name][work])
                                                  if work in measured[name] else "" for work in WORKS)]
                                         for name in names if name in measured])]
    rows = []
    for name, must, goal in MUSTS:
        now = measured[name]["R80"][0]
        verdict = "goal reached" if now >= goal else "must reached" if now >= must else "BELOW MUST"
        echo = measured["bare echo"]
        rows.append([name, f"{now:.2f}", str(must), str(goal), verdict, f"{now / echo['R80'][0]:.1f}",
                     f"{measured[name][MANY][0]:.2f}", f"{measured[name][MANY][0] / echo[MANY][0]:.1f}"])
    parts += ["R80: how many times our processor time it takes, how many times it must and should, and how many times that of"
              " the bare echo it is,\nwhich is what the first would be if our library cost nothing here. The same with 32 requests under way.",
              markdown(["peer", "now", "must", "goal", "", "against the echo", "32 under way", "against the echo"], rows,
                       left=(0, 4)),
              "Instructions of a work, user mode, with the C library's calls of the kernel, receiving and sending included.",
              markdown(["peer", *WORKS], [[name, *(f"{counted[name][work]:,}" if work in counted[name] else "" for work in WORKS)]
                                          for name in names]),
              "Encoding and decoding alone: instructions a variable. Ours reads the variables as it encodes.",
              markdown(["library", "encode a filled message of 80", "fill and encode 80", "decode 12"], codecs(build))]
    return "\n\n".join(parts)


def main():
    if len(sys.argv) != 3 or sys.argv[1] not in ("print", "update"):
        sys.exit(__doc__)
    mode, build = sys.argv[1:]
    text = figures(build)
    print(text)
    if mode == "update":
        with open(DOCUMENT, encoding="utf-8") as file:
            document = file.read()
        begin, end = "<!-- figures -->", "<!-- end of figures -->"
        document = re.sub(f"{begin}.*{end}", lambda _: f"{begin}\n\n{text}\n\n{end}", document, flags=re.DOTALL)
        with open(DOCUMENT, "w", encoding="utf-8") as file:
            file.write(document)
        print("\nwritten: docs/performance/peers.md")


main()
