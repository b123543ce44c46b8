// vornc link, and compile of a graph file: a node or class of a graph file linked into one unit.
#pragma once

#include <functional>
#include <string>

#include "arguments.h"
#include "diagnostics.h"
#include "vorn/vorn.h"

namespace vornc {

// Whether the command line asks for a node or class of a graph file rather than a source.
bool names_graph_root(const Arguments& arguments);

// Reads the graph file and links the node of --node or the class of --class. Diagnostics of
// the read and of the link go to printer (flush_log passes on the library's log lines); a
// linked unit with errors is returned all the same, null when nothing could be linked.
vorn::ICompilation_unit* link_graph_file(vorn::IVorn* root, vorn::IVorn_compiler* compiler,
                                         const Arguments& arguments, const std::string& file,
                                         Diagnostic_printer& printer, const std::function<void()>& flush_log);

// vornc link FILE.xovl --node NAME | --class NAME [-o OUT]: the linked shader as Ovrel source.
int command_link(vorn::IVorn* root, vorn::IVorn_compiler* compiler, vorn::ICompile_session* session,
                 const Arguments& arguments, Diagnostic_printer& printer, const std::function<void()>& flush_log);

}  // namespace vornc
