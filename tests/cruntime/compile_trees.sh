#!/usr/bin/env bash
# Generated C must compile. Generates the types-only tree of namespace 0 (vosgen -N -0, its
# directory ua/ stands for the runtime's namespace-0 headers), and for every model of the
# corpus, loaded after the models it needs and selected together with them, a types-only
# tree (-N) and a client tree (-c with a namespace-mapping file). Then every generated .c
# file, and every .h file on its own (included twice, which also proves its include guard),
# is compiled with gcc and with clang:
#   cc -std=c99 -pedantic -Wall -Wextra -Werror -fsyntax-only -I<runtime> -I<tree> -I<ns0 tree>
# Before compiling, each type table is checked against its identifier headers
# (check_type_table.awk), each data type header for the includes of its members' types
# (check_field_includes.awk: the runtime's value headers include each other, so a compiler
# cannot tell), and the CMake files against the tree.
# One compiler call per namespace directory (each input is still its own translation unit);
# a directory whose files, and those of the directories it includes from, equal those of a
# directory compiled before in the run (a required model generated again) takes that result.
# The runtime headers under include/ declare only what generated files name. The flags, the
# arguments and the parallel run over the corpus are those of compile_driver.sh.
#
# usage: compile_trees.sh <bin dir> <corpus_plan> <runtime include dir> <model folder> [jobs]
# Exit status 0 when everything generates and compiles, 1 otherwise, 77 (skip) when the
# models are not installed. KEEP=1 keeps the work folder and prints its path.
source "$(dirname "$(realpath "$0")")/compile_driver.sh"
WORK_PREFIX=cruntime
SUMMARY="generated and compiled with ${COMPILERS[*]}"
WITH_GOLDEN=1

# The namespace directories of the tree $1 whose headers the files of directory $2 can
# reach through <dir/...> includes, $2 included, sorted.
reachable_dirs() {
  local tree=$1 d x
  local -A seen=([$2]=1)
  local -a todo=("$2")
  while ((${#todo[@]})); do
    d=${todo[0]}
    todo=("${todo[@]:1}")
    for x in $(sed -n 's|^#include <\([^/>]*\)/.*|\1|p' "$tree/$d"/*.[ch] | sort -u); do
      if [[ -d $tree/$x && -z ${seen[$x]:-} ]]; then
        seen[$x]=1
        todo+=("$x")
      fi
    done
  done
  printf '%s\n' "${!seen[@]}" | sort
}

# Compiles the namespace directories of the tree $1 (namespace-0 tree $2) with every
# compiler; the log goes to $3. Prints "<c files> <h files> <files reused>" and returns
# non-zero when anything does not compile. A directory whose files, and the files of every
# directory it includes from, are byte for byte those of a directory compiled before in this
# run has that compile's result: the same input gives the same diagnostics.
compile_tree() {
  local tree=$1 ns0=$2 log=$3 status=0 nc=0 nh=0 reused=0 d cc h w key mark
  local -a dirs sources headers wrappers
  mapfile -t dirs < <(cd "$tree" && find . -mindepth 1 -maxdepth 1 -type d | sed 's|^\./||' | sort)
  for d in "${dirs[@]}"; do
    sources=() headers=() wrappers=()
    mapfile -t sources < <(cd "$tree" && find "$d" -maxdepth 1 -name '*.c' | sort)
    mapfile -t headers < <(cd "$tree" && find "$d" -maxdepth 1 -name '*.h' | sort)
    nc=$((nc + ${#sources[@]})) nh=$((nh + ${#headers[@]}))
    key=$(cd "$tree" && reachable_dirs "$tree" "$d" |
          xargs -I{} find {} -maxdepth 1 -name '*.[ch]' | sort | xargs sha1sum | sha1sum)
    mark="$WORK/compiled/${key%% *}"
    if [[ -f $mark ]]; then
      reused=$((reused + ${#sources[@]} + ${#headers[@]}))
      if ! grep -q '^ok' "$mark"; then
        echo "== $d as compiled before: $(cat "$mark")" >>"$log"
        status=1
      fi
      continue
    fi
    # One translation unit per header, beside the tree so that globbing the tree stays true.
    mkdir -p "$tree.hdr"
    for h in "${headers[@]}"; do
      w="$tree.hdr/${h//\//__}.c"
      header_unit "<$h>" "$w"
      wrappers+=("$w")
    done
    local result="ok"
    for cc in "${COMPILERS[@]}"; do
      # One compiler call for the directory: each input is still its own translation unit.
      if ! (cd "$tree" && "$cc" "${CFLAGS[@]}" -I"$RUNTIME" -I"$tree" -I"$ns0" \
            "${sources[@]}" "${wrappers[@]}") >>"$log" 2>&1; then
        echo "== $cc failed on $tree/$d" >>"$log"
        result="FAIL, see $log"
        status=1
      fi
    done
    mkdir -p "$WORK/compiled"
    echo "$result" >"$mark.$$" && mv "$mark.$$" "$mark"
  done
  echo "$nc $nh $reused"
  return $status
}

# Checks every type table of the tree $1 against its identifier headers (rows in the order
# of the type identifiers, the encoding look-up table); prints what disagrees.
check_type_tables() {
  local d status=0 out
  for d in "$1"/*/; do
    [[ -f $d/type_table.c ]] || continue
    out=$(awk -f "$HERE/check_type_table.awk" "$d/identifier.h" "$d/type_identifier.h" \
          "$d/type_table.c")
    [[ -z $out ]] || { echo "$out" | sed "s|^|$d: |"; status=1; }
  done
  return $status
}

# Checks that every data type header of the tree $1 includes the headers of its members'
# types itself; prints what is missing.
check_field_includes() {
  local out
  out=$(find "$1" -name '*.h' -print0 | sort -z |
        xargs -0 -r awk -f "$HERE/check_field_includes.awk")
  [[ -z $out ]] || { echo "$out"; return 1; }
}

# "<c> .c <h> .h" and, when some were compiled before, "(<n> as before)".
describe_counts() {
  local text="$1 .c $2 .h"
  (($3 > 0)) && text+=" ($3 as before)"
  echo "$text"
}

# The files that the CMake file $1 lists between "set($2" and ")", sorted.
cmake_list() {
  sed -n "/^set($2\$/,/^)\$/{/^    /s/^    //p}" "$1" | sort
}

# Checks that the top-level CMake file of the client tree $1 lists exactly its .c and .h
# files. Prints differences; returns non-zero on any.
check_cmake_lists() {
  local tree=$1
  [[ -f $tree/CMakeLists.txt ]] || { echo "no top-level CMakeLists.txt"; return 1; }
  diff <(cmake_list "$tree/CMakeLists.txt" SOURCES) \
       <(cd "$tree" && find . -mindepth 2 -name '*.c' | sed 's|^\./||' | sort) |
    sed 's/^/SOURCES /' | grep -E '^SOURCES [<>]' && return 1
  diff <(cmake_list "$tree/CMakeLists.txt" HEADERS) \
       <(cd "$tree" && find . -mindepth 2 -name '*.h' | sed 's|^\./||' | sort) |
    sed 's/^/HEADERS /' | grep -E '^HEADERS [<>]' && return 1
  return 0
}

# One model: plan line $1. Writes $WORK/m/<name>/result (one line) and logs beside it.
run_model() {
  local -a f files uris sel
  IFS=$'\t' read -r -a f <<<"$1"
  local name=${f[0]} uri=${f[1]}
  read -r -a files <<<"${f[2]}"
  uris=("${f[@]:3}")
  local dir="$WORK/m/$name" u i=40 kind status=0 counts
  mkdir -p "$dir"
  for u in "${uris[@]}"; do
    sel+=(-u "$u")
    echo "$i;$u" >>"$dir/ns.map"  # client indexes differ from the run's indexes
    i=$((i + 1))
  done
  local summary="$name:"
  for kind in N c; do
    local opt=(-N)
    [[ $kind == c ]] && opt=(-c "$dir/ns.map")
    # vosgen writes its trace file into the current folder.
    (cd "$dir" && "$VOSGEN" "${opt[@]}" "${sel[@]}" -o "$dir/$kind" "${files[@]}") \
      >"$dir/gen_$kind.log" 2>&1
    local gen=$?
    if [[ -n ${NOT_LOADING[$name]:-} ]]; then
      if ((gen != 0)) && grep -qF "error: failed to load '${files[-1]}'" "$dir/gen_$kind.log"; then
        echo "SKIP $name: does not load (${NOT_LOADING[$name]})" >"$dir/result"
        return 0
      fi
      summary+=" (loads now: remove it from NOT_LOADING)"
    fi
    if ((gen != 0)) || ! grep -qxF "Successfully generated C code into '$dir/$kind'." \
        "$dir/gen_$kind.log"; then
      summary+=" -$kind: generation failed ($gen)"
      status=1
      continue
    fi
    # Every selected namespace has its identifier header: an empty tree proves nothing.
    local idh
    idh=$(find "$dir/$kind" -name identifier.h | wc -l)
    if ((idh != ${#uris[@]})); then
      summary+=" -$kind: $idh identifier.h for ${#uris[@]} namespaces"
      status=1
    fi
    # -N: one CMake file per namespace directory and none above; -c: only the one above,
    # listing exactly the tree's files.
    local per_ns
    per_ns=$(find "$dir/$kind" -mindepth 2 -maxdepth 2 -name CMakeLists.txt | wc -l)
    if [[ $kind == N ]] && { ((per_ns != idh)) || [[ -e $dir/N/CMakeLists.txt ]]; }; then
      summary+=" -N: $per_ns namespace CMake files for $idh namespaces, or a top-level one"
      status=1
    fi
    if [[ $kind == c ]] && { ((per_ns != 0)) || ! check_cmake_lists "$dir/c" >"$dir/cmake_c.log" 2>&1; }; then
      summary+=" -c: CMake files do not list exactly the tree's files"
      status=1
    fi
    if ! check_type_tables "$dir/$kind" >"$dir/tables_$kind.log"; then
      summary+=" -$kind: type tables disagree with type_identifier.h"
      status=1
    fi
    if ! check_field_includes "$dir/$kind" >"$dir/includes_$kind.log"; then
      summary+=" -$kind: headers lack includes of their field types"
      status=1
    fi
    if counts=$(compile_tree "$dir/$kind" "$WORK/ns0" "$dir/cc_$kind.log"); then
      summary+=" -$kind: $(describe_counts $counts) ok"
    else
      summary+=" -$kind: $(describe_counts $counts) DO NOT COMPILE"
      status=1
    fi
  done
  if ((status == 0)); then echo "ok $summary"; else echo "FAIL $summary"; fi >"$dir/result"
}

# Namespace 0 alone, with its prefix ua kept, so that its directory is ua/; the other runs
# include from it. Its checks go to problems.log, which its compile (ns0_job) reports.
ns0_prepare() {
  local dir=$WORK/ns0run gen types
  (cd "$dir" && "$VOSGEN" -N -0 -i 0:ua -o "$WORK/ns0" "$MODELS/Opc.Ua.NodeSet2.xml") \
    >"$dir/gen.log" 2>&1
  gen=$?
  if ((gen != 0)) || [[ ! -f $WORK/ns0/ua/type_identifier.h ]]; then
    echo "FAIL namespace 0: generation failed ($gen)"
    cat "$dir/gen.log"
    return 1
  fi
  check_type_tables "$WORK/ns0" >"$dir/tables.log" ||
    echo "type table disagrees with type_identifier.h" >>"$dir/problems.log"
  check_field_includes "$WORK/ns0" >"$dir/includes.log" ||
    echo "headers lack includes of their field types" >>"$dir/problems.log"
  # 162 structures, 40 enumerations and 19 option sets in the pinned namespace 0.
  types=$(find "$WORK/ns0/ua" -name '*.c' ! -name type_table.c | wc -l)
  ((types == 221)) || echo "$types data type sources, 221 expected" >>"$dir/problems.log"
  return 0
}

ns0_job() {
  local dir=$WORK/ns0run counts
  if counts=$(compile_tree "$WORK/ns0" "$WORK/ns0" "$dir/cc.log") && [[ ! -s $dir/problems.log ]]; then
    echo "ok namespace 0: $(describe_counts $counts)" >"$dir/result"
  elif [[ -s $dir/problems.log ]]; then
    echo "FAIL namespace 0: $(describe_counts $counts), $(paste -sd';' "$dir/problems.log")" >"$dir/result"
  else
    echo "FAIL namespace 0: $(describe_counts $counts) DO NOT COMPILE" >"$dir/result"
  fi
}

driver_main "$@"
