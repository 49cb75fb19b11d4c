#!/usr/bin/env bash
# The main job: builds editor-shell and drives the layer end to end on the bundled defaults, in a
# data folder of its own (build/demo-data), then shows the usage events the run stored.
set -euo pipefail
cd "$(dirname "$0")/.."
bash scripts/install-deps.sh
cmake -S . -B build -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo >/dev/null
cmake --build build --target editor-shell
shell=build/apps/editor-shell/editor-shell
data=build/demo-data
"$shell" --data-dir "$data" "$@"
"$shell" --data-dir "$data" events
