#!/usr/bin/env bash
# Renders the desktop application with generated demo data to PNGs under docs/ (the README shows them):
# the main window, the command palette, a run against the loopback fake store, the archive, the rivals
# board, and the settings. Each
# picture is taken on a private X server (xvfb-run), so your own desktop is never touched, and nothing
# reaches the real App Store.
# Usage: scripts/screenshots.sh [BUILD_DIR]   (default build/release)
set -euo pipefail
cd "$(dirname "$0")/.."
build=${1:-build/release}
gui="$build/app/gui/tovra-gui"
storegen="$build/tools/storegen/tovra-storegen"
fakestore="$build/tools/fakestore/tovra-fakestore"
for program in "$gui" "$storegen" "$fakestore"; do
  [ -x "$program" ] || { echo "screenshots: $program is missing; build it first" >&2; exit 1; }
done
for tool in xvfb-run xdotool import; do
  command -v "$tool" >/dev/null || { echo "screenshots: $tool is missing (scripts/install-deps.sh)" >&2; exit 1; }
done

work=$(mktemp -d "${TMPDIR:-/tmp}/tovra-shots.XXXXXX")
store_pid=
cleanup() {
  [ -n "$store_pid" ] && kill "$store_pid" 2>/dev/null && wait "$store_pid" 2>/dev/null
  rm -rf "$work"
}
trap cleanup EXIT

"$storegen" "$work/data" --last-day "$(date -d yesterday +%F)" --apps 4 --keywords 10 --days 120 >/dev/null
"$fakestore" --scenario tools/fakestore/demo-scenario.json --port-file "$work/port" >"$work/fakestore.out" 2>&1 &
store_pid=$!
for _ in $(seq 1 100); do
  [ -s "$work/port" ] && break
  sleep 0.05
done
port=$(cat "$work/port")
export TOVRA_SEARCH_URL="http://127.0.0.1:$port" TOVRA_LOOKUP_URL="http://127.0.0.1:$port"
export TOVRA_ARTWORK_URL="http://127.0.0.1:$port"
export TOVRA_DATA_DIR="$work/data" TOVRA_STATE_DIR="$work/state" XDG_CONFIG_HOME="$work/config"
export XDG_CACHE_HOME="$work/cache"
mkdir -p docs

# shoot NAME KEYS...: opens the window, sends the keys (xdotool names), waits, and saves the screen.
shoot() {
  local name=$1
  shift
  xvfb-run -a -s "-screen 0 1280x800x24" bash -c '
    "$0" & app=$!
    for _ in $(seq 1 100); do xdotool search --name "^Tovra" >/dev/null 2>&1 && break; sleep 0.1; done
    sleep 3
    for key in "${@:2}"; do xdotool key --clearmodifiers "$key"; sleep 0.4; done
    sleep 3
    import -window root "$1"
    kill "$app"; wait "$app" 2>/dev/null || true
  ' "$gui" "docs/$name.png" "$@"
  echo "docs/$name.png"
}

shoot main-window
shoot today ctrl+1 Tab Down Down
shoot command-palette ctrl+k g space t
shoot run-sheet ctrl+r
shoot archive ctrl+4
shoot rivals ctrl+5
shoot settings ctrl+k o p e n space s e t Return
shoot apps ctrl+2
shoot add-app ctrl+2 ctrl+n p h o t o space e d i t o r Return
shoot discover ctrl+3 ctrl+f p h o t o space e d i t o r Return
