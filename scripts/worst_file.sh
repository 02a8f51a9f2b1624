#!/bin/sh
# Measures how long each call takes, and how much memory, for the worst files that somebody can put
# in the place of the shared ones, on a throw-away machine (a folder with its own accounts), and
# prints the table. Takes some minutes, in which no updater of this user may run. 1 when a call was
# over a mark.
#   worst_file.sh [-v] [SIZE [SHAPE]]     -v: every call; SIZE: of the files, in bytes; SHAPE: part of
#                                         a shape's name, for no others
set -eu
cd "$(dirname "$0")/.."
scripts/install.sh g++ cmake ninja-build libboost-dev libexpat1-dev libmd-dev libplist-dev libsystemd-dev \
  libcli11-dev nlohmann-json3-dev libnss-wrapper
cmake --preset release -DKXL_BUILD_TESTS=OFF >/dev/null
cmake --build --preset release -- --quiet
c++ -std=c++20 -O2 -Wall -Wextra -Werror -I. -Iinclude bench/worst_file.cpp bench/*_shapes.cpp \
  -o build/worst_file -Lbuild -lkxl "-Wl,-rpath,$PWD/build"

machine=$(mktemp -d)
trap 'rm -rf "$machine"' EXIT
trap 'exit 1' HUP INT PIPE TERM
echo "kelly:x:$(id -u):$(id -g)::$machine/home:/bin/sh" >"$machine/passwd"
echo "admin:x:5000:kelly" >"$machine/group"
# An updater that ends at once, so that starting it is all that is timed.
executables="$machine/opt/Kelda Utilities.localized/Kelda Updater6/Kelda Updater.app/Contents/MacOS"
mkdir -p "$executables"
ln -s /bin/true "$executables/Kelda Updater"

env -u XDG_DATA_HOME -u DBUS_SESSION_BUS_ADDRESS LD_PRELOAD=libnss_wrapper.so \
  NSS_WRAPPER_PASSWD="$machine/passwd" NSS_WRAPPER_GROUP="$machine/group" KXL_ROOT="$machine" \
  HOME="$machine/home" XDG_RUNTIME_DIR="$machine/run" build/worst_file "$@"
