#!/usr/bin/env python3
"""scripts/security_page.py over small pages, each with one thing wrong."""

import sys
import unittest
from pathlib import Path

sys.path.insert(0, str(Path(__file__).resolve().parents[2] / "scripts"))
import security_page  # noqa: E402

PAGE = """
## Who tries what, and what happens

| attack | target | what happens | held by |
|---|---|---|---|
| traps | all | none | `tst_a`: `traps`, which asks `strace` |
| links | files | refused | `tst_a`: `links`; `tst_b`: `putsNoFile` |
| run paths | files | none | `built` |
| limits | all | refused | below |

## Limits

| input | limit | test |
|---|---|---|
| a file | 4 | `tst_b`: `sizeLimit` |

## More
"""
SOURCES = {
    "tst_a": "    void traps(); // docs/security.md\n    void links();   // docs/security.md\n    void other();\n",
    "tst_b": "    void putsNoFile() // docs/security.md\n    {}\n    void sizeLimit() // docs/security.md\n    {}\n",
    "built": "",
}


class SecurityPage(unittest.TestCase):
    def check(self, page=PAGE, sources=None, built=None):
        return security_page.check(page, {**SOURCES, **(sources or {})}, lambda program: built)

    def test_a_whole_page(self):
        self.assertEqual(self.check(), [])
        self.assertEqual(self.check(built={"traps", "links", "putsNoFile", "sizeLimit"}), [])

    def test_what_is_stale_is_named(self):
        rows = [
            (PAGE.replace("`tst_a`: `traps`", "`tst_c`: `traps`"), {}, "`tst_c`: there is no such test"),
            (PAGE.replace("`traps`, which", "`trapped`, which"), {}, "it has no such function"),
            (PAGE.replace("`tst_b`: `sizeLimit`", ""), {}, "\"a file\" names no test"),
            (PAGE.replace("`tst_b`: `sizeLimit`", "`tst_b`"), {}, "none of its functions"),
            (PAGE.replace("; `tst_b`: `putsNoFile`", ""), {}, "`tst_b`: `putsNoFile` says that it is in the page"),
            (PAGE, {"tst_d": "    void flood(); // docs/security.md\n"}, "`tst_d`: `flood` says that it is in the page"),
            (PAGE, {"tst_a": SOURCES["tst_a"].replace("void links(); ", "void linked();")}, "it has no such function"),
            (PAGE, {"tst_a": SOURCES["tst_a"].replace("traps(); // docs/security.md", "traps();")},
             "behind its declaration"),
        ]
        for page, sources, expected in rows:
            with self.subTest(expected):
                problems = self.check(page, sources)
                self.assertTrue(any(expected in problem for problem in problems), problems)

    def test_a_function_that_is_not_built(self):
        problems = self.check(built={"traps", "links", "putsNoFile"})
        self.assertEqual(len(problems), 1)
        self.assertIn("the built program does not know it", problems[0])

    def test_a_page_without_tables(self):
        self.assertRaises(ValueError, self.check, PAGE.replace("## Limits", "## Bounds"))


if __name__ == "__main__":
    unittest.main()
