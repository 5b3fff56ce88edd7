#!/bin/sh
# hdmi-change.sh 1|0: puts the picture on HDMI (1) or on the analogue TV output (0), at once.
set -eu

if ! command -v tvservice >/dev/null; then
    echo "hdmi-change.sh: tvservice is missing (it needs the firmware display driver, not KMS)" >&2
    exit 1
fi
case "${1-}" in
1) tvservice -p ;;
0) tvservice -c "PAL 4:3" ;;
*)
    echo "usage: hdmi-change.sh 1|0" >&2
    exit 2
    ;;
esac
# The overlays measure the screen when they start.
killall -q hud display || true
