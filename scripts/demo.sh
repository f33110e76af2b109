#!/usr/bin/env bash
# The main job: builds the project and runs the demonstration program,
# which starts the libraries and shows what they do.
set -euo pipefail
cd "$(dirname "$0")/.."
bash scripts/setup.sh
cmake -S . -B build -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo >/dev/null
cmake --build build -j2 --target tavo-demo
# The demonstration keeps its settings beside the build, not in the user's
# configuration folder.
TAVO_SETTINGS="${TAVO_SETTINGS:-$PWD/build/demo-settings.conf}" ./build/bin/tavo-demo "$@"
