#!/usr/bin/env python3
"""Compares the project's includes with the table in docs/architecture.md.

    check_includes.py ROOT [DOCUMENT]

The table gives each room, a folder, the rooms that it may include besides itself. A file belongs to the
room with the longest path that it lies in. The folder "tests" of a room may include that room and those
below it, what they may include, and tests/support; a row of its own adds to that. Fails for an include
that the table does not allow, for a file in no room, for a room without a file (a script will do), for a
permission that nobody uses, and for a function that the document names and no file has.
"""

import re
import sys
from pathlib import Path

HEADING = "## Who may include whom"
ANYTHING = "everything but tests"
SUFFIXES = {".h", ".cpp"}
INCLUDE = re.compile(r'^\s*#\s*include\s+(?:"([^"]+)"|<(lib_[^>]+)>)', re.MULTILINE)


class Failure(Exception):
    pass


def read_table(document):
    """Room -> list of rooms, ANYTHING among them, in the order of the document."""
    lines = document.read_text(encoding="utf-8").splitlines()
    if HEADING not in lines:
        raise Failure(f"{document.name} has no section \"{HEADING}\"")
    rooms = {}
    for line in lines[lines.index(HEADING) + 1:]:
        if line.startswith("## "):
            break
        cells = [cell.strip() for cell in line.strip().strip("|").split("|")]
        if not line.startswith("|") or len(cells) < 2 or not cells[0].startswith("`"):
            continue
        room = cells[0].strip("`")
        if room in rooms:
            raise Failure(f"{document.name}: the room {room} stands in the table twice")
        rooms[room] = [ANYTHING] if cells[1].startswith(ANYTHING) else []
        rooms[room] += re.findall(r"`([^`]+)`", cells[1])
    if not rooms:
        raise Failure(f"{document.name}: the section \"{HEADING}\" holds no table")
    for room, allowed in rooms.items():
        for other in allowed:
            if other != ANYTHING and other not in rooms:
                raise Failure(f"{document.name}: {room} may include {other}, which is no room of the table")
    return rooms


def is_test(path):
    return "tests" in Path(path).parts


def tests_folder_of(path):
    """The folder "tests" inside of a room that the path lies in; None for what lies in /tests or in none."""
    parts = Path(path).parts
    return "/".join(parts[:parts.index("tests") + 1]) if "tests" in parts[1:] else None


def room_of(path, rooms):
    found = [room for room in rooms if path.startswith(room + "/")]
    longest = max(found, key=len) if found else None
    tests = tests_folder_of(path)
    if tests is not None and (longest is None or len(longest) < len(tests)):
        return tests
    return longest


def sources(root, rooms):
    tops = sorted({room.split("/")[0] for room in rooms} | {"framework", "plugins", "applications", "tests"})
    for top in tops:
        for path in sorted((root / top).rglob("*")):
            if path.suffix in SUFFIXES and path.is_file():
                yield path


def included_file(root, path, name):
    """The file of this project that an include names, relative to the root; None for another's or a made one."""
    device = root / "plugins" / "p_device_mdc"  # its two include folders
    candidates = [path.parent / name, root / name, root / "framework" / name, device / name,
                  device / "source" / name]
    for candidate in candidates:
        if candidate.is_file():
            return candidate.resolve().relative_to(root).as_posix()
    return None


def own_rooms(tests, rooms):
    """The rooms that a folder "tests" is about."""
    owner = tests[:-len("/tests")]
    return [room for room in rooms
            if (room == owner or room.startswith(owner + "/")) and not is_test(room)]


def allowed(room, target, target_file, rooms):
    if target == room or target in rooms.get(room, []):
        return True
    if ANYTHING in rooms.get(room, []):
        return not is_test(target_file) or target == "tests/support"
    if tests_folder_of(room + "/file") != room:
        return False
    own = own_rooms(room, rooms)
    return target in own + ["tests/support"] or any(target in rooms[one] for one in own)


def missing_functions(document, texts):
    """Those that the document names as Class::function() and no source declares or defines."""
    names = sorted(set(re.findall(r"`(\w+)::(\w+)\(\)`", document.read_text(encoding="utf-8"))))
    missing = []
    for owner, function in names:
        defined = re.compile(rf"\b{owner}::{function}\(")
        declared = re.compile(rf"\b(?:class|struct)\b[^;{{]*\b{owner}\b[^;]*\{{.*\b{function}\(", re.DOTALL)
        if not any(defined.search(text) or declared.search(text) for text in texts):
            missing.append(f"{document.name} names {owner}::{function}(), which is in no source")
    return missing


def check(root, document):
    rooms = read_table(document)
    problems = []
    texts = []
    used = set()
    inhabited = set()
    for path in sources(root, rooms):
        name = path.relative_to(root).as_posix()
        room = room_of(name, rooms)
        if room is None:
            problems.append(f"{name} lies in no room of the table")
            continue
        inhabited.add(room)
        text = path.read_text(encoding="utf-8")
        texts.append(text)
        for match in INCLUDE.finditer(text):
            target_file = included_file(root, path, match.group(1) or match.group(2))
            if target_file is None:
                if match.group(1) and not match.group(1).endswith(".moc"):
                    problems.append(f"{name} includes {match.group(1)}, which is no file of this project")
                continue
            target = room_of(target_file, rooms)
            used.add((room, target))
            if not allowed(room, target, target_file, rooms):
                line = text.count("\n", 0, match.start(1) if match.group(1) else match.start(2)) + 1
                problems.append(f"{name}:{line} includes {target_file}: {room} may not include {target}")
    for room, others in rooms.items():
        if room not in inhabited and not any((root / room).glob("*.py")):
            problems.append(f"the table's room {room} has no source file")
        for other in others:
            if other != ANYTHING and (room, other) not in used:
                problems.append(f"the table allows {room} to include {other}, and nothing does")
    return rooms, problems + missing_functions(document, texts)


def main(arguments):
    if len(arguments) not in (1, 2):
        print(__doc__, file=sys.stderr)
        return 2
    root = Path(arguments[0]).resolve()
    document = Path(arguments[1]) if len(arguments) == 2 else root / "docs" / "architecture.md"
    try:
        rooms, problems = check(root, document)
    except (Failure, OSError, UnicodeDecodeError) as failure:
        print(f"check_includes: {failure}", file=sys.stderr)
        return 1
    for problem in problems:
        print(problem, file=sys.stderr)
    if problems:
        print(f"{len(problems)} differences between the includes and {document.name}: move the code, or "
              f"change the table where the picture has changed", file=sys.stderr)
        return 1
    print(f"{len(rooms)} rooms, as {document.name} tells them")
    return 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
