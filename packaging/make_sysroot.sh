#!/bin/bash
# make_sysroot.sh build|run ARCHITECTURE...: unpacks libraries for armhf or arm64 below build/sysroot: GStreamer and
# libwebsockets to build with (build/sysroot/armhf), or GStreamer with its plugins to run emulated
# (build/sysroot/armhf-run). Debian's development package of the base plugins cannot be installed for two
# architectures at once, the plugins bring 400 packages, and libwebsockets brings OpenSSL, whose updates apt
# refuses for one architecture alone. Needs the package lists of that architecture, which install_cross.sh
# sees to, and changes nothing of the machine.
set -euo pipefail
cd "$(dirname "$0")/.."

usage() {
    echo "usage: make_sysroot.sh build|run ARCHITECTURE..." >&2
    exit 2
}

# Compilers and linkers find what these ask for here; the C library is that of the cross compiler.
to_build=(libgstrtspserver-1.0-{dev,0} libgstreamer-plugins-base1.0-{dev,0} libgstreamer1.0-{dev,0}
    libglib2.0-{dev,0} libpcre2-{dev,8-0} libffi-dev libffi8 libmount-dev libmount1 libblkid-dev libblkid1
    libselinux1-dev libselinux1 libsepol-dev zlib1g-dev zlib1g libunwind-dev libunwind8 libdw-dev libdw1
    libelf-dev libelf1 liblzma-dev liblzma5 libbz2-1.0 liborc-0.4-dev liborc-0.4-0
    libwebsockets17 libwebsockets-dev libssl-dev libssl3 libcap-dev libcap2)
to_run=(gstreamer1.0-{tools,alsa,libav,x} gstreamer1.0-plugins-{base,good,bad,ugly})
# Taken as there, with all they depend on: nothing of it is loaded to read a pipeline.
passed_over=(adwaita-icon-theme dconf-gsettings-backend fontconfig-config fonts-dejavu-core glib-networking
    iso-codes libegl-mesa0 libgl1-mesa-dri libglx-mesa0 libgtk-3-0 libpam-modules libpam-runtime libperl5.36
    mount perl perl-base python3 shared-mime-info systemd timgm6mb-soundfont)

kind=${1:-}
[ $# -gt 1 ] || usage
case $kind in build | run) ;; *) usage ;; esac

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

# apt as on a machine of that architecture on which nothing is installed but what is passed over.
# Usage: apt_for ARCHITECTURE ARGUMENT...
apt_for() {
    apt-get -qq -o APT::Architecture="$1" -o APT::Architectures="$1" -o APT::Sandbox::User=root \
        -o Debug::NoLocking=1 -o Dir::State::status="$work/status" -o Dir::Cache="$work" \
        -o Dir::Cache::archives="$work/archives" "${@:2}"
}

# Usage: fetch_for ARCHITECTURE: leaves the packages in $work/archives.
fetch_for() {
    mkdir -p "$work/archives/partial"
    printf 'Package: %s\nStatus: install ok installed\nVersion: 99:1\nArchitecture: '"$1"'\n\n' \
        "${passed_over[@]}" >"$work/status"
    if [ "$kind" = build ]; then
        (cd "$work/archives" && apt_for "$1" download "${to_build[@]}")
    else
        apt_for "$1" install -y --no-install-recommends --download-only "${to_run[@]}"
    fi
}

# Usage: unpack_into DIRECTORY
unpack_into() {
    local package
    rm -rf "$1" "$1.new"
    mkdir -p "$1.new/usr/lib"
    ln -s usr/lib "$1.new/lib"
    for package in "$work"/archives/*.deb; do
        dpkg-deb --fsys-tarfile "$package" | tar -x --keep-directory-symlink -C "$1.new"
    done
    # The files that tell compilers where things are say /usr, and some links to libraries /lib.
    find "$1.new" -name '*.pc' -exec sed -Ei "s#=(\"?)/usr#=\\1$PWD/$1/usr#" '{}' +
    while read -r link; do
        ln -sfn "$PWD/$1$(readlink "$link")" "$link"
    done < <(find "$1.new/usr/lib" -name '*.so' -lname '/*')
    sha256sum "packaging/$(basename "$0")" >"$1.new/made-by"
    mv "$1.new" "$1"
}

for architecture in "${@:2}"; do
    directory=build/sysroot/$architecture
    [ "$kind" = build ] || directory+=-run
    sha256sum --status --check "$directory/made-by" 2>/dev/null && continue
    echo "Unpacking libraries for $architecture into $directory"
    rm -rf "$work/archives"
    fetch_for "$architecture" >&2 || {
        echo "make_sysroot.sh: cannot fetch the libraries for $architecture; what apt says is above" >&2
        exit 1
    }
    unpack_into "$directory"
done
