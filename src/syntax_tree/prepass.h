// The declaration pass: sorts the declarations of a parsed tree into its unit, recognises the
// blocks of shaders and replaces state names in shader code by reference nodes.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>

#include "syntax_tree/tree_traverser.h"

namespace QZ {
namespace SYNTAX_TREE {

class Compilation_unit;
class Named_type;
class Enum_type;
struct Shader_declaration;

// An import that fails is error 54 and, at the same directive, a record of this number whose
// text is IMPORT_PREFIX and the chain of imports down to the cause. A unit whose file could not
// be compiled at all holds one record of this number, without a position, that tells why.
constexpr uint32_t DIAG_IMPORT_FAILURE = 55;
inline constexpr std::string_view IMPORT_PREFIX = "import ";

// The array size of an INIT_IDENTIFIER or FUNCTION_PARAMETER from its ARRAY_SPECIFIER: 1 with
// none, 0 for empty brackets. A Boolean size is error 2 and a size below 1 error 3 (given to
// unit when it is not null); both then count as 1.
uint32_t declared_array_size(const St_node& declarator, Compilation_unit* unit);

// The type specifier of a VARIABLE_DECLARATION, or null.
const St_node* type_specifier_of(const St_node& variable_declaration);

// The name of a SIMPLE_TYPE_SPECIFIER or NESTED_TYPE_SPECIFIER, parts joined by "::".
std::string type_specifier_name(const St_node& specifier);

// The type index of a type name seen inside class_name (empty outside any): the name itself,
// else the name scoped by the class. -1 when neither is known.
int32_t resolve_type_name(Compilation_unit& unit, const std::string& name, uint32_t array_size,
                          const std::string& class_name);

class Tree_traverser_prepass : public Tree_traverser_base {
public:
    // Compiles the file that an #import names; null when it cannot be compiled.
    using Import_resolver =
        std::function<std::shared_ptr<Compilation_unit>(const std::string& name, const std::string& importing_file)>;

    explicit Tree_traverser_prepass(Compilation_unit& unit, Import_resolver resolver = Import_resolver());

    // Walks the unit's tree.
    void run();

    // Walks a list that belongs to no unit and must not change (the prelude): its types and
    // declarations enter the unit, state names are not replaced and imports not followed.
    void run_read_only(const St_node* list);

protected:
    St_node* visit_class_declaration(St_node* node) override;
    St_node* visit_class_member_declaration_block(St_node* node) override;
    St_node* visit_variable_declaration(St_node* node) override;
    St_node* visit_init_identifier(St_node* node) override;
    St_node* visit_function_declaration(St_node* node) override;
    St_node* visit_function_definition(St_node* node) override;
    St_node* visit_function_call_expression(St_node* node) override;
    St_node* visit_class_member_ref_expression(St_node* node) override;
    St_node* visit_variable_id(St_node* node) override;
    St_node* visit_state_variable_reference(St_node* node) override;
    St_node* visit_state_function_reference(St_node* node) override;
    St_node* visit_enum_declaration(St_node* node) override;
    St_node* visit_enum_member(St_node* node) override;
    St_node* visit_import_declaration(St_node* node) override;
    St_node* visit_annotation_block(St_node* node) override;
    void depth_exceeded(St_node* node) override;

private:
    void walk_list(St_node* list);
    void shader_declaration(St_node* node);
    void struct_declaration(St_node* node);
    void add_struct_member(St_node* init_identifier);
    // The scoped form of a name declared in the current shader, or the name itself.
    std::string scoped(const std::string& name) const;
    Shader_declaration* method_owner(St_node* declaration, std::string& method_name);
    void add_method(Shader_declaration& shader, St_node* definition, const std::string& method_name,
                    bool check_event);
    bool rewrites_state() const;
    static bool has_state_parameter(const St_node* definition);

    Compilation_unit& unit_;
    Import_resolver resolver_;
    bool read_only_ = false;

    Shader_declaration* current_shader_ = nullptr;
    Named_type* current_struct_ = nullptr;
    int32_t current_member_type_ = -1;
    std::string current_member_type_name_;
    std::string current_block_;
    St_node* current_function_ = nullptr;
    bool in_function_declaration_ = false;
    bool takes_state_ = false;  // in a function outside any shader that has a State parameter
    int32_t current_enum_ = -1;
    int32_t next_enum_value_ = 0;
    bool depth_reported_ = false;
};

}  // namespace SYNTAX_TREE
}  // namespace QZ
