#!/usr/bin/env bash
# Whole-process timings of the converter: wall time (median, min, max over the runs), minor
# page faults and peak resident set size (medians) of each command, the commands interleaved
# run by run so that a slow phase of the machine hits all of them alike, then the converter
# against its goals. Builds nothing but the small baseline program when the build folder
# lacks it.
#
# Usage: bench/run_process_bench.sh [-r RUNS] [-n NODES] [-s SYNTHETIC.xml] [-S] [-B] BUILD_DIR
#   -r RUNS    runs per command (default 9, at least 1)
#   -n NODES   nodes of the synthetic model (default 1000000)
#   -s FILE    where the synthetic model is kept (default: $TMPDIR/vos-synthetic-NODES.xml);
#              written by bench/gen_synthetic_model.py when it does not exist
#   -S         leave the synthetic model out
#   -B         add the 10,000,000-node model (three files of $TMPDIR/vos-synthetic-10000000.K.xml,
#              about 4.6 GB together, written when missing; a run takes about ten times as long
#              and as much memory as one of the 1,000,000-node model)
set -euo pipefail

runs=9
nodes=1000000
synthetic=""
with_synthetic=1
with_big=0
usage() { sed -n '2,17p' "$0" | sed 's/^# \{0,1\}//'; exit 1; }
while getopts "r:n:s:SBh" opt; do
  case "$opt" in
    r) runs="$OPTARG" ;;
    n) nodes="$OPTARG" ;;
    s) synthetic="$OPTARG" ;;
    S) with_synthetic=0 ;;
    B) with_big=1 ;;
    *) usage ;;
  esac
done
shift $((OPTIND - 1))
if [ $# -ne 1 ] || [ "$runs" -lt 1 ]; then usage; fi

here="$(cd "$(dirname "$0")" && pwd)"
build="$(cd "$1" && pwd)"
vospack="$build/bin/vospack"
vosdump="$build/bin/vosdump"
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
big_parts=()
if [ "$with_big" -eq 1 ]; then
  # One file of ten million nodes would pass the 4 GiB that a model file may have.
  big="${TMPDIR:-/tmp}/vos-synthetic-10000000.xml"
  for k in 1 2 3; do big_parts+=("${big%.xml}.$k.xml"); done
  if [ ! -f "${big_parts[2]}" ]; then
    echo "writing the synthetic model of 10000000 nodes to ${big%.xml}.{1,2,3}.xml" >&2
    python3 "$here/gen_synthetic_model.py" -n 10000000 -p 3 -o "$big"
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
# vosdump --diff: namespace 0 and DI written at once, compared with the same file (every
# node and reference matched).
with_diff=0
if [ -x "$vosdump" ]; then
  with_diff=1
  (cd "$work" && "$vospack" -i0 -i2 -o all-di.bin "$ns0" "$di" >/dev/null 2>&1)
  commands+=("diff ns0+DI|$vosdump --diff all-di.bin all-di.bin")
else
  echo "no $vosdump: the diff runs are left out" >&2
fi
if [ "$with_synthetic" -eq 1 ]; then
  # The synthetic model's namespace is the first after the two fixed entries.
  commands+=(
    "convert ns0+synthetic|$vospack -i2 -o synthetic.bin $ns0 $synthetic"
    "load only ns0+synthetic|$vospack -u $no_uri $ns0 $synthetic"
    "export ns0+synthetic|$vospack -x -o /dev/null $ns0 $synthetic"
    "print ns0+synthetic|$vospack -p -u $no_uri $ns0 $synthetic"
  )
  # The file of the convert run just before, read once and compared with itself.
  if [ "$with_diff" -eq 1 ]; then
    commands+=(
      "dump synthetic|$vosdump synthetic.bin"
      "diff synthetic|$vosdump --diff synthetic.bin synthetic.bin"
    )
  fi
fi
if [ "$with_big" -eq 1 ]; then
  commands+=("convert ns0+10M|$vospack -i2 -o big.bin $ns0 ${big_parts[*]}")
fi

# One run: appends "<microseconds> <peak RSS KiB> <minor page faults>" to the command's record.
measure() {
  local i="$1" cmd="$2" start end
  start=$(date +%s%N)
  (cd "$work" && /usr/bin/time -f "%M %R" -o "$work/usage" $cmd >/dev/null 2>&1) || true
  end=$(date +%s%N)
  echo "$(((end - start) / 1000)) $(tail -n 1 "$work/usage")" >>"$work/rec.$i"
}

echo "$runs runs of ${#commands[@]} commands, interleaved (load: $(cut -d' ' -f1-3 /proc/loadavg))" >&2
for ((r = 1; r <= runs; r++)); do
  for i in "${!commands[@]}"; do
    measure "$i" "${commands[$i]#*|}"
  done
  echo -n "." >&2
done
echo >&2

printf "%-24s %10s %10s %10s %12s %12s\n" "command" "median ms" "min ms" "max ms" "page faults" "peak RSS MB"
declare -A median_ms median_mb median_faults
for i in "${!commands[@]}"; do
  name="${commands[$i]%%|*}"
  # Each column is ordered on its own: each median is that of its own column.
  row=$(paste <(cut -d' ' -f1 "$work/rec.$i" | sort -n) <(cut -d' ' -f2 "$work/rec.$i" | sort -n) \
    <(cut -d' ' -f3 "$work/rec.$i" | sort -n) |
    awk '
      { t[NR] = $1; m[NR] = $2; f[NR] = $3 }
      END {
        mid = int((NR + 1) / 2)
        printf "%.1f %.1f %.1f %d %.1f\n", t[mid] / 1000, t[1] / 1000, t[NR] / 1000, f[mid], m[mid] / 1024
      }')
  read -r med lo hi faults mb <<<"$row"
  median_ms[$name]=$med
  median_mb[$name]=$mb
  median_faults[$name]=$faults
  printf "%-24s %10s %10s %10s %12s %12s\n" "$name" "$med" "$lo" "$hi" "$faults" "$mb"
done

# The converter against its goals: on ns0+DI at most 0.35 x xmllint and 2 x the baseline,
# 1,500 page faults and 14 MB; the 1,000,000-node model converted, exported and printed in at
# most 3 s and 1.2 GB each.
goal() {  # label, value, limit, unit
  awk -v l="$1" -v v="$2" -v g="$3" -v u="$4" \
    'BEGIN { printf "  %-34s %10.2f %-3s (goal <= %s) %s\n", l, v, u, g, (v <= g ? "met" : "MISSED") }'
}
ratio() { awk -v a="$1" -v b="$2" 'BEGIN { print a / b }'; }
echo "goals:"
conv=${median_ms["convert ns0+DI"]}
goal "convert / xmllint (ns0+DI)" "$(ratio "$conv" "${median_ms["xmllint ns0+DI"]}")" 0.35 "x"
goal "convert / baseline (ns0+DI)" "$(ratio "$conv" "${median_ms["baseline ns0+DI"]}")" 2 "x"
goal "convert page faults (ns0+DI)" "${median_faults["convert ns0+DI"]}" 1500 "  "
goal "convert peak RSS (ns0+DI)" "${median_mb["convert ns0+DI"]}" 14 "MB"
if [ "$with_synthetic" -eq 1 ] && [ "$nodes" -eq 1000000 ]; then
  for what in convert export print; do
    goal "$what time (1M nodes)" "$(ratio "${median_ms["$what ns0+synthetic"]}" 1000)" 3 "s"
    goal "$what peak RSS (1M nodes)" "$(ratio "${median_mb["$what ns0+synthetic"]}" 1024)" 1.2 "GB"
  done
  if [ "$with_diff" -eq 1 ]; then
    # Two files compared in seconds, within the memory of reading both.
    goal "diff time (1M nodes)" "$(ratio "${median_ms["diff synthetic"]}" 1000)" 3 "s"
    goal "diff peak RSS / 2 dumps (1M nodes)" \
      "$(ratio "${median_mb["diff synthetic"]}" "$(ratio "${median_mb["dump synthetic"]}" 0.5)")" 1.05 "x"
  fi
fi
if [ "$with_big" -eq 1 ] && [ "$with_synthetic" -eq 1 ]; then
  # Linear growth gives about ten times the 1,000,000-node figures.
  echo "growth from $nodes to 10000000 nodes (convert):"
  echo "  time      x $(ratio "${median_ms["convert ns0+10M"]}" "${median_ms["convert ns0+synthetic"]}")"
  echo "  peak RSS  x $(ratio "${median_mb["convert ns0+10M"]}" "${median_mb["convert ns0+synthetic"]}")"
fi
echo "commands:"
for c in "${commands[@]}"; do echo "  ${c#*|}"; done
