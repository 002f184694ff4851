"""The mutation run; started by scripts/mutate, which says what it does."""

import argparse
import concurrent.futures
import dataclasses
import hashlib
import json
import os
import pathlib
import random
import re
import resource
import shlex
import shutil
import subprocess
import sys
import threading

import headers
import schemata
import suite
from candidates import Finder, without_comments

ROOT = pathlib.Path(__file__).resolve().parents[2]
HERE = pathlib.Path(__file__).resolve().parent
LIBRARY = "components/trel"
KINDS = ["arithmetic", "comparison", "logic", "bit", "constant", "condition", "removal", "swap", "result"]
MOST_UNRELIABLE = 20  # tests that failed without a mutant after they had passed; more: something else is wrong
MEMORY = 4 << 30  # bytes that a test may map: a mutant that allocates for ever ends


def say(text):
    print(text, flush=True)


def call(command, **options):
    return subprocess.run(command, check=False, capture_output=True, text=True, **options)


def need(command, what, **options):
    done = call(command, **options)
    if done.returncode != 0:
        raise SystemExit(f"error: {what}\n{(done.stdout + done.stderr)[-4000:]}")
    return done


# --- trees and builds ---


def sources():
    """Path -> bytes of every file of this tree, as it stands in the work tree."""
    listed = need(["git", "ls-files", "-z", "--cached", "--others", "--exclude-standard"], "git cannot list the tree",
                  cwd=ROOT).stdout
    return {name: (ROOT / name).read_bytes() for name in sorted(set(listed.split("\0")) - {""}) if (ROOT / name).is_file()}


def write_tree(folder, files, modes_of=ROOT):
    """Makes the folder hold these files and no others; an unchanged file keeps its time, so that little is built anew."""
    for path in [p for p in folder.rglob("*") if p.is_file()] if folder.exists() else []:
        if str(path.relative_to(folder)) not in files:
            path.unlink()
    for name, content in files.items():
        path = folder / name
        if not path.exists() or path.read_bytes() != content:
            path.parent.mkdir(parents=True, exist_ok=True)
            path.write_bytes(content)
            path.chmod((modes_of / name).stat().st_mode)


class Builds:
    """The two trees: `plain` as it is, `switched` with all mutants; and the libraries with one mutant for good."""

    def __init__(self, work, jobs):
        self.work, self.jobs = work, jobs
        self.plain, self.plain_build = work / "plain", work / "plain-build"
        self.switched, self.switched_build = work / "switched", work / "switched-build"
        self.runtime, self.header = work / "libtrelMutation.so", work / "switch" / "trelMutation.h"

    def make_runtime(self):
        write_tree(self.header.parent, {n: (HERE / n).read_bytes() for n in ("trelMutation.h", "trelMutation.cpp")}, HERE)
        need(["g++", "-std=c++17", "-O2", "-fPIC", "-shared", str(self.header.with_suffix(".cpp")), "-o", str(self.runtime)],
             "the switch does not compile")

    def configure(self, tree, build, flags, optimised, tests):
        need(["cmake", "-S", str(tree), "-B", str(build), "-G", "Ninja", "-DCMAKE_BUILD_TYPE=Release",
              f"-DCMAKE_CXX_FLAGS_RELEASE={optimised} -DNDEBUG", f"-DCMAKE_CXX_FLAGS={flags}", "-DTREL_WERROR=OFF",
              "-DTREL_BUILD_EXAMPLES=OFF", f"-DTREL_BUILD_TESTS={tests}", "-DTREL_INSTALL=OFF", "-DBUILD_SHARED_LIBS=ON",
              f"-DCMAKE_CXX_STANDARD_LIBRARIES={self.runtime}",
              "-DCMAKE_EXE_LINKER_FLAGS=-Wl,--enable-new-dtags"],  # a library path of the environment goes first
             f"{tree} does not configure")

    def ninja(self, build, *targets):
        return call(["nice", "ninja", "-C", str(build), f"-j{self.jobs}", "-k0", *targets])

    def keep_library(self, name):
        folder = self.work / "separate" / name
        shutil.rmtree(folder, ignore_errors=True)
        folder.mkdir(parents=True)
        for library in (self.plain_build / LIBRARY).glob("libtrel.so*"):
            shutil.copy2(library, folder / library.name, follow_symlinks=False)

    def library_path(self, name):
        """The environment in which a test program finds that library, and those that it needs beside it."""
        beside = sorted({str(library.parent) for library in self.plain_build.glob("components/*/*.so")} -
                        {str(self.plain_build / LIBRARY)})
        return {"LD_LIBRARY_PATH": ":".join([str(self.work / "separate" / name), *beside])}

    def compile_commands(self):
        entries = json.loads((self.plain_build / "compile_commands.json").read_text())
        return {e["file"]: e for e in entries if e["file"].startswith(str(self.plain / LIBRARY) + "/")}

    def accepts(self, path, text):
        """Whether the compiler takes the library with this text for one of its files."""
        original = path.read_bytes()
        path.write_text(text)
        try:
            for unit, entry in self.compile_commands().items():
                if path.suffix == ".h" or unit == str(path):
                    if call(shlex.split(entry["command"]) + ["-fsyntax-only", "-include", str(self.header)],
                            cwd=entry["directory"]).returncode != 0:
                        return False
            return True
        finally:
            path.write_bytes(original)


# --- which mutants ---


def code_lines(text):
    return sum(1 for line in without_comments(text).splitlines() if line.strip())


def modules_of(folder):
    """Module -> its files. A private header counts to the first module that includes it; a module stands behind those that its
    own header includes."""
    texts = {p.name: p.read_text() for p in sorted(folder.iterdir()) if p.suffix in (".h", ".cpp")}
    includes = {name: set(re.findall(r'#include "[\w/]*?(\w+\.h)"', text)) & set(texts) for name, text in texts.items()}

    def closure(name, seen):
        for other in includes[name] - seen:
            closure(other, seen | {other})
            seen |= {other} | closure(other, seen)
        return seen

    names = [n[:-4] for n in texts if n.endswith(".cpp") and n[:-4] + ".h" in texts]
    names.sort(key=lambda n: (len(closure(n + ".h", set())), n))
    modules = {n: [n + ".cpp", n + ".h"] for n in names}
    for header in sorted(n for n in texts if n.endswith(".h") and n[:-2] not in modules):
        for name in names:
            if any(header in includes[file] for file in (name + ".cpp", name + ".h")):
                modules[name].append(header)
                break
    return modules


def all_candidates(builds):
    """Module -> (lines of code, its mutants in the order of the source), and what was left out by reason."""
    folder = builds.plain / LIBRARY
    texts = {str(p): p.read_text() for p in folder.iterdir() if p.suffix in (".h", ".cpp")}
    found, left_out = {}, {}
    for unit, entry in sorted(builds.compile_commands().items()):
        words = shlex.split(entry["command"])
        arguments = ["-x", "c++", "-std=c++17", "-w"]
        for i, word in enumerate(words):
            if re.match(r"-[DI]", word):
                arguments.append(word)
            elif word == "-isystem":
                arguments += [word, words[i + 1]]
        say(f"   reading {os.path.basename(unit)}")
        Finder(texts, found, left_out).run(unit, arguments)
    modules = {}
    for name, files in modules_of(folder).items():
        paths = [str(folder / file) for file in files]
        mutants = sorted((m for m in found.values() if m.file in paths),
                         key=lambda m: (m.file, m.start, m.end, m.kind, m.becomes))
        for mutant in mutants:
            mutant.file, mutant.module = os.path.relpath(mutant.file, builds.plain), name
        modules[name] = (sum(code_lines(texts[p]) for p in paths), mutants)
    return modules, {reason: len(places) for reason, places in left_out.items()}


def draw(modules, count, seed):
    """Module -> (how many, its mutants in the drawn order); shares in proportion to the lines of code."""
    total = sum(lines for lines, _ in modules.values())
    shares = {name: count * lines // total for name, (lines, _) in modules.items()}
    rests = sorted(modules, key=lambda name: (-(count * modules[name][0] % total), name))
    for name in rests[:count - sum(shares.values())]:
        shares[name] += 1
    drawn = {}
    for name, (_, mutants) in modules.items():
        order = list(mutants)
        random.Random(f"{seed} {name}").shuffle(order)
        drawn[name] = (min(shares[name], len(order)), order)
    return drawn


class Selection:
    """The drawn mutants; one that does not compile makes room for the next of its module. A mutant's number is its place in
    the order of all, so that the others keep theirs, and little is compiled anew."""

    def __init__(self, drawn):
        self.drawn, self.refused, self.forced = drawn, set(), set()

    def numbered(self):
        chosen, first = [], 1
        for share, order in self.drawn.values():
            usable = [(first + i, m) for i, m in enumerate(order) if m.key not in self.refused]
            chosen += usable[:share]
            first += len(order)
        return chosen

    def is_separate(self, mutant):
        return mutant.fixed or mutant.key in self.forced


def build_switched(builds, files, selection):
    """Builds the library with every switch. Who does not compile with a switch is compiled for itself."""
    builds.configure(builds.plain, builds.plain_build, "-w", "-O0", "OFF")
    while True:
        content = dict(files)
        texts = {}
        for number, mutant in selection.numbered():
            if not selection.is_separate(mutant):
                texts.setdefault(mutant.file, []).append((number, mutant))
        for name, mutants in texts.items():
            content[name] = schemata.switched(files[name].decode(), mutants).encode()
        write_tree(builds.switched, content)
        builds.configure(builds.switched, builds.switched_build, f"-w -include {builds.header}", "-O1", "ON")
        built = builds.ninja(builds.switched_build, "trel")
        if built.returncode == 0:
            return
        suspects = {}
        for name, line in re.findall(r"^(?:In file included from )?(\S+?):(\d+)(?::\d+)?[:,] *(?:error|required|note|in|from)?",
                                     built.stdout, re.M):
            name = os.path.relpath(os.path.join(builds.switched_build, name), builds.switched)
            for number, mutant in texts.get(name, []):
                last = mutant.line + files[name][mutant.start:mutant.end].count(b"\n")
                if mutant.line - 1 <= int(line) <= last + 1:
                    suspects[mutant.key] = mutant
        guilty = [m for m in suspects.values()
                  if not builds.accepts(builds.plain / m.file, schemata.switched(files[m.file].decode(), [(1, m)]))]
        if not guilty:
            raise SystemExit(f"error: the switched library does not compile\n{built.stdout[-6000:]}")
        for mutant in guilty:
            say(f"   no switch possible: {describe(mutant)}")
            selection.forced.add(mutant.key)


def build_separate(builds, files, selection, memory):
    """A library for each mutant that has no switch. True when one did not compile and the selection has changed."""
    known = memory.libraries
    waiting = [(n, m) for n, m in selection.numbered() if selection.is_separate(m)]
    for i, (_, mutant) in enumerate(waiting):
        if mutant.key in known:
            continue
        say(f"   compiling {i + 1} of {len(waiting)}: {describe(mutant)}")
        path = builds.plain / mutant.file
        path.write_text(schemata.replaced(files[mutant.file].decode(), mutant))
        built = builds.ninja(builds.plain_build, "trel")
        name = hashlib.sha256(mutant.key.encode()).hexdigest()[:16]
        if built.returncode == 0:
            builds.keep_library(name)
            known[mutant.key] = name
        path.write_bytes(files[mutant.file])
        if built.returncode != 0:
            say(f"   does not compile: {describe(mutant)}")
            selection.refused.add(mutant.key)
        memory.keep(selection)
    memory.keep(selection)
    need(["ninja", "-C", str(builds.plain_build), "trel"], "the library does not compile")
    builds.keep_library("original")
    return any(m.key in selection.refused for _, m in waiting)


class Memory:
    """What a run keeps for the next one: of the same library the libraries with one mutant, and who does not compile; of the
    same tests too the results; of other tests, when only the survivors are to be tried again, those that were killed."""

    def __init__(self, work, files, survivors_only):
        self.state_file, self.results_file = work / "state.json", work / "results.jsonl"
        self.library = self.digest(files, LIBRARY + "/")
        self.everything = self.digest(files, "components/", "tests/", "cmake/", "scripts/mutation/")
        state = json.loads(self.state_file.read_text()) if self.state_file.exists() else {}
        same_library, same = state.get("library") == self.library, state.get("everything") == self.everything
        if survivors_only and not same_library:
            raise SystemExit("error: --survivors goes on from a run of the same library; there is none")
        if not same_library:
            state = {}
        self.libraries = state.get("libraries", {})
        self.refused, self.forced = set(state.get("refused", [])), set(state.get("forced", []))
        known = [json.loads(line) for line in self.results_file.read_text().splitlines()] if self.results_file.exists() else []
        self.results = {r["key"]: r for r in known
                        if same_library and (same or survivors_only and r["state"] == "killed")}
        self.results_file.write_text("".join(json.dumps(r) + "\n" for r in self.results.values()))

    @staticmethod
    def digest(files, *folders):
        found = sorted((name, hashlib.sha256(content).hexdigest()) for name, content in files.items()
                       if name.startswith(folders))
        return hashlib.sha256(repr(found).encode()).hexdigest()

    def keep(self, selection):
        self.state_file.write_text(json.dumps({
            "library": self.library, "everything": self.everything, "libraries": self.libraries,
            "refused": sorted(selection.refused), "forced": sorted(selection.forced)}))

    def add(self, mutant, result):
        result["key"] = mutant.key
        self.results[mutant.key] = result
        with self.results_file.open("a") as log:
            log.write(json.dumps(result) + "\n")


# --- running ---


def describe(mutant):
    was, becomes = (text if len(text) <= 70 else text[:67] + "..." for text in (mutant.was, mutant.becomes))
    if mutant.kind == "removal":
        return f"{mutant.file}:{mutant.line} removal: {was}"
    return f"{mutant.file}:{mutant.line} {mutant.kind}: {was}  ->  {becomes}"


class Runner:
    def __init__(self, builds, files, tests, libraries, jobs):
        self.builds, self.files, self.tests, self.libraries, self.jobs = builds, files, tests, libraries, jobs
        self.public_headers = {name for name in files if name.startswith(LIBRARY) and name.endswith(".h")
                               and name[:-2] + ".cpp" in files}
        self.unreliable = set()
        self.lock = threading.Lock()

    def measure(self, numbers):
        """Runs every test on the original: its time, and the mutants that it reaches. Those that fail are taken out."""
        reached = self.builds.work / "reached"
        shutil.rmtree(reached, ignore_errors=True)
        reached.mkdir()
        failed = {}

        def one(test):
            record = reached / hashlib.sha256(test.name.encode()).hexdigest()[:16]
            how, test.seconds = suite.run(test, {"TREL_MUTANTS_REACHED": str(record)}, 300)
            data = record.read_bytes() if record.exists() else b""
            test.reached = frozenset(n for n in numbers if n < len(data) and data[n])
            if how != "passed":
                failed[test.name] = f"does not pass on the original in this build ({how})"
            elif test.seconds > suite.LONGEST:
                failed[test.name] = f"takes {test.seconds:.0f} s"
            record.unlink(missing_ok=True)

        with concurrent.futures.ThreadPoolExecutor(self.jobs) as pool:
            for i, _ in enumerate(pool.map(one, self.tests)):
                if (i + 1) % 250 == 0:
                    say(f"   {i + 1} of {len(self.tests)} tests")
        self.tests = [t for t in self.tests if t.name not in failed]
        return failed

    def reaching(self, number):
        return [t for t in self.tests if number in t.reached]

    def judge(self, number, mutant):
        """Runs the tests that reach the mutant until one fails."""
        library = self.libraries.get(mutant.key)
        if library is None:
            with_it, without = {"TREL_MUTANT": str(number)}, {}
            reaching = self.reaching(number)
        else:
            with_it, without = self.builds.library_path(library), self.builds.library_path("original")
            reaching = self.tests
        # The special tests first, which reach little else, and those of the module's own program; the slow ones last.
        reaching = sorted(reaching, key=lambda t: (t.seconds > 0.5, not t.program.startswith(mutant.module), len(t.reached),
                                                   t.name))
        for i, test in enumerate(reaching):
            if test.name in self.unreliable:
                continue
            limit = max(10.0, 10 * test.seconds)
            how, _ = suite.run(test, with_it, limit)
            if how == "passed":
                continue
            alone, _ = suite.run(test, without, limit)
            if alone != "passed":  # not the mutant's doing
                self.distrust(test, alone)
                continue
            return {"state": "killed", "how": how, "by": test.name, "tests": i + 1}
        if library is not None and mutant.declares and mutant.file in self.public_headers:
            noticed = self.judge_programs(mutant, with_it)
            if noticed is not None:
                return noticed
        return {"state": "survived" if reaching else "unreached", "tests": len(reaching)}

    def distrust(self, test, how):
        say(f"   not believed: {test.name} {how} without a mutant too")
        with self.lock:
            self.unreliable.add(test.name)

    def judge_programs(self, mutant, with_it):
        """The second question to a constant of a public header: do programs that are compiled with it notice?"""
        with self.lock:  # one compilation at a time
            original = self.files[mutant.file].decode()
            folder = self.builds.work / "programs"
            made, refused = headers.programs_with(self.builds, mutant, original, schemata.replaced(original, mutant),
                                                  self.tests, folder)
            if refused is not None:
                return {"state": "killed", "how": "does not compile", "by": refused, "tests": 0}
            for test in self.tests:
                if test.program not in made or test.name in self.unreliable:
                    continue
                changed = dataclasses.replace(test, command=[made[test.program], *test.command[1:]])
                how, _ = suite.run(changed, with_it, max(10.0, 10 * test.seconds))
                if how != "passed":
                    return {"state": "killed", "how": how, "by": test.name, "tests": 0}
        return None


# --- the report ---


def table(rows, heads):
    lines = ["| " + " | ".join(heads) + " |", "| " + " | ".join("---" if i == 0 else "---:" for i in range(len(heads))) + " |"]
    return lines + ["| " + " | ".join(str(cell) for cell in row) + " |" for row in rows]


def counted(results, name):
    drawn = len(results)
    killed = sum(1 for r in results if r["state"] == "killed")
    return [name, drawn, killed, drawn - killed, f"{100 * killed / drawn:.1f} %" if drawn else "-"]


def report(chosen, results, facts):
    judged = [(m, results[m.key]) for _, m in chosen if m.key in results]
    lines = [f"{len(judged)} mutants, seed {facts['seed']}: "
             f"{sum(r['state'] == 'killed' for _, r in judged)} killed, "
             f"{sum(r['state'] != 'killed' for _, r in judged)} survived", ""]
    heads = ["", "drawn", "killed", "survived", "killed of drawn"]
    modules = list(dict.fromkeys(m.module for _, m in chosen))
    lines += table([counted([r for m, r in judged if m.module == name], name) for name in modules]
                   + [counted([r for _, r in judged], "all")], ["module"] + heads[1:]) + [""]
    lines += table([counted([r for m, r in judged if m.kind == kind], kind) for kind in KINDS], ["kind"] + heads[1:]) + [""]
    lines += ["Survivors:"] + [f"  {describe(m)}{'  (no test reaches it)' if r['state'] == 'unreached' else ''}"
                               for m, r in sorted(judged, key=lambda p: (p[0].file, p[0].start)) if r["state"] != "killed"]
    lines += ["", *facts["notes"]]
    return "\n".join(lines) + "\n"


# --- all of it ---


def main():
    parser = argparse.ArgumentParser(prog="scripts/mutate", add_help=False)
    parser.add_argument("--count", type=int, default=500)
    parser.add_argument("--seed", type=int, default=1)
    parser.add_argument("--jobs", type=int, default=2)
    parser.add_argument("--survivors", action="store_true")
    parser.add_argument("--list", action="store_true")
    options = parser.parse_args()

    work = ROOT / "build" / "mutation" / f"{options.count}-{options.seed}"
    work.mkdir(parents=True, exist_ok=True)
    builds = Builds(work, options.jobs)
    builds.make_runtime()
    files = sources()

    say("== mutation: the mutants")
    write_tree(builds.plain, files)
    builds.configure(builds.plain, builds.plain_build, "-w", "-O0", "OFF")
    modules, left_out = all_candidates(builds)
    selection = Selection(draw(modules, options.count, options.seed))
    for name, (lines, mutants) in modules.items():
        say(f"   {name}: {lines} lines of code, {len(mutants)} mutants, {selection.drawn[name][0]} drawn; "
            f"kinds: {', '.join(f'{k} {sum(m.kind == k for m in mutants)}' for k in KINDS)}")
    if options.list:
        for _, mutant in selection.numbered():
            say(f"   {'compiled' if mutant.fixed else 'switched'} {describe(mutant)}")
        return 0

    memory = Memory(work, files, options.survivors)
    results = memory.results
    selection.refused |= memory.refused
    selection.forced |= memory.forced

    resource.setrlimit(resource.RLIMIT_CORE, (0, 0))
    resource.setrlimit(resource.RLIMIT_AS, (MEMORY, MEMORY))
    while True:
        say("== mutation: the library with its mutants")
        build_switched(builds, files, selection)
        while build_separate(builds, files, selection, memory):
            build_switched(builds, files, selection)
        chosen = selection.numbered()

        say("== mutation: the tests")
        tests, excluded, unbuilt = suite.tests_of(builds.switched_build)
        programs = {t.program for t in tests} | unbuilt
        built = builds.ninja(builds.switched_build, *sorted(programs))
        if built.returncode != 0:
            raise SystemExit(f"error: the tests do not compile\n{built.stdout[-6000:]}")
        tests, excluded, _ = suite.tests_of(builds.switched_build)
        say(f"   {len(tests)} tests, {len(excluded)} left out")

        runner = Runner(builds, files, tests, memory.libraries, options.jobs)
        excluded.update(runner.measure({n for n, _ in chosen}))
        # A constexpr function that only the compiler runs never meets its switch.
        unmet = [m for n, m in chosen if m.constexpr and not selection.is_separate(m) and not runner.reaching(n)]
        if not unmet:
            break
        for mutant in unmet:
            say(f"   the compiler's alone: {describe(mutant)}")
            selection.forced.add(mutant.key)


    say("== mutation: the mutants, one by one")
    waiting = [(n, m) for n, m in chosen if m.key not in results]
    done = len(chosen) - len(waiting)
    with concurrent.futures.ThreadPoolExecutor(options.jobs) as pool:
        futures = {pool.submit(runner.judge, n, m): m for n, m in waiting}
        for future in concurrent.futures.as_completed(futures):
            mutant, result = futures[future], future.result()
            memory.add(mutant, result)
            done += 1
            if result["state"] != "killed":
                say(f"   {result['state']}: {describe(mutant)}")
            if len(runner.unreliable) > MOST_UNRELIABLE:
                pool.shutdown(cancel_futures=True)
                raise SystemExit("error: too many tests that passed before do not pass any more, without a mutant")
            if done % 25 == 0 or done == len(chosen):
                killed = sum(results[m.key]["state"] == "killed" for _, m in chosen if m.key in results)
                say(f"   {done} of {len(chosen)}, {killed} killed")

    reasons = {}
    for name, why in excluded.items():
        reasons.setdefault(why, []).append(name)
    separate = sum(selection.is_separate(m) for _, m in chosen)
    notes = [f"{len(chosen) - separate} switched at run time, {separate} compiled for themselves; "
             f"{len(selection.refused)} did not compile and were replaced by the next.",
             "No mutants: " + "; ".join(f"{reason} ({n})" for reason, n in sorted(left_out.items())) + ".",
             f"{len(runner.tests)} tests took part. Left out:"]
    for why, names in sorted(reasons.items()):
        shown = sorted({re.sub(r"\..*", "", n) if len(names) > 8 else n for n in names})
        notes.append(f"  {why}: {', '.join(shown)}")
    if runner.unreliable:
        notes.append(f"Failed once without a mutant and were not believed: {', '.join(sorted(runner.unreliable))}")
    text = report(chosen, results, {"seed": options.seed, "notes": notes})
    (work / "report.txt").write_text(text)
    say("\n" + text)
    killed = sum(results[m.key]["state"] == "killed" for _, m in chosen)
    say(f"{killed} of {len(chosen)} mutants killed, seed {options.seed}; 95 of 100 are wanted")
    return 0 if killed * 100 >= 95 * len(chosen) else 1


if __name__ == "__main__":
    sys.exit(main())
