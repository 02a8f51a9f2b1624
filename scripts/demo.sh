#!/bin/sh
# Shows what the library is for: installs what is missing, builds, and runs the example host and the
# reference updater on a throw-away machine (a folder with its own accounts), so that nothing outside
# changes.
set -eu
cd "$(dirname "$0")/.."
scripts/install.sh g++ cmake ninja-build libboost-dev libexpat1-dev libmd-dev libplist-dev libsystemd-dev \
  libcli11-dev nlohmann-json3-dev \
  libnss-wrapper
cmake --preset release -DKXL_BUILD_TESTS=OFF >/dev/null
cmake --build --preset release >/dev/null

machine=$(mktemp -d)
trap 'rm -rf "$machine"' EXIT
trap 'exit 1' HUP INT PIPE TERM
mkdir -p "$machine/home" "$machine/run" "$machine/etc"
echo "kelly:x:$(id -u):$(id -g)::$machine/home:/bin/sh" >"$machine/passwd"
echo "admin:x:5000:kelly" >"$machine/group"
shared="$machine/var/lib/Kelda/Updater6"
list="$shared/KeldaESDGlobalApps.xml"
data="$machine/home/.local/share/Kelda/Updater6"
trace="$data/kxlLib.log"

# The updater, and what it has to offer.
bundle="$machine/opt/Kelda Utilities.localized/Kelda Updater6"
mkdir -p "$bundle" "$shared/Catalogue"
ln -s "$PWD/build/Kelda Updater.app" "$bundle"
cat >"$shared/Catalogue/catalogue.xml" <<'END'
<Catalogue>
<Update appID="com.example.editor"/>
<Component name="Dictionary" category="Spelling" version="1.2" file="dictionary.dat"/>
</Catalogue>
END
echo "aardvark" >"$shared/Catalogue/dictionary.dat"

title() { printf '\n\033[1m%s\033[0m\n' "$1"; }
said() { grep -F "$1" "$trace" | tail -n 1; }
host() {
  echo "\$ host $*"
  env -u XDG_DATA_HOME LD_PRELOAD=libnss_wrapper.so NSS_WRAPPER_PASSWD="$machine/passwd" \
    NSS_WRAPPER_GROUP="$machine/group" KXL_ROOT="$machine" HOME="$machine/home" \
    XDG_RUNTIME_DIR="$machine/run" build/host "$@"
}
# The updater runs beside the host: waits until it has ended for the given time.
updated() {
  tries=0
  until [ "$(grep -cs 'Log End' "$data/kxl.log")" = "$1" ] &&
    ! grep -qs '(Kelda Updater) [^Z]' /proc/[0-9]*/stat; do
    tries=$((tries + 1))
    [ "$tries" -lt 300 ] || { echo "the updater does not end" && exit 1; }
    sleep 0.1
  done
}

title "An application registers itself, is found registered, and is moved:"
host register /opt/editor
host register /opt/editor
host register /srv/editor

title "The machine's list, which the updater reads:"
cat "$list"

title "Does an update wait for it? The updater is asked, and answers the next call:"
host available
updated 1
cat "$data/Data/UpdateAvailable/com.example.editor/1.xml"
host available

title "It lacks a component: listed, fetched by the updater, and off the list again:"
host missing Dictionary Spelling 1.2
updated 2
ls "$data/Install"
[ ! -e "$data/KeldaMissingComps.xml" ]
host missing Thesaurus Spelling 1.0
updated 3
grep AMissingComponent "$data/KeldaMissingComps.xml"

title "The updater's plug-in action, and a check that a user asks for:"
host action
updated 4
host check
updated 5
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
updated 6
[ ! -e "$list" ]

title "The library's trace of the query and of its answer:"
sed -n -e "s|$machine||; /In KXLIsUpdateAvailable/,/return code/p" "$trace"

title "The updater's log:"
sed -e "/^\$/d; s|$machine||" "$data/kxl.log" | grep -v "Updater Log"
