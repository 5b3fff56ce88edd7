#!/bin/sh
# make_manual_page.sh PROGRAM COMMAND PURPOSE VERSION PAGE: writes the manual page of a tool from its
# --help, with a section that holds the help of each of its subcommands. Tools call themselves and each
# other by their file names; the page says the installed ones.
set -eu
program=$1 command=$2 purpose=$3 version=$4 page=$5

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

# help_of WORD...: of the tool, or of the subcommand that the words make.
help_of() {
    "$program" "$@" --help | sed -E \
        -e 's/box_client\.py/fieldrelaybox-client/g' \
        -e 's/\b([a-z]+)_([a-z]+)\.py/fieldrelaybox-\1-\2/g'
}

# Subcommands stand below their common name, which has a line for itself.
subcommands_in() {
    sed -n '/^  [A-Z]*$/,/^$/s/^    \([a-z-]\{1,\}\)\( .*\)\{0,1\}$/\1/p' "$1"
}

# As it is shown on a terminal.
add_section() {
    help_of "$@" >"$work/section"
    printf '.SS "%s"\n.nf\n' "$*"
    sed -e 's/\\/\\e/g' -e 's/-/\\-/g' -e "s/^\\([.']\\)/\\\\\\&\\1/" "$work/section"
    printf '.fi\n'
    for word in $(subcommands_in "$work/section"); do (add_section "$@" "$word"); done
}

help_of >"$work/whole"
sed -E 's/^    (fieldrelaybox-)/    $ \1/' "$work/whole" |
    # The usage, which may go on over several lines, becomes one.
    awk 'NR == 1 { sub(/^usage/, "Usage"); usage = 1; printf "%s", $0; next }
        usage && NF { sub(/^ +/, " "); printf "%s", $0; next }
        usage { usage = 0; print "" }
        { print }' >"$work/help"
subcommands=$(subcommands_in "$work/whole")
for word in $subcommands; do add_section "$word"; done | sed '1i [SUBCOMMANDS]' >"$work/sections"
printf '#!/bin/sh\ncat help\n' >"$work/$command"
chmod +x "$work/$command"

# help2man starts the program through a shell, and dates the page by SOURCE_DATE_EPOCH when that is set.
cd "$work"
LC_ALL=C.UTF-8 help2man --no-info --section=1 --name="$purpose" \
    --version-string="$command $version" ${subcommands:+--include=sections} --output=page "./$command"
mv page "$page"
