#!/usr/bin/env bash
# Regenerates the graph file goldens tests/data/graph_file/*.xovl: each file is read and saved
# again by vorn_graph_tool (beside the Ovrel sources of that directory, as the tests stage it),
# which must give the file's own bytes. By default it prints a unified diff of what changed and
# keeps the saved texts in BUILD_DIR/goldens/graph_file/; with --update it overwrites the files.
# The files were written by hand: review a change with git diff against the file format.
#
# usage: scripts/update_graph_file_goldens.sh [--update] [--build BUILD_DIR]
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
cmake --build "$build_dir" --target vorn_graph_tool -- -j2 >/dev/null
tool="$build_dir/tools/graph_tool/vorn_graph_tool"

data=tests/data/graph_file
out="$build_dir/goldens/graph_file"
rm -rf "$out"
mkdir -p "$out"
cp "$data"/*.ovl "$out"/
changed=0
for file in "$data"/*.xovl; do
  name=$(basename "$file")
  cp "$file" "$out/input_$name"
  "$tool" resave "$out/input_$name" "$out/$name"
  rm "$out/input_$name"
  if ! diff -u "$file" "$out/$name"; then
    changed=1
    if [ "$update" -eq 1 ]; then
      cp "$out/$name" "$file"
      echo "updated $file"
    fi
  fi
done
if [ "$changed" -eq 0 ]; then
  echo "no change"
elif [ "$update" -eq 0 ]; then
  echo "the saved texts differ; they are kept in $out"
  exit 1
fi
