#!/usr/bin/env bash
# Installs the Debian 12 packages that building, running and testing need, and nothing else.
# Safe to run again: what is there already is left alone.
set -euo pipefail

packages=(
  # build
  g++ cmake ninja-build
  qtbase5-dev            # Qt Core, Network, Test
  qtdeclarative5-dev qtquickcontrols2-5-dev  # Qt Qml, Quick, Quick Controls
  qml-module-qtquick2 qml-module-qtquick-window2 qml-module-qtquick-controls2
  qml-module-qtquick-templates2 qml-module-qtquick-layouts qml-module-qtquick-shapes
  fonts-dejavu-core      # something to write with on a machine without a desktop
  qttools5-dev qttools5-dev-tools  # translations
  libqt5serialbus5-dev   # the Modbus server of the simulator
  libqt5serialport5-dev  # serial lines
  libcli11-dev           # command lines
  libvalijson-dev        # JSON schema
  libmodbus-dev pkg-config  # what the benchmarks compare with
  # tests
  mbpoll                 # an independent Modbus master
  python3 python3-pymodbus python3-serial python3-serial-asyncio  # independent Modbus peers, and what they import
  qtdeclarative5-dev-tools  # qmllint, qmlcachegen
  strace                 # which files a program opens
  clang-format clang-tidy git  # scripts/test.sh asks git which files are ours
  clang libclang-rt-14-dev lld # the sanitizers, and libFuzzer
)

installed() { [ "$(dpkg-query -W -f='${db:Status-Status}' "$1" 2>/dev/null)" = installed ]; }

missing=()
for package in "${packages[@]}"; do
  installed "$package" || missing+=("$package")
done

if [ ${#missing[@]} -eq 0 ]; then
  echo "setup: all ${#packages[@]} packages are installed"
  exit 0
fi

as_root=()
if [ "$(id -u)" -ne 0 ]; then
  if ! command -v sudo >/dev/null; then
    echo "setup: not root and no sudo; install as root: apt-get install --no-install-recommends ${missing[*]}" >&2
    exit 1
  fi
  as_root=(sudo)
fi

echo "setup: installing ${missing[*]}"
"${as_root[@]}" apt-get update -qq
"${as_root[@]}" env DEBIAN_FRONTEND=noninteractive \
  apt-get install -y -qq --no-install-recommends "${missing[@]}" >/dev/null
for package in "${missing[@]}"; do
  installed "$package" || { echo "setup: $package could not be installed" >&2; exit 1; }
done
echo "setup: done"
