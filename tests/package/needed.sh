#!/bin/sh
# needed.sh LIBRARY: at run time the library asks for nothing but what every system
# has: the C library, which its mathematical half and its loader belong to, or the
# DLLs of Windows.
set -eu
export LC_ALL=C

case $1 in
*.dll) needed=$(objdump -p "$1" | sed -n 's/.*DLL Name: //p') ;;
*) needed=$(readelf --dynamic "$1" | sed -n 's/.*(NEEDED).*\[\(.*\)\]/\1/p') ;;
esac
[ -n "$needed" ] || { echo "no needed libraries found in $1"; exit 1; }

# Sanitizers bring libraries of their own.
others=$(echo "$needed" | grep -vE -e '^(libc\.so|libm\.so|ld-linux[-a-z0-9_]*\.so|ld64\.so|lib(a|ub|t)san\.so)\.[0-9]+$' \
    -e '^(KERNEL32|USER32|msvcrt)\.dll$' || true)
[ -z "$others" ] || { echo "needs other libraries: $others"; exit 1; }
