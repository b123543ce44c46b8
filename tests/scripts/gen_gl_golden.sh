#!/usr/bin/env bash
# GL golden files: every tests/data/gen/expected_gl/NAME[.TOKEN...].vert and .frag pair is
# NAME.ovl generated for the target GL by vorn_gen_tool (program 0 the vertex text, program 1 the
# fragment text) with the arguments that tests/data/gen/options.txt gives the tokens; cases under
# expected_gl/examples/ take NAME.ovl from the project's examples/, cases under
# expected_gl/inputs/ from that directory. Both texts must match exactly, and two runs must give
# the same texts. Then glslangValidator checks each stage alone as desktop GLSL 1.10 (-d; the
# texts have no #version), and links the fragment text with the companion source
# data/vorn_companion.glsl, which defines what the fragment text only declares. Every case must
# pass: a text that glslang rejects is a fault of the generator.
# Usage: gen_gl_golden.sh BUILD_DIR SOURCE_DIR
set -u

build_dir=${1:?usage: gen_gl_golden.sh BUILD_DIR SOURCE_DIR}
source_dir=${2:?usage: gen_gl_golden.sh BUILD_DIR SOURCE_DIR}
tool="$(cd "$build_dir" 2>/dev/null && pwd)/tools/gen_tool/vorn_gen_tool"
source_dir=$(cd "$source_dir" && pwd)
data="$source_dir/tests/data/gen"
expected_dir="$data/expected_gl"
examples="$source_dir/examples"
companion="$source_dir/data/vorn_companion.glsl"

. "$source_dir/scripts/golden_tokens.sh"
. "$source_dir/tests/scripts/lib/golden_common.sh"
require_tool
require_glslang
make_work

# Depth peeling's sampler2DRect needs the rectangle-texture extension, which the generated text
# leaves to the host; the copy that glslang reads enables it.
stage_copy() {
  local file=$1 copy=$2
  if grep -q 'sampler2DRect' "$file"; then
    { echo '#extension GL_ARB_texture_rectangle : enable'; cat "$file"; } >"$copy"
  else
    cp "$file" "$copy"
  fi
}

validate() {
  local case_name=$1 vertex=$2 fragment=$3
  stage_copy "$vertex" "$work/check.vert"
  stage_copy "$fragment" "$work/check.frag"
  local problems=""
  glslangValidator -d "$work/check.vert" >"$work/glslang.vert" 2>&1 || problems+=" vertex"
  glslangValidator -d "$work/check.frag" >"$work/glslang.frag" 2>&1 || problems+=" fragment"
  # A light's fragment text has no main of its own (a surface's text calls it): a stub stands in.
  local stub=()
  grep -q '^void main()' "$fragment" || stub=("$work/stub.frag")
  if [ -z "$problems" ] && ! glslangValidator -d -l "$work/check.frag" "$work/companion.frag" "${stub[@]}" \
      >"$work/glslang.link" 2>&1; then
    problems+=" link"
  fi
  if [ -n "$problems" ]; then
    echo "FAIL: $case_name: glslangValidator rejects:$problems" >&2
    cat "$work"/glslang.* >&2
    return 1
  fi
}

if [ ! -f "$companion" ]; then
  echo "FAIL: the companion source $companion is missing" >&2
  exit 1
fi
cp "$companion" "$work/companion.frag"
echo 'void main() { gl_FragColor = vec4(0.0); }' >"$work/stub.frag"

failures=0
count=0
# That the companion defines every function the fragment text declares is companion_glslang.sh's.
check_every_input_has_a_case frag "$data:$expected_dir" "$examples:$expected_dir/examples" \
  "$expected_dir/inputs:$expected_dir/inputs"

run_case() {
  local expected_fragment=$1 directory=$2 case_name input expected_vertex program
  case_name=$(basename "$expected_fragment" .frag)
  expected_vertex="${expected_fragment%.frag}.vert"
  find_case_input "$directory" "$case_name" || return 1
  if [ ! -f "$expected_vertex" ]; then
    echo "FAIL: $case_name: no expected vertex text $expected_vertex" >&2
    return 1
  fi
  build_case_arguments "$case_name" no_debug || return 1
  for program in 0 1; do
    run_tool_twice "$case_name program $program" "$directory" "$work/first.$program" \
      --target GL --program "$program" "$input" "${case_arguments[@]}" || return 1
  done
  matches_expected "$case_name: the vertex text" "$expected_vertex" "$work/first.0" || return 1
  matches_expected "$case_name: the fragment text" "$expected_fragment" "$work/first.1" || return 1
  validate "$case_name" "$expected_vertex" "$expected_fragment"
}

for expected in "$expected_dir"/*.frag "$expected_dir"/examples/*.frag "$expected_dir"/inputs/*.frag; do
  [ -e "$expected" ] || continue
  count=$((count + 1))
  directory=$data
  [[ "$expected" == "$expected_dir/examples/"* ]] && directory=$examples
  [[ "$expected" == "$expected_dir/inputs/"* ]] && directory=$expected_dir/inputs
  run_case "$expected" "$directory" || failures=$((failures + 1))
done

finish "$expected_dir" "GL golden cases match and validate"
