#!/bin/sh
# abi.sh RECORD: does the library still offer what the record says? With UPDATE_ABI set, writes the record anew. Its
# surroundings come in the environment, from CMakeLists.txt.
set -eu
record=$1
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
"$LOAM_PROGRAM" schema --format csv --no-headings | cut -d, -f1 | sort -u >"$work/types"
export LOAM_TYPES="$work/types" LOAM_RECORD="$work/abi"
"$GDB" -batch -nx -x "$(dirname "$0")/abi.py" "$GDB_PROGRAM" >"$work/log" 2>&1 || true
[ -s "$work/abi" ] || {
    cat "$work/log" >&2
    echo "gdb has not told the interface" >&2
    exit 1
}
LC_ALL=C sort -o "$work/abi" "$work/abi"
[ -z "${UPDATE_ABI:-}" ] || cp "$work/abi" "$record"
LC_ALL=C comm -23 "$record" "$work/abi" >"$work/gone"
LC_ALL=C comm -13 "$record" "$work/abi" >"$work/new"
[ -s "$work/gone" ] || [ -s "$work/new" ] || exit 0
sed 's/^/gone: /' "$work/gone"
sed 's/^/new:  /' "$work/new"
if [ -s "$work/gone" ]; then
    echo "What is gone breaks programs built against version $VERSION: if that is meant, the minor version rises. ./dev abi --update records it."
else
    echo "Nothing is gone, so programs go on to work. ./dev abi --update records what is new."
fi
exit 1
