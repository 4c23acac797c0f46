#!/bin/sh
# usage: install_test.sh BUILD|TREE EXAMPLES
# Installs what was built into a folder (or takes the tree where that was done), builds the example against it in both
# ways, and runs it with the reference host: in namespaces of its own, where /mnt holds one volume and no service runs.
set -eu

build=$1
examples=$2
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
prefix=$work/prefix

fail() { echo "$*" >&2; exit 1; }

# logged NAME COMMAND...: quiet unless it fails.
logged() {
    log=$work/$1.log
    shift
    "$@" > "$log" 2>&1 || { cat "$log" >&2; fail "failed: $*"; }
}

if [ -f "$build/CMakeCache.txt" ]; then
    logged install cmake --install "$build" --prefix "$prefix"
    # Moved: nothing that was installed may remember where it was put first.
    mv "$prefix" "$work/moved"
    prefix=$work/moved
else
    prefix=$(realpath "$build")
fi
libdir=$(dirname "$(find "$prefix" -name libnas.so)")
export LD_LIBRARY_PATH="$libdir"

soname=$(readelf -d "$libdir/libnas.so" | sed -n 's/.*(SONAME).*\[\(.*\)\]/\1/p')
[ "$soname" = libnas.so.1 ] || fail "the SONAME is \"$soname\""
[ -e "$libdir/libnas.so.1" ] || fail "there is no libnas.so.1"

cp -r "$examples/overview" "$work/pkg-config"
export PKG_CONFIG_PATH="$libdir/pkgconfig"
logged pkg-config make -C "$work/pkg-config"
logged cmake cmake -G Ninja -S "$examples/overview" -B "$work/cmake" "-DCMAKE_PREFIX_PATH=$prefix"
logged cmake-build cmake --build "$work/cmake"

# Versions and components that are not there are not found.
mkdir "$work/absent"
cat > "$work/absent/CMakeLists.txt" <<'END'
cmake_minimum_required(VERSION 3.25)
project(absent LANGUAGES NONE)
foreach(request IN ITEMS "1.0" "0.999" "0.1;COMPONENTS;unheard_of")
  unset(nas_DIR CACHE)
  find_package(nas ${request} QUIET)
  if(nas_FOUND)
    message(FATAL_ERROR "found: nas ${request}")
  endif()
endforeach()
END
logged absent cmake -G Ninja -S "$work/absent" -B "$work/absent/build" "-DCMAKE_PREFIX_PATH=$prefix"

cat > "$work/expected" <<'END'
ftp         on   -
samba       off  -
url         off  -
rsync       off  -
nalvexcloud off  -
torrent     off  -
media       off  -
entware     off  -
sda1        Disk1       1.0 MB, 0 % used
END
printf '%s\n' "config_store = $work/config.db" "status_store = $work/status.db" > "$work/host.conf"
export NAS_HOST_CONF="$work/host.conf"

namespaces="--mount --pid --fork --mount-proc --propagation private"
[ "$(id -u)" -eq 0 ] || namespaces="--map-root-user $namespaces"
# shellcheck disable=SC2086 # a list of options
unshare $namespaces true 2> /dev/null || { echo "no namespaces here"; exit 77; }

# shellcheck disable=SC2016,SC2086 # expanded by the inner shell; a list of options
unshare $namespaces sh -eu -c '
    mount -t tmpfs none /mnt
    mkdir /mnt/Disk1
    mount -t tmpfs -o size=1M /dev/sda1 /mnt/Disk1
    "$1/bin/nasctl" config set ftp_conf 1,21,9000,UTF-8,0
    for program in "$2/pkg-config/overview" "$2/cmake/overview"; do
        "$program" > "$2/printed"
        diff -u "$2/expected" "$2/printed" || { echo "$program printed something else" >&2; exit 1; }
    done
' sh "$prefix" "$work"
