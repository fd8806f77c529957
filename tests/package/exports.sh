#!/bin/sh
# exports.sh HEADER LIBRARY: the library exports exactly the functions that the
# header declares, and asks for no library but the C runtime's.
set -eu
export LC_ALL=C

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

# A declaration may be cut in two after its ZYL_CALL.
tr '\n' ' ' <"$1" | grep -oE 'ZYL_API [^;(]*ZYL_CALL +zyl[A-Za-z0-9]+\(' |
    sed 's/.* //; s/($//' | sort >"$work/declared"
nm --dynamic --defined-only --format=posix "$2" | cut -d' ' -f1 | sort >"$work/exported"

[ -s "$work/declared" ] || { echo "no functions found in $1"; exit 1; }
echo "functions declared: $(wc -l <"$work/declared")"
if ! diff -u "$work/declared" "$work/exported"; then
    echo "the exported symbols (+) differ from the declared functions (-)"
    exit 1
fi

# Sanitizers bring their own run-time libraries.
needed=$(readelf --dynamic "$2" | sed -n 's/.*(NEEDED).*\[\(.*\)\]/\1/p' |
    grep -vE '^(libc|libm|libgcc_s|ld-linux[-a-z0-9_]*)\.so\.[0-9]+$' | grep -vE '^lib(a|ub)san\.' || true)
[ -z "$needed" ] || { echo "needs other libraries: $needed"; exit 1; }
