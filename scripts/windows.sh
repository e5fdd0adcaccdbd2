#!/usr/bin/env bash
# Builds for Windows on a Debian 12 machine, runs the tests under Wine and packs what is delivered: installs the
# packages that are missing, and takes or makes a Qt for Windows.
#
#   scripts/windows.sh [--build-only]
#
# MDC_WINDOWS_QT       a Qt 5.15 for 64-bit Windows, built with Debian's MinGW-w64: its folder, or an archive that
#                      holds it. Without it one is made from Debian's sources, once, which takes 35 minutes.
# MDC_WINDOWS_WORK     where that, or what is unpacked, is kept (mdc-windows in the user's folder for caches)
#
# The result is build/windows-cross/PDeviceMdc-<version>-windows.zip and, beside it, an installer.
set -euo pipefail
cd "$(dirname "$0")/.."

root=$PWD
build=$root/build/windows-cross
work=${MDC_WINDOWS_WORK:-${XDG_CACHE_HOME:-$HOME/.cache}/mdc-windows}
begin=$SECONDS
most_run_twice=3
build_only=
case "${1:-}" in
  "") ;;
  --build-only) build_only=yes ;;
  *)
    sed -n '2,12s/^# \{0,1\}//p' "$0" >&2
    exit 2
    ;;
esac

step() { printf '\n=== %s (%s)\n' "$*" "$(date +%H:%M:%S)"; }
fail() {
  echo "windows: $*" >&2
  exit 1
}

packages=(
  g++-mingw-w64-x86-64-posix libz-mingw-w64-dev  # compiler, and the library that Qt compresses with
  wine64 xvfb bsdutils                           # to run what is built; bsdutils has "script", a console to be at
  nsis zip unzip xz-utils                        # to pack
  dpkg-dev                                       # sources of Debian's
)

install_packages() {
  local missing=() package as_root=()
  for package in "${packages[@]}"; do
    [ "$(dpkg-query -W -f='${db:Status-Status}' "$package" 2>/dev/null)" = installed ] || missing+=("$package")
  done
  if [ ${#missing[@]} -eq 0 ]; then
    echo "windows: all ${#packages[@]} packages are installed"
    return
  fi
  if [ "$(id -u)" -ne 0 ]; then
    command -v sudo >/dev/null ||
      fail "not root and no sudo; install as root: apt-get install --no-install-recommends ${missing[*]}"
    as_root=(sudo)
  fi
  echo "windows: installing ${missing[*]}"
  "${as_root[@]}" apt-get update -qq
  "${as_root[@]}" env DEBIAN_FRONTEND=noninteractive \
    apt-get install -y -qq --no-install-recommends "${missing[@]}" >/dev/null
}

# Names the folder of Qt in `qt`.
find_qt() {
  local given=${MDC_WINDOWS_QT:-} into
  if [ -z "$given" ]; then
    scripts/windows/make_qt.sh "$work"
    qt=$work/qt
  elif [ -d "$given" ]; then
    qt=$(cd "$given" && pwd)
  elif [ -f "$given" ]; then
    # A name for what is in it: another archive is unpacked beside it.
    into=$work/archive-$(sha256sum "$given" | cut -c 1-12)
    if [ ! -e "$into/done" ]; then
      rm -rf "$into"
      mkdir -p "$into"
      tar -xf "$given" -C "$into"
      touch "$into/done"
    fi
    qt=$(dirname "$(find "$into" -maxdepth 3 -path '*/lib/cmake' -type d | head -n 1)")
    qt=${qt%/lib}
  else
    fail "MDC_WINDOWS_QT names \"$given\", which is neither a folder nor an archive"
  fi
  [ -e "$qt/lib/cmake/Qt5/Qt5Config.cmake" ] || fail "$qt holds no Qt 5 (lib/cmake/Qt5)"
  echo "windows: Qt is $qt"
}

step "packages"
scripts/setup.sh
install_packages

step "Qt for Windows"
find_qt

step "build for Windows, warnings as errors"
export MDC_WINDOWS_QT=$qt # which may have been an archive
cmake --preset windows-cross -D MDC_WINDOWS_QT="$qt" >/dev/null
cmake --build --preset windows-cross
python3 scripts/windows/check_hardened.py "$build/bin" "$build/plugins"
if [ -n "$build_only" ]; then
  exit 0
fi

step "tests under Wine"
export WINEPREFIX=$build/wine WINEDEBUG=-all WINEDLLOVERRIDES="mscoree,mshtml="
wine=$(command -v wine64 || echo /usr/lib/wine/wine64)
wineserver=$(command -v wineserver64 || echo /usr/lib/wine/wineserver64)
"$wine" wineboot --init
"$wineserver" --kill || true # what it has written is on the disk then
"$wineserver" --wait
mkdir -p "$WINEPREFIX/drive_c/windows/Fonts"
# Wine has no letters of its own; Windows has.
cp -n /usr/share/fonts/truetype/dejavu/*.ttf "$WINEPREFIX/drive_c/windows/Fonts/"
# Every call goes through Wine's server, and on a busy machine both sides wait for a processor at each of them:
# where this user may, they go first. Elsewhere limits in time may be missed, which is told.
server_first=() first=()
if chrt --rr 2 true 2>/dev/null; then
  server_first=(chrt --rr 2) first=(chrt --rr 1)
else
  echo "windows: this user may not let Wine go first (chrt --rr): limits in time may be missed"
fi
"${server_first[@]}" "$wineserver" --persistent
# What Wine itself runs beside a program starts now, and not as a child of a test, which would wait for it.
sleep infinity | "${first[@]}" "$wine" cmd.exe >/dev/null 2>&1 &
keeper=$!
status=0 package_status=0
reports=()
# Ends what is left of this prefix's programs too: one whose parent has gone would run on for ever. What failed is
# told once more as the last of a long log, whose middle may be cut.
ended() {
  # shellcheck disable=SC2046  # each is a word
  kill "$keeper" $(jobs -p) 2>/dev/null || true
  "$wineserver" --kill 2>/dev/null || true
  [ "$status" -eq 0 ] || python3 scripts/failed_tests.py "${reports[0]}" --again "${reports[@]:1}"
  [ "$package_status" -eq 0 ] || echo "FAILED the package under Wine (scripts/windows/try_package.py)"
}
trap ended EXIT
# The words of what has passed too: it is they that tell of the rows that were skipped.
run_tests() {
  "${first[@]}" ctest --preset windows-cross --quiet --test-output-size-passed 10000000 --test-output-size-failed 10000000 "$@"
}
reports=("$build/tests.xml")
rm -f "$build/tests.xml" "$build/tests_again.xml"
if ! run_tests --output-junit tests.xml; then
  # Beside another test one may have had no time: by itself it has. More than a few have another reason.
  if [ "$(wc -l <"$build/Testing/Temporary/LastTestsFailed.log")" -le "$most_run_twice" ]; then
    run_tests --output-junit tests_again.xml --rerun-failed --parallel 1 || true
    reports+=("$build/tests_again.xml")
  fi
fi
python3 scripts/windows/tell_tests.py "$build/tests_not_here.txt" "${reports[@]}" || status=1

step "package"
version=$(sed -n 's/^project(PDeviceMdc VERSION \([0-9.]*\).*/\1/p' CMakeLists.txt)
name=PDeviceMdc-$version-windows
python3 scripts/windows/pack.py "$build" "$qt" "$build/package/$name"
python3 scripts/windows/check_package.py "$build/package/$name"
python3 scripts/windows/check_hardened.py "$build/package/$name"
rm -f "$build/$name.zip"
(cd "$build/package" && zip -q -r "$build/$name.zip" "$name")
python3 scripts/windows/installed_files.py "$build/package/$name" >"$build/installed_files.nsh"
makensis -V2 -DVERSION="$version" -DSOURCE="$build/package/$name" -DFILES="$build/installed_files.nsh" -DOUTPUT="$build/$name-setup.exe" \
  scripts/windows/installer.nsi

step "the package under Wine, on a controller simulated on Linux"
cmake --preset release >/dev/null
cmake --build --preset release --target mdc-bench mdc-simulator p_device_mdc p_driver_modbus
"${first[@]}" python3 scripts/windows/try_package.py "$build" "$build/$name.zip" "$build/$name-setup.exe" || package_status=1

step "done"
echo "windows: $build/$name.zip, $((SECONDS - begin)) s"
exit $((status | package_status))
