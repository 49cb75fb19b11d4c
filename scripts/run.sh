#!/usr/bin/env bash
# The main job: builds editor-shell and drives the layer end to end on the bundled defaults, in a
# data folder of its own (build/demo-data), then shows the usage events stored there. Without
# arguments it imports the bundled sample media into a demo project and exports that project to a
# video (build/demo-data/demo.mp4); with arguments it runs them as a shell command line instead.
set -euo pipefail
cd "$(dirname "$0")/.."
bash scripts/install-deps.sh
cmake -S . -B build -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo >/dev/null
cmake --build build --target editor-shell
shell=build/apps/editor-shell/editor-shell
data=build/demo-data
if [ $# -eq 0 ]; then
  # The bundled sample media (one of them broken on purpose) onto a new project's timeline, then
  # the whole way to a finished video. The project is made anew each run, as File > New would,
  # so a second run gives the same project rather than one with every clip twice.
  "$shell" --data-dir "$data" --yes project new "$data/demo.edproj"
  "$shell" --data-dir "$data" --yes import resources/samples --project "$data/demo.edproj"
  "$shell" --data-dir "$data" export "$data/demo.edproj" "$data/demo.mp4" --preset mp4_draft_480p
else
  "$shell" --data-dir "$data" "$@"
fi
"$shell" --data-dir "$data" events --limit 40
