#!/usr/bin/env bash
# Whole-process timings of the converter: wall time (median, min, max over the runs) and
# peak resident set size (median) of each command, the commands interleaved run by run so
# that a slow phase of the machine hits all of them alike, then the converter against its
# goals. Builds nothing but the small baseline program when the build folder lacks it.
#
# Usage: bench/run_process_bench.sh [-r RUNS] [-n NODES] [-s SYNTHETIC.xml] [-S] BUILD_DIR
#   -r RUNS    runs per command (default 9, at least 1)
#   -n NODES   nodes of the synthetic model (default 1000000)
#   -s FILE    where the synthetic model is kept (default: $TMPDIR/vos-synthetic-NODES.xml);
#              written by bench/gen_synthetic_model.py when it does not exist
#   -S         leave the synthetic model out
set -euo pipefail

runs=9
nodes=1000000
synthetic=""
with_synthetic=1
while getopts "r:n:s:Sh" opt; do
  case "$opt" in
    r) runs="$OPTARG" ;;
    n) nodes="$OPTARG" ;;
    s) synthetic="$OPTARG" ;;
    S) with_synthetic=0 ;;
    *) sed -n '2,12p' "$0" | sed 's/^# \{0,1\}//'; exit 1 ;;
  esac
done
shift $((OPTIND - 1))
if [ $# -ne 1 ] || [ "$runs" -lt 1 ]; then
  sed -n '2,12p' "$0" | sed 's/^# \{0,1\}//'
  exit 1
fi

here="$(cd "$(dirname "$0")" && pwd)"
build="$(cd "$1" && pwd)"
vospack="$build/bin/vospack"
models="$(cd "$here/.." && pwd)/node_modules/node-opcua-nodesets/nodesets"
ns0="$models/Opc.Ua.NodeSet2.xml"
di="$models/Opc.Ua.Di.NodeSet2.xml"
[ -x "$vospack" ] || { echo "error: no executable $vospack (build it first)" >&2; exit 1; }
[ -f "$ns0" ] && [ -f "$di" ] || { echo "error: models not installed in $models (npm install)" >&2; exit 1; }

# The measuring tools, installed when missing.
need_apt=()
[ -x /usr/bin/time ] || need_apt+=(time)
command -v xmllint >/dev/null || need_apt+=(libxml2-utils)
if [ ${#need_apt[@]} -gt 0 ]; then
  echo "installing ${need_apt[*]}" >&2
  sudo=""
  [ "$(id -u)" -eq 0 ] || sudo=sudo
  $sudo apt-get install -y "${need_apt[@]}" >/dev/null
fi

if [ "$with_synthetic" -eq 1 ]; then
  [ -n "$synthetic" ] || synthetic="${TMPDIR:-/tmp}/vos-synthetic-$nodes.xml"
  if [ ! -f "$synthetic" ]; then
    echo "writing the synthetic model of $nodes nodes to $synthetic" >&2
    python3 "$here/gen_synthetic_model.py" -n "$nodes" -o "$synthetic"
  fi
fi

work="$(mktemp -d)"
trap 'rm -rf "$work"' EXIT

# The yardstick: one table-driven pass over every byte (bench/automaton_baseline.cpp).
baseline="$build/bin/automaton_baseline"
if [ ! -x "$baseline" ]; then
  baseline="$work/automaton_baseline"
  echo "compiling $here/automaton_baseline.cpp (not in $build/bin)" >&2
  "${CXX:-c++}" -O2 -std=c++20 -o "$baseline" "$here/automaton_baseline.cpp"
fi

# name|command; the commands run in $work (a converter run leaves its output file there).
# "load only" selects a namespace URI that no model has: the run stops with an error right
# after loading and printing the namespace table, before the back end.
no_uri="urn:vos:bench:none"
commands=(
  "convert ns0+DI|$vospack -i2 -o di.bin $ns0 $di"
  "load only ns0+DI|$vospack -u $no_uri $ns0 $di"
  "export ns0+DI|$vospack -x -o /dev/null $ns0 $di"
  "xmllint ns0+DI|xmllint --noout $ns0 $di"
  "baseline ns0+DI|$baseline $ns0 $di"
)
if [ "$with_synthetic" -eq 1 ]; then
  # The synthetic model's namespace is the first after the two fixed entries.
  commands+=(
    "convert ns0+synthetic|$vospack -i2 -o synthetic.bin $ns0 $synthetic"
    "load only ns0+synthetic|$vospack -u $no_uri $ns0 $synthetic"
    "export ns0+synthetic|$vospack -x -o /dev/null $ns0 $synthetic"
  )
fi

# One run: appends "<milliseconds> <peak RSS KiB>" to the command's record.
measure() {
  local i="$1" cmd="$2" start end
  start=$(date +%s%N)
  (cd "$work" && /usr/bin/time -f "%M" -o "$work/rss" $cmd >/dev/null 2>&1) || true
  end=$(date +%s%N)
  echo "$(((end - start) / 1000)) $(tail -n 1 "$work/rss")" >>"$work/rec.$i"
}

echo "$runs runs of ${#commands[@]} commands, interleaved" >&2
for ((r = 1; r <= runs; r++)); do
  for i in "${!commands[@]}"; do
    measure "$i" "${commands[$i]#*|}"
  done
  echo -n "." >&2
done
echo >&2

printf "%-24s %10s %10s %10s %12s\n" "command" "median ms" "min ms" "max ms" "peak RSS MB"
declare -A median_ms median_mb
for i in "${!commands[@]}"; do
  name="${commands[$i]%%|*}"
  # Times and RSS are ordered separately: each median is that of its own column.
  row=$(paste <(cut -d' ' -f1 "$work/rec.$i" | sort -n) <(cut -d' ' -f2 "$work/rec.$i" | sort -n) |
    awk '
      { t[NR] = $1; m[NR] = $2 }
      END {
        mid = int((NR + 1) / 2)
        printf "%.1f %.1f %.1f %.1f\n", t[mid] / 1000, t[1] / 1000, t[NR] / 1000, m[mid] / 1024
      }')
  read -r med lo hi mb <<<"$row"
  median_ms[$name]=$med
  median_mb[$name]=$mb
  printf "%-24s %10s %10s %10s %12s\n" "$name" "$med" "$lo" "$hi" "$mb"
done

# The converter against its goals: at most 0.35 x xmllint and 2 x the baseline on ns0+DI,
# under 40 MB there; the 1,000,000-node model in under 8 s and 4 GB.
goal() {  # label, value, limit, unit
  awk -v l="$1" -v v="$2" -v g="$3" -v u="$4" \
    'BEGIN { printf "  %-34s %10.2f %-3s (goal <= %s) %s\n", l, v, u, g, (v <= g ? "met" : "MISSED") }'
}
echo "goals:"
conv=${median_ms["convert ns0+DI"]}
goal "convert / xmllint (ns0+DI)" "$(awk -v a="$conv" -v b="${median_ms["xmllint ns0+DI"]}" 'BEGIN { print a / b }')" 0.35 "x"
goal "convert / baseline (ns0+DI)" "$(awk -v a="$conv" -v b="${median_ms["baseline ns0+DI"]}" 'BEGIN { print a / b }')" 2 "x"
goal "convert peak RSS (ns0+DI)" "${median_mb["convert ns0+DI"]}" 40 "MB"
if [ "$with_synthetic" -eq 1 ] && [ "$nodes" -eq 1000000 ]; then
  goal "convert time (1M nodes)" "$(awk -v a="${median_ms["convert ns0+synthetic"]}" 'BEGIN { print a / 1000 }')" 8 "s"
  goal "convert peak RSS (1M nodes)" "$(awk -v a="${median_mb["convert ns0+synthetic"]}" 'BEGIN { print a / 1024 }')" 4 "GB"
fi
echo "commands:"
for c in "${commands[@]}"; do echo "  ${c#*|}"; done
