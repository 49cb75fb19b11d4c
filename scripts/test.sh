#!/usr/bin/env bash
# Installs what is missing, builds everything (library, shell, tests, benchmarks) and runs every
# test headless. The one command CI runs.
set -euo pipefail
cd "$(dirname "$0")/.."
bash scripts/install-deps.sh
# A formatting difference fails the run before anything is built.
bash scripts/format.sh --check
cmake -S . -B build -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo
# An include of a library the target does not link fails the run before the build.
python3 scripts/check-layers.py build
cmake --build build
QT_QPA_PLATFORM=offscreen ctest --test-dir build --output-on-failure -j2 --timeout 300
