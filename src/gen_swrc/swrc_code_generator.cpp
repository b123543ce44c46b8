// The software generator: its tables, the order of the file, and the hooks of the walk.
#include "gen_swrc/swrc_code_generator.h"

#include <cstdarg>
#include <cstdlib>
#include <cstring>

#include "back12/light_types.h"
#include "back12/used_state.h"
#include "gen_swrc/mod_gen_swrc.h"
#include "syntax_tree/compilation_unit.h"
#include "syntax_tree/st_node.h"
#include "syntax_tree/type.h"

namespace QZ {
namespace GEN_SWRC {

using BACK12::Generator_variable;
using SYNTAX_TREE::St_node;
using SYNTAX_TREE::Type;
namespace ST = SYNTAX_TREE;

namespace {

const char* const swrc_type_map[][2] = {
    {"Scalar", "float"},    {"Int", "int"},          {"Bool", "bool"},           {"Color", "Vector4"},
    {"Vector4", "Vector4"}, {"Texture1d", "Tag"},    {"Texture2d", "Tag"},       {"Texture3d", "Tag"},
    {"Texture_cube", "Tag"}, {"State", "State *"},   {"String", "String"},       {"Light_iterator", "Light_iterator"},
};

const char* const swrc_function_map[][2] = {
    {"tex1D", "state->tex1D"}, {"tex2D", "state->tex2D"}, {"tex3D", "state->tex3D"}, {"texCUBE", "state->texCUBE"},
};

// Structs that the host API declares itself: they keep their names.
const char* const host_structs[] = {
    "Ray", "Trace_options", "Occlusion_options", "Irradiance_options", "Light_iterator", "Light_iterator_options",
    "Sample_iterator",
};

// How a state variable reads: a getter and its symbol, whose derivative adds _DX or _DY; or, with
// no symbol, a fixed text. ORDER: state variable numbers 0 to 80.
struct State_read {
    const char* getter;
    const char* symbol;
};
const State_read state_reads[ST::STATE_VARIABLE_COUNT] = {
    {"state->get_vector3", "POINT"}, {"state->get_vector3", "DIR"}, {"state->get_vector3", "NORMAL"},
    {"state->get_vector3", "NORMAL_GEOM"}, {"state->get_vector3", "MOTION"}, {"state->get_vector2", "UV"},
    {"state->get_vector2", "RASTER"}, {"state->get_vector4", "TEXTURE"},
    {"state->get_vector3", "TEXTURE_TANGENT"}, {"state->get_vector3", "TEXTURE_BINORMAL"},
    {"state->get_scalar", "RAY_LENGTH"},  // 10
    {"state->get_scalar", "DOT_ND"}, {"state->get_tangent_space", nullptr}, {"state->get_int", "BACKSIDE"},
    {"String(get_ray_type_string(state->get_ray_flags()))", nullptr},
    {"String(get_ray_shader_string(state->get_ray_flags()))", nullptr}, {"state->get_scalar", "IMPORTANCE"},
    // Numbers 17 and 18 read the symbol of the other axis.
    {"state->get_vector3", "TEXTURE_DU"}, {"state->get_vector3", "TEXTURE_DV"},
    {"state->get_scalar", "SURFACE_IOR"}, {"state->get_scalar", "OUTSIDE_IOR"},  // 20
    {"state->get_vector3", "ORG"}, {"state->get_frame()->get_scalar", "Frame_sym::ANIMATION_TIME"},
    {"state->get_frame()->get_int", "Frame_sym::ANIMATION_FRAME"},
    {"state->get_frame()->get_scalar", "Frame_sym::SHUTTER_TIME"},
    {"state->get_frame()->get_scalar", "Frame_sym::SHUTTER_DURATION"},
    {"state->get_frame()->get_scalar", "Frame_sym::SHUTTER_POSITION"},
    {"state->get_frame()->get_scalar", "Frame_sym::SHUTTER_OPEN"},
    {"state->get_frame()->get_scalar", "Frame_sym::SHUTTER_CLOSE"},
    {"state->get_frame()->get_camera()->get_int", "Camera_sym::ORTHOGRAPHIC"},
    {"state->get_frame()->get_camera()->get_scalar", "Camera_sym::FOCAL_LENGTH"},  // 30
    {"state->get_frame()->get_camera()->get_scalar", "Camera_sym::APERTURE"},
    {"state->get_frame()->get_camera()->get_scalar", "Camera_sym::ASPECT_RATIO"},
    {"state->get_frame()->get_camera()->get_scalar", "Camera_sym::NEAR_CLIP"},
    {"state->get_frame()->get_camera()->get_scalar", "Camera_sym::FAR_CLIP"},
    {"state->get_frame()->get_camera()->get_vector2", "Camera_sym::CAMERA_OFFSET"},
    {"state->get_frame()->get_camera()->get_scalar", "Camera_sym::DOF_RADIUS"},
    {"state->get_frame()->get_camera()->get_scalar", "Camera_sym::DOF_FOCUS"},
    {"state->get_frame()->get_int", "Frame_sym::IMAGE_RESOLUTION_X"},
    {"state->get_frame()->get_int", "Frame_sym::IMAGE_RESOLUTION_Y"},
    {"state->get_frame()->get_int", "Frame_sym::WINDOW_LEFT"},  // 40
    {"state->get_frame()->get_int", "Frame_sym::WINDOW_RIGHT"},
    {"state->get_frame()->get_int", "Frame_sym::WINDOW_TOP"},
    {"state->get_frame()->get_int", "Frame_sym::WINDOW_BOTTOM"},
    // 44 to 63: the transforms, read by name.
    {nullptr, nullptr}, {nullptr, nullptr}, {nullptr, nullptr}, {nullptr, nullptr}, {nullptr, nullptr},
    {nullptr, nullptr}, {nullptr, nullptr}, {nullptr, nullptr}, {nullptr, nullptr}, {nullptr, nullptr},
    {nullptr, nullptr}, {nullptr, nullptr}, {nullptr, nullptr}, {nullptr, nullptr}, {nullptr, nullptr},
    {nullptr, nullptr}, {nullptr, nullptr}, {nullptr, nullptr}, {nullptr, nullptr}, {nullptr, nullptr},
    {"state->get_vector3", "LIGHT_POINT"}, {"state->get_vector3", "LIGHT_DIRECTION"},
    {"state->get_vector3", "LIGHT_TO_SURFACE"}, {"state->get_scalar", "LIGHT_DISTANCE"},
    {"state->get_scalar", "LIGHT_DOT_NL"}, {"state->get_vector3", "LIGHT_NORMAL"},
    {"state->get_vector2", "LIGHT_UV"},  // 70
    {"state->get_vector4", "LIGHT_TEXTURE"}, {"state->get_vector3", "LIGHT_TEXTURE_TANGENT"},
    {"state->get_vector3", "LIGHT_TEXTURE_BINORMAL"},
    {"String(get_light_type_string(Light_type(state->get_int(State_sym::LIGHT_TYPE))))", nullptr},
    {"state->get_scalar", "LIGHT_SPREAD"}, {"state->get_scalar", "LIGHT_SPREAD_COS"},
    {"state->get_scalar", "LIGHT_DISTANCE_LIMIT"}, {"state->get_vector4", "VOLUME_INPUT"}, {"state", nullptr},
    {"state->lights()", nullptr},
};

// The setters of the state variables that a shader may write, by number.
struct State_write {
    int32_t index;
    const char* text;
};
const State_write state_writes[] = {
    {0, "state->set_vector3(State_sym::POINT,"},       {2, "state->set_vector3(State_sym::NORMAL,"},
    {3, "state->set_vector3(State_sym::NORMAL_GEOM,"}, {4, "state->set_vector3(State_sym::MOTION,"},
    {5, "state->set_vector2(State_sym::UV,"},          {6, "state->set_vector2(State_sym::RASTER,"},
    {7, "state->set_vector4(State_sym::TEXTURE,"},     {13, "state->set_int(State_sym::BACKSIDE,"},
    {16, "state->set_scalar(State_sym::IMPORTANCE,"},  {19, "state->set_scalar(State_sym::SURFACE_IOR,"},
    {20, "state->set_scalar(State_sym::OUTSIDE_IOR,"}, {21, "state->set_vector3(State_sym::ORG,"},
    // A light fills the values of the light that it computes, which its own body and the
    // surface then read back.
    {64, "state->set_vector3(State_sym::LIGHT_POINT,"}, {65, "state->set_vector3(State_sym::LIGHT_DIRECTION,"},
    {66, "state->set_vector3(State_sym::LIGHT_TO_SURFACE,"}, {67, "state->set_scalar(State_sym::LIGHT_DISTANCE,"},
    {68, "state->set_scalar(State_sym::LIGHT_DOT_NL,"}, {69, "state->set_vector3(State_sym::LIGHT_NORMAL,"},
    {70, "state->set_vector2(State_sym::LIGHT_UV,"}, {75, "state->set_scalar(State_sym::LIGHT_SPREAD,"},
    {76, "state->set_scalar(State_sym::LIGHT_SPREAD_COS,"}, {77, "state->set_scalar(State_sym::LIGHT_DISTANCE_LIMIT,"},
};

// The array-valued state variables, read element by element through the symbols that follow the
// first: number, getter, symbol.
struct Indexed_state {
    int32_t index;
    const char* getter;
    const char* symbol;
};
const Indexed_state indexed_states[] = {
    {7, "state->get_vector4", "TEXTURE"},           {8, "state->get_vector3", "TEXTURE_TANGENT"},
    {9, "state->get_vector3", "TEXTURE_BINORMAL"},  {17, "state->get_vector3", "TEXTURE_DU"},
    {18, "state->get_vector3", "TEXTURE_DV"},       {71, "state->get_vector4", "LIGHT_TEXTURE"},
    {72, "state->get_vector3", "LIGHT_TEXTURE_TANGENT"}, {73, "state->get_vector3", "LIGHT_TEXTURE_BINORMAL"},
};

// Members of a light iterator are methods of the host's iterator; likewise the samples.
const char* const iterator_methods[][2] = {
    {"point", "get_point()"},
    {"direction", "get_direction()"},
    {"distance", "get_distance()"},
    {"dot_nl", "get_dot_nl()"},
    {"contribution", "get_contribution()"},
    {"raw_contribution", "get_raw_contribution()"},
    {"shadow", "get_shadow()"},
    {"count", "get_count()"},
    {"sample", "get_sample()"},
    {"sample2", "get_sample2()"},
    {"sample3", "get_sample3()"},
    {"sample4", "get_sample4()"},
};

// Ray kinds of the state functions that take a word.
const char* const dispersal_words[][2] = {
    {"specular", "RAY_SPECULAR)"}, {"glossy", "RAY_GLOSSY)"}, {"diffuse", "RAY_DIFFUSE)"},
};
const char* const history_words[][2] = {
    {"lightmap", "RAY_LIGHTMAP)"}, {"finalgather", "RAY_FINALGATHER)"}, {"probe", "RAY_PROBE)"},
    {"hull", "RAY_HULL)"},         {"volume", "RAY_VOLUME)"},
};
const char* const depth_words[][2] = {
    {"eye", "RAY_EYE)"},
    {"transparent", "RAY_TRANSPARENT)"},
    {"reflect", "RAY_REFLECT)"},
    {"refract", "RAY_REFRACT)"},
    {"shadow", "RAY_SHADOW)"},
    {"occlusion", "RAY_OCCLUSION)"},
    {"environment", "RAY_ENVIRONMENT)"},
    {"total", "RAY_EYE|RAY_TRANSPARENT|RAY_REFLECT|RAY_REFRACT|RAY_SHADOW|RAY_OCCLUSION|RAY_ENVIRONMENT)"},
};

template <size_t N>
const char* word_text(const char* const (&table)[N][2], std::string_view word)
{
    for (const auto& row : table)
        if (word == row[0])
            return row[1];
    return nullptr;
}

// Options of the FX walk that mean nothing in C++: no effect dialect, no sampler blocks, no
// texture tricks of the hardware, no interfaces.
const char* const fx_only_options[] = {
    "format", "two_sided", "interfaces", "light_interfaces_only", "flip_tex2d_v", "rotate_cube_map",
    "use_oit", "use_jitter", "debug", "swap_matrix_multiply", "alpha_transparency",
};

COMPILER::Compile_options swrc_view(const COMPILER::Compile_options& options)
{
    COMPILER::Compile_options view = options;
    for (const char* key : fx_only_options)
        view.attributes.erase(key);
    view.attributes["annotation_map"] = "";
    view.attributes["eval_volume"] = "false";
    return view;
}

bool is_swizzle(std::string_view member, uint32_t width)
{
    if (member.empty() || member.size() > 4)
        return false;
    for (char c : member) {
        const char* at = std::strchr("xyzw", c);
        const char* colour = std::strchr("rgba", c);
        int32_t component = at && c ? int32_t(at - "xyzw") : colour && c ? int32_t(colour - "rgba") : -1;
        if (component < 0 || uint32_t(component) >= width)
            return false;
    }
    return true;
}

int32_t swizzle_component(char c)
{
    const char* at = std::strchr("xyzw", c);
    return at ? int32_t(at - "xyzw") : int32_t(std::strchr("rgba", c) - "rgba");
}

std::string escaped(std::string_view text)
{
    std::string out;
    for (char c : text) {
        switch (c) {
        case '"':
            out += "\\\"";
            break;
        case '\\':
            out += "\\\\";
            break;
        case '\n':
            out += "\\n";
            break;
        case '\t':
            out += "\\t";
            break;
        default:
            if (static_cast<unsigned char>(c) < 0x20) {
                char octal[8];
                std::snprintf(octal, sizeof octal, "\\%03o", unsigned(static_cast<unsigned char>(c)));
                out += octal;
            } else {
                out += c;
            }
        }
    }
    return out;
}

}  // namespace

const char* const_state_message_name(int32_t index)
{
    switch (index) {
    case 17:
        return "texture_du";
    case 18:
        return "dot_dv";
    case 48:
        return "worl_to_internal";
    case 49:
        return "worl_to_object";
    case 62:
        return "raster_to_worl";
    case 57:
    case 58:
        return nullptr;
    default:
        break;
    }
    for (const State_write& write : state_writes)
        if (write.index == index)
            return nullptr;
    if (index < 0 || index >= ST::STATE_VARIABLE_COUNT)
        return nullptr;
    return ST::state_variable_table[index].name;
}

Swrc_code_generator::Swrc_code_generator(const BACK12::Generator_input& input,
                                         const COMPILER::Compile_options& options)
    : Fx_code_generator(input, swrc_view(options))
{
    // Every name of the shader carries the prefix, so no source name meets a word of C++ or of
    // the host API; a parameter is a member of the class, which main may write.
    written_inputs_.clear();
    fx_.debug = false;
    shader_name_ = input_.function_name;
    fill_swrc_tables();
    read_sharing_options();
}

Swrc_code_generator::~Swrc_code_generator() = default;

void Swrc_code_generator::fill_swrc_tables()
{
    type_map_.clear();
    function_map_.clear();
    identifier_map_.clear();
    for (const auto& pair : swrc_type_map)
        type_map_.emplace(pair[0], pair[1]);
    for (const auto& pair : swrc_function_map)
        function_map_.emplace(pair[0], pair[1]);
    names_.light_iterator = "Light_iterator";
    for (int32_t index = 0; index < ST::STATE_VARIABLE_COUNT; ++index)
        state_texts_[index].clear();
    // Structs of the unit and its imports, also those declared inside a shader, by local name.
    for (const ST::Compilation_unit* unit : input_.units)
        for (int32_t i = 0; i < unit->named_type_count(); ++i) {
            const ST::Named_type* type = unit->named_type_at(i);
            if (!type || !type->is_struct() || !type->name())
                continue;
            std::string name = type->name();
            size_t scope = name.rfind("::");
            unit_structs_.insert(scope == std::string::npos ? name : name.substr(scope + 2));
        }
    for (const char* host : host_structs)
        unit_structs_.erase(host);
    // The functions of the unit and its imports take the state first; natives are the host's.
    for (const ST::Compilation_unit* unit : input_.units) {
        const St_node* list = unit->tree();
        for (const St_node* node = list ? list->first_child : nullptr; node; node = node->next_sibling) {
            if (node->kind == ST::NODE_FUNCTION_DEFINITION)
                unit_functions_.insert(std::string(BACK12::function_definition_name(node)));
            else if (node->kind == ST::NODE_FUNCTION_DECLARATION && node->text_view() != "native")
                unit_functions_.insert(std::string(BACK12::function_definition_name(node)));
        }
    }
}

int32_t Swrc_code_generator::log_module() const
{
    return SYSTEM::MODULE_GSWR;
}

namespace {

// A decimal number as the options write it: digits only, no sign, no leading zero; -1 otherwise
// or above limit.
long decimal_option(const char* text, long limit)
{
    if (!text || !*text || std::strlen(text) > 9 || (text[0] == '0' && text[1]))
        return -1;
    for (const char* c = text; *c; ++c)
        if (*c < '0' || *c > '9')
            return -1;
    long value = std::atol(text);
    return value <= limit ? value : -1;
}

}  // namespace

void Swrc_code_generator::warn(int32_t code, const char* format, ...)
{
    if (!LOG::mod_log)
        return;
    va_list values;
    va_start(values, format);
    LOG::mod_log->vlog(log_module(), LOG::CAT_PLUG, code, LOG::SEV_WARN, format, values);
    va_end(values);
}

// Several shaders share a file only when both numbers make sense; a value that does not is told,
// as vornc tells an option value it does not take, and left out, so the file stands alone rather
// than losing its head or its export.
void Swrc_code_generator::read_sharing_options()
{
    const char* count = options_.get_attribute("shader_count");
    const char* index = options_.get_attribute("shader_index");
    if (count) {
        shader_count_ = decimal_option(count, MAX_SHARED_SHADERS);
        if (shader_count_ < 1) {
            shader_count_ = -1;
            warn(LOG_BAD_OPTION, "option 'shader_count' takes a decimal number from 1 to %d, not '%s'; it is ignored",
                   int(MAX_SHARED_SHADERS), count);
        }
    }
    if (index) {
        long limit = shader_count_ > 0 ? shader_count_ - 1 : MAX_SHARED_SHADERS - 1;
        shader_index_ = decimal_option(index, limit);
        if (shader_index_ < 0)
            warn(LOG_BAD_OPTION, "option 'shader_index' takes a decimal number from 0 to %ld, not '%s'; it is ignored",
                   limit, index);
    }
}

bool Swrc_code_generator::prints_file_head() const
{
    return shader_index_ <= 0;
}

bool Swrc_code_generator::prints_initializer() const
{
    if (shader_index_ < 0 || shader_count_ < 0)
        return true;
    return shader_index_ == shader_count_ - 1;
}

// Hooks

std::string Swrc_code_generator::type_name(std::string_view name) const
{
    std::string key(name);
    for (const ST::Compilation_unit* unit : input_.units)
        if (unit->find_enum(key) >= 0)
            return "int";
    auto found = type_map_.find(key);
    if (found != type_map_.end())
        return found->second;
    size_t scope = key.rfind("::");
    std::string local = scope == std::string::npos ? key : key.substr(scope + 2);
    for (const char* host : host_structs)
        if (local == host)
            return local;
    if (local.compare(0, 16, "Texture_sampler_") == 0)
        return local;
    return unit_structs_.count(local) ? "ovl_" + local : local;
}

std::string Swrc_code_generator::identifier(std::string_view name) const
{
    if (const char* macro = BACK12::light_type_macro(name))
        return macro;
    return "ovl_" + std::string(name);
}

bool Swrc_code_generator::is_output(const std::string& name) const
{
    for (const Generator_variable& output : input_.outputs)
        if (output.name == name)
            return true;
    return false;
}

bool Swrc_code_generator::is_parameter(const std::string& name) const
{
    for (const Generator_variable& parameter : input_.parameters)
        if (parameter.name == name)
            return true;
    return false;
}

bool Swrc_code_generator::is_method(const std::string& name) const
{
    for (const St_node* method : input_.methods)
        if (BACK12::function_definition_name(method) == name)
            return true;
    return false;
}

bool Swrc_code_generator::is_unit_function(const std::string& name) const
{
    return unit_functions_.count(name) > 0 || is_method(name);
}

// Outputs live in the result block that main receives.
void Swrc_code_generator::print_variable(const St_node* node)
{
    std::string name(node->text_view());
    if (is_output(name) && local_types_.count(name) == 0) {
        out().print("result->%s", identifier(name).c_str());
        return;
    }
    Fx_code_generator::print_variable(node);
}

int32_t Swrc_code_generator::expression_level(const St_node* node) const
{
    // C++ multiplies matrices with its own operator, not through a call.
    if (node->kind == ST::NODE_MULTIPLICATIVE_EXPRESSION)
        return LEVEL_MULTIPLICATIVE;
    return Fx_code_generator::expression_level(node);
}

void Swrc_code_generator::print_multiplicative(const St_node* node)
{
    print_binary(node, nullptr, LEVEL_MULTIPLICATIVE);
}

// A write to the state goes through its setter; a read-only one is left out with a message.
void Swrc_code_generator::print_assignment(const St_node* node)
{
    const St_node* target = node->first_child;
    const St_node* value = target ? target->next_sibling : nullptr;
    if (target && target->kind == ST::NODE_STATE_VARIABLE_REFERENCE) {
        print_state_write(target, nullptr, node->text ? node->text : "=", value);
        return;
    }
    // An element of an array of the state: only texture spaces take writes.
    const St_node* base = target && target->kind == ST::NODE_ARRAY_INDEX_EXPRESSION ? target->first_child : nullptr;
    if (base && base->kind == ST::NODE_STATE_VARIABLE_REFERENCE) {
        print_state_write(base, base->next_sibling, node->text ? node->text : "=", value);
        return;
    }
    // A swizzle that is written is a place in its vector, not a copy.
    writing_ = target && target->kind == ST::NODE_CLASS_MEMBER_REF_EXPRESSION;
    print_operand(target, LEVEL_CONDITIONAL);
    writing_ = false;
    out().print(" %s ", node->text ? node->text : "=");
    print_operand(value, LEVEL_ASSIGNMENT);
}

void Swrc_code_generator::print_state_write(const St_node* target, const St_node* element, const char* op,
                                            const St_node* value)
{
    int32_t index = BACK12::state_reference_index(target);
    for (const State_write& write : state_writes) {
        if (write.index != index)
            continue;
        if (element && index == BACK12::STATE_TEXTURE_COORDINATE) {
            out().write("state->set_vector4(static_cast<State_sym::Id>(State_sym::TEXTURE+");
            print_expression(element);
            out().write("),");
        } else {
            out().write(write.text);
        }
        // A compound assignment writes the value that the operator makes from the old one.
        if (std::strcmp(op, "=") != 0 && std::strlen(op) == 2) {
            if (element)
                print_indexed_state(target, element);
            else
                print_state_read(index, "");
            out().print(" %c ", op[0]);
            print_operand(value, LEVEL_MULTIPLICATIVE + 1);
        } else {
            print_expression(value);
        }
        out().write(")");
        return;
    }
    if (const char* name = const_state_message_name(index))
        report(LOG_CONST_STATE, "assignment to const state variable %s", name);
}

std::string Swrc_code_generator::state_variable_text(int32_t index) const
{
    return state_read_text(index, "");
}

std::string Swrc_code_generator::state_read_text(int32_t index, const char* suffix) const
{
    if (index < 0 || index >= ST::STATE_VARIABLE_COUNT)
        return "state->unknown()";
    if (index >= BACK12::STATE_INTERNAL_TO_OBJECT && index <= BACK12::STATE_RASTER_TO_CAMERA)
        return std::string("Matrix4x4(state->get_") + ST::state_variable_table[index].name + "())";
    const State_read& read = state_reads[index];
    if (!read.symbol)
        return read.getter;
    bool qualified = std::strchr(read.symbol, ':') != nullptr;
    return std::string(read.getter) + "(" + (qualified ? "" : "State_sym::") + read.symbol + suffix + ")";
}

void Swrc_code_generator::print_state_read(int32_t index, const char* suffix)
{
    out().write(state_read_text(index, suffix));
}

// A state variable under ddx or ddy reads its change along that axis from the state.
void Swrc_code_generator::print_derivative(const St_node* argument, const char* axis)
{
    print_state_read(BACK12::state_reference_index(argument), axis);
}

void Swrc_code_generator::print_indexed_state(const St_node* base, const St_node* index)
{
    int32_t number = BACK12::state_reference_index(base);
    for (const Indexed_state& state : indexed_states) {
        if (state.index != number)
            continue;
        out().print("%s(static_cast<State_sym::Id>(State_sym::%s+", state.getter, state.symbol);
        print_expression(index);
        out().write("))");
        return;
    }
    print_state_read(number, "");
    out().write("[");
    print_expression(index);
    out().write("]");
}

void Swrc_code_generator::print_index(const St_node* node)
{
    const St_node* base = node->first_child;
    const St_node* index = base ? base->next_sibling : nullptr;
    if (base && base->kind == ST::NODE_STATE_VARIABLE_REFERENCE) {
        print_indexed_state(base, index);
        return;
    }
    Fx_code_generator::print_index(node);
}

// Swizzles pick components by number; members of iterators are methods; arrays know their count.
void Swrc_code_generator::print_member_access(const St_node* node)
{
    const St_node* base = node->first_child;
    const St_node* selector = base ? base->next_sibling : nullptr;
    const Type* base_type = type_of(base);
    std::string member = selector ? std::string(selector->text_view()) : std::string();
    bool written = writing_;
    writing_ = false;
    if (base_type && base_type->is_array()) {
        print_operand(base, LEVEL_POSTFIX);
        out().write(".get_count()");
        return;
    }
    uint32_t width = base_type && base_type->is_vector() ? ST::component_count(base_type->code()) : 0;
    if (width > 0 && is_swizzle(member, width)) {
        out().write(written ? "swizzle_ref<" : "swizzle<");
        for (size_t i = 0; i < member.size(); ++i)
            out().print(i ? ",%d" : "%d", swizzle_component(member[i]));
        out().write(">(");
        print_expression(base);
        out().write(")");
        return;
    }
    const char* struct_name = base_type && base_type->is_struct() ? base_type->name() : nullptr;
    // The state's own light list is an iterator of the host too.
    bool state_lights = base && base->kind == ST::NODE_STATE_VARIABLE_REFERENCE &&
                        BACK12::state_reference_index(base) == BACK12::STATE_LIGHTS;
    bool iterator = state_lights || (struct_name && (std::strcmp(struct_name, "Light_iterator") == 0 ||
                                                     std::strcmp(struct_name, "Sample_iterator") == 0));
    if (iterator) {
        print_operand(base, LEVEL_POSTFIX);
        const char* method = word_text(iterator_methods, member);
        out().print(".%s", method ? method : "get_count()");
        return;
    }
    print_operand(base, LEVEL_POSTFIX);
    bool host = struct_name && type_name(struct_name) == struct_name;
    out().print(".%s", host ? member.c_str() : identifier(member).c_str());
}

void Swrc_code_generator::print_constructor_call(const St_node* node)
{
    const St_node* specifier = BACK12::type_specifier_of(node);
    if (specifier && specifier->text_view() == "Sample_iterator") {
        print_sample_iterator(BACK12::call_arguments(node));
        return;
    }
    Fx_code_generator::print_constructor_call(node);
}

// The host's sample iterator draws from the state's sampler.
void Swrc_code_generator::print_sample_iterator(const St_node* arguments)
{
    out().write("Sample_iterator(state->get_sampler(),");
    if (BACK12::argument_count(arguments) > 0)
        print_arguments(arguments);
    else
        out().write("0");
    out().write(")");
}

// C++ asks for parentheses where && stands inside ||, though the tree has the order already.
void Swrc_code_generator::print_logical(const St_node* node, const char* op, int32_t level)
{
    const St_node* left = node->first_child;
    const St_node* right = left ? left->next_sibling : nullptr;
    bool is_or = level == LEVEL_OR;
    print_expression(left, expression_level(left) < level || (is_or && left->kind == ST::NODE_AND_EXPRESSION));
    out().print(" %s ", op);
    if (right)
        print_expression(right,
                         expression_level(right) < level + 1 || (is_or && right->kind == ST::NODE_AND_EXPRESSION));
}

void Swrc_code_generator::print_call(const St_node* node)
{
    std::string name(node->text_view());
    const St_node* arguments = BACK12::call_arguments(node);
    const St_node* first = arguments ? arguments->first_child : nullptr;
    if (name == "Sample_iterator") {
        print_sample_iterator(arguments);
        return;
    }
    // Only the values of the shading point have derivatives, not those of the frame or camera.
    int32_t state = first && first->kind == ST::NODE_STATE_VARIABLE_REFERENCE ? BACK12::state_reference_index(first)
                                                                                : -1;
    bool has_symbol = state >= 0 && state < ST::STATE_VARIABLE_COUNT && state_reads[state].symbol &&
                      !std::strchr(state_reads[state].symbol, ':');
    if ((name == "ddx" || name == "ddy") && first && !first->next_sibling && has_symbol) {
        print_derivative(first, name == "ddx" ? "_DX" : "_DY");
        return;
    }
    size_t scope = name.rfind("::");
    std::string local = scope == std::string::npos ? name : name.substr(scope + 2);
    if (!is_struct_name(name) && is_unit_function(local)) {
        out().print("%s(state,factory", identifier(local).c_str());
        if (is_method(local))
            out().write(",result");
        if (BACK12::argument_count(arguments) > 0)
            out().write(",");
        print_arguments(arguments);
        out().write(")");
        return;
    }
    Fx_code_generator::print_call(node);
}

std::string Swrc_code_generator::string_argument(const St_node* node) const
{
    if (node && node->kind == ST::NODE_STRING_CONSTANT && node->text)
        return std::string(node->text_view());
    return std::string();
}

bool Swrc_code_generator::print_state_function(const St_node* call, int32_t index)
{
    const St_node* arguments = BACK12::call_arguments(call);
    const St_node* first = arguments ? arguments->first_child : nullptr;
    const St_node* second = first ? first->next_sibling : nullptr;
    const St_node* third = second ? second->next_sibling : nullptr;
    switch (index) {
    case 0:  // get_texture_component
        out().write("state->get_vector4(static_cast<State_sym::Id>(State_sym::TEXTURE+");
        print_expression(first);
        out().write("))[");
        print_expression(second);
        out().write("]");
        return true;
    case 1:  // get_texture_dimension
        out().write("4");
        return true;
    case 2:  // is_ray_dispersal_group
    case 3: {  // is_ray_history_group
        const char* word = index == 2 ? word_text(dispersal_words, string_argument(first))
                                      : word_text(history_words, string_argument(first));
        out().print("%s(state->get_ray_flags(),%s", index == 2 ? "is_ray_dispersal_group" : "is_ray_history_group",
                    word ? word : "0)");
        return true;
    }
    case 4:  // trace
        out().write("state->trace(Ray_diff(");
        print_operand(first, LEVEL_POSTFIX);
        out().write(".origin, ");
        print_operand(first, LEVEL_POSTFIX);
        out().write(".direction),Gather_output_def())");
        return true;
    case 5:  // trace_immediate
        out().write("trace_immediate(state,");
        print_expression(first);
        out().write(",(Gather_output_def_struct)Gather_output_def())");
        return true;
    case 6:  // get_shadowing
        out().write("state->shadowing()");
        return true;
    case 7: {  // get_trace_depth
        const char* word = word_text(depth_words, first ? string_argument(first) : "total");
        out().print("state->get_trace_depth(%s", word ? word : depth_words[7][1]);
        return true;
    }
    case 8:  // occlusion
    case 21:  // irradiance
        out().write(index == 8 ? "state->occlusion(" : "state->irradiance(");
        print_arguments(arguments);
        out().write(")");
        return true;
    case 9:  // get_shader_parameter
        out().write("state->get_shader_parameter(");
        print_expression(first);
        out().write(")");
        return true;
    case 10:  // error
    case 11:  // warning
    case 12:  // info
    case 13: {  // progress
        static const char* const words[] = {"error", "warning", "info", "progress"};
        out().print("state->get_log()->%s((", words[index - 10]);
        print_expression(first);
        out().write(").c_str())");
        return true;
    }
    case 14: {  // get_transform
        std::string from = string_argument(first);
        std::string to = string_argument(second);
        if (from.empty() || to.empty()) {
            out().write("Matrix4x4(1.0)");
            return true;
        }
        out().print("state->get_%s_to_%s()", from.c_str(), to.c_str());
        return true;
    }
    case 15:  // transform_point
    case 16:  // transform_vector
    case 17: {  // transform_normal
        static const char* const words[] = {"transform_point", "transform_vector", "transform_normal"};
        out().print("state->%s(state->get_coordsystem(", words[index - 15]);
        print_expression(first);
        out().write("),state->get_coordsystem(");
        print_expression(second);
        out().write("),");
        print_expression(third);
        out().write(")");
        return true;
    }
    case 18:  // reflect_environment
        out().write("Vector4(state->reflect_environment())");
        return true;
    case 19:  // refract_environment
        out().write("Vector4(state->refract_environment())");
        return true;
    case 20:  // trace_environment
        out().write("trace_environment(state,");
        print_expression(first);
        out().write(",(Gather_output_def_struct)Gather_output_def()");
        out().write(")");
        return true;
    default:
        report(LOG_UNKNOWN_STATE_FUNCTION, "System Error: Encountered unknown state function %d", index);
        out().write("0");
        return true;
    }
}

// A loop over an iterator of the host: lights or samples.
void Swrc_code_generator::print_foreach(const St_node* node)
{
    const St_node* iterator = node->first_child;
    const St_node* body = iterator ? iterator->next_sibling : nullptr;
    std::string variable = expression_text(iterator);
    out().print("for (%s.begin(); %s.valid(); %s.next())\n", variable.c_str(), variable.c_str(), variable.c_str());
    if (body && body->kind == ST::NODE_STATEMENT_BLOCK) {
        print_block(body);
        return;
    }
    out().write("{\n");
    print_statement(body);
    out().write("}\n");
}

// A literal is a String of the host; a light type's word is its number.
void Swrc_code_generator::print_string(const St_node* node)
{
    if (!node->text) {
        out().write("String()");
        return;
    }
    out().print("String(\"%s\")", escaped(node->text_view()).c_str());
}

void Swrc_code_generator::print_enum(const St_node* declaration)
{
    out().print("enum %.*s {\n", int(declaration->text_view().size()), declaration->text_view().data());
    int32_t next = 0;
    bool first = true;
    for (const St_node* member = declaration->first_child; member; member = member->next_sibling) {
        if (member->kind != ST::NODE_ENUM_MEMBER)
            continue;
        int32_t value = member->first_child ? member->first_child->int_value() : next;
        print_as_is(first ? "\tovl_%.*s = %d" : ",\n\tovl_%.*s = %d", int(member->text_view().size()),
                    member->text_view().data(), value);
        first = false;
        next = value + 1;
    }
    out().write("\n};\n\n");
}

}  // namespace GEN_SWRC
}  // namespace QZ
