#!/bin/sh
# make_manual_page.sh PROGRAM COMMAND PURPOSE VERSION PAGE: writes the manual page of a tool from its
# --help. Tools call themselves and each other by their file names; the page says the installed ones.
set -eu
program=$1 command=$2 purpose=$3 version=$4 page=$5

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
"$program" --help | sed -E \
    -e 's/box_client\.py/fieldrelaybox-client/g' \
    -e 's/\b([a-z]+)_([a-z]+)\.py/fieldrelaybox-\1-\2/g' \
    -e 's/^    (fieldrelaybox-)/    $ \1/' |
    # The usage, which may go on over several lines, becomes one.
    awk 'NR == 1 { sub(/^usage/, "Usage"); usage = 1; printf "%s", $0; next }
        usage && NF { sub(/^ +/, " "); printf "%s", $0; next }
        usage { usage = 0; print "" }
        { print }' >"$work/help"
printf '#!/bin/sh\ncat help\n' >"$work/$command"
chmod +x "$work/$command"

# help2man starts the program through a shell, and dates the page by SOURCE_DATE_EPOCH when that is set.
cd "$work"
LC_ALL=C.UTF-8 help2man --no-info --section=1 --name="$purpose" \
    --version-string="$command $version" --output=page "./$command"
mv page "$page"
