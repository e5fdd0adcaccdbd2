#!/usr/bin/env bash
# Lets four simulated controllers, an operator, listeners, a maintenance page, backups, restores and faults
# run against one another until so many requests have been answered or lost; prints what was done, the
# faults survived, the slope of memory and the open descriptors. Ends with 1 when something did not hold.
#
#   scripts/soak.sh [TRANSACTIONS (1000000) [SEED (1)]]
set -euo pipefail
cd "$(dirname "$0")/.."

cmake --preset release >/dev/null
cmake --build --preset release --target soak
exec build/release/bin/soak "$@"
