#!/bin/bash
# Builds the packages of the checked-out commit again, elsewhere, and compares them byte for byte with
# those in build/packages (built first where they are missing). Usage: check_reproducible.sh [ARCHITECTURE...]
set -euo pipefail
cd "$(dirname "$0")/.."

first=build/packages
second=$(mktemp -d)
trap 'rm -rf "$second"' EXIT

architectures=("$@")
[ $# -gt 0 ] || architectures=("$(dpkg --print-architecture)" armhf arm64)

up_to_date() {
    [ "$(cat $first/commit 2>/dev/null)" = "$(git rev-parse HEAD)" ] || return
    for architecture in "${architectures[@]}"; do
        compgen -G "$first/fieldrelaybox_*_$architecture.deb" >/dev/null || return
    done
}
up_to_date || packaging/build_packages.sh "${architectures[@]}" >/dev/null

# Another home, language, time zone and temporary directory must not show either.
mkdir -p "$second/packages" "$second/a longer temporary directory"
env HOME="$second" LC_ALL=C TZ=Asia/Tokyo TMPDIR="$second/a longer temporary directory" \
    PACKAGES_DIRECTORY="$second/packages" packaging/build_packages.sh "${architectures[@]}" >/dev/null

different=0
for package in "$second"/packages/*.deb; do
    if cmp "$first/$(basename "$package")" "$package"; then
        echo "reproducible: $(basename "$package") $(sha256sum <"$package" | cut -c 1-64)"
    else
        different=1
    fi
done
exit $different
