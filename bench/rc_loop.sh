#!/usr/bin/env bash
# Prints the share of one core that the thread of the RC loop takes at rest, in each of three times
# 20 seconds: a camera is there, RC is on, every channel rests (README.md).
# With --off: how often its threads wake up in a second while RC is off and there is no camera.
#
# PRESET=NAME  of which build (release)
set -eu
here=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
tools=$here/../tools
[ "${1:-}" = --inside ] || exec "$tools/sandbox.sh" "$here/rc_loop.sh" --inside "$@"

# Usage: wake_ups_of THREAD...: so far.
wake_ups_of() {
    sed -n 's/^voluntary_ctxt_switches:\t//p' "${@/%//status}" | awk '{ all += $1 } END { print all }'
}

if [ "${2:-}" = --off ]; then
    cd /run
    "$here/../build/${PRESET:-release}/fieldrelaybox" >daemon.log 2>&1 &
    sleep 3
    threads=(/proc/$!/task/*)
    loop=$(dirname "$(grep -lx rc-loop /proc/$!/task/*/comm)")
    all=$(wake_ups_of "${threads[@]}") own=$(wake_ups_of "$loop")
    sleep 12
    awk "BEGIN { printf \"%.1f wake-ups a second, %.1f of them the RC loop's\n\",
                 ($(wake_ups_of "${threads[@]}") - $all) / 12, ($(wake_ups_of "$loop") - $own) / 12 }"
    kill %1
    exit
fi

cd /run
cp "$tools/demo.conf" fieldrelaybox.conf
"$here/../build/${PRESET:-release}/fieldrelaybox" >daemon.log 2>&1 &
daemon=$!
"$tools/camera_simulator.py" --quiet >camera.log 2>&1 &
sleep 3
printf 'rest\nwait 75\n' | "$tools/rc_simulator.py" --script - &
sleep 3
thread=$(dirname "$(grep -lx rc-loop /proc/$daemon/task/*/comm)")
for _ in 1 2 3; do
    read -r before _ <"$thread/schedstat"
    sleep 20
    read -r after _ <"$thread/schedstat"
    awk "BEGIN { printf \"%.3f %% of one core\n\", ($after - $before) / 20e9 * 100 }"
done
kill %1 %2 %3
