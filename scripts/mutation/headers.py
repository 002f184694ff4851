"""Constants of public headers are compiled into programs too: the tests that name one are built again with its mutant."""

import json
import os
import re
import shlex
import shutil
import subprocess


def compiled(command, folder):
    return subprocess.run(command, cwd=folder, check=False, capture_output=True).returncode == 0


def object_command(entry, components, changed, target):
    """How the test source is compiled, with the changed headers and without the precompiled ones."""
    words, command = iter(shlex.split(entry["command"])), []
    for word in words:
        if word == "-include":
            header = next(words)
            if "cmake_pch" not in header:
                command += [word, header]
        elif word == "-o":
            next(words)
            command += ["-o", str(target)]
        elif word != "-Winvalid-pch":
            command.append(word.replace(str(components), str(changed)))
    return command


def link_command(build, program, objects, target):
    """How the program is linked, with some objects exchanged."""
    listed = subprocess.run(["ninja", "-t", "commands", program], cwd=build, check=True, capture_output=True, text=True).stdout
    line = next(part for part in reversed(listed.splitlines()) if re.search(rf"-o \S*{program}(\s|$)", part))
    step = next(part for part in line.split("&&") if re.search(rf"-o \S*{program}(\s|$)", part))
    command = [objects.get(word, word) for word in shlex.split(step)]
    command[command.index("-o") + 1] = str(target)
    return command


def programs_with(builds, mutant, original, changed_text, tests, folder):
    """Builds the test programs whose sources name the mutant's constant. Program -> its new path; also the first test source
    that the compiler refuses with the mutant and takes without it, which is as good as a test that fails."""
    shutil.rmtree(folder, ignore_errors=True)
    changed = folder / "components"
    shutil.copytree(builds.plain / "components", changed)
    header = folder / mutant.file
    build, components = builds.switched_build, builds.switched / "components"
    made = {}
    entries = [e for e in json.loads((build / "compile_commands.json").read_text())
               if e["file"].startswith(str(builds.switched / "tests"))]
    for program in sorted({t.program for t in tests}):
        objects = {}
        for i, entry in enumerate(entries):
            with open(entry["file"], encoding="utf-8") as source:
                if f"/{program}.dir/" not in entry["command"] or not re.search(rf"\b{mutant.declares}\b", source.read()):
                    continue
            target = folder / f"{program}-{i}.o"
            command = object_command(entry, components, changed, target)
            header.write_text(changed_text)
            if compiled(command, entry["directory"]):
                objects[re.search(r" -o (\S+)", entry["command"])[1]] = str(target)
                continue
            header.write_text(original)
            if compiled(command, entry["directory"]):
                return made, os.path.relpath(entry["file"], builds.switched)
        if objects and compiled(link_command(build, program, objects, folder / program), build):
            made[program] = str(folder / program)
    return made, None
