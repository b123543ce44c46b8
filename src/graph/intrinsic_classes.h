// The intrinsic math classes: small classes over one operator, built-in function or state
// variable, so that a graph can compute without source files.
#pragma once

#include <vector>

namespace QZ {
namespace GRAPH {

class Graph_node_class;

// Appends a new class for every intrinsic, in their fixed order; the caller owns them. The
// compiled units behind them are built once per process and shared by the classes of every
// library.
void make_intrinsic_classes(std::vector<Graph_node_class*>& out);

}  // namespace GRAPH
}  // namespace QZ
