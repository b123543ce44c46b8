#!/usr/bin/env bash
# Generated C++ runs and computes what the source means. Each case generates the C++ text of a
# shader with vorn_gen_tool, builds it with tests/swrc/driver.cpp against data/ovrel.h, runs it
# on one shading point and compares the outputs with values computed here, in Python, from the
# source's own formulas (not from the generated code), within 1e-4.
# Usage: swrc_run.sh BUILD_DIR SOURCE_DIR
set -u

build_dir=${1:?usage: swrc_run.sh BUILD_DIR SOURCE_DIR}
source_dir=$(cd "${2:?usage: swrc_run.sh BUILD_DIR SOURCE_DIR}" && pwd)
tool="$(cd "$build_dir" 2>/dev/null && pwd)/tools/gen_tool/vorn_gen_tool"
if [ ! -x "$tool" ]; then
  echo "FAIL: $tool is missing; build the target vorn_gen_tool" >&2
  exit 1
fi
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
failures=0

# run_case NAME DIRECTORY FILE EXPECTED [DRIVER WORD...]: EXPECTED holds the lines the driver
# must print, as "OUTPUT v1 v2 ...".
run_case() {
  local name=$1 directory=$2 file=$3 expected=$4
  shift 4
  if ! (cd "$directory" && "$tool" --target Swrc --program 0 "$file" shader_type=surface) >"$work/$name.cpp" 2>"$work/err"; then
    echo "FAIL: $name: no C++ text" >&2
    cat "$work/err" >&2
    return 1
  fi
  # shellcheck disable=SC2086
  if ! g++ -std=c++17 -O1 -Wall -Werror ${run_flags:-} -I "$source_dir/data" "$work/$name.cpp" "$source_dir/tests/swrc/driver.cpp" \
      -o "$work/$name" 2>"$work/err"; then
    echo "FAIL: $name: the C++ text does not build" >&2
    head -n 30 "$work/err" >&2
    return 1
  fi
  if ! "$work/$name" "$@" >"$work/$name.out" 2>"$work/err"; then
    echo "FAIL: $name: the shader did not run" >&2
    cat "$work/err" >&2
    return 1
  fi
  if ! python3 - "$work/$name.out" "$expected" <<'PY'
import sys
got = [line.split() for line in open(sys.argv[1]).read().splitlines()]
want = [line.split() for line in sys.argv[2].strip().splitlines()]
ok = len(got) == len(want)
for g, w in zip(got, want):
    ok = ok and g[0] == w[0] and len(g) == len(w)
    ok = ok and all(abs(float(a) - float(b)) <= 1e-4 * max(1.0, abs(float(b))) for a, b in zip(g[1:], w[1:]))
if not ok:
    print("got:\n" + open(sys.argv[1]).read() + "want:\n" + sys.argv[2].strip())
sys.exit(0 if ok else 1)
PY
  then
    echo "FAIL: $name: outputs differ from the source's meaning" >&2
    return 1
  fi
}

expect() { python3 -c "$1"; }

# Phong with one light straight above and one to the side: ambient + sum of contribution times
# (diffuse * max(n.l, 0) + specular * (n.h)^shininess), with the half vector of l and v.
phong=$(expect '
from math import sqrt
def norm(v):
    l = sqrt(sum(x * x for x in v)); return [x / l for x in v]
def dot(a, b): return sum(x * y for x, y in zip(a, b))
ambient, diffuse, specular, shininess = [0.05, 0.05, 0.05, 1.0], [0.7, 0.6, 0.5, 1.0], [1.0, 1.0, 1.0, 1.0], 32.0
p, n, v = [0.0, 0.0, 0.0], [0.0, 0.0, 1.0], [0.0, 0.0, 1.0]
total = ambient[:]
for position, colour in (([0.0, 0.0, 10.0], [1.0, 1.0, 1.0, 1.0]), ([10.0, 0.0, 10.0], [0.5, 0.25, 1.0, 1.0])):
    l = norm([a - b for a, b in zip(position, p)])
    dot_nl = max(dot(n, l), 0.0)
    h = norm([a + b for a, b in zip(l, v)])
    dot_nh = max(dot(n, h), 0.0)
    highlight = dot_nh ** shininess if dot_nl > 0 else 0.0
    total = [t + c * (d * dot_nl + s * highlight) for t, c, d, s in zip(total, colour, diffuse, specular)]
print("result %.6g %.6g %.6g 1" % tuple(total[:3]))')
run_case phong "$source_dir/examples" phong.ovl "$phong" \
  ambient=0.05,0.05,0.05,1 diffuse=0.7,0.6,0.5,1 specular=1,1,1,1 shininess=32 \
  state:POINT=0,0,0 state:NORMAL=0,0,1 state:DIR=0,0,-1 light=0,0,10,1,1,1,1 light=10,0,10,0.5,0.25,1,1 \
  out:result:4 || failures=$((failures + 1))

# Layered: four layers of bands mixed by each blend mode (0 add, 3 multiply, 4 screen, the
# switch's default), through a struct, an array with values, a loop and helper functions.
for mode in 0 3 4; do
  layered=$(expect "
from math import sin
def bands(p, f):
    s = sin(p[0] * f) * sin(p[1] * f * 1.7) * sin(p[2] * f * 2.3); return s * 0.5 + 0.5
def blend(base, layer, mode):
    if mode == 0: return [a + b for a, b in zip(base, layer)]
    if mode == 3: return [a * b for a, b in zip(base, layer)]
    return [1 - (1 - a) * (1 - b) for a, b in zip(base, layer)]
total, scales, p = [0.2, 0.3, 0.4, 1.0], [1.0, 2.0, 4.0, 8.0], [0.3, 0.2, 0.1]
for i in range(4):
    tint = [0.25 * i, 0.5, 1.0 - 0.25 * i, 1.0]
    weight = bands(p, 4.0 * scales[i]) / scales[i]
    total = blend(total, [t * weight for t in tint], $mode)
print('result ' + ' '.join('%.6g' % min(max(x, 0.0), 1.0) for x in total))")
  run_case "layered_$mode" "$source_dir/examples" layered.ovl "$layered" \
    base=0.2,0.3,0.4,1 mode:int=$mode frequency=4 state:POINT=0.3,0.2,0.1 out:result:4 || failures=$((failures + 1))
done

# Statements, traced by hand with mode 2: the ifs leave 4, the loops leave n at 2 and total at
# 32, scale() doubles total through its inout parameter (twice_total 64) and returns 32, the
# third switch takes its default (7), and each sample loop runs once on this renderer's one
# sample at the pixel's centre: 7 + 0.5 + 0.5 + 0.5 = 8.5. The chains read left to right:
# (total = twice_total) = 3 leaves twice_total at 64, (total += place.x) = 1 leaves total 1, and
# (place.x = total) = 0.5 gives 0.5.
run_case statements "$source_dir/tests/data/gen" statements.ovl "result 1 64 0.5 1" \
  mode:int=2 out:result:4 || failures=$((failures + 1))

# Clashes: helpers named like built-ins, a file-level array, an input written by a method and
# by main: half = 0.5 * 2 * 0.1, filter 0.3 + 0.4, 0.5 + (0.25 + 0.25), and
# lighten(0.1) * 0.5 + (1.0 + 0.1) * 2. The third run on the same instance starts from the
# parameter as given again.
run_case clashes "$source_dir/tests/data/gen" clashes.ovl "result 0.1 0.7 1 2.75" \
  rim_power=1 matrix=0.5 runs=3 out:result:4 || failures=$((failures + 1))

# Places: m * v uses rows (-2, -2, -2), v * m columns (-6, -6, -6); c.rgb = (4, 4, 4), then
# g + 1 and b = r * 2; s doubles to 3, the written normal reads back 1, the direction is -z.
run_case places "$source_dir/tests/data/swrc" places.ovl "$(printf 'result 4 5 8 1\nextra 5')" \
  m=1,2,3,4,5,6,7,8,9 gain=2 state:DIR=0,0,-3 out:result:4 out:extra:1 || failures=$((failures + 1))

# An exported surface with its lights: each light fills the light values of the state (distance,
# direction, spread) before its own body reads them. A point light at (1, 0, 3) falls off as
# intensity / (1 + falloff d^2); a spot light at (0, 2, 4) shines along (0, -0.3, -1) with a cone
# smoothstep(cos, cos + softness, along), along the cosine between its axis and the way to the point.
lit=$(expect '
from math import sqrt
def norm(v):
    l = sqrt(sum(x * x for x in v)); return [x / l for x in v]
def dot(a, b): return sum(x * y for x, y in zip(a, b))
def smoothstep(a, b, x):
    t = min(max((x - a) / (b - a), 0.0), 1.0); return t * t * (3 - 2 * t)
ambient, diffuse, specular, shininess = [0.05, 0.05, 0.05], [0.8, 0.3, 0.2], [1.0, 1.0, 1.0], 32.0
n, v = [0.0, 0.0, 1.0], [0.0, 0.0, 1.0]
to_point = [1.0, 0.0, 3.0]
d = sqrt(dot(to_point, to_point))
point = [c * (4.0 / (1.0 + 0.25 * d * d)) for c in [1.0, 0.9, 0.8]]
to_spot = norm([0.0, 2.0, 4.0])
along = dot([-x for x in to_spot], norm([0.0, -0.3, -1.0]))
spot = [c * smoothstep(0.95, 1.0, along) for c in [0.6, 0.8, 1.0]]
total = ambient[:]
for l, colour in ((norm(to_point), point), (to_spot, spot)):
    dot_nl = max(dot(n, l), 0.0)
    dot_nh = max(dot(n, norm([a + b for a, b in zip(l, v)])), 0.0)
    total = [t + c * (df * dot_nl + s * dot_nh ** shininess) for t, c, df, s in zip(total, colour, diffuse, specular)]
print("result %.6g %.6g %.6g 1" % tuple(total))')
run_case lit_phong "$source_dir/tests/data/gen/expected_ovl/examples" lit_phong.surface.key_lamp.ovl "$lit" \
  __light0_color=1,0.9,0.8,1 __light0_intensity=4 __light0_falloff=0.25 __light0_position=1,0,3 \
  __light1_color=0.6,0.8,1,1 __light1_intensity=1 __light1_softness=0.05 __light1_position=0,2,4 \
  __light1_direction=0,-0.3,-1 __light1_spread_cos=0.95 surface_ambient=0.05,0.05,0.05,1 \
  surface_diffuse=0.8,0.3,0.2,1 surface_specular=1,1,1,1 surface_shininess=32 \
  state:POINT=0,0,0 state:NORMAL=0,0,1 state:DIR=0,0,-1 out:result:4 || failures=$((failures + 1))

# Outputs that nothing names need no field from the host: under the undefined-behaviour checker,
# a reference bound through the missing field stops the run.
if echo 'int main() {}' | g++ -x c++ -fsanitize=undefined - -o "$work/ubsan" 2>/dev/null; then
  run_flags="-fsanitize=undefined -fno-sanitize-recover=all" \
    run_case quiet_outputs "$source_dir/tests/data/swrc" quiet_outputs.ovl "result 2 0.5 0.25 1" \
    gain=2 out:result:4 || failures=$((failures + 1))
else
  echo "note: g++ has no undefined-behaviour checker here; quiet_outputs runs without it"
  run_case quiet_outputs "$source_dir/tests/data/swrc" quiet_outputs.ovl "result 2 0.5 0.25 1" \
    gain=2 out:result:4 || failures=$((failures + 1))
fi

# The renderer's bridge: struct parameters fetched member by member (tests/swrc/bridge_structs.cpp
# plays the renderer). Given: tint (0.5, 0.25, 1, 1) weight 0.5, scales 1 and 3, mode 2, label
# "key"; extra (1, 0, 0, 0) * 0.25 and (0, 1, 0, 0) * 0.75; gain 2. So sum = tint * 0.5 * 4 +
# (0.25, 0.75, 0, 0) = (1.25, 1.25, 2, 2), and result = 2 sum + (2, 1, 0, 0).
bridge() {
  if ! (cd "$source_dir/tests/data/swrc" && "$tool" --target Swrc --program 0 struct_params.ovl shader_type=surface) \
      >"$work/struct_params.cpp" 2>"$work/err"; then
    echo "FAIL: bridge: no C++ text" >&2; cat "$work/err" >&2; return 1
  fi
  if ! g++ -std=c++17 -O1 -Wall -Werror -DHALD -I "$source_dir/data" -DSHADER_SOURCE="\"$work/struct_params.cpp\"" \
      "$source_dir/tests/swrc/bridge_structs.cpp" -o "$work/bridge" 2>"$work/err"; then
    echo "FAIL: bridge: the C++ text does not build with the renderer" >&2; head -n 30 "$work/err" >&2; return 1
  fi
  local want got
  want=$(printf '%s\n' "top 0.5 0.25 1 1 0.5 2 1 3 2 key" "extra 2 0.25 1 0.75" "result 4.5 3.5 4 4" \
         "Tint color:COLOR:1 weight:SCALAR:1" "Layer tint:STRUCT:1 scales:SCALAR:2 mode:INT:1 label:STRING:1")
  got=$("$work/bridge" 2>&1)
  if [ "$got" != "$want" ]; then
    echo "FAIL: bridge: got" >&2; echo "$got" >&2; echo "want" >&2; echo "$want" >&2; return 1
  fi
}
bridge || failures=$((failures + 1))

echo "software shaders run: $failures failure(s)"
[ "$failures" -eq 0 ]
