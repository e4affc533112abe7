# The driver that compile_trees.sh and server/compile_server_trees.sh share (sourced, not run):
# the compiler flags, the models that do not load, the arguments, the work folder, the run of
# every model of the corpus plan in parallel beside namespace 0, and the summary.
#
# A script that sources it defines
#   run_model LINE   one model of the plan; writes $WORK/m/<name>/result (one line: "ok ...",
#                    "SKIP ..." or "FAIL ...") with its logs (*.log) beside it
#   ns0_prepare      namespace 0, before the models (may be empty); non-zero stops the run
#   ns0_job          namespace 0, beside the models; writes $WORK/ns0run/result
# and sets WORK_PREFIX and SUMMARY (the text of the last line, after "<n> of <m> models"),
# then calls driver_main "$@". A model runs in a process of its own: the script is started
# again as "<script> --model <plan line number>".
set -uo pipefail

# ISO C99 as every compiler must accept it; -fsyntax-only, as nothing is linked.
CFLAGS=(-std=c99 -pedantic -Wall -Wextra -Werror -fsyntax-only)
COMPILERS=(gcc clang)

# Models that do not load, with the reason; their runs must fail loading the model itself.
declare -A NOT_LOADING=(
  [Opc.Ua.MetalForming.NodeSet2.xml]="references dictionary entries that no bundled model defines"
)

# The generator tests' own model, added to the plan by scripts that want it: it holds what
# the corpus lacks (an option set over the OptionSet structure, fields named after C keywords,
# a union with an array member, an encoding identifier above 2^31).
DRIVER_DIR=$(dirname "$(realpath "${BASH_SOURCE[0]}")")
add_golden_model() {
  local golden=$DRIVER_DIR/../fixtures/codegen/golden.xml
  if [[ -f $golden ]]; then
    printf '%s\t%s\t%s\t%s\n' golden.xml urn:golden "$MODELS/Opc.Ua.NodeSet2.xml $golden" \
      urn:golden >>"$WORK/plan.tsv"
  fi
}

# Writes the translation unit $2 that includes the header $1 ("<...>" or "\"...\"") twice,
# which also proves its include guard; the typedef keeps a header of macros only from
# leaving an empty translation unit, which ISO C forbids.
header_unit() {
  printf '#include %s\n#include %s\ntypedef int header_unit_t;\n' "$1" "$1" >"$2"
}

# Prints the result line of $1 and, for a failure, the start of each log beside it.
report_result() {
  local r=$1 l
  cat "$r"
  case $(head -c2 "$r") in
    ok | SK) return 0 ;;
  esac
  for l in "$(dirname "$r")"/*.log; do
    [[ -s $l ]] && { echo "--- $l"; grep -v '^Skipping double reference' "$l" | head -n 40; }
  done
  return 1
}

driver_main() {
  if [[ ${1:-} == --model ]]; then
    run_model "$(sed -n "${2}p" "$WORK/plan.tsv")"
    exit 0
  fi
  if (($# < 4)); then
    echo "usage: $0 <bin dir> <corpus_plan> <runtime dir> <model folder> [jobs]" >&2
    exit 2
  fi
  BIN=$(realpath "$1") PLAN=$(realpath "$2") RUNTIME=$(realpath "$3") MODELS=$(realpath "$4")
  JOBS=${5:-2}
  VOSGEN=$BIN/vosgen
  if [[ ! -f $MODELS/Opc.Ua.NodeSet2.xml ]]; then
    echo "models not installed in $MODELS: skipped"
    exit 77
  fi
  local cc
  for cc in "${COMPILERS[@]}"; do
    command -v "$cc" >/dev/null ||
      { echo "error: $cc is not installed (scripts/install-deps.sh)"; exit 1; }
  done
  WORK=$(mktemp -d "${TMPDIR:-/tmp}/$WORK_PREFIX.XXXXXX")
  if [[ ${KEEP:-0} == 1 ]]; then echo "work folder: $WORK"; else trap 'rm -rf "$WORK"' EXIT; fi
  HERE=$(dirname "$(realpath "$0")")
  export WORK VOSGEN RUNTIME MODELS HERE
  unset REFORMAT DATE
  local start=$SECONDS failed=0
  mkdir -p "$WORK/ns0run" "$WORK/m"
  ns0_prepare || exit 1
  "$PLAN" "$MODELS" >"$WORK/plan.tsv" || { echo "error: $PLAN failed"; exit 1; }
  [[ ${WITH_GOLDEN:-0} == 1 ]] && add_golden_model
  local models
  models=$(wc -l <"$WORK/plan.tsv")

  ns0_job &
  local ns0job=$!
  seq 1 "$models" | xargs -P "$JOBS" -I{} bash "$0" --model {}
  wait $ns0job

  report_result "$WORK/ns0run/result" || failed=1
  local compiled=0 r n
  for r in "$WORK"/m/*/result; do
    [[ -f $r ]] || continue
    if report_result "$r"; then
      [[ $(head -c2 "$r") == ok ]] && compiled=$((compiled + 1))
    else
      failed=1
    fi
  done
  n=$(find "$WORK/m" -mindepth 2 -maxdepth 2 -name result | wc -l)
  if ((n != models)); then
    echo "FAIL $((models - n)) of $models models left no result"
    failed=1
  fi
  echo "$compiled of $models models $SUMMARY in $((SECONDS - start)) s"
  exit $failed
}
