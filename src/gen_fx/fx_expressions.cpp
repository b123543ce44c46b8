// The FX tree walk, expressions: one switch on the node kind, each case a call of a helper.
#include <cstdio>
#include <cstring>

#include "back12/light_types.h"
#include "gen_fx/fx_code_generator.h"
#include "gen_fx/mod_gen_fx.h"
#include "log/mod_log.h"
#include "syntax_tree/compilation_unit.h"
#include "syntax_tree/st_node.h"
#include "syntax_tree/type.h"

namespace QZ {
namespace GEN_FX {

using SYNTAX_TREE::St_node;
using SYNTAX_TREE::Type;
namespace ST = SYNTAX_TREE;

namespace {

// Deeper nesting than this is taken as a fault of the tree; the walk stops there with a message.
constexpr int32_t MAX_NESTING = 512;

// The number of a state reference, or -1.
int32_t state_index(const St_node* node)
{
    return BACK12::state_reference_index(node);
}

}  // namespace

uint32_t fx_string_hash(std::string_view text)
{
    uint32_t hash = 0;
    for (char c : text)
        hash = hash * 5u + uint32_t(static_cast<unsigned char>(c));
    return hash;
}

const Type* Fx_code_generator::type_of(const St_node* node) const
{
    return node && unit_ ? unit_->type_at(node->type_index) : nullptr;
}

// Hooks

std::string Fx_code_generator::type_name(std::string_view name) const
{
    std::string key(name);
    // Enums are Int types.
    for (const SYNTAX_TREE::Compilation_unit* unit : input_.units)
        if (unit->find_enum(key) >= 0)
            return type_name("Int");
    auto found = type_map_.find(key);
    if (found != type_map_.end())
        return found->second;
    // A type declared in a shader prints under its own name.
    size_t scope = key.rfind("::");
    return scope == std::string::npos ? key : key.substr(scope + 2);
}

std::string Fx_code_generator::function_name(std::string_view name) const
{
    auto found = function_map_.find(std::string(name));
    return found != function_map_.end() ? found->second : std::string(name);
}

std::string Fx_code_generator::identifier(std::string_view name) const
{
    if (const char* macro = BACK12::light_type_macro(name))
        return macro;
    std::string key(name);
    auto found = identifier_map_.find(key);
    return found != identifier_map_.end() ? found->second : key;
}

std::string Fx_code_generator::state_variable_text(int32_t index) const
{
    if (index < 0 || index >= ST::STATE_VARIABLE_COUNT)
        return std::string();
    return state_texts_[index];
}

// Expressions

std::string Fx_code_generator::expression_text(const St_node* node, bool paren)
{
    BACK12::Text_writer scratch;
    BACK12::Text_writer* saved = out_;
    out_ = &scratch;
    print_expression(node, paren);
    out_ = saved;
    return scratch.take_text();
}

int32_t Fx_code_generator::nesting_limit() const
{
    return MAX_NESTING;
}

const char* Fx_code_generator::nesting_message() const
{
    return "Expression nesting too deep (over %d levels); the rest is left out";
}

bool Fx_code_generator::enter_level()
{
    if (depth_ >= nesting_limit()) {
        if (!depth_reported_)
            report(nesting_log_code(), nesting_message(), nesting_limit());
        depth_reported_ = true;
        return false;
    }
    ++depth_;
    return true;
}

bool Fx_code_generator::print_expression(const St_node* node, bool paren)
{
    if (!node || !enter_level())
        return false;
    struct Level_guard {
        Fx_code_generator& walk;
        ~Level_guard() { walk.leave_level(); }
    } guard{*this};

    bool wrap = paren && expression_level(node) < LEVEL_PRIMARY;
    if (wrap)
        out().write("(");
    bool printed = true;
    const St_node* first = node->first_child;
    switch (node->kind) {
    case ST::NODE_IDENTIFIER:
        print_identifier(node);
        break;
    case ST::NODE_MEMBER_VARIABLE_ID:
        out().write(identifier(node->text_view()));
        break;
    case ST::NODE_EXPRESSION_LIST:
        for (const St_node* item = first; item; item = item->next_sibling) {
            print_operand(item, LEVEL_ASSIGNMENT);
            if (item->next_sibling)
                out().write(", ");
        }
        break;
    case ST::NODE_ASSIGNMENT_EXPRESSION:
        if (first && first->kind == ST::NODE_ASSIGNMENT_EXPRESSION)
            print_assignment_chain(node);
        else
            print_assignment(node);
        break;
    case ST::NODE_CONDITIONAL_EXPRESSION:
        print_conditional(node);
        break;
    case ST::NODE_OR_EXPRESSION:
        print_logical(node, "||", LEVEL_OR);
        break;
    case ST::NODE_XOR_EXPRESSION:
        print_xor(node);
        break;
    case ST::NODE_AND_EXPRESSION:
        print_logical(node, "&&", LEVEL_AND);
        break;
    case ST::NODE_EQUALITY_EXPRESSION:
        print_relation(node, LEVEL_EQUALITY);
        break;
    case ST::NODE_RELATIONAL_EXPRESSION:
        print_relation(node, LEVEL_RELATIONAL);
        break;
    case ST::NODE_ADDITIVE_EXPRESSION:
        print_additive(node);
        break;
    case ST::NODE_MULTIPLICATIVE_EXPRESSION:
        print_multiplicative(node);
        break;
    case ST::NODE_CAST_EXPRESSION:
        print_cast(node);
        break;
    case ST::NODE_PRE_INCREMENT_EXPRESSION:
    case ST::NODE_PRE_DECREMENT_EXPRESSION:
        out().write(node->kind == ST::NODE_PRE_INCREMENT_EXPRESSION ? "++" : "--");
        print_operand(first, LEVEL_POSTFIX);
        break;
    case ST::NODE_UNARY_EXPRESSION:
        print_unary(node);
        break;
    case ST::NODE_POST_INCREMENT_EXPRESSION:
    case ST::NODE_POST_DECREMENT_EXPRESSION:
        print_operand(first, LEVEL_POSTFIX);
        out().write(node->kind == ST::NODE_POST_INCREMENT_EXPRESSION ? "++" : "--");
        break;
    case ST::NODE_CLASS_MEMBER_REF_EXPRESSION:
        print_member_access(node);
        break;
    case ST::NODE_ARRAY_INDEX_EXPRESSION:
        print_index(node);
        break;
    case ST::NODE_FUNCTION_CALL_EXPRESSION:
        print_call(node);
        break;
    case ST::NODE_CONSTRUCTOR_CALL_EXPRESSION:
        print_constructor_call(node);
        break;
    case ST::NODE_METHOD_CALL_EXPRESSION:
        out().print("%s(", function_name(node->text_view()).c_str());
        print_arguments(BACK12::call_arguments(node));
        out().write(")");
        break;
    case ST::NODE_INT_CONSTANT:
    case ST::NODE_HEX_CONSTANT:
    case ST::NODE_OCT_CONSTANT:
    case ST::NODE_FLOAT_CONSTANT:
    case ST::NODE_BOOL_CONSTANT:
        out().write(node->text_view());
        break;
    case ST::NODE_STRING_CONSTANT:
        print_string(node);
        break;
    case ST::NODE_VARIABLE_ID:
        print_variable(node);
        break;
    case ST::NODE_STATE_VARIABLE_REFERENCE:
        out().write(state_variable_text(state_index(node)));
        break;
    case ST::NODE_STATE_FUNCTION_REFERENCE:
        printed = print_state_function(node, state_index(node));
        break;
    case ST::NODE_ARRAY_INITIALIZER:
        out().write("{");
        for (const St_node* item = first; item; item = item->next_sibling) {
            print_expression(item);
            if (item->next_sibling)
                out().write(", ");
        }
        out().write("}");
        break;
    case ST::NODE_FUNCTION_CALL_PARAMETERS:
        print_arguments(node);
        break;
    case ST::NODE_NO_OP:
        printed = false;
        break;
    default:
        // Declarations and statements have no place in an expression.
        printed = false;
        break;
    }
    if (wrap)
        out().write(")");
    return printed;
}

// The kinds that targets print their own way.

void Fx_code_generator::print_identifier(const St_node* node)
{
    out().write(identifier(node->text_view()));
}

void Fx_code_generator::print_assignment(const St_node* node)
{
    const St_node* first = node->first_child;
    print_operand(first, LEVEL_CONDITIONAL);
    out().print(" %s ", node->text ? node->text : "=");
    print_operand(first ? first->next_sibling : nullptr, LEVEL_ASSIGNMENT);
    note_assignment(node);
}

// The source reads a = b = c as (a = b) = c, which no target accepts: it runs a = b, then
// a = c, so it prints as the pair (a = b, a = c).
void Fx_code_generator::print_assignment_chain(const St_node* node)
{
    const St_node* inner = node->first_child;
    const St_node* place = inner;
    while (place->kind == ST::NODE_ASSIGNMENT_EXPRESSION && place->first_child)
        place = place->first_child;
    std::unique_ptr<St_node> step(node->clone());
    St_node* inner_copy = step->first_child;
    if (!step->replace_child(inner_copy, place->clone()))
        return;
    delete inner_copy;
    out().write("(");
    print_expression(inner);
    out().write(", ");
    print_assignment(step.get());
    out().write(")");
}

void Fx_code_generator::print_conditional(const St_node* node)
{
    const St_node* first = node->first_child;
    const St_node* second = first ? first->next_sibling : nullptr;
    print_operand(first, LEVEL_OR);
    out().write(" ? ");
    print_operand(second, LEVEL_ASSIGNMENT);
    out().write(" : ");
    print_operand(second ? second->next_sibling : nullptr, LEVEL_CONDITIONAL);
}

void Fx_code_generator::print_xor(const St_node* node)
{
    const St_node* first = node->first_child;
    out().write("bool(");
    print_expression(first);
    out().write(") != bool(");
    print_expression(first ? first->next_sibling : nullptr);
    out().write(")");
}

void Fx_code_generator::print_logical(const St_node* node, const char* op, int32_t level)
{
    print_binary(node, op, level);
}

void Fx_code_generator::print_relation(const St_node* node, int32_t level)
{
    print_binary(node, nullptr, level);
}

void Fx_code_generator::print_additive(const St_node* node)
{
    print_binary(node, nullptr, LEVEL_ADDITIVE);
}

void Fx_code_generator::print_cast(const St_node* node)
{
    const St_node* first = node->first_child;
    out().print("(%s)", specifier_text(BACK12::type_specifier_of(node)).c_str());
    print_operand(first ? first->next_sibling : nullptr, LEVEL_UNARY);
}

// The operand of a sign binds tighter than another sign, so "- -x" cannot become "--x".
void Fx_code_generator::print_unary(const St_node* node)
{
    out().write(node->text_view());
    print_operand(node->first_child, LEVEL_POSTFIX);
}

void Fx_code_generator::print_index(const St_node* node)
{
    const St_node* first = node->first_child;
    print_operand(first, LEVEL_POSTFIX);
    out().write("[");
    print_expression(first ? first->next_sibling : nullptr);
    out().write("]");
}

void Fx_code_generator::print_constructor_call(const St_node* node)
{
    const St_node* specifier = BACK12::type_specifier_of(node);
    print_constructor(node, specifier ? std::string(specifier->text_view()) : std::string(),
                      BACK12::call_arguments(node));
}

int32_t Fx_code_generator::expression_level(const St_node* node) const
{
    switch (node->kind) {
    case ST::NODE_EXPRESSION_LIST:
        return LEVEL_LIST;
    case ST::NODE_ASSIGNMENT_EXPRESSION:
        return LEVEL_ASSIGNMENT;
    case ST::NODE_CONDITIONAL_EXPRESSION:
        return LEVEL_CONDITIONAL;
    case ST::NODE_OR_EXPRESSION:
        return LEVEL_OR;
    case ST::NODE_XOR_EXPRESSION:
        return LEVEL_XOR;
    case ST::NODE_AND_EXPRESSION:
        return LEVEL_AND;
    case ST::NODE_EQUALITY_EXPRESSION:
        return LEVEL_EQUALITY;
    case ST::NODE_RELATIONAL_EXPRESSION:
        return LEVEL_RELATIONAL;
    case ST::NODE_ADDITIVE_EXPRESSION:
        return LEVEL_ADDITIVE;
    case ST::NODE_MULTIPLICATIVE_EXPRESSION:
        return is_matrix_product(node) ? LEVEL_PRIMARY : LEVEL_MULTIPLICATIVE;
    case ST::NODE_CAST_EXPRESSION:
    case ST::NODE_PRE_INCREMENT_EXPRESSION:
    case ST::NODE_PRE_DECREMENT_EXPRESSION:
    case ST::NODE_UNARY_EXPRESSION:
        return LEVEL_UNARY;
    case ST::NODE_POST_INCREMENT_EXPRESSION:
    case ST::NODE_POST_DECREMENT_EXPRESSION:
        return LEVEL_POSTFIX;
    default:
        return LEVEL_PRIMARY;
    }
}

void Fx_code_generator::print_operand(const St_node* node, int32_t level)
{
    if (node)
        print_expression(node, expression_level(node) < level);
}

// Left-associative: an operand of the same strength on the right keeps its parentheses.
void Fx_code_generator::print_binary(const St_node* node, const char* op, int32_t level)
{
    const St_node* left = node->first_child;
    print_operand(left, level);
    out().print(" %s ", op ? op : node->text ? node->text : "");
    print_operand(left ? left->next_sibling : nullptr, level + 1);
}

bool Fx_code_generator::is_matrix_product(const St_node* node) const
{
    if (node->kind != ST::NODE_MULTIPLICATIVE_EXPRESSION || node->text_view() != "*")
        return false;
    const St_node* left = node->first_child;
    const St_node* right = left ? left->next_sibling : nullptr;
    const Type* left_type = type_of(left);
    const Type* right_type = type_of(right);
    return (left_type && left_type->is_matrix() && !left_type->is_array()) ||
           (right_type && right_type->is_matrix() && !right_type->is_array());
}

// A product with the identity is the other factor; any other matrix product is mul(), its
// factors swapped when vectors are rows.
void Fx_code_generator::print_multiplicative(const St_node* node)
{
    if (!is_matrix_product(node)) {
        print_binary(node, nullptr, LEVEL_MULTIPLICATIVE);
        return;
    }
    const St_node* left = node->first_child;
    const St_node* right = left ? left->next_sibling : nullptr;
    if (is_identity_transform(left)) {
        print_operand(right, LEVEL_MULTIPLICATIVE);
        return;
    }
    if (is_identity_transform(right)) {
        print_operand(left, LEVEL_MULTIPLICATIVE);
        return;
    }
    if (fx_.swap_mul)
        std::swap(left, right);
    out().write("mul(");
    print_expression(left);
    out().write(", ");
    print_expression(right);
    out().write(")");
}

bool Fx_code_generator::is_identity_transform(const St_node* node) const
{
    if (!node)
        return false;
    if (node->kind == ST::NODE_STATE_VARIABLE_REFERENCE) {
        int32_t index = state_index(node);
        return index == BACK12::STATE_INTERNAL_TO_CAMERA || index == BACK12::STATE_CAMERA_TO_INTERNAL;
    }
    return node->kind == ST::NODE_VARIABLE_ID && identity_variables_.count(std::string(node->text_view())) > 0;
}

// Keeps track of the variables that hold an identity transform: assigned one, they join; assigned
// anything else, they leave.
void Fx_code_generator::note_assignment(const St_node* node)
{
    const St_node* target = node->first_child;
    const St_node* value = target ? target->next_sibling : nullptr;
    if (!target || target->kind != ST::NODE_VARIABLE_ID || node->text_view() != "=")
        return;
    std::string name(target->text_view());
    if (is_identity_transform(value))
        identity_variables_.insert(name);
    else
        identity_variables_.erase(name);
}

void Fx_code_generator::print_member_access(const St_node* node)
{
    const St_node* base = node->first_child;
    const St_node* selector = base ? base->next_sibling : nullptr;
    const Type* base_type = type_of(base);
    std::string_view member = selector ? selector->text_view() : std::string_view();
    // Arrays know their length. HLSL arrays have no length member, but a sized one has its size.
    if (base_type && base_type->is_array()) {
        if (fx_.hlsl && base_type->array_size() > 1) {
            out().print("%u", base_type->array_size());
            return;
        }
        print_operand(base, LEVEL_POSTFIX);
        out().write(".length");
        return;
    }
    const char* type_name_text = base_type && base_type->is_struct() ? base_type->name() : nullptr;
    // Hardware has no sample loop: the iterator yields constants.
    if (type_name_text && std::strcmp(type_name_text, "Sample_iterator") == 0) {
        if (member == "sample2" || member == "sample3" || member == "sample4") {
            int32_t width = member.back() - '0';
            out().print("float%d(", width);
            for (int32_t i = 0; i < width; ++i)
                out().write(i ? ", 0.0" : "0.0");
            out().write(")");
        } else {
            out().write("0.0");
        }
        return;
    }
    if (type_name_text && std::strcmp(type_name_text, "Light_iterator") == 0 && selector &&
        selector->kind == ST::NODE_MEMBER_VARIABLE_ID && !base_type->find_member(std::string(member).c_str())) {
        out().write("false");
        return;
    }
    print_operand(base, LEVEL_POSTFIX);
    out().write(".");
    print_expression(selector);
}

void Fx_code_generator::print_arguments(const St_node* arguments)
{
    for (const St_node* argument = arguments ? arguments->first_child : nullptr; argument;
         argument = argument->next_sibling) {
        print_operand(argument, LEVEL_ASSIGNMENT);
        if (argument->next_sibling)
            out().write(", ");
    }
}

void Fx_code_generator::print_call(const St_node* node)
{
    const St_node* arguments = BACK12::call_arguments(node);
    if (node->kind == ST::NODE_CONSTRUCTOR_CALL_EXPRESSION) {
        print_constructor_call(node);
        return;
    }
    std::string name(node->text_view());
    // A call of a struct's name constructs it.
    if (is_struct_name(name)) {
        print_constructor(node, name, arguments);
        return;
    }
    if (print_target_call(node, name, arguments))
        return;
    if (name == "texCUBE" && fx_.rotate_cube_map && BACK12::argument_count(arguments) >= 2) {
        // The cube's direction turns into z-up; a direction that is already "xzy" turns back.
        const St_node* sampler = arguments->first_child;
        const St_node* direction = sampler->next_sibling;
        out().write("texCUBE(");
        print_operand(sampler, LEVEL_ASSIGNMENT);
        out().write(", ");
        const St_node* swizzle_base = direction->first_child;
        const St_node* swizzle = swizzle_base ? swizzle_base->next_sibling : nullptr;
        if (direction->kind == ST::NODE_CLASS_MEMBER_REF_EXPRESSION && swizzle &&
            swizzle->kind == ST::NODE_MEMBER_VARIABLE_ID && swizzle->text_view() == "xzy") {
            print_operand(swizzle_base, LEVEL_POSTFIX);
            out().write(".xyz");
        } else {
            print_operand(direction, LEVEL_POSTFIX);
            out().write(".xzy");
        }
        for (const St_node* rest = direction->next_sibling; rest; rest = rest->next_sibling) {
            out().write(", ");
            print_operand(rest, LEVEL_ASSIGNMENT);
        }
        out().write(")");
        return;
    }
    if (name == "tex2D" && fx_.flip_tex2d_v)
        out().print("%s(", names_.tex2d_flip_v.c_str());
    else
        out().print("%s(", function_name(name).c_str());
    print_arguments(arguments);
    out().write(")");
}

bool Fx_code_generator::is_struct_name(const std::string& name) const
{
    if (constructor_map_.count(name))
        return true;
    const Type* type = unit_ ? unit_->type_at(unit_->lookup_type(name)) : nullptr;
    return type && type->is_struct();
}

void Fx_code_generator::print_constructor(const St_node*, const std::string& type_word, const St_node* arguments)
{
    int32_t count = BACK12::argument_count(arguments);
    int32_t code = ST::language_word_code(type_word.c_str());
    std::string target = type_name(type_word);
    // One vector argument is a conversion (Vector2i(v)), which HLSL writes as a constructor too.
    const Type* argument_type = count == 1 && unit_ ? unit_->type_at(arguments->first_child->type_index) : nullptr;
    bool splat = !argument_type || !argument_type->is_vector();
    if (code > 0 && ST::is_vector(uint32_t(code)) && count == 1 && splat) {
        uint32_t width = ST::component_count(uint32_t(code));
        // A splat: HLSL has no one-argument vector constructor, and an initialiser no call.
        if (fx_.hlsl && in_parameter_initializer_) {
            std::string value = expression_text(arguments->first_child, true);
            out().print("float%u(", width);
            for (uint32_t i = 0; i < width; ++i)
                out().print(i ? ", %s" : "%s", value.c_str());
            out().write(")");
            return;
        }
        if (fx_.hlsl) {
            out().print("__float%u_ctor(", width);
            print_expression(arguments->first_child);
            out().write(")");
            return;
        }
    }
    if (code > 0 && ST::is_matrix(uint32_t(code)) && count == 1) {
        out().print("(%s)", target.c_str());
        print_operand(arguments->first_child, LEVEL_UNARY);
        return;
    }
    bool is_struct = is_struct_name(type_word);
    if (type_word == "Light_iterator" && count > 0) {
        report(LOG_LIGHT_ITERATOR_PARAMETERS, "Light_iterator parameters not supported");
        out().print(light_iterator_constructor_format(), names_.light_iterator.c_str());
        return;
    }
    if (is_struct && fx_.hlsl && in_parameter_initializer_) {
        out().write("{");
        print_arguments(arguments);
        out().write("}");
        return;
    }
    auto constructor = constructor_map_.find(type_word);
    out().print("%s(", constructor != constructor_map_.end() ? constructor->second.c_str() : target.c_str());
    print_arguments(arguments);
    out().write(")");
}

const char* Fx_code_generator::light_iterator_constructor_format() const
{
    return "%s(float3(0,0,0), float4(0,0,0,0), float4(0,0,0,0),0, float3(0,0,0), 0, float4(0,0,0,0), 0)";
}

// Effects have no strings: a literal prints as a number, the same one for the same text.
void Fx_code_generator::print_string(const St_node* node)
{
    if (!node->text) {
        out().write("0");
        return;
    }
    std::string text(node->text_view());
    auto found = string_texts_.find(text);
    if (found == string_texts_.end()) {
        char number[16];
        std::snprintf(number, sizeof number, "%u", fx_string_hash(text));
        found = string_texts_.emplace(text, number).first;
    }
    out().write(found->second);
}

void Fx_code_generator::print_variable(const St_node* node)
{
    ST::Enum_value value;
    std::string name(node->text_view());
    for (const SYNTAX_TREE::Compilation_unit* unit : input_.units) {
        if (unit->find_enum_value(name, &value)) {
            out().print("%d", value.value);
            return;
        }
    }
    if (written_inputs_.count(name))
        out().write(written_input_name(name));
    else
        out().write(variable_name(node->text_view()));
}

std::string Fx_code_generator::variable_name(std::string_view name) const
{
    return identifier(name);
}

// State functions by number. Those the hardware cannot do print a neutral value.
bool Fx_code_generator::print_state_function(const St_node* call, int32_t index)
{
    const St_node* arguments = BACK12::call_arguments(call);
    const St_node* first = arguments ? arguments->first_child : nullptr;
    const St_node* second = first ? first->next_sibling : nullptr;
    const St_node* third = second ? second->next_sibling : nullptr;
    bool environment = has_environment_attachments();
    switch (index) {
    case 0:  // get_texture_component
        out().print("%s[", state_variable_text(BACK12::STATE_TEXTURE_COORDINATE).c_str());
        print_expression(first);
        out().write("][");
        print_expression(second);
        out().write("]");
        return true;
    case 1:  // get_texture_dimension
        out().write("4");
        return true;
    case 2:  // is_ray_dispersal_group
    case 3:  // is_ray_history_group
    case 4:  // trace
    case 5:  // trace_immediate
    case 9:  // get_shader_parameter
        out().write("false");
        return true;
    case 6:  // get_shadowing
        if (environment)
            out().print("%s.eval(state)", names_.shadow_shader.c_str());
        else
            out().write(neutral_.shadowing);
        return true;
    case 7:   // get_trace_depth
    case 8:   // occlusion
    case 21:  // irradiance
        out().write("0");
        return true;
    case 10:  // error
    case 11:  // warning
    case 12:  // info
    case 13:  // progress
        return false;
    case 14:  // get_transform
        report(LOG_GET_TRANSFORM, "Unsupported call to get_transform()");
        out().write(neutral_.transform);
        return true;
    case 15:  // transform_point
        report(LOG_TRANSFORM_POINT, "Unsupported call to transform_point()");
        return print_expression(third);
    case 16:  // transform_vector
    case 17:  // transform_normal
        report(LOG_TRANSFORM_VECTOR, "Unsupported call to transform_vector/normal()");
        return print_expression(third);
    case 18:  // reflect_environment
        if (environment)
            out().print("%s(state, %s)", names_.reflect_environment.c_str(), names_.environment_shader.c_str());
        else
            out().write(neutral_.environment);
        return true;
    case 19:  // refract_environment
        if (environment)
            out().print("%s(state, %s, %s/%s)", names_.refract_environment.c_str(), names_.environment_shader.c_str(),
                        state_variable_text(19).c_str(), state_variable_text(20).c_str());
        else
            out().write(neutral_.environment);
        return true;
    case 20:  // trace_environment
        if (!environment) {
            out().write(neutral_.environment);
            return true;
        }
        out().print("%s(state, %s,", names_.trace_environment.c_str(), names_.environment_shader.c_str());
        print_expression(first);
        out().write(")");
        return true;
    default:
        return false;
    }
}

}  // namespace GEN_FX
}  // namespace QZ
