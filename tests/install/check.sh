#!/bin/sh
# One step of the install tests; its surroundings come in the environment, from CMakeLists.txt. With UPDATE_LIST set,
# the step `files` writes files.txt instead of comparing with it.
set -eu

prefix=$WORK/prefix
here=$SOURCE/tests/install

fail() {
    echo "install test: $*" >&2
    exit 1
}

# Prints the installed files, without version and build type, so that the list holds for all of them.
list() {
    (cd "$prefix" && find . ! -type d) |
        sed "s|^\./||; s|^$LIBDIR/|lib/|; s|Targets-[a-z]*\.cmake|Targets-TYPE.cmake|;
             s|\.so\.$VERSION\$|.so.VERSION|; s|\.so\.$SOVERSION\$|.so.SOVERSION|" |
        LC_ALL=C sort
}

# configure DIRECTORY OPTION...: the consumer, with the compiler of the library.
configure() {
    out=$1
    shift
    "$CMAKE" -S "$here/consumer" -B "$out" -G "$GENERATOR" -DCMAKE_BUILD_TYPE="$TYPE" \
        -DCMAKE_CXX_COMPILER="$CXX" -DCMAKE_CXX_COMPILER_LAUNCHER="$LAUNCHER" "$@"
}

case $1 in
copy)
    # Installed in one place and used in another: nothing may remember where it was put first.
    rm -rf "$prefix" "$WORK/first"
    "$CMAKE" --install "$BUILD" --prefix "$WORK/first"
    mv "$WORK/first" "$prefix"
    ;;
files)
    [ -z "${UPDATE_LIST:-}" ] || list >"$here/files.txt"
    list | diff -u "$here/files.txt" - ||
        fail "other files are installed than listed; if that is meant, run ./dev install --update-list"
    if grep -rIlE "$SOURCE|$WORK" "$prefix"; then
        fail "the files named above hold a path of the machine that built them"
    fi
    ;;
find-package)
    rm -rf "$WORK/find-package"
    configure "$WORK/find-package" -DCMAKE_PREFIX_PATH="$prefix"
    "$CMAKE" --build "$WORK/find-package"
    "$WORK/find-package/consumer"
    "$WORK/find-package/link" "$WORK/find-package.socket"
    [ "$("$WORK/find-package/forms")" = "0x00000064 0x00000000 0x00000000 0x00000003" ] || fail "forms gives another row"
    ;;
pkg-config)
    PKG_CONFIG_PATH=$prefix/$LIBDIR/pkgconfig
    export PKG_CONFIG_PATH
    [ "$(pkg-config --modversion loamtunnel)" = "$VERSION" ] || fail "loamtunnel.pc has another version than $VERSION"
    # shellcheck disable=SC2046 # the flags are words
    "$CXX" -std=c++20 "$here/consumer/main.cpp" -o "$WORK/pkg-config-consumer" $(pkg-config --cflags --libs loamtunnel)
    LD_LIBRARY_PATH=$prefix/$LIBDIR "$WORK/pkg-config-consumer"
    # shellcheck disable=SC2046 # the flags are words
    "$CXX" -std=c++20 "$here/consumer/link.cpp" -o "$WORK/pkg-config-link" $(pkg-config --cflags --libs loamtunnel-link)
    LD_LIBRARY_PATH=$prefix/$LIBDIR "$WORK/pkg-config-link" "$WORK/pkg-config.socket"
    ;;
add-subdirectory)
    # Kept between runs, so that only what changed is built again.
    out=$WORK/add-subdirectory
    TYPE= # what is built is not what counts
    configure "$out" -DLOAM_SOURCE="$SOURCE" -DCMAKE_EXPORT_COMPILE_COMMANDS=ON -DCMAKE_UNITY_BUILD=ON -DLOAM_SHARDS=1
    if grep -E -o -m 3 -e ' -W[a-z]+|-o loam/(tests|tools|bench)/' "$out/compile_commands.json"; then
        fail "what is named above must not reach a project that embeds the library"
    fi
    "$CMAKE" --build "$out" -j 1
    "$out/consumer"
    "$CMAKE" --install "$out" --prefix "$out/installed"
    [ ! -e "$out/installed" ] || fail "an embedded library installs itself into its user's prefix"
    ;;
program)
    "$prefix/bin/loamtunnel" --help
    ;;
hardening)
    how=plain
    [ "$TYPE" = Debug ] || how=optimised
    for folder in "$prefix/bin:$prefix/$LIBDIR" "$BUILD/tools:$BUILD_LIBDIR"; do
        sh "$here/hardening.sh" "$how" "${folder%%:*}/loamtunnel" "${folder#*:}/libLoamTunnel.so" "${folder#*:}/libLoamTunnelLink.so"
    done
    ;;
*)
    fail "unknown step $1"
    ;;
esac
