#!/bin/sh
# python.sh PROGRAM: the tests of the Python package against the one that is installed, or that PYTHONPATH leads to: they lie
# where its source is not.
set -eu
program=$(realpath "$1")
source=$(realpath "$(dirname "$0")/../..")
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

mkdir "$work/python"
cp -r "$source/python/tests" "$work/python/"
cp -r "$source/docs" "$source/conformance" "$work/"
cd "$work/python"
export LOAM_PROGRAM="$program" PYTHONDONTWRITEBYTECODE="" PYTHONPYCACHEPREFIX="$work/pycache"
from=$(/usr/bin/python3 -c 'import loamtunnel; print(loamtunnel.__file__)')
case $from in
*/dist-packages/loamtunnel/__init__.py) ;;
*)
    echo "python.sh: $from is not what a package has installed" >&2
    exit 1
    ;;
esac
/usr/bin/python3 -m pytest -q -p no:cacheprovider tests
