#!/usr/bin/env bash
# installed_checks.sh PREFIX: fails when the installed check program does not judge the installed libraries, away from
# the sources and without help from the environment.
set -euo pipefail
prefix=$(readlink -f "$1")
program=$prefix/bin/zumra-settings-checks
cd /

if ! report=$(env -i "$program" -v); then
    echo "$report"
    echo "the installed check program fails"
    exit 1
fi
for library in libzumra libzumra-settings; do
    file=$(readlink -f "$(find "$prefix" -name "$library.so.1")")
    for said in "$(head -n 1 <<<"$report")" "$(env -i "$program" --version)"; do
        grep -qF "$library 1.0.0 ($file)" <<<"$said" || {
            echo "$file is not named in: $said"
            exit 1
        }
    done
done
grep -q '^100%: Checks: 139, Failures: 0, Errors: 0$' <<<"$report"
echo "the installed libraries were judged"
