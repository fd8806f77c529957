#!/bin/sh
# wine32.sh PROGRAM [ARGUMENT]...: runs a program for 32-bit Windows. Debian has
# 32-bit Wine for 32-bit systems only, so one of the same release is put into
# build/wine32 the first time: some minutes, 1.1 GB. Needs root.
set -eu

project=$(dirname "$(dirname "$(realpath "$0")")")
root=$project/build/wine32
mkdir -p "$project/build"

# Wine looks at /proc, programs at the project and at temporary files; the mounts go
# away with the last process.
within() {
    unshare --mount sh -euc '
        root=$1 project=$2
        shift 2
        mkdir -p "$root$project"
        mount -t proc proc "$root/proc"
        mount --bind "$project" "$root$project"
        mount --bind /tmp "$root/tmp"
        exec chroot "$root" "$@"' sh "$root" "$project" \
        env -C "$PWD" HOME=/root WINEDEBUG=-all WINEDLLOVERRIDES='mscoree=;mshtml=' "$@" 9>&-
}

exec 9>"$root.lock"
flock 9
if [ ! -e "$root.wine" ]; then
    "$project/scripts/root.sh" "$root" i386 wine32 9>&-
    # Message boxes wait for an answer where there is no display, too.
    within /usr/lib/wine/wine reg add 'HKCU\Software\Wine\Drivers' /v Graphics /d null /f >&2
    within /usr/lib/wine/wineserver32 --wait
    touch "$root.wine"
fi
# The services of Windows go on for a while, and would hold the program's output.
within /usr/lib/wine/wine cmd /c rem >/dev/null 2>&1
exec 9>&-
within /usr/lib/wine/wine "$@"
