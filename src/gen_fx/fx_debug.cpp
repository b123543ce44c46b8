// Debug display: the effect shows an intermediate value instead of its result. debug() is the
// environment's: the host's prologue (fx_header) defines it.
#include <cstdlib>

#include "gen_fx/fx_code_generator.h"
#include "syntax_tree/compilation_unit.h"
#include "syntax_tree/mod_syntax_tree.h"
#include "syntax_tree/st_node.h"
#include "syntax_tree/type.h"

namespace QZ {
namespace GEN_FX {

using SYNTAX_TREE::St_node;
using SYNTAX_TREE::Type;
namespace ST = SYNTAX_TREE;

namespace {

struct Debug_parameter {
    const char* name;
    const char* declaration;  // %s: the name
};

// ORDER: the order of declaration; the names are those the display texts use.
const Debug_parameter debug_parameters[] = {
    {"__debug_map_to_color", "bool %s = true;\n"},   {"__debug_range_min", "float %s = -1.0;\n"},
    {"__debug_range_max", "float %s = 1.0;\n"},      {"__debug_wrap", "bool %s = true;\n"},
    {"__debug_loop_count", "int %s = 0;\n"},         {"__debug_loop_break", "int %s = 0;\n"},
    {"__debug_generated_flag", "int %s = 0;\n"},     {"__debug_use_discard", "bool %s = false;\n"},
};

const char* const map_to_color = "__debug_map_to_color";
const char* const range_min = "__debug_range_min";
const char* const range_max = "__debug_range_max";
const char* const wrap = "__debug_wrap";
const char* const loop_count = "__debug_loop_count";
const char* const loop_break = "__debug_loop_break";
const char* const generated_flag = "__debug_generated_flag";
const char* const use_discard = "__debug_use_discard";

const char* const display_scalar =
    "if (%s) {\nfloat4 __debug_color = (%s-%s)/(%s-%s);\nif (%s) debug(abs(fmod(__debug_color, 1.)));\n"
    "else debug(__debug_color);\n} else debug(%s);\n";
const char* const display_vector2 =
    "if (%s) {\nfloat4 __debug_color = float4((%s-%s)/(%s-%s), 0., 1.);\nif (%s) debug(abs(fmod(__debug_color, 1.)));\n"
    "else debug(__debug_color);\n} else debug(float4((%s), 0., 1.));\n";
const char* const display_vector3 =
    "if (%s) {\nfloat4 __debug_color = float4((%s-%s)/(%s-%s), 1.);\nif (%s) debug(abs(fmod(__debug_color, 1.)));\n"
    "else debug(__debug_color);\n} else debug(float4((%s), 1.));\n";
const char* const display_vector4 =
    "if (%s) {\nfloat4 __debug_color = (%s-%s)/(%s-%s);\nif (%s) debug(abs(fmod(__debug_color, 1.)));\n"
    "else debug(__debug_color);\n} else debug(float4(%s));\n";
// Out-of-range channels of a colour show by the inverted clip mask.
const char* const display_color =
    "float4 __debug_color = (%s-%s)/(%s-%s);\nif (%s && %s) {\n"
    "float4 __debug_clip = saturate(__debug_color)!=__debug_color;\n__debug_clip.a = 0;\n"
    "if (any(__debug_clip)) debug(1.-__debug_clip);\nelse debug(__debug_color);\n"
    "} else debug(%s ? __debug_color : %s);\n";
const char* const display_matrix4 = "if (%s) debug(float4(abs(determinant(%s)), 0, 0, 1));\nelse debug(%s[%d]);\n";
const char* const display_matrix3 =
    "if (%s) debug(float4(abs(determinant(%s)), 0, 0, 1));\nelse debug(float4(%s[%d], 1));\n";

std::string upper(const char* name)
{
    std::string text = name;
    for (char& c : text)
        if (c >= 'a' && c <= 'z')
            c = char(c - 'a' + 'A');
    return text;
}

// The variable that a statement sets: the leftmost name of an assignment's target, of an
// increment's operand, or of a declaration.
std::string_view assigned_name(const St_node* statement)
{
    const St_node* node = statement;
    if (node && node->kind == ST::NODE_EXPRESSION_STATEMENT)
        node = node->first_child;
    if (!node)
        return {};
    switch (node->kind) {
    case ST::NODE_VARIABLE_DECLARATION: {
        const St_node* names = node->find_child(ST::NODE_INIT_IDENTIFIER_LIST);
        return names && names->first_child ? names->first_child->text_view() : std::string_view();
    }
    case ST::NODE_ASSIGNMENT_EXPRESSION:
    case ST::NODE_PRE_INCREMENT_EXPRESSION:
    case ST::NODE_PRE_DECREMENT_EXPRESSION:
    case ST::NODE_POST_INCREMENT_EXPRESSION:
    case ST::NODE_POST_DECREMENT_EXPRESSION:
        node = node->first_child;
        break;
    default:
        return {};
    }
    while (node &&
           (node->kind == ST::NODE_CLASS_MEMBER_REF_EXPRESSION || node->kind == ST::NODE_ARRAY_INDEX_EXPRESSION))
        node = node->first_child;
    return node && node->kind == ST::NODE_VARIABLE_ID ? node->text_view() : std::string_view();
}

std::string head_of(const std::string& name)
{
    return name.substr(0, name.find_first_of(".["));
}

// The row of "m[2]": the number in the first brackets, 0 without.
int32_t row_of(const std::string& name)
{
    size_t open = name.find('[');
    return open == std::string::npos ? 0 : std::atoi(name.c_str() + open + 1);
}

}  // namespace

void Fx_code_generator::print_debug_parameters()
{
    bool first = true;
    for (const Debug_parameter& parameter : debug_parameters) {
        std::string guard = upper(parameter.name);
        out().print("#ifndef %s\n#define %s\n", guard.c_str(), guard.c_str());
        out().print(parameter.declaration, parameter.name);
        out().write(first ? "#endif\n\n" : "#endif\n");
        first = false;
    }
}

// Only inside a loop of the root function: there a value changes from one pass to the next, and
// the display picks the pass that __debug_loop_break names. HLSL has no writable globals.
bool Fx_code_generator::sets_debug_variable(const St_node* statement) const
{
    if (!fx_.debug || fx_.hlsl || !in_root_ || loop_depth_ == 0 || input_.debug_name.empty())
        return false;
    std::string_view name = assigned_name(statement);
    return !name.empty() && name == head_of(input_.debug_name);
}

void Fx_code_generator::print_debug_watch(const St_node*)
{
    std::string value;
    int32_t row = 0;
    uint8_t code = debug_value(value, row);
    out().print("if (%s++==%s) {\n", loop_count, loop_break);
    print_debug_display(value, code, row);
    out().print("%s = true;\n", generated_flag);
    out().write("}\n");
}

void Fx_code_generator::print_debug_epilogue()
{
    out().print("if (!%s && %s) discard;\n", generated_flag, use_discard);
    std::string value;
    int32_t row = 0;
    uint8_t code = debug_value(value, row);
    print_debug_display(value, code, row);
}

// The watched variable's text and type code: a local or output of the root, a free parameter,
// or a state variable (whose per-vertex arrays show their first element).
uint8_t Fx_code_generator::debug_value(std::string& value, int32_t& row) const
{
    std::string head = head_of(input_.debug_name);
    row = row_of(input_.debug_name);
    value.clear();
    if (head.empty())
        return ST::TYPE_ILLEGAL;
    auto local = local_types_.find(head);
    int32_t type_index = -1;
    if (local != local_types_.end()) {
        type_index = local->second;
    } else {
        for (const BACK12::Generator_variable& parameter : input_.parameters)
            if (parameter.name == head)
                type_index = parameter.type_index;
    }
    if (const Type* type = unit_ ? unit_->type_at(type_index) : nullptr) {
        value = identifier(head);
        return type->is_array() ? uint8_t(ST::TYPE_ILLEGAL) : type->code();
    }
    int32_t index = BACK12::debug_state_variable(head);
    if (index < 0)
        return ST::TYPE_ILLEGAL;
    value = state_variable_text(index);
    if (index == BACK12::STATE_TEXTURE_TANGENT || index == BACK12::STATE_TEXTURE_BINORMAL ||
        index == BACK12::STATE_TANGENT_SPACE)
        value += "[0]";
    return ST::state_variable_table[index].code;
}

void Fx_code_generator::print_debug_display(const std::string& value, uint8_t code, int32_t row)
{
    const char* v = value.c_str();
    switch (code) {
    case ST::TYPE_BOOLEAN:
        out().print("debug(%s ? float4(1,1,1,1) : float4(0,0,0,0));\n", v);
        break;
    case ST::TYPE_SCALAR:
        out().print(display_scalar, map_to_color, v, range_min, range_max, range_min, wrap, v);
        break;
    case ST::TYPE_VECTOR2:
        out().print(display_vector2, map_to_color, v, range_min, range_max, range_min, wrap, v);
        break;
    case ST::TYPE_VECTOR3:
        out().print(display_vector3, map_to_color, v, range_min, range_max, range_min, wrap, v);
        break;
    case ST::TYPE_VECTOR4:
        out().print(display_vector4, map_to_color, v, range_min, range_max, range_min, wrap, v);
        break;
    case ST::TYPE_COLOR:
        out().print(display_color, v, range_min, range_max, range_min, map_to_color, wrap, map_to_color, v);
        break;
    case ST::TYPE_MATRIX:
        out().print(display_matrix4, map_to_color, v, v, row);
        break;
    case ST::TYPE_MATRIX3X3:
        out().print(display_matrix3, map_to_color, v, v, row);
        break;
    default:
        // Any other type is not displayed.
        break;
    }
}

}  // namespace GEN_FX
}  // namespace QZ
