#!/bin/sh
# tools/store-kills.sh [KILLS]: kills writers of the reference host's store that often (default: 20000), and checks after
# each that it stands. The store lies in memory: what a kill can tear is no matter of the disk.
set -eu
cd "$(dirname "$0")/.."

log=$(mktemp)
folder=$(mktemp -d -p /dev/shm)
trap 'rm -rf "$log" "$folder"' EXIT
{ cmake --preset debug && cmake --build --preset debug --target nas_store_kills; } > "$log" 2>&1 || {
  cat "$log" >&2
  exit 1
}
build/debug/tests/torture/nas_store_kills "${1:-20000}" "$folder"
