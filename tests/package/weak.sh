#!/bin/sh
# weak.sh NM OBJECT...: no kernel's object file defines a weak symbol. The linker
# keeps one of several weak symbols of a name, whichever level it was compiled
# for, so that a processor could meet instructions that it does not have.
set -eu

nm=$1
shift
[ $# -gt 0 ] || { echo "no kernels given"; exit 1; }
weak=$("$nm" --defined-only --print-file-name "$@" | grep -E ' [uVvWw] ' || true)
[ -z "$weak" ] || { echo "weak symbols:"; echo "$weak"; exit 1; }
