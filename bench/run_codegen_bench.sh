#!/usr/bin/env bash
# Whole-process timings of the C generator against the converter on the same inputs: wall
# time (median, min, max over the runs) and peak resident set size (median) of each command,
# the commands interleaved run by run, then the generator's goals and its own share (a
# generation minus the load-only run of the same inputs).
#
# Files are written into a scratch folder of TMPDIR; on ext4 creating the hundreds of files
# of a types tree costs more than generating them (tmpfs shows the generator alone).
#
# Usage: bench/run_codegen_bench.sh [-r RUNS] [-s SYNTHETIC.xml] BUILD_DIR
#   -r RUNS    runs per command (default 9, at least 1)
#   -s FILE    also the synthetic model (bench/gen_synthetic_model.py writes one), run once
set -euo pipefail

runs=9
synthetic=""
while getopts "r:s:h" opt; do
  case "$opt" in
    r) runs="$OPTARG" ;;
    s) synthetic="$OPTARG" ;;
    *) sed -n '2,13p' "$0" | sed 's/^# \{0,1\}//'; exit 1 ;;
  esac
done
shift $((OPTIND - 1))
[ $# -eq 1 ] && [ "$runs" -ge 1 ] || { sed -n '2,13p' "$0" | sed 's/^# \{0,1\}//'; exit 1; }

here="$(cd "$(dirname "$0")" && pwd)"
bin="$(cd "$1" && pwd)/bin"
models="$(cd "$here/.." && pwd)/node_modules/node-opcua-nodesets/nodesets"
ns0="$models/Opc.Ua.NodeSet2.xml"
di="$models/Opc.Ua.Di.NodeSet2.xml"
diuri="http://opcfoundation.org/UA/DI/"
[ -x "$bin/vospack" ] || { echo "error: no executable $bin/vospack (build it first)" >&2; exit 1; }
[ -x /usr/bin/time ] || { echo "error: /usr/bin/time is missing (Debian package time)" >&2; exit 1; }

scratch="$(mktemp -d)"
trap 'rm -rf "$scratch"' EXIT
cd "$scratch"

names=(); commands=()
add() { names+=("$1"); shift; commands+=("$*"); }
add "load only ns0+DI"          "$bin/vospack -q -u urn:vos:bench:none $ns0 $di"
add "vospack -u DI"             "$bin/vospack -q -u $diuri -o di.bin $ns0 $di"
add "vosgen -N -u DI"           "$bin/vosgen -q -N -u $diuri -o gen-n $ns0 $di"
add "vosgen -m -u DI"           "$bin/vosgen -q -m -u $diuri -o gen-m $ns0 $di"
add "load only ns0"             "$bin/vospack -q -u urn:vos:bench:none $ns0"
add "vospack -i 0 ns0"          "$bin/vospack -q -i 0 -o ns0.bin $ns0"
add "vosgen -N -0 -i 0 ns0"     "$bin/vosgen -q -N -0 -i 0:ua -o gen-0n $ns0"
add "vosgen -0 -i 0 -m ns0"     "$bin/vosgen -q -0 -i 0:ua -m -o gen-0m $ns0"

# One run: "<seconds> <peak KB>", the wall time to the microsecond (GNU time rounds to 10 ms).
# The load-only runs select a URI that no model has, so they load everything and then end
# with status 1; every other run must succeed.
measure() {
  local start=$EPOCHREALTIME
  if ! /usr/bin/time -f "%M" -o "$scratch/t" sh -c "exec $1 >/dev/null 2>&1"; then
    case "$1" in
      *urn:vos:bench:none*) ;;
      *) echo "error: failed: $1" >&2; exit 1 ;;
    esac
  fi
  local end=$EPOCHREALTIME
  echo "$(awk "BEGIN{print $end - $start}") $(tail -n 1 "$scratch/t")"
}

declare -A times rss
for ((r = 0; r < runs; ++r)); do
  for i in "${!commands[@]}"; do
    read -r t m < <(measure "${commands[$i]}")
    times[$i]+="$t "; rss[$i]+="$m "
  done
done

# median, min and max of a list of numbers
stats() { tr ' ' '\n' <<<"$1" | grep . | sort -g | awk '{a[NR]=$1} END {printf "%s %s %s\n", a[int((NR+1)/2)], a[1], a[NR]}'; }

declare -A median
printf "%-26s %10s %10s %10s %12s\n" command median min max "peak RSS"
for i in "${!commands[@]}"; do
  read -r med lo hi < <(stats "${times[$i]}")
  read -r mrss _ _ < <(stats "${rss[$i]}")
  median[$i]=$med
  printf "%-26s %9.3fs %9.3fs %9.3fs %9.1f MB\n" "${names[$i]}" "$med" "$lo" "$hi" "$(awk "BEGIN{print $mrss/1024}")"
done

ratio() { awk "BEGIN{printf \"%.2f\", $1 / $2}"; }
share() { awk "BEGIN{printf \"%.1f ms\", ($1 - $2) * 1000}"; }
echo
echo "vosgen -N -u DI / vospack:        $(ratio "${median[2]}" "${median[1]}")  (goal <= 1.2); own share $(share "${median[2]}" "${median[0]}")"
echo "vosgen -m -u DI / vospack:        $(ratio "${median[3]}" "${median[1]}")  (goal <= 1.3); own share $(share "${median[3]}" "${median[0]}")"
echo "vosgen -N -0 -i 0 / vospack ns0:  $(ratio "${median[6]}" "${median[5]}")  (goal <= 1.5); own share $(share "${median[6]}" "${median[4]}")"
echo "vosgen -0 -i 0 -m / vospack ns0:  $(ratio "${median[7]}" "${median[5]}")  (goal <= 2); own share $(share "${median[7]}" "${median[4]}")"

if [ -n "$synthetic" ]; then
  echo
  for c in "$bin/vospack -q -u urn:vos:bench:none $ns0 $synthetic" \
           "$bin/vospack -q -a -o syn.bin $ns0 $synthetic" \
           "$bin/vosgen -q -m -a -o gen-syn $ns0 $synthetic"; do
    read -r t m < <(measure "$c")
    printf "%-70s %8.2fs %8.1f MB\n" "${c#$bin/}" "$t" "$(awk "BEGIN{print $m/1024}")"
    rm -rf gen-syn syn.bin
  done
fi
