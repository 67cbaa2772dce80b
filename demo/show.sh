#!/bin/sh
# What a newcomer sees of the demo, in 100 columns: show.sh PROGRAM FOLDER. All places go to FOLDER/demo.txt. It runs in
# the tree, which has the examples.
set -eu
loamtunnel=$1 folder=$2
# ==== THE DEMO ====
"$loamtunnel" demo --chip 8 --kill driver,application >"$folder/demo.txt"
# ==================
printf '\n== Some of what applications asked for, LIFs, out-ACs and VLAN edits, with the rows in the image\n\n'
awk -F '   *' 'NR > 1 && (NR < 4 || NR % 40 == 0 || (/OutAcKey/ && ++acs < 3) || (/EvecEntry/ && ++edits < 3)) {
        printf "%s: %s\n", $1, (length($2) > 76 ? substr($2, 1, 73) "..." : $2)
        printf "  index %5s  array %s  row %5s  address %s  %s\n", $4, $5, $6, $7, $8
    }' "$folder/demo.txt"
printf '\n== A row of it taken apart: loamtunnel decode --chip 8 --variant 1 WORDS\n\n'
"$loamtunnel" decode --chip 8 --variant 1 --nonzero \
    "$(awk '/AradLifAcMp/ { print $(NF - 3), $(NF - 2), $(NF - 1), $NF; exit }' "$folder/demo.txt")"
printf '\n== Where its bits lie: loamtunnel layout --chip 8 --variant 1\n\n'
"$loamtunnel" layout --chip 8 --variant 1 | sed 's/^  //'
printf '\n== The same LIFs as rows of all chips, read back: encode ... --rows | decode --file - --check\n\n'
"$loamtunnel" encode --all-chips --file examples/lifs.txt --rows >"$folder/demo-rows.txt" 2>"$folder/demo-notes.txt"
fold -s -w 100 "$folder/demo-notes.txt" >&2
"$loamtunnel" decode --file "$folder/demo-rows.txt" --check
