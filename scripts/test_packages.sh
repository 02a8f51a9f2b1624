#!/bin/sh
# Makes the Debian packages of a finished build, lets lintian look at them, installs them below a
# throw-away root, uses what is installed there and removes it again. Needs no network where nothing is to
# be installed on this machine, and no privileges beyond fakeroot's.
#   test_packages.sh BUILD-FOLDER
set -eu
build=$(cd "$1" && pwd)
source=$(cd "$(dirname "$0")/.." && pwd)
# dpkg and the packages' scripts need what is here, and an ordinary user's path may lack it.
PATH=$PATH:/usr/sbin:/sbin
"$source/scripts/install.sh" dpkg-dev fakeroot file libnss-wrapper lintian pkg-config python3
for helper in sysusers tmpfiles; do
  command -v systemd-$helper >/dev/null || "$source/scripts/install.sh" systemd-standalone-$helper
done
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
trap 'exit 1' HUP INT PIPE TERM
umask 022
root=$work/root
shared=$root/var/lib/Kelda/Updater6
bundle="opt/Kelda Utilities.localized/Kelda Updater6/Kelda Updater.app"
library_folder=usr/lib/$(dpkg-architecture -q DEB_HOST_MULTIARCH)

fail() {
  echo "$1" >&2
  exit 1
}

# Owners are remembered from one command to the next when they are only pretended.
: >"$work/owners"
as_root() {
  if [ "$(id -u)" = 0 ]; then "$@"; else fakeroot -i "$work/owners" -s "$work/owners" -- "$@"; fi
}

# The machine's own settings of dpkg may leave documentation out.
on_root() {
  as_root dpkg --root="$root" --log="$work/dpkg.log" --force-not-root --force-script-chrootless \
    --path-include='/*' "$@" >>"$work/dpkg.out" 2>&1 || {
    cat "$work/dpkg.out" >&2
    fail "dpkg $1 failed"
  }
}

# What is below the root besides the accounts and dpkg's own files.
installed() {
  find "$root" -mindepth 1 ! -type d -printf '%P\n' |
    grep -v -e '^etc/\(group\|gshadow\|passwd\|shadow\)-\?$' -e '^etc/\.pwd\.lock$' \
      -e '^var/lib/dpkg/' || true
}

expect_shared_folder() {
  group=$(sed -n 's/^admin:[^:]*:\([0-9]*\):.*/\1/p' "$root/etc/group")
  [ -n "$group" ] || fail "there is no group admin"
  found=$(as_root stat -c '%a %u %g' "$shared")
  [ "$found" = "2775 0 $group" ] || fail "the shared folder is $found, the group $group"
}

field() { dpkg-deb -f "$work/packages/$1"_*.deb "$2"; }

cpack --config "$build/CPackConfig.cmake" -G DEB -B "$work/packages" >"$work/cpack.out" 2>&1 || {
  cat "$work/cpack.out" >&2
  fail "no packages were made"
}
lintian --allow-root --fail-on error --profile debian "$work"/packages/*.deb >"$work/lintian.out" 2>&1 &
lintian=$!

case $(field libkxl6 Depends) in
  *libsystemd*) fail "libkxl6 cannot be installed without libsystemd" ;;
  *libplist*libexpat1*) ;;
  *) fail "libkxl6 does not depend on the libraries that it needs" ;;
esac
[ "$(field libkxl-dev Depends)" = "libkxl6 (= $(field libkxl6 Version))" ] ||
  fail "libkxl-dev goes with another libkxl6"

# On the root is installed what the packages depend on and this machine has, so that a dependency that
# nothing fulfils shows.
mkdir -p "$root/etc" "$root/var/lib/dpkg/info" "$root/var/lib/dpkg/updates"
echo "root:x:0:0::/:/bin/sh" >"$root/etc/passwd"
echo "root:x:0:" >"$root/etc/group"
{
  dpkg-query -S '*/bin/systemd-sysusers' '*/bin/systemd-tmpfiles' # under the name that they provide
  for package in libkxl6 kxl-tools python3-kxl kxl-updater-reference; do
    field $package Depends | sed 's/[,|] */\n/g'
  done
} | sed 's/[ :].*//; /kxl/d' | sort -u |
  xargs dpkg-query -s >"$root/var/lib/dpkg/status" 2>/dev/null || true
on_root --install "$work"/packages/*.deb
expect_shared_folder
unexpected=$(installed | grep -v -e "^$library_folder/libkxl\.so\(\.6\(\.[0-9.]*\)\?\)\?$" \
  -e "^$library_folder/\(cmake/kxl\|pkgconfig\)/kxl" -e '^usr/include/kxl/kxl\.h\(pp\)\?$' \
  -e '^usr/bin/kxl$' -e '^usr/lib/\(sysusers\|tmpfiles\)\.d/kxl\.conf$' \
  -e '^usr/lib/systemd/user/kxl-check\.\(service\|timer\)$' \
  -e '^usr/share/man/man[13]/\(kxl[.-]\|KXL\)' -e '^usr/bin/kxl-\(test-machine\|updater-check\)$' \
  -e '^usr/share/doc/\(libkxl6\|libkxl-dev\|kxl-tools\|python3-kxl\|kxl-updater-reference\)/' \
  -e '^usr/lib/python3/dist-packages/kxl\(/[a-z_]*\.py\|/py\.typed\|-[0-9.]*\.egg-info\)$' \
  -e '^usr/share/lintian/overrides/kxl-updater-reference$' \
  -e '^usr/share/\(bash-completion\|zsh\|fish\)/.*kxl' -e "^$bundle/" || true)
[ -z "$unexpected" ] || fail "installed in an unexpected place: $unexpected"
for file in "$root/$library_folder/libkxl.so.6" "$root/$bundle/Contents/MacOS/Kelda Updater"; do
  file -L "$file" | grep -q ', stripped' || fail "$file is missing or not stripped"
done

# The same sources give the same bytes wherever they are built: neither what is installed names the folder,
# nor what the build identifiers are made of.
built=$(grep -rlF -e "$build" -e "$source" "$root/usr" "$root/opt" "$build/libkxl.so" "$build/kxl" \
  "$build/kxl-updater-check" "$build/${bundle##*/}" || true)
[ -z "$built" ] || fail "this names the folder that it was built in: $built"

# Each function has a page, and each link of a document leads to a document, or to a heading of it.
while read -r function; do
  zcat "$root/usr/share/man/man3/$function.3.gz" | grep -q "$function" || fail "no page for $function"
done <"$source/tests/api/exported_symbols.txt"
find "$root/usr/share/doc" -name '*.md' | while read -r document; do
  sed "/^\`\`\`/,/^\`\`\`/d" "$document" | grep -o '](\([^)]*\))' | sed 's/^](//; s/)$//' | while read -r link; do
    target=$(dirname "$document")/${link%%#*}
    [ -f "$target" ] || fail "$document: $link leads nowhere"
    case $link in
      *'#'*) grep -qi "^##* ${link##*#}$" "$target" || fail "$document: $link is no heading" ;;
    esac
  done
done

# The example, compiled against what is installed and by both ways of finding it.
example=$root/usr/share/doc/libkxl-dev/examples/host.c
flags=$(PKG_CONFIG_LIBDIR="$root/$library_folder/pkgconfig" pkg-config --cflags --libs kxl)
# shellcheck disable=SC2086 # a list of words
cc "$example" -o "$work/host" $flags

# And the smallest hosts, as they stand in the guide.
for name in smallest.c smallest.cpp; do
  zcat -f "$root/usr/share/doc/libkxl-dev/integration.md"* |
    sed -n "\\,^[/* ]*$name\\b,,/^\`\`\`/{/^\`/!p}" >"$work/$name"
done
# shellcheck disable=SC2086
cc "$work/smallest.c" -o "$work/smallest_c" $flags
# shellcheck disable=SC2086
c++ -std=c++17 "$work/smallest.cpp" -o "$work/smallest_cpp" $flags

mkdir "$work/project"
cat >"$work/project/CMakeLists.txt" <<END_OF_PROJECT
cmake_minimum_required(VERSION 3.25)
project(host LANGUAGES C)
find_package(kxl 6.0 REQUIRED)
add_executable(host "$example")
target_link_libraries(host PRIVATE kxl::kxl)
END_OF_PROJECT
{
  cmake -G Ninja -S "$work/project" -B "$work/project/build" -DCMAKE_PREFIX_PATH="$root/usr" &&
    cmake --build "$work/project/build"
} >"$work/cmake.out" 2>&1 || {
  cat "$work/cmake.out" >&2
  fail "find_package did not lead to a host"
}

# The installed command runs; a host asks the installed updater, and is answered.
on_machine() {
  LD_LIBRARY_PATH=$root/$library_folder "$root/usr/bin/kxl-test-machine" "$root" -- "$@"
}
version=$(field libkxl6 Version)
[ "$(on_machine "$root/usr/bin/kxl" version)" = "library $version, tool $version" ] ||
  fail "the installed command does not run"
[ "$(on_machine "$work/project/build/host" available)" = "pending, ask again" ] ||
  fail "a host could not ask the installed updater"
[ "$(on_machine "$work/host" available)" = "up to date" ] ||
  fail "the installed updater did not answer"
sed -n '/^## Python$/,/^```$/p' "$root/usr/share/doc/libkxl-dev/integration.md" |
  sed '1,/python$/d; $d' >"$work/host.py"
[ "$(on_machine env PYTHONPATH="$root/usr/lib/python3/dist-packages" PYTHONDONTWRITEBYTECODE=1 \
  python3 "$work/host.py")" = Done. ] || fail "the guide's host does not run from the Python package"
LD_LIBRARY_PATH=$root/$library_folder "$root/usr/bin/kxl-updater-check" --only query-number "$root/$bundle" \
  >"$work/check.out" || fail "the installed updater does not pass a check: $(cat "$work/check.out")"
[ "$(on_machine "$work/host" unregister)" = "not registered any more" ] ||
  fail "the guide's host was not registered"
[ "$(on_machine "$work/smallest_c")" = "check for updates: 0" ] ||
  fail "the smallest host could not check"
[ "$(on_machine "$work/smallest_cpp")" = "check for updates: Done." ] ||
  fail "the smallest host in C++ could not check"
rm -r "${root:?}/accounts" "${root:?}/home" "${root:?}/run"

all="libkxl6 libkxl-dev kxl-tools python3-kxl kxl-updater-reference"
# shellcheck disable=SC2086 # a list of words
on_root --remove $all
[ -d "$shared" ] || fail "removing the packages took the shared folder away"
# shellcheck disable=SC2086 # a list of words
on_root --purge $all
left=$(installed)
[ -z "$left" ] || fail "left behind: $left"
for folder in usr opt var/lib/Kelda; do
  [ ! -e "$root/$folder" ] || fail "the folder $folder was left behind"
done

# Once more with an application still registered.
on_root --install "$work"/packages/libkxl6_*.deb
expect_shared_folder
echo "<list/>" >"$shared/KeldaESDGlobalApps.xml"
on_root --purge libkxl6
[ "$(installed)" = "var/lib/Kelda/Updater6/KeldaESDGlobalApps.xml" ] ||
  fail "purging did not keep exactly the list of applications"

wait $lintian || {
  cat "$work/lintian.out" >&2
  fail "lintian has found something"
}
