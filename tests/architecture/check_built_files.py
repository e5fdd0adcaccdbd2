#!/usr/bin/env python3
"""Looks at built programs and libraries: where they look for other libraries, and, with --hardened, what
their compiler and linker were told.

    check_built_files.py [--hardened] FILE...

A run path is relative to the file ($ORIGIN) or a folder of the system; any other one is a place where
whoever may write there puts a library of the same name.
"""
import re
import subprocess
import sys

# Without -fcf-protection there are those few that come with the start-up code of the compiler. The file's own
# note of the protection is no help: the linker drops it where the system's start-up code has none.
LEAST_LANDINGS = 10
LANDING = b"\xf3\x0f\x1e\xfa"  # endbr64

SYSTEM_FOLDERS = ("/lib", "/lib64", "/usr/lib", "/usr/lib64")


def readelf(option, path):
    return subprocess.run(["readelf", "-W", option, path], check=True, capture_output=True, text=True).stdout


def run_path_faults(dynamic):
    faults = []
    for run_path in re.findall(r"\((?:RPATH|RUNPATH)\).*\[(.*)\]", dynamic):
        for folder in run_path.split(":"):
            is_of_system = any(folder == one or folder.startswith(one + "/") for one in SYSTEM_FOLDERS)
            is_relative = folder == "$ORIGIN" or folder.startswith("$ORIGIN/")
            if ".." in folder.split("/") and is_of_system or not (is_of_system or is_relative):
                faults.append(f'looks for libraries in "{folder}"; only $ORIGIN/... and {SYSTEM_FOLDERS} are safe')
    return faults


def hardening_faults(dynamic, headers, segments, symbols, landings):
    """`landings`: how many places a jump may land on; None where the processor knows none."""
    wanted = [
        (re.search(r"Type:\s+DYN", headers), "is no position-independent code"),
        ("GNU_RELRO" in segments, "has no segment that is read-only after relocation"),
        (re.search(r"BIND_NOW|\bNOW\b", dynamic), "binds functions late: its table of them stays writable"),
        (not re.search(r"GNU_STACK\s.*\sRWE\s", segments), "has a stack that can be executed"),
        ("__stack_chk_fail" in symbols, "was built without stack protector"),
        (landings is None or landings >= LEAST_LANDINGS, "was built without -fcf-protection"),
    ]
    return [text for met, text in wanted if not met]


def landings_of(path):
    with open(path, "rb") as file:
        return file.read().count(LANDING)


def faults_of(path, hardened):
    dynamic = readelf("-d", path)
    faults = run_path_faults(dynamic)
    headers = readelf("-h", path)
    if hardened:
        landings = landings_of(path) if "X86-64" in headers else None
        faults += hardening_faults(dynamic, headers, readelf("-l", path), readelf("--dyn-syms", path), landings)
    return faults


def main(arguments):
    hardened = "--hardened" in arguments
    files = [argument for argument in arguments if argument != "--hardened"]
    if not files:
        print(__doc__, file=sys.stderr)
        return 2
    failed = False
    fortified = False
    for path in files:
        for fault in faults_of(path, hardened):
            failed = True
            print(f"{path}: {fault}")
        fortified = fortified or "_chk@" in readelf("--dyn-syms", path).replace("__stack_chk_fail", "")
    if hardened and not fortified:
        failed = True
        print("none of the files calls a checked function: they were built without _FORTIFY_SOURCE")
    print(f"{len(files)} files looked at")
    return 1 if failed else 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
