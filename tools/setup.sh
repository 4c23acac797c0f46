#!/bin/sh
# tools/setup.sh GROUP...: installs the Debian packages that a group of the project's targets needs.
# Says and does nothing when they are there.
set -eu

packages() {
    case $1 in
        build)
            echo g++ cmake ninja-build pkg-config python3 mandoc libgtest-dev binutils iproute2 sqlite3 \
                libsqlite3-dev libnl-3-dev libnl-route-3-dev libblkid-dev libssl-dev libminiupnpc-dev libcli11-dev \
                nlohmann-json3-dev ;;
        router) # what the virtual router is built with; its daemons are unpacked apart and never installed
            echo gcc libc6-dev util-linux mount iproute2 procps psmisc e2fsprogs iptables kmod \
                python3 python3-cryptography python3-pytest python3-pytest-xdist ;;
        lint) echo clang-format clang-tidy clang shellcheck ;;
        bench) # the last three are what the library is compared with
            echo valgrind binutils python3 gnuplot-nox libmount-dev libudev-dev libctemplate-dev ;;
        package) echo debhelper lintian fakeroot dpkg-dev ;;
        cross) echo g++-mips-linux-gnu qemu-user-static googletest ;;
        target) echo g++-mips-linux-gnu qemu-user-static googletest uclibc-source gcc-12-source xz-utils python3 ;;
        fuzz) echo clang libclang-rt-dev llvm ;;
        mutate) echo python3-clang-14 libclang-common-14-dev ;;
        *) echo "tools/setup.sh: no such group: $1" >&2; exit 2 ;;
    esac
}

missing=
for group; do
    wanted=$(packages "$group")
    for package in $wanted; do
        state=$(dpkg-query -W -f '${db:Status-Status}' "$package" 2>/dev/null) || state=
        [ "$state" = installed ] || missing="$missing $package"
    done
done
[ -n "$missing" ] || exit 0

if ! command -v apt-get > /dev/null; then
    echo "This needs a Debian system (version 12) with these packages:$missing" >&2
    exit 2
fi
if [ "$(id -u)" -ne 0 ]; then
    echo "These packages are missing, and only root can install them:$missing" >&2
    echo "Run this first:  sudo apt-get install --no-install-recommends$missing" >&2
    exit 2
fi
echo "Installing:$missing"
export DEBIAN_FRONTEND=noninteractive
log=$(mktemp)
# shellcheck disable=SC2086 # a list of package names
{ apt-get -q update && apt-get -q install -y --no-install-recommends $missing; } > "$log" 2>&1 || {
    tail -n 30 "$log" >&2
    echo "The installation failed; the whole log is $log" >&2
    exit 1
}
rm -f "$log"
