// The Cg generator: its tables and the order of its text. Expressions and statements print
// through the FX walk.
#include "gen_cg/cg_code_generator.h"

#include <set>
#include <vector>

#include "back12/used_state.h"
#include "gen_cg/mod_gen_cg.h"
#include "syntax_tree/compilation_unit.h"
#include "syntax_tree/st_node.h"
#include "syntax_tree/type.h"

namespace QZ {
namespace GEN_CG {

using BACK12::Generator_variable;
using SYNTAX_TREE::St_node;
using SYNTAX_TREE::Type;
namespace ST = SYNTAX_TREE;

namespace {

// The identity transform. A 4x4 matrix of sixteen numbers: a float4 cannot hold them.
const char* const identity_matrix = "float4x4(1,0,0,0, 0,1,0,0, 0,0,1,0, 0,0,0,1)";

// ORDER: state variable numbers 0 to 79. Null: the identity.
const char* const cg_state_texts[ST::STATE_VARIABLE_COUNT - 1] = {
    "state.position", "state.direction", "state.normal", "state.normal", "state.motion",
    "state.texCoord[0].xy", "state.screen", "state.texCoord", "state.tangent", "state.binormal",
    "state.ray_length",  // 10
    "state.dot_nd", "state.tangent_space",
    // Back faces carry a front-face colour below one.
    "(state.frontface.r < 1.0)", "", "", "state.importance", "state.tangent", "state.binormal",
    "qzSurfaceIOR", "qzOutsideIOR",  // 20
    "qzOrigin", "qzGlobalTime", "qzAnimationFrame", "qzShutterTime",
    // shutter_position has no value of its own in this renderer: it reads the duration.
    "qzShutterDuration", "qzShutterDuration", "qzShutterOpen", "qzShutterClose", "qzOrthographic",
    "qzFocalLength",  // 30
    "qzAperture", "qzAspectRatio", "qzNearClip", "qzFarClip", "qzCameraOffset", "qzDOFRadius", "qzDOFFocus",
    "qzImageXResolution", "qzImageYResolution", "qzWindowLeft",  // 40
    "qzWindowRight", "qzWindowTop", "qzWindowBottom",
    "qzCameraToObject", "qzCameraToWorld", nullptr, "qzCameraToRaster",  // 44 to 47
    "qzWorldToCamera", "qzWorldToObject", "qzWorldToCamera", "qzWorldToRaster",  // 48 to 51
    "qzObjectToCamera", "qzObjectToWorld", "qzObjectToCamera", "qzObjectToRaster",  // 52 to 55
    nullptr, "qzCameraToWorld", "qzCameraToObject", "qzCameraToRaster",  // 56 to 59
    "qzRasterToCamera", "qzRasterToObject", "qzRasterToWorld", "qzRasterToCamera",  // 60 to 63
    "qzLightOrigin", "qzLightDir", "qzLightToSurface", "qzLightDistance", "qzLightDot_nl", "qzLightNormal",
    "qzLightUV",  // 70
    "qzLightTextureCoords", "qzLightTextureTangent", "qzLightTextureBinormal", "qzLightType", "qzLightSpread",
    "qzLightSpreadCos", "qzLightDistanceLimit", "volume_input", "state",
};

// The interface of a parameter that an attachment may carry, by Ovrel type.
const char* const interface_type_map[][2] = {
    {"Bool", "qziBoolean"}, {"Int", "qziInteger"}, {"Scalar", "qziScalar"},
    {"Vector3", "qziVector"}, {"Color", "qziColor"}, {"Matrix4x4", "qziMatrix"},
};

constexpr const char* interface_marker = "__interface__";

// State functions and variables by number.
constexpr int32_t FUNCTION_GET_SHADOWING = 6;
constexpr int32_t FUNCTION_REFLECT_ENVIRONMENT = 18;
constexpr int32_t FUNCTION_REFRACT_ENVIRONMENT = 19;
constexpr int32_t FUNCTION_TRACE_ENVIRONMENT = 20;
constexpr int32_t STATE_REFRACTED_IOR = 19;
constexpr int32_t STATE_INCIDENT_IOR = 20;
constexpr int32_t STATE_LIGHT_POSITION = 64;
constexpr int32_t STATE_LIGHT_DIRECTION = 65;
constexpr int32_t STATE_LIGHT_TO_SURFACE = 66;
constexpr int32_t STATE_LIGHT_DISTANCE = 67;
constexpr int32_t STATE_LIGHT_DOT_NL = 68;
constexpr int32_t STATE_LIGHT_TYPE = 74;
constexpr int32_t STATE_LIGHT_DISTANCE_LIMIT = 77;

// Names of the light prologue's locals.
constexpr const char* surface_dir = "qzSurfaceDir";

// Options of the FX walk that have no meaning here: the Cg text has no effect dialect, no
// two-sided colours, no FX interfaces and no vertex stage of its own.
const char* const fx_only_options[] = {
    "format", "two_sided", "interfaces", "light_interfaces_only", "flip_tex2d_v", "use_oit", "use_jitter",
    "debug",
};

COMPILER::Compile_options cg_view(const COMPILER::Compile_options& options)
{
    COMPILER::Compile_options view = options;
    for (const char* key : fx_only_options)
        view.attributes.erase(key);
    // The volume's input is read by the shader's own eval, not by a fragment main.
    view.attributes["eval_volume"] = "false";
    // Members carry no annotations: the map is not read.
    view.attributes["annotation_map"] = "";
    return view;
}

}  // namespace

Cg_code_generator::Cg_code_generator(const BACK12::Generator_input& input, const COMPILER::Compile_options& options)
    : Fx_code_generator(input, cg_view(options))
{
    hald3_ = options.attribute_equals("target_product", HALD3_PRODUCT);
    // The debug display of this target is one line before the return, not the FX machinery.
    fx_.debug = false;
    // The parameters are members of the shader's struct, which its methods may write.
    written_inputs_.clear();
    fill_cg_tables();
}

Cg_code_generator::~Cg_code_generator() = default;

void Cg_code_generator::fill_cg_tables()
{
    type_map_["Light_iterator"] = "qzsLightOut";
    names_.light_iterator = "qzsLightOut";
    for (int32_t index = 0; index < ST::STATE_VARIABLE_COUNT - 1; ++index)
        state_texts_[index] = cg_state_texts[index] ? cg_state_texts[index] : identity_matrix;
    state_texts_[ST::STATE_VARIABLE_COUNT - 1].clear();
}

int32_t Cg_code_generator::log_module() const
{
    return SYSTEM::MODULE_CG;
}

bool Cg_code_generator::is_volume() const
{
    return options_.shader_type == COMPILER::SHADER_VOLUME;
}

bool Cg_code_generator::uses_lights() const
{
    return used_[BACK12::STATE_LIGHTS];
}

std::string Cg_code_generator::lights_member_name() const
{
    return hald3_ ? "lights" : light_list_name();
}

// Hooks

// A type that carries the interface marker prints as the interface of its value type.
std::string Cg_code_generator::type_name(std::string_view name) const
{
    size_t marker = name.find(interface_marker);
    if (marker == std::string_view::npos)
        return Fx_code_generator::type_name(name);
    std::string value(name.substr(0, marker));
    value += name.substr(marker + std::string_view(interface_marker).size());
    for (const auto& pair : interface_type_map)
        if (value == pair[0])
            return pair[1];
    return Fx_code_generator::type_name(value);
}

bool Cg_code_generator::is_interface_parameter(const std::string& name) const
{
    for (const Generator_variable& parameter : input_.parameters) {
        if (parameter.name != name)
            continue;
        const Type* type = unit_ ? unit_->type_at(parameter.type_index) : nullptr;
        return type && type->name() && std::string_view(type->name()).find(interface_marker) != std::string_view::npos;
    }
    return false;
}

// An attached parameter is evaluated by its interface.
bool Cg_code_generator::print_target_call(const St_node*, const std::string& name, const St_node*)
{
    if (!is_interface_parameter(name))
        return false;
    out().print("%s.eval(state)", identifier(name).c_str());
    return true;
}

bool Cg_code_generator::print_state_function(const St_node* call, int32_t index)
{
    switch (index) {
    case FUNCTION_GET_SHADOWING:
        out().write("qz_shadowmap(state, qzShadowMap)");
        return true;
    case FUNCTION_REFLECT_ENVIRONMENT:
        out().write("qz_reflect_env(state, qzRayEnvironment)");
        return true;
    case FUNCTION_REFRACT_ENVIRONMENT:
        out().print("qz_refract_env(state, qzRayEnvironment, %s/%s)", state_texts_[STATE_REFRACTED_IOR].c_str(),
                    state_texts_[STATE_INCIDENT_IOR].c_str());
        return true;
    case FUNCTION_TRACE_ENVIRONMENT:
        out().write("float4(0,0,0,0)");
        return true;
    default:
        return Fx_code_generator::print_state_function(call, index);
    }
}

// Hardware has no sample loop: the body runs once, as in the FX walk, after the message.
void Cg_code_generator::print_other_foreach(const St_node* body)
{
    report(LOG_FOREACH_NOT_LIGHTS, "foreach is currently only supported for lights");
    Fx_code_generator::print_other_foreach(body);
}

const char* Cg_code_generator::light_iterator_constructor_format() const
{
    return "%s(float3(0,0,0), float4(0,0,0,0), float4(0,0,0,0),0, 0, float3(0,0,0), 0, float4(0,0,0,0), 0)";
}

// The order of the text

void Cg_code_generator::generate()
{
    if (!input_.has_function())
        return;
    out().write(GEN_FX::TEXT::banner_head);
    out().write(GEN_FX::TEXT::banner_closing_line);
    out().write("\n");
    print_imports();
    print_types(unit_);
    print_unit_functions(unit_);
    print_shader_struct();
}

void Cg_code_generator::print_imports()
{
    // The root unit stands last in the print order; everything before it is an import.
    for (size_t i = 0; i + 1 < input_.units.size(); ++i) {
        ST::Compilation_unit* unit = input_.units[i];
        const std::string& name = unit->name().empty() ? unit->source_file_name() : unit->name();
        log_debug("Processing import %s", name.c_str());
        print_types(unit);
        print_unit_functions(unit);
    }
}

void Cg_code_generator::print_shader_struct()
{
    const char* base = is_light() ? "qziLight" : "qziColor";
    out().print("struct %s : %s\n", input_.function_name.c_str(), base);
    out().write("{\n");
    print_members();
    for (St_node* method : input_.methods)
        print_function(method);
    print_eval();
    out().write("};\n");
}

// Members: the volume's input, the non-varying state that the shader reads, the attachments,
// a light's type and the free parameters.
void Cg_code_generator::print_members()
{
    if (is_volume())
        print_as_is("\tqziColor    input;\n");

    int32_t debug_index = BACK12::debug_state_variable(input_.debug_name);
    bool refracts = used_functions_[FUNCTION_REFRACT_ENVIRONMENT];
    std::set<std::string> declared;
    for (int32_t index = STATE_REFRACTED_IOR; index <= STATE_LIGHT_DISTANCE_LIMIT; ++index) {
        const std::string& name = state_texts_[index];
        if (name.compare(0, 2, "qz") != 0)
            continue;
        bool wanted = used_[size_t(index)] || index == debug_index;
        wanted = wanted || (refracts && (index == STATE_REFRACTED_IOR || index == STATE_INCIDENT_IOR));
        if (is_light()) {
            // The light's place, direction and type are always there; the values of the
            // prologue are its locals.
            if (index == STATE_LIGHT_POSITION || index == STATE_LIGHT_DIRECTION || index == STATE_LIGHT_TYPE)
                wanted = true;
            if (index == STATE_LIGHT_TO_SURFACE || index == STATE_LIGHT_DISTANCE || index == STATE_LIGHT_DOT_NL)
                wanted = false;
        }
        if (!wanted || !declared.insert(name).second)
            continue;
        const ST::State_entry& entry = ST::state_variable_table[index];
        const char* word = ST::language_word(entry.code);
        std::string type = type_name(word ? word : "");
        if (entry.array_size > 1)
            print_as_is("\t%s %s[%u];\n", type.c_str(), name.c_str(), entry.array_size);
        else
            print_as_is("\t%s %s;\n", type.c_str(), name.c_str());
    }
    if (uses_lights())
        print_as_is("\tqziLight %s[];\n", lights_member_name().c_str());
    if (used_functions_[FUNCTION_REFLECT_ENVIRONMENT] || used_functions_[FUNCTION_REFRACT_ENVIRONMENT])
        print_as_is("\tqziColor qzRayEnvironment;\n");
    if (used_functions_[FUNCTION_GET_SHADOWING])
        print_as_is("\tqziColor qzShadowMap;\n");
    if (is_light() && !declared.count(state_texts_[STATE_LIGHT_TYPE]))
        print_as_is("\tint %s;\n", state_texts_[STATE_LIGHT_TYPE].c_str());

    for (const Generator_variable& parameter : input_.parameters) {
        const St_node* specifier = BACK12::type_specifier_of(parameter.declaration
                                                                 ? parameter.declaration->find_child(
                                                                       ST::NODE_VARIABLE_SPECIFIERS)
                                                                 : nullptr);
        const Type* type = unit_ ? unit_->type_at(parameter.type_index) : nullptr;
        if ((specifier && is_skipped_type(specifier->text_view())) ||
            (type && type->name() && is_skipped_type(type->name())))
            continue;
        print_as_is("\t%s %s%s;\n", type_text(parameter.type_index).c_str(), identifier(parameter.name).c_str(),
                    array_suffix(parameter.identifier).c_str());
    }
}

void Cg_code_generator::print_eval()
{
    const char* state_type = names_.state.c_str();
    if (is_light())
        print_as_is("\tqzsLightOut eval(%s state)\n\t{\n", state_type);
    else
        print_as_is("\tfloat4 eval(%s state)\n\t{\n", state_type);
    // The struct's brace set one level; the body stands one deeper.
    out().indent();
    // The renderer's array is "lights"; the loop walks its own name.
    if (uses_lights() && hald3_)
        out().print("qziLight %s[] = lights;\n", light_list_name().c_str());
    print_derived_state();
    if (is_light())
        print_light_prologue();
    print_output_locals();

    const St_node* body = input_.main ? input_.main->find_child(ST::NODE_STATEMENT_BLOCK) : nullptr;
    if (body)
        print_statements(body->first_child);

    const Generator_variable* result = input_.primary();
    if (is_light()) {
        if (result)
            print_light_result(*result);
        else
            print_as_is("\t\treturn qzsLightOut(float3(0,0,0), float4(0,0,0,0), float4(0,0,0,0),0, 0, "
                        "float3(0,0,0), 0, float4(0,0,0,0), 0);\n");
    } else {
        if (input_.debug_index >= 0)
            print_debug_output();
        if (result)
            print_return(*result);
        else
            write_root_line(result_forms().fallback);
    }
    out().unindent();
    print_as_is("\t}\n");
}

// Values derived from the state that the main program fills.
void Cg_code_generator::print_derived_state()
{
    bool direction = used_[BACK12::STATE_DIRECTION];
    bool ray_length = used_[BACK12::STATE_RAY_LENGTH];
    if (direction && ray_length) {
        print_as_is("\t\tstate.ray_length = length(state.position);\n"
                    "\t\tstate.direction  = state.position/state.ray_length;\n");
    } else if (options_.shader_type == COMPILER::SHADER_SURFACE) {
        if (direction)
            print_as_is("\t\tstate.direction  = normalize(state.position);\n");
        if (ray_length)
            print_as_is("\t\tstate.ray_length  = length(state.position);\n");
    }
    if (used_[BACK12::STATE_DOT_ND])
        print_as_is("\t\tstate.dot_nd  = dot(state.direction, state.normal);\n");
    if (used_[BACK12::STATE_MOTION])
        print_as_is("\t\tstate.motion  = float3(0,0,0);\n");
    if (used_[BACK12::STATE_TANGENT_SPACE])
        print_as_is("\t\tstate.tangent_space[0] = float3x3(\n"
                    "\t\t    state.tangent[0],\n"
                    "\t\t    state.binormal[0],\n"
                    "\t\t    state.normal);\n");
    if (used_[BACK12::STATE_IMPORTANCE])
        print_as_is("\t\tstate.importance = 1.0;\n");
}

// Distance and direction from the surface to the light; an infinite light has no place.
void Cg_code_generator::print_light_prologue()
{
    const char* distance = state_texts_[STATE_LIGHT_DISTANCE].c_str();
    const char* origin = state_texts_[STATE_LIGHT_POSITION].c_str();
    const char* direction = state_texts_[STATE_LIGHT_DIRECTION].c_str();
    const char* dot_nl = state_texts_[STATE_LIGHT_DOT_NL].c_str();
    const char* type = state_texts_[STATE_LIGHT_TYPE].c_str();
    print_as_is("\t\tfloat %s;\n", distance);
    print_as_is("\t\tfloat3 %s;\n", surface_dir);
    print_as_is("\t\tif (%s >= LIGHT_INFINITE) {\n", type);
    print_as_is("\t\t\t%s = 0;\n", distance);
    print_as_is("\t\t\t%s = -%s;\n", surface_dir, direction);
    print_as_is("\t\t} else {\n");
    print_as_is("\t\t\t%s = %s - %s;\n", surface_dir, origin, "state.position");
    print_as_is("\t\t\t%s = length(%s);\n", distance, surface_dir);
    print_as_is("\t\t\t%s /= %s;\n", surface_dir, distance);
    print_as_is("\t\t}\n");
    print_as_is("\t\tfloat %s = dot(%s, %s);\n", dot_nl, surface_dir, "state.normal");
    // The source's light_to_surface points the other way, from the light.
    if (input_.used_state[STATE_LIGHT_TO_SURFACE])
        print_as_is("\t\tfloat3 %s = -%s;\n", state_texts_[STATE_LIGHT_TO_SURFACE].c_str(), surface_dir);
}

void Cg_code_generator::print_output_locals()
{
    local_types_.clear();
    identity_variables_.clear();
    for (const Generator_variable& output : input_.outputs) {
        const Type* type = unit_->type_at(output.type_index);
        std::string name = identifier(output.name);
        if (type && type->array_size() > 1)
            print_as_is("\t\t%s %s[%d];\n", type_text(output.type_index).c_str(), name.c_str(),
                        int(type->array_size()));
        else
            print_as_is("\t\t%s %s;\n", type_text(output.type_index).c_str(), name.c_str());
        local_types_[output.name] = output.type_index;
    }
    // The volume's input is a value of this evaluation.
    if (is_volume()) {
        print_as_is("\t\tfloat4 volume_input;\n");
        print_as_is("\t\tvolume_input = input.eval(state);\n");
    } else if (used_[BACK12::STATE_VOLUME_INPUT]) {
        print_as_is("\t\tfloat4 volume_input = float4(0,0,0,0);\n");
    }
    // Members of the shader live for one evaluation, like the outputs.
    for (const Generator_variable& member : input_.members) {
        print_local_declaration(member.declaration);
        local_types_[member.name] = member.type_index;
    }
}

// The struct's brace set one level; the body's lines stand one deeper.
void Cg_code_generator::write_root_line(const std::string& line)
{
    print_as_is("\t\t%s", line.c_str());
}

void Cg_code_generator::print_light_result(const Generator_variable& result)
{
    std::string r = identifier(result.name);
    print_as_is("\t\tqzsLightOut qzs_light_out;\n");
    print_as_is("\t\tqzs_light_out.raw_contribution = %s;\n", r.c_str());
    if (const Generator_variable* shadow = find_output("light_shadow")) {
        std::string s = identifier(shadow->name);
        print_as_is("\t\tqzs_light_out.contribution = qzs_light_out.raw_contribution * %s;\n", s.c_str());
        print_as_is("\t\tqzs_light_out.shadow = %s;\n", s.c_str());
    } else {
        print_as_is("\t\tqzs_light_out.contribution = qzs_light_out.raw_contribution;\n");
    }
    print_as_is("\t\tqzs_light_out.point     = %s;\n", state_texts_[STATE_LIGHT_POSITION].c_str());
    print_as_is("\t\tqzs_light_out.distance  = %s;\n", state_texts_[STATE_LIGHT_DISTANCE].c_str());
    print_as_is("\t\tqzs_light_out.dot_nl    = %s;\n", state_texts_[STATE_LIGHT_DOT_NL].c_str());
    print_as_is("\t\tqzs_light_out.direction = %s;\n", surface_dir);
    print_as_is("\t\treturn qzs_light_out;\n");
}

// The watched value, shown through the profile's debug() instead of the result.
void Cg_code_generator::print_debug_output()
{
    std::string value;
    int32_t row = 0;
    uint8_t code = debug_value(value, row);
    if (code == ST::TYPE_ILLEGAL) {
        // An array shows the element that the name picks.
        std::string head = input_.debug_name.substr(0, input_.debug_name.find_first_of(".["));
        auto local = local_types_.find(head);
        const Type* type = local != local_types_.end() ? unit_->type_at(local->second) : nullptr;
        for (const Generator_variable& parameter : input_.parameters)
            if (!type && parameter.name == head)
                type = unit_->type_at(parameter.type_index);
        if (!type || !type->is_array())
            return;
        value = identifier(head) + "[" + std::to_string(row) + "]";
        code = type->code();
    }
    if (value.empty())
        return;
    // A matrix shows the row that the name picks.
    if (code == ST::TYPE_MATRIX || code == ST::TYPE_MATRIX3X3) {
        value += "[" + std::to_string(row) + "]";
        code = code == ST::TYPE_MATRIX ? uint8_t(ST::TYPE_VECTOR4) : uint8_t(ST::TYPE_VECTOR3);
    }
    const char* v = value.c_str();
    switch (code) {
    case ST::TYPE_COLOR:
        out().print("debug(abs(fmod(%s, 1)));\n", v);
        break;
    case ST::TYPE_VECTOR3:
        out().print("debug(float4(abs(fmod(((%s)*0.5)+0.5, 1)), 1));\n", v);
        break;
    case ST::TYPE_VECTOR2:
        out().print("debug(abs(fmod(float4((%s)*0.5+0.5, 0, 1), 1)));\n", v);
        break;
    case ST::TYPE_SCALAR:
    case ST::TYPE_INT32:
    case ST::TYPE_VECTOR4:
        out().print("debug(%s);\n", v);
        break;
    case ST::TYPE_BOOLEAN:
        out().print("debug(%s ? float4(1,1,1,1) : float4(0,0,0,0));\n", v);
        break;
    default:
        // Other types are not shown.
        break;
    }
}

}  // namespace GEN_CG
}  // namespace QZ
