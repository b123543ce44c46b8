#include "graph_support.h"

#include <gtest/gtest.h>

#include "compiler/mod_compiler.h"
#include "graph/graph_node.h"
#include "syntax_tree/compilation_unit.h"
#include "syntax_tree/diagnostics.h"

namespace graph_test {

using namespace QZ;

std::shared_ptr<GRAPH::Compiled_source> compile_source(const std::string& text, const std::string& file_path)
{
    SYNTAX_TREE::Error_list errors;
    std::shared_ptr<SYNTAX_TREE::Compilation_unit> unit(
        COMPILER::mod_compiler->compile_text("graph_test.ovl", text.c_str(), &errors));
    for (const auto& error : errors)
        ADD_FAILURE() << SYNTAX_TREE::format_error(error, "graph_test.ovl");
    // The passes' findings stay in the unit; the list above holds what the parser found.
    if (unit)
        for (const auto& error : unit->errors())
            ADD_FAILURE() << SYNTAX_TREE::format_error(error, "graph_test.ovl");
    return std::make_shared<GRAPH::Compiled_source>(unit, file_path);
}

namespace {
std::string text(const char* value) { return value ? value : "<null>"; }
}  // namespace

void Recorder::value_changed(GRAPH::Graph_node* node, uint32_t is_output, const char* parameter)
{
    calls.push_back("value " + node->name + " " + std::to_string(is_output) + " " + text(parameter));
}
void Recorder::attached(GRAPH::Graph_node* node, uint32_t is_output, const char* path, const char* member)
{
    calls.push_back("attached " + node->name + " " + std::to_string(is_output) + " " + text(path) + " " + text(member));
}
void Recorder::detached(GRAPH::Graph_node* node, uint32_t is_output, const char* parameter, const char* member)
{
    calls.push_back("detached " + node->name + " " + std::to_string(is_output) + " " + text(parameter) + " " +
                    text(member));
}
void Recorder::parameter_added(GRAPH::Graph_node_class* node_class, bool is_output, const char* name)
{
    calls.push_back(std::string("added ") + node_class->name() + " " + std::to_string(is_output) + " " + text(name));
}
void Recorder::parameter_removed(GRAPH::Graph_node_class* node_class, bool is_output, const char* name)
{
    calls.push_back(std::string("removed ") + node_class->name() + " " + std::to_string(is_output) + " " + text(name));
}
void Recorder::node_created(GRAPH::Graph_node_class* node_class, GRAPH::Graph_node* node)
{
    calls.push_back(std::string("created ") + node_class->name() + " " + node->name);
}
void Recorder::compound_node_added(GRAPH::Compage_node_class* compound, GRAPH::Graph_node* node)
{
    calls.push_back(std::string("inner ") + compound->name() + " " + node->name);
}

}  // namespace graph_test
