#!/usr/bin/env bash
# The inside of run_demo.sh: starts everything in the sandbox and ends it again.
#     demo_inside.sh DAEMON [CLIENT-OPTION...]
set -u
tools=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
daemon=$1
shift
home=/run/fieldrelaybox-demo
logs=
if [ -t 1 ] || [ -n "${DEMO_LOGS:-}" ]; then
    logs=${DEMO_LOGS:-$home/logs}
fi
soak_settle=15
memory_slack_kb=512
started=()
page=
client=
hints=()

# Says something that is of use as long as the demo runs: a client on a terminal shows it, too.
tell() {
    echo "$1"
    hints+=("$1")
}

install_demo() {
    mkdir -p "$home/bin" "$home/scripts" ${logs:+"$logs"}
    cp "$tools/demo.conf" /boot/fieldrelaybox.conf
    cp "$tools/demo.conf" /run/fieldrelaybox.conf
    ln -s /run/fieldrelaybox.conf "$home/fieldrelaybox.conf" # what the daemon saves is read again
    for script in hdmi-change hdmi-mode audio-change audio-volume audio-gain; do
        ln -s "$tools/standins/standin" "$home/scripts/$script.sh"
    done
    # There is no radio in here, so the box is told of a fair connection.
    cat >"$home/bin/wlanstatus" <<'STATUS'
#!/bin/sh
echo '{"ssid":"demo camera","freq":5180,"quality":58,"quality_max":70,"signal":200}'
STATUS
    chmod +x "$home/bin/wlanstatus"
}

# start NAME COMMAND...: in the background, its output into the log NAME, or onto the screen with
# NAME before each line when the screen is not drawn in place. Descriptor 3 is the panel's alone.
start() {
    start_with_socket "$@" 3<&-
}

start_with_socket() {
    local name=$1
    shift
    if [ -n "$logs" ]; then
        env --default-signal=INT "$@" >"$logs/$name.log" 2>&1 </dev/null &
    else
        env --default-signal=INT "$@" > >(sed -u "s/^/$name: /") 2>&1 </dev/null &
    fi
    started+=($!)
}

# Runs the daemon again when it ends because an app told it to restart (status 3).
# shellcheck disable=SC2016
keep_running='while "$0"; [ $? -eq 3 ]; do :; done'

# The filter of its output is a child of the same process.
daemon_pid() {
    local children=() child
    read -r -a children <"/proc/$keeper/task/$keeper/children"
    for child in "${children[@]}"; do
        [ "/proc/$child/exe" -ef "$daemon" ] && echo "$child"
    done
}

# Streams keep what they know of GStreamer there.
export CACHE_DIRECTORY=$home
programs=$(dirname "$daemon")

streams_can_run() {
    local element
    [ -x "$programs/stream" ] && [ -d "$programs/gstreamer-1.0" ] || return 1
    for element in clockoverlay x264enc voaacenc mpegtsmux tcpserversink; do
        GST_PLUGIN_PATH=$programs/gstreamer-1.0 GST_REGISTRY=$home/registry.bin \
            gst-inspect-1.0 --exists $element 2>/dev/null || return 1
    done
}

start_streams() {
    local kind
    if [ "${DEMO_VIDEO:-}" = numbers ] || ! streams_can_run; then
        tell "video: numbered datagrams"
        start video "$tools/numbered_stream.py"
        return
    fi
    printf 'url=test:\nsound=test:\n' >"$home/source.conf"
    for kind in source sound; do
        start "$kind" "$programs/stream" "$kind" --config "$home/source.conf"
    done
    for kind in transcode rtmp mpegts tcp rtsp; do
        start "$kind" "$programs/stream" "$kind"
    done
    start_player
    tell "the picture: tools/attach.sh -- ffplay rtsp://127.0.0.1:8554/video (or tcp://127.0.0.1:8555)"
    tell "on: rtsp, tcp, mpegts; waiting for their settings: rtmp (rtmp_url), transcode, sound"
}

# In a window, while an app asks for the picture. The sockets of Wayland lie where the sandbox has a
# place of its own, so only X11 can show it.
start_player() {
    if [ -n "${DISPLAY:-}" ]; then
        start player env -u WAYLAND_DISPLAY "$programs/stream" player
        tell "player: a window at $DISPLAY"
    else
        tell "player: not started, there is no DISPLAY"
    fi
}

# The computer's game pads and joysticks, also those at Bluetooth, which have no name of their own: what
# the kernel takes for one, or udev. The sandbox has the computer's own /dev/input.
list_pads() {
    local device
    awk '/^H: / && /[ =]js[0-9]/ {
        sub(/.*=/, "")
        for (i = 1; i <= NF; i++) if ($i ~ /^event/) print "/dev/input/" $i
    }' /proc/bus/input/devices 2>/dev/null
    for device in /dev/input/by-id/*-event-joystick /dev/input/by-path/*-event-joystick; do
        [ -e "$device" ] && echo "$device"
    done
}

# Whether there is one to fly with; says how to fly if not.
has_pad() {
    local pads pad keys="tools/attach.sh rc_simulator.py, with the keys"
    mapfile -t pads < <(list_pads)
    if [ "${DEMO_RC:-}" = keys ] || ! [ -x "$programs/rcin" ]; then
        tell "to fly: $keys"
        return 1
    fi
    for pad in ${pads[@]+"${pads[@]}"}; do
        [ -r "$pad" ] && return
    done
    if [ ${#pads[@]} -gt 0 ]; then
        echo "the game pad ${pads[0]} may not be read by $(id -un): usually its group, input, may"
        tell "to fly: $keys"
    else
        tell "to fly: $keys (or plug in a game pad before the start)"
    fi
    return 1
}

# Only one may write the channels: with a pad that is rcin, without one the simulator.
start_rc() {
    has_pad || return 0
    # A pad says 1000 to 2000 by itself, so nothing has to be learnt first.
    printf '%s\n' "rcin-calibration 1 pad off" end >/boot/rcin.cal
    echo "pad=auto" >"$home/rcin.conf" # also when it comes back under another number
    sed -i -e 's/^rc_input_mode=.*/rc_input_mode=pad/; s/^rc2_input_mode=.*/rc2_input_mode=off/' \
        -e 's/^rc_input_map=.*/rc_input_map=pan,tilt,zoom,roll,,,,,center,record,orient-lock,record-shot/' \
        /boot/fieldrelaybox.conf /run/fieldrelaybox.conf
    start rcin "$programs/rcin" --config "$home/rcin.conf"
    tell "to fly: the game pad (with the keys: make run RC=keys); right stick pan and tilt, left stick zoom and roll, its buttons recentre,"
    tell "  record, lock, take the shot (channels: tools/attach.sh -- $programs/rcin --show)"
}

# Takes the socket that was opened outside (see listening_socket.py) as it would systemd's.
start_panel() {
    if ! [ -x "$programs/fieldrelaybox-panel" ] || ! [ -e /dev/fd/3 ]; then
        tell "panel: not started, it was not built or has no socket"
        return
    fi
    # shellcheck disable=SC2016 # the process that becomes the panel knows its number
    start_with_socket panel env LISTEN_FDS=1 bash -c 'LISTEN_PID=$$ exec "$@"' panel \
        "$programs/fieldrelaybox-panel" --box 127.0.0.1
    page="open http://${LISTENING_AT:-}/ in a browser"
}

end_all() {
    trap '' TERM INT
    for pid in "${started[@]}"; do
        kill -TERM "$pid" 2>/dev/null
    done
    [ -z "$client" ] || wait "$client" # which leaves the terminal as it was; all others end with the sandbox
    exit "$1"
}

# The daemon's threads, open files and memory in kB: the least of some readings, since commands
# that it runs come and go.
footprint() {
    local least=("" "" "") now threads files
    for _ in 1 2 3 4 5 6 7 8; do
        threads=("/proc/$1/task/"*)
        files=("/proc/$1/fd/"*)
        now=(${#threads[@]} ${#files[@]} "$(awk '/^VmRSS/ {print $2}' "/proc/$1/status")")
        for i in 0 1 2; do
            [ -n "${least[i]}" ] && [ "${least[i]}" -le "${now[i]:-0}" ] || least[i]=${now[i]}
        done
        sleep 0.25
    done
    echo "${least[@]}"
}

soak() {
    local before after daemon_pid
    sleep "$soak_settle"
    daemon_pid=$(daemon_pid)
    [ -n "$daemon_pid" ] || { echo "soak: no daemon"; return 1; }
    read -r -a before <<<"$(footprint "$daemon_pid")"
    echo "soak: at the start ${before[0]} threads, ${before[1]} open files, ${before[2]} kB"
    sleep "$DEMO_SOAK"
    [ "$daemon_pid" = "$(daemon_pid)" ] || { echo "soak: the daemon is gone"; return 1; }
    read -r -a after <<<"$(footprint "$daemon_pid")"
    echo "soak: after $DEMO_SOAK s  ${after[0]} threads, ${after[1]} open files, ${after[2]} kB"
    if [ "${after[0]}" -gt "${before[0]}" ] || [ "${after[1]}" -gt "${before[1]}" ] ||
        [ "${after[2]}" -gt $((before[2] + memory_slack_kb)) ]; then
        echo "soak: grown (memory may by $memory_slack_kb kB)"
        return 1
    fi
    echo "soak: nothing grew (memory may by $memory_slack_kb kB)"
}

install_demo
cd "$home" || exit 1
trap 'end_all 0' TERM INT
start_rc
start box bash -c "$keep_running" "$daemon"
keeper=${started[-1]}
# shellcheck disable=SC2086 # several options in one variable
start camera "$tools/camera_simulator.py" ${DEMO_CAMERA_OPTIONS:-}
start_streams
start_panel
if [ -n "$logs" ]; then
    tell "the daemon's log: tools/attach.sh -- tail -f $logs/box.log"
else
    echo "the daemon's log: the lines here that begin with box:"
fi
tell "another client: tools/attach.sh    end: Ctrl-C"
[ -z "$page" ] || echo "$page"
case ${1:--} in
-*) # the client's screen hides what was said so far
    for hint in ${hints[@]+"${hints[@]}"}; do set -- --headline "$hint" "$@"; done
    set -- ${page:+--headline "$page"} "$@"
    ;;
esac
env --default-signal=INT "$tools/box_client.py" --host 127.0.0.1 --timeout 10 "$@" 3<&- &
client=$!
started+=("$client")
if [ -n "${DEMO_SOAK:-}" ]; then
    soak
else
    wait "$client"
fi
end_all $?
