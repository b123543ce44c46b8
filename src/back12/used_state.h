// The state a generated program must provide: the function's table of used state variables,
// closed over what the target's main functions derive from what.
#pragma once

#include <cstdint>
#include <string>

#include "back12/generator_input.h"

namespace QZ {
namespace BACK12 {

// State variable numbers that the closing rules and the back ends name.
enum State_variable_number : int32_t {
    STATE_POSITION = 0,
    STATE_DIRECTION = 1,
    STATE_NORMAL = 2,
    STATE_GEOMETRY_NORMAL = 3,
    STATE_MOTION = 4,
    STATE_PARAMETRIC_UV = 5,
    STATE_RASTER = 6,
    STATE_TEXTURE_COORDINATE = 7,
    STATE_TEXTURE_TANGENT = 8,
    STATE_TEXTURE_BINORMAL = 9,
    STATE_RAY_LENGTH = 10,
    STATE_DOT_ND = 11,
    STATE_TANGENT_SPACE = 12,
    STATE_BACKSIDE = 13,
    STATE_IMPORTANCE = 16,
    STATE_ORIGIN = 21,
    STATE_INTERNAL_TO_OBJECT = 44,
    STATE_INTERNAL_TO_WORLD = 45,
    STATE_INTERNAL_TO_CAMERA = 46,
    STATE_INTERNAL_TO_RASTER = 47,
    STATE_WORLD_TO_INTERNAL = 48,
    STATE_WORLD_TO_CAMERA = 50,
    STATE_OBJECT_TO_INTERNAL = 52,
    STATE_OBJECT_TO_CAMERA = 54,
    STATE_CAMERA_TO_INTERNAL = 56,
    STATE_CAMERA_TO_WORLD = 57,
    STATE_CAMERA_TO_OBJECT = 58,
    STATE_CAMERA_TO_RASTER = 59,
    STATE_RASTER_TO_INTERNAL = 60,
    STATE_RASTER_TO_CAMERA = 63,
    STATE_VOLUME_INPUT = 78,
    STATE_STATE = 79,
    STATE_LIGHTS = 80,
};

// The settings of a target that the closing rules read.
struct Used_state_flags {
    bool normals_face_forward = false;
    // The variable of debug display; empty when there is none. Its head (up to the first "."
    // or "[") is looked up as a state variable.
    std::string debug_variable;
    bool interfaces = false;
};

// The state variable number of the head of a name, or -1.
int32_t debug_state_variable(const std::string& name);

// A copy of table closed by the rules, in this order:
// 1. normals_face_forward marks dot_nd.
// 2. A debug variable that is a state variable is marked; then a marked dot_nd marks direction
//    and normal.
// 3. lights marks position and normal.
// 4. tangent_space marks normal.
// 5. interfaces mark origin, position, direction, normal and ray_length.
// 6. parametric_uv marks texture_coordinate.
// 7. position is always marked.
// 8. The internal space is camera space: marks on the internal transforms move to their camera
//    twins, and internal_to_camera and camera_to_internal (the identity) are dropped.
Used_state_table close_used_state(const Used_state_table& table, const Used_state_flags& flags);

}  // namespace BACK12
}  // namespace QZ
