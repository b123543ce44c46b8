#!/usr/bin/env bash
# Regenerates the generator golden files of one target from their inputs, with the options that
# tests/data/gen/options.txt gives each token of the file name:
#   FX  tests/data/gen/expected/NAME[.TOKEN...].fx
#   GL  tests/data/gen/expected_gl/NAME[.TOKEN...].vert and .frag
#   Cg  tests/data/gen/expected_cg/NAME[.TOKEN...].cg (the generated text; the main files that a
#       whole program puts before it are data files of their own)
#   Swrc tests/data/gen/expected_swrc/NAME[.TOKEN...].cpp and .decl (the C++ text and the
#       renderer's declaration)
# A case takes NAME.ovl from tests/data/gen/, or from the project's examples/ when it stands
# under examples/, or from tests/data/gen/expected_gl/inputs/ when it stands under inputs/. By
# default the script prints a unified diff for every text that changed and keeps the actual
# output in BUILD_DIR/goldens/TARGET/; with --update it overwrites the expected files. A CASE
# given on the command line that has no expected file yet is made. Review the change with git
# diff, and check each new expectation by hand before committing.
#
#   Ovrel tests/data/gen/expected_ovl/examples/NAME[.TOKEN...].ovl (a graph file's export printed
#       as source; cases only for graph files)
# usage: scripts/update_goldens.sh [--target FX|GL|Cg|Swrc|Ovrel] [--update] [--build BUILD_DIR] [CASE...]
set -euo pipefail
cd "$(dirname "$0")/.."

target=FX
update=0
build_dir=build
cases=()
while [ $# -gt 0 ]; do
  case "$1" in
    --target) shift; target=${1:?--target needs FX, GL, Cg, Swrc or Ovrel} ;;
    --update) update=1 ;;
    --build) shift; build_dir=${1:?--build needs a directory} ;;
    -h|--help) sed -n '2,17p' "$0"; exit 0 ;;
    -*) echo "unknown option $1" >&2; exit 2 ;;
    *) cases+=("$1") ;;
  esac
  shift
done

data=tests/data/gen
# Per target: where the expectations live, the ending of each program's file with the program
# number that the tool prints for it ("-" for the tool's direct FX text), the arguments every
# case adds, and whether a dbg_ token applies.
case "$target" in
  FX) expected_dir=$data/expected; programs=("-:fx"); extra=(); debug=""
      prefix_arguments=("annotation_map=$(cd "$data" && pwd)/golden.axml") ;;
  GL) expected_dir=$data/expected_gl; programs=("0:vert" "1:frag"); extra=(); debug=no_debug
      prefix_arguments=() ;;
  # Without complete_program the generated text is program 0, whatever the case's options.
  Cg) expected_dir=$data/expected_cg; programs=("0:cg"); extra=("complete_program=0"); debug=""
      prefix_arguments=() ;;
  Swrc) expected_dir=$data/expected_swrc; programs=("0:cpp" "1:decl"); extra=(); debug=no_debug
      prefix_arguments=() ;;
  # An export printed back as source: kept for graph files only.
  Ovrel) expected_dir=$data/expected_ovl; programs=("0:ovl"); extra=(); debug=no_debug
      prefix_arguments=() ;;
  *) echo "unknown target $target (FX, GL, Cg, Swrc or Ovrel)" >&2; exit 2 ;;
esac
last_ending=${programs[-1]#*:}

# A case named on the command line may carry its folder and ending.
for i in "${!cases[@]}"; do
  name=${cases[$i]#"$expected_dir/"}
  name=${name#tests/data/gen/}
  for pair in "${programs[@]}"; do name=${name%".${pair#*:}"}; done
  cases[$i]=${name%.ovl}
done

if [ ! -d "$build_dir" ]; then
  cmake -S . -B "$build_dir" -G Ninja >/dev/null
fi
cmake --build "$build_dir" --target vorn_gen_tool -- -j2 >/dev/null
tool=$(cd "$build_dir" && pwd)/tools/gen_tool/vorn_gen_tool
actual_dir="$build_dir/goldens/$target"
examples=$(pwd)/examples
inputs=$(pwd)/$data/expected_gl/inputs
mkdir -p "$actual_dir/examples" "$actual_dir/inputs" "$expected_dir/examples"

. "$(dirname "$0")/golden_tokens.sh"

# Every expected file is a case; an input without one has the case of its name alone.
if [ ${#cases[@]} -eq 0 ]; then
  for expected in "$expected_dir"/*."$last_ending" "$expected_dir"/examples/*."$last_ending" \
      "$expected_dir"/inputs/*."$last_ending"; do
    [ -e "$expected" ] && cases+=("${expected#"$expected_dir/"}")
  done
  cases=("${cases[@]%."$last_ending"}")
  for pair in ":$data" "examples/:$examples" "inputs/:$inputs"; do
    prefix=${pair%%:*}
    # The GL inputs are GL's own unless the target keeps goldens of them.
    [ "$prefix" = inputs/ ] && [ "$target" = FX ] && continue
    [ "$target" = Ovrel ] && continue
    for input in "${pair#*:}"/*.ovl; do
      [ -e "$input" ] || continue
      name=$(basename "$input" .ovl)
      [ -f "$expected_dir/$prefix$name.$last_ending" ] ||
        compgen -G "$expected_dir/$prefix$name.*.$last_ending" >/dev/null || cases+=("$prefix$name")
    done
  done
fi

changed=0
for case_path in "${cases[@]}"; do
  case_name=${case_path#examples/}
  case_name=${case_name#inputs/}
  directory=$(pwd)/$data
  [ "$case_path" != "${case_path#examples/}" ] && directory=$examples
  [ "$case_path" != "${case_path#inputs/}" ] && directory=$inputs
  input=$(case_input "$directory" "$case_name")
  if [ ! -f "$directory/$input" ]; then
    echo "no input $directory/$input" >&2
    exit 2
  fi
  arguments=("${prefix_arguments[@]}")
  IFS=. read -r -a words <<<"$case_name"
  for token in base "${words[@]:1}"; do
    lines=$(token_arguments "$token" $debug) || exit 2
    while IFS= read -r word; do arguments+=("$word"); done <<<"$lines"
  done
  arguments+=("${extra[@]}")
  mkdir -p "$(dirname "$expected_dir/$case_path")"
  for pair in "${programs[@]}"; do
    program=${pair%%:*}
    ending=${pair#*:}
    selection=(--target "$target" --program "$program")
    [ "$program" = - ] && selection=()
    actual="$actual_dir/$case_path.$ending"
    if ! (cd "$directory" && "$tool" "${selection[@]}" "$input" "${arguments[@]}") >"$actual"; then
      echo "vorn_gen_tool failed on $case_path ($ending)" >&2
      exit 1
    fi
    expected="$expected_dir/$case_path.$ending"
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
      echo "new: $case_path.$ending (actual in $actual)"
      cat "$actual"
    fi
  done
done

if [ "$update" -eq 0 ] && [ "$changed" -gt 0 ]; then
  echo "$changed text(s) differ; actual output kept in $actual_dir; rerun with --update to accept"
fi
