#!/bin/bash
# fences.sh FENCEBENCH: the instructions of a million changes, without fences and with a thousand, by callgrind.
set -eu
program=$1
out=$(mktemp)
trap 'rm -f "$out"' EXIT
# What a run executes, in instructions.
count() {
    valgrind --tool=callgrind --callgrind-out-file=/dev/null "$program" "$@" 2>"$out" >/dev/null || { cat "$out" >&2; exit 1; }
    sed -n 's/.*Collected : \([0-9]*\).*/\1/p' "$out"
}
none=$(count --changes 0 --fences 0)
without=$(($(count --fences 0) - none))
with=$(($(count --fences 1000) - none))
awk -v without="$without" -v with="$with" 'BEGIN {
    printf "a million changes             %14d instructions, %.0f each\n", without, without / 1e6
    printf "  beside a thousand fences    %14d instructions, %.3f %% more\n", with, 100 * (with - without) / without
}'
