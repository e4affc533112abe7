#!/usr/bin/env bash
# Installs what building, testing and the demo need on a Debian machine, and only what is
# missing, so that a second run costs next to nothing. Then installs the pinned models.
set -euo pipefail
cd "$(dirname "$0")/.."

# Debian packages that are missing: tools are looked for as commands (so that a toolchain
# installed another way counts), libraries as installed packages.
need=()
want_cmd() { command -v "$2" >/dev/null 2>&1 || need+=("$1"); }
want_pkg() {
  dpkg-query -W -f='${Status}' "$1" 2>/dev/null | grep -q "ok installed" || need+=("$1")
}
want_cmd g++ g++
want_cmd make make
want_cmd cmake cmake
want_cmd ninja-build ninja
want_cmd git git
want_cmd clang clang++
want_cmd nodejs node
want_cmd npm npm
# The tests of the JSON dump, the manual pages and the Debian package.
want_cmd python3 python3
want_cmd groff-base groff
want_cmd man-db man
want_cmd dpkg-dev dpkg-shlibdeps
want_cmd file file
want_pkg libclang-rt-14-dev
want_pkg libgtest-dev
want_pkg libgmock-dev
want_pkg libbenchmark-dev

if ((${#need[@]})); then
  sudo=""
  if [[ $(id -u) -ne 0 ]]; then sudo="sudo"; fi
  echo "Installing Debian packages: ${need[*]}"
  $sudo apt-get update -qq
  DEBIAN_FRONTEND=noninteractive $sudo apt-get install -y -qq --no-install-recommends "${need[@]}"
fi

# The pinned NodeSet models, installed again only when the lock file changed.
stamp=node_modules/.vos-installed
if [[ ! -f $stamp || package-lock.json -nt $stamp ]]; then
  npm ci --no-audit --no-fund --loglevel=error
  touch "$stamp"
fi
