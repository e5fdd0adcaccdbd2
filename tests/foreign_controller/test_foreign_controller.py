#!/usr/bin/env python3
"""The built bench against a controller that is not the simulated one, with every bent answer.

    test_foreign_controller.py BENCH [BEND]

Runs each operation with each bend of the answer to one of its writes, the write carried out or not, and fails
where the bench says something else of the registers than the controller knows. Prints what it said.
"""

import json
import os
import subprocess
import sys
import tempfile
import threading
import time
import unittest
from concurrent.futures import ThreadPoolExecutor
from pathlib import Path

import test_judgement
from bends import ACKNOWLEDGED, BENDS, Bend, BOTH, EVERY_WRITE, NO_END, Delivery
from foreign_controller import ForeignController
from judgement import Known, Said, judge
from operations import FOLDER, OPERATIONS, backup_text, bent_frame, file_value

# Below the 3 s that an instruction has: the driver's own limit of an answer has to end it.
LIMIT = 2.5
LIMIT_IN_GOOD_RUNS = 5
KILLED_AFTER = 60
# A machine that has no time for the good answers before the bent one says nothing about it.
ATTEMPTS = 3

GOOD = Bend("as it should be", ACKNOWLEDGED, BOTH[:1], EVERY_WRITE,
            lambda answer, before: Delivery([(0, answer)], NO_END))
good_seconds = {}


def write_configuration(folder, port):
    bench = json.loads((FOLDER / "bench.json").read_text(encoding="utf-8"))
    bench["objects"][0]["configuration"]["port"] = port
    (folder / "bench.json").write_text(json.dumps(bench), encoding="utf-8")
    (folder / "register_map.json").write_bytes((FOLDER / "register_map.json").read_bytes())
    (folder / "backup.csv").write_text(backup_text(), encoding="utf-8")


def told_writes(document, name):
    """Pairs of number and value. A restore tells counts, and lists of numbers in groups."""
    if "groups" not in document:
        return [(one["register"], one["data"]) for one in document.get(name, [])]
    numbers = [number for one in document["groups"] for number in one[name]]
    if len(numbers) != document[name]:
        raise ValueError(f"\"{name}\" is {document[name]}, and its groups have {len(numbers)}")
    return [(number, file_value(number)) for number in numbers]


def run_bench(program, operation, folder):
    command = [program, "--config", "bench.json", "--properties", "properties.json", "--format", "json",
               *operation.arguments]
    started = time.monotonic()
    with subprocess.Popen(command, cwd=folder, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                          stderr=subprocess.PIPE, text=True, encoding="utf-8") as process:
        try:
            out, messages = process.communicate(timeout=KILLED_AFTER)
        except subprocess.TimeoutExpired:
            process.kill()
            return Said(None, KILLED_AFTER, "", {}, [], [])
    seconds = time.monotonic() - started
    document = json.loads(out)
    return Said(process.returncode, seconds, out + messages, document, told_writes(document, "written"),
                told_writes(document, "uncertain"))


def run_once(program, operation, bend, carries_out):
    controller = ForeignController(bend, carries_out, operation.bent_write)
    try:
        with tempfile.TemporaryDirectory() as name:
            write_configuration(Path(name), controller.port)
            said = run_bench(program, operation, Path(name))
    finally:
        controller.close()
    return said, Known(controller.requests, controller.stored, controller.hits, controller.problems)


def run_case(program, operation, bend, carries_out):
    """What it said, and what is wrong with it."""
    limit = LIMIT + LIMIT_IN_GOOD_RUNS * good_seconds.get(operation.name, KILLED_AFTER)
    for _ in range(ATTEMPTS):
        said, known = run_once(program, operation, bend, carries_out)
        wrong = judge(operation, bend.says, said, known, limit)
        if known.hits > 0:
            break
    return said, wrong


def ranges_text(numbers):
    if not numbers:
        return "-"
    first, last = min(numbers), max(numbers)
    if len(numbers) > 2 and sorted(numbers) == list(range(first, last + 1)):
        return f"{first}-{last}"
    return ",".join(map(str, numbers))


def cell(said):
    written, uncertain = ([number for number, _ in writes] for writes in (said.written, said.uncertain))
    return f"{said.end}  {ranges_text(written)}  {ranges_text(uncertain)}"


def print_table(rows, results):
    head = ["answer to the write", "write"] + [operation.name for operation in OPERATIONS]
    table = [head]
    for bend, carries_out in rows:
        cells = [cell(results[bend.name, carries_out, one.name][0])
                 if (bend.name, carries_out, one.name) in results else "" for one in OPERATIONS]
        table.append([bend.name, "carried out" if carries_out else "left undone"] + cells)
    widths = [max(len(row[column]) for row in table) for column in range(len(head))]
    print("Each cell: exit code, registers told as written, registers told as uncertain.\n")
    for row in table:
        print(" | ".join(text.ljust(width) for text, width in zip(row, widths)).rstrip())


def run_all(program, bends):
    """Results by bend, carried out, operation."""
    cases = [(bend, carries_out, operation) for bend in bends for carries_out in bend.carried
             for operation in OPERATIONS if bent_frame(operation).function in bend.functions]
    with ThreadPoolExecutor(max_workers=3 * (os.cpu_count() or 1)) as pool:
        futures = {(bend.name, carries_out, operation.name):
                   pool.submit(run_case, program, operation, bend, carries_out)
                   for bend, carries_out, operation in cases}
        return {key: future.result() for key, future in futures.items()}


def main(arguments):
    if len(arguments) not in (1, 2):
        print(__doc__, file=sys.stderr)
        return 2
    program = str(Path(arguments[0]).resolve())
    suite = unittest.defaultTestLoader.loadTestsFromModule(test_judgement)
    if not unittest.TextTestRunner(verbosity=0).run(suite).wasSuccessful():
        return 1
    bends = [bend for bend in BENDS if len(arguments) == 1 or bend.name == arguments[1]]
    if not bends:
        print(f"there is no bend \"{arguments[1]}\"; there are {', '.join(one.name for one in BENDS)}",
              file=sys.stderr)
        return 2
    started = time.monotonic()
    results = run_all(program, [GOOD])
    good_seconds.update({name: said.seconds for (_, _, name), (said, _) in results.items()})
    results.update(run_all(program, bends))
    never = [bend.name for bend in bends if not any(key[0] == bend.name for key in results)]
    if never:
        print(f"no operation writes in a way that has these bends: {', '.join(never)}", file=sys.stderr)
        return 1
    print_table([(bend, carries_out) for bend in [GOOD, *bends] for carries_out in bend.carried], results)
    wrong = [(key, said, texts) for key, (said, texts) in results.items() if texts]
    for (bend, carries_out, operation), said, texts in wrong:
        print(f"\n{operation}, {bend}, {'carried out' if carries_out else 'left undone'}:", file=sys.stderr)
        print("".join(f"  {text}\n" for text in texts) + said.text, file=sys.stderr)
    slowest = max(said.seconds for said, _ in results.values())
    print(f"\n{len(results)} runs in {time.monotonic() - started:.1f} s, the slowest {slowest:.2f} s; "
          f"{len(wrong)} are wrong")
    return 1 if wrong else 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
