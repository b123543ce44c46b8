#!/usr/bin/env bash
# Parser golden files: every tests/data/parser/NAME.ovl is dumped by vorn_dump_tree (diagnostics,
# then the tree) and must match tests/data/parser/expected/NAME.txt exactly. Each file is dumped
# twice, and the two outputs must be the same. Usage: parser_golden.sh BUILD_DIR SOURCE_DIR
set -u

build_dir=${1:?usage: parser_golden.sh BUILD_DIR SOURCE_DIR}
source_dir=$(cd "${2:?usage: parser_golden.sh BUILD_DIR SOURCE_DIR}" && pwd)
tool="$(cd "$build_dir" 2>/dev/null && pwd)/tools/dump_tree/vorn_dump_tree"
data="$source_dir/tests/data/parser"
. "$source_dir/tests/scripts/lib/golden_common.sh"
require_tool
make_work

# Runs the tool on one input from inside the data directory, so that messages name the file
# without a path. Exit codes 0 and 1 are results; anything else is a crash.
dump() {
  (cd "$data" && "$tool" "$1") >"$2" 2>"$work/stderr"
  local status=$?
  if [ "$status" -gt 1 ]; then
    echo "FAIL: $1: vorn_dump_tree exited with $status" >&2
    cat "$work/stderr" >&2
    return 1
  fi
}

failures=0
count=0
for input in "$data"/*.ovl; do
  name=$(basename "$input" .ovl)
  count=$((count + 1))
  expected="$data/expected/$name.txt"
  if ! dump "$name.ovl" "$work/$name.first" || ! dump "$name.ovl" "$work/$name.second"; then
    failures=$((failures + 1))
    continue
  fi
  if ! cmp -s "$work/$name.first" "$work/$name.second"; then
    echo "FAIL: $name: two runs gave different output" >&2
    failures=$((failures + 1))
    continue
  fi
  if [ ! -f "$expected" ]; then
    echo "FAIL: $name: no expected file $expected" >&2
    failures=$((failures + 1))
    continue
  fi
  if ! diff -u "$expected" "$work/$name.first"; then
    echo "FAIL: $name differs from its expected output" >&2
    failures=$((failures + 1))
  fi
done

finish "$data" "parser golden files match"
