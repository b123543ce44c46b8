#include "option_table.h"

#include <algorithm>

namespace vornc {

namespace {

const std::vector<const char*> any_text;
const std::vector<const char*> flag = {"true", "false"};

// Kept apart by the options object, for every target.
#define VORNC_COMMON_KEYS                                          \
    {"shader_type", {"surface", "light", "environment", "volume"}}, \
        {"shader_name", any_text}, {"primary_output", any_text}

const std::vector<Option_key> fx_keys = {
    VORNC_COMMON_KEYS,
    {"format", {"HLSL", "CgFX"}},
    {"debug", flag},
    {"annotation_map", any_text},
    {"two_sided", flag},
    {"interfaces", flag},
    {"light_interfaces_only", flag},
    {"eval_volume", flag},
    {"use_oit", flag},
    {"use_jitter", flag},
    {"swap_matrix_multiply", flag},
    {"no_param_init", flag},
    {"generate_samplers", flag},
    {"generate_texture_parameters", flag},
    {"generate_sampler_states", flag},
    {"flip_tex2d_v", flag},
    {"generate_umapped_annotations", flag},
    {"rotate_cube_map", flag},
    {"vertex_shader_profile", any_text},
    {"fragment_shader_profile", any_text},
    {"vs_binding_texcoord0", any_text},
    {"vs_binding_texcoord1", any_text},
    {"vs_binding_texcoord2", any_text},
    {"vs_binding_texcoord3", any_text},
    {"vs_binding_tangent", any_text},
    {"vs_binding_binormal", any_text},
    {"vs_binding_motion", any_text},
    {"vs_texture_transform_0", {"left", "right", "none"}},
    {"vs_texture_transform_1", {"left", "right", "none"}},
    {"vs_texture_transform_2", {"left", "right", "none"}},
    {"vs_texture_transform_3", {"left", "right", "none"}},
    {"fx_header", any_text},
    {"fx_footer", any_text},
    {"depth_test", flag},
    {"depth_write", flag},
    {"screen_space_vertices", flag},
    {"technique_annotations", any_text},
    {"pass_annotations", any_text},
    {"alpha_transparency", flag},
    {"light_interface_name", any_text},
    {"light_list_name", any_text},
    {"normals_face_forward", flag},
};

const std::vector<Option_key> gl_keys = {
    VORNC_COMMON_KEYS,
    {"vertex_shader_profile", any_text},
    {"fragment_shader_profile", any_text},
    {"use_oit", flag},
    {"two_sided", flag},
};

// Several shaders of one file, generated in turn and appended: decimal numbers.
const std::vector<Option_key> swrc_keys = {
    VORNC_COMMON_KEYS,
    {"shader_count", any_text},
    {"shader_index", any_text},
    // Read by preview only: the command that builds the text.
    {"cplusplus_compiler", any_text},
};

#undef VORNC_COMMON_KEYS

// The Cg generator runs the FX walk without the FX dialect's options and with its volume and
// annotation map options fixed; it reads two of its own.
std::vector<Option_key> make_cg_keys()
{
    const std::vector<std::string> not_read = {"format", "two_sided", "interfaces", "light_interfaces_only",
                                               "flip_tex2d_v", "use_oit", "use_jitter", "debug",
                                               "eval_volume", "annotation_map"};
    std::vector<Option_key> keys;
    for (const Option_key& key : fx_keys)
        if (std::find(not_read.begin(), not_read.end(), key.key) == not_read.end())
            keys.push_back(key);
    keys.push_back({"target_product", {"hald3"}});
    keys.push_back({"complete_program", {"1", "0", "true", "false"}});
    return keys;
}

const std::vector<Option_key> cg_keys = make_cg_keys();

std::string joined(const std::vector<const char*>& values)
{
    std::string out;
    for (size_t i = 0; i < values.size(); ++i)
        out += std::string(i == 0 ? "" : i + 1 == values.size() ? " or " : ", ") + values[i];
    return out;
}

}  // namespace

const std::vector<Option_key>* option_table(const std::string& target)
{
    if (target == "FX")
        return &fx_keys;
    if (target == "GL")
        return &gl_keys;
    if (target == "Cg")
        return &cg_keys;
    if (target == "Swrc")
        return &swrc_keys;
    return nullptr;
}

std::string check_option(const std::string& target, const std::string& key, const std::string& value)
{
    const std::vector<Option_key>* table = option_table(target);
    if (!table)
        return std::string();
    for (const Option_key& known : *table) {
        if (key != known.key)
            continue;
        if (known.values.empty())
            return std::string();
        for (const char* allowed : known.values)
            if (value == allowed)
                return std::string();
        return "option '" + key + "' takes " + joined(known.values) + ", not '" + value + "'; it is ignored";
    }
    return "the " + target + " target reads no option '" + key + "'; it is ignored";
}

}  // namespace vornc
