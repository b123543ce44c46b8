#!/usr/bin/env bash
# The texts of every intrinsic math class go through glslangValidator: vorn_graph_tool writes the
# FX text (format=HLSL) and the GL pair of each class; each effect is compiled for both stages
# after cutting what only the effect framework reads (as gen_golden.sh does), and the GL texts are
# checked as desktop GLSL 1.10, all vertex texts in one run and all fragment texts in another.
# Any error fails the test.
# Usage: intrinsic_glslang.sh BUILD_DIR SOURCE_DIR
set -u

build_dir=${1:?usage: intrinsic_glslang.sh BUILD_DIR SOURCE_DIR}
source_dir=$(cd "${2:?usage: intrinsic_glslang.sh BUILD_DIR SOURCE_DIR}" && pwd)
tool="$(cd "$build_dir" 2>/dev/null && pwd)/tools/graph_tool/vorn_graph_tool"
. "$source_dir/tests/scripts/lib/golden_common.sh"
require_tool
require_glslang
make_work
mkdir "$work/texts" "$work/hlsl"
if ! "$tool" generate "$work/texts" 2>"$work/tool.log"; then
  echo "FAIL: vorn_graph_tool generate" >&2
  cat "$work/tool.log" >&2
  exit 1
fi

failures=0

# FX: every effect, both stages. Two at a time: each run is a process of its own.
for fx in "$work"/texts/*.fx; do
  name=$(basename "$fx" .fx)
  perl -0777 -pe 's/^technique .*?^\}\n//ms; s/^texture \w+ <.*?^>;\n//msg;
                  s/\s*=\s*sampler_state\s*\{.*?\};/;/sg; s/\b0f\b/0.0f/g;' "$fx" >"$work/hlsl/$name.hlsl"
done
# Every effect's fragment stage; the vertex stage once for each distinct vertex program (its
# structs and vertex_main), which is all that stage reads of the class. Two runs at a time: each
# is a process of its own and takes a while.
check_hlsl() {
  local file=$1 stage=$2 name entry=vertex_main
  name=$(basename "$file" .hlsl)
  [ "$stage" = frag ] && entry=fragment_main
  if ! glslangValidator -D -V --hlsl-dx9-compatible -S "$stage" -e "$entry" -o "$file.$stage.spv" "$file" \
      >"$file.$stage.log" 2>&1; then
    echo "FAIL: $name: glslangValidator rejects the FX $stage stage"
    cat "$file.$stage.log"
  fi
}
export -f check_hlsl
declare -A vertex_programs=()
for file in "$work"/hlsl/*.hlsl; do
  echo "$file frag"
  key=$(awk '/^struct (App2vert|Vert2frag)/,/^};/; /vertex_main\(/,/^}/' "$file" | md5sum)
  if [ -z "${vertex_programs[$key]:-}" ]; then
    vertex_programs[$key]=$file
    echo "$file vert"
  fi
done | xargs -P 2 -L 1 bash -c 'check_hlsl "$0" "$1"' >"$work/hlsl.log"
if grep -q '^FAIL' "$work/hlsl.log"; then
  cat "$work/hlsl.log" >&2
  failures=$((failures + $(grep -c '^FAIL' "$work/hlsl.log")))
fi
vertex_count=$(ls "$work"/hlsl/*.vert.log 2>/dev/null | wc -l)
echo "FX: $(ls "$work"/hlsl/*.hlsl | wc -l) effects compiled for frag, $vertex_count distinct vertex programs for vert"

# GL: one run per stage; glslang prints each file's name above its messages.
for stage in vert frag; do
  (cd "$work/texts" && glslangValidator -d ./*."$stage") >"$work/gl.$stage.log" 2>&1
  rejected=$(awk '/^\.\/.*\.(vert|frag)$/ {file = $0} /^ERROR: 0:/ {print file}' "$work/gl.$stage.log" | sort -u)
  if [ -n "$rejected" ]; then
    echo "FAIL: glslangValidator rejects GL $stage texts:" >&2
    grep -E '^\./|^ERROR: 0:' "$work/gl.$stage.log" | grep -v "compilation terminated" >&2
    failures=$((failures + $(wc -l <<<"$rejected")))
  fi
  echo "GL $stage: $(ls "$work"/texts/*."$stage" | wc -l) texts"
done

if [ "$failures" -ne 0 ]; then
  echo "FAIL: $failures rejected texts" >&2
  exit 1
fi
echo "PASS"
