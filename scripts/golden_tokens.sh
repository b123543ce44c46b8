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

# Fills the array case_arguments with the arguments of a case name NAME[.TOKEN...]: those of the
# token "base", then of each token in order. A second argument is passed on to token_arguments.
case_arguments=()
build_case_arguments() {
  local case_name=$1 debug=${2:-} token words lines word
  IFS=. read -r -a words <<<"$case_name"
  case_arguments=()
  for token in base "${words[@]:1}"; do
    lines=$(token_arguments "$token" $debug) || return 1
    while IFS= read -r word; do case_arguments+=("$word"); done <<<"$lines"
  done
}
