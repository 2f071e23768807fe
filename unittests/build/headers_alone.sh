#!/usr/bin/env bash
# headers_alone.sh PREFIX: fails when an installed header does not compile as C++17 with nothing before it.
set -euo pipefail
include=$1/include
mapfile -t headers < <(cd "$include" && find zumra -name '*.h' | sort)
[ ${#headers[@]} -gt 0 ] || { echo "no headers below $include"; exit 1; }

compile() {
    g++ -std=c++17 -Wall -Wextra -Wpedantic -Wshadow -Wold-style-cast -Wnon-virtual-dtor -Werror -fsyntax-only \
        -I "$include" -x c++ - <<<"#include \"$1\""
}
export -f compile
export include
printf '%s\0' "${headers[@]}" | xargs -0 -P "$(nproc)" -I {} bash -c 'compile {}'
echo "${#headers[@]} headers compile alone as C++17"
