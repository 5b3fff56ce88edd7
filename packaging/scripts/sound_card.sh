# shellcheck shell=sh
# For the audio scripts, which read it in: finds the USB sound card that hears for the box.

# Ends the script with a word of what is missing; else sets $card to the card's number.
need_sound_card() {
    if ! command -v amixer >/dev/null; then
        echo "$1: amixer is missing (Debian package alsa-utils)" >&2
        exit 1
    fi
    card=$(sed -n 's/^ *\([0-9]\{1,\}\) \[.*USB-Audio.*/\1/p' /proc/asound/cards 2>/dev/null | head -n 1)
    if [ -z "$card" ]; then
        echo "$1: no USB sound card (see /proc/asound/cards)" >&2
        exit 1
    fi
}
