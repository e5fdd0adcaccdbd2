#!/usr/bin/env python3
"""Makes a graph and a table of what numbers of devices take.

    scale_graph.py IMAGE < ROWS

ROWS are the lines "scale| …" of the benchmark program scale_benchmark, one for each number of devices. Writes IMAGE
(SVG: share of a processor and memory against the number of devices, both axes logarithmic) and prints the table.
"""

import math
import sys
from collections import namedtuple

Row = namedtuple("Row", "devices updates share bare_share cost bare_cost memory late bare_late ready")
# `short` are the numbers of devices that did not get every update.
Series = namedtuple("Series", "colour values short", defaults=[()])

HEAD = ("devices", "updates a second", "share of a processor", "bare clients", "an update", "bare client's", "memory of the process",
        "late, 99th percentile", "bare clients'", "connected and identified after")

# Readable on a light ground and on a dark one: each has a contrast of three or more to both.
TEXT, BLUE, ORANGE = "#7d8590", "#2f81f7", "#d9730d"
GRID = f'stroke="{TEXT}" stroke-opacity="0.4"'
PANEL_WIDTH, PANEL_HEIGHT, LEFT, TOP, GAP, BOTTOM = 290, 240, 64, 44, 96, 82
# Points between which the straight line is drawn; it goes on to both sides.
STRAIGHT_FROM, STRAIGHT_TO = 10, 100
# A second; less than this part of them is short.
UPDATES_OF_ONE, ENOUGH = 10, 0.98


def number(text):
    return float(text.split()[0])


def parsed(lines):
    """[Row], and the cells of the table"""
    cells = [[cell.strip() for cell in line.split("|")[1:-1]] for line in lines if line.startswith("scale|")]
    return [Row(*map(number, row)) for row in cells], cells


def straight(points):
    """A line through the points of STRAIGHT_FROM and STRAIGHT_TO devices, as a function; None without both."""
    known = dict(points)
    if STRAIGHT_FROM not in known or STRAIGHT_TO not in known:
        return None
    slope = (known[STRAIGHT_TO] - known[STRAIGHT_FROM]) / (STRAIGHT_TO - STRAIGHT_FROM)
    return lambda devices: known[STRAIGHT_FROM] + slope * (devices - STRAIGHT_FROM)


def plain(value):
    return f"{value:,.10g}"


class Panel:
    """One graph: its place, and what is drawn there."""

    def __init__(self, left, title, unit, series):
        self.left, self.title, self.unit, self.series = left, title, unit, series
        devices = [point[0] for one in series for point in one.values]
        values = [point[1] for one in series for point in one.values]
        self.decades = [self.bounds(devices), self.bounds(values)]

    @staticmethod
    def bounds(values):
        low, high = math.floor(math.log10(min(values))), math.ceil(math.log10(max(values)))
        return low, max(high, low + 1)

    def place(self, axis, value):
        low, high = self.decades[axis]
        share = (math.log10(value) - low) / (high - low)
        return self.left + share * PANEL_WIDTH if axis == 0 else TOP + (1 - share) * PANEL_HEIGHT

    def at(self, point):
        return f"{self.place(0, point[0]):.1f},{self.place(1, point[1]):.1f}"

    def grid(self):
        bottom, right = TOP + PANEL_HEIGHT, self.left + PANEL_WIDTH
        for decade in range(self.decades[0][0], self.decades[0][1] + 1):
            x = self.place(0, 10 ** decade)
            yield f'<path d="M{x:.1f} {TOP}V{bottom}" {GRID}/>'
            yield f'<text x="{x:.1f}" y="{bottom + 18}" text-anchor="middle">{plain(10 ** decade)}</text>'
        for decade in range(self.decades[1][0], self.decades[1][1] + 1):
            y = self.place(1, 10 ** decade)
            yield f'<path d="M{self.left} {y:.1f}H{right}" {GRID}/>'
            yield (f'<text x="{self.left - 8}" y="{y + 4:.1f}" text-anchor="end">'
                   f'{plain(10 ** decade)} {self.unit}</text>')
        middle = self.left + PANEL_WIDTH / 2
        yield f'<text x="{middle}" y="{TOP - 16}" text-anchor="middle" font-weight="bold">{self.title}</text>'
        yield f'<text x="{middle}" y="{bottom + 38}" text-anchor="middle">number of devices</text>'

    def lines(self):
        growth = straight(self.series[0].values)
        if growth:
            low, high = 10 ** self.decades[1][0], 10 ** self.decades[1][1]
            last = max(point[0] for point in self.series[0].values)
            # A straight line that does not begin at nought is bent where both axes are logarithmic.
            steps = [10 ** (math.log10(last) * i / 60) for i in range(61)]
            points = [(x, growth(x)) for x in steps if low <= growth(x) <= high]
            path = " ".join(map(self.at, points))
            yield f'<polyline points="{path}" fill="none" stroke="{TEXT}" stroke-dasharray="5 4" stroke-width="1.5"/>'
        for one in self.series:
            path = " ".join(map(self.at, one.values))
            yield f'<polyline points="{path}" fill="none" stroke="{one.colour}" stroke-width="2"/>'
            for point in one.values:
                x, y = self.at(point).split(",")
                fill = "none" if point[0] in one.short else one.colour
                yield (f'<circle cx="{x}" cy="{y}" r="3.5" fill="{fill}" stroke="{one.colour}"><title>'
                       f'{plain(point[0])} devices: {plain(point[1])} {self.unit}</title></circle>')


def legend(y, is_short):
    x = LEFT
    if is_short:
        yield f'<text x="{x}" y="{y - 20}">hollow: the machine was too slow for all of the updates</text>'
    for name, colour, dashes in (("devices", BLUE, ""), ("bare clients", ORANGE, ""),
                                 (f"straight line through {STRAIGHT_FROM} and {STRAIGHT_TO} devices", TEXT,
                                  ' stroke-dasharray="5 4"')):
        yield f'<path d="M{x} {y}h28" stroke="{colour}" stroke-width="2"{dashes}/>'
        yield f'<text x="{x + 36}" y="{y + 4}">{name}</text>'
        x += 66 + 7 * len(name)


def graph(rows):
    short = [row.devices for row in rows if row.updates < ENOUGH * UPDATES_OF_ONE * row.devices]
    share = Panel(LEFT, "share of a processor", "%", [
        Series(BLUE, [(row.devices, row.share) for row in rows], short),
        Series(ORANGE, [(row.devices, row.bare_share) for row in rows])])
    memory = Panel(LEFT + PANEL_WIDTH + GAP, "memory of the process", "MiB", [
        Series(BLUE, [(row.devices, row.memory) for row in rows])])
    width, height = LEFT + 2 * PANEL_WIDTH + GAP + 24, TOP + PANEL_HEIGHT + BOTTOM + 20 * bool(short)
    yield (f'<svg xmlns="http://www.w3.org/2000/svg" viewBox="0 0 {width} {height}" width="{width}" '
           f'height="{height}" font-family="sans-serif" font-size="12" fill="{TEXT}" role="img">')
    yield "<title>Devices that listen at 10 Hz: share of a processor and memory against their number</title>"
    for panel in (share, memory):
        yield from panel.grid()
        yield from panel.lines()
    yield from legend(height - 18, short)
    yield "</svg>"


def main():
    if len(sys.argv) != 2:
        sys.exit(__doc__)
    rows, cells = parsed(sys.stdin)
    if not rows:
        sys.exit("scale_graph: no row of scale_benchmark on standard input")
    with open(sys.argv[1], "w", encoding="utf-8") as image:
        image.write("\n".join(graph(rows)) + "\n")
    for row in (HEAD, ["---"] * len(HEAD), *cells):
        print("| " + " | ".join(row) + " |")


if __name__ == "__main__":
    main()
