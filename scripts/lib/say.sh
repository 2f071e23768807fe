# shellcheck shell=bash
# What a script tells its user. All of it goes to standard error: standard output belongs to the program that is run.

say() {
    printf '%s: %s\n' "${0##*/}" "$*" >&2
}

die() {
    say "error: $*"
    exit 1
}
