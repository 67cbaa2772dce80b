#!/bin/bash
# soak.sh PROGRAM MINUTES: a driver and applications that come, ask, take back, and are killed, over and over; now and then the
# driver is killed, too. Prints a line each ten seconds, `seconds,life of the driver,its kilobytes,applications so far`, and at
# the end whether its memory stayed flat: in each life, the largest of the last quarter beside that of the second quarter.
set -eu
program=$1
minutes=$2
work=$(mktemp -d)
trap 'kill -9 $(jobs -p) 2>/dev/null || true; wait 2>/dev/null || true; rm -rf "$work"' EXIT
export LOAM_SOCKET=$work/socket
lifs=$(dirname "$0")/../examples/lifs.txt
grep -v '^ *#' "$lifs" | grep . >"$work/lifs"

apps=(vtAppBridging vtAppSubinterface vtAppPseudowire vtAppMpls)
life=0
driver=
startDriver() {
    life=$((life + 1))
    "$program" driver --chip 8 --image "$work/image" 2>>"$work/driver.log" &
    driver=$!
    until "$program" tree lifStatus --depth 0 >/dev/null 2>&1; do sleep 0.1; done
}
memory() {
    awk '/^RssAnon/ { print $2 }' "/proc/$driver/status"
}

startDriver
start=$SECONDS
end=$((SECONDS + 60 * minutes))
nextSample=$SECONDS
nextKill=$((SECONDS + 60 * minutes / 3))
ran=0
while [ "$SECONDS" -lt "$end" ]; do
    app=${apps[RANDOM % 4]}
    shuf -n $((1 + RANDOM % 200)) "$work/lifs" >"$work/some"
    "$program" application --app "$app" --file "$work/some" --withdraw $((RANDOM % 100)) >/dev/null 2>>"$work/application.log" &
    application=$!
    ran=$((ran + 1))
    if [ $((RANDOM % 3)) = 0 ]; then
        sleep 0.0$((RANDOM % 9 + 1))
        kill -9 "$application" 2>/dev/null || true
    fi
    wait "$application" 2>/dev/null || true
    if [ "$SECONDS" -ge "$nextKill" ] && [ "$nextKill" -lt $((end - 60)) ]; then
        kill -9 "$driver"
        wait "$driver" 2>/dev/null || true
        startDriver
        nextKill=$((SECONDS + 60 * minutes / 3))
    fi
    if [ "$SECONDS" -ge "$nextSample" ]; then
        nextSample=$((SECONDS + 10))
        kill -0 "$driver" || {
            cat "$work/driver.log" >&2
            echo "the driver has ended" >&2
            exit 1
        }
        echo "$((SECONDS - start)),$life,$(memory),$ran" | tee -a "$work/samples"
    fi
done
awk -F, '
    { n[$2]++; kb[$2, n[$2]] = $3 }
    END {
        for (life in n) {
            second = last = 0
            for (i = 1; i <= n[life]; ++i) {
                if (i > n[life] / 4 && i <= n[life] / 2 && kb[life, i] > second) second = kb[life, i]
                if (i > n[life] * 3 / 4 && kb[life, i] > last) last = kb[life, i]
            }
            printf "life %d: at most %d kB in its second quarter, %d kB in its last\n", life, second, last
            if (n[life] >= 8 && last > second * 1.05 + 64) failed = 1
        }
        exit failed
    }
' "$work/samples" || {
    echo "memory grows" >&2
    exit 1
}
echo "memory stays flat over $ran applications"
