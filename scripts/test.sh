#!/usr/bin/env bash
# Installs what is missing, builds, and runs every test: the whole suite, then the core tests again under
# AddressSanitizer and UndefinedBehaviorSanitizer.
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/install-deps.sh
cmake --preset dev >/dev/null
cmake --build --preset dev -j2
ctest --preset dev
cmake --preset asan >/dev/null
cmake --build --preset asan -j2
ctest --preset asan
