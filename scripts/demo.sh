#!/usr/bin/env bash
# Installs what is missing, builds the release and runs the main job on the simulated controller:
# the plug-in identifies it, changes direction and program, resets its alarm and reads its
# registers, over Modbus TCP and again over RTU. Arguments go to "mdc-bench demo".
set -euo pipefail
cd "$(dirname "$0")/.."

scripts/setup.sh
echo "demo: building (the first time takes a few minutes)"
cmake --preset release >/dev/null
cmake --build --preset release --target mdc-bench mdc-simulator p_device_mdc p_driver_modbus
exec build/release/bin/mdc-bench demo "$@"
