#!/usr/bin/env bash
# Makes the packages of the release into build/packages: two for Debian ("pdevicemdc" to run, "pdevicemdc-dev" to
# build against) and an archive that runs wherever it is unpacked.
#
#   scripts/package.sh [--check]
#
# --check looks at them as a stranger would: lintian, and a fresh root into which the runtime package is
# installed, runs the demonstration and what its units start, and is taken away again. It takes two minutes and
# Debian's archive: where that cannot be reached the root is left out, and the script says so and ends with 77.
set -euo pipefail
cd "$(dirname "$0")/.."

check=
case "${1:-}" in
  "") ;;
  --check) check=1 ;;
  *) sed -n '2,9s/^# \{0,1\}//p' "$0" >&2; exit 2 ;;
esac
export SOURCE_DATE_EPOCH=${SOURCE_DATE_EPOCH:-$(git log -1 --format=%ct)}

step() { printf '\n=== %s (%s)\n' "$*" "$(date +%H:%M:%S)"; }

needed() { # PACKAGE...
  local missing=() package
  for package in "$@"; do
    [ "$(dpkg-query -W -f='${db:Status-Status}' "$package" 2>/dev/null)" = installed ] || missing+=("$package")
  done
  [ ${#missing[@]} -eq 0 ] && return
  local as_root=()
  [ "$(id -u)" -eq 0 ] || as_root=(sudo)
  echo "package: installing ${missing[*]}"
  "${as_root[@]}" apt-get update -qq
  "${as_root[@]}" env DEBIAN_FRONTEND=noninteractive apt-get install -y -qq --no-install-recommends "${missing[@]}" >/dev/null
}

step "packages that this script needs"
scripts/setup.sh
needed dpkg-dev fakeroot

step "build"
cmake --preset release >/dev/null
cmake --build --preset release --target mdc_shipped

step "notices"
version=$(sed -n 's/^CMAKE_PROJECT_VERSION:STATIC=//p' build/release/CMakeCache.txt)
files=(build/release/bin/mdc-bench build/release/bin/mdc-simulator build/release/lib/*.so build/release/plugins/*.so)
scripts/notices.py --markdown "${files[@]}" | diff -u THIRD_PARTY_NOTICES.md - ||
  { echo "package: THIRD_PARTY_NOTICES.md is not what is linked: scripts/notices.py --markdown writes it" >&2; exit 1; }
scripts/notices.py --spdx "$version" "${files[@]}" >build/release/pdevicemdc.spdx.json

step "packages"
rm -rf build/packages
cpack --config build/release/CPackConfig.cmake -G "DEB;TGZ" -B build/packages >build/release/cpack.log ||
  { cat build/release/cpack.log >&2; exit 1; }
rm -rf build/packages/_CPack_Packages
ls -l build/packages

[ -n "$check" ] || exit 0
step "lintian"
needed lintian
lintian --fail-on error --tag-display-limit 0 build/packages/*.deb

step "a fresh root"
needed mmdebstrap
scripts/package_check.sh build/packages
