#!/usr/bin/env python3
"""Compares what the documents say with what is there; run by scripts/check-docs.

  links        a relative link names a file of this tree, its #anchor a heading
  paths        `scripts/test`, `docs/porting.md` and the like name files of this tree
  snippets     a fence directly below <!-- path --> holds that file without the comment at its top;
               one below <!-- part of path --> holds lines that stand in that file, in one piece
  tests        `Suite.Name` is the name of a test
"""

import pathlib
import re
import sys

ROOT = pathlib.Path(__file__).resolve().parent.parent
FOLDERS = ("components", "cmake", "docs", "examples", "scripts", "tests")
SOURCES = ("*.cpp", "*.h", "CMakeLists.txt")
findings = []


def text_of(path):
    return path.read_text(encoding="utf-8")


def finding(document, line, message):
    findings.append(f"{document.relative_to(ROOT)}:{line}: {message}")


def anchors(document):
    """The names that the headings of a document can be linked by, as the usual viewers make them."""
    names, fenced = set(), False
    for line in text_of(document).splitlines():
        if line.startswith("```"):
            fenced = not fenced
        heading = re.match(r"#+ +(.*?) *#*$", line)
        if heading and not fenced:
            words = re.sub(r"\[([^]]*)\]\([^)]*\)", r"\1", heading.group(1)).lower()
            name = re.sub(r"[^\w\- ]", "", words).replace(" ", "-")
            unique, count = name, 0
            while unique in names:
                count += 1
                unique = f"{name}-{count}"
            names.add(unique)
    return names


def test_names():
    """Every test of the tree: those of GoogleTest, and those that a CMakeLists.txt adds."""
    names = set()
    for folder in ("tests", "bench"):
        for pattern in SOURCES:
            for source in (ROOT / folder).rglob(pattern):
                text = text_of(source)
                names.update(f"{suite}.{name}" for suite, name in
                             re.findall(r"^\s*(?:TYPED_)?TEST(?:_F|_P)?\(\s*(\w+)\s*,\s*(\w+)\s*\)", text, re.M))
                names.update(re.findall(r"(?:add_test\(NAME|trel_add_\w+_test\() *([\w.]+)", text))
                names.update(f"Demo.{name}" for name in re.findall(r"trel_add_demo_test\((\w+)", text))
    return names


def check_snippet(document, line, marker, fence):
    part, path = re.fullmatch(r"(part of )?(\S+)", marker).groups()
    if not (ROOT / path).is_file():
        finding(document, line, f"the snippet's file {path} is not there")
        return
    lines = text_of(ROOT / path).splitlines()
    if part:
        if not any(lines[start:start + len(fence)] == fence for start in range(len(lines))):
            finding(document, line, f"{path} has no such lines in one piece")
        return
    while lines and (lines[0].startswith("//") or not lines[0]):
        lines.pop(0)
    if lines != fence:
        where = next((n for n, (a, b) in enumerate(zip(lines, fence)) if a != b), min(len(lines), len(fence)))
        finding(document, line + 2 + where, f"the snippet differs from {path} here")


def check(document, tests):
    lines = text_of(document).splitlines()
    number = 0
    while number < len(lines):
        line = lines[number]
        if line.startswith("```"):
            end = next((n for n in range(number + 1, len(lines)) if lines[n].startswith("```")), len(lines))
            marker = re.fullmatch(r"<!-- ((?:part of )?\S+) -->", lines[number - 1].strip()) if number else None
            if marker:
                check_snippet(document, number, marker.group(1), lines[number + 1:end])
            number = end + 1
            continue
        prose = re.sub(r"`[^`]*`", "", line)
        for target in re.findall(r"\]\(<?([^)>\s]+)>?\)", prose):
            if re.match(r"[a-z]+:", target):
                continue
            path, _, anchor = target.partition("#")
            linked = (document.parent / path).resolve() if path else document
            if not linked.exists():
                finding(document, number + 1, f"the link's {path} is not there")
            elif anchor and anchor not in anchors(linked):
                finding(document, number + 1, f"{linked.relative_to(ROOT)} has no heading #{anchor}")
        for code in re.findall(r"`([^`]+)`", line):
            for word in code.split() if code.startswith("scripts/") else [code]:
                if re.fullmatch(r"(?:%s)/[\w./*-]+" % "|".join(FOLDERS), word) and not any(ROOT.glob(word.rstrip("/"))):
                    finding(document, number + 1, f"{word} is not there")
            if re.fullmatch(r"[A-Z]\w*\.[A-Z]\w*", code) and code not in tests:
                finding(document, number + 1, f"there is no test {code}")
        number += 1


def main():
    documents = sorted([*ROOT.glob("*.md"), *(ROOT / "docs").rglob("*.md"), *(ROOT / "examples").rglob("*.md")])
    tests = test_names()
    for document in documents:
        check(document, tests)
    for line in findings:
        print(line)
    print(f"{len(documents)} documents: " + (f"{len(findings)} findings" if findings else "as they say"))
    return 1 if findings else 0


if __name__ == "__main__":
    sys.exit(main())
