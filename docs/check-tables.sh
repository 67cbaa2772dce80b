#!/bin/sh
# check-tables.sh PROGRAM PAGE [PICTURES]: tries the page of chip tables in a browser, see check-tables.py. Needs chromium.
set -eu
exec timeout 900 python3 "$(dirname "$0")/check-tables.py" "$@"
