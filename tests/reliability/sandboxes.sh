#!/bin/sh
# The nine calls, and the doctor, in sandboxes; tells those that come out otherwise.
#   sandboxes.sh BUILD-FOLDER
set -eu
build=$1
bwrap --ro-bind / / --dev /dev true 2>/dev/null || {
  echo "needs bubblewrap, and the right to use it"
  exit 77
}
machine=$(mktemp -d /var/tmp/kxl-XXXXXX)
trap 'rm -rf "$machine"' EXIT
trap 'exit 1' HUP INT PIPE TERM
executables="$machine/opt/Kelda Utilities.localized/Kelda Updater6/Kelda Updater.app/Contents/MacOS"
mkdir -p "$executables"
ln -s /bin/true "$executables/Kelda Updater" # ends at once

cat >"$machine/calls" <<'END_OF_CALLS'
call() {
  "$KXL" "$@" >/dev/null 2>&1 && codes="$codes 0" || codes="$codes $?"
}
codes=
start=$(date +%s)
call action a
call register a A /
call unregister a
call enabled
call check a A /
call available a A /
call missing a A / --component n c 1
call suppress a --for 60
call version
[ $(($(date +%s) - start)) -le 10 ] || codes="$codes, too slow"
echo "$codes:$("$KXL" doctor --json | sed -n 's/^{"finding":"\(sandbox-[^"]*\|read-only\|no-runtime-folder\)".*/ \1/p' | sort -u | tr -d '\n')"
END_OF_CALLS
echo "devices=dri;" >"$machine/flatpak"
echo "devices=dri;shm;" >"$machine/flatpak-shm"

all="--ro-bind / / --tmpfs /var/lib --bind $machine/opt /opt --bind $machine/home $machine/home"
all="$all --bind $machine/run $machine/run --proc /proc"
list="--bind $machine/var/lib/Kelda /var/lib/Kelda"
shm="--dev /dev --bind /dev/shm /dev/shm"
flatpak="--tmpfs / --ro-bind /usr /usr --symlink usr/lib /lib --symlink usr/lib64 /lib64 --symlink usr/bin /bin"
flatpak="$flatpak --ro-bind /etc /etc --proc /proc --dev /dev --tmpfs /tmp --bind $machine/opt /opt --tmpfs /var"
flatpak="$flatpak --ro-bind $build $build --bind $machine $machine"

failed=0
# What the sandbox leaves out, its options, the codes of the calls, what the doctor finds.
while IFS='|' read -r name options expected; do
  rm -rf "${machine:?}/home" "${machine:?}/var" "${machine:?}/run"
  seen=$(KXL="$build/kxl" LD_LIBRARY_PATH="$build" "$build/kxl-test-machine" "$machine" -- \
    sh -c "exec bwrap --unsetenv KXL_ROOT $options sh '$machine/calls'" 2>&1 || true)
  [ "$seen" != "$expected" ] || continue
  failed=1
  printf '%s\n  expected %s\n  seen     %s\n' "$name" "$expected" "$seen"
done <<END_OF_TABLE
nothing|$all $list --dev-bind /dev /dev| 6 0 0 0 0 8 0 0 0:
the machine's /dev/shm|$all $list --dev /dev| 6 0 0 0 0 8 0 0 0: sandbox-locks
nothing but the devices|$all $list $shm| 6 0 0 0 0 8 0 0 0:
every lock|$all $list --dev /dev --remount-ro /dev| 6 4 4 0 0 8 1 14 0: read-only sandbox-locks
/proc|$all $list $shm --tmpfs /proc| 6 0 0 0 0 8 0 0 0:
other processes|$all $list $shm --unshare-pid| 6 0 0 0 0 8 0 0 0:
the network and IPC|$all $list $shm --unshare-net --unshare-ipc| 6 0 0 0 0 8 0 0 0:
other users|$all $list $shm --unshare-user| 6 0 0 0 0 8 0 0 0:
HOME|$all $list $shm --unsetenv HOME --unsetenv XDG_RUNTIME_DIR| 6 0 0 0 0 1 0 0 0: no-runtime-folder
writing|--ro-bind / / --ro-bind $machine/opt /opt $shm --proc /proc| 1 1 1 0 1 1 1 1 0: read-only
the list|$all $shm| 6 0 0 0 0 8 0 0 0: sandbox-list
nothing of Flatpak's|$flatpak $list --bind /dev/shm /dev/shm --ro-bind $machine/flatpak-shm /.flatpak-info| 6 0 0 0 0 8 0 0 0: sandbox-switch
Flatpak's shared memory|$flatpak $list --ro-bind $machine/flatpak /.flatpak-info| 6 0 0 0 0 8 0 0 0: sandbox-locks sandbox-switch
the list, of Flatpak's|$flatpak --bind /dev/shm /dev/shm --ro-bind $machine/flatpak-shm /.flatpak-info| 6 0 0 0 0 8 0 0 0: sandbox-list sandbox-switch
END_OF_TABLE

# Two sandboxes that have each locks of their own keep one list together.
rm -rf "${machine:?}/home" "${machine:?}/var"
for sandbox in one other; do
  KXL="$build/kxl" LD_LIBRARY_PATH="$build" "$build/kxl-test-machine" "$machine" -- \
    sh -c "exec bwrap --unsetenv KXL_ROOT $all $list --dev /dev sh -c '
      for number in \$(seq 100); do \"\$KXL\" register $sandbox\$number A / || exit; done'" >"$machine/$sandbox" &
  pids="${pids:-} $!"
done
# shellcheck disable=SC2086 # a list of numbers
wait $pids
listed=$(grep -c appID "$machine/var/lib/Kelda/Updater6/KeldaESDGlobalApps.xml")
[ "$listed" = 200 ] || {
  echo "of 200 registrations in two sandboxes $listed are listed"
  tail -n 1 "$machine/one" "$machine/other"
  failed=1
}
exit $failed
