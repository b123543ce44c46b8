// A readable dump of a tree: one node per line, indented by depth, with its position.
#pragma once

#include <cstdio>
#include <string>

namespace QZ {
namespace SYNTAX_TREE {

class St_node;

// Appends the node, its subtree and the rest of its sibling chain to out. Each line is
//   KIND_NAME "text" line:column
// indented by two blanks per level. A node without text has no quoted part; binary text
// prints as hex bytes in brackets. Quotes, backslashes and control bytes in a text are escaped.
void print_tree(const St_node* node, std::string& out);

std::string tree_text(const St_node* node);

void print_tree(const St_node* node, std::FILE* file);

}  // namespace SYNTAX_TREE
}  // namespace QZ
