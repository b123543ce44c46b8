#include "syntax_tree/semantic_pass.h"

#include <algorithm>
#include <cctype>
#include <tuple>
#include <unordered_set>

#include "log/mod_log.h"
#include "syntax_tree/compilation_unit.h"
#include "syntax_tree/node_arena.h"
#include "syntax_tree/prelude_symbols.h"
#include "syntax_tree/prepass.h"
#include "syntax_tree/st_node.h"
#include "syntax_tree/state_tables.h"
#include "syntax_tree/type.h"
#include "system/module.h"

namespace QZ {
namespace SYNTAX_TREE {

namespace {

constexpr int32_t NOT_COMPUTED = -2;

bool is_expression_kind(int32_t kind)
{
    return (kind >= NODE_EXPRESSION_LIST && kind <= NODE_CONSTRUCTOR_CALL_EXPRESSION) ||
           (kind >= NODE_INT_CONSTANT && kind <= NODE_VARIABLE_ID) || kind == NODE_STATE_VARIABLE_REFERENCE ||
           kind == NODE_STATE_FUNCTION_REFERENCE;
}

// Same parameter types and reference marks. A plain loop: the lists are short, and the prelude's
// sweep compares each new overload with every earlier one of its name.
bool same_signature(const Overload_entry& a, const Overload_entry& b)
{
    const size_t count = a.parameter_types.size();
    if (count != b.parameter_types.size() || a.by_reference.size() != b.by_reference.size())
        return false;
    for (size_t i = 0; i < count; ++i)
        if (a.parameter_types[i] != b.parameter_types[i])
            return false;
    for (size_t i = 0; i < a.by_reference.size(); ++i)
        if (a.by_reference[i] != b.by_reference[i])
            return false;
    return true;
}

bool is_integer_constant(const St_node& node)
{
    return node.kind == NODE_INT_CONSTANT || node.kind == NODE_HEX_CONSTANT || node.kind == NODE_OCT_CONSTANT;
}

// An integer literal, or one under a sign.
bool is_constant_index(const St_node& node)
{
    if (is_integer_constant(node))
        return true;
    return node.kind == NODE_UNARY_EXPRESSION && (node.text_view() == "-" || node.text_view() == "+") &&
           node.first_child && !node.first_child->next_sibling && is_integer_constant(*node.first_child);
}

// What may stand leftmost in a member access: something that holds a value.
bool is_object_kind(int32_t kind)
{
    return kind == NODE_VARIABLE_ID || kind == NODE_FUNCTION_CALL_EXPRESSION || kind == NODE_METHOD_CALL_EXPRESSION ||
           kind == NODE_CONSTRUCTOR_CALL_EXPRESSION || kind == NODE_STATE_VARIABLE_REFERENCE ||
           kind == NODE_STATE_FUNCTION_REFERENCE;
}

St_node* type_specifier_child(const St_node& node)
{
    for (St_node* child = node.first_child; child; child = child->next_sibling)
        if (child->kind == NODE_SIMPLE_TYPE_SPECIFIER || child->kind == NODE_NESTED_TYPE_SPECIFIER)
            return child;
    return nullptr;
}

St_node* declaration_type_specifier(const St_node& declaration)
{
    St_node* specifiers = declaration.find_child(NODE_VARIABLE_SPECIFIERS);
    return specifiers ? type_specifier_child(*specifiers) : nullptr;
}

// The names of a declarator, "A::B::f" for a qualified one.
std::string declarator_name(const St_node* declaration, bool last_only)
{
    const St_node* declarator = declaration ? declaration->find_child(NODE_FUNCTION_DECLARATOR) : nullptr;
    std::string name;
    for (const St_node* part = declarator ? declarator->first_child : nullptr; part; part = part->next_sibling) {
        if (part->kind != NODE_IDENTIFIER)
            continue;
        if (last_only)
            name.clear();
        else if (!name.empty())
            name += "::";
        name += part->text_view();
    }
    return name;
}

bool is_method_declarator(const St_node* declaration)
{
    const St_node* declarator = declaration ? declaration->find_child(NODE_FUNCTION_DECLARATOR) : nullptr;
    return declarator && declarator->child_count() > 1;
}

// The FUNCTION_DECLARATION by which a list entry declares a function: a prototype, or the
// header of a definition that is not a method. Null for anything else.
St_node* function_header(St_node* node)
{
    if (node->kind == NODE_FUNCTION_DECLARATION)
        return node;
    if (node->kind != NODE_FUNCTION_DEFINITION)
        return nullptr;
    St_node* declaration = node->find_child(NODE_FUNCTION_DECLARATION);
    return is_method_declarator(declaration) ? nullptr : declaration;
}

bool is_by_reference(const St_node& parameter)
{
    const St_node* qualifier = parameter.find_child(NODE_PARAMETER_QUALIFIER);
    return qualifier && (qualifier->text_view() == "out" || qualifier->text_view() == "inout");
}

int32_t reference_index(const St_node& node)
{
    if (node.text_size != 4 || !node.text)
        return -1;
    int32_t index;
    std::copy(node.text, node.text + sizeof index, reinterpret_cast<char*>(&index));
    return index;
}

int32_t child_type(const St_node* node)
{
    return node ? node->type_index : -1;
}

// The initializer of an INIT_IDENTIFIER: what follows the name besides array size and annotations.
St_node* initializer_of(const St_node& declarator)
{
    for (St_node* child = declarator.first_child; child; child = child->next_sibling)
        if (child->kind != NODE_ARRAY_SPECIFIER && child->kind != NODE_ANNOTATION_BLOCK)
            return child;
    return nullptr;
}

}  // namespace

Tree_traverser_semantic_pass::Tree_traverser_semantic_pass(Compilation_unit& unit)
    : unit_(unit), global_(std::make_unique<Scope>(nullptr, &unit.prelude()))
{
    scope_ = global_.get();
    next_function_id_ = unit.prelude().next_function_id();
    std::fill(std::begin(state_variable_types_), std::end(state_variable_types_), NOT_COMPUTED);
    std::fill(std::begin(state_function_types_), std::end(state_function_types_), NOT_COMPUTED);
}

Tree_traverser_semantic_pass::~Tree_traverser_semantic_pass() = default;

void Tree_traverser_semantic_pass::add_declaration_list(const St_node* list)
{
    if (list)
        extra_lists_.push_back(list);
}

// ------------------------------------------------------------------------------------------
// Sweeps
// ------------------------------------------------------------------------------------------

void Tree_traverser_semantic_pass::run()
{
    // Sweep 1: everything that can be called or read from anywhere. The prelude's part is
    // known already: the global scope looks into its symbols.
    mode_ = MODE_DECLARATIONS;
    for (const St_node* list : extra_lists_)
        declare_list(list, true);
    for (int32_t i = 0; i < unit_.import_count(); ++i)
        if (auto imported = unit_.import_unit(i))
            declare_import(*imported);
    declare_list(unit_.tree(), false);
    enter_named_types();

    // Sweep 2: initializers and function bodies.
    mode_ = MODE_BODIES;
    check_unit_bodies();

    for (int32_t i = 0; i < unit_.shader_count(); ++i)
        check_shader(size_t(i));
    unit_.join_light_flags();
}

void Tree_traverser_semantic_pass::declare_only(const St_node* list)
{
    mode_ = MODE_DECLARATIONS;
    declare_list(list, true);
    enter_named_types();
}

void Tree_traverser_semantic_pass::declare_list(const St_node* list, bool foreign)
{
    if (!list)
        return;
    // The unit's own list declares what the prepass sorted out of it, in source order; a
    // foreign list declares its file-level variables and functions.
    std::unordered_set<const St_node*> sorted;
    if (!foreign) {
        sorted.insert(unit_.global_declarations().begin(), unit_.global_declarations().end());
        sorted.insert(unit_.functions().begin(), unit_.functions().end());
    }
    for (St_node* node = list->first_child; node; node = node->next_sibling) {
        if (!foreign && !sorted.count(node))
            continue;
        if (node->kind == NODE_VARIABLE_DECLARATION)
            declare_global_variables(node, foreign);
        else if (St_node* header = function_header(node))
            declare_function_header(header, declarator_name(header, false), foreign);
    }
}

void Tree_traverser_semantic_pass::declare_import(const Compilation_unit& imported)
{
    // An imported unit was checked on its own; its nodes belong to it and keep its indices.
    for (St_node* declaration : imported.global_declarations())
        declare_global_variables(declaration, true);
    for (St_node* function : imported.functions()) {
        St_node* declaration =
            function->kind == NODE_FUNCTION_DEFINITION ? function->find_child(NODE_FUNCTION_DECLARATION) : function;
        declare_function_header(declaration, declarator_name(declaration, false), true);
    }
}

void Tree_traverser_semantic_pass::declare_all_but_functions(const St_node* list,
                                                             std::vector<std::pair<std::string, St_node*>>* headers)
{
    mode_ = MODE_DECLARATIONS;
    ++foreign_;
    for (St_node* node = list ? list->first_child : nullptr; node; node = node->next_sibling) {
        if (node->kind == NODE_VARIABLE_DECLARATION) {
            declare_global_variables(node, true);
            continue;
        }
        St_node* header = function_header(node);
        if (!header)
            continue;
        headers->emplace_back(declarator_name(header, false), header);
        // Only an array parameter can make a type: a header's other types are all known.
        const St_node* parameters = header->find_child(NODE_FUNCTION_PARAMETER_LIST);
        for (St_node* p = parameters ? parameters->first_child : nullptr; p; p = p->next_sibling) {
            if (p->kind != NODE_FUNCTION_PARAMETER || !p->find_child(NODE_ARRAY_SPECIFIER))
                continue;
            if (St_node* specifier = type_specifier_child(*p))
                resolve_type(specifier, declared_array_size(*p, nullptr), true);
        }
    }
    --foreign_;
    enter_named_types();
}

Overload_entry Tree_traverser_semantic_pass::foreign_header(St_node* declaration)
{
    ++foreign_;
    Overload_entry entry = header_entry(declaration);
    --foreign_;
    return entry;
}

void Tree_traverser_semantic_pass::written_signature(const St_node* header, std::string& signature)
{
    signature.clear();
    const St_node* parameters = header->find_child(NODE_FUNCTION_PARAMETER_LIST);
    for (const St_node* p = parameters ? parameters->first_child : nullptr; p; p = p->next_sibling) {
        if (p->kind != NODE_FUNCTION_PARAMETER)
            continue;
        const St_node* type = type_specifier_child(*p);
        uint32_t array_size = declared_array_size(*p, nullptr);
        append_written_parameter(signature, is_by_reference(*p), type ? type_specifier_name(*type) : std::string(),
                                 p->find_child(NODE_ARRAY_SPECIFIER) ? &array_size : nullptr);
    }
}

void Tree_traverser_semantic_pass::enter_named_types()
{
    for (int32_t i = 0; i < unit_.named_type_count(); ++i) {
        const Named_type* type = unit_.named_type_at(i);
        if (!type->name())
            continue;
        unit_.find_type(type->name());
        for (const Type* member = type->first_member(); member; member = member->next_member())
            unit_.find_type(member->type_name_text(), member->array_size());
    }
}

void Tree_traverser_semantic_pass::check_unit_bodies()
{
    St_node* list = unit_.tree();
    if (!list)
        return;
    std::unordered_set<const St_node*> globals(unit_.global_declarations().begin(),
                                               unit_.global_declarations().end());
    std::unordered_set<const St_node*> functions(unit_.functions().begin(), unit_.functions().end());
    for (St_node* node = list->first_child; node; node = node->next_sibling) {
        if (globals.count(node))
            check_initializers(node);
        else if (functions.count(node) && node->kind == NODE_FUNCTION_DEFINITION)
            walk_function(node);
    }
}

void Tree_traverser_semantic_pass::check_shader(size_t position)
{
    Shader_declaration& shader = *unit_.shader_at(int32_t(position));
    push_scope();
    current_class_ = &shader;

    // The shader's own entries are checked; what parents lend is declared quietly, since the
    // parent's own pass reports its faults.
    std::vector<St_node*> lists[4];
    gather_shader_lists(position, lists);
    const size_t own[4] = {shader.input_variables.size(), shader.output_variables.size(),
                           shader.member_variables.size(), shader.methods.size()};

    mode_ = MODE_DECLARATIONS;
    for (int32_t block = 0; block < 3; ++block)
        for (size_t i = 0; i < lists[block].size(); ++i)
            declare_global_variables(lists[block][i], i >= own[block]);
    for (size_t i = 0; i < lists[3].size(); ++i) {
        St_node* declaration = lists[3][i]->find_child(NODE_FUNCTION_DECLARATION);
        declare_function_header(declaration, declarator_name(declaration, true), i >= own[3]);
    }
    if (shader.main_method) {
        St_node* declaration = shader.main_method->find_child(NODE_FUNCTION_DECLARATION);
        declare_function_header(declaration, declarator_name(declaration, true), false);
    }

    mode_ = MODE_BODIES;
    for (int32_t block = 0; block < 3; ++block)
        for (size_t i = 0; i < own[block]; ++i)
            check_initializers(lists[block][i]);
    for (size_t i = 0; i < own[3]; ++i)
        walk_function(lists[3][i]);
    if (shader.main_method)
        walk_function(shader.main_method);

    current_class_ = nullptr;
    pop_scope();
}

void Tree_traverser_semantic_pass::gather_shader_lists(size_t position, std::vector<St_node*> (&lists)[4])
{
    const Shader_declaration& shader = *unit_.shader_at(int32_t(position));
    lists[0] = shader.input_variables;
    lists[1] = shader.output_variables;
    lists[2] = shader.member_variables;
    lists[3] = shader.methods;
    if (!unit_.shaders_linked())
        return;
    // Declaring every lent entry in every shader costs N^2 on a chain of N shaders. A lent entry
    // that the shader's code cannot name changes nothing but the type table, and only when the
    // lender has not been checked yet (its own check resolves the same types first) or the
    // shader has types of its own (its name scopes the lookup): otherwise only the named ones
    // are declared.
    if (!lend_every_entry_ && unit_.ancestors_come_first(position) && shader.local_types.empty()) {
        gather_named_lent_entries(position, lists);
        return;
    }
    for (size_t lender : unit_.lending_positions(position)) {
        const Shader_declaration& from = *unit_.shader_at(int32_t(lender));
        lists[0].insert(lists[0].end(), from.input_variables.begin(), from.input_variables.end());
        lists[1].insert(lists[1].end(), from.output_variables.begin(), from.output_variables.end());
        lists[2].insert(lists[2].end(), from.member_variables.begin(), from.member_variables.end());
        lists[3].insert(lists[3].end(), from.methods.begin(), from.methods.end());
    }
}

namespace {

// The part of a scoped name after its last "::".
std::string_view last_part(std::string_view name)
{
    size_t scope = name.rfind("::");
    return scope == std::string_view::npos ? name : name.substr(scope + 2);
}

bool is_identifier(std::string_view name)
{
    if (name.empty() || std::isdigit(static_cast<unsigned char>(name[0])))
        return false;
    for (char c : name)
        if (!std::isalnum(static_cast<unsigned char>(c)) && c != '_')
            return false;
    return true;
}

// Every text in the subtrees of nodes, and the last part of each scoped one: a superset of the
// names that their code looks up.
std::unordered_set<std::string_view> texts_below(const std::vector<const St_node*>& nodes)
{
    std::unordered_set<std::string_view> texts;
    std::vector<const St_node*> pending(nodes.begin(), nodes.end());
    while (!pending.empty()) {
        const St_node* node = pending.back();
        pending.pop_back();
        if (!node)
            continue;
        std::string_view text = node->text_view();
        texts.insert(text);
        texts.insert(last_part(text));
        for (const St_node* child = node->first_child; child; child = child->next_sibling)
            pending.push_back(child);
    }
    return texts;
}

}  // namespace

void Tree_traverser_semantic_pass::gather_named_lent_entries(size_t position, std::vector<St_node*> (&lists)[4])
{
    if (!lendable_built_) {
        lendable_built_ = true;
        for (int32_t i = 0; i < unit_.shader_count(); ++i) {
            const Shader_declaration& shader = *unit_.shader_at(i);
            const std::vector<St_node*>* blocks[3] = {&shader.input_variables, &shader.output_variables,
                                                      &shader.member_variables};
            for (int32_t block = 0; block < 3; ++block)
                for (size_t index = 0; index < blocks[block]->size(); ++index) {
                    const St_node* list = (*blocks[block])[index]->find_child(NODE_INIT_IDENTIFIER_LIST);
                    for (const St_node* name = list ? list->first_child : nullptr; name; name = name->next_sibling)
                        if (name->kind == NODE_INIT_IDENTIFIER)
                            lendable_[std::string(name->text_view())].push_back({size_t(i), block, index});
                }
            // Methods under their last part; one whose name is no identifier (an operator) is
            // named by any code, under "".
            for (size_t index = 0; index < shader.methods.size(); ++index) {
                std::string name = declarator_name(shader.methods[index]->find_child(NODE_FUNCTION_DECLARATION), true);
                std::string_view key = last_part(name);
                lendable_[is_identifier(key) ? std::string(key) : std::string()].push_back({size_t(i), 3, index});
            }
        }
    }

    const Shader_declaration& shader = *unit_.shader_at(int32_t(position));
    std::vector<const St_node*> code(shader.input_variables.begin(), shader.input_variables.end());
    code.insert(code.end(), shader.output_variables.begin(), shader.output_variables.end());
    code.insert(code.end(), shader.member_variables.begin(), shader.member_variables.end());
    code.insert(code.end(), shader.methods.begin(), shader.methods.end());
    code.push_back(shader.main_method);
    std::unordered_set<std::string_view> names = texts_below(code);
    names.insert(std::string_view());

    // The lent entries named, in the order in which declaring every one would meet them: by
    // block, then by the lender's rank, then by place.
    // A line of lenders ranks each in constant time; other shapes walk the lenders once.
    std::vector<size_t> ranks;
    auto rank_of = [&](size_t lender) {
        if (unit_.lends_in_line(position))
            return unit_.lending_rank(position, lender);
        if (ranks.empty()) {
            ranks.assign(size_t(unit_.shader_count()), SIZE_MAX);
            std::vector<size_t> lending = unit_.lending_positions(position);
            for (size_t rank = 0; rank < lending.size(); ++rank)
                ranks[lending[rank]] = rank;
        }
        return ranks[lender];
    };
    std::vector<std::tuple<int32_t, size_t, size_t, size_t>> chosen;  // block, rank, place, lender
    for (std::string_view name : names) {
        auto found = lendable_.find(std::string(name));
        if (found == lendable_.end())
            continue;
        for (const Lendable& entry : found->second)
            if (size_t rank = entry.shader == position ? SIZE_MAX : rank_of(entry.shader); rank != SIZE_MAX)
                chosen.emplace_back(entry.block, rank, entry.index, entry.shader);
    }
    std::sort(chosen.begin(), chosen.end());
    chosen.erase(std::unique(chosen.begin(), chosen.end()), chosen.end());
    for (const auto& [block, rank, index, lender] : chosen) {
        const Shader_declaration& from = *unit_.shader_at(int32_t(lender));
        const std::vector<St_node*>* blocks[4] = {&from.input_variables, &from.output_variables,
                                                  &from.member_variables, &from.methods};
        lists[block].push_back((*blocks[block])[index]);
    }
}

void Tree_traverser_semantic_pass::declare_global_variables(St_node* declaration, bool foreign)
{
    if (foreign)
        ++foreign_;
    St_node* specifier = declaration_type_specifier(*declaration);
    int32_t base = specifier ? resolve_type(specifier, 1, false) : -1;
    const St_node* list = declaration->find_child(NODE_INIT_IDENTIFIER_LIST);
    for (St_node* name = list ? list->first_child : nullptr; name; name = name->next_sibling) {
        if (name->kind != NODE_INIT_IDENTIFIER)
            continue;
        declare_local(name, name_type(base, *name));
    }
    if (foreign)
        --foreign_;
}

int32_t Tree_traverser_semantic_pass::name_type(int32_t base, const St_node& name)
{
    uint32_t array_size = declared_array_size(name, foreign_ ? nullptr : &unit_);
    if (base < 0 || array_size == 1)
        return base;
    return unit_.find_type(std::string(unit_.type_name(base)), array_size);
}

void Tree_traverser_semantic_pass::check_initializers(St_node* declaration)
{
    St_node* specifier = declaration_type_specifier(*declaration);
    St_node* list = declaration->find_child(NODE_INIT_IDENTIFIER_LIST);
    for (St_node* name = list ? list->first_child : nullptr; name; name = name->next_sibling)
        if (name->kind == NODE_INIT_IDENTIFIER)
            initialize(name, specifier, name->type_index);
}

void Tree_traverser_semantic_pass::declare_function_header(St_node* declaration, const std::string& name,
                                                           bool foreign)
{
    if (!declaration)
        return;
    if (foreign)
        ++foreign_;
    Overload_entry entry = header_entry(declaration);
    if (foreign)
        --foreign_;

    // A prototype and its definition, or a declaration repeated, are one function: a second
    // entry would make every converted call ambiguous.
    Overload_candidates existing = scope_->candidates(name);
    for (const Overload_set* part : existing.parts)
        if (part)
            for (const Overload_entry& other : *part)
                if (same_signature(other, entry))
                    return;
    entry.id = next_function_id_++;
    scope_->function_set(name).push_back(std::move(entry));
}

Overload_entry Tree_traverser_semantic_pass::header_entry(St_node* declaration)
{
    Overload_entry entry;
    entry.declaration = declaration;
    St_node* result = type_specifier_child(*declaration);
    entry.result_type = result ? resolve_type(result, 1, false) : -1;
    set_type(declaration, entry.result_type);
    const St_node* parameters = declaration->find_child(NODE_FUNCTION_PARAMETER_LIST);
    // Sized once: the prelude alone declares some 850 of these at every start.
    size_t parameter_count = 0;
    for (const St_node* p = parameters ? parameters->first_child : nullptr; p; p = p->next_sibling)
        parameter_count += p->kind == NODE_FUNCTION_PARAMETER;
    entry.parameter_types.reserve(parameter_count);
    entry.by_reference.reserve(parameter_count);
    for (St_node* parameter = parameters ? parameters->first_child : nullptr; parameter;
         parameter = parameter->next_sibling) {
        if (parameter->kind != NODE_FUNCTION_PARAMETER)
            continue;
        uint32_t array_size = declared_array_size(*parameter, foreign_ ? nullptr : &unit_);
        St_node* specifier = type_specifier_child(*parameter);
        int32_t type = specifier ? resolve_type(specifier, array_size, true) : -1;
        set_type(parameter, type);
        entry.parameter_types.push_back(type);
        entry.by_reference.push_back(is_by_reference(*parameter) ? 1 : 0);
    }
    return entry;
}

void Tree_traverser_semantic_pass::walk_function(St_node* definition)
{
    St_node* declaration = definition->find_child(NODE_FUNCTION_DECLARATION);
    St_node* body = definition->find_child(NODE_STATEMENT_BLOCK);
    if (!declaration)
        return;
    const St_node* parameters = declaration->find_child(NODE_FUNCTION_PARAMETER_LIST);

    size_t scopes_before = scopes_in_use_;
    Scope* scope_before = scope_;
    if (current_class_) {
        for (const St_node* p = parameters ? parameters->first_child : nullptr; p; p = p->next_sibling) {
            const St_node* specifier = type_specifier_child(*p);
            if (specifier && type_specifier_name(*specifier) == "State") {
                declare_state_variables();
                break;
            }
        }
    }
    push_scope();
    for (St_node* p = parameters ? parameters->first_child : nullptr; p; p = p->next_sibling)
        if (p->kind == NODE_FUNCTION_PARAMETER && !scope_->declare_variable(p->text_view(), p->type_index))
            report(*p, 22, p->text_view());

    St_node* saved_function = current_function_;
    int32_t saved_return = current_return_type_;
    std::string saved_name = std::move(current_function_name_);
    current_function_ = definition;
    current_return_type_ = declaration->type_index;
    current_function_name_ = declarator_name(declaration, true);

    if (body) {
        body = visit_child(definition, body);
        // void is type index 0; an unknown return type stays quiet.
        if (current_return_type_ > 0 && !always_return(body))
            report(*definition, 46, current_function_name_);
    }

    current_function_ = saved_function;
    current_return_type_ = saved_return;
    current_function_name_ = std::move(saved_name);
    while (scopes_in_use_ > scopes_before)
        pop_scope();
    scope_ = scope_before;
}

void Tree_traverser_semantic_pass::declare_state_variables()
{
    Scope* scope = push_scope();
    for (int32_t i = 0; i < STATE_VARIABLE_COUNT; ++i)
        scope->declare_variable(state_variable_table[i].name, state_variable_type(i));
}

// ------------------------------------------------------------------------------------------
// Scopes, types, reporting
// ------------------------------------------------------------------------------------------

Scope* Tree_traverser_semantic_pass::push_scope()
{
    if (scopes_in_use_ == scope_pool_.size())
        scope_pool_.push_back(std::make_unique<Scope>());
    Scope* scope = scope_pool_[scopes_in_use_++].get();
    scope->reset(scope_);
    scope_ = scope;
    return scope;
}

void Tree_traverser_semantic_pass::pop_scope()
{
    scope_ = scope_->parent();
    --scopes_in_use_;
}

void Tree_traverser_semantic_pass::report(const St_node& node, uint32_t number, std::string_view text, int32_t value)
{
    if (!foreign_)
        unit_.add_error(node, number, text, value);
}

void Tree_traverser_semantic_pass::set_type(St_node* node, int32_t type_index)
{
    if (!foreign_)
        node->type_index = type_index;
}

std::string Tree_traverser_semantic_pass::class_name() const
{
    return current_class_ ? current_class_->name : std::string();
}

int32_t Tree_traverser_semantic_pass::resolve_type(St_node* specifier, uint32_t array_size, bool parameter)
{
    std::string name = type_specifier_name(*specifier);
    int32_t type = resolve_type_name(unit_, name, array_size, class_name());
    // The state parameter of generated functions has a type of its own that no table holds.
    if (type < 0 && !(parameter && name == "State"))
        report(*specifier, 4, name);
    if (array_size == 1)
        set_type(specifier, type);
    return type;
}

int32_t Tree_traverser_semantic_pass::state_variable_type(int32_t index)
{
    if (index < 0 || index >= STATE_VARIABLE_COUNT)
        return -1;
    int32_t& cached = state_variable_types_[index];
    if (cached == NOT_COMPUTED) {
        const State_entry& entry = state_variable_table[index];
        const char* word = language_word(entry.code);
        bool typed = !(entry.code == TYPE_ILLEGAL && entry.array_size == 0) && word;
        cached = typed ? unit_.find_type(word, entry.array_size) : -1;
    }
    return cached;
}

int32_t Tree_traverser_semantic_pass::state_function_type(int32_t index)
{
    if (index < 0 || index >= STATE_FUNCTION_COUNT)
        return -1;
    int32_t& cached = state_function_types_[index];
    if (cached == NOT_COMPUTED) {
        const State_entry& entry = state_function_table[index];
        const char* word = language_word(entry.code);
        bool typed = !(entry.code == TYPE_ILLEGAL && entry.array_size == 0) && word;
        cached = typed ? unit_.find_type(word, entry.array_size) : -1;
    }
    return cached;
}

void Tree_traverser_semantic_pass::depth_exceeded(St_node* node)
{
    if (!depth_reported_)
        report(*node, 74, "expression nested too deeply");
    depth_reported_ = true;
}

// ------------------------------------------------------------------------------------------
// Statements
// ------------------------------------------------------------------------------------------

St_node* Tree_traverser_semantic_pass::visit_default(St_node* node)
{
    for (St_node* child = node->first_child; child; child = child->next_sibling)
        child = visit_statement(node, child);
    return nullptr;
}

St_node* Tree_traverser_semantic_pass::visit_statement(St_node* parent, St_node* child)
{
    if (is_expression_kind(child->kind))
        return visit_expression(parent, child);
    return visit_child(parent, child);
}

St_node* Tree_traverser_semantic_pass::visit_statement_block(St_node* node)
{
    push_scope();
    visit_default(node);
    pop_scope();
    return nullptr;
}

// if (expression) statement [else statement]
St_node* Tree_traverser_semantic_pass::visit_condition_statement(St_node* node)
{
    push_scope();
    if (St_node* test = node->first_child) {
        test = visit_expression(node, test);
        for (St_node* branch = test->next_sibling; branch; branch = branch->next_sibling)
            branch = visit_statement(node, branch);
    }
    pop_scope();
    return nullptr;
}

// CONDITION "expression" { expression } or "declaration" { type, IDENTIFIER, expression }
St_node* Tree_traverser_semantic_pass::visit_condition(St_node* node)
{
    if (node->text_view() != "declaration") {
        if (node->first_child)
            visit_expression(node, node->first_child);
        return nullptr;
    }
    St_node* specifier = node->first_child;
    St_node* name = specifier ? specifier->next_sibling : nullptr;
    if (!specifier || !name)
        return nullptr;
    int32_t type = resolve_type(specifier, 1, false);
    declare_local(name, type);
    if (St_node* value = name->next_sibling) {
        int32_t saved_type = declared_type_;
        const St_node* saved_name = declared_name_;
        declared_type_ = type;
        declared_name_ = name;
        value = visit_expression(node, value);
        declared_type_ = saved_type;
        declared_name_ = saved_name;
        check_initialization(name, type, value);
    }
    return nullptr;
}

St_node* Tree_traverser_semantic_pass::visit_expression_statement(St_node* node)
{
    if (node->first_child)
        visit_expression(node, node->first_child);
    return nullptr;
}

// do statement while (expression);
St_node* Tree_traverser_semantic_pass::visit_do_statement(St_node* node)
{
    push_scope();
    if (St_node* body = node->first_child) {
        body = visit_statement(node, body);
        if (St_node* test = body->next_sibling)
            visit_expression(node, test);
    }
    pop_scope();
    return nullptr;
}

// while (condition) statement
St_node* Tree_traverser_semantic_pass::visit_while_statement(St_node* node)
{
    push_scope();
    visit_default(node);
    pop_scope();
    return nullptr;
}

// for ([FOR_INIT] ; [FOR_CONDITION] ; [FOR_EXPRESSION]) statement
St_node* Tree_traverser_semantic_pass::visit_for_statement(St_node* node)
{
    push_scope();
    visit_default(node);
    pop_scope();
    return nullptr;
}

St_node* Tree_traverser_semantic_pass::visit_for_expression(St_node* node)
{
    if (node->first_child)
        visit_expression(node, node->first_child);
    return nullptr;
}

// foreach (expression) statement: the loop's kind comes from the iterator's type.
St_node* Tree_traverser_semantic_pass::visit_foreach_statement(St_node* node)
{
    St_node* iterator = node->first_child;
    if (!iterator)
        return nullptr;
    iterator = visit_expression(node, iterator);
    std::string_view type_name = unit_.type_name(iterator->type_index);
    if (current_class_ && unit_.type_at(iterator->type_index) && !unit_.type_at(iterator->type_index)->is_array()) {
        if (type_name == "Light_iterator") {
            current_class_->uses_lights = true;
            node->set_text("light");
        } else if (type_name == "Sample_iterator") {
            node->set_text("sample");
        }
    }
    for (St_node* body = iterator->next_sibling; body; body = body->next_sibling)
        body = visit_statement(node, body);
    return nullptr;
}

// return [expression]; break; continue;
St_node* Tree_traverser_semantic_pass::visit_jump_statement(St_node* node)
{
    St_node* value = node->first_child;
    if (value)
        value = visit_expression(node, value);
    if (node->text_view() != "return" || !current_function_)
        return nullptr;
    int32_t expected = current_return_type_;
    if (value) {
        int32_t given = value->type_index;
        if (expected == 0)
            report(*node, 43, current_function_name_);
        else if (expected > 0 && given >= 0 && given != expected &&
                 !convertible(unit_.type_at(given), unit_.type_at(expected)))
            report(*node, 45, current_function_name_);
    } else if (expected > 0) {
        report(*node, 44, current_function_name_);
    }
    return nullptr;
}

St_node* Tree_traverser_semantic_pass::visit_switch_statement(St_node* node)
{
    push_scope();
    if (St_node* test = node->first_child) {
        test = visit_expression(node, test);
        for (St_node* label = test->next_sibling; label; label = label->next_sibling)
            label = visit_statement(node, label);
    }
    pop_scope();
    return nullptr;
}

// case constant: block
St_node* Tree_traverser_semantic_pass::visit_switch_case(St_node* node)
{
    if (St_node* constant = node->first_child) {
        constant = visit_expression(node, constant);
        for (St_node* block = constant->next_sibling; block; block = block->next_sibling)
            block = visit_statement(node, block);
    }
    return nullptr;
}

St_node* Tree_traverser_semantic_pass::visit_switch_default(St_node* node)
{
    return visit_default(node);
}

St_node* Tree_traverser_semantic_pass::visit_variable_declaration(St_node* node)
{
    St_node* specifier = declaration_type_specifier(*node);
    int32_t base = specifier ? resolve_type(specifier, 1, false) : -1;
    St_node* list = node->find_child(NODE_INIT_IDENTIFIER_LIST);
    for (St_node* name = list ? list->first_child : nullptr; name; name = name->next_sibling) {
        if (name->kind != NODE_INIT_IDENTIFIER)
            continue;
        int32_t type = name_type(base, *name);
        declare_local(name, type);
        initialize(name, specifier, type);
    }
    return nullptr;
}

St_node* Tree_traverser_semantic_pass::visit_annotation_block(St_node*)
{
    // Annotation calls name no function.
    return nullptr;
}

St_node* Tree_traverser_semantic_pass::visit_no_op(St_node*)
{
    return nullptr;
}

bool Tree_traverser_semantic_pass::always_return(const St_node* node)
{
    // Every node on the work list must return; branches are pushed, not recursed into.
    std::vector<const St_node*> work{node};
    while (!work.empty()) {
        const St_node* n = work.back();
        work.pop_back();
        if (!n)
            return false;
        switch (n->kind) {
        case NODE_STATEMENT_BLOCK: {
            const St_node* last = n->first_child;
            if (!last)
                return false;
            while (last->next_sibling)
                last = last->next_sibling;
            work.push_back(last);
            break;
        }
        case NODE_CONDITION_STATEMENT:
            // An if without else counts when its then-branch returns.
            work.push_back(n->child(1));
            if (const St_node* otherwise = n->child(2))
                work.push_back(otherwise);
            break;
        case NODE_SWITCH_STATEMENT: {
            bool has_default = false;
            for (const St_node* label = n->first_child ? n->first_child->next_sibling : nullptr; label;
                 label = label->next_sibling) {
                if (label->kind != NODE_SWITCH_CASE && label->kind != NODE_SWITCH_DEFAULT)
                    continue;
                has_default = has_default || label->kind == NODE_SWITCH_DEFAULT;
                work.push_back(label->find_child(NODE_STATEMENT_BLOCK));
            }
            if (!has_default)
                return false;
            break;
        }
        case NODE_JUMP_STATEMENT:
            if (n->text_view() != "return")
                return false;
            break;
        default:
            return false;
        }
    }
    return true;
}

// ------------------------------------------------------------------------------------------
// Declarations and initializers
// ------------------------------------------------------------------------------------------

void Tree_traverser_semantic_pass::declare_local(St_node* name, int32_t type)
{
    if (!scope_->declare_variable(name->text_view(), type))
        report(*name, 22, name->text_view());
    set_type(name, type);
}

void Tree_traverser_semantic_pass::initialize(St_node* declarator, const St_node* type_specifier, int32_t type)
{
    St_node* value = initializer_of(*declarator);
    if (!value)
        return;
    // Type x(a, b) means Type x = Type(a, b).
    if (value->kind == NODE_FUNCTION_CALL_PARAMETERS && type_specifier) {
        Node_arena* arena = Node_arena::of(declarator);
        St_node* call = new (arena) St_node(NODE_CONSTRUCTOR_CALL_EXPRESSION, value->file, value->line, value->column,
                                            nullptr, 0, value->extra_position);
        declarator->replace_child(value, call);
        call->add_child(type_specifier->clone(arena));
        call->add_child(value);
        value = call;
    }
    int32_t saved_type = declared_type_;
    const St_node* saved_name = declared_name_;
    declared_type_ = type;
    declared_name_ = declarator;
    value = visit_expression(declarator, value);
    declared_type_ = saved_type;
    declared_name_ = saved_name;
    check_initialization(declarator, type, value);
}

// An initializer is an assignment to the new variable: equal or convertible types pass, then
// the assignment rule, then operator=.
void Tree_traverser_semantic_pass::check_initialization(St_node* declarator, int32_t declared,
                                                        const St_node* initializer)
{
    int32_t given = child_type(initializer);
    if (declared < 0 || given < 0 || initializer->kind == NODE_ARRAY_INITIALIZER)
        return;
    if (given == declared || convertible(unit_.type_at(given), unit_.type_at(declared)))
        return;
    if (assignment_result(declared, given) >= 0)
        return;
    int32_t saved = declarator->type_index;
    call_operator(declarator, "operator=", {declared, given});
    declarator->type_index = saved;
}

// ------------------------------------------------------------------------------------------
// Expressions
// ------------------------------------------------------------------------------------------

St_node* Tree_traverser_semantic_pass::visit_expression(St_node* parent, St_node* child)
{
    if (!is_expression_kind(child->kind) && child->kind != NODE_ARRAY_INITIALIZER) {
        if (LOG::mod_log)
            LOG::mod_log->error(SYSTEM::MODULE_SYNT, LOG::CAT_PLUG, 1,
                                "unexpected node type in traverse_expression: %s (file '%s' line %d)",
                                St_node::kind_name(child->kind), child->file_name(), child->line);
        return child;
    }
    return visit_child(parent, child);
}

bool Tree_traverser_semantic_pass::type_operands(St_node* node, std::vector<int32_t>& types)
{
    bool known = true;
    for (St_node* child = node->first_child; child; child = child->next_sibling) {
        child = visit_expression(node, child);
        types.push_back(child->type_index);
        known = known && child->type_index >= 0;
    }
    return known;
}

bool Tree_traverser_semantic_pass::call_arguments(St_node* call, std::vector<int32_t>& types)
{
    St_node* arguments = call->find_child(NODE_FUNCTION_CALL_PARAMETERS);
    return arguments ? type_operands(arguments, types) : true;
}

St_node* Tree_traverser_semantic_pass::visit_int_constant(St_node* node)
{
    set_type(node, TYPE_INT32);
    return nullptr;
}

St_node* Tree_traverser_semantic_pass::visit_hex_constant(St_node* node)
{
    set_type(node, TYPE_INT32);
    return nullptr;
}

St_node* Tree_traverser_semantic_pass::visit_oct_constant(St_node* node)
{
    set_type(node, TYPE_INT32);
    return nullptr;
}

St_node* Tree_traverser_semantic_pass::visit_float_constant(St_node* node)
{
    set_type(node, TYPE_SCALAR);
    return nullptr;
}

St_node* Tree_traverser_semantic_pass::visit_bool_constant(St_node* node)
{
    set_type(node, TYPE_BOOLEAN);
    return nullptr;
}

St_node* Tree_traverser_semantic_pass::visit_string_constant(St_node* node)
{
    set_type(node, TYPE_STRING);
    return nullptr;
}

St_node* Tree_traverser_semantic_pass::visit_expression_list(St_node* node)
{
    std::vector<int32_t> types;
    type_operands(node, types);
    set_type(node, types.empty() ? TYPE_ILLEGAL : types.back());
    return nullptr;
}

St_node* Tree_traverser_semantic_pass::visit_assignment_expression(St_node* node)
{
    std::vector<int32_t> types;
    set_type(node, -1);
    if (!type_operands(node, types) || types.size() != 2)
        return nullptr;
    int32_t result = assignment_result(types[0], types[1]);
    if (result >= 0)
        set_type(node, result);
    else
        call_operator(node, "operator" + std::string(node->text_view()), types);
    if (node->type_index >= 0 && !is_assignable(node->first_child))
        report(*node, 70, "operator" + std::string(node->text_view()), 1);
    return nullptr;
}

namespace {

// Whether evaluating an expression can change anything: a call, a step or an assignment.
bool has_side_effect(const St_node* expression)
{
    std::vector<const St_node*> pending{expression};
    while (!pending.empty()) {
        const St_node* node = pending.back();
        pending.pop_back();
        if (!node)
            continue;
        switch (node->kind) {
        case NODE_PRE_INCREMENT_EXPRESSION:
        case NODE_PRE_DECREMENT_EXPRESSION:
        case NODE_POST_INCREMENT_EXPRESSION:
        case NODE_POST_DECREMENT_EXPRESSION:
        case NODE_FUNCTION_CALL_EXPRESSION:
        case NODE_METHOD_CALL_EXPRESSION:
        case NODE_ASSIGNMENT_EXPRESSION:
            return true;
        default:
            break;
        }
        for (const St_node* child = node->first_child; child; child = child->next_sibling)
            pending.push_back(child);
    }
    return false;
}

}  // namespace

// Whether a place can be written: a variable, a state variable, a member, element or
// non-repeating swizzle of one, or the left side of another assignment whose place has no side
// effect (a = b = c is read as (a = b) = c). Targets refuse writes to anything else, so the
// check belongs here.
bool Tree_traverser_semantic_pass::is_assignable(const St_node* node) const
{
    int32_t type_found = -1;
    while (node) {
        switch (node->kind) {
        case NODE_VARIABLE_ID:
            return scope_->find_variable(node->text_view(), &type_found);
        case NODE_STATE_VARIABLE_REFERENCE:
            return true;
        case NODE_ARRAY_INDEX_EXPRESSION:
            node = node->first_child;
            break;
        // Targets write the inner place twice, so finding it must not change anything.
        case NODE_ASSIGNMENT_EXPRESSION:
            node = node->first_child;
            while (node && node->kind == NODE_ASSIGNMENT_EXPRESSION)
                node = node->first_child;
            if (has_side_effect(node))
                return false;
            break;
        case NODE_CLASS_MEMBER_REF_EXPRESSION: {
            const St_node* object = node->first_child;
            const St_node* selector = object ? object->next_sibling : nullptr;
            if (!selector || selector->kind != NODE_MEMBER_VARIABLE_ID)
                return false;
            const Type* type = object ? unit_.type_at(object->type_index) : nullptr;
            if (type && !type->is_array() && (type->is_vector() || type->is_scalar())) {
                std::string_view letters = selector->text_view();
                for (size_t i = 0; i < letters.size(); ++i)
                    if (letters.find(letters[i], i + 1) != std::string_view::npos)
                        return false;
            }
            node = object;
            break;
        }
        default:
            return false;
        }
    }
    return false;
}

// A scalar spreads over a vector or matrix, Scalar takes Int and Bool, and vectors of one
// width take each other. Equal types are not the rule's business: operator= decides.
int32_t Tree_traverser_semantic_pass::assignment_result(int32_t left, int32_t right) const
{
    const Type* l = unit_.type_at(left);
    const Type* r = unit_.type_at(right);
    if (left == right || !l || !r || l->is_array() || r->is_array())
        return -1;
    if (r->is_scalar() && (l->is_vector() || l->is_matrix()))
        return left;
    if (l->code() == TYPE_SCALAR && (r->code() == TYPE_INT32 || r->code() == TYPE_BOOLEAN))
        return left;
    if (l->is_vector() && r->is_vector() && l->component_count() == r->component_count())
        return left;
    return -1;
}

// test ? a : b
St_node* Tree_traverser_semantic_pass::visit_conditional_expression(St_node* node)
{
    std::vector<int32_t> types;
    type_operands(node, types);
    int32_t result = -1;
    if (types.size() == 3) {
        const Type* a = unit_.type_at(types[1]);
        const Type* b = unit_.type_at(types[2]);
        auto numeric = [](const Type* t) {
            return t && !t->is_array() && (t->code() == TYPE_INT32 || t->code() == TYPE_SCALAR);
        };
        if (types[1] == types[2])
            result = types[1];
        else if (numeric(a) && numeric(b))
            result = TYPE_SCALAR;
    }
    set_type(node, result);
    return nullptr;
}

St_node* Tree_traverser_semantic_pass::visit_or_expression(St_node* node)
{
    binary_operator(node, true, false);
    return nullptr;
}

St_node* Tree_traverser_semantic_pass::visit_xor_expression(St_node* node)
{
    binary_operator(node, true, false);
    return nullptr;
}

St_node* Tree_traverser_semantic_pass::visit_and_expression(St_node* node)
{
    binary_operator(node, true, false);
    return nullptr;
}

St_node* Tree_traverser_semantic_pass::visit_equality_expression(St_node* node)
{
    binary_operator(node, false, true);
    return nullptr;
}

St_node* Tree_traverser_semantic_pass::visit_relational_expression(St_node* node)
{
    binary_operator(node, true, false);
    return nullptr;
}

St_node* Tree_traverser_semantic_pass::visit_additive_expression(St_node* node)
{
    binary_operator(node, false, false);
    return nullptr;
}

St_node* Tree_traverser_semantic_pass::visit_multiplicative_expression(St_node* node)
{
    binary_operator(node, false, false);
    return nullptr;
}

void Tree_traverser_semantic_pass::binary_operator(St_node* node, bool logic_rule, bool equality_rule)
{
    std::vector<int32_t> types;
    set_type(node, -1);
    if (!type_operands(node, types))
        return;
    if (logic_rule && types.size() == 2) {
        int32_t result = logic_result(types[0], types[1]);
        if (result >= 0) {
            set_type(node, result);
            return;
        }
    }
    if (equality_rule && types.size() == 2 && types[0] == types[1]) {
        set_type(node, equality_result(types[0]));
        return;
    }
    call_operator(node, "operator" + std::string(node->text_view()), types);
}

// Comparisons and logic work component by component; a scalar spreads over the other side.
int32_t Tree_traverser_semantic_pass::logic_result(int32_t left, int32_t right) const
{
    const Type* l = unit_.type_at(left);
    const Type* r = unit_.type_at(right);
    auto simple = [](const Type* t) { return t && !t->is_array() && (t->is_vector() || t->is_scalar()); };
    if (!simple(l) || !simple(r))
        return -1;
    uint32_t a = l->component_count();
    uint32_t b = r->component_count();
    uint32_t n = a == b ? a : a == 1 ? b : b == 1 ? a : 0;
    if (n < 1 || n > 4)
        return -1;
    return vector_code(TYPE_BOOLEAN, n);
}

int32_t Tree_traverser_semantic_pass::equality_result(int32_t type) const
{
    switch (unit_.type_at(type)->code()) {
    case TYPE_VECTOR2:
    case TYPE_VECTOR2I:
    case TYPE_VECTOR2B:
        return TYPE_VECTOR2B;
    case TYPE_VECTOR3:
    case TYPE_VECTOR3I:
    case TYPE_VECTOR3B:
        return TYPE_VECTOR3B;
    case TYPE_VECTOR4:
    case TYPE_COLOR:
    case TYPE_VECTOR4I:
    case TYPE_VECTOR4B:
        return TYPE_VECTOR4B;
    default:
        // Structs and strings included.
        return TYPE_BOOLEAN;
    }
}

void Tree_traverser_semantic_pass::step_operator(St_node* node)
{
    std::vector<int32_t> types;
    set_type(node, -1);
    if (!type_operands(node, types))
        return;
    call_operator(node, "operator" + std::string(node->text_view()), types);
    if (node->type_index >= 0 && !is_assignable(node->first_child))
        report(*node, 70, "operator" + std::string(node->text_view()), 0);
}

St_node* Tree_traverser_semantic_pass::visit_pre_increment_expression(St_node* node)
{
    step_operator(node);
    return nullptr;
}

St_node* Tree_traverser_semantic_pass::visit_pre_decrement_expression(St_node* node)
{
    step_operator(node);
    return nullptr;
}

St_node* Tree_traverser_semantic_pass::visit_post_increment_expression(St_node* node)
{
    step_operator(node);
    return nullptr;
}

St_node* Tree_traverser_semantic_pass::visit_post_decrement_expression(St_node* node)
{
    step_operator(node);
    return nullptr;
}

void Tree_traverser_semantic_pass::call_operator(St_node* node, const std::string& name,
                                                 const std::vector<int32_t>& types)
{
    const Overload_entry* chosen = nullptr;
    int32_t result = find_function(*scope_, unit_, name, types, true, &chosen);
    if (result >= 0 && chosen) {
        set_type(node, chosen->result_type);
        return;
    }
    set_type(node, -1);
    report(*node, result == OVERLOAD_UNKNOWN_NAME ? 11 : result == OVERLOAD_AMBIGUOUS ? 14 : 13, name);
}

// Any operator: the operand's type; no operator is searched.
St_node* Tree_traverser_semantic_pass::visit_unary_expression(St_node* node)
{
    std::vector<int32_t> types;
    type_operands(node, types);
    set_type(node, types.size() == 1 ? types[0] : -1);
    return nullptr;
}

// (type) operand: no check that the cast can be made.
St_node* Tree_traverser_semantic_pass::visit_cast_expression(St_node* node)
{
    St_node* specifier = node->first_child;
    if (!specifier)
        return nullptr;
    for (St_node* operand = specifier->next_sibling; operand; operand = operand->next_sibling)
        operand = visit_expression(node, operand);
    set_type(node, resolve_type(specifier, 1, false));
    return nullptr;
}

// ------------------------------------------------------------------------------------------
// Names, members, indices
// ------------------------------------------------------------------------------------------

St_node* Tree_traverser_semantic_pass::visit_variable_id(St_node* node)
{
    std::string name(node->text_view());
    int32_t type = -1;
    if (scope_->find_variable(node->text_view(), &type)) {
        set_type(node, type);
        return nullptr;
    }
    // Not a variable: an enum value, at file level or of the current class.
    Enum_value value;
    bool found = unit_.find_enum_value(name, &value);
    if (!found && current_class_) {
        std::string scoped = current_class_->name + "::" + name;
        found = unit_.find_enum_value(scoped, &value);
        if (found)
            node->set_text(scoped);
    }
    if (found) {
        const Enum_type* owner = unit_.enum_at(value.enum_position);
        set_type(node, owner && owner->name() ? unit_.find_type(owner->name()) : TYPE_INT32);
        return nullptr;
    }
    set_type(node, -1);
    report(*node, 7, name);
    return nullptr;
}

St_node* Tree_traverser_semantic_pass::visit_state_variable_reference(St_node* node)
{
    set_type(node, state_variable_type(reference_index(*node)));
    return nullptr;
}

St_node* Tree_traverser_semantic_pass::visit_state_function_reference(St_node* node)
{
    std::vector<int32_t> types;
    call_arguments(node, types);
    set_type(node, state_function_type(reference_index(*node)));
    return nullptr;
}

// object . selector
St_node* Tree_traverser_semantic_pass::visit_class_member_ref_expression(St_node* node)
{
    set_type(node, -1);
    St_node* object = node->first_child;
    if (!object)
        return nullptr;
    object = visit_expression(node, object);
    St_node* selector = object->next_sibling;
    std::vector<int32_t> arguments;
    bool arguments_known = true;
    if (selector && selector->kind == NODE_FUNCTION_CALL_EXPRESSION)
        arguments_known = call_arguments(selector, arguments);

    // Leftmost in the chain must hold a value; an inner member access has judged its own.
    const St_node* leftmost = object;
    while (leftmost->kind == NODE_ARRAY_INDEX_EXPRESSION && leftmost->first_child)
        leftmost = leftmost->first_child;
    if (leftmost->kind != NODE_CLASS_MEMBER_REF_EXPRESSION && !is_object_kind(leftmost->kind)) {
        report(*node, 5);
        return nullptr;
    }
    if (object->type_index < 0 || !selector)
        return nullptr;
    if (selector->kind == NODE_MEMBER_VARIABLE_ID) {
        member_access(node, object->type_index, selector);
    } else if (selector->kind == NODE_FUNCTION_CALL_EXPRESSION) {
        // No type of the language has methods: structs may not declare them.
        if (arguments_known)
            report(*selector, 11, selector->text_view());
    }
    return nullptr;
}

void Tree_traverser_semantic_pass::member_access(St_node* node, int32_t object_type, St_node* selector)
{
    const Type& type = *unit_.type_at(object_type);
    std::string_view name = selector->text_view();
    int32_t result = swizzle(type, name);
    if (result == NOT_COMPUTED) {
        result = -1;
        if (type.is_array()) {
            if (name == "count")
                result = TYPE_INT32;
        } else if (type.is_struct()) {
            if (const Type* member = type.find_member(std::string(name).c_str())) {
                set_type(selector, unit_.find_type(member->type_name_text(), member->array_size()));
                set_type(node, selector->type_index);
                return;
            }
        }
    }
    if (result < 0) {
        report(*selector, 6, name);
        return;
    }
    set_type(selector, result);
    set_type(node, result);
}

// The type of a swizzle, -1 for a bad selector, NOT_COMPUTED for a type that has none.
int32_t Tree_traverser_semantic_pass::swizzle(const Type& type, std::string_view selector) const
{
    uint8_t code = type.code();
    bool swizzled = code == TYPE_BOOLEAN || code == TYPE_INT32 || code == TYPE_SCALAR || code == TYPE_VECTOR2 ||
                    code == TYPE_VECTOR3 || code == TYPE_VECTOR4 || code == TYPE_COLOR ||
                    (code >= TYPE_VECTOR2I && code <= TYPE_VECTOR4B);
    if (type.is_array() || !swizzled)
        return NOT_COMPUTED;
    if (selector.empty() || selector.size() > 4)
        return -1;
    static const std::string_view sets[] = {"xyzw", "rgba"};
    const std::string_view* letters = nullptr;
    for (const std::string_view& set : sets)
        if (set.find(selector[0]) != std::string_view::npos)
            letters = &set;
    if (!letters)
        return -1;
    for (char c : selector) {
        size_t position = letters->find(c);
        // One set only, and no component beyond the type's.
        if (position == std::string_view::npos || position + 1 > type.component_count())
            return -1;
    }
    uint8_t component = type_code_info(code).component_code;
    Type_code scalar = component == TYPE_BOOLEAN ? TYPE_BOOLEAN : component == TYPE_INT32 ? TYPE_INT32 : TYPE_SCALAR;
    return vector_code(scalar, uint32_t(selector.size()));
}

// array [ index ]
St_node* Tree_traverser_semantic_pass::visit_array_index_expression(St_node* node)
{
    set_type(node, -1);
    std::vector<int32_t> types;
    type_operands(node, types);
    const St_node* array = node->first_child;
    const St_node* index = array ? array->next_sibling : nullptr;
    const Type* type = unit_.type_at(array ? array->type_index : -1);
    if (!type || !index)
        return nullptr;
    if (type->is_array()) {
        if (is_constant_index(*index)) {
            int32_t value = index->int_value();
            if (value < 0) {
                report(*node, 19);
                return nullptr;
            }
            if (type->array_size() > 1 && uint32_t(value) >= type->array_size()) {
                report(*node, 20);
                return nullptr;
            }
        }
        set_type(node, unit_.find_type(std::string(unit_.type_name(array->type_index)), 1));
        return nullptr;
    }
    switch (type->code()) {
    case TYPE_VECTOR2:
    case TYPE_VECTOR3:
    case TYPE_VECTOR4:
        set_type(node, TYPE_SCALAR);
        return nullptr;
    case TYPE_VECTOR2I:
    case TYPE_VECTOR3I:
    case TYPE_VECTOR4I:
        set_type(node, TYPE_INT32);
        return nullptr;
    case TYPE_VECTOR2B:
    case TYPE_VECTOR3B:
    case TYPE_VECTOR4B:
        set_type(node, TYPE_BOOLEAN);
        return nullptr;
    case TYPE_MATRIX:
    case TYPE_MATRIX3X4:
    case TYPE_MATRIX2X4:
        set_type(node, TYPE_VECTOR4);
        return nullptr;
    case TYPE_MATRIX2X2:
    case TYPE_MATRIX3X2:
    case TYPE_MATRIX4X2:
        set_type(node, TYPE_VECTOR2);
        return nullptr;
    case TYPE_MATRIX2X3:
    case TYPE_MATRIX3X3:
    case TYPE_MATRIX4X3:
        set_type(node, TYPE_VECTOR3);
        return nullptr;
    default:
        // Color too: it has .r but no index.
        report(*node, 18);
        return nullptr;
    }
}

// ------------------------------------------------------------------------------------------
// Calls
// ------------------------------------------------------------------------------------------

St_node* Tree_traverser_semantic_pass::visit_function_call_expression(St_node* node)
{
    std::vector<int32_t> types;
    bool known = call_arguments(node, types);
    resolve_call(node, std::string(node->text_view()), types, !known);
    return nullptr;
}

St_node* Tree_traverser_semantic_pass::visit_method_call_expression(St_node* node)
{
    return visit_function_call_expression(node);
}

// type ( arguments )
St_node* Tree_traverser_semantic_pass::visit_constructor_call_expression(St_node* node)
{
    std::vector<int32_t> types;
    bool known = call_arguments(node, types);
    St_node* specifier = type_specifier_child(*node);
    if (!specifier) {
        set_type(node, -1);
        return nullptr;
    }
    resolve_call(node, type_specifier_name(*specifier), types, !known);
    if (node->type_index >= 0 && word_code(type_specifier_name(*specifier)) >= 0)
        set_type(specifier, node->type_index);
    return nullptr;
}

void Tree_traverser_semantic_pass::resolve_call(St_node* node, const std::string& name,
                                                const std::vector<int32_t>& types, bool silent)
{
    set_type(node, -1);
    // The built-in vector, scalar and matrix types construct by rule, not by prototype.
    int32_t code = word_code(name);
    if (code > 0 && (is_matrix(uint32_t(code)) || is_vector(uint32_t(code)) || is_scalar(uint32_t(code)))) {
        if (silent)
            return;
        bool fits = is_matrix(uint32_t(code)) ? matrix_constructor_fits(code, types)
                                              : vector_constructor_fits(code, types);
        if (fits)
            set_type(node, code);
        else
            report(*node, 13, name);
        return;
    }
    const Overload_entry* chosen = nullptr;
    int32_t result = find_function(*scope_, unit_, name, types, true, &chosen);
    if (result == OVERLOAD_UNKNOWN_NAME && current_class_) {
        std::string scoped = current_class_->name + "::" + name;
        int32_t retried = find_function(*scope_, unit_, scoped, types, true, &chosen);
        if (retried != OVERLOAD_UNKNOWN_NAME)
            result = retried;
        if (retried >= 0 && node->kind == NODE_FUNCTION_CALL_EXPRESSION)
            node->set_text(scoped);
    }
    if (result >= 0 && chosen) {
        set_type(node, chosen->result_type);
        // An out or inout argument is written back, so it must be a place.
        const St_node* arguments = node->find_child(NODE_FUNCTION_CALL_PARAMETERS);
        int32_t position = 0;
        for (const St_node* argument = arguments ? arguments->first_child : nullptr; argument;
             argument = argument->next_sibling, ++position)
            if (size_t(position) < chosen->by_reference.size() && chosen->by_reference[size_t(position)] &&
                !is_assignable(argument))
                report(*argument, 69, name, position + 1);
        return;
    }
    // An argument of unknown type has had its message.
    if (!silent)
        report(*node, result == OVERLOAD_UNKNOWN_NAME ? 11 : result == OVERLOAD_AMBIGUOUS ? 14 : 13, name);
}

// Vector, scalar and Color constructors: vector and scalar arguments whose components add up
// to the type's, or a single scalar that fills them all.
bool Tree_traverser_semantic_pass::vector_constructor_fits(int32_t type, const std::vector<int32_t>& types) const
{
    uint32_t sum = 0;
    for (int32_t argument : types) {
        const Type* t = unit_.type_at(argument);
        if (!t || t->is_array() || !(t->is_vector() || t->is_scalar()))
            return false;
        sum += t->component_count();
    }
    return sum == component_count(uint32_t(type)) || sum == 1;
}

// R rows by C columns: one scalar; one matrix at least as large; or rows in order, each made
// of whole vector and scalar arguments whose components add up to exactly C.
bool Tree_traverser_semantic_pass::matrix_constructor_fits(int32_t type, const std::vector<int32_t>& types) const
{
    uint32_t rows = 0;
    uint32_t columns = 0;
    if (!matrix_shape(uint32_t(type), &rows, &columns))
        return false;
    if (types.size() == 1) {
        const Type* t = unit_.type_at(types[0]);
        if (t && !t->is_array() && t->is_scalar())
            return true;
        uint32_t r = 0;
        uint32_t c = 0;
        if (t && !t->is_array() && matrix_shape(t->code(), &r, &c) && r >= rows && c >= columns)
            return true;
    }
    uint32_t filled_rows = 0;
    uint32_t filled = 0;
    for (int32_t argument : types) {
        const Type* t = unit_.type_at(argument);
        if (!t || t->is_array() || !(t->is_vector() || t->is_scalar()))
            return false;
        filled += t->component_count();
        if (filled > columns)
            return false;
        if (filled == columns) {
            ++filled_rows;
            filled = 0;
        }
    }
    return filled_rows == rows && filled == 0;
}

// { a, b, ... }: only as a declaration's initializer; every element of the first's type.
St_node* Tree_traverser_semantic_pass::visit_array_initializer(St_node* node)
{
    std::vector<int32_t> types;
    set_type(node, -1);
    bool known = type_operands(node, types);
    if (!declared_name_) {
        report(*node, 30);
        return nullptr;
    }
    if (types.empty() || types[0] < 0)
        return nullptr;
    bool matched = true;
    for (size_t i = 1; i < types.size(); ++i) {
        if (types[i] >= 0 && types[i] != types[0]) {
            report(*node->child(int32_t(i)), 27, declared_name_->text_view(), int32_t(i));
            matched = false;
        }
    }
    if (matched && known)
        set_type(node, unit_.find_type(std::string(unit_.type_name(types[0])), uint32_t(types.size())));
    return nullptr;
}

}  // namespace SYNTAX_TREE
}  // namespace QZ
