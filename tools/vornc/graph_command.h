// vornc graph: a graph file as text, or as a picture in Graphviz's dot language.
#pragma once

#include "arguments.h"
#include "vorn/vorn.h"

namespace vornc {

// Exit status: 0, 1 when the read had diagnostics or failed, 2 after a misuse.
int command_graph(vorn::IVorn* root, const Arguments& arguments);

}  // namespace vornc
