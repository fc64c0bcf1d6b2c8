#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# Installs the Debian packages that lie in a folder in a fresh Debian, made from the package sources of this machine; uses
# them, removes them, and looks whether anything stays. Ends with 77 where that cannot be tried.
set -euo pipefail
packages=$(cd "${1:?Give the folder where the packages lie, such as build/package.}" && pwd)

skip() {
    echo "SKIPPED: $1" >&2
    exit 77
}
fail() {
    echo "FAILED: $1" >&2
    exit 1
}
say() { printf -- '--- %s\n' "$1"; }

package() { # NAME: its newest file
    local files
    files=$(ls -t "$packages/$1"_*.deb 2>/dev/null) ||
        fail "$packages has no package $1; build it with: cmake --preset package && cmake --build --preset package"
    head -n 1 <<<"$files"
}
program=$(package corvane)
geo=$(package corvane-geo)
window=$(package corvane-window)

[ "$(id -u)" -eq 0 ] || skip "a root of its own can be made only by the superuser; run this as root."
for tool in debootstrap wget apt-get; do
    command -v $tool >/dev/null || skip "$tool is not installed; apt-get install $tool."
done
chroot / true 2>/dev/null || skip "chroot is not allowed here."

# The machine's own sources of its own release, whatever form they are written in.
release=$(. /etc/os-release && echo "${VERSION_CODENAME:-}")
sources=$(apt-get indextargets --format '$(ORIGIN)|$(REPO_URI)|$(RELEASE)|$(COMPONENT)' 'Created-By: Packages' |
    awk -F'|' '$1 == "Debian" { sub("/$", "", $2); print $2, $3, $4 }' | sort -u)
mirror=$(awk -v release="$release" '$2 == release && $3 == "main" { print $1; exit }' <<<"$sources")
[ -n "$mirror" ] || skip "apt knows no source of Debian's $release; run apt-get update, or try this on Debian."
eval "$(apt-config shell http_proxy Acquire::http::Proxy)"
[ -z "${http_proxy:-}" ] || export http_proxy
wget -q -T 20 -t 2 -O /dev/null "$mirror/dists/$release/InRelease" || skip "the package source cannot be reached."

root=$(mktemp -d)
trap 'umount "$root/proc" 2>/dev/null; rm -rf --one-file-system "$root"' EXIT
inside() { chroot "$root" env -i PATH=/usr/sbin:/usr/bin:/sbin:/bin LC_ALL=C.UTF-8 DEBIAN_FRONTEND=noninteractive "$@"; }
quietly() { # the output is shown only when the command fails
    "$@" >"$root.log" 2>&1 || {
        tail -n 40 "$root.log" >&2
        rm -f "$root.log"
        fail "$*"
    }
    rm -f "$root.log"
}

say "making a root of $release"
mknod "$root/null" c 1 3 2>/dev/null && echo >"$root/null" || skip "devices cannot be made in $root."
rm "$root/null"
quietly debootstrap --variant=minbase "$release" "$root" "$mirror"
# Without it nothing finds the libraries that lie beside it.
mount -t proc proc "$root/proc" 2>/dev/null || skip "$root cannot be given a /proc."
awk '{ print "deb", $1, $2, $3 }' <<<"$sources" >"$root/etc/apt/sources.list"
apt-config dump Acquire >"$root/etc/apt/apt.conf.d/10machine"
quietly inside apt-get update
mkdir "$root/packages"
cp "$program" "$root/packages/corvane.deb"
cp "$geo" "$root/packages/corvane-geo.deb"
cp "$window" "$root/packages/corvane-window.deb"

say "installing corvane"
quietly inside apt-get install -y --no-install-recommends /packages/corvane.deb
cat >"$root/packages/use" <<'USE'
set -eu
mkdir /job
cd /job
corvane --version
corvane sample in.las --points 20000 --quiet
corvane reclassify in.las out.laz --from ground --to building \
    --within 'POLYGON((500000 5200000, 500030 5200000, 500030 5200030, 500000 5200030))' --quiet
test -s out.laz
corvane compare in.las out.laz --only Classification >compared
corvane histogram out.laz --plot classes.svg >counts
corvane picture out.laz map.png
test -s classes.svg
test -s map.png
test -s /usr/share/man/man1/corvane-reclassify.1
. /usr/share/bash-completion/completions/corvane
COMP_WORDS=(corvane recl) COMP_CWORD=1
compopt() { :; } # of a completion that the shell did not begin
_corvane
test "${COMPREPLY[*]}" = reclassify
USE
quietly inside bash /packages/use

say "polygons of other programs, without corvane-geo"
printf 'WKT,name\n"POLYGON((500000 5200000, 500030 5200000, 500030 5200030, 500000 5200030, 500000 5200000))",a\n' \
    >"$root/job/areas.csv"
printf 'SQLite format 3\0' >"$root/job/areas.gpkg"
for file in areas.csv areas.gpkg; do
    status=0
    said=$(inside corvane histogram /job/in.las --within /job/$file 2>&1) || status=$?
    [ $status -eq 1 ] || fail "$file without corvane-geo ended with status $status: $said"
    grep -q 'Install the package corvane-geo' <<<"$said" || fail "no word of corvane-geo: $said"
done

say "installing corvane-geo"
quietly inside apt-get install -y --no-install-recommends /packages/corvane-geo.deb
counts() { inside corvane histogram /job/in.las --json --quiet "$@" | grep '"count"'; }
plain=$(counts --within 'POLYGON((500000 5200000, 500030 5200000, 500030 5200030, 500000 5200030))')
[ "$(counts --within /job/areas.csv)" = "$plain" ] ||
    fail "the points in a CSV's polygon are others than in the same as WKT."
# Around the whole survey, in degrees: needs the tables of coordinate systems.
degrees='POLYGON((8.9 46.9, 9.1 46.9, 9.1 47, 8.9 47))'
[ "$(counts --within "$degrees" --polygon-crs EPSG:4326)" = "$(counts)" ] ||
    fail "a polygon in degrees around the survey does not hold all its points."

say "a window, without and with corvane-window"
status=0
said=$(inside corvane open /job/in.las --screenshot /job/window.png 2>&1) || status=$?
[ $status -eq 1 ] || fail "a window without corvane-window ended with status $status: $said"
grep -q 'Install the package corvane-window' <<<"$said" || fail "no word of corvane-window: $said"
quietly inside apt-get install -y --no-install-recommends /packages/corvane-window.deb
quietly inside corvane open /job/in.las --screenshot /job/window.png
[ -s "$root/job/window.png" ] || fail "there is no picture of the window."

say "removing all"
rm -r "$root/job"
files=$(inside dpkg -L corvane corvane-geo corvane-window | sort -u)
quietly inside apt-get purge -y corvane corvane-geo corvane-window
rm -r "$root/packages"
left=$(while read -r file; do
    [ ! -e "$root$file" ] || [ -d "$root$file" ] || echo "$file"
done <<<"$files"
find "$root" -xdev -iname '*corvane*' -print)
[ -z "$left" ] || fail "these were left behind: $left"
say "installed, used and removed; nothing was left behind"
