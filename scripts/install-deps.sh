#!/bin/sh
# Installs what the make targets need on a Debian machine, and only what is missing, so that
# a second run costs next to nothing; then the pinned models. Needs nothing but a POSIX shell.
#
#   scripts/install-deps.sh [build|fuzz]
#
# build (the default): make, the compiler, CMake, Ninja, the test and benchmark libraries,
# Node.js and npm (the models are fetched over https, hence the CA certificates), Chromium
# with its WebDriver and Selenium for the browser test of the HTML view.
# fuzz: also the fuzzer runtime of clang, and llvm-symbolizer, which turns the addresses in
# sanitizer and fuzzer reports into functions, files and lines.
#
# Packages are installed as root, or through sudo; a user who has neither is told what to run
# as root instead.
set -eu
cd "$(dirname "$0")/.."

profile=${1:-build}
need=""
# Tools are looked for as commands (so that a toolchain installed another way counts),
# libraries and data as installed packages.
want_cmd() { command -v "$2" >/dev/null 2>&1 || need="$need $1"; }
want_pkg() {
  dpkg-query -W -f='${Status}' "$1" 2>/dev/null | grep -q "ok installed" || need="$need $1"
}

want_cmd make make
want_cmd g++ g++
want_cmd cmake cmake
want_cmd ninja-build ninja
want_cmd nodejs node
want_cmd npm npm
want_pkg ca-certificates
# The tests of the JSON dump, the manual pages, the Debian package, and of the generated C
# code, which is compiled with gcc and with clang.
want_cmd python3 python3
want_cmd groff-base groff
want_cmd man-db man
want_cmd dpkg-dev dpkg-shlibdeps
want_cmd file file
want_cmd clang clang
want_pkg libgtest-dev
want_pkg libgmock-dev
want_pkg libbenchmark-dev
# The browser test of `vosdump --html`.
want_pkg chromium
want_pkg chromium-driver
want_pkg python3-selenium
case $profile in
  build) ;;
  fuzz)
    want_pkg libclang-rt-14-dev
    # Debian's llvm-14 has it as llvm-symbolizer-14 and in /usr/lib/llvm-14/bin; the make
    # targets point the sanitizer runtimes at it.
    if ! command -v llvm-symbolizer >/dev/null 2>&1 &&
      [ ! -x /usr/lib/llvm-14/bin/llvm-symbolizer ]; then
      need="$need llvm-14"
    fi
    ;;
  *)
    echo "usage: $0 [build|fuzz]" >&2
    exit 2
    ;;
esac

if [ -n "$need" ]; then
  if [ "$(id -u)" -eq 0 ]; then
    as_root=""
  elif command -v sudo >/dev/null 2>&1; then
    as_root="sudo"
  else
    echo "error: these Debian packages are missing:$need" >&2
    echo "This user cannot install them (not root, and there is no sudo). As root, run:" >&2
    echo "  apt-get update && apt-get install --no-install-recommends$need" >&2
    echo "or run this command again as root." >&2
    exit 1
  fi
  echo "Installing Debian packages:$need"
  $as_root apt-get update -qq
  # shellcheck disable=SC2086 # one word per package
  $as_root env DEBIAN_FRONTEND=noninteractive \
    apt-get install -y -qq --no-install-recommends $need
fi

# The pinned NodeSet models, installed again only when the lock file changed.
stamp=node_modules/.vos-installed
if [ ! -f "$stamp" ] || [ -n "$(find package-lock.json -newer "$stamp")" ]; then
  npm ci --no-audit --no-fund --loglevel=error
  touch "$stamp"
fi
