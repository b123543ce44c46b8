#include "back12/used_state.h"

#include "syntax_tree/mod_syntax_tree.h"

namespace QZ {
namespace BACK12 {

namespace {

struct Space_fold {
    int32_t from;
    int32_t to;
};

const Space_fold internal_to_camera_folds[] = {
    {STATE_INTERNAL_TO_OBJECT, STATE_CAMERA_TO_OBJECT}, {STATE_INTERNAL_TO_WORLD, STATE_CAMERA_TO_WORLD},
    {STATE_INTERNAL_TO_RASTER, STATE_CAMERA_TO_RASTER}, {STATE_OBJECT_TO_INTERNAL, STATE_OBJECT_TO_CAMERA},
    {STATE_WORLD_TO_INTERNAL, STATE_WORLD_TO_CAMERA},   {STATE_RASTER_TO_INTERNAL, STATE_RASTER_TO_CAMERA},
};

}  // namespace

int32_t debug_state_variable(const std::string& name)
{
    std::string head = name.substr(0, name.find_first_of(".["));
    if (head.empty() || !SYNTAX_TREE::mod_syntax_tree)
        return -1;
    return SYNTAX_TREE::mod_syntax_tree->state_variable_index(head.c_str());
}

Used_state_table close_used_state(const Used_state_table& table, const Used_state_flags& flags)
{
    Used_state_table used = table;
    if (flags.normals_face_forward)
        used[STATE_DOT_ND] = true;
    int32_t debug = debug_state_variable(flags.debug_variable);
    if (debug >= 0 && debug < SYNTAX_TREE::STATE_VARIABLE_COUNT) {
        used[size_t(debug)] = true;
        if (used[STATE_DOT_ND])
            used[STATE_DIRECTION] = used[STATE_NORMAL] = true;
    }
    if (used[STATE_LIGHTS])
        used[STATE_POSITION] = used[STATE_NORMAL] = true;
    if (used[STATE_TANGENT_SPACE])
        used[STATE_NORMAL] = true;
    if (flags.interfaces) {
        for (int32_t index : {STATE_ORIGIN, STATE_POSITION, STATE_DIRECTION, STATE_NORMAL, STATE_RAY_LENGTH})
            used[size_t(index)] = true;
    }
    if (used[STATE_PARAMETRIC_UV])
        used[STATE_TEXTURE_COORDINATE] = true;
    used[STATE_POSITION] = true;
    for (const Space_fold& fold : internal_to_camera_folds) {
        if (used[size_t(fold.from)])
            used[size_t(fold.to)] = true;
        used[size_t(fold.from)] = false;
    }
    used[STATE_INTERNAL_TO_CAMERA] = used[STATE_CAMERA_TO_INTERNAL] = false;
    return used;
}

}  // namespace BACK12
}  // namespace QZ
