// Equality over whole graphs, walked with a work list. Pairs already taken up count as equal
// while they are being compared: that is what cuts a cycle, and a shared sub-graph is compared
// once. Any difference ends the walk with false, so an assumption never outlives a failure.
#include <cstring>
#include <functional>
#include <unordered_set>
#include <utility>
#include <vector>

#include "graph/graph_node.h"
#include "graph/node_class.h"

namespace QZ {
namespace GRAPH {

namespace {

struct Pair_hash {
    size_t operator()(const std::pair<const void*, const void*>& pair) const
    {
        return std::hash<const void*>()(pair.first) * 31 + std::hash<const void*>()(pair.second);
    }
};

class Graph_comparison {
public:
    explicit Graph_comparison(const Class_map& visited)
    {
        for (const auto& entry : visited)
            seen_classes_.insert({entry.first, entry.second});
    }

    void add_nodes(const Graph_node* a, const Graph_node* b) { work_.push_back({false, a, b}); }
    void add_classes(const Graph_node_class* a, const Graph_node_class* b) { work_.push_back({true, a, b}); }

    bool run()
    {
        while (!work_.empty()) {
            Item item = work_.back();
            work_.pop_back();
            bool equal = item.is_class ? compare_classes(static_cast<const Graph_node_class*>(item.a),
                                                         static_cast<const Graph_node_class*>(item.b))
                                       : compare_nodes(static_cast<const Graph_node*>(item.a),
                                                       static_cast<const Graph_node*>(item.b));
            if (!equal)
                return false;
        }
        return true;
    }

private:
    struct Item {
        bool is_class;
        const void* a;
        const void* b;
    };

    bool compare_classes(const Graph_node_class* a, const Graph_node_class* b)
    {
        if (a == b)
            return true;
        if (!a || !b)
            return false;
        if (!seen_classes_.insert({a, b}).second)
            return true;
        if (a->kind() == CLASS_VELAR)
            return b->kind() == CLASS_VELAR && std::strcmp(a->name(), b->name()) == 0;
        const auto* x = dynamic_cast<const Compage_node_class*>(a);
        const auto* y = dynamic_cast<const Compage_node_class*>(b);
        if (!x)
            return a->equals(b, Class_map{});
        if (!y || b->kind() != CLASS_COMPAGE || std::strcmp(x->name(), y->name()) != 0 ||
            x->inner_nodes.size() != y->inner_nodes.size() || x->inputs.size() != y->inputs.size() ||
            x->outputs.size() != y->outputs.size() || x->interface_inputs.size() != y->interface_inputs.size() ||
            x->interface_outputs.size() != y->interface_outputs.size())
            return false;
        for (size_t i = x->inner_nodes.size(); i-- > 0;)
            add_nodes(x->inner_nodes[i], y->inner_nodes[i]);
        return true;
    }

    bool compare_nodes(const Graph_node* a, const Graph_node* b)
    {
        if (a == b)
            return true;
        if (!a || !b)
            return false;
        if (!seen_nodes_.insert({a, b}).second)
            return true;
        if (a->name != b->name || !compare_lists(a->inputs, b->inputs) || !compare_lists(a->outputs, b->outputs))
            return false;
        if (a->node_class() != b->node_class())
            add_classes(a->node_class(), b->node_class());
        return true;
    }

    bool compare_lists(const Parameter_list& a, const Parameter_list& b)
    {
        if (a.size() != b.size())
            return false;
        for (size_t i = 0; i < a.size(); ++i)
            if (!compare_parameters(a[i], b[i]))
                return false;
        return true;
    }

    bool compare_parameters(const Parameter& a, const Parameter& b)
    {
        if (!a.equals(b) || a.exposure != b.exposure || a.annotations.size() != b.annotations.size() ||
            a.attachments.size() != b.attachments.size())
            return false;
        for (size_t i = 0; i < a.attachments.size(); ++i) {
            const Attachment& x = a.attachments[i];
            const Attachment& y = b.attachments[i];
            if (x.member_name != y.member_name || x.target_name != y.target_name)
                return false;
            // A wire to the interface on either side is not followed.
            if (x.target_node && y.target_node && x.target_node != y.target_node)
                add_nodes(x.target_node, y.target_node);
        }
        return true;
    }

    std::vector<Item> work_;
    std::unordered_set<std::pair<const void*, const void*>, Pair_hash> seen_nodes_;
    std::unordered_set<std::pair<const void*, const void*>, Pair_hash> seen_classes_;
};

}  // namespace

bool graph_nodes_equal(const Graph_node* a, const Graph_node* b, const Class_map& visited)
{
    Graph_comparison comparison(visited);
    comparison.add_nodes(a, b);
    return comparison.run();
}

bool graph_classes_equal(const Graph_node_class* a, const Graph_node_class* b, const Class_map& visited)
{
    Graph_comparison comparison(visited);
    comparison.add_classes(a, b);
    return comparison.run();
}

}  // namespace GRAPH
}  // namespace QZ
