#include "syntax_tree/state_tables.h"

namespace QZ {
namespace SYNTAX_TREE {

namespace {

// Per-vertex data of up to 256 texture spaces.
constexpr uint32_t SPACES = 256;

}  // namespace

const State_entry state_variable_table[STATE_VARIABLE_COUNT] = {
    {"position", TYPE_VECTOR3, 1},
    {"direction", TYPE_VECTOR3, 1},
    {"normal", TYPE_VECTOR3, 1},
    {"geometry_normal", TYPE_VECTOR3, 1},
    {"motion", TYPE_VECTOR3, 1},
    {"parametric_uv", TYPE_VECTOR2, 1},
    {"raster", TYPE_VECTOR2, 1},
    {"texture_coordinate", TYPE_VECTOR4, SPACES},
    {"texture_tangent", TYPE_VECTOR3, SPACES},
    {"texture_binormal", TYPE_VECTOR3, SPACES},
    {"ray_length", TYPE_SCALAR, 1},  // 10
    {"dot_nd", TYPE_SCALAR, 1},
    {"tangent_space", TYPE_MATRIX3X3, SPACES},
    {"backside", TYPE_BOOLEAN, 1},
    {"ray_type", TYPE_STRING, 1},
    {"ray_shader", TYPE_STRING, 1},
    {"importance", TYPE_SCALAR, 1},
    {"texture_dv", TYPE_VECTOR3, SPACES},
    {"texture_du", TYPE_VECTOR3, SPACES},
    {"refracted_ior", TYPE_SCALAR, 1},
    {"incident_ior", TYPE_SCALAR, 1},  // 20
    {"position", TYPE_VECTOR3, 1},
    {"animation_time", TYPE_SCALAR, 1},
    {"animation_frame", TYPE_INT32, 1},
    {"shutter_time", TYPE_SCALAR, 1},
    {"shutter_duration", TYPE_SCALAR, 1},
    {"shutter_position", TYPE_SCALAR, 1},
    {"shutter_open", TYPE_SCALAR, 1},
    {"shutter_close", TYPE_SCALAR, 1},
    {"orthographic", TYPE_BOOLEAN, 1},
    {"focal_length", TYPE_SCALAR, 1},  // 30
    {"aperture", TYPE_SCALAR, 1},
    {"aspect_ratio", TYPE_SCALAR, 1},
    {"near_clip", TYPE_SCALAR, 1},
    {"far_clip", TYPE_SCALAR, 1},
    {"camera_offset", TYPE_VECTOR2, 1},
    {"dof_radius", TYPE_SCALAR, 1},
    {"dof_focus", TYPE_SCALAR, 1},
    {"image_x_resolution", TYPE_INT32, 1},
    {"image_y_resolution", TYPE_INT32, 1},
    {"window_left", TYPE_INT32, 1},  // 40
    {"window_right", TYPE_INT32, 1},
    {"window_top", TYPE_INT32, 1},
    {"window_bottom", TYPE_INT32, 1},
    {"internal_to_object", TYPE_MATRIX, 1},  // 44: the twenty transforms
    {"internal_to_world", TYPE_MATRIX, 1},
    {"internal_to_camera", TYPE_MATRIX, 1},
    {"internal_to_raster", TYPE_MATRIX, 1},
    {"world_to_internal", TYPE_MATRIX, 1},
    {"world_to_object", TYPE_MATRIX, 1},
    {"world_to_camera", TYPE_MATRIX, 1},  // 50
    {"world_to_raster", TYPE_MATRIX, 1},
    {"object_to_internal", TYPE_MATRIX, 1},
    {"object_to_world", TYPE_MATRIX, 1},
    {"object_to_camera", TYPE_MATRIX, 1},
    {"object_to_raster", TYPE_MATRIX, 1},
    {"camera_to_internal", TYPE_MATRIX, 1},
    {"camera_to_world", TYPE_MATRIX, 1},
    {"camera_to_object", TYPE_MATRIX, 1},
    {"camera_to_raster", TYPE_MATRIX, 1},
    {"raster_to_internal", TYPE_MATRIX, 1},  // 60
    {"raster_to_object", TYPE_MATRIX, 1},
    {"raster_to_world", TYPE_MATRIX, 1},
    {"raster_to_camera", TYPE_MATRIX, 1},
    {"light_position", TYPE_VECTOR3, 1},
    {"light_direction", TYPE_VECTOR3, 1},
    {"light_to_surface", TYPE_VECTOR3, 1},
    {"light_distance", TYPE_SCALAR, 1},
    {"light_dot_nl", TYPE_SCALAR, 1},
    {"light_normal", TYPE_VECTOR3, 1},
    {"light_uv", TYPE_VECTOR2, 1},  // 70
    {"light_texture_coordinate", TYPE_VECTOR4, SPACES},
    {"light_texture_tangent", TYPE_VECTOR3, SPACES},
    {"light_texture_binormal", TYPE_VECTOR3, SPACES},
    {"light_type", TYPE_STRING, 1},
    {"light_spread", TYPE_SCALAR, 1},
    {"light_spread_cos", TYPE_SCALAR, 1},
    {"light_distance_limit", TYPE_SCALAR, 1},
    {"volume_input", TYPE_COLOR, 1},
    {"state", TYPE_ILLEGAL, 0},
    {"lights", TYPE_ILLEGAL, 0},  // 80
};

// Result types, chosen for what the back ends print for each call: flags are Bool, depths and
// dimensions Int, transforms a Matrix4x4 or a Vector3, and the environment and shadow queries a
// Color. The messages return nothing ("void", code 0 with array size 1).
const State_entry state_function_table[STATE_FUNCTION_COUNT] = {
    {"get_texture_component", TYPE_SCALAR, 1},
    {"get_texture_dimension", TYPE_INT32, 1},
    {"is_ray_dispersal_group", TYPE_BOOLEAN, 1},
    {"is_ray_history_group", TYPE_BOOLEAN, 1},
    {"trace", TYPE_BOOLEAN, 1},
    {"trace_immediate", TYPE_BOOLEAN, 1},
    {"get_shadowing", TYPE_COLOR, 1},
    {"get_trace_depth", TYPE_INT32, 1},
    {"occlusion", TYPE_SCALAR, 1},
    {"get_shader_parameter", TYPE_BOOLEAN, 1},
    {"error", TYPE_ILLEGAL, 1},  // 10
    {"warning", TYPE_ILLEGAL, 1},
    {"info", TYPE_ILLEGAL, 1},
    {"progress", TYPE_ILLEGAL, 1},
    {"get_transform", TYPE_MATRIX, 1},
    {"transform_point", TYPE_VECTOR3, 1},
    {"transform_vector", TYPE_VECTOR3, 1},
    {"transform_normal", TYPE_VECTOR3, 1},
    {"reflect_environment", TYPE_COLOR, 1},
    {"refract_environment", TYPE_COLOR, 1},
    {"trace_environment", TYPE_COLOR, 1},  // 20
    {"irradiance", TYPE_COLOR, 1},
};

}  // namespace SYNTAX_TREE
}  // namespace QZ
