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

work=$(mktemp -d /var/tmp/fieldrelaybox-box.XXXXXX)
trap 'rm -rf "$work"' EXIT
cd "$here"
[ $# -gt 0 ] || set -- discover
TMPDIR=$work ../../tools/sandbox.sh python3 -B -m unittest -v "$@"
