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
# What is for Windows needs the headers of Windows.
mapfile -t files < <(printf '%s\n' "${files[@]}" | grep -v '_windows\.cpp$')
exec python3 scripts/tidy_batches.py "$build" "${files[@]}"
