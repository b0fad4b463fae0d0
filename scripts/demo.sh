#!/usr/bin/env bash
# The offline demo: starts the loopback fake store with a realistic scenario and walks through Tovra
# against it — search, store hints, tracking an app with keywords, a measurement run and the today view —
# in a throw-away data folder, so neither the real App Store nor the user's own store is touched.
# With a display and a built desktop application, the demo opens the desktop application instead, on a
# data folder pre-filled with a year of generated history, so every view has real numbers to show.
# Usage: scripts/demo.sh [--cli] [BUILD_DIR]   (default build/release; --cli: the command-line walk-through)
set -euo pipefail
cd "$(dirname "$0")/.."
cli_only=
if [ "${1:-}" = "--cli" ]; then
  cli_only=1
  shift
fi
build=${1:-build/release}
tovra="$build/app/cli/tovra"
fakestore="$build/tools/fakestore/tovra-fakestore"
for program in "$tovra" "$fakestore"; do
  [ -x "$program" ] || { echo "demo: $program is missing; build first (scripts/run.sh)" >&2; exit 1; }
done

work=$(mktemp -d "${TMPDIR:-/tmp}/tovra-demo.XXXXXX")
store_pid=
cleanup() {
  [ -n "$store_pid" ] && kill "$store_pid" 2>/dev/null && wait "$store_pid" 2>/dev/null
  rm -rf "$work"
}
trap cleanup EXIT

"$fakestore" --scenario tools/fakestore/demo-scenario.json --port-file "$work/port" --log "$work/requests.log" \
  >"$work/fakestore.out" 2>&1 &
store_pid=$!
for _ in $(seq 1 100); do
  [ -s "$work/port" ] && break
  sleep 0.05
done
[ -s "$work/port" ] || { echo "demo: the fake store did not start:" >&2; cat "$work/fakestore.out" >&2; exit 1; }
port=$(cat "$work/port")

export TOVRA_SEARCH_URL="http://127.0.0.1:$port" TOVRA_LOOKUP_URL="http://127.0.0.1:$port"
export TOVRA_ARTWORK_URL="http://127.0.0.1:$port"
export TOVRA_DATA_DIR="$work/data" TOVRA_STATE_DIR="$work/state"

gui="$build/app/gui/tovra-gui"
storegen="$build/tools/storegen/tovra-storegen"
if [ -z "$cli_only" ] && { [ -n "${DISPLAY:-}" ] || [ -n "${WAYLAND_DISPLAY:-}" ]; } && [ -x "$gui" ] && [ -x "$storegen" ]; then
  echo "Tovra demo: the desktop application against the fake App Store on 127.0.0.1:$port,"
  echo "with a year of generated history in a temporary data folder (removed when the window closes)."
  "$storegen" "$work/data" --last-day "$(date -d yesterday +%F)" --apps 6 --keywords 15 --days 365 >/dev/null
  # The demo's icons come from the fake store: kept in the throw-away folder, never in your own cache.
  export XDG_CONFIG_HOME="$work/config" XDG_CACHE_HOME="$work/cache"
  "$gui"
  exit 0
fi

step() {
  echo
  echo "\$ tovra $*"
  "$tovra" "$@"
}

echo "Tovra demo against the fake App Store on 127.0.0.1:$port (data in a temporary folder)"
step search "photo editor" --country us --limit 5
step hints "backg" --country us
step app add com.brightside.lumen --country us --mine
step keywords add 6443120871 --country us $'photo editor\nbackground eraser\nfilm filters'
step measure
step today
echo
echo "The fake store answered $(wc -l <"$work/requests.log") requests, never faster than one per 1.2 s."
