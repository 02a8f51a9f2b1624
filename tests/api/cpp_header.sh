#!/bin/sh
# Whether g++ and clang++, in C++17 and C++20, refuse those lines of the list that say so, and no others.
#   cpp_header.sh LIST INCLUDE-FOLDER
set -eu
expected=$(grep -n '// refused$' "$1" | cut -d: -f1)
for compiler in "g++ -std=c++17" "g++ -std=c++20" "clang++ -std=c++17" "clang++ -std=c++20"; do
  # shellcheck disable=SC2086 # a list of words
  said=$($compiler -Wall -Wextra -Wconversion -Werror -fsyntax-only "-I$2" "$1" 2>&1) || true
  refused=$(echo "$said" | sed -n 's/.*:\([0-9]*\):[0-9]*: .*error: .*/\1/p')
  [ "$refused" = "$expected" ] || {
    echo "$compiler: $said" >&2
    exit 1
  }
done
