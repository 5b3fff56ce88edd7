#!/bin/sh
# audio-change.sh 1|0|restart: starts, stops or restarts what records sound and sends it to UDP port 4001.
# It follows the settings of sound by itself as well.
set -eu

service=fieldrelaybox-stream@sound.service

case "${1-}" in
1) action=start ;;
0) action=stop ;;
restart) action=restart ;;
*)
    echo "usage: audio-change.sh 1|0|restart" >&2
    exit 2
    ;;
esac

if ! command -v systemctl >/dev/null; then
    echo "audio-change.sh: systemctl is missing" >&2
    exit 1
fi
if ! systemctl cat "$service" >/dev/null 2>&1; then
    echo "audio-change.sh: no $service on this box (Debian package fieldrelaybox-streams), so nothing records sound" >&2
    exit 1
fi
exec systemctl $action "$service"
