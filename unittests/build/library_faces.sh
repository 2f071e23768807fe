#!/usr/bin/env bash
# library_faces.sh PREFIX: fails when an installed library has another soname than it should, needs more than the C++
# runtime and threads, or offers more than its public face.
set -euo pipefail
prefix=$1
status=0

fault() {
    echo "$*"
    status=1
}

# Every offered name belongs to the project; names of the standard library's templates come along with it.
strangers() {
    nm -DC --defined-only "$1" | cut -d' ' -f3- | grep -vE "^($2)\$" |
        grep -vE '^(vtable for |typeinfo for |typeinfo name for |VTT for |non-virtual thunk to |guard variable for )?(.*[ (&*<])?(zumra|std|__gnu_cxx)::' || true
}

# check_library NAME NEEDS OFFERS: patterns for what it may need and offer besides.
check_library() {
    local name=$1 needs=$2 offers=$3 file dynamic need offered strange
    file=$(find "$prefix" -name "$name.so.1")
    [ -n "$file" ] || { fault "$name.so.1 is not installed"; return; }
    dynamic=$(readelf -dW "$file")
    grep -q "SONAME.*\[$name.so.1\]" <<<"$dynamic" || fault "$name has another soname"
    while read -r need; do
        grep -qE "^($needs|libstdc\+\+\.so\.6|libgcc_s\.so\.1|libm\.so\.6|libc\.so\.6|ld-linux.*)$" <<<"$need" ||
            fault "$name needs $need"
    done < <(sed -n 's/.*(NEEDED).*\[\(.*\)\]/\1/p' <<<"$dynamic")
    strange=$(strangers "$file" "$offers")
    [ -z "$strange" ] || fault "$name offers names that are not the project's: $strange"
    offered=$(nm -DC --defined-only "$file" | grep -c ' zumra::') || fault "$name offers nothing"
    echo "$name: $offered names offered"
}

check_library libzumra none none
check_library libzumra-settings 'libzumra\.so\.1' none
# It holds the one copy of Check and offers Check's documented operations from it.
check_library libzumra-check 'libsubunit\.so\.0' '__zu_check_.*|_?(check|suite|tcase|srunner|tr|ck|mark)_.*'
exit $status
