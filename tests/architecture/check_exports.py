#!/usr/bin/env python3
"""Holds the functions that the contract's libraries show against a snapshot of them: what goes or changes breaks
every host and plug-in that is built already.

    check_exports.py [--write] SNAPSHOT LIBRARY...

--write makes the snapshot anew, once the number in contract_version.h has been raised: the breaking one for what
is gone, the compatible one for what is new.
"""

import os
import re
import subprocess
import sys

# What is weak (inline functions, templates, some tables) is in whoever uses it, and depends on the optimiser.
# The order of virtual functions is another test's.
SHOWN = re.compile(r"^[0-9a-f]* T (\S+)$")
# What moc and the resources' compiler add is theirs.
FOREIGN = re.compile(r"qInitResources|qCleanupResources|qRegisterResourceData|qUnregisterResourceData|^_(init|fini)$"
                     r"|^_ZT[IS]|asan|ubsan|gcov")


def exports(library):
    symbols = subprocess.run(["nm", "-D", "--defined-only", library], check=True, capture_output=True, text=True).stdout
    found = set()
    for line in symbols.splitlines():
        match = SHOWN.match(line)
        if match and not FOREIGN.search(match.group(1)):
            found.add(match.group(1))
    return found


def readable(symbols):
    shown = subprocess.run(["c++filt"], input="\n".join(symbols), check=True, capture_output=True, text=True).stdout
    return shown.splitlines()


def differences(snapshot, now):
    faults = []
    for symbol, name in zip(sorted(snapshot - now), readable(sorted(snapshot - now))):
        faults.append("gone: %s (%s): whatever uses it does not run any more; raise c_breaking" % (name, symbol))
    for symbol, name in zip(sorted(now - snapshot), readable(sorted(now - snapshot))):
        faults.append("new: %s (%s): raise c_compatible" % (name, symbol))
    return faults


def main():
    words = sys.argv[1:]
    write = words[:1] == ["--write"]
    snapshot_file, *libraries = words[1:] if write else words
    now = {"%s %s" % (os.path.basename(library).split(".")[0], symbol)
           for library in libraries for symbol in exports(library)}
    if not now:
        sys.exit("no functions are shown by %s" % ", ".join(libraries))
    if write:
        with open(snapshot_file, "w", encoding="utf-8") as text:
            text.writelines(line + "\n" for line in sorted(now))
        return
    with open(snapshot_file, encoding="utf-8") as text:
        snapshot = set(text.read().splitlines())
    faults = differences(snapshot, now)
    for fault in faults:
        print(fault)
    if faults:
        sys.exit("%d differences from %s, see contract_version.h" % (len(faults), os.path.basename(snapshot_file)))
    print("%d functions, as the snapshot has them" % len(now))


if __name__ == "__main__":
    main()
