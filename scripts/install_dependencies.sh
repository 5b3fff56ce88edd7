#!/bin/sh
# install_dependencies.sh [--list] GROUP...: installs the Debian packages that the groups need and that are
# missing; with --list only prints their names.
# Groups: build, test, browser, run, video, streams, fuzz, lint, package, package-test, box.
set -eu

# What streams run on: programs, and the plugins with the elements of their pipelines.
streams="gstreamer1.0-tools gstreamer1.0-plugins-base gstreamer1.0-plugins-good gstreamer1.0-plugins-bad
    gstreamer1.0-plugins-ugly gstreamer1.0-libav gstreamer1.0-alsa gstreamer1.0-x glib-networking
    ca-certificates"

# A Node.js from elsewhere brings its own npm, and Debian's cannot be installed beside it.
node_with_npm() {
    if ! command -v node >/dev/null || ! command -v npm >/dev/null; then echo "nodejs npm"; fi
}

packages_of() {
    case "$1" in
    build) echo "g++ cmake ninja-build pkg-config python3 libcjson-dev libinih-dev libnl-genl-3-dev libsystemd-dev libgpiod-dev libevdev-dev libgstreamer1.0-dev libgstreamer-plugins-base1.0-dev libgstrtspserver-1.0-dev libwebsockets-dev libcrypt-dev zlib1g-dev $(node_with_npm)" ;;
    test) echo "libgtest-dev python3 util-linux iproute2 psmisc nftables ffmpeg nginx-light libnginx-mod-rtmp $streams" ;;
    browser) echo "chromium chromium-driver firefox-esr" ;;
    run) echo "python3 util-linux iproute2" ;;
    video) echo "ffmpeg" ;;
    streams) echo "$streams" ;;
    fuzz) echo "clang libclang-rt-dev llvm python3" ;;
    lint) echo "git clang-format clang-tidy cppcheck shellcheck" ;;
    package) echo "build-essential debhelper dh-python dpkg-dev help2man lintian" ;;
    package-test) echo "debootstrap systemd-container dpkg-dev" ;;
    box) echo "mmdebstrap arch-test qemu-user-static kmod cpio qemu-system-x86 qemu-system-arm qemu-utils mtools dosfstools fdisk e2fsprogs python3 util-linux" ;;
    *)
        echo "install_dependencies.sh: unknown group $1" >&2
        exit 2
        ;;
    esac
}

list=no
if [ "${1:-}" = --list ]; then
    list=yes
    shift
fi
packages=""
for group in "$@"; do
    packages="$packages $(packages_of "$group")"
done
if [ $list = yes ]; then
    echo "$packages"
    exit 0
fi
had_nginx=$(command -v /usr/sbin/nginx || true)
# shellcheck disable=SC2086 # the list is meant to be split
"$(dirname "$0")/apt_install.sh" $packages

# The streaming server of the tests came as a service as well, which nobody asked for.
as_root() {
    if [ "$(id -u)" -eq 0 ]; then "$@"; else sudo "$@"; fi
}
if [ -z "$had_nginx" ] && [ -x /usr/sbin/nginx ]; then
    as_root service nginx stop || true
    as_root update-rc.d nginx disable || true
fi
