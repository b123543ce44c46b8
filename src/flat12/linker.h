// Flattening graphs into one compilation unit: every node's class method copied once under a
// flat name, one local per node output, and the root's main calling them in evaluation order.
#pragma once

#include <array>
#include <cstdint>
#include <set>
#include <string>
#include <vector>

namespace QZ {
namespace SYNTAX_TREE {
class Compilation_unit;
class St_node;
class Type;
}
namespace GRAPH {
class Graph_node;
class Graph_node_class;
class Compage_node_class;
class Parameter;
}

namespace FLAT12 {

// The compound nodes being expanded; the top entry is the innermost.
struct Interface_chain {
    std::vector<GRAPH::Graph_node*> nodes;
    int32_t top = -1;
};

// The state of one link; made and destroyed by each entry.
struct Link_context {
    Link_context();
    ~Link_context();
    Link_context(const Link_context&) = delete;
    Link_context& operator=(const Link_context&) = delete;

    SYNTAX_TREE::St_node* unit_root = nullptr;     // DECLARATION_LIST under construction
    SYNTAX_TREE::St_node* shader_class = nullptr;  // CLASS_DECLARATION in unit_root
    SYNTAX_TREE::St_node* main_body = nullptr;     // STATEMENT_BLOCK of main
    GRAPH::Graph_node* root_node = nullptr;
    std::vector<const SYNTAX_TREE::Type*> types;   // struct types collected; not owned
    SYNTAX_TREE::Compilation_unit* context_unit = nullptr;
    uint8_t debug = 0;
    uint8_t inline_constants = 0;
    uint8_t has_prefix = 0;
    std::string prefix;
    std::string world_pos_name = "__world_pos";
    std::set<std::string> generated_names;
    // Copied functions, in the order they go after the class; the names they answer to.
    std::vector<SYNTAX_TREE::St_node*> functions;
    std::set<std::string> function_names;
    std::array<char, 256> safe_char{};

    std::string safe(const std::string& text) const;
};

// Light, environment and volume settings of an export link; empty settings change nothing.
struct Export_settings {
    std::vector<GRAPH::Graph_node*> lights;
    GRAPH::Graph_node* environment = nullptr;
    GRAPH::Graph_node* volume = nullptr;
    uint32_t flags = 0;
    const char* external_shadow_function = nullptr;
};

// Each returns a new unit that has been through the passes (possibly with errors), or null when
// the graph cannot be linked (a missing class or method, a cycle, a compound that fails).
SYNTAX_TREE::Compilation_unit* link_graph(GRAPH::Graph_node* node, const Interface_chain* chain,
                                          SYNTAX_TREE::Compilation_unit* context_unit, bool debug);
SYNTAX_TREE::Compilation_unit* link_node_class(GRAPH::Compage_node_class* node_class,
                                               SYNTAX_TREE::Compilation_unit* context_unit);
SYNTAX_TREE::Compilation_unit* link_for_export(GRAPH::Graph_node* node, const Export_settings& settings,
                                               SYNTAX_TREE::Compilation_unit* context_unit);
SYNTAX_TREE::Compilation_unit* link_for_export(GRAPH::Graph_node_class* node_class, const Export_settings& settings,
                                               SYNTAX_TREE::Compilation_unit* context_unit);
SYNTAX_TREE::Compilation_unit* link_as_brdf(GRAPH::Compage_node_class* node_class);

// The value of a parameter as a tree constant; null for a type that has none. Scalars print
// with "%#f" so that a constant stays a float.
SYNTAX_TREE::St_node* constant_expression(const SYNTAX_TREE::Type& type, const void* bytes);

}  // namespace FLAT12
}  // namespace QZ
