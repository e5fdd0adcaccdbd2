#!/usr/bin/env python3
"""check_package.py over small packages, each with one thing wrong."""

import tempfile
import unittest
from pathlib import Path

import check_package

TREE = {
    "bin/a.exe": ["KERNEL32.dll", "Lib.dll"],
    "bin/lib.dll": ["msvcrt.dll"],
    "plugins/p.dll": ["lib.dll", "other.dll"],
    "plugins/other.dll": [],
    "notes.txt": ["absent.dll"],
}


class CheckPackage(unittest.TestCase):
    def run_on(self, changes=None):
        with tempfile.TemporaryDirectory() as name:
            folder = Path(name)
            tree = {**TREE, **(changes or {})}
            for path in tree:
                (folder / path).parent.mkdir(parents=True, exist_ok=True)
                (folder / path).touch()
            return check_package.check(folder, lambda path: tree[path.relative_to(folder).as_posix()])

    def test_a_whole_package(self):
        self.assertEqual(self.run_on(), ([], 4))

    def test_what_is_missing_is_named(self):
        rows = [
            ({"bin/lib.dll": ["absent.dll"]}, "bin/lib.dll needs absent.dll,"),
            # Beside a plug-in of another folder nobody looks for it.
            ({"bin/a.exe": ["other.dll"]}, "bin/a.exe needs other.dll,"),
            ({"plugins/deep/q.dll": ["other.dll"]}, "plugins/deep/q.dll needs other.dll,"),
        ]
        for changes, expected in rows:
            with self.subTest(expected):
                problems, _ = self.run_on(changes)
                self.assertEqual(len(problems), 1)
                self.assertIn(expected, problems[0])

    def test_an_empty_package(self):
        with tempfile.TemporaryDirectory() as name:
            self.assertEqual(len(check_package.check(Path(name), lambda path: [])[0]), 1)


if __name__ == "__main__":
    unittest.main()
