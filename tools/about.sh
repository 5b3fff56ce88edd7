# shellcheck shell=bash
# What each script says of itself.

# about NAME WORD: ends the script when the word asks for its help, which is its first comment, or its version.
about() {
    case $2 in
        -h | --help) sed -n '2,/^set/{/^#/s/^# \{0,1\}//p}' "${BASH_SOURCE[1]}"; exit ;;
        --version) sed -n "s/^__version__ = \"\(.*\)\"/$1 \1/p" "${BASH_SOURCE[0]%/*}/fieldrelaybox/__init__.py"; exit ;;
    esac
}
