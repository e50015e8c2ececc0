#!/usr/bin/env bash
# Runs a 32-bit Windows program: tools/wine.sh PROGRAM.exe [ARGUMENTS]
#
# Wine lives in a 32-bit Debian root of its own, made once in the user's cache. Every run sees that
# root through a throw-away overlay, in its own mount and process namespaces: runs cannot meet, and
# whatever one leaves (wineserver, files on C:, mounts) goes with it. /tmp, the source tree and
# the working directory are the machine's own, at their own paths.
#   tools/wine.sh --check    makes the root if need be; status 0 when programs can be run
#   tools/wine.sh --shell SCRIPT [NAME ARGUMENTS]    runs a shell's script inside, as sh -c does
set -euo pipefail

tree=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd -P)
cache=${XDG_CACHE_HOME:-$HOME/.cache}/zut
root=$cache/wine32
as_root=()
[ "$(id -u)" = 0 ] || as_root=(sudo -E)

die() { echo "wine: $*" >&2; exit 125; }

# The machine's own Debian mirror, for its own release.
mirror() {
  # shellcheck disable=SC2016  # apt's own variables
  apt-get indextargets --format '$(RELEASE) $(REPO_URI)' 'Created-By: Packages' |
    awk -v release="$1" '$1 == release { print $2; exit }'
}

make_root() {
  local release url new=$root.new
  release=$(. /etc/os-release && echo "${VERSION_CODENAME:-}")
  url=$(mirror "$release")
  [ -n "$url" ] || die "no Debian mirror for '$release' among the package sources"
  echo "wine: making a 32-bit Wine root in $root (once; about 1.5 GB)" >&2
  "${as_root[@]}" rm -rf --one-file-system "$new"
  "${as_root[@]}" debootstrap --arch=i386 --variant=minbase --include=wine,wine32 \
    "$release" "$new" "$url" >"$cache/debootstrap.log" 2>&1 ||
    die "debootstrap failed; see $cache/debootstrap.log"
  # shellcheck disable=SC2016  # the inner shell's arguments
  "${as_root[@]}" bash -c 'rm -f "$1"/var/cache/apt/archives/*.deb
    mkdir -p "$1/prefix" && chown "$2" "$1/prefix"' - "$new" "$(id -u):$(id -g)"
  # The second command waits until the server has written the registry.
  enter "$new" plain sh -c 'wine wineboot -i && wineserver -w' >>"$cache/debootstrap.log" 2>&1 ||
    die "Wine's first start failed; see $cache/debootstrap.log"
  "${as_root[@]}" mv "$new" "$root"
}

# enter ROOT overlay|plain COMMAND...: runs it inside, as the calling user.
enter() {
  ZUT_WINE_USER=$(id -u):$(id -g) "${as_root[@]}" unshare --mount --pid --fork --kill-child \
    bash "$tree/tools/wine.sh" --inside "$PWD" "$@"
}

# Shows a directory of the machine inside, unless the path is there already.
bind_once() {
  [ -d "$1$2" ] && return
  mkdir -p "$1$2"
  mount --bind "$2" "$1$2"
}

# As root, in the new namespaces. Stays alive as their first process: the signals by which Wine
# ends a program do not reach a first process.
inside() {
  local directory=$1 base=$2 kind=$3 scratch
  shift 3
  if [ "$kind" = overlay ]; then
    scratch=$(dirname "$base")/scratch
    mkdir -p "$scratch"
    mount -t tmpfs -o mode=755 zut-wine "$scratch"
    mkdir "$scratch"/{upper,work,root}
    mount -t overlay -o "lowerdir=$base,upperdir=$scratch/upper,workdir=$scratch/work" \
      zut-wine "$scratch/root"
    base=$scratch/root
    [ -e "$base/etc/hosts" ] || echo '127.0.0.1 localhost' >"$base/etc/hosts"
  fi
  mount -t proc proc "$base/proc"
  mount --rbind /dev "$base/dev"
  if [ "$kind" = overlay ]; then
    mount --bind /tmp "$base/tmp"
    bind_once "$base" "$tree"
    bind_once "$base" "$directory"
    mkdir -p /tmp/.wine-"${ZUT_WINE_USER%:*}"
    mount -t tmpfs -o "mode=700,uid=${ZUT_WINE_USER%:*}" zut-wine \
      "$base/tmp/.wine-${ZUT_WINE_USER%:*}"
  else
    directory=/
  fi
  chroot --userspec="$ZUT_WINE_USER" "$base" env --chdir="$directory" HOME=/prefix \
    WINEPREFIX=/prefix/wine WINEDEBUG="${WINEDEBUG:--all}" \
    WINEDLLOVERRIDES='mscoree,mshtml,winemenubuilder.exe,winedbg.exe=' "$@"
}

case ${1:-} in
  --inside)
    shift
    code=0
    inside "$@" || code=$?
    exit "$code"
    ;;
  '') die "no program given" ;;
esac

command -v debootstrap >/dev/null || [ -d "$root" ] || die "debootstrap is not installed"
if [ ! -d "$root" ]; then
  mkdir -p "$cache"
  exec 9>"$cache/lock"
  flock 9
  [ -d "$root" ] || make_root
  exec 9>&-
fi

case $1 in
  --check) enter "$root" overlay wine cmd /c exit 0 ;;
  --shell) shift; enter "$root" overlay sh -c "$@" ;;
  *) enter "$root" overlay wine "$@" ;;
esac
