#!/usr/bin/env bash
# Prints a Markdown file with the lines between each "<!-- generated: NAME -->" and the next
# "<!-- end generated -->" replaced by the output of "TOOL NAME". Shared by the staleness test and
# scripts/update_doc_tables.sh.
# usage: doc_tables_splice.sh TOOL FILE
set -euo pipefail
tool=$1
file=$2
inside=0
while IFS= read -r line || [ -n "$line" ]; do
  if [ $inside -eq 1 ]; then
    if [ "$line" = "<!-- end generated -->" ]; then
      printf '%s\n' "$line"
      inside=0
    fi
    continue
  fi
  printf '%s\n' "$line"
  if [[ "$line" =~ ^\<!--\ generated:\ ([a-z_]+)\ --\>$ ]]; then
    "$tool" "${BASH_REMATCH[1]}"
    inside=1
  fi
done <"$file"
if [ $inside -eq 1 ]; then
  echo "doc_tables_splice: $file: a generated table has no end marker" >&2
  exit 1
fi
