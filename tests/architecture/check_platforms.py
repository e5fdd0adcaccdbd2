#!/usr/bin/env python3
"""Looks at the sources for what goes well with one compiler or system and fails with another.

    check_platforms.py ROOT

A virtual signal is connected by its name: some compilers give each library an address of its own for a virtual
function, and Qt finds no signal behind one that another library has taken. What is delivered asks for the
operating system only in files that are there for it: platform.h, *_pin.h, *_posix.cpp, *_windows.cpp.
"""

import re
import sys
from pathlib import Path

SUFFIXES = {".h", ".cpp"}
DELIVERED = ("applications", "framework", "plugins")
TOPS = DELIVERED + ("benchmarks", "fuzz", "tests")
SECTION = re.compile(r"^\s*(Q_SIGNALS|signals|public|protected|private)\b[^:\n]*:", re.MULTILINE)
VIRTUAL = re.compile(r"\bvirtual\s+void\s+(\w+)\(|\bvoid\s+(\w+)\([^;]*\)[^;]*\boverride\b")
CONNECTION = re.compile(r"\b(?:connect|QSignalSpy(?:\s+\w+)?)\s*\(")
PLATFORM = re.compile(r"^\s*#\s*(?:if|ifdef|ifndef|elif)\b.*\b(Q_OS_\w+|_?_?WIN(?:32|64)_?_?|__linux__|__unix__)",
                      re.MULTILINE)
OF_A_PLATFORM = re.compile(r"^(platform\.h|platform_\w+\.cpp|\w+_pin\.h|\w+_(?:posix|windows)\.cpp)$")


def virtual_signals(text):
    """Names of the signals in a header that are virtual."""
    marks = list(SECTION.finditer(text))
    names = set()
    for mark, following in zip(marks, marks[1:] + [None]):
        if mark.group(1) not in ("Q_SIGNALS", "signals"):
            continue
        section = text[mark.end():following.start() if following else len(text)]
        for declaration in section.split(";"):
            found = VIRTUAL.search(declaration + ";")
            if found:
                names.add(found.group(1) or found.group(2))
    return names


def arguments_of(text, start):
    """The text between a call's parentheses, the first of which ends at `start`."""
    depth = 1
    for at in range(start, len(text)):
        depth += {"(": 1, ")": -1}.get(text[at], 0)
        if depth == 0:
            return text[start:at]
    return text[start:]


def check(root):
    files = {}
    for top in TOPS:
        for path in sorted((root / top).rglob("*")):
            if path.suffix in SUFFIXES and path.is_file():
                files[path.relative_to(root).as_posix()] = path.read_text(encoding="utf-8")
    signals = set()
    for name, text in files.items():
        if name.endswith(".h"):
            signals |= virtual_signals(text)
    problems = []
    for name, text in files.items():
        for match in CONNECTION.finditer(text):
            for signal in re.findall(r"&\s*\w+::(\w+)", arguments_of(text, match.end())):
                if signal in signals:
                    line = text.count("\n", 0, match.start()) + 1
                    problems.append(f"{name}:{line} connects the virtual signal {signal} by its address: "
                                    f"name it, SIGNAL({signal}(…))")
        parts = Path(name).parts
        if parts[0] not in DELIVERED or "tests" in parts or OF_A_PLATFORM.match(parts[-1]):
            continue
        for match in PLATFORM.finditer(text):
            line = text.count("\n", 0, match.start(1)) + 1
            problems.append(f"{name}:{line} asks for {match.group(1)}: put what differs into files of the "
                            f"platforms, platform_posix.cpp and platform_windows.cpp")
    return signals, problems


def main(arguments):
    if len(arguments) != 1:
        print(__doc__, file=sys.stderr)
        return 2
    signals, problems = check(Path(arguments[0]).resolve())
    for problem in problems:
        print(problem, file=sys.stderr)
    if problems:
        return 1
    print(f"virtual signals: {', '.join(sorted(signals)) or 'none'}; all are connected by their names")
    return 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
