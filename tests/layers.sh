#!/usr/bin/env bash
# Fails when a layer includes what it must not. The core's folders build on each other in one order,
# base ← store ← research ← measure ← shell, and none includes a folder above it or a front end; only
# app/gui includes Qt; the App Store client includes neither SQLite nor ICU nor the core. Given a folder,
# checks that folder's tree instead (used to prove the check fails on a deliberately bad tree).
set -u
root=${1:?usage: layers.sh SOURCE_DIR}
cd "$root" || exit 2
status=0
qt='#include *[<"](Q[A-Za-z]+|qt[a-z]*/|Qt[A-Za-z]+/)'
kit='#include *[<"](sqlite|SQLiteCpp|unicode/|date/tz|app/)'
order=(base store research measure shell)
sources=(--include='*.h' --include='*.cpp')
for dir in AsoKit app/base app/store app/research app/measure app/shell app/cli; do
  [ -d "$dir" ] || continue
  if hits=$(grep -rnE "$qt" "$dir" "${sources[@]}"); then
    echo "Qt is included outside app/gui:"; echo "$hits"; status=1
  fi
done
for i in "${!order[@]}"; do
  dir=app/${order[$i]}
  [ -d "$dir" ] || continue
  above=("${order[@]:$((i + 1))}" cli gui)
  pattern="#include *\"app/($(IFS='|'; echo "${above[*]}"))/"
  if hits=$(grep -rnE "$pattern" "$dir" "${sources[@]}"); then
    echo "$dir includes a layer above it (order: ${order[*]}, then the front ends):"; echo "$hits"; status=1
  fi
done
if [ -d AsoKit ] && hits=$(grep -rnE "$kit" AsoKit "${sources[@]}"); then
  echo "AsoKit includes SQLite, ICU or the core:"; echo "$hits"; status=1
fi
[ $status -eq 0 ] && echo "layers: clean"
exit $status
