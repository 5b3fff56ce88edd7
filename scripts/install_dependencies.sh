#!/bin/sh
# install_dependencies.sh GROUP...: installs the Debian packages that the groups need and that are
# missing.
# Groups: build, test, run, video, fuzz, lint, package, package-test.
set -eu

packages_of() {
    case "$1" in
    build) echo "g++ cmake ninja-build pkg-config python3 libcjson-dev libinih-dev libnl-genl-3-dev libsystemd-dev" ;;
    test) echo "libgtest-dev python3 util-linux iproute2 nftables ffmpeg" ;;
    run) echo "python3 util-linux iproute2" ;;
    video) echo "ffmpeg" ;;
    fuzz) echo "clang libclang-rt-dev llvm python3" ;;
    lint) echo "git clang-format clang-tidy cppcheck shellcheck" ;;
    package) echo "build-essential debhelper dh-python dpkg-dev help2man lintian" ;;
    package-test) echo "debootstrap systemd-container dpkg-dev" ;;
    *)
        echo "install_dependencies.sh: unknown group $1" >&2
        exit 2
        ;;
    esac
}

packages=""
for group in "$@"; do
    packages="$packages $(packages_of "$group")"
done
# shellcheck disable=SC2086 # the list is meant to be split
exec "$(dirname "$0")/apt_install.sh" $packages
