#!/usr/bin/env bash
# A PDF page rendered at 200 dpi (1700 x 2200 for a letter page) by two whole
# processes in the same run: PdfRenderBench, through CImgPDF::scale into a CImg32
# written as PPM, and `pdftoppm -r 200` writing the same PPM. Both render with
# poppler, so the ratio is this library's overhead. Prints the best wall time and the
# mean CPU time (user + system; steadier on a busy machine) of each, and the ratios.
#
# libtasn1.pdf page 5 (libtasn1-doc), 60 runs on a loaded 2-core machine: CPU 1.54x
# and best wall 1.71x before the heap was prepared for page-sized renders and the
# widened raster got huge pages; 0.95x and 0.94x after (DESIGN.md, PDF section).
#
#   bench/compare_pdf_render.sh [BUILD_DIR] [RUNS] [PDF] [PAGE]
#
# BUILD_DIR holds bench/PdfRenderBench (a Release build; default build-rel). PDF
# defaults to the first letter-sized PDF under /usr/share.
set -euo pipefail

build=${1:-build-rel}
runs=${2:-20}
pdf=${3:-}
page=${4:-5}
bench="$build/bench/PdfRenderBench"
[ -x "$bench" ] || { echo "no $bench: build the benchmarks first" >&2; exit 1; }
command -v pdftoppm >/dev/null || { echo "pdftoppm not found (Debian package poppler-utils)" >&2; exit 1; }
command -v hyperfine >/dev/null || { echo "hyperfine not found" >&2; exit 1; }
if [ -z "$pdf" ]; then
  while read -r f; do
    if pdfinfo "$f" 2>/dev/null | grep -q 'Page size: *612 x 792'; then pdf=$f; break; fi
  done < <(find /usr/share -name '*.pdf' 2>/dev/null | sort)
fi
[ -n "$pdf" ] || { echo "no letter-sized PDF found under /usr/share" >&2; exit 1; }
pages=$(pdfinfo "$pdf" | awk '/^Pages:/ {print $2}')
[ "$page" -le "$pages" ] || page=1

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
echo "$pdf, page $page"
hyperfine -N --warmup 3 --runs "$runs" --style none --export-json "$work/h.json" \
  -n ours "$bench $pdf $page $work/ours.ppm" \
  -n pdftoppm "pdftoppm -r 200 -f $page -l $page -singlefile $pdf $work/theirs" >/dev/null
python3 - "$work/h.json" <<'PY'
import json, sys
r = {x["command"]: x for x in json.load(open(sys.argv[1]))["results"]}
def cpu(x): return 1000 * (x["user"] + x["system"])
for name in ("ours", "pdftoppm"):
    print("%-9s best wall %6.1f ms   mean cpu %6.1f ms" % (name, 1000 * min(r[name]["times"]), cpu(r[name])))
print("ratio     wall %.2f   cpu %.2f" % (min(r["ours"]["times"]) / min(r["pdftoppm"]["times"]),
                                         cpu(r["ours"]) / cpu(r["pdftoppm"])))
PY
cmp -s <(tail -c +1 "$work/ours.ppm" | wc -c) <(tail -c +1 "$work/theirs.ppm" | wc -c) ||
  echo "note: the two PPM files differ in size" >&2
