# Sourced by the generator golden scripts: the options that a token of a case's file name stands
# for, one argument a line. Needs $data (the folder holding options.txt). With "no_debug" as the
# second argument a dbg_ token is unknown, as for targets without a debug display.
token_arguments() {
  local token=$1 debug=${2:-} line
  case "$token" in
    s_*) printf '%s\n' "shader_name=${token#s_}"; return 0 ;;
    p_*) printf '%s\n' "primary_output=${token#p_}"; return 0 ;;
    dbg_*) if [ "$debug" != no_debug ]; then printf '%s\n' --debug "${token#dbg_}" 0; return 0; fi ;;
  esac
  line=$(grep -E "^$token[[:space:]]" "$data/options.txt" | head -n 1) || true
  if [ -z "$line" ]; then
    echo "FAIL: unknown token '$token' (add it to $data/options.txt)" >&2
    return 1
  fi
  eval "set -- ${line#"$token"}"
  printf '%s\n' "$@"
}

# The input of a case in DIRECTORY: NAME.ovl, or the graph file NAME.xovl whose node the case's
# options export.
case_input() {
  local directory=$1 case_name=$2
  local name=${case_name%%.*}
  if [ ! -f "$directory/$name.ovl" ] && [ -f "$directory/$name.xovl" ]; then
    printf '%s\n' "$name.xovl"
  else
    printf '%s\n' "$name.ovl"
  fi
}

# The arguments of a whole case name, one a line: the base token's, then each token's in order.
case_token_arguments() {
  local case_name=$1 debug=${2:-} token words
  IFS=. read -r -a words <<<"$case_name"
  for token in base "${words[@]:1}"; do
    token_arguments "$token" "$debug" || return 1
  done
}

# Fills the array case_arguments with the arguments of a case name, as case_token_arguments
# gives them.
case_arguments=()
build_case_arguments() {
  local lines word
  lines=$(case_token_arguments "$1" "${2:-}") || return 1
  case_arguments=()
  while IFS= read -r word; do case_arguments+=("$word"); done <<<"$lines"
}
