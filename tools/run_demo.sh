#!/usr/bin/env bash
# Runs the daemon with a simulated camera, video, a client and the panel, away from the host; a
# browser of the host opens the panel:
#
#     tools/run_demo.sh DAEMON [OPTION...] [-- CLIENT-OPTION...]
#
#     --camera-options "..."  options for tools/camera_simulator.py, such as
#                             "--lose 10 --silent-every 20 --port-every 45 --garbage 20"
#     --video test|numbers    a test picture with sound, and all outputs (the default when
#                             GStreamer can do it), or numbered datagrams
#     --rc keys|pad           fly with the keys though there is a game pad (pad: the default)
#     --panel PORT            the panel's port on this computer, or the next free one (default 8080)
#     --logs DIR              keep the logs there
#     --soak SECONDS          run so long, then compare the daemon's threads, open files and
#                             memory with those at the start; exit status 1 when they grew
#
# Environment: DEMO_CAMERA_OPTIONS, DEMO_VIDEO, DEMO_RC and DEMO_LOGS do the same as the options.
# Ctrl-C ends it. While it runs, tools/attach.sh starts another client beside it, and
# tools/attach.sh rc_simulator.py an RC transmitter to fly with the keys. A game pad that is
# plugged in before the start flies in its place.
set -u
tools=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
panel_port=8080
pid_file=${XDG_RUNTIME_DIR:-/tmp}/fieldrelaybox-demo.pid

usage() {
    sed -n '2,/^set/{/^#/s/^# \{0,1\}//p}' "${BASH_SOURCE[0]}"
    exit 2
}

# The demo in a private place reads its options from DEMO_... variables.
parse_options() {
    if [ $# -eq 0 ] || [ "${1#-}" != "$1" ]; then
        usage
    fi
    daemon=$(realpath -- "$1")
    [ -x "$daemon" ] || { echo "run_demo: $1 is no program" >&2; exit 2; }
    shift
    while [ $# -gt 0 ]; do
        case $1 in
            --) shift; break ;;
            --camera-options) DEMO_CAMERA_OPTIONS=${2?} ;;
            --video) DEMO_VIDEO=${2?} ;;
            --rc) DEMO_RC=${2?} ;;
            --panel) panel_port=${2?} ;;
            --logs) DEMO_LOGS=${2?} ;;
            --soak) DEMO_SOAK=${2?} ;;
            *) usage ;;
        esac
        shift 2
    done
    client_options=("$@")
}

parse_options "$@"
if [ -n "${DEMO_LOGS:-}" ]; then
    mkdir -p "$DEMO_LOGS" && DEMO_LOGS=$(realpath -- "$DEMO_LOGS") || exit 1
fi
export DEMO_CAMERA_OPTIONS=${DEMO_CAMERA_OPTIONS:-} DEMO_VIDEO=${DEMO_VIDEO:-}
export DEMO_RC=${DEMO_RC:-}
export DEMO_LOGS=${DEMO_LOGS:-} DEMO_SOAK=${DEMO_SOAK:-}

if [ -s "$pid_file" ] && kill -0 "$(cat "$pid_file")" 2>/dev/null; then
    echo "run_demo: a demo is running already (see $pid_file)" >&2
    exit 1
fi
# The socket is opened out here, where a browser reaches it.
exec "$tools/listening_socket.py" "$panel_port" \
    "$tools/sandbox.sh" --pid-file "$pid_file" "$tools/demo_inside.sh" "$daemon" \
    ${client_options[@]+"${client_options[@]}"}
