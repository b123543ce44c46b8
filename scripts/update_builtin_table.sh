#!/usr/bin/env bash
# Regenerates src/syntax_tree/builtin_table.inc from the declaration templates in
# src/syntax_tree/builtins.cpp. By default it prints a unified diff; with --update it overwrites
# the file. The unit tests fail while the table and the templates disagree.
#
# usage: scripts/update_builtin_table.sh [--update] [--build BUILD_DIR]
set -euo pipefail
cd "$(dirname "$0")/.."

update=0
build_dir=build
while [ $# -gt 0 ]; do
  case "$1" in
    --update) update=1 ;;
    --build) shift; build_dir=${1:?--build needs a directory} ;;
    -h|--help) sed -n '2,6p' "$0"; exit 0 ;;
    *) echo "unknown argument $1" >&2; exit 2 ;;
  esac
  shift
done

cmake --build "$build_dir" --target vorn_builtin_table -j 2 >/dev/null
table=src/syntax_tree/builtin_table.inc
actual=$(mktemp)
trap 'rm -f "$actual"' EXIT
"$build_dir/tools/builtin_table/vorn_builtin_table" >"$actual"
if [ "$update" = 1 ]; then
  cp "$actual" "$table"
  echo "wrote $table"
else
  diff -u "$table" "$actual" && echo "$table is current"
fi
