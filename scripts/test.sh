#!/usr/bin/env bash
# Installs what is missing, checks formatting and code, builds with warnings as errors and runs all
# tests: the release, as the demo runs it, then under AddressSanitizer and UndefinedBehaviorSanitizer.
# At last the fuzzers look for something new for some seconds each.
set -euo pipefail
cd "$(dirname "$0")/.."

step() { printf '\n=== %s (%s)\n' "$*" "$(date +%H:%M:%S)"; }

step "packages"
scripts/setup.sh

step "formatting"
git ls-files '*.h' '*.cpp' | xargs clang-format --dry-run -Werror
echo "formatted: $(git ls-files '*.h' '*.cpp' | wc -l) files"

step "build of the release, warnings as errors"
cmake --preset release >/dev/null
cmake --build --preset release

# What is shipped; scripts/tidy.sh without files takes the tests too, which doubles its time.
step "clang-tidy"
mapfile -t shipped < <(git ls-files '*.cpp' | grep -vE '(^|/)tests/|^(benchmarks|fuzz)/')
scripts/tidy.sh build/release "${shipped[@]}"

step "tests of the release"
ctest --preset release

step "build with sanitizers"
cmake --preset asan >/dev/null
cmake --build --preset asan

step "tests under AddressSanitizer and UndefinedBehaviorSanitizer"
ctest --preset asan

step "fuzzing, some seconds each"
scripts/fuzz.sh 5
