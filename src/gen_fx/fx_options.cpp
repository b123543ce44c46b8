#include "gen_fx/fx_options.h"

namespace QZ {
namespace GEN_FX {

namespace {

using COMPILER::Compile_options;

bool flag(const Compile_options& options, const char* key)
{
    return options.attribute_equals(key, "true");
}

// A flag whose default is on: only the exact word "false" turns it off.
bool flag_unless_false(const Compile_options& options, const char* key)
{
    return !options.attribute_equals(key, "false");
}

// A flag with a default for a missing key; a present key is on only for "true".
bool flag_or(const Compile_options& options, const char* key, bool missing)
{
    return options.get_attribute(key) ? flag(options, key) : missing;
}

void read_text(const Compile_options& options, const char* key, std::string& value)
{
    if (const char* text = options.get_attribute(key))
        value = text;
}

Texture_transform_side transform_side(const Compile_options& options, const char* key)
{
    if (options.attribute_equals(key, "left"))
        return TRANSFORM_LEFT;
    if (options.attribute_equals(key, "right"))
        return TRANSFORM_RIGHT;
    return TRANSFORM_NONE;
}

// ORDER: indexed like Fx_options::vs_binding_texcoord and vs_texture_transform.
const char* const texcoord_binding_keys[VERTEX_TEXCOORD_COUNT] = {
    "vs_binding_texcoord0", "vs_binding_texcoord1", "vs_binding_texcoord2", "vs_binding_texcoord3"};
const char* const texture_transform_keys[TEXTURE_TRANSFORM_COUNT] = {
    "vs_texture_transform_0", "vs_texture_transform_1", "vs_texture_transform_2", "vs_texture_transform_3"};

}  // namespace

Fx_options read_fx_options(const Compile_options& options, int32_t debug_index)
{
    Fx_options fx;
    fx.component = options.complete_program == 0 && options.shader_type != COMPILER::SHADER_SURFACE;
    fx.debug = flag(options, "debug") || debug_index >= 0;
    read_text(options, "annotation_map", fx.annotation_map);
    fx.hlsl = options.attribute_equals("format", "HLSL");
    // The HLSL dialect has neither interfaces nor the two-sided colour trick.
    fx.two_sided = flag(options, "two_sided") && !fx.hlsl;
    fx.interfaces = flag(options, "interfaces") && !fx.hlsl;
    fx.light_interfaces_only = fx.interfaces && flag(options, "light_interfaces_only");
    fx.eval_volume = flag_unless_false(options, "eval_volume") && !fx.hlsl && !fx.component;
    fx.use_oit = flag(options, "use_oit");
    fx.use_jitter = flag(options, "use_jitter");
    fx.swap_mul = flag_or(options, "swap_matrix_multiply", fx.hlsl);
    fx.no_param_init = flag(options, "no_param_init");
    bool samplers = flag(options, "generate_samplers");
    fx.generate_texture_parameters = (samplers || flag(options, "generate_texture_parameters")) && !fx.component;
    fx.generate_sampler_states = samplers || flag(options, "generate_sampler_states");
    fx.flip_tex2d_v = flag(options, "flip_tex2d_v");
    fx.generate_unmapped_annotations = flag_unless_false(options, "generate_umapped_annotations");
    fx.rotate_cube_map = flag(options, "rotate_cube_map");
    read_text(options, "vertex_shader_profile", fx.vertex_shader_profile);
    read_text(options, "fragment_shader_profile", fx.fragment_shader_profile);
    for (int32_t n = 0; n < VERTEX_TEXCOORD_COUNT; ++n)
        read_text(options, texcoord_binding_keys[n], fx.vs_binding_texcoord[n]);
    read_text(options, "vs_binding_tangent", fx.vs_binding_tangent);
    read_text(options, "vs_binding_binormal", fx.vs_binding_binormal);
    read_text(options, "vs_binding_motion", fx.vs_binding_motion);
    for (int32_t n = 0; n < TEXTURE_TRANSFORM_COUNT; ++n)
        fx.vs_texture_transform[n] = transform_side(options, texture_transform_keys[n]);
    read_text(options, "fx_header", fx.fx_header);
    read_text(options, "fx_footer", fx.fx_footer);
    fx.depth_test = flag_or(options, "depth_test", true);
    fx.depth_write = flag_or(options, "depth_write", true);
    fx.screen_space_vertices = flag(options, "screen_space_vertices");
    read_text(options, "technique_annotations", fx.technique_annotations);
    read_text(options, "pass_annotations", fx.pass_annotations);
    fx.alpha_transparency = flag(options, "alpha_transparency");
    read_text(options, "light_interface_name", fx.light_interface_name);
    read_text(options, "light_list_name", fx.light_list_name);
    fx.normals_face_forward = flag(options, "normals_face_forward");
    return fx;
}

}  // namespace GEN_FX
}  // namespace QZ
