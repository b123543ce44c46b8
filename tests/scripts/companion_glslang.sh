#!/usr/bin/env bash
# The GLSL companion source compiles as a desktop GLSL 1.10 fragment shader,
# resolves every library declaration of the fragment text at link time, and
# defines exactly the declared overloads with the declared qualifiers.
set -uo pipefail
source_dir=$2
companion="$source_dir/data/vorn_companion.glsl"
fail=0
check() { if ! eval "$2"; then echo "FAILED: $1"; fail=1; fi; }

if ! command -v glslangValidator >/dev/null; then
  echo "FAILED: glslangValidator is not installed (package glslang-tools)"
  exit 1
fi
tmp=$(mktemp -d)
trap 'rm -rf "$tmp"' EXIT

# The library declarations as the fragment text prints them, from a golden file that holds them.
sample="$source_dir/tests/data/gen/expected_gl/examples/phong.frag"
sed -n '/^struct Ray {$/,/^mat4 transpose(mat4);$/p' "$sample" > "$tmp/declarations.glsl"
check "the declarations are found in $sample" "[ \$(grep -c ';$' \"\$tmp/declarations.glsl\") -ge 25 ]"

# A fragment text that calls every declared overload, so the linker must find each body.
{
  cat "$tmp/declarations.glsl"
  cat <<'EOF'
void main()
{
    float f; vec2 f2; vec3 f3; vec4 f4;
    vec4 r = illumination(0.5, 0.5, 8.0);
    r.x += log10(2.0) + log10(vec2(2.0)).x + log10(vec3(2.0)).x + log10(vec4(2.0)).x;
    r.x += modf(1.5, f) + modf(vec2(1.5), f2).x + modf(vec3(1.5), f3).x + modf(vec4(1.5), f4).x;
    r.x += round(1.5) + round(vec2(1.5)).x + round(vec3(1.5)).x + round(vec4(1.5)).x;
    r.x += saturate(1.5) + saturate(vec2(1.5)).x + saturate(vec3(1.5)).x + saturate(vec4(1.5)).x;
    float s, c; vec2 s2, c2; vec3 s3, c3; vec4 s4, c4;
    sincos(1.0, s, c); sincos(vec2(1.0), s2, c2); sincos(vec3(1.0), s3, c3); sincos(vec4(1.0), s4, c4);
    r.y += s + c + s2.x + c2.x + s3.x + c3.x + s4.x + c4.x;
    r.z += transpose(mat2(1.0))[0][0] + transpose(mat3(1.0))[0][0] + transpose(mat4(1.0))[0][0];
    gl_FragColor = r + f + f2.x + f3.x + f4.x;
}
EOF
} > "$tmp/fragment.frag"

out=$(glslangValidator -d -S frag "$companion" 2>&1); status=$?
check "the companion compiles as a GLSL 1.10 fragment shader" "[ $status -eq 0 ]"
[ $status -eq 0 ] || echo "$out"
check "the companion has no #version line, like the fragment text" "! grep -q '^[[:space:]]*#[[:space:]]*version' \"$companion\""
check "the companion has no main" "! grep -Eq '\\bmain[[:space:]]*\\(' \"$companion\""

out=$(glslangValidator -d -l -S frag "$tmp/fragment.frag" "$companion" 2>&1); status=$?
check "a fragment text with the declarations links with the companion" "[ $status -eq 0 ]"
[ $status -eq 0 ] || echo "$out"

# Without the companion the same link must fail, or the check above proves nothing.
out=$(glslangValidator -d -l -S frag "$tmp/fragment.frag" 2>&1); status=$?
check "without the companion the link fails" "[ $status -ne 0 ]"
check "without the companion the linker names a missing body" "grep -q 'No function definition (body) found' <<<\"\$out\""

# Function heads reduced to return type, name, and each parameter's qualifier and
# type: the linker ignores qualifiers, so a definition with inout for out would
# still link but behave differently.
signatures() {
  sed 's://.*$::' "$1" | tr '\n\t' '  ' |
    grep -oE '\b(void|float|vec[234]|mat[234])[[:space:]]+[A-Za-z_][A-Za-z_0-9]*[[:space:]]*\([^()]*\)[[:space:]]*'"$2" |
    awk '{
      sub(/[[:space:]]*[;{]$/, "")
      open = index($0, "("); head = substr($0, 1, open - 1); params = substr($0, open + 1)
      sub(/\)[[:space:]]*$/, "", params)
      gsub(/[[:space:]]+/, " ", head); sub(/ $/, "", head)
      n = split(params, p, ",")
      out = head "("
      for (i = 1; i <= n; i++) {
        m = split(p[i], w, " ")
        keep = m
        if (m > 1 && w[m] !~ /^(float|vec[234]|mat[234]|int|bool)$/) keep = m - 1
        s = ""
        for (j = 1; j <= keep; j++) s = s (j > 1 ? " " : "") w[j]
        out = out (i > 1 ? "," : "") s
      }
      print out ")"
    }' | sort
}
declared=$(signatures "$tmp/declarations.glsl" ';')
defined=$(signatures "$companion" '\{')
check "the declarations give 24 signatures" "[ \$(wc -l <<<\"\$declared\") -eq 24 ]"
check "the companion defines exactly the declared overloads with their qualifiers" "[ \"\$declared\" = \"\$defined\" ]"
[ "$declared" = "$defined" ] || diff <(echo "$declared") <(echo "$defined")

exit $fail
