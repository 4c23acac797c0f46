#!/bin/sh
# Measures what the library promises, and what others take for the same; prints the table and fails when a promise is
# not kept. STAGE is the tree of programs for the virtual router; without it that is not measured. All numbers:
# build/bench/results.json.
set -eu
cd "$(dirname "$0")/.."

log=$(mktemp)
trap 'rm -f "$log"' EXIT
{ cmake --preset release && cmake --build --preset release --target nas_bench; } > "$log" 2>&1 || {
  cat "$log" >&2
  exit 1
}
export PYTHONDONTWRITEBYTECODE=1
python3 bench/run.py build/release build/bench
