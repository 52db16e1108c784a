#!/bin/sh
# Plots the range-search benchmark: values per second by width, one line per path, for the
# bit-vector search in cache and out of cache, with the read of the same bytes as the reference.
#   bench/plot_search.sh [docs/bench-search.json] [docs/bench-search.png]
# Needs python3 (standard library only) and gnuplot (Debian: gnuplot-nox).
set -eu
in=${1:-docs/bench-search.json}
out=${2:-docs/bench-search.png}
tmp=$(mktemp -d)
trap 'rm -rf "$tmp"' EXIT

python3 - "$in" "$tmp" <<'PY'
import json, sys
data = json.load(open(sys.argv[1]))
series = {}
for b in data["benchmarks"]:
    if b.get("error_occurred") or "items_per_second" not in b:
        continue
    parts = b["name"].split("/")
    if parts[0] == "BM_ReadBaseline":
        path, sink, bits, cache = "read baseline", "bv", parts[1], parts[2]
    else:
        _, path, sink, bits, cache = parts[:5]
    if sink != "bv":
        continue
    series.setdefault((cache, path), []).append((int(bits), b["items_per_second"] / 1e9))
for (cache, path), pts in series.items():
    with open(f"{sys.argv[2]}/{cache}_{path.replace(' ', '_')}.dat", "w") as f:
        for bits, v in sorted(pts):
            f.write(f"{bits} {v}\n")
PY

plot_panel() {  # cache title
  first=1
  for p in read_baseline generic sse4 avx2 avx2_pf_nta; do
    f="$tmp/$1_$p.dat"
    [ -f "$f" ] || continue
    [ $first -eq 1 ] && printf 'plot ' || printf ', '
    printf '"%s" using 1:2 with linespoints title "%s"' "$f" "$(echo $p | tr _ ' ')"
    first=0
  done
  echo
}

{
  echo 'set terminal pngcairo size 1400,560 font ",10"'
  echo "set output '$out'"
  echo 'set multiplot layout 1,2'
  echo 'set logscale y'
  echo 'set grid'
  echo 'set key top right'
  echo 'set xlabel "bits per value"'
  echo 'set ylabel "G values / s (bit-vector result)"'
  echo 'set xrange [0.5:32.5]'
  echo 'set xtics 1,1,32 font ",8"'
  echo 'set title "in cache (64 Ki values)"'
  plot_panel 0
  echo 'set title "out of cache (256 MiB of packed data)"'
  plot_panel 1
  echo 'unset multiplot'
} > "$tmp/plot.gp"
gnuplot "$tmp/plot.gp"
echo "wrote $out"
