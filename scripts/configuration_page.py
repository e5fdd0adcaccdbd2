#!/usr/bin/env python3
"""docs/configuration.md, made of the schemas, of what the commands look up, and of an example that is run.

    configuration_page.py --write | --check  MDC_BENCH MDC_SIMULATOR

--write writes the page; --check ends with 1 when it is not what would be written now.
"""

import json
import os
import re
import subprocess
import sys
import tempfile

ROOT = os.path.join(os.path.dirname(os.path.abspath(__file__)), "..")
PAGE = os.path.join(ROOT, "docs", "configuration.md")
SCHEMAS = os.path.join(ROOT, "configurations", "schema")
DRIVER_SCHEMA = os.path.join(ROOT, "plugins", "p_driver_modbus", "configuration.schema.json")
SHOWN_PORT = "1502"

# Of keys that have no default of their own: what becomes of an object without them.
WITHOUT = {
    "$schema": "editors explain nothing",
    "reference": "the tool's model is not told, `check` warns",
    "driver": "a device has no link: `check` calls it an error",
    "configurationFiles": "the object's own configuration is all there is",
    "configuration": "a device has no channels; a Modbus driver is an error",
    "channels": "no command but `getInfo` can be run", "parameters": "no names for the values of blocks, no backup",
    "serialPort": "error with \"transport\" \"rtu\"", "frameTrace": "no frame is kept",
    "frameRecord": "no session is recorded",
}

# Entries that others than commands read.
OTHER_READERS = {
    "type": ("`text` or `led`; whatever it is, the maintenance page shows the value", "the maintenance page",
             "a row with a name and no value"),
    "display": ("`information`: the channel, without a suffix, is a row of the maintenance page",
                "the maintenance page", "no row"),
}
DESCRIPTION_ENTRIES = ("scale", "unit", "signed", "encoding", "wordOrder", "bits", "enum", "values")

CONSEQUENCES = {
    "register": "the command would use register 0: `check` says so, `run` refuses (3)",
    "size": "0 registers or programs: `check` says so, `run` refuses (3)",
    "readRegisterType": "the driver refuses the empty type: `check` says so, `run` refuses (3)",
    "writeRegisterType": "the driver refuses the empty type: `check` says so, `run` refuses (3)",
}

LIST = """\
Name;Register;Length;Type;Access
Direction of rotation;6001;;;W
Select program;6002;;;W
Alarm reset;5003;;;W
Tool lock;6004;;;W
Screen lock;6005;;;W
Direction;6101;;;R
Motor running;6102;;;R
Current program;6103;;;R
Torque unit;2001;;;R
Event data;6201;6;;R
Event counter;6201;;;R
Program number;6202;;;R
Direction of tightening;6203;;;R
Result;6204;;;R
Torque;6205;2;float;R
Program 1;1-40;;;R/W
Program 2;41-80;;;R/W
Program 50;1961-2000;;;R/W
Hours of service;7000;;;R
"""


def read_json(path):
    with open(path, encoding="utf-8") as text:
        return json.load(text)


def cell(text):
    return str(text).replace("|", "\\|").replace("\n", " ")


def table(head, rows):
    lines = ["| " + " | ".join(head) + " |", "|" + "---|" * len(head)]
    lines += ["| " + " | ".join(cell(one) for one in row) + " |" for row in rows]
    return "\n".join(lines) + "\n"


def resolved(node, schema):
    reference = node.get("$ref", "")
    if not reference:
        return node
    target = schema
    for token in reference[2:].split("/"):
        target = target[token]
    return {**target, **node}


def example(node):
    text = json.dumps(node.get("examples", [None])[0], ensure_ascii=False)
    # What is longer is explained by tables of its own.
    return f"`{text}`" if node.get("examples") and len(text) < 80 else "–"


def without(name, node, is_required):
    if "default" in node:
        return f"`{json.dumps(node['default'])}`"
    return "error" if is_required else WITHOUT.get(name, "nothing")


def key_table(parent, schema, skip=()):
    rows = []
    for name, node in parent["properties"].items():
        if name in skip:
            continue
        node = resolved(node, schema)
        rows.append((f"`{name}`", node["title"], node["description"], example(node),
                     without(name, node, name in parent.get("required", []))))
    return table(("key", "what it is", "allowed", "example", "without it"), rows)


def entry_schemas(schema):
    """Of the entries of a channel, by their names."""
    entry = schema["properties"]["channels"]["items"]["properties"]["value"]["items"]
    found = {}
    for condition in entry["allOf"]:
        identifier = condition["if"]["properties"]["id"]
        value = resolved(condition["then"]["properties"]["value"], schema)
        for name in identifier.get("enum", [identifier.get("const")]):
            found[name] = value
    return found


class Needs:
    """What the commands look up, by channel, entry and parameter."""

    def __init__(self, commands):
        self.channels, self.entries, self.lists, self.parameters = {}, {}, {}, {}
        for command in commands:
            for channel in command.get("channels", []):
                self._take(command["name"], channel)
            for parameter in command.get("configurationParameters", []):
                self.parameters.setdefault(parameter["name"], []).append(command["name"])

    def _take(self, command, channel):
        for entry in channel["entries"]:
            readers = self.entries.setdefault(entry, [])
            if command not in readers:
                readers.append(command)
        if not channel["name"]:
            return
        self.channels.setdefault(channel["name"], []).append((command, channel))
        if channel["keyList"]:
            self.lists.setdefault(channel["keyList"], []).append(command)


def bundled_titles():
    titles = {}
    folder = os.path.join(ROOT, "configurations")
    for name in sorted(os.listdir(folder)):
        if name.startswith("register_map_"):
            for channel in read_json(os.path.join(folder, name))["channels"]:
                titles.setdefault(re.sub(r"(?<!Gen1)V\d+$", "", channel["id"]), channel["name"])
    return titles


def code(names):
    return ", ".join(f"`{name}`" for name in names)


def values_of(commands, channel, users):
    """The numbers that a command writes into the channel, where it takes them from an argument."""
    for name in users:
        command = next(one for one in commands if one["name"] == name)
        if f"to the register of the channel \"{channel}\"" not in command.get("effect", "").replace("\n", " "):
            continue
        for parameter in command["parameters"]:
            if parameter.get("values"):
                return ", ".join(f"{one['value']} {one['meaning']}" for one in parameter["values"])
            if parameter.get("required") and "lowest" in parameter:
                return f"from {parameter['lowest']} on"
    return "–"


STATES = {
    "direction": "0 fastening, 1 loosening", "motorRun": "0 stands still, else it turns", "currentPreset": "number of the program",
    "torqueUnit": "code of the unit, as in a backup", "torqueUnitGen1V1": "code of the unit, as in a backup",
    "alarm": "code of the alarm", "lock": "as of \"lockChange\"",
    "alarmReset": "1 is written", "lockScreen": "0, or 2 on a BM controller",
    "lockScreenGen1V1": "0, or 2 on a BM controller",
    "eventData": "a block, by `eventDataKeys`", "presets": "–",
}
GENERATIONS = {
    "nothing": "one for all generations", "generation": "one for each", "firstLayout": "generation 1, first layout",
    "model": "one for each", "order": "–",
}
PAGE_CHANNELS = {"direction": "the maintenance page", "motorRun": "the maintenance page",
                 "currentPreset": "the maintenance page", "lock": "the maintenance page"}


def channel_rows(needs, commands):
    titles = bundled_titles()
    names = list(needs.channels)
    names += [name for name in ("torqueUnitGen1V1", "direction", "lock", "alarm", "screenLock") if name not in names]
    for name in names:
        uses = needs.channels.get(name, [])
        users = [command for command, _ in uses]
        entries = []
        for _, channel in uses:
            entries += [entry for entry in channel["entries"] if entry not in entries]
        readers = users + [PAGE_CHANNELS[name]] if name in PAGE_CHANNELS else users
        consequence = next((f"`{command}`: {channel['consequence']}" for command, channel in uses
                            if channel["consequence"]), "")
        if name == "currentPreset":
            entries += ["register", "readRegisterType"]
        if not uses:
            users = ["restoreBackup"] if name == "torqueUnitGen1V1" else []
            readers = users + [PAGE_CHANNELS.get(name, "getRegister")] * (not users)
            entries = ["register", "readRegisterType"]
            consequence = "" if users else "it is not shown; no command misses it"
        chosen = uses[0][1]["chosenBy"] if uses else "generation"
        if name == "torqueUnitGen1V1":
            chosen = "firstLayout"
        yield (f"`{name}`", titles.get(name, name), STATES.get(name) or values_of(commands, name, users),
               GENERATIONS[chosen], code(entries), ", ".join(f"`{one}`" if " " not in one else one for one in readers),
               consequence or f"{code(users)} cannot be run")


def run(bench, folder, *arguments, expected=0):
    environment = dict(os.environ, LC_ALL="C.UTF-8", QT_QPA_PLATFORM="offscreen", XDG_DATA_HOME=folder)
    end = subprocess.run([bench, *arguments], cwd=folder, env=environment, stdin=subprocess.DEVNULL,
                         capture_output=True, text=True, encoding="utf-8", timeout=60)
    if end.returncode != expected:
        raise RuntimeError(f"mdc-bench {' '.join(arguments)} ended with {end.returncode}:\n{end.stdout}{end.stderr}")
    return end.stdout


def indented(text):
    return "".join(f"    {line}".rstrip() + "\n" for line in text.rstrip("\n").split("\n"))


def worked_example(bench, simulator):
    """The calls with what they say, against a simulated controller."""
    command = [simulator, "--port", "0", "--profile", "mdc32-gen2", "--quiet"]
    with tempfile.TemporaryDirectory() as folder, \
            subprocess.Popen(command, stdout=subprocess.PIPE, text=True) as controller:
        try:
            port = re.search(r":(\d+)", controller.stdout.readline()).group(1)
            with open(os.path.join(folder, "registers.csv"), "w", encoding="utf-8") as text:
                text.write(LIST)
            steps = [(("init", "line3", "--host", "127.0.0.1", "--port", port, "--from-csv", "registers.csv", "--yes"),
                      0),
                     (("--config", "line3/bench.json", "check"), 3),
                     (("--config", "line3/bench.json", "run", "getInfo"), 0),
                     (("--config", "line3/bench.json", "run", "setProgram", "program=3"), 0),
                     (("--config", "line3/bench.json", "run", "getRegister", "channel=currentPreset"), 0)]
            said = []
            for arguments, expected in steps:
                out = run(bench, folder, *arguments, expected=expected)
                if "check" in arguments:
                    out = "".join(f"{line}\n" for line in out.split("\n") if line and not line.startswith("ok "))
                said.append((" ".join(arguments).replace(port, SHOWN_PORT), out.replace(f":{port}", f":{SHOWN_PORT}")))
            return said
        finally:
            controller.terminate()


def page(bench, simulator):
    bench_schema = read_json(os.path.join(SCHEMAS, "bench.schema.json"))
    schema = read_json(os.path.join(SCHEMAS, "device_configuration.schema.json"))
    driver = read_json(DRIVER_SCHEMA)
    commands = json.loads(subprocess.run([bench, "commands", "--format", "json"], check=True, capture_output=True,
                                         text=True, encoding="utf-8").stdout)["commands"]
    needs = Needs(commands)
    entries = entry_schemas(schema)
    example_steps = worked_example(bench, simulator)

    text = """# Configuration

What a bench is told in its files: every object, key, channel and parameter, what it means, who reads it and what
happens without it. Made by `scripts/configuration_page.py --write` of the schemas, of what the commands look up and
of the calls below: do not edit this page, a test compares it.

A bench is a file with the list "objects" (`bench.json`) and the files that its objects name in
"configurationFiles", relative to it. `mdc-bench init` writes a first one ([bench.md](bench.md#a-first-configuration)),
`mdc-bench check` looks it over ([bench.md](bench.md#checking-a-bench)). Whatever is not as a table here says is told
with file, place and what is allowed before anything is connected. The files name their `$schema`, so that an editor
completes and explains them.

## From a register list to the first value

The list, as it was copied out of a manual (`registers.csv`):

"""
    text += indented(LIST)
    text += "\nA controller that has these registers, if none is at hand: `mdc-simulator --port 1502 --profile mdc32-gen2`.\n"
    remarks = [
        "The configuration, of the list and of what the controller says of itself:",
        "What is still missing, and nothing else (lines with \"ok\" are left out here):",
        "It answers:",
        "The first program is selected:",
        "And read back, the first value:",
    ]
    for remark, (call, out) in zip(remarks, example_steps):
        text += f"\n{remark}\n\n" + indented(f"$ mdc-bench {call}\n{out}")
    text += """
Whatever a command of yours needs is done now; what is still open is needed by the commands that the last table of
`init` names, and by no other. `mdc-bench check --probe` reads everything that is configured and tells what looks wrong.

## The bench

"""
    text += key_table(bench_schema, bench_schema)
    text += "\nEach of the objects:\n\n"
    text += key_table(bench_schema["properties"]["objects"]["items"], bench_schema)
    text += """
Kinds: `{5b1e07c4-3d9a-4f62-a8b7-91c2e4d0f3a6}` is an MDC device, `{c7a3f1de-52b8-4a0e-9c64-1f0d8e2b7a95}` a Modbus
driver. Two objects of one driver share its connection.

## A Modbus driver's configuration

"""
    text += key_table(driver, driver)
    text += """
## A device's configuration

Its own "configuration" and the files that it names have the same keys; a channel or parameter that is given twice is
an error that names both places.

"""
    text += key_table(schema, schema)
    text += """
### Channels

A channel is one register or one block of them, an object with "id", "name" and "value", and its "value" is a list of
entries: `{ "id": "register", "value": 6001 }`.

"""
    text += key_table(schema["properties"]["channels"]["items"], schema, skip=("value",))
    text += "\nEntries that commands read:\n\n"
    rows = []
    for name in ("register", "size", "readRegisterType", "writeRegisterType"):
        node = entries[name]
        rows.append((f"`{name}`", node["title"], node["description"], example(node), code(needs.entries[name]),
                     CONSEQUENCES[name]))
    for name, (what, who, missing) in OTHER_READERS.items():
        rows.append((f"`{name}`", what, "a text", "–", who, missing))
    text += table(("entry", "what it is", "allowed", "example", "read by", "without it"), rows)
    text += """
Entries that describe the value for people; no command reads them, and without them a value is shown as it is:

"""
    text += table(("entry", "what it is", "allowed", "example"),
                  [(f"`{name}`", entries[name]["title"], entries[name]["description"], example(entries[name]))
                   for name in DESCRIPTION_ENTRIES])
    text += """
The channels by their names. From generation 2 on `V` and the generation stand behind the name (`lockChangeV2`), unless
there is one for all generations. "size" means something else at each of the three channels that have one: at
`eventData` the registers of the block, at `currentPreset` the registers of one stored program, at `presets` how many
programs there are.

"""
    text += table(("channel", "what it is", "values", "of a generation", "entries", "read by", "without it"),
                  channel_rows(needs, commands))
    text += """
Any other name is one of your own: `run getRegister channel=NAME` reads it, without the suffix of the generation.

### Parameters

"""
    patterns = schema["properties"]["parameters"]["patternProperties"]
    lists = code(needs.lists)
    readers = code(dict.fromkeys(one for users in needs.lists.values() for one in users))
    ranges = code(dict.fromkeys(one for users in needs.parameters.values() for one in users))
    rows = []
    for pattern, node in patterns.items():
        is_range = pattern.startswith("_config")
        names = "`MDgen2_config`, `MDgen1V1_config`, `MDC-26_config` …" if is_range else lists
        if not is_range and "V[0-9]" in pattern:
            names = ", ".join(f"`{name}V2`" for name in needs.lists)
        rows.append((names, node["title"], node["description"], ranges if is_range else readers,
                     "no backup and no restore" if is_range else "`check` says so, `run` refuses the command (3)"))
    text += table(("parameter", "what it is", "allowed", "read by", "without it"), rows)
    descriptor = patterns["^(event|preset)DataKeysV[0-9]{1,5}$"]["items"]
    text += "\nOne value of a list from generation 2 on:\n\n"
    text += key_table(descriptor, schema)
    text += "\nThe text of a backup is told in full in [backup.md](backup.md).\n"
    return text


def main(arguments):
    if len(arguments) != 3 or arguments[0] not in ("--write", "--check"):
        print(__doc__, file=sys.stderr)
        return 2
    made = page(*(os.path.abspath(program) for program in arguments[1:]))
    if arguments[0] == "--write":
        with open(PAGE, "w", encoding="utf-8") as text:
            text.write(made)
        return 0
    with open(PAGE, encoding="utf-8") as text:
        if text.read() == made:
            return 0
    print("docs/configuration.md is stale: scripts/made_files.sh")
    return 1


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
