#!/usr/bin/env bash
# Makes a Qt 5.15 for 64-bit Windows from Debian's sources, with Debian's MinGW-w64.
#
#   scripts/windows/make_qt.sh FOLDER
#
# The Qt is FOLDER/qt; sources and build trees are beside it (3 GB, may go afterwards). It takes 35 minutes on two
# cores; what is done already is left alone when it is run again. MDC_QT_SOURCES may name a folder with tarballs
# of Qt's modules (qtserialport-5.15.8.tar.xz, …) for those of which the mirror has no source package.
set -euo pipefail

work=$(mkdir -p "${1:?usage: scripts/windows/make_qt.sh FOLDER}" && cd "$1" && pwd)
prefix=$work/qt
host=$prefix/host
unfinished_s=60
MAKEFLAGS=-j$(nproc) # qmake itself is built by one process without it
export MAKEFLAGS

reporter=
trap '[ -z "$reporter" ] || kill "$reporter"' EXIT

step() { printf 'qt: %s (%s)\n' "$*" "$(date +%H:%M:%S)"; }

# Ends when it is told to, and leaves nothing behind that holds the output open.
report_progress() {
  local nap=
  trap '[ -z "$nap" ] || kill "$nap"; exit' TERM
  while true; do
    # It goes on where the end comes before its number is known: it must not hold the output open meanwhile.
    sleep 60 >/dev/null &
    nap=$!
    wait "$nap"
    step "$1: $(find "$work/build/$1" -name '*.o' 2>/dev/null | wc -l) files compiled"
  done
}

# once NAME FUNCTION: runs it unless it was done before; what it says goes to a file.
once() {
  if [ -e "$work/done/$1" ]; then
    step "$1: done before"
    return
  fi
  step "$1"
  mkdir -p "$work/done" "$work/log"
  report_progress "$1" 2>/dev/null &
  reporter=$!
  # Not as a condition: a step would go on after what failed in it.
  local status=0
  set +e
  (
    set -e
    "$2" "$1"
  ) >"$work/log/$1.log" 2>&1
  status=$?
  set -e
  kill "$reporter"
  reporter=
  if [ "$status" -ne 0 ]; then
    tail -n 20 "$work/log/$1.log" >&2
    echo "qt: $1 failed, see $work/log/$1.log; run this again to go on from there" >&2
    exit 1
  fi
  touch "$work/done/$1"
}

# The machine's own list of packages, for sources: another file than the system's, which stays as it is.
source_list() {
  mkdir -p "$work/apt/lists/partial" "$work/source"
  local list=$work/apt/sources.list
  : >"$list"
  local file
  for file in /etc/apt/sources.list /etc/apt/sources.list.d/debian.sources; do
    [ -e "$file" ] || continue
    awk '/^deb / { $1 = "deb-src"; print }
         /^URIs:/ { uri = $2 } /^Suites:/ { suites = $0; sub(/^Suites: */, "", suites) }
         /^Signed-By:/ { key = $2 }
         /^Components:/ { components = $0; sub(/^Components: */, "", components) }
         function entry(   n, parts, i) {
           n = split(suites, parts, " ")
           for (i = 1; i <= n; i++)
             print "deb-src " (key != "" ? "[signed-by=" key "] " : "") uri " " parts[i] " " components
           uri = ""; key = ""
         }
         /^$/ && uri != "" { entry() } END { if (uri != "") entry() }' "$file" >>"$list"
  done
  from_apt apt-get update
}

from_apt() {
  "$1" -o "Dir::Etc::sourcelist=$work/apt/sources.list" -o Dir::Etc::sourceparts=- \
    -o "Dir::State::lists=$work/apt/lists" -o APT::Sandbox::User=root "${@:2}"
}

# unpack MODULE PACKAGE: from a tarball that was given, else with Debian's patches.
unpack() {
  local module=$1 package=$2 given=
  rm -rf "$work/source/$module" # half unpacked
  if [ -n "${MDC_QT_SOURCES:-}" ]; then
    given=$(find "$MDC_QT_SOURCES" -maxdepth 1 -name "$module-*.tar.*" | head -n 1)
  fi
  if [ -n "$given" ]; then
    mkdir "$work/source/$module"
    tar -xf "$given" -C "$work/source/$module" --strip-components=1
  else
    cd "$work/source"
    from_apt apt-get source --download-only "$package" || {
      echo "no source package $package: name a folder with $module-5.15.8.tar.xz in MDC_QT_SOURCES"
      return 1
    }
    dpkg-source --no-check -x "$package"_*.dsc "$module"
  fi
  # A folder of a release has its forwarding headers; without them qmake makes those of a working copy.
  [ -d "$work/source/$module/include" ] || mkdir -p "$work/source/$module/.git"
}

sources() {
  source_list
  unpack qtbase qtbase-opensource-src
  unpack qtserialport qtserialport-opensource-src
  unpack qtserialbus qtserialbus-opensource-src
  unpack qtdeclarative qtdeclarative-opensource-src
  unpack qtquickcontrols2 qtquickcontrols2-opensource-src
  # Debian leaves out wintab.h, for tablets.
  local platform=$work/source/qtbase/src/plugins/platforms/windows
  sed -i '/^ *# *if/s/QT_CONFIG(tabletevent)/0/' "$platform"/*.cpp
  sed -i 's/qtConfig(tabletevent)/false/' "$platform/windows.pri"
  # The page's own controls, and nothing of Qt's styles.
  sed -i '/SUBDIRS/,$d' "$work/source/qtquickcontrols2/src/imports/imports.pro"
  echo 'SUBDIRS += controls templates' >>"$work/source/qtquickcontrols2/src/imports/imports.pro"
}

# A build that was killed leaves files that are not whole, and make takes them for done: what was written in the last
# minute of it is made again. Fails for a tree that is not older than that: it is worth nothing.
remove_unfinished() {
  local tree=$1 last
  last=$(find "$tree" -type f -printf '%T@\n' | sort -n | tail -n 1)
  last=$((${last%.*} - unfinished_s))
  [ "$(stat -c %Y "$tree/configured")" -lt "$last" ] || return 1
  find "$tree" -type f -newermt "@$last" -print -delete
}

# configured NAME COMMAND…: runs it in the build tree of NAME, unless it ended well there before.
configured() {
  local tree=$work/build/$1
  if [ ! -e "$tree/configured" ] || ! remove_unfinished "$tree"; then
    rm -rf "$tree"
    mkdir -p "$tree"
    cd "$tree"
    "${@:2}"
    touch configured
  fi
  cd "$tree"
}

base() {
  configured qtbase "$work/source/qtbase/configure" -xplatform win32-g++ -device-option CROSS_COMPILE=x86_64-w64-mingw32- \
    -opensource -confirm-license -release -shared \
    -prefix "$prefix" -extprefix "$prefix" -hostprefix "$host" \
    -nomake examples -nomake tests -nomake tools \
    -gui -no-widgets -no-dbus -no-openssl -no-icu -no-opengl -no-feature-vulkan -no-feature-sql \
    -no-feature-concurrent -no-feature-printer -no-feature-pdf -no-direct2d \
    -system-zlib -qt-pcre -qt-freetype -qt-harfbuzz -qt-libpng -no-libjpeg -qt-doubleconversion -pch
  make
  make install
}

# module NAME [ARGUMENT…]
module() {
  configured "$1" "$host/bin/qmake" "$work/source/$1" -- "${@:2}"
  make
  make install
}

declarative() {
  module qtdeclarative -no-feature-d3d12 -no-feature-qml-debug -no-feature-qml-profiler -no-feature-qml-preview \
    -no-feature-quick-particles -no-feature-quick-designer
}

controls() {
  module qtquickcontrols2 -no-feature-quickcontrols2-fusion -no-feature-quickcontrols2-imagine \
    -no-feature-quickcontrols2-material -no-feature-quickcontrols2-universal
}

# What else the build looks for there, and what the programs need at run time.
rest() {
  mkdir -p "$prefix/headers/include" "$prefix/headers/share/cmake" "$prefix/lib/cmake/Qt5LinguistTools"
  cp -r /usr/include/CLI /usr/include/valijson "$prefix/headers/include/"
  local config
  config=$(dpkg -L libcli11-dev | grep '/CLI11Config.cmake$')
  cp -r "$(dirname "$config")" "$prefix/headers/share/cmake/"
  cp -r "$(dpkg -L qttools5-dev | grep '/Qt5LinguistTools$' | head -n 1)/." "$prefix/lib/cmake/Qt5LinguistTools/"
  sed -i -E 's|get_filename_component\(_qt5_linguisttools_install_prefix .*|set(_qt5_linguisttools_install_prefix "/usr")|' \
    "$prefix/lib/cmake/Qt5LinguistTools/Qt5LinguistToolsConfig.cmake"
  local dll
  for dll in libgcc_s_seh-1.dll libstdc++-6.dll libwinpthread-1.dll; do
    cp "$(x86_64-w64-mingw32-g++-posix -print-file-name=$dll)" "$prefix/bin/"
  done
  cp "$(dpkg -L libz-mingw-w64 libz-mingw-w64-dev 2>/dev/null | grep x86_64 | grep '/zlib1.dll$')" "$prefix/bin/"
  # Without it a Qt that was moved finds nothing.
  printf '[Paths]\nPrefix = ..\nHostPrefix = ../host\n' >"$prefix/bin/qt.conf"
}

make_qt() {
  local begin=$SECONDS
  once sources sources
  once qtbase base
  once qtserialport module
  once qtserialbus module
  once qtdeclarative declarative
  once qtquickcontrols2 controls
  once rest rest
  step "made in $(((SECONDS - begin + 59) / 60)) minutes: $prefix"
}

# Its steps are tested one by one.
if [ "${BASH_SOURCE[0]}" = "$0" ]; then
  make_qt
fi
