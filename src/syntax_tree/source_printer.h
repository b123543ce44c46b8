// A tree back to Ovrel source text: what the graph linker built, shown to a user and compiled
// again. Reading the text back gives a tree that generates the same target text.
#pragma once

#include <string>

namespace QZ {
namespace SYNTAX_TREE {

class St_node;

// Appends the source of node to out: a DECLARATION_LIST prints each declaration, any other
// node prints alone (a declaration, a statement or an expression). Trees that the passes have
// seen print too: state references by their names, calls scoped to a class by their own name.
// False, with the reason in error, for what has no source form: a string holding a quote or a
// line end, a state number out of range, an unknown kind, a missing part, nesting deeper than
// Tree_traverser_base::DEPTH_LIMIT. Out then holds the text up to the fault.
bool print_source(const St_node* node, std::string& out, std::string* error = nullptr);

}  // namespace SYNTAX_TREE
}  // namespace QZ
