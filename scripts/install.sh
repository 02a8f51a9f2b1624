#!/bin/sh
# Installs through apt what the named packages lack; needs no network when nothing is missing.
#   install.sh PACKAGE...
set -eu
missing=
for package in "$@"; do
  dpkg-query -W -f '${Status}' "$package" 2>/dev/null | grep -q 'ok installed' ||
    missing="$missing $package"
done
[ -n "$missing" ] || exit 0
sudo=
[ "$(id -u)" = 0 ] || sudo=sudo
export DEBIAN_FRONTEND=noninteractive
$sudo apt-get -qq update
# shellcheck disable=SC2086 # a list of words
$sudo apt-get -qq install -y --no-install-recommends $missing >/dev/null
