#!/bin/sh
# Builds the interface's reference into build/api-reference, from the comments of kxl.h and
# kxl.hpp, and checks the manual pages. A warning is an error.
set -eu
cd "$(dirname "$0")/.."
scripts/install.sh doxygen mandoc
mkdir -p build/api-reference
doxygen docs/Doxyfile
mandoc -Tlint -Wwarning docs/man/*.[1-9]
echo "build/api-reference/html/files.html"
