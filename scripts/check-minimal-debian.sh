#!/bin/sh
# Repeats the README's set-up on a minimal Debian 12: builds a root with
# `debootstrap --variant=minbase bookworm`, copies a clean export of this work tree into it
# and runs the two set-up commands there as root, timing each; then runs both once more,
# which must be quick. Takes a while (the packages and a full build); not part of make test.
#
#   scripts/check-minimal-debian.sh [--keep] [ROOT_DIR]
#
# Run as root. ROOT_DIR must not exist or be empty (default: a new folder in /var/tmp); it
# is removed at the end unless --keep is given. MIRROR overrides the Debian mirror.
#
# The root uses the host's package sources (and debootstrap the mirror they name) and, where
# the host trusts extra certificate authorities for its network, the host's trusted
# certificates, so that the check measures the project rather than the network.
set -eu

keep=0
if [ "${1:-}" = "--keep" ]; then
  keep=1
  shift
fi
src=$(cd "$(dirname "$0")/.." && pwd)
commands="./setup demo|./setup test"

if [ "$(id -u)" -ne 0 ]; then
  echo "error: $0 needs root (debootstrap, chroot and mounts); run it as root." >&2
  exit 1
fi
if ! command -v debootstrap >/dev/null 2>&1; then
  echo "Installing debootstrap on this host"
  apt-get update -qq
  DEBIAN_FRONTEND=noninteractive apt-get install -y -qq --no-install-recommends debootstrap
fi

# The host's sources: one-line files (*.list) and deb822 files (*.sources). Disabled files
# (other suffixes) are not sources.
host_sources() {
  for f in /etc/apt/sources.list /etc/apt/sources.list.d/*.list \
    /etc/apt/sources.list.d/*.sources; do
    [ -f "$f" ] && echo "$f"
  done
  return 0
}

# The first mirror that the host uses for bookworm itself (not its updates or security).
host_mirror() {
  for f in $(host_sources); do
    case $f in
      *.sources)
        awk 'BEGIN { RS = ""; FS = "\n" }
             {
               uri = ""; ok = 0; deb = 0
               for (i = 1; i <= NF; i++) {
                 if ($i ~ /^URIs:/) { split($i, a, /[ \t]+/); uri = a[2] }
                 if ($i ~ /^Suites:/ && $i ~ /[ \t]bookworm([ \t]|$)/) ok = 1
                 if ($i ~ /^Types:/ && $i ~ /[ \t]deb([ \t]|$)/) deb = 1
               }
               if (uri != "" && ok && deb) { print uri; exit }
             }' "$f"
        ;;
      *)
        awk '$1 == "deb" {
               i = 2
               if ($i ~ /^\[/) { while ($i !~ /\]$/) i++; i++ }
               if ($(i + 1) == "bookworm") { print $i; exit }
             }' "$f"
        ;;
    esac
  done | head -n 1
}

mirror=${MIRROR:-$(host_mirror)}
mirror=${mirror:-http://deb.debian.org/debian}

if [ $# -ge 1 ]; then
  root=$1
  mkdir -p "$root"
  if [ -n "$(ls -A "$root")" ]; then
    echo "error: '$root' is not empty" >&2
    exit 1
  fi
else
  root=$(mktemp -d /var/tmp/vos-minimal-debian.XXXXXX)
fi
root=$(cd "$root" && pwd)

# Unmounts everything below the root, deepest first; removes the root unless --keep, and
# only when nothing is mounted below it any more.
# shellcheck disable=SC2317 # called by the traps
cleanup() {
  status=$?
  trap - EXIT INT TERM
  awk -v r="$root/" 'index($2, r) == 1 { print $2 }' /proc/mounts | sort -r |
    while read -r m; do umount "$m" 2>/dev/null || umount -l "$m"; done
  if awk -v r="$root/" 'index($2, r) == 1 { found = 1 } END { exit !found }' /proc/mounts; then
    echo "warning: something is still mounted below $root; left in place" >&2
  elif [ "$keep" -eq 0 ]; then
    rm -rf --one-file-system "$root"
  else
    echo "The root stays in $root"
  fi
  exit "$status"
}
trap cleanup EXIT
trap 'exit 130' INT TERM

seconds() { date +%s; }
took() {
  t=$(($(seconds) - $1))
  echo "$((t / 60))m$((t % 60))s"
}

echo "== debootstrap --variant=minbase bookworm $root $mirror"
start=$(seconds)
debootstrap --variant=minbase bookworm "$root" "$mirror"
echo "== minimal root made in $(took "$start")"

# Package sources, the keyrings they name, and the host's apt settings for fetching
# (proxies and the like).
rm -f "$root/etc/apt/sources.list"
for f in $(host_sources); do
  mkdir -p "$root$(dirname "$f")"
  cp "$f" "$root$f"
  for key in $(sed -n 's/.*[Ss]igned-[Bb]y[:=][[:space:]]*\([^] ]*\).*/\1/p' "$f"); do
    if [ -f "$key" ] && [ ! -e "$root$key" ]; then
      mkdir -p "$root$(dirname "$key")"
      cp "$key" "$root$key"
    fi
  done
done
for f in /etc/apt/apt.conf.d/*; do
  if [ -f "$f" ] && grep -q '^[[:space:]]*Acquire' "$f"; then cp "$f" "$root/etc/apt/apt.conf.d/"; fi
done

# Name resolution as on the host.
cp /etc/resolv.conf "$root/etc/resolv.conf"
cp /etc/hosts "$root/etc/hosts"

# Certificate authorities the host trusts beyond Debian's: the ca-certificates package adds
# them to the bundle when the set-up installs it; Node.js reads the bundle through
# NODE_EXTRA_CA_CERTS.
node_ca=""
if [ -d /usr/local/share/ca-certificates ] &&
  [ -n "$(ls -A /usr/local/share/ca-certificates)" ]; then
  mkdir -p "$root/usr/local/share/ca-certificates"
  cp -R /usr/local/share/ca-certificates/. "$root/usr/local/share/ca-certificates/"
  node_ca=/etc/ssl/certs/ca-certificates.crt
fi
if [ -f /etc/ssl/certs/ca-certificates.crt ]; then
  mkdir -p "$root/etc/ssl/certs"
  cp /etc/ssl/certs/ca-certificates.crt "$root/etc/ssl/certs/"
fi

# A clean export: the committed tree with the uncommitted changes of tracked files, without
# build folders or installed models.
mkdir -p "$root/root/vospack"
if git -C "$src" rev-parse --git-dir >/dev/null 2>&1; then
  tree=$(git -C "$src" stash create)
  git -C "$src" archive --format=tar "${tree:-HEAD}" | tar -x -C "$root/root/vospack"
else
  tar -C "$src" --exclude="./build*" --exclude=./node_modules --exclude=./out --exclude=./.git \
    -cf - . | tar -x -C "$root/root/vospack"
fi

# /proc, and the host's devices and pseudo-terminals (apt logs through one). Private, so
# that nothing done here reaches the host's mounts.
mount -t proc proc "$root/proc"
for d in /dev /dev/pts; do
  mount --bind "$d" "$root$d"
  mount --make-private "$root$d"
done

# Runs one command in the root as root, with a clean environment; prints its time.
in_root() {
  cmd=$1
  round=$2
  set -- env -i PATH=/usr/local/sbin:/usr/local/bin:/usr/sbin:/usr/bin:/sbin:/bin \
    HOME=/root LANG=C.UTF-8 TERM="${TERM:-dumb}" \
    ${node_ca:+NODE_EXTRA_CA_CERTS=$node_ca} \
    ${http_proxy:+http_proxy=$http_proxy} ${https_proxy:+https_proxy=$https_proxy} \
    ${no_proxy:+no_proxy=$no_proxy} \
    /bin/sh -c "cd /root/vospack && $cmd"
  echo "== $round: $cmd"
  start=$(seconds)
  if chroot "$root" "$@"; then
    echo "== $round: '$cmd' passed in $(took "$start")"
    echo "$round|$cmd|passed|$(took "$start")" >>"$root/.times"
  else
    echo "== $round: '$cmd' FAILED after $(took "$start")"
    echo "$round|$cmd|FAILED|$(took "$start")" >>"$root/.times"
    return 1
  fi
}

failed=0
for round in first again; do
  IFS='|'
  for cmd in $commands; do
    unset IFS
    if ! in_root "$cmd" "$round"; then
      failed=1
      break
    fi
    IFS='|'
  done
  unset IFS
  [ "$failed" -eq 0 ] || break
done

echo "== times (minimal Debian 12 root, $(nproc) cores)"
while IFS='|' read -r round cmd result time; do
  printf '  %-6s %-14s %-7s %s\n' "$round" "$cmd" "$result" "$time"
done <"$root/.times"
exit "$failed"
