#!/usr/bin/env bash
# Cg golden files: every tests/data/gen/expected_cg/NAME[.TOKEN...].cg is the text that
# vorn_gen_tool generates for the target Cg from NAME.ovl with the arguments that
# tests/data/gen/options.txt gives the tokens (cases under expected_cg/examples/ take NAME.ovl
# from the project's examples/, those under expected_cg/inputs/ from expected_gl/inputs/). The
# text must match exactly, and two runs must give the same text.
#
# No Cg compiler may run here. As far as an independent tool can check, each text is put behind
# the main fragment file data/main_vorn_nimbal_f.cg, as a whole program has it, and rewritten
# into HLSL for glslangValidator's HLSL front end, which must compile it: the interfaces become
# plain structs whose methods return a default, a struct that implements one drops its base,
# unsized arrays and their .length get the size 4, the member name point (a word of HLSL) becomes
# _point, and the WPOS semantic VPOS. A struct's methods, including eval, are parsed and type
# checked whether or not the entry calls them. The main vertex file data/main_v.cg is compiled
# as a vertex stage the same way.
# Usage: gen_cg_golden.sh BUILD_DIR SOURCE_DIR
set -u

build_dir=${1:?usage: gen_cg_golden.sh BUILD_DIR SOURCE_DIR}
source_dir=${2:?usage: gen_cg_golden.sh BUILD_DIR SOURCE_DIR}
tool="$(cd "$build_dir" 2>/dev/null && pwd)/tools/gen_tool/vorn_gen_tool"
source_dir=$(cd "$source_dir" && pwd)
data="$source_dir/tests/data/gen"
expected_dir="$data/expected_cg"
examples="$source_dir/examples"
main_vertex="$source_dir/data/main_v.cg"
main_fragment="$source_dir/data/main_vorn_nimbal_f.cg"

. "$source_dir/scripts/golden_tokens.sh"
. "$source_dir/tests/scripts/lib/golden_common.sh"
require_tool
require_glslang
make_work

# The rewrite described above; the program's own text is otherwise left as it stands.
to_hlsl() {
  perl -0777 -pe '
    s{^interface (\w+)\s*\{\s*(\w+) eval\(State state\);\s*\};}
     {struct $1\n{\n    $2 eval(State state) { $2 value; return value; }\n};}mg;
    s/^(struct \w+) : qzi(?:Color|Light)$/$1/mg;
    s/\[\]/[4]/g;
    s/\b\w+(?:\.\w+|\[\w+\])*\.length\b/4/g;
    s/\bpoint\b/_point/g;
    s/\bWPOS\b/VPOS/g;
  '
}

compile() {
  local file=$1 stage=$2
  glslangValidator -D -V --hlsl-dx9-compatible -S "$stage" -e main -o "$work/out.spv" "$file" >"$work/glslang" 2>&1
}

failures=0
count=0

# The main files alone: the vertex program, and the fragment program with a surface that
# implements qziColor.
{ cat "$main_vertex"; } | to_hlsl >"$work/main.vert"
if ! compile "$work/main.vert" vert; then
  echo "FAIL: glslangValidator rejects the main vertex file" >&2
  cat "$work/glslang" >&2
  failures=$((failures + 1))
fi

check_every_input_has_a_case cg "$data:$expected_dir" "$examples:$expected_dir/examples" \
  "$data/expected_gl/inputs:$expected_dir/inputs"

run_case() {
  local expected=$1 directory=$2 case_name input
  case_name=$(basename "$expected" .cg)
  find_case_input "$directory" "$case_name" || return 1
  build_case_arguments "$case_name" || return 1
  run_tool_twice "$case_name" "$directory" "$work/first" \
    --target Cg --program 0 "$input" "${case_arguments[@]}" complete_program=0 || return 1
  matches_expected "$case_name" "$expected" "$work/first" || return 1
  # debug() is an intrinsic of the Cg fragment profiles; HLSL has none.
  { echo 'void debug(float4 value) { }'; cat "$main_fragment" "$expected"; } | to_hlsl >"$work/check.frag"
  if ! compile "$work/check.frag" frag; then
    echo "FAIL: $case_name: glslangValidator rejects it behind the main fragment file" >&2
    cat "$work/glslang" >&2
    return 1
  fi
}

for expected in "$expected_dir"/*.cg "$expected_dir"/examples/*.cg "$expected_dir"/inputs/*.cg; do
  [ -e "$expected" ] || continue
  count=$((count + 1))
  directory=$data
  [[ "$expected" == "$expected_dir/examples/"* ]] && directory=$examples
  [[ "$expected" == "$expected_dir/inputs/"* ]] && directory=$data/expected_gl/inputs
  run_case "$expected" "$directory" || failures=$((failures + 1))
done

finish "$expected_dir" "Cg golden cases match and compile"
