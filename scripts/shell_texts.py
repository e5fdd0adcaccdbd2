#!/usr/bin/env python3
"""What shells and manuals know of the programs, made from what the programs say of themselves: completions for
bash, zsh and fish, and manual pages.

    shell_texts.py --write | --check  MDC_BENCH MDC_SIMULATOR

--write puts them into packaging/completions and packaging/man; --check names each file that is not what it would
be written as now, and ends with 1.
"""

import json
import os
import re
import subprocess
import sys

ROOT = os.path.join(os.path.dirname(os.path.abspath(__file__)), "..")
PLACE = os.path.join(ROOT, "packaging")
OPTION = re.compile(r"^  (?:(-\w),)?(--[a-z][a-z-]*)(?: ([^ ].*?))?(?:  +(\S.*))?$")
ROW = re.compile(r"^  ([a-z]+)  +(\S.*)$")


def say(program, *words):
    environment = dict(os.environ, LC_ALL="C.UTF-8", QT_QPA_PLATFORM="offscreen")
    return subprocess.run([program, *words], check=True, capture_output=True, text=True, env=environment).stdout


def sections(text):
    """[(title, lines)], the text before the first title under ""."""
    found = [("", [])]
    for line in text.splitlines():
        match = re.match(r"^([A-Z][\w ]*):$", line)
        if match:
            found.append((match.group(1), []))
        else:
            found[-1][1].append(line)
    return found


class Option:
    def __init__(self, short, name, value, text):
        self.short, self.name, self.text = short, name, text
        # CLI11 adds types and conditions to the programs that do not say otherwise.
        self.value = re.sub(r" Needs:.*|:.*|=.*", "", value or "").split("...")[0]

    def values(self):
        return self.value.split("|") if "|" in self.value else []


def options_of(text):
    found = []
    for title, lines in sections(text):
        for number, line in enumerate(lines):
            match = OPTION.match(line) if title not in ("Examples", "Exit codes", "Subcommands") else None
            if not match:
                continue
            text_of = match.group(4)
            if not text_of and number + 1 < len(lines):
                text_of = lines[number + 1].strip()
            found.append(Option(match.group(1), match.group(2), match.group(3), text_of or ""))
    return found


class Bench:
    def __init__(self, program, simulator):
        self.help = say(program, "--help")
        self.options = options_of(self.help)
        rows = next(lines for title, lines in sections(self.help) if title == "Subcommands")
        self.subcommands = {}
        for line in rows:
            match = ROW.match(line)
            if match:
                self.subcommands[match.group(1)] = match.group(2)
        self.helps = {name: say(program, name, "--help") for name in self.subcommands}
        self.commands = json.loads(say(program, "commands", "--format", "json"))["commands"]
        self.profiles = re.findall(r"^ *([a-z][a-z0-9]*-[a-z0-9-]+)", say(simulator, "--list-profiles"), re.M)
        self.faults = re.findall(r"^ *([a-z][a-z-]*)(?:=\S+)?  +\S", say(simulator, "--list-faults"), re.M)
        self.channels = sorted(self.bundled_channels())

    @staticmethod
    def bundled_channels():
        folder = os.path.join(ROOT, "configurations")
        for name in os.listdir(folder):
            if name.startswith("register_map_"):
                with open(os.path.join(folder, name), encoding="utf-8") as text:
                    for channel in json.load(text)["channels"]:
                        yield channel["id"]


def values_of(parameter):
    if parameter["type"] == "bool":
        return ["true", "false"]
    return [str(value["value"]) for value in parameter.get("values", [])]


# bash and zsh. What depends on --config is read from the file and those that it names, with nothing but what every
# system has: to ask the program would be to connect.
BASH = r"""# Made by scripts/shell_texts.py from what mdc-bench says of itself: do not edit.

# The words as they were typed: bash takes "name=value" apart.
_mdc_bench_words() {
    local i joined=0
    _mdc_words=()
    for ((i = 0; i <= COMP_CWORD; i++)); do
        if [ "${COMP_WORDS[i]}" = "=" ] && ((i > 0)); then
            _mdc_words[${#_mdc_words[@]}-1]+="="
            joined=1
        elif [ $joined = 1 ]; then
            _mdc_words[${#_mdc_words[@]}-1]+="${COMP_WORDS[i]}"
            joined=0
        else
            _mdc_words+=("${COMP_WORDS[i]}")
        fi
    done
}

# No more of a file than a configuration may have, and nothing of a pipe, which would never end.
_mdc_bench_text() {
    [ -f "$1" ] && head -c 4194304 -- "$1" 2>/dev/null
}

# The configuration, and the files beside it that it names.
_mdc_bench_files() {
    local config=$1 folder name
    [ -f "$config" ] || return
    folder=$(dirname -- "$config")
    printf '%s\n' "$config"
    _mdc_bench_text "$config" | sed -n '/"configurationFiles"/,/\]/p' | grep -o '"[^"]*\.json"' | tr -d '"' | while read -r name; do
        [ -f "$folder/$name" ] && printf '%s\n' "$folder/$name"
    done
}

# A configuration may be somebody else's, and the shell runs what a word of its own has in $( ): plain names only.
_mdc_bench_objects() {
    if [ -n "$1" ]; then
        _mdc_bench_text "$1" | sed -n 's/.*"name": *"\([A-Za-z0-9_.:+-]*\)".*/\1/p'
    else
        printf '%s\n' @OBJECTS@
    fi
}

_mdc_bench_channels() {
    if [ -z "$1" ]; then
        printf '%s\n' @CHANNELS@
        return
    fi
    local file
    _mdc_bench_files "$1" | while read -r file; do
        _mdc_bench_text "$file" | grep -o '"id": *"[A-Za-z][A-Za-z0-9_]*"' | sed 's/.*"\([^"]*\)"$/\1/'
    done | grep -vxE 'register|size|readRegisterType|writeRegisterType' | sort -u
}

# Names of files or folders, as they are: what the shell would run of them is quoted by it.
_mdc_bench_paths() {
    local name
    while IFS= read -r name; do
        COMPREPLY+=("$name")
    done < <(compgen "$1" -- "$2")
    type compopt >/dev/null 2>&1 && compopt -o filenames 2>/dev/null
}

_mdc_bench() {
    local cur prev sub="" command="" config="" word i options
    local -a _mdc_words
    _mdc_bench_words
    cur=${_mdc_words[${#_mdc_words[@]}-1]}
    prev=""
    [ ${#_mdc_words[@]} -gt 1 ] && prev=${_mdc_words[${#_mdc_words[@]}-2]}
    for ((i = 1; i < ${#_mdc_words[@]} - 1; i++)); do
        word=${_mdc_words[i]}
        case "$word" in
            --config) config=${_mdc_words[i+1]} ;;
            --config=*) config=${word#--config=} ;;
        esac
        case " @WITH_VALUE@ " in
            *" $word "*) i=$((i + 1)); continue ;;
        esac
        case "$word" in
            -*) ;;
            *) if [ -z "$sub" ]; then sub=$word; elif [ -z "$command" ]; then command=$word; fi ;;
        esac
    done
    config=${config/#\~\//$HOME/}
    COMPREPLY=()
    case "$prev" in
@PREVIOUS@
    esac
    case "$cur" in
        -*)
            case "$sub" in
@OPTIONS@
            esac
            COMPREPLY=($(compgen -W "$options" -- "$cur"))
            return
            ;;
    esac
    case "$sub" in
        "") COMPREPLY=($(compgen -W "@SUBCOMMANDS@" -- "$cur")) ;;
        restore | compare | support) _mdc_bench_paths -f "$cur" ;;
        run)
            if [ -z "$command" ]; then
                COMPREPLY=($(compgen -W "@COMMANDS@" -- "$cur"))
                return
            fi
            local values=""
            case "$command:$cur" in
@VALUES@
                *:channel=*) values=$(_mdc_bench_channels "$config") ;;
                *=*) ;;
                *)
                    case "$command" in
@ARGUMENTS@
                    esac
                    COMPREPLY=($(compgen -W "$values" -- "$cur"))
                    type compopt >/dev/null 2>&1 && compopt -o nospace 2>/dev/null
                    return
                    ;;
            esac
            # bash completes behind the "=", zsh the whole word.
            if [ -n "${ZSH_VERSION:-}" ]; then
                COMPREPLY=($(compgen -P "${cur%%=*}=" -W "$values" -- "${cur#*=}"))
            else
                COMPREPLY=($(compgen -W "$values" -- "${cur#*=}"))
            fi
            ;;
    esac
}

complete -F _mdc_bench mdc-bench
"""


def bash(bench):
    def words(names):
        return " ".join(names)

    with_value = sorted({option.name for text in [bench.help, *bench.helps.values()]
                         for option in options_of(text) if option.value})
    previous = []
    for name in with_value:
        option = next(option for text in [bench.help, *bench.helps.values()]
                      for option in options_of(text) if option.name == name)
        action, reply = None, ""
        if option.values():
            action = 'compgen -W "%s"' % words(option.values())
        elif name == "--object":
            action = 'compgen -W "$(_mdc_bench_objects "$config")"'
        elif name == "--profile":
            action = 'compgen -W "%s"' % words(bench.profiles)
        elif name == "--fault":
            action = 'compgen -W "help %s"' % words(bench.faults)
        elif option.value == "FILE":
            reply = '_mdc_bench_paths -f "$cur"; '
        elif option.value == "DIR":
            reply = '_mdc_bench_paths -d "$cur"; '
        elif name == "--format":
            action = 'compgen -W "table json jsonl csv"'
        if action:
            reply = "COMPREPLY=($(%s -- \"$cur\")); " % action
        previous.append("        %s) %sreturn ;;" % (name, reply))
    options = ['                "") options="%s" ;;' % words(option.name for option in bench.options)]
    for name, text in bench.helps.items():
        options.append('                %s) options="%s" ;;' % (name, words(option.name for option in options_of(text))))
    values, arguments = [], []
    for command in bench.commands:
        for parameter in command["parameters"]:
            if values_of(parameter):
                values.append('                %s:%s=*) values="%s" ;;' %
                              (command["name"], parameter["name"], words(values_of(parameter))))
        if command["parameters"]:
            arguments.append('                        %s) values="%s" ;;' % (
                command["name"], words(parameter["name"] + "=" for parameter in command["parameters"])))
    text = BASH
    for mark, value in (("PREVIOUS", "\n".join(previous)), ("OPTIONS", "\n".join(options)),
                        ("VALUES", "\n".join(values)), ("ARGUMENTS", "\n".join(arguments)),
                        ("WITH_VALUE", words(with_value)), ("SUBCOMMANDS", words(bench.subcommands)),
                        ("COMMANDS", words(command["name"] for command in bench.commands)),
                        ("OBJECTS", "mdc modbus"), ("CHANNELS", words(bench.channels))):
        text = text.replace("@%s@" % mark, value)
    return text


def zsh(bench):
    return ("#compdef mdc-bench\nautoload -U +X bashcompinit && bashcompinit\n" + bash(bench) +
            "\n_bash_complete -o default -F _mdc_bench\n")


def quoted(text):
    return "'" + text.replace("\\", "\\\\").replace("'", "\\'") + "'"


def fish(bench):
    lines = ["# Made by scripts/shell_texts.py from what mdc-bench says of itself: do not edit.", "",
             "complete -c mdc-bench -f",
             "function __mdc_bench_command",
             "    set -l words (commandline -opc)",
             "    contains -- $argv[1] $words",
             "end"]
    subcommands = " ".join(bench.subcommands)
    for name, summary in bench.subcommands.items():
        lines.append("complete -c mdc-bench -n 'not __fish_seen_subcommand_from %s' -a %s -d %s" %
                     (subcommands, name, quoted(summary)))

    def option_line(condition, option):
        line = "complete -c mdc-bench -n %s -l %s -d %s" % (quoted(condition), option.name[2:], quoted(option.text))
        if option.short:
            line += " -s " + option.short[1:]
        if option.value:
            line += " -r -F" if option.value in ("FILE", "DIR") else " -x"
        choices = option.values()
        if option.name == "--profile":
            choices = bench.profiles
        elif option.name == "--fault":
            choices = ["help", *bench.faults]
        if choices:
            line += " -a " + quoted(" ".join(choices))
        return line

    for option in bench.options:
        lines.append(option_line("not __fish_seen_subcommand_from " + subcommands, option))
    for name, text in bench.helps.items():
        for option in options_of(text):
            lines.append(option_line("__fish_seen_subcommand_from " + name, option))
    names = " ".join(command["name"] for command in bench.commands)
    for command in bench.commands:
        lines.append("complete -c mdc-bench -n '__fish_seen_subcommand_from run; and not __fish_seen_subcommand_from "
                     "%s' -a %s -d %s" % (names, command["name"], quoted(command["description"])))
        for parameter in command["parameters"]:
            for value in values_of(parameter) or [""]:
                lines.append("complete -c mdc-bench -n '__fish_seen_subcommand_from run; and __mdc_bench_command %s' "
                             "-a %s -d %s" % (command["name"], quoted("%s=%s" % (parameter["name"], value)),
                                              quoted(parameter.get("meaning") or parameter.get("description") or command["name"])))
    lines.append("complete -c mdc-bench -n '__fish_seen_subcommand_from restore compare support' -F")
    return "\n".join(lines) + "\n"


def roff(text):
    text = text.replace("\\", "\\e").replace("-", "\\-")
    return "\n".join("\\&" + line if line[:1] in (".", "'") else line for line in text.splitlines())


def page(name, summary, text, also):
    """A manual page of a help text: its paragraphs, and its lists as they stand."""
    lines = ['.\\" Made by scripts/shell_texts.py from the help of the program: do not edit.',
             '.TH %s 1 "" "PDeviceMdc" "PDeviceMdc"' % name.upper().replace("-", "\\-"),
             ".SH NAME", "%s \\- %s" % (name.replace("-", "\\-"), roff(summary))]
    for title, body in sections(text):
        paragraphs = "\n".join(body).strip("\n")
        usage = re.search(r"^Usage: (.*)$", paragraphs, re.M)
        if usage:
            lines += [".SH SYNOPSIS", ".nf", roff(usage.group(1)), ".fi"]
            paragraphs = paragraphs.replace(usage.group(0), "").strip("\n")
        if not paragraphs.strip():
            continue
        lines.append(".SH %s" % (title.upper() if title else "DESCRIPTION"))
        for block in re.split(r"\n{2,}", paragraphs):
            rows = block.startswith(" ") or title not in ("",)
            lines += [".PP"] + ([".nf"] if rows else []) + [roff(block)] + ([".fi"] if rows else [])
    lines += [".SH SEE ALSO", ",\n".join(".BR %s (1)" % other.replace("-", "\\-") if index == len(also) - 1
                                          else ".BR %s (1)" % other.replace("-", "\\-")
                                          for index, other in enumerate(also)).replace(",\n", " ,\n")]
    return "\n".join(lines) + "\n"


def texts(program, simulator):
    bench = Bench(program, simulator)
    pages = ["mdc-bench", *("mdc-bench-" + name for name in bench.subcommands), "mdc-simulator"]
    made = {"completions/mdc-bench.bash": bash(bench), "completions/_mdc-bench": zsh(bench),
            "completions/mdc-bench.fish": fish(bench),
            "man/mdc-bench.1": page("mdc-bench", "run commands of device plug-ins at a test bench", bench.help,
                                    pages[1:]),
            "man/mdc-simulator.1": page("mdc-simulator", "a simulated MDC controller", say(simulator, "--help"),
                                        ["mdc-bench"])}
    for name, text in bench.helps.items():
        summary = bench.subcommands[name]
        made["man/mdc-bench-%s.1" % name] = page("mdc-bench-" + name, summary[0].lower() + summary[1:], text,
                                                 ["mdc-bench"])
    return made


def main():
    if len(sys.argv) != 4 or sys.argv[1] not in ("--write", "--check"):
        sys.exit(__doc__)
    stale = []
    for name, text in texts(sys.argv[2], sys.argv[3]).items():
        path = os.path.join(PLACE, name)
        if sys.argv[1] == "--write":
            os.makedirs(os.path.dirname(path), exist_ok=True)
            with open(path, "w", encoding="utf-8") as file:
                file.write(text)
            continue
        there = ""
        if os.path.exists(path):
            with open(path, encoding="utf-8") as file:
                there = file.read()
        if there != text:
            stale.append("packaging/" + name)
    if stale:
        sys.exit("not what the programs say of themselves, scripts/made_files.sh makes them: " +
                 ", ".join(stale))


if __name__ == "__main__":
    main()
