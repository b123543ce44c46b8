#!/usr/bin/env bash
# Regenerates the golden files of linked graphs listed in
# tests/data/gen/expected_gl/inputs/linked.txt: NAME.ovl, the linked unit as vornc link prints it,
# then NAME.vert and NAME.frag, its GL text, and expected_cg/inputs/NAME.cg, its Cg text, through
# scripts/update_goldens.sh (the printed source is a golden input like any other there). By
# default prints a unified diff of what changed and keeps the actual output in
# BUILD_DIR/goldens/link/; with --update overwrites the expected files. Review with git diff, and
# check a new expectation by hand before committing.
#
# usage: scripts/update_link_goldens.sh [--update] [--build BUILD_DIR]
set -euo pipefail
cd "$(dirname "$0")/.."

update=()
build_dir=build
while [ $# -gt 0 ]; do
  case "$1" in
    --update) update=(--update) ;;
    --build) shift; build_dir=${1:?--build needs a directory} ;;
    -h|--help) sed -n '2,10p' "$0"; exit 0 ;;
    *) echo "unknown argument $1" >&2; exit 2 ;;
  esac
  shift
done

inputs=tests/data/gen/expected_gl/inputs
if [ ! -d "$build_dir" ]; then
  cmake -S . -B "$build_dir" -G Ninja >/dev/null
fi
cmake --build "$build_dir" --target vornc -- -j2 >/dev/null
vornc=$(cd "$build_dir" && pwd)/vornc
actual_dir="$build_dir/goldens/link"
mkdir -p "$actual_dir"

cases=()
changed=0
while read -r name graph option root; do
  case "$name" in ''|'#'*) continue ;; esac
  actual="$actual_dir/$name.ovl"
  expected="$inputs/$name.ovl"
  if ! "$vornc" link "$graph" "$option" "$root" >"$actual"; then
    echo "vornc link failed on $name" >&2
    exit 1
  fi
  cases+=("inputs/$name")
  if [ -f "$expected" ] && cmp -s "$expected" "$actual"; then
    continue
  fi
  changed=$((changed + 1))
  if [ ${#update[@]} -gt 0 ]; then
    cp "$actual" "$expected"
    echo "updated $expected"
  elif [ -f "$expected" ]; then
    diff -u --label "$expected" --label "$actual" "$expected" "$actual" || true
  else
    echo "new: $expected (actual in $actual)"
    cat "$actual"
  fi
done <"$inputs/linked.txt"

if [ ${#update[@]} -eq 0 ] && [ "$changed" -gt 0 ]; then
  echo "$changed printed source(s) differ; actual output kept in $actual_dir; rerun with --update to accept"
  echo "(the GL texts below are those of the sources as they stand)"
fi
for target in GL Cg; do
  scripts/update_goldens.sh --target $target --build "$build_dir" "${update[@]}" "${cases[@]}"
done
