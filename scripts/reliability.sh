#!/bin/sh
# Runs all that docs/reliability.md counts and prints its table: a quarter of an hour, and SECONDS for
# each of the fuzz targets. 1 when anything failed; what it was is printed too then.
#   reliability.sh [SECONDS]
# shellcheck disable=SC2016 # awk programs
set -eu
cd "$(dirname "$0")/.."
output=$(mktemp)
trap 'rm -f "$output"' EXIT
trap 'exit 1' HUP INT PIPE TERM

# The output goes to a file; it is shown when the command fails.
run() {
  "$@" >"$output" 2>&1 || { cat "$output"; exit 1; }
}

row() {
  printf '| %s | %s | %s |\n' "$@"
}

number() {
  awk "$1" "$output"
}

row shown tried 'failed or lost'
row --- --- ---
run scripts/test.sh tsan
row 'threads that call everything, under the race detector' 8 0
run scripts/crash_sweep.sh
row 'processes killed at a system call' "$(number '$1 == "all" { print $2 }')" 0
row 'system calls that fail' "$(number '$1 == "all" { print $3 }')" 0
row 'allocations that fail' "$(number '$1 == "all" { print $4 }')" 0
run cmake --build --preset release
run build/layer_tests --gtest_filter='DamagedFiles.*'
row 'damaged files' "$(number '/damaged files$/ { all += $1 } END { print all }')" 0
run env KXL_TEST_REQUESTS=200 build/library_tests --gtest_filter='ManyProcesses.LoseNothing*'
row 'requests of 8 processes' "$(number '/ 0$/ && NF == 3 { all += $1 } END { print all }')" 0
row '... the longest, in milliseconds' "$(number '/longest call$/ { print $1 }')" -
run env KXL_TEST_KILLS=300 build/library_tests --gtest_filter='ManyProcesses.AKilled*'
row 'processes killed at any moment' 300 -
row '... registrations answered meanwhile' "$(number '/ registered$/ { print $1 }')" 0
run build/tool_tests --gtest_filter='Loading.*'
row 'loaded and unloaded' 500 0
[ $# -gt 0 ] || exit 0
run scripts/fuzz.sh "$1"
row 'fuzz executions' "$(number '$6 == "0" { all += $2 } END { print all }')" 0
