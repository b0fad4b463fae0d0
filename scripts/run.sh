#!/usr/bin/env bash
# Installs what is missing, builds an optimised Tovra and opens the desktop application on the user's own
# store. Without a display it says so and runs the command line's offline demo instead, against the
# loopback fake store, so a headless machine still shows Tovra working without touching the real App Store.
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/install-deps.sh
cmake --preset release >/dev/null
if [ -n "${DISPLAY:-}" ] || [ -n "${WAYLAND_DISPLAY:-}" ]; then
  cmake --build --preset release -j2 --target tovra tovra-gui tovra-fakestore tovra-storegen
  exec build/release/app/gui/tovra-gui "$@"
fi
echo "run: no display (neither DISPLAY nor WAYLAND_DISPLAY is set), so the desktop application cannot open;"
echo "run: here is the command-line demo instead."
cmake --build --preset release -j2 --target tovra tovra-fakestore
build/release/app/cli/tovra --help
echo
exec scripts/demo.sh --cli build/release
