#!/bin/sh
# served.sh GUIDE DRIVER LOAMTUNNEL: does the first ```sh block of the guide print the ```output block? It is run in a folder of its own; a driver
# that it starts is there before the next command, and the last one is ended.
set -eu
guide=$1
folder=$(mktemp -d)
trap 'kill "$!" 2>/dev/null || :; rm -rf "$folder"' EXIT
mkdir "$folder/bin"
ln -s "$2" "$folder/bin/driver"
ln -s "$3" "$folder/bin/loamtunnel"
awk '/^```sh$/ { inside = 1; next } /^```/ { if (inside) exit; next } inside' "$guide" |
    sed '/&$/s/$/ \nisThere/' >"$folder/commands"
[ -s "$folder/commands" ] || { echo "$guide: there is no sh block" >&2; exit 1; }
awk '/^```/ { inside = $0 == "```output"; next } inside' "$guide" >"$folder/expected"
isThere() {
    for try in 1 2 3 4 5 6 7 8 9 10; do
        loamtunnel sync --socket unix:s >/dev/null 2>&1 && return
        sleep "0.$try"
    done
    exit 1
}
cd "$folder"
PATH=$folder/bin:$PATH
# shellcheck source=/dev/null
. ./commands >printed
diff expected printed
