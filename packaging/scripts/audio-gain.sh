#!/bin/sh
# audio-gain.sh 1|0: switches the automatic gain of the USB sound card on or off.
set -eu
directory=$(dirname "$0")
# shellcheck source=sound_card.sh
. "$directory/sound_card.sh"

case "${1-}" in
1) state=on ;;
0) state=off ;;
*)
    echo "usage: audio-gain.sh 1|0" >&2
    exit 2
    ;;
esac

need_sound_card audio-gain.sh
if ! amixer -q -c "$card" sset "Auto Gain Control" $state 2>/dev/null; then
    echo "audio-gain.sh: card $card has no automatic gain" >&2
    exit 1
fi
