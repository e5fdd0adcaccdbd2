#!/usr/bin/env bash
# Builds the fuzz targets with clang and lets libFuzzer run each of them for SECONDS (60), as many at a
# time as there are processors; prints how many inputs each has executed. What it learns is kept in
# build/fuzz/corpus for the next run. Finds go to build/fuzz/finds; a find belongs into fuzz/corpus
# together with its mend.
#
#   scripts/fuzz.sh [SECONDS [TARGET...]]
#   scripts/fuzz.sh --build                 # and nothing else
set -euo pipefail
cd "$(dirname "$0")/.."

seconds=60
build_only=
case "${1:-}" in
  --build) build_only=yes; shift ;;
  ?*) seconds=$1; shift ;;
esac
targets=("$@")
if [ ${#targets[@]} -eq 0 ]; then
  for source in fuzz/*_fuzzer.cpp; do
    targets+=("$(basename "$source" .cpp)")
  done
fi
if ! command -v clang++ >/dev/null; then
  echo "fuzz: clang++ is missing: apt-get install clang libclang-rt-14-dev" >&2
  exit 1
fi

cmake --preset fuzz >/dev/null
cmake --build --preset fuzz --target "${targets[@]}" >build/fuzz/build.log || { cat build/fuzz/build.log >&2; exit 1; }
if [ -n "$build_only" ]; then exit 0; fi

run_target() {
  local target=$1 seconds=$2 status=0
  local finds=build/fuzz/finds work=build/fuzz/corpus/$1
  mkdir -p "$work" "$finds"
  # Leaks are looked for by the sanitized tests: here they would stop the run at statics of the libraries.
  build/fuzz/fuzz/"$target" -max_total_time="$seconds" -timeout=20 -rss_limit_mb=2048 -detect_leaks=0 \
    -print_final_stats=1 -artifact_prefix="$finds/$target-" "$work" "fuzz/corpus/${target%_fuzzer}" \
    >"$work.log" 2>&1 || status=$?
  if [ "$status" -ne 0 ]; then
    { echo "fuzz: $target ended with $status"; tail -40 "$work.log"; } >&2
    return 1
  fi
  awk -v target="$target" -v seconds="$seconds" '
    /^stat::number_of_executed_units/ { executions = $2 }
    /^stat::peak_rss_mb/ { memory = $2 }
    END { printf "%-24s %10d executions in %d s, at most %d MB\n", target, executions, seconds, memory }' \
    "$work.log"
}
export -f run_target

printf '%s\n' "${targets[@]}" |
  xargs -P "$(nproc)" -I '{}' bash -c 'set -euo pipefail; run_target "$0" "$1"' '{}' "$seconds"
echo "fuzz: no finds"
