#!/usr/bin/env bash
# Installs the runtime package of FOLDER into a fresh Debian root and has scripts/package_root_check.sh look at it there.
# Needs root and Debian's archive; ends with 77, and says so, where the archive cannot be reached.
#
#   scripts/package_check.sh FOLDER
set -euo pipefail
cd "$(dirname "$0")/.."

folder=$(realpath "${1:?usage: scripts/package_check.sh FOLDER}")
root=$(mktemp -d)
trap 'rm -rf "$root"' EXIT

# The archive that this machine itself is fed from: another one may be out of reach.
sources=()
for file in /etc/apt/sources.list.d/debian.sources /etc/apt/sources.list; do
  if grep -qsE '^(deb|Types: *deb)' "$file"; then
    sources=("$file")
    break
  fi
done
if ! apt-get update -qq -o APT::Update::Error-Mode=any >"$root/update.log" 2>&1; then
  cat "$root/update.log" >&2
  echo "package_check: SKIPPED: Debian's archive cannot be reached (apt-get update): nothing was installed or tried" >&2
  exit 77
fi

# With systemd for its judgement of the units; it does not run there.
# shellcheck disable=SC2016  # the hooks run in a shell of their own, where $1 is the root
mmdebstrap --mode=root --variant=apt --include=systemd --quiet bookworm "$root/system" "${sources[@]}" \
  --customize-hook='mkdir -p "$1/packages"' \
  --customize-hook="cp $folder/pdevicemdc_*.deb scripts/package_root_check.sh \"\$1/packages\"" \
  --customize-hook='chroot "$1" /packages/package_root_check.sh' \
  --customize-hook='rm -rf "$1/packages"'
