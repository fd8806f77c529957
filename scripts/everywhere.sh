#!/bin/sh
# everywhere.sh PLATFORM...: builds the self-test for the platforms, presets of
# CMakePresets.json, runs it on each and prints one table: the checksum kept for
# every operation, and "equal" or another checksum for every platform. Fails when
# one differs.
set -eu
cd "$(dirname "$0")/.."

results=build/everywhere
mkdir -p "$results"

# How a program of the platform is started here.
starter() {
    case $1 in
    aarch64-linux-gnu) echo qemu-aarch64-static -L /usr/aarch64-linux-gnu ;;
    s390x-linux-gnu) echo qemu-s390x-static -L /usr/s390x-linux-gnu ;;
    x86_64-w64-mingw32) echo env WINEDEBUG=-all "WINEPREFIX=$PWD/build/wine64" /usr/lib/wine/wine64 ;;
    i686-w64-mingw32) echo scripts/wine32.sh ;;
    esac
}

program() {
    case $1 in
    *-mingw32) echo "build/$1/selftest/selftest.exe" ;;
    *) echo "build/$1/selftest/selftest" ;;
    esac
}

failed=0
for platform in "$@"; do
    rm -f "$results/$platform"
    cmake --preset "$platform" -DZYLQX_TESTS=ON >"$results/$platform.log"
    cmake --build --preset "$platform" --target selftest >>"$results/$platform.log" ||
        { cat "$results/$platform.log"; exit 1; }
    echo "running on $platform" >&2
    # shellcheck disable=SC2046 # the words of a command
    $(starter "$platform") "$(program "$platform")" >"$results/$platform" || failed=1
    # Programs for Windows end their lines their own way.
    sed -i 's/\r$//' "$results/$platform"
done

awk '
FNR == 1 { n++; names[n] = FILENAME; sub(".*/", "", names[n]) }
$1 ~ /^zyl/ {
    if (n == 1) { order[++count] = $1; kept[$1] = $2 }
    found[$1, n] = $3 == "equal" ? "equal" : $NF
}
/operations,/ { levels[n] = $0; sub(".* at ", "", levels[n]); sub(": .*", "", levels[n]) }
END {
    printf "%-22s %-16s", "operation", "kept"
    for (i = 1; i <= n; i++) printf "  %-17s", names[i]
    print ""
    for (k = 1; k <= count; k++) {
        printf "%-22s %-16s", order[k], kept[order[k]]
        for (i = 1; i <= n; i++) printf "  %-17s", found[order[k], i]
        print ""
    }
    for (i = 1; i <= n; i++) printf "%s: %s\n", names[i], levels[i]
}' $(for platform in "$@"; do echo "$results/$platform"; done)
exit $failed
