#!/usr/bin/env bash
# Builds the fuzz targets with clang and lets libFuzzer run each of them for SECONDS (60).
# Needs the packages clang and libclang-rt-14-dev. Finds go to build/fuzz/finds; a find belongs into fuzz/corpus together with its mend.
#
#   scripts/fuzz.sh [SECONDS [TARGET...]]
set -euo pipefail
cd "$(dirname "$0")/.."

seconds=${1:-60}
shift || true
targets=("$@")
if [ ${#targets[@]} -eq 0 ]; then
  for source in fuzz/*_fuzzer.cpp; do
    name=$(basename "$source" .cpp)
    targets+=("$name")
  done
fi

cmake --preset fuzz >/dev/null
cmake --build --preset fuzz --target "${targets[@]}"
finds=build/fuzz/finds
for target in "${targets[@]}"; do
  corpus=fuzz/corpus/${target%_fuzzer}
  work=build/fuzz/corpus/$target
  mkdir -p "$work" "$finds"
  echo "== $target: $seconds s"
  # Leaks are looked for by the sanitized tests: here they would stop the run at statics of the libraries.
  status=0
  build/fuzz/fuzz/"$target" -max_total_time="$seconds" -timeout=10 -rss_limit_mb=2048 -detect_leaks=0 \
    -print_final_stats=1 -artifact_prefix="$finds/$target-" "$work" "$corpus" >"$work.log" 2>&1 || status=$?
  grep -E '^(stat::number_of_executed_units|stat::peak_rss_mb)' "$work.log" || true
  if [ "$status" -ne 0 ]; then
    echo "fuzz: $target ended with $status" >&2
    tail -40 "$work.log" >&2
    exit 1
  fi
done
echo "fuzz: no finds"
