#!/bin/sh
# try.sh FOLDER: installs the packages of the folder with apt in a new Debian system, as its user would, and goes through
# what the README says. Needs root and a Debian mirror.
set -eu
folder=$(realpath "$1")
work=$(mktemp -d)
root=$work/root
trap 'rm -rf "$work"' EXIT

debootstrap --variant=minbase bookworm "$root" >"$work/log" 2>&1 || {
    tail -n 20 "$work/log" >&2
    echo "there is no new system" >&2
    exit 1
}
# The mirrors of this machine, and what they are trusted by.
rm -f "$root"/etc/apt/sources.list "$root"/etc/apt/sources.list.d/*
cp -r /etc/apt/sources.list* /etc/apt/apt.conf.d /etc/apt/trusted.gpg.d "$root/etc/apt/" 2>/dev/null || true
[ ! -d /usr/share/keyrings ] || cp -rn /usr/share/keyrings/. "$root/usr/share/keyrings/"
[ ! -e /etc/ssl/certs/ca-certificates.crt ] || {
    mkdir -p "$root/etc/ssl/certs"
    cp /etc/ssl/certs/ca-certificates.crt "$root/etc/ssl/certs/"
}
cp /etc/resolv.conf /etc/hosts "$root/etc/"
mkdir "$root/packages" "$root/work"
cp "$folder"/*.deb "$root/packages/"
cp examples/lif.cpp "$root/work/"
mkdir -p "$root/source/tests" "$root/source/python"
cp -r tests/package "$root/source/tests/"
cp -r python/tests "$root/source/python/"
cp -r docs conformance "$root/source/"
# What follows runs inside.
cat >"$root/work/steps" <<'STEPS'
set -eu
export DEBIAN_FRONTEND=noninteractive
apt-get -qq update
echo "== the tools alone"
apt-get -qq -y --no-install-recommends install /packages/libloamtunnel0* /packages/loamtunnel_*
loamtunnel --version
loamtunnel encode --chip 8 AradLifAcMp vsi=100 --nonzero
loamtunnel demo --format csv | wc -l
echo "== the rest"
apt-get -qq -y --no-install-recommends install /packages/*.deb g++ pkg-config cmake make gdb
echo "== Python alone"
apt-get -qq -y --no-install-recommends install python3-pytest python3-hypothesis mypy
python3 -c 'from loamtunnel import rows; from loamtunnel.types import AradLifAcMp; print(rows.encode(AradLifAcMp(vsi=100), chip=8))'
sh /source/tests/package/python.sh /usr/bin/loamtunnel
cd /work
c++ -std=c++20 -g lif.cpp -o lif $(pkg-config --cflags --libs loamtunnel)
./lif
printf 'cmake_minimum_required(VERSION 3.25)\nproject(lif CXX)\nfind_package(LoamTunnel REQUIRED COMPONENTS Link)\nadd_executable(lif lif.cpp)\ntarget_link_libraries(lif PRIVATE LoamTunnel::LoamTunnel)\n' >CMakeLists.txt
cmake -B build . >/dev/null
cmake --build build
./build/lif
echo "== gdb, without being told of the printers"
gdb -batch -ex 'break printf' -ex run -ex up -ex 'print lif' ./lif | grep "= Value('Hardware::LoamTunnel::AradLifAcMp'"
echo "== and away"
apt-get -qq -y purge libloamtunnel-dev loamtunnel python3-loamtunnel 'libloamtunnel0*'
! find /usr -iname '*loamtunnel*' | grep .
STEPS
mount -t proc proc "$root/proc" 2>/dev/null || mount --bind /proc "$root/proc" 2>/dev/null || true
status=0
chroot "$root" sh /work/steps 2>"$work/err" || status=$?
umount "$root/proc" 2>/dev/null || true
[ "$status" = 0 ] || {
    tail -n 30 "$work/err" >&2
    exit "$status"
}
