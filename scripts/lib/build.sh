# shellcheck shell=bash
# The release build in build/.

# configure_release OPTION...: configures build/ with the options.
configure_release() {
    local fresh=()
    # A tree that was copied or moved with its build folder cannot be built there.
    if [ -f "${project:?}/build/CMakeCache.txt" ] &&
        ! grep -qxF "CMAKE_HOME_DIRECTORY:INTERNAL=$project" "$project/build/CMakeCache.txt"; then
        fresh=(--fresh)
    fi
    say "configuring build/"
    (cd "$project" && cmake "${fresh[@]}" --preset release "$@") >&2 || die "build/ could not be configured"
}

# is_configured: tells whether build/ was configured, for this place.
is_configured() {
    [ -f "$project/build/build.ninja" ] &&
        grep -qxF "CMAKE_HOME_DIRECTORY:INTERNAL=$project" "$project/build/CMakeCache.txt"
}

# build_release TARGET...: brings the targets in build/ up to date.
build_release() {
    say "building $* in build/"
    if [ -t 2 ]; then
        (cd "$project/build" && ninja "$@") >&2
    else
        (cd "$project/build" && ninja "$@") | sed -u -e '/Re-checking globbed/d' -e '/^ninja: no work to do/d' >&2
    fi || die "building $* failed"
}

# lock_build: waits until no other script builds in build/; unlock_build ends it, as does the script's end.
lock_build() {
    mkdir -p "$project/build"
    exec 9>"$project/build/.lock"
    flock -n 9 || { say "waiting for another build in build/ to end" && flock 9; }
}

unlock_build() {
    exec 9>&-
}
