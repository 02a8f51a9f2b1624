#!/bin/sh
# Measures libkxl against the least that the same work costs by hand, and against what else one would
# use; prints the table, and writes docs/benchmarks.json and docs/benchmarks.svg. Takes five minutes, on a
# machine that does nothing else.
#   bench.sh [--quick]     every row for a moment, in less than two minutes, and no file
set -eu
cd "$(dirname "$0")/.."
scripts/install.sh g++ cmake ninja-build libboost-dev libexpat1-dev libmd-dev libplist-dev libsystemd-dev \
  libcli11-dev nlohmann-json3-dev libnss-wrapper \
  libbenchmark-dev libpugixml-dev libsqlite3-dev libspdlog-dev libxml2-dev
cmake --preset release -DKXL_BUILD_TESTS=OFF -DKXL_BUILD_BENCH=ON >/dev/null
cmake --build --preset release --target benchmarks -- --quiet

accounts=$(mktemp -d)
trap 'rm -rf "$accounts"' EXIT
trap 'exit 1' HUP INT PIPE TERM
echo "kelly:x:$(id -u):$(id -g)::/:/bin/sh" >"$accounts/passwd"
echo "admin:x:5000:kelly" >"$accounts/group"
measure() {
  env -u DBUS_SESSION_BUS_ADDRESS LD_PRELOAD=libnss_wrapper.so \
    NSS_WRAPPER_PASSWD="$accounts/passwd" NSS_WRAPPER_GROUP="$accounts/group" \
    build/benchmarks "$@"
}

if [ "${1:-}" = --quick ]; then
  measure --benchmark_min_time=0.02
else
  sed -n 's/^model name.*: //p; ' /proc/cpuinfo | head -n 1
  echo "$(nproc) processors, $(uname -sr), $(df --output=fstype "${TMPDIR:-/tmp}" | tail -n 1)"
  measure --chart=docs/benchmarks.svg --benchmark_out=docs/benchmarks.json --benchmark_min_time=3
  sed -i '/"host_name"/d' docs/benchmarks.json # the figures are to be compared, not the names
fi
