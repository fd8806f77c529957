#!/bin/sh
# exports.sh HEADER LIBRARY: the library exports exactly the functions that the
# header declares.
set -eu
export LC_ALL=C

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

# A declaration may be cut in two after its ZYL_CALL.
tr '\n' ' ' <"$1" | grep -oE 'ZYL_API [^;(]*ZYL_CALL +zyl[A-Za-z0-9]+\(' |
    sed 's/.* //; s/($//' | sort >"$work/declared"
case $2 in
*.dll) objdump -p "$2" | sed -n '/Ordinal.Name/,/^$/s/.*[0-9]\] *//p' ;;
*) nm --dynamic --defined-only --format=posix "$2" | cut -d' ' -f1 ;;
esac | sort >"$work/exported"

[ -s "$work/declared" ] || { echo "no functions found in $1"; exit 1; }
echo "functions declared: $(wc -l <"$work/declared")"
if ! diff -u "$work/declared" "$work/exported"; then
    echo "the exported symbols (+) differ from the declared functions (-)"
    exit 1
fi
