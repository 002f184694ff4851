"""The tests of a build, and how one of them runs."""

import json
import os
import re
import signal
import subprocess
import time
from dataclasses import dataclass

# What says nothing about the code under test here, by the name of the test or of its program.
EXCLUDED = [
    (r"trelUdp|scenarioUdp|^Demo\.", "depends on sockets and on the clock"),
    (r"^(Corpus|Simulation|Soak)\.|[fF]uzz", "replays datagrams or simulates traffic: long, and no rule of its own"),
    (r"^EveryAllocation\.", "repeats all other tests with memory running out: long, and no rule of its own"),
    (r"^(HookOverride|Install|Consumer|ExportedSymbols|CompileFail|FillPattern)", "builds or looks at a library of its own"),
]
LONGEST = 20.0  # seconds: a single test above it is left out


@dataclass
class Test:
    name: str
    program: str
    command: list
    folder: str
    seconds: float = 0.0
    reached: frozenset = frozenset()


def tests_of(build):
    """Those that ctest knows: the tests, the reasons of the excluded ones {name: why}, the programs to be built first."""
    listed = json.loads(subprocess.run(["ctest", "--show-only=json-v1"], cwd=build, check=True, capture_output=True,
                                       text=True).stdout)
    tests, excluded, unbuilt = [], {}, set()
    for entry in listed["tests"]:
        name, command = entry["name"], entry.get("command")
        missing = re.fullmatch(r"(\w+)_NOT_BUILT.*", name)
        program = missing[1] if missing else os.path.basename(command[0]) if command else ""
        why = next((reason for pattern, reason in EXCLUDED if re.search(pattern, name) or re.search(pattern, program)), None)
        if why is None and not missing and not any("--gtest_filter" in word for word in command or []):
            why = "is a program of its own, not a test of GoogleTest"
        if why is not None:
            excluded[program if missing else name] = why
        elif missing:
            unbuilt.add(program)
        else:
            properties = {p["name"]: p["value"] for p in entry.get("properties", [])}
            tests.append(Test(name, program, command, properties.get("WORKING_DIRECTORY", build)))
    return tests, excluded, unbuilt


def run(test, environment, timeout):
    """How the test ended, "passed", "failed", "crashed" or "timeout", and its seconds."""
    started = time.monotonic()
    process = subprocess.Popen(test.command, cwd=test.folder, env={**os.environ, **environment}, stdin=subprocess.DEVNULL,
                               stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL, start_new_session=True)
    try:
        code = process.wait(timeout)
        how = "passed" if code == 0 else "crashed" if code < 0 else "failed"
    except subprocess.TimeoutExpired:
        os.killpg(process.pid, signal.SIGKILL)
        process.wait()
        how = "timeout"
    return how, time.monotonic() - started
