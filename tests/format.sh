#!/usr/bin/env bash
# Fails when a tracked C++ file is not formatted as .clang-format says.
set -u
clang_format=${1:?usage: format.sh CLANG_FORMAT SOURCE_DIR}
root=${2:?usage: format.sh CLANG_FORMAT SOURCE_DIR}
cd "$root" || exit 2
mapfile -t files < <(find AsoKit app tools tests bench fuzz -path '*/house/bad-*' -prune -o -type f \( -name '*.cpp' -o -name '*.h' \) -print 2>/dev/null | sort)
[ ${#files[@]} -gt 0 ] || { echo "format: no files found"; exit 1; }
if ! "$clang_format" --dry-run -Werror "${files[@]}"; then
  echo "format: run scripts/format.sh"; exit 1
fi
echo "format: ${#files[@]} files clean"
