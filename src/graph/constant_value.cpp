#include "graph/constant_value.h"

#include <cstring>
#include <string>
#include <vector>

#include "graph/value_block.h"
#include "syntax_tree/compilation_unit.h"
#include "syntax_tree/st_node.h"

namespace QZ {
namespace GRAPH {

using namespace SYNTAX_TREE;

namespace {

// Constructor calls nest a few levels in practice.
constexpr int MAX_DEPTH = 32;

const St_node* call_arguments(const St_node& node)
{
    const St_node* parameters = node.find_child(NODE_FUNCTION_CALL_PARAMETERS);
    return parameters ? parameters->first_child : nullptr;
}

// The arguments of a constructor call, or of the list that the constructor form x(1, 2) hands
// over; null for anything else.
const St_node* constructor_arguments(const St_node& node)
{
    if (node.kind == NODE_FUNCTION_CALL_PARAMETERS)
        return node.first_child;
    if (node.kind == NODE_CONSTRUCTOR_CALL_EXPRESSION)
        return call_arguments(node);
    return nullptr;
}

// The numbers of an expression in component order; false when something is not constant.
bool flatten(const St_node* node, const Compilation_unit& unit, std::vector<double>& numbers, int depth)
{
    if (!node || depth > MAX_DEPTH)
        return false;
    switch (node->kind) {
    case NODE_INT_CONSTANT:
    case NODE_HEX_CONSTANT:
    case NODE_OCT_CONSTANT:
    case NODE_FLOAT_CONSTANT:
        numbers.push_back(node->float_value());
        return true;
    case NODE_BOOL_CONSTANT:
        numbers.push_back(node->bool_value() ? 1.0 : 0.0);
        return true;
    case NODE_UNARY_EXPRESSION: {
        size_t first = numbers.size();
        if (!flatten(node->first_child, unit, numbers, depth + 1))
            return false;
        if (node->text_view() == "-")
            for (size_t i = first; i < numbers.size(); ++i)
                numbers[i] = -numbers[i];
        return node->text_view() == "-" || node->text_view() == "+";
    }
    case NODE_CONSTRUCTOR_CALL_EXPRESSION:
    case NODE_FUNCTION_CALL_PARAMETERS:
        for (const St_node* argument = constructor_arguments(*node); argument; argument = argument->next_sibling)
            if (!flatten(argument, unit, numbers, depth + 1))
                return false;
        return true;
    case NODE_VARIABLE_ID: {
        Enum_value value;
        if (!unit.find_enum_value(std::string(node->text_view()), &value))
            return false;
        numbers.push_back(value.value);
        return true;
    }
    default:
        return false;
    }
}

void store_number(uint32_t component_code, double number, uint8_t* at)
{
    switch (component_code) {
    case TYPE_SCALAR: {
        float value = float(number);
        std::memcpy(at, &value, sizeof value);
        break;
    }
    case TYPE_DSCALAR:
        std::memcpy(at, &number, sizeof number);
        break;
    case TYPE_BOOLEAN:
        *at = number != 0.0;
        break;
    case TYPE_INT32: {
        int32_t value = int32_t(number);
        std::memcpy(at, &value, sizeof value);
        break;
    }
    default:
        break;
    }
}

bool evaluate_value(const St_node* expression, const Type& type, const Compilation_unit& unit, uint8_t* at,
                    int depth);

// A struct from a brace list: its items in member order, each member by its own type.
bool evaluate_struct(const St_node* node, const Type& type, const Compilation_unit& unit, uint8_t* at, int depth)
{
    if (!node || node->kind != NODE_ARRAY_INITIALIZER)
        return false;
    bool complete = true;
    const St_node* item = node->first_child;
    for (const Type* member = type.first_member(); member; member = member->next_member()) {
        uint32_t offset = 0;
        if (!item || type.find_member(member->name(), &offset) != member)
            return false;
        complete = evaluate_value(item, *member, unit, at + offset, depth + 1) && complete;
        item = item->next_sibling;
    }
    return complete && !item;
}

bool evaluate_element(const St_node* node, const Type& type, const Compilation_unit& unit, uint8_t* at, int depth)
{
    // The constructor form x(1, 2): one argument stands for itself, more are the components.
    if (node && node->kind == NODE_FUNCTION_CALL_PARAMETERS && node->first_child && !node->first_child->next_sibling)
        node = node->first_child;
    if (owns_text(type.code())) {
        if (!node || node->kind != NODE_STRING_CONSTANT)
            return false;
        *reinterpret_cast<char**>(at) = duplicate_text(std::string(node->text_view()).c_str());
        return true;
    }
    // The language has no constructors of structs, only brace lists.
    if (type.code() == TYPE_STRUCT)
        return evaluate_struct(node, type, unit, at, depth);
    std::vector<double> numbers;
    if (!flatten(node, unit, numbers, 0) || numbers.empty())
        return false;
    const Type_code_info& info = type_code_info(type.code());
    for (uint32_t i = 0; i < info.components; ++i)
        store_number(info.component_code, numbers.size() == 1 ? numbers[0] : (i < numbers.size() ? numbers[i] : 0.0),
                     at + i * info.component_size);
    return true;
}

bool evaluate_value(const St_node* expression, const Type& type, const Compilation_unit& unit, uint8_t* at, int depth)
{
    if (!expression || depth > MAX_DEPTH)
        return false;
    if (type.array_size() == 1)
        return evaluate_element(expression, type, unit, at, depth);
    if (expression->kind != NODE_ARRAY_INITIALIZER)
        return false;
    uint32_t size = element_size(type);
    uint32_t count = uint32_t(expression->child_count());
    if (type.array_size() == 0) {
        // The elements of an unsized array hang behind a count and a pointer.
        uint64_t bytes = uint64_t(count) * size;
        if (count == 0 || bytes == 0 || bytes > MAX_VALUE_SIZE)
            return false;
        uint8_t* storage = static_cast<uint8_t*>(allocate_bytes(bytes));
        std::memcpy(at, &count, sizeof count);
        std::memcpy(at + 8, &storage, sizeof storage);
        at = storage;
    } else if (count > type.array_size()) {
        count = type.array_size();
    }
    Type element_type(type);
    element_type.set_array_size(1);
    bool complete = true;
    uint32_t i = 0;
    for (const St_node* item = expression->first_child; item && i < count; item = item->next_sibling, ++i)
        complete = evaluate_element(item, element_type, unit, at + uint64_t(i) * size, depth + 1) && complete;
    return complete;
}

}  // namespace

bool evaluate_constant(const St_node* expression, const Type& type, const Compilation_unit& unit, void* block)
{
    if (!block)
        return false;
    return evaluate_value(expression, type, unit, static_cast<uint8_t*>(block), 0);
}

std::unique_ptr<Type> constant_type(const St_node& expression, const Compilation_unit& unit)
{
    const St_node* node = &expression;
    // Signs add nothing to the type.
    while (node->kind == NODE_UNARY_EXPRESSION && node->type_index < 0 && node->first_child)
        node = node->first_child;
    if (const Type* typed = unit.type_at(node->type_index))
        return std::unique_ptr<Type>(typed->clone());
    switch (node->kind) {
    case NODE_INT_CONSTANT:
    case NODE_HEX_CONSTANT:
    case NODE_OCT_CONSTANT:
        return std::unique_ptr<Type>(Type::builtin(TYPE_INT32));
    case NODE_FLOAT_CONSTANT:
        return std::unique_ptr<Type>(Type::builtin(TYPE_SCALAR));
    case NODE_BOOL_CONSTANT:
        return std::unique_ptr<Type>(Type::builtin(TYPE_BOOLEAN));
    case NODE_STRING_CONSTANT:
        return std::unique_ptr<Type>(Type::builtin(TYPE_STRING));
    case NODE_CONSTRUCTOR_CALL_EXPRESSION: {
        const St_node* specifier = node->first_child;
        int32_t code = specifier ? language_word_code(std::string(specifier->text_view()).c_str()) : -1;
        return code > 0 ? std::unique_ptr<Type>(Type::builtin(uint8_t(code))) : nullptr;
    }
    default:
        return nullptr;
    }
}

}  // namespace GRAPH
}  // namespace QZ
