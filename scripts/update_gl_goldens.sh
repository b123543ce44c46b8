#!/usr/bin/env bash
# Regenerates the GL golden files tests/data/gen/expected_gl/NAME[.TOKEN...].vert and .frag from
# tests/data/gen/NAME.ovl, those under expected_gl/examples/ from examples/NAME.ovl, and those
# under expected_gl/inputs/ from expected_gl/inputs/NAME.ovl, with the options that
# tests/data/gen/options.txt gives each token of the file name. By default it prints a unified
# diff for every text that changed and keeps the actual output in BUILD_DIR/gl_goldens/; with
# --update it overwrites the expected files. A CASE given on the command line (NAME.TOKEN...,
# examples/NAME.TOKEN... or inputs/NAME.TOKEN...) that has no expected files yet is made.
# Review the change with git diff, and check each new expectation by hand before committing.
#
# usage: scripts/update_gl_goldens.sh [--update] [--build BUILD_DIR] [CASE...]
set -euo pipefail
cd "$(dirname "$0")/.."

update=0
build_dir=build
cases=()
while [ $# -gt 0 ]; do
  case "$1" in
    --update) update=1 ;;
    --build) shift; build_dir=${1:?--build needs a directory} ;;
    -h|--help) sed -n '2,11p' "$0"; exit 0 ;;
    -*) echo "unknown option $1" >&2; exit 2 ;;
    *) name=${1#tests/data/gen/}; name=${name#expected_gl/}; name=${name%.frag}; name=${name%.vert}
       cases+=("${name%.ovl}") ;;
  esac
  shift
done

data=tests/data/gen
expected_dir=$data/expected_gl
if [ ! -d "$build_dir" ]; then
  cmake -S . -B "$build_dir" -G Ninja >/dev/null
fi
cmake --build "$build_dir" --target vorn_gen_tool -- -j2 >/dev/null
tool=$(cd "$build_dir" && pwd)/tools/gen_tool/vorn_gen_tool
actual_dir="$build_dir/gl_goldens"
examples=$(pwd)/examples
inputs=$(pwd)/$expected_dir/inputs
mkdir -p "$actual_dir/examples" "$actual_dir/inputs" "$expected_dir/examples" "$expected_dir/inputs"

. "$(dirname "$0")/golden_tokens.sh"

# Every expected pair is a case; an input without one has the case of its name alone.
if [ ${#cases[@]} -eq 0 ]; then
  for expected in "$expected_dir"/*.frag "$expected_dir"/examples/*.frag "$expected_dir"/inputs/*.frag; do
    [ -e "$expected" ] && cases+=("${expected#"$expected_dir/"}")
  done
  cases=("${cases[@]%.frag}")
  for pair in ":$data" "examples/:$examples" "inputs/:$inputs"; do
    prefix=${pair%%:*}
    for input in "${pair#*:}"/*.ovl; do
      [ -e "$input" ] || continue
      name=$(basename "$input" .ovl)
      [ -f "$expected_dir/$prefix$name.frag" ] || compgen -G "$expected_dir/$prefix$name.*.frag" >/dev/null ||
        cases+=("$prefix$name")
    done
  done
fi

changed=0
for case_path in "${cases[@]}"; do
  case_name=${case_path#examples/}
  case_name=${case_name#inputs/}
  directory=$data
  [ "$case_path" != "${case_path#examples/}" ] && directory=$examples
  [ "$case_path" != "${case_path#inputs/}" ] && directory=$inputs
  input="${case_name%%.*}.ovl"
  if [ ! -f "$directory/$input" ]; then
    echo "no input $directory/$input" >&2
    exit 2
  fi
  arguments=()
  IFS=. read -r -a words <<<"$case_name"
  for token in base "${words[@]:1}"; do
    lines=$(token_arguments "$token" no_debug) || exit 2
    while IFS= read -r word; do arguments+=("$word"); done <<<"$lines"
  done
  for pair in 0:vert 1:frag; do
    program=${pair%%:*}
    extension=${pair#*:}
    actual="$actual_dir/$case_path.$extension"
    if ! (cd "$directory" && "$tool" --target GL --program "$program" "$input" "${arguments[@]}") >"$actual"; then
      echo "vorn_gen_tool failed on $case_path (program $program)" >&2
      exit 1
    fi
    expected="$expected_dir/$case_path.$extension"
    if [ -f "$expected" ] && cmp -s "$expected" "$actual"; then
      continue
    fi
    changed=$((changed + 1))
    if [ "$update" -eq 1 ]; then
      cp "$actual" "$expected"
      echo "updated $expected"
    elif [ -f "$expected" ]; then
      diff -u --label "$expected" --label "$actual" "$expected" "$actual" || true
    else
      echo "new: $case_path.$extension (actual in $actual)"
      cat "$actual"
    fi
  done
done

if [ "$update" -eq 0 ] && [ "$changed" -gt 0 ]; then
  echo "$changed text(s) differ; actual output kept in $actual_dir; rerun with --update to accept"
fi
