#!/usr/bin/env bash
# Builds and runs the tests under AddressSanitizer and UndefinedBehaviorSanitizer.
set -euo pipefail
cd "$(dirname "$0")/.."
bash scripts/install-deps.sh
cmake -S . -B build-asan -G Ninja -DCMAKE_BUILD_TYPE=Debug -DEDITOR_SANITIZE=address,undefined \
  -DEDITOR_BUILD_BENCH=OFF
cmake --build build-asan
# The leak summary of suppressed Qt leaks would land on the error stream of every program run.
ASAN_OPTIONS=detect_leaks=1 LSAN_OPTIONS=print_suppressions=0 UBSAN_OPTIONS=print_stacktrace=1 \
  QT_QPA_PLATFORM=offscreen \
  ctest --test-dir build-asan --output-on-failure -j2 --timeout 600
