#!/usr/bin/env python3
"""Which source files can be compiled as one: files of a folder, and not two that have a name of their own in common.

    group_sources.py MOST FILE…

Prints "group;file" for each file, groups of MOST files at most. Names are those that stand at the beginning of a
line, outside of functions and classes, where clang-format leaves them.
"""

import os
import re
import sys

TYPE = re.compile(r"(?:struct|class|enum class|enum|using) (\w+)")
OTHER = re.compile(r"[\w:<>,&*. ]*[ &*>](\w+)(?:\(|\{|\[|;| =)")
NOT_NAMES = re.compile(r"(?:namespace|using namespace|return|case|template|extern)\b")


def names_of(path):
    names = set()
    with open(path, encoding="utf-8") as text:
        for line in text:
            if not line[:1].isalpha() or NOT_NAMES.match(line):
                continue
            found = TYPE.match(line) or OTHER.match(line)
            if found:
                names.add(found.group(1))
    return names


def group(most, paths):
    groups = {}  # by folder, a list of (files, their names)
    for path in paths:
        names = names_of(path)
        of_folder = groups.setdefault(os.path.dirname(path), [])
        for files, taken in of_folder:
            if len(files) < most and not names & taken:
                files.append(path)
                taken |= names
                break
        else:
            of_folder.append(([path], set(names)))
    return groups


def main(arguments):
    if len(arguments) < 1:
        print(__doc__, file=sys.stderr)
        return 2
    for folder, of_folder in group(int(arguments[0]), arguments[1:]).items():
        name = re.sub(r"\W", "_", "_".join(folder.split(os.sep)[-2:]))
        for number, (files, _) in enumerate(of_folder):
            for path in files:
                print(f"{name}_{number};{path}")
    return 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
