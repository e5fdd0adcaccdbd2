#!/usr/bin/env python3
"""The checks of check_built_files.py on texts as readelf writes them."""
import unittest

from check_built_files import hardening_faults, run_path_faults

GOOD = {
    "dynamic": " 0x1e (FLAGS) BIND_NOW\n 0x6ffffffb (FLAGS_1) Flags: NOW PIE",
    "headers": "  Type:                              DYN (Position-Independent Executable file)",
    "segments": "  GNU_STACK 0x000000 0x0 0x0 0x000000 0x000000 RW  0x10\n  GNU_RELRO 0x1 0x2 0x3 0x4 0x5 R 0x1",
    "symbols": "FUNC GLOBAL DEFAULT UND __stack_chk_fail@GLIBC_2.4",
    "landings": 50,
}


class RunPaths(unittest.TestCase):
    def faults(self, run_path, kind="RUNPATH"):
        return run_path_faults(f" 0x1d ({kind})  Library runpath: [{run_path}]")

    def test_safe(self):
        self.assertEqual(run_path_faults(""), [])
        for path in ("$ORIGIN", "$ORIGIN/../lib", "/usr/lib/x86_64-linux-gnu", "$ORIGIN/../lib:/usr/lib"):
            self.assertEqual(self.faults(path), [], path)

    def test_unsafe(self):
        for path in ("/home/somebody/build/lib", "lib", ".", "", "$ORIGIN/../lib:", "/usr/library",
                     "/usr/lib/../../tmp", "$ORIGINAL/lib", "/usr/lib:/tmp"):
            self.assertEqual(len(self.faults(path)), 1, path)
        self.assertEqual(len(self.faults("/tmp", "RPATH")), 1)


class Hardening(unittest.TestCase):
    def test_all(self):
        self.assertEqual(hardening_faults(**GOOD), [])
        self.assertEqual(hardening_faults(**{**GOOD, "landings": None}), [])

    def test_each(self):
        for key, value in (("dynamic", ""), ("headers", "  Type:    EXEC (Executable file)"),
                          ("segments", "  GNU_STACK 0x0 0x0 0x0 0x0 0x0 RW  0x10"),
                          ("segments", GOOD["segments"].replace("RW ", "RWE")),
                          ("symbols", ""), ("landings", 9)):
            self.assertEqual(len(hardening_faults(**{**GOOD, key: value})), 1, key)


if __name__ == "__main__":
    unittest.main()
