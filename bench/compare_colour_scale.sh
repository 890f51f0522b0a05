#!/usr/bin/env bash
# Colour scaling against `vips` on the same pixels: the in-process Google Benchmark
# figures of ColourScaleBench, then whole processes timed end to end (read a PPM,
# scale, write a PPM), each the best of several runs, as a table with the ratio of
# our wall time to vips's (below 1: we are faster).
#
#   bench/compare_colour_scale.sh [BUILD_DIR] [RUNS]
#
# BUILD_DIR holds bench/ColourScaleBench (a Release build; default build). vips runs
# single-threaded, like the library, unless VIPS_CONCURRENCY is set. Times come from
# hyperfine when present, else /usr/bin/time -v (10 ms steps); peak memory from one
# run under /usr/bin/time -v.
set -euo pipefail

build=${1:-build}
runs=${2:-3}
bench="$build/bench/ColourScaleBench"
[ -x "$bench" ] || { echo "no $bench: build the benchmarks first" >&2; exit 1; }
command -v vips >/dev/null || { echo "vips not found (Debian package libvips-tools)" >&2; exit 1; }
export VIPS_CONCURRENCY=${VIPS_CONCURRENCY:-1}

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
photo="$work/photo.ppm"
"$bench" --write-ppm "$photo"

echo "== In process (Google Benchmark) =="
"$bench" --benchmark_min_time=0.3 2>/dev/null

# Peak RSS in MB of one run of a command.
peak_rss() {
  /usr/bin/time -v "$@" 2>"$work/time.txt" >/dev/null
  awk -F': ' '/Maximum resident set size/ {printf "%d", $2 / 1024}' "$work/time.txt"
}

# Best wall time in seconds of a command over $runs runs, then its peak RSS in MB.
measure() {
  local best=""
  if command -v hyperfine >/dev/null; then
    hyperfine --warmup 1 --runs "$runs" --style none --export-json "$work/h.json" \
      -- "$(printf '%q ' "$@")" >/dev/null 2>"$work/hyperfine.txt" ||
      { cat "$work/hyperfine.txt" >&2; return 1; }
    best=$(python3 -c 'import json, sys
print("%.3f" % min(json.load(open(sys.argv[1]))["results"][0]["times"]))' "$work/h.json")
  else
    for _ in $(seq "$runs"); do
      /usr/bin/time -v "$@" 2>"$work/time.txt" >/dev/null
      local wall
      wall=$(awk -F': ' '/Elapsed \(wall clock\)/ {
        n = split($2, p, ":"); s = 0; for (i = 1; i <= n; i++) s = s * 60 + p[i]; print s }' \
        "$work/time.txt")
      if [ -z "$best" ] || awk -v a="$wall" -v b="$best" 'BEGIN {exit !(a < b)}'; then
        best=$wall
      fi
    done
  fi
  echo "$best $(peak_rss "$@")"
}

# name | our operation and factor | the vips command on the same picture
rows=(
  "read + write|copy 1|copy PHOTO OUT.ppm"
  "ReduceResample 1/2 : vips shrink (box)|reduce-resample 0.5|shrink PHOTO OUT.ppm 2 2"
  "ReduceResample 1/4 : vips shrink (box)|reduce-resample 0.25|shrink PHOTO OUT.ppm 4 4"
  "ReduceResample 1/4 : vips resize (lanczos3)|reduce-resample 0.25|resize PHOTO OUT.ppm 0.25"
  "Reduce_bkg 1/4 : vips resize (nearest)|reduce-bkg 0.25|resize PHOTO OUT.ppm 0.25 --kernel nearest"
  "EnlargeResample x1.5 : vips resize (cubic)|enlarge-resample 1.5|resize PHOTO OUT.ppm 1.5 --kernel cubic"
  "EnlargeResample x2 : vips resize (cubic)|enlarge-resample 2|resize PHOTO OUT.ppm 2 --kernel cubic"
)

echo
echo "== Whole process, 4000 x 3000, best of $runs (VIPS_CONCURRENCY=$VIPS_CONCURRENCY) =="
printf '%-46s %10s %10s %8s %8s %9s\n' "operation : vips counterpart" "ours s" "vips s" \
  "ours MB" "vips MB" "ours/vips"
for row in "${rows[@]}"; do
  IFS='|' read -r name ours theirs <<<"$row"
  read -r op factor <<<"$ours"
  read -r oursWall oursRss < <(measure "$bench" --run "$op" "$factor" "$photo" "$work/ours.ppm")
  read -ra vipsArgs <<<"${theirs//PHOTO/$photo}"
  vipsArgs=("${vipsArgs[@]//OUT.ppm/$work/vips.ppm}")
  read -r vipsWall vipsRss < <(measure vips "${vipsArgs[@]}")
  ratio=$(awk -v a="$oursWall" -v b="$vipsWall" 'BEGIN {if (b > 0) printf "%.2f", a / b; else printf "-"}')
  printf '%-46s %10s %10s %8s %8s %9s\n' "$name" "$oursWall" "$vipsWall" "$oursRss" \
    "$vipsRss" "$ratio"
done
