#!/usr/bin/env bash
# vornc's help, version, path listing and argument errors.
set -uo pipefail
build=$1
vornc="$build/vornc"
fail=0
check() { if ! eval "$2"; then echo "FAILED: $1"; fail=1; fi; }

out=$("$vornc" --help); check "--help exits 0" "[ $? -eq 0 ]"
check "--help names the paths command" "grep -q 'paths' <<<\"\$out\""
out=$("$vornc" --version); check "--version prints a version" "grep -Eq '^vornc [0-9]+\.[0-9]+' <<<\"\$out\""

tmp=$(mktemp -d)
out=$(cd "$tmp" && "$vornc" --path "$tmp;$tmp/none;;\${@VORN_UNSET_VARIABLE}" paths)
check "--path entries are listed in order" "[ \"\$(sed -n 1p <<<\"\$out\")\" = \"$tmp\" ]"
check "missing directories are marked" "grep -qx \"$tmp/none (missing)\" <<<\"\$out\""
check "empty entries are skipped" "[ \$(wc -l <<<\"\$out\") -eq 2 ]"
out=$("$vornc" paths); check "default path ends in the library's shaders folder" "grep -q '/shaders\$' <<<\"\$out\""

printf 'shader S { input: Color c; output: Color result;\nvoid main() { result = c * 0.5; } };\n' > "$tmp/good.ovl"
printf 'shader S { output: Color result;\nvoid main() { result = d; } };\n' > "$tmp/bad.ovl"
out=$("$vornc" check "$tmp/good.ovl" 2>&1); check "check of a good file exits 0 quietly" "[ $? -eq 0 ] && [ -z \"\$out\" ]"
err=$("$vornc" check "$tmp/good.ovl" "$tmp/bad.ovl" 2>&1 >/dev/null); status=$?
check "check of a bad file exits 1" "[ $status -eq 1 ]"
check "check prints the diagnostic as the table has it" "grep -qx \"Error in file '$tmp/bad.ovl' line 2: unknown variable: \\\"d\\\"\" <<<\"\$err\""
out=$("$vornc" check "$tmp/bad.ovl" 2>/dev/null); check "check prints nothing on standard output" "[ -z \"\$out\" ]"
out=$("$vornc" --path "$tmp" check good.ovl 2>&1); check "check finds files through --path" "[ $? -eq 0 ]"
out=$("$vornc" dump-tree "$tmp/good.ovl"); check "dump-tree prints the shader's tree" "grep -q '^CLASS_DECLARATION \"shader\"' <<<\"\$out\" && grep -q '^        STATEMENT_BLOCK' <<<\"\$out\""
"$vornc" check 2>/dev/null; check "check without files exits 2" "[ $? -eq 2 ]"
: > "$tmp/empty.ovl"
err=$("$vornc" check "$tmp/empty.ovl" 2>&1); status=$?
check "an empty file passes the check with a warning, not silently" "[ $status -eq 0 ] && grep -q 'nothing to compile' <<<\"\$err\""
head -c 2000 /dev/urandom > "$tmp/noise.ovl"
# Noise that starts with a token no declaration starts with is left unread: a warning, exit 0.
err=$("$vornc" check "$tmp/noise.ovl" 2>&1 >/dev/null); status=$?
check "random bytes give diagnostics and exit 0 or 1" "[ $status -le 1 ] && [ -n \"\$err\" ]"

mkdir -p "$tmp/out"
out=$("$vornc" compile "$tmp/good.ovl" --target FX -o "$tmp/out"); status=$?
check "compile to FX exits 0 and prints the path written" "[ $status -eq 0 ] && [ \"\$out\" = \"$tmp/out/good.fx\" ]"
check "compile to FX writes an effect with a technique" "grep -q '^technique T0' \"$tmp/out/good.fx\""
out=$("$vornc" compile "$tmp/good.ovl" --target GL -o "$tmp/out"); status=$?
check "compile to GL writes a vertex and a fragment text" "[ $status -eq 0 ] && [ \"\$out\" = \"$tmp/out/good.vert
$tmp/out/good.frag\" ] && grep -q 'ftransform' \"$tmp/out/good.vert\" && grep -q 'gl_FragColor' \"$tmp/out/good.frag\""
err=$("$vornc" compile "$tmp/good.ovl" --target fx 2>&1); status=$?
check "a target differing in case is unknown, exit 2" "[ $status -eq 2 ] && grep -q \"unknown target 'fx'; the targets are .*FX\" <<<\"\$err\""
"$vornc" compile "$tmp/bad.ovl" --target FX -o "$tmp/out" 2>/dev/null; check "compile of a bad file exits 1" "[ $? -eq 1 ]"
"$vornc" compile "$tmp/good.ovl" --target FX --option novalue 2>/dev/null; check "--option without = exits 2" "[ $? -eq 2 ]"

err=$("$vornc" compile "$tmp/good.ovl" --target FX -o "$tmp/good.ovl/good.fx" 2>&1); status=$?
check "a program that cannot be written says why" "[ $status -eq 1 ] && grep -qx \"Error in file '$tmp/good.ovl/good.fx': cannot write: Not a directory\" <<<\"\$err\""
printf 'Scalar a;\n#if UNDEFINED_NAME\n#endif\n' > "$tmp/directive.ovl"
err=$("$vornc" check "$tmp/directive.ovl" 2>&1)
check "a preprocessor error is printed once" "[ \$(grep -c 'error evaluating macro expression' <<<\"\$err\") -eq 1 ]"

"$vornc" frobnicate 2>/dev/null; check "unknown command exits 2" "[ $? -eq 2 ]"
"$vornc" 2>/dev/null; check "no command exits 2" "[ $? -eq 2 ]"
"$vornc" --path 2>/dev/null; check "--path without a value exits 2" "[ $? -eq 2 ]"
rm -rf "$tmp"
exit $fail
