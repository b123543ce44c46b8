// The FX generator: tables, the order of the file, and the sections that are not tree walks.
#include "gen_fx/fx_code_generator.h"

#include <cstdarg>
#include <cstdio>

#include "back12/light_types.h"
#include "gen_fx/mod_gen_fx.h"
#include "syntax_tree/compilation_unit.h"
#include "syntax_tree/st_node.h"
#include "syntax_tree/type.h"

namespace QZ {
namespace GEN_FX {

using BACK12::Generator_variable;
using SYNTAX_TREE::Compilation_unit;
using SYNTAX_TREE::St_node;
using SYNTAX_TREE::Type;

namespace {

// Ovrel type words and their FX types.
const char* const fx_type_map[][2] = {
    {"Color", "float4"},         {"Scalar", "float"},        {"Int", "int"},
    {"Bool", "bool"},            {"Vector2", "float2"},      {"Vector3", "float3"},
    {"Vector4", "float4"},       {"Vector2i", "int2"},       {"Vector3i", "int3"},
    {"Vector4i", "int4"},        {"Vector2b", "bool2"},      {"Vector3b", "bool3"},
    {"Vector4b", "bool4"},       {"State", "State"},         {"String", "int"},
    {"Matrix2x2", "float2x2"},   {"Matrix2x3", "float2x3"},  {"Matrix3x2", "float3x2"},
    {"Matrix3x3", "float3x3"},   {"Matrix4x3", "float4x3"},  {"Matrix3x4", "float3x4"},
    {"Matrix4x2", "float4x2"},   {"Matrix2x4", "float2x4"},  {"Matrix4x4", "float4x4"},
    {"Texture1d", "sampler1D"},  {"Texture2d", "sampler2D"}, {"Texture3d", "sampler3D"},
    {"Texture_cube", "samplerCUBE"}, {"Light_iterator", "Light_iterator"},
};

const char* const fx_function_map[][2] = {
    {"illumination", "lit"},
    {"operator*", "mul"},
};

// Source names that are words of the target.
const char* const fx_identifier_map[][2] = {
    {"texture", "_texture"}, {"half", "_half"}, {"point", "_point"}, {"min", "_min"}, {"max", "_max"},
};

// Words that the effect dialects keep for themselves and that are names in the source: a
// variable or member of that name takes a "_" before it.
const char* const fx_reserved_words[] = {
    "auto", "Buffer", "catch", "cbuffer", "centroid", "char", "class", "column_major", "const_cast", "delete",
    "discard", "dword", "enum", "explicit", "extern", "friend", "goto", "groupshared", "inline", "InputPatch",
    "line", "lineadj", "linear", "LineStream", "long", "matrix", "min16uint", "mutable", "namespace", "new",
    "nointerpolation", "noperspective", "operator", "OutputPatch", "packoffset", "PointStream", "precise",
    "private", "protected", "public", "reinterpret_cast", "row_major", "sampler", "SamplerState",
    "SamplerComparisonState", "sampler1D", "sampler2D", "sampler3D", "samplerCUBE", "sampler_state", "shared",
    "short", "signed", "sizeof", "snorm", "static", "static_cast", "string", "StructuredBuffer", "tbuffer",
    "template", "Texture1D", "Texture2D", "Texture3D", "TextureCube", "throw", "triangle", "triangleadj",
    "TriangleStream", "try", "typedef", "typename", "uniform", "union", "unorm", "unsigned", "using", "vector",
    "virtual", "volatile", "float2", "float3", "float4", "int2", "int3", "int4", "bool2", "bool3", "bool4",
    "float2x2", "float3x3", "float4x4", "half2", "half3", "half4", "uint", "uint2", "double", "pass",
    "technique", "compile", "register", "stateblock", "asm", "decl", "pixelshader", "vertexshader",
    "PixelShader", "VertexShader", "texture1D", "texture2D", "texture3D", "textureCUBE", "in", "out", "inout",
    "struct", "void", "float", "int", "bool", "half", "texture", "point", "min", "max", "input", "output",
};

template <size_t N>
void fill(std::unordered_map<std::string, std::string>& map, const char* const (&pairs)[N][2])
{
    for (const auto& pair : pairs)
        map.emplace(pair[0], pair[1]);
}

// Which marks of the used-state table (by state variable number) a field or line needs.
struct State_field {
    const char* line;
    int32_t first;
    int32_t second;  // -1: the first alone
};

// ORDER: the order of the fields in the State struct; backside stands apart (two-sided rule).
const State_field state_fields_before_backside[] = {
    {"float4 tex_coord[4];\n", 7, -1},  {"float3 tangent[1];\n", 8, -1}, {"float3 binormal[1];\n", 9, -1},
    {"float3 position;\n", 0, -1},      {"float3 normal;\n", 2, 3},      {"float3 geom_normal;\n", 3, -1},
    {"float3 motion;\n", 4, -1},        {"float2 raster;\n", 6, -1},
};
const State_field state_fields_after_backside[] = {
    {"float3 direction;\n", 1, -1},
    {"float ray_length;\n", 10, -1},
    {"float dot_nd;\n", 11, -1},
    {"float3x3 tangent_space[1];\n", 12, -1},
    {"float importance;\n", 16, -1},
    {"float4 volume_input;\n", 78, -1},
    {"float3 light_position;\n", 64, -1},
    {"float3 light_direction;\n", 65, -1},
    {"float3 light_to_surface;\n", 66, -1},
    {"float light_distance;\n", 67, -1},
    {"float light_dotnl;\n", 68, -1},
    {"int light_type;\n", 74, -1},
    {"float light_spread;\n", 75, -1},
    {"float light_spread_cos;\n", 76, -1},
    {"float light_distance_limit;\n", 77, -1},
};

// What lights would set, zeroed in the fragment main when marked.
const State_field light_zero_lines[] = {
    {"state.light_position = 0;\n", 64, -1},   {"state.light_direction = 0;\n", 65, -1},
    {"state.light_to_surface = 0;\n", 66, -1}, {"state.light_distance = 0;\n", 67, -1},
    {"state.light_dotnl = 0;\n", 68, -1},      {"state.light_type = 0;\n", 74, -1},
    {"state.light_spread = 0;\n", 75, -1},     {"state.light_spread_cos = 0;\n", 76, -1},
    {"state.light_distance_limit = 0;\n", 77, -1},
};

// State functions by number (order of the state function table).
constexpr int32_t FUNCTION_GET_TEXTURE_COMPONENT = 0;
constexpr int32_t FUNCTION_GET_SHADOWING = 6;
constexpr int32_t FUNCTION_REFLECT_ENVIRONMENT = 18;
constexpr int32_t FUNCTION_REFRACT_ENVIRONMENT = 19;
constexpr int32_t FUNCTION_TRACE_ENVIRONMENT = 20;

constexpr int32_t STATE_REFRACTED_IOR = 19;
constexpr int32_t STATE_INCIDENT_IOR = 20;
constexpr int32_t STATE_TEXTURE_DV = 17;
constexpr int32_t STATE_TEXTURE_DU = 18;
constexpr int32_t STATE_OBJECT_TO_WORLD = 53;
constexpr int32_t STATE_OBJECT_TO_RASTER = 55;
constexpr int32_t STATE_LIGHT_POSITION = 64;
constexpr int32_t STATE_LIGHT_DIRECTION = 65;
constexpr int32_t STATE_LIGHT_TO_SURFACE = 66;
constexpr int32_t STATE_LIGHT_DISTANCE = 67;
constexpr int32_t STATE_LIGHT_DOT_NL = 68;
constexpr int32_t STATE_LIGHT_TYPE = 74;
constexpr int32_t STATE_LIGHT_SPREAD = 75;
constexpr int32_t STATE_LIGHT_SPREAD_COS = 76;
constexpr int32_t STATE_LIGHT_DISTANCE_LIMIT = 77;

bool marked(const BACK12::Used_state_table& used, const State_field& field)
{
    return used[size_t(field.first)] || (field.second >= 0 && used[size_t(field.second)]);
}

// A type declared in a shader prints under its own name, without the shader's.
std::string local_name(const std::string& name)
{
    size_t scope = name.rfind("::");
    return scope == std::string::npos ? name : name.substr(scope + 2);
}

std::string upper_case(const std::string& name)
{
    std::string upper = name;
    for (char& c : upper)
        if (c >= 'a' && c <= 'z')
            c = char(c - 'a' + 'A');
    return upper;
}

}  // namespace

Fx_code_generator::Fx_code_generator(const BACK12::Generator_input& input, const COMPILER::Compile_options& options)
    : input_(input), unit_(input.unit), options_(options), fx_(read_fx_options(options, input.debug_index))
{
    used_functions_ = input.used_state_functions;
    annotations_.load(fx_.annotation_map.c_str());
    fill_tables();
    close_used_state();
    collect_written_inputs();
}

// A component's parameters are members of its struct, which its methods may write. A sampler
// cannot be copied: it stays as it is.
void Fx_code_generator::collect_written_inputs()
{
    written_inputs_.clear();
    if (!fx_.component)
        written_inputs_ = BACK12::written_inputs(input_);
    for (const Generator_variable& parameter : input_.parameters) {
        const Type* type = unit_ ? unit_->type_at(parameter.type_index) : nullptr;
        if (!type || type->is_texture())
            written_inputs_.erase(parameter.name);
    }
}

// The copies of written inputs, as variables of the program (not parameters).
void Fx_code_generator::print_written_input_copies()
{
    for (const Generator_variable& parameter : input_.parameters) {
        if (!written_inputs_.count(parameter.name))
            continue;
        const Type* type = unit_->type_at(parameter.type_index);
        std::string suffix = array_suffix(parameter.identifier);
        if (suffix.empty() && type && type->array_size() > 1)
            suffix = "[" + std::to_string(type->array_size()) + "]";
        out().print("static %s %s%s;\n", type_text(parameter.type_index).c_str(),
                    written_input_name(parameter.name).c_str(), suffix.c_str());
    }
    if (!written_inputs_.empty())
        out().write("\n");
}

void Fx_code_generator::print_written_input_reads()
{
    for (const Generator_variable& parameter : input_.parameters)
        if (written_inputs_.count(parameter.name))
            out().print("%s = %s;\n", written_input_name(parameter.name).c_str(), identifier(parameter.name).c_str());
}

Fx_code_generator::~Fx_code_generator() = default;

void Fx_code_generator::fill_tables()
{
    fill(type_map_, fx_type_map);
    fill(function_map_, fx_function_map);
    fill(identifier_map_, fx_identifier_map);
    for (const char* word : fx_reserved_words)
        identifier_map_.emplace(word, std::string("_") + word);
    // light_type holds a light's kind as the macro's number, so the kind's word compares with it.
    for (const char* word : {"light_point", "light_spot", "light_infinite", "light_planar"})
        string_texts_.emplace(word, BACK12::light_type_macro(word));
    // An HLSL struct is built by a function of its own; CgFX calls the type. The structs of
    // the imports print with the unit's, so they have their constructors too.
    if (fx_.hlsl) {
        constructor_map_.emplace("Ray", "__Ray_ctor");
        for (const Compilation_unit* unit : input_.units) {
            for (int32_t i = 0; i < unit->named_type_count(); ++i) {
                const SYNTAX_TREE::Named_type* type = unit->named_type_at(i);
                if (type && type->is_struct() && type->name())
                    constructor_map_.emplace(local_name(type->name()), "__" + local_name(type->name()) + "_ctor");
            }
        }
    }
    for (int32_t index = 0; index < SYNTAX_TREE::STATE_VARIABLE_COUNT; ++index) {
        const char* access = state_access_text(index);
        const char* parameter = state_parameter(index).name;
        state_texts_[index] = access ? access : parameter ? parameter : TEXT::identity_matrix;
    }
    if (fx_.two_sided)
        state_texts_[BACK12::STATE_BACKSIDE] = "state.backside";
    // With interfaces the light values are parameters of the light's struct.
    if (fx_.interfaces) {
        state_texts_[STATE_LIGHT_POSITION] = names_.light_position;
        state_texts_[STATE_LIGHT_DIRECTION] = names_.light_direction;
        state_texts_[STATE_LIGHT_TYPE] = names_.light_type;
        state_texts_[STATE_LIGHT_SPREAD] = names_.light_spread;
        state_texts_[STATE_LIGHT_SPREAD_COS] = names_.light_spread_cos;
        state_texts_[STATE_LIGHT_DISTANCE_LIMIT] = names_.light_distance_limit;
    }
}

void Fx_code_generator::close_used_state()
{
    BACK12::Used_state_table table = input_.used_state;
    if (input_.uses_lights)
        table[BACK12::STATE_LIGHTS] = true;
    BACK12::Used_state_flags flags;
    flags.normals_face_forward = fx_.normals_face_forward;
    flags.debug_variable = input_.debug_name;
    flags.interfaces = fx_.interfaces;
    used_ = BACK12::close_used_state(table, flags);

    // Marks for what the fixed text itself reads, so that the State struct, printed before the
    // fragment main, holds every field that the main and the light setup write.
    if (fx_.eval_volume)
        used_[BACK12::STATE_RAY_LENGTH] = true;
    if (fx_.use_jitter)
        used_[BACK12::STATE_RASTER] = true;
    if (used_[BACK12::STATE_DOT_ND])
        used_[BACK12::STATE_DIRECTION] = used_[BACK12::STATE_NORMAL] = true;
    if (used_functions_[FUNCTION_GET_TEXTURE_COMPONENT])
        used_[BACK12::STATE_TEXTURE_COORDINATE] = true;
    if (used_[STATE_TEXTURE_DV])
        used_[BACK12::STATE_TEXTURE_TANGENT] = true;
    if (used_[STATE_TEXTURE_DU])
        used_[BACK12::STATE_TEXTURE_BINORMAL] = true;
    if (is_light()) {
        for (int32_t index : {STATE_LIGHT_POSITION, STATE_LIGHT_TO_SURFACE, STATE_LIGHT_DISTANCE, STATE_LIGHT_DOT_NL,
                              STATE_LIGHT_TYPE})
            used_[size_t(index)] = true;
    }
}

bool Fx_code_generator::is_light() const
{
    return options_.shader_type == COMPILER::SHADER_LIGHT;
}

bool Fx_code_generator::calls_environment() const
{
    return used_functions_[FUNCTION_REFLECT_ENVIRONMENT] || used_functions_[FUNCTION_REFRACT_ENVIRONMENT] ||
           used_functions_[FUNCTION_TRACE_ENVIRONMENT];
}

const char* Fx_code_generator::get_text()
{
    return writer_.text().c_str();
}

void Fx_code_generator::clear_text()
{
    writer_.clear();
}

void Fx_code_generator::print_as_is(const char* format, ...)
{
    char buffer[1024];
    va_list values;
    va_start(values, format);
    int needed = std::vsnprintf(buffer, sizeof buffer, format, values);
    va_end(values);
    if (needed < 0)
        return;
    if (size_t(needed) < sizeof buffer) {
        out().write_verbatim(buffer);
        return;
    }
    std::string larger(size_t(needed) + 1, '\0');
    va_start(values, format);
    std::vsnprintf(&larger[0], larger.size(), format, values);
    va_end(values);
    larger.resize(size_t(needed));
    out().write_verbatim(larger);
}

int32_t Fx_code_generator::log_module() const
{
    return SYSTEM::MODULE_FX;
}

void Fx_code_generator::report(int32_t code, const char* format, ...)
{
    if (!LOG::mod_log)
        return;
    va_list values;
    va_start(values, format);
    LOG::mod_log->vlog(log_module(), LOG::CAT_PLUG, code, LOG::SEV_ERROR, format, values);
    va_end(values);
}

void Fx_code_generator::write_data(std::string_view text)
{
    size_t start = 0;
    while (start < text.size()) {
        size_t end = text.find('\n', start);
        size_t stop = end == std::string_view::npos ? text.size() : end + 1;
        const std::string& written = out().text();
        bool line_start = written.empty() || written.back() == '\n';
        std::string line;
        if (line_start && text[start] != '\n')
            line.assign(size_t(out().depth()), '\t');
        line.append(text.data() + start, stop - start);
        out().write_verbatim(line);
        start = stop;
    }
}

// File order

void Fx_code_generator::generate()
{
    if (!input_.has_function())
        return;
    if (fx_.component)
        print_component();
    else
        print_program();
}

void Fx_code_generator::print_program()
{
    print_banner();
    print_header();
    print_prelude();
    print_types(unit_);
    print_imports();
    if (!fx_.interfaces)
        print_state_struct();
    print_free_parameters();
    print_written_input_copies();
    print_state_parameters();
    print_attachments();
    print_texture_transforms();
    print_unit_functions(unit_);
    print_app2vert();
    print_vert2frag();
    print_vertex_main();
    print_shader_methods();
    print_root_function();
    print_fragment_main();
    print_technique();
    print_footer();
}

// A component is a struct that implements an interface; the effect that it is compiled into
// brings the prelude and the state.
void Fx_code_generator::print_component()
{
    print_banner();
    print_header();
    print_types(unit_);
    print_imports();
    print_state_parameters();
    print_unit_functions(unit_);
    out().print("struct %s : %s\n", input_.function_name.c_str(),
                is_light() ? fx_.light_interface_name.c_str() : names_.color_interface.c_str());
    out().print("{\n");
    print_free_parameters();
    if (is_light()) {
        for (int32_t index : {STATE_LIGHT_POSITION, STATE_LIGHT_DIRECTION, STATE_LIGHT_TYPE})
            print_state_parameter(index, true);
    }
    print_shader_methods();
    print_root_function();
    out().print("};\n");
    print_footer();
}

void Fx_code_generator::print_banner()
{
    out().write(TEXT::banner_head);
    out().write(TEXT::banner_tail);
}

void Fx_code_generator::print_header()
{
    if (!fx_.fx_header.empty())
        write_data("\n" + fx_.fx_header + "\n");
}

void Fx_code_generator::print_footer()
{
    if (!fx_.fx_footer.empty())
        write_data("\n\n" + fx_.fx_footer + "\n");
}

void Fx_code_generator::print_prelude()
{
    if (fx_.interfaces)
        print_state_struct();
    out().write(TEXT::light_type_defines);
    out().print(TEXT::light_iterator_struct, names_.light_iterator.c_str());
    out().write(TEXT::ray_struct);
    if (fx_.hlsl)
        out().write(TEXT::hlsl_constructors);
    if (fx_.use_oit)
        out().print(TEXT::depth_peeling, names_.using_depth.c_str(), names_.depth_texture.c_str());
    if (fx_.interfaces)
        print_interfaces();
    if (fx_.flip_tex2d_v) {
        out().print(TEXT::flip_helper_head, names_.tex2d_flip_v.c_str());
        out().write_verbatim(TEXT::flip_helper_body);
        out().print("}\n\n");
        out().print(TEXT::flip_helper_ddx_head, names_.tex2d_flip_v.c_str());
        out().write_verbatim(TEXT::flip_helper_ddx_body);
        out().print("}\n\n");
    }
}

// The environment helpers take the colour interface, so they stand with it: with light
// interfaces only, neither is declared.
void Fx_code_generator::print_interfaces()
{
    out().print(TEXT::light_interface, fx_.light_interface_name.c_str(), names_.light_iterator.c_str());
    if (fx_.light_interfaces_only)
        return;
    const char* color = names_.color_interface.c_str();
    out().print(TEXT::color_interface, color);
    out().print(TEXT::default_colors, names_.black.c_str(), color, names_.white.c_str(), color);
    out().write(TEXT::environment_helpers_comment);
    out().print(TEXT::reflect_helper, names_.reflect_environment.c_str(), color);
    out().print(TEXT::refract_helper, names_.refract_environment.c_str(), color);
    out().print(TEXT::trace_helper, names_.trace_environment.c_str(), color);
}

void Fx_code_generator::print_imports()
{
    // The root unit stands last in the print order; everything before it is an import.
    for (size_t i = 0; i + 1 < input_.units.size(); ++i) {
        print_types(input_.units[i]);
        print_unit_functions(input_.units[i]);
    }
}

// With interfaces every field is there, since an interface implementation compiled apart must
// see the same layout.
void Fx_code_generator::print_state_struct()
{
    out().print(TEXT::state_struct_head, names_.state.c_str());
    for (const State_field& field : state_fields_before_backside)
        if (fx_.interfaces || marked(used_, field))
            out().write(field.line);
    if (fx_.two_sided && used_[BACK12::STATE_BACKSIDE])
        out().write("bool backside;\n");
    for (const State_field& field : state_fields_after_backside)
        if (fx_.interfaces || marked(used_, field))
            out().write(field.line);
    out().print("};\n\n");
}

void Fx_code_generator::print_free_parameters()
{
    for (const Generator_variable& parameter : input_.parameters)
        print_parameter(parameter);
}

// Numbers 19 to 63 (and the light values of a light shader) that the file declares as
// parameters, each parameter once.
std::vector<int32_t> Fx_code_generator::declared_state_parameters(bool with_light_values) const
{
    int32_t debug_index = BACK12::debug_state_variable(input_.debug_name);
    bool environment_ior = used_functions_[FUNCTION_REFRACT_ENVIRONMENT] || used_functions_[FUNCTION_TRACE_ENVIRONMENT];
    bool program = !fx_.component;
    std::vector<int32_t> declared;
    std::set<std::string> names;
    auto consider = [&](int32_t index) {
        const char* name = state_parameter(index).name;
        bool wanted = used_[size_t(index)] || index == debug_index;
        wanted = wanted || (environment_ior && (index == STATE_REFRACTED_IOR || index == STATE_INCIDENT_IOR));
        wanted = wanted || (program && (index == BACK12::STATE_OBJECT_TO_CAMERA || index == STATE_OBJECT_TO_RASTER ||
                                        index == BACK12::STATE_CAMERA_TO_OBJECT));
        wanted = wanted || (program && fx_.two_sided && index == STATE_OBJECT_TO_WORLD);
        wanted = wanted || (program && fx_.screen_space_vertices && index == BACK12::STATE_RASTER_TO_CAMERA);
        if (wanted && name && names.insert(name).second)
            declared.push_back(index);
    };
    for (int32_t index = STATE_REFRACTED_IOR; index <= BACK12::STATE_RASTER_TO_CAMERA; ++index)
        consider(index);
    if (with_light_values) {
        for (int32_t index : {STATE_LIGHT_POSITION, STATE_LIGHT_DIRECTION, STATE_LIGHT_TYPE})
            if (names.insert(state_parameter(index).name).second)
                declared.push_back(index);
    }
    return declared;
}

// The light values of a light component are members of its struct, not shared parameters.
void Fx_code_generator::print_state_parameters()
{
    if (fx_.debug)
        print_debug_parameters();
    std::vector<int32_t> declared = declared_state_parameters(is_light() && !fx_.component);
    if (declared.empty())
        return;
    out().write(TEXT::state_parameters_comment);
    for (int32_t index : declared)
        print_state_parameter(index, false);
}

void Fx_code_generator::print_state_parameter(int32_t index, bool as_member)
{
    const State_parameter& parameter = state_parameter(index);
    const SYNTAX_TREE::State_entry& entry = SYNTAX_TREE::state_variable_table[index];
    const char* word = SYNTAX_TREE::language_word(entry.code);
    std::string ovrel_type = word ? word : "";
    std::string type = type_name(ovrel_type);
    if (as_member) {
        out().print("%s %s;\n", type.c_str(), parameter.name);
        return;
    }
    std::string guard = upper_case(parameter.name);
    if (fx_.interfaces)
        out().print("#ifndef %s\n#define %s\n", guard.c_str(), guard.c_str());
    out().print("%s %s", type.c_str(), parameter.name);
    std::string semantic = mapped_semantic(parameter.name);
    if (!semantic.empty())
        write_data(" : " + semantic);
    std::vector<std::string> annotations;
    mapped_annotation_lines(parameter.name, ovrel_type, annotations);
    if (!annotations.empty()) {
        out().write("<\n");
        for (const std::string& line : annotations)
            write_data(line);
        if (parameter.default_text)
            out().print("> = %s;\n", parameter.default_text);
        else
            out().write(">;\n");
    } else if (parameter.default_text)
        out().print(semantic.empty() ? " = %s;\n" : "= %s;\n", parameter.default_text);
    else
        out().print(";\n");
    if (fx_.interfaces)
        out().print("#endif\n");
}

void Fx_code_generator::print_attachments()
{
    if (!fx_.interfaces || fx_.component)
        return;
    bool lights = used_[BACK12::STATE_LIGHTS];
    bool environment = calls_environment();
    if (fx_.light_interfaces_only && lights)
        out().write(TEXT::light_attachments_comment);
    else if (lights || environment || used_functions_[FUNCTION_GET_SHADOWING] || fx_.eval_volume)
        out().write(TEXT::all_attachments_comment);
    else
        return;
    if (lights)
        out().print("%s %s[];\n", fx_.light_interface_name.c_str(), fx_.light_list_name.c_str());
    if (fx_.light_interfaces_only)
        return;
    if (environment)
        out().print("%s %s;\n", names_.color_interface.c_str(), names_.environment_shader.c_str());
    if (fx_.eval_volume)
        out().print("%s %s;\n", names_.color_interface.c_str(), names_.volume_shader.c_str());
}

void Fx_code_generator::print_texture_transforms()
{
    for (int32_t n = 0; n < TEXTURE_TRANSFORM_COUNT; ++n)
        if (fx_.vs_texture_transform[n] != TRANSFORM_NONE)
            out().print(TEXT::texture_transform, names_.texture_transform[n].c_str());
}

void Fx_code_generator::print_app2vert()
{
    out().print(TEXT::app2vert_head, names_.app2vert.c_str());
    out().write("float4 position : POSITION;\n");
    if (used_[BACK12::STATE_NORMAL] || used_[BACK12::STATE_GEOMETRY_NORMAL])
        out().write("float3 normal : NORMAL;\n");
    if (used_[BACK12::STATE_TEXTURE_COORDINATE])
        for (int32_t n = 0; n < VERTEX_TEXCOORD_COUNT; ++n)
            out().print("float4 tex_coord%d : %s;\n", n, fx_.vs_binding_texcoord[n].c_str());
    if (used_[BACK12::STATE_TEXTURE_TANGENT] || used_[BACK12::STATE_TANGENT_SPACE])
        out().print("float3 tex_tangent : %s;\n", fx_.vs_binding_tangent.c_str());
    if (used_[BACK12::STATE_TEXTURE_BINORMAL] || used_[BACK12::STATE_TANGENT_SPACE])
        out().print("float3 tex_binormal : %s;\n", fx_.vs_binding_binormal.c_str());
    if (used_[BACK12::STATE_MOTION])
        out().print("float3 motion : %s;\n", fx_.vs_binding_motion.c_str());
    out().print("};\n\n");
}

void Fx_code_generator::print_vert2frag()
{
    out().print(TEXT::vert2frag_head, names_.vert2frag.c_str());
    out().write("float4 hpos : POSITION;\n");
    int32_t slot = 0;
    if (used_[BACK12::STATE_TEXTURE_COORDINATE]) {
        out().write("float4 tex_coord[4] : TEXCOORD0;\n");
        slot = 4;
    }
    if (used_[BACK12::STATE_TEXTURE_TANGENT] || used_[BACK12::STATE_TANGENT_SPACE])
        out().print("float3 tex_tangent[1] : TEXCOORD%d;\n", slot++);
    if (used_[BACK12::STATE_TEXTURE_BINORMAL] || used_[BACK12::STATE_TANGENT_SPACE])
        out().print("float3 tex_binormal[1] : TEXCOORD%d;\n", slot++);
    if (used_[BACK12::STATE_POSITION])
        out().print("float3 position : TEXCOORD%d;\n", slot++);
    if (used_[BACK12::STATE_NORMAL] || used_[BACK12::STATE_GEOMETRY_NORMAL])
        out().print("float3 normal : TEXCOORD%d;\n", slot++);
    if (used_[BACK12::STATE_MOTION])
        out().print("float3 motion : TEXCOORD%d;\n", slot);
    if (used_[BACK12::STATE_RASTER] || fx_.use_oit || fx_.use_jitter)
        out().write("float3 raster : WPOS;\n");
    if (fx_.two_sided)
        out().write("float4 fcolor : COLOR0;\nfloat4 bcolor : BCOL0;\n");
    out().print("};\n\n");
}

// Where two forms stand, the first is for vectors as rows (swap_mul).
void Fx_code_generator::print_vertex_main()
{
    const char* out_name = names_.vs_out.c_str();
    const char* in_name = names_.vs_in.c_str();
    bool swap = fx_.swap_mul;
    out().print(TEXT::vertex_main_head, names_.vert2frag.c_str(), names_.vertex_main.c_str(),
                names_.app2vert.c_str(), in_name);
    out().print("%s %s;\n", names_.vert2frag.c_str(), out_name);

    const char* to_raster = state_parameter(STATE_OBJECT_TO_RASTER).name;
    if (fx_.screen_space_vertices)
        out().print("%s.hpos = float4(%s.position.xyz, 1);\n", out_name, in_name);
    else if (swap)
        out().print("%s.hpos = mul(%s.position, %s);\n", out_name, in_name, to_raster);
    else
        out().print("%s.hpos = mul(%s, %s.position);\n", out_name, to_raster, in_name);

    const char* to_camera = state_parameter(BACK12::STATE_OBJECT_TO_CAMERA).name;
    if (used_[BACK12::STATE_POSITION]) {
        if (fx_.screen_space_vertices)
            out().print("%s.position = mul(%s.position, %s).xyz;\n", out_name, in_name,
                        state_parameter(BACK12::STATE_RASTER_TO_CAMERA).name);
        else if (swap)
            out().print("%s.position = mul(%s.position, %s).xyz;\n", out_name, in_name, to_camera);
        else
            out().print("%s.position = mul(%s, %s.position).xyz;\n", out_name, to_camera, in_name);
    }
    // Normals go through the transposed inverse, so their order is the opposite of the others.
    if (used_[BACK12::STATE_NORMAL] || used_[BACK12::STATE_GEOMETRY_NORMAL]) {
        const char* to_object = state_parameter(BACK12::STATE_CAMERA_TO_OBJECT).name;
        if (swap)
            out().print("%s.normal = mul((float3x3)%s, %s.normal);\n", out_name, to_object, in_name);
        else
            out().print("%s.normal = mul(%s.normal, (float3x3)%s);\n", out_name, in_name, to_object);
    }
    if (used_[BACK12::STATE_TEXTURE_COORDINATE]) {
        for (int32_t n = 0; n < TEXTURE_TRANSFORM_COUNT; ++n) {
            const char* transform = names_.texture_transform[n].c_str();
            switch (fx_.vs_texture_transform[n]) {
            case TRANSFORM_LEFT:
                out().print("%s.tex_coord[%d] = mul(%s, %s.tex_coord%d);\n", out_name, n, transform, in_name, n);
                break;
            case TRANSFORM_RIGHT:
                out().print("%s.tex_coord[%d] = mul(%s.tex_coord%d, %s);\n", out_name, n, in_name, n, transform);
                break;
            case TRANSFORM_NONE:
                out().print("%s.tex_coord[%d] = %s.tex_coord%d;\n", out_name, n, in_name, n);
                break;
            }
        }
    }
    // ORDER: tangent, binormal, motion; each multiplied by object_to_camera.
    struct Tangent_line {
        const char* field;
        const char* target;
        bool wanted;
    };
    const Tangent_line tangent_lines[] = {
        {"tex_tangent", "tex_tangent[0]", used_[BACK12::STATE_TEXTURE_TANGENT] || used_[BACK12::STATE_TANGENT_SPACE]},
        {"tex_binormal", "tex_binormal[0]",
         used_[BACK12::STATE_TEXTURE_BINORMAL] || used_[BACK12::STATE_TANGENT_SPACE]},
        {"motion", "motion", used_[BACK12::STATE_MOTION]},
    };
    for (const Tangent_line& line : tangent_lines) {
        if (!line.wanted)
            continue;
        if (swap)
            out().print("%s.%s = mul(%s.%s, (float3x3)%s);\n", out_name, line.target, in_name, line.field, to_camera);
        else
            out().print("%s.%s = mul((float3x3)%s, %s.%s);\n", out_name, line.target, to_camera, in_name, line.field);
    }
    if (fx_.two_sided)
        out().print(TEXT::two_sided_colors, state_parameter(STATE_OBJECT_TO_WORLD).name, out_name, out_name, out_name,
                    out_name);
    out().print("return %s;\n", out_name);
    out().print("}\n\n");
}

void Fx_code_generator::print_shader_methods()
{
    out().write(TEXT::shader_functions_comment);
    print_prototypes(std::vector<const St_node*>(input_.methods.begin(), input_.methods.end()));
    for (St_node* method : input_.methods)
        print_function(method);
}

void Fx_code_generator::print_fragment_main()
{
    const char* in_name = names_.fs_in.c_str();
    out().print(TEXT::fragment_main_head, names_.fragment_main.c_str(), names_.vert2frag.c_str(), in_name);
    if (fx_.use_oit)
        out().print(TEXT::oit_test, names_.using_depth.c_str(), names_.depth_texture.c_str(), in_name, in_name);
    out().write("State state;\n");
    print_fragment_state();
    print_derived_state();
    for (const State_field& line : light_zero_lines)
        if (marked(used_, line))
            out().write(line.line);
    const char* function = input_.function_name.c_str();
    if (fx_.eval_volume && fx_.interfaces) {
        out().print("state.volume_input = %s_eval(state);\n", function);
        out().print("return %s.eval(state);\n", names_.volume_shader.c_str());
        out().print("}\n\n");
        return;
    }
    if (used_[BACK12::STATE_VOLUME_INPUT])
        out().write("state.volume_input = 0;\n");
    out().print("return %s_eval(state);\n", function);
    out().print("}\n\n");
}

// The varying values, from the fragment input.
void Fx_code_generator::print_fragment_state()
{
    const char* in_name = names_.fs_in.c_str();
    if (used_[BACK12::STATE_POSITION])
        out().print("state.position = %s.position;\n", in_name);
    if (used_[BACK12::STATE_NORMAL] || used_[BACK12::STATE_GEOMETRY_NORMAL]) {
        if (!fx_.two_sided) {
            out().print("state.normal = normalize(%s.normal);\n", in_name);
        } else if (used_[BACK12::STATE_BACKSIDE]) {
            out().print("float __sign_fcolor = sign(%s.fcolor.r - 0.5);\n", in_name);
            out().print("state.normal = __sign_fcolor * normalize(%s.normal);\n", in_name);
            out().write("state.backside = __sign_fcolor < 0.0;\n");
        } else {
            out().print("state.normal = sign(%s.fcolor.r - 0.5) * normalize(%s.normal);\n", in_name, in_name);
        }
    }
    if (used_[BACK12::STATE_GEOMETRY_NORMAL])
        out().write("state.geom_normal = state.normal;\n");
    if (used_[BACK12::STATE_TEXTURE_COORDINATE])
        out().print("state.tex_coord = %s.tex_coord;\n", in_name);
    if (used_[BACK12::STATE_TEXTURE_TANGENT])
        out().print("state.tangent = %s.tex_tangent;\n", in_name);
    if (used_[BACK12::STATE_TEXTURE_BINORMAL])
        out().print("state.binormal = %s.tex_binormal;\n", in_name);
    if (used_[BACK12::STATE_MOTION])
        out().print("state.motion = %s.motion;\n", in_name);
    if (used_[BACK12::STATE_RASTER] || fx_.use_jitter)
        out().print("state.raster = %s.raster.xy;\n", in_name);
}

// Values derived from the varying ones.
void Fx_code_generator::print_derived_state()
{
    bool direction = used_[BACK12::STATE_DIRECTION];
    bool ray_length = used_[BACK12::STATE_RAY_LENGTH];
    if (direction && ray_length)
        out().write("state.ray_length = length(state.position);\nstate.direction = state.position/state.ray_length;\n");
    else if (direction)
        out().write("state.direction = normalize(state.position);\n");
    else if (ray_length)
        out().write("state.ray_length = length(state.position);\n");
    if (used_[BACK12::STATE_DOT_ND])
        out().write("state.dot_nd = dot(state.direction, state.normal);\n");
    if (used_[BACK12::STATE_TANGENT_SPACE]) {
        const char* in_name = names_.fs_in.c_str();
        out().write(fx_.swap_mul ? "state.tangent_space[0] = transpose(float3x3(\n"
                                 : "state.tangent_space[0] = float3x3(\n");
        out().print("    normalize(%s.tex_tangent[0]),\n", in_name);
        out().print("    normalize(%s.tex_binormal[0]),\n", in_name);
        out().write(fx_.swap_mul ? "    state.normal));\n" : "    state.normal);\n");
    }
    if (used_[BACK12::STATE_IMPORTANCE])
        out().write("state.importance = 1.0;\n");
    // "0f" stands as it is: the text is fixed.
    if (fx_.normals_face_forward) {
        out().write("if (state.dot_nd > 0f) {\nstate.dot_nd = -state.dot_nd;\nstate.normal = -state.normal;\n");
        if (used_[BACK12::STATE_GEOMETRY_NORMAL])
            out().write("state.geom_normal = -state.geom_normal;\n");
        out().write("}\n");
    }
}

void Fx_code_generator::print_technique()
{
    out().write(TEXT::technique_comment);
    out().print("technique %s\n", names_.technique.c_str());
    if (!fx_.technique_annotations.empty())
        write_data("<\n" + fx_.technique_annotations + "\n>\n");
    out().print("{\n");
    out().print("pass %s\n", names_.pass.c_str());
    if (!fx_.pass_annotations.empty())
        write_data("<\n" + fx_.pass_annotations + "\n>\n");
    out().print("{\n");
    if (fx_.render_state) {
        const char* test = fx_.depth_test ? "true" : "false";
        const char* write = fx_.depth_write ? "true" : "false";
        if (fx_.hlsl)
            out().print("ZEnable      = %s;\nZWriteEnable = %s;\nCullMode     = none;\n", test, write);
        else
            out().print("DepthTestEnable = %s;\nDepthMask       = %s;\nCullFaceEnable  = false;\n", test, write);
    }
    out().print("VertexShader = compile %s %s();\n", fx_.vertex_shader_profile.c_str(), names_.vertex_main.c_str());
    out().print("PixelShader  = compile %s %s();\n", fx_.fragment_shader_profile.c_str(),
                names_.fragment_main.c_str());
    out().print("}\n");
    out().print("}\n");
}

// The root function

void Fx_code_generator::print_root_function()
{
    if (!input_.main)
        return;
    const St_node* body = input_.main->find_child(SYNTAX_TREE::NODE_STATEMENT_BLOCK);
    out().write(TEXT::root_comment);
    if (is_light())
        out().print("%s eval(State state)\n", names_.light_iterator.c_str());
    else if (fx_.component)
        out().write("float4 eval(State state)\n");
    else
        out().print("float4 %s_eval(State state)\n", input_.function_name.c_str());
    out().print("{\n");
    if (is_light())
        out().print(TEXT::light_setup, names_.light_type.c_str(), names_.light_type.c_str(),
                    names_.light_direction.c_str(), "state.position", names_.light_position.c_str(), "state.normal");

    local_types_.clear();
    identity_variables_.clear();
    for (const Generator_variable& output : input_.outputs) {
        const Type* type = unit_->type_at(output.type_index);
        std::string name = identifier(output.name);
        if (type && type->array_size() > 1)
            out().print("%s %s[%d];\n", type_text(output.type_index).c_str(), name.c_str(), int(type->array_size()));
        else
            out().print("%s %s;\n", type_text(output.type_index).c_str(), name.c_str());
        local_types_[output.name] = output.type_index;
    }
    // Members live for one evaluation, like the outputs.
    for (const Generator_variable& member : input_.members) {
        print_local_declaration(member.declaration);
        local_types_[member.name] = member.type_index;
    }
    print_written_input_reads();

    in_root_ = true;
    if (body)
        print_statements(body->first_child);
    in_root_ = false;

    const Generator_variable* result = input_.primary();
    if (is_light()) {
        if (result)
            print_light_result(*result);
    } else {
        if (fx_.debug && input_.debug_index >= 0)
            print_debug_epilogue();
        if (result)
            print_return(*result);
        else
            write_root_line(result_forms().fallback);
    }
    out().print("}\n\n");
}

const Fx_code_generator::Result_forms& Fx_code_generator::result_forms() const
{
    static const Result_forms forms = {
        "return float4(0.5, 0.5, 0.5, 1.0);\n",
        "return %s[0][0];\n",
        "return %s ? float4(1,1,1,1) : float4(0,0,0,0);\n",
        "return float4(%s.x, %s.y, 0.0, 1.0);\n",
        "return float4(%s.x, %s.y, %s.z, 1.0);\n",
        "return float4(%s.x?1:0, %s.y?1:0, 0, 0);\n",
        "return float4(%s.x?1:0, %s.y?1:0, %s.z?1:0, 0);\n",
        "return float4(%s.x?1:0, %s.y?1:0, %s.z?1:0, %s.w?1:0);\n",
        "return %s;\n",
        "return %s;\n",
    };
    return forms;
}

// The result as the fragment's colour: a number spreads over the channels, a boolean is white or
// black, what has no colour is grey.
void Fx_code_generator::print_return(const Generator_variable& result)
{
    const Result_forms& forms = result_forms();
    const Type* type = unit_->type_at(result.type_index);
    std::string name = variable_name(result.name);
    if (type && type->array_size() != 1)
        name += "[0]";
    auto line = [&](const char* form) {
        std::string text;
        for (const char* c = form; *c; ++c) {
            if (c[0] == '%' && c[1] == 's') {
                text += name;
                ++c;
            } else {
                text += *c;
            }
        }
        write_root_line(text);
    };
    if (!type || type->is_texture() || type->is_struct() || type->code() == SYNTAX_TREE::TYPE_STRING)
        return line(forms.fallback);
    if (type->is_matrix())
        return line(forms.matrix);
    switch (type->code()) {
    case SYNTAX_TREE::TYPE_BOOLEAN:
        return line(forms.boolean);
    case SYNTAX_TREE::TYPE_VECTOR2:
    case SYNTAX_TREE::TYPE_VECTOR2I:
        return line(forms.vector2);
    case SYNTAX_TREE::TYPE_VECTOR3:
    case SYNTAX_TREE::TYPE_VECTOR3I:
        return line(forms.vector3);
    case SYNTAX_TREE::TYPE_VECTOR2B:
        return line(forms.vector2b);
    case SYNTAX_TREE::TYPE_VECTOR3B:
        return line(forms.vector3b);
    case SYNTAX_TREE::TYPE_VECTOR4B:
        return line(forms.vector4b);
    case SYNTAX_TREE::TYPE_COLOR:
        print_alpha_fold(name);
        return line(forms.vector4);
    case SYNTAX_TREE::TYPE_VECTOR4:
        return line(forms.vector4);
    default:
        return line(forms.other);
    }
}

// A surface's transparency output, folded into the alpha of its colour result.
void Fx_code_generator::print_alpha_fold(const std::string& result)
{
    if (!fx_.alpha_transparency || options_.shader_type != COMPILER::SHADER_SURFACE)
        return;
    for (const Generator_variable& output : input_.outputs) {
        if (output.name != "transparency")
            continue;
        const Type* type = unit_->type_at(output.type_index);
        if (!type || type->is_array())
            return;
        if (type->code() == SYNTAX_TREE::TYPE_COLOR)
            out().print("%s.a = 1.0 - dot(transparency.xyz, 0.333333333333);\n", result.c_str());
        else if (type->code() == SYNTAX_TREE::TYPE_SCALAR)
            out().print("%s.a = 1.0 - transparency;\n", result.c_str());
        return;
    }
}

const Generator_variable* Fx_code_generator::find_output(const char* name) const
{
    const Generator_variable* found = nullptr;
    for (const Generator_variable& output : input_.outputs)
        if (output.name == name)
            found = &output;
    return found;
}

void Fx_code_generator::print_light_result(const Generator_variable& result)
{
    std::string r = identifier(result.name);
    print_as_is("\t\t%s __light_out;\n", names_.light_iterator.c_str());
    print_as_is("\t\t__light_out.raw_contribution = %s;\n", r.c_str());
    const Generator_variable* shadow = find_output("light_shadow");
    if (shadow) {
        std::string s = identifier(shadow->name);
        print_as_is("\t\t__light_out.contribution = __light_out.raw_contribution * %s;\n", s.c_str());
        print_as_is("\t\t__light_out.shadow = %s;\n", s.c_str());
    } else {
        print_as_is("\t\t__light_out.contribution = __light_out.raw_contribution;\n");
    }
    print_as_is("\t\t__light_out._point     = %s;\n",
                fx_.interfaces ? names_.light_position.c_str() : "state.light_position");
    print_as_is("\t\t__light_out.distance  = state.light_distance;\n"
                "\t\t__light_out.dot_nl    = state.light_dotnl;\n"
                "\t\t__light_out.direction = -state.light_to_surface;\n"
                "\t\treturn __light_out;\n");
}

}  // namespace GEN_FX
}  // namespace QZ
