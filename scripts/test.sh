#!/usr/bin/env bash
# Builds Tavix as users get it and runs every test: installs from Debian what is missing first.
#   scripts/test.sh [PRESET]     one of CMakePresets.json: release (the default), debug, asan, tsan
set -euo pipefail
cd "$(dirname "$0")/.."
preset=${1:-release}

scripts/setup.sh
cmake --preset "$preset"
cmake --build --preset "$preset"
ctest --preset "$preset"
