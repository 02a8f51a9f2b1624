#!/bin/sh
# Checks the format of every source and what clang-tidy, shellcheck and flake8 have to say.
#   lint.sh [--deep]     with clang's analyzer, which takes as long again
set -eu
cd "$(dirname "$0")/.."
scripts/install.sh g++ cmake ninja-build libboost-dev libexpat1-dev libmd-dev libplist-dev libsystemd-dev libgtest-dev \
  libcli11-dev nlohmann-json3-dev \
  clang-format clang-tidy shellcheck black flake8
git ls-files '*.h' '*.hpp' '*.c' '*.cpp' | xargs clang-format --dry-run -Werror
git ls-files '*.sh' .ci/run 'packaging/debian/p*' tools/updater/kxl-test-machine | xargs shellcheck
git ls-files '*.py' | xargs black --check --quiet --diff --config bindings/python/pyproject.toml
git ls-files '*.py' | xargs flake8 --max-line-length 100
cmake --preset release >/dev/null
checks='-clang-analyzer-*'
[ "${1:-}" != --deep ] || checks=
run-clang-tidy -quiet -checks="$checks" -p build "^$PWD/(src|examples|tools)/" 2>/dev/null
