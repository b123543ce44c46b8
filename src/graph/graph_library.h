// A graph library: the unit of storage for graphs. It owns its classes and top-level nodes.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "graph/annotation.h"
#include "graph/graph_observer.h"

namespace QZ {
namespace GRAPH {

class Graph_node;
class Graph_node_class;
class Compage_node_class;
struct Graph_write_hooks;

class Graph_library {
public:
    Graph_library() = default;
    // Nodes go first, then compounds, then the other classes.
    ~Graph_library();
    Graph_library(const Graph_library&) = delete;
    Graph_library& operator=(const Graph_library&) = delete;

    // Each takes ownership and returns the new index; null, an object this library already owns,
    // or a node that a library or compound owns, is ignored and gives -1.
    int32_t add_velar_class(Graph_node_class* node_class);
    int32_t add_compage_class(Compage_node_class* node_class);
    int32_t add_node(Graph_node* node);
    // The intrinsic math classes, once per library.
    void add_intrinsic_classes();
    // Moves everything of other here; other ends empty and its objects live on here.
    void merge(Graph_library* other);

    // The first of the name: classes from sources first, then compounds. Null for none.
    Graph_node_class* find_class(const char* name) const;
    Graph_node* find_node(const char* name) const;

    // Both lists as one, sources first: what the host counts and indexes.
    uint32_t class_count() const { return uint32_t(velar_classes.size() + compage_classes.size()); }
    Graph_node_class* class_at(uint32_t index) const;
    // The library as a graph file; on success file_name is path. False for a null path or a file
    // that cannot be written.
    bool save(const char* path, const Graph_write_hooks* hooks = nullptr);

    // Detach and delete; false for an object this library does not own.
    bool remove_node(Graph_node* node);
    bool remove_class(Graph_node_class* node_class);

    uint8_t intrinsics_added = 0;
    std::vector<Graph_node_class*> velar_classes;       // owned
    std::vector<Compage_node_class*> compage_classes;   // owned
    std::vector<Graph_node*> nodes;                     // owned
    Graph_observer* observer = nullptr;
    std::string file_name;
    // The host's metadata on the whole library; neither merged nor kept in files.
    Annotation_list annotations;

private:
    bool take(Graph_node_class* node_class);
};

}  // namespace GRAPH
}  // namespace QZ
