// What every code generator receives: the function to generate, cut out of a compilation unit,
// with what it reaches and the state it reads.
#pragma once

#include <array>
#include <cstdint>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "compiler/compile_options.h"
#include "syntax_tree/state_tables.h"

namespace QZ {
namespace SYNTAX_TREE {
class Compilation_unit;
class St_node;
struct Shader_declaration;
}  // namespace SYNTAX_TREE

namespace BACK12 {

using Used_state_table = std::array<bool, SYNTAX_TREE::STATE_VARIABLE_COUNT>;
using Used_state_function_table = std::array<bool, SYNTAX_TREE::STATE_FUNCTION_COUNT>;

// One name of a VARIABLE_DECLARATION: "input: Color a, b;" gives two.
struct Generator_variable {
    SYNTAX_TREE::St_node* declaration = nullptr;  // VARIABLE_DECLARATION
    SYNTAX_TREE::St_node* identifier = nullptr;   // its INIT_IDENTIFIER: array specifier, default, annotations
    std::string name;
    int32_t type_index = -1;  // in the root unit's type table; -1 unknown
};

struct Generator_input {
    // The unit the function comes from; its imports are in units.
    SYNTAX_TREE::Compilation_unit* unit = nullptr;
    // The shader declaration that the function is; null when the unit has none.
    const SYNTAX_TREE::Shader_declaration* shader = nullptr;
    std::string function_name;

    std::vector<Generator_variable> parameters;  // free parameters, in declaration order
    std::vector<Generator_variable> outputs;     // in declaration order
    int32_t primary_output = -1;                 // index into outputs; -1 when there is none
    std::vector<Generator_variable> members;

    SYNTAX_TREE::St_node* main = nullptr;  // FUNCTION_DEFINITION of main, or null
    // The shader's other methods that main reaches, in declaration order.
    std::vector<SYNTAX_TREE::St_node*> methods;

    // Units in print order: imports depth first, each import before its importer, each unit
    // once; the root unit last. Their functions print when is_reachable says so.
    std::vector<SYNTAX_TREE::Compilation_unit*> units;
    // Names of the functions and methods that main reaches, through any depth of calls.
    std::set<std::string, std::less<>> reachable;

    // The state the function reads, before a generator closes the table (used_state.h).
    Used_state_table used_state{};
    Used_state_function_table used_state_functions{};
    bool uses_lights = false;

    // The variable shown in debug display and its place; debug_index is -1 when the unit was
    // not linked for debug display.
    std::string debug_name;
    int32_t debug_index = -1;

    bool has_function() const { return shader != nullptr; }
    // For FUNCTION_DEFINITION and FUNCTION_DECLARATION nodes.
    bool is_reachable(const SYNTAX_TREE::St_node* function) const;
    const Generator_variable* primary() const
    {
        return primary_output >= 0 ? &outputs[size_t(primary_output)] : nullptr;
    }
};

// What the graph linker knows about debug display and hands in beside the unit.
struct Debug_display {
    std::string name;
    int32_t index = -1;
};

// Fills input from unit for options. False, with input holding only the unit and its import
// order, when the unit has no shader declaration.
bool build_generator_input(SYNTAX_TREE::Compilation_unit* unit, const COMPILER::Compile_options& options,
                           Generator_input& input, const Debug_display& debug = Debug_display());

// The free parameters that the shader's body or methods write (by assignment, increment, or as
// an out or inout argument), which a target must copy before it can write them. A name that a
// body also declares for itself is left out: there the write may be to its own variable.
std::set<std::string> written_inputs(const Generator_input& input);

// The name of a FUNCTION_DEFINITION or FUNCTION_DECLARATION: the declarator's last identifier.
std::string_view function_definition_name(const SYNTAX_TREE::St_node* function);

// The state variable or function number that a reference node holds, or -1.
int32_t state_reference_index(const SYNTAX_TREE::St_node* node);

// The parameter list of a call, or null.
const SYNTAX_TREE::St_node* call_arguments(const SYNTAX_TREE::St_node* call);
// The number of arguments in a parameter list; 0 for none.
int32_t argument_count(const SYNTAX_TREE::St_node* arguments);
// The first child that is a type specifier, or null.
const SYNTAX_TREE::St_node* type_specifier_of(const SYNTAX_TREE::St_node* node);
// The last type specifier of a variable declaration's specifiers, or null.
const SYNTAX_TREE::St_node* declared_type(const SYNTAX_TREE::St_node* declaration);
// The value child of an INIT_IDENTIFIER: whatever is neither its array size nor its annotations.
const SYNTAX_TREE::St_node* initializer_of(const SYNTAX_TREE::St_node* identifier);

}  // namespace BACK12
}  // namespace QZ
