// The software generator: the shader as a C++ class that runs on the CPU against the host API
// of "ovrel.h", with a plug-in class and its export. The walk of expressions and statements is
// the FX one; this class states its tables, the order of the file and the hooks where C++ says
// things differently.
#pragma once

#include <cstdint>
#include <set>
#include <string>
#include <vector>

#include "gen_fx/fx_code_generator.h"

namespace QZ {
namespace GEN_SWRC {

// Log codes of this back end (module GSWR, category plug-in). The walk's messages keep the codes
// of the FX walk (1 to 6).
enum Swrc_log_code : int32_t {
    LOG_EXPECTED_DECLARATION = 8,
    LOG_ENUM_NOT_FOUND = 9,
    LOG_UNKNOWN_STATE_FUNCTION = 10,
    LOG_UNKNOWN_STATE_SYMBOL = 11,
    LOG_CONST_STATE = 12,
    LOG_NESTING_TOO_DEEP = 13,
    LOG_BAD_OPTION = 14,
};

// The name of a state variable in the message of a write to it (the family "assignment to
// const state variable"), or null when the variable takes writes or fails silently.
const char* const_state_message_name(int32_t index);

class Swrc_code_generator : public GEN_FX::Fx_code_generator {
public:
    Swrc_code_generator(const BACK12::Generator_input& input, const COMPILER::Compile_options& options);
    ~Swrc_code_generator() override;

    void generate() override;
    // The renderer's declaration of the shader, the second text of the result.
    const std::string& declaration_text() const { return declaration_; }

protected:
    // Hooks of the FX walk
    std::string type_name(std::string_view name) const override;
    std::string identifier(std::string_view name) const override;
    std::string state_variable_text(int32_t index) const override;
    bool print_state_function(const St_node* call, int32_t index) override;
    int32_t log_module() const override;
    int32_t nesting_log_code() const override { return LOG_NESTING_TOO_DEEP; }
    const char* light_iterator_constructor_format() const override { return "%s()"; }
    bool enums_as_constants() const override { return false; }
    // C++ compilers warn of a comparison in parentheses of its own.
    const char* switch_label_open(bool first) const override { return first ? "%s == " : " || %s == "; }
    const char* switch_label_close() const override { return ""; }
    void print_variable(const St_node* node) override;
    void print_assignment(const St_node* node) override;
    void print_multiplicative(const St_node* node) override;
    void print_member_access(const St_node* node) override;
    void print_index(const St_node* node) override;
    void print_call(const St_node* node) override;
    void print_constructor_call(const St_node* node) override;
    void print_logical(const St_node* node, const char* op, int32_t level) override;
    void print_foreach(const St_node* node) override;
    std::string printed_function_name(std::string_view name) const override { return identifier(name); }
    std::string leading_parameters(std::string_view name) const override;
    const char* parameter_separator() const override { return ","; }
    std::string parameter_text(const St_node* parameter) const override;
    void print_function_body(const St_node* declaration, const St_node* body) override;
    void print_local_declaration(const St_node* declaration) override;
    void print_enum(const St_node* declaration) override;
    // With a default constructor and one from all its members.
    void print_struct(const St_node* declaration) override;
    void print_string(const St_node* node) override;
    int32_t expression_level(const St_node* node) const override;

private:
    void fill_swrc_tables();
    void read_sharing_options();
    void warn(int32_t code, const char* format, ...) QZ_PRINTF(3, 4);
    bool prints_file_head() const;

    // Struct metadata for hosts
    struct Struct_member_code {
        std::string name;
        const char* code;
        int32_t array_size;
    };
    std::vector<Struct_member_code> members_of(const St_node* declaration) const;
    const char* type_code_of(const std::string& word) const;
    void print_struct_info(const std::string& source_name, const std::vector<Struct_member_code>& members);
    bool prints_initializer() const;

    // Sections, in the order of the file
    void print_head();
    void print_imports();
    void print_top_level(SYNTAX_TREE::Compilation_unit* unit);
    void print_shader_class();
    void print_parameter_members();
    void print_result_class();
    std::set<std::string> named_outputs() const;
    void print_constructor();
    void print_main();
    void print_plugin_class();
    void print_initializer();

    // The renderer bridge and its declaration text
    void build_declaration();
    void print_bridge_includes();
    void print_bridge_structs();
    void print_bridge_constructor();
    void print_bridge_entry();
    bool uses_light_list() const;
    std::string value_type(const SYNTAX_TREE::Type* type) const;
    const SYNTAX_TREE::Type* struct_members(const SYNTAX_TREE::Type* type) const;
    std::string renderer_c_type(const SYNTAX_TREE::Type* type) const;
    void print_renderer_struct(const SYNTAX_TREE::Type* type, std::set<std::string>& printed, int32_t depth);
    void print_struct_fetch(const SYNTAX_TREE::Type* type, const std::string& target, const std::string& source,
                            const std::string& joined, int32_t depth, int32_t indent);
    std::string declared_struct(const SYNTAX_TREE::Type* type, const std::string& name, int32_t depth);
    static constexpr int32_t MAX_STRUCT_NESTING = 32;
    std::vector<const BACK12::Generator_variable*> result_fields() const;

    // Parts of the walk
    std::string plain_type(int32_t type_index) const;
    std::string member_type(int32_t type_index) const;
    bool is_unit_function(const std::string& name) const;
    bool is_method(const std::string& name) const;
    bool is_output(const std::string& name) const;
    bool is_parameter(const std::string& name) const;
    // A write to a state variable, or to one element of it.
    void print_state_write(const St_node* target, const St_node* element, const char* op, const St_node* value);
    void print_derivative(const St_node* argument, const char* axis);
    std::string state_read_text(int32_t index, const char* suffix) const;
    void print_state_read(int32_t index, const char* suffix);
    void print_indexed_state(const St_node* base, const St_node* index);
    void print_sampler_declaration(const std::string& type, const std::string& name, const St_node* value);
    void print_array_declaration(const std::string& element, const std::string& name, const St_node* item,
                                 const St_node* value);
    // Names that a body reads, so that a local that is only written is marked as such.
    void collect_read_names(const St_node* body);
    std::string string_argument(const St_node* node) const;
    void print_sample_iterator(const St_node* arguments);

    std::set<std::string> unit_functions_;
    std::set<std::string> unit_structs_;
    std::set<std::string> read_names_;
    std::string shader_name_;
    std::string declaration_;
    bool writing_ = false;
    // The options shader_index and shader_count as numbers; -1 when absent or not valid.
    long shader_index_ = -1;
    long shader_count_ = -1;
    static constexpr long MAX_SHARED_SHADERS = 4096;
};

}  // namespace GEN_SWRC
}  // namespace QZ
