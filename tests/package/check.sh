#!/bin/sh
# check.sh FOLDER: are the four packages in it what they should be? Installs them in a root of their own, without what
# they depend on, and looks at what is there.
set -eu
folder=$(realpath "$1")
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
root=$work/root

fail() {
    echo "package: $*" >&2
    exit 1
}

[ "$(find "$folder" -maxdepth 1 -name '*.deb' | wc -l)" = 4 ] || fail "there are not four packages in $folder"
mkdir -p "$root/var/lib/dpkg/updates" "$root/var/lib/dpkg/info"
: >"$root/var/lib/dpkg/status"
dpkg --root="$root" --force-depends --force-not-root --force-script-chrootless --log=/dev/null --install "$folder"/*.deb >"$work/log" 2>&1 || {
    cat "$work/log" >&2
    fail "they do not install"
}
for package in loamtunnel libloamtunnel-dev; do
    dpkg-deb -f "$folder/$package"_*.deb Depends | grep -q 'libloamtunnel[0-9.]* (= ' || fail "$package does not ask for its library"
done
for package in "$folder"/*.deb; do
    dpkg-deb -f "$package" Depends >"$work/depends"
    case $package in
    *-dev_* | *_all.deb) ;;
    *) grep -q 'libc6 (>= ' "$work/depends" || fail "$package does not ask for the C library" ;;
    esac
done

library=$(find "$root/usr/lib" -name 'libLoamTunnel.so.*.*.*')
[ -e "$root/usr/share/gdb/auto-load${library#"$root"}-gdb.py" ] || fail "gdb would not find the printers of ${library#"$root"}"
sh tests/install/hardening.sh optimised "$root/usr/bin/loamtunnel" "$root"/usr/lib/*/libLoamTunnel*.so.*.*.*
for page in man1/loamtunnel.1 man1/loamtunnel-encode.1 man1/loamtunnel-monitor.1 man7/libLoamTunnel.7; do
    gzip -t "$root/usr/share/man/$page.gz" || fail "there is no page $page"
done
bash -n "$root/usr/share/bash-completion/completions/loamtunnel"
for file in zsh/vendor-completions/_loamtunnel fish/vendor_completions.d/loamtunnel.fish; do
    [ -e "$root/usr/share/$file" ] || fail "there is no $file"
done
if find "$root" -type f -exec grep -lI "$folder" {} + | grep .; then
    fail "the files named above hold a path of the machine that built them"
fi

# Python's, which runs on any machine.
python=$root/usr/lib/python3/dist-packages
[ "$(dpkg-deb -f "$folder"/python3-loamtunnel_*.deb Architecture)" = all ] || fail "the package for Python is for one machine alone"
[ -e "$python/loamtunnel/py.typed" ] || fail "type checkers would not find the stubs"
LD_LIBRARY_PATH=$(dirname "$library") PYTHONPATH=$python sh tests/package/python.sh "$root/usr/bin/loamtunnel" >&2 || fail "the tests of Python fail"

# As one who has them would build and run.
libraries=$(dirname "$library")
flags=$(PKG_CONFIG_PATH=$libraries/pkgconfig pkg-config --cflags --libs loamtunnel)
# shellcheck disable=SC2086 # words
c++ -std=c++20 examples/lif.cpp -o "$work/lif" $flags
LD_LIBRARY_PATH=$libraries "$work/lif" | grep -q '^vsi 100 at bit 0$' || fail "the example says something else"
# The same of the manual page.
gzip -dc "$root/usr/share/man/man7/libLoamTunnel.7.gz" | awk '/^#include/ { on = 1 } /^\.fi/ { on = 0 } on' | sed 's/\\\\n/\\n/' >"$work/page.cpp"
# shellcheck disable=SC2086 # words
c++ -std=c++20 "$work/page.cpp" -o "$work/page" $flags
LD_LIBRARY_PATH=$libraries "$work/page" | grep -q '^vsi 100 at bit 0$' || fail "the manual page's example says something else"
LD_LIBRARY_PATH=$libraries "$root/usr/bin/loamtunnel" --version >&2
# Without the source: it finds its own examples.
(cd "$work" && LD_LIBRARY_PATH=$libraries "$root/usr/bin/loamtunnel" demo --format csv >"$work/demo" 2>"$work/log") || {
    cat "$work/log" >&2
    fail "the demo does not run"
}
[ "$(wc -l <"$work/demo")" -gt 100 ] || fail "the demo shows nothing"
