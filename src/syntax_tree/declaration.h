// What a declaring node of a unit's tree declares: the record that the host reads through its
// declaration view.
#pragma once

#include <cstdint>

namespace QZ {
namespace SYNTAX_TREE {

class Compilation_unit;
class St_node;

// The flag word of a declaration, one bit per kind of declaration. A variable has exactly one
// of the first four bits or LOCAL; the others stand alone.
// ORDER: the host reads these bits as is_flag_0 to is_flag_8.
enum Declaration_flag : uint32_t {
    DECLARATION_GLOBAL = 1u << 0,     // a variable at file level
    DECLARATION_INPUT = 1u << 1,      // an input of a shader
    DECLARATION_OUTPUT = 1u << 2,     // an output of a shader
    DECLARATION_MEMBER = 1u << 3,     // a member of a struct or class
    DECLARATION_FUNCTION = 1u << 4,   // a function or method, prototype or definition
    DECLARATION_PARAMETER = 1u << 5,  // a parameter of a function
    DECLARATION_LOCAL = 1u << 6,      // a variable inside a function body
    DECLARATION_TYPE = 1u << 7,       // a shader, technique, struct, class or enum
    DECLARATION_CONSTANT = 1u << 8,   // an enumerator
};

struct Declaration {
    St_node* node = nullptr;  // the declaring node: INIT_IDENTIFIER, FUNCTION_PARAMETER, ...
    uint32_t flags = 0;
    // The second word: a variable's or parameter's array size (1 none, 0 unsized), a
    // function's parameter count, an enumerator's value, a struct's member count, an enum's
    // enumerator count; 0 for shaders.
    int32_t value = 0;
    int32_t type_index = -1;  // in the unit's type table; -1 for none
};

// The declaration that node makes in unit. False for a node that declares nothing, which is
// every node but INIT_IDENTIFIER, FUNCTION_PARAMETER, FUNCTION_DECLARATION,
// FUNCTION_DEFINITION, CLASS_DECLARATION, ENUM_DECLARATION and ENUM_MEMBER: a node that uses a
// name has no declaration of its own.
bool find_declaration(const Compilation_unit& unit, St_node* node, Declaration& declaration);

}  // namespace SYNTAX_TREE
}  // namespace QZ
