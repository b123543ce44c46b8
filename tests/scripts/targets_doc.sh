#!/usr/bin/env bash
# The statements of docs/targets.md about generated text, checked against what vornc writes and
# what glslangValidator makes of it, with the commands the document gives. A statement changed
# in the document is changed here too.
# Usage: targets_doc.sh BUILD_DIR SOURCE_DIR
set -uo pipefail
build=$1
source=$2
vornc=$build/vornc
fail=0
check() { if ! eval "$2"; then echo "FAILED: $1"; fail=1; fi; }
has() { grep -qF -- "$2" "$1"; }

tmp=$(mktemp -d)
trap 'rm -rf "$tmp"' EXIT
cd "$tmp" || exit 1
cat >timed.ovl <<'OVL'
shader Timed
{
input:
    Color tint = Color(1.0, 0.5, 0.25, 1.0);
    Int steps = 4;
    Bool on = true;
    Scalar point = 0.5;
output:
    Color result;
    void main()
    {
        Scalar t = animation_time * near_clip + point + texture_coordinate[0].x;
        Vector3 b = texture_binormal[0] + texture_tangent[0];
        result = on ? tint * frac(t * steps) : Color(normal + b, 1.0);
    }
};
OVL
cp "$source/examples/technique.ovl" "$source/examples/layered.ovl" "$source/examples/phong.ovl" .
mkdir -p gl fx two light none
for file in timed technique layered phong; do
  "$vornc" compile $file.ovl --target GL -o gl >/dev/null 2>&1 || echo "FAILED: GL of $file"
  "$vornc" compile $file.ovl --target FX -o fx >/dev/null 2>&1 || echo "FAILED: FX of $file"
done
"$vornc" compile timed.ovl --target GL --option two_sided=true -o two >/dev/null 2>&1
"$vornc" compile timed.ovl --target GL --option shader_type=light -o light >/dev/null 2>&1

# Swrc: a C++ file that compiles against the runtime header shipped in data/.
mkdir -p swrc
"$vornc" compile timed.ovl --target Swrc -o swrc >/dev/null 2>&1 || echo "FAILED: Swrc of timed"
check "Swrc writes NAME.cpp" "test -s swrc/timed.cpp"
check "Swrc C++ includes ovrel.h" "has swrc/timed.cpp '#include <ovrel.h>'"
check "Swrc C++ compiles with g++ against data/ovrel.h" \
  "g++ -std=c++17 -Wall -Werror -fsyntax-only -I '$source/data' swrc/timed.cpp"
check "Swrc class and plug-in names" "has swrc/timed.cpp 'class ovl_Timed : public Shader' && has swrc/timed.cpp 'return \"softshader_Timed\";'"
check "Swrc parameters are read by name from the input block" "has swrc/timed.cpp 'inputs->get_field(\"tint\")'"
check "Swrc writes NAME.decl" "has swrc/timed.decl 'declare shader'"
check "Swrc C++ compiles with the bridge under HALD" \
  "g++ -std=c++17 -Wall -Werror -fsyntax-only -DHALD -I '$source/data' swrc/timed.cpp"

# GL: language level.
check "GL texts have no #version line" "! grep -q '^#version' gl/timed.vert gl/timed.frag"
for word in 'ftransform()' gl_Vertex gl_Normal gl_ModelViewMatrix gl_NormalMatrix gl_MultiTexCoord0 gl_MultiTexCoord3 gl_FrontColor gl_BackColor; do
  check "the vertex text uses $word" "has gl/timed.vert '$word'"
done
check "the fragment text writes gl_FragColor" "has gl/timed.frag 'gl_FragColor ='"
check "glslangValidator -d accepts the vertex text" "glslangValidator -d gl/timed.vert >/dev/null"
(printf '#version 150 core\n'; cat gl/timed.vert) >core.vert
check "a core profile refuses the vertex text at ftransform" "! glslangValidator core.vert >core.log && grep -q ftransform core.log"

# GL: vertex data.
check "tangents come from unit 4 and binormals from unit 5" \
  "has gl/timed.vert 'gl_MultiTexCoord4.xyz' && has gl/timed.vert 'gl_MultiTexCoord5.xyz'"
check "positions reach the fragment text through the model-view matrix" \
  "has gl/timed.vert 'position = (gl_ModelViewMatrix * gl_Vertex).xyz;'"

# GL: parameters and state uniforms.
for line in 'uniform vec4 ovl_tint;' 'uniform int ovl_steps;' 'uniform bool ovl_on;' 'uniform float animation_time;' \
    'uniform float near_clip;' 'uniform mat4 object_to_camera;' 'uniform mat4 object_to_raster;' 'uniform mat4 camera_to_object;'; do
  check "GL declares $line" "has gl/timed.frag '$line'"
done
check "GL declares the texture input as a sampler" "has gl/technique.frag 'uniform sampler2D ovl_albedo;'"
check "GL texts hold no default value of an input" "! grep -q '0\.25' gl/timed.frag && ! grep -q 'albedo.png' gl/technique.frag"

# GL: matrices held by columns, products swapped.
cat >turned.ovl <<'OVL'
shader Turned { output: Color result;
    void main() { Vector4 p = Vector4(position, 1.0); result = Color(p * object_to_camera); } };
OVL
"$vornc" compile turned.ovl --target GL -o gl >/dev/null 2>&1
check "p * object_to_camera is the model-view matrix times p" "has gl/turned.frag 'vec4(object_to_camera * ovl_p)'"

# GL: flip_normal.
check "both texts declare flip_normal" "has gl/timed.vert 'uniform float flip_normal;' && has gl/timed.frag 'uniform float flip_normal;'"
check "flip_normal above 0 colours front faces 1" \
  "grep -A1 'if( flip_normal > 0.0 ) {' gl/timed.vert | grep -qF 'gl_FrontColor = vec4(1.0);'"
check "only two_sided reads the colour in the fragment text" \
  "! grep -q gl_Color gl/timed.frag && has two/timed.frag 'float flip = sign(gl_Color.r - 0.5);' && has two/timed.frag 'state.normal = normalize(normal) * flip;'"

# GL: companion.
for name in illumination log10 modf round saturate sincos transpose; do
  check "the fragment text declares $name" "grep -Eq '^[a-z0-9]+ $name\(' gl/timed.frag"
done
cp gl/layered.frag a.frag
cp "$source/data/vorn_companion.glsl" b.frag
check "the fragment text links with the companion" "glslangValidator -d -l a.frag b.frag >/dev/null"
check "without the companion a call of saturate does not link" "! glslangValidator -d -l a.frag >nolink.log && grep -q saturate nolink.log"

# GL: lights.
check "a surface compiled from source has an empty light loop" "has phong.ovl 'foreach (light)' && ! grep -q 'ovl_light\.' gl/phong.frag"
check "a light's fragment text has no main" "! grep -q 'void main' light/timed.frag"
check "a light defines NAME_eval returning Light_iterator" "has light/timed.frag 'Light_iterator Timed_eval(State state)'"
check "a light reads light_position and light_direction" \
  "has light/timed.frag 'uniform vec3 light_position;' && has light/timed.frag 'uniform vec3 light_direction;'"

# FX: entries, technique, parameters.
check "FX technique T0 pass P0 compiles vertex_main and fragment_main for vs_3_0 and ps_3_0" \
  "has fx/timed.fx 'technique T0' && has fx/timed.fx 'pass P0' && has fx/timed.fx 'VertexShader = compile vs_3_0 vertex_main();' && has fx/timed.fx 'PixelShader  = compile ps_3_0 fragment_main();'"
check "FX parameters keep the source default" "has fx/technique.fx 'float exposure = 1.0;'"
check "a target word gets a leading _" "grep -q '^float _point' fx/timed.fx"
check "the installed map gives a Color parameter UIWidget" "grep -A2 '^float4 tint' fx/timed.fx | grep -qF 'string UIWidget = \"Color\";'"
check "a texture input is a sampler with a sampler_state and its File" \
  "has fx/technique.fx 'sampler2D albedo' && has fx/technique.fx 'string File = \"albedo.png\";' && has fx/technique.fx 'sampler_state'"
for line in 'float4x4 __object_to_camera : WorldView;' 'float4x4 __object_to_raster : WorldViewProjection;' 'float __animation_time : Time= 0;'; do
  check "FX binds $line" "has fx/timed.fx '$line'"
done
check "App2vert has POSITION and NORMAL" "has fx/phong.fx 'float4 position : POSITION;' && has fx/phong.fx 'float3 normal : NORMAL;'"
check "the clip position comes from __object_to_raster" "has fx/phong.fx 'vs_out.hpos = mul(__object_to_raster, vs_in.position);'"

# FX without its map: one warning, no semantics.
mkdir -p alone/out && cp "$build"/libvorn.so.0 "$vornc" alone/
err=$(cd alone && ./vornc compile ../timed.ovl --target FX -o out 2>&1 >/dev/null)
check "a missing map is one warning naming it and the folders" \
  "[ \$(grep -c 'data file \"default.axml\" not found; looked in: .*alone' <<<\"\$err\") -eq 1 ]"
check "without the map the state parameters have no semantic" "has alone/out/timed.fx 'float4x4 __object_to_camera;'"

# FX: the checking commands of the document.
perl -0777 -pe 's/^technique .*?^\}\n//ms; s/^texture \w+ <.*?^>;\n//msg;
                s/\s*=\s*sampler_state\s*\{.*?\};/;/sg' fx/technique.fx >technique.hlsl
check "glslangValidator compiles the vertex stage" \
  "glslangValidator -D -V --hlsl-dx9-compatible -S vert -e vertex_main -o /dev/null technique.hlsl >/dev/null"
check "glslangValidator compiles the fragment stage" \
  "glslangValidator -D -V --hlsl-dx9-compatible -S frag -e fragment_main -o /dev/null technique.hlsl >/dev/null"
# Cg: the programs that vornc writes, and what the shader's struct holds.
mkdir -p cg part
"$vornc" compile timed.ovl --target Cg -o cg >/dev/null 2>&1 || echo "FAILED: Cg of timed"
check "Cg writes the vertex main as NAME.v.cg" "cmp -s cg/timed.v.cg '$build/shaders/main_v.cg'"
check "NAME.f.cg is the fragment main file, then the shader" \
  "head -c \$(wc -c <'$build/shaders/main_vorn_nimbal_f.cg') cg/timed.f.cg | cmp -s - '$build/shaders/main_vorn_nimbal_f.cg' && has cg/timed.f.cg 'struct Timed : qziColor'"
check "non-varying state is a member under its renderer name" "has cg/timed.f.cg '	float qzGlobalTime;'"
"$vornc" compile timed.ovl --target Cg --option complete_program=0 -o part >/dev/null 2>&1
check "complete_program=0 writes the shader alone" \
  "[ ! -e part/timed.v.cg ] && head -n 1 part/timed.f.cg | grep -q '^/\*\*\*' && has part/timed.f.cg 'struct Timed : qziColor'"
exit $fail
