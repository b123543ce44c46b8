// Random sequences of graph edits, as a host editor makes them: nodes created, wired, cut,
// cloned, renamed, given values and removed; classes edited, copied, compared and removed;
// libraries merged. After every edit no record may point at a node that is gone, and no node at
// a class or compound that is gone. Messages are fine; faults, hangs and leaks are not.
#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <unordered_set>
#include <vector>

#include "compiler/mod_compiler.h"
#include "graph/graph_library.h"
#include "graph/graph_node.h"
#include "graph/node_class.h"
#include "log/mod_log.h"
#include "syntax_tree/compilation_unit.h"
#include "system/sequence.h"

using namespace QZ;
using namespace QZ::GRAPH;

namespace {

const char* const source_text = R"(
struct S { Scalar a; Int b[2]; String name; };
shader A {
input:
    Color c = Color(1, 0.5, 0, 1) { display_name("C"); };
    Scalar s = 2;
    S st;
    Scalar arr[] = {1.0, 2.0, 3.0};
    String label = "x";
output:
    Color result;
    S parts;
    void main() { result = c * s; parts = st; }
} { shader_type("surface"); };
shader B {
input:
    Vector3 normal;
    Int i = 3;
output:
    Scalar result;
    void main() { result = normal.x + i; }
};
)";

// Paths worth trying: members, indices, braces, and the malformed ones.
const char* const paths[] = {"c",     "c.r",    "s",      "st.a",   "st.b[1]", "arr[2]", "arr[3]",  "{x.y}.z",
                             "[0]",   "c[",     "}{.",    "",       "result",  "parts.a", "parts.name", "normal",
                             "i",     "label",  "nope",   "st.",    "arr[-1]", "{",      "in",      "result.g"};

std::shared_ptr<Compiled_source> shared_source;
// How much the edits built, printed at the end when VORN_FUZZ_STATS is set: a target that
// builds nothing finds nothing.
size_t records_seen = 0;
size_t nodes_seen = 0;
uint32_t sink = 0;

struct Stats {
    ~Stats()
    {
        if (std::getenv("VORN_FUZZ_STATS"))
            std::fprintf(stderr, "graph edits: %zu node checks, %zu record checks\n", nodes_seen, records_seen);
    }
} stats;

class Input {
public:
    Input(const uint8_t* data, size_t size) : data_(data), size_(size) {}
    bool done() const { return at_ >= size_; }
    uint32_t byte() { return at_ < size_ ? data_[at_++] : 0; }
    uint32_t pick(size_t count) { return count ? byte() % uint32_t(count) : 0; }
    const char* path() { return byte() == 255 ? nullptr : paths[pick(sizeof paths / sizeof paths[0])]; }

private:
    const uint8_t* data_;
    size_t size_;
    size_t at_ = 0;
};

struct World {
    std::unique_ptr<Graph_library> library = std::make_unique<Graph_library>();
    int serial = 0;

    std::vector<Graph_node*> all_nodes() const
    {
        std::vector<Graph_node*> nodes(library->nodes.begin(), library->nodes.end());
        for (Compage_node_class* compound : library->compage_classes)
            nodes.insert(nodes.end(), compound->inner_nodes.begin(), compound->inner_nodes.end());
        return nodes;
    }
    std::vector<Graph_node_class*> all_classes() const
    {
        std::vector<Graph_node_class*> classes(library->velar_classes.begin(), library->velar_classes.end());
        classes.insert(classes.end(), library->compage_classes.begin(), library->compage_classes.end());
        return classes;
    }
    Graph_node* node(Input& in) const
    {
        std::vector<Graph_node*> nodes = all_nodes();
        uint32_t index = in.pick(nodes.size() + 1);
        return index < nodes.size() ? nodes[index] : nullptr;
    }
    Graph_node_class* node_class(Input& in) const
    {
        std::vector<Graph_node_class*> classes = all_classes();
        return classes.empty() ? nullptr : classes[in.pick(classes.size())];
    }
    Compage_node_class* compound(Input& in) const
    {
        auto& list = library->compage_classes;
        return list.empty() ? nullptr : list[in.pick(list.size())];
    }
    std::string name() { return "n" + std::to_string(serial++); }
};

void fail(const char* what)
{
    std::fprintf(stderr, "graph edits: %s\n", what);
    std::abort();
}

// No pointer of the graph may lead to an object that is gone.
void check(const World& world)
{
    std::vector<Graph_node*> nodes = world.all_nodes();
    std::unordered_set<const Graph_node*> live(nodes.begin(), nodes.end());
    std::unordered_set<const Graph_node_class*> classes;
    for (Graph_node_class* node_class : world.all_classes())
        classes.insert(node_class);
    auto check_records = [&](const Parameter_list& list) {
        for (const Parameter& parameter : list)
            for (const Attachment& record : parameter.attachments) {
                ++records_seen;
                if (record.target_node && !live.count(record.target_node))
                    fail("a record points at a node that is gone");
            }
    };
    nodes_seen += nodes.size();
    for (const Graph_node* node : nodes) {
        check_records(node->inputs);
        check_records(node->outputs);
        if (node->node_class() && !classes.count(node->node_class()))
            fail("a node points at a class that is gone");
        if (node->parent() && !classes.count(node->parent()))
            fail("a node points at a compound that is gone");
    }
    for (const Graph_node_class* node_class : world.all_classes()) {
        for (const Graph_node* node : node_class->nodes)
            if (!live.count(node))
                fail("a class lists a node that is gone");
        if (auto* compound = dynamic_cast<const Compage_node_class*>(node_class)) {
            check_records(compound->interface_inputs);
            check_records(compound->interface_outputs);
        }
    }
}

Parameter some_parameter(Input& in)
{
    static const uint8_t codes[] = {6, 4, 24, 8, 22, 49, 1, 32};
    Parameter parameter(in.path(), codes[in.pick(sizeof codes)], in.pick(3));
    return parameter;
}

void edit(World& world, Input& in)
{
    Graph_library& library = *world.library;
    switch (in.byte() % 21) {
    case 0: {  // a node of some class, at top level or inside a compound
        Graph_node_class* node_class = world.node_class(in);
        if (!node_class)
            return;
        Graph_node* node = node_class->create_node(world.name().c_str());
        Compage_node_class* compound = in.byte() & 1 ? world.compound(in) : nullptr;
        if (compound)
            compound->add_inner_node(node);
        else
            library.add_node(node);
        return;
    }
    case 1:
    case 2:
        if (Graph_node* node = world.node(in))
            node->attach(in.path(), world.node(in), in.path());
        return;
    case 3:
        if (Graph_node* node = world.node(in))
            node->detach(in.path(), in.byte() & 1);
        return;
    case 4: {  // removal through the owner, or a class that only forgets
        Graph_node* node = world.node(in);
        if (!node)
            return;
        uint32_t how = in.byte() % 3;
        if (how == 2 && node->node_class())
            node->node_class()->remove_node(node);
        else if (!library.remove_node(node) && node->parent())
            node->parent()->remove_inner_node(node);
        return;
    }
    case 5:
        if (Graph_node* node = world.node(in)) {
            Graph_node* copy = node->clone();
            if (copy->parent() && in.byte() & 1)
                copy->parent()->add_inner_node(copy);
            else
                library.add_node(copy);
        }
        return;
    case 6: {
        Compage_node_class* target = world.compound(in);
        Graph_node_class* source = world.node_class(in);
        Class_map remap;
        if (Graph_node_class* from = world.node_class(in))
            remap[from] = world.node_class(in);
        if (target)
            target->copy_from(source, remap);
        return;
    }
    case 7:
        if (Graph_node_class* node_class = world.node_class(in)) {
            Graph_node_class* copy = node_class->clone();
            if (auto* compound = dynamic_cast<Compage_node_class*>(copy))
                library.add_compage_class(compound);
            else if (copy)
                library.add_velar_class(copy);
        }
        return;
    case 8: {
        Graph_node* a = world.node(in);
        Graph_node* b = world.node(in);
        if (a)
            a->equals(b, Class_map{});
        Graph_node_class* x = world.node_class(in);
        Graph_node_class* y = world.node_class(in);
        if (x)
            x->equals(y, Class_map{});
        return;
    }
    case 9: {
        Graph_node_class* node_class = world.node_class(in);
        if (!node_class)
            return;
        uint32_t how = in.byte() % 3;
        if (how == 0)
            node_class->add_parameter(in.byte() & 1, some_parameter(in));
        else if (how == 1)
            node_class->insert_parameter(in.byte() & 1, in.byte(), some_parameter(in));
        else
            node_class->remove_parameter(in.byte() & 1, in.path());
        if (in.byte() & 1)
            node_class->sync_nodes();
        return;
    }
    case 10:
        if (Graph_node* node = world.node(in))
            node->rename(in.byte() & 1 ? in.path() : nullptr);
        return;
    case 11:
        if (Graph_node* node = world.node(in)) {
            Parameter_list& list = in.byte() & 1 ? node->inputs : node->outputs;
            if (list.empty())
                return;
            Parameter& parameter = list[in.pick(list.size())];
            uint8_t bytes[256] = {};
            for (uint8_t& b : bytes)
                b = uint8_t(in.byte());
            bool plain = parameter.code() != 22 && parameter.code() < 48 && parameter.code() != 32 &&
                         parameter.array_size() != 0 && parameter.size() <= sizeof bytes;
            node->set_value(parameter, plain ? bytes : nullptr);
            // Read, not written: the address may be that of a text pointer.
            if (const void* at = node->find_value(in.path(), true))
                sink += *static_cast<const volatile uint8_t*>(at);
        }
        return;
    case 12:
        if (Compage_node_class* compound = world.compound(in))
            compound->attach_interface(in.path(), world.node(in), in.path());
        return;
    case 13:
        if (Graph_node_class* node_class = world.node_class(in))
            library.remove_class(node_class);
        return;
    case 14:
        if (Graph_node* node = world.node(in))
            node->sync_with_class();
        return;
    case 15:
        if (auto* velar = dynamic_cast<Velar_node_class*>(world.node_class(in))) {
            if (in.byte() & 1)
                velar->refresh_from_unit();
            else
                velar->copy_from(world.node_class(in), Class_map{});
        }
        return;
    case 16: {  // a second library, merged in
        Graph_library other;
        other.add_compage_class(new Compage_node_class(world.name().c_str()));
        other.add_velar_class(new Velar_node_class(shared_source, "B"));
        other.add_node(other.velar_classes[0]->create_node(world.name().c_str()));
        library.merge(&other);
        return;
    }
    case 17:
        if (Graph_node* node = world.node(in))
            node->detach_all();
        return;
    case 18:
        if (Graph_node* node = world.node(in)) {
            if (in.byte() & 1)
                node->set_node_class(world.node_class(in));
            else if (!node->parent() || std::find(node->parent()->inner_nodes.begin(), node->parent()->inner_nodes.end(),
                                                  node) == node->parent()->inner_nodes.end())
                node->set_parent(world.compound(in));
        }
        return;
    case 19:  // a node that has an owner offered to another: refused, never owned twice
        if (Graph_node* node = world.node(in)) {
            Compage_node_class* compound = world.compound(in);
            if (in.byte() & 1 && compound)
                compound->add_inner_node(node);
            else
                library.add_node(node);
        }
        return;
    default:
        if (Compage_node_class* compound = world.compound(in))
            compound->add_parameter(in.byte() & 1, some_parameter(in));
        return;
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    if (!shared_source) {
        if (!COMPILER::mod_compiler)
            SYSTEM::start_sequence();
        LOG::mod_log->set_severity_limit(LOG::severity_bit(LOG::SEV_FATAL));
        SYNTAX_TREE::Error_list errors;
        std::shared_ptr<SYNTAX_TREE::Compilation_unit> unit(
            COMPILER::mod_compiler->compile_text("graph_edits.ovl", source_text, &errors));
        if (!unit || !errors.empty())
            fail("the source of the classes does not compile");
        shared_source = std::make_shared<Compiled_source>(unit, std::string());
    }
    World world;
    world.library->add_velar_class(new Velar_node_class(shared_source, "A"));
    world.library->add_velar_class(new Velar_node_class(shared_source, "B"));
    auto* compound = new Compage_node_class("Group");
    compound->add_parameter(true, Parameter("c", 24));
    compound->add_parameter(false, Parameter("result", 24));
    world.library->add_compage_class(compound);
    Input in(data, size);
    for (int steps = 0; !in.done() && steps < 400; ++steps) {
        edit(world, in);
        check(world);
    }
    return 0;
}
