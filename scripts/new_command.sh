#!/usr/bin/env bash
# Begins a command of the device plug-in: one that writes its parameter "value" to one register, as most do.
#
#   scripts/new_command.sh NAME [CHANNEL]
#
# NAME is the command's, as in setTorqueUnit; CHANNEL the configuration's name of its register without a
# generation's suffix (NAME and "Change" without "set", as in torqueUnitChange). Writes the command, its rows
# for the tests and its needs, makes them known, gives the channel of each generation the sample's next free
# register, and says what is left. The tests fail until that is done.
set -euo pipefail
cd "$(dirname "$0")/.."

usage() {
  sed -n '2,9s/^# \{0,1\}//p' "$0" >&2
  exit 2
}
if [ $# -lt 1 ] || [ $# -gt 2 ]; then usage; fi
name=$1
case "$name" in -h | --help) usage ;; esac
[[ $name =~ ^[a-z][A-Za-z0-9]*$ ]] || { echo "new_command: \"$name\" is no name of a command: letters and digits, a small letter first" >&2; exit 2; }
default=${name#set}
default=${default,}Change
channel=${2:-$default}
[[ $channel =~ ^[a-z][A-Za-z0-9]*$ ]] || { echo "new_command: \"$channel\" is no name of a channel: letters and digits, a small letter first" >&2; exit 2; }

plugin=plugins/p_device_mdc
class=DCmd${name^}
for file in "$plugin/source/d_cmd_$name.h" "$plugin/source/d_cmd_$name.cpp" "tests/commands/${name}_rows.cpp"; do
  [ ! -e "$file" ] || { echo "new_command: $file is there already" >&2; exit 1; }
done

filled() {
  sed -e "s/@NAME@/$name/g; s/@CLASS@/$class/g; s/@HANDLER@/${name^}/g; s/@CHANNEL@/$channel/g" "scripts/templates/$1"
}

# Puts TEXT before the first line that matches END, behind the line that matches BEGIN. The text comes by the
# environment: "-v" would read its backslashes.
insert() { # FILE BEGIN END TEXT
  TEXT=$4 awk -v begin="$2" -v end="$3" '
    !done && seen && $0 ~ end { print ENVIRON["TEXT"]; done = 1 }
    $0 ~ begin { seen = 1 }
    { print }
    END { exit !done }' "$1" >"$1.new" ||
    { rm -f "$1.new"; echo "new_command: $1 has no place for it: a line \"$3\" behind \"$2\"" >&2; exit 1; }
  mv "$1.new" "$1"
}

# Puts the channel behind the last one of a register map that is only written, with the next register.
describe_channel() { # FILE GENERATION
  python3 - "$1" "$2" "$channel" <<'PYTHON'
import glob
import json
import re
import sys

path, generation, channel = sys.argv[1:]
with open(path, encoding="utf-8") as file:
    text = file.read()


def entries_of(map_text):
    return [{entry["id"]: entry["value"] for entry in one["value"]} for one in json.loads(map_text)["channels"]]


entries = entries_of(text)
taken = set()
for other in glob.glob("configurations/register_map_*.json"):
    with open(other, encoding="utf-8") as file:
        for entry in entries_of(file.read()):
            if "register" in entry:
                taken.update(range(entry["register"], entry["register"] + entry.get("size", 1)))
written = [entry["register"] for entry in entries if "writeRegisterType" in entry and "readRegisterType" not in entry]
places = list(re.finditer(r"    \{\n(?:(?!    \}).*\n)*?.*writeRegisterType.*\n      \]\n    \},?\n", text))
if not written or not places:
    sys.exit(f"new_command: {path} has no place for it: a channel with a writeRegisterType")
register = max(written) + 1
while register in taken:
    register += 1
words = re.sub(r"([A-Z])", lambda found: " " + found.group(1).lower(), re.sub(r"Change$", "", channel)).capitalize()
suffix = "" if generation == "1" else "V" + generation
one = ("    {\n"
       f'      "id": "{channel}{suffix}",\n'
       f'      "name": "{words}, to write",\n'
       '      "value": [\n'
       f'        {{ "id": "register", "value": {register} }},\n'
       '        { "id": "writeRegisterType", "value": "singleRegister" }\n'
       "      ]\n"
       "    }")
place = places[-1]
before = text[:place.end()].rstrip("\n")
isLast = not before.endswith(",")
made = before + (",\n" if isLast else "\n") + one + ("\n" if isLast else ",\n") + text[place.end():]
json.loads(made)
with open(path, "w", encoding="utf-8") as file:
    file.write(made)
print(f"{path}: {channel}{suffix} has register {register}")
PYTHON
}

# What may not find its place comes first; the files that are new come last.
insert $plugin/source/p_device_mdc.cpp '#include "d_cmd_' '#include "d_mdc_channel' "#include \"d_cmd_$name.h\""
insert $plugin/source/p_device_mdc.cpp 'declareInstructionCommand' 'sigCommandsInitDone' "    declareInstructionCommand(new $class(this));"
insert $plugin/model/command_needs.cpp '^namespace' '^} // namespace' "$(filled needs.cpp.in)
"
insert $plugin/model/command_needs.cpp 'c_needs\{' '^    \};' "        $name(),"
for map in configurations/register_map_generation*.json; do
  generation=${map##*generation}
  describe_channel "$map" "${generation%.json}"
done
filled d_cmd.h.in >"$plugin/source/d_cmd_$name.h"
filled d_cmd.cpp.in >"$plugin/source/d_cmd_$name.cpp"
filled rows.cpp.in >"tests/commands/${name}_rows.cpp"
clang-format -i "$plugin/source/d_cmd_$name".{h,cpp} "tests/commands/${name}_rows.cpp" \
  $plugin/source/p_device_mdc.cpp $plugin/model/command_needs.cpp

cat <<TEXT
"$name" is begun. The tests fail until this is done, in this order:
  $plugin/source/d_cmd_$name.cpp            replace DESCRIBE; the messages, and what each check answers
  $plugin/model/command_needs.cpp           replace DESCRIBE; range, values and entries, in $name()
  tests/commands/${name}_rows.cpp           the registers, and what is empty
  applications/simulator/channel_meaning.cpp
                                            what a write to it changes
  applications/bench/device_configuration/known_channels.cpp
                                            what shows that it was written, its values, words for it
  CHANGELOG.md
  scripts/made_files.sh                     writes pages, completions and manual pages anew
See them with:
  cmake --preset dev && cmake --build --preset dev --target mdc_device && ctest --preset dev -L device
and then with the tests that CONTRIBUTING.md names.
TEXT
grep -rn DESCRIBE $plugin | sed 's/^/  /'
