#!/usr/bin/env bash
# consume_pkg_config.sh PREFIX SCRATCH: builds the consumer's programs with what pkg-config says, and runs them.
set -euo pipefail
prefix=$1 scratch=$2
consumer=$(dirname "${BASH_SOURCE[0]}")/consumer
libraries=$(dirname "$(find "$prefix" -name libzumra.so)")
export PKG_CONFIG_PATH=$libraries/pkgconfig
mkdir -p "$scratch"

consume() {
    local program=$1 package=$2 compile link
    echo "$program.cpp with $package $(pkg-config --modversion "$package")"
    read -ra compile < <(pkg-config --cflags "$package")
    read -ra link < <(pkg-config --libs "$package")
    g++ -std=c++17 -Wall -Wextra -Werror "${compile[@]}" "$consumer/$program.cpp" -o "$scratch/$program" "${link[@]}"
    LD_LIBRARY_PATH=$libraries "$scratch/$program"
}

consume core zumra
consume settings zumra-settings
consume check zumra-check
