#!/bin/bash
# Builds the daemon for 32-bit ARM on this machine and runs every test on it under user-mode emulation:
# the unit tests, and the system tests against the emulated daemon, whose shell commands run natively.
# Then every kind of stream starts, with the GStreamer of that architecture. With --also-arm64 at last all unit
# tests on 64-bit ARM. The expected values are those of the other builds.
# Usage: test_armhf.sh [--also-arm64] [CTEST-ARGUMENT-FOR-32-BIT...]
set -euo pipefail
cd "$(dirname "$0")/.."

also_arm64=no
if [ "${1:-}" = --also-arm64 ]; then
    also_arm64=yes
    shift
fi
packaging/install_cross.sh armhf arm64
packaging/make_sysroot.sh run armhf
scripts/install_dependencies.sh build test

programs=(fieldrelaybox wlanstatus stream rtsp-server rcin fieldrelaybox-panel fieldrelaybox-network)

build_for() {
    cmake --preset "$1" -DBUILD_TESTING=ON >/dev/null
    cmake --build --preset "$1" --target "${programs[@]}" gstfieldrelaybox unit_tests shell_tests
}

# A wrong compiler would make the whole run say nothing about the target.
require_machine() {
    local program header machine=$2 flags=$3
    for program in "${programs[@]}" tests/{unit,shell}_tests; do
        header=$(LC_ALL=C readelf -h "build/$1/$program")
        if ! grep -q "Machine: *$machine\$" <<<"$header" || ! grep -q "Flags:.*$flags" <<<"$header"; then
            echo "test_armhf.sh: $program is not a program for $1" >&2
            exit 1
        fi
    done
}

run_tests() {
    QEMU_LD_PREFIX=$PWD/build/sysroot/$1 \
        ctest --test-dir "build/$1" --output-on-failure --no-tests=error "${@:2}"
}

build_for armhf
require_machine armhf ARM hard-float
# System tests mostly wait for the daemon, so more of them run than there are processors.
FIELDRELAYBOX_RUNNER=qemu-arm-static run_tests armhf -j "$(($(nproc) * 2))" "$@"
tools/sandbox.sh packaging/test_armhf_streams.sh build/armhf build/sysroot/armhf-run

[ "$also_arm64" = yes ] || exit 0
build_for arm64
require_machine arm64 AArch64 ""
run_tests arm64 -j "$(nproc)" --exclude-regex "^system\."
