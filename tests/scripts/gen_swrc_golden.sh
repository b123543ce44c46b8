#!/usr/bin/env bash
# C++ golden files: every tests/data/gen/expected_swrc/NAME[.TOKEN...].cpp is the C++ text
# (program 0), and NAME[.TOKEN...].decl beside it the renderer's declaration (program 1), that
# vorn_gen_tool generates for the target Swrc from NAME.ovl with the arguments
# that tests/data/gen/options.txt gives the tokens (cases under expected_swrc/examples/ take
# NAME.ovl from the project's examples/, those under expected_swrc/inputs/ from
# expected_gl/inputs/). The text must match exactly, two runs must give the same text, and every
# input must have a case.
#
# A case with the token last_of_two is the second of two shaders that share one file; it is
# compiled behind the case of the same input with first_of_two. Each text is compiled against
# the runtime header data/ovrel.h with g++ -std=c++17 -Wall -Werror -fsyntax-only, once as it
# stands and once with -DHALD (the renderer bridge, against data/ovrel_hald.h); the examples'
# texts also with clang++ when it is installed. A text that a compiler rejects is a fault of the
# generator or of the headers.
# Usage: gen_swrc_golden.sh BUILD_DIR SOURCE_DIR
set -u

build_dir=${1:?usage: gen_swrc_golden.sh BUILD_DIR SOURCE_DIR}
source_dir=${2:?usage: gen_swrc_golden.sh BUILD_DIR SOURCE_DIR}
tool="$(cd "$build_dir" 2>/dev/null && pwd)/tools/gen_tool/vorn_gen_tool"
source_dir=$(cd "$source_dir" && pwd)
data="$source_dir/tests/data/gen"
expected_dir="$data/expected_swrc"
examples="$source_dir/examples"

if [ ! -x "$tool" ]; then
  echo "FAIL: $tool is missing; build the target vorn_gen_tool" >&2
  exit 1
fi
compilers=(g++)
command -v clang++ >/dev/null 2>&1 && compilers+=(clang++)

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

. "$source_dir/scripts/golden_tokens.sh"

generate() {
  local directory=$1 input=$2 output=$3 program=${4:-0}
  (cd "$directory" && "$tool" --target Swrc --program "$program" "$input" "${case_arguments[@]}") >"$output" 2>"$work/stderr"
  local status=$?
  if [ "$status" -ne 0 ]; then
    echo "FAIL: $input ${case_arguments[*]}: vorn_gen_tool exited with $status" >&2
    cat "$work/stderr" >&2
    return 1
  fi
}

failures=0
count=0

for pair in "$data:$expected_dir" "$examples:$expected_dir/examples" "$data/expected_gl/inputs:$expected_dir/inputs"; do
  inputs=${pair%%:*}
  cases=${pair#*:}
  for input in "$inputs"/*.ovl; do
    [ -e "$input" ] || continue
    name=$(basename "$input" .ovl)
    if [ ! -f "$cases/$name.cpp" ] && ! compgen -G "$cases/$name.*.cpp" >/dev/null; then
      echo "FAIL: $input has no expected C++ file in $cases" >&2
      failures=$((failures + 1))
    fi
  done
done

run_case() {
  local expected=$1 directory=$2 case_name input compiler
  case_name=$(basename "$expected" .cpp)
  input="${case_name%%.*}.ovl"
  build_case_arguments "$case_name" no_debug || return 1
  generate "$directory" "$input" "$work/first" || return 1
  generate "$directory" "$input" "$work/second" || return 1
  if ! cmp -s "$work/first" "$work/second"; then
    echo "FAIL: $case_name: two runs gave different output" >&2
    return 1
  fi
  if ! diff -u "$expected" "$work/first"; then
    echo "FAIL: $case_name differs from its expected output" >&2
    return 1
  fi
  generate "$directory" "$input" "$work/declaration" 1 || return 1
  if ! diff -u "${expected%.cpp}.decl" "$work/declaration"; then
    echo "FAIL: $case_name: the declaration differs from its expected output" >&2
    return 1
  fi
  # A text for the last of several shaders of one file (last_of_two) follows the first one's.
  local whole=$expected
  if [[ "$case_name" == *.last_of_two* ]]; then
    local first
    first=$(compgen -G "$(dirname "$expected")/${case_name%%.*}.*first_of_two*.cpp" | head -n 1)
    cat "$first" "$expected" >"$work/whole.cpp"
    whole=$work/whole.cpp
  fi
  # clang++ checks the examples only, which keeps the run within its time on a loaded machine.
  local case_compilers=(g++)
  [[ "$expected" == "$expected_dir/examples/"* ]] && case_compilers=("${compilers[@]}")
  for compiler in "${case_compilers[@]}"; do
    for bridge in "" -DHALD; do
      if ! "$compiler" -std=c++17 -Wall -Werror -fsyntax-only $bridge -I "$source_dir/data" -x c++ "$whole" \
          >"$work/compiler" 2>&1; then
        echo "FAIL: $case_name: $compiler $bridge rejects it" >&2
        head -n 30 "$work/compiler" >&2
        return 1
      fi
    done
  done
}

for expected in "$expected_dir"/*.cpp "$expected_dir"/examples/*.cpp "$expected_dir"/inputs/*.cpp; do
  [ -e "$expected" ] || continue
  count=$((count + 1))
  directory=$data
  [[ "$expected" == "$expected_dir/examples/"* ]] && directory=$examples
  [[ "$expected" == "$expected_dir/inputs/"* ]] && directory=$data/expected_gl/inputs
  run_case "$expected" "$directory" || failures=$((failures + 1))
done

if [ "$count" -eq 0 ]; then
  echo "FAIL: no expected files in $expected_dir" >&2
  exit 1
fi
echo "$((count - failures)) of $count C++ golden cases match and compile (${compilers[*]}, with and without HALD)"
[ "$failures" -eq 0 ]
