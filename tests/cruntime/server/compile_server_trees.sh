#!/usr/bin/env bash
# Generated server code must compile. For every model of the corpus, loaded after the models
# it needs and selected together with them (as compile_trees.sh does), vosgen writes the
# default tree with the provider (-m); and namespace 0 alone gets one such tree
# (-m -0 -i 0:ua), whose source includes the role permissions. The files that only the
# default mode writes are compiled with gcc and clang, -std=c99 -pedantic -Wall -Wextra
# -Werror -fsyntax-only, against the runtime headers (include/ and server/include/):
#   <ns>/ns<idx>.c, every <ns>/ns<idx>.h and provider header on its own (included twice),
#   <ns>/rolepermissions.c, provider_<prefix>.c and provider_<prefix>_impl.c.
# The data type sources are those of -N and are left to compile_trees.sh. gcc builds with
# every option of the generated code switched on (historizing, pool statistics and locks,
# events, each provider's STATIC_<PREFIX>), clang with none; namespace 0 also builds with
# the null authorization backend. The flags, the arguments and the parallel run over the
# corpus are those of ../compile_driver.sh.
#
# usage: compile_server_trees.sh <bin dir> <corpus_plan> <runtime dir> <model folder> [jobs]
# (<runtime dir> is tests/cruntime.) Exit status 0 when everything generates and compiles,
# 1 otherwise, 77 (skip) when the models are not installed. KEEP=1 keeps the work folder.
source "$(dirname "$(realpath "$0")")/../compile_driver.sh"
WORK_PREFIX=cserver
SUMMARY="generated with -m and compiled with ${COMPILERS[*]}"

ALL_ON=(-DUA_SUPPORT_HISTORIZING -DMEMORY_ENABLE_STAT -DMEMORY_THREADSAFE -DUASERVER_SUPPORT_EVENTS)

# Compiles the server files of tree $1 with gcc (all options on, plus the extra flags from
# $3 on) and clang; messages go to $2. Prints "<c files> <h files>"; non-zero on failure.
compile_server_tree() {
  local tree=$1 log=$2 status=0 p h w
  shift 2
  local -a sources headers wrappers statics
  mapfile -t sources < <(cd "$tree" && find . -maxdepth 2 \( -name 'ns[0-9]*.c' -o \
    -name rolepermissions.c -o -name 'provider_*.c' \) | sed 's|^\./||' | sort)
  mapfile -t headers < <(cd "$tree" && find . -maxdepth 2 \( -name 'ns[0-9]*.h' -o \
    -name 'provider_*.h' \) | sed 's|^\./||' | sort)
  mkdir -p "$tree.hdr"
  for h in "${headers[@]}"; do
    w="$tree.hdr/${h//\//__}.c"
    header_unit "\"$tree/$h\"" "$w"
    wrappers+=("$w")
  done
  for p in $(cd "$tree" && ls provider_*.h 2>/dev/null | sed -n 's/^provider_\(.*\)\.h$/\1/p' |
             grep -v '_impl$'); do
    statics+=("-DSTATIC_${p^^}")
  done
  local -a inc=(-I"$RUNTIME/server/include" -I"$RUNTIME/include" -I"$tree")
  if ! (cd "$tree" && gcc "${CFLAGS[@]}" "${ALL_ON[@]}" "${statics[@]}" "$@" "${inc[@]}" \
        "${sources[@]}" "${wrappers[@]}") >>"$log" 2>&1; then
    echo "== gcc failed on $tree" >>"$log"
    status=1
  fi
  if ! (cd "$tree" && clang "${CFLAGS[@]}" "${inc[@]}" "${sources[@]}" "${wrappers[@]}") \
       >>"$log" 2>&1; then
    echo "== clang failed on $tree" >>"$log"
    status=1
  fi
  echo "${#sources[@]} ${#headers[@]}"
  return $status
}

# One model: plan line $1 (see corpus_plan). Writes $WORK/m/<name>/result.
run_model() {
  local -a f files sel
  IFS=$'\t' read -r -a f <<<"$1"
  local name=${f[0]} u counts
  read -r -a files <<<"${f[2]}"
  for u in "${f[@]:3}"; do sel+=(-u "$u"); done
  local dir="$WORK/m/$name"
  mkdir -p "$dir"
  # vosgen writes its trace file into the current folder.
  (cd "$dir" && "$VOSGEN" -m "${sel[@]}" -o "$dir/tree" "${files[@]}") >"$dir/gen.log" 2>&1
  local gen=$?
  if [[ -n ${NOT_LOADING[$name]:-} ]]; then
    if ((gen != 0)) && ! grep -q "Successfully generated" "$dir/gen.log"; then
      echo "SKIP $name: does not load (${NOT_LOADING[$name]})" >"$dir/result"
    else
      echo "FAIL $name: loads now, remove it from NOT_LOADING" >"$dir/result"
    fi
    return 0
  fi
  if ((gen != 0)) || ! grep -qxF "Successfully generated C code into '$dir/tree'." "$dir/gen.log"; then
    echo "FAIL $name: generation failed ($gen)" >"$dir/result"
    return 0
  fi
  # Every selected namespace has its compiled-in address space and its provider.
  local nsc prov
  nsc=$(find "$dir/tree" -mindepth 2 -maxdepth 2 -name 'ns[0-9]*.c' | wc -l)
  prov=$(find "$dir/tree" -maxdepth 1 -name 'provider_*_impl.c' | wc -l)
  if ((nsc != ${#sel[@]} / 2 || prov != ${#sel[@]} / 2)); then
    echo "FAIL $name: $nsc address spaces, $prov providers for $((${#sel[@]} / 2)) namespaces" \
      >"$dir/result"
    return 0
  fi
  if counts=$(compile_server_tree "$dir/tree" "$dir/cc.log"); then
    echo "ok $name: ${counts% *} .c ${counts#* } .h" >"$dir/result"
  else
    echo "FAIL $name: ${counts% *} .c ${counts#* } .h DO NOT COMPILE" >"$dir/result"
  fi
}

# Namespace 0 alone, beside the first models: its source includes the role permissions.
ns0_prepare() { :; }

ns0_job() {
  local dir=$WORK/ns0run counts
  (cd "$dir" && "$VOSGEN" -m -0 -i 0:ua -o "$dir/tree" "$MODELS/Opc.Ua.NodeSet2.xml") \
    >"$dir/gen.log" 2>&1 || { echo "FAIL namespace 0: generation failed" >"$dir/result"; return; }
  if [[ ! -f $dir/tree/ua/rolepermissions.c ]] ||
     ! grep -q '^# include "rolepermissions.c"$' "$dir/tree/ua/ns0.c"; then
    echo "FAIL namespace 0: no role permissions" >"$dir/result"
    return
  fi
  if counts=$(compile_server_tree "$dir/tree" "$dir/cc.log") &&
     gcc "${CFLAGS[@]}" -DUA_AUTHORIZATION_BACKEND=UA_AUTHORIZATION_BACKEND_NULL \
       -I"$RUNTIME/server/include" -I"$RUNTIME/include" -I"$dir/tree" "$dir/tree/ua/ns0.c" \
       >>"$dir/cc.log" 2>&1; then
    echo "ok namespace 0: ${counts% *} .c ${counts#* } .h, also without role permissions" >"$dir/result"
  else
    echo "FAIL namespace 0: DOES NOT COMPILE" >"$dir/result"
  fi
}
driver_main "$@"
