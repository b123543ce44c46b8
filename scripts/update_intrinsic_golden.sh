#!/usr/bin/env bash
# Regenerates tests/data/graph/intrinsic_classes.txt, the signatures of the intrinsic math classes
# in library order, from vorn_graph_tool. By default it prints a unified diff and keeps the
# actual list in BUILD_DIR/intrinsic_classes.txt; with --update it overwrites the expectation.
# Review a change with git diff, row by row against the table of the math classes.
#
# usage: scripts/update_intrinsic_golden.sh [--update] [--build BUILD_DIR]
set -euo pipefail
cd "$(dirname "$0")/.."

update=0
build_dir=build
while [ $# -gt 0 ]; do
  case "$1" in
    --update) update=1 ;;
    --build) shift; build_dir=${1:?--build needs a directory} ;;
    -h|--help) sed -n '2,7p' "$0"; exit 0 ;;
    *) echo "unknown argument $1" >&2; exit 2 ;;
  esac
  shift
done

if [ ! -d "$build_dir" ]; then
  cmake -S . -B "$build_dir" -G Ninja >/dev/null
fi
cmake --build "$build_dir" --target vorn_graph_tool -- -j2 >/dev/null

expected=tests/data/graph/intrinsic_classes.txt
actual="$build_dir/intrinsic_classes.txt"
{
  echo "# The intrinsic math classes of a new library, in order: name(inputs) -> output."
  echo "# Regenerate with scripts/update_intrinsic_golden.sh --update; review with git diff."
  "$build_dir/tools/graph_tool/vorn_graph_tool" signatures
} >"$actual"

if [ "$update" -eq 1 ]; then
  cp "$actual" "$expected"
  echo "updated $expected"
elif diff -u "$expected" "$actual"; then
  echo "no change"
else
  echo "the list differs; the actual one is kept in $actual"
  exit 1
fi
