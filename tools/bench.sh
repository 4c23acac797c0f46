#!/bin/sh
# Measures what the library promises, prints the table and fails when a promise is not kept.
# All numbers: build/bench/results.json.
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
