#!/usr/bin/env python3
"""Guards what orders cost, on a machine that is busy with other things too: by counts and not by times.

    order_counts.py [--write] PROGRAM
    order_counts.py --table
    order_counts.py --floor < ROWS
    order_counts.py --self-test PROGRAM

Runs the benchmark program order_counts of a release build and counts allocations (the program does so), system
calls (strace) and instructions (callgrind), each per order, block of a backup or update of a listening. What is
above the numbers of benchmarks/order_counts.json by more than the tolerance there is named, and the script ends
with 1. A tool that is not installed is left out, and said so. Counts that have fallen are told, so that somebody
writes them down:

    scripts/order_counts.py --write build/release/bin/order_counts

--table prints the numbers as docs/performance.md has them. --floor does so with the lines "floor| …" of the benchmark
program order_benchmark, to which it adds the system calls.

--self-test shows that the guard bites: the program then allocates a little more in each order than it needs, and
every count is held against numbers that are a little too low.

Ends with 77 where the numbers say nothing: with another Qt than that of the file.
"""

import json
import os
import re
import shutil
import subprocess
import sys
import tempfile

ROOT = os.path.join(os.path.dirname(os.path.abspath(__file__)), "..")
PLACE = os.path.join(ROOT, "benchmarks", "order_counts.json")
MARK = re.compile(r'access\("/order_counts/(.*)/(begin|end)"')
SKIPPED = 77
# Allocations that each order of the self-test wastes; more than the tolerance.
MOST_ROUNDS = 3
WASTE = 3


def run(program, *options, prefix=()):
    environment = dict(os.environ, QT_QPA_PLATFORM="offscreen")
    done = subprocess.run([*prefix, program, *options], capture_output=True, text=True, env=environment)
    if done.returncode != 0:
        sys.exit(f"order_counts: {program} ended with {done.returncode}:\n{done.stdout}{done.stderr}")
    return json.loads(done.stdout)


def system_calls(trace):
    """{section: calls} between its two marks."""
    calls, section = {}, None
    for line in trace:
        mark = MARK.search(line)
        if mark:
            section = mark.group(1) if mark.group(2) == "begin" else None
            calls.setdefault(mark.group(1), 0)
        elif section and not line.startswith(("---", "+++")):
            calls[section] += 1
    return calls


def instructions(folder, sections):
    """Callgrind writes a profile with a number of its own at the end of each section."""
    found = {}
    for number, section in enumerate(sections, 1):
        with open(os.path.join(folder, f"profile.{number}"), encoding="utf-8") as profile:
            found[section] = int(re.search(r"^totals: (\d+)", profile.read(), re.MULTILINE).group(1))
    return found


def count(program):
    """({what: {section: count per unit}}, Qt's version)"""
    def per_unit(counts, told):
        return {section: round(counts[section] / told["units"][section], 2) for section in told["sections"]}

    counts = {}
    with tempfile.TemporaryDirectory() as folder:
        trace = os.path.join(folder, "trace")
        strace = ["strace", "-o", trace] if shutil.which("strace") else []
        told = run(program, prefix=strace)
        counts["allocations"] = {section: round(told["allocations"][section], 2) for section in told["sections"]}
        if strace:
            with open(trace, encoding="utf-8", errors="replace") as lines:
                counts["system calls"] = per_unit(system_calls(lines), told)
        else:
            print("order_counts: no strace, so system calls are not counted")
        if shutil.which("valgrind"):
            run(program, prefix=["valgrind", "--quiet", "--tool=callgrind", "--collect-atstart=no",
                                 f"--callgrind-out-file={folder}/profile", "--toggle-collect=countedSection",
                                 "--dump-after=countedSection"])
            counts["instructions"] = per_unit(instructions(folder, told["sections"]), told)
        else:
            print("order_counts: no valgrind, so instructions are not counted")
    return counts, told["qt"]


def least(counts, more):
    """Of two rounds: what else the machine does wakes a program before its answer is there, which adds calls."""
    return {what: {section: min(found, more[what][section]) for section, found in sections.items()}
            for what, sections in counts.items()}


def compare(counts, wanted, tolerance, tells=False):
    """What has risen, a line each; what has fallen is printed."""
    risen = []
    for what, sections in counts.items():
        for section, found in sections.items():
            known = wanted[what][section]
            line = f"{section}: {found:g} {what}, {known:g} in {os.path.basename(PLACE)}"
            if found > known * (1 + tolerance[what] / 100):
                excess = 100 * (found / known - 1)
                risen.append(f"{line}, which is {excess:.1f} % more; {tolerance[what]} % are allowed")
            elif tells and found < known * (1 - tolerance[what] / 100):
                print(f"order_counts: {line}: better; --write keeps it so")
    return risen


def self_test(program, known):
    """What the guard should have seen and has not, a line each."""
    missed = []
    wanted, tolerance = known["counts"], known["tolerance"]
    found = run(program, "--waste", str(WASTE), "--updates", "1")["allocations"]
    risen = compare({"allocations": {"order": found["order"]}}, wanted, tolerance)
    if len(risen) != 1:
        missed.append(f"{WASTE} allocations more in each order")
    if least({"calls": {"order": 7, "block": 6}}, {"calls": {"order": 6, "block": 8}}) != {"calls": {"order": 6, "block": 6}}:
        missed.append("the least of two rounds")
    for what, sections in wanted.items():
        above = {section: value * (1 + (tolerance[what] + 0.5) / 100) for section, value in sections.items()}
        if len(compare({what: above}, wanted, tolerance)) != len(sections):
            missed.append(f"{what} that are above the tolerance")
        if compare({what: sections}, wanted, tolerance):
            missed.append(f"{what} that are as they were")
    return missed


def table(known):
    counts = known["counts"]
    print("| per | " + " | ".join(counts) + " |")
    print("|---|" + "---|" * len(counts))
    for section in counts["allocations"]:
        print(f"| {section} | " + " | ".join(f"{sections[section]:,.0f}" for sections in counts.values()) + " |")


def floor(rows, known):
    """The lines as a table, with the system calls of what the first cell names."""
    calls = known["counts"]["system calls"]
    print("| one register by | who answers | median | 99th percentile | processor time | allocations | system calls |")
    print("|---" * 7 + "|")
    for row in rows:
        cells = [cell.strip() for cell in row.split("|")[1:-1]]
        print("| " + " | ".join([*cells, f"{calls[cells[0]]:.0f}"]) + " |")


def main():
    words = sys.argv[1:]
    option = words.pop(0) if words and words[0].startswith("--") else ""
    programs = {"": 1, "--write": 1, "--table": 0, "--floor": 0, "--self-test": 1}.get(option)
    if len(words) != programs:
        sys.exit(__doc__)
    with open(PLACE, encoding="utf-8") as file:
        known = json.load(file)
    if option == "--table":
        table(known)
        return
    if option == "--floor":
        floor(sys.stdin, known)
        return
    program = words[0]
    if option == "--self-test":
        missed = self_test(program, known)
        sys.exit("\n".join(f"order_counts: not noticed: {line}" for line in missed) or 0)
    counts, qt = count(program)
    if option == "--write":
        known["qt"] = qt
        known["counts"].update(counts)
        with open(PLACE, "w", encoding="utf-8") as file:
            json.dump(known, file, indent=4)
            file.write("\n")
        return
    if qt != known["qt"]:
        print(f"order_counts: the numbers are those of Qt {known['qt']}, and this is {qt}")
        sys.exit(SKIPPED)
    for _ in range(MOST_ROUNDS - 1):
        if not compare(counts, known["counts"], known["tolerance"]):
            break
        counts = least(counts, count(program)[0])
    for what, sections in counts.items():
        print(f"{what}: " + ", ".join(f"{section} {found:g}" for section, found in sections.items()))
    risen = compare(counts, known["counts"], known["tolerance"], tells=True)
    sys.exit("\n".join(f"order_counts: {line}" for line in risen) or 0)


if __name__ == "__main__":
    main()
