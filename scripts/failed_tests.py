#!/usr/bin/env python3
"""Tells once more which tests failed and at what, in a few lines for the end of a long log, whose middle may be cut.

    failed_tests.py JUNIT [JUNIT_OF_THE_SECOND_RUN]

JUNIT is what ctest --output-junit has written. Says nothing where no test failed in the last run that it was in.
"""

import re
import sys
import xml.etree.ElementTree as ElementTree
from pathlib import Path

FAILED = re.compile(r"^FAIL!\s*: .*(?:\r?\n   .*)*", re.MULTILINE)
# Of a program that says nothing of rows, or that ended before it could.
LAST_LINES = 12
# Of each test, in short.
MOST_LINES = 6
# What ctest did not run is a failure, unless the test itself or a person has said so.
MEANT = re.compile(r"SKIP_RETURN_CODE|SKIP_REGULAR_EXPRESSION")


class Case:
    def __init__(self, element):
        self.name = element.get("name")
        self.passed = element.get("status") == "run"
        skipped = element.find("skipped")
        self.skipped = element.get("status") == "disabled" or (
            skipped is not None and bool(MEANT.search(skipped.get("message") or "")))
        self.time = float(element.get("time") or 0)
        self.output = element.findtext("system-out") or ""

    def failures(self):
        return FAILED.findall(self.output)

    def complaints(self):
        found = [line for text in self.failures() for line in text.splitlines()]
        return found or self.output.splitlines()[-LAST_LINES:]


def read(junit):
    return [Case(element) for element in ElementTree.parse(junit).getroot().iter("testcase")]


def last_runs(first, second):
    again = {case.name: case for case in second}
    return sorted((again.get(case.name, case) for case in first), key=lambda case: case.name)


def in_short(cases):
    lines = []
    for case in cases:
        if case.passed or case.skipped:
            continue
        rows = len(case.failures())
        lines.append(f"FAILED {case.name} ({case.time:.1f} s{f', {rows} of its rows' if rows else ''})")
        complaints = case.complaints()
        shown = complaints[:MOST_LINES] if rows else complaints[-MOST_LINES:]
        lines += [f"        {line.strip()}" for line in shown]
        if rows and len(complaints) > len(shown):
            lines.append(f"        … {len(complaints) - len(shown)} lines more above")
    return lines


def main(arguments):
    if len(arguments) not in (1, 2):
        print(__doc__, file=sys.stderr)
        return 2
    runs = [read(junit) if Path(junit).exists() else [] for junit in arguments]
    for line in in_short(last_runs(runs[0], runs[1] if len(runs) > 1 else [])):
        print(line)
    return 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
