#!/bin/bash
# Installs, configures, runs, upgrades, removes and purges the packages of build/packages in a Debian
# system of their own, booted with systemd and a private network; then runs the daemon out of the 32-bit
# ARM package under emulation. Needs root.
# Usage: test_package.sh [--keep-root | --prepare]; --prepare only makes the system to work on.
set -euo pipefail
cd "$(dirname "$0")/.."

# The highest exposure that "systemd-analyze security" may find, in tenths; systemd 252 finds 4.3. What
# is above 0 is what the daemon's shell commands need; fieldrelaybox.service says which needs what.
exposure_limit=43
# Likewise of a stream, whichever kind: 1.8 for a source, which may open video and sound devices.
stream_exposure_limit=18
# Of RC input, 1.2, and of what puts its calibration on the boot partition, 3.0: it mounts.
rcin_exposure_limit=12
rcin_store_exposure_limit=30
# Of the panel, 1.3: it needs the network.
panel_exposure_limit=13
base=${PACKAGE_TEST_ROOT:-/var/tmp/fieldrelaybox-package-test}
native=$(dpkg --print-architecture)

if [ "$(id -u)" -ne 0 ]; then
    exec sudo PACKAGE_TEST_ROOT="$base" "$0" "$@"
fi
scripts/install_dependencies.sh package-test

# What the package of streams stands on, by apt, which is quicker at so much. Nothing of it need survive a
# power cut.
add_streams_to() {
    local quick=$1/etc/dpkg/dpkg.cfg.d/quick
    printf '%s\n' force-unsafe-io 'path-exclude=/usr/share/doc/*' 'path-exclude=/usr/share/man/*' \
        'path-exclude=/usr/share/locale/*' >"$quick"
    cp /etc/resolv.conf "$1/etc/resolv.conf"
    # shellcheck disable=SC2086 # the list is meant to be split
    chroot "$1" env DEBIAN_FRONTEND=noninteractive sh -ec '
        apt-get -qq update
        apt-get -qq install -y --no-install-recommends "$@"
        apt-get clean' install $streams libgstrtspserver-1.0-0 || return
    rm "$quick" "$1/etc/resolv.conf"
}

# The base system is made once, and anew when other packages are needed; each run works on a copy.
make_base() {
    local site suite
    # shellcheck disable=SC2016 # apt fills these in
    read -r site suite < <(apt-get indextargets --format '$(SITE) $(CODENAME)' \
        'Created-By: Packages' "Architecture: $native" | head -n 1)
    echo "Making the base system in $base"
    rm -rf "$base.new"
    debootstrap --variant=minbase \
        --include="$box" \
        "$suite" "$base.new" "$site" >"$base.log" || {
        tail "$base.log" >&2
        exit 1
    }
    add_streams_to "$base.new" >"$base.log" 2>&1 || {
        tail "$base.log" >&2
        exit 1
    }
    rm -rf "$base"
    mv "$base.new" "$base"
    echo "$box $streams" >"$base.packages"
}
box=systemd,systemd-sysv,dbus,iproute2,iputils-ping,psmisc,wireless-tools,procps,python3
box+=,libcjson1,libevdev2,libgpiod2,libinih1,libnl-genl-3-200,libsystemd0,libwebsockets17
streams=$(scripts/install_dependencies.sh --list streams)
if ! [ -d "$base" ] || [ "$(cat "$base.packages" 2>/dev/null)" != "$box $streams" ]; then
    make_base
fi
[ "${1:-}" != --prepare ] || exit 0

if [ "$(cat build/packages/commit 2>/dev/null)" != "$(git rev-parse HEAD)" ] ||
    ! compgen -G "build/packages/fieldrelaybox_*_$native.deb" >/dev/null ||
    ! compgen -G "build/packages/fieldrelaybox_*_armhf.deb" >/dev/null; then
    packaging/build_packages.sh "$native" armhf
fi

root=$(mktemp -d "$base.XXXXXX")
cleanup() {
    if [ "${1:-}" != --keep-root ]; then
        rm -rf "$root"
    else
        echo "the root stays in $root"
    fi
}
trap 'cleanup "$@"' EXIT
cp -a "$base/." "$root"

# The same packages with a higher version, to upgrade to.
install -d "$root/packages/newer"
cp build/packages/fieldrelaybox_*_"$native".deb build/packages/fieldrelaybox-streams_*_"$native".deb \
    build/packages/fieldrelaybox-panel_*_"$native".deb build/packages/fieldrelaybox-tools_*_all.deb "$root/packages"
for package in "$root"/packages/*.deb; do
    unpacked=$(mktemp -d)
    dpkg-deb -R "$package" "$unpacked"
    sed -i 's/^Version: .*/&+newer/; s/^Depends:.*fieldrelaybox (= [^)]*/&+newer/' "$unpacked/DEBIAN/control"
    dpkg-deb --root-owner-group -b "$unpacked" "$root/packages/newer" >/dev/null
    rm -rf "$unpacked"
done

# A boot partition that is mounted read-only by /etc/fstab, as the daemon expects; the container has
# no block devices, so a directory stands in for the medium.
install -d "$root/medium" "$root/boot"
echo "/medium /boot none bind,ro 0 0" >>"$root/etc/fstab"

install -m 755 packaging/test_package_inside.sh "$root/packages/run"
scripts/check_commands.py list package >"$root/packages/page-commands"
cat >"$root/etc/systemd/system/package-test.service" <<UNIT
[Unit]
After=multi-user.target
SuccessAction=poweroff-immediate
FailureAction=poweroff-immediate
[Service]
Type=oneshot
Environment=EXPOSURE_LIMIT=$exposure_limit STREAM_EXPOSURE_LIMIT=$stream_exposure_limit
Environment=RCIN_EXPOSURE_LIMIT=$rcin_exposure_limit
Environment=RCIN_STORE_EXPOSURE_LIMIT=$rcin_store_exposure_limit
Environment=PANEL_EXPOSURE_LIMIT=$panel_exposure_limit
ExecStart=/packages/run
StandardOutput=file:/packages/output
StandardError=inherit
ExecStopPost=/bin/sh -c 'echo "\$EXIT_STATUS" >/packages/status'
UNIT
ln -s ../package-test.service "$root/etc/systemd/system/multi-user.target.wants/"

# A machine without a network: only the loopback interface of a namespace of its own.
timeout 300 systemd-nspawn --quiet --directory="$root" --private-network --register=no \
    --keep-unit --boot >"$root.console" 2>&1 </dev/null || true
cat "$root/packages/output" 2>/dev/null || tail -n 20 "$root.console"
rm -f "$root.console"
if [ "$(cat "$root/packages/status" 2>/dev/null)" != 0 ]; then
    echo "test_package.sh: FAILED" >&2
    exit 1
fi

echo "== the daemon of the armhf package, emulated"
packaging/install_cross.sh armhf
dpkg-deb -x build/packages/fieldrelaybox_*_armhf.deb "$root/armhf"
(
    cd tests/system
    export FIELDRELAYBOX_RUNNER=qemu-arm-static
    export FIELDRELAYBOX_DAEMON=$root/armhf/usr/lib/fieldrelaybox/bin/fieldrelaybox
    # test_armhf.sh runs them all on this processor; this is about the program in the package.
    timeout 300 ../../tools/sandbox.sh python3 -B -m unittest test_startup
)
echo "test_package.sh: all passed"
