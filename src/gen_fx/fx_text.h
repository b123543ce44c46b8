// The fixed text of effect files: banner, prelude, comments and fixed structs, and the tables of
// names and state texts. Every block is written through one call; a "%s" in a block takes one
// of the fixed names, so a build that renames them changes one table.
#pragma once

#include <cstdint>
#include <string>

#include "syntax_tree/state_tables.h"

namespace QZ {
namespace GEN_FX {

// The fixed names of generated code, stored once so that a build or a derived target can alter
// them.
struct Fx_names {
    std::string light_iterator = "Light_iterator";
    std::string app2vert = "App2vert";
    std::string vert2frag = "Vert2frag";
    std::string vertex_main = "vertex_main";
    std::string fragment_main = "fragment_main";
    std::string vs_in = "vs_in";
    std::string vs_out = "vs_out";
    std::string fs_in = "fs_in";
    std::string state = "State";
    std::string color_interface = "IColor";
    std::string environment_shader = "__environment_shader";
    std::string volume_shader = "__volume_shader";
    std::string shadow_shader = "__shadow_shader";
    std::string black = "Black";
    std::string white = "White";
    std::string reflect_environment = "__reflect_environment";
    std::string refract_environment = "__refract_environment";
    std::string trace_environment = "__trace_environment";
    std::string using_depth = "__using_depth";
    std::string depth_texture = "__depth_texture";
    std::string texture_transform[4] = {"__texture_transform_0", "__texture_transform_1", "__texture_transform_2",
                                        "__texture_transform_3"};
    std::string tex2d_flip_v = "__tex2D_flip_v";
    std::string light_position = "__light_position";
    std::string light_direction = "__light_direction";
    std::string light_type = "__light_type";
    std::string light_spread = "__light_spread";
    std::string light_spread_cos = "__light_spread_cos";
    std::string light_distance_limit = "__light_distance_limit";
    std::string technique = "T0";
    std::string pass = "P0";
};

namespace TEXT {

// Banner: six lines of 79 characters framed by asterisks, then an empty line.
extern const char* const banner_head;  // the first five lines
extern const char* const banner_tail;  // the closing line and the empty line
// The closing line of the GL and Cg banners, without the empty line.
extern const char* const banner_closing_line;

// Prelude
extern const char* const light_type_defines;
extern const char* const light_iterator_struct;  // %s: light iterator
extern const char* const ray_struct;
extern const char* const hlsl_constructors;
extern const char* const depth_peeling;      // %s: using depth, %s: depth texture
extern const char* const light_interface;    // %s: light interface, %s: light iterator
extern const char* const color_interface;    // %s: colour interface
extern const char* const default_colors;     // %s: Black, %s: IColor, %s: White, %s: IColor
extern const char* const environment_helpers_comment;
extern const char* const reflect_helper;  // %s: helper name, %s: colour interface
extern const char* const refract_helper;
extern const char* const trace_helper;
extern const char* const flip_helper_head;      // %s: helper name
extern const char* const flip_helper_body;      // written as it stands: it carries its own tab
extern const char* const flip_helper_ddx_head;  // %s: helper name
extern const char* const flip_helper_ddx_body;

// Sections
extern const char* const state_struct_head;  // %s: State
extern const char* const state_parameters_comment;
extern const char* const light_attachments_comment;
extern const char* const all_attachments_comment;
extern const char* const texture_transform;  // %s: parameter
extern const char* const app2vert_head;      // %s: App2vert
extern const char* const vert2frag_head;     // %s: Vert2frag
extern const char* const vertex_main_head;   // %s %s: Vert2frag, vertex main; %s %s: App2vert, vs_in
extern const char* const fragment_main_head;  // %s: fragment main; %s %s: Vert2frag, fs_in
extern const char* const technique_comment;
extern const char* const root_comment;
extern const char* const shader_functions_comment;
extern const char* const oit_test;  // %s: using depth; %s %s: depth texture, fs_in; %s: fs_in
extern const char* const two_sided_colors;  // %s: object_to_world; %s %s %s %s: vs_out
// %s: light type, twice; light direction; position and light position; normal.
extern const char* const light_setup;

// The identity that internal_to_camera and camera_to_internal print.
extern const char* const identity_matrix;

}  // namespace TEXT

// A state variable that the effect holds as a parameter: its name and default text (null when
// the parameter has no default).
struct State_parameter {
    const char* name;
    const char* default_text;
};

// The parameter of a non-varying state variable (19 to 77), with the internal space folded onto
// camera space; name null for the others and for the identities.
const State_parameter& state_parameter(int32_t index);

// The text of a state variable in the fragment code without interfaces and two-sided colours;
// null where the variable is a parameter (state_parameter) or the identity.
const char* state_access_text(int32_t index);

}  // namespace GEN_FX
}  // namespace QZ
