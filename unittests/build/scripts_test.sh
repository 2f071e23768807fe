#!/usr/bin/env bash
# scripts_test.sh PROJECT: tries what the scripts in scripts/ are made of.
set -uo pipefail
project=$1
. "$project/scripts/lib/say.sh"
. "$project/scripts/lib/packages.sh"
status=0

# expect WHAT EXPECTED ACTUAL
expect() {
    [ "$2" = "$3" ] && return
    echo "$1: expected '$2', got '$3'"
    status=1
}

expect "nothing is missing of what is here" "" "$(missing_packages dpkg libc6 debconf)"
expect "what is missing is named" "no-such-package no-such-package:armhf dpkg:armhf" \
    "$(missing_packages dpkg no-such-package no-such-package:armhf dpkg:armhf | xargs)"
expect "so it is in a script that ends at the first failure" "no-such-package" \
    "$(bash -c 'set -euo pipefail; . "$1/scripts/lib/packages.sh"; missing_packages dpkg no-such-package' - "$project")"
answer=$(bash -c 'set -euo pipefail; project=$1; . "$1/scripts/lib/say.sh"; . "$1/scripts/lib/packages.sh"
    list_packages() { printf "%s\n" dpkg no-such-package; }; install_packages() { echo "told to install $*"; }
    need_packages build' - "$project" 2>/dev/null)
expect "which is told to install it" "told to install no-such-package" "$answer"
expect "a list is names alone" "g++ cmake ninja-build pkg-config check" "$(list_packages build | xargs)"

as_root() { return 1; }
answer=$(missing_packages() { echo no-such-package; } && need_packages build 2>&1)
expect "an installation that fails ends the script" 1 $?
expect "and says why" "scripts_test.sh: error: could not be installed through apt-get: no-such-package" \
    "$(tail -n 1 <<<"$answer")"

answer=$("$project/scripts/test" quickly 2>&1 >/dev/null)
expect "an unknown argument is rejected" 2 $?
expect "and named" "test: unknown argument 'quickly'" "$(head -n 1 <<<"$answer")"
expect "help is on standard output" "scripts/test quick" "$("$project/scripts/test" --help | grep -o 'scripts/test quick')"

answer=$("$project/scripts/coverage" quickly 2>&1 >/dev/null)
expect "an unknown argument of coverage is rejected" 2 $?
expect "and named" "coverage: unknown argument 'quickly'" "$(head -n 1 <<<"$answer")"
answer=$("$project/scripts/soak" long 2>&1 >/dev/null)
expect "a time that is none is rejected" 2 $?
expect "and named" "soak: expected a number of seconds and a rate, got 'long'" "$(head -n 1 <<<"$answer")"

# From elsewhere, with a shell that looks for folders elsewhere, and by a link.
link=$(mktemp -d)
ln -s "$project/scripts/test" "$link/test"
answer=$(cd "$project" && CDPATH=.:/tmp scripts/test --help)
expect "the project is found whatever CDPATH is" "scripts/test quick" "$(grep -o 'scripts/test quick' <<<"$answer")"
expect "and by a link" "scripts/test quick" "$("$link/test" --help | grep -o 'scripts/test quick')"
rm -r "$link"
exit $status
