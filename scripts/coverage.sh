#!/usr/bin/env bash
# Builds with gcc's coverage, runs the tests and prints how many lines and branches of each part they
# reach. The lines that no test reaches are in build/coverage/coverage.txt, the figures in docs/verification.md.
# Ends with 1 when a part is below 95 % of its lines or a test fails.
#
#   scripts/coverage.sh [CTEST_ARGUMENT...]
set -euo pipefail
cd "$(dirname "$0")/.."

if ! command -v gcovr >/dev/null; then
  echo "coverage: gcovr is missing; apt-get install --no-install-recommends gcovr" >&2
  exit 1
fi
build=build/coverage
cmake --preset coverage >/dev/null
cmake --build --preset coverage
# Counts of an earlier run would be added to those of this one.
find "$build" -name '*.gcda' -delete
# A program that a test kills writes no counts. The rows of the fault table repeat what the other
# tests reach, so that they are left out.
status=0
ctest --preset coverage -LE reliability "$@" || status=1

parts=(
  "device plug-in|plugins/p_device_mdc/source/"
  "driver plug-in|plugins/p_driver_modbus/source/"
  "contract|framework/lib_plugins_management/"
  "utilities|framework/lib_utilities/"
  "host library|framework/lib_host/"
)
gcovr --root . --object-directory "$build" --json "$build/coverage.json" \
  --filter 'plugins/.*/source/' --filter 'framework/' --exclude '.*/tests/' --exclude '.*/build/.*' \
  --exclude-unreachable-branches --exclude-throw-branches -j "$(nproc)" "$build" \
  >"$build/coverage.txt"

printf '\n| part | lines | reached | branches reached |\n|---|---|---|---|\n'
for part in "${parts[@]}"; do
  name=${part%%|*}
  gcovr --root . --add-tracefile "$build/coverage.json" --filter "${part#*|}" \
    --json-summary "$build/summary.json" >/dev/null
  python3 - "$name" "$build/summary.json" <<'PYTHON' || status=1
import json
import sys

with open(sys.argv[2], encoding="utf-8") as file:
    s = json.load(file)
print(f"| {sys.argv[1]} | {s['line_total']} | {s['line_percent']} % | {s['branch_percent']} % |")
sys.exit(s["line_percent"] < 95)
PYTHON
done
exit "$status"
