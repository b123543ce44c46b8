// The semantic pass: gives every expression its type index, resolves names and overloads, and
// checks statements. Runs after the prepass and the shader links.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <unordered_map>
#include <vector>

#include "syntax_tree/scope.h"
#include "syntax_tree/state_tables.h"
#include "syntax_tree/tree_traverser.h"

namespace QZ {
namespace SYNTAX_TREE {

class Compilation_unit;
struct Shader_declaration;

class Tree_traverser_semantic_pass : public Tree_traverser_base {
public:
    // Which sweep runs: declarations (globals, function headers) or bodies.
    enum Mode : int32_t { MODE_BODIES = 0, MODE_DECLARATIONS = 2 };

    explicit Tree_traverser_semantic_pass(Compilation_unit& unit);
    ~Tree_traverser_semantic_pass() override;

    // A declaration list to see after the prelude and before the imports and the unit's own:
    // its globals and functions are declared; nothing in it is changed or checked.
    void add_declaration_list(const St_node* list);

    // Sweep 1 over every list, then sweep 2 over the unit's, then each shader in turn.
    void run();

    // Sweep 1 alone over list, which is only read and whose faults are not reported, then the
    // unit's named types enter its type table: what the prelude's symbols must equal, though
    // they are learnt a name at a time.
    void declare_only(const St_node* list);
    // The same sweep without the function headers, which are learnt one name at a time when
    // first called: headers gets each header of list (a declaration, or a definition's that is
    // not a method) with its name, in list order. The array types their parameters name are made
    // in that order all the same, so that every type has the index the whole sweep gives it.
    void declare_all_but_functions(const St_node* list, std::vector<std::pair<std::string, St_node*>>* headers);
    // The record of a header of a foreign list, with id 0; declares nothing.
    Overload_entry foreign_header(St_node* declaration);
    // The header's parameters in written form (see append_written_parameter).
    static void written_signature(const St_node* header, std::string& signature);
    Scope& global_scope() { return *global_; }
    int32_t next_function_id() const { return next_function_id_; }

    // The rule of the language for a function body that must return a value: a block by its last
    // statement; an if by its branches, where an if without else counts as returning when its
    // then-branch does; a switch when every label's block returns and a default is among them;
    // a return. Loops never count.
    static bool always_return(const St_node* node);

    // Each shader then declares every entry that its ancestors lend, as a reference for the
    // usual way, which declares only those its own code could name.
    void lend_every_entry() { lend_every_entry_ = true; }

protected:
    St_node* visit_default(St_node* node) override;
    void depth_exceeded(St_node* node) override;

    // Statements
    St_node* visit_statement_block(St_node* node) override;
    St_node* visit_condition_statement(St_node* node) override;
    St_node* visit_condition(St_node* node) override;
    St_node* visit_expression_statement(St_node* node) override;
    St_node* visit_do_statement(St_node* node) override;
    St_node* visit_while_statement(St_node* node) override;
    St_node* visit_for_statement(St_node* node) override;
    St_node* visit_for_expression(St_node* node) override;
    St_node* visit_foreach_statement(St_node* node) override;
    St_node* visit_jump_statement(St_node* node) override;
    St_node* visit_switch_statement(St_node* node) override;
    St_node* visit_switch_case(St_node* node) override;
    St_node* visit_switch_default(St_node* node) override;
    St_node* visit_variable_declaration(St_node* node) override;
    St_node* visit_annotation_block(St_node* node) override;
    St_node* visit_no_op(St_node* node) override;

    // Expressions
    St_node* visit_int_constant(St_node* node) override;
    St_node* visit_hex_constant(St_node* node) override;
    St_node* visit_oct_constant(St_node* node) override;
    St_node* visit_float_constant(St_node* node) override;
    St_node* visit_bool_constant(St_node* node) override;
    St_node* visit_string_constant(St_node* node) override;
    St_node* visit_expression_list(St_node* node) override;
    St_node* visit_assignment_expression(St_node* node) override;
    St_node* visit_conditional_expression(St_node* node) override;
    St_node* visit_or_expression(St_node* node) override;
    St_node* visit_xor_expression(St_node* node) override;
    St_node* visit_and_expression(St_node* node) override;
    St_node* visit_equality_expression(St_node* node) override;
    St_node* visit_relational_expression(St_node* node) override;
    St_node* visit_additive_expression(St_node* node) override;
    St_node* visit_multiplicative_expression(St_node* node) override;
    St_node* visit_cast_expression(St_node* node) override;
    St_node* visit_pre_increment_expression(St_node* node) override;
    St_node* visit_pre_decrement_expression(St_node* node) override;
    St_node* visit_unary_expression(St_node* node) override;
    St_node* visit_post_increment_expression(St_node* node) override;
    St_node* visit_post_decrement_expression(St_node* node) override;
    St_node* visit_class_member_ref_expression(St_node* node) override;
    St_node* visit_array_index_expression(St_node* node) override;
    St_node* visit_function_call_expression(St_node* node) override;
    St_node* visit_method_call_expression(St_node* node) override;
    St_node* visit_constructor_call_expression(St_node* node) override;
    St_node* visit_variable_id(St_node* node) override;
    St_node* visit_state_variable_reference(St_node* node) override;
    St_node* visit_state_function_reference(St_node* node) override;
    St_node* visit_array_initializer(St_node* node) override;

private:
    // Sweeps
    void declare_list(const St_node* list, bool foreign);
    void declare_import(const Compilation_unit& imported);
    void enter_named_types();
    void check_unit_bodies();
    void check_shader(size_t position);
    // The shader's own entries, then what its lenders lend (all of it, or only the entries the
    // shader's own code could name), by block: inputs, outputs, members, methods.
    void gather_shader_lists(size_t position, std::vector<St_node*> (&lists)[4]);
    void gather_named_lent_entries(size_t position, std::vector<St_node*> (&lists)[4]);
    void declare_global_variables(St_node* declaration, bool foreign);
    // The type of one declared name: the declaration's base type in the name's array size.
    int32_t name_type(int32_t base, const St_node& name);
    void check_initializers(St_node* declaration);
    void declare_function_header(St_node* declaration, const std::string& name, bool foreign);
    Overload_entry header_entry(St_node* declaration);
    void walk_function(St_node* definition);
    void declare_state_variables();

    // Scopes
    Scope* push_scope();
    void pop_scope();

    // Types and reporting
    void report(const St_node& node, uint32_t number, std::string_view text = {}, int32_t value = 0);
    void set_type(St_node* node, int32_t type_index);
    int32_t resolve_type(St_node* specifier, uint32_t array_size, bool parameter);
    std::string class_name() const;
    int32_t state_variable_type(int32_t index);
    int32_t state_function_type(int32_t index);

    // Expressions
    St_node* visit_expression(St_node* parent, St_node* child);
    St_node* visit_statement(St_node* parent, St_node* child);
    // Types every child as an operand; false when one of them has no type.
    bool type_operands(St_node* node, std::vector<int32_t>& types);
    bool call_arguments(St_node* call, std::vector<int32_t>& types);
    void binary_operator(St_node* node, bool logic_rule, bool equality_rule);
    void step_operator(St_node* node);
    // Searches "name" with the operand types and sets the node's type from the chosen entry;
    // reports 11, 14 or 13 with name when none is chosen.
    void call_operator(St_node* node, const std::string& name, const std::vector<int32_t>& types);
    int32_t logic_result(int32_t left, int32_t right) const;
    int32_t equality_result(int32_t type) const;
    int32_t assignment_result(int32_t left, int32_t right) const;
    bool is_assignable(const St_node* node) const;
    void member_access(St_node* node, int32_t object_type, St_node* selector);
    int32_t swizzle(const Type& type, std::string_view selector) const;
    void resolve_call(St_node* node, const std::string& name, const std::vector<int32_t>& types, bool silent);
    bool vector_constructor_fits(int32_t type, const std::vector<int32_t>& types) const;
    bool matrix_constructor_fits(int32_t type, const std::vector<int32_t>& types) const;
    void declare_local(St_node* init_identifier, int32_t type);
    void initialize(St_node* declarator, const St_node* type_specifier, int32_t type);
    void check_initialization(St_node* declarator, int32_t declared, const St_node* initializer);

    Compilation_unit& unit_;
    std::vector<const St_node*> extra_lists_;
    std::unique_ptr<Scope> global_;
    std::vector<std::unique_ptr<Scope>> scope_pool_;
    size_t scopes_in_use_ = 0;
    Scope* scope_ = nullptr;
    int32_t next_function_id_ = 0;
    Mode mode_ = MODE_DECLARATIONS;
    // Above 0 while declarations of a foreign list are read: nothing is written or reported.
    int32_t foreign_ = 0;

    St_node* current_function_ = nullptr;
    int32_t current_return_type_ = -1;
    std::string current_function_name_;
    Shader_declaration* current_class_ = nullptr;
    bool lend_every_entry_ = false;
    // Every shader's own entries under the names they declare, built at the first use.
    struct Lendable {
        size_t shader;
        int32_t block;
        size_t index;
    };
    std::unordered_map<std::string, std::vector<Lendable>> lendable_;
    bool lendable_built_ = false;
    // While a declaration's initializer is walked.
    int32_t declared_type_ = -1;
    const St_node* declared_name_ = nullptr;

    int32_t state_variable_types_[STATE_VARIABLE_COUNT];
    int32_t state_function_types_[STATE_FUNCTION_COUNT];
    bool depth_reported_ = false;
};

}  // namespace SYNTAX_TREE
}  // namespace QZ
