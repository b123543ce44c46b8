#!/usr/bin/env bash
# vornc graph: the listing of the example graph files, their drawing in the dot language (which
# Graphviz's dot must read, with the wires expected), and the exit status of files that go wrong.
set -uo pipefail
build=$1
source_dir=$2
vornc="$build/vornc"
fail=0
check() { if ! eval "$2"; then echo "FAILED: $1"; fail=1; fi; }
has_line() { grep -qxF -- "$1" <<<"$2"; }

tmp=$(mktemp -d)
trap 'rm -rf "$tmp"' EXIT

for example in "$source_dir"/examples/*.xovl; do
  name=$(basename "$example" .xovl)
  out=$("$vornc" graph "$example" 2>"$tmp/err"); status=$?
  check "$name: listed with status 0 and nothing on standard error" "[ $status -eq 0 ] && [ ! -s \"$tmp/err\" ]"
  "$vornc" graph "$example" --dot >"$tmp/$name.dot" 2>"$tmp/err"; status=$?
  check "$name: drawn with status 0" "[ $status -eq 0 ] && [ ! -s \"$tmp/err\" ]"
  check "$name: dot reads the drawing" "dot -Tplain \"$tmp/$name.dot\" >\"$tmp/$name.plain\" 2>\"$tmp/$name.dot.err\" && [ ! -s \"$tmp/$name.dot.err\" ]"
done

# The listing of the plain graph, line by line as the file says.
out=$("$vornc" graph "$source_dir/examples/glow_checker.xovl")
check "the sources are listed" "has_line '  $source_dir/examples/checker.ovl' \"\$out\" && has_line '  $source_dir/examples/rim.ovl' \"\$out\""
check "a class of a source with its parameters and defaults" "has_line '  Checker ($source_dir/examples/checker.ovl)' \"\$out\" && has_line '    in  Scalar repeat = 8' \"\$out\" && has_line '    in  Color color_a = 0.9 0.9 0.9 1' \"\$out\""
check "an intrinsic class in use is listed, unused ones are not" "has_line '  Math_Color_Add (intrinsic)' \"\$out\" && ! grep -q 'Math_Scalar_Add' <<<\"\$out\""
check "a node with its values" "has_line '  board : Checker' \"\$out\" && has_line '    in  Scalar repeat = 12' \"\$out\""
check "a node with its wires" "has_line '    in  Color left = 0 0 0 0 <- board.result' \"\$out\" && has_line '    in  Color right = 0 0 0 0 <- glow.result' \"\$out\""

# The drawing of the compound: its inner nodes in a cluster, wired to its interface.
plain=$(cat "$tmp/tinted_tiles.plain")
check "top-level wires are edges (dot quotes its keyword edge)" "grep -q '^edge floor surface ' <<<\"\$plain\" && grep -q '^edge \"edge\" surface ' <<<\"\$plain\""
check "an inner wire is an edge between inner nodes" "grep -q '^edge \"Tinted_tiles/tiles\" \"Tinted_tiles/tinted\" ' <<<\"\$plain\""
check "interface wires lead from the inputs and to the outputs" "grep -q '^edge \"Tinted_tiles/(inputs)\" \"Tinted_tiles/tiles\" ' <<<\"\$plain\" && grep -q '^edge \"Tinted_tiles/tinted\" \"Tinted_tiles/(outputs)\" ' <<<\"\$plain\""
check "the compound is a cluster" "grep -q 'subgraph \"cluster_' \"$tmp/tinted_tiles.dot\""
out=$("$vornc" graph "$source_dir/examples/tinted_tiles.xovl")
check "a compound lists its interface wires and inner nodes" "has_line '  Tinted_tiles (compound)' \"\$out\" && has_line '    out Color result = 0 0 0 0 <- tinted.result' \"\$out\" && has_line '    node tiles : Checker' \"\$out\" && has_line '      in  Scalar repeat = 8 <- .repeat' \"\$out\""

# Names that the dot language must quote.
cat >"$tmp/names.xovl" <<'XML'
<root><ovrel_code intrinsic_nodes="true"/>
<node name="a &quot;quoted&quot; \ name" class="Math_Scalar_Sin"/>
<node name="b-2 {x}" class="Math_Scalar_Cos"><input name="input"><attachment target_node="a &quot;quoted&quot; \ name" target_name="result"/></input></node>
</root>
XML
"$vornc" graph "$tmp/names.xovl" --dot >"$tmp/names.dot"; status=$?
check "odd names are drawn" "[ $status -eq 0 ] && dot -Tplain \"$tmp/names.dot\" 2>&1 | grep -q '^edge '"

# Files that go wrong: status 1, and the reason on standard error.
err=$("$vornc" graph "$tmp/none.xovl" 2>&1 >/dev/null); status=$?
check "a missing file" "[ $status -eq 1 ] && grep -q 'none.xovl' <<<\"\$err\""
printf '<root><ovrel_code intrinsic_nodes="true"/><node name="n" class="Nowhere"/><node name="m" class="Math_Scalar_Sin"/></root>' >"$tmp/lost.xovl"
out=$("$vornc" graph "$tmp/lost.xovl" 2>"$tmp/err"); status=$?
check "a node of an unknown class is dropped with its message, and the rest listed" "[ $status -eq 1 ] && grep -q \"Can not find node class 'Nowhere'\" \"$tmp/err\" && has_line '  m : Math_Scalar_Sin' \"\$out\""
printf 'shader Bad { output: Color result; void main() { result = nothing; } };\n' >"$tmp/bad.ovl"
printf '<root><ovrel_code file_name="bad.ovl"/></root>' >"$tmp/bad.xovl"
err=$("$vornc" graph "$tmp/bad.xovl" 2>&1 >/dev/null); status=$?
check "a source with errors: its diagnostics and status 1" "[ $status -eq 1 ] && grep -q 'bad.ovl' <<<\"\$err\""
printf '<root><node' >"$tmp/broken.xovl"
err=$("$vornc" graph "$tmp/broken.xovl" --dot 2>&1 >"$tmp/broken.dot"); status=$?
check "broken XML: expat's reason, status 1, and still a drawing dot reads" "[ $status -eq 1 ] && [ -n \"\$err\" ] && dot -Tplain \"$tmp/broken.dot\" >/dev/null"
"$vornc" graph 2>/dev/null
check "graph without a file is a usage error" "[ $? -eq 2 ]"

exit $fail
