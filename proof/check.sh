#!/bin/sh
# proof/check.sh FOLDER: Spin goes through all states of fence.pml, looks for runs without an end, and finds each of the
# faults that the model can be given.
set -eu
model=$(cd "$(dirname "$0")" && pwd)/fence.pml
mkdir -p "$1"
cd "$1"

# Fewer changes and cuts do for a fault, and for the search for cycles, which goes over each state twice.
#
# explore NAME HOW RUN [OPTION...]: prints the lines that tell how it ended. HOW is what pan.c is compiled for, RUN its option.
explore() {
    name=$1 how=$2 run=$3
    shift 3
    rm -f pan* ./*.trail
    spin "$@" -a "$model" >"$name.log"
    # What the generator writes is not ours to mend.
    cc -w -O1 "$how" -o pan pan.c
    # shellcheck disable=SC2086 # none, or one
    ./pan -m1000000 $run >>"$name.log"
    grep -E "errors: [0-9]+|states, stored|error: max" "$name.log"
}

# holds NAME HOW RUN [OPTION...]
holds() {
    explore "$@" >result
    echo "$1:"
    cat result
    grep -q "errors: 0$" result || {
        echo "the fence does not hold: $PWD/$1.log" >&2
        exit 1
    }
    ! grep -q "error: max" result || {
        echo "not all states were seen" >&2
        exit 1
    }
}

holds fence -DSAFETY ""
holds cycles -DNP -l -DCHANGES=2
# shellcheck disable=SC2013 # names, without blanks
for fault in $(sed -n 's/^#ifdef \(FAULT_[A-Z_]*\)$/\1/p' "$model" | sort -u); do
    explore "$fault" -DSAFETY "" "-D$fault" -DCHANGES=2 -DCUTS=1 >result
    ! grep -q "errors: 0$" result || explore "$fault" -DNP -l "-D$fault" -DCHANGES=2 -DCUTS=1 >result
    if grep -q "errors: 0$" result; then
        echo "$fault is not found" >&2
        exit 1
    fi
    echo "$fault: found"
done
