#!/usr/bin/env bash
# Runs clang-tidy over our own sources. Usage: scripts/tidy.sh BUILD_FOLDER [FILE…]
# Without files: every source of this checkout; the build folder must have been configured.
set -euo pipefail
cd "$(dirname "$0")/.."

build=${1:?usage: scripts/tidy.sh BUILD_FOLDER [FILE…]}
shift
if [ $# -eq 0 ]; then
  mapfile -t files < <(git ls-files '*.cpp')
else
  files=("$@")
fi
# A precompiled header is the compiler's own: clang-tidy reads the sources as they stand.
mkdir -p "$build/tidy"
sed -E 's/ -Winvalid-pch -include [^ ]*cmake_pch\.hxx//g' "$build/compile_commands.json" \
  >"$build/tidy/compile_commands.json"
echo "clang-tidy: checking ${#files[@]} files, which takes some minutes for all"

# One process per file, as many at a time as there are processors; each one's findings stay together.
# shellcheck disable=SC2016  # the inner shell expands its own arguments
check='more=--checks=readability-function-size
case "$1" in */tests/* | tests/* | benchmarks/* | fuzz/*) more= ;; esac  # their tables may be long
out=$(clang-tidy --quiet $more -p "$0" "$1" 2>&1) && exit 0
printf "%s\n" "$out" | grep -vE "^[0-9]+ warnings? (generated|treated)|^Suppressed|^Use -header-filter"
exit 1'
if ! printf '%s\0' "${files[@]}" | xargs -0 -P "$(nproc)" -n 1 bash -c "$check" "$build/tidy"; then
  echo "clang-tidy: see above" >&2
  exit 1
fi
echo "clang-tidy: ${#files[@]} files clean"
