// The FX generator: one effect file, HLSL or CgFX, from the function of a unit. The section
// writers follow the order of the file; the tree walk prints expressions and statements through
// small hooks (type names, function renames, state texts) that the other hardware targets
// override.
#pragma once

#include <cstdint>
#include <set>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "back12/annotation_map.h"
#include "back12/code_generator.h"
#include "back12/generator_input.h"
#include "back12/text_writer.h"
#include "back12/used_state.h"
#include "compiler/compile_options.h"
#include "gen_fx/fx_options.h"
#include "gen_fx/fx_text.h"

namespace QZ {
namespace SYNTAX_TREE {
class Type;
}

namespace GEN_FX {

// Log codes of this back end (module FX, category plug-in).
enum Fx_log_code : int32_t {
    LOG_GET_TRANSFORM = 1,
    LOG_TRANSFORM_POINT = 2,
    LOG_TRANSFORM_VECTOR = 3,
    LOG_LIGHT_ITERATOR_PARAMETERS = 4,
    LOG_NESTED_FUNCTION = 5,
    LOG_NESTED_CLASS = 6,
    LOG_NESTING_TOO_DEEP = 7,
};

// Strings have no value in an effect: a literal prints as this hash, h = h * 5 + byte from 0.
uint32_t fx_string_hash(std::string_view text);

class Fx_code_generator : public BACK12::Code_generator {
public:
    Fx_code_generator(const BACK12::Generator_input& input, const COMPILER::Compile_options& options);
    ~Fx_code_generator() override;

    void generate() override;
    const char* get_text() override;
    void clear_text() override;

    const Fx_options& settings() const { return fx_; }
    // The used-state table after the closing rules.
    const BACK12::Used_state_table& used() const { return used_; }
    // The entry of the fragment program that the effect's technique compiles.
    const std::string& fragment_entry() const { return names_.fragment_main; }
    // Loaded at construction from the option annotation_map; may be replaced before generate().
    BACK12::Annotation_map& annotation_map() { return annotations_; }

protected:
    // The shader's output of that name, or null.
    const BACK12::Generator_variable* find_output(const char* name) const;
    using St_node = SYNTAX_TREE::St_node;

    // Hooks of the walk: what a derived target says differently.
    // A type of the language by name, in target words.
    virtual std::string type_name(std::string_view name) const;
    // A called function's target name.
    virtual std::string function_name(std::string_view name) const;
    // A variable or field name, renamed where it would collide with a target word.
    virtual std::string identifier(std::string_view name) const;
    // A variable of the source as the text names it.
    virtual std::string variable_name(std::string_view name) const;
    // The text of a state variable reference.
    virtual std::string state_variable_text(int32_t index) const;
    // A state function call; false when it prints nothing.
    virtual bool print_state_function(const St_node* call, int32_t index);
    // Whether environment and shadow calls evaluate attachments; else they print the neutral text.
    virtual bool has_environment_attachments() const { return fx_.interfaces && !fx_.light_interfaces_only; }
    virtual const char* switch_value_format() const { return "__switch_value%d"; }
    // What opens the test of a lowered switch case.
    virtual const char* switch_test_open() const { return "if("; }
    // One label's comparison in that test, %s the selector; first or a further one, and its end.
    virtual const char* switch_label_open(bool first) const { return first ? "(%s == " : " || (%s == "; }
    virtual const char* switch_label_close() const { return ")"; }
    // The module under which the walk's messages are logged, and the code of "nesting too deep".
    virtual int32_t log_module() const;
    virtual int32_t nesting_log_code() const { return LOG_NESTING_TOO_DEEP; }
    // The array of light attachments that a light loop walks, and whether the program has one:
    // without it a light loop runs over nothing and prints nothing.
    virtual std::string light_list_name() const { return fx_.light_list_name; }
    virtual bool has_light_attachments() const { return fx_.interfaces; }
    // A foreach over anything but lights (a sample loop): its body once.
    virtual void print_other_foreach(const St_node* body);
    // A Light_iterator built with arguments, which hardware cannot honour; %s: the iterator type.
    virtual const char* light_iterator_constructor_format() const;
    // An enum as named int constants, for a target without enum.
    virtual bool enums_as_constants() const { return fx_.hlsl; }
    // A call that the target prints its own way; false leaves it to the walk.
    virtual bool print_target_call(const St_node*, const std::string&, const St_node*) { return false; }

    // Output
    BACK12::Text_writer& out() { return *out_; }
    // Text that carries its own tab layout, written as it stands.
    void print_as_is(const char* format, ...) QZ_PRINTF(2, 3);
    // Text from the source or the host (strings, file names, header text): indented like the
    // rest, but its braces neither open nor close a level.
    void write_data(std::string_view text);

    // Binding strength of what a node prints as, weakest first. An operand whose level is below
    // the one its place asks for is put in parentheses; the tree holds all precedence explicitly.
    enum Level : int32_t {
        LEVEL_LIST = 1,
        LEVEL_ASSIGNMENT = 2,
        LEVEL_CONDITIONAL = 3,
        LEVEL_OR = 4,
        LEVEL_XOR = 5,  // prints as bool(a) != bool(b), weaker than && around it
        LEVEL_AND = 6,
        LEVEL_EQUALITY = 7,
        LEVEL_RELATIONAL = 8,
        LEVEL_ADDITIVE = 9,
        LEVEL_MULTIPLICATIVE = 10,
        LEVEL_UNARY = 11,
        LEVEL_POSTFIX = 12,
        LEVEL_PRIMARY = 13,
    };

    // Expressions. paren wraps a compound expression in parentheses. False when nothing printed.
    // One switch on the node kind; each kind that a target prints differently has its own hook.
    bool print_expression(const St_node* node, bool paren = false);
    virtual void print_identifier(const St_node* node);
    virtual void print_variable(const St_node* node);
    virtual void print_assignment(const St_node* node);
    void print_assignment_chain(const St_node* node);
    virtual void print_conditional(const St_node* node);
    virtual void print_xor(const St_node* node);
    // || and &&
    virtual void print_logical(const St_node* node, const char* op, int32_t level);
    // Equality and relational operators.
    virtual void print_relation(const St_node* node, int32_t level);
    virtual void print_additive(const St_node* node);
    virtual void print_multiplicative(const St_node* node);
    virtual void print_cast(const St_node* node);
    virtual void print_unary(const St_node* node);
    virtual void print_member_access(const St_node* node);
    virtual void print_index(const St_node* node);
    virtual void print_call(const St_node* node);
    virtual void print_constructor_call(const St_node* node);
    // A string literal; effects have no strings, so the FX walk prints a number.
    virtual void print_string(const St_node* node);
    // The value of "return value;".
    virtual void print_return_value(const St_node* value) { print_expression(value); }

    // The root's result as a colour, by the result's type; each "%s" stands for the result.
    struct Result_forms {
        const char* fallback;  // nothing to show: no result, textures, structs, strings
        const char* matrix;
        const char* boolean;
        const char* vector2;  // also the integer vectors
        const char* vector3;
        const char* vector2b;
        const char* vector3b;
        const char* vector4b;
        const char* vector4;  // also colours
        const char* other;
    };
    virtual const Result_forms& result_forms() const;
    // A line of the root's return, indented as the target's root is.
    virtual void write_root_line(const std::string& line) { out().write(line); }
    void print_return(const BACK12::Generator_variable& result);
    // What stands before the condition of a do loop.
    virtual const char* do_while_open() const { return "while ("; }
    // Nesting of the walk: the limit and its message (%d the limit). enter_level is false, after
    // one message, past the limit; each true is matched by leave_level.
    virtual int32_t nesting_limit() const;
    virtual const char* nesting_message() const;
    bool enter_level();
    void leave_level() { --depth_; }
    // The text of an expression, for a value that prints more than once.
    std::string expression_text(const St_node* node, bool paren = false);

    // Statements: one statement, or the statements of a list, iterating over siblings.
    virtual void print_statement(const St_node* node);
    void print_statements(const St_node* first);
    // A light loop over the attachment array; a sample loop once.
    virtual void print_foreach(const St_node* node);
    // A chain of ifs, with the selector saved when it is not repeatable.
    virtual void print_switch(const St_node* node);
    // The selector saved in an int.
    virtual void print_switch_selector(const St_node* selector) { print_expression(selector); }

    // Declarations: functions, the types and reachable functions of a unit, variables.
    void print_function(const St_node* function);
    // Hooks of the function printer
    virtual std::string printed_function_name(std::string_view name) const { return std::string(name); }
    // What a function takes before the source's parameters.
    virtual std::string leading_parameters(std::string_view) const { return std::string(); }
    virtual const char* parameter_separator() const { return ", "; }
    virtual std::string parameter_text(const St_node* parameter) const;
    virtual void print_function_body(const St_node* declaration, const St_node* body);
    void print_types(SYNTAX_TREE::Compilation_unit* unit);
    void print_unit_functions(SYNTAX_TREE::Compilation_unit* unit);
    virtual void print_unit_variable(const St_node* declaration) { print_local_declaration(declaration); }
    virtual void print_local_declaration(const St_node* declaration);
    // One name of a declaration, with its value.
    virtual void print_declared_item(const std::string& type, const St_node* item, const St_node* specifier);
    // Prototypes of the definitions of a list that an earlier one of the list calls, since a
    // call must follow a declaration in the target.
    void print_prototypes(const std::vector<const St_node*>& definitions);
    std::vector<const St_node*> reachable_definitions(const SYNTAX_TREE::Compilation_unit* unit) const;
    // Inputs that the body writes: a copy of each stands in for it (a parameter is read-only
    // in the targets). The copy's name, and its declarations and assignments.
    std::set<std::string> written_inputs_;
    virtual std::string written_input_name(const std::string& name) const { return "__input_" + name; }
    void collect_written_inputs();
    void print_written_input_copies();
    void print_written_input_reads();
    // Set while a definition prints as a prototype.
    bool prototype_only_ = false;
    virtual void print_struct(const St_node* declaration);
    virtual void print_enum(const St_node* declaration);

    // Parts of the walk.
    virtual int32_t expression_level(const St_node* node) const;
    void print_operand(const St_node* node, int32_t level);
    void print_binary(const St_node* node, const char* op, int32_t level);
    void print_arguments(const St_node* arguments);
    void print_block(const St_node* block, const St_node* skip_last = nullptr);
    void print_branch(const St_node* node);
    virtual void print_condition(const St_node* condition);
    std::string type_text(int32_t type_index) const;
    std::string specifier_text(const St_node* specifier) const;
    virtual std::string array_suffix(const St_node* node) const;
    bool is_skipped_type(std::string_view name) const;
    bool is_struct_name(const std::string& name) const;
    const SYNTAX_TREE::Type* type_of(const St_node* node) const;
    bool is_identity_transform(const St_node* node) const;
    // Keeps track of the variables that hold an identity transform.
    void note_assignment(const St_node* node);
    // An error of the walk, under log_module().
    void report(int32_t code, const char* format, ...) QZ_PRINTF(3, 4);
    bool calls_environment() const;
    bool is_light() const;
    void print_alpha_fold(const std::string& result);
    // The debug variable's text and type code, and the row of a matrix shown.
    uint8_t debug_value(std::string& value, int32_t& row) const;

    const BACK12::Generator_input& input_;
    SYNTAX_TREE::Compilation_unit* unit_;
    COMPILER::Compile_options options_;
    Fx_options fx_;
    Fx_names names_;
    BACK12::Used_state_table used_{};
    BACK12::Used_state_function_table used_functions_{};

    // What the state functions that hardware cannot do print instead, in target words.
    struct Neutral_texts {
        std::string shadowing = "float4(1,1,1,1)";
        // Sixteen numbers make a matrix; a float4 cannot take them.
        std::string transform = "float4x4(1,0,0,0,0,1,0,0,0,0,1,0,0,0,0,0)";
        std::string environment = "float4(0,0,0,0)";
    };
    Neutral_texts neutral_;

    // Name tables, filled once at construction; a derived target changes its rows.
    std::string state_texts_[SYNTAX_TREE::STATE_VARIABLE_COUNT];
    std::unordered_map<std::string, std::string> type_map_;
    std::unordered_map<std::string, std::string> function_map_;
    std::unordered_map<std::string, std::string> identifier_map_;
    std::unordered_map<std::string, std::string> constructor_map_;
    // Variables that hold an identity transform, so that a product with them drops out.
    std::set<std::string> identity_variables_;
    // Locals of the function being printed, for debug display: name to type index.
    std::unordered_map<std::string, int32_t> local_types_;

private:
    void fill_tables();
    void close_used_state();

    // File order
    void print_program();
    void print_component();
    void print_banner();
    void print_header();
    void print_footer();
    void print_prelude();
    void print_interfaces();
    void print_imports();
    void print_state_struct();
    void print_free_parameters();
    void print_state_parameters();
    void print_debug_parameters();
    void print_attachments();
    void print_texture_transforms();
    void print_app2vert();
    void print_vert2frag();
    void print_vertex_main();
    void print_shader_methods();
    void print_root_function();
    void print_fragment_main();
    void print_technique();
    void print_light_result(const BACK12::Generator_variable& result);

    // Parts of the sections
    std::vector<int32_t> declared_state_parameters(bool with_light_values) const;
    void print_state_parameter(int32_t index, bool as_member);
    void print_fragment_state();
    void print_derived_state();
    void print_hlsl_struct_constructor(const std::string& name, const std::vector<std::string>& member_types,
                                       const std::vector<std::string>& member_names,
                                       const std::vector<std::string>& member_suffixes);

    // Parameters, annotations and textures
    void print_parameter(const BACK12::Generator_variable& variable);
    // The annotation map: a parameter's semantic, or empty; the lines of annotations that the
    // map lists for a parameter name and for an Ovrel type; the lines that replace a source
    // annotation, false when the map has no entry for it.
    std::string mapped_semantic(const std::string& parameter) const;
    void mapped_annotation_lines(const std::string& parameter, const std::string& ovrel_type,
                                 std::vector<std::string>& lines) const;
    bool map_source_annotation(const St_node* call, std::vector<std::string>& lines);
    std::string annotation_line(const St_node* call);
    std::string annotation_value(const St_node* value, std::string& type);
    void print_initializer(const St_node* value);
    void print_sampler(const BACK12::Generator_variable& variable, uint8_t code);

    // Expressions
    bool is_matrix_product(const St_node* node) const;
    void print_constructor(const St_node* node, const std::string& type_word, const St_node* arguments);

    // Statements
    void print_for(const St_node* node);
    void print_jump(const St_node* node);

    // Debug display
    void print_debug_watch(const St_node* statement);
    void print_debug_epilogue();
    void print_debug_display(const std::string& value, uint8_t code, int32_t row);
    bool sets_debug_variable(const St_node* statement) const;

    BACK12::Annotation_map annotations_;
    BACK12::Text_writer writer_;
    BACK12::Text_writer* out_ = &writer_;
    std::unordered_map<std::string, std::string> string_texts_;

    int32_t switch_count_ = 0;
    int32_t depth_ = 0;
    int32_t statement_depth_ = 0;
    int32_t loop_depth_ = 0;
    bool depth_reported_ = false;
    bool in_parameter_initializer_ = false;
    bool in_root_ = false;
};

}  // namespace GEN_FX
}  // namespace QZ
