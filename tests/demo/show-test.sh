#!/bin/sh
# Does what the demo shows fit 100 columns, with each row's index, address and words? show-test.sh PROGRAM, in the tree.
set -eu
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT
sh demo/show.sh "$1" "$folder" >"$folder/shown.txt" 2>&1 || {
    cat "$folder/shown.txt"
    exit 1
}
awk '
    length($0) > 100 { print "too wide: " $0; wrong = 1 }
    /^vtApp[A-Za-z0-9]+: [A-Z]/ { entries++ }
    /^  index +[0-9]+  array [0-9]  row +[0-9]+  address 0x[0-9a-f]+  0x[0-9a-f]+ 0x/ { rows++ }
    /no other row is written/ { whole++ }
    END {
        if (rows < 10 || rows != entries || whole != 1) {
            print entries + 0 " entries, " rows + 0 " rows"
            wrong = 1
        }
        exit wrong
    }' "$folder/shown.txt"
