#!/bin/sh
# apt_install.sh PACKAGE[:ARCHITECTURE]...: installs those Debian packages that are missing. Asks for
# nothing when nothing is missing; uses sudo only when not root.
set -eu

native=$(dpkg --print-architecture)

# A package can be there for several architectures; "all" counts for each.
is_installed() {
    name=${1%:*}
    wanted=$native
    [ "$name" = "$1" ] || wanted=${1#*:}
    dpkg-query -W -f '${Architecture} ${db:Status-Status}\n' "$name" 2>/dev/null |
        grep -Eqx "(all|$wanted) installed"
}

as_root() {
    if [ "$(id -u)" -eq 0 ]; then "$@"; else sudo "$@"; fi
}

# One index that cannot be fetched need not be the one that counts: the installation decides.
install_missing() {
    as_root apt-get -qq update || true
    # shellcheck disable=SC2086 # the list is meant to be split
    as_root env DEBIAN_FRONTEND=noninteractive \
        apt-get -qq install -y --no-install-recommends "$@" $missing
}

missing=""
for package in "$@"; do
    is_installed "$package" || missing="$missing $package"
done
[ -n "$missing" ] || exit 0

echo "Installing:$missing"
# A mirror that is just being synchronised fails for a moment. While it lacks the security updates of
# one architecture only, its libraries go together with this machine's when both are the release's.
# shellcheck disable=SC1091 # the system has it
release=$(. /etc/os-release && echo "$VERSION_CODENAME")
for pause in 5 15 30; do
    install_missing && exit 0
    install_missing --target-release "$release" && exit 0
    echo "apt_install.sh: trying again in $pause s" >&2
    sleep "$pause"
done
install_missing && exit 0
echo "apt_install.sh: cannot install$missing; what apt says is above" >&2
exit 1
