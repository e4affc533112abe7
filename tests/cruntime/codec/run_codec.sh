#!/usr/bin/env bash
# The generated type tables, proven by use. For namespace 0 (vosgen -N -0) and for every
# corpus model (vosgen -N, loaded after the models it needs and selected with them), plus
# the generator tests' model and this test's own (tests/fixtures/codec):
# 1. the tree's type sources, a registration of every namespace's table, the calls of every
#    generated helper (helpers.awk) and the C codec of this folder are built into one program
#    with -fsanitize=address,undefined (namespace 0's sources once, into a library);
# 2. the program checks the registered tables as a runtime does at start-up, runs the
#    helpers, and encodes every value of the recipe (codec.h) of every type of the model's
#    namespace from the tables;
# 3. typecodec_check decodes each value with the tool's own dictionary built from the same
#    models, and must encode it again to the same bytes;
# 4. the program decodes those bytes, compares each value with the recipe's and encodes it
#    again.
#
# usage: run_codec.sh <bin dir> <corpus_plan> <typecodec_check> <tests/cruntime> <model folder> [jobs]
# Exit status 0 when everything passes, 1 otherwise, 77 (skip) when the models or gcc are
# not installed. KEEP=1 keeps the work folder and prints its path; ONLY=<regex> runs only
# the models whose file name matches it (namespace 0 always runs).
set -uo pipefail

if [[ ${1:-} != --model ]]; then
  if (($# < 5)); then
    echo "usage: $0 <bin dir> <corpus_plan> <typecodec_check> <tests/cruntime> <model folder> [jobs]" >&2
    exit 2
  fi
  BIN=$(realpath "$1") PLAN=$(realpath "$2") CHECK=$(realpath "$3") CRUNTIME=$(realpath "$4")
  MODELS=$(realpath "$5") JOBS=${6:-2}
  if [[ ! -f $MODELS/Opc.Ua.NodeSet2.xml ]]; then
    echo "models not installed in $MODELS: skipped"
    exit 77
  fi
  command -v gcc >/dev/null || { echo "gcc is not installed: skipped"; exit 77; }
  WORK=$(mktemp -d "${TMPDIR:-/tmp}/codec.XXXXXX")
  if [[ ${KEEP:-0} == 1 ]]; then echo "work folder: $WORK"; else trap 'rm -rf "$WORK"' EXIT; fi
  export WORK VOSGEN=$BIN/vosgen CHECK CRUNTIME MODELS
fi
CODEC=$CRUNTIME/codec
CFLAGS=(-std=c99 -g -O0 -fsanitize=address,undefined -fno-omit-frame-pointer
        -fno-sanitize-recover=undefined -Wall -Wextra -Werror -Wno-unused-function
        -I"$CODEC" -I"$CRUNTIME/include")
export ASAN_OPTIONS=detect_leaks=1:abort_on_error=0 UBSAN_OPTIONS=print_stacktrace=1

# Writes the C file $1 with the function $2, which registers the type table of every
# namespace directory $4... of the tree $3, each at its namespace index.
write_registration() {
  local out=$1 fn=$2 tree=$3 d prefix macro
  shift 3
  {
    for d in "$@"; do
      [[ -f $tree/$d/type_table.h ]] || continue
      echo "#include <$d/type_table.h>"
      echo "#include <$d/identifier.h>"
    done
    echo "void codec_fail(const char *fmt, ...);"
    echo "void $fn(void);"
    echo "void $fn(void)"
    echo "{"
    for d in "$@"; do
      [[ -f $tree/$d/type_table.h ]] || continue
      prefix=$(sed -n 's/^int \([a-z0-9_]*\)_register_type_table(uint16_t nsidx);$/\1/p' "$tree/$d/type_table.h")
      macro=$(sed -n 's/^#define \([A-Z0-9_]*\)_MODEL_NAMESPACE_INDEX .*/\1/p' "$tree/$d/identifier.h")
      echo "    if (${prefix}_register_type_table(${macro}_MODEL_NAMESPACE_INDEX) != 0)"
      echo "        codec_fail(\"registration of $d\\n\");"
    done
    echo "}"
  } >"$out"
}

# Builds and runs the program for the tree $1 (the model's URIs in $2, blank-separated) in
# the folder $3 over the model files $4...; namespace 0's table comes from libns0.a.
# Prints one summary line; returns non-zero on any failure.
check_tree() {
  local tree=$1 uris=$2 dir=$3 d
  shift 3
  local -a files=("$@") dirs=() sources=() headers=() regs=()
  for d in "$tree"/*/; do
    d=$(basename "$d")
    dirs+=("$d")
    mapfile -t -O "${#headers[@]}" headers < <(cd "$tree" && ls "$d"/*.h | grep -v -e '/identifier.h$' -e '/type_identifier.h$' -e '/type_table.h$')
    [[ $tree == "$WORK/ns0" ]] && continue  # linked from libns0.a
    compgen -G "$tree/$d/*.c" >/dev/null && sources+=("$tree/$d"/*.c)
  done
  if [[ $tree == "$WORK/ns0" ]]; then
    write_registration "$dir/regs.c" codec_register_all "$tree" "${dirs[@]}"
    regs=("$dir/regs.c")
  else
    # namespace 0's table first, then the tree's
    write_registration "$dir/regs0.c" codec_register_ns0 "$WORK/ns0" ua
    write_registration "$dir/regs.c" codec_register_model "$tree" "${dirs[@]}"
    printf '%s\n' "void codec_register_ns0(void);" "void codec_register_model(void);" \
      "void codec_register_all(void);" \
      "void codec_register_all(void) { codec_register_ns0(); codec_register_model(); }" \
      >"$dir/regs_all.c"
    regs=("$dir/regs0.c" "$dir/regs.c" "$dir/regs_all.c")
  fi
  (cd "$tree" && awk -f "$CODEC/helpers.awk" "${headers[@]}") >"$dir/helpers.c"
  if ! gcc "${CFLAGS[@]}" -I"$tree" -I"$WORK/ns0" -o "$dir/codec" "${sources[@]}" \
      "${regs[@]}" "$dir/helpers.c" "$WORK/libns0.a" "$WORK/libcodec.a" >"$dir/cc.log" 2>&1; then
    echo "FAIL $(basename "$dir"): does not build, $(head -c 2000 "$dir/cc.log")"
    return 1
  fi
  local status=0 summary
  # shellcheck disable=SC2086
  "$dir/codec" write "$dir/c.txt" $uris >"$dir/write.log" 2>&1 || status=1
  "$CHECK" "$dir/c.txt" "$dir/tool.txt" "${files[@]}" >"$dir/tool.log" 2>&1 || status=1
  "$dir/codec" read "$dir/tool.txt" >"$dir/read.log" 2>&1 || status=1
  summary="$(basename "$dir"): $(grep -h -e '^encoded' -e '^helper calls' -e '^decoded' "$dir/write.log" "$dir/read.log" | tr '\n' ';' | sed 's/;$//')"
  if ((status != 0)); then
    echo "FAIL $summary"
    grep -h -e 'ERROR: .*Sanitizer' -e '^SUMMARY' -e 'runtime error' "$dir"/write.log "$dir"/read.log
    grep -h -m 20 -e FAIL "$dir"/write.log "$dir"/tool.log "$dir"/read.log
    return 1
  fi
  echo "ok $summary"
}

# One plan line $1: a corpus model.
run_model() {
  local -a f files uris sel
  IFS=$'\t' read -r -a f <<<"$1"
  local name=${f[0]}
  read -r -a files <<<"${f[2]}"
  uris=("${f[@]:3}")
  local dir="$WORK/m/$name" u
  mkdir -p "$dir"
  for u in "${uris[@]}"; do sel+=(-u "$u"); done
  if ! (cd "$dir" && "$VOSGEN" -N "${sel[@]}" -o "$dir/tree" "${files[@]}") >"$dir/gen.log" 2>&1; then
    # a corpus model that does not load is the compile test's business, a fixture must load
    if [[ $name == golden.xml || $name == codec.xml ]]; then
      echo "FAIL $name: generation failed: $(grep -m 3 error "$dir/gen.log")" >"$dir/result"
    elif grep -q "error: failed to load '${files[-1]}'" "$dir/gen.log"; then
      echo "SKIP $name: does not load" >"$dir/result"
    else
      echo "FAIL $name: generation failed: $(tail -n 3 "$dir/gen.log")" >"$dir/result"
    fi
    return 0
  fi
  check_tree "$dir/tree" "${uris[-1]}" "$dir" "${files[@]}" >"$dir/result" 2>&1
}

if [[ ${1:-} == --model ]]; then
  run_model "$(sed -n "${2}p" "$WORK/plan.tsv")"
  exit 0
fi

failed=0
# The codec and namespace 0's type sources, built once.
mkdir -p "$WORK/obj" "$WORK/ns0run"
for c in builtins tables validate main; do
  gcc "${CFLAGS[@]}" -c -o "$WORK/obj/$c.o" "$CODEC/$c.c" || exit 1
done
ar rcs "$WORK/libcodec.a" "$WORK"/obj/*.o
(cd "$WORK/ns0run" && "$VOSGEN" -N -0 -i 0:ua -o "$WORK/ns0" "$MODELS/Opc.Ua.NodeSet2.xml") \
  >"$WORK/ns0run/gen.log" 2>&1 || { echo "FAIL namespace 0: generation failed"; exit 1; }
mkdir -p "$WORK/ns0obj"
(cd "$WORK/ns0obj" && gcc "${CFLAGS[@]}" -I"$WORK/ns0" -c "$WORK"/ns0/ua/*.c) ||
  { echo "FAIL namespace 0: does not build"; exit 1; }
ar rcs "$WORK/libns0.a" "$WORK"/ns0obj/*.o

check_tree "$WORK/ns0" "http://opcfoundation.org/UA/" "$WORK/ns0run" \
  "$MODELS/Opc.Ua.NodeSet2.xml" || failed=1

"$PLAN" "$MODELS" >"$WORK/plan.tsv" || { echo "error: $PLAN failed"; exit 1; }
for extra in "$CRUNTIME/../fixtures/codegen/golden.xml" "$CRUNTIME/../fixtures/codec/codec.xml"; do
  [[ -f $extra ]] || continue
  uri=$(sed -n 's/.*<Model ModelUri="\([^"]*\)".*/\1/p' "$extra" | head -n 1)
  printf '%s\t%s\t%s\t%s\n' "$(basename "$extra")" "$uri" "$MODELS/Opc.Ua.NodeSet2.xml $(realpath "$extra")" \
    "$uri" >>"$WORK/plan.tsv"
done
# ONLY=<regex> keeps the models whose file name matches (for a look at one).
if [[ -n ${ONLY:-} ]]; then
  awk -F'\t' -v re="$ONLY" '$1 ~ re' "$WORK/plan.tsv" >"$WORK/plan.only" && mv "$WORK/plan.only" "$WORK/plan.tsv"
fi
seq 1 "$(wc -l <"$WORK/plan.tsv")" | xargs -P "$JOBS" -I{} bash "$0" --model {}
for r in "$WORK"/m/*/result; do
  cat "$r"
  grep -q -e '^ok' -e '^SKIP' "$r" || failed=1
done
# Totals over namespace 0 and the models (each model's own namespace).
cat "$WORK"/ns0run/write.log "$WORK"/m/*/write.log 2>/dev/null | awk '
  /^helper calls:/ { calls += $3 }
  /^encoded/ { values += $2; types += $5 }
  END { printf "total: %d types, %d values each way, %d helper calls\n", types, values, calls }'
exit $failed
