#!/usr/bin/env python3
"""Completions and manual pages are those of the built programs, and the shells take them.

    test_shell_texts.py SOURCE_FOLDER MDC_BENCH MDC_SIMULATOR
"""

import json
import os
import shutil
import subprocess
import sys
import tempfile
import unittest

SOURCE, BENCH, SIMULATOR = sys.argv[1:4]
COMPLETIONS = os.path.join(SOURCE, "packaging", "completions")
CONFIGURATION = os.path.join(SOURCE, "configurations", "bench.json")

# What is typed, what is offered (all of it, or with "..." at least these), and what is not.
TYPED = [
    ("mdc-bench re", "results restore", ""),
    ("mdc-bench run setL", "setLock setLockScreen", ""),
    ("mdc-bench run setDirection ", "direction=", ""),
    ("mdc-bench run setDirection direction=", "0 1", ""),
    ("mdc-bench run setLock lock=", "0 1 2 3", ""),
    ("mdc-bench run setLock lock=1 un", "unlockLoosening=", ""),
    ("mdc-bench run setLock unlockLoosening=t", "true", ""),
    ("mdc-bench --quiet run getRegister channel=directionV", "directionV2", ""),
    ("mdc-bench --config %s run getRegister channel=motorRun" % CONFIGURATION, "motorRun motorRunV2", ""),
    ("mdc-bench --config %s run getInfo --object m" % CONFIGURATION, "mdc modbus", ""),
    ("mdc-bench run --cha", "--changes", ""),
    ("mdc-bench run getInfo --profile bm-", "bm-gen1v1 bm-firmware2-gen1v1 bm-gen2", ""),
    ("mdc-bench --simulate ", "tcp rtu none", ""),
    ("mdc-bench --sim", "--simulate", ""),
    ("mdc-bench list --p", "... --plugins --properties --profile", "--presets"),
    ("mdc-bench run getInfo --fault no", "no-answer", ""),
]

# As bash does it: a word of its own for each "=".
BASH = r"""
source "$1"
line=$2
COMP_WORDS=()
for word in $line; do
    while [[ $word == *=* && $word != -* ]]; do
        COMP_WORDS+=("${word%%=*}" "=")
        word=${word#*=}
        [ -n "$word" ] || break
    done
    [ -n "$word" ] && COMP_WORDS+=("$word")
done
case "$line" in *" " | *=) COMP_WORDS+=("") ;; esac
COMP_CWORD=$((${#COMP_WORDS[@]} - 1))
_mdc_bench
printf '%s\n' "${COMPREPLY[@]}"
"""


def run(*words):
    return subprocess.run(words, capture_output=True, text=True, timeout=60, check=False)


class ShellTexts(unittest.TestCase):
    def test_made_from_the_programs(self):
        ended = run(sys.executable, os.path.join(SOURCE, "scripts", "shell_texts.py"), "--check", BENCH, SIMULATOR)
        self.assertEqual(ended.returncode, 0, ended.stderr)

    def expect(self, offered, wanted, unwanted):
        wanted = wanted.split()
        if wanted[:1] == ["..."]:
            self.assertLessEqual(set(wanted[1:]), set(offered))
        else:
            self.assertEqual(sorted(offered), sorted(wanted))
        self.assertFalse(set(unwanted.split()) & set(offered))

    def test_bash(self):
        for typed, wanted, unwanted in TYPED:
            with self.subTest(typed):
                ended = run("bash", "-c", BASH, "bash", os.path.join(COMPLETIONS, "mdc-bench.bash"), typed)
                self.assertEqual(ended.stderr, "")
                self.expect(ended.stdout.split(), wanted, unwanted)

    def offered_by_bash(self, typed, folder):
        ended = subprocess.run(["bash", "-c", BASH, "bash", os.path.join(COMPLETIONS, "mdc-bench.bash"), typed],
                               capture_output=True, text=True, timeout=20, check=False, cwd=folder)
        self.assertEqual(ended.stderr, "")
        return ended.stdout.splitlines()

    def test_names_of_a_configuration_are_not_run(self):
        with tempfile.TemporaryDirectory() as folder:
            names = ["plain", "$(touch ran)", "`touch ran`", "a$(touch ran)", "*", "${x:-$(touch ran)}", ";touch ran",
                     "line-3.left"]
            with open(os.path.join(folder, "evil.json"), "w", encoding="utf-8") as text:
                json.dump({"objects": [{"name": name} for name in names],
                           "channels": [{"id": name} for name in names]}, text, indent=1)
            for typed, wanted in (("mdc-bench --config evil.json run getInfo --object ", ["line-3.left", "plain"]),
                                  ("mdc-bench --config evil.json run getRegister channel=", ["plain"])):
                with self.subTest(typed):
                    self.assertEqual(sorted(self.offered_by_bash(typed, folder)), wanted)
                    self.assertEqual(os.listdir(folder), ["evil.json"])

    def test_a_pipe_as_configuration_holds_nothing_up(self):
        with tempfile.TemporaryDirectory() as folder:
            os.mkfifo(os.path.join(folder, "pipe.json"))
            for typed in ("mdc-bench --config pipe.json run getInfo --object ",
                          "mdc-bench --config pipe.json run getRegister channel="):
                with self.subTest(typed):
                    self.assertEqual([name for name in self.offered_by_bash(typed, folder) if name], [])

    def test_files_are_offered_by_their_whole_names(self):
        with tempfile.TemporaryDirectory() as folder:
            for name in ("of line 3.csv", "of$(touch ran).csv", "of*.csv"):
                with open(os.path.join(folder, name), "w", encoding="utf-8"):
                    pass
            self.assertEqual(sorted(self.offered_by_bash("mdc-bench restore of", folder)), sorted(os.listdir(folder)))

    @unittest.skipUnless(shutil.which("fish"), "fish is not installed")
    def test_fish(self):
        with tempfile.TemporaryDirectory() as home:
            for typed, wanted in (("mdc-bench re", "results restore"), ("mdc-bench run setL", "setLock setLockScreen"),
                                  ("mdc-bench run setDirection direction=", "direction=0 direction=1"),
                                  ("mdc-bench --simulate ", "tcp rtu none")):
                with self.subTest(typed):
                    ended = subprocess.run(
                        ["fish", "--no-config", "-c", "source $argv[1]; complete -C $argv[2]",
                         os.path.join(COMPLETIONS, "mdc-bench.fish"), typed],
                        capture_output=True, text=True, timeout=60, check=False, env=dict(os.environ, HOME=home))
                    self.assertEqual(ended.stderr, "")
                    self.expect([line.split("\t")[0] for line in ended.stdout.splitlines()], wanted, "")

    @unittest.skipUnless(shutil.which("zsh"), "zsh is not installed")
    def test_zsh_reads_it(self):
        script = "autoload -U compinit && compinit -D -u; source $1; print ${_comps[mdc-bench]}; typeset -f _mdc_bench"
        ended = run("zsh", "-f", "-c", script, "zsh", os.path.join(COMPLETIONS, "_mdc-bench"))
        self.assertIn("_mdc_bench", ended.stdout)

    @unittest.skipUnless(shutil.which("groff"), "groff is not installed")
    def test_manual_pages(self):
        folder = os.path.join(SOURCE, "packaging", "man")
        for name in sorted(os.listdir(folder)):
            with self.subTest(name):
                ended = run("groff", "-Kutf8", "-man", "-Tutf8", "-ww", "-z", os.path.join(folder, name))
                self.assertEqual(ended.stderr, "")


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
