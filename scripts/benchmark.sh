#!/usr/bin/env bash
# Builds the release, runs the benchmarks one after the other and writes docs/performance.md, its graph and the counts
# that scripts/test.sh compares with. On a machine that does nothing else: what else runs shows in the worst
# ratios. Takes about ten minutes. --quick takes one, for whoever changes a benchmark: its figures mean nothing, and
# go to the folder "performance" of the build.
#
#   scripts/benchmark.sh [--quick] [BUILD_FOLDER]
set -euo pipefail
cd "$(dirname "$0")/.."

quick=
if [ "${1:-}" = --quick ]; then
  quick=yes
  shift
fi
build=${1:-build/release}
[ $# -gt 0 ] || cmake --preset release >/dev/null
cmake --build "$build" --target costless_peer order_counts order_benchmark backup_benchmark rtu_backup_benchmark \
  listening_benchmark scale_benchmark decode_benchmark footprint_benchmark loading_benchmark panel_benchmark
bin=$build/bin

order=() backup=() rtu=() listening=(--seconds 2 --periods 50) scale=() footprint=() panel=()
page=docs/performance.md
if [ "$quick" ]; then
  order=(--orders 200 --rounds 1)
  backup=(--rounds 1 --writes 50)
  rtu=(--rounds 1 --registers 300)
  listening=(--seconds 1 --rounds 1 --periods 10)
  scale=(--seconds 1 --rounds 1)
  footprint=(--rounds 1)
  panel=(--seconds 1 --rounds 1)
  page=$build/performance/performance.md
fi
image=images/performance-scale.svg
raw=$(mktemp)
raw_glib=$(mktemp)
trap 'rm -f "$raw" "$raw_glib"' EXIT

failed=
run() {
  echo "benchmark: $*" >&2
  local program=$1
  shift
  "$bin/$program" "$@" | tee >(cat >&2) >>"$raw" || failed=yes
}
table() {
  echo "| measure | who answers | here | baseline | ratio, median | ratio, worst | wanted |"
  echo "|---|---|---|---|---|---|---|"
  sed -n 's/| 0\.00 |$/| – |/; /^|/p' "$1"
}

# A count that has risen is somebody's to look at before it is written down. 77: those of another Qt.
echo "benchmark: order_counts" >&2
code=0
scripts/order_counts.py "$bin/order_counts" >&2 || code=$?
[ "$quick" ] || [ $code -eq 0 ] || [ $code -eq 77 ] || exit $code
if [ ! "$quick" ] && [ $code -eq 0 ]; then
  scripts/order_counts.py --write "$bin/order_counts" >&2
fi

load_before=$(cut -d' ' -f1 /proc/loadavg)
run order_benchmark "${order[@]}"
run backup_benchmark "${backup[@]}"
run rtu_backup_benchmark "${rtu[@]}"
run listening_benchmark "${listening[@]}"
for devices in 1 10 100 1000; do
  run scale_benchmark --devices $devices "${scale[@]}"
done
run decode_benchmark
run footprint_benchmark "${footprint[@]}"
run loading_benchmark
run panel_benchmark --devices 50 "${panel[@]}"
echo "benchmark: order_benchmark with GLib's dispatcher" >&2
QT_NO_GLIB='' "$bin/order_benchmark" "${order[@]}" | tee >(cat >&2) >"$raw_glib" || failed=yes
load_after=$(cut -d' ' -f1 /proc/loadavg)

# Figures of which some are missing, or of a machine that was too slow, are nobody's to publish.
if [ "$failed" ]; then
  echo "benchmark: a measurement has failed, see above" >&2
  page=$build/performance/performance.md
fi
folder=$(dirname "$page")
mkdir -p "$folder/images"

{
  cat <<TEXT
# Performance

Written by \`scripts/benchmark.sh\`; run it again to see your machine's figures.

- Processor: $(sed -n 's/^model name[^:]*: //p' /proc/cpuinfo | head -1), $(nproc) processors; load before and after: $load_before, $load_after
- $(sed -n 's/^PRETTY_NAME="\(.*\)"/\1/p' /etc/os-release), kernel $(uname -r), Qt $(qmake -qt=5 -query QT_VERSION 2>/dev/null || echo 5), $(c++ --version | head -1)
- Release build. This program and who answers are bound to a processor each; the measurements of a round follow
  one another, so that a ratio compares what happened within the same second or so.

"Baseline" is what somebody gets who uses the library alone, in the same run. End to end means: order, device
plug-in, driver plug-in, Modbus TCP on the loopback interface, who answers, and back. Over RTU the
baseline is what nobody can be faster than: the frames' characters of 11 bits at this baud rate, and before
each frame the silence of 3.5 characters, 1.75 ms above 19200 baud. The simulated controller keeps to it.

Who answers is the simulated controller or a peer that costs nothing (\`costless_peer\`): a program of system calls
alone, which copies registers out of memory. The simulator's own time is on both sides of a ratio and draws it
towards one; with the costless peer what is left is this side's and the machine's. **The goal is "wanted" with
whichever of the two is harder to meet, which is mostly the costless peer.**

TEXT
  table "$raw"
  cat <<TEXT

What holds the figures that are above what was wanted, and what was tried: [performance_notes.md](performance_notes.md).

## The floor

What one register costs, from a socket with the system calls alone to an order, which goes through all of it. Of the
same run as the table above; the system calls are counted apart.

TEXT
  sed -n '/^floor|/p' "$raw" | scripts/order_counts.py --floor
  cat <<TEXT

## By the number of devices

All in one process, which listens to 60 registers of each ten times a second, with the costless peer. "An update" is the
processor time of one, "late" by how much more than a period it came after the one before.

![Share of a processor and memory against the number of devices]($image)

TEXT
  sed -n '/^scale|/p' "$raw" | scripts/scale_graph.py "$folder/$image"
  sed -n 's/^left out| */\nLeft out: /p' "$raw"
  cat <<TEXT

Where this is no straight line, and why: [performance_notes.md](performance_notes.md#by-the-number-of-devices).

## What does not depend on the machine

Counts, which \`scripts/test.sh\` holds against those of \`benchmarks/order_counts.json\`: one after the other a
socket with the system calls alone, libmodbus, Qt's client, the driver alone by an order, and what is built on it.

TEXT
  scripts/order_counts.py --table
  cat <<TEXT

## With GLib's dispatcher

What a host measures that does not ask for Qt's own (\`preferQtEventDispatcher()\`); on Linux only, elsewhere there
is none.

TEXT
  table "$raw_glib"
} >"$page"
echo "benchmark: $page is written" >&2
[ "$quick" ] || [ ! "$failed" ]
