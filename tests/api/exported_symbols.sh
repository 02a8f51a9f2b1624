#!/bin/sh
# Compares what the library exports with the list beside this script: exported_symbols.sh NM LIBRARY
set -eu
"$1" -D --defined-only "$2" | awk '{ print $3 }' | LC_ALL=C sort |
  diff -u "$(dirname "$0")/exported_symbols.txt" -
