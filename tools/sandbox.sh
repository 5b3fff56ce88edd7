#!/usr/bin/env bash
# Runs a command where it can do the host no harm:
#
#     tools/sandbox.sh [--pid-file FILE] COMMAND [ARGUMENT...]
#
# The command gets user, network, mount, IPC and PID namespaces of its own: only a loopback
# interface, empty private /dev/shm, /boot, /run and /sys/devices/system/cpu, and stand-ins (see
# standins/standin) on PATH for the tools through which the box changes its system. No root is
# needed. Everything ends with the command; nothing is left behind.
#
# The exit status is the command's. It is 125 when the namespaces cannot be made. SIGTERM and
# SIGINT are passed on to the command, which is killed when it has not ended 1.5 s later.
# --pid-file: where the process id for nsenter -t stands meanwhile. To look around in there:
#
#     tools/sandbox.sh bash
set -u
tools=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
. "$tools/about.sh"
about sandbox "${1:-}"
unavailable=125

fail() {
    echo "sandbox: $1" >&2
    exit $unavailable
}

# Started again inside the namespaces as their first process; it ends, and everything with it.
inside() {
    prepare
    env --default-signal=INT,QUIT PATH="$tools/standins:$PATH:/usr/sbin:/sbin" "$@" <&0 &
    await $! end_child
    exit
}

end_child() {
    kill -TERM "$1" 2>/dev/null
    kill_later "$1" >/dev/null 2>&1 &
}

# Ends soon after the process: bash may wait for this one as well.
kill_later() {
    for _ in {1..15}; do
        sleep 0.1
        kill -0 "$1" || return
    done
    kill -KILL "$1"
}

# Waits for process $1 and returns its status; a signal meanwhile calls "$2 $1". Bash loses the status
# of what ends while a trap runs (127, 255): then it was the signal that ended it. Of two signals one
# may end the wait without its trap: then the process is still there.
await() {
    local status interrupted=yes signalled=""
    # shellcheck disable=SC2064
    trap "interrupted=yes signalled=yes; $2 $1" TERM INT
    while [ -n "$interrupted" ] || kill -0 "$1" 2>/dev/null; do
        interrupted=""
        wait "$1" 2>/dev/null # bash would tell that it was killed
        status=$?
    done
    if [ -n "$signalled" ] && { [ $status -eq 127 ] || [ $status -eq 255 ]; }; then
        status=130
    fi
    return $status
}

# Where links were checked out as plain files, the box would run the system's own tools: its umount
# would uncover the real /boot for the next save.
require_stand_ins() {
    local stand_in
    for stand_in in "$tools"/standins/*; do
        [ -x "$stand_in" ] || fail "$stand_in cannot be run; it has to be a link to standin"
    done
}

prepare() {
    local cpu=/sys/devices/system/cpu online
    /bin/mount -n -t proc proc /proc 2>/dev/null || echo "sandbox: /proc stays the host's" >&2
    set_loopback_up || fail "no loopback interface in the private network"
    online=$(cat $cpu/online 2>/dev/null || echo 0)
    for place in /dev/shm /boot /run $cpu; do
        [ -d "$place" ] || continue
        /bin/mount -n -t tmpfs -o mode=1777 sandbox "$place" || fail "no private $place"
    done
    if [ -d $cpu ]; then
        mkdir -p $cpu/cpu0/cpufreq
        echo "$online" | tee $cpu/online >$cpu/possible
        echo ondemand >$cpu/cpu0/cpufreq/scaling_governor
    fi
}

set_loopback_up() {
    ip link set lo up 2>/dev/null && return
    python3 - <<'PYTHON'
import fcntl, socket, struct
with socket.socket(socket.AF_INET, socket.SOCK_DGRAM) as control:
    up_and_running = 0x1 | 0x40
    fcntl.ioctl(control, 0x8914, struct.pack("16sH14x", b"lo", up_and_running))  # SIOCSIFFLAGS
PYTHON
}

namespaces=(--net --mount --ipc --pid --fork --kill-child)

choose_namespaces() {
    command -v unshare >/dev/null || fail "unshare is missing (Debian package util-linux)"
    if unshare --user --map-root-user "${namespaces[@]}" true 2>/dev/null; then
        namespaces=(--user --map-root-user "${namespaces[@]}")
    elif ! unshare "${namespaces[@]}" true 2>/dev/null; then
        fail "this system lets user $(id -un) make no namespaces (look at the settings
sandbox: kernel.unprivileged_userns_clone, user.max_user_namespaces and
sandbox: kernel.apparmor_restrict_unprivileged_userns, or at the container's limits)"
    fi
}

# Puts the first process inside unshare process $1, as seen from here, into "first"; fails once it has ended.
# Without a subshell, which a second Ctrl-C would end: everything would be killed at once.
find_first_process() {
    first=""
    read -r first _ 2>/dev/null <"/proc/$1/task/$1/children"
    [ -n "$first" ]
}

# Asks what runs inside unshare process $1 to end.
pass_on() {
    if find_first_process "$1"; then
        kill -TERM "$first" 2>/dev/null
    else
        kill -KILL "$1" 2>/dev/null
    fi
}

outside() {
    local pid_file="" launched
    if [ "${1:-}" = --pid-file ] && [ $# -gt 1 ]; then
        pid_file=$2
        shift 2
    fi
    if [ $# -eq 0 ] || [ "${1#-}" != "$1" ]; then
        echo "sandbox: there is no command, see --help" >&2
        exit 2
    fi
    require_stand_ins
    choose_namespaces
    env --default-signal=INT,QUIT unshare "${namespaces[@]}" "${BASH_SOURCE[0]}" --inside "$@" <&0 &
    launched=$!
    if [ -n "$pid_file" ]; then
        # shellcheck disable=SC2064
        trap "rm -f '$pid_file'" EXIT
        until find_first_process $launched && echo "$first" >"$pid_file"; do
            kill -0 $launched 2>/dev/null || break
            sleep 0.02
        done
    fi
    await $launched pass_on
}

if [ "${1:-}" = --inside ]; then
    shift
    inside "$@"
fi
outside "$@"
