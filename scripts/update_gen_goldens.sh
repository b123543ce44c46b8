#!/usr/bin/env bash
# Regenerates the FX golden files tests/data/gen/expected/NAME[.TOKEN...].fx from
# tests/data/gen/NAME.ovl, and tests/data/gen/expected/examples/NAME[.TOKEN...].fx from
# examples/NAME.ovl, with the options that tests/data/gen/options.txt gives each token of the
# file name. By default it prints a unified diff for every case that changed and keeps the actual
# output in BUILD_DIR/gen_goldens/; with --update it overwrites the expected files. A CASE given
# on the command line (NAME.TOKEN... or examples/NAME.TOKEN...) that has no expected file yet is
# made. Review the change with git diff, and check each new expectation by hand before committing.
#
# usage: scripts/update_gen_goldens.sh [--update] [--build BUILD_DIR] [CASE...]
set -euo pipefail
cd "$(dirname "$0")/.."

update=0
build_dir=build
cases=()
while [ $# -gt 0 ]; do
  case "$1" in
    --update) update=1 ;;
    --build) shift; build_dir=${1:?--build needs a directory} ;;
    -h|--help) sed -n '2,10p' "$0"; exit 0 ;;
    -*) echo "unknown option $1" >&2; exit 2 ;;
    *) name=${1#tests/data/gen/}; name=${name#expected/}; name=${name%.fx}; cases+=("${name%.ovl}") ;;
  esac
  shift
done

data=tests/data/gen
if [ ! -d "$build_dir" ]; then
  cmake -S . -B "$build_dir" -G Ninja >/dev/null
fi
cmake --build "$build_dir" --target vorn_gen_tool -- -j2 >/dev/null
tool=$(cd "$build_dir" && pwd)/tools/gen_tool/vorn_gen_tool
actual_dir="$build_dir/gen_goldens"
examples=$(pwd)/examples
mkdir -p "$actual_dir/examples" "$data/expected/examples"

. "$(dirname "$0")/golden_tokens.sh"

# Every expected file is a case; an input without one has the case of its name alone.
if [ ${#cases[@]} -eq 0 ]; then
  for expected in "$data"/expected/*.fx "$data"/expected/examples/*.fx; do
    [ -e "$expected" ] && cases+=("${expected#"$data/expected/"}")
  done
  cases=("${cases[@]%.fx}")
  for pair in ":$data" "examples/:$examples"; do
    prefix=${pair%%:*}
    for input in "${pair#*:}"/*.ovl; do
      [ -e "$input" ] || continue
      name=$(basename "$input" .ovl)
      [ -f "$data/expected/$prefix$name.fx" ] || compgen -G "$data/expected/$prefix$name.*.fx" >/dev/null ||
        cases+=("$prefix$name")
    done
  done
fi

changed=0
for case_path in "${cases[@]}"; do
  case_name=${case_path#examples/}
  directory=$data
  [ "$case_name" != "$case_path" ] && directory=$examples
  input="${case_name%%.*}.ovl"
  if [ ! -f "$directory/$input" ]; then
    echo "no input $directory/$input" >&2
    exit 2
  fi
  arguments=("annotation_map=$(cd "$data" && pwd)/golden.axml")
  IFS=. read -r -a words <<<"$case_name"
  for token in base "${words[@]:1}"; do
    lines=$(token_arguments "$token") || exit 2
    while IFS= read -r word; do arguments+=("$word"); done <<<"$lines"
  done
  actual="$actual_dir/$case_path.fx"
  if ! (cd "$directory" && "$tool" "$input" "${arguments[@]}") >"$actual"; then
    echo "vorn_gen_tool failed on $case_path" >&2
    exit 1
  fi
  expected="$data/expected/$case_path.fx"
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
    echo "new: $case_path (actual in $actual)"
    cat "$actual"
  fi
done

if [ "$update" -eq 0 ] && [ "$changed" -gt 0 ]; then
  echo "$changed case(s) differ; actual output kept in $actual_dir; rerun with --update to accept"
fi
