#!/bin/sh
# hardening.sh optimised|plain FILE...: are these programs and libraries linked, and where optimised compiled, so that
# a fault in them is hard to use? Names the first that is not.
set -eu
how=$1
shift
export LC_ALL=C

for file in "$@"; do
    fail() {
        echo "$file: $*" >&2
        exit 1
    }
    dynamic=$(readelf -dW "$file")
    segments=$(readelf -lW "$file")
    symbols=$(readelf --dyn-syms -W "$file")
    path=$(printf '%s\n' "$dynamic" | sed -n 's/.*(R\(UN\)\{0,1\}PATH).*\[\(.*\)\]/\2/p')
    case ":$path:" in
    "::") ;; # none at all
    *::* | *:.:* | *:./* | *:../*) fail "its RUNPATH has an entry of the folder in which it is started: $path" ;;
    esac
    case $segments in
    *GNU_RELRO*) ;;
    *) fail "no RELRO" ;;
    esac
    case $dynamic in
    *BIND_NOW* | *"Flags: NOW"*) ;;
    *) fail "symbols are bound late, so that RELRO is not full" ;;
    esac
    case $segments in
    *RWE*) fail "a segment can be written and run" ;;
    esac
    case $segments in
    *"Elf file type is DYN"*) ;;
    *) fail "it lies at a fixed address" ;;
    esac
    [ "$how" = optimised ] || continue
    case $symbols in
    *__stack_chk_fail*) ;;
    *) fail "no stack protector" ;;
    esac
    # Where a function is called that has a fortified twin, that is the one; a small library may call none.
    if printf '%s\n' "$symbols" | grep -Eq ' UND (memcpy|memmove|snprintf|strcpy|read|recv)@' &&
        ! printf '%s\n' "$symbols" | grep -Eq '_chk@' ; then
        case $file in
        *LoamTunnelTesting*) ;; # it copies with sizes that are known to fit
        *) fail "no fortified function" ;;
        esac
    fi
    case $(uname -m) in
    x86_64) objdump -d --no-show-raw-insn "$file" | grep -q -m 1 endbr64 || fail "no mark for control-flow enforcement" ;;
    esac
done
