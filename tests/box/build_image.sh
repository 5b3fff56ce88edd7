#!/bin/bash
# build_image.sh [ARCHITECTURE [--with-streams]]: makes what the virtual machines of these tests boot, below
# build/box/ARCHITECTURE: root.img, a Debian 12 with what the packages of the box depend on, its kernel, and an
# initrd that finds the root. Made once, and anew when this file, the agent or the list of packages changes.
# Needs root.
set -euo pipefail
cd "$(dirname "$0")/../.."

if [ "$(id -u)" -ne 0 ]; then
    exec sudo "$0" "$@"
fi
architecture=${1:-$(dpkg --print-architecture)}
output=build/box/$architecture${2:+-streams}

# What the box's packages depend on, as a network is not there; what a Raspberry Pi OS has besides; what the
# stories look with.
packages=(systemd systemd-sysv dbus udev kmod dosfstools e2fsprogs
    iproute2 iputils-ping psmisc wireless-tools procps python3
    libcjson1 libevdev2 libgpiod2 libinih1 libnl-genl-3-200 libsystemd0 libwebsockets17
    network-manager wpasupplicant hostapd dnsmasq-base iw wireless-regdb udhcpc nftables)
if [ "${2:-}" = --with-streams ]; then
    mapfile -t -O "${#packages[@]}" packages < <(
        scripts/install_dependencies.sh --list streams | tr -s ' \n' '\n'
        echo libgstrtspserver-1.0-0)
fi
# Of Debian's kernel, to keep what the stories use: below kernel/.
modules=(arch/x86/crypto arch/arm/crypto crypto fs lib net sound/core sound/drivers
    drivers/{base,block,char,gpio,hid,i2c,input,md,mmc,pci,rtc,tty,usb,virtio,uio}
    drivers/net/{bonding,dummy.ko,mac80211_hwsim.ko,macvlan.ko,tun.ko,veth.ko,virtio_net.ko,wireless/mac80211_hwsim.ko})
case $architecture in
amd64) kernel=linux-image-amd64 ;;
armhf) kernel=linux-image-armmp ;;
*)
    echo "build_image.sh: no kernel for $architecture" >&2
    exit 2
    ;;
esac

made_of=$(echo "${packages[*]}"; sha256sum tests/box/build_image.sh tests/box/agent.* tests/box/initrd_init)
if [ -e "$output/root.img" ] && [ "$(cat "$output/made-of" 2>/dev/null)" = "$made_of" ]; then
    exit 0
fi
echo "Making a system for virtual machines in $output"
scripts/install_dependencies.sh box
[ "$architecture" = "$(dpkg --print-architecture)" ] ||
    dpkg --print-foreign-architectures | grep -qx "$architecture" ||
    packaging/install_cross.sh "$architecture"
rm -rf "$output"
mkdir -p "$output"
work=$(mktemp -d)
clean_up() {
    rm -rf "$work"
    [ -z "$registered" ] || echo -1 >"$formats/qemu-arm"
    [ -z "$mounted" ] || umount "$formats"
}
trap clean_up EXIT

# Packages of another processor set themselves up by its emulator, which a system without systemd knows only when it
# is told.
formats=/proc/sys/fs/binfmt_misc registered="" mounted=""
if [ "$architecture" = armhf ] && [ "$(dpkg --print-architecture)" != armhf ]; then
    if [ ! -e $formats/register ]; then
        mount -t binfmt_misc none $formats
        mounted=yes
    fi
    if [ ! -e $formats/qemu-arm ]; then
        cat /usr/lib/binfmt.d/qemu-arm.conf >$formats/register
        registered=yes
    fi
fi

# The kernel is unpacked beside the packages: installed, it would make an initrd of its own.
add_kernel() {
    local package version directory
    mkdir "$work/kernel" "$work/packages"
    package=$(apt-cache depends "$kernel:$architecture" | sed -n 's/^ *Depends: \(linux-image-[^:]*\).*/\1/p')
    (
        cd "$work/packages"
        apt-get -qq -o APT::Sandbox::User=root download "$package:$architecture" "busybox-static:$architecture"
        dpkg-deb -x "$package"_*.deb "$work/kernel"
        dpkg-deb -x busybox-static_*.deb "$work/busybox"
    )
    version=${package#linux-image-}
    directory=lib/modules/$version
    mkdir -p "$work/trimmed/$directory"
    for name in "${modules[@]}"; do
        [ ! -e "$work/kernel/$directory/kernel/$name" ] || (
            cd "$work/kernel/$directory"
            cp -al --parents "kernel/$name" "$work/trimmed/$directory"
        )
    done
    cp "$work/kernel/$directory"/modules.{builtin,builtin.modinfo,order} "$work/trimmed/$directory"
    depmod -b "$work/trimmed" "$version"
    cp "$work/kernel/boot/vmlinuz-$version" "$output/vmlinuz"
    make_initrd "$version"
}

make_initrd() {
    local module
    mkdir -p "$work/initrd"/{bin,dev,proc,root}
    cp "$work/busybox/bin/busybox" "$work/initrd/bin/"
    install -m 755 tests/box/initrd_init "$work/initrd/init"
    for module in virtio_{pci,blk,console,rng} crc32c_generic ext4 sdhci_pci mmc_block vfat nls_{ascii,cp437}; do
        modprobe --show-depends -d "$work/trimmed" -S "$1" "$module" 2>/dev/null | sed -n 's/^insmod //p'
    done | awk '!seen[$1]++ { print $1 }' >"$work/list"
    while read -r module; do
        cp "$module" "$work/initrd/"
        echo "/${module##*/}"
    done <"$work/list" >"$work/initrd/modules"
    (cd "$work/initrd" && find . | cpio --quiet -o -H newc | gzip -1) >"$output/initrd"
}

# Usage: make_root SITE SUITE
make_root() {
    local unit
    mmdebstrap --quiet --variant=minbase --architectures="$architecture" \
        --include="$(IFS=,; echo "${packages[*]}")" \
        --aptopt='APT::Install-Recommends "false"' --dpkgopt=force-unsafe-io \
        --dpkgopt='path-exclude=/usr/share/doc/*' --dpkgopt='path-exclude=/usr/share/man/*' \
        --dpkgopt='path-exclude=/usr/share/locale/*' \
        "$2" "$work/root" "$1"
    rm -f "$work/root/etc/resolv.conf" "$work/root/etc/dpkg/dpkg.cfg.d"/*
    echo box >"$work/root/etc/hostname"
    echo "127.0.0.1 localhost box" >"$work/root/etc/hosts"
    # As Raspberry Pi OS 12 has it; the initrd puts another line for the card there when it is asked to.
    printf '%s\n' "/dev/vda / ext4 defaults,noatime 0 1" \
        "/dev/mmcblk0p1 /boot/firmware vfat defaults 0 2" >"$work/root/etc/fstab"
    install -d "$work/root/boot/firmware"
    install -m 755 tests/box/agent.py "$work/root/usr/local/sbin/box-agent"
    install -m 644 tests/box/agent.service "$work/root/etc/systemd/system/box-agent.service"
    # What only takes time at a start, or would do something by itself hours later.
    for unit in apt-daily.timer apt-daily-upgrade.timer dpkg-db-backup.timer e2scrub_all.timer e2scrub_reap.service \
        fstrim.timer getty@tty1.service serial-getty@.service systemd-update-utmp.service \
        systemd-update-utmp-runlevel.service NetworkManager-wait-online.service systemd-pcrphase.service \
        systemd-pcrphase-sysinit.service sys-kernel-{debug,tracing,config}.mount dev-{hugepages,mqueue}.mount \
        sys-fs-fuse-connections.mount modprobe@.service kmod-static-nodes.service systemd-sysusers.service \
        systemd-binfmt.service proc-sys-fs-binfmt_misc.automount systemd-user-sessions.service \
        systemd-random-seed.service systemd-ask-password-{console,wall}.path; do
        ln -sf /dev/null "$work/root/etc/systemd/system/$unit"
    done
    install -d "$work/root/etc/systemd/system-generators" "$work/root/etc/systemd/journald.conf.d"
    for unit in "$work"/root/lib/systemd/system-generators/*; do
        [ "${unit##*/}" = systemd-fstab-generator ] ||
            ln -s /dev/null "$work/root/etc/systemd/system-generators/${unit##*/}"
    done
    printf '[Journal]\nStorage=volatile\n' >"$work/root/etc/systemd/journald.conf.d/quick.conf"
    install -d "$work/root/etc/systemd/system/sysinit.target.wants"
    ln -s ../box-agent.service "$work/root/etc/systemd/system/sysinit.target.wants/"
}

# shellcheck disable=SC2016 # apt fills these in
read -r site suite < <(apt-get indextargets --format '$(SITE) $(CODENAME)' \
    'Created-By: Packages' "Architecture: $(dpkg --print-architecture)" | head -n 1)
add_kernel >"$work/kernel.log" 2>&1 &
make_root "$site" "$suite"
wait $! || {
    tail "$work/kernel.log" >&2
    exit 1
}
cp -a "$work/trimmed/lib/modules" "$work/root/lib/"
mke2fs -q -t ext4 -d "$work/root" -E lazy_itable_init=1 -O ^metadata_csum "$output/root.img" 6G
echo "$made_of" >"$output/made-of"
