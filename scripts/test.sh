#!/bin/sh
# Installs what is missing, builds and runs every test.
#   test.sh [PRESET...]     release (the default), debug, asan, tsan
set -eu
cd "$(dirname "$0")/.."
scripts/install.sh g++ cmake ninja-build libboost-dev libexpat1-dev libmd-dev libgtest-dev \
  libplist-dev libsystemd-dev libcli11-dev nlohmann-json3-dev \
  libnss-wrapper libuid-wrapper dbus-daemon strace \
  abigail-tools dpkg-dev fakeroot file lintian pkg-config
[ $# -gt 0 ] || set -- release
for preset in "$@"; do
  cmake --preset "$preset"
  cmake --build --preset "$preset"
  ctest --preset "$preset" --parallel "$(nproc)"
done
