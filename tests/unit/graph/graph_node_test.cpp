// Graph nodes: paths, wires at both ends, following a changed class, clones, equality over whole
// graphs, and removals that leave nothing pointing at what went.
#include <gtest/gtest.h>

#include <cstring>
#include <memory>

#include "graph/graph_library.h"
#include "graph/graph_node.h"
#include "graph/node_class.h"
#include "graph_support.h"
#include "support/test_support.h"

using namespace QZ::GRAPH;
using graph_test::compile_source;

namespace {

const char* const shaders = R"(
struct Pair { Scalar a; Scalar b; };
shader Source {
input:
    Scalar gain = 2;
output:
    Color result;
    Pair pair;
    void main() { result = Color(gain, gain, gain, 1); pair.a = gain; pair.b = 0; }
};
shader Sink {
input:
    Color c = Color(0.5, 0.25, 0, 1);
    Pair p;
    Scalar s = 1.5;
output:
    Color result;
    void main() { result = c * s + Color(p.a, p.b, 0, 0); }
};
)";

struct Graph {
    std::shared_ptr<Compiled_source> source = compile_source(shaders);
    Graph_library library;
    Graph_node_class* source_class;
    Graph_node_class* sink_class;
    Graph()
    {
        library.add_velar_class(new Velar_node_class(source, "Source"));
        library.add_velar_class(new Velar_node_class(source, "Sink"));
        source_class = library.velar_classes[0];
        sink_class = library.velar_classes[1];
    }
    Graph_node* node(Graph_node_class* node_class, const char* name)
    {
        Graph_node* made = node_class->create_node(name);
        library.add_node(made);
        return made;
    }
};

size_t records(const Parameter* parameter) { return parameter ? parameter->attachments.size() : 0; }

}  // namespace

// A '}' without its '{' leaves the count below 0, where nothing splits.
TEST(Graph_path, heads_end_at_the_first_dot_or_bracket_outside_braces)
{
    struct Case {
        const char* path;
        int32_t index;
        const char* head;
        const char* tail;
    } cases[] = {
        {"a.b", 1, "a", "b"},          {"a[1].b", 1, "a", "[1].b"},  {"{x.y}.z", 5, "{x.y}", "z"},
        {"{x[1]}", -1, "{x[1]}", ""},  {"[2]", 0, "[2]", ""},        {"abc", -1, "abc", ""},
        {"{a.b", -1, "{a.b", ""},      {"}a.b", -1, "}a.b", ""},     {"a}.b{", -1, "a}.b{", ""},
        {"", -1, "", ""},              {"a.", 1, "a", ""},            {"{{a}.b}.c", 7, "{{a}.b}", "c"},
    };
    for (const Case& c : cases) {
        EXPECT_EQ(path_split_index(c.path), c.index) << c.path;
        std::string head, tail;
        split_path(c.path, head, tail);
        EXPECT_EQ(head, c.head) << c.path;
        EXPECT_EQ(tail, c.tail) << c.path;
    }
    EXPECT_EQ(path_split_index(nullptr), -1);
}

TEST(Graph_node, a_wire_is_two_records_and_detach_removes_both)
{
    Graph graph;
    Graph_node* from = graph.node(graph.source_class, "from");
    Graph_node* to = graph.node(graph.sink_class, "to");
    graph_test::Recorder recorder;
    to->observer = &recorder;

    to->attach("c.r", from, "pair.a");
    ASSERT_EQ(records(to->find_input("c")), 1u);
    const Attachment& near = to->find_input("c")->attachments[0];
    EXPECT_EQ(near.member_name, "r");
    EXPECT_EQ(near.target_node, from);
    EXPECT_EQ(near.target_name, "pair.a");
    ASSERT_EQ(records(from->find_output("pair")), 1u);
    const Attachment& far = from->find_output("pair")->attachments[0];
    EXPECT_EQ(far.member_name, "a");
    EXPECT_EQ(far.target_node, to);
    EXPECT_EQ(far.target_name, "c.r");

    // A second consumer of the same output; detaching the first must leave the second's record.
    Graph_node* other = graph.node(graph.sink_class, "other");
    other->attach("c.r", from, "pair.a");
    ASSERT_EQ(records(from->find_output("pair")), 2u);
    to->detach("c.r", true);
    EXPECT_EQ(records(to->find_input("c")), 0u);
    ASSERT_EQ(records(from->find_output("pair")), 1u);
    EXPECT_EQ(from->find_output("pair")->attachments[0].target_node, other);
    EXPECT_EQ(recorder.calls, (std::vector<std::string>{"attached to 0 c.r <null>", "detached to 0 c r"}));

    // Detaching what is not there changes nothing and tells nobody.
    to->detach("c.r", true);
    to->detach(nullptr, true);
    to->detach("nothing", true);
    EXPECT_EQ(recorder.calls.size(), 2u);
}

TEST(Graph_node, attaching_to_no_parent_logs_and_rolls_back)
{
    Graph graph;
    Graph_node* to = graph.node(graph.sink_class, "to");
    graph_test::Recorder recorder;
    to->observer = &recorder;
    vorn_test::Log_capture log;
    to->attach("s", nullptr, "outer");
    EXPECT_EQ(records(to->find_input("s")), 0u);
    ASSERT_FALSE(log.lines().empty());
    EXPECT_EQ(log.lines().back().module, 55);
    EXPECT_EQ(log.lines().back().code, 7);
    EXPECT_EQ(log.lines().back().text, "Node to has no parent to attach 's' to 'outer'");
    EXPECT_TRUE(recorder.calls.empty());
    // Null paths and unknown names are silent.
    to->attach(nullptr, to, "result");
    to->attach("s", to, nullptr);
    to->attach("unknown", to, "result");
    EXPECT_EQ(records(to->find_input("s")), 0u);
    EXPECT_EQ(records(to->find_output("result")), 1u) << "the far record of an unknown input stays one-sided";
}

TEST(Graph_node, a_node_attached_to_itself_is_removed_cleanly)
{
    Graph graph;
    Graph_node* node = graph.node(graph.sink_class, "loop");
    node->attach("c", node, "result");
    node->attach("c", node, "result");
    EXPECT_EQ(records(node->find_input("c")), 2u);
    EXPECT_EQ(records(node->find_output("result")), 2u);
    EXPECT_TRUE(node->equals(node, Class_map{}));
    EXPECT_TRUE(graph.library.remove_node(node));
    EXPECT_TRUE(graph.library.nodes.empty());
}

TEST(Graph_node, removing_a_node_leaves_no_record_pointing_at_it)
{
    Graph graph;
    Graph_node* from = graph.node(graph.source_class, "from");
    Graph_node* to = graph.node(graph.sink_class, "to");
    to->attach("c", from, "result");
    // A one-sided wire: the far name does not exist, so only the consumer holds a record.
    to->attach("s", from, "no_such_output");
    Graph_node* copy = to->clone();
    graph.library.add_node(copy);
    ASSERT_EQ(records(copy->find_input("s")), 1u);
    EXPECT_EQ(copy->find_input("s")->attachments[0].target_node, from);

    EXPECT_TRUE(graph.library.remove_node(from));
    EXPECT_EQ(records(to->find_input("c")), 0u);
    EXPECT_EQ(records(to->find_input("s")), 0u);
    EXPECT_EQ(records(copy->find_input("s")), 0u);
    EXPECT_FALSE(graph.library.remove_node(from)) << "a node is removed once";
    EXPECT_EQ(graph.source_class->nodes.size(), 0u);
    EXPECT_EQ(graph.sink_class->nodes, (std::vector<Graph_node*>{to, copy}));
}

TEST(Graph_node, sync_keeps_values_and_wires_by_name_and_state_variable_inputs)
{
    Graph graph;
    Graph_node* from = graph.node(graph.source_class, "from");
    Graph_node* to = graph.node(graph.sink_class, "to");
    float half = 0.5f;
    to->set_value(*to->find_input("s"), &half);
    to->attach("c", from, "result");
    to->attach("p.a", from, "pair.b");
    // Parameters that the class does not have: a state variable stays, anything else dies.
    to->inputs.push_back(Parameter("normal", QZ::SYNTAX_TREE::TYPE_VECTOR3));
    to->inputs.push_back(Parameter("extra", QZ::SYNTAX_TREE::TYPE_SCALAR));
    to->attach("extra", from, "result");
    ASSERT_EQ(records(from->find_output("result")), 2u);

    // The class loses "p" and gets its inputs in another order.
    graph.sink_class->remove_parameter(true, "p");
    Parameter c = graph.sink_class->inputs[0];
    graph.sink_class->remove_parameter(true, "c");
    graph.sink_class->add_parameter(true, c);
    graph.sink_class->sync_nodes();

    ASSERT_EQ(to->inputs.size(), 3u);
    EXPECT_STREQ(to->inputs[0].name(), "s");
    EXPECT_STREQ(to->inputs[1].name(), "c");
    EXPECT_STREQ(to->inputs[2].name(), "normal");
    EXPECT_EQ(*static_cast<float*>(to->inputs[0].value), 0.5f);
    EXPECT_EQ(records(&to->inputs[1]), 1u);
    // The dead inputs took their far records with them: only the wire of "c" is left.
    ASSERT_EQ(records(from->find_output("result")), 1u);
    EXPECT_EQ(from->find_output("result")->attachments[0].target_name, "c");
    EXPECT_EQ(records(from->find_output("pair")), 0u);
}

TEST(Graph_node, a_value_of_another_layout_is_not_carried_over)
{
    Graph graph;
    Graph_node* to = graph.node(graph.sink_class, "to");
    float big = 9.0f;
    to->set_value(*to->find_input("s"), &big);
    graph.sink_class->remove_parameter(true, "s");
    graph.sink_class->add_parameter(true, Parameter("s", QZ::SYNTAX_TREE::TYPE_STRING));
    graph.sink_class->sync_nodes();
    Parameter* s = to->find_input("s");
    ASSERT_NE(s, nullptr);
    EXPECT_EQ(s->code(), QZ::SYNTAX_TREE::TYPE_STRING);
    EXPECT_EQ(*static_cast<char**>(s->value), nullptr);
}

TEST(Graph_node, find_value_reaches_members_of_a_parameter)
{
    Graph graph;
    Graph_node* to = graph.node(graph.sink_class, "to");
    float* c = static_cast<float*>(to->find_value("c", true));
    ASSERT_NE(c, nullptr);
    EXPECT_EQ(c[1], 0.25f) << "the default from the source";
    EXPECT_EQ(to->find_value("p.b", true), static_cast<uint8_t*>(to->find_input("p")->value) + 4);
    EXPECT_EQ(to->find_value("p.c", true), nullptr);
    EXPECT_EQ(to->find_value("result", false), to->find_output("result")->value);
    EXPECT_EQ(to->find_value("c", false), nullptr);
}

TEST(Graph_node, equality_follows_wires_through_shared_subgraphs_and_cycles)
{
    // Two copies of: a -> b, a -> c, b -> d, c -> d (d shared), and d -> a closing a cycle.
    Graph graph;
    auto build = [&](const char* suffix) {
        std::vector<Graph_node*> n;
        for (const char* name : {"a", "b", "c", "d"})
            n.push_back(graph.node(graph.sink_class, name));
        n[1]->attach("c", n[0], "result");
        n[2]->attach("c", n[0], "result");
        n[3]->attach("c", n[1], "result");
        n[3]->attach("c.g", n[2], "result");
        n[0]->attach("c", n[3], "result");
        (void)suffix;
        return n;
    };
    std::vector<Graph_node*> x = build("x");
    std::vector<Graph_node*> y = build("y");
    EXPECT_TRUE(x[3]->equals(y[3], Class_map{}));
    float value = 3.0f;
    y[2]->set_value(*y[2]->find_input("s"), &value);
    EXPECT_FALSE(x[3]->equals(y[3], Class_map{})) << "a difference two wires away counts";
    EXPECT_FALSE(x[0]->equals(y[0], Class_map{})) << "and around the cycle";
    x[2]->set_value(*x[2]->find_input("s"), &value);
    EXPECT_TRUE(x[0]->equals(y[0], Class_map{}));
}

TEST(Graph_node, a_long_chain_compares_and_goes_without_deep_recursion)
{
    Graph graph;
    auto chain = [&]() {
        Graph_node* previous = graph.node(graph.sink_class, "n");
        for (int i = 0; i < 50000; ++i) {
            Graph_node* next = graph.node(graph.sink_class, "n");
            next->attach("c", previous, "result");
            previous = next;
        }
        return previous;
    };
    Graph_node* x = chain();
    Graph_node* y = chain();
    EXPECT_TRUE(x->equals(y, Class_map{}));
}
