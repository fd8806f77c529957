#!/bin/sh
# fuzz.sh SECONDS [PROGRAM...]: runs the programs of build/fuzz, each for its share of
# the time, from their corpora in build/corpora, which grow, and from what seeds.py makes.
# Prints executions and edges; the first finding ends the run, and lies in build/corpora.
set -eu
cd "$(dirname "$0")/.."

seconds=$1
shift
corpora=$PWD/build/corpora
if [ ! -e "$corpora/seeds/words.dict" ]; then
    /usr/bin/python3 fuzz/seeds.py "$PWD/build/release/tools/zyl" "$corpora/seeds"
fi
[ $# -gt 0 ] || set -- $(cd build/fuzz/fuzz && ls -- *_fuzz)
share=$((seconds / $#))
[ "$share" -gt 0 ] || share=1

# Reports of memory that is not there, of calls that take long, and of leaks are findings.
export UBSAN_OPTIONS=print_stacktrace=1
printf '%-18s %12s %8s %8s\n' program executions edges inputs
for program in "$@"; do
    mkdir -p "$corpora/$program" "$corpora/seeds/$program"
    dictionary=
    case $program in chain_fuzz | options_fuzz) dictionary=-dict=$corpora/seeds/words.dict ;; esac
    # shellcheck disable=SC2086 # an empty word
    build/fuzz/fuzz/$program $dictionary -max_total_time=$share -max_len=4096 -timeout=60 \
        -rss_limit_mb=1024 -malloc_limit_mb=512 -print_final_stats=1 \
        -artifact_prefix="$corpora/$program-" "$corpora/$program" "$corpora/seeds/$program" \
        >"$corpora/$program.log" 2>&1 ||
        { tail -n 60 "$corpora/$program.log"; echo "$program found something: $corpora/$program-*"; exit 1; }
    awk -v program="$program" '
        / cov: / { for (i = 1; i < NF; i++) { if ($i == "cov:") edges = $(i + 1); if ($i == "corp:") inputs = $(i + 1) } }
        /number_of_executed_units/ { executions = $2 }
        END { sub("/.*", "", inputs); printf "%-18s %12d %8d %8d\n", program, executions, edges, inputs }
    ' "$corpora/$program.log"
done
