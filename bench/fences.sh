#!/bin/bash
# fences.sh FENCEBENCH: the instructions of a million changes, by callgrind: without fences, beside a thousand, and behind
# a thousand that have been answered. It fails
#   - above 2 % for the fences beside the changes;
#   - if without fences the changes run any instruction in what serves fences;
#   - if answered fences leave behind what each later change pays for, that is more than 0.01 %.
set -eu
program=$1
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT
# What a run executes, in instructions; the profile stays in $folder/profile.
count() {
    valgrind --tool=callgrind --callgrind-out-file="$folder/profile" "$program" "$@" 2>"$folder/log" >/dev/null || {
        cat "$folder/log" >&2
        exit 1
    }
    sed -n 's/.*Collected : \([0-9]*\).*/\1/p' "$folder/log"
}
# What of that is in Fences (attrlog/session/internal/Parts.h) and in Fence.
inFences() {
    callgrind_annotate --threshold=100 "$folder/profile" | sed 's/(.*%) //' |
        awk '$2 ~ /NboAttrLog::(detail::)?Fence/ { gsub(",", "", $1); sum += $1 } END { print sum + 0 }'
}
none=$(count --changes 0 --fences 0)
unusedBefore=$(inFences)
without=$(($(count --fences 0) - none))
unused=$(($(inFences) - unusedBefore))
with=$(($(count --fences 1000) - none))
used=$(inFences)
answered=$(count --changes 0 --fences 0 --before 1000)
behind=$(($(count --fences 0 --before 1000) - answered))
awk -v without="$without" -v with="$with" -v behind="$behind" -v unused="$unused" -v used="$used" 'BEGIN {
    beside = 100 * (with - without) / without
    later = 100 * (behind - without) / without
    printf "a million changes                 %14d instructions, %.0f each, %d of all in fences\n", without, without / 1e6, unused
    printf "  beside a thousand fences        %14d instructions, %.3f %% more\n", with, beside
    printf "  behind a thousand fences        %14d instructions, %.4f %% more\n", behind, later
    if (used == 0) {
        print "fences.sh: the profile names no function of fences, so that it does not tell what unused ones cost" > "/dev/stderr"
        failed = 1
    }
    if (beside > 2) {
        print "fences.sh: a thousand fences cost more than 2 %" > "/dev/stderr"
        failed = 1
    }
    if (unused != 0 || later > 0.01) {
        print "fences.sh: fences that nobody asks for cost something" > "/dev/stderr"
        failed = 1
    }
    exit failed
}'
