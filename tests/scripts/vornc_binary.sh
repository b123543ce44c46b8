#!/usr/bin/env bash
# vornc with binary compiled files: --save-binary, a .bovl file as input, and refusals of files
# that are cut short, changed or foreign.
set -uo pipefail
build=$1
source_dir=$2
vornc="$build/vornc"
fail=0
check() { if ! eval "$2"; then echo "FAILED: $1"; fail=1; fi; }

tmp=$(mktemp -d)
mkdir -p "$tmp/src" "$tmp/bin"
for example in "$source_dir"/examples/*.ovl; do
  name=$(basename "$example" .ovl)
  out=$("$vornc" compile "$example" --save-binary "$tmp/$name.bovl"); status=$?
  check "$name: --save-binary alone writes the file and names it" "[ $status -eq 0 ] && [ \"\$out\" = \"$tmp/$name.bovl\" ] && [ -s \"$tmp/$name.bovl\" ]"
  for target in FX GL; do
    "$vornc" compile "$example" --target $target -o "$tmp/src" >/dev/null
    err=$("$vornc" compile "$tmp/$name.bovl" --target $target -o "$tmp/bin" 2>&1 >/dev/null); status=$?
    check "$name: $target from the binary file exits 0 quietly" "[ $status -eq 0 ] && [ -z \"\$err\" ]"
  done
  for file in "$tmp/src/$name".*; do
    check "$name: $(basename "$file") is the same from source and from the binary file" "cmp -s \"$file\" \"$tmp/bin/$(basename "$file")\""
  done
done

out=$("$vornc" compile "$source_dir/examples/phong.ovl" --save-binary "$tmp/both.bovl" --target FX -o "$tmp"); status=$?
check "--save-binary with --target does both" "[ $status -eq 0 ] && [ -s \"$tmp/both.bovl\" ] && [ -s \"$tmp/phong.fx\" ]"

head -c 300 "$tmp/phong.bovl" > "$tmp/cut.bovl"
err=$("$vornc" compile "$tmp/cut.bovl" --target FX -o "$tmp" 2>&1); status=$?
check "a file cut short is refused with its message" "[ $status -eq 1 ] && grep -q 'failed to read footer of' <<<\"\$err\" && grep -q 'not a usable binary compiled file' <<<\"\$err\""
cp "$tmp/phong.bovl" "$tmp/changed.bovl"
size=$(stat -c %s "$tmp/changed.bovl")
printf '\x5a' | dd of="$tmp/changed.bovl" bs=1 seek=$((size / 2)) conv=notrunc 2>/dev/null
err=$("$vornc" compile "$tmp/changed.bovl" --target GL -o "$tmp" 2>&1); status=$?
check "a changed file is refused" "[ $status -eq 1 ] && grep -q 'not a usable binary compiled file' <<<\"\$err\""
head -c 4000 /dev/urandom > "$tmp/noise.bovl"
err=$("$vornc" compile "$tmp/noise.bovl" --target FX -o "$tmp" 2>&1); status=$?
check "a foreign file is refused at its magic number" "[ $status -eq 1 ] && grep -q 'Magic number does not match.' <<<\"\$err\""
printf '\x57\xea\x01\x01' > "$tmp/newer.bovl"; head -c 124 /dev/zero >> "$tmp/newer.bovl"
err=$("$vornc" compile "$tmp/newer.bovl" --target FX -o "$tmp" 2>&1); status=$?
check "a newer minor version is refused with a warning" "[ $status -eq 1 ] && grep -q '^Warning in vornc: Minor version of file is greater than that of importer.' <<<\"\$err\""
err=$("$vornc" compile "$tmp/none.bovl" --target FX 2>&1); status=$?
check "a missing binary file is refused" "[ $status -eq 1 ] && grep -q \"can not find path '$tmp/none.bovl'\" <<<\"\$err\""
err=$("$vornc" compile "$source_dir/examples/phong.ovl" --save-binary /nonexistent/x.bovl 2>&1); status=$?
check "a file that cannot be written fails" "[ $status -eq 1 ] && grep -q 'failed to write header of /nonexistent/x.bovl' <<<\"\$err\""
"$vornc" compile "$tmp/phong.bovl" --save-binary "$tmp/x.bovl" 2>/dev/null
check "--save-binary of a binary file is a usage error" "[ $? -eq 2 ]"
"$vornc" compile "$source_dir/examples/phong.ovl" --save-binary 2>/dev/null
check "--save-binary without a file is a usage error" "[ $? -eq 2 ]"
rm -rf "$tmp"
exit $fail
