#include "syntax_tree/declaration.h"

#include <string>
#include <vector>

#include "syntax_tree/compilation_unit.h"
#include "syntax_tree/prepass.h"
#include "syntax_tree/st_node.h"

namespace QZ {
namespace SYNTAX_TREE {

namespace {

bool declares(const St_node* declaration, const St_node* name)
{
    const St_node* list = declaration ? declaration->find_child(NODE_INIT_IDENTIFIER_LIST) : nullptr;
    for (const St_node* child = list ? list->first_child : nullptr; child; child = child->next_sibling)
        if (child == name)
            return true;
    return false;
}

bool declared_in(const std::vector<St_node*>& declarations, const St_node* name)
{
    for (const St_node* declaration : declarations)
        if (declares(declaration, name))
            return true;
    return false;
}

bool is_struct(const St_node& node)
{
    return node.kind == NODE_CLASS_DECLARATION && (node.text_view() == "struct" || node.text_view() == "class");
}

bool is_shader(const St_node& node)
{
    return node.kind == NODE_CLASS_DECLARATION &&
           (node.text_view() == "shader" || node.text_view() == "technique" || node.text_view() == "brdf");
}

// The declarations of a class's member blocks, in order.
template <typename Visit>
void for_each_member(const St_node& class_node, Visit visit)
{
    const St_node* blocks = class_node.find_child(NODE_CLASS_MEMBER_DECLARATION_BLOCK_LIST);
    for (const St_node* block = blocks ? blocks->first_child : nullptr; block; block = block->next_sibling)
        for (const St_node* member = block->first_child; member; member = member->next_sibling)
            visit(*member);
}

std::string class_name_of(const St_node& class_node)
{
    const St_node* name = class_node.find_child(NODE_IDENTIFIER);
    return name ? std::string(name->text_view()) : std::string();
}

// Structs and classes stand at file level or directly in a shader; visit gives each with the
// scope prefix of its name ("" or "Shader::").
template <typename Visit>
void for_each_struct(const Compilation_unit& unit, Visit visit)
{
    const St_node* root = unit.tree();
    for (const St_node* node = root ? root->first_child : nullptr; node; node = node->next_sibling) {
        if (is_struct(*node))
            visit(*node, std::string());
        if (!is_shader(*node))
            continue;
        std::string prefix = class_name_of(*node) + "::";
        for_each_member(*node, [&](const St_node& member) {
            if (is_struct(member))
                visit(member, prefix);
        });
    }
}

void variable(const Compilation_unit& unit, St_node* name, Declaration& result)
{
    result.value = int32_t(declared_array_size(*name, nullptr));
    result.type_index = name->type_index;
    if (declared_in(unit.global_declarations(), name)) {
        result.flags = DECLARATION_GLOBAL;
        return;
    }
    for (int32_t i = 0; i < unit.shader_count(); ++i) {
        const Shader_declaration& shader = *unit.shader_at(i);
        if (declared_in(shader.input_variables, name))
            result.flags = DECLARATION_INPUT;
        else if (declared_in(shader.output_variables, name))
            result.flags = DECLARATION_OUTPUT;
        else if (declared_in(shader.member_variables, name))
            result.flags = DECLARATION_MEMBER;
        if (result.flags)
            return;
    }
    // Struct members get no type from the passes: look their type up by name.
    for_each_struct(unit, [&](const St_node& structure, const std::string& prefix) {
        for_each_member(structure, [&](const St_node& member) {
            if (result.flags || member.kind != NODE_VARIABLE_DECLARATION || !declares(&member, name))
                return;
            result.flags = DECLARATION_MEMBER;
            const St_node* specifier = type_specifier_of(member);
            if (result.type_index >= 0 || !specifier)
                return;
            std::string type_name = type_specifier_name(*specifier);
            uint32_t size = uint32_t(result.value);
            result.type_index = unit.lookup_type(type_name, size);
            if (result.type_index < 0)
                result.type_index = unit.lookup_type(prefix + type_name, size);
        });
    });
    if (!result.flags)
        result.flags = DECLARATION_LOCAL;
}

void function(St_node* node, Declaration& result)
{
    St_node* header = node->kind == NODE_FUNCTION_DEFINITION ? node->find_child(NODE_FUNCTION_DECLARATION) : node;
    result.flags = DECLARATION_FUNCTION;
    result.type_index = header ? header->type_index : -1;
    const St_node* parameters = header ? header->find_child(NODE_FUNCTION_PARAMETER_LIST) : nullptr;
    for (const St_node* parameter = parameters ? parameters->first_child : nullptr; parameter;
         parameter = parameter->next_sibling)
        if (parameter->kind == NODE_FUNCTION_PARAMETER)
            ++result.value;
}

void class_declaration(const Compilation_unit& unit, St_node* node, Declaration& result)
{
    result.flags = DECLARATION_TYPE;
    if (!is_struct(*node))
        return;
    for_each_struct(unit, [&](const St_node& structure, const std::string& prefix) {
        if (&structure != node)
            return;
        int32_t position = unit.find_named_type(prefix + class_name_of(structure));
        const Named_type* type = unit.named_type_at(position);
        result.value = type ? int32_t(type->member_count()) : 0;
        result.type_index = type && type->name() ? unit.lookup_type(type->name()) : -1;
    });
}

// Enumerators are kept under their scoped names; the enum's own name is not part of them.
void enumerator(const Compilation_unit& unit, St_node* node, Declaration& result)
{
    result.flags = DECLARATION_CONSTANT;
    result.type_index = TYPE_INT32;
    std::string name(node->text_view());
    Enum_value value;
    bool found = unit.find_enum_value(name, &value);
    for (int32_t i = 0; !found && i < unit.shader_count(); ++i)
        found = unit.find_enum_value(unit.shader_at(i)->name + "::" + name, &value);
    if (found)
        result.value = value.value;
}

void enum_declaration(const Compilation_unit& unit, St_node* node, Declaration& result)
{
    result.flags = DECLARATION_TYPE;
    int32_t index = unit.lookup_type(std::string(node->text_view()));
    result.type_index = index >= 0 ? index : int32_t(TYPE_INT32);
    for (const St_node* member = node->first_child; member; member = member->next_sibling)
        if (member->kind == NODE_ENUM_MEMBER)
            ++result.value;
}

}  // namespace

bool find_declaration(const Compilation_unit& unit, St_node* node, Declaration& declaration)
{
    declaration = Declaration();
    if (!node)
        return false;
    declaration.node = node;
    switch (node->kind) {
    case NODE_INIT_IDENTIFIER:
        variable(unit, node, declaration);
        return true;
    case NODE_FUNCTION_PARAMETER:
        declaration.flags = DECLARATION_PARAMETER;
        declaration.value = int32_t(declared_array_size(*node, nullptr));
        declaration.type_index = node->type_index;
        return true;
    case NODE_FUNCTION_DECLARATION:
    case NODE_FUNCTION_DEFINITION:
        function(node, declaration);
        return true;
    case NODE_CLASS_DECLARATION:
        class_declaration(unit, node, declaration);
        return true;
    case NODE_ENUM_DECLARATION:
        enum_declaration(unit, node, declaration);
        return true;
    case NODE_ENUM_MEMBER:
        enumerator(unit, node, declaration);
        return true;
    }
    declaration = Declaration();
    return false;
}

}  // namespace SYNTAX_TREE
}  // namespace QZ
