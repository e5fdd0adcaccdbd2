#!/usr/bin/env python3
"""Tells the installer what it installs, as macros of NSIS: nothing else is its own to remove.

    installed_files.py FOLDER >installed_files.nsh

FOLDER is the packed folder.

    RemoveInstalled   removes each file, and each folder that is empty then
    FindInTheWay      puts the first of them that is there already into $1 and goes on at "found"
"""

import sys
from pathlib import Path


def macros(names):
    """names: the files' paths, relative, with slashes."""
    def quoted(name):
        return '"$INSTDIR\\' + name.replace("$", "$$").replace("/", "\\") + '"'

    folders = {str(parent) for name in names for parent in Path(name).parents} - {"."}
    lines = ["!macro RemoveInstalled"]
    lines += [f"  Delete {quoted(name)}" for name in names]
    # What lies in another one goes before it.
    lines += [f"  RMDir {quoted(name)}" for name in sorted(folders, key=lambda name: (-name.count("/"), name))]
    lines += ["!macroend", "", "!macro FindInTheWay"]
    for name in names:
        lines += [f"  IfFileExists {quoted(name)} 0 +3", f"  StrCpy $1 {quoted(name)}", "  Goto found"]
    return "\n".join(lines + ["!macroend", ""])


def main(arguments):
    if len(arguments) != 1 or not Path(arguments[0]).is_dir():
        print(__doc__, file=sys.stderr)
        return 2
    folder = Path(arguments[0])
    print(macros(sorted(path.relative_to(folder).as_posix() for path in folder.rglob("*") if path.is_file())), end="")
    return 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
