#!/bin/sh
# Kills a host at every system call on files of every writing operation, and lets each of them and
# each of its allocations fail, on a throw-away machine; a table tells what was tried, and the exit status whether all went well.
#   crash_sweep.sh [--sample K]     every Kth of them only
# No updater may run beside it for this user: hosts would find it.
set -eu
cd "$(dirname "$0")/.."
scripts/install.sh g++ cmake ninja-build libboost-dev libexpat1-dev libmd-dev libgtest-dev \
  libplist-dev libsystemd-dev libcli11-dev nlohmann-json3-dev \
  libnss-wrapper strace
cmake --preset release >/dev/null
cmake --build --preset release --target sweep -- --quiet
exec build/sweep "$@"
