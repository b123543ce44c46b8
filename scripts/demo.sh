#!/usr/bin/env bash
# Set-up, build, and the main job: vornc on the bundled examples.
set -euo pipefail
cd "$(dirname "$0")/.."

scripts/setup.sh
cmake -S . -B build -G Ninja >/dev/null
cmake --build build -j "$(nproc)" --target vornc

vornc=build/vornc
echo "== vornc --version"
"$vornc" --version
echo "== vornc paths"
"$vornc" paths
