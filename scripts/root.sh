#!/bin/sh
# root.sh DIRECTORY ARCHITECTURE [PACKAGE,...]: puts a Debian of this machine's
# release, with the packages, into a directory unless it is there. Needs root.
set -eu
cd "$(dirname "$0")/.."

root=$1
[ ! -e "$root.made" ] || exit 0
scripts/packages.sh debootstrap
release=$(. /etc/os-release && echo "$VERSION_CODENAME")
mirror=$(apt-get indextargets --format '$(SITE) $(RELEASE)' 'Created-By: Packages' |
    awk -v release="$release" '$2 == release { print $1; exit }')
rm -rf "$root"
mkdir -p "$(dirname "$root")"
debootstrap --arch="$2" --variant=minbase ${3:+--include="$3"} "$release" "$root" "$mirror" >&2
touch "$root.made"
