#!/usr/bin/env bash
# vornc's three forms of diagnostics over files with several errors and warnings; the JSON form
# read by a real JSON parser. Also check and compile of a file with nothing to compile, and
# dump-tree with errors.
set -uo pipefail
build=$1
vornc="$build/vornc"
fail=0
check() { if ! eval "$2"; then echo "FAILED: $1"; fail=1; fi; }

tmp=$(mktemp -d)
trap 'rm -rf "$tmp"' EXIT
# Two includes that fail (warnings) and three semantic errors, at known lines and columns.
printf 'Scalar x = ;\n' > "$tmp/broken.ovl"
cat > "$tmp/many.ovl" <<'OVL'
#include <absent.ovl>
  #include <broken.ovl>
shader S { output: Color result;
  void main() { result = first_missing; }
  void other() { Scalar s = second_missing + 1.0; }
};
Int i = 1.5;
OVL

err=$("$vornc" check "$tmp/many.ovl" 2>&1); status=$?
check "check with errors exits 1" "[ $status -eq 1 ]"
check "text form: the library's messages as they are" "grep -qx \"Error in file '$tmp/many.ovl' line 4: unknown variable: \\\"first_missing\\\"\" <<<\"\$err\""
check "text form: warnings with the file and line of the directive" "grep -qx \"Warning in file '$tmp/many.ovl' line 2: included file \\\"broken.ovl\\\" left out: Error in file 'broken.ovl' line 1: syntax error: .*\" <<<\"\$err\""
check "text form: five diagnostics, nothing else" "[ \$(wc -l <<<\"\$err\") -eq 5 ]"

err=$("$vornc" --diagnostics=gcc check "$tmp/many.ovl" 2>&1)
check "gcc form: error with line and column" "grep -qx \"$tmp/many.ovl:4:26: error: unknown variable: \\\"first_missing\\\"\" <<<\"\$err\""
check "gcc form: warning at the directive's column" "grep -qx \"$tmp/many.ovl:2:3: warning: included file \\\"broken.ovl\\\" left out: .*\" <<<\"\$err\""
check "gcc form: warning for the missing file at column 1" "grep -qx \"$tmp/many.ovl:1:1: warning: cannot open included file \\\"absent.ovl\\\"\" <<<\"\$err\""
check "gcc form: every line parses as FILE:LINE:COLUMN: KIND: MESSAGE" "[ \$(grep -Ec '^[^:]+:[0-9]+:[0-9]+: (error|warning): .+' <<<\"\$err\") -eq 5 ]"

"$vornc" --diagnostics=json check "$tmp/many.ovl" 2>"$tmp/json" >/dev/null
python3 - "$tmp/json" "$tmp/many.ovl" <<'PY' || { echo "FAILED: json form"; fail=1; }
import json, sys
records = [json.loads(line) for line in open(sys.argv[1])]
keys = {"file", "line", "column", "number", "severity", "message", "text"}
assert all(set(r) == keys for r in records), records
errors = [r for r in records if r["severity"] == "error"]
warnings = [r for r in records if r["severity"] == "warning"]
assert len(errors) == 3 and len(warnings) == 2, records
assert [(r["line"], r["column"]) for r in warnings] == [(1, 1), (2, 3)], warnings
first = next(r for r in errors if "first_missing" in r["message"])
assert first == {"file": sys.argv[2], "line": 4, "column": 26, "number": 7, "severity": "error",
                 "message": 'unknown variable: "first_missing"',
                 "text": "Error in file '%s' line 4: unknown variable: \"first_missing\"" % sys.argv[2]}, first
assert all(r["number"] == 0 for r in warnings)
assert sorted(r["line"] for r in errors) == [4, 5, 7], errors
PY
printf 'Scalar a = "tab\\there";\nScalar b = c;\n' > "$tmp/quote'd.ovl"
"$vornc" --diagnostics=json check "$tmp/quote'd.ovl" 2>"$tmp/json2" >/dev/null
python3 -c "import json,sys; [json.loads(l) for l in open(sys.argv[1])]" "$tmp/json2"
check "json form: names with quotes parse" "[ $? -eq 0 ]"

# Colour only when asked for or on a terminal.
err=$("$vornc" --color=always --diagnostics=gcc check "$tmp/many.ovl" 2>&1)
check "--color=always colours" "grep -q $'\033\\[1;31merror' <<<\"\$err\""
err=$("$vornc" --diagnostics=gcc check "$tmp/many.ovl" 2>&1)
check "no colour into a pipe" "! grep -q $'\033' <<<\"\$err\""
err=$("$vornc" --color=always --diagnostics=json check "$tmp/many.ovl" 2>&1)
check "never colour in JSON" "! grep -q $'\033' <<<\"\$err\""

# A file with no declarations: nothing to check, something to say; compile of it fails.
printf '// only a comment\n' > "$tmp/empty.ovl"
err=$("$vornc" check "$tmp/empty.ovl" 2>&1); status=$?
check "check of a file with no declarations exits 0 with a warning" "[ $status -eq 0 ] && grep -qx \"Warning in file '$tmp/empty.ovl': nothing to compile (no declarations)\" <<<\"\$err\""
err=$("$vornc" compile "$tmp/empty.ovl" --target FX -o "$tmp/out" 2>&1); status=$?
check "compile of a file with no declarations is an error" "[ $status -eq 1 ] && grep -q 'Error in file .*nothing to compile' <<<\"\$err\""

# dump-tree with errors prints what the parser built, with each error beside its line.
cat > "$tmp/faulty.ovl" <<'OVL'
Scalar kept = 1.0;
Scalar broken = ;
shader S { output: Color result;
  void main() { result = missing; } };
OVL
out=$("$vornc" dump-tree "$tmp/faulty.ovl" 2>/dev/null); status=$?
check "dump-tree with a syntax error exits 1" "[ $status -eq 1 ]"
check "dump-tree still prints the declarations kept" "grep -q '^VARIABLE_DECLARATION' <<<\"\$out\" && grep -q '^CLASS_DECLARATION \"shader\"' <<<\"\$out\""
check "the syntax error stands after the tree (no node is on its line)" "grep -q '^<-- error: .*line 2: syntax error' <<<\"\$out\""
sed -i 's/Scalar broken = ;/Scalar broken = 2.0;/' "$tmp/faulty.ovl"
out=$("$vornc" dump-tree "$tmp/faulty.ovl" 2>/dev/null); status=$?
check "dump-tree with a semantic error exits 1" "[ $status -eq 1 ]"
check "the error stands beside the first node of its line" "grep -q '^      FUNCTION_DEFINITION.*<-- error: unknown variable: \"missing\"' <<<\"\$out\""
exit $fail
