#!/bin/sh
# configure.sh SOURCE EMBEDDING: what a person meets who configures the project
# without presets. CMAKE is taken from the environment.
set -eu

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

# A package that is missing is named, and so is the option that does without.
if "$CMAKE" -S "$1" -B "$work/missing" -DCMAKE_DISABLE_FIND_PACKAGE_PNG=ON >"$work/log" 2>&1; then
    echo "configured a tool without libpng"
    exit 1
fi
for word in libpng-dev -DZYLQX_TOOL=OFF; do
    grep -qe "$word" "$work/log" || { cat "$work/log"; echo "the message does not name $word"; exit 1; }
done

# As a part of another project it is the library alone, and a warning there does
# not end the build.
"$CMAKE" -S "$2" -B "$work/embedded" -DZYLQX_SOURCE="$1" >"$work/log" 2>&1 || { cat "$work/log"; exit 1; }
for option in ZYLQX_TESTS ZYLQX_TOOL ZYLQX_BENCH ZYLQX_WERROR; do
    grep -q "^$option:BOOL=OFF" "$work/embedded/CMakeCache.txt" || { echo "$option is on"; exit 1; }
done
