#!/usr/bin/env bash
# Fails when shellcheck finds something in a shell script of the project. Run from the project's folder.
set -euo pipefail
mapfile -t scripts < <(grep -rlE '^#!.*\b(ba)?sh$|^# shellcheck shell=' scripts .ci unittests tests packaging apps)
shellcheck --external-sources --exclude=SC1091 "${scripts[@]}"
echo "${#scripts[@]} scripts are clean"
