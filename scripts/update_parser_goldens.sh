#!/usr/bin/env bash
# Regenerates the parser golden files tests/data/parser/expected/NAME.txt from NAME.ovl.
# By default it prints a unified diff for every file that changed and keeps the actual output
# in BUILD_DIR/parser_goldens/; with --update it overwrites the expected files. Review the change
# with git diff, and check each new expectation by hand against the grammar before committing.
#
# usage: scripts/update_parser_goldens.sh [--update] [--build BUILD_DIR] [NAME...]
set -euo pipefail
cd "$(dirname "$0")/.."

update=0
build_dir=build
names=()
while [ $# -gt 0 ]; do
  case "$1" in
    --update) update=1 ;;
    --build) shift; build_dir=${1:?--build needs a directory} ;;
    -h|--help) sed -n '2,8p' "$0"; exit 0 ;;
    -*) echo "unknown option $1" >&2; exit 2 ;;
    *) names+=("${1%.ovl}") ;;
  esac
  shift
done

data=tests/data/parser
if [ ! -d "$build_dir" ]; then
  cmake -S . -B "$build_dir" -G Ninja >/dev/null
fi
cmake --build "$build_dir" --target vorn_dump_tree -- -j2 >/dev/null
tool=$(cd "$build_dir" && pwd)/tools/dump_tree/vorn_dump_tree
actual_dir="$build_dir/parser_goldens"
mkdir -p "$actual_dir" "$data/expected"

if [ ${#names[@]} -eq 0 ]; then
  for input in "$data"/*.ovl; do
    names+=("$(basename "$input" .ovl)")
  done
fi

changed=0
for name in "${names[@]}"; do
  if [ ! -f "$data/$name.ovl" ]; then
    echo "no input $data/$name.ovl" >&2
    exit 2
  fi
  actual="$actual_dir/$name.txt"
  status=0
  (cd "$data" && "$tool" "$name.ovl") >"$actual" || status=$?
  if [ "$status" -gt 1 ]; then
    echo "vorn_dump_tree crashed on $name.ovl (exit $status)" >&2
    exit 1
  fi
  expected="$data/expected/$name.txt"
  if [ -f "$expected" ] && cmp -s "$expected" "$actual"; then
    continue
  fi
  changed=$((changed + 1))
  if [ "$update" -eq 1 ]; then
    cp "$actual" "$expected"
    echo "updated $expected"
  else
    diff -u --label "$expected" --label "$actual" "${expected}" "$actual" 2>/dev/null || \
      { [ -f "$expected" ] || { echo "new: $name (actual in $actual)"; cat "$actual"; }; }
  fi
done

if [ "$update" -eq 0 ] && [ "$changed" -gt 0 ]; then
  echo "$changed file(s) differ; actual output kept in $actual_dir; rerun with --update to accept"
fi
