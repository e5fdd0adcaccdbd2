#!/usr/bin/env python3
"""Looks whether every library that a packed program or library needs is packed too, or is Windows' own.

    check_package.py FOLDER [--objdump PROGRAM]

FOLDER is the unpacked package. A library is looked for where Windows does: beside the program, or, of a plug-in
that a program loads, beside that program; all programs lie in FOLDER/bin.
"""

import argparse
import re
import subprocess
import sys
from pathlib import Path

# What every Windows since 7 has in its own folder, as far as the package needs it.
SYSTEM = {
    "advapi32.dll", "bcrypt.dll", "comdlg32.dll", "crypt32.dll", "d3d9.dll", "d3d11.dll", "dnsapi.dll",
    "dwmapi.dll", "dwrite.dll", "dxgi.dll", "dxva2.dll", "gdi32.dll", "imm32.dll", "iphlpapi.dll",
    "kernel32.dll", "mpr.dll", "msvcrt.dll", "netapi32.dll", "ntdll.dll", "ole32.dll", "oleaut32.dll",
    "powrprof.dll", "psapi.dll", "rpcrt4.dll", "secur32.dll", "setupapi.dll", "shell32.dll", "shlwapi.dll",
    "user32.dll", "userenv.dll", "uxtheme.dll", "version.dll", "winmm.dll", "winspool.drv", "ws2_32.dll",
    "wtsapi32.dll",
}
FILES = {".exe", ".dll"}
NEEDED = re.compile(r"^\s*DLL Name: (\S+)", re.MULTILINE)


def needed_by(path, objdump):
    result = subprocess.run([objdump, "-p", str(path)], capture_output=True, text=True, check=False)
    if result.returncode != 0:
        raise OSError(f"{objdump} cannot read {path}: {result.stderr.strip()}")
    return sorted(set(NEEDED.findall(result.stdout)), key=str.lower)


def check(folder, needs):
    """Problems, and how many files there are; `needs` gives the names of libraries that a file needs."""
    programs = folder / "bin"
    beside_programs = {path.name.lower() for path in programs.glob("*")} if programs.is_dir() else set()
    files = sorted(path for path in folder.rglob("*") if path.suffix.lower() in FILES)
    problems = [] if files else [f"{folder} holds no program and no library"]
    for path in files:
        beside = {other.name.lower() for other in path.parent.glob("*")}
        for name in needs(path):
            if name.lower() not in SYSTEM | beside_programs | beside:
                problems.append(f"{path.relative_to(folder).as_posix()} needs {name}, which is neither packed "
                                f"nor Windows' own")
    return problems, len(files)


def main(arguments):
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("folder", type=Path)
    parser.add_argument("--objdump", default="x86_64-w64-mingw32-objdump")
    options = parser.parse_args(arguments)
    try:
        problems, count = check(options.folder, lambda path: needed_by(path, options.objdump))
    except OSError as error:
        problems, count = [str(error)], 0
    for problem in problems:
        print(f"check_package: {problem}", file=sys.stderr)
    if not problems:
        print(f"check_package: {count} programs and libraries, everything that they need is there")
    return 1 if problems else 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
