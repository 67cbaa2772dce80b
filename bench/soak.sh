#!/bin/bash
# soak.sh PROGRAM MINUTES [audit]: a driver and applications that come, ask, take back, and are killed, over and over; now and
# then the driver is killed, too. Prints a line each ten seconds, `seconds,life of the driver,its kilobytes,applications so far`,
# and at the end whether its memory stayed flat: in each life of 80 s or more, the largest of the last quarter beside that of
# the second quarter.
#
# With `audit` the driver is killed each quarter of a minute or so, and two `audit --every 1` stand by all the while, one that
# asks the driver and one that reads its image: whatever they find is a false alarm. At the end a bit of a copy of the image is
# turned, which an audit has to find.
set -eu
program=$1
minutes=$2
mode=${3:-memory}
work=$(mktemp -d)
trap 'kill -9 $(jobs -p) 2>/dev/null || true; wait 2>/dev/null || true; rm -rf "$work"' EXIT
export LOAM_SOCKET=$work/socket
examples=$(dirname "$0")/../examples
entries() {
    for file in "$@"; do
        grep -v '^ *#' "$examples/$file" | grep .
    done
}

apps=(vtAppBridging vtAppSubinterface vtAppPseudowire vtAppMpls)
for app in "${apps[@]}"; do
    entries lifs.txt >"$work/$app"
done
audits=()
if [ "$mode" = audit ]; then
    for app in "${apps[@]}"; do
        entries out-acs.txt >>"$work/$app"
    done
    entries evecs.txt >>"$work/vtAppMpls" # a slot has one holder
fi

life=0
driver=
startDriver() {
    life=$((life + 1))
    "$program" driver --chip 8 --image "$work/image" 2>>"$work/driver.log" &
    driver=$!
    until "$program" tree lifStatus --depth 0 >/dev/null 2>&1; do sleep 0.1; done
}
secondsOfALife() {
    if [ "$mode" = audit ]; then
        echo $((10 + RANDOM % 20))
    else
        echo $((60 * minutes / 3))
    fi
}
memory() {
    awk '/^RssAnon/ { print $2 }' "/proc/$driver/status"
}
# startAudit NAME [OPTION...]
startAudit() {
    name=$1
    shift
    "$program" audit --every 1 --format csv --no-headings "$@" >"$work/$name.found" 2>"$work/$name.log" &
    audits+=($!)
}

startDriver
if [ "$mode" = audit ]; then
    startAudit driver
    startAudit image --image "$work/image"
fi
start=$SECONDS
end=$((SECONDS + 60 * minutes))
nextSample=$SECONDS
nextKill=$((SECONDS + $(secondsOfALife)))
ran=0
while [ "$SECONDS" -lt "$end" ]; do
    app=${apps[RANDOM % 4]}
    shuf -n $((1 + RANDOM % 200)) "$work/$app" >"$work/some"
    "$program" application --app "$app" --file "$work/some" --withdraw $((RANDOM % 100)) >/dev/null 2>>"$work/application.log" &
    application=$!
    ran=$((ran + 1))
    if [ $((RANDOM % 3)) = 0 ]; then
        sleep 0.0$((RANDOM % 9 + 1))
        kill -9 "$application" 2>/dev/null || true
    fi
    isDriverKilled=
    if [ "$SECONDS" -ge "$nextKill" ] && { [ "$mode" = audit ] || [ "$nextKill" -lt $((end - 60)) ]; }; then
        [ "$mode" != audit ] || isDriverKilled=yes # amid what the application asks for
        [ -n "$isDriverKilled" ] || wait "$application" 2>/dev/null || true
        kill -9 "$driver"
        wait "$driver" 2>/dev/null || true
        startDriver
        nextKill=$((SECONDS + $(secondsOfALife)))
    fi
    wait "$application" 2>/dev/null || true
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

audited() {
    failed=
    for each in "${audits[@]}"; do
        kill -INT "$each"
    done
    for i in 0 1; do
        name=$([ $i = 0 ] && echo driver || echo image)
        status=0
        wait "${audits[$i]}" || status=$?
        awk -v name="$name" -v found="$(wc -l <"$work/$name.found")" '
            / rows? of chip / { ++looks; rows += $2; if (/ differs?(;|$)/) ++alarms }
            /: not looked at: / { ++away }
            END {
                printf "audit of the %s: %d looks, %.1f rows each, %d false alarms with %d fields; %d times nobody was there\n",
                    name, looks, looks ? rows / looks : 0, alarms, found, away
            }
        ' "$work/$name.log"
        if [ "$status" != 0 ] || [ -s "$work/$name.found" ]; then
            echo "the audit ended with status $status:" >&2
            cat "$work/$name.found" >&2
            failed=yes
        fi
    done
    cp "$work/image" "$work/turned"
    printf '\1' | dd of="$work/turned" bs=1 seek=60 conv=notrunc status=none # in the first row of LIFs, which nobody has
    status=0
    "$program" audit --image "$work/turned" >"$work/turned.found" 2>&1 || status=$?
    [ "$status" = 3 ] || {
        echo "an audit does not find the bit that was turned:" >&2
        cat "$work/turned.found" >&2
        failed=yes
    }
    [ -z "$failed" ] || exit 1
    echo "no false alarm over $ran applications and $life lives of the driver"
}
if [ "$mode" = audit ]; then
    audited
fi

awk -F, '
    { n[$2]++; kb[$2, n[$2]] = $3 }
    END {
        for (life in n) {
            second = last = 0
            for (i = 1; i <= n[life]; ++i) {
                if (i > n[life] / 4 && i <= n[life] / 2 && kb[life, i] > second) second = kb[life, i]
                if (i > n[life] * 3 / 4 && kb[life, i] > last) last = kb[life, i]
            }
            if (n[life] < 8) continue
            printf "life %d: at most %d kB in its second quarter, %d kB in its last\n", life, second, last
            if (last > second * 1.05 + 64) failed = 1
        }
        exit failed
    }
' "$work/samples" || {
    echo "memory grows" >&2
    exit 1
}
[ "$mode" = audit ] || echo "memory stays flat over $ran applications"
