// The FX tree walk, statements and function declarations. Lists of statements iterate; only
// nesting recurses, under the depth limit of the expression walk.
#include <set>
#include <vector>

#include "gen_fx/fx_code_generator.h"
#include "gen_fx/mod_gen_fx.h"
#include "syntax_tree/compilation_unit.h"
#include "syntax_tree/st_node.h"
#include "syntax_tree/type.h"

namespace QZ {
namespace GEN_FX {

using SYNTAX_TREE::St_node;
using SYNTAX_TREE::Type;
namespace ST = SYNTAX_TREE;

namespace {

constexpr int32_t MAX_STATEMENT_NESTING = 256;

// ORDER: index 0 CgFX, 1 HLSL. head: %.*s the enum's name; member: %.*s the name, %d the value.
struct Enum_dialect {
    const char* head;
    const char* member;
    const char* tail;
};
const Enum_dialect enum_dialects[2] = {
    {"enum %.*s {\n", "\t%.*s = %d,\n", "};\n\n"},
    {"// enum %.*s\n", "static const int %.*s = %d;\n", "\n"},
};

bool is_block(const St_node* node)
{
    return node && node->kind == ST::NODE_STATEMENT_BLOCK;
}

bool is_break(const St_node* node)
{
    return node && node->kind == ST::NODE_JUMP_STATEMENT && node->text_view() == "break";
}

const St_node* last_child(const St_node* node)
{
    const St_node* last = nullptr;
    for (const St_node* child = node ? node->first_child : nullptr; child; child = child->next_sibling)
        last = child;
    return last;
}

// A selector that may print again without being evaluated twice.
bool is_repeatable(const St_node* node)
{
    switch (node->kind) {
    case ST::NODE_INT_CONSTANT:
    case ST::NODE_HEX_CONSTANT:
    case ST::NODE_OCT_CONSTANT:
    case ST::NODE_FLOAT_CONSTANT:
    case ST::NODE_BOOL_CONSTANT:
    case ST::NODE_STRING_CONSTANT:
    case ST::NODE_VARIABLE_ID:
        return true;
    default:
        return false;
    }
}

}  // namespace

void Fx_code_generator::print_statements(const St_node* first)
{
    for (const St_node* statement = first; statement; statement = statement->next_sibling) {
        print_statement(statement);
        if (sets_debug_variable(statement))
            print_debug_watch(statement);
    }
}

void Fx_code_generator::print_statement(const St_node* node)
{
    if (!node)
        return;
    if (statement_depth_ >= MAX_STATEMENT_NESTING) {
        if (!depth_reported_)
            report(nesting_log_code(), "Statement nesting too deep (over %d levels); the rest is left out",
                   MAX_STATEMENT_NESTING);
        depth_reported_ = true;
        return;
    }
    ++statement_depth_;
    const St_node* first = node->first_child;
    switch (node->kind) {
    case ST::NODE_FUNCTION_DECLARATION:
    case ST::NODE_FUNCTION_DEFINITION:
        report(LOG_NESTED_FUNCTION, "Nested functions are not supported");
        break;
    case ST::NODE_CLASS_DECLARATION:
        report(LOG_NESTED_CLASS, "Nested classes are not supported");
        break;
    case ST::NODE_VARIABLE_DECLARATION:
        print_local_declaration(node);
        break;
    case ST::NODE_STATEMENT_BLOCK:
        print_block(node);
        break;
    case ST::NODE_CONDITION_STATEMENT:
        out().write("if (");
        print_condition(first);
        out().write(")\n");
        print_branch(first ? first->next_sibling : nullptr);
        if (first && first->next_sibling && first->next_sibling->next_sibling) {
            out().write("else\n");
            print_branch(first->next_sibling->next_sibling);
        }
        break;
    case ST::NODE_EXPRESSION_STATEMENT:
        if (first && print_expression(first))
            out().write(";\n");
        else
            out().write("\n");
        break;
    case ST::NODE_DO_STATEMENT:
        ++loop_depth_;
        out().write("do\n");
        print_branch(first);
        --loop_depth_;
        out().write(do_while_open());
        print_condition(first ? first->next_sibling : nullptr);
        out().write(");\n");
        break;
    case ST::NODE_WHILE_STATEMENT:
        out().write("while (");
        print_condition(first);
        out().write(")\n");
        ++loop_depth_;
        print_branch(first ? first->next_sibling : nullptr);
        --loop_depth_;
        break;
    case ST::NODE_FOR_STATEMENT:
        print_for(node);
        break;
    case ST::NODE_FOREACH_STATEMENT:
        print_foreach(node);
        break;
    case ST::NODE_JUMP_STATEMENT:
        print_jump(node);
        break;
    case ST::NODE_SWITCH_STATEMENT:
        print_switch(node);
        break;
    case ST::NODE_NO_OP:
        break;
    default:
        // An expression where a statement stands.
        if (print_expression(node))
            out().write(";\n");
        break;
    }
    --statement_depth_;
}

// Inside a statement that is not a block, the body stands one level deeper.
void Fx_code_generator::print_branch(const St_node* node)
{
    if (!node) {
        out().write(";\n");
        return;
    }
    if (is_block(node)) {
        print_block(node);
        return;
    }
    // A watch after the statement would leave the loop: the two go in a block.
    if (sets_debug_variable(node)) {
        out().write("{\n");
        print_statement(node);
        print_debug_watch(node);
        out().write("}\n");
        return;
    }
    out().indent();
    print_statement(node);
    out().unindent();
}

void Fx_code_generator::print_block(const St_node* block, const St_node* skip_last)
{
    out().write("{\n");
    for (const St_node* statement = block ? block->first_child : nullptr; statement;
         statement = statement->next_sibling) {
        if (statement == skip_last)
            break;
        print_statement(statement);
        if (sets_debug_variable(statement))
            print_debug_watch(statement);
    }
    out().write("}\n");
}

// CONDITION "expression" holds the expression; "declaration" a type, a name and a value. Other
// nodes (a do-while condition) are expressions themselves.
void Fx_code_generator::print_condition(const St_node* condition)
{
    if (!condition)
        return;
    if (condition->kind != ST::NODE_CONDITION) {
        print_expression(condition);
        return;
    }
    const St_node* first = condition->first_child;
    if (condition->text_view() != "declaration") {
        print_expression(first);
        return;
    }
    const St_node* name = first ? first->next_sibling : nullptr;
    const St_node* value = name ? name->next_sibling : nullptr;
    out().print("%s %s = ", specifier_text(first).c_str(), name ? identifier(name->text_view()).c_str() : "");
    print_expression(value);
}

void Fx_code_generator::print_for(const St_node* node)
{
    const St_node* init = node->find_child(ST::NODE_FOR_INIT);
    const St_node* condition = node->find_child(ST::NODE_FOR_CONDITION);
    const St_node* step = node->find_child(ST::NODE_FOR_EXPRESSION);
    const St_node* body = last_child(node);
    if (body == init || body == condition || body == step)
        body = nullptr;
    out().write("for (");
    if (init)
        print_condition(init->first_child);
    out().write("; ");
    if (condition)
        print_condition(condition->first_child);
    out().write("; ");
    if (step)
        print_expression(step->first_child);
    out().write(")\n");
    ++loop_depth_;
    print_branch(body);
    --loop_depth_;
}

// A light loop walks the attachment array; a sample loop runs once, since the iterator yields
// constants on hardware. Without interfaces the effect has no light attachments: the loop would
// run over none, so it prints nothing (a linked unit has its light loops unrolled already).
void Fx_code_generator::print_foreach(const St_node* node)
{
    const St_node* iterator = node->first_child;
    const St_node* body = iterator ? iterator->next_sibling : nullptr;
    const Type* type = type_of(iterator);
    bool lights = node->text_view() == "light" ||
                  (type && type->is_struct() && type->name() && std::string_view(type->name()) == "Light_iterator");
    if (!lights) {
        print_other_foreach(body);
        return;
    }
    if (!has_light_attachments())
        return;
    std::string list_name = light_list_name();
    const char* list = list_name.c_str();
    std::string variable = expression_text(iterator);
    out().print("for (int light_index=0;\n     light_index < %s.length;\n     light_index++)\n", list);
    out().write("{\n");
    out().print("%s = %s[%s].eval(state);", variable.c_str(), list, "light_index");
    out().print(" %s.count = %s;\n", variable.c_str(), "light_index");
    ++loop_depth_;
    if (is_block(body))
        print_statements(body->first_child);
    else if (body)
        print_statement(body);
    --loop_depth_;
    out().write("}\n");
}

void Fx_code_generator::print_other_foreach(const St_node* body)
{
    if (is_block(body)) {
        print_block(body);
        return;
    }
    out().write("{\n");
    print_statement(body);
    out().write("}\n");
}

void Fx_code_generator::print_jump(const St_node* node)
{
    std::string_view word = node->text_view();
    if (word != "return") {
        out().print("%.*s;\n", int(word.size()), word.data());
        return;
    }
    if (!node->first_child) {
        out().write("return;\n");
        return;
    }
    out().write("return ");
    print_return_value(node->first_child);
    out().write(";\n");
}

// A switch becomes a chain of ifs. Labels with no statements of their own collect into the next
// label's test; the statements of a case end at the next label, so falling through from a case
// with statements into the next is not kept. The default is the last else.
void Fx_code_generator::print_switch(const St_node* node)
{
    const St_node* selector = node->first_child;
    if (!selector)
        return;
    std::string value;
    if (is_repeatable(selector)) {
        value = expression_text(selector, true);
    } else {
        char name[32];
        std::snprintf(name, sizeof name, switch_value_format(), switch_count_++);
        value = name;
        out().print("int %s = ", name);
        print_switch_selector(selector);
        out().write(";\n");
    }

    struct Group {
        std::vector<const St_node*> labels;
        const St_node* block = nullptr;
    };
    std::vector<Group> groups;
    const St_node* default_block = nullptr;
    bool has_default = false;
    Group pending;
    for (const St_node* label = selector->next_sibling; label; label = label->next_sibling) {
        const St_node* block = label->find_child(ST::NODE_STATEMENT_BLOCK);
        bool empty = !block || !block->first_child;
        if (label->kind == ST::NODE_SWITCH_DEFAULT) {
            // Labels that collect into the default need no test of their own.
            pending.labels.clear();
            if (empty && label->next_sibling)
                continue;
            has_default = true;
            default_block = block;
            continue;
        }
        if (label->kind != ST::NODE_SWITCH_CASE)
            continue;
        pending.labels.push_back(label->first_child);
        if (empty && label->next_sibling)
            continue;
        pending.block = block;
        groups.push_back(pending);
        pending = Group();
    }

    for (size_t i = 0; i < groups.size(); ++i) {
        const Group& group = groups[i];
        out().write(switch_test_open());
        for (size_t k = 0; k < group.labels.size(); ++k) {
            out().print(switch_label_open(k == 0), value.c_str());
            print_operand(group.labels[k], LEVEL_EQUALITY + 1);
            out().write(switch_label_close());
        }
        out().write(")\n");
        const St_node* last = last_child(group.block);
        print_block(group.block, is_break(last) ? last : nullptr);
        if (i + 1 < groups.size() || has_default)
            out().write("else\n");
    }
    if (has_default) {
        const St_node* last = last_child(default_block);
        print_block(default_block, is_break(last) ? last : nullptr);
    }
}

// Declarations

// Every target prints a function the same way; only the name, what it takes before the source's
// parameters, the parameters' words and what the body needs set up differ.
void Fx_code_generator::print_function(const St_node* function)
{
    const St_node* declaration = function;
    const St_node* body = nullptr;
    if (function->kind == ST::NODE_FUNCTION_DEFINITION) {
        declaration = function->find_child(ST::NODE_FUNCTION_DECLARATION);
        body = function->find_child(ST::NODE_STATEMENT_BLOCK);
    }
    if (!declaration)
        return;
    if (prototype_only_)
        body = nullptr;
    // The target provides a native function itself.
    if (!body && declaration->text_view() == "native")
        return;
    std::string_view source_name = BACK12::function_definition_name(function);
    std::string leading = leading_parameters(source_name);
    out().print("%s %s(%s", specifier_text(declaration->first_child).c_str(),
                printed_function_name(source_name).c_str(), leading.c_str());
    bool first = leading.empty();
    const St_node* parameters = declaration->find_child(ST::NODE_FUNCTION_PARAMETER_LIST);
    for (const St_node* parameter = parameters ? parameters->first_child : nullptr; parameter;
         parameter = parameter->next_sibling) {
        if (parameter->kind != ST::NODE_FUNCTION_PARAMETER)
            continue;
        if (!first)
            out().write(parameter_separator());
        first = false;
        out().write(parameter_text(parameter));
    }
    if (!body) {
        out().write(");\n\n");
        return;
    }
    out().write(")\n");
    print_function_body(declaration, body);
    out().write("\n");
}

std::string Fx_code_generator::parameter_text(const St_node* parameter) const
{
    std::string text;
    const St_node* qualifier = parameter->find_child(ST::NODE_PARAMETER_QUALIFIER);
    if (qualifier && qualifier->text_view() != "in")
        text.append(qualifier->text_view()).append(" ");
    text += specifier_text(BACK12::type_specifier_of(parameter));
    text += " ";
    text += variable_name(parameter->text_view());
    text += array_suffix(parameter);
    return text;
}

void Fx_code_generator::print_function_body(const St_node*, const St_node* body)
{
    local_types_.clear();
    identity_variables_.clear();
    print_block(body);
}

namespace {

// The local names of the functions that a body calls, in a walk that keeps its own stack.
void called_names(const St_node* body, std::set<std::string>& names)
{
    std::vector<const St_node*> pending{body};
    while (!pending.empty()) {
        const St_node* node = pending.back();
        pending.pop_back();
        if (!node)
            continue;
        if (node->kind == ST::NODE_FUNCTION_CALL_EXPRESSION && node->text) {
            std::string name(node->text_view());
            size_t scope = name.rfind("::");
            names.insert(scope == std::string::npos ? name : name.substr(scope + 2));
        }
        for (const St_node* child = node->first_child; child; child = child->next_sibling)
            pending.push_back(child);
    }
}

}  // namespace

void Fx_code_generator::print_prototypes(const std::vector<const St_node*>& definitions)
{
    std::set<std::string> defined;
    std::set<std::string> early;
    for (const St_node* definition : definitions) {
        std::set<std::string> calls;
        called_names(definition->find_child(ST::NODE_STATEMENT_BLOCK), calls);
        std::string name(BACK12::function_definition_name(definition));
        defined.insert(name);
        for (const std::string& call : calls)
            if (!defined.count(call))
                early.insert(call);
    }
    prototype_only_ = true;
    for (const St_node* definition : definitions)
        if (early.count(std::string(BACK12::function_definition_name(definition))))
            print_function(definition);
    prototype_only_ = false;
}

// The reachable definitions of a unit, in order.
std::vector<const St_node*> Fx_code_generator::reachable_definitions(const SYNTAX_TREE::Compilation_unit* unit) const
{
    std::vector<const St_node*> definitions;
    const St_node* list = unit ? unit->tree() : nullptr;
    for (const St_node* node = list ? list->first_child : nullptr; node; node = node->next_sibling)
        if (node->kind == ST::NODE_FUNCTION_DEFINITION && input_.is_reachable(node))
            definitions.push_back(node);
    return definitions;
}

void Fx_code_generator::print_unit_functions(SYNTAX_TREE::Compilation_unit* unit)
{
    print_prototypes(reachable_definitions(unit));
    const St_node* list = unit ? unit->tree() : nullptr;
    for (const St_node* node = list ? list->first_child : nullptr; node; node = node->next_sibling) {
        switch (node->kind) {
        case ST::NODE_FUNCTION_DEFINITION:
        case ST::NODE_FUNCTION_DECLARATION:
            if (input_.is_reachable(node))
                print_function(node);
            break;
        case ST::NODE_VARIABLE_DECLARATION:
            print_unit_variable(node);
            break;
        default:
            break;
        }
    }
}

// Struct and enum types at file level and inside shaders.
void Fx_code_generator::print_types(SYNTAX_TREE::Compilation_unit* unit)
{
    const St_node* list = unit ? unit->tree() : nullptr;
    for (const St_node* node = list ? list->first_child : nullptr; node; node = node->next_sibling) {
        if (node->kind == ST::NODE_ENUM_DECLARATION) {
            print_enum(node);
            continue;
        }
        if (node->kind != ST::NODE_CLASS_DECLARATION)
            continue;
        std::string_view key = node->text_view();
        if (key == "struct" || key == "class") {
            print_struct(node);
            continue;
        }
        const St_node* blocks = node->find_child(ST::NODE_CLASS_MEMBER_DECLARATION_BLOCK_LIST);
        for (const St_node* block = blocks ? blocks->first_child : nullptr; block; block = block->next_sibling) {
            for (const St_node* member = block->first_child; member; member = member->next_sibling) {
                if (member->kind == ST::NODE_ENUM_DECLARATION)
                    print_enum(member);
                else if (member->kind == ST::NODE_CLASS_DECLARATION &&
                         (member->text_view() == "struct" || member->text_view() == "class"))
                    print_struct(member);
            }
        }
    }
}

void Fx_code_generator::print_struct(const St_node* declaration)
{
    const St_node* name_node = declaration->find_child(ST::NODE_IDENTIFIER);
    if (!name_node)
        return;
    std::string name(name_node->text_view());
    std::vector<std::string> member_types;
    std::vector<std::string> member_names;
    std::vector<std::string> member_suffixes;
    out().print("struct %s {\n", name.c_str());
    const St_node* blocks = declaration->find_child(ST::NODE_CLASS_MEMBER_DECLARATION_BLOCK_LIST);
    for (const St_node* block = blocks ? blocks->first_child : nullptr; block; block = block->next_sibling) {
        for (const St_node* member = block->first_child; member; member = member->next_sibling) {
            if (member->kind != ST::NODE_VARIABLE_DECLARATION)
                continue;
            const St_node* specifiers = member->find_child(ST::NODE_VARIABLE_SPECIFIERS);
            std::string type = specifier_text(specifiers ? last_child(specifiers) : nullptr);
            const St_node* names = member->find_child(ST::NODE_INIT_IDENTIFIER_LIST);
            for (const St_node* item = names ? names->first_child : nullptr; item; item = item->next_sibling) {
                std::string member_name = identifier(item->text_view());
                print_as_is("\t%s %s%s;\n", type.c_str(), member_name.c_str(), array_suffix(item).c_str());
                // An array member is an array parameter of the constructor.
                member_types.push_back(type);
                member_suffixes.push_back(array_suffix(item));
                member_names.push_back(member_name);
            }
        }
    }
    out().print("};\n\n");
    if (fx_.hlsl)
        print_hlsl_struct_constructor(name, member_types, member_names, member_suffixes);
}

void Fx_code_generator::print_hlsl_struct_constructor(const std::string& name,
                                                      const std::vector<std::string>& member_types,
                                                      const std::vector<std::string>& member_names,
                                                      const std::vector<std::string>& member_suffixes)
{
    auto constructor = constructor_map_.find(name);
    std::string function = constructor != constructor_map_.end() ? constructor->second : "__" + name + "_ctor";
    out().print("%s %s(\n", name.c_str(), function.c_str());
    for (size_t i = 0; i < member_names.size(); ++i)
        print_as_is(i ? ",\n\t\t%s %s%s" : "\t\t%s %s%s", member_types[i].c_str(), member_names[i].c_str(),
                    member_suffixes[i].c_str());
    out().write(")\n");
    out().write("{\n");
    print_as_is("\t%s s;\n", name.c_str());
    for (const std::string& member : member_names)
        print_as_is("\ts.%s = %s;\n", member.c_str(), member.c_str());
    print_as_is("\treturn s;\n");
    out().write("}\n\n");
}

// Uses of an enum print its values and int, so the declaration only names them. HLSL has no
// enum: there the members are named constants.
void Fx_code_generator::print_enum(const St_node* declaration)
{
    const Enum_dialect& dialect = enum_dialects[enums_as_constants() ? 1 : 0];
    out().print(dialect.head, int(declaration->text_view().size()), declaration->text_view().data());
    int32_t next = 0;
    for (const St_node* member = declaration->first_child; member; member = member->next_sibling) {
        if (member->kind != ST::NODE_ENUM_MEMBER)
            continue;
        int32_t value = member->first_child ? member->first_child->int_value() : next;
        print_as_is(dialect.member, int(member->text_view().size()), member->text_view().data(), value);
        next = value + 1;
    }
    out().write(dialect.tail);
}

}  // namespace GEN_FX
}  // namespace QZ
