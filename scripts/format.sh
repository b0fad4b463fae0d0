#!/usr/bin/env bash
# Formats every C++ file of the project in place.
cd "$(dirname "$0")/.." || exit 1
find AsoKit app tools tests bench fuzz -path '*/house/bad-*' -prune -o -type f \( -name '*.cpp' -o -name '*.h' \) -print 2>/dev/null | xargs -r clang-format -i
