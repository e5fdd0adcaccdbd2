#!/usr/bin/env bash
# Installs what is missing, checks formatting and code, builds with warnings as errors, runs the main job on
# the release, the fuzz targets for a moment and all tests under AddressSanitizer and
# UndefinedBehaviorSanitizer.
#
# What mostly waits goes on beside the rest; its words come when it is waited for.
set -euo pipefail
cd "$(dirname "$0")/.."

step() { printf '\n=== %s (%s)\n' "$*" "$(date +%H:%M:%S)"; }

# Each in its build folder; what did not get so far has none.
reports=(build/release/built.xml build/release/tests.xml build/asan/tests.xml)
rm -f "${reports[@]}"

# beside NAME COMMAND…: goes on beside what follows, with its words in build/NAME.log.
declare -A job_of
beside() {
  local name=$1
  shift
  mkdir -p build
  set -m # a group of its own, which can be ended as a whole
  (
    begin=$SECONDS status=0
    "$@" || status=$?
    echo "$name: took $((SECONDS - begin)) s"
    exit "$status"
  ) >"build/$name.log" 2>&1 </dev/null &
  set +m
  job_of[$name]=$!
}

# wait_for NAME: its words, once it has ended. Ends where it has failed.
failed=
wait_for() {
  local status=0
  wait "${job_of[$1]}" || status=$?
  unset "job_of[$1]"
  cat "build/$1.log"
  [ "$status" -eq 0 ] || { failed=$1; exit "$status"; }
}

# What goes on beside the rest ends with it. Of a long log the middle may be cut: what failed is told at its end.
ended() {
  local status=$? job
  for job in "${job_of[@]}"; do
    kill -- "-$job" 2>/dev/null || true
  done
  [ "$status" -ne 0 ] || return 0
  python3 scripts/failed_tests.py "${reports[@]}"
  echo "test: failed${failed:+ ($failed)} ($(date +%H:%M:%S))"
}
trap ended EXIT

# A test may count on answers within a second: what is built beside one gives way to it, and beside those under the
# sanitizers nothing is built. One that waits for the disk waits for whoever has begun to write to it, and the less
# of a processor that one is given the longer.
give_way=(nice -n 10)

step "packages"
scripts/setup.sh

step "formatting"
scripts/format.sh --check

step "build of the release, warnings as errors"
cmake --preset release >/dev/null
cmake --build --preset release --target mdc_shipped order_counts tst_device_commands tst_panel_page

# How it is built, installed and built against, and what an order costs; the main job, every command, all of them
# recorded and replayed, and eight hours of the page.
of_the_release() {
  ctest --preset release --output-junit built.xml -R '^(built_files|installed_tree|exported_functions|order_counts)' &&
    build/release/bin/mdc-bench demo &&
    ctest --preset release --output-junit tests.xml -R '^(tst_device_commands|tst_panel_page)'
}
beside release of_the_release

# What a host loads or is built against, without compiled headers, so that a missing include is found. A file
# takes some seconds: scripts/tidy.sh without files takes the applications, tests and benchmarks too, and three
# times as long.
mapfile -t sources < <(git ls-files 'framework/*.cpp' 'plugins/*.cpp' | grep -v /tests/)
beside tidy "${give_way[@]}" scripts/tidy.sh build/release "${sources[@]}"

step "build with sanitizers; beside it tests of the release, and clang-tidy"
cmake --preset asan >/dev/null
"${give_way[@]}" cmake --build --preset asan

step "build of what is fuzzed"
"${give_way[@]}" scripts/fuzz.sh --build

step "tests of the release, which began before"
wait_for release

step "clang-tidy, which began before"
wait_for tidy

step "tests under AddressSanitizer and UndefinedBehaviorSanitizer"
ctest --preset asan --output-junit tests.xml

# Long runs are for whoever changes what is fuzzed: scripts/fuzz.sh 600.
step "fuzzing"
scripts/fuzz.sh 3

step "done"
