// Compiling source text through the passes for the tests of this directory.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "syntax_tree/compilation_unit.h"
#include "syntax_tree/prepass.h"

namespace passes_test {

// The prelude that the tests compile against: the prelude's prototype and the built-in
// declarations, parsed and learnt once per process.
std::shared_ptr<const QZ::SYNTAX_TREE::Prelude_symbols> test_prelude();

struct Compiled {
    std::unique_ptr<QZ::SYNTAX_TREE::Compilation_unit> unit;
    // Syntax errors first (a test source should have none), then the unit's errors, formatted.
    std::vector<std::string> messages;
};

// Parses text under file_name and runs the prepass, the shader links and the semantic pass
// (with lend_every_entry, in its reference way of lending).
Compiled compile(const std::string& text, const std::string& file_name = "test.ovl",
                 QZ::SYNTAX_TREE::Tree_traverser_prepass::Import_resolver resolver = {},
                 bool lend_every_entry = false);

// The type text ("Vector3", "struct Ray", "Scalar[4]") of a type index; "<none>" for -1.
std::string type_text(const QZ::SYNTAX_TREE::Compilation_unit& unit, int32_t index);

// The first node of a kind in a depth-first walk, the n-th when asked; null if there is none.
QZ::SYNTAX_TREE::St_node* find_node(QZ::SYNTAX_TREE::St_node* root, int32_t kind, int n = 0);

// The type text of the expression statement's expression in the function named function, by
// position in its body (the statement of index n).
std::string statement_type(const Compiled& compiled, const std::string& function, int n);

}  // namespace passes_test
