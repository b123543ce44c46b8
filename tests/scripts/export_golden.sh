#!/usr/bin/env bash
# Render export golden files: every tests/data/gen/expected_ovl/examples/CASE.ovl is the node of
# examples/NAME.xovl that the case's tokens name, exported with the lights its tokens give and
# printed back as Ovrel source by vorn_gen_tool --target Ovrel (regenerate with
# scripts/update_goldens.sh --target Ovrel). The text must match exactly; it must compile without
# a diagnostic; no light loop and no environment lookup (but a trace without a ray) may remain in
# it; and where the GL or FX goldens hold the same case, the printed source must generate exactly
# their texts (the export and its printed source are the same shader).
# Usage: export_golden.sh BUILD_DIR SOURCE_DIR
set -u

build_dir=${1:?usage: export_golden.sh BUILD_DIR SOURCE_DIR}
source_dir=$(cd "${2:?usage: export_golden.sh BUILD_DIR SOURCE_DIR}" && pwd)
tool="$(cd "$build_dir" 2>/dev/null && pwd)/tools/gen_tool/vorn_gen_tool"
data="$source_dir/tests/data/gen"
examples="$source_dir/examples"

. "$source_dir/scripts/golden_tokens.sh"
. "$source_dir/tests/scripts/lib/golden_common.sh"
require_tool
make_work

failures=0
count=0
for expected in "$data"/expected_ovl/examples/*.ovl; do
  [ -e "$expected" ] || continue
  count=$((count + 1))
  case_name=$(basename "$expected" .ovl)
  input=$(case_input "$examples" "$case_name")
  mapfile -t arguments < <(case_token_arguments "$case_name" no_debug)
  if ! (cd "$examples" && "$tool" --target Ovrel "$input" "${arguments[@]}") >"$work/printed.ovl" 2>"$work/stderr"; then
    echo "FAIL: $case_name: the export gave no source" >&2
    cat "$work/stderr" >&2
    failures=$((failures + 1))
    continue
  fi
  if ! matches_expected "$case_name: the printed export" "$expected" "$work/printed.ovl"; then
    failures=$((failures + 1))
    continue
  fi
  if grep -Eq 'foreach *\(|(reflect|refract)_environment *\(|trace_environment *\( *[^ )]' "$expected"; then
    echo "FAIL: $case_name: a light loop or an environment lookup is left" >&2
    failures=$((failures + 1))
  fi
  # The printed source alone, generated as the goldens of the same case are (without the
  # export's options, which name the node and the lights).
  mapfile -t plain < <(token_arguments base)
  for pair in "GL:1:expected_gl:frag" "GL:0:expected_gl:vert" "FX:-:expected:fx"; do
    IFS=: read -r target program folder ending <<<"$pair"
    golden="$data/$folder/examples/$case_name.$ending"
    [ "$ending" = fx ] && [ ! -f "$golden" ] && golden="$data/$folder/examples/$case_name.hlsl.fx"
    [ -f "$golden" ] || continue
    extra=()
    [ "$ending" = fx ] && extra=("annotation_map=$data/golden.axml")
    [[ "$golden" == *.hlsl.fx ]] && extra+=(format=HLSL)
    selection=(--target "$target" --program "$program")
    [ "$program" = - ] && selection=()
    if ! "$tool" "${selection[@]}" "$expected" "${plain[@]}" "${extra[@]}" >"$work/again" 2>"$work/stderr"; then
      echo "FAIL: $case_name: the printed source does not compile for $target" >&2
      cat "$work/stderr" >&2
      failures=$((failures + 1))
    elif ! cmp -s "$golden" "$work/again"; then
      echo "FAIL: $case_name: the printed source generates another $ending text than the export" >&2
      diff -u "$golden" "$work/again" | head -40 >&2
      failures=$((failures + 1))
    fi
  done
done

finish "$data/expected_ovl/examples" "export golden cases passed"
