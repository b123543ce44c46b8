#!/usr/bin/env bash
# Rewrites the generated tables of docs/language.md (the lines between "<!-- generated: NAME -->"
# and "<!-- end generated -->") from the library's own tables, through vorn_doc_tables. By default
# it prints a unified diff when a table changed and keeps the actual file in
# BUILD_DIR/doc_tables/language.md; with --update it overwrites docs/language.md. Review the
# change with git diff.
#
# usage: scripts/update_doc_tables.sh [--update] [--build BUILD_DIR]
set -euo pipefail
cd "$(dirname "$0")/.."

update=0
build_dir=build
while [ $# -gt 0 ]; do
  case "$1" in
    --update) update=1 ;;
    --build) shift; build_dir=${1:?--build needs a directory} ;;
    -h|--help) sed -n '2,8p' "$0"; exit 0 ;;
    *) echo "unknown argument $1" >&2; exit 2 ;;
  esac
  shift
done

if [ ! -d "$build_dir" ]; then
  cmake -S . -B "$build_dir" -G Ninja >/dev/null
fi
cmake --build "$build_dir" --target vorn_doc_tables -- -j2 >/dev/null
tool=$build_dir/tools/doc_tables/vorn_doc_tables
expected=docs/language.md
mkdir -p "$build_dir/doc_tables"
actual=$build_dir/doc_tables/language.md
scripts/doc_tables_splice.sh "$tool" "$expected" >"$actual"

if cmp -s "$expected" "$actual"; then
  echo "docs/language.md: tables up to date"
  exit 0
fi
diff -u --label "$expected" --label "$actual" "$expected" "$actual" || true
if [ $update -eq 1 ]; then
  cp "$actual" "$expected"
  echo "docs/language.md: tables updated"
else
  echo "docs/language.md: tables differ (run with --update to rewrite them)"
  exit 1
fi
