// The base of the tree walks: one dispatch on the node kind to a visit per kind, each falling
// back to visit_default. A pass overrides the kinds it cares about.
#pragma once

#include <cstdint>

#include "syntax_tree/st_node.h"

namespace QZ {
namespace SYNTAX_TREE {

// ORDER: one entry per Node_kind, in the order of the enum: X(kind suffix, visit name).
#define VORN_NODE_KIND_VISITS(X)                                                    \
    X(DECLARATION_LIST, declaration_list)                                           \
    X(IDENTIFIER, identifier)                                                       \
    X(INIT_IDENTIFIER_LIST, init_identifier_list)                                   \
    X(INIT_IDENTIFIER, init_identifier)                                             \
    X(ARRAY_SPECIFIER, array_specifier)                                             \
    X(ARRAY_INITIALIZER, array_initializer)                                         \
    X(FUNCTION_DECLARATION, function_declaration)                                   \
    X(FUNCTION_DECLARATOR, function_declarator)                                     \
    X(FUNCTION_PARAMETER_LIST, function_parameter_list)                             \
    X(FUNCTION_PARAMETER, function_parameter)                                       \
    X(PARAMETER_QUALIFIER, parameter_qualifier)                                     \
    X(FUNCTION_DEFINITION, function_definition)                                     \
    X(VARIABLE_DECLARATION, variable_declaration)                                   \
    X(VARIABLE_SPECIFIERS, variable_specifiers)                                     \
    X(STORAGE_CLASS_SPECIFIER, storage_class_specifier)                             \
    X(SIMPLE_TYPE_SPECIFIER, simple_type_specifier)                                 \
    X(NESTED_TYPE_SPECIFIER, nested_type_specifier)                                 \
    X(CLASS_DECLARATION, class_declaration)                                         \
    X(CLASS_MEMBER_DECLARATION_BLOCK_LIST, class_member_declaration_block_list)     \
    X(CLASS_MEMBER_DECLARATION_BLOCK, class_member_declaration_block)               \
    X(CLASS_PARENT_SPECIFIER, class_parent_specifier)                               \
    X(STATEMENT_BLOCK, statement_block)                                             \
    X(CONDITION_STATEMENT, condition_statement)                                     \
    X(CONDITION, condition)                                                         \
    X(EXPRESSION_STATEMENT, expression_statement)                                   \
    X(DO_STATEMENT, do_statement)                                                   \
    X(WHILE_STATEMENT, while_statement)                                             \
    X(FOR_STATEMENT, for_statement)                                                 \
    X(FOREACH_STATEMENT, foreach_statement)                                         \
    X(JUMP_STATEMENT, jump_statement)                                               \
    X(FOR_INIT, for_init)                                                           \
    X(FOR_CONDITION, for_condition)                                                 \
    X(FOR_EXPRESSION, for_expression)                                               \
    X(EXPRESSION_LIST, expression_list)                                             \
    X(ASSIGNMENT_EXPRESSION, assignment_expression)                                 \
    X(CONDITIONAL_EXPRESSION, conditional_expression)                               \
    X(OR_EXPRESSION, or_expression)                                                 \
    X(XOR_EXPRESSION, xor_expression)                                               \
    X(AND_EXPRESSION, and_expression)                                               \
    X(EQUALITY_EXPRESSION, equality_expression)                                     \
    X(RELATIONAL_EXPRESSION, relational_expression)                                 \
    X(ADDITIVE_EXPRESSION, additive_expression)                                     \
    X(MULTIPLICATIVE_EXPRESSION, multiplicative_expression)                         \
    X(CAST_EXPRESSION, cast_expression)                                             \
    X(PRE_INCREMENT_EXPRESSION, pre_increment_expression)                           \
    X(PRE_DECREMENT_EXPRESSION, pre_decrement_expression)                           \
    X(UNARY_EXPRESSION, unary_expression)                                           \
    X(POST_INCREMENT_EXPRESSION, post_increment_expression)                         \
    X(POST_DECREMENT_EXPRESSION, post_decrement_expression)                         \
    X(CLASS_MEMBER_REF_EXPRESSION, class_member_ref_expression)                     \
    X(ARRAY_INDEX_EXPRESSION, array_index_expression)                               \
    X(FUNCTION_CALL_EXPRESSION, function_call_expression)                           \
    X(METHOD_CALL_EXPRESSION, method_call_expression)                               \
    X(CONSTRUCTOR_CALL_EXPRESSION, constructor_call_expression)                     \
    X(FUNCTION_CALL_PARAMETERS, function_call_parameters)                           \
    X(INT_CONSTANT, int_constant)                                                   \
    X(HEX_CONSTANT, hex_constant)                                                   \
    X(OCT_CONSTANT, oct_constant)                                                   \
    X(FLOAT_CONSTANT, float_constant)                                               \
    X(BOOL_CONSTANT, bool_constant)                                                 \
    X(STRING_CONSTANT, string_constant)                                             \
    X(VARIABLE_ID, variable_id)                                                     \
    X(MEMBER_VARIABLE_ID, member_variable_id)                                       \
    X(STATE_VARIABLE_REFERENCE, state_variable_reference)                           \
    X(STATE_FUNCTION_REFERENCE, state_function_reference)                           \
    X(ENUM_DECLARATION, enum_declaration)                                           \
    X(ENUM_MEMBER, enum_member)                                                     \
    X(SWITCH_STATEMENT, switch_statement)                                           \
    X(SWITCH_CASE, switch_case)                                                     \
    X(SWITCH_DEFAULT, switch_default)                                               \
    X(ANNOTATION_BLOCK, annotation_block)                                           \
    X(IMPORT_DECLARATION, import_declaration)                                       \
    X(NO_OP, no_op)

class Tree_traverser_base {
public:
    // Nesting of visits beyond this is not entered but reported through depth_exceeded. The
    // parser builds no tree deeper than its own limit of 2048 levels; the margin is for trees
    // that other code builds.
    static constexpr int32_t DEPTH_LIMIT = 4096;

    Tree_traverser_base() = default;
    virtual ~Tree_traverser_base() = default;
    Tree_traverser_base(const Tree_traverser_base&) = delete;
    Tree_traverser_base& operator=(const Tree_traverser_base&) = delete;

    // Visits node through the visit of its kind, and returns the node that is to stand in its
    // place: the node itself or null to keep it, or a new node. The caller that holds node in
    // a list puts the new one there and destroys the old one (traverse does).
    St_node* visit(St_node* node);

    // Visits the children of node in order. A child's replacement takes its place and the old
    // child is destroyed with its subtree; the walk goes on after the replacement.
    void traverse(St_node* node);

    // Visits child of parent and puts its replacement in place; returns the node that stands
    // there afterwards.
    St_node* visit_child(St_node* parent, St_node* child);

    int32_t depth() const { return depth_; }

protected:
    // The fallback of every kind: traverses the children and keeps the node.
    virtual St_node* visit_default(St_node* node);
    // Called for a node that lies too deep; the node is kept and not entered.
    virtual void depth_exceeded(St_node* node);

#define VORN_DECLARE_VISIT(kind, name) virtual St_node* visit_##name(St_node* node);
    VORN_NODE_KIND_VISITS(VORN_DECLARE_VISIT)
#undef VORN_DECLARE_VISIT

private:
    St_node* dispatch(St_node* node);

    int32_t depth_ = 0;
};

}  // namespace SYNTAX_TREE
}  // namespace QZ
