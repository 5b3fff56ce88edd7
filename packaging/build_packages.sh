#!/bin/bash
# Builds the Debian packages of the checked-out commit for this machine, 32-bit and 64-bit ARM into
# build/packages. Usage: build_packages.sh [ARCHITECTURE...]
#
# What is built is a clean copy of the commit, so that neither the place nor leftovers of earlier
# builds leave a trace: two builds of one commit give the same bytes (check_reproducible.sh).
set -euo pipefail
cd "$(dirname "$0")/.."

output=${PACKAGES_DIRECTORY:-build/packages}
native=$(dpkg --print-architecture)
architectures=("$@")
[ $# -gt 0 ] || architectures=("$native" armhf arm64)

scripts/install_dependencies.sh build package

if [ -n "$(git status --porcelain --untracked-files=no)" ]; then
    echo "build_packages.sh: changes that are not committed are not in the packages" >&2
fi

# What a copy of the tree is to find libraries for other architectures in, and what makes the page.
export FIELDRELAYBOX_SYSROOTS=$PWD/build/sysroot
scripts/install_page_modules.sh
export FIELDRELAYBOX_PAGE_MODULES=$PWD/page/node_modules
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
mkdir -p "$output"
rm -f "$output"/*.deb

# Leaves the packages for one architecture in the output directory.
build_for() {
    local architecture=$1 kind=any options=()
    # The tools are the same for all; the machine's own build makes them.
    # Its source package is not kept, but looked at with the others.
    [ "$architecture" != "$native" ] || kind=source,any,all
    if [ "$architecture" != "$native" ]; then
        packaging/install_cross.sh "$architecture"
        # The libraries of the other architecture are there; the list of build dependencies would
        # also ask for its complete tool chain.
        options=(--host-arch "$architecture" --no-check-builddeps)
    fi
    mkdir -p "$work/$architecture/fieldrelaybox"
    git archive HEAD | tar -x -C "$work/$architecture/fieldrelaybox"
    (
        cd "$work/$architecture/fieldrelaybox"
        umask 022
        jobs=$(nproc)
        # Debug symbol packages are not for the box, so nothing is compiled for them either.
        export DEB_BUILD_OPTIONS="nocheck noautodbgsym terse parallel=$jobs"
        export DEB_CFLAGS_STRIP=-g DEB_CXXFLAGS_STRIP=-g
        dpkg-buildpackage --build=$kind --unsigned-changes --unsigned-buildinfo "${options[@]}"
    ) >"$work/$architecture.log" 2>&1 || {
        tail -n 30 "$work/$architecture.log" >&2
        return 1
    }
    # What does not apply stands in debian/*.lintian-overrides, with the reason.
    lintian --allow-root --info --pedantic --display-info --fail-on error,warning,info,pedantic \
        --tag-display-limit 0 "$work/$architecture"/*.changes >&2
    cp "$work/$architecture"/*.deb "$output/"
}

for architecture in "${architectures[@]}"; do
    build_for "$architecture"
done
git rev-parse HEAD >"$output/commit"
ls -l "$output"
