#!/usr/bin/env python3
"""Tells once more which tests failed and at what, in a few lines for the end of a long log, whose middle may be cut.

    failed_tests.py JUNIT… [--again JUNIT…]

JUNIT is what ctest --output-junit has written; one that is not there has nothing to tell. What --again names counts
for the tests that were run a second time.
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


def in_short(cases, where=""):
    lines = []
    for case in cases:
        if case.passed or case.skipped:
            continue
        rows = len(case.failures())
        told = f"{where}{case.time:.1f} s{f', {rows} of its rows' if rows else ''}"
        lines.append(f"FAILED {case.name} ({told})")
        complaints = case.complaints()
        shown = complaints[:MOST_LINES] if rows else complaints[-MOST_LINES:]
        lines += [f"        {line.strip()}" for line in shown]
        if rows and len(complaints) > len(shown):
            lines.append(f"        … {len(complaints) - len(shown)} lines more above")
    return lines


def main(arguments):
    split = arguments.index("--again") if "--again" in arguments else len(arguments)
    first, second = ([Path(name) for name in names] for names in (arguments[:split], arguments[split + 1:]))
    if not first:
        print(__doc__, file=sys.stderr)
        return 2
    again = [case for junit in second if junit.exists() for case in read(junit)]
    for junit in first:
        if junit.exists():
            for line in in_short(last_runs(read(junit), again), f"{junit.resolve().parent.name}: "):
                print(line)
    return 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
