// The GL generator: tables, the two texts and their sections that are not tree walks.
#include "gen_gl/gl_code_generator.h"

#include <cstring>
#include <set>

#include "gen_fx/fx_text.h"
#include "gen_gl/mod_gen_gl.h"
#include "syntax_tree/compilation_unit.h"
#include "syntax_tree/st_node.h"
#include "syntax_tree/type.h"

namespace QZ {
namespace GEN_GL {

using BACK12::Generator_variable;
using SYNTAX_TREE::Compilation_unit;
using SYNTAX_TREE::St_node;
using SYNTAX_TREE::Type;
namespace ST = SYNTAX_TREE;

namespace {

const char* const gl_type_map[][2] = {
    {"Bool", "bool"},           {"Scalar", "float"},        {"Int", "int"},
    {"Color", "vec4"},          {"String", "int"},          {"Vector2", "vec2"},
    {"Vector3", "vec3"},        {"Vector4", "vec4"},        {"Vector2i", "ivec2"},
    {"Vector3i", "ivec3"},      {"Vector4i", "ivec4"},      {"Vector2b", "bvec2"},
    {"Vector3b", "bvec3"},      {"Vector4b", "bvec4"},      {"Matrix2x2", "mat2"},
    {"Matrix2x3", "mat3"},      {"Matrix3x2", "mat3"},      {"Matrix3x3", "mat3"},
    {"Matrix4x3", "mat4"},      {"Matrix3x4", "mat4"},      {"Matrix4x2", "mat4"},
    {"Matrix2x4", "mat4"},      {"Matrix4x4", "mat4"},      {"Texture1d", "sampler1D"},
    {"Texture2d", "sampler2D"}, {"Texture3d", "sampler3D"}, {"Texture_cube", "samplerCube"},
    {"State", "State"},         {"Light_iterator", "Light_iterator"},
    {"Sample_iterator", "Sample_iterator"},
};

// log10, modf, round and saturate keep their names: the companion source declares them.
const char* const gl_function_map[][2] = {
    {"atan2", "atan"},    {"ddx", "dFdx"},       {"ddy", "dFdy"},           {"fmod", "mod"},
    {"frac", "fract"},    {"lerp", "mix"},       {"rsqrt", "inversesqrt"},  {"tex1D", "texture1D"},
    {"tex2D", "texture2D"}, {"tex3D", "texture3D"}, {"texCUBE", "textureCube"}, {"operator*", ""},
};

// Member names that are words of the target; GLSL has no "point", so that one stays.
const char* const gl_identifier_map[][2] = {
    {"texture", "_texture"},
    {"half", "_half"},
    {"min", "_min"},
    {"max", "_max"},
};

// Words that GLSL keeps for itself (its keywords, types and reserved words, of this version and
// later ones that a driver may already reserve): a member of that name takes a "_" before it.
const char* const gl_reserved_words[] = {
    "asm", "class", "union", "enum", "typedef", "template", "this", "packed", "goto", "switch", "default",
    "inline", "noinline", "volatile", "public", "static", "extern", "external", "interface", "long", "short",
    "double", "half", "fixed", "unsigned", "input", "output", "hvec2", "hvec3", "hvec4", "dvec2", "dvec3",
    "dvec4", "fvec2", "fvec3", "fvec4", "sampler2DRect", "sampler3DRect", "sampler2DRectShadow", "sizeof",
    "cast", "namespace", "using", "common", "partition", "active", "filter", "case", "attribute", "varying",
    "uniform", "in", "out", "inout", "discard", "struct", "true", "false", "const", "if", "else", "for",
    "while", "do", "break", "continue", "return", "void", "bool", "int", "float", "vec2", "vec3", "vec4",
    "ivec2", "ivec3", "ivec4", "bvec2", "bvec3", "bvec4", "mat2", "mat3", "mat4", "sampler1D", "sampler2D",
    "sampler3D", "samplerCube", "sampler1DShadow", "sampler2DShadow", "lowp", "mediump", "highp",
    "precision", "invariant", "centroid", "flat", "smooth", "noperspective", "patch", "sample", "subroutine",
    "layout", "uint", "uvec2", "uvec3", "uvec4", "superp", "resource", "buffer", "shared", "coherent",
    "readonly", "writeonly", "restrict", "precise", "texture", "main",
};

template <size_t N>
void fill(std::unordered_map<std::string, std::string>& map, const char* const (&pairs)[N][2])
{
    map.clear();
    for (const auto& pair : pairs)
        map.emplace(pair[0], pair[1]);
}

// ORDER: indexed by state variable number, 19 to 63: the uniform of a non-varying state
// variable, with the internal space folded onto camera space. Null: no uniform (origin and the
// identities).
const char* const state_uniforms[] = {
    "refracted_ior",     // 19
    "incident_ior",      // 20
    nullptr,             // 21 origin: varying here
    "animation_time",    // 22
    "animation_frame",   // 23
    "shutter_time",      // 24
    "shutter_duration",  // 25
    "shutter_position",  // 26
    "shutter_open",      // 27
    "shutter_close",     // 28
    "orthographic",      // 29
    "focal_length",      // 30
    "aperture",          // 31
    "aspect_ratio",      // 32
    "near_clip",         // 33
    "far_clip",          // 34
    "camera_offset",     // 35
    "dof_radius",        // 36
    "dof_focus",         // 37
    "x_resolution",      // 38
    "y_resolution",      // 39
    "window_left",       // 40
    "window_right",      // 41
    "window_top",        // 42
    "window_bottom",     // 43
    "camera_to_object",  // 44 internal_to_object
    "camera_to_world",   // 45 internal_to_world
    nullptr,             // 46 internal_to_camera: the identity
    "camera_to_raster",  // 47 internal_to_raster
    "world_to_camera",   // 48 world_to_internal
    "world_to_object",   // 49
    "world_to_camera",   // 50
    "world_to_raster",   // 51
    "object_to_camera",  // 52 object_to_internal
    "object_to_world",   // 53
    "object_to_camera",  // 54
    "object_to_raster",  // 55
    nullptr,             // 56 camera_to_internal: the identity
    "camera_to_world",   // 57
    "camera_to_object",  // 58
    "camera_to_raster",  // 59
    "raster_to_camera",  // 60 raster_to_internal
    "raster_to_object",  // 61
    "raster_to_world",   // 62
    "raster_to_camera",  // 63
};
constexpr int32_t FIRST_UNIFORM = 19;
constexpr int32_t LAST_UNIFORM = 63;

constexpr int32_t STATE_REFRACTED_IOR = 19;
constexpr int32_t STATE_INCIDENT_IOR = 20;
constexpr int32_t STATE_TEXTURE_DV = 17;
constexpr int32_t STATE_TEXTURE_DU = 18;
constexpr int32_t STATE_OBJECT_TO_RASTER = 55;
constexpr int32_t STATE_LIGHT_POSITION = 64;
constexpr int32_t STATE_LIGHT_DIRECTION = 65;
constexpr int32_t STATE_LIGHT_TO_SURFACE = 66;
constexpr int32_t STATE_LIGHT_DISTANCE = 67;
constexpr int32_t STATE_LIGHT_DOT_NL = 68;

constexpr int32_t FUNCTION_GET_TEXTURE_COMPONENT = 0;
constexpr int32_t FUNCTION_REFRACT_ENVIRONMENT = 19;
constexpr int32_t FUNCTION_TRACE_ENVIRONMENT = 20;

// ORDER: indexed by state variable number: the text of an access. Null where the variable is
// a uniform (state_uniforms) or has no mapping.
const char* const state_access_texts[ST::STATE_VARIABLE_COUNT] = {
    "state.position",         // 0
    "state.direction",        // 1
    "state.normal",           // 2
    "state.normal",           // 3 geometry_normal
    "state.motion",           // 4
    "state.tex_coord[0].xy",  // 5 parametric_uv
    "state.raster",           // 6
    "state.tex_coord",        // 7
    "state.tex_tangent",      // 8
    "state.tex_binormal",     // 9
    "state.ray_length",       // 10
    "state.dot_nd",           // 11
    "state.tangent_space",    // 12
    "state.backside",         // 13
    "",                       // 14 ray_type
    "",                       // 15 ray_shader
    "state.importance",       // 16
    "state.texture_dv",       // 17
    "state.texture_du",       // 18
    // 19, 20: uniforms that main copies into the state, read from there so that a function
    // printed before the uniforms (a linked graph's) can read them too.
    "state.refracted_ior", "state.incident_ior",
    "state.origin",           // 21
    nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr,  // 22 to 31
    nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr,  // 32 to 41
    nullptr, nullptr, nullptr, nullptr, "mat4(1.0)", nullptr, nullptr, nullptr, nullptr, nullptr,  // 42 to 51
    nullptr, nullptr, nullptr, nullptr, "mat4(1.0)", nullptr, nullptr, nullptr, nullptr, nullptr,  // 52 to 61
    nullptr, nullptr,                                                                              // 62, 63
    "state.light_position",        // 64
    "state.light_direction",       // 65
    "state.light_to_surface",      // 66
    "state.light_distance",        // 67
    "state.light_dotnl",           // 68
    "vec3(0,0,1)",                 // 69 light_normal
    "vec2(0,0)",                   // 70 light_uv
    "",                            // 71 light_texture_coordinate
    "",                            // 72 light_texture_tangent
    "",                            // 73 light_texture_binormal
    "state.light_type",            // 74
    "state.light_spread",          // 75
    "state.light_spread_cos",      // 76
    "state.light_distance_limit",  // 77
    "state.volume_input",          // 78
    "state",                       // 79
    "",                            // 80 lights: only a loop names them, and loops print nothing
};

// Fields of the State struct, each under the marks of the used-state table that need it.
struct State_field {
    const char* line;
    int32_t mark;
};
// ORDER: the order of the struct.
const State_field state_fields[] = {
    {"vec4 tex_coord[4];\n", 7},
    {"vec3 tex_tangent[1];\n", 8},
    {"vec3 tex_binormal[1];\n", 9},
    {"float refracted_ior;\n", 19},
    {"float incident_ior;\n", 20},
    {"vec3 origin;\n", 21},
    {"vec3 position;\n", 0},
    {"vec3 normal;\n", 2},
    {"vec3 motion;\n", 4},
    {"vec2 raster;\n", 6},
    {"vec3 direction;\n", 1},
    {"float ray_length;\n", 10},
    {"float dot_nd;\n", 11},
    {"mat3 tangent_space[1];\n", 12},
    {"bool backside;\n", 13},
    {"float importance;\n", 16},
    {"vec3 texture_du[256];\n", 18},
    {"vec3 texture_dv[256];\n", 17},
    {"vec4 volume_input;\n", 78},
    {"vec3 light_position;\n", 64},
    {"vec3 light_direction;\n", 65},
    {"vec3 light_to_surface;\n", 66},
    {"float light_distance;\n", 67},
    {"float light_dotnl;\n", 68},
    {"int light_type;\n", 74},
    {"float light_spread;\n", 75},
    {"float light_spread_cos;\n", 76},
    {"float light_distance_limit;\n", 77},
};

// ORDER: the order of the fragment main. Defaults of what a light would set.
const State_field light_defaults[] = {
    {"state.light_position = vec3(0.0,0.0,0.0);\n", 64},
    {"state.light_direction = vec3(1.0,0.0,0.0);\n", 65},
    {"state.light_to_surface = vec3(-1.0,0.0,0.0);\n", 66},
    {"state.light_distance = 0.0;\n", 67},
    {"state.light_dotnl = 0.0;\n", 68},
    {"state.light_type = 0;\n", 74},
    {"state.light_spread = 0.0;\n", 75},
    {"state.light_spread_cos = 0.0;\n", 76},
    {"state.light_distance_limit = 0.0;\n", 77},
    {"state.volume_input = vec4(0.0);\n", 78},
};

const char* const light_constants =
    R"(//
// Values for the light_type parameter of light shaders
//
const int LIGHT_POINT    = 0;
const int LIGHT_SPOT     = 1;
const int LIGHT_INFINITE = 2;
const int LIGHT_PLANAR   = 3;

//
// The light iterator structure holds the return values resulting from
// evaluating a light.
//
struct %s {
vec3 point;
vec3 direction;
float distance;
float dot_nl;
vec4 contribution;
vec4 raw_contribution;
vec4 shadow;
int count;
};

)";

const char* const depth_peeling =
    R"(//
// The following are for Depth Peeling
//
uniform bool %s;
uniform sampler2DRect %s;

)";

// The companion source defines these; each group stands apart by an empty line. Written as it
// stands: the struct carries its own tabs.
const char* const library_declarations =
    "struct Ray {\n"
    "\tvec3 origin;\n"
    "\tvec3 direction;\n"
    "};\n"
    "\n"
    "vec4 illumination(float ndotl,float ndoth,float m);\n"
    "\n"
    "float log10(float x);\n"
    "vec2 log10(vec2 x);\n"
    "vec3 log10(vec3 x);\n"
    "vec4 log10(vec4 x);\n"
    "\n"
    "float modf(float a,out float b);\n"
    "vec2 modf(vec2 a,out vec2 b);\n"
    "vec3 modf(vec3 a,out vec3 b);\n"
    "vec4 modf(vec4 a,out vec4 b);\n"
    "\n"
    "float round(float x);\n"
    "vec2 round(vec2 x);\n"
    "vec3 round(vec3 x);\n"
    "vec4 round(vec4 x);\n"
    "\n"
    "float saturate(float x);\n"
    "vec2 saturate(vec2 x);\n"
    "vec3 saturate(vec3 x);\n"
    "vec4 saturate(vec4 x);\n"
    "\n"
    "void sincos(float x,out float s,out float c);\n"
    "void sincos(vec2 x,out vec2 s,out vec2 c);\n"
    "void sincos(vec3 x,out vec3 s,out vec3 c);\n"
    "void sincos(vec4 x,out vec4 s,out vec4 c);\n"
    "\n"
    "mat2 transpose(mat2);\n"
    "mat3 transpose(mat3);\n"
    "mat4 transpose(mat4);\n"
    "\n";

// A matrix in another held size: the first rows and columns, zeros where the smaller lacks them.
const char* const resize_functions =
    R"(mat2 vorn_mat2(mat3 m) { return mat2(m[0].xy, m[1].xy); }
mat2 vorn_mat2(mat4 m) { return mat2(m[0].xy, m[1].xy); }
mat3 vorn_mat3(mat2 m) { return mat3(vec3(m[0], 0.0), vec3(m[1], 0.0), vec3(0.0)); }
mat3 vorn_mat3(mat4 m) { return mat3(m[0].xyz, m[1].xyz, m[2].xyz); }
mat4 vorn_mat4(mat2 m) { return mat4(vec4(m[0], 0.0, 0.0), vec4(m[1], 0.0, 0.0), vec4(0.0), vec4(0.0)); }
mat4 vorn_mat4(mat3 m) { return mat4(vec4(m[0], 0.0), vec4(m[1], 0.0), vec4(m[2], 0.0), vec4(0.0)); }

)";

// Gradient lookups are not in GLSL 1.10 itself.
const char* const gradient_extension = "#extension GL_ARB_shader_texture_lod : require\n";

const char* const free_parameters_comment =
    R"(//
// The following are free parameters of the shader
// that should be set by the application at runtime.
//
)";

const char* const vertex_colors =
    R"(
if( flip_normal > 0.0 ) {
gl_FrontColor = vec4(1.0);
gl_BackColor  = vec4(0.0);
} else {
gl_FrontColor = vec4(0.0);
gl_BackColor  = vec4(1.0);
}
}
)";

// 0.99 is the peeling bias.
const char* const oit_test =
    R"(if (%s) {
float d = texture2DRect(%s, gl_FragCoord.xy).x;
if (gl_FragCoord.z*0.99 >= d) discard;
if (d == 0.0) discard;
}

)";

// A matrix's elements are printed by rows and products are printed turned round, so the
// elements go here row by row too: the rows are the tangent, the binormal and the normal, as
// on the other targets. Listing them by columns would give the transposed matrix.
const char* const tangent_space_lines =
    R"(vec3 tangent = normalize(tex_tangent);
vec3 binormal = normalize(tex_binormal);
state.tangent_space[0] = mat3(
    tangent[0], tangent[1], tangent[2],
    binormal[0], binormal[1], binormal[2],
    state.normal[0], state.normal[1], state.normal[2] );
)";

const char* const fragment_main_comment =
    R"(//
// This function is the main method of the fragment shader. It initializes the
// values in the state structure that are used by nodes in the shader graph
// and produces the final result of the shader.
//
)";

// No annotations in this target: the map is not even read.
COMPILER::Compile_options without_annotation_map(COMPILER::Compile_options options)
{
    options.attributes["annotation_map"] = "";
    return options;
}

}  // namespace

Gl_options read_gl_options(const COMPILER::Compile_options& options)
{
    Gl_options gl;
    if (const char* profile = options.get_attribute("vertex_shader_profile"))
        gl.vertex_shader_profile = profile;
    if (const char* profile = options.get_attribute("fragment_shader_profile"))
        gl.fragment_shader_profile = profile;
    gl.use_oit = options.attribute_equals("use_oit", "true");
    gl.two_sided = options.attribute_equals("two_sided", "true");
    return gl;
}

Gl_code_generator::Gl_code_generator(const BACK12::Generator_input& input, const COMPILER::Compile_options& options)
    : Fx_code_generator(input, without_annotation_map(options)), gl_(read_gl_options(options))
{
    options_ = options;
    // What the FX walk reads of its settings, set to this target's: no dialect, interfaces,
    // debug display or texture options.
    fx_ = GEN_FX::Fx_options();
    fx_.annotation_map.clear();
    fx_.eval_volume = false;
    fx_.two_sided = gl_.two_sided;
    fx_.use_oit = gl_.use_oit;
    fx_.vertex_shader_profile = gl_.vertex_shader_profile;
    fx_.fragment_shader_profile = gl_.fragment_shader_profile;
    names_.using_depth = "_using_depth";
    names_.depth_texture = "_depth_texture";
    names_.light_position = "light_position";
    names_.light_direction = "light_direction";
    fill_gl_tables();
    close_gl_used_state();
    collect_functions();
    collect_written_inputs();
}

Gl_code_generator::~Gl_code_generator() = default;

void Gl_code_generator::fill_gl_tables()
{
    fill(type_map_, gl_type_map);
    fill(function_map_, gl_function_map);
    fill(identifier_map_, gl_identifier_map);
    for (const char* word : gl_reserved_words)
        identifier_map_.emplace(word, std::string("_") + word);
    constructor_map_.clear();
    neutral_.shadowing = "vec4(1.0)";
    neutral_.transform = "mat4(1.0)";
    neutral_.environment = "vec4(0.0)";
    for (int32_t index = 0; index < ST::STATE_VARIABLE_COUNT; ++index) {
        const char* access = state_access_texts[index];
        std::string uniform = state_uniform_name(index);
        state_texts_[index] = access ? access : uniform;
    }
    // A light's own position and direction are its uniforms.
    if (is_light()) {
        state_texts_[STATE_LIGHT_POSITION] = names_.light_position;
        state_texts_[STATE_LIGHT_DIRECTION] = names_.light_direction;
    }
}

void Gl_code_generator::close_gl_used_state()
{
    BACK12::Used_state_table table = input_.used_state;
    if (input_.uses_lights)
        table[BACK12::STATE_LIGHTS] = true;
    used_ = BACK12::close_used_state(table, BACK12::Used_state_flags());

    // Marks for what the fixed text reads, so that the State struct holds every field that the
    // fragment main and the light setup write and read.
    if (used_[BACK12::STATE_GEOMETRY_NORMAL])
        used_[BACK12::STATE_NORMAL] = true;
    if (used_[BACK12::STATE_DOT_ND])
        used_[BACK12::STATE_DIRECTION] = used_[BACK12::STATE_NORMAL] = true;
    if (used_functions_[FUNCTION_GET_TEXTURE_COMPONENT])
        used_[BACK12::STATE_TEXTURE_COORDINATE] = true;
    if (is_light()) {
        for (int32_t index : {STATE_LIGHT_TO_SURFACE, STATE_LIGHT_DISTANCE, STATE_LIGHT_DOT_NL,
                              int32_t(BACK12::STATE_NORMAL)})
            used_[size_t(index)] = true;
    }
}

// Functions defined or declared in the units and the shader's methods, by name; native ones
// are the target's.
void Gl_code_generator::collect_functions()
{
    auto add = [this](const St_node* function) {
        const St_node* declaration = function;
        if (function->kind == ST::NODE_FUNCTION_DEFINITION)
            declaration = function->find_child(ST::NODE_FUNCTION_DECLARATION);
        if (!declaration || declaration->text_view() == "native")
            return;
        std::string_view name = BACK12::function_definition_name(function);
        if (!name.empty())
            unit_functions_.emplace(std::string(name), declaration);
    };
    for (const Compilation_unit* unit : input_.units) {
        const St_node* list = unit ? unit->tree() : nullptr;
        for (const St_node* node = list ? list->first_child : nullptr; node; node = node->next_sibling)
            if (node->kind == ST::NODE_FUNCTION_DEFINITION || node->kind == ST::NODE_FUNCTION_DECLARATION)
                add(node);
    }
    for (const St_node* method : input_.methods)
        if (method)
            add(method);
}

bool Gl_code_generator::is_light() const
{
    return options_.shader_type == COMPILER::SHADER_LIGHT;
}

// A component in the FX sense: the state uniforms of the vertex stage are then left out.
bool Gl_code_generator::is_program() const
{
    return !(options_.complete_program == 0 && options_.shader_type != COMPILER::SHADER_SURFACE);
}

bool Gl_code_generator::normal_used() const
{
    return used_[BACK12::STATE_NORMAL];
}

int32_t Gl_code_generator::log_module() const
{
    return SYSTEM::MODULE_GL;
}

std::string Gl_code_generator::state_uniform_name(int32_t index) const
{
    if (index >= FIRST_UNIFORM && index <= LAST_UNIFORM && state_uniforms[index - FIRST_UNIFORM])
        return state_uniforms[index - FIRST_UNIFORM];
    if (index == STATE_LIGHT_POSITION)
        return names_.light_position;
    if (index == STATE_LIGHT_DIRECTION)
        return names_.light_direction;
    return std::string();
}

std::string Gl_code_generator::state_variable_text(int32_t index) const
{
    if (index < 0 || index >= ST::STATE_VARIABLE_COUNT) {
        log_error(LOG_UNKNOWN_STATE, "Unknown state variable %d", index);
        return std::string();
    }
    return state_texts_[index];
}

// The texts

void Gl_code_generator::generate()
{
    generate_vertex();
    generate_fragment();
}

void Gl_code_generator::generate_vertex()
{
    clear_text();
    vertex_text_.clear();
    if (!input_.has_function())
        return;
    print_banner();
    // The parameter pass over the imports gathers uniforms and prints nothing here.
    out().write("uniform float flip_normal;\n");
    if (!is_light()) {
        out().write("\n");
        print_varyings();
        print_vertex_main();
    }
    vertex_text_ = get_text();
    clear_text();
}

void Gl_code_generator::generate_fragment()
{
    clear_text();
    if (!input_.has_function())
        return;
    print_banner();
    print_state_struct();
    print_light_constants();
    print_depth_peeling();
    print_library_declarations();
    support_position_ = get_text() ? std::strlen(get_text()) : 0;
    needs_resize_ = needs_gradients_ = false;
    print_imports();
    print_types(unit_);
    print_unit_functions(unit_);
    print_varyings();
    print_uniforms();
    print_shader_methods();
    print_root_function();
    if (!is_light())
        print_fragment_main();
    print_support();
}

// What the text turned out to need: inserted later places first, so earlier offsets hold.
void Gl_code_generator::print_support()
{
    if (needs_resize_)
        out().insert_verbatim(support_position_, resize_functions);
    if (needs_gradients_)
        out().insert_verbatim(0, gradient_extension);
}

void Gl_code_generator::print_banner()
{
    out().write(GEN_FX::TEXT::banner_head);
    out().write(GEN_FX::TEXT::banner_closing_line);
    out().write("\n");
}

// texture_dv is the tangent and texture_du the binormal, as the other targets read them.
bool Gl_code_generator::tangent_varying() const
{
    return used_[BACK12::STATE_TEXTURE_TANGENT] || used_[BACK12::STATE_TANGENT_SPACE] || used_[STATE_TEXTURE_DV];
}

bool Gl_code_generator::binormal_varying() const
{
    return used_[BACK12::STATE_TEXTURE_BINORMAL] || used_[BACK12::STATE_TANGENT_SPACE] || used_[STATE_TEXTURE_DU];
}

void Gl_code_generator::print_varyings()
{
    out().write("varying vec3 position;\n");
    if (normal_used())
        out().write("varying vec3 normal;\n");
    if (used_[BACK12::STATE_TEXTURE_COORDINATE])
        for (int32_t n = 0; n < 4; ++n)
            out().print("varying vec4 tex_coord%d;\n", n);
    if (tangent_varying())
        out().write("varying vec3 tex_tangent;\n");
    if (binormal_varying())
        out().write("varying vec3 tex_binormal;\n");
    if (used_[BACK12::STATE_MOTION])
        out().write("varying vec3 motion;\n");
    out().write("\n");
}

// The vertex stream carries no motion, so a moving surface is none: the varying stays for a host
// whose own vertex text has motion to pass.
void Gl_code_generator::print_vertex_main()
{
    out().print("void %s()\n", "main");
    out().write("{\n");
    out().write("gl_Position = ftransform();\n");
    out().write("position = (gl_ModelViewMatrix * gl_Vertex).xyz;\n");
    if (normal_used())
        out().write("normal = gl_NormalMatrix * gl_Normal;\n");
    if (used_[BACK12::STATE_TEXTURE_COORDINATE])
        for (int32_t n = 0; n < 4; ++n)
            out().print("tex_coord%d = gl_MultiTexCoord%d;\n", n, n);
    if (tangent_varying())
        out().write("tex_tangent = gl_NormalMatrix * gl_MultiTexCoord4.xyz;\n");
    if (binormal_varying())
        out().write("tex_binormal = gl_NormalMatrix * gl_MultiTexCoord5.xyz;\n");
    if (used_[BACK12::STATE_MOTION])
        out().write("motion = vec3(0.0);\n");
    out().write(vertex_colors);
}

void Gl_code_generator::print_state_struct()
{
    out().print(GEN_FX::TEXT::state_struct_head, names_.state.c_str());
    for (const State_field& field : state_fields)
        if (used_[size_t(field.mark)])
            out().write(field.line);
    out().write("};\n\n");
}

void Gl_code_generator::print_light_constants()
{
    out().print(light_constants, names_.light_iterator.c_str());
}

void Gl_code_generator::print_depth_peeling()
{
    if (gl_.use_oit)
        out().print(depth_peeling, names_.using_depth.c_str(), names_.depth_texture.c_str());
}

void Gl_code_generator::print_library_declarations()
{
    print_as_is("%s", library_declarations);
}

// Imports before the unit: each import's types and the functions that the shader reaches.
void Gl_code_generator::print_imports()
{
    for (size_t i = 0; i + 1 < input_.units.size(); ++i) {
        Compilation_unit* unit = input_.units[i];
        const std::string& name = unit->name().empty() ? unit->source_file_name() : unit->name();
        log_debug("Processing import %s", name.c_str());
        print_types(unit);
        print_unit_functions(unit);
    }
}

// A file-level variable, with an empty line behind.
void Gl_code_generator::print_unit_variable(const St_node* declaration)
{
    global_scope_ = true;
    print_local_declaration(declaration);
    global_scope_ = false;
    out().write("\n");
}

void Gl_code_generator::print_uniforms()
{
    out().write(free_parameters_comment);
    for (const Generator_variable& parameter : input_.parameters) {
        const St_node* specifiers =
            parameter.declaration ? parameter.declaration->find_child(ST::NODE_VARIABLE_SPECIFIERS) : nullptr;
        const St_node* specifier = nullptr;
        for (const St_node* child = specifiers ? specifiers->first_child : nullptr; child;
             child = child->next_sibling)
            if (child->kind == ST::NODE_SIMPLE_TYPE_SPECIFIER || child->kind == ST::NODE_NESTED_TYPE_SPECIFIER)
                specifier = child;
        if (specifier && is_skipped_type(specifier->text_view()))
            continue;
        out().print("uniform %s %s%s;\n", specifier_text(specifier).c_str(), variable_name(parameter.name).c_str(),
                    array_suffix(parameter.identifier).c_str());
    }
    out().write("uniform float flip_normal;\n");
    print_state_uniforms();
    print_gl_written_input_copies();
}

// Written inputs: a variable of the program beside each uniform, filled at the start of the root.
void Gl_code_generator::print_gl_written_input_copies()
{
    for (const Generator_variable& parameter : input_.parameters)
        if (written_inputs_.count(parameter.name))
            out().print("%s %s%s;\n", type_text(parameter.type_index).c_str(),
                        written_input_name(parameter.name).c_str(), array_suffix(parameter.identifier).c_str());
}

// GLSL 1.10 assigns no arrays whole: element by element.
void Gl_code_generator::print_gl_written_input_reads()
{
    for (const Generator_variable& parameter : input_.parameters) {
        if (!written_inputs_.count(parameter.name))
            continue;
        std::string copy = written_input_name(parameter.name);
        std::string uniform = variable_name(parameter.name);
        std::string suffix = array_suffix(parameter.identifier);
        if (suffix.empty())
            out().print("%s = %s;\n", copy.c_str(), uniform.c_str());
        else
            out().print("for (int i = 0; i < %s; ++i) %s[i] = %s[i];\n",
                        suffix.substr(1, suffix.size() - 2).c_str(), copy.c_str(), uniform.c_str());
    }
}

// The FX rule for which non-varying state is declared, without the two-sided and screen-space
// cases; a light adds its position and direction.
void Gl_code_generator::print_state_uniforms()
{
    bool environment_ior = used_functions_[FUNCTION_REFRACT_ENVIRONMENT] || used_functions_[FUNCTION_TRACE_ENVIRONMENT];
    std::vector<int32_t> numbers;
    for (int32_t index = FIRST_UNIFORM; index <= LAST_UNIFORM; ++index)
        numbers.push_back(index);
    if (is_light()) {
        numbers.push_back(STATE_LIGHT_POSITION);
        numbers.push_back(STATE_LIGHT_DIRECTION);
    }
    std::vector<std::pair<std::string, std::string>> declared;
    std::set<std::string> names;
    for (int32_t index : numbers) {
        if (index == BACK12::STATE_ORIGIN || index == BACK12::STATE_INTERNAL_TO_CAMERA ||
            index == BACK12::STATE_CAMERA_TO_INTERNAL)
            continue;
        bool wanted = used_[size_t(index)] || index >= STATE_LIGHT_POSITION;
        wanted = wanted || (environment_ior && (index == STATE_REFRACTED_IOR || index == STATE_INCIDENT_IOR));
        wanted = wanted || (is_program() && (index == BACK12::STATE_OBJECT_TO_CAMERA || index == STATE_OBJECT_TO_RASTER ||
                                             index == BACK12::STATE_CAMERA_TO_OBJECT));
        if (!wanted)
            continue;
        std::string name = state_uniform_name(index);
        if (name.empty()) {
            log_error(LOG_UNNAMED_STATE, "unnamed state variable %d\n", index);
            continue;
        }
        if (!names.insert(name).second)
            continue;
        const char* word = ST::language_word(ST::state_variable_table[index].code);
        declared.emplace_back(type_name(word ? word : ""), name);
    }
    if (declared.empty())
        return;
    out().write(GEN_FX::TEXT::state_parameters_comment);
    for (const auto& uniform : declared)
        out().print("uniform %s %s;\n", uniform.first.c_str(), uniform.second.c_str());
}

void Gl_code_generator::print_shader_methods()
{
    out().write(GEN_FX::TEXT::shader_functions_comment);
    std::vector<const St_node*> methods;
    for (const St_node* method : input_.methods)
        if (method)
            methods.push_back(method);
    print_prototypes(methods);
    for (St_node* method : input_.methods)
        if (method)
            print_function(method);
}

void Gl_code_generator::print_root_function()
{
    if (!input_.main)
        return;
    const St_node* body = input_.main->find_child(ST::NODE_STATEMENT_BLOCK);
    out().write(GEN_FX::TEXT::root_comment);
    if (is_light())
        out().print("%s %s(State state)\n", names_.light_iterator.c_str(), root_name().c_str());
    else
        out().print("vec4 %s(State state)\n", root_name().c_str());
    out().write("{\n");
    if (is_light()) {
        out().print("state.light_to_surface = %s - %s;\n", state_texts_[BACK12::STATE_POSITION].c_str(),
                    names_.light_position.c_str());
        out().write("state.light_distance = length(state.light_to_surface);\n");
        out().write("state.light_to_surface /= state.light_distance;\n");
        out().print("state.light_dotnl = dot(-state.light_to_surface, %s);\n",
                    state_texts_[BACK12::STATE_NORMAL].c_str());
    }
    identity_variables_.clear();
    for (const Generator_variable& output : input_.outputs) {
        const Type* type = unit_->type_at(output.type_index);
        std::string name = variable_name(output.name);
        std::string word = type_text(output.type_index);
        if (type && type->array_size() > 1)
            out().print("%s %s[%d];\n", word.c_str(), name.c_str(), int(type->array_size()));
        else if (type && type->array_size() == 0)
            out().print("%s %s[];\n", word.c_str(), name.c_str());
        else
            out().print("%s %s;\n", word.c_str(), name.c_str());
    }
    for (const Generator_variable& member : input_.members)
        print_local_declaration(member.declaration);
    print_global_array_values();
    print_gl_written_input_reads();

    return_type_ = ST::TYPE_COLOR;
    if (body)
        print_statements(body->first_child);
    return_type_ = -1;

    const Generator_variable* result = input_.primary();
    if (is_light()) {
        if (result)
            print_light_result(*result);
    } else if (result) {
        print_return(*result);
    } else {
        write_root_line(result_forms().fallback);
    }
    out().write("}\n\n");
}

const GEN_FX::Fx_code_generator::Result_forms& Gl_code_generator::result_forms() const
{
    static const Result_forms forms = {
        "return vec4(0.5, 0.5, 0.5, 1.0);\n",
        "return vec4(%s[0][0]);\n",
        "return %s ? vec4(1.0) : vec4(0.0);\n",
        "return vec4(%s.x,%s.y,0.0,1.0);\n",
        "return vec4(%s.x,%s.y,%s.z,1.0);\n",
        "return vec4(%s.x?1.0:0.0, %s.y?1.0:0.0, 0.0, 0.0);\n",
        "return vec4(%s.x?1.0:0.0, %s.y?1.0:0.0, %s.z?1.0:0.0, 0.0);\n",
        "return vec4(%s.x?1.0:0.0, %s.y?1.0:0.0, %s.z?1.0:0.0, %s.w?1.0:0.0);\n",
        "return %s;\n",
        "return vec4(%s);\n",
    };
    return forms;
}

// The light's result: the tabs are those of the root's body.
void Gl_code_generator::print_light_result(const Generator_variable& result)
{
    std::string r = variable_name(result.name);
    print_as_is("\t%s light_out;\n", names_.light_iterator.c_str());
    print_as_is("\tlight_out.raw_contribution = %s;\n", r.c_str());
    const Generator_variable* shadow = find_output("light_shadow");
    if (shadow) {
        std::string s = variable_name(shadow->name);
        print_as_is("\tlight_out.contribution = light_out.raw_contribution * %s;\n", s.c_str());
        print_as_is("\tlight_out.shadow = %s;\n", s.c_str());
    } else {
        print_as_is("\tlight_out.contribution = light_out.raw_contribution;\n");
    }
    print_as_is("\tlight_out.point = %s;\n", names_.light_position.c_str());
    print_as_is("\tlight_out.distance = state.light_distance;\n"
                "\tlight_out.dot_nl = state.light_dotnl;\n"
                "\tlight_out.direction = -state.light_to_surface;\n"
                "\treturn light_out;\n");
}

void Gl_code_generator::print_fragment_main()
{
    out().write(fragment_main_comment);
    out().print("void %s()\n", "main");
    out().write("{\n");
    if (gl_.use_oit)
        out().print(oit_test, names_.using_depth.c_str(), names_.depth_texture.c_str());
    out().write("State state;\n");
    out().write("state.position = position;\n");
    if (normal_used()) {
        if (!gl_.two_sided) {
            out().write("state.normal = normalize(normal);\n");
        } else {
            out().write("float flip = sign(gl_Color.r - 0.5);\n");
            out().write("state.normal = normalize(normal) * flip;\n");
            if (used_[BACK12::STATE_BACKSIDE])
                out().write("state.backside = (flip < 0.0);\n");
        }
    }
    // Without two sides every face is a front face; the camera sits at the origin.
    if (used_[BACK12::STATE_BACKSIDE] && !(gl_.two_sided && normal_used()))
        out().write("state.backside = false;\n");
    if (used_[BACK12::STATE_ORIGIN])
        out().write("state.origin = vec3(0.0);\n");
    if (used_[BACK12::STATE_TEXTURE_COORDINATE])
        for (int32_t n = 0; n < 4; ++n)
            out().print("state.tex_coord[%d] = tex_coord%d;\n", n, n);
    if (used_[BACK12::STATE_TEXTURE_TANGENT])
        out().write("state.tex_tangent[0] = tex_tangent;\n");
    if (used_[BACK12::STATE_TEXTURE_BINORMAL])
        out().write("state.tex_binormal[0] = tex_binormal;\n");
    if (used_[STATE_TEXTURE_DV])
        out().write("state.texture_dv[0] = tex_tangent;\n");
    if (used_[STATE_TEXTURE_DU])
        out().write("state.texture_du[0] = tex_binormal;\n");
    if (used_[BACK12::STATE_MOTION])
        out().write("state.motion = motion;\n");
    if (used_[BACK12::STATE_RASTER])
        out().write("state.raster = gl_FragCoord.xy;\n");  // the window position, pixel centres at .5
    if (used_[STATE_REFRACTED_IOR])
        out().write("state.refracted_ior = refracted_ior;\n");
    if (used_[STATE_INCIDENT_IOR])
        out().write("state.incident_ior = incident_ior;\n");

    bool direction = used_[BACK12::STATE_DIRECTION];
    bool ray_length = used_[BACK12::STATE_RAY_LENGTH];
    if (ray_length)
        out().write("state.ray_length = length(state.position);\n");
    if (direction && ray_length)
        out().write("state.direction = state.position / state.ray_length;\n");
    else if (direction)
        out().write("state.direction = normalize(state.position);\n");
    if (used_[BACK12::STATE_DOT_ND])
        out().write("state.dot_nd = dot(state.direction, state.normal);\n");
    if (used_[BACK12::STATE_TANGENT_SPACE])
        out().write(tangent_space_lines);
    if (used_[BACK12::STATE_IMPORTANCE])
        out().write("state.importance = 1.0;\n");
    for (const State_field& line : light_defaults)
        if (used_[size_t(line.mark)])
            out().write(line.line);
    out().print("gl_FragColor = %s(state);\n", root_name().c_str());
    out().write("}\n");
}

}  // namespace GEN_GL
}  // namespace QZ
