#!/usr/bin/env bash
# relative_paths.sh PREFIX PROJECT: fails when an installed file names the project's place, or when a source path that
# the check program reports is not relative to the project.
set -euo pipefail
prefix=$1 project=$2
status=0

if grep -rlF "$project/" "$prefix"; then
    echo "the files above name $project"
    status=1
fi
if grep -rlE '\.\./(tests|include/zumra|src/(core|osa|check|settings|storage))/' "$prefix/bin" "$prefix"/lib*; then
    echo "the files above hold source paths that begin elsewhere than in the project's folder"
    status=1
fi
for source in $(cd "$project" && ls tests/c*/*Tests.cpp); do
    if ! grep -aqF "$source" "$prefix/bin/zumra-settings-checks"; then
        echo "the check program does not report $source"
        status=1
    fi
done
exit $status
