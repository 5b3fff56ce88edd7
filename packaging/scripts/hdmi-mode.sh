#!/bin/sh
# hdmi-mode.sh [GROUP MODE]: makes an HDMI mode the one the box boots with (group 1 = CEA, 2 = DMT);
# without arguments the screen's own choice. Keeps a marked block at the end of config.txt.
set -eu

begin="# HDMI mode of fieldrelaybox: begin"
end="# HDMI mode of fieldrelaybox: end"

usage() {
    echo "usage: hdmi-mode.sh [1|2 MODE]" >&2
    exit 2
}

case "$#:${1-}:${2-}" in
0::) ;;
2:[12]:*[!0-9]* | 2:[12]:) usage ;;
2:[12]:*) ;;
*) usage ;;
esac

# Where the boot partition is /boot/firmware, /boot/config.txt only says so.
config=""
for candidate in /boot/firmware/config.txt /boot/config.txt; do
    [ -f "$candidate" ] && config=$candidate && break
done
if [ -z "$config" ]; then
    echo "hdmi-mode.sh: no config.txt in /boot/firmware or /boot; is this a Raspberry Pi?" >&2
    exit 1
fi

partition=${config%/config.txt}
was_read_only=""
if findmnt --noheadings --options ro "$partition" >/dev/null; then
    was_read_only=yes
    mount -o rw,remount "$partition"
fi
sed "/^$begin\$/,/^$end\$/d" "$config" >"$config.new"
if [ $# -eq 2 ]; then
    printf '%s\n' "$begin" "[all]" "hdmi_group=$1" "hdmi_mode=$2" "$end" >>"$config.new"
fi
mv "$config.new" "$config"
sync "$config"
if [ -n "$was_read_only" ]; then
    mount -o ro,remount "$partition"
fi
