#!/usr/bin/env bash
# Formats the C++ sources as .clang-format tells, or says which are not.
#
#   scripts/format.sh            formats them
#   scripts/format.sh --check    changes nothing; 1 when a file is not formatted
set -euo pipefail
cd "$(dirname "$0")/.."

case "${1:-}" in
  "") options=(-i) ;;
  --check) options=(--dry-run -Werror) ;;
  *)
    sed -n '2,5s/^# \{0,1\}//p' "$0" >&2
    exit 2
    ;;
esac
# Files that were added and not yet told to git count as well; those that are deleted do not.
mapfile -t files < <(git ls-files --cached --others --exclude-standard '*.h' '*.cpp' | sort -u |
  while read -r file; do [ ! -e "$file" ] || echo "$file"; done)
[ ${#files[@]} -gt 0 ] || { echo "format: git lists no sources here" >&2; exit 1; }
printf '%s\0' "${files[@]}" | xargs -0 -P "$(nproc)" -n 20 clang-format "${options[@]}" ||
  { echo "format: run scripts/format.sh" >&2; exit 1; }
echo "formatted: ${#files[@]} files"
