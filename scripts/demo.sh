#!/bin/sh
# Shows what the library is for: installs what is missing, builds, and runs the example host on a
# throw-away machine (a folder with its own accounts), so that nothing outside changes.
set -eu
cd "$(dirname "$0")/.."
scripts/install.sh g++ cmake ninja-build libboost-dev libexpat1-dev libmd-dev libplist-dev libsystemd-dev \
  libnss-wrapper
cmake --preset release -DKXL_BUILD_TESTS=OFF >/dev/null
cmake --build --preset release >/dev/null

machine=$(mktemp -d)
trap 'rm -rf "$machine"' EXIT
trap 'exit 1' HUP INT PIPE TERM
mkdir -p "$machine/home" "$machine/run"
echo "kelly:x:$(id -u):$(id -g)::$machine/home:/bin/sh" >"$machine/passwd"
echo "admin:x:5000:kelly" >"$machine/group"
list="$machine/var/lib/Kelda/Updater6/KeldaESDGlobalApps.xml"
data="$machine/home/.local/share/Kelda/Updater6"
trace="$data/kxlLib.log"
prefs="$data/KeldaUpdaterPrefs.dat"
holds="$data/suppress_all.dat"

# Stands where the updater is installed, and tells how it was started.
updater="$machine/opt/Kelda Utilities.localized/Kelda Updater6/Kelda Updater.app/Contents/MacOS"
mkdir -p "$updater"
mkfifo "$machine/said"
cat >"$updater/Kelda Updater" <<'END'
#!/bin/sh
echo "  the updater runs: KX_LAUNCH_MODE=$KX_LAUNCH_MODE${KX_LAUNCH_APPID:+ KX_LAUNCH_APPID=$KX_LAUNCH_APPID}" \
  >"$KXL_ROOT/said"
END
chmod +x "$updater/Kelda Updater"

title() { printf '\n\033[1m%s\033[0m\n' "$1"; }
said() { grep -F "$1" "$trace" | tail -n 1; }
host() {
  echo "\$ host $*"
  env -u XDG_DATA_HOME LD_PRELOAD=libnss_wrapper.so NSS_WRAPPER_PASSWD="$machine/passwd" \
    NSS_WRAPPER_GROUP="$machine/group" KXL_ROOT="$machine" HOME="$machine/home" \
    XDG_RUNTIME_DIR="$machine/run" build/host "$@"
}

title "An application registers itself, is found registered, and is moved:"
host register /opt/editor
host register /opt/editor
host register /srv/editor

title "The machine's list, which the updater reads:"
cat "$list"

title "Update checks: a user's own, a scheduled one that is due, and one after the updater has looked:"
host check
cat "$machine/said"
host check --scheduled
cat "$machine/said"
# What the updater writes when it has looked.
sed -i "s|</KeldaUpdater>|<LastDateCheck>$(date +%Y-%m-%d)</LastDateCheck></KeldaUpdater>|" "$prefs"
host check --scheduled
said "not passed by"

title "A hold (13: suppressed), and the administrator's switch (7: not enabled):"
host hold 3600
cat "$holds"
host check --scheduled || true
host hold 0
mkdir -p "$machine/etc"
echo '<plist version="1.0"><dict><key>Disable.Update</key><true/></dict></plist>' \
  >"$machine/etc/com.kelda.updater6.Admin.plist"
host check || true

title "The last application unregisters: the list goes, and the updater is started to tidy up:"
host unregister
cat "$machine/said"
[ ! -e "$list" ]

title "The trace of the first and the last call:"
sed -n -e "s|$machine||; 5,12p" "$trace"
echo ...
sed -n -e "s|$machine||; /In KXLUnRegister/,\$p" "$trace" | sed '/^$/d'
