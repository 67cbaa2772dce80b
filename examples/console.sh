#!/bin/bash
# console.sh BIN GUIDE...: does each ```console block of the guides show what its commands print? They run in one shell, one
# after another, with BIN in the path; `...` on a line of its own stands for any lines. What a command leaves in the background is
# ended at the end of its block.
set -eu
PATH=$1:$PATH
export PATH
shift
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
failed=0

# Makes of a block a script that prints each command before what it prints.
script() {
    awk '
        /^\$ / {
            command = substr($0, 3)
            gsub(/\047/, "\047\\\047\047", $0)
            printf "printf \047%%s\\n\047 \047%s\047\n{ %s\n} 2>&1\n", $0, command
            if (command ~ /&$/) print "for i in {1..300}; do [ -S \"$LOAM_SOCKET\" ] && break; sleep 0.1; done"
        }
    ' "$1"
}

for guide in "$@"; do
    awk -v work="$work" '
        /^```/ { inside = $0 == "```console"; if (inside) ++blocks; next }
        inside { print >(work "/block" blocks) }
        END { print blocks + 0 }
    ' "$guide" >"$work/count"
    [ "$(cat "$work/count")" != 0 ] || { echo "$guide shows no console" >&2; exit 1; }
    for block in "$work"/block*; do
        script "$block" >"$work/script"
        # shellcheck disable=SC2016 # for the script to expand
        echo 'kill $(jobs -p) 2>/dev/null || true' >>"$work/script"
        LOAM_SOCKET=$work/socket bash "$work/script" >"$work/printed" 2>&1 || true
        sed -i "s|$work/socket|/tmp/loam|g" "$work/printed" # which the guides show
        # Line by line; ... skips to the line after it.
        awk -v guide="$guide" '
            FILENAME == ARGV[1] { shown[++n] = $0; next }
            { printed[++m] = $0 }
            END {
                at = 1
                for (i = 1; i <= n; ++i) {
                    if (shown[i] == "...") {
                        while (at <= m && i < n && printed[at] != shown[i + 1]) ++at
                        if (i == n) at = m + 1
                        continue
                    }
                    if (shown[i] != printed[at]) {
                        printf "%s shows: %s\nprinted is: %s\n", guide, shown[i], printed[at]
                        exit 1
                    }
                    ++at
                }
                if (at <= m) { printf "%s does not show: %s\n", guide, printed[at]; exit 1 }
            }
        ' "$block" "$work/printed" >&2 || failed=1
    done
    rm -f "$work"/block* "$work/socket"
done
exit "$failed"
