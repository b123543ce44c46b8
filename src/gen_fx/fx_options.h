// The settings of the FX generator, read once from the option attributes, with the rules by
// which some options force others.
#pragma once

#include <cstdint>
#include <string>

#include "compiler/compile_options.h"

namespace QZ {
namespace GEN_FX {

// Which side of a vertex texture coordinate a __texture_transform_N parameter multiplies.
enum Texture_transform_side : int32_t {
    TRANSFORM_NONE = 0,
    TRANSFORM_LEFT = 1,
    TRANSFORM_RIGHT = 2,
};

constexpr int32_t TEXTURE_TRANSFORM_COUNT = 4;
constexpr int32_t VERTEX_TEXCOORD_COUNT = 4;

struct Fx_options {
    bool debug = false;
    std::string annotation_map = "default.axml";
    bool hlsl = false;
    bool two_sided = false;
    bool interfaces = false;
    bool light_interfaces_only = false;
    bool eval_volume = true;
    bool use_oit = false;
    bool use_jitter = false;
    bool swap_mul = false;
    bool no_param_init = false;
    bool generate_texture_parameters = false;
    bool generate_sampler_states = false;
    bool flip_tex2d_v = false;
    bool generate_unmapped_annotations = true;
    bool rotate_cube_map = false;
    std::string vertex_shader_profile = "vs_3_0";
    std::string fragment_shader_profile = "ps_3_0";
    std::string vs_binding_texcoord[VERTEX_TEXCOORD_COUNT] = {"TEXCOORD0", "TEXCOORD1", "TEXCOORD2",
                                                              "TEXCOORD3"};
    std::string vs_binding_tangent = "TEXCOORD4";
    std::string vs_binding_binormal = "TEXCOORD5";
    std::string vs_binding_motion = "TEXCOORD6";
    Texture_transform_side vs_texture_transform[TEXTURE_TRANSFORM_COUNT] = {};
    std::string fx_header;
    std::string fx_footer;
    bool depth_test = true;
    bool depth_write = true;
    bool screen_space_vertices = false;
    std::string technique_annotations;
    std::string pass_annotations;
    bool alpha_transparency = false;
    std::string light_interface_name = "ILight";
    std::string light_list_name = "__light_shaders";
    bool normals_face_forward = false;

    // Not an option: a component (complete_program zero, shader type not surface) is a struct
    // implementing an interface instead of a whole program with a technique.
    bool component = false;
    // The technique's render-state block; no option turns it on, so files carry no depth lines.
    bool render_state = false;
};

// Reads every option with its default and applies the forcing rules. debug_index is the
// unit's debug index: 0 or more forces debug display on.
Fx_options read_fx_options(const COMPILER::Compile_options& options, int32_t debug_index);

}  // namespace GEN_FX
}  // namespace QZ
