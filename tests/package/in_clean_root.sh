#!/bin/sh
# in_clean_root.sh PACKAGES CONSUMER: installs the Debian packages and the tarball of a
# folder into this system, and uses what they put there.
set -eux

packages=$1
consumer=$2
work=$(mktemp -d)
apt-get update -qq

# Builds and runs a user's programs, and runs the tool.
use() {
    flags=$(pkg-config --cflags --libs zylqx)
    eval "cc '$consumer/consumer.c' $flags -o '$work/shared'"
    "$work/shared"
    rm -rf "$work/build"
    cmake -S "$consumer" -B "$work/build"
    cmake --build "$work/build"
    for program in c_shared cpp_shared c_static cpp_static; do
        "$work/build/$program"
    done

    zyl chart "$work/chart.png"
    for kind in png jpg tif webp bmp; do
        zyl "$work/chart.png" gray median-filter:rows=5,columns=5 "$work/out.$kind"
    done
    zyl "$work/out.tif" "$work/again.bmp"
    cmp "$work/out.bmp" "$work/again.bmp"
    man zyl | grep -q median-filter
    bash -c '. "$1" && complete -p zyl' bash "$1/bash-completion/completions/zyl"
}

apt-get install -qq -y "$packages"/libzylqx1_*.deb "$packages"/libzylqx-dev_*.deb "$packages"/zyl_*.deb
use /usr/share
# The tool alone brings what it needs.
apt-get purge -qq -y libzylqx1 libzylqx-dev
zyl selftest --calls 20
apt-get purge -qq -y zyl
left=$(find /usr -name '*zylqx*' -o -name zyl -o -name 'zyl.*' -o -name _zyl)
[ -z "$left" ] || { echo "left behind: $left"; exit 1; }

tar -C "$work" -xf "$packages"/zylqx-*.tar.gz
make -C "$work"/zylqx-* install
ldconfig
hash -r # zyl is in another place now
use /usr/local/share
