# Sourced by the golden scripts: what each of them checks the same way. Needs $tool; make_work
# sets $work, and the checks count into $failures.

require_tool() {
  if [ ! -x "$tool" ]; then
    echo "FAIL: $tool is missing; build the target $(basename "$tool")" >&2
    exit 1
  fi
}

require_glslang() {
  if ! command -v glslangValidator >/dev/null 2>&1; then
    echo "FAIL: glslangValidator is not installed (package glslang-tools)" >&2
    exit 1
  fi
}

make_work() {
  work=$(mktemp -d)
  trap 'rm -rf "$work"' EXIT
}

# Runs the tool from inside DIRECTORY, so that the input's imports are found there.
# Usage: run_tool DIRECTORY OUTPUT ARGUMENTS...
run_tool() {
  local directory=$1 output=$2 status
  shift 2
  (cd "$directory" && "$tool" "$@") >"$output" 2>"$work/stderr"
  status=$?
  if [ "$status" -ne 0 ]; then
    echo "FAIL: $*: $(basename "$tool") exited with $status" >&2
    cat "$work/stderr" >&2
    return 1
  fi
}

# run_tool twice: the two outputs must be the same. Usage: run_tool_twice LABEL DIRECTORY OUTPUT ARGUMENTS...
run_tool_twice() {
  local label=$1 directory=$2 output=$3
  shift 3
  run_tool "$directory" "$output" "$@" || return 1
  run_tool "$directory" "$output.again" "$@" || return 1
  if ! cmp -s "$output" "$output.again"; then
    echo "FAIL: $label: two runs gave different output" >&2
    return 1
  fi
}

# Every NAME.ovl of each INPUTS:CASES pair has a case CASES/NAME.ENDING or CASES/NAME.*.ENDING.
# Usage: check_every_input_has_a_case ENDING PAIR...
check_every_input_has_a_case() {
  local ending=$1 pair inputs cases input name
  shift
  for pair in "$@"; do
    inputs=${pair%%:*}
    cases=${pair#*:}
    for input in "$inputs"/*.ovl; do
      [ -e "$input" ] || continue
      name=$(basename "$input" .ovl)
      if [ ! -f "$cases/$name.$ending" ] && ! compgen -G "$cases/$name.*.$ending" >/dev/null; then
        echo "FAIL: $input has no expected .$ending file in $cases" >&2
        failures=$((failures + 1))
      fi
    done
  done
}

# Sets $input to the input of a case in DIRECTORY (see case_input); fails if there is none.
find_case_input() {
  local directory=$1 case_name=$2
  input=$(case_input "$directory" "$case_name")
  if [ ! -f "$directory/$input" ]; then
    echo "FAIL: $case_name: no input $directory/$input" >&2
    return 1
  fi
}

# Usage: matches_expected LABEL EXPECTED ACTUAL
matches_expected() {
  if ! diff -u "$2" "$3"; then
    echo "FAIL: $1 differs from its expected output" >&2
    return 1
  fi
}

# The last line: how many of $count cases passed; fails if none ran or one failed.
# Usage: finish WHERE WHAT
finish() {
  if [ "$count" -eq 0 ]; then
    echo "FAIL: no expected files in $1" >&2
    exit 1
  fi
  echo "$((count - failures)) of $count $2"
  [ "$failures" -eq 0 ]
}
