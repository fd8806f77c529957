#!/bin/sh
# needed.sh LIBRARY: at run time the library asks for nothing but the C library,
# which its mathematical half and its loader belong to.
set -eu

needed=$(LC_ALL=C readelf --dynamic "$1" | sed -n 's/.*(NEEDED).*\[\(.*\)\]/\1/p')
[ -n "$needed" ] || { echo "no needed libraries found in $1"; exit 1; }

# Sanitizers bring libraries of their own.
others=$(echo "$needed" | grep -vE '^(libc\.so|libm\.so|ld-linux[-a-z0-9_]*\.so|lib(a|ub|t)san\.so)\.[0-9]+$' || true)
[ -z "$others" ] || { echo "needs other libraries:" $others; exit 1; }
