#!/bin/sh
# everywhere.sh PLATFORM...: builds the self-test for the platforms, presets of
# CMakePresets.json or wasm-simd and wasm-plain, runs it on each and prints one table:
# the checksum kept for every operation, and "equal" or another checksum for every
# platform. Fails when one differs.
set -eu
cd "$(dirname "$0")/.."

results=build/everywhere
rm -rf "$results"
mkdir -p "$results"

build() {
    case $1 in
    wasm-*) web/build.sh ;;
    *)
        cmake --preset "$1" -DZYLQX_TESTS=ON
        cmake --build --preset "$1" --target selftest
        ;;
    esac
}

# CTest knows how programs of a platform are started here.
run() {
    case $1 in
    wasm-*) node --no-warnings web/tests/run-wasi.js "build/web/${1#wasm-}/selftest/selftest.wasm" ;;
    *) ctest --preset "$1" --tests-regex '^selftest$' --verbose | sed -n 's/^[0-9]*: //p' ;;
    esac
}

failed=0
for platform in "$@"; do
    build "$platform" >"$results/log" 2>&1 || { cat "$results/log"; exit 1; }
    echo "running on $platform" >&2
    # Programs for Windows end their lines their own way.
    run "$platform" | tr -d '\r' >"$results/$platform"
    grep -q ': 0 differ$' "$results/$platform" ||
        { echo "not all equal: $results/$platform" >&2; failed=1; }
done

cd "$results"
awk '
FNR == 1 { names[++n] = FILENAME }
$1 ~ /^zyl/ {
    if (n == 1) { order[++count] = $1; kept[$1] = $2 }
    found[$1, n] = $3 == "equal" ? "equal" : $NF
}
/operations,/ { levels[n] = $0; sub(".* at ", "", levels[n]); sub(": .*", "", levels[n]) }
END {
    printf "%-22s %-16s", "operation", "kept"
    for (i = 1; i <= n; i++) printf "  %-18s", names[i]
    print ""
    for (k = 1; k <= count; k++) {
        printf "%-22s %-16s", order[k], kept[order[k]]
        for (i = 1; i <= n; i++) printf "  %-18s", found[order[k], i]
        print ""
    }
    for (i = 1; i <= n; i++) printf "%s: %s\n", names[i], levels[i]
}' "$@"
exit $failed
