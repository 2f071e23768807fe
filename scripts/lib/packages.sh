# shellcheck shell=bash
# Debian packages, installed by name when they are missing. The lists stand in scripts/packages, one name a line;
# `name:architecture` for another architecture than the machine's.

# need_packages LIST...: sees to it that every package of the lists is installed; asks nothing, does nothing twice.
need_packages() {
    local list wanted missing
    list=$(list_packages "$@") || die "the lists of packages could not be read: $*"
    mapfile -t wanted <<<"$list"
    if ! command -v dpkg-query >/dev/null; then
        say "this is no Debian machine: going on with the tools that are here (wanted: ${wanted[*]})"
        return 0
    fi
    list=$(missing_packages "${wanted[@]}") || die "what is installed could not be told"
    [ -n "$list" ] || return 0
    mapfile -t missing <<<"$list"
    say "installing ${missing[*]}"
    install_packages "${missing[@]}" || die "could not be installed through apt-get: ${missing[*]}"
}

list_packages() {
    local list
    for list in "$@"; do
        sed -e 's/#.*//' -e '/^[[:space:]]*$/d' "${project:?}/scripts/packages/$list"
    done
}

# missing_packages NAME...: prints those that are not installed.
missing_packages() {
    local native installed name
    native=$(dpkg --print-architecture)
    # Its status is that of a failure as soon as it knows one of the names not at all.
    installed=$(dpkg-query -W -f '${db:Status-Status} ${Package}:${Architecture}\n' "$@" 2>/dev/null || true)
    installed=$(sed -n 's/^installed //p' <<<"$installed")
    for name in "$@"; do
        [[ $name == *:* ]] || name=$name:$native
        grep -qxF -e "$name" -e "${name%:*}:all" <<<"$installed" || echo "${name%":$native"}"
    done
}

install_packages() {
    local foreign
    command -v apt-get >/dev/null || die "apt-get is not here; install by hand: $*"
    for foreign in $(printf '%s\n' "$@" | sed -n 's/.*://p' | sort -u); do
        dpkg --print-foreign-architectures | grep -qx "$foreign" || as_root dpkg --add-architecture "$foreign" || return
    done
    # An index that is just being replaced on the mirror makes the update fail; what matters is the installation.
    as_root apt-get -q -o DPkg::Lock::Timeout=600 update || say "apt-get update failed in part; going on"
    as_root apt-get -q -y --no-install-recommends -o DPkg::Lock::Timeout=600 install "$@"
}

as_root() {
    if [ "$(id -u)" = 0 ]; then
        env DEBIAN_FRONTEND=noninteractive "$@" </dev/null >&2
    elif command -v sudo >/dev/null; then
        sudo -n env DEBIAN_FRONTEND=noninteractive "$@" </dev/null >&2
    else
        say "not root, and sudo is not here; as root: $*"
        return 1
    fi
}
