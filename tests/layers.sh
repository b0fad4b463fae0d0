#!/usr/bin/env bash
# Fails when a layer includes what it must not: only app/gui includes Qt, and the App Store client
# includes neither SQLite nor ICU. Given a folder, checks that folder's tree instead (used to prove the
# check fails on a deliberately bad file).
set -u
root=${1:?usage: layers.sh SOURCE_DIR}
cd "$root" || exit 2
status=0
qt='#include *[<"](Q[A-Za-z]+|qt[a-z]*/|Qt[A-Za-z]+/)'
kit='#include *[<"](sqlite|SQLiteCpp|unicode/|date/tz)'
for dir in AsoKit app/base app/store app/measure app/research app/shell app/cli; do
  [ -d "$dir" ] || continue
  if hits=$(grep -rnE "$qt" "$dir" --include='*.h' --include='*.cpp'); then
    echo "Qt is included outside app/gui:"; echo "$hits"; status=1
  fi
done
if [ -d AsoKit ] && hits=$(grep -rnE "$kit" AsoKit --include='*.h' --include='*.cpp'); then
  echo "AsoKit includes SQLite or ICU:"; echo "$hits"; status=1
fi
[ $status -eq 0 ] && echo "layers: clean"
exit $status
