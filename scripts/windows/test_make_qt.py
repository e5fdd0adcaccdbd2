#!/usr/bin/env python3
"""make_qt.sh's steps, over small trees and without a network."""

import os
import subprocess
import tarfile
import tempfile
import time
import unittest
from pathlib import Path

SCRIPT = Path(__file__).with_name("make_qt.sh")
# What would ask the mirror tells what it was asked for.
NO_MIRROR = 'from_apt() { echo "asked: $*"; return 1; }\n'


class MakeQt(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.work = Path(folder.name).resolve()

    def run_steps(self, steps, **environment):
        done = subprocess.run(["bash", "-c", f'. "$1" "$2"\n{NO_MIRROR}{steps}', "test", str(SCRIPT), str(self.work)],
                              capture_output=True, text=True, env={**os.environ, "MDC_QT_SOURCES": "", **environment},
                              check=False)
        return done.returncode, done.stdout + done.stderr

    def tree_of(self, name, ages):
        """A build tree whose files were written so many seconds before its last one; the first is "configured"."""
        tree = self.work / "build" / name
        tree.mkdir(parents=True)
        last = time.time() - 1000
        for file, age in ages.items():
            (tree / file).write_text(file)
            os.utime(tree / file, (last - age, last - age))
        return tree

    def test_sources_are_asked_of_the_mirror_where_no_folder_is_named(self):
        (self.work / "source").mkdir()
        status, told = self.run_steps("unpack qtserialport qtserialport-opensource-src")
        self.assertEqual(status, 1)
        self.assertIn("asked: apt-get source --download-only qtserialport-opensource-src", told)
        self.assertIn("name a folder with qtserialport-5.15.8.tar.xz in MDC_QT_SOURCES", told)

    def test_sources_come_from_the_folder_that_is_named(self):
        given = self.work / "given"
        (given / "qtserialport-5.15.8" / "src").mkdir(parents=True)
        with tarfile.open(given / "qtserialport-5.15.8.tar.xz", "w:xz") as archive:
            archive.add(given / "qtserialport-5.15.8", "qtserialport-5.15.8")
        (self.work / "source").mkdir()
        status, told = self.run_steps("unpack qtserialport qtserialport-opensource-src", MDC_QT_SOURCES=str(given))
        self.assertEqual(status, 0, told)
        self.assertTrue((self.work / "source" / "qtserialport" / "src").is_dir())
        self.assertNotIn("asked:", told)

    def test_a_step_ends_at_what_fails_in_it_and_is_run_again(self):
        step = "failing() { echo before; false; echo behind; }\n"
        for _ in range(2):
            status, told = self.run_steps(step + "once failing failing")
            self.assertEqual(status, 1)
            self.assertIn("qt: failing failed, see", told)
            self.assertEqual((self.work / "log" / "failing.log").read_text(), "before\n")

    def test_a_step_that_was_done_is_left_alone(self):
        step = 'touched() { echo . >>"$work/touched"; }\n'
        for _ in range(2):
            status, told = self.run_steps(step + "once touched touched")
            self.assertEqual(status, 0, told)
        self.assertIn("touched: done before", told)
        self.assertEqual((self.work / "touched").read_text(), ".\n")

    def test_what_a_killed_build_wrote_last_is_made_again(self):
        tree = self.tree_of("m", {"configured": 500, "whole.o": 90, "half.o": 30, "newest.o": 0})
        status, told = self.run_steps('configured m echo "configured anew"')
        self.assertEqual(status, 0, told)
        self.assertEqual(sorted(file.name for file in tree.iterdir()), ["configured", "whole.o"])
        self.assertNotIn("configured anew", told)

    def test_a_tree_that_was_killed_at_once_is_made_anew(self):
        tree = self.tree_of("m", {"configured": 20, "half.o": 0})
        status, told = self.run_steps('configured m echo "configured anew"')
        self.assertEqual(status, 0, told)
        self.assertEqual([file.name for file in tree.iterdir()], ["configured"])
        self.assertIn("configured anew", told)


if __name__ == "__main__":
    unittest.main()
