// The GL generator: a vertex text and a fragment text in GLSL of the fixed-function era, from
// the function of a unit. The walk is the FX one; this class states what differs: the sections
// of the two texts, the names and tables, and an expression printer that infers the types of
// what it prints, since GLSL 1.10 converts nothing implicitly.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "gen_fx/fx_code_generator.h"

namespace QZ {
namespace GEN_GL {

// Log codes of this back end (module GL, category plug-in).
enum Gl_log_code : int32_t {
    LOG_GET_TRANSFORM = 1,
    LOG_TRANSFORM_POINT = 2,
    LOG_TRANSFORM_VECTOR = 3,
    LOG_NESTED_FUNCTION = 5,
    LOG_NESTED_CLASS = 6,
    LOG_LIGHT_ITERATOR_PARAMETERS = 7,
    LOG_UNMAPPED_STATE = 8,
    LOG_UNKNOWN_STATE = 9,
    LOG_UNNAMED_STATE = 10,
    LOG_NESTING_TOO_DEEP = 11,
};

struct Gl_options {
    std::string vertex_shader_profile = "vs_3_0";    // stored, not printed
    std::string fragment_shader_profile = "ps_3_0";  // stored, not printed
    bool use_oit = false;
    bool two_sided = false;
};

Gl_options read_gl_options(const COMPILER::Compile_options& options);

// What a printed expression is in GLSL: the kind of its components and their number, a matrix
// shape, or something else (struct, sampler, array). Unknown when the tree does not say.
struct Gl_value_type {
    enum Kind : int32_t { UNKNOWN, BOOL, INT, FLOAT, MATRIX, OTHER };
    Kind kind = UNKNOWN;
    uint32_t width = 0;    // BOOL, INT, FLOAT: 1 to 4
    uint32_t rows = 0;     // MATRIX
    uint32_t columns = 0;  // MATRIX

    bool numeric() const { return kind == BOOL || kind == INT || kind == FLOAT; }
    bool vector() const { return numeric() && width > 1; }
    bool scalar() const { return numeric() && width == 1; }
    bool same(const Gl_value_type& other) const
    {
        return kind == other.kind && width == other.width && rows == other.rows && columns == other.columns;
    }
    static Gl_value_type of_code(uint32_t code, uint32_t array_size = 1);
    static Gl_value_type make(Kind kind, uint32_t width) { return Gl_value_type{kind, width, 0, 0}; }
};

// The GLSL word of a value type ("float", "vec3", "ivec2", "bvec4", "mat3"); empty for others.
std::string gl_type_word(const Gl_value_type& type);

// The opening text that turns a value printed as source into one of type target, with ")" to
// close it; empty when no conversion is needed or none is known. "(0 < " and "(0.0 < " make a
// Bool from a number; "lessThan(vecN(0.0), " a boolean vector from a numeric one.
std::string gl_conversion_open(const Gl_value_type& source, const Gl_value_type& target);

class Gl_code_generator : public GEN_FX::Fx_code_generator {
public:
    Gl_code_generator(const BACK12::Generator_input& input, const COMPILER::Compile_options& options);
    ~Gl_code_generator() override;

    // Both texts: the vertex text is kept apart, the fragment text is the generator's text.
    void generate() override;
    void generate_vertex();
    void generate_fragment();

    const std::string& vertex_text() const { return vertex_text_; }
    const Gl_options& gl_settings() const { return gl_; }
    // The root function's name, which the fragment main calls.
    std::string root_name() const { return input_.function_name + "_eval"; }

    // The GLSL type of what an expression prints as (public for tests).
    Gl_value_type printed_type(const St_node* node) const;

protected:
    // Hooks of the FX walk
    std::string identifier(std::string_view name) const override;
    std::string state_variable_text(int32_t index) const override;
    // No interfaces in this target: there is no environment or shadow to evaluate.
    bool has_environment_attachments() const override { return false; }
    const char* switch_value_format() const override { return "switch_value%d"; }
    const char* switch_test_open() const override { return "if ( "; }
    int32_t log_module() const override;
    int32_t nesting_log_code() const override { return LOG_NESTING_TOO_DEEP; }
    int32_t expression_level(const St_node* node) const override;
    // The kinds of the walk that GLSL needs otherwise.
    void print_identifier(const St_node* node) override;
    void print_assignment(const St_node* node) override;
    void print_conditional(const St_node* node) override;
    void print_xor(const St_node* node) override;
    void print_logical(const St_node* node, const char* op, int32_t level) override;
    void print_relation(const St_node* node, int32_t level) override;
    void print_additive(const St_node* node) override;
    void print_multiplicative(const St_node* node) override;
    void print_cast(const St_node* node) override;
    void print_unary(const St_node* node) override;
    void print_member_access(const St_node* node) override;
    void print_index(const St_node* node) override;
    void print_call(const St_node* node) override;
    void print_constructor_call(const St_node* node) override;
    void print_return_value(const St_node* value) override;
    const Result_forms& result_forms() const override;
    const char* do_while_open() const override { return "while( "; }
    // Light loops have been unrolled by the linker; nothing of a loop prints here.
    void print_foreach(const St_node*) override {}
    int32_t nesting_limit() const override;
    const char* nesting_message() const override;
    std::string printed_function_name(std::string_view name) const override { return function_name_of(name); }
    std::string leading_parameters(std::string_view) const override { return "State state"; }
    void print_function_body(const St_node* declaration, const St_node* body) override;
    void print_declared_item(const std::string& type, const St_node* item, const St_node* specifier) override;
    void print_unit_variable(const St_node* declaration) override;
    void print_condition(const St_node* condition) override;
    void print_switch_selector(const St_node* selector) override;
    void print_enum(const St_node* declaration) override;
    std::string array_suffix(const St_node* node) const override;

private:
    void fill_gl_tables();
    void close_gl_used_state();
    void collect_functions();
    bool is_light() const;
    bool is_program() const;
    bool normal_used() const;
    bool tangent_varying() const;
    bool binormal_varying() const;

    // Sections of the two texts
    void print_banner();
    void print_varyings();
    void print_vertex_main();
    void print_state_struct();
    void print_light_constants();
    void print_depth_peeling();
    void print_library_declarations();
    void print_imports();
    void print_uniforms();
    void print_state_uniforms();
    void print_shader_methods();
    void print_root_function();
    void print_light_result(const BACK12::Generator_variable& result);
    void print_fragment_main();
    void print_support();

    // Names
    std::string variable_name(std::string_view name) const override;
    std::string function_name_of(std::string_view name) const;
    std::string written_input_name(const std::string& name) const override { return "local_" + name; }
    void print_gl_written_input_copies();
    void print_gl_written_input_reads();
    void print_global_array_values();
    void print_array_values(const std::string& name, const St_node* values, const SYNTAX_TREE::Type* declared,
                            const Gl_value_type& element);
    const SYNTAX_TREE::Type* struct_members_of(const SYNTAX_TREE::Type* type) const;
    std::string state_uniform_name(int32_t index) const;

    // Expressions
    void print_as(const St_node* node, const Gl_value_type& target, int32_t level);
    void print_as_float(const St_node* node, int32_t level);
    void print_mixed_binary(const St_node* node, const char* op, int32_t level);
    void print_comparison(const St_node* node);
    void print_product(const St_node* node);
    void print_product_of(const St_node* left, const St_node* right, int32_t level);
    void print_matrix_vector(const St_node* matrix, const Gl_value_type& shape, const St_node* vector,
                             bool matrix_first, int32_t level);
    void print_matrix_product(const St_node* left, const Gl_value_type& a, const St_node* right,
                              const Gl_value_type& b, int32_t level);
    void print_resized(const St_node* matrix, uint32_t size, int32_t level);
    void print_padded(const St_node* vector, uint32_t size, int32_t level);
    bool is_per_row(const St_node* node) const;
    void print_per_row(const St_node* node);
    void print_row(const St_node* node, uint32_t row, int32_t level);
    bool print_logical_vector(const St_node* node);
    void print_unit_call(const St_node* node, const std::string& name, const St_node* arguments);
    void print_builtin_call(const std::string& name, const St_node* arguments);
    void print_struct_constructor(const std::string& name, const St_node* arguments);
    void print_light_iterator_constructor();
    void print_matrix_constructor(const Gl_value_type& type, const St_node* arguments);
    void print_matrix_from(const Gl_value_type& type, const St_node* value);
    bool is_non_square(const Gl_value_type& type) const;
    const St_node* find_unit_function(const std::string& name, const St_node* arguments) const;
    Gl_value_type semantic_type(const St_node* node) const;
    Gl_value_type type_of_index(int32_t type_index) const;
    Gl_value_type declared_value_type(const St_node* specifier) const;

    // Statements
    void print_declared_value(const std::string& type, const std::string& name, const St_node* item,
                              const St_node* specifier);

    Gl_options gl_;
    std::string vertex_text_;
    // Functions of the unit and its imports (and the shader's methods) by name: they take the
    // state first, and their parameters give the types of their arguments.
    std::multimap<std::string, const St_node*, std::less<>> unit_functions_;
    int32_t return_type_ = -1;  // of the function being printed
    bool global_scope_ = false;
    // Operands printed once per row inside operands printed once per row, and so on.
    int32_t row_repeat_ = 0;
    static constexpr int32_t MAX_ROW_REPEAT = 3;
    // Support that the fragment text needs only when something uses it, put in at its place
    // once the whole text is known: the functions that change a matrix's held size, and the
    // extension of gradient lookups.
    size_t support_position_ = 0;
    bool needs_resize_ = false;
    bool needs_gradients_ = false;
};

}  // namespace GEN_GL
}  // namespace QZ
