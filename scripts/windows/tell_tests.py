#!/usr/bin/env python3
"""Tells how the tests went that ran under Wine: which failed and at what, which were run a second time, which
rows were skipped and why, which limits in time were missed, and how many of each.

    tell_tests.py NOT_HERE JUNIT [JUNIT_OF_THE_SECOND_RUN]

NOT_HERE is the file with a line "name: reason" for each test program that is not built for Windows, JUNIT what
ctest --output-junit has written. Fails where a test failed in the last run that it was in, and where none ran.
"""

import re
import sys
from collections import Counter
from pathlib import Path

sys.path.insert(0, str(Path(__file__).resolve().parent.parent))
from failed_tests import last_runs, read  # noqa: E402

TOTALS = re.compile(r"^Totals: (\d+) passed, (\d+) failed, (\d+) skipped, (\d+) blacklisted", re.MULTILINE)
SKIPPED = re.compile(r"^SKIP\s*: (\S+?)\((.*?)\) (.+?)\r?$", re.MULTILINE)
MISSED = re.compile(r"^limits in time that were missed: (\d+)", re.MULTILINE)


def rows_of(case):
    counted = Counter()
    for totals in TOTALS.findall(case.output):
        counted.update(dict(zip(("passed", "failed", "skipped"), map(int, totals[:3]))))
    return counted


def tell_skipped(cases):
    reasons = {}
    for case in cases:
        for test, row, reason in SKIPPED.findall(case.output):
            reasons.setdefault(reason, []).append(f"{test}({row})")
    lines = []
    for reason, tests in sorted(reasons.items()):
        lines.append(f"  skipped {len(tests)}: {reason}")
        lines += [f"          {test}" for test in tests]
    return lines


def tell(first, second, not_here):
    """The lines to print, and whether all is well."""
    again = {case.name: case for case in second}
    last = last_runs(first, second)
    lines = [f"  {'passed' if case.passed else 'FAILED':7} {case.name} ({case.time:.1f} s)" for case in last]
    for case in first:
        if case.passed:
            continue
        ended = "" if case.name not in again else \
            f", and {'passed' if again[case.name].passed else 'failed'} when it was run again by itself"
        lines.append(f"  {case.name} failed{ended}:")
        lines += [f"          {line}" for line in case.complaints()]
    for case in second:
        if not case.passed:
            lines.append(f"  {case.name}, by itself:")
            lines += [f"          {line}" for line in case.complaints()]
    lines += tell_skipped(last)
    missed = 0
    for case in last:
        count = sum(map(int, MISSED.findall(case.output)))
        missed += count
        if count:
            lines.append(f"  limits in time missed {count}: {case.name}")
    lines += [f"  not built {line}" for line in not_here]
    failed = [case.name for case in last if not case.passed]
    rows = sum((rows_of(case) for case in last), Counter())
    lines.append(f"windows: {len(last)} tests, {len(failed)} failed, {len(again)} run twice; of their rows "
                 f"{rows['passed']} passed, {rows['failed']} failed, {rows['skipped']} skipped; {missed} limits in "
                 f"time missed; {len(not_here)} programs not built because they need POSIX")
    if again:
        lines.append(f"windows: run twice: {', '.join(sorted(again))}")
    if failed:
        lines.append(f"windows: failed: {', '.join(failed)}")
    return lines, bool(last) and not failed


def main(arguments):
    if len(arguments) not in (2, 3):
        print(__doc__, file=sys.stderr)
        return 2
    not_here = [line for line in Path(arguments[0]).read_text(encoding="utf-8").splitlines() if line]
    second = read(arguments[2]) if len(arguments) > 2 else []
    lines, good = tell(read(arguments[1]), second, not_here)
    print("\n".join(lines))
    return 0 if good else 1


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
