#!/usr/bin/env bash
# Runs something beside the running demo (see run_demo.sh):
#
#     tools/attach.sh [CLIENT-ARGUMENT...]      the client
#     tools/attach.sh PROGRAM.py [ARGUMENT...]  a program, by its path or by its name in tools/
#     tools/attach.sh -- COMMAND...             any command
#
# Such as:
#
#     tools/attach.sh camera iso 400
#     tools/attach.sh rc_simulator.py
#     tools/attach.sh -- ffplay rtsp://127.0.0.1:8554/video
#
# tools/attach.sh box_client.py --help tells what the client can do.
set -u
tools=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
. "$tools/about.sh"
about attach "${1:-}"
pid_file=${XDG_RUNTIME_DIR:-/tmp}/fieldrelaybox-demo.pid

if ! [ -s "$pid_file" ] || ! target=$(cat "$pid_file") || ! kill -0 "$target" 2>/dev/null; then
    echo "attach: no demo is running (start one with make run)" >&2
    exit 1
fi
case ${1:-} in
    --) shift ;;
    *.py) [[ $1 == */* ]] || set -- "$tools/$1" "${@:2}" ;;
    *) set -- "$tools/box_client.py" "$@" ;;
esac
user=()
if [ "$(readlink "/proc/$target/ns/user")" != "$(readlink /proc/self/ns/user)" ]; then
    user=(--user --preserve-credentials)
fi
exec nsenter --target "$target" ${user[@]+"${user[@]}"} --net --mount --ipc --pid --wd="$PWD" -- \
    env PATH="$tools/standins:$PATH" "$@"
