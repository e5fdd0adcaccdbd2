#!/usr/bin/env bash
# Runs the end-to-end test under valgrind's memcheck on the development build: reads of what was never
# written, uses of what is gone, and memory that nothing points to any more. Ends with 1 on a find.
# Only the rows over TCP, unless others are named: a pseudo-terminal's times are too short for it.
#
#   scripts/valgrind.sh [ROW...]
set -euo pipefail
cd "$(dirname "$0")/.."

if ! command -v valgrind >/dev/null; then
  echo "valgrind: not there; apt-get install --no-install-recommends valgrind" >&2
  exit 1
fi
build=${MDC_BUILD:-build/dev}
if [ "$build" = build/dev ]; then
  cmake --preset dev >/dev/null
  cmake --build --preset dev --target tst_end_to_end
fi
rows=("$@")
if [ ${#rows[@]} -eq 0 ]; then
  rows=("fiveCommands:mdc32-gen2 tcp" "fiveCommands:mdc26-gen1v1 tcp" "refusedWrite:tcp"
    "unansweredWriteIsUncertain:tcp" unansweredReadTimesOut undefinedRegister withoutIdentification
    recoversFromRestart instanceGoesWhileItWorks driverGoesWhileItWorks stopListening twoDevicesOfOneKind)
fi
# Qt's just-in-time compiler for regular expressions tests bytes behind a text on purpose.
QT_QPA_PLATFORM=offscreen QT_ENABLE_REGEXP_JIT=0 valgrind --error-exitcode=1 --leak-check=full \
  --show-leak-kinds=definite --errors-for-leak-kinds=definite --num-callers=30 \
  "$build/tests/tst_end_to_end" -maxwarnings 0 "${rows[@]}"
