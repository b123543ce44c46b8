// The intrinsic math classes: every class against the table kept in
// tests/data/graph/intrinsic_classes.txt (scripts/update_intrinsic_golden.sh), each unit free of
// errors, and what libraries share and what each owns.
#include <gtest/gtest.h>

#include <fstream>
#include <string>
#include <vector>

#include "graph/graph_library.h"
#include "graph/graph_node.h"
#include "graph/node_class.h"
#include "support/test_support.h"
#include "syntax_tree/compilation_unit.h"
#include "syntax_tree/diagnostics.h"

using namespace QZ::GRAPH;

namespace {

std::string signature(const Graph_node_class& node_class)
{
    std::string line = std::string(node_class.name()) + "(";
    for (size_t i = 0; i < node_class.inputs.size(); ++i)
        line += (i ? ", " : "") + std::string(node_class.inputs[i].type_name_text()) + " " + node_class.inputs[i].name();
    line += ") ->";
    for (const Parameter& output : node_class.outputs)
        line += " " + std::string(output.type_name_text()) + " " + output.name();
    return line;
}

std::vector<std::string> expected_signatures()
{
    std::ifstream in(std::string(VORN_TEST_DATA_DIR) + "/graph/intrinsic_classes.txt");
    std::vector<std::string> lines;
    for (std::string line; std::getline(in, line);)
        if (!line.empty() && line[0] != '#')
            lines.push_back(line);
    return lines;
}

}  // namespace

TEST(Intrinsic_classes, match_the_table_in_order_and_compile_without_errors)
{
    Graph_library library;
    library.add_intrinsic_classes();
    std::vector<std::string> expected = expected_signatures();
    ASSERT_EQ(expected.size(), 367u) << "the table file is missing or cut";
    ASSERT_EQ(library.velar_classes.size(), expected.size());
    for (size_t i = 0; i < expected.size(); ++i) {
        const Graph_node_class& node_class = *library.velar_classes[i];
        EXPECT_EQ(signature(node_class), expected[i]) << "class " << i;
        EXPECT_TRUE(node_class.has_no_file());
        EXPECT_FALSE(node_class.is_trivial()) << node_class.name();
        const QZ::SYNTAX_TREE::Compilation_unit* unit = node_class.compilation_unit();
        ASSERT_NE(unit, nullptr);
        for (const auto& error : unit->errors())
            ADD_FAILURE() << node_class.name() << ": " << QZ::SYNTAX_TREE::format_error(error, "__generated__");
        // Every zero default is really zero: no input carries a stray value.
        for (const Parameter& input : node_class.inputs)
            for (uint32_t b = 0; input.value && b < input.size(); ++b)
                ASSERT_EQ(static_cast<const uint8_t*>(input.value)[b], 0) << node_class.name();
    }
}

TEST(Intrinsic_classes, are_added_once_per_library_and_owned_by_each)
{
    Graph_library first;
    first.add_intrinsic_classes();
    first.add_intrinsic_classes();
    EXPECT_EQ(first.velar_classes.size(), 367u);

    auto second = std::make_unique<Graph_library>();
    second->add_intrinsic_classes();
    ASSERT_EQ(second->velar_classes.size(), 367u);
    EXPECT_NE(second->velar_classes[0], first.velar_classes[0]);
    // Same shared unit, separate classes: renaming one leaves the other alone.
    EXPECT_EQ(second->velar_classes[0]->compilation_unit(), first.velar_classes[0]->compilation_unit());
    second->velar_classes[0]->set_name("Renamed");
    EXPECT_STREQ(first.velar_classes[0]->name(), "Math_Scalar_Add");
    second.reset();
    EXPECT_STREQ(first.velar_classes[0]->name(), "Math_Scalar_Add");
    EXPECT_NE(first.velar_classes[0]->compilation_unit(), nullptr);

    // The two state classes of "position" are both there; lookups find the first.
    Graph_node_class* position = first.find_class("State_Position");
    ASSERT_NE(position, nullptr);
    EXPECT_EQ(position->inputs.size(), 0u);
    int count = 0;
    for (Graph_node_class* node_class : first.velar_classes)
        count += std::string(node_class->name()) == "State_Position";
    EXPECT_EQ(count, 2);
}

TEST(Intrinsic_classes, library_add_logs_and_tells_the_observer)
{
    struct Counter : Graph_observer {
        int added = 0;
        void library_class_added(Graph_library*, Graph_node_class*) override { ++added; }
    } counter;
    Graph_library library;
    library.observer = &counter;
    library.add_intrinsic_classes();
    EXPECT_EQ(counter.added, 367);
    EXPECT_EQ(library.intrinsics_added, 1);
}
