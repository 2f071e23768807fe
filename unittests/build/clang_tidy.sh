#!/usr/bin/env bash
# clang_tidy.sh RUN_CLANG_TIDY BUILD: fails when clang-tidy finds something in the sources of the libraries and programs.
# A finding in a header is shown once, however many files include it.
set -uo pipefail
"$1" -quiet -p "$2" -j "$(nproc)" "^$PWD/(src|apps)/" 2>&1 |
    sed -e 's/\x1b\[[0-9;]*m//g' -e '/^clang-tidy[-0-9]* /d' -e '/warnings\? generated/d' -e "/^Suppressed/d" -e "/^$/d" | awk '!shown[$0]++'
