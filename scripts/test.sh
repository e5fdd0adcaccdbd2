#!/usr/bin/env bash
# Installs what is missing, checks formatting and code, builds with warnings as errors, runs the main job on
# the release, the fuzz targets for a moment and all tests under AddressSanitizer and
# UndefinedBehaviorSanitizer.
set -euo pipefail
cd "$(dirname "$0")/.."

step() { printf '\n=== %s (%s)\n' "$*" "$(date +%H:%M:%S)"; }

step "packages"
scripts/setup.sh

step "formatting"
scripts/format.sh --check

step "build of the release, warnings as errors"
cmake --preset release >/dev/null
cmake --build --preset release --target mdc_shipped order_counts tst_device_commands tst_panel_page

step "how the release is built, installed and built against, and what an order costs"
ctest --preset release -R '^(built_files|installed_tree|exported_functions|order_counts)'

# What a host loads or is built against, without compiled headers, so that a missing include is found. A file
# takes some seconds: scripts/tidy.sh without files takes the applications, tests and benchmarks too, and three
# times as long.
step "clang-tidy"
mapfile -t sources < <(git ls-files 'framework/*.cpp' 'plugins/*.cpp' | grep -v /tests/)
scripts/tidy.sh build/release "${sources[@]}"

step "the main job on the release, every command, all of them recorded and replayed, and eight hours of the page"
build/release/bin/mdc-bench demo
ctest --preset release -R '^(tst_device_commands|tst_panel_page)'

# Side by side: towards its end each of them waits for single files that take long.
step "build with sanitizers, and of what is fuzzed"
cmake --preset asan >/dev/null
scripts/fuzz.sh --build &
fuzz_build=$!
trap 'kill "$fuzz_build" 2>/dev/null || true' EXIT
cmake --build --preset asan
wait "$fuzz_build"
trap - EXIT

# Long runs are for whoever changes what is fuzzed: scripts/fuzz.sh 600.
step "fuzzing"
scripts/fuzz.sh 3

step "tests under AddressSanitizer and UndefinedBehaviorSanitizer"
ctest --preset asan
