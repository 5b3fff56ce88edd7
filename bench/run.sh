#!/usr/bin/env bash
# Measures the relay of the real daemon against a bare receive-and-send loop (README.md).
#
#     bench/run.sh [SCENARIO...]      all scenarios without arguments, and then the commands
#     bench/run.sh --commands         what a slow card costs the commands
#
# ROUNDS=N     rounds per scenario and pace (60)
# PRESET=NAME  of which build (release)
#
# Exit status: 0 when every limit is met, 1 when one is not, 2 when it could not be measured.
set -u
here=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
build=$(realpath "$here/../build/${PRESET:-release}")
rounds=${ROUNDS:-60}
home=/run/relay-bench

# The part inside the sandbox: the configuration of scenario $1, and the meter, which starts daemons.
measure() {
    local status
    mkdir -p "$home"
    cd "$home" || exit 2
    "$build/bench/relay_bench" config "$1" >fieldrelaybox.conf || exit 2
    "$build/bench/relay_bench" run "$1" "$build/fieldrelaybox" "$rounds"
    status=$?
    [ $status -ne 2 ] || tail -n 20 daemon.log >&2
    exit $status
}

if [ "${1:-}" = --commands ]; then
    FIELDRELAYBOX_DAEMON=$build/fieldrelaybox exec "$here/../tools/sandbox.sh" python3 -B "$here/commands.py"
fi

if [ "${1:-}" = --inside ]; then
    measure "$2"
fi

worst=0
if [ $# -eq 0 ]; then
    "$here/run.sh" --commands || worst=$?
    # shellcheck disable=SC2046 # a list of names
    set -- $("$build/bench/relay_bench" names)
fi
for scenario in "$@"; do
    ROUNDS=$rounds "$here/../tools/sandbox.sh" "$here/run.sh" --inside "$scenario"
    status=$?
    [ $status -le 1 ] || status=2
    [ $status -le $worst ] || worst=$status
done
case $worst in
0) echo "all limits met" ;;
1) echo "a limit was NOT met" ;;
*) echo "not measured" ;;
esac
exit $worst
