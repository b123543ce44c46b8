#!/usr/bin/env bash
# vornc in the conventions of other compilers: -I, -D/-U, -E, -M/-MF/--depfile driving a real
# make, standard input, -o FILE/-o -/-o DIR, --target, option checks, -Werror/-w, --version.
set -uo pipefail
build=$1
source=$2
vornc="$build/vornc"
fail=0
check() { if ! eval "$2"; then echo "FAILED: $1"; fail=1; fi; }

tmp=$(mktemp -d)
trap 'rm -rf "$tmp"' EXIT
mkdir -p "$tmp/inc" "$tmp/src"
good='shader S { input: Color c = Color(1, 0, 0, 1); output: Color result;
void main() { result = c * LEVEL; } };'
printf '#define LEVEL 0.5\n' > "$tmp/inc/level.ovl"
printf '#include <level.ovl>\n%s\n' "$good" > "$tmp/src/main.ovl"

# --version names the library's interface version.
out=$("$vornc" --version); check "--version exits 0" "[ $? -eq 0 ]"
check "--version names vornc's version" "grep -Eq '^vornc [0-9]+\.[0-9]+' <<<\"\$out\""
check "--version names the interface version" "grep -qx 'library interface version 1' <<<\"\$out\""

# -I: after the including file's directory; --path still replaces the whole search path.
err=$("$vornc" check "$tmp/src/main.ovl" 2>&1); status=$?
check "a missing include is a warning at the directive" "[ $status -eq 1 ] && grep -qx \"Warning in file '$tmp/src/main.ovl' line 1: cannot open included file \\\"level.ovl\\\"\" <<<\"\$err\""
err=$("$vornc" -I "$tmp/inc" check "$tmp/src/main.ovl" 2>&1); status=$?
check "-I DIR finds the include" "[ $status -eq 0 ] && [ -z \"\$err\" ]"
err=$(cd "$tmp/src" && "$vornc" --path "$tmp/inc" check ./main.ovl 2>&1); status=$?
check "--path does not hide a file named on the command line" "[ $status -eq 0 ] && [ -z \"\$err\" ]"
err=$("$vornc" -I"$tmp/none" -I"$tmp/inc" check "$tmp/src/main.ovl" 2>&1)
check "-I is repeatable, attached to its value" "[ $? -eq 0 ]"

# -D and -U.
printf 'shader S { output: Color result; void main() { result = Color(WEIGHT, 0, 0, 1); } };\n' > "$tmp/d.ovl"
"$vornc" check "$tmp/d.ovl" 2>/dev/null; check "an undefined macro is an error" "[ $? -eq 1 ]"
"$vornc" -D WEIGHT=0.25 check "$tmp/d.ovl"; check "-D NAME=VALUE defines it" "[ $? -eq 0 ]"
"$vornc" -DWEIGHT check "$tmp/d.ovl"; check "-DNAME defines it as 1" "[ $? -eq 0 ]"
"$vornc" -DWEIGHT -UWEIGHT check "$tmp/d.ovl" 2>/dev/null; check "-U after -D removes it" "[ $? -eq 1 ]"
printf 'shader S { output: Color result; void main() { result = Color(PI, 0, 0, 1); } };\n' > "$tmp/pi.ovl"
err=$("$vornc" -U PI check "$tmp/pi.ovl" 2>&1)
check "-U removes a prelude macro" "grep -q 'unknown variable: \"PI\"' <<<\"\$err\""
err=$("$vornc" -D 9X=1 check "$tmp/d.ovl" 2>&1); status=$?
check "-D of no identifier is a misuse" "[ $status -eq 2 ] && grep -q \"not '9X=1'\" <<<\"\$err\""
err=$("$vornc" -D 'X=(1)' check "$tmp/d.ovl" 2>&1); status=$?
check "-D of a body the language reads as parameters is refused" "[ $status -eq 2 ] && grep -q 'refuses the macro X' <<<\"\$err\""

# Standard input, named <stdin> in messages.
out=$(printf '%s\n' "$good" | "$vornc" -D LEVEL=1.0 compile - --target FX -o -); status=$?
check "compile - reads standard input and -o - writes the program there" "[ $status -eq 0 ] && grep -q '^technique T0' <<<\"\$out\""
err=$(printf 'Scalar a = b;\n' | "$vornc" check - 2>&1)
check "standard input is named <stdin>" "grep -qx \"Error in file '<stdin>' line 1: unknown variable: \\\"b\\\"\" <<<\"\$err\""

# -E: the preprocessed text compiles to the same programs as the source.
"$vornc" -I "$tmp/inc" -E "$tmp/src/main.ovl" > "$tmp/flat.ovl"; status=$?
check "-E exits 0" "[ $status -eq 0 ]"
check "-E expands macros and inlines includes" "! grep -q 'LEVEL\|#include' \"$tmp/flat.ovl\" && grep -q 'c \* 0.5' \"$tmp/flat.ovl\""
"$vornc" -I "$tmp/inc" compile "$tmp/src/main.ovl" --target GL -o "$tmp/a/" >/dev/null
"$vornc" compile "$tmp/flat.ovl" --target GL -o "$tmp/b/" >/dev/null
check "-E output compiles to the same vertex program" "cmp -s \"$tmp/a/main.vert\" \"$tmp/b/flat.vert\""
check "-E output compiles to the same fragment program" "cmp -s \"$tmp/a/main.frag\" \"$tmp/b/flat.frag\""
glslangValidator -d -S frag "$tmp/a/main.frag" "$source/data/vorn_companion.glsl" >/dev/null
check "that fragment program is valid GLSL" "[ $? -eq 0 ]"
"$vornc" -E -I "$tmp/inc" "$tmp/src/main.ovl" -o "$tmp/flat2.ovl"
check "-E -o FILE writes the text there" "cmp -s \"$tmp/flat.ovl\" \"$tmp/flat2.ovl\""
printf 'Scalar a;\n#if 1/0\n#endif\n' > "$tmp/bad_if.ovl"
out=$("$vornc" -E "$tmp/bad_if.ovl" 2>"$tmp/err"); status=$?
check "-E of a faulty directive exits 1 with the error and no text" "[ $status -eq 1 ] && [ -z \"\$out\" ] && grep -q 'line 2: error evaluating macro expression' \"$tmp/err\""

# -o: a file for one program, a directory made when missing, - for one program only.
out=$("$vornc" compile "$tmp/d.ovl" -D WEIGHT=1 --target FX -o "$tmp/named.fx")
check "-o FILE for one program writes that file" "[ \"\$out\" = \"$tmp/named.fx\" ] && [ -s \"$tmp/named.fx\" ]"
out=$("$vornc" compile "$tmp/d.ovl" -D WEIGHT=1 --target GL -o "$tmp/new/deeper")
check "-o DIR is made when missing for several programs" "[ -s \"$tmp/new/deeper/d.vert\" ] && [ -s \"$tmp/new/deeper/d.frag\" ]"
err=$("$vornc" compile "$tmp/d.ovl" -D WEIGHT=1 --target GL -o - 2>&1); status=$?
check "-o - with two programs is a misuse" "[ $status -eq 2 ] && grep -q 'one program; this one has 2' <<<\"\$err\""

# --target: required, both spellings, the library's list in messages.
err=$("$vornc" compile "$tmp/d.ovl" -D WEIGHT=1 2>&1); status=$?
check "compile without --target says so" "[ $status -eq 2 ] && grep -q '^vornc: compile needs --target; the targets are .*FX' <<<\"\$err\""
out=$("$vornc" compile "$tmp/d.ovl" -D WEIGHT=1 --target=FX -o "$tmp/eq/")
check "--target=FX is accepted, -o DIR/ names a directory" "[ \$? -eq 0 ] && [ -s \"$tmp/eq/d.fx\" ]"
targets=$("$vornc" targets | tr '\n' ' ')
check "targets lists FX and GL" "grep -q 'FX' <<<\"\$targets\" && grep -q 'GL' <<<\"\$targets\""

# Options checked against the target's table: a warning, an error under -Werror, silent under -w.
err=$("$vornc" compile "$tmp/d.ovl" -D WEIGHT=1 --target FX -o "$tmp/o1" --option bogus=1 --option format=GLSL --option shader_type=banana 2>&1); status=$?
check "unknown option keys and values are warnings" "[ $status -eq 0 ] && [ \$(grep -c '^Warning in vornc: ' <<<\"\$err\") -eq 3 ]"
check "the warning names the key" "grep -q \"the FX target reads no option 'bogus'\" <<<\"\$err\""
check "the warning names the values" "grep -q \"option 'format' takes HLSL or CgFX, not 'GLSL'\" <<<\"\$err\""
err=$("$vornc" -Werror compile "$tmp/d.ovl" -D WEIGHT=1 --target FX -o "$tmp/o2" --option bogus=1 2>&1); status=$?
check "-Werror makes an unknown option an error" "[ $status -eq 1 ] && grep -q '^Error in vornc: ' <<<\"\$err\" && [ ! -e \"$tmp/o2/d.fx\" ]"
err=$("$vornc" -w compile "$tmp/d.ovl" -D WEIGHT=1 --target FX -o "$tmp/o3" --option bogus=1 2>&1 >/dev/null); status=$?
check "-w silences warnings" "[ $status -eq 0 ] && [ -z \"\$err\" ]"
err=$("$vornc" compile "$tmp/d.ovl" -D WEIGHT=1 --target GL -o "$tmp/o4" --option format=HLSL 2>&1)
check "keys of another target are unknown to GL" "grep -q \"the GL target reads no option 'format'\" <<<\"\$err\""
printf '#include <absent.ovl>\nScalar a = 1.0;\n' > "$tmp/warns.ovl"
"$vornc" check "$tmp/warns.ovl" 2>/dev/null; check "an include warning alone passes the check" "[ \$? -eq 0 ]"
"$vornc" -Werror check "$tmp/warns.ovl" 2>/dev/null; check "-Werror makes an include warning fail the check" "[ \$? -eq 1 ]"
err=$("$vornc" -w check "$tmp/warns.ovl" 2>&1); check "-w prints no warning" "[ \$? -eq 0 ] && [ -z \"\$err\" ]"

# --shader of no such shader lists the shaders.
err=$("$vornc" compile "$tmp/d.ovl" -D WEIGHT=1 --target FX --shader Nope -o "$tmp/o5" 2>&1); status=$?
check "--shader Nope lists the shaders" "[ $status -eq 1 ] && grep -q \"no shader 'Nope'; the file declares S\" <<<\"\$err\""

# A depfile read by a real make: it rebuilds after an included file changes, and only then.
cat > "$tmp/Makefile" <<MAKE
out/main.fx: src/main.ovl
	"$vornc" -I inc compile src/main.ovl --target FX -o out/main.fx --depfile out/main.d
	echo built >> log
-include out/main.d
MAKE
(cd "$tmp" && make -s >/dev/null 2>&1); check "make builds the first time" "[ -s \"$tmp/out/main.fx\" ] && [ \$(wc -l < \"$tmp/log\") -eq 1 ]"
check "the depfile names the include" "grep -q 'inc/level.ovl' \"$tmp/out/main.d\""
(cd "$tmp" && make -s >/dev/null 2>&1); check "make does nothing when nothing changed" "[ \$(wc -l < \"$tmp/log\") -eq 1 ]"
touch "$tmp/unrelated.ovl"; (cd "$tmp" && make -s >/dev/null 2>&1)
check "make does nothing when another file changed" "[ \$(wc -l < \"$tmp/log\") -eq 1 ]"
sleep 1; printf '#define LEVEL 0.75\n' > "$tmp/inc/level.ovl"; (cd "$tmp" && make -s >/dev/null 2>&1)
check "make rebuilds when the included file changed" "[ \$(wc -l < \"$tmp/log\") -eq 2 ] && grep -q '0.75' \"$tmp/out/main.fx\""
rm "$tmp/inc/level.ovl"; printf '%s\n' "$good" | sed 's/LEVEL/0.5/' > "$tmp/src/main.ovl"
(cd "$tmp" && make -s >/dev/null 2>&1); check "a removed include does not stop make" "[ \$? -eq 0 ] && [ \$(wc -l < \"$tmp/log\") -eq 3 ]"
out=$(cd "$tmp" && "$vornc" -I inc -M compile src/main.ovl --target GL -o out2)
check "-M prints the rule for both programs and writes nothing" "grep -q '^out2/main.vert out2/main.frag:' <<<\"\$out\" && [ ! -e \"$tmp/out2\" ]"

# Misuses of the new options.
"$vornc" --diagnostics=xml check "$tmp/d.ovl" 2>/dev/null; check "--diagnostics of an unknown form exits 2" "[ $? -eq 2 ]"
"$vornc" --color=sometimes check "$tmp/d.ovl" 2>/dev/null; check "--color of an unknown choice exits 2" "[ $? -eq 2 ]"
"$vornc" -I 2>/dev/null; check "-I without a directory exits 2" "[ $? -eq 2 ]"
"$vornc" --depfile x.d check "$tmp/d.ovl" 2>/dev/null; check "--depfile with check exits 2" "[ $? -eq 2 ]"
exit $fail
