#!/bin/sh
# Shows what the library is for: installs what is missing, builds, and runs the example host and the
# reference updater on a throw-away machine (see kxl-test-machine), so that nothing outside changes.
set -eu
cd "$(dirname "$0")/.."
scripts/install.sh g++ cmake ninja-build libboost-dev libexpat1-dev libmd-dev libplist-dev libsystemd-dev \
  libcli11-dev nlohmann-json3-dev \
  libnss-wrapper
cmake --preset release -DKXL_BUILD_TESTS=OFF >/dev/null
cmake --build --preset release -- --quiet

machine=$(mktemp -d)
trap 'rm -rf "$machine"' EXIT
trap 'exit 1' HUP INT PIPE TERM
shared="$machine/var/lib/Kelda/Updater6"
list="$shared/KeldaESDGlobalApps.xml"
data="$machine/home/kelly/.local/share/Kelda/Updater6"
trace="$data/kxlLib.log"

# What the updater has to offer.
build/kxl-test-machine "$machine" -- mkdir "$shared/Catalogue"
cat >"$shared/Catalogue/catalogue.xml" <<'END'
<Catalogue>
<Update appID="com.example.editor"/>
<Component name="Dictionary" category="Spelling" version="1.2" file="dictionary.dat"/>
</Catalogue>
END
echo "aardvark" >"$shared/Catalogue/dictionary.dat"

title() { printf '\n\033[1m%s\033[0m\n' "$1"; }
said() { grep -F "$1" "$trace" | tail -n 1; }
# Answers when the updater has ended too.
host() {
  echo "\$ host $*"
  build/kxl-test-machine "$machine" -- build/host "$@"
}

title "An application registers itself, is found registered, and is moved:"
host register /opt/editor
host register /opt/editor
host register /srv/editor

title "The machine's list, which the updater reads:"
cat "$list"

title "Does an update wait for it? The updater is asked, and answers the next call:"
host available
cat "$data/Data/UpdateAvailable/com.example.editor/1.xml"
host available

title "It lacks a component: listed, fetched by the updater, and off the list again:"
host missing Dictionary Spelling 1.2
ls "$data/Install"
[ ! -e "$data/KeldaMissingComps.xml" ]
host missing Thesaurus Spelling 1.0
grep AMissingComponent "$data/KeldaMissingComps.xml"

title "The updater's plug-in action, and a check that a user asks for:"
host action
host check
grep -o "<LastDateCheck>.*" "$data/KeldaUpdaterPrefs.dat"

title "A scheduled check is not due yet, or suppressed by a hold (13):"
host check --scheduled
said "not passed by"
host hold 3600
cat "$data/suppress_all.dat"
host check --scheduled || true
host hold 0

title "The administrator's switch (7):"
echo '<plist version="1.0"><dict><key>Disable.Update</key><true/></dict></plist>' \
  >"$machine/etc/com.kelda.updater6.Admin.plist"
host check || true

title "The last application unregisters: the list goes, and the updater is started to tidy up:"
host unregister
[ ! -e "$list" ]

title "The library's trace of the query and of its answer:"
sed -n -e "s|$machine||; /In KXLIsUpdateAvailable/,/return code/p" "$trace"

title "The updater's log:"
sed -e "/^\$/d; s|$machine||" "$data/kxl.log" | grep -v "Updater Log"
