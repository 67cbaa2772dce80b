#!/bin/bash
# valgrind.sh PROGRAM: what the demo runs, each process under valgrind: a driver, four applications, one that is killed and comes
# again, and those that look in. Any access that is wrong and any byte that is lost is a failure.
set -eu
program=$1
work=$(mktemp -d)
trap 'kill $(jobs -p) 2>/dev/null || true; wait 2>/dev/null || true; rm -rf "$work"' EXIT
export LOAM_SOCKET=$work/socket
lifs=$(dirname "$0")/../examples/lifs.txt
# To be called in a process of its own, which becomes valgrind's.
checked() {
    name=$1
    shift
    exec valgrind --quiet --error-exitcode=99 --leak-check=full --show-leak-kinds=definite,indirect,possible \
        --errors-for-leak-kinds=definite,indirect,possible --log-file="$work/$name.valgrind" "$program" "$@"
}

checked driver driver --chip 8 --image "$work/image" 2>"$work/driver.log" &
driver=$!
until "$program" tree lifStatus --depth 0 >/dev/null 2>&1; do sleep 0.2; done
"$program" trace LoamTunnelTypes --set on,+8 >/dev/null
grep AradLifAcMp "$lifs" >"$work/bridging"
valgrind --quiet --log-file="$work/killed.valgrind" "$program" application --app vtAppBridging --file "$work/bridging" --pace 5 >/dev/null 2>&1 &
killed=$!
sleep 4
kill -9 "$killed" 2>/dev/null || true
wait "$killed" 2>/dev/null || true
failed=0
for app in vtAppBridging:AradLifAcMp vtAppSubinterface:AradLifAcP2pToAc vtAppPseudowire:AradLifAcP2pToPwe vtAppMpls:AradLifLabelProtocolOrLsp; do
    (checked "${app%:*}" application --app "${app%:*}" --kind "${app#*:}" --file "$lifs" --withdraw 3 --timeout 300000 >/dev/null) || { echo "$app failed" >&2; failed=1; }
done
for look in tree "get lifStatus.appStatus" stats "trace --records" "monitor --for 1" "log record $work/log --once" "log show $work/log"; do
    # shellcheck disable=SC2086 # words
    (checked "${look%% *}-look" $look >/dev/null 2>"$work/look.log") || { echo "$look failed" >&2; cat "$work/look.log" >&2; failed=1; }
done
kill -TERM "$driver"
wait "$driver" || { echo "the driver failed" >&2; failed=1; }
for log in "$work"/*.valgrind; do
    [ ! -s "$log" ] || { cat "$log" >&2; failed=1; }
done
[ "$failed" = 0 ] || exit 1
echo "valgrind finds nothing in the driver, the applications and those that look in"
