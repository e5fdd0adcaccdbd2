#!/usr/bin/env bash
# Runs clang-tidy over our own sources. Usage: scripts/tidy.sh BUILD_FOLDER [FILE…]
# Without files: every source that the build folder compiles from this checkout.
set -euo pipefail
cd "$(dirname "$0")/.."

build=${1:?usage: scripts/tidy.sh BUILD_FOLDER [FILE…]}
shift
if [ $# -eq 0 ]; then
  mapfile -t files < <(git ls-files '*.cpp')
else
  files=("$@")
fi
printf '%s\0' "${files[@]}" |
  xargs -0 -P "$(nproc)" -n 2 clang-tidy --quiet -p "$build" 2>&1 |
  { grep -vE '^[0-9]+ warnings? (generated|treated)|^Suppressed|^Use -header-filter' || true; }
if [ "${PIPESTATUS[1]}" -ne 0 ]; then
  echo "clang-tidy: see above" >&2
  exit 1
fi
echo "clang-tidy: ${#files[@]} files clean"
