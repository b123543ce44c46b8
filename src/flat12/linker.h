// Flattening graphs into one compilation unit: every node's class method copied once under a
// flat name, one local per node output, and the root's main calling them in evaluation order.
#pragma once

#include <array>
#include <cstdint>
#include <map>
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
class Graph_library;
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

// One light of an export link: its node, found by name in the link's library, and the defaults
// of the light's position, direction, spread, distance limit and type inputs.
struct Light_setup {
    std::string tag;
    float position[3] = {0.0f, 0.0f, 0.0f};
    float direction[3] = {0.0f, 0.0f, -1.0f};
    float spread = 0.7853982f;  // a cone of 45 degrees each side
    float distance_limit = 0.0f;
    int32_t type = 0;           // 0 point, 1 spot, 2 infinite, 3 planar
    uint8_t view_space = 1;     // the position and direction are in view space, else in world space
};

// One parameter of a light's flat function: a light state (its id) or an ordinary input (all
// ones), and the name its inputs take after "__light<index>_".
struct Light_parameter_record {
    uint32_t state_id = 0xffffffffu;
    std::string parameter_name;
    std::string variable_name;
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
    // By light class name, the parameters of its flat function, in order.
    std::map<std::string, std::vector<Light_parameter_record>> light_tables;
    // The native shadow hooks, one per light, that go at the top of the unit.
    std::vector<SYNTAX_TREE::St_node*> hook_list;
    std::vector<bool> view_space;  // one bit per light in list order

    std::string safe(const std::string& text) const;
};

enum Export_flags : uint32_t {
    // An input of an unsized array is declared with the size of its value.
    EXPORT_RESOLVE_UNSIZED_ARRAYS = 1,
};

// Light, environment and volume settings of an export link. Without a light list the light
// loops stay as they are; with one, even an empty one, each is unrolled once per light found.
struct Export_settings {
    bool has_light_list = false;
    std::vector<Light_setup> lights;
    GRAPH::Graph_library* library = nullptr;  // where the lights' nodes are found
    GRAPH::Graph_node* environment = nullptr;
    GRAPH::Graph_node* volume = nullptr;
    uint32_t flags = 0;
    const char* external_shadow_function = nullptr;  // the start of the shadow hooks' names
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
