#!/usr/bin/env bash
# Writes tests/corpus_digests.txt again from the outputs of the current build: every entry,
# or only those of the models named (file names, e.g. Opc.Ua.Di.NodeSet2.xml; group1 and
# group2 for the group runs). Review `git diff tests/corpus_digests.txt` before committing:
# only the entries of an intended change may move.
#
# Usage: tools/update_corpus_digests.sh [-b BUILD_DIR] [MODEL...]
set -euo pipefail
cd "$(dirname "$0")/.."
build=build
if [ "${1:-}" = "-b" ]; then
  build="$2"
  shift 2
fi
which=all
if [ $# -gt 0 ]; then which=$(IFS=,; echo "$*"); fi
cmake --build "$build" -j2 --target vospack corpus_digest_test >/dev/null
VOS_UPDATE_DIGESTS="$which" "$build/tests/corpus_digest_test" --gtest_brief=1 >/dev/null
git --no-pager diff --stat -- tests/corpus_digests.txt
