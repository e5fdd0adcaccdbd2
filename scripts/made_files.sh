#!/usr/bin/env bash
# Writes anew what is made of the built programs and stands in the repository: docs/commands.md,
# docs/configuration.md, packaging/completions and packaging/man. Builds what that takes first. Nobody edits
# these files; tests fail where they are not what would be written now.
#
#   scripts/made_files.sh [BUILD_FOLDER]     # build/dev, which must have been configured
set -euo pipefail
cd "$(dirname "$0")/.."

build=${1:-build/dev}
[ -e "$build/CMakeCache.txt" ] || { echo "made_files: $build is not configured: cmake --preset dev" >&2; exit 1; }
cmake --build "$build" --target mdc-bench mdc-simulator p_device_mdc p_driver_modbus
bench=$build/bin/mdc-bench
simulator=$build/bin/mdc-simulator

page=$(mktemp)
trap 'rm -f "$page"' EXIT
"$bench" commands --format markdown >"$page"
cat "$page" >docs/commands.md
scripts/configuration_page.py --write "$bench" "$simulator"
scripts/shell_texts.py --write "$bench" "$simulator"
git status --short -- docs/commands.md docs/configuration.md packaging/completions packaging/man
