#!/usr/bin/env bash
# Builds the release, runs the benchmarks one after the other and writes docs/performance.md. On a machine
# that does nothing else: what else runs shows in the worst ratios. Takes some minutes.
#
#   scripts/benchmark.sh [BUILD_FOLDER]
set -euo pipefail
cd "$(dirname "$0")/.."

build=${1:-build/release}
[ $# -gt 0 ] || cmake --preset release >/dev/null
cmake --build "$build" --target order_benchmark backup_benchmark rtu_backup_benchmark \
  listening_benchmark decode_benchmark footprint_benchmark loading_benchmark panel_benchmark
bin=$build/bin
out=$(mktemp)
out_glib=$(mktemp)
trap 'rm -f "$out" "$out_glib"' EXIT

run() {
  echo "benchmark: $*" >&2
  local program=$1
  shift
  "$bin/$program" "$@" | tee /dev/stderr | grep '^|' >>"$out"
}
table() {
  echo "| measure | here | baseline | ratio, median | ratio, worst | wanted |"
  echo "|---|---|---|---|---|---|"
  sed 's/| 0\.00 |$/| – |/' "$1"
}
load_before=$(cut -d' ' -f1 /proc/loadavg)
run order_benchmark
run backup_benchmark --writes 1500
run rtu_backup_benchmark
run listening_benchmark --seconds 2 --periods 50
run decode_benchmark
run footprint_benchmark
run loading_benchmark
echo "benchmark: order_benchmark with GLib's dispatcher" >&2
QT_NO_GLIB='' "$bin/order_benchmark" | tee /dev/stderr | grep '^|' >"$out_glib"
load_after=$(cut -d' ' -f1 /proc/loadavg)

{
  cat <<TEXT
# Performance

Written by \`scripts/benchmark.sh\`; run it again to see your machine's figures.

- Processor: $(sed -n 's/^model name[^:]*: //p' /proc/cpuinfo | head -1), $(nproc) processors; load before and after: $load_before, $load_after
- $(sed -n 's/^PRETTY_NAME="\(.*\)"/\1/p' /etc/os-release), kernel $(uname -r), Qt $(qmake -qt=5 -query QT_VERSION 2>/dev/null || echo 5), $(c++ --version | head -1)
- Release build. This program and the simulated controller are bound to a processor each; the measurements of
  a round follow one another, so that a ratio compares what happened within the same second or so.

"Baseline" is what somebody gets who uses the library alone, in the same run. End to end means: order, device
plug-in, driver plug-in, Modbus TCP on the loopback interface, simulated controller, and back. Over RTU the
baseline is what nobody can be faster than: the frames' characters of 11 bits at this baud rate, and before
each frame the silence of 3.5 characters, 1.75 ms above 19200 baud. The simulated controller keeps to it.

TEXT
  table "$out"
  cat <<TEXT

What holds the figures that are above what was wanted, and what was tried: [performance_notes.md](performance_notes.md).

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
  table "$out_glib"
} >docs/performance.md
echo "benchmark: docs/performance.md is written" >&2
