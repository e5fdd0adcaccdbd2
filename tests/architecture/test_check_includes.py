#!/usr/bin/env python3
"""check_includes.py over small trees of its own, each with one thing wrong."""

import contextlib
import io
import tempfile
import unittest
from pathlib import Path

import check_includes

TABLE = """# Picture

## Who may include whom

| room | may include, besides itself | what it is |
|---|---|---|
| `framework/lib_a` | nothing | the lowest |
| `applications/b` | `framework/lib_a` | above it |
| `applications/b/inner` | `applications/b` | inside |
| `tests` | everything but tests | all |
| `tests/support` | everything but tests | fakes |

## After it

| `not/a/room` | `framework/lib_a` |
"""

TREE = {
    "framework/lib_a/a.h": "#include <QString>\n",
    "framework/lib_a/tests/tst_a.cpp": '#include "a_fake.h"\n#include <lib_a/a.h>\n',
    "framework/lib_a/tests/a_fake.h": '#include "tests/support/fake.h"\n',
    "applications/b/b.h": "#include <lib_a/a.h>\n",
    "applications/b/inner/c.cpp": '#include "applications/b/b.h"\n#include "c.moc"\n',
    "applications/b/tests/tst_b.cpp": '#include "applications/b/inner/c.h"\n#include <lib_a/a.h>\n',
    "applications/b/inner/c.h": "",
    "tests/tst_all.cpp": '#include "applications/b/b.h"\n#include "tests/support/fake.h"\n',
    "tests/support/fake.h": "#include <lib_a/a.h>\n",
}


class CheckIncludes(unittest.TestCase):
    def run_on(self, changes=None, table=TABLE):
        """Exit code and what was told, of the tree with some files replaced."""
        with tempfile.TemporaryDirectory() as folder:
            root = Path(folder).resolve()
            files = {**TREE, "docs/architecture.md": table, **(changes or {})}
            for name, text in files.items():
                if text is not None:
                    (root / name).parent.mkdir(parents=True, exist_ok=True)
                    (root / name).write_text(text, encoding="utf-8")
            told = io.StringIO()
            with contextlib.redirect_stderr(told), contextlib.redirect_stdout(told):
                code = check_includes.main([str(root)])
            return code, told.getvalue()

    def test_a_tree_as_the_table_tells(self):
        self.assertEqual(self.run_on(), (0, "5 rooms, as architecture.md tells them\n"))

    def test_a_room_of_scripts(self):
        table = TABLE.replace("| `tests` |", "| `tests/scripts` | nothing | no source |\n| `tests` |")
        self.assertEqual(self.run_on({"tests/scripts/run.py": "import sys\n"}, table)[0], 0)
        self.assertIn("the table's room tests/scripts has no source file", self.run_on(table=table)[1])

    def test_what_is_wrong_is_named(self):
        upward = {"framework/lib_a/a.h": "\n#include \"applications/b/b.h\"\n"}
        rows = [
            (upward, "framework/lib_a/a.h:2 includes applications/b/b.h: "
                     "framework/lib_a may not include applications/b"),
            ({"applications/b/b.h": "#include <lib_a/a.h>\n#include \"applications/b/inner/c.h\"\n"},
             "applications/b/b.h:2 includes applications/b/inner/c.h: "
             "applications/b may not include applications/b/inner"),
            ({"applications/b/tests/tst_b.cpp": '#include "framework/lib_a/tests/a_fake.h"\n'},
             "applications/b/tests may not include framework/lib_a/tests"),
            ({"tests/tst_all.cpp": '#include "framework/lib_a/tests/a_fake.h"\n'},
             "tests may not include framework/lib_a/tests"),
            ({"applications/b/b.h": '#include "tests/support/fake.h"\n#include <lib_a/a.h>\n'},
             "applications/b may not include tests/support"),
            ({"applications/b/b.h": ""},
             "the table allows applications/b to include framework/lib_a, and nothing does"),
            ({"tests/support/fake.h": '#include <lib_a/a.h>\n#include "../gone.h"\n'},
             "tests/support/fake.h includes ../gone.h, which is no file of this project"),
            ({"applications/new/d.cpp": ""}, "applications/new/d.cpp lies in no room of the table"),
            ({"applications/b/inner/c.cpp": None, "applications/b/inner/c.h": None,
              "applications/b/tests/tst_b.cpp": None},
             "the table's room applications/b/inner has no source file"),
        ]
        for changes, expected in rows:
            with self.subTest(expected):
                code, told = self.run_on(changes)
                self.assertEqual(code, 1)
                self.assertIn(expected, told)

    def test_functions_that_the_page_names(self):
        page = TABLE + "\n`Order::run()`, `Order::stop()`, and `run()` of any\n"
        there = {"framework/lib_a/a.h": "class EXPORT Order : public Base\n{\npublic:\n    void run();\n};\n",
                 "applications/b/inner/c.h": "bool Order::stop()\n{}\n"}
        self.assertEqual(self.run_on(there, page)[0], 0)
        del there["applications/b/inner/c.h"]
        code, told = self.run_on(there, page)
        self.assertEqual(code, 1)
        self.assertIn("architecture.md names Order::stop(), which is in no source", told)

    def test_a_table_that_cannot_be_read(self):
        rows = [
            ("# Picture\n", 'has no section "## Who may include whom"'),
            ("## Who may include whom\n\n| `not a room |\n", "holds no table"),
            (TABLE.replace("| `framework/lib_a` | above", "| `framework/lib_z` | above"),
             "may include framework/lib_z, which is no room of the table"),
            (TABLE.replace("`applications/b/inner` | `applications/b`", "`applications/b` | `applications/b`"),
             "the room applications/b stands in the table twice"),
        ]
        for table, expected in rows:
            with self.subTest(expected):
                code, told = self.run_on(table=table)
                self.assertEqual(code, 1)
                self.assertIn(expected, told)


if __name__ == "__main__":
    unittest.main()
