#!/bin/bash
# Builds the fuzzers and runs each for SECONDS on a copy of its corpus, two at a time. Fails when one
# of them finds something; the input that shows it is left in build/sanitize/findings.
# usage: tests/fuzz/run.sh SECONDS
set -euo pipefail
seconds=${1:?usage: tests/fuzz/run.sh SECONDS}
cd "$(dirname "$0")/../.."

cmake --preset sanitize >/dev/null
cmake --build build/sanitize -j2 --target fuzzers make_corpus

work=$(mktemp -d)
# The jobs are groups of their own, so that a fuzzer does not outlive this script.
stop() {
    for job in $(jobs -p); do
        kill "$job" 2>/dev/null || true
    done
    wait
    rm -rf "$work"
}
trap stop EXIT
trap 'exit 1' INT TERM

# Seeds that were made must be what is made today. A corpus may hold more: what once showed a fault.
build/sanitize/tests/fuzz/make_corpus "$work/made"
if diff -r "$work/made" tests/fuzz/corpus | grep -v '^Only in tests/' >&2; then
    echo "Run make_corpus tests/fuzz/corpus and commit what it wrote." >&2
    exit 1
fi
cp -r tests/fuzz/corpus "$work/corpus"

findings=$PWD/build/sanitize/findings
mkdir -p "$findings"

# fuzz NAME LONGEST_INPUT: replaces the shell by the fuzzer.
fuzz() {
    exec nice "build/sanitize/tests/fuzz/$1" -max_total_time="$seconds" -max_len="$2" -timeout=20 \
        -rss_limit_mb=2048 -print_final_stats=1 -artifact_prefix="$findings/$1-" \
        "$work/corpus/$1" >"$work/$1.log" 2>&1
}

failed=0
# One fuzzer came to its end: tells how.
finish() {
    local name=$1 status=$2
    if [ "$status" -ne 0 ]; then
        cat "$work/$name.log"
        echo "$name: found something, see $findings"
        failed=1
    else
        echo "$name: $(grep -o 'Done [0-9]* runs in [0-9]* second(s)' "$work/$name.log"), nothing found"
    fi
}

declare -A running=()
await() {
    local pid status=0
    wait -n -p pid || status=$?
    finish "${running[$pid]}" "$status"
    unset "running[$pid]"
}

while read -r name longest; do
    if [ "${#running[@]}" -ge 2 ]; then
        await
    fi
    fuzz "$name" "$longest" &
    running[$!]=$name
done <<'LIST'
fuzz_input 6000
fuzz_request 6000
fuzz_link 6000
fuzz_parse 1400
fuzz_legacy 2200
LIST
while [ "${#running[@]}" -gt 0 ]; do
    await
done
exit "$failed"
