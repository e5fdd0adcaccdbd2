#!/usr/bin/env bash
# Installs the runtime package of FOLDER into a fresh Debian root, runs the demonstration there, over TCP as nobody, builds
# nothing, takes the package away again and looks whether anything is left. Needs root and Debian's archive.
#
#   scripts/package_check.sh FOLDER
set -euo pipefail

folder=${1:?usage: scripts/package_check.sh FOLDER}
root=$(mktemp -d)
trap 'rm -rf "$root"' EXIT

# shellcheck disable=SC2016  # the hooks run in a shell of their own, where $1 is the root
mmdebstrap --mode=root --variant=apt --quiet bookworm "$root/system" \
  --customize-hook='mkdir -p "$1/packages"' \
  --customize-hook="cp $folder/*.deb \"\$1/packages\"" \
  --customize-hook='chroot "$1" sh -c "apt-get install -y -qq --no-install-recommends /packages/pdevicemdc_*.deb >/packages/log 2>&1 || { cat /packages/log; exit 1; }"' \
  --customize-hook='chroot "$1" sh -c "mdc-bench --version && cd /tmp && mdc-bench demo >/packages/log && setpriv --reuid=65534 --regid=65534 --clear-groups env HOME=/tmp mdc-bench demo --tcp"' \
  --customize-hook='chroot "$1" sh -c "apt-get purge -y -qq pdevicemdc >/packages/log 2>&1 && apt-get autoremove --purge -y -qq >/packages/log 2>&1"' \
  --customize-hook='if find "$1/etc" "$1/usr" "$1/var" "$1/opt" \( -iname "*mdc*" -o -iname "*kivora*" \) -not -path "$1/var/cache/*" | grep .; then echo "package_check: this is left behind" >&2; exit 1; fi' \
  --customize-hook='rm -rf "$1/packages"'
echo "package_check: installed, ran the demonstration, left nothing behind"
