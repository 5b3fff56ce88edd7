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
# plugged in before the start flies in its place. What make run does, with a camera that is often lost:
#
#     tools/run_demo.sh build/release/fieldrelaybox --camera-options "--silent-every 20"
set -u
tools=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
. "$tools/about.sh"
about run_demo "${1:-}"
panel_port=8080
pid_file=${XDG_RUNTIME_DIR:-/tmp}/fieldrelaybox-demo.pid

refuse() {
    echo "run_demo: $*, see --help" >&2
    exit 2
}

# The demo in a private place reads its options from DEMO_... variables.
parse_options() {
    case ${1:-} in
        "" | -*) refuse "the daemon's program comes first, not \"${1:-}\"" ;;
    esac
    if ! daemon=$(realpath -e -- "$1" 2>/dev/null) || ! [ -f "$daemon" ] || ! [ -x "$daemon" ]; then
        refuse "$1 is no program"
    fi
    shift
    while [ $# -gt 0 ]; do
        case $1 in
            --) shift; break ;;
            --camera-options | --video | --rc | --panel | --logs | --soak)
                [ $# -gt 1 ] || refuse "$1 lacks its value" ;;
            *) refuse "unknown option \"$1\"" ;;
        esac
        case $1=$2 in
            --camera-options=*) DEMO_CAMERA_OPTIONS=$2 ;;
            --video=test | --video=numbers) DEMO_VIDEO=$2 ;;
            --rc=keys | --rc=pad) DEMO_RC=$2 ;;
            --logs=?*) DEMO_LOGS=$2 ;;
            --panel=*[!0-9]* | --soak=*[!0-9]*) refuse "$1 takes a number, not \"$2\"" ;;
            --panel=?*) panel_port=$2 ;;
            --soak=?*) DEMO_SOAK=$2 ;;
            *) refuse "$1 cannot be \"$2\"" ;;
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
