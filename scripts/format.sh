#!/usr/bin/env bash
# Formats the sources with .clang-format; with --check, only reports what differs.
set -euo pipefail
cd "$(dirname "$0")/.."
files=$(git ls-files '*.cpp' '*.h')
if [ "${1:-}" = "--check" ]; then
  clang-format --dry-run --Werror $files
else
  clang-format -i $files
fi
