#include "syntax_tree/prepass.h"

#include <cstring>
#include <utility>
#include <vector>

#include "syntax_tree/compilation_unit.h"
#include "syntax_tree/diagnostics.h"
#include "syntax_tree/node_arena.h"
#include "syntax_tree/state_tables.h"
#include "syntax_tree/st_node.h"
#include "syntax_tree/type.h"
#include "system/text_hash_table.h"

namespace QZ {
namespace SYNTAX_TREE {

namespace {

// State names by index, built once; the first of two equal names wins, as in the module's
// tables (which need not be started for a pass to run).
struct State_names {
    SYSTEM::Text_hash_table<int32_t> variables{STATE_VARIABLE_COUNT};
    SYSTEM::Text_hash_table<int32_t> functions{STATE_FUNCTION_COUNT};

    State_names()
    {
        for (int32_t i = 0; i < STATE_VARIABLE_COUNT; ++i)
            if (!variables.find(state_variable_table[i].name))
                variables.insert(state_variable_table[i].name) = i;
        for (int32_t i = 0; i < STATE_FUNCTION_COUNT; ++i)
            if (!functions.find(state_function_table[i].name))
                functions.insert(state_function_table[i].name) = i;
    }
};

const State_names& state_names()
{
    static const State_names names;
    return names;
}

int32_t state_variable_index(const std::string& name)
{
    const int32_t* index = state_names().variables.find(name);
    return index ? *index : -1;
}

int32_t state_function_index(const std::string& name)
{
    const int32_t* index = state_names().functions.find(name);
    return index ? *index : -1;
}

// The index that a state reference node carries as 4 bytes of binary text; -1 for none.
int32_t reference_index(const St_node& node)
{
    if (node.text_size != 4 || !node.text)
        return -1;
    int32_t index;
    std::memcpy(&index, node.text, sizeof index);
    return index;
}

bool is_integer_constant(const St_node& node)
{
    return node.kind == NODE_INT_CONSTANT || node.kind == NODE_HEX_CONSTANT || node.kind == NODE_OCT_CONSTANT;
}

bool is_shader_key(std::string_view key)
{
    return key == "shader" || key == "technique" || key == "brdf";
}

bool is_block_name(std::string_view name)
{
    return name == "input" || name == "output" || name == "member";
}

}  // namespace

const St_node* type_specifier_of(const St_node& variable_declaration)
{
    const St_node* specifiers = variable_declaration.find_child(NODE_VARIABLE_SPECIFIERS);
    if (!specifiers)
        return nullptr;
    for (const St_node* child = specifiers->first_child; child; child = child->next_sibling)
        if (child->kind == NODE_SIMPLE_TYPE_SPECIFIER || child->kind == NODE_NESTED_TYPE_SPECIFIER)
            return child;
    return nullptr;
}

uint32_t declared_array_size(const St_node& declarator, Compilation_unit* unit)
{
    const St_node* specifier = declarator.find_child(NODE_ARRAY_SPECIFIER);
    if (!specifier)
        return 1;
    const St_node* size = specifier->first_child;
    if (!size)
        return 0;
    if (size->kind == NODE_BOOL_CONSTANT) {
        if (unit)
            unit->add_error(*size, 2);
        return 1;
    }
    int32_t value = size->int_value();
    if (value < 1) {
        if (unit)
            unit->add_error(*size, 3, {}, value);
        return 1;
    }
    return uint32_t(value);
}

std::string type_specifier_name(const St_node& specifier)
{
    if (specifier.kind != NODE_NESTED_TYPE_SPECIFIER)
        return std::string(specifier.text_view());
    std::string name;
    for (const St_node* part = specifier.first_child; part; part = part->next_sibling) {
        if (!name.empty())
            name += "::";
        name += part->text_view();
    }
    return name;
}

int32_t resolve_type_name(Compilation_unit& unit, const std::string& name, uint32_t array_size,
                          const std::string& class_name)
{
    int32_t index = unit.find_type(name, array_size);
    if (index < 0 && !class_name.empty())
        index = unit.find_type(class_name + "::" + name, array_size);
    return index;
}

Tree_traverser_prepass::Tree_traverser_prepass(Compilation_unit& unit, Import_resolver resolver)
    : unit_(unit), resolver_(std::move(resolver))
{
}

void Tree_traverser_prepass::run()
{
    read_only_ = false;
    if (unit_.tree())
        walk_list(unit_.tree());
}

void Tree_traverser_prepass::run_read_only(const St_node* list)
{
    // Nothing below writes to the tree while read_only_ holds: no state rewriting, no
    // replacement is returned.
    read_only_ = true;
    if (list)
        walk_list(const_cast<St_node*>(list));
    read_only_ = false;
}

void Tree_traverser_prepass::walk_list(St_node* list)
{
    if (list->kind == NODE_DECLARATION_LIST)
        traverse(list);
    else
        visit(list);
}

bool Tree_traverser_prepass::rewrites_state() const
{
    return (current_shader_ || takes_state_) && !read_only_;
}

std::string Tree_traverser_prepass::scoped(const std::string& name) const
{
    return current_shader_ ? current_shader_->name + "::" + name : name;
}

void Tree_traverser_prepass::depth_exceeded(St_node* node)
{
    if (!depth_reported_)
        unit_.add_error(*node, 74, "declaration nested too deeply");
    depth_reported_ = true;
}

// Classes

St_node* Tree_traverser_prepass::visit_class_declaration(St_node* node)
{
    std::string_view key = node->text_view();
    if (is_shader_key(key))
        shader_declaration(node);
    else if (key == "class" || key == "struct")
        struct_declaration(node);
    // A union declares nothing at all, and its members are never seen.
    return nullptr;
}

void Tree_traverser_prepass::shader_declaration(St_node* node)
{
    if (current_shader_ || current_struct_) {
        unit_.add_error(*node, 8);
        return;
    }
    const St_node* name = node->first_child;
    if (!name || name->kind != NODE_IDENTIFIER) {
        unit_.add_error(*node, 16);
        return;
    }
    auto declaration = std::make_unique<Shader_declaration>();
    declaration->name = std::string(name->text_view());
    declaration->key = std::string(node->text_view());
    declaration->class_node = node;
    for (const St_node* child = node->first_child; child; child = child->next_sibling)
        if (child->kind == NODE_CLASS_PARENT_SPECIFIER)
            declaration->parent_names.emplace_back(child->text_view());
    Shader_declaration* shader = unit_.add_shader(std::move(declaration));

    current_shader_ = shader;
    traverse(node);
    current_shader_ = nullptr;

    // A technique belongs to the class it names first.
    if (shader->is_technique() && !shader->parent_names.empty()) {
        Shader_declaration* owner = unit_.find_shader(shader->parent_names.front());
        if (owner && owner != shader)
            owner->techniques.push_back(shader);
    }
}

void Tree_traverser_prepass::struct_declaration(St_node* node)
{
    const St_node* name_node = node->first_child;
    if (!name_node || name_node->kind != NODE_IDENTIFIER) {
        unit_.add_error(*node, 16);
        return;
    }
    if (current_struct_) {
        unit_.add_error(*node, 8);
        return;
    }
    std::string name = scoped(std::string(name_node->text_view()));
    if (unit_.lookup_type(name) >= 0 || unit_.find_named_type(name) >= 0) {
        unit_.add_error(*node, 32, name_node->text_view());
        return;
    }
    auto type = std::make_unique<Named_type>(name.c_str(), TYPE_STRUCT);
    current_struct_ = type.get();
    traverse(node);
    current_struct_ = nullptr;
    if (current_shader_)
        current_shader_->local_types.push_back(name);
    unit_.add_named_type(std::move(type));
}

St_node* Tree_traverser_prepass::visit_class_member_declaration_block(St_node* node)
{
    // In a struct the label means nothing.
    if (current_struct_) {
        traverse(node);
        return nullptr;
    }
    std::string_view label = node->text_view();
    if (!is_block_name(label)) {
        // The block's declarations are dropped with it: one mistake, one message.
        unit_.add_error(*node, 49, label);
        return nullptr;
    }
    std::string saved = std::move(current_block_);
    current_block_ = std::string(label);
    traverse(node);
    current_block_ = std::move(saved);
    return nullptr;
}

// Variables

St_node* Tree_traverser_prepass::visit_variable_declaration(St_node* node)
{
    if (in_function_declaration_) {
        traverse(node);
        return nullptr;
    }
    if (current_struct_) {
        const St_node* specifier = type_specifier_of(*node);
        std::string type_name = specifier ? type_specifier_name(*specifier) : std::string();
        current_member_type_ =
            resolve_type_name(unit_, type_name, 1, current_shader_ ? current_shader_->name : std::string());
        if (current_member_type_ < 0 && specifier)
            unit_.add_error(*specifier, 4, type_name);
        current_member_type_name_ =
            current_member_type_ >= 0 ? std::string(unit_.type_name(current_member_type_)) : type_name;
        traverse(node);
        current_member_type_ = -1;
        return nullptr;
    }
    if (current_shader_) {
        if (current_block_ == "input")
            current_shader_->input_variables.push_back(node);
        else if (current_block_ == "output")
            current_shader_->output_variables.push_back(node);
        else
            unit_.add_error(*node, 51);
        traverse(node);
        return nullptr;
    }
    unit_.add_global_declaration(node);
    traverse(node);
    return nullptr;
}

St_node* Tree_traverser_prepass::visit_init_identifier(St_node* node)
{
    if (!current_struct_ || in_function_declaration_)
        return visit_default(node);
    add_struct_member(node);
    return nullptr;
}

void Tree_traverser_prepass::add_struct_member(St_node* init_identifier)
{
    for (const St_node* child = init_identifier->first_child; child; child = child->next_sibling) {
        if (child->kind != NODE_ARRAY_SPECIFIER) {
            unit_.add_error(*init_identifier, 17, init_identifier->text_view());
            break;
        }
    }
    uint32_t array_size = declared_array_size(*init_identifier, &unit_);
    const Type* type = unit_.type_at(current_member_type_);
    std::string name(init_identifier->text_view());
    current_struct_->append_member(new Named_type(name.c_str(), type ? type->code() : uint8_t(TYPE_ILLEGAL), array_size,
                                                  current_member_type_name_.c_str()));
}

// Functions

St_node* Tree_traverser_prepass::visit_function_declaration(St_node* node)
{
    // Prototypes in shader and struct bodies are dropped silently.
    if (!in_function_declaration_ && !current_shader_ && !current_struct_)
        unit_.add_function(node);
    return nullptr;
}

Shader_declaration* Tree_traverser_prepass::method_owner(St_node* definition, std::string& method_name)
{
    const St_node* declaration = definition->find_child(NODE_FUNCTION_DECLARATION);
    const St_node* declarator = declaration ? declaration->find_child(NODE_FUNCTION_DECLARATOR) : nullptr;
    std::vector<std::string_view> names;
    for (const St_node* part = declarator ? declarator->first_child : nullptr; part; part = part->next_sibling)
        if (part->kind == NODE_IDENTIFIER)
            names.push_back(part->text_view());
    method_name = names.empty() ? std::string() : std::string(names.back());
    if (names.size() < 2 || current_shader_)
        return current_shader_;
    std::string owner;
    for (size_t i = 0; i + 1 < names.size(); ++i) {
        if (i)
            owner += "::";
        owner += names[i];
    }
    return unit_.find_shader(owner);
}

void Tree_traverser_prepass::add_method(Shader_declaration& shader, St_node* definition,
                                        const std::string& method_name, bool check_event)
{
    if (method_name == "main") {
        // A second main is kept among the methods, so that it is still checked.
        if (!shader.main_method)
            shader.main_method = definition;
        else
            shader.methods.push_back(definition);
        return;
    }
    if (check_event && method_name == "event") {
        unit_.add_error(*definition, 52);
        return;
    }
    shader.methods.push_back(definition);
}

St_node* Tree_traverser_prepass::visit_function_definition(St_node* node)
{
    if (current_struct_) {
        unit_.add_error(*node, 15);
        return nullptr;
    }
    std::string method_name;
    Shader_declaration* owner = method_owner(node, method_name);
    bool qualified = !current_shader_ && owner != nullptr;
    if (current_shader_) {
        add_method(*current_shader_, node, method_name, true);
    } else if (qualified) {
        add_method(*owner, node, method_name, false);
    } else {
        const St_node* declaration = node->find_child(NODE_FUNCTION_DECLARATION);
        const St_node* declarator = declaration ? declaration->find_child(NODE_FUNCTION_DECLARATOR) : nullptr;
        if (declarator && declarator->child_count() > 1) {
            // Name::fn with no shader Name.
            unit_.add_error(*node, 15);
            return nullptr;
        }
        unit_.add_function(node);
    }

    // A method defined outside its shader is shader code all the same.
    Shader_declaration* saved_shader = current_shader_;
    St_node* saved_function = current_function_;
    bool saved_in_function = in_function_declaration_;
    bool saved_takes_state = takes_state_;
    current_shader_ = owner;
    current_function_ = node;
    in_function_declaration_ = true;
    takes_state_ = !owner && has_state_parameter(node);
    traverse(node);
    current_shader_ = saved_shader;
    current_function_ = saved_function;
    in_function_declaration_ = saved_in_function;
    takes_state_ = saved_takes_state;
    return nullptr;
}

// A function that is handed the state reads it by name, as a shader's methods do: the graph
// linker copies methods out of their shaders in this form, and their source must read back.
bool Tree_traverser_prepass::has_state_parameter(const St_node* definition)
{
    const St_node* declaration = definition->find_child(NODE_FUNCTION_DECLARATION);
    const St_node* parameters = declaration ? declaration->find_child(NODE_FUNCTION_PARAMETER_LIST) : nullptr;
    for (const St_node* p = parameters ? parameters->first_child : nullptr; p; p = p->next_sibling) {
        const St_node* type = p->find_child(NODE_SIMPLE_TYPE_SPECIFIER);
        if (type && type->text_view() == "State")
            return true;
    }
    return false;
}

// State names in shader code

St_node* Tree_traverser_prepass::visit_function_call_expression(St_node* node)
{
    if (rewrites_state()) {
        // transform_point and its kin (14 to 17) keep their space words as string arguments;
        // the back ends read them from there.
        int32_t index = state_function_index(std::string(node->text_view()));
        if (index >= 0) {
            node->kind = NODE_STATE_FUNCTION_REFERENCE;
            node->set_binary_text(&index, sizeof index);
            if (current_shader_)
                current_shader_->uses_state_function[index] = true;
        }
    }
    traverse(node);
    return nullptr;
}

St_node* Tree_traverser_prepass::visit_class_member_ref_expression(St_node* node)
{
    St_node* object = node->first_child;
    if (!object)
        return nullptr;
    object = visit_child(node, object);
    // A method selector is no state function, whatever its name; only its arguments are walked.
    St_node* selector = object->next_sibling;
    if (selector && selector->kind == NODE_FUNCTION_CALL_EXPRESSION)
        traverse(selector);
    return nullptr;
}

St_node* Tree_traverser_prepass::visit_variable_id(St_node* node)
{
    if (!rewrites_state())
        return nullptr;
    // Before any scope is known: a local or parameter of a state name is replaced too.
    int32_t index = state_variable_index(std::string(node->text_view()));
    if (index < 0)
        return nullptr;
    if (current_shader_)
        current_shader_->uses_state_variable[index] = true;
    return new (Node_arena::of(node)) St_node(NODE_STATE_VARIABLE_REFERENCE, node->file, node->line, node->column,
                                              reinterpret_cast<const char*>(&index), int32_t(sizeof index),
                                              node->extra_position);
}

St_node* Tree_traverser_prepass::visit_state_variable_reference(St_node* node)
{
    int32_t index = reference_index(*node);
    if (current_shader_ && index >= 0 && index < STATE_VARIABLE_COUNT)
        current_shader_->uses_state_variable[index] = true;
    return nullptr;
}

St_node* Tree_traverser_prepass::visit_state_function_reference(St_node* node)
{
    int32_t index = reference_index(*node);
    if (current_shader_ && index >= 0 && index < STATE_FUNCTION_COUNT)
        current_shader_->uses_state_function[index] = true;
    traverse(node);
    return nullptr;
}

// Enums

St_node* Tree_traverser_prepass::visit_enum_declaration(St_node* node)
{
    if (current_struct_) {
        unit_.add_error(*node, 8);
        return nullptr;
    }
    std::string name = scoped(std::string(node->text_view()));
    if (unit_.lookup_type(name) >= 0 || unit_.find_named_type(name) >= 0) {
        unit_.add_error(*node, 32, node->text_view());
        return nullptr;
    }
    int32_t saved_enum = current_enum_;
    current_enum_ = unit_.add_enum(std::make_unique<Enum_type>(name.c_str()));
    next_enum_value_ = 0;
    traverse(node);
    current_enum_ = saved_enum;
    unit_.add_named_type(std::make_unique<Named_type>(name.c_str(), TYPE_INT32));
    if (current_shader_)
        current_shader_->local_types.push_back(name);
    return nullptr;
}

St_node* Tree_traverser_prepass::visit_enum_member(St_node* node)
{
    if (current_enum_ < 0)
        return nullptr;
    // The enum's own name is no part of the key: all enums of a scope share one namespace.
    std::string name = scoped(std::string(node->text_view()));
    if (unit_.find_enum_value(name)) {
        unit_.add_error(*node, 33, node->text_view());
        return nullptr;
    }
    int32_t value = next_enum_value_;
    if (const St_node* given = node->first_child) {
        if (is_integer_constant(*given)) {
            value = given->int_value();
        } else {
            unit_.add_error(*node, 31, node->text_view());
            value = 0;
        }
    }
    unit_.add_enum_value(name, value, current_enum_);
    next_enum_value_ = int32_t(uint32_t(value) + 1u);
    return nullptr;
}

// Imports and annotations

namespace {

// "\"b.ovl\" > \"c.ovl\": Error in file 'c.ovl' line 3: ...": the names of the imports down
// to the file at fault, then its first error, or why it could not be compiled at all.
std::string import_chain(const std::string& name, const Compilation_unit* imported)
{
    std::string quoted = "\"" + name + "\"";
    if (!imported)
        return quoted + ": cannot be compiled";
    for (const Error_record& error : imported->errors()) {
        if (error.number == DIAG_IMPORT_ERRORS)
            continue;
        if (error.number == DIAG_IMPORT_FAILURE && error.line < 0)
            return quoted + ": " + error.text;
        if (error.number == DIAG_IMPORT_FAILURE && error.text.compare(0, IMPORT_PREFIX.size(), IMPORT_PREFIX) == 0)
            return quoted + " > " + error.text.substr(IMPORT_PREFIX.size());
        // The file as its importer names it, like an included file.
        return quoted + ": " + format_error(error, name.c_str());
    }
    return quoted + ": contains errors";
}

}  // namespace

St_node* Tree_traverser_prepass::visit_import_declaration(St_node* node)
{
    if (read_only_)
        return nullptr;
    std::string name(node->text_view());
    std::shared_ptr<Compilation_unit> imported = resolver_ ? resolver_(name, node->file_name()) : nullptr;
    if (!imported || imported->error_count() > 0) {
        // 54 says only that the file failed; a second record says where and why.
        unit_.add_error(*node, DIAG_IMPORT_ERRORS, name);
        unit_.add_error(*node, DIAG_IMPORT_FAILURE, std::string(IMPORT_PREFIX) + import_chain(name, imported.get()));
        return nullptr;
    }
    unit_.add_import(name, std::move(imported));
    return nullptr;
}

St_node* Tree_traverser_prepass::visit_annotation_block(St_node*)
{
    // Annotations are calls to no function; a name such as "info" must stay as it is.
    return nullptr;
}

}  // namespace SYNTAX_TREE
}  // namespace QZ
