#!/usr/bin/env bash
# Prints the share of one core that the thread of the RC loop takes at rest, in each of three times
# 20 seconds: a camera is there, RC is on, every channel rests (README.md).
#
# PRESET=NAME  of which build (release)
set -eu
here=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
tools=$here/../tools
[ "${1:-}" = --inside ] || exec "$tools/sandbox.sh" "$here/rc_loop.sh" --inside

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
