#!/usr/bin/env bash
# Runs what has more than one thread under ThreadSanitizer: the host's tests, which call it from threads that
# are not its own, and the row of the fault table that does so through the whole chain. Ends with 1 on a find.
set -euo pipefail
cd "$(dirname "$0")/.."

cmake --preset tsan >/dev/null
cmake --build --preset tsan --target tst_host mdc-reliability
ctest --preset tsan -R '^(tst_host_.*|reliability\.lifetime\.foreign-thread)$' || exit 1
echo "tsan: no finds"
