#!/usr/bin/env bash
# The generated tables of docs/language.md match the library's tables; a stale table fails with
# the difference (scripts/update_doc_tables.sh --update rewrites them). Also checks that the
# splicing itself replaces a table, so that a broken splice can't pass by changing nothing.
# Usage: doc_tables.sh BUILD_DIR SOURCE_DIR
set -uo pipefail
build=$1
source=$2
tool=$build/tools/doc_tables/vorn_doc_tables
splice=$source/scripts/doc_tables_splice.sh
fail=0
tmp=$(mktemp -d)
trap 'rm -rf "$tmp"' EXIT

if ! "$splice" "$tool" "$source/docs/language.md" >"$tmp/language.md"; then
  echo "FAILED: splicing docs/language.md"; exit 1
fi
if ! diff -u "$source/docs/language.md" "$tmp/language.md"; then
  echo "FAILED: docs/language.md has stale tables; run scripts/update_doc_tables.sh --update"
  fail=1
fi

# A table with a wrong row is replaced; every table the guide names is one the tool knows.
printf 'before\n<!-- generated: state_functions -->\n| 0 | `wrong` |\n<!-- end generated -->\nafter\n' >"$tmp/stale.md"
"$splice" "$tool" "$tmp/stale.md" >"$tmp/fresh.md"
if grep -q wrong "$tmp/fresh.md" || ! grep -q '^| 21 | `irradiance` | `Color` |$' "$tmp/fresh.md" ||
    [ "$(head -n 1 "$tmp/fresh.md")" != before ] || [ "$(tail -n 1 "$tmp/fresh.md")" != after ]; then
  echo "FAILED: the splice does not replace a stale table"; cat "$tmp/fresh.md"; fail=1
fi
for name in $(sed -n 's/^<!-- generated: \([a-z_]*\) -->$/\1/p' "$source/docs/language.md"); do
  if ! "$tool" "$name" >/dev/null; then echo "FAILED: the tool does not know the table $name"; fail=1; fi
done
printf '<!-- generated: types -->\nno end\n' >"$tmp/open.md"
if "$splice" "$tool" "$tmp/open.md" >/dev/null 2>&1; then
  echo "FAILED: a table without an end marker is accepted"; fail=1
fi
exit $fail
