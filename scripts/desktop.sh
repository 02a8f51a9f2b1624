#!/bin/sh
# Shows a host application with a window: installs what is missing, builds, and opens the desktop example
# on a throw-away machine (see kxl-test-machine), where an update and a dictionary wait for it. Nothing
# outside changes.
#   desktop.sh              opens the window; the same as --test where there is no display
#   desktop.sh --test       goes through its menus on a display of its own
#   desktop.sh --pictures   so too, and writes the pictures docs/images/desktop-*.png
set -eu
cd "$(dirname "$0")/.."
mode=${1:-}
[ -n "$mode" ] || [ -n "${DISPLAY:-}" ] || mode=--test
case $mode in
  '' | --test | --pictures) ;;
  *) sed -n '/^#   /s/^#   /usage: /p' "$0" >&2 && exit 2 ;;
esac
scripts/install.sh g++ cmake ninja-build libboost-dev libexpat1-dev libmd-dev libplist-dev libsystemd-dev \
  libcli11-dev nlohmann-json3-dev libgtest-dev libnss-wrapper python3 qt6-base-dev xauth xvfb
cmake --preset release -DKXL_BUILD_DESKTOP_EXAMPLE=ON >/dev/null
cmake --build --preset release --target desktop desktop_test kxl_tool updater -- --quiet

if [ "$mode" = --test ]; then
  exec ctest --preset release -R '^Desktop'
fi

machine=$(mktemp -d)
trap 'rm -rf "$machine"' EXIT
trap 'exit 1' HUP INT PIPE TERM
if [ "$mode" = --pictures ]; then
  mkdir -p docs/images
  for scheme in light dark; do
    home="$machine/$scheme/home/kelly"
    mkdir -p "$home/.config"
    # A desktop's colours, which Qt reads where it finds that desktop.
    [ $scheme = light ] || cat >"$home/.config/kdeglobals" <<'COLOURS'
[Colors:Window]
BackgroundNormal=42,46,50
ForegroundNormal=252,252,252
[Colors:View]
BackgroundNormal=27,30,32
ForegroundNormal=252,252,252
[Colors:Button]
BackgroundNormal=49,54,59
ForegroundNormal=252,252,252
[Colors:Selection]
BackgroundNormal=38,95,153
ForegroundNormal=252,252,252
COLOURS
    LC_ALL=en_GB.UTF-8 QT_QPA_PLATFORMTHEME=kde KDE_SESSION_VERSION=5 \
      KXL_PICTURE="$PWD/docs/images/desktop-$scheme.png" \
      xvfb-run -a build/kxl-test-machine "$machine/$scheme" -- build/desktop_test WhatTheUpdaterDoesIsSeen
  done
  exit
fi

catalogue="$machine/var/lib/Kelda/Updater6/Catalogue"
build/kxl-test-machine "$machine" -- build/kxl register com.example.editor "Example Editor" "$PWD/build"
mkdir "$catalogue"
cat >"$catalogue/catalogue.xml" <<'CATALOGUE'
<Catalogue>
<Update appID="com.example.editor"/>
<Component name="Dictionary" category="Spelling" version="1.2" file="dictionary.dat"/>
</Catalogue>
CATALOGUE
echo a aardvark aardvarks against allowed and ants are command dictionary eats editor for has help notices on one \
  teaches the they updates view where which words >"$catalogue/dictionary.dat"
# The machine's user has another home, and the display's key lies in this one.
XAUTHORITY=${XAUTHORITY:-$HOME/.Xauthority} QT_QPA_PLATFORM=xcb \
  build/kxl-test-machine "$machine" -- build/desktop
