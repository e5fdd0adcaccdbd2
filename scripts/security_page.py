#!/usr/bin/env python3
"""Holds docs/security.md against the tests: each test that its tables name is there, by its program and its
function, each row names one, and each test that says of itself that it is an attack or a limit has its row.

    security_page.py [--page PAGE] SOURCES [TESTS]

A test says so by a comment "// docs/security.md" behind its declaration. SOURCES is the checkout; with
TESTS, the folder of the built test programs, those that are built there are asked as well (-functions). Fails,
naming each row and test.
"""

import argparse
import re
import subprocess
import sys
from pathlib import Path

HEADINGS = ("## Who tries what, and what happens", "## Limits")
NAMES = re.compile(r"`([^`]+)`")
MARK = re.compile(r"\bvoid (\w+)\(\);? +// docs/security\.md$", re.MULTILINE)
FUNCTION = re.compile(r"\bvoid (?:\w+::)?(\w+)\(\)")
# Of the build and not of a test program: the test of this name in a CMakeLists.txt.
CTEST = re.compile(r"add_test\(NAME (\w+)")
# Rows whose limits are told in the rows above them.
BELOW = "below"


def rows_of(page):
    """The first and the last cell of each row of the tables."""
    for heading in HEADINGS:
        if heading not in page:
            raise ValueError(f"there is no heading \"{heading}\"")
        part = page.split(heading, 1)[1].split("\n## ", 1)[0]
        lines = [line for line in part.split("\n") if line.startswith("|")]
        for line in lines[2:]:
            cells = [cell.strip() for cell in re.split(r"(?<!\\)\|", line)[1:-1]]
            yield cells[0], cells[-1]


def tests_of(cell):
    """Program and function of each test, the function None where the whole program is meant."""
    for part in cell.split(";"):
        names = NAMES.findall(part.split(", which", 1)[0])
        if not names:
            continue
        yield from ((names[0], name) for name in names[1:] or [None])


def check(page, sources, ask):
    """Problems. `sources` has the text of each test program, or "" for a test of the build; `ask` gives the
    functions of a built one, or None."""
    problems, told = [], set()
    for row, cell in rows_of(page):
        tests = list(tests_of(cell))
        if not tests and cell != BELOW:
            problems.append(f"the row \"{row}\" names no test")
        for program, function in tests:
            told.add((program, function))
            if program not in sources:
                problems.append(f"the row \"{row}\" names `{program}`: there is no such test")
                continue
            if function is None:
                if sources[program] and program != "tst_growth":
                    problems.append(f"the row \"{row}\" names `{program}` and none of its functions")
                continue
            if function not in FUNCTION.findall(sources[program]):
                problems.append(f"the row \"{row}\" names `{program}`: `{function}`: it has no such function")
                continue
            built = ask(program)
            if built is not None and function not in built:
                problems.append(f"the row \"{row}\" names `{program}`: `{function}`: the built program does not know it")
            if function not in MARK.findall(sources[program]):
                problems.append(f"`{program}`: `{function}` is in the page: write \"// docs/security.md\" behind its "
                                f"declaration")
    for program, text in sorted(sources.items()):
        for function in MARK.findall(text):
            if (program, function) not in told:
                problems.append(f"`{program}`: `{function}` says that it is in the page, and has no row there")
    return problems


def sources_of(root):
    sources = {}
    for path in root.rglob("tst_*.cpp"):
        if "build" not in path.relative_to(root).parts:
            sources[path.stem] = path.read_text(encoding="utf-8")
    for path in [root / "CMakeLists.txt", *root.glob("*/**/CMakeLists.txt")]:
        if "build" not in path.relative_to(root).parts:
            for name in CTEST.findall(path.read_text(encoding="utf-8")):
                sources.setdefault(name, "")
    return sources


def asker(folder):
    known = {}

    def ask(program):
        if folder is None or not (folder / program).exists():
            return None
        if program not in known:
            said = subprocess.run([folder / program, "-functions"], capture_output=True, text=True, timeout=60)
            known[program] = {line.strip().removesuffix("()") for line in said.stdout.split("\n")}
        return known[program]

    return ask


def main(arguments):
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("sources", type=Path)
    parser.add_argument("tests", type=Path, nargs="?")
    parser.add_argument("--page", type=Path)
    options = parser.parse_args(arguments)
    page = options.page or options.sources / "docs" / "security.md"
    problems = check(page.read_text(encoding="utf-8"), sources_of(options.sources), asker(options.tests))
    for problem in problems:
        print(f"security_page: {problem}", file=sys.stderr)
    if not problems:
        print("security_page: docs/security.md names the tests that there are")
    return 1 if problems else 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
