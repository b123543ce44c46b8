#!/usr/bin/env bash
# Regenerates tests/data/bovl/small.bovl, the binary compiled file of a small unit saved at a
# fixed time, from the unit test that compares against it. By default it prints a hex diff when
# the bytes changed and keeps the actual file in BUILD_DIR/tests/bovl_golden/; with --update it
# overwrites the golden file. Review a change with the hex dump (xxd) and the test that reads
# the golden file field by field.
#
# usage: scripts/update_bovl_golden.sh [--update] [--build BUILD_DIR]
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
cmake --build "$build_dir" --target vorn_unit_tests -- -j2 >/dev/null
"$build_dir/tests/vorn_unit_tests" --gtest_filter='Bin_file_golden.small_unit_is_the_golden_file' >/dev/null 2>&1 || true

expected=tests/data/bovl/small.bovl
actual=$build_dir/tests/bovl_golden/small.bovl
[ -f "$actual" ] || { echo "the test wrote no file" >&2; exit 1; }
if [ -f "$expected" ] && cmp -s "$expected" "$actual"; then
  echo "small.bovl: unchanged"
  exit 0
fi
if [ -f "$expected" ]; then
  diff -u <(xxd "$expected") <(xxd "$actual") || true
fi
if [ $update -eq 1 ]; then
  mkdir -p "$(dirname "$expected")"
  cp "$actual" "$expected"
  echo "small.bovl: updated"
else
  echo "small.bovl: differs (run with --update to overwrite)"
  exit 1
fi
