"""What the bench is asked to do, and which requests the configuration means by that."""

import json
import re
from collections import namedtuple
from pathlib import Path

FOLDER = Path(__file__).resolve().parent
ADDRESS_OFFSET = -1
REPORT_SERVER_ID, READ_HOLDING = 0x11, 0x03
WRITE_COIL, WRITE_REGISTER, WRITE_REGISTERS = 0x05, 0x06, 0x10
WRITES = (WRITE_COIL, WRITE_REGISTER, WRITE_REGISTERS)
FUNCTION_OF_TYPE = {"coils": WRITE_COIL, "singleRegister": WRITE_REGISTER, "holdingRegisters": WRITE_REGISTERS}
COIL_ON = 0xFF00

TRIGGER_PROGRAM = (1, 100, 0, 1, 0, 3)
TRIGGER_PROGRAM_NUMBER = 15
TORQUE_UNIT = 2
PRESET = 4

# "requests" as on the wire: function, address, values or for a read how many. "bent_write" counts from 1.
Operation = namedtuple("Operation", "name arguments requests bent_write")
Frame = namedtuple("Frame", "function address values")

IDENTIFICATION = Frame(REPORT_SERVER_ID, None, ())


def read_map():
    return json.loads((FOLDER / "register_map.json").read_text(encoding="utf-8"))


def channel(name):
    found = next(one for one in read_map()["channels"] if one["id"] == name)
    return {entry["id"]: entry["value"] for entry in found["value"]}


def address_of(number):
    return number + ADDRESS_OFFSET


def number_of(address):
    return address - ADDRESS_OFFSET


def write_by(name, value):
    entries = channel(name)
    function = FUNCTION_OF_TYPE[entries["writeRegisterType"]]
    return Frame(function, address_of(entries["register"]), (COIL_ON if function == WRITE_COIL else value,))


def write_one(number, value):
    return Frame(WRITE_REGISTER, address_of(number), (value,))


def read_one(number):
    return Frame(READ_HOLDING, address_of(number), (1,))


def group(name):
    ranges = dict((found[0], range(int(found[1]), int(found[2]) + 1)) for found in
                  re.findall(r'"([^"]+)": \[(\d+)-(\d+)\]', read_map()["parameters"]["MDgen2_config"]))
    return ranges[name]


def file_value(number):
    """What the backup file holds for a register."""
    return TORQUE_UNIT if number == channel("torqueUnitV2")["register"] else 100 + number


def backup_text():
    header = ["Driver Parameter data file,", "Driver model,MDC-22", "Driver serial,2303110842",
              "Firmware version,4.12.7", "Date,11/20/2026"]
    lines = [f"A{number:04},{file_value(number)}" for number in group("backup_range")]
    return "\n".join(header + lines) + "\n"


def single_write(command, argument, name, value):
    arguments = ["run", command] + ([argument] if argument else [])
    return Operation(command, arguments, [IDENTIFICATION, write_by(name, value)], 1)


def trigger_program():
    first = (TRIGGER_PROGRAM_NUMBER - 1) * channel("currentPresetV2")["size"] + 1
    numbers = range(first, first + len(TRIGGER_PROGRAM))
    requests = [IDENTIFICATION] + [read_one(number) for number in numbers]
    requests += [write_one(number, value) for number, value in zip(numbers, TRIGGER_PROGRAM)]
    return Operation("SetTriggerProgram", ["run", "SetTriggerProgram"], requests, 3)


def restore():
    numbers = group(f"preset{PRESET}")
    # Once for the bench, once for the command.
    requests = [IDENTIFICATION, IDENTIFICATION, read_one(channel("torqueUnitV2")["register"])]
    requests += [write_one(number, file_value(number)) for number in numbers]
    arguments = ["restore", "backup.csv", "--presets", str(PRESET), "--no-snapshot"]
    return Operation("restore", arguments, requests, len(numbers) // 2)


OPERATIONS = [
    single_write("setProgram", "program=9", "presetChangeV2", 9),
    single_write("setDirection", "direction=1", "directionChangeV2", 1),
    single_write("setLock", "lock=1", "lockChangeV2", 1),
    single_write("resetAlarm", "", "alarmReset", 1),
    trigger_program(),
    restore(),
]


def writes_of(frames):
    return [one for one in frames if one.function in WRITES]


def bent_frame(operation):
    return writes_of(operation.requests)[operation.bent_write - 1]


def configured(frame):
    """Number and value of a write as the configuration and the bench tell them."""
    value = frame.values[0]
    return number_of(frame.address), int(value == COIL_ON) if frame.function == WRITE_COIL else value
