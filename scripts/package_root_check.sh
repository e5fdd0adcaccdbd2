#!/usr/bin/env bash
# Looks at the runtime package beside it in a fresh Debian root that may be thrown away: installs it, runs the
# demonstration, judges the units and does what they do, takes the package away and looks whether anything is left.
# scripts/package_check.sh makes the root and runs it there.
set -euo pipefail

place=$(dirname "$(realpath "$0")")
log=$place/log
user=61999 # as DynamicUser=yes has them: one that nothing else belongs to
children=()
trap 'kill "${children[@]}" 2>/dev/null || true' EXIT
cd /tmp

step() { echo "package_check: $*"; }
fail() {
  echo "package_check: $*" >&2
  exit 1
}
quietly() { "$@" >"$log" 2>&1 || { cat "$log" >&2; fail "failed: $*"; }; }

# until_true WHAT COMMAND…: on a busy machine a program may take long to start.
until_true() {
  local what=$1 tries
  shift
  for ((tries = 0; tries < 300; tries++)); do
    "$@" && return
    sleep 0.1
  done
  tail -n 20 /tmp/*.said >&2
  fail "$what: not within 30 s"
}

# start NAME GROUPS COMMAND…: in the background, without rights, as a unit has it; its number is then in `started`.
start() {
  local name=$1 groups=$2
  shift 2
  setpriv --reuid="$user" --regid="$user" "$groups" --no-new-privs --bounding-set=-all --inh-caps=-all \
    env -i PATH=/usr/bin:/bin LANG=C.UTF-8 HOME=/ "$@" >"/tmp/$name.said" 2>"/tmp/$name.errors.said" &
  started=$!
  children+=("$started")
}

# started_by UNIT: its command line, one word on each line.
started_by() { sed -n 's/^ExecStart=//p' "/usr/lib/systemd/system/$1.service" | tr ' ' '\n'; }

# ended_well UNIT NUMBER: asked to end as systemd asks, it ends with 0, else its unit would have failed.
ended_well() {
  local status=0
  kill -TERM "$2"
  wait "$2" || status=$?
  [ "$status" -eq 0 ] || { cat "/tmp/$1".*said >&2; fail "$1 ended with $status when it was asked to end"; }
}

# judged UNIT TENTHS: systemd finds no mistake, and no more of the system in its reach than so many tenths. It was
# measured: without any of the unit's restrictions, but for those that another one implies or that count for nothing, it
# is more.
judged() {
  quietly systemd-analyze verify --man=no "$1.service"
  [ ! -s "$log" ] || { cat "$log" >&2; fail "$1.service: see above"; }
  quietly systemd-analyze security --offline=true --no-pager --threshold="$2" "$1.service"
  step "$1.service: $(sed -n 's/^.*Overall exposure level[^:]*: \([0-9.]*\).*/exposure \1/p' "$log"), allowed are $2 tenths"
}

step "install"
quietly apt-get install -y -qq --no-install-recommends "$place"/pdevicemdc_*.deb
mdc-bench --version

step "the demonstration"
quietly mdc-bench demo
setpriv --reuid=65534 --regid=65534 --clear-groups env HOME=/tmp mdc-bench demo --tcp

step "units"
judged mdc-simulator 34
judged mdc-results 37

configurations=/usr/share/pdevicemdc/configurations
mapfile -t command < <(started_by mdc-simulator)
start mdc-simulator --clear-groups "${command[@]}"
simulator=$started
until_true "${command[*]}" grep -qs '^listening on' /tmp/mdc-simulator.said
HOME=/tmp mdc-bench --config $configurations/bench.json --properties /tmp/properties.json run getInfo
ended_well mdc-simulator "$simulator"
step "mdc-simulator has answered and ended"

start tightenings --clear-groups mdc-simulator --port 1502 --tightening-interval 300
simulator=$started
until_true "mdc-simulator" grep -qs '^listening on' /tmp/tightenings.said
cp -r $configurations /etc/pdevicemdc
install -d -o "$user" -g "$user" -m 0755 /var/lib/mdc-results
mapfile -t command < <(started_by mdc-results)
start mdc-results --groups=dialout "${command[@]}"
results=$started
until_true "${command[*]}" grep -qs torque /var/lib/mdc-results/tightenings.jsonl
ended_well mdc-results "$results"
kill "$simulator"
wait "$simulator"
step "mdc-results has kept $(wc -l </var/lib/mdc-results/tightenings.jsonl) tightenings and ended"
# These belong to whoever has put them there.
rm -r /etc/pdevicemdc /var/lib/mdc-results

step "purge"
quietly apt-get purge -y -qq pdevicemdc
quietly apt-get autoremove --purge -y -qq
left=$(find /etc /usr /var /opt \( -iname '*mdc*' -o -iname '*kivora*' \) -not -path '/var/cache/*')
[ -z "$left" ] || fail "this is left behind:"$'\n'"$left"
step "installed, ran the demonstration and what the units start, left nothing behind"
