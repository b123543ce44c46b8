// The built-in declarations: operators, conversions, the library's types and functions. They
// are made as the trees the parser would build for the same prototypes written in source, and
// are appended to the prelude's DECLARATION_LIST.
#pragma once

#include <string>
#include <vector>

#include "syntax_tree/st_node.h"

namespace QZ {
namespace SYNTAX_TREE {

constexpr const char* BUILTIN_FILE_NAME = "stdlib.ovl";

struct Builtin_parameter {
    std::string qualifier;  // "out" or "inout"; empty for "in"
    std::string type;       // a type word or a struct name
    std::string name;
};

// One declaration: a function prototype, or a struct with its members as parameters.
struct Builtin_declaration {
    bool is_struct = false;
    std::string result;  // return type; empty for a struct
    std::string name;
    std::vector<Builtin_parameter> parameters;

    // "Bool operator==(Bool x, Bool y)", "String operator+=(inout String x, String y)",
    // "struct Ray { Vector3 origin; Vector3 direction; }".
    std::string signature() const;
};

// The declarations in the order they are appended, read from the table made ahead of time
// from the templates. A signature that an earlier row already declared is not repeated.
std::vector<Builtin_declaration> builtin_declarations();

// The same declarations expanded from the templates: what the table is made from.
std::vector<Builtin_declaration> builtin_declarations_from_templates();

// Marks a struct in the head code of a table entry; the low bits count its members.
constexpr unsigned BUILTIN_STRUCT_FLAG = 0x8000;

// The tree of one declaration: FUNCTION_DECLARATION, or CLASS_DECLARATION "struct".
St_node* make_builtin_node(const Builtin_declaration& declaration, const File_name& file);

// Trees for all declarations, file "stdlib.ovl", owned by the caller, made straight from the
// table: the same trees as make_builtin_node gives for each record.
std::vector<St_node*> make_builtin_nodes();

// Appends the trees to the children of a DECLARATION_LIST.
void append_builtin_declarations(St_node* declaration_list);

}  // namespace SYNTAX_TREE
}  // namespace QZ
