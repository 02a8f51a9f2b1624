#!/bin/sh
# Builds the interface's reference into build/api-reference, from the comments of kxl.h and
# kxl.hpp, and checks the manual pages. A warning is an error, and so is a rule of docs/updater.md (an
# anchor) that no check of kxl-updater-check names, or a check without one.
set -eu
cd "$(dirname "$0")/.."
scripts/install.sh doxygen mandoc
mkdir -p build/api-reference
doxygen docs/Doxyfile
mandoc -Tlint -Wwarning docs/man/*.[1-9]
rules=$(mktemp)
trap 'rm -f "$rules"' EXIT
grep -o '<a id="[a-z-]*"' docs/updater.md | cut -d'"' -f2 | sort >"$rules"
sed -n 's/^    {"[a-z-]*", "\([a-z-]*\)",.*/\1/p' tools/updater_check/*.cpp | sort -u | diff "$rules" - ||
  exit 1
echo "build/api-reference/html/files.html"
