#!/usr/bin/env bash
# Installs the Debian 12 packages Tovra builds and tests with, and says which ones it installs.
set -euo pipefail
packages=(
  build-essential cmake ninja-build pkg-config git clang-format ccache
  libcurl4-openssl-dev libssl-dev nlohmann-json3-dev libplist-dev libicu-dev libhowardhinnant-date-dev tzdata
  libsqlite3-dev libsqlitecpp-dev sqlite3 libfmt-dev libcli11-dev libcpp-httplib-dev openssl
  libgtest-dev libgmock-dev libbenchmark-dev
  qt6-base-dev qt6-svg-dev qt6-charts-dev libqt6opengl6-dev libxkbcommon-dev qt6-image-formats-plugins libgl-dev
  xvfb xauth at-spi2-core python3-pyatspi dbus dbus-x11 xdotool imagemagick desktop-file-utils appstream zsh fish
)
missing=()
for p in "${packages[@]}"; do
  dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q 'install ok installed' || missing+=("$p")
done
if [ ${#missing[@]} -eq 0 ]; then
  echo "install-deps: everything is installed"
  exit 0
fi
echo "install-deps: installing ${missing[*]}"
sudo_cmd=()
if [ "$(id -u)" -ne 0 ]; then
  command -v sudo >/dev/null || { echo "install-deps: run as root or install sudo" >&2; exit 1; }
  sudo_cmd=(sudo)
fi
"${sudo_cmd[@]}" apt-get update -qq
DEBIAN_FRONTEND=noninteractive "${sudo_cmd[@]}" apt-get install -y -qq --no-install-recommends "${missing[@]}"
