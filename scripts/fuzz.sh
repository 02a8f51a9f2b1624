#!/bin/sh
# Installs what is missing, builds the fuzz targets, runs one after the other, adds what they found
# to their committed inputs, and prints two tables: the targets, and what the inputs reach of the
# code that reads texts and files. 1 when a target crashed; the input is in build-fuzz/crashes then.
#   fuzz.sh SECONDS [TARGET...]     for each target; all of them by default
set -eu
cd "$(dirname "$0")/.."
seconds=$1
shift
scripts/install.sh clang cmake ninja-build libclang-rt-14-dev llvm-14 libboost-dev libexpat1-dev \
  libmd-dev libplist-dev libsystemd-dev libcli11-dev nlohmann-json3-dev
cmake --preset fuzz >/dev/null
cmake --build --preset fuzz --parallel 2 -- --quiet
# shellcheck disable=SC2046 # a list of words
[ $# -gt 0 ] || set -- $(ls fuzz/corpus)

# Every input makes files and locks; on a disk those would take most of the time.
TMPDIR=$(mktemp -d -p /dev/shm kxl-fuzz-XXXXXX)
export TMPDIR
trap 'rm -rf "$TMPDIR"' EXIT
trap 'exit 1' HUP INT PIPE TERM
crashes=$PWD/build-fuzz/crashes
mkdir -p "$crashes"

run() {
  LLVM_PROFILE_FILE=${profile:-/dev/null} nice -n 10 "build-fuzz/fuzz_$target" -max_len=4096 \
    -timeout=10 -artifact_prefix="$crashes/$target-" "$@" >"$TMPDIR/log" 2>&1
}

# Keeps the inputs with a name of their own, and of the others, which are named by their digest,
# the fewest that reach what all of them reach.
minimise() {
  find "$corpus" -regextype posix-extended -regex '.*/[0-9a-f]{40}' \
    -exec mv -t "$TMPDIR/found" {} +
  run -set_cover_merge=1 -use_counters=0 "$corpus" "$TMPDIR/found"
  rm -rf "$TMPDIR/found"
}

failed=0
objects=
printf '%-24s %12s %8s %8s %8s %8s\n' target executions cov ft inputs crashes
for target in "$@"; do
  corpus=fuzz/corpus/$target
  mkdir "$TMPDIR/found"
  crashed=0
  run -max_total_time="$seconds" -print_final_stats=1 "$TMPDIR/found" "$corpus" || crashed=1
  executions=$(sed -n 's/^stat::number_of_executed_units: *//p' "$TMPDIR/log")
  coverage=$(sed -n 's/.* cov: \([0-9]*\) ft: \([0-9]*\) .*/\1 \2/p' "$TMPDIR/log" | tail -n 1)
  [ $crashed = 0 ] || cp "$TMPDIR/log" "$crashes/$target.log"
  minimise || crashed=1
  # shellcheck disable=SC2086 # two words
  printf '%-24s %12s %8s %8s %8s %8s\n' "$target" "$executions" $coverage \
    "$(find "$corpus" -type f | wc -l)" "$crashed"
  [ $crashed = 0 ] || failed=1
  profile=$TMPDIR/$target.profraw run -runs=0 "$corpus" || failed=1
  objects="$objects -object build-fuzz/fuzz_$target"
done

echo
llvm-profdata-14 merge -o "$TMPDIR/profile" "$TMPDIR"/*.profraw
# shellcheck disable=SC2086 # a list of words
llvm-cov-14 report -instr-profile="$TMPDIR/profile" "build-fuzz/fuzz_$target" $objects src/esd \
  src/stores src/util/format_string.cpp src/util/version.cpp src/api/availability.cpp \
  src/api/locale_code.cpp src/api/validation.cpp tools/kxl/command_line.cpp 2>/dev/null |
  awk '/cpp/ { printf "%-40s %s of %s lines\n", $1, $10, $8 }'
exit $failed
