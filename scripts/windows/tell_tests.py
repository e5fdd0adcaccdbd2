#!/usr/bin/env python3
"""Tells how the tests went that ran under Wine: which failed, which rows were skipped and why, and how many.

    tell_tests.py JUNIT NOT_HERE

JUNIT is what ctest --output-junit has written, NOT_HERE the file with a line "name: reason" for each test program
that is not built for Windows. Fails where a test failed, and where none ran.
"""

import re
import sys
import xml.etree.ElementTree as ElementTree
from collections import Counter
from pathlib import Path

TOTALS = re.compile(r"^Totals: (\d+) passed, (\d+) failed, (\d+) skipped, (\d+) blacklisted", re.MULTILINE)
SKIPPED = re.compile(r"^SKIP\s*: (\S+?)\((.*?)\) (.+?)\r?$", re.MULTILINE)


def read(junit):
    """(name, passed, time, output) of each test."""
    for case in ElementTree.parse(junit).getroot().iter("testcase"):
        output = case.findtext("system-out") or ""
        yield case.get("name"), case.get("status") == "run", float(case.get("time") or 0), output


def tell(cases, not_here):
    """The lines to print, and whether all is well."""
    lines = []
    rows = Counter()
    failed = []
    reasons = {}
    count = 0
    for name, passed, time, output in sorted(cases):
        count += 1
        totals = TOTALS.findall(output)
        for row in totals:
            rows.update(dict(zip(("passed", "failed", "skipped"), map(int, row[:3]))))
        for test, row, reason in SKIPPED.findall(output):
            reasons.setdefault(reason, []).append(f"{test}({row})")
        if not passed:
            failed.append(name)
        lines.append(f"  {'passed' if passed else 'FAILED':7} {name} ({time:.1f} s)")
    for reason, tests in sorted(reasons.items()):
        lines.append(f"  skipped {len(tests)}: {reason}")
        lines += [f"          {test}" for test in tests]
    for line in not_here:
        lines.append(f"  not built {line}")
    lines.append(f"windows: {count} tests, {len(failed)} failed; of their rows {rows['passed']} passed, "
                 f"{rows['failed']} failed, {rows['skipped']} skipped; {len(not_here)} programs not built "
                 f"because they need POSIX")
    if failed:
        lines.append(f"windows: failed: {', '.join(failed)}")
    return lines, count > 0 and not failed


def main(arguments):
    if len(arguments) != 2:
        print(__doc__, file=sys.stderr)
        return 2
    not_here = [line for line in Path(arguments[1]).read_text(encoding="utf-8").splitlines() if line]
    lines, good = tell(read(arguments[0]), not_here)
    print("\n".join(lines))
    return 0 if good else 1


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
