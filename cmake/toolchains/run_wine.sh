#!/bin/sh
# run_wine.sh WINE PROGRAM [ARGUMENT…]: hands on what the program has said when it has ended, and its exit code. What
# Wine starts beside a program (a conhost for each console) inherits its output and may outlive it: whoever reads a
# pipe to its end, as ctest does, would wait for that.
said=$(mktemp) || exit 1
trap 'rm -f "$said"' EXIT
"$@" >"$said" 2>&1 </dev/null
code=$?
cat "$said"
exit $code
