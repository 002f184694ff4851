"""Counts how the cost grows, and draws it: growth.py BUILD_FOLDER PLOT_FOLDER

Called by scripts/bench, which has built everything. One plot a question, an SVG file each."""

import datetime
import math
import os
import sys

from counting import callgrind, commit, machine, run, values_of

REQUEST = "TrelProtocolBase::handleTrelMsg(*"
SCAN = "TrelProtocolBase::eventHandler()"
FEW = [1, 2, 5, 10, 20, 50, 100]
# File, title, what the numbers are, the lines: what each is called, the question, the numbers, the function that is counted.
PLOTS = [
    ("growth-objects", "A table of 80 variables, read: instructions a variable", "registered objects, the table last",
     [("read", "objects", [1, 10, 40, 160], REQUEST)]),
    ("growth-rows", "80 variables of a large table, read: instructions a variable", "rows of the table",
     [("read", "rows", [16, 100, 1000, 4000, 16384], REQUEST)]),
    ("growth-variables", "Numbers of one byte: instructions a variable", "variables in a request",
     [("read", "read", FEW + [148], REQUEST), ("write", "write", FEW + [150], REQUEST)]),
    ("growth-eventable", "A scan with nothing pending: instructions a variable", "eventable variables",
     [("scan", "eventable", [100, 1000, 10000, 100000], SCAN)]),
]
COLOURS = ("#0b5fa5", "#b3541e")
WIDTH, HEIGHT = 640, 400
LEFT, RIGHT, TOP, BOTTOM = 70, 24, 64, 62


def cost(build, question, number, function):
    """Instructions a variable."""
    command = [os.path.join(build, "bench", "growth"), question, str(number)]
    plain = values_of(run(command, f"growth {question}"))
    counted = callgrind(command, function, os.path.join(build, "callgrind.growth"))
    return counted / plain["runs"] / plain["variables"]


def step_of(highest):
    """The distance of the marks of an axis from 0 to `highest`: 1, 2 or 5 with zeros, at most six of them."""
    power = 10 ** math.floor(math.log10(highest / 6))
    return next(power * factor for factor in (1, 2, 5, 10) if highest / (power * factor) <= 6)


def text(x, y, words, size=12, anchor="middle", more=""):
    return f'<text x="{x:.1f}" y="{y:.1f}" font-size="{size}" text-anchor="{anchor}"{more}>{words}</text>'


def line(x1, y1, x2, y2, colour):
    return f'<line x1="{x1:.1f}" y1="{y1:.1f}" x2="{x2:.1f}" y2="{y2:.1f}" stroke="{colour}"/>'


def svg(title, below, lines, footnote):
    """A plot: numbers to the right, each ten times the other the same way; costs upwards from 0. Each point says its cost."""
    numbers = sorted({number for _, points in lines for number, _ in points})
    highest = max(value for _, points in lines for _, value in points)
    step = step_of(highest)
    top = step * math.ceil(highest * 1.08 / step)
    span = math.log10(numbers[-1] / numbers[0])

    def x(number):
        return LEFT + (WIDTH - LEFT - RIGHT) * math.log10(number / numbers[0]) / span

    def y(value):
        return HEIGHT - BOTTOM - (HEIGHT - TOP - BOTTOM) * value / top

    parts = [f'<svg xmlns="http://www.w3.org/2000/svg" viewBox="0 0 {WIDTH} {HEIGHT}" font-family="sans-serif" fill="#222">',
             f"<title>{title}</title>", f'<rect width="{WIDTH}" height="{HEIGHT}" fill="white"/>', text(WIDTH / 2, 24, title, 15)]
    for mark in range(round(top / step) + 1):
        value = mark * step
        parts += [line(LEFT, y(value), WIDTH - RIGHT, y(value), "#ddd"), text(LEFT - 8, y(value) + 4, f"{value:,.0f}", 11, "end")]
    labelled = -math.inf
    for number in numbers:
        parts.append(line(x(number), HEIGHT - BOTTOM, x(number), HEIGHT - BOTTOM + 5, "#222"))
        if x(number) - labelled > 30:
            labelled = x(number)
            parts.append(text(x(number), HEIGHT - BOTTOM + 18, f"{number:,}", 11))
    parts.append(text((LEFT + WIDTH - RIGHT) / 2, HEIGHT - BOTTOM + 36, below))
    for index, (name, points) in enumerate(lines):
        colour = COLOURS[index]
        path = " ".join(f"{x(number):.1f},{y(value):.1f}" for number, value in points)
        parts.append(f'<polyline points="{path}" fill="none" stroke="{colour}" stroke-width="2"/>')
        for number, value in points:
            parts += [f'<circle cx="{x(number):.1f}" cy="{y(value):.1f}" r="3.5" fill="{colour}"/>',
                      text(x(number), y(value) + (-9 if index == len(lines) - 1 else 18), f"{value:,.0f}", 10, more=f' fill="{colour}"')]
        if len(lines) > 1:
            parts.append(text(LEFT + 40 + 90 * index, 46, name, 12, more=f' fill="{colour}"'))
    parts += [text(WIDTH - RIGHT, HEIGHT - 8, footnote, 9, "end", ' fill="#777"'), "</svg>"]
    return "\n".join(parts) + "\n"


def main():
    if len(sys.argv) != 3:
        sys.exit(__doc__)
    build, folder = sys.argv[1:]
    os.makedirs(folder, exist_ok=True)
    footnote = f"{datetime.date.today().isoformat()}, {machine()}, commit {commit()}"
    for name, title, below, questions in PLOTS:
        lines = []
        for called, question, numbers, function in questions:
            points = []
            for number in numbers:
                points.append((number, cost(build, question, number, function)))
                print(f"{question} {number}: {points[-1][1]:.1f} instructions a variable", flush=True)
            lines.append((called, points))
        path = os.path.join(folder, name + ".svg")
        with open(path, "w", encoding="utf-8") as file:
            file.write(svg(title, below, lines, footnote))
        print(f"drawn: {path}", flush=True)


main()
