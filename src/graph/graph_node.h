// Graph nodes: one use of a node class, with its own parameters and the attachments that wire
// its inputs to the outputs of other nodes or to the interface of its compound.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include "graph/annotation.h"
#include "graph/graph_observer.h"
#include "graph/node_class.h"
#include "graph/parameter.h"

namespace QZ {
namespace GRAPH {

class Graph_library;

using Node_map = std::unordered_map<const Graph_node*, Graph_node*>;

// The head of a path ends at the first '.' or '[' outside braces: the index of that character,
// or -1. "a.b" splits at 1, "{x.y}.z" at 5, "[1]" at 0.
int32_t path_split_index(const char* path);
// Head and tail around that index: the '.' is dropped, a '[' stays on the tail. An index of 0 or
// less is no split: all of path is the head. A null path gives two empty texts.
void split_path(const char* path, std::string& head, std::string& tail);

class Graph_node {
public:
    // A node of node_class (which may be null) with no parameters; create_node fills them.
    Graph_node(const char* name, Graph_node_class* node_class);
    // Every record elsewhere that still points here is removed, and the class and the compound
    // forget the node. The owner detaches first when the host is to be told.
    ~Graph_node();
    Graph_node(const Graph_node&) = delete;
    Graph_node& operator=(const Graph_node&) = delete;

    Graph_node_class* node_class() const { return node_class_; }
    // Moves the node to another class's instances (it is appended to that class's nodes).
    void set_node_class(Graph_node_class* node_class);
    Compage_node_class* parent() const { return parent_; }
    // True once a library or a compound owns the node.
    bool has_owner() const { return owner_ != nullptr; }
    // The library that owns a top-level node; null for an inner node or one nothing owns.
    Graph_library* owning_library() const;
    void set_parent(Compage_node_class* parent);

    void attach(const char* input_path, Graph_node* target, const char* target_path);
    // attach, with the input that the head of input_path names already found (or null): a
    // reader that knows it saves a search of the inputs per wire.
    void attach(Parameter* input, const char* input_path, Graph_node* target, const char* target_path);
    void detach(const char* path, bool is_input);
    // Detaches every wire of the node, inputs first, telling the observer of each.
    void detach_all();

    // Replaces the value of one of this node's parameters (a copy of bytes, or zeroes).
    void set_value(Parameter& parameter, const void* bytes);
    // The address of the value at path ("color", "list[2].x") of an input or output; null if none.
    void* find_value(const char* path, bool is_input);
    void rename(const char* new_name);
    void sync_with_class();

    // A copy whose attachments still point at the old targets; the caller remaps them.
    Graph_node* clone() const;
    // Points every attachment whose target is in map at the mapped node.
    void remap_targets(const Node_map& map);
    // Records the targets of all attachments, after code that wrote attachments directly.
    void note_targets();

    bool equals(const Graph_node* other, const Class_map& visited) const;

    Parameter* find_input(const char* name);
    Parameter* find_output(const char* name);

    std::string name;
    Parameter_list inputs;
    Parameter_list outputs;
    std::unique_ptr<Graph_user_data> user_data;
    uint8_t visited = 0;  // scratch flag of the linker
    Graph_observer* observer = nullptr;
    Annotation_list annotations;

private:
    friend class Compage_node_class;
    friend class Graph_node_class;
    friend class Graph_library;
    void note_target(Graph_node* target);
    // Drops every record of this node that points at target.
    void scrub_target(const Graph_node* target);
    void notify_attachments(const char* path);

    Graph_node_class* node_class_ = nullptr;
    size_t instance_index_ = 0;  // place in node_class_->instances_
    Compage_node_class* parent_ = nullptr;
    // The library or compound that will delete the node; a node has one owner at most.
    const void* owner_ = nullptr;
    // Nodes whose records may point here or that records here may point at: a wire has a
    // record at both ends, so the two are mostly the same nodes, kept in one list. A superset
    // that may repeat an entry: one stays after its record went, and costs a look when a node
    // ends. A small vector: most nodes have a wire or two, and a set costs allocations.
    std::vector<Graph_node*> neighbours_;
    std::vector<Compage_node_class*> incoming_classes_;
};

// Equality of nodes and classes over whole graphs: shared sub-graphs are compared once, and a
// cycle of attachments or of compound classes ends the walk instead of recursing.
bool graph_nodes_equal(const Graph_node* a, const Graph_node* b, const Class_map& visited);
bool graph_classes_equal(const Graph_node_class* a, const Graph_node_class* b, const Class_map& visited);

}  // namespace GRAPH
}  // namespace QZ
