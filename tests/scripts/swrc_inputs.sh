#!/usr/bin/env bash
# Every Ovrel input of the test data (parser, diagnostics, host, generator and linker inputs),
# generated for the software target as a surface and as a light: the generator must never
# crash, and every input that the GL target accepts must give C++ text that g++ compiles
# against data/ovrel.h (-std=c++17 -Wall -Werror -fsyntax-only).
# Usage: swrc_inputs.sh BUILD_DIR SOURCE_DIR
set -u

build_dir=${1:?usage: swrc_inputs.sh BUILD_DIR SOURCE_DIR}
source_dir=$(cd "${2:?usage: swrc_inputs.sh BUILD_DIR SOURCE_DIR}" && pwd)
tool="$(cd "$build_dir" 2>/dev/null && pwd)/tools/gen_tool/vorn_gen_tool"
if [ ! -x "$tool" ]; then
  echo "FAIL: $tool is missing; build the target vorn_gen_tool" >&2
  exit 1
fi
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
failures=0
compiled=0

while IFS= read -r input; do
  directory=$(dirname "$input")
  file=$(basename "$input")
  for kind in surface light; do
    (cd "$directory" && "$tool" --target Swrc --program 0 "$file" shader_type=$kind) >"$work/out.cpp" 2>/dev/null
    status=$?
    if [ "$status" -ge 128 ]; then
      echo "FAIL: ${input#"$source_dir/"} ($kind): the generator crashed (status $status)" >&2
      failures=$((failures + 1))
      continue
    fi
    (cd "$directory" && "$tool" --target GL --program 1 "$file" shader_type=$kind) >/dev/null 2>&1 || continue
    if [ "$status" -ne 0 ]; then
      echo "FAIL: ${input#"$source_dir/"} ($kind): GL accepts it, Swrc gives no text" >&2
      failures=$((failures + 1))
      continue
    fi
    compiled=$((compiled + 1))
    if ! g++ -std=c++17 -Wall -Werror -fsyntax-only -I "$source_dir/data" "$work/out.cpp" >"$work/g++" 2>&1; then
      echo "FAIL: ${input#"$source_dir/"} ($kind): g++ rejects the C++ text" >&2
      head -n 20 "$work/g++" >&2
      failures=$((failures + 1))
    fi
  done
done < <(find "$source_dir/tests/data" -name '*.ovl' | sort)

echo "software target over the test inputs: $compiled texts compiled, $failures failure(s)"
[ "$failures" -eq 0 ]
