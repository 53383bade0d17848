#!/usr/bin/env bash
# Runs clang-tidy with the checks of .clang-tidy over the sources, or over the ones that are named:
#   scripts/lint.sh [FILE.cpp...]
# It takes minutes over everything, so no other script calls it.
set -euo pipefail
cd "$(dirname "$0")/.."

command -v clang-tidy >/dev/null || { echo "lint: clang-tidy is not installed" >&2; exit 1; }
[ -f build/release/compile_commands.json ] || cmake --preset release >/dev/null

if [ $# -gt 0 ]; then
    files=("$@")
else
    mapfile -t files < <(find tavix programs -name '*.cpp' | sort)
fi
# One file for each process: the analyzer's check of va_list errs from the second file on.
printf '%s\0' "${files[@]}" |
    xargs -0 -n 1 -P "$(nproc)" clang-tidy -p build/release --quiet
