#!/bin/bash
# Runs the packages in virtual machines that are booted, upgraded, and lose their power:
#
#     tests/box/run.sh [MODULE[.CLASS[.CASE]]...]
#
# SHORT=1 in the environment: what is worth looking at with every change. Needs root for the systems' images.
set -euo pipefail
here=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
cd "$here/../.."
native=$(dpkg --print-architecture)
architectures=("$native")
[ -n "${SHORT:-}" ] || architectures+=(armhf)

scripts/install_dependencies.sh box
for architecture in "${architectures[@]}"; do
    if [ "$(cat build/packages/commit 2>/dev/null)" != "$(git rev-parse HEAD)" ] ||
        ! compgen -G "build/packages/fieldrelaybox_*_$architecture.deb" >/dev/null; then
        packaging/build_packages.sh "${architectures[@]}"
    fi
    tests/box/build_image.sh "$architecture"
done
[ -n "${SHORT:-}" ] || tests/box/build_image.sh "$native" --with-streams

rm -f build/box/*/installed.qcow2

work=$(mktemp -d /var/tmp/fieldrelaybox-box.XXXXXX)
trap 'rm -rf "$work"' EXIT
cd "$here"
if [ $# -eq 0 ]; then
    set -- test_radios test_power_cuts.PowerCuts.test_at_any_moment test_upgrade test_settings \
        test_power_cuts.PowerCuts.test_after_every_write test_install
    [ -n "${SHORT:-}" ] || set -- test_mishaps test_streams test_faulty_card test_clock test_pilot "$@"
fi
# Two at a time, as one machine does not fill two processors; each prints what it found in one piece.
# shellcheck disable=SC2016 # for the inner shell
printf '%s\n' "$@" | TMPDIR=$work xargs -P 2 -I '{}' sh -c '
    result=0
    ../../tools/sandbox.sh python3 -B -m unittest -v {} >"$TMPDIR/{}.log" 2>&1 || result=1
    flock "$TMPDIR" cat "$TMPDIR/{}.log"
    exit $result'
echo "run.sh: all passed in $SECONDS s"
