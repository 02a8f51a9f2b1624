#!/bin/sh
# Compares the binary interface of the library with the one that hosts were compiled against, and
# leaves a description of the library's in CURRENT: binary_interface.sh BASELINE LIBRARY CURRENT
set -eu
abidw --exported-interfaces-only --no-corpus-path --no-comp-dir-path --no-elf-needed --no-show-locs \
  --out-file "$3" "$2"
# Without debug information only the names of the functions would be compared.
grep -q "<function-decl name='KXLGetVersion'" "$3" || { echo "$2 does not tell its types" && exit 1; }
abidiff "$1" "$3"
