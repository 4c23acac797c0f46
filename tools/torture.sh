#!/bin/sh
# tools/torture.sh [K]: fails every K-th call (default: each) that the library makes, once and from there on, and says
# what went wrong. As many at a time as there are processors; PRESET=asan: with sanitizers.
set -eu
cd "$(dirname "$0")/.."

every=${1:-1}
preset=${PRESET:-debug}
shards=$(nproc)
log=$(mktemp -d)
trap 'rm -rf "$log"' EXIT
{ cmake --preset "$preset" && cmake --build --preset "$preset" --target nas_torture; } > "$log/build" 2>&1 || {
  cat "$log/build" >&2
  exit 1
}
status=0
# shellcheck disable=SC2016 # for the inner shell
seq 0 $((shards - 1)) | xargs -P "$shards" -I{} sh -c \
  '"$1" --every "$2" --shard "$3/$4" > "$5/$3" 2>&1' - \
  "build/$preset/tests/torture/nas_torture" "$every" {} "$shards" "$log" ||
  status=1
grep -hv '^|' "$log"/[0-9]* || true
grep -h '^| ' "$log"/[0-9]* | LC_ALL=C sort | awk -F'|' '
  { for (i = 3; i <= 5; ++i) { sum[$2, i] += $i; total[i] += $i } if (!($2 in known)) order[++rows] = $2; known[$2] }
  END {
    print "| function | scenarios | calls that can fail | attempts |\n|---|---|---|---|"
    for (r = 1; r <= rows; ++r)
      printf "|%s| %d | %d | %d |\n", order[r], sum[order[r], 3], sum[order[r], 4], sum[order[r], 5]
    printf "| all | %d | %d | %d |\n", total[3], total[4], total[5]
  }'
exit $status
