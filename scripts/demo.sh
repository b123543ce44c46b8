#!/usr/bin/env bash
# Set-up, build, and the main job: vornc on the bundled examples.
set -euo pipefail
cd "$(dirname "$0")/.."

scripts/setup.sh
cmake -S . -B build -G Ninja >/dev/null
cmake --build build -j "$(nproc)" --target vornc vorn

vornc=build/vornc
echo "== vornc --version"
"$vornc" --version
echo "== vornc paths"
"$vornc" paths
for example in examples/*.ovl; do
  echo "== vornc check $example"
  "$vornc" check "$example" && echo "no diagnostics"
done
mkdir -p build/examples
for example in examples/*.ovl; do
  for target in FX GL; do
    echo "== vornc compile $example --target $target"
    "$vornc" compile "$example" --target "$target" -o build/examples
  done
done
echo "== vornc dump-tree examples/rim.ovl (first lines)"
tree=$("$vornc" dump-tree examples/rim.ovl)
head -n 20 <<<"$tree"
