// Initial values and annotation arguments, evaluated as constants into value blocks.
#pragma once

#include <memory>

#include "syntax_tree/type.h"

namespace QZ {
namespace SYNTAX_TREE {
class St_node;
class Compilation_unit;
}

namespace GRAPH {

// Writes the constant value of expression, taken as type, into block (zeroed, of the type's
// size). Literals, signs, constructor calls (components in order, a single one repeated), array
// initialisers, brace lists of structs (members in order) and enum values are understood;
// anything else leaves zeroes and gives false.
bool evaluate_constant(const SYNTAX_TREE::St_node* expression, const SYNTAX_TREE::Type& type,
                       const SYNTAX_TREE::Compilation_unit& unit, void* block);

// The type of a constant expression: its type index in unit when the passes gave it one, else
// the type its kind implies (Int, Scalar, Bool, String, a constructor's type). Null if unknown.
std::unique_ptr<SYNTAX_TREE::Type> constant_type(const SYNTAX_TREE::St_node& expression,
                                                 const SYNTAX_TREE::Compilation_unit& unit);

}  // namespace GRAPH
}  // namespace QZ
