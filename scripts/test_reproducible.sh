#!/bin/sh
# Builds the sources of a finished build once more, from another folder into another folder and in
# another time zone, and compares the packages of both builds byte by byte.
#   test_reproducible.sh BUILD-FOLDER
set -eu
build=$(cd "$1" && pwd)
source=$(cd "$(dirname "$0")/.." && pwd)
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
package() { quietly cpack --config "$1/CPackConfig.cmake" -G DEB -B "$2"; }

mkdir "$work/copy of sources"
find "$source" -mindepth 1 -maxdepth 1 ! -name '.*' ! -name 'build*' -exec cp -a {} "$work/copy of sources" \;
cd "$work/copy of sources"
quietly cmake --preset release -B "$work/copy" -DKXL_BUILD_TESTS=OFF -DKXL_BUILD_EXAMPLES=OFF
quietly cmake --build "$work/copy"
package "$build" "$work/packages"
TZ=Asia/Tokyo package "$work/copy" "$work/again"
for file in "$work"/packages/*.deb; do
  cmp "$file" "$work/again/${file##*/}"
done
