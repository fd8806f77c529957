#!/bin/sh
# every_operation.sh HEADER PROGRAM...: the laws of the test programs run over every
# function of the header that takes images, and over nothing else. The functions
# that make, free and describe headers are no operations.
set -eu
export LC_ALL=C

header=$1
shift
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

tr '\n' ' ' <"$header" | sed 's/ZYL_API/\n&/g' | grep -E '^ZYL_API [^;]*\([^;]*ZylImage \*' |
    sed -E 's/.*ZYL_CALL +(zyl[A-Za-z0-9]+)\(.*/\1/' |
    grep -vE '^zyl(AllocateImage|Deallocate(Image|Header)?|SetBorderMode|BadImageHeader)$' |
    sort >"$work/declared"

# Family/Laws.
#   TheLaw/TheOperation  # GetParam() = zylAdd
for program in "$@"; do
    "$program" --gtest_list_tests
done | awk '/^[^ ]/ { laws = $1 ~ /\/Laws\.$/ } laws && /GetParam/ { print $NF }' | sort -u >"$work/tested"

[ -s "$work/declared" ] || { echo "no functions found in $header"; exit 1; }
echo "operations declared: $(wc -l <"$work/declared")"
if ! diff -u "$work/declared" "$work/tested"; then
    echo "the operations in the tables of laws (+) differ from those declared (-)"
    exit 1
fi
