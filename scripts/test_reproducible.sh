#!/bin/sh
# Builds the library of a finished build once more, from a copy of the sources in another folder, into
# another one and in another time zone, and compares the packages of both builds byte by byte.
#   test_reproducible.sh BUILD-FOLDER [--whole]     --whole: the programs and their packages too
set -eu
build=$(cd "$1" && pwd)
source=$(cd "$(dirname "$0")/.." && pwd)
target=kxl
packages="runtime;development;python"
if [ "${2:-}" = --whole ]; then
  target=all
  packages="$packages;tools;updater"
fi
"$source/scripts/install.sh" dpkg-dev fakeroot file
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
trap 'exit 1' HUP INT PIPE TERM
umask 022

quietly() {
  "$@" >"$work/out" 2>&1 || {
    cat "$work/out" >&2
    exit 1
  }
}
package() { quietly cpack --config "$1/CPackConfig.cmake" -G DEB -D "CPACK_COMPONENTS_ALL=$packages" -B "$2"; }

mkdir "$work/copy of sources"
find "$source" -mindepth 1 -maxdepth 1 ! -name '.*' ! -name 'build*' -exec cp -a {} "$work/copy of sources" \;
cd "$work/copy of sources"
CC=$(sed -n 's/^CMAKE_C_COMPILER:[A-Z]*=//p' "$build/CMakeCache.txt")
CXX=$(sed -n 's/^CMAKE_CXX_COMPILER:[A-Z]*=//p' "$build/CMakeCache.txt")
export CC CXX
quietly cmake --preset release -B "$work/copy" -DKXL_BUILD_TESTS=OFF -DKXL_BUILD_EXAMPLES=OFF
quietly cmake --build "$work/copy" --target "$target"
package "$build" "$work/packages"
TZ=Asia/Tokyo package "$work/copy" "$work/again"
for file in "$work"/packages/*.deb; do
  cmp "$file" "$work/again/${file##*/}"
done
