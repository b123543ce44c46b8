#include <gtest/gtest.h>

#include <vector>

#include "back12/used_state.h"

using namespace QZ::BACK12;

namespace {

Used_state_table table_of(std::initializer_list<int32_t> marked)
{
    Used_state_table table{};
    for (int32_t index : marked)
        table[size_t(index)] = true;
    return table;
}

std::vector<int32_t> marked(const Used_state_table& table)
{
    std::vector<int32_t> result;
    for (size_t i = 0; i < table.size(); ++i)
        if (table[i])
            result.push_back(int32_t(i));
    return result;
}

}  // namespace

TEST(Back12_used_state, position_is_always_marked_and_the_input_is_not_changed)
{
    Used_state_table empty{};
    EXPECT_EQ(marked(close_used_state(empty, {})), std::vector<int32_t>{STATE_POSITION});
    EXPECT_EQ(marked(empty), std::vector<int32_t>{});
}

TEST(Back12_used_state, derived_values_pull_in_what_they_are_made_from)
{
    // lights: position and normal; tangent_space: normal; parametric_uv: texture_coordinate.
    EXPECT_EQ(marked(close_used_state(table_of({STATE_LIGHTS}), {})),
              (std::vector<int32_t>{STATE_POSITION, STATE_NORMAL, STATE_LIGHTS}));
    EXPECT_EQ(marked(close_used_state(table_of({STATE_TANGENT_SPACE}), {})),
              (std::vector<int32_t>{STATE_POSITION, STATE_NORMAL, STATE_TANGENT_SPACE}));
    EXPECT_EQ(marked(close_used_state(table_of({STATE_PARAMETRIC_UV}), {})),
              (std::vector<int32_t>{STATE_POSITION, STATE_PARAMETRIC_UV, STATE_TEXTURE_COORDINATE}));
}

TEST(Back12_used_state, dot_nd_pulls_direction_and_normal_only_through_the_debug_rule)
{
    // Rule 1 alone marks dot_nd; direction and normal come with rule 2, so only when a debug
    // variable that is a state variable is named.
    Used_state_flags face_forward;
    face_forward.normals_face_forward = true;
    EXPECT_EQ(marked(close_used_state({}, face_forward)), (std::vector<int32_t>{STATE_POSITION, STATE_DOT_ND}));

    face_forward.debug_variable = "raster";
    EXPECT_EQ(marked(close_used_state({}, face_forward)),
              (std::vector<int32_t>{STATE_POSITION, STATE_DIRECTION, STATE_NORMAL, STATE_RASTER, STATE_DOT_ND}));

    // A debug variable that is no state variable changes nothing.
    face_forward.debug_variable = "my_value";
    EXPECT_EQ(marked(close_used_state({}, face_forward)), (std::vector<int32_t>{STATE_POSITION, STATE_DOT_ND}));
}

TEST(Back12_used_state, debug_variable_is_looked_up_by_its_head)
{
    Used_state_flags flags;
    flags.debug_variable = "texture_coordinate[0]";
    EXPECT_EQ(marked(close_used_state({}, flags)), (std::vector<int32_t>{STATE_POSITION, STATE_TEXTURE_COORDINATE}));
    flags.debug_variable = "dot_nd";
    EXPECT_EQ(marked(close_used_state({}, flags)),
              (std::vector<int32_t>{STATE_POSITION, STATE_DIRECTION, STATE_NORMAL, STATE_DOT_ND}));
    flags.debug_variable = "tangent_space.x";
    // tangent_space is marked by rule 2 and then pulls normal by rule 4.
    EXPECT_EQ(marked(close_used_state({}, flags)),
              (std::vector<int32_t>{STATE_POSITION, STATE_NORMAL, STATE_TANGENT_SPACE}));
    EXPECT_EQ(debug_state_variable(""), -1);
    EXPECT_EQ(debug_state_variable("[0]"), -1);
}

TEST(Back12_used_state, interfaces_mark_the_five_shared_fields)
{
    Used_state_flags flags;
    flags.interfaces = true;
    EXPECT_EQ(marked(close_used_state({}, flags)),
              (std::vector<int32_t>{STATE_POSITION, STATE_DIRECTION, STATE_NORMAL, STATE_RAY_LENGTH, STATE_ORIGIN}));
}

TEST(Back12_used_state, internal_space_folds_onto_camera_space)
{
    Used_state_table table = table_of({STATE_INTERNAL_TO_OBJECT, STATE_INTERNAL_TO_WORLD, STATE_INTERNAL_TO_RASTER,
                                       STATE_OBJECT_TO_INTERNAL, STATE_WORLD_TO_INTERNAL, STATE_RASTER_TO_INTERNAL,
                                       STATE_INTERNAL_TO_CAMERA, STATE_CAMERA_TO_INTERNAL});
    EXPECT_EQ(marked(close_used_state(table, {})),
              (std::vector<int32_t>{STATE_POSITION, STATE_WORLD_TO_CAMERA, STATE_OBJECT_TO_CAMERA,
                                    STATE_CAMERA_TO_WORLD, STATE_CAMERA_TO_OBJECT, STATE_CAMERA_TO_RASTER,
                                    STATE_RASTER_TO_CAMERA}));
    // Marks already on the camera transforms stay.
    EXPECT_EQ(marked(close_used_state(table_of({STATE_CAMERA_TO_WORLD}), {})),
              (std::vector<int32_t>{STATE_POSITION, STATE_CAMERA_TO_WORLD}));
}
