#!/usr/bin/env bash
# Set-up, build of the library and vornc, and the main job: vornc on the bundled examples.
set -euo pipefail
cd "$(dirname "$0")/.."
. scripts/build_config.sh

scripts/setup.sh demo
cmake -S . -B "$vorn_build_dir" "${vorn_cmake_args[@]}" -DVORN_TESTS=OFF -DVORN_BENCH=OFF >/dev/null
cmake --build "$vorn_build_dir" -j "$vorn_jobs" --target vornc vorn

vornc=$vorn_build_dir/vornc
out=$vorn_build_dir/examples
echo "== vornc --version"
"$vornc" --version
echo "== vornc paths"
"$vornc" paths
checked=0
for example in examples/*.ovl; do
  echo "== vornc check $example"
  if ! "$vornc" check "$example"; then
    echo "demo: $example has diagnostics" >&2
    exit 1
  fi
  echo "no diagnostics"
  checked=$((checked + 1))
done
mkdir -p "$out"
for example in examples/*.ovl; do
  for target in FX GL Cg Swrc; do
    echo "== vornc compile $example --target $target -o $out"
    "$vornc" compile "$example" --target "$target" -o "$out"
  done
done
written=$(find "$out" -maxdepth 1 \( -name '*.fx' -o -name '*.vert' -o -name '*.frag' -o -name '*.cpp' \) | wc -l)
echo "== $out/rim.frag: the shader's root function"
sed -n '/^vec4 Rim_eval(State state)$/,/^}$/p' "$out/rim.frag"
echo "== vornc dump-tree examples/rim.ovl (first lines)"
tree=$("$vornc" dump-tree examples/rim.ovl)
head -n 12 <<<"$tree"
graphs=0
for graph in examples/*.xovl; do
  echo "== vornc graph $graph"
  if ! "$vornc" graph "$graph" >"$out/$(basename "$graph" .xovl).txt"; then
    echo "demo: $graph has diagnostics" >&2
    exit 1
  fi
  sed -n '/^nodes$/,$p' "$out/$(basename "$graph" .xovl).txt"
  "$vornc" graph "$graph" --dot >"$out/$(basename "$graph" .xovl).dot"
  graphs=$((graphs + 1))
done
echo "== vornc compile examples/lit_phong.xovl --node surface --lights key,sun --target GL -o $out/export"
"$vornc" compile examples/lit_phong.xovl --node surface --lights key,sun --target GL -o "$out/export/"
"$vornc" compile examples/lit_phong.xovl --node surface --lights key,sun --target FX -o "$out/export/"
echo "== $out/export/lit_phong.frag: the light inputs a host sets"
grep '^uniform .*__light' "$out/export/lit_phong.frag"
echo "== vornc preview examples/checker.ovl --target Swrc --shape sphere -o $out/checker.png (C++ built and run on the CPU)"
"$vornc" preview examples/checker.ovl --target Swrc --shape sphere -o "$out/checker.png"
echo "demo: $checked examples checked without diagnostics, $written generated files in $out/"
echo "demo: $graphs graph files listed, drawn as $out/*.dot (dot -Tpng FILE.dot -o FILE.png)"
