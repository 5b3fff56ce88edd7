#!/usr/bin/env bash
# Runs the page's tests in real browsers, away from the host:
#
#     tests/browser/run.sh BUILD-DIRECTORY [MODULE[.CLASS[.CASE]]...]
#
# A failing case leaves a picture of the page, its console and the logs in BUILD-DIRECTORY/browser.
set -eu
here=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
programs=$(realpath -- "${1?the build directory}")
shift
for program in chromedriver firefox-esr ffmpeg "$programs/fieldrelaybox" "$programs/fieldrelaybox-panel"; do
    command -v "$program" >/dev/null || { echo "run.sh: $program is missing" >&2; exit 1; }
done
cd "$here"
if [ "${1:-}" = screenshots ]; then
    set -- "$here/screenshots.py"
else
    set -- -m unittest -v "${@:-test_page}"
fi
FIELDRELAYBOX_DAEMON=$programs/fieldrelaybox FIELDRELAYBOX_PROGRAMS=$programs \
    exec "$here/../../tools/sandbox.sh" python3 -B "$@"
