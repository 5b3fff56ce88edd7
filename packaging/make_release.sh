#!/bin/bash
# Makes what is published as a version into build/release-VERSION: the packages of every architecture,
# an archive of the source, the version's part of CHANGELOG.md, and SHA256SUMS of all. It publishes
# nothing, but says what to type for it.
# Usage: make_release.sh [--check]
#     --check   only see whether the checked-out commit could be one: whether all that names the version
#               names the same, the changelog has an entry, the archive is the same twice, and the copyright
#               of what the page contains is told
set -euo pipefail
cd "$(dirname "$0")/.."

refuse() {
    echo "make_release.sh: $*" >&2
    exit 1
}

check=no
case $#:${1:-} in
0:) ;;
1:--check) check=yes ;;
*)
    echo "usage: make_release.sh [--check]" >&2
    exit 2
    ;;
esac

version=$(sed -n 's/^project(fieldrelaybox VERSION \([0-9.]*\) .*/\1/p' CMakeLists.txt)
[ -n "$version" ] || refuse "CMakeLists.txt names no version"
name=fieldrelaybox-$version
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

# What is not yet released stands above in a part of its own, or not at all.
newest_entry() { sed -n 's/^## \([0-9][0-9.]*\).*/\1/p; T; q' CHANGELOG.md; }
entry() { sed -n "/^## ${version//./\\.}\( \|\$\)/,/^## /{/^## /!p}" CHANGELOG.md | sed '/./,$!d'; }

check_versions() {
    local place stated stray
    while IFS='|' read -r place stated; do
        [ "$stated" = "$version" ] || refuse "$place says version ${stated:-none}, CMakeLists.txt $version"
    done <<VERSIONS
debian/changelog|$(sed -n '1s/^fieldrelaybox (\(.*\)) .*/\1/p' debian/changelog)
CHANGELOG.md|$(newest_entry)
src/config/config_record.h|$(sed -n 's/.* daemon_version{\([0-9]*\), \([0-9]*\), \([0-9]*\)};/\1.\2.\3/p' src/config/config_record.h)
tools/fieldrelaybox/__init__.py|$(sed -n 's/^__version__ = "\(.*\)"/\1/p' tools/fieldrelaybox/__init__.py)
VERSIONS
    stray=$(grep -H '^\.TH ' docs/man/* | grep -vF " \"fieldrelaybox $version\" " || true)
    [ -z "$stray" ] || refuse "manual pages of another version: $stray"
    entry >"$work/CHANGES.md"
    grep -q '[[:alnum:]]' "$work/CHANGES.md" || refuse "CHANGELOG.md tells nothing about $version"
}

# archive_to FILE: the same bytes for the same commit, whoever makes it.
archive_to() {
    git -c tar.umask=0022 archive --format=tar --prefix="$name/" HEAD | gzip -9n >"$1"
}

check_archive() {
    archive_to "$work/$name.tar.gz"
    archive_to "$work/again.tar.gz"
    cmp "$work/$name.tar.gz" "$work/again.tar.gz" || refuse "the archive is not the same twice"
    # The packages are built of the same files (build_packages.sh).
    tar -tzf "$work/$name.tar.gz" "$name/CMakeLists.txt" "$name/debian/rules" >/dev/null ||
        refuse "the archive is not whole"
}

# What the page contains is what it needs to run; the rest of the lock file only serves to build it.
check_copyright() {
    local module modules
    modules=$(python3 -c 'import json
for name, module in json.load(open("page/package-lock.json"))["packages"].items():
    if name and not module.get("dev"):
        print(name)')
    for module in $modules; do
        grep -qxF "Files: page/$module/*" debian/copyright || refuse "debian/copyright does not tell whose $module is"
    done
}

check_versions
check_archive
check_copyright
if [ "$check" = yes ]; then
    echo "make_release.sh: $version: all passed"
    exit
fi

changes=$(git status --porcelain)
[ -z "$changes" ] || refuse "not committed, so not in the release:"$'\n'"$changes"
[ "$(dpkg-parsechangelog -S Distribution)" != UNRELEASED ] || refuse "debian/changelog calls $version UNRELEASED"
! grep -qi '^## \[\?unreleased' CHANGELOG.md || refuse "CHANGELOG.md has an unreleased part"
tagged=$(git rev-parse -q --verify "refs/tags/v$version^{commit}" || true)
if [ -n "$tagged" ] && [ "$tagged" != "$(git rev-parse HEAD)" ]; then
    refuse "tag v$version is on another commit, $tagged"
fi

release=build/release-$version
rm -rf "$release" "$release.new"
PACKAGES_DIRECTORY=$PWD/$release.new packaging/build_packages.sh >"$work/log"
rm "$release.new/commit"
cp "$work/CHANGES.md" "$work/$name.tar.gz" "$release.new/"
(
    cd "$release.new"
    sha256sum -- * >"$work/SHA256SUMS"
    mv "$work/SHA256SUMS" .
)
mv "$release.new" "$release"
ls -l "$release"
[ -n "$tagged" ] || echo "To tag it:     git tag -a v$version --cleanup=verbatim -F $release/CHANGES.md $(git rev-parse HEAD)"
echo "To push it:    git push origin v$version"
echo "To publish:    the files of $release; whoever has them: sha256sum --check SHA256SUMS"
