#!/bin/sh
# proof/check.sh FOLDER: Spin goes through all states of fence.pml, and finds each of the faults that it can be given.
set -eu
model=$(cd "$(dirname "$0")" && pwd)/fence.pml
mkdir -p "$1"
cd "$1"

# explore NAME [OPTION...]: prints the lines that tell how it ended.
explore() {
    name=$1
    shift
    rm -f pan* ./*.trail
    spin "$@" -a "$model" >"$name.log"
    # What the generator writes is not ours to mend.
    cc -w -O2 -DSAFETY -o pan pan.c
    ./pan -m1000000 >>"$name.log"
    grep -E "errors: [0-9]+|states, stored|error: max" "$name.log"
}

explore fence >result
cat result
grep -q "errors: 0$" result || {
    echo "the fence does not hold: $1/fence.log" >&2
    exit 1
}
! grep -q "error: max" result || {
    echo "not all states were seen" >&2
    exit 1
}
for fault in FAULT_WAITS_FOR_NOTHING FAULT_GONE_IS_APPLIED FAULT_RELAY_ANSWERS_ALONE; do
    explore "$fault" "-D$fault" >result
    if grep -q "errors: 0$" result; then
        echo "$fault is not found" >&2
        exit 1
    fi
    echo "$fault: found"
done
