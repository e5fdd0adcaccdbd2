#!/usr/bin/env python3
"""From a register list to the first values, with the built bench and a controller that only the list describes.

    test_commissioning.py BENCH

Each row is a controller with tables of its own and the list that its manual prints. "init" makes a configuration of
the list, "check --probe" looks it over and reads what it names, and orders are run with it; the controller tells what has reached it.
"""

import json
import os
import select
import struct
import subprocess
import sys
import tempfile
import time
import unittest
from collections import namedtuple
from pathlib import Path

try:
    import fcntl
    import pty
    import termios
except ImportError:
    pty = None  # no terminal to play, no questions to answer

from foreign_controller import ForeignController, READ_HOLDING, READ_INPUT, WRITE_COIL, WRITE_REGISTER
from foreign_controller import WRITE_REGISTERS

PROBED_UNITS = {0, 255}
LIMIT = 10  # s for all steps of a row
KILLED_AFTER = 30

TORQUE = 12.5
TORQUE_WORDS = struct.unpack(">2H", struct.pack(">f", TORQUE))

# "tables" as on the wire: holding registers, input registers, coils. "written" is (function, address, value) of
# "setProgram program=3" and of "resetAlarm"; "event" what "listenEventsData" tells; "register" the values that
# "getRegister" gives of "currentPreset".
Row = namedtuple("Row", "name list options tables unit written event register")

COIL_ON = 0xFF00


def zeros(*parts):
    return {address: 0 for part in parts for address in part}


def with_values(table, values):
    return {**table, **values}


FOUR_DIGITS = """\
Controller 7, Modbus registers;revision 3
Group;Name;Address;Length;Type;Access
Commands;Direction of rotation;40301;1;UINT16;W
Commands;Select program;40302;1;UINT16;W
Commands;Tool lock;40303;1;UINT16;R/W
Commands;Display lock;40304;1;UINT16;W
Commands;Fault reset;00013;1;BOOL;W
Status;Active program;30019;1;UINT16;R
Status;Motor running;30020;1;UINT16;R
Status;Torque unit;40242;1;UINT16;R
Results;Counter;30001;1;UINT16;R
Results;Program;30002;1;UINT16;R
Results;Final torque;30003;2;FLOAT;R
Programs;Program 1;40001;12;;
Programs;Program 2;40013;12;;
Programs;Program 20;40229;12;;
Program 1;Target torque;40001;2;FLOAT;R/W
Program 1;Steps;40003;10;;R/W
Service;Hours;40401;2;UINT32;R
"""

FROM_ONE = """\
Name,Register (1-based),Words,Function code,Type,Unit
Change direction,5001,1,6,,
Change program,5002,1,16,,
Lock of the tool,5003,1,6,,
Lock of the screen,5004,1,6,,
Acknowledge alarm,5005,1,6,,
Current program,5103,1,3,,
Motor state,5104,1,3,,
Unit of torque,601,1,3,,
Event block,5201,4,3,,
Event counter,5201,1,3,,
Event program number,5202,1,3,,
Event torque,5203,2,3,REAL,Nm
Preset 1,1-30,,3,,
Preset 2,31-60,,3,,
Preset 20,571-600,,3,,
"""

SWAPPED = """\
sep=|
Channel|Address (PDU, hex)|Length|Size|Access|Type
directionChange|1001||||
presetChange|1002||||
lockChange|1003||||
lockScreen|1004||||
alarmReset|1005||||
currentPreset|1103||20|R|
motorRun|1104|||R|
torqueUnit|0191|||R|
eventData|1201|4||R|
presets|||20|R|
eventCountNo|1201|||R|UINT16
program|1202|||R|UINT16
torque|1203|2||R|float, low word first
"""

OTHER_UNIT = """\
Parameter\tModbus address\tR/W\tRemark
Direction\t100\tR/W\t0 fastening, 1 loosening
Program number to use, select\t101\tW\t
Active program number\t102\tR\t
Tool lock\t103\tR/W\t
Keypad lock\t104\tR/W\t
Alarm reset\t105\tW\t
Spindle running\t106\tR\t
Torque unit\t0\tR\t
"""

ROWS = [
    Row("4xxxx notation, 1 as its first number", FOUR_DIGITS, ["--unit", "7"],
        (with_values(zeros(range(0, 244), range(300, 310)), {241: 2}),
         with_values(zeros(range(0, 32)), {0: 17, 1: 3, 2: TORQUE_WORDS[0], 3: TORQUE_WORDS[1], 18: 5}),
         zeros(range(0, 20))), 7,
        [(WRITE_REGISTER, 301, 3), (WRITE_COIL, 12, COIL_ON)],
        {"program": 3, "finalTorque": 1250}, [5]),
    Row("offset -1", FROM_ONE, ["--unit", "7", "--offset", "-1"],
        (with_values(zeros(range(0, 602), range(5000, 5300)),
                     {5102: 4, 5200: 17, 5201: 3, 5202: TORQUE_WORDS[0], 5203: TORQUE_WORDS[1]}),
         zeros([0]), zeros([0])), 7,
        [(WRITE_REGISTERS, 5001, 3), (WRITE_REGISTER, 5004, 1)],
        {"eventProgramNumber": 3, "eventTorque": 1250}, [4]),
    Row("swapped words", SWAPPED, ["--unit", "7"],
        (with_values(zeros(range(0, 450), range(0x1000, 0x1300)),
                     {0x1103: 6, 0x1201: 17, 0x1202: 3, 0x1203: TORQUE_WORDS[1], 0x1204: TORQUE_WORDS[0]}),
         zeros([0]), zeros([0])), 7,
        [(WRITE_REGISTER, 0x1002, 3), (WRITE_REGISTER, 0x1005, 1)],
        # Both words as they are: a float of them would be another torque.
        {"program": 3, "torque": [TORQUE_WORDS[1], TORQUE_WORDS[0]]}, [6]),
    Row("another unit", OTHER_UNIT, ["--unit", "17"],
        (with_values(zeros(range(0, 200)), {102: 9}), zeros([0]), zeros([0])), 17,
        [(WRITE_REGISTER, 101, 3), (WRITE_REGISTER, 105, 1)],
        None, [9]),
]


def call(program, folder, *arguments):
    """Exit code, the document of results and what was said."""
    command = [program, "--format", "json", *arguments]
    with subprocess.Popen(command, cwd=folder, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                          stderr=subprocess.PIPE, text=True, encoding="utf-8") as process:
        try:
            out, messages = process.communicate(timeout=KILLED_AFTER)
        except subprocess.TimeoutExpired:
            process.kill()
            return None, {}, ""
    return process.returncode, json.loads(out), out + messages


class Conversation:
    """A program at a terminal, and somebody who answers it."""

    def __init__(self, command, folder):
        self._end, other = pty.openpty()
        self.seen = ""
        self.process = subprocess.Popen(command, cwd=folder, stdin=other, stdout=other, stderr=other,
                                        preexec_fn=self._take_terminal,
                                        env={**os.environ, "LC_ALL": "C.UTF-8", "NO_COLOR": "1"})
        os.close(other)

    @staticmethod
    def _take_terminal():
        # Ctrl-C is for whoever the terminal belongs to.
        os.setsid()
        fcntl.ioctl(0, termios.TIOCSCTTY, 0)

    def _read(self):
        if not select.select([self._end], [], [], KILLED_AFTER)[0]:
            self.process.kill()
            raise AssertionError(f"nothing more is said:\n{self.seen}")
        try:
            piece = os.read(self._end, 4096).decode("utf-8", "replace")
        except OSError:
            return False  # the other side has closed
        self.seen += piece.replace("\r\n", "\n")
        return bool(piece)

    def answer(self, question, text):
        """Waits for the question at the end of what is seen."""
        while not (question in self.seen.rpartition("\n")[2] and self.seen.endswith(": ")):
            if not self._read():
                raise AssertionError(f"it did not ask \"{question}\":\n{self.seen}")
        os.write(self._end, text.encode())

    def end(self):
        while self._read():
            pass
        os.close(self._end)
        return self.process.wait(KILLED_AFTER)


class Commissioning(unittest.TestCase):
    program = None

    def ask(self, folder, code, *arguments):
        end, document, said = call(self.program, folder, "--config", "made/bench.json", "--properties",
                                   "properties.json", *arguments)
        self.assertEqual(end, code, said)
        return document

    def go_through(self, row, controller, folder):
        (folder / "list.csv").write_text(row.list, encoding="utf-8")
        end, made, said = call(self.program, folder, "init", "made", "--host", "127.0.0.1", "--port",
                               str(controller.port), "--from-csv", "list.csv", "--yes", *row.options)
        self.assertEqual(end, 0, said)
        self.assertEqual(made["controller"]["generation"], 2)

        # What is open is what the check names, nothing else is wrong, and whatever is configured can be read.
        open_names = [one["name"] for one in made["open"]]
        findings = self.ask(folder, 3 if open_names else 0, "check", "--probe")["findings"]
        bad = [one["message"] for one in findings if one["level"] == "error"]
        for message in bad:
            self.assertTrue(any(f'"{name}"' in message for name in open_names), message)

        info = self.ask(folder, 0, "run", "getInfo")
        self.assertIn("MD2202", json.dumps(info))
        self.ask(folder, 0, "run", "setProgram", "program=3")
        self.ask(folder, 0, "run", "resetAlarm")
        self.assertEqual([tuple(one) for one in controller.stored], row.written)
        told = self.ask(folder, 0, "run", "getRegister", "channel=currentPreset")
        self.assertEqual(told["results"]["values"], row.register)
        if row.event is not None:
            event = self.ask(folder, 0, "run", "listenEventsData", "--count", "1")["updates"][0]["values"]["values"]
            self.assertEqual({name: event[name] for name in row.event}, row.event)
        return open_names

    def test_rows(self):
        for row in ROWS:
            with self.subTest(row.name):
                holding, inputs, coils = row.tables
                controller = ForeignController(unit=row.unit, holding=holding, inputs=inputs, coils=coils)
                started = time.monotonic()
                try:
                    with tempfile.TemporaryDirectory() as name:
                        open_names = self.go_through(row, controller, Path(name))
                finally:
                    controller.close()
                seconds = time.monotonic() - started
                print(f"{row.name}: {seconds:.1f} s, open: {', '.join(open_names) or 'nothing'}")
                self.assertLess(seconds, LIMIT)
                self.assertEqual(controller.problems, [])
                units = {request.unit for request in controller.requests}
                # Whether it answers as these is asked by the probe, which only reads.
                self.assertEqual(units - PROBED_UNITS, {row.unit} - PROBED_UNITS)
                self.assertIn(row.unit, units)
                others = {request.function for request in controller.requests if request.unit != row.unit}
                self.assertLessEqual(others, {READ_HOLDING, READ_INPUT})
                reads = {request.function for request in controller.requests} & {READ_HOLDING, READ_INPUT}
                self.assertTrue(reads)

    def converse(self, answers, *arguments):
        """Exit code, what was seen, and the folder's files with their texts."""
        with tempfile.TemporaryDirectory() as name:
            folder = Path(name)
            (folder / "list.csv").write_text(FOUR_DIGITS, encoding="utf-8")
            conversation = Conversation([self.program, "init", "made", *arguments], folder)
            for question, text in answers:
                conversation.answer(question, text)
            code = conversation.end()
            made = folder / "made"
            files = {one.name: one.read_text(encoding="utf-8") for one in made.glob("*.json")} if made.exists() else {}
            return code, conversation.seen, files

    @unittest.skipIf(pty is None, "a terminal is needed")
    def test_questions(self):
        row = ROWS[0]
        holding, inputs, coils = row.tables
        controller = ForeignController(unit=row.unit, holding=holding, inputs=inputs, coils=coils)
        try:
            # Port 1 is nobody's: it is asked anew.
            code, seen, files = self.converse([
                ("Address of the controller", "127.0.0.1:1\n"), ("Modbus unit [1]", "7\n"),
                ("Try again", "yes\n"), ("Address of the controller", "127.0.0.1\n"),
                ("TCP port [502]", "many\n"), ("TCP port [502]", f"{controller.port}\n"),
                ("Modbus unit [1]", "7\n"), ("Register list", "list.csv\n"), ("on the wire", "\n"),
                ("Generation to write", "\n"), ("Order reference", "\n"), ("Write 7 files to made", "y\n")])
        finally:
            controller.close()
        self.assertEqual(code, 0, seen)
        self.assertIn("Answers: MDC-22 with MD2202, firmware 4.12.7", seen)
        self.assertIn("a whole number from 1 to 65535 is needed", seen)
        self.assertIn("understood:", seen)
        bench = json.loads(files["bench.json"])["objects"]
        self.assertEqual(bench[0]["configuration"]["unitId"], 7)
        self.assertEqual(bench[0]["configuration"]["addressOffset"], -1)
        self.assertEqual(bench[1]["reference"], "MDC")
        self.assertIn("register_map_generation2.json", files)

    @unittest.skipIf(pty is None, "a terminal is needed")
    def test_questions_without_the_controller(self):
        code, seen, files = self.converse([
            ("Modbus unit [1]", "\n"), ("Try again", "no\n"), ("Generation of the controller", "1\n"),
            ("Register list", "\n"), ("on the wire", "\n"), ("Order reference", "MDTC\n"), ("Write", "\n")],
            "--host", "127.0.0.1", "--port", "1")
        self.assertEqual(code, 0, seen)
        self.assertIn("register_map_generation1.json", files)
        self.assertEqual(json.loads(files["bench.json"])["objects"][1]["reference"], "MDTC")

    @unittest.skipIf(pty is None, "a terminal is needed")
    def test_ended_questions_write_nothing(self):
        begun = [("Modbus unit [1]", "\n"), ("Try again", "no\n"), ("Generation of the controller", "1\n"),
                 ("Register list", "\n"), ("on the wire", "\n"), ("Order reference", "\n")]
        for last, expected in (([("Write", "no\n")], 1), ([("Write", "\x04")], 1),
                               ([("Write", "\x03")], 130)):
            code, seen, files = self.converse(begun + last, "--host", "127.0.0.1", "--port", "1")
            self.assertEqual(code, expected, seen)
            self.assertIn("nothing was written", seen)
            self.assertEqual(files, {})


if __name__ == "__main__":
    Commissioning.program = str(Path(sys.argv.pop(1)).resolve())
    unittest.main()
