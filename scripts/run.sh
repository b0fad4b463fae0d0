#!/usr/bin/env bash
# Installs what is missing, builds an optimised Tovra and opens it: the command line's overview, then the
# offline demo against the loopback fake store, so a new machine shows Tovra working without touching the
# real App Store.
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/install-deps.sh
cmake --preset release >/dev/null
cmake --build --preset release -j2 --target tovra tovra-fakestore
build/release/app/cli/tovra --help
echo
exec scripts/demo.sh build/release
