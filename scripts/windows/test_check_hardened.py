#!/usr/bin/env python3
"""check_hardened.py over headers with one thing wrong each, and over what the linker of this machine makes."""

import shutil
import struct
import subprocess
import tempfile
import unittest
from pathlib import Path

import check_hardened

COMPILER = shutil.which("x86_64-w64-mingw32-gcc-posix") or shutil.which("x86_64-w64-mingw32-gcc")
ALL = 0x0160


def image(flags=ALL, characteristics=0x0022, magic=0x20B, signature=b"PE\0\0"):
    start = 0x80
    data = bytearray(start + 4 + 20 + 240)
    data[:2] = b"MZ"
    struct.pack_into("<I", data, 0x3C, start)
    data[start:start + 4] = signature
    struct.pack_into("<H", data, start + 4 + 18, characteristics)
    struct.pack_into("<H", data, start + 24, magic)
    struct.pack_into("<H", data, start + 24 + 70, flags)
    return bytes(data)


class CheckHardened(unittest.TestCase):
    def test_with_everything(self):
        self.assertEqual(check_hardened.problems_of(image()), [])

    def test_what_is_missing_is_named(self):
        rows = [
            (image(flags=ALL & ~0x0020), "lacks HIGH_ENTROPY_VA: link it with --high-entropy-va"),
            (image(flags=ALL & ~0x0040), "lacks DYNAMIC_BASE: link it with --dynamicbase"),
            (image(flags=ALL & ~0x0100), "lacks NX_COMPAT: link it with --nxcompat"),
            (image(characteristics=0x0023), "has no relocations"),
            (image(magic=0x10B), "is not for 64 bits"),
            (image(signature=b"NE\0\0"), "is no program"),
            (b"\x7fELF" + bytes(200), "is no program"),
            (image()[:0x90], "ends within its headers"),
            (b"MZ", "ends within its headers"),
        ]
        for data, expected in rows:
            with self.subTest(expected):
                problems = check_hardened.problems_of(data)
                self.assertEqual(len(problems), 1)
                self.assertTrue(problems[0].startswith(expected), problems)

    def test_folders(self):
        with tempfile.TemporaryDirectory() as name:
            folder = Path(name)
            self.assertEqual(len(check_hardened.check([folder])[0]), 1)
            (folder / "bin").mkdir()
            (folder / "bin" / "good.exe").write_bytes(image())
            (folder / "notes.txt").write_bytes(b"nothing")
            self.assertEqual(check_hardened.check([folder]), ([], 1))
            (folder / "Bad.DLL").write_bytes(image(flags=0))
            problems, count = check_hardened.check([folder])
            self.assertEqual((len(problems), count), (3, 2))
            self.assertTrue(all("Bad.DLL" in problem for problem in problems))

    @unittest.skipUnless(COMPILER, "no compiler for Windows: scripts/windows.sh installs it")
    def test_linked_files(self):
        rows = [
            (["-Wl,--dynamicbase,--nxcompat,--high-entropy-va"], ""),
            (["-Wl,--disable-dynamicbase"], "DYNAMIC_BASE"),
            (["-Wl,--disable-nxcompat"], "NX_COMPAT"),
            (["-Wl,--disable-high-entropy-va"], "HIGH_ENTROPY_VA"),
        ]
        with tempfile.TemporaryDirectory() as name:
            source = Path(name) / "empty.c"
            source.write_text("int main(void) { return 0; }\n", encoding="utf-8")
            for options, expected in rows:
                with self.subTest(expected):
                    program = Path(name) / "empty.exe"
                    subprocess.run([COMPILER, str(source), "-o", str(program), *options], check=True)
                    problems = check_hardened.check([program])[0]
                    self.assertEqual(bool(problems), bool(expected), problems)
                    self.assertIn(expected, "".join(problems))


if __name__ == "__main__":
    unittest.main()
