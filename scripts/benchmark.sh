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
trap 'rm -f "$out"' EXIT

run() {
  echo "benchmark: $*" >&2
  "$bin/$@" | tee /dev/stderr | grep '^|' >>"$out"
}
load_before=$(cut -d' ' -f1 /proc/loadavg)
run order_benchmark
run backup_benchmark --writes 1500
run rtu_backup_benchmark
run listening_benchmark --seconds 2 --periods 50
run decode_benchmark
run footprint_benchmark
run loading_benchmark
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

| measure | here | baseline | ratio, median | ratio, worst | wanted |
|---|---|---|---|---|---|
TEXT
  sed 's/| 0\.00 |$/| – |/' "$out"
  cat docs/performance_notes.md
} >docs/performance.md
echo "benchmark: docs/performance.md is written" >&2
