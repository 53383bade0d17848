#!/usr/bin/env bash
# Names every source file that clang-format would change, and fails if there is one. With --fix it changes
# them. Without clang-format on the machine nothing is checked: the build does not depend on it.
set -euo pipefail
cd "$(dirname "$0")/.."

if ! command -v clang-format >/dev/null; then
    echo "check-format: clang-format is not installed; nothing is checked"
    exit 0
fi

mapfile -d '' -t files < <(find . \( -path ./build -o -path ./.git \) -prune -o -type f \
    \( -name '*.h' -o -name '*.cpp' -o -name '*.c' \) -print0)
if [ "${1:-}" = --fix ]; then
    clang-format -i --style=file "${files[@]}"
    exit 0
fi

unkept=$(clang-format --dry-run --style=file "${files[@]}" 2>&1 |
    sed -n 's/^\(.*\):[0-9]*:[0-9]*: .*clang-format-violations.*/\1/p' | sort -u)
if [ -n "$unkept" ]; then
    echo "check-format: scripts/check-format.sh --fix would change"
    echo "$unkept"
    exit 1
fi
echo "check-format: the format is kept in ${#files[@]} files"
