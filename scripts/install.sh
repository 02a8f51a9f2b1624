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
# Told by env, because sudo clears the environment.
set -- env DEBIAN_FRONTEND=noninteractive apt-get -qq
[ "$(id -u)" = 0 ] || set -- sudo "$@"
"$@" update
# shellcheck disable=SC2086 # a list of words
"$@" install -y --no-install-recommends $missing >/dev/null
