#!/bin/sh
# check.sh GUIDE PROGRAM SOURCE...: is each ```cpp block of the guide in one of the sources, line after line, whatever the
# indentation, and does the program end well and print the ```text block, if there is one?
set -eu
guide=$1
program=$2
shift 2
awk -v guide="$guide" '
    { line = $0; sub(/^[ \t]+/, "", line) }
    FILENAME != guide { source[++lines] = line; next }
    /^```/ {
        if (inside && wanted) check()
        inside = !inside
        wanted = $0 == "```cpp"
        count = 0
        next
    }
    inside && wanted && line != "" { block[++count] = line; where[count] = FNR }
    END { exit failed || blocks == 0 }

    # Somewhere in the sources the lines of the block follow each other, but for empty ones.
    function check(    start, at, i, best, bestAt) {
        ++blocks
        best = 0
        for (start = 1; start <= lines; ++start) {
            at = start
            for (i = 1; i <= count && source[at] == block[i]; ++i) {
                for (++at; at <= lines && source[at] == ""; ++at) {}
            }
            if (i > count) return
            if (i > best) best = i
        }
        printf "%s:%d: not in the source here: %s\n", guide, where[best], block[best]
        failed = 1
    }
' "$@" "$guide" >&2
printed=$("$program")
expected=$(awk '/^```/ { inside = $0 == "```text"; next } inside' "$guide")
[ -z "$expected" ] || [ "$printed" = "$expected" ] || {
    printf 'the guide says:\n%s\nthe program prints:\n%s\n' "$expected" "$printed" >&2
    exit 1
}
