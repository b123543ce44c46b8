// The host's callbacks on graph objects. The facade implements them with short-lived wrappers;
// the graph code only says when something changed.
#pragma once

#include <cstdint>

namespace QZ {
namespace GRAPH {

class Graph_node;
class Graph_node_class;
class Compage_node_class;
class Graph_library;

// ORDER: the host interface has its operations in this order; the facade forwards by slot.
class Graph_observer {
public:
    virtual ~Graph_observer() = default;                                          // slot 0
    virtual void value_changed(Graph_node* node, uint32_t is_output, const char* parameter) {}  // 1
    virtual void attached(Graph_node* node, uint32_t is_output, const char* path, const char* member) {}  // 2
    virtual void detached(Graph_node* node, uint32_t is_output, const char* parameter, const char* member) {}  // 3
    virtual void parameter_added(Graph_node_class* node_class, bool is_output, const char* name) {}  // 4
    virtual void parameter_removed(Graph_node_class* node_class, bool is_output, const char* name) {}  // 5
    virtual void node_renamed(Graph_node* node, const char* old_name, const char* new_name) {}  // 6
    virtual void node_created(Graph_node_class* node_class, Graph_node* node) {}  // 7
    virtual void class_value_changed(Graph_node_class* node_class, uint32_t is_output, const char* parameter) {}  // 8
    virtual void library_node_added(Graph_library* library, Graph_node* node) {}  // 9
    virtual void compound_node_added(Compage_node_class* compound, Graph_node* node) {}  // 10
    virtual void library_node_removed(Graph_library* library, Graph_node* node) {}  // 11
    virtual void library_class_removed(Graph_library* library, Graph_node_class* node_class) {}  // 12
    virtual void library_class_added(Graph_library* library, Graph_node_class* node_class) {}  // 13
};

// Host data hung on a class or a node: copied with its owner, deleted with it.
class Graph_user_data {
public:
    virtual ~Graph_user_data() = default;
    // A copy for a cloned owner; null when the host keeps none.
    virtual Graph_user_data* clone() const = 0;
    // kind 1: attachments of node changed at name; kind 0: node renamed from name to new_name.
    virtual void notify(uint32_t kind, Graph_node* node, const char* name, const char* new_name) {}
};

}  // namespace GRAPH
}  // namespace QZ
