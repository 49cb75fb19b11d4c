#!/usr/bin/env bash
# Runs clang-tidy with the project's .clang-tidy over the layer and the platform.
set -euo pipefail
cd "$(dirname "$0")/.."
[ -f build/compile_commands.json ] || cmake -S . -B build -G Ninja >/dev/null
git ls-files 'layer/*.cpp' 'platform/*.cpp' 'apps/*.cpp' | xargs -r clang-tidy -p build --quiet
