#!/usr/bin/env python3
"""Runs clang-tidy over sources, several of a folder at a time: most of the time that it takes goes into Qt's
headers, which a batch reads once. What a batch finds, or a batch that does not compile because two files
use one name for themselves, is run again file by file, so that what is told is told of a file.

Usage: tidy_batches.py BUILD_FOLDER FILE…
"""

import concurrent.futures
import json
import os
import re
import shlex
import subprocess
import sys

# More gain nothing: two processors are to have work until the end.
MOST_FILES = 8
# Tables of tests and benchmarks may be long.
MAY_BE_LONG = re.compile(r"(^|/)(tests|benchmarks|fuzz)/")
NOISE = re.compile(r"^\d+ (warnings?|errors?) (and \d+ errors? )?(generated|treated)|^Suppressed|^Use -header-filter")


def arguments_without_file(entry):
    """What two files of a batch must have in common."""
    arguments = shlex.split(entry["command"])
    kept = []
    skip = False
    for argument in arguments:
        if skip:
            skip = False
        elif argument in ("-o", "-c", "-MF", "-MT"):
            skip = True
        # A precompiled header is the compiler's own: clang-tidy reads the sources as they stand.
        elif argument.endswith("cmake_pch.hxx"):
            kept.pop()
        elif argument not in ("-Winvalid-pch", "-MD"):
            kept.append(argument)
    return kept


def read_commands(build, files):
    wanted = {os.path.realpath(file): file for file in files}
    commands = {}
    with open(os.path.join(build, "compile_commands.json"), encoding="utf-8") as text:
        for entry in json.load(text):
            path = os.path.realpath(os.path.join(entry["directory"], entry["file"]))
            if path in wanted:
                commands.setdefault(path, (entry["directory"], arguments_without_file(entry)))
    missing = [file for path, file in wanted.items() if path not in commands]
    if missing:
        sys.exit("clang-tidy: not part of the build in %s: %s" % (build, ", ".join(missing)))
    return commands


def make_batches(commands):
    groups = {}
    for path, (directory, arguments) in sorted(commands.items()):
        key = (os.path.dirname(path), directory, tuple(arguments))
        groups.setdefault(key, []).append(path)
    batches = []
    for (_, directory, arguments), paths in groups.items():
        for first in range(0, len(paths), MOST_FILES):
            batches.append((directory, list(arguments), paths[first:first + MOST_FILES]))
    return sorted(batches, key=lambda batch: -len(batch[2]))


def run(folder, directory, arguments, paths, number):
    """The findings, empty when there are none."""
    place = os.path.join(folder, "%d" % number)
    os.makedirs(place, exist_ok=True)
    source = paths[0]
    options = []
    if len(paths) > 1:
        source = os.path.join(place, "batch.cpp")
        with open(source, "w", encoding="utf-8") as text:
            text.writelines('#include "%s"\n' % path for path in paths)
        options = ["--header-filter=.*/(framework|plugins|applications|tests|fuzz|benchmarks)/.*\\.(h|cpp)$"]
    if not MAY_BE_LONG.search(os.path.relpath(paths[0])):
        options.append("--checks=readability-function-size")
    command = [{"directory": directory, "file": source, "arguments": arguments + ["-c", source]}]
    with open(os.path.join(place, "compile_commands.json"), "w", encoding="utf-8") as text:
        json.dump(command, text)
    ended = subprocess.run(["clang-tidy", "--quiet", "--config-file=.clang-tidy", *options, "-p", place, source],
                           stdout=subprocess.PIPE, stderr=subprocess.STDOUT, check=False,
                           encoding="utf-8", errors="replace")
    if ended.returncode == 0:
        return ""
    return "\n".join(line for line in ended.stdout.splitlines() if not NOISE.match(line)) or "clang-tidy failed"


def check(build, folder, number, batch):
    directory, arguments, paths = batch
    found = run(folder, directory, arguments, paths, number)
    if not found or len(paths) == 1:
        return found
    singly = [run(folder, directory, arguments, [path], number) for path in paths]
    texts = [text for text in singly if text]
    # Two files that use one name cannot be read together; anything else is a finding.
    if not texts and "redefinition" not in found:
        texts = [found]
    return "\n".join(texts)


def main():
    build, files = sys.argv[1], sys.argv[2:]
    commands = read_commands(build, files)
    batches = make_batches(commands)
    print("clang-tidy: checking %d files, which takes some minutes for all" % len(files), flush=True)
    folder = os.path.join(os.path.abspath(build), "tidy")
    failed = False
    with concurrent.futures.ThreadPoolExecutor(os.cpu_count()) as pool:
        checks = [pool.submit(check, build, folder, number, batch) for number, batch in enumerate(batches)]
        for done in concurrent.futures.as_completed(checks):
            if done.result():
                print(done.result(), flush=True)
                failed = True
    if failed:
        sys.exit("clang-tidy: see above")
    print("clang-tidy: %d files clean" % len(files))


if __name__ == "__main__":
    main()
