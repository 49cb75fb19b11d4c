#!/usr/bin/env bash
# Builds the benchmarks optimised and runs them all (or those named) one after another.
set -euo pipefail
cd "$(dirname "$0")/.."
bash scripts/install-deps.sh
cmake -S . -B build-release -G Ninja -DCMAKE_BUILD_TYPE=Release -DEDITOR_BUILD_TESTS=OFF >/dev/null
cmake --build build-release
for bench in build-release/bench/*_bench; do
  if [ $# -eq 0 ] || printf '%s\n' "$@" | grep -qx "$(basename "$bench")"; then
    echo "== $(basename "$bench")"
    "$bench" --benchmark_min_time=0.2
  fi
done
