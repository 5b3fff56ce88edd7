#!/bin/sh
# audio-volume.sh PERCENT: sets the recording volume of the USB sound card, 0 to 100.
set -eu
directory=$(dirname "$0")
# shellcheck source=sound_card.sh
. "$directory/sound_card.sh"

case "${1-}" in
-[0-9]*) percent=0 ;;
'' | *[!0-9]*)
    echo "usage: audio-volume.sh PERCENT" >&2
    exit 2
    ;;
????*) percent=100 ;;
*) percent=$1 ;;
esac
[ "$percent" -le 100 ] || percent=100

need_sound_card audio-volume.sh
for control in Mic Capture; do
    amixer -q -c "$card" sset "$control" "$percent%" cap 2>/dev/null && exit 0
done
echo "audio-volume.sh: card $card has no recording volume" >&2
exit 1
