#!/bin/sh
# check.sh GUIDE SOURCE PROGRAM: is each ```cpp block of the guide in the source, line after line, whatever the
# indentation, and does the program end well and print the ```text block?
set -eu
awk '
    { line = $0; sub(/^[ \t]+/, "", line) }
    FILENAME != ARGV[2] { source[++lines] = line; next }
    /^```/ { inside = $0 == "```cpp"; at = 0; next }
    inside && line != "" {
        count++
        if (at == 0) {
            for (at = 1; at <= lines && source[at] != line; ++at) {}
        } else {
            for (++at; at <= lines && source[at] == ""; ++at) {}
        }
        if (source[at] != line) {
            printf "%s:%d: not in the source here: %s\n", FILENAME, FNR, $0
            exit failed = 1
        }
    }
    END { exit failed || count == 0 }
' "$2" "$1" >&2
expected=$(awk '/^```/ { inside = $0 == "```text"; next } inside' "$1")
printed=$("$3")
[ "$printed" = "$expected" ] || {
    printf 'the guide says:\n%s\nthe program prints:\n%s\n' "$expected" "$printed" >&2
    exit 1
}
