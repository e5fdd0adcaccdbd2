# Made by scripts/shell_texts.py from what mdc-bench says of itself: do not edit.

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
        printf '%s\n' mdc modbus
    fi
}

_mdc_bench_channels() {
    if [ -z "$1" ]; then
        printf '%s\n' alarm alarmReset alarmV2 currentPreset currentPresetV2 direction directionChange directionChangeV2 directionV2 eventData eventDataV2 lock lockChange lockChangeV2 lockScreen lockScreenGen1V1 lockScreenV2 lockV2 motorRun motorRunV2 presetChange presetChangeV2 presets presetsV2 screenLock screenLockV2 torqueUnit torqueUnitGen1V1 torqueUnitV2
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
        case " --add --baud --config --count --csv --fault --folder --format --from-csv --generation --host --interval --keep --language --name --object --offset --output --parity --plugins --port --presets --press --profile --program-value --properties --record --reference --report --rotate-size --screenshot --seconds --serial --simulate --size --snapshot-folder --timeout --trace --unit " in
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
        --add) _mdc_bench_paths -f "$cur"; return ;;
        --baud) return ;;
        --config) _mdc_bench_paths -f "$cur"; return ;;
        --count) return ;;
        --csv) _mdc_bench_paths -f "$cur"; return ;;
        --fault) COMPREPLY=($(compgen -W "help no-answer lost late twice cut-header cut-middle short exception close reset refuse restart" -- "$cur")); return ;;
        --folder) _mdc_bench_paths -d "$cur"; return ;;
        --format) COMPREPLY=($(compgen -W "table json jsonl csv" -- "$cur")); return ;;
        --from-csv) _mdc_bench_paths -f "$cur"; return ;;
        --generation) COMPREPLY=($(compgen -W "1 2 all" -- "$cur")); return ;;
        --host) return ;;
        --interval) return ;;
        --keep) return ;;
        --language) COMPREPLY=($(compgen -W "en fr" -- "$cur")); return ;;
        --name) return ;;
        --object) COMPREPLY=($(compgen -W "$(_mdc_bench_objects "$config")" -- "$cur")); return ;;
        --offset) COMPREPLY=($(compgen -W "0 -1" -- "$cur")); return ;;
        --output) _mdc_bench_paths -f "$cur"; return ;;
        --parity) COMPREPLY=($(compgen -W "even odd none" -- "$cur")); return ;;
        --plugins) _mdc_bench_paths -d "$cur"; return ;;
        --port) return ;;
        --presets) return ;;
        --press) return ;;
        --profile) COMPREPLY=($(compgen -W "mdc26-gen1v1 mdc26-gen1v2 mdc22-gen1v2 mdc32-gen1v2 mdc32-gen2 mdc22-gen2 mdc26-gen2 bm-gen1v1 bm-firmware2-gen1v1 bm-gen2 unknown-gen1v2 nameless-gen1v2 unreadable-gen1v2" -- "$cur")); return ;;
        --program-value) return ;;
        --properties) _mdc_bench_paths -f "$cur"; return ;;
        --record) _mdc_bench_paths -f "$cur"; return ;;
        --reference) return ;;
        --report) _mdc_bench_paths -f "$cur"; return ;;
        --rotate-size) return ;;
        --screenshot) _mdc_bench_paths -f "$cur"; return ;;
        --seconds) return ;;
        --serial) return ;;
        --simulate) COMPREPLY=($(compgen -W "tcp rtu none" -- "$cur")); return ;;
        --size) return ;;
        --snapshot-folder) _mdc_bench_paths -d "$cur"; return ;;
        --timeout) return ;;
        --trace) _mdc_bench_paths -f "$cur"; return ;;
        --unit) return ;;
    esac
    case "$cur" in
        -*)
            case "$sub" in
                "") options="--help --version --config --plugins --properties --trace --record --simulate --profile --fault --format --language --verbose --quiet" ;;
                demo) options="--help --tcp --rtu --config --plugins --properties --trace --record --simulate --profile --fault --language --verbose --quiet" ;;
                init) options="--help --host --serial --port --baud --parity --unit --offset --reference --generation --from-csv --yes --timeout --config --plugins --properties --trace --record --simulate --profile --fault --format --language --verbose --quiet" ;;
                list) options="--help --timeout --ports --config --plugins --properties --trace --record --simulate --profile --fault --format --language --verbose --quiet" ;;
                commands) options="--help --object --config --plugins --properties --trace --record --simulate --profile --fault --format --language --verbose --quiet" ;;
                run) options="--help --object --timeout --no-identify --described --force --count --seconds --changes --config --plugins --properties --trace --record --simulate --profile --fault --format --language --verbose --quiet" ;;
                watch) options="--help --object --interval --csv --force --count --seconds --config --plugins --properties --trace --record --simulate --profile --fault --format --language --verbose --quiet" ;;
                results) options="--help --object --output --rotate-size --keep --program-value --count --seconds --config --plugins --properties --trace --record --simulate --profile --fault --format --language --verbose --quiet" ;;
                backup) options="--help --object --timeout --name --folder --force --config --plugins --properties --trace --record --simulate --profile --fault --format --language --verbose --quiet" ;;
                restore) options="--help --object --timeout --presets --extras --dry-run --verify --no-snapshot --snapshot-folder --config --plugins --properties --trace --record --simulate --profile --fault --format --language --verbose --quiet" ;;
                compare) options="--help --object --timeout --config --plugins --properties --trace --record --simulate --profile --fault --format --language --verbose --quiet" ;;
                panel) options="--help --object --timeout --screenshot --press --size --dark --config --plugins --properties --trace --record --simulate --profile --fault --format --language --verbose --quiet" ;;
                check) options="--help --object --timeout --probe --seconds --write --yes --report --force --config --plugins --properties --trace --record --simulate --profile --fault --format --language --verbose --quiet" ;;
                support) options="--help --add --probe --with-identity --force --timeout --config --plugins --properties --trace --record --simulate --profile --fault --format --language --verbose --quiet" ;;
            esac
            COMPREPLY=($(compgen -W "$options" -- "$cur"))
            return
            ;;
    esac
    case "$sub" in
        "") COMPREPLY=($(compgen -W "demo init list commands run watch results backup restore compare panel check support" -- "$cur")) ;;
        restore | compare | support) _mdc_bench_paths -f "$cur" ;;
        run)
            if [ -z "$command" ]; then
                COMPREPLY=($(compgen -W "getInfo setDirection setProgram SetTriggerProgram setLock setLockScreen listenEventsData listenMotorRunState getPresetData backup restoreBackup resetAlarm getRegister read write listen deviceInformation" -- "$cur"))
                return
            fi
            local values=""
            case "$command:$cur" in
                setDirection:direction=*) values="0 1" ;;
                SetTriggerProgram:resetMode=*) values="true false" ;;
                setLock:lock=*) values="0 1 2 3" ;;
                setLock:unlockLoosening=*) values="true false" ;;
                restoreBackup:loadControllerParams=*) values="true false" ;;
                *:channel=*) values=$(_mdc_bench_channels "$config") ;;
                *=*) ;;
                *)
                    case "$command" in
                        getInfo) values="reference=" ;;
                        setDirection) values="direction=" ;;
                        setProgram) values="program=" ;;
                        SetTriggerProgram) values="resetMode=" ;;
                        setLock) values="lock= unlockLoosening=" ;;
                        getPresetData) values="preset=" ;;
                        backup) values="backupName= folderPath=" ;;
                        restoreBackup) values="filePath= startPreset= endPreset= loadControllerParams=" ;;
                        getRegister) values="channel=" ;;
                        read) values="register= registerType= dataSize=" ;;
                        write) values="register= registerType= dataSize= data=" ;;
                        listen) values="register= registerType= dataSize= recurrentInterval=" ;;
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
