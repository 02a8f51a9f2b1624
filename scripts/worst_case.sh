#!/bin/sh
# Measures how long each call keeps its caller while every lock is held by somebody else, on a
# throw-away machine (a folder with its own accounts), and prints the table. Takes two minutes, in which
# no updater of this user may run: actions would answer 12 at once.
set -eu
cd "$(dirname "$0")/.."
scripts/install.sh g++ cmake ninja-build libboost-dev libexpat1-dev libmd-dev libplist-dev libsystemd-dev \
  libcli11-dev nlohmann-json3-dev libnss-wrapper
cmake --preset release -DKXL_BUILD_TESTS=OFF >/dev/null
cmake --build --preset release -- --quiet
cc -std=c99 -O2 -Wall -Wextra -Werror -Iinclude bench/worst_case.c -o build/worst_case \
  -Lbuild -lkxl "-Wl,-rpath,$PWD/build"

machine=$(mktemp -d)
trap 'rm -rf "$machine"' EXIT
trap 'exit 1' HUP INT PIPE TERM
mkdir -p "$machine/home" "$machine/run" "$machine/var/lib"
echo "kelly:x:$(id -u):$(id -g)::$machine/home:/bin/sh" >"$machine/passwd"
echo "admin:x:5000:kelly" >"$machine/group"
# An updater that ends at once, so that starting it is all that is timed.
executables="$machine/opt/Kelda Utilities.localized/Kelda Updater6/Kelda Updater.app/Contents/MacOS"
mkdir -p "$executables"
ln -s /bin/true "$executables/Kelda Updater"

lock() {
  printf '/dev/shm/sem.'
  printf %s "$1" | md5sum | cut -c1-32 | tr a-f A-F | basenc --base16 -d | base64 | tr / _
}
data="$machine/home/.local/share/Kelda/Updater6"
env -u XDG_DATA_HOME -u DBUS_SESSION_BUS_ADDRESS LD_PRELOAD=libnss_wrapper.so \
  NSS_WRAPPER_PASSWD="$machine/passwd" NSS_WRAPPER_GROUP="$machine/group" KXL_ROOT="$machine" \
  HOME="$machine/home" XDG_RUNTIME_DIR="$machine/run" \
  build/worst_case "$(lock "$machine/var/lib/Kelda/Updater6/KeldaESDGlobalApps.xml")" \
  "$(lock "$data/KeldaUpdaterPrefs.dat")" "$(lock "$data/KeldaMissingComps.xml")" \
  "$(lock "$data/suppress_all.dat")"
