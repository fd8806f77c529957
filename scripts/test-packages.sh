#!/bin/sh
# test-packages.sh: installs what lies in build/packages into a fresh Debian, which is
# put into build/clean the first time, and uses it there. Needs root.
set -eu
cd "$(dirname "$0")/.."

root=$PWD/build/clean
scripts/root.sh "$root" "$(dpkg --print-architecture)" cmake,g++,make,man-db,pkg-config

# All that is written goes into memory, and away with the last process.
exec unshare --mount sh -euc '
    root=$1 project=$2
    mount -t tmpfs tmpfs /mnt
    mkdir /mnt/upper /mnt/work /mnt/clean
    mount -t overlay -o "lowerdir=$root,upperdir=/mnt/upper,workdir=/mnt/work" overlay /mnt/clean
    mount -t proc proc /mnt/clean/proc
    mount --bind /dev /mnt/clean/dev
    cp /etc/resolv.conf /etc/hosts /mnt/clean/etc/
    cp -R "$project/build/packages" "$project/tests/package" /mnt/clean/tmp/
    exec chroot /mnt/clean env -i HOME=/root PATH="$PATH" DEBIAN_FRONTEND=noninteractive \
        sh /tmp/package/in_clean_root.sh /tmp/packages /tmp/package/consumer' \
    sh "$root" "$PWD"
