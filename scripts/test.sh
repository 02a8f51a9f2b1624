#!/bin/sh
# Installs what is missing, builds and runs every test.
#   test.sh [PRESET...]     release (the default), debug, asan, tsan
set -eu
cd "$(dirname "$0")/.."
scripts/install.sh g++ cmake ninja-build libboost-dev libexpat1-dev libmd-dev libgtest-dev \
  libplist-dev libsystemd-dev libcli11-dev nlohmann-json3-dev \
  qt6-base-dev xauth xvfb libnss-wrapper libuid-wrapper dbus-daemon strace python3 mypy \
  abigail-tools bubblewrap clang dpkg-dev fakeroot file lintian pkg-config
[ $# -gt 0 ] || set -- release

# Tests wait most of their time, so the next preset is built meanwhile, and what they print comes then.
output=$(mktemp)
tests=
trap 'rm -f "$output"; [ -z "$tests" ] || kill "$tests"' EXIT
trap 'exit 1' HUP INT PIPE TERM
finish_tests() {
  [ -n "$tests" ] || return 0
  status=0
  wait "$tests" || status=$?
  tests=
  cat "$output"
  return $status
}
for preset in "$@"; do
  desktop=OFF
  [ "$preset" != release ] || desktop=ON
  cmake --preset "$preset" -DKXL_BUILD_DESKTOP_EXAMPLE=$desktop
  nice cmake --build --preset "$preset"
  finish_tests
  shift
  [ $# -gt 0 ] || break
  ctest --preset "$preset" --parallel "$(nproc)" >"$output" 2>&1 &
  tests=$!
done
ctest --preset "$preset" --parallel "$(nproc)"
