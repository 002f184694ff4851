"""What the scripts of this folder share: running a program, counting with callgrind, naming the machine."""

import os
import re
import subprocess
import sys

ROOT = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))


def fail(message):
    sys.exit("error: " + message)


def run(command, what):
    """The output of a program that must succeed."""
    try:
        done = subprocess.run(command, capture_output=True, text=True, timeout=600, check=False)
    except subprocess.TimeoutExpired:
        fail(f"{what} takes more than ten minutes")
    if done.returncode != 0:
        fail(f"{what} failed:\n{done.stdout}{done.stderr}")
    return done.stdout


def values_of(text):
    """The lines "name number" of a benchmark's output."""
    return {name: int(number) for name, number in (line.split() for line in text.splitlines())}


def callgrind(command, function, record):
    """Instructions between entry and return of a function, of all its calls; `record` is the file with the details."""
    run(["valgrind", "-q", "--tool=callgrind", "--collect-atstart=no", f"--toggle-collect={function}",
         f"--callgrind-out-file={record}", *command], " ".join(command) + " under callgrind")
    with open(record, encoding="utf-8") as lines:
        summary = re.search(r"^summary: (\d+)", lines.read(), re.MULTILINE)
    if summary is None or int(summary.group(1)) == 0:
        fail(f"callgrind did not meet the function {function} of {command[0]}")
    return int(summary.group(1))


def markdown(head, rows, left=(0,)):
    """A table; `left`: the columns that are text."""
    widths = [max(len(row[i]) for row in [head] + rows) for i in range(len(head))]
    rule = ["-" * width if i in left else "-" * (width - 1) + ":" for i, width in enumerate(widths)]

    def line(row):
        cells = (cell.ljust(width) if i in left else cell.rjust(width) for i, (cell, width) in enumerate(zip(row, widths)))
        return "| " + " | ".join(cells) + " |"

    return "\n".join(line(row) for row in [head, rule] + rows)


def compiler():
    return "g++ " + run(["g++", "-dumpfullversion"], "g++").strip()


def machine():
    libc = run(["getconf", "GNU_LIBC_VERSION"], "getconf").strip()
    return f"x86-64, {compiler()}, {libc}, {run(['valgrind', '--version'], 'valgrind').strip()}"


def commit():
    """The commit that is counted, with a plus when the tree differs from it; "no commit" for a tree without one."""
    def git(*words):
        return subprocess.run(["git", "-C", ROOT, *words], capture_output=True, text=True, check=True).stdout.strip()

    try:
        return git("rev-parse", "--short", "HEAD") + ("+" if git("status", "--porcelain", "--untracked-files=no") else "")
    except (OSError, subprocess.CalledProcessError):
        return "no commit"
