// The built-in declarations: operators, conversions, the library's types and functions. They
// are made as the trees the parser would build for the same prototypes written in source: the
// types are appended to the prelude's DECLARATION_LIST, a function's tree is made when needed.
#pragma once

#include <cstdint>
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

// The struct types' trees alone, appended the same way: a program calls few of the some 840
// built-in functions, whose trees are made from the table when first needed.
void append_builtin_types(St_node* declaration_list);

// A built-in function of the table, in table order: its name and where its entry starts.
struct Builtin_function {
    const char* name;
    uint32_t at;
};
std::vector<Builtin_function> builtin_functions();
// The function's tree, as make_builtin_nodes makes it.
St_node* make_builtin_function_node(uint32_t at, const File_name& file, Node_arena* arena = nullptr);
// Its parameters in written form (see append_written_parameter), as the tree would give them.
void builtin_written_signature(uint32_t at, std::string& signature);

}  // namespace SYNTAX_TREE
}  // namespace QZ
