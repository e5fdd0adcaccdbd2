#!/usr/bin/env bash
# Draws the pictures of the documentation from the real page on a simulated controller.
# Usage: scripts/screenshots.sh [BUILD_FOLDER]   (build/release unless given; it must have been built)
set -euo pipefail
cd "$(dirname "$0")/.."

bench=${1:-build/release}/bin/mdc-bench
images=docs/images
[ -x "$bench" ] || { echo "screenshots: there is no $bench; build first" >&2; exit 1; }
mkdir -p "$images"

draw() { # NAME OPTION…
  local name=$1
  shift
  "$bench" --quiet panel --screenshot "$images/panel-$name.png" "$@"
  echo "screenshots: $images/panel-$name.png"
}

# The controller goes down instead of answering: nobody knows whether the lock was done.
lost=(--fault restart=60000/0x06 --press idButtonLock)

for language in en fr; do
  for size in 600x800 1280x800; do
    look=(--language "$language" --size "$size")
    draw "connected-$language-$size" "${look[@]}" --press idButtonLoosening
    draw "failed-$language-$size" "${look[@]}" --fault exception=2/0x06 --press idButtonLock
    draw "disconnected-$language-$size" "${look[@]}" "${lost[@]}" --press idFailure.idButton
  done
done
draw uncertain-dark-en-600x800 --language en --dark "${lost[@]}"
