#include "graph/graph_library.h"

#include <algorithm>
#include <cstring>

#include "graph/graph_node.h"
#include "graph/intrinsic_classes.h"
#include "graph/node_class.h"
#include "log/mod_log.h"
#include "system/module.h"

namespace QZ {
namespace GRAPH {

namespace {

void log_adding(const Graph_node_class* node_class)
{
    if (LOG::mod_log)
        LOG::mod_log->debug(SYSTEM::MODULE_COMP, LOG::CAT_MISC, "adding class '%s' to library", node_class->name());
}

template <typename T>
bool erase_last(std::vector<T*>& list, const void* object)
{
    auto found = std::find(list.rbegin(), list.rend(), object);
    if (found == list.rend())
        return false;
    list.erase(std::next(found).base());
    return true;
}

}  // namespace

Graph_library::~Graph_library()
{
    // Reverse order: the last made is the cheapest to forget in the lists that hold it.
    for (size_t i = nodes.size(); i-- > 0;)
        delete nodes[i];
    for (size_t i = compage_classes.size(); i-- > 0;)
        delete compage_classes[i];
    for (size_t i = velar_classes.size(); i-- > 0;)
        delete velar_classes[i];
}

bool Graph_library::take(Graph_node_class* node_class)
{
    if (!node_class || node_class->owner_)
        return false;
    node_class->owner_ = this;
    return true;
}

int32_t Graph_library::add_velar_class(Graph_node_class* node_class)
{
    if (!take(node_class))
        return -1;
    log_adding(node_class);
    velar_classes.push_back(node_class);
    if (observer)
        observer->library_class_added(this, node_class);
    return int32_t(velar_classes.size() - 1);
}

int32_t Graph_library::add_compage_class(Compage_node_class* node_class)
{
    if (!take(node_class))
        return -1;
    compage_classes.push_back(node_class);
    if (observer)
        observer->library_class_added(this, node_class);
    return int32_t(compage_classes.size() - 1);
}

int32_t Graph_library::add_node(Graph_node* node)
{
    if (!node || node->owner_)
        return -1;
    node->owner_ = this;
    nodes.push_back(node);
    if (observer)
        observer->library_node_added(this, node);
    return int32_t(nodes.size() - 1);
}

void Graph_library::add_intrinsic_classes()
{
    if (intrinsics_added)
        return;
    std::vector<Graph_node_class*> made;
    make_intrinsic_classes(made);
    for (Graph_node_class* node_class : made)
        if (node_class->kind() == CLASS_VELAR)
            add_velar_class(node_class);
        else
            delete node_class;
    intrinsics_added = 1;
}

void Graph_library::merge(Graph_library* other)
{
    if (!other || other == this)
        return;
    std::vector<Graph_node_class*> velar;
    std::vector<Compage_node_class*> compage;
    std::vector<Graph_node*> moved;
    velar.swap(other->velar_classes);
    compage.swap(other->compage_classes);
    moved.swap(other->nodes);
    for (Graph_node_class* node_class : velar) {
        node_class->owner_ = nullptr;
        add_velar_class(node_class);
    }
    for (Compage_node_class* node_class : compage) {
        node_class->owner_ = nullptr;
        add_compage_class(node_class);
    }
    for (Graph_node* node : moved) {
        node->owner_ = nullptr;
        add_node(node);
    }
}

Graph_node_class* Graph_library::find_class(const char* name) const
{
    if (!name)
        return nullptr;
    for (Graph_node_class* node_class : velar_classes)
        if (std::strcmp(node_class->name(), name) == 0)
            return node_class;
    for (Compage_node_class* node_class : compage_classes)
        if (std::strcmp(node_class->name(), name) == 0)
            return node_class;
    return nullptr;
}

Graph_node* Graph_library::find_node(const char* name) const
{
    if (!name)
        return nullptr;
    for (Graph_node* node : nodes)
        if (node->name == name)
            return node;
    return nullptr;
}

Graph_node_class* Graph_library::class_at(uint32_t index) const
{
    if (index < velar_classes.size())
        return velar_classes[index];
    index -= uint32_t(velar_classes.size());
    return index < compage_classes.size() ? compage_classes[index] : nullptr;
}

bool Graph_library::remove_node(Graph_node* node)
{
    // Only the list is asked: a node already removed (and deleted) must not be read.
    if (!node || !erase_last(nodes, node))
        return false;
    if (observer)
        observer->library_node_removed(this, node);
    node->detach_all();
    delete node;
    return true;
}

bool Graph_library::remove_class(Graph_node_class* node_class)
{
    if (!node_class)
        return false;
    if (!erase_last(velar_classes, node_class) && !erase_last(compage_classes, node_class))
        return false;
    if (observer)
        observer->library_class_removed(this, node_class);
    delete node_class;
    return true;
}

}  // namespace GRAPH
}  // namespace QZ
