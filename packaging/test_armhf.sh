#!/bin/bash
# Builds the 32-bit ARM daemon on this machine and runs every test on it under user-mode emulation:
# the unit tests, and the system tests against the emulated daemon. The expected values are those of
# the other builds. Usage: test_armhf.sh [CTEST-ARGUMENT...]
set -euo pipefail
cd "$(dirname "$0")/.."

packaging/install_cross.sh armhf
scripts/install_dependencies.sh build test

cmake --preset armhf -DBUILD_TESTING=ON >/dev/null
cmake --build --preset armhf

# A wrong compiler would make the whole run say nothing about the target.
for program in fieldrelaybox tests/unit_tests; do
    LC_ALL=C readelf -h "build/armhf/$program" >build/armhf/header
    if ! grep -q 'Machine: *ARM$' build/armhf/header ||
        ! grep -q 'Flags:.*hard-float ABI' build/armhf/header; then
        echo "test_armhf.sh: $program is not a 32-bit hard-float ARM program" >&2
        exit 1
    fi
done

# Emulation costs processor time, so fewer tests at once than on the machine's own.
FIELDRELAYBOX_RUNNER=qemu-arm-static \
    ctest --test-dir build/armhf --output-on-failure --no-tests=error -j "$(nproc)" "$@"
