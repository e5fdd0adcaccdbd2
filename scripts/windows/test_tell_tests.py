#!/usr/bin/env python3
"""tell_tests.py and failed_tests.py over small reports."""

import tempfile
import unittest
from pathlib import Path

import tell_tests
import failed_tests  # beside the folder of this file, where the former looks too

GOOD = "SKIP   : T::a(row 1) no such line here\n Loc: [x]\nTotals: 3 passed, 0 failed, 1 skipped, 0 blacklisted, 5ms\n"
BAD = ("FAIL!  : T::b(row) Compared values are not the same\n   Actual   (1): 1\n   Expected (2): 2\n"
       "x.cpp(7) : failure location\nTotals: 2 passed, 1 failed, 0 skipped, 0 blacklisted, 5ms\n")
LATE = "Totals: 1 passed, 0 failed, 0 skipped, 0 blacklisted, 5ms\nlimits in time that were missed: 4\n"


def report(folder, name, cases):
    path = Path(folder) / name
    path.write_text("<testsuite>" + "".join(
        f'<testcase name="{test}" status="{"run" if passed else "fail"}" time="1.5">'
        f"<system-out>{output}</system-out></testcase>" for test, passed, output in cases) + "</testsuite>")
    return tell_tests.read(path)


class TellTests(unittest.TestCase):
    def told(self, first, second=(), not_here=()):
        with tempfile.TemporaryDirectory() as folder:
            lines, good = tell_tests.tell(report(folder, "1", first), report(folder, "2", second), list(not_here))
            return "\n".join(lines), good

    def test_all_passed(self):
        text, good = self.told([("a", True, GOOD), ("b", True, LATE)], not_here=["c: signals"])
        self.assertTrue(good)
        self.assertIn("skipped 1: no such line here\n          T::a(row 1)", text)
        self.assertIn("limits in time missed 4: b", text)
        self.assertIn("not built c: signals", text)
        self.assertIn("2 tests, 0 failed, 0 run twice; of their rows 4 passed, 0 failed, 1 skipped; 4 limits in "
                      "time missed; 1 programs", text)
        self.assertNotIn("run twice:", text)

    def test_what_failed_is_told_with_its_words(self):
        text, good = self.told([("a", True, GOOD), ("b", False, BAD)])
        self.assertFalse(good)
        self.assertIn("FAILED  b (1.5 s)", text)
        self.assertIn("  b failed:\n          FAIL!  : T::b(row) Compared", text)
        self.assertIn("Expected (2): 2", text)
        self.assertIn("windows: failed: b", text)

    def test_one_that_ended_early_shows_its_last_lines(self):
        text, good = self.told([("a", False, "one\ntwo\n")])
        self.assertFalse(good)
        self.assertIn("  a failed:\n          one\n          two", text)

    def test_a_second_run_is_told(self):
        text, good = self.told([("a", True, GOOD), ("b", False, BAD)], [("b", True, LATE)])
        self.assertTrue(good)
        self.assertIn("  passed  b (1.5 s)", text)
        self.assertIn("  b failed, and passed when it was run again by itself:\n          FAIL!", text)
        self.assertIn("2 tests, 0 failed, 1 run twice; of their rows 4 passed, 0 failed, 1 skipped", text)
        self.assertIn("windows: run twice: b", text)

    def test_a_second_run_that_fails_too(self):
        text, good = self.told([("b", False, BAD)], [("b", False, BAD)])
        self.assertFalse(good)
        self.assertIn("b failed, and failed when", text)
        self.assertIn("  b, by itself:\n          FAIL!", text)

    def test_no_test_at_all_is_a_failure(self):
        self.assertFalse(self.told([])[1])


class FailedInShort(unittest.TestCase):
    def in_short(self, first, second=()):
        with tempfile.TemporaryDirectory() as folder:
            return failed_tests.in_short(failed_tests.last_runs(report(folder, "1", first), report(folder, "2", second)))

    def test_nothing_where_all_passed(self):
        self.assertEqual(self.in_short([("a", True, GOOD), ("b", True, LATE)]), [])

    def test_a_line_for_each_with_the_first_words_of_its_rows(self):
        lines = self.in_short([("b", False, BAD * 3), ("a", True, GOOD), ("c", False, "one\ntwo\n")])
        self.assertEqual(lines, [
            "FAILED b (1.5 s, 3 of its rows)",
            "        FAIL!  : T::b(row) Compared values are not the same",
            "        Actual   (1): 1", "        Expected (2): 2",
            "        FAIL!  : T::b(row) Compared values are not the same",
            "        Actual   (1): 1", "        Expected (2): 2",
            "        … 3 lines more above",
            "FAILED c (1.5 s)", "        one", "        two"])

    def test_one_that_passed_by_itself_has_not_failed(self):
        self.assertEqual(self.in_short([("b", False, BAD)], [("b", True, LATE)]), [])

    def test_one_that_was_skipped_has_not_failed_and_one_that_is_missing_has(self):
        text = ('<testsuite><testcase name="s" status="notrun"><skipped message="SKIP_RETURN_CODE=77"/></testcase>'
                '<testcase name="d" status="disabled"/><testcase name="m" status="notrun">'
                '<skipped message="Unable to find executable"/></testcase></testsuite>')
        with tempfile.TemporaryDirectory() as folder:
            path = Path(folder) / "report"
            path.write_text(text)
            self.assertEqual(failed_tests.in_short(failed_tests.read(path)), ["FAILED m (0.0 s)"])


if __name__ == "__main__":
    unittest.main()
