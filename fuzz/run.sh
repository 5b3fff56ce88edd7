#!/bin/bash
# Fuzzes the entrances of a program for FUZZ_SECONDS (60), from seeds that MAKE_CORPUS makes. First the
# seeds alone must reach most of its source, or the fuzzer would knock at closed doors. An input that
# brings it down is kept in build/fuzz/found.
# Usage: run.sh FUZZ_PROGRAM MAKE_CORPUS SOURCE_FOLDER FEWEST_FUNCTIONS
set -euo pipefail

program=$(realpath "$1")
cd "$(dirname "$0")/.."
make_corpus=$2 source=$3 fewest_functions=$4

work=$(mktemp -d /dev/shm/fieldrelaybox-fuzz.XXXXXX)
trap 'rm -rf "$work"' EXIT
export TMPDIR=$work
mkdir -p build/fuzz/found "$work/corpus"
"$make_corpus" "$work"

# The program's own output goes nowhere; the fuzzer's is kept.
fuzz() {
    "$program" -close_fd_mask=3 -max_len=4096 -timeout=25 -artifact_prefix=build/fuzz/found/ "$@" \
        "$work/corpus" "$work/seeds"
}

# Functions are told apart by where they begin, so that what a template became counts once.
if ! fuzz -runs=0 -print_coverage=1 >"$work/coverage" 2>&1; then
    tail -n 60 "$work/coverage" >&2
    exit 1
fi
functions=$(sed -n "s#^COVERED_FUNC:.* [^ ]*/\\($source/[^ ]*:[1-9][0-9]*\\)\$#\\1#p" "$work/coverage" | sort -u | wc -l)
echo "The seeds reach $functions functions in $source, $fewest_functions are wanted."
[ "$functions" -ge "$fewest_functions" ]

fuzz -dict="$work/words" -max_total_time="${FUZZ_SECONDS:-60}" -print_final_stats=1 2>"$work/log" || {
    tail -n 100 "$work/log" >&2
    exit 1
}
grep -E '^(Done|stat::(number_of_executed_units|average_exec_per_sec|new_units_added|peak_rss_mb))|INITED' "$work/log"
