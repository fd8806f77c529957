#!/bin/sh
# wine32.sh PROGRAM [ARGUMENT]...: runs a program for 32-bit Windows. Debian has
# 32-bit Wine for 32-bit systems only, so one of the same release is put into
# build/wine32 the first time: some minutes, 1.1 GB. Needs root.
set -eu
cd "$(dirname "$0")/.."

root=$PWD/build/wine32
if [ ! -e "$root/ready" ]; then
    scripts/packages.sh debootstrap
    # The release and the mirror of this machine.
    release=$(. /etc/os-release && echo "$VERSION_CODENAME")
    mirror=$(apt-get indextargets --format '$(SITE) $(RELEASE)' 'Created-By: Packages' |
        awk -v release="$release" '$2 == release { print $1; exit }')
    rm -rf "$root"
    debootstrap --arch=i386 --variant=minbase --include=wine32 "$release" "$root" "$mirror" >&2
    touch "$root/ready"
fi

program=$1
shift
cp "$program" "$root/tmp/program.exe"
# Wine looks at /proc; a mount of our own goes away with the last process.
exec unshare --mount sh -c 'mount -t proc proc "$0/proc" && exec chroot "$0" "$@"' "$root" \
    env HOME=/root WINEDEBUG=-all /usr/lib/wine/wine /tmp/program.exe "$@"
