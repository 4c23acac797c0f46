#!/bin/bash
# tools/fuzz.sh [SECONDS [TARGET...]]: runs every fuzz target that long (default: 600), as many at a time as there are
# processors, and prints how many inputs each has tried. What is found and what is learnt stays in build/fuzz/run.
# Fails when an input was found that the library does not stand.
set -euo pipefail
cd "$(dirname "$0")/.."

seconds=${1:-600}
shift $(($# > 0))
log=$(mktemp)
trap 'rm -f "$log"' EXIT
{ cmake --preset fuzz && cmake --build --preset fuzz --target nas_fuzz; } > "$log" 2>&1 || {
  cat "$log" >&2
  exit 1
}
mkdir -p build/fuzz/run
# The targets cover /tmp and more with a sandbox of their own: all paths are relative to a folder that stays open.
cd build/fuzz/run
targets=("$@")
[ $# -gt 0 ] || mapfile -t targets < <(find ../tests/fuzz -maxdepth 1 -name "fuzz_*" -printf "%f\n" | sed "s,^fuzz_,," | sort)

run_target() {
  local target=$1 seconds=$2
  mkdir -p "$target" "seeds/$target"
  cp ../../../tests/fuzz/corpus/"$target"/* "seeds/$target/"
  # Without a limit of memory of its own: the thread that watches it would sleep in the recorded world.
  if ../tests/fuzz/"fuzz_$target" "$target" "seeds/$target" -max_total_time="$seconds" -timeout=10 -max_len=4096 -rss_limit_mb=0 \
    -malloc_limit_mb=1024 \
    -print_final_stats=1 -artifact_prefix="found-$target-" -dict=../../../tests/fuzz/words.dict \
    > "$target.log" 2>&1; then
    awk -v target="$target" '/^stat::number_of_executed_units/ { runs = $2 } / cov: / { cov = $4 } / corp: / { corp = $8 }
      END { printf "%-12s %10d inputs, %5d edges, %s in the corpus\n", target, runs, cov, corp }' "$target.log"
  else
    echo "$target: FAILED; the last lines of build/fuzz/run/$target.log:"
    tail -n 60 "$target.log"
    return 1
  fi
}
export -f run_target
printf '%s\n' "${targets[@]}" | xargs -P "$(nproc)" -I{} bash -c 'run_target "$@"' - {} "$seconds"
