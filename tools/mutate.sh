#!/bin/sh
# tools/mutate.sh [K [PATTERN...]]: changes the library's code, one place at a time (every K-th, default: each), and
# asks the unit and golden tests whether they notice, WORKERS at a time; if not, those of the sanitizers' build. Says
# which changes survived, and fails when more than 3 in 100 did. AGAIN=1: only those that survived the last time. All
# results: build/mutate/*.json.
set -eu
cd "$(dirname "$0")/.."

every=${1:-1}
shift $(($# > 0))
[ $# -gt 0 ] || set -- 'src/*.cpp' 'src/*.h'
log=$(mktemp)
trap 'rm -f "$log"' EXIT
for preset in debug asan; do
  { cmake --preset "$preset" && cmake --build --preset "$preset" --target nas nas_test nas_mutation_samples; } \
    > "$log" 2>&1 || {
    cat "$log" >&2
    exit 1
  }
done
# First of all: does the tool find what it should?
[ -n "${AGAIN:-}" ] || /usr/bin/python3 -B tests/mutation/tool_test.py build/debug build/asan

# The seam's headers are the tests' host as well, and that one stays as it is.
files=$(git ls-files -- "$@" ':!src/platform')
# shellcheck disable=SC2086 # a list of file names
/usr/bin/python3 -B tools/mutate/mutate.py --build build/debug --sanitized build/asan --library src/libnas.so \
  --sources src --tests tests/nas_test --see tests/golden --out build/mutate \
  --equivalent tests/mutation/equivalent.txt --every "$every" --workers "${WORKERS:-$(nproc)}" ${AGAIN:+--again} $files
