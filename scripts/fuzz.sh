#!/bin/sh
# fuzz.sh SECONDS [PROGRAM...]: runs the programs of build/fuzz, as many at a time as there
# are processors, each for its share of the time, from their corpora in build/corpora, which
# grow, and from what seeds.py makes. Prints executions and edges; after the first finding,
# which lies in build/corpora, no other program begins. SEED=1 takes the same inputs each
# time, as far as the time goes.
set -eu
cd "$(dirname "$0")/.."
corpora=$PWD/build/corpora

# fuzz PROGRAM SECONDS. Memory that is not there, calls that take long and leaks are findings.
fuzz() {
    program=$1
    mkdir -p "$corpora/$program" "$corpora/seeds/$program"
    dictionary=
    case $program in chain_fuzz | options_fuzz) dictionary=-dict=$corpora/seeds/words.dict ;; esac
    # shellcheck disable=SC2086 # an empty word
    UBSAN_OPTIONS=print_stacktrace=1 build/fuzz/fuzz/$program $dictionary -max_total_time="$2" \
        -max_len=4096 -timeout=60 -rss_limit_mb=1024 -malloc_limit_mb=512 -print_final_stats=1 -seed="${SEED:-0}" \
        -artifact_prefix="$corpora/$program-" "$corpora/$program" "$corpora/seeds/$program" \
        >"$corpora/$program.log" 2>&1 ||
        { tail -n 60 "$corpora/$program.log"; echo "$program found something: $corpora/$program-*"; exit 255; }
    awk -v program="$program" '
        / cov: / { for (i = 1; i < NF; i++) { if ($i == "cov:") edges = $(i + 1); if ($i == "corp:") inputs = $(i + 1) } }
        /number_of_executed_units/ { executions = $2 }
        END { sub("/.*", "", inputs); printf "%-18s %12d %8d %8d\n", program, executions, edges, inputs }
    ' "$corpora/$program.log"
}

if [ "$1" = --share ]; then
    fuzz "$3" "$2"
    exit
fi
seconds=$1
shift
if [ ! -e "$corpora/seeds/words.dict" ]; then
    /usr/bin/python3 fuzz/seeds.py "$PWD/build/release/tools/zyl" "$corpora/seeds"
fi
[ $# -gt 0 ] || set -- $(cd build/fuzz/fuzz && ls -- *_fuzz)
jobs=$(nproc)
[ "$jobs" -lt $# ] || jobs=$#
share=$((seconds * jobs / $#))
[ "$share" -gt 0 ] || share=1
printf '%-18s %12s %8s %8s\n' program executions edges inputs
# An exit code of 255 ends xargs.
printf '%s\n' "$@" | xargs -n 1 -P "$jobs" scripts/fuzz.sh --share "$share"
