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

if [ ! -x "$tool" ]; then
  echo "FAIL: $tool is missing; build the target vorn_gen_tool" >&2
  exit 1
fi

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

. "$source_dir/scripts/golden_tokens.sh"

case_arguments=()
build_arguments() {
  local case_name=$1 token words
  IFS=. read -r -a words <<<"$case_name"
  case_arguments=()
  for token in base "${words[@]:1}"; do
    local lines
    lines=$(token_arguments "$token" no_debug) || return 1
    while IFS= read -r word; do case_arguments+=("$word"); done <<<"$lines"
  done
}

# Runs the tool from inside the input's directory, so that its imports are found there.
generate() {
  local directory=$1 input=$2 program=$3 output=$4
  (cd "$directory" && "$tool" --target GL --program "$program" "$input" "${case_arguments[@]}") \
    >"$output" 2>"$work/stderr"
  local status=$?
  if [ "$status" -ne 0 ]; then
    echo "FAIL: $input ${case_arguments[*]}: vorn_gen_tool exited with $status" >&2
    cat "$work/stderr" >&2
    return 1
  fi
}

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

if ! command -v glslangValidator >/dev/null 2>&1; then
  echo "FAIL: glslangValidator is not installed (package glslang-tools)" >&2
  exit 1
fi
if [ ! -f "$companion" ]; then
  echo "FAIL: the companion source $companion is missing" >&2
  exit 1
fi
cp "$companion" "$work/companion.frag"
echo 'void main() { gl_FragColor = vec4(0.0); }' >"$work/stub.frag"

failures=0
count=0

# The companion must define every function that the fragment text declares for it: a fragment
# shader with those declarations (as a golden file holds them) calls each one and links.
check_companion() {
  local sample=$expected_dir/examples/phong.frag
  if [ ! -f "$sample" ]; then
    echo "FAIL: no $sample to take the library declarations from" >&2
    return 1
  fi
  { sed -n '/^struct Ray {$/,/^mat4 transpose(mat4);$/p' "$sample"
    cat <<'CALLS'
void main()
{
  float f = 0.5; vec2 a = vec2(0.5); vec3 b = vec3(0.5); vec4 c = vec4(0.5);
  float fi; vec2 ai; vec3 bi; vec4 ci;
  float s1; float c1; vec2 s2; vec2 c2; vec3 s3; vec3 c3; vec4 s4; vec4 c4;
  vec4 r = illumination(0.5, 0.5, 8.0);
  r.x += log10(f) + log10(a).x + log10(b).x + log10(c).x;
  r.x += modf(f, fi) + modf(a, ai).x + modf(b, bi).x + modf(c, ci).x;
  r.x += round(f) + round(a).x + round(b).x + round(c).x;
  r.x += saturate(f) + saturate(a).x + saturate(b).x + saturate(c).x;
  sincos(f, s1, c1); sincos(a, s2, c2); sincos(b, s3, c3); sincos(c, s4, c4);
  r.x += transpose(mat2(1.0))[0][0] + transpose(mat3(1.0))[0][0] + transpose(mat4(1.0))[0][0];
  gl_FragColor = r;
}
CALLS
  } >"$work/calls.frag"
  if [ "$(grep -c ';$' "$work/calls.frag")" -lt 25 ]; then
    echo "FAIL: the library declarations of $sample were not found" >&2
    return 1
  fi
  if ! glslangValidator -d -l "$work/calls.frag" "$work/companion.frag" >"$work/glslang.companion" 2>&1; then
    echo "FAIL: the companion source does not define every function that the fragment text declares" >&2
    cat "$work/glslang.companion" >&2
    return 1
  fi
  echo "the companion defines every declared function"
}
check_companion || failures=$((failures + 1))

# Every input has at least one case.
for pair in "$data:$expected_dir" "$examples:$expected_dir/examples" "$expected_dir/inputs:$expected_dir/inputs"; do
  inputs=${pair%%:*}
  cases=${pair#*:}
  for input in "$inputs"/*.ovl; do
    [ -e "$input" ] || continue
    name=$(basename "$input" .ovl)
    if [ ! -f "$cases/$name.frag" ] && ! compgen -G "$cases/$name.*.frag" >/dev/null; then
      echo "FAIL: $input has no expected GL files in $cases" >&2
      failures=$((failures + 1))
    fi
  done
done

run_case() {
  local expected_fragment=$1 directory=$2 case_name input expected_vertex program
  case_name=$(basename "$expected_fragment" .frag)
  expected_vertex="${expected_fragment%.frag}.vert"
  input=$(case_input "$directory" "$case_name")
  if [ ! -f "$directory/$input" ]; then
    echo "FAIL: $case_name: no input $directory/$input" >&2
    return 1
  fi
  if [ ! -f "$expected_vertex" ]; then
    echo "FAIL: $case_name: no expected vertex text $expected_vertex" >&2
    return 1
  fi
  build_arguments "$case_name" || return 1
  for program in 0 1; do
    generate "$directory" "$input" "$program" "$work/first.$program" || return 1
    generate "$directory" "$input" "$program" "$work/second.$program" || return 1
    if ! cmp -s "$work/first.$program" "$work/second.$program"; then
      echo "FAIL: $case_name: two runs gave different program $program" >&2
      return 1
    fi
  done
  if ! diff -u "$expected_vertex" "$work/first.0"; then
    echo "FAIL: $case_name: the vertex text differs from its expected output" >&2
    return 1
  fi
  if ! diff -u "$expected_fragment" "$work/first.1"; then
    echo "FAIL: $case_name: the fragment text differs from its expected output" >&2
    return 1
  fi
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

if [ "$count" -eq 0 ]; then
  echo "FAIL: no expected files in $expected_dir" >&2
  exit 1
fi
echo "$((count - failures)) of $count GL golden cases match and validate"
[ "$failures" -eq 0 ]
