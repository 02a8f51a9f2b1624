#!/bin/sh
# Tries this checkout on another machine: a bare Debian, made below a folder with debootstrap. There an
# ordinary user with sudo runs both commands of README, and the packages are installed on another one as
# bare, with what they depend on. Prints a line for each step. For arm64 it compiles across and runs the
# layers' tests and the demo under emulation. Needs root, the network, and a quarter of an hour or more.
#   elsewhere.sh bookworm|trixie [ARCH [FOLDER]]    FOLDER: where its own is made, and removed at the end
# KXL_MIRROR names another mirror than debootstrap's.
set -eu
cd "$(dirname "$0")/.."
release=$1
architecture=${2:-$(dpkg --print-architecture)}
scripts/install.sh debootstrap git
work=$(mktemp -d -p "${3:-${TMPDIR:-/var/tmp}}")
trap 'rm -rf --one-file-system "$work"' EXIT
trap 'exit 1' HUP INT PIPE TERM

# Mounts and processes are the command's own, and end with it. The shell stays as the first process, and
# takes note of those whose parent has ended: fakeroot waits for such a one.
# shellcheck disable=SC2016 # the inner shell's
inside() {
  unshare --mount --pid --fork --kill-child sh -c 'root=$1 && shift
    mount -t proc proc "$root/proc"
    mkdir -p "$root/dev/pts" && mount -t devpts devpts "$root/dev/pts"
    mkdir -p "$root/dev/shm" && mount -t tmpfs -o mode=1777 tmpfs "$root/dev/shm"
    [ ! -e /proc/sys/fs/binfmt_misc/status ] ||
      mount --bind /proc/sys/fs/binfmt_misc "$root/proc/sys/fs/binfmt_misc"
    setarch "$KXL_MACHINE" chroot "$root" env -i HOME=/root PATH=/usr/sbin:/usr/bin:/sbin:/bin LC_ALL=C.UTF-8 \
      DEBIAN_FRONTEND=noninteractive "$@"
    exit $?' sh "$@"
}
as_user() { inside "$work/build" su - kelly -c "cd project && $environment $1"; }

step() {
  name=$1
  shift
  start=$(date +%s)
  if "$@" >"$work/log" 2>&1; then
    tests=$(sed -n 's/^100% tests passed, .* out of //p' "$work/log")
    [ -z "$tests" ] || tests=": $tests tests, $(grep -c '(Skipped)$' "$work/log" || true) of them skipped"
    echo "$release $architecture: $name, $(($(date +%s) - start)) s$tests"
  else
    tail -n 60 "$work/log" >&2
    echo "$release $architecture: $name failed"
    exit 1
  fi
}

machine=$architecture
KXL_MACHINE=$(uname -m)
[ "$architecture" != i386 ] || KXL_MACHINE=i686
export KXL_MACHINE
[ "$architecture" != arm64 ] || machine=amd64
make_machines() {
  debootstrap --variant=minbase --arch="$machine" --include=ca-certificates,sudo,git "$release" "$work/bare" \
    ${KXL_MIRROR:+"$KXL_MIRROR"}
  cp /etc/resolv.conf "$work/bare/etc/"
  echo "127.0.0.1 localhost $(hostname)" >"$work/bare/etc/hosts"
  cp -a "$work/bare" "$work/build"
  inside "$work/build" useradd --create-home --shell /bin/sh kelly
  echo 'kelly ALL=(ALL) NOPASSWD: ALL' >"$work/build/etc/sudoers.d/kelly"
  git clone --quiet --no-hardlinks . "$work/build/home/kelly/project"
  chown -R 1000:1000 "$work/build/home/kelly/project"
}
step "bare machine" make_machines

environment=
if [ "$architecture" = arm64 ]; then
  # shellcheck disable=SC2016 # the inner shell's
  across='dpkg --add-architecture arm64 && apt-get -qq update &&
    apt-get -qq install -y --no-install-recommends g++-aarch64-linux-gnu cmake ninja-build libnss-wrapper \
      libnss-wrapper:arm64 libuid-wrapper:arm64 libboost-dev:arm64 libexpat1-dev:arm64 libmd-dev:arm64 \
      libplist-dev:arm64 libsystemd-dev:arm64 libgtest-dev:arm64 libcli11-dev nlohmann-json3-dev \
      dbus-daemon python3 qemu-user-static binfmt-support &&
    { [ -e /proc/sys/fs/binfmt_misc/qemu-aarch64 ] || update-binfmts --import qemu-aarch64; } &&
    update-binfmts --enable qemu-aarch64'
  environment='CC=aarch64-linux-gnu-gcc CXX=aarch64-linux-gnu-g++'
  step "compiler and emulator" inside "$work/build" sh -c "$across"
  # Limits of a process, refused calls of the system and SIGCHLD are the emulator's own there.
  step "layers' tests" as_user 'sh -c "cmake --preset release && cmake --build --preset release --target layer_tests updater &&
    cd build && ctest -R \"^(Xml|Journal|Resource|File|Path|Version|Preferences|Registered|Launcher|TimeZone|LocalDate)\" \\
      -E \"MadeInVainGoes|NeverBeHad|BundleDetached|VariablesForTheCall\""'
  step "scripts/demo.sh" as_user scripts/demo.sh
  exit
fi

step "scripts/demo.sh" as_user scripts/demo.sh
step "scripts/test.sh" as_user scripts/test.sh
install_packages() {
  as_user 'sh -c "cd build && cpack -G DEB"'
  mkdir "$work/bare/packages"
  cp "$work"/build/home/kelly/project/build/*.deb "$work/bare/packages/"
  # shellcheck disable=SC2016 # the inner shell's
  inside "$work/bare" sh -ec 'apt-get -qq update
    apt-get -qq install -y --no-install-recommends /packages/*.deb
    kxl-test-machine /machine -- kxl register a A /
    [ "$(kxl-test-machine /machine -- kxl list)" = "a  A  /" ]
    python3 -c "import kxl"'
}
step "packages" install_packages
