#!/usr/bin/env python3
"""scripts/new_command.sh on a copy of the device plug-in's folder.

    test_new_command.py ROOT
"""

import json
import shutil
import subprocess
import sys
import tempfile
import unittest
from pathlib import Path

ROOT = Path(sys.argv.pop(1)).resolve() if len(sys.argv) > 1 else None
PLUGIN = "plugins/p_device_mdc"
ROWS = "tests/commands"
MAPS = "configurations"
FOLDERS = (PLUGIN, ROWS, MAPS)


class NewCommand(unittest.TestCase):
    def setUp(self):
        self.folder = tempfile.TemporaryDirectory()
        self.addCleanup(self.folder.cleanup)
        self.copy = Path(self.folder.name)
        shutil.copytree(ROOT / "scripts", self.copy / "scripts")
        for name in FOLDERS:
            shutil.copytree(ROOT / name, self.copy / name)
        shutil.copy(ROOT / ".clang-format", self.copy)

    def run_script(self, *arguments):
        return subprocess.run([self.copy / "scripts/new_command.sh", *arguments], capture_output=True, text=True,
                              check=False)

    def text(self, name):
        return (self.copy / name).read_text(encoding="utf-8")

    def files(self):
        return {path: path.read_bytes() for name in FOLDERS
                for path in (self.copy / name).rglob("*") if path.is_file()}

    def test_no_description_is_left_to_be_written(self):
        for name in FOLDERS:
            for path in sorted((ROOT / name).rglob("*")):
                if path.suffix in (".h", ".cpp"):
                    with self.subTest(path.relative_to(ROOT)):
                        self.assertNotIn("DESCRIBE", path.read_text(encoding="utf-8"))

    def test_a_command_is_begun_and_made_known(self):
        done = self.run_script("setTrialOnly")
        self.assertEqual(done.returncode, 0, done.stderr)
        places = [
            (f"{PLUGIN}/source/p_device_mdc.cpp", '#include "d_cmd_setTrialOnly.h"'),
            (f"{PLUGIN}/source/p_device_mdc.cpp", "declareInstructionCommand(new DCmdSetTrialOnly(this));"),
            (f"{PLUGIN}/model/command_needs.cpp", "CommandNeeds setTrialOnly()"),
            (f"{PLUGIN}/model/command_needs.cpp", 'QStringLiteral("trialOnlyChange")'),
            # Quotes within a text stay quotes within a text.
            (f"{PLUGIN}/model/command_needs.cpp", r'QStringLiteral("Writes \"value\" to'),
            (f"{PLUGIN}/source/d_cmd_setTrialOnly.h", "class DCmdSetTrialOnly : public DAbstractCommand"),
            (f"{PLUGIN}/source/d_cmd_setTrialOnly.cpp", "bool DCmdSetTrialOnly::commandExecute()"),
            (f"{ROWS}/setTrialOnly_rows.cpp", 'rows.command = "setTrialOnly";'),
            (f"{ROWS}/setTrialOnly_rows.cpp", '"trialOnlyChangeV2"'),
        ]
        for name, text in places:
            with self.subTest(name, text=text):
                self.assertEqual(self.text(name).count(text), 1)
        self.assertRegex(self.text(f"{PLUGIN}/model/command_needs.cpp"), r"c_needs\{[^}]*\bsetTrialOnly\(\),")
        for path in self.files():
            self.assertNotIn("@NAME@", path.read_text(encoding="utf-8", errors="replace"), path)
        self.assertIn("trialOnlyChangeV2", done.stdout)
        self.assertIn("replace DESCRIBE", done.stdout)

    def test_its_channel_has_a_register_of_its_own(self):
        self.assertEqual(self.run_script("setTrialOnly").returncode, 0)
        for name, channel in (("generation1", "trialOnlyChange"), ("generation2", "trialOnlyChangeV2")):
            with self.subTest(name):
                path = f"{MAPS}/register_map_{name}.json"
                before = json.loads((ROOT / path).read_text(encoding="utf-8"))["channels"]
                after = json.loads(self.text(path))["channels"]
                added = [one for one in after if one not in before]
                self.assertEqual([one["id"] for one in added], [channel])
                self.assertEqual([one for one in after if one in before], before)
                entries = {entry["id"]: entry["value"] for entry in added[0]["value"]}
                registers = [entry["value"] for one in before for entry in one["value"] if entry["id"] == "register"]
                self.assertNotIn(entries["register"], registers)
                self.assertEqual(entries["writeRegisterType"], "singleRegister")

    def test_a_channel_of_its_own(self):
        self.assertEqual(self.run_script("readTool", "toolNumber").returncode, 0)
        self.assertIn('QStringLiteral("toolNumber") + softwareVersionSuffix', self.text(f"{PLUGIN}/source/d_cmd_readTool.cpp"))

    def test_what_is_refused_changes_nothing(self):
        rows = [((), 2, "NAME [CHANNEL]"), (("a", "b", "c"), 2, "NAME [CHANNEL]"), (("-x",), 2, "is no name"),
                (("Set",), 2, "is no name"), (("set it",), 2, "is no name"), (("../x",), 2, "is no name"),
                (("good", "no/good"), 2, "is no name of a channel"), (("setLock",), 1, "is there already")]
        before = self.files()
        for arguments, code, message in rows:
            with self.subTest(arguments):
                refused = self.run_script(*arguments)
                self.assertEqual(refused.returncode, code)
                self.assertIn(message, refused.stderr)
                self.assertEqual(self.files(), before)

    def test_a_place_that_is_gone_is_named(self):
        source = self.copy / PLUGIN / "source/p_device_mdc.cpp"
        source.write_text(self.text(f"{PLUGIN}/source/p_device_mdc.cpp").replace("sigCommandsInitDone", "sigOther"))
        refused = self.run_script("setTrialOnly")
        self.assertEqual(refused.returncode, 1)
        self.assertIn(f"{PLUGIN}/source/p_device_mdc.cpp has no place for it", refused.stderr)


if __name__ == "__main__":
    unittest.main()
