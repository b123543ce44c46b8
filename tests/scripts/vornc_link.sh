#!/usr/bin/env bash
# vornc link and compile of a graph file: the printed source of each link in
# tests/data/gen/expected_gl/inputs/linked.txt matches its golden file (whose GL text
# gen_gl_golden.sh checks and validates), the linked unit's own GL text matches that golden too,
# and every node and compound of the example and test graphs prints to a source that checks
# clean and generates the same GL and FX text as the link (GL also through glslangValidator).
# Then the misuses and failures, and render exports with --lights.
set -uo pipefail
build=$1
source_dir=$(cd "$2" && pwd)
vornc="$build/vornc"
fail=0
check() { if ! eval "$2"; then echo "FAILED: $1"; fail=1; fi; }

tmp=$(mktemp -d)
trap 'rm -rf "$tmp"' EXIT
inputs="$source_dir/tests/data/gen/expected_gl/inputs"

# The goldens: printed text, twice the same, and the link's GL text as the golden has it.
while read -r name graph option root; do
  case "$name" in ''|'#'*) continue ;; esac
  "$vornc" link "$source_dir/$graph" "$option" "$root" >"$tmp/first.ovl" 2>"$tmp/err"; status=$?
  "$vornc" link "$source_dir/$graph" "$option" "$root" >"$tmp/second.ovl" 2>/dev/null
  check "$name: links with status 0, quietly" "[ $status -eq 0 ] && [ ! -s \"$tmp/err\" ]"
  check "$name: the printed source matches its golden file" "diff -u \"$inputs/$name.ovl\" \"$tmp/first.ovl\""
  check "$name: two links print the same" "cmp -s \"$tmp/first.ovl\" \"$tmp/second.ovl\""
  rm -rf "$tmp/gl"
  "$vornc" compile "$source_dir/$graph" "$option" "$root" --target GL -o "$tmp/gl/" >/dev/null 2>"$tmp/err"
  base=$(basename "$graph" .xovl)
  check "$name: the link's GL text matches the golden" \
    "cmp -s \"$inputs/$name.vert\" \"$tmp/gl/$base.vert\" && cmp -s \"$inputs/$name.frag\" \"$tmp/gl/$base.frag\""
done <"$inputs/linked.txt"

# Every node and compound: printed, checked, and compiled both ways to the same texts.
roots() {
  "$vornc" graph "$1" | awk '
    /^classes$/ { part = "classes"; next } /^nodes$/ { part = "nodes"; next }
    part == "classes" && / \(compound\)$/ { print "--class", $1 }
    part == "nodes" && /^  [A-Za-z_][A-Za-z0-9_]* : / { print "--node", $1 }'
}
count=0
for graph in "$source_dir"/examples/*.xovl "$source_dir"/tests/data/link/*.xovl "$source_dir"/tests/data/graph_file/compound.xovl; do
  while read -r option root; do
    count=$((count + 1))
    label="$(basename "$graph") $option $root"
    "$vornc" link "$graph" "$option" "$root" >"$tmp/p.ovl" 2>"$tmp/err"
    check "$label: links quietly" "[ $? -eq 0 ] && [ ! -s \"$tmp/err\" ]"
    "$vornc" check "$tmp/p.ovl" 2>"$tmp/err"
    check "$label: the printed source checks with no diagnostic" "[ $? -eq 0 ] && [ ! -s \"$tmp/err\" ]"
    for target in GL FX; do
      rm -rf "$tmp/a" "$tmp/b"
      "$vornc" compile "$graph" "$option" "$root" --target $target -o "$tmp/a/" >/dev/null 2>&1
      "$vornc" compile "$tmp/p.ovl" --target $target -o "$tmp/b/" >/dev/null 2>&1
      for made in "$tmp"/a/*; do
        check "$label: $target $(basename "$made") is made" "[ -s \"$made\" ]"
        check "$label: $target text of the link and of its printed source agree" \
          "cmp -s \"$made\" \"$tmp/b/p.${made##*.}\""
        [ $target = GL ] && check "$label: glslangValidator takes the GL text $(basename "$made")" \
          "glslangValidator -d \"$made\" >\"$tmp/glslang\" 2>&1 || { cat \"$tmp/glslang\"; false; }"
      done
    done
  done < <(roots "$graph")
done
check "the graphs have roots to link ($count)" "[ $count -ge 10 ]"

# Misuse and failure.
tiles="$source_dir/examples/tinted_tiles.xovl"
err=$("$vornc" link "$tiles" --node nowhere 2>&1 >/dev/null); status=$?
check "an unknown node fails, naming the nodes there are" "[ $status -eq 1 ] && grep -q \"no node 'nowhere'; the file has floor, edge and surface\" <<<\"\$err\""
err=$("$vornc" link "$tiles" --class Nothing 2>&1 >/dev/null)
check "an unknown class fails, naming the classes" "[ $? -eq 1 ] && grep -q \"no class 'Nothing'; the file has .*Tinted_tiles\" <<<\"\$err\""
"$vornc" link "$tiles" >/dev/null 2>&1; check "link without --node or --class is a misuse" "[ $? -eq 2 ]"
"$vornc" link "$tiles" --node floor --class Rim >/dev/null 2>&1; check "link with both is a misuse" "[ $? -eq 2 ]"
"$vornc" link >/dev/null 2>&1; check "link without a file is a misuse" "[ $? -eq 2 ]"
err=$("$vornc" link "$tmp/none.xovl" --node a 2>&1 >/dev/null)
check "a missing graph file fails" "[ $? -eq 1 ] && grep -q 'cannot read the graph file' <<<\"\$err\""
"$vornc" compile "$tiles" --node floor >/dev/null 2>&1; check "compile of a node without --target is a misuse" "[ $? -eq 2 ]"
out=$("$vornc" link "$tiles" --node floor -o "$tmp/out.ovl"); status=$?
check "link -o writes the file and nothing on standard output" "[ $status -eq 0 ] && [ -z \"\$out\" ] && grep -q '^shader Tinted_tiles' \"$tmp/out.ovl\""
out=$("$vornc" compile "$tiles" --node floor --target FX -o -); status=$?
check "compile of a node writes FX to standard output" "[ $status -eq 0 ] && grep -q 'technique' <<<\"\$out\""
# A source of the graph with an error: the class cannot be linked, and the read says why.
sed 's/result = base/result = nothing/' "$source_dir/examples/rim.ovl" >"$tmp/rim.ovl"
cp "$source_dir/examples/checker.ovl" "$tmp/"
cp "$tiles" "$tmp/tiles.xovl"
err=$("$vornc" link "$tmp/tiles.xovl" --node edge 2>&1 >/dev/null)
check "a node whose source has errors fails with the source's diagnostic" "[ $? -eq 1 ] && grep -q 'nothing' <<<\"\$err\""

# Render export: the lights of --lights unroll the loops; the printed export and its GL text are
# those of the export goldens of vorn_gen_tool (tests/scripts/export_golden.sh).
lit="$source_dir/examples/lit_phong.xovl"
gen="$source_dir/tests/data/gen"
"$vornc" link "$lit" --node surface --lights "key, sun" >"$tmp/lit.ovl" 2>"$tmp/err"
check "link --lights prints the export golden" \
  "[ $? -eq 0 ] && [ ! -s \"$tmp/err\" ] && diff -u \"$gen/expected_ovl/examples/lit_phong.surface.key_sun.ovl\" \"$tmp/lit.ovl\""
rm -rf "$tmp/lit"
"$vornc" compile "$lit" --node surface --lights key,sun --target GL -o "$tmp/lit/" >/dev/null 2>&1
check "compile --lights writes the export's GL golden" \
  "cmp -s \"$gen/expected_gl/examples/lit_phong.surface.key_sun.frag\" \"$tmp/lit/lit_phong.frag\""
check "without --lights the light loop stays" "[ \$(\"$vornc\" link \"$lit\" --node surface | grep -c 'foreach (light)') -eq 1 ]"
check "an empty --lights removes it" "! \"$vornc\" link \"$lit\" --node surface --lights '' | grep -q foreach"
err=$("$vornc" link "$lit" --node surface --lights key,nope 2>&1 >/dev/null)
check "an unknown light fails, naming the nodes" "[ $? -eq 1 ] && grep -q \"no light node 'nope'; the file has key, lamp, sun and surface\" <<<\"\$err\""
err=$("$vornc" link "$lit" --node surface --environment nowhere 2>&1 >/dev/null)
check "an unknown environment fails" "[ $? -eq 1 ] && grep -q \"no environment node 'nowhere'\" <<<\"\$err\""

exit $fail
