#!/bin/sh
# install_page_modules.sh: what the panel's page is built and checked with, as page/package-lock.json says,
# into page/node_modules; nothing when it is there already. A copy of the tree that is to do without the
# network names a directory where it is there in FIELDRELAYBOX_PAGE_MODULES.
set -eu
cd "$(dirname "$0")/../page"

is_there() {
    sha256sum --status --check node_modules/.made-by 2>/dev/null
}

# Several builds may ask at once; the first one installs.
exec 9>.modules.lock
flock 9
is_there && exit 0

if [ -n "${FIELDRELAYBOX_PAGE_MODULES:-}" ]; then
    rm -rf node_modules
    ln -s "$FIELDRELAYBOX_PAGE_MODULES" node_modules
    is_there && exit 0
    echo "install_page_modules.sh: $FIELDRELAYBOX_PAGE_MODULES is not what package-lock.json says" >&2
    exit 1
fi

# Who has no home, as in a sandbox, has a cache here.
cache=$(npm config get cache 2>/dev/null) || cache=""
if ! mkdir -p "$cache" 2>/dev/null || ! [ -w "$cache" ]; then
    export npm_config_cache="$PWD/../build/npm-cache"
fi
npm ci --no-progress --loglevel=error || {
    echo "install_page_modules.sh: cannot fetch what the page is made with; what npm says is above" >&2
    exit 1
}
sha256sum package.json package-lock.json .npmrc >node_modules/.made-by
