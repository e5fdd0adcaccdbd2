#!/usr/bin/env python3
"""Looks whether programs and libraries for Windows are loaded where nobody can foretell (ASLR), and run nothing
that is data (DEP).

    check_hardened.py FILE_OR_FOLDER…

Of a folder every .exe and .dll below it. Fails, naming the file and what it lacks, and where there is no such file.
"""

import struct
import sys
from pathlib import Path

FILES = {".exe", ".dll"}
# Of the optional header's DllCharacteristics: the flag, its name, and the linker's option for it.
WANTED = (
    (0x0020, "HIGH_ENTROPY_VA", "--high-entropy-va"),
    (0x0040, "DYNAMIC_BASE", "--dynamicbase"),
    (0x0100, "NX_COMPAT", "--nxcompat"),
)
RELOCS_STRIPPED = 0x0001  # of the file header: it can be loaded at one address only
PE32_PLUS = 0x20B
CHARACTERISTICS_OFFSET = 18  # in the file header, which the optional one follows
FILE_HEADER_SIZE = 20
DLL_CHARACTERISTICS_OFFSET = 70  # in the optional header


def problems_of(data):
    """What the file lacks, as texts."""
    try:
        if data[:2] != b"MZ":
            return ["is no program or library for Windows"]
        (start,) = struct.unpack_from("<I", data, 0x3C)
        if data[start:start + 4] != b"PE\0\0":
            return ["is no program or library for Windows"]
        header = start + 4
        (characteristics,) = struct.unpack_from("<H", data, header + CHARACTERISTICS_OFFSET)
        optional = header + FILE_HEADER_SIZE
        (magic,) = struct.unpack_from("<H", data, optional)
        (flags,) = struct.unpack_from("<H", data, optional + DLL_CHARACTERISTICS_OFFSET)
    except struct.error:
        return ["ends within its headers"]
    found = [] if magic == PE32_PLUS else ["is not for 64 bits"]
    found += [f"lacks {name}: link it with {option}" for flag, name, option in WANTED if not flags & flag]
    if characteristics & RELOCS_STRIPPED:
        found.append("has no relocations, and lies where it always does: link it without --disable-reloc-section")
    return found


def check(paths):
    """Problems, and how many files there are."""
    files = []
    for path in paths:
        files += sorted(one for one in path.rglob("*") if one.suffix.lower() in FILES) if path.is_dir() else [path]
    problems = [] if files else ["there is no program and no library in " + ", ".join(map(str, paths))]
    for path in files:
        problems += [f"{path} {problem}" for problem in problems_of(path.read_bytes())]
    return problems, len(files)


def main(arguments):
    if not arguments:
        print(__doc__, file=sys.stderr)
        return 2
    try:
        problems, count = check([Path(argument) for argument in arguments])
    except OSError as error:
        problems, count = [str(error)], 0
    for problem in problems:
        print(f"check_hardened: {problem}", file=sys.stderr)
    if not problems:
        print(f"check_hardened: {count} programs and libraries, each with ASLR and DEP")
    return 1 if problems else 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
