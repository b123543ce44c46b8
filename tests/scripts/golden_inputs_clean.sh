#!/usr/bin/env bash
# Every input of the generator golden files (tests/data/gen, its expected_gl/inputs, and the
# examples) is a program that the library accepts without a single diagnostic, so that no golden
# text stands for a unit that a host could never get. vornc check runs from the input's folder
# so that its imports are found there; any line on standard error or a non-zero exit fails.
# Usage: golden_inputs_clean.sh BUILD_DIR SOURCE_DIR
set -uo pipefail
build=$(cd "$1" && pwd)
source_dir=$(cd "$2" && pwd)
vornc="$build/vornc"
fail=0
count=0
for input in "$source_dir"/tests/data/gen/*.ovl "$source_dir"/tests/data/gen/expected_gl/inputs/*.ovl \
    "$source_dir"/examples/*.ovl; do
  [ -e "$input" ] || continue
  count=$((count + 1))
  err=$(cd "$(dirname "$input")" && "$vornc" check "$(basename "$input")" 2>&1 >/dev/null)
  status=$?
  if [ $status -ne 0 ] || [ -n "$err" ]; then
    echo "FAILED: $input has diagnostics (exit $status):"
    echo "$err"
    fail=1
  fi
done
# The check itself must see a diagnostic when there is one.
tmp=$(mktemp -d)
trap 'rm -rf "$tmp"' EXIT
printf 'shader S { output: Color result;\nvoid main() { result = missing; } };\n' >"$tmp/bad.ovl"
err=$(cd "$tmp" && "$vornc" check bad.ovl 2>&1 >/dev/null)
if [ -z "$err" ]; then
  echo "FAILED: vornc check reports nothing for a program with an unknown variable"
  fail=1
fi
[ "$count" -ge 15 ] || { echo "FAILED: only $count golden inputs found"; fail=1; }
echo "$count golden inputs checked"
exit $fail
