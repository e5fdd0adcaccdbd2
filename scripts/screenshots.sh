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
  "$bench" --quiet panel --screenshot "$images/panel-$name.png" "$@" || return
  echo "screenshots: $images/panel-$name.png"
}

# Of a page that does not get its values, which the bench ends with 5 for.
draw_without() { # NAME OPTION…
  local code=0
  draw "$@" 2>/dev/null || code=$?
  [ $code -eq 0 ] || [ $code -eq 5 ] || { echo "screenshots: $1 could not be drawn" >&2; exit $code; }
  [ $code -eq 0 ] || echo "screenshots: $images/panel-$1.png"
}

# The controller goes down instead of answering: nobody knows whether the lock was done.
lost=(--fault restart=60000/0x06 --press idButtonLock)
refused=(--fault exception=2/0x06 --press idButtonLock)

# Every size and language: what was done, what was refused, and no connection.
for language in en fr; do
  for size in 320x600 600x800 1280x800; do
    look=(--language "$language" --size "$size")
    draw "connected-$language-$size" "${look[@]}" --press idButtonLoosening --press idButtonLock
    draw "failed-$language-$size" "${look[@]}" "${refused[@]}"
    draw "disconnected-$language-$size" "${look[@]}" "${lost[@]}" --press idFailure.idButton
  done
  # The states that look alike in every size.
  draw "field-$language-600x800" --language "$language" --press idButtonApply
  draw "uncertain-dark-$language-600x800" --language "$language" --dark "${lost[@]}"
  draw "connected-dark-$language-600x800" --language "$language" --dark --press idButtonUnlock
  draw_without "unread-$language-600x800" --language "$language" --fault exception=2/0x03
  draw_without "unidentified-$language-600x800" --language "$language" --fault exception=2/0x11
done

# As large on a screen of more pixels; 1.0 is above.
for scale in 1.25 1.5 2.0; do
  for size in 320x600 600x800; do
    QT_SCALE_FACTOR=$scale draw "scale-$scale-fr-$size" --language fr --size "$size" --press idButtonUnlock
  done
done
