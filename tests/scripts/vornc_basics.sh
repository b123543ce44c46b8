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

"$vornc" frobnicate 2>/dev/null; check "unknown command exits 2" "[ $? -eq 2 ]"
"$vornc" 2>/dev/null; check "no command exits 2" "[ $? -eq 2 ]"
"$vornc" --path 2>/dev/null; check "--path without a value exits 2" "[ $? -eq 2 ]"
rm -rf "$tmp"
exit $fail
