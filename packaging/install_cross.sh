#!/bin/sh
# install_cross.sh ARCHITECTURE...: makes this Debian machine able to build for armhf or arm64 and to
# run what it built: compiler, the libraries of that architecture, user-mode emulation. GStreamer and
# libwebsockets are unpacked beside them.
set -eu

as_root() {
    if [ "$(id -u)" -eq 0 ]; then "$@"; else sudo "$@"; fi
}

compiler_of() {
    case "$1" in
    armhf) echo g++-arm-linux-gnueabihf ;;
    arm64) echo g++-aarch64-linux-gnu ;;
    *)
        echo "install_cross.sh: unknown architecture $1" >&2
        exit 2
        ;;
    esac
}

[ $# -gt 0 ] || { echo "usage: install_cross.sh ARCHITECTURE..." >&2; exit 2; }
packages="cmake ninja-build pkg-config qemu-user-static"
for architecture in "$@"; do
    packages="$packages $(compiler_of "$architecture")"
    for library in libcjson-dev libinih-dev libnl-genl-3-dev libsystemd-dev libgpiod-dev libevdev-dev \
        libcrypt-dev libgtest-dev; do
        packages="$packages $library:$architecture"
    done
    dpkg --print-foreign-architectures | grep -qx "$architecture" ||
        as_root dpkg --add-architecture "$architecture"
done
# shellcheck disable=SC2086 # the list is meant to be split
"$(dirname "$0")/../scripts/apt_install.sh" $packages
exec "$(dirname "$0")/make_sysroot.sh" build "$@"
