#!/usr/bin/env python3
"""check_platforms.py over small trees of its own, each with one thing wrong."""

import contextlib
import io
import tempfile
import unittest
from pathlib import Path

import check_platforms

HEADER = """class Command : public QObject
{
    Q_OBJECT

public:
    virtual void run() = 0;
    void stop() override;

Q_SIGNALS:
    void ended(bool ok) override;
    void changed();

private:
    void work() override;
};
"""

TREE = {
    "framework/lib_a/command.h": HEADER,
    "framework/lib_a/platform.h": "#ifdef Q_OS_WIN\n#endif\n",
    "framework/lib_a/file_windows.cpp": "#ifdef Q_OS_WIN\n#endif\n",
    "applications/a/tests/tst_a.cpp": "#ifdef Q_OS_LINUX\n#endif\n",
    "applications/a/a.cpp": "connect(c, SIGNAL(ended(bool)), this, SLOT(stop()));\n"
                            "connect(c, &Command::changed, this, &A::work);\n"
                            "call(&Command::ended);\n#if defined(_MSC_VER)\n#endif\n",
}


class CheckPlatforms(unittest.TestCase):
    def run_on(self, changes=None):
        """Exit code and what was told, of the tree with some files replaced."""
        with tempfile.TemporaryDirectory() as folder:
            root = Path(folder).resolve()
            for name, text in {**TREE, **(changes or {})}.items():
                (root / name).parent.mkdir(parents=True, exist_ok=True)
                (root / name).write_text(text, encoding="utf-8")
            told = io.StringIO()
            with contextlib.redirect_stderr(told), contextlib.redirect_stdout(told):
                code = check_platforms.main([str(root)])
            return code, told.getvalue()

    def test_a_good_tree(self):
        self.assertEqual(self.run_on(), (0, "virtual signals: ended; all are connected by their names\n"))

    def test_what_is_wrong_is_named(self):
        by_address = "applications/a/a.cpp:1 connects the virtual signal ended by its address"
        rows = [
            ({"applications/a/a.cpp": "connect(c, &Command::ended, this, [this] { stop(); });\n"}, by_address),
            ({"applications/a/a.cpp": "QObject::connect(&c,\n    &Derived::ended, this, f);\n"}, by_address),
            ({"applications/a/a.cpp": "QSignalSpy spy(&c, &Command::ended);\n"}, by_address),
            ({"applications/a/a.cpp": "QSignalSpy(c.data(), &Command::ended);\n"}, by_address),
            ({"tests/tst_b.cpp": "\nconnect(c, &Command::ended, this, f);\n"}, "tests/tst_b.cpp:2 connects"),
            ({"applications/a/a.cpp": "\n#ifdef Q_OS_WIN\n#endif\n"}, "applications/a/a.cpp:2 asks for Q_OS_WIN"),
            ({"applications/a/a.cpp": "#if defined(_WIN32)\n#endif\n"}, "asks for _WIN32"),
            ({"plugins/p/p.h": "#if !defined(Q_OS_UNIX)\n#endif\n"}, "plugins/p/p.h:1 asks for Q_OS_UNIX"),
        ]
        for changes, expected in rows:
            with self.subTest(expected):
                code, told = self.run_on(changes)
                self.assertEqual(code, 1)
                self.assertIn(expected, told)


if __name__ == "__main__":
    unittest.main()
