// Graph files: hand-written files in tests/data/graph_file read and written back byte for byte,
// round trips that compare the libraries, and the messages of files that go wrong.
#include <gtest/gtest.h>

#include <cstring>
#include <fstream>
#include <memory>
#include <string>

#include "graph/graph_file.h"
#include "graph/graph_library.h"
#include "graph/graph_node.h"
#include "graph/node_class.h"
#include "support/test_support.h"

using namespace QZ::GRAPH;
using QZ::SYNTAX_TREE::Error_list;

namespace {

const std::string data_dir = std::string(VORN_TEST_DATA_DIR) + "/graph_file";

void write_file(const std::string& path, const std::string& text)
{
    std::ofstream(path, std::ios::binary) << text;
}

// The data file copied into a fresh directory beside its Ovrel source.
std::string stage(const std::string& dir_name, const std::string& file)
{
    std::string dir = vorn_test::make_temp_dir(dir_name);
    write_file(dir + "/all_types.ovl", vorn_test::read_file(data_dir + "/all_types.ovl"));
    write_file(dir + "/" + file, vorn_test::read_file(data_dir + "/" + file));
    return dir;
}

std::unique_ptr<Graph_library> load(const std::string& path, Error_list* errors = nullptr)
{
    Error_list local;
    std::unique_ptr<Graph_library> library(load_file(path.c_str(), nullptr, errors ? errors : &local));
    return library;
}

bool libraries_equal(const Graph_library& a, const Graph_library& b)
{
    if (a.nodes.size() != b.nodes.size() || a.compage_classes.size() != b.compage_classes.size())
        return false;
    for (size_t i = 0; i < a.compage_classes.size(); ++i)
        if (!graph_classes_equal(a.compage_classes[i], b.compage_classes[i], Class_map()))
            return false;
    for (size_t i = 0; i < a.nodes.size(); ++i)
        if (!graph_nodes_equal(a.nodes[i], b.nodes[i], Class_map()))
            return false;
    return true;
}

// Load the staged file, save it, and expect the same bytes; then load the saved file and
// expect an equal library that saves to the same bytes again.
void expect_round_trip(const std::string& dir, const std::string& file)
{
    const std::string original = vorn_test::read_file(dir + "/" + file);
    Error_list errors;
    auto first = load(dir + "/" + file, &errors);
    ASSERT_TRUE(first);
    EXPECT_TRUE(errors.empty());
    ASSERT_TRUE(first->save((dir + "/saved.xovl").c_str()));
    EXPECT_EQ(first->file_name, dir + "/saved.xovl");
    EXPECT_EQ(vorn_test::read_file(dir + "/saved.xovl"), original);

    auto second = load(dir + "/saved.xovl");
    ASSERT_TRUE(second);
    EXPECT_TRUE(libraries_equal(*first, *second));
    ASSERT_TRUE(second->save((dir + "/again.xovl").c_str()));
    EXPECT_EQ(vorn_test::read_file(dir + "/again.xovl"), original);
}

template <typename T>
T read_at(Graph_node& node, const char* path)
{
    T value{};
    void* place = node.find_value(path, true);
    EXPECT_TRUE(place) << path;
    if (place)
        std::memcpy(&value, place, sizeof value);
    return value;
}

const char* const root_line =
    "<root xmlns:xsi=\"http://www.w3.org/2001/XMLSchema-instance\" "
    "xsi:noNamespaceSchemaLocation=\"schemas/vorn_file_io.xsd\">\n";

}  // namespace

TEST(Graph_file, every_value_type_reads_and_writes_back_the_same_bytes)
{
    std::string dir = stage("graph_file_values", "all_types.xovl");
    expect_round_trip(dir, "all_types.xovl");

    auto library = load(dir + "/all_types.xovl");
    ASSERT_TRUE(library && library->nodes.size() == 1);
    Graph_node& node = *library->nodes[0];
    EXPECT_EQ(read_at<int32_t>(node, "i"), -7);
    EXPECT_EQ(read_at<float>(node, "fixed[2]"), 3.0f);
    EXPECT_EQ(read_at<float>(node, "open[1]"), 5.0f);
    EXPECT_EQ(read_at<int32_t>(node, "o.b[1]"), 8);
    EXPECT_EQ(read_at<int32_t>(node, "many[1].b[0]"), -1);
    EXPECT_STREQ(read_at<const char*>(node, "o.s"), "inside");
    EXPECT_STREQ(read_at<const char*>(node, "str"), "some text");
    EXPECT_EQ(read_at<uint32_t>(node, "open"), 2u);
    // The input the class does not have keeps its type.
    Parameter* extra = node.find_input("extra");
    ASSERT_TRUE(extra);
    EXPECT_EQ(extra->code(), QZ::SYNTAX_TREE::TYPE_VECTOR3);
}

TEST(Graph_file, compounds_in_compounds_and_wires_read_and_write_back_the_same_bytes)
{
    std::string dir = stage("graph_file_compound", "compound.xovl");
    expect_round_trip(dir, "compound.xovl");

    auto library = load(dir + "/compound.xovl");
    ASSERT_TRUE(library);
    ASSERT_EQ(library->compage_classes.size(), 2u);
    Compage_node_class* four = library->compage_classes[1];
    Graph_node* second = four->find_inner_node("second");
    ASSERT_TRUE(second);
    ASSERT_EQ(second->inputs[0].attachments.size(), 1u);
    EXPECT_EQ(second->inputs[0].attachments[0].target_node, four->find_inner_node("first"));
}

TEST(Graph_file, nodes_follow_the_nodes_they_read_and_otherwise_go_by_name)
{
    Graph_library library;
    library.add_intrinsic_classes();
    Graph_node_class* add = library.find_class("Math_Scalar_Add");
    ASSERT_TRUE(add);
    for (const char* name : {"d", "a", "c", "b"})
        library.add_node(add->create_node(name));
    // a reads d, and d reads c: b and c are free, and b goes first by name.
    library.find_node("a")->attach("left", library.find_node("d"), "result");
    library.find_node("d")->attach("right", library.find_node("c"), "result");
    std::string order;
    for (const Graph_node* node : sorted_nodes(library.nodes))
        order += node->name;
    EXPECT_EQ(order, "bcda");

    // A cycle still writes every node once.
    library.find_node("c")->attach("left", library.find_node("a"), "result");
    EXPECT_EQ(sorted_nodes(library.nodes).size(), 4u);
}

TEST(Graph_file, a_compound_follows_the_compounds_its_inner_nodes_use)
{
    Graph_library library;
    auto* outer = new Compage_node_class("Outer");
    auto* inner = new Compage_node_class("Inner");
    library.add_compage_class(outer);
    library.add_compage_class(inner);
    outer->add_inner_node(inner->create_node("use"));
    inner->add_inner_node(outer->create_node("loop"));  // a loop is cut, not followed forever
    auto order = sorted_compounds(library);
    ASSERT_EQ(order.size(), 2u);
    EXPECT_STREQ(order[0]->name(), "Inner");
    EXPECT_STREQ(order[1]->name(), "Outer");
}

TEST(Graph_file, a_file_with_only_root_gives_an_empty_library)
{
    Error_list errors;
    std::unique_ptr<Graph_library> library(load_string("<root/>", nullptr, &errors));
    ASSERT_TRUE(library);
    EXPECT_TRUE(errors.empty());
    EXPECT_EQ(library->class_count(), 0u);
    EXPECT_TRUE(library->nodes.empty());

    std::string dir = vorn_test::make_temp_dir("graph_file_empty");
    ASSERT_TRUE(library->save((dir + "/empty.xovl").c_str()));
    EXPECT_EQ(vorn_test::read_file(dir + "/empty.xovl"),
              std::string(root_line).substr(0, std::strlen(root_line) - 2) + "/>\n");
}

TEST(Graph_file, nothing_to_read_gives_null_and_the_error)
{
    Error_list errors;
    EXPECT_EQ(load_string("", nullptr, &errors), nullptr);
    ASSERT_EQ(errors.size(), 1u);
    EXPECT_EQ(errors[0].number, QZ::SYNTAX_TREE::DIAG_EMPTY_XOVL);
    errors.clear();
    EXPECT_EQ(load_file("/nonexistent/graph.xovl", nullptr, &errors), nullptr);
    ASSERT_EQ(errors.size(), 1u);
    EXPECT_EQ(errors[0].number, QZ::SYNTAX_TREE::DIAG_UNABLE_TO_OPEN_FILE);
}

TEST(Graph_file, an_unknown_class_drops_its_node_and_the_wires_to_it)
{
    vorn_test::Log_capture log;
    std::unique_ptr<Graph_library> library(load_string(R"(<root>
  <ovrel_code intrinsic_nodes="true"/>
  <node name="lost" class="Nowhere">
    <input name="left" value="1"/>
  </node>
  <node name="kept" class="Math_Scalar_Add">
    <input name="left"><attachment target_name="result" target_node="lost"/></input>
    <input name="odd"><attachment target_name="result" target_node="kept"/></input>
  </node>
</root>)",
                                                       nullptr, nullptr));
    ASSERT_TRUE(library);
    ASSERT_EQ(library->nodes.size(), 1u);
    EXPECT_TRUE(log.contains("Can not find node class 'Nowhere', shader 'lost' will be skipped"));
    EXPECT_TRUE(log.contains("Could not find target 'lost' for attachment "));
    EXPECT_TRUE(log.contains("Can not find input parameter 'odd'"));
    EXPECT_TRUE(log.contains("Unknown parameter for attachment to 'result'"));
    EXPECT_TRUE(library->nodes[0]->inputs[0].attachments.empty());
    for (const auto& line : log.lines())
        if (line.text.find("Can not find node class") != std::string::npos) {
            EXPECT_EQ(line.module, 55);
            EXPECT_EQ(line.code, 1);
        }
}

TEST(Graph_file, wires_to_later_nodes_fail_and_a_node_may_read_itself)
{
    vorn_test::Log_capture log;
    std::unique_ptr<Graph_library> library(load_string(R"(<root>
  <ovrel_code intrinsic_nodes="true"/>
  <node name="a" class="Math_Scalar_Add">
    <input name="left"><attachment target_name="result" target_node="b"/></input>
    <input name="right"><attachment target_name="result" target_node="a"/></input>
  </node>
  <node name="b" class="Math_Scalar_Add"/>
</root>)",
                                                       nullptr, nullptr));
    ASSERT_TRUE(library);
    EXPECT_TRUE(log.contains("Could not find target 'b' for attachment "));
    Graph_node* a = library->find_node("a");
    ASSERT_TRUE(a);
    ASSERT_EQ(a->inputs[1].attachments.size(), 1u);
    EXPECT_EQ(a->inputs[1].attachments[0].target_node, a);
}

TEST(Graph_file, a_compound_parameter_of_an_unknown_type_is_ignored)
{
    vorn_test::Log_capture log;
    std::unique_ptr<Graph_library> library(load_string(R"(<root>
  <compage name="C">
    <input name="x" type="Nothing"/>
    <input name="y" type="Scalar" array_size="3">
      <simple_value value="1"/><simple_value value="2"/><simple_value value="3"/><simple_value value="4"/>
    </input>
  </compage>
</root>)",
                                                       nullptr, nullptr));
    ASSERT_TRUE(library);
    EXPECT_TRUE(log.contains("Can not find parameter 'Nothing' to add to compage"));
    ASSERT_EQ(library->compage_classes.size(), 1u);
    Compage_node_class* compound = library->compage_classes[0];
    ASSERT_EQ(compound->interface_inputs.size(), 1u);
    EXPECT_EQ(compound->interface_inputs[0].array_size(), 3u);
    const float* values = static_cast<const float*>(compound->inputs[0].value);
    ASSERT_TRUE(values);
    EXPECT_EQ(values[2], 3.0f);  // the fourth value had no place
}

TEST(Graph_file, broken_text_keeps_what_was_read)
{
    vorn_test::Log_capture log;
    // Cut off inside the second node; a quotation mark in a value breaks the attribute.
    std::unique_ptr<Graph_library> library(load_string(R"(<root>
  <ovrel_code intrinsic_nodes="true"/>
  <node name="a" class="Math_Scalar_Add"/>
  <node name="b" class="Math_Scalar_Add">
    <input name="left" value="1)",
                                                       nullptr, nullptr));
    ASSERT_TRUE(library);
    EXPECT_EQ(library->nodes.size(), 2u);
    bool parser_line = false;
    for (const auto& line : log.lines())
        parser_line |= line.module == 55 && line.code == 9;
    EXPECT_TRUE(parser_line);
}

TEST(Graph_file, hostile_values_end_cleanly)
{
    // A million elements of an unsized array, and struct values nested far past any type.
    std::string text = "<root><compage name=\"C\"><input name=\"x\" type=\"Scalar\" array_size=\"0\">";
    for (int i = 0; i < 1000000; ++i)
        text += "<simple_value value=\"1\"/>";
    text += "</input><input name=\"y\" type=\"Vector2\">";
    for (int i = 0; i < 5000; ++i)
        text += "<struct_value><member_value name=\"q\">";
    for (int i = 0; i < 5000; ++i)
        text += "</member_value></struct_value>";
    text += "</input><input name=\"z\" type=\"Int\" value=\"no number\"/></compage></root>";
    std::unique_ptr<Graph_library> library(load_string(text.c_str(), nullptr, nullptr));
    ASSERT_TRUE(library && library->compage_classes.size() == 1);
    const Parameter& x = library->compage_classes[0]->interface_inputs[0];
    uint32_t count = 0;
    std::memcpy(&count, x.value, sizeof count);
    EXPECT_EQ(count, 1000000u);
}

namespace {

class Providing_resolver : public Graph_class_resolver {
public:
    Graph_node_class* find_class(const char*) override { return nullptr; }
    bool provides_intrinsics() override { return true; }
};

}  // namespace

TEST(Graph_file, intrinsic_classes_come_from_a_resolver_that_provides_them)
{
    Providing_resolver resolver;
    std::unique_ptr<Graph_library> library(
        load_string("<root><ovrel_code intrinsic_nodes=\"true\"/></root>", &resolver, nullptr));
    ASSERT_TRUE(library);
    EXPECT_EQ(library->class_count(), 0u);
    std::unique_ptr<Graph_library> own(load_string("<root><ovrel_code intrinsic_nodes=\"true\"/></root>", nullptr, nullptr));
    EXPECT_GT(own->class_count(), 0u);
}

TEST(Graph_file, host_data_is_written_through_the_callbacks_and_read_back_as_text)
{
    Graph_library library;
    library.add_intrinsic_classes();
    library.add_node(library.find_class("Math_Scalar_Abs")->create_node("n"));
    Graph_write_hooks hooks;
    hooks.gui = [](void*, Graph_node* node, QZ::COMPILER::Gui_data_writer* writer) {
        writer->begin_element("position");
        writer->attribute("x", 12);
        writer->attribute("label", node->name.c_str());
    };
    hooks.render = [](void*, QZ::COMPILER::Render_data_writer* writer) {
        writer->begin_element("view");
        writer->end_element();
    };
    std::string dir = vorn_test::make_temp_dir("graph_file_host");
    ASSERT_TRUE(library.save((dir + "/host.xovl").c_str(), &hooks));
    EXPECT_EQ(vorn_test::read_file(dir + "/host.xovl"), std::string(root_line) +
                                                           "  <ovrel_code intrinsic_nodes=\"true\"/>\n"
                                                           "  <node name=\"n\" class=\"Math_Scalar_Abs\">\n"
                                                           "    <input name=\"input\" value=\"0\"/>\n"
                                                           "    <output name=\"result\" value=\"0\"/>\n"
                                                           "    <gui_data>\n"
                                                           "      <position x=\"12\" label=\"n\"/>\n"
                                                           "    </gui_data>\n"
                                                           "  </node>\n"
                                                           "  <render_data>\n"
                                                           "    <view/>\n"
                                                           "  </render_data>\n"
                                                           "</root>\n");

    struct Seen {
        std::string gui, render;
    } seen;
    Graph_read_hooks read_hooks;
    read_hooks.gui = [](void* context, Graph_node* node, const char* text) {
        static_cast<Seen*>(context)->gui += node->name + ":" + text;
    };
    read_hooks.gui_context = &seen;
    read_hooks.render = [](void* context, const char* text) { static_cast<Seen*>(context)->render += text; };
    read_hooks.render_context = &seen;
    std::unique_ptr<Graph_library> back(load_file((dir + "/host.xovl").c_str(), nullptr, nullptr, read_hooks));
    ASSERT_TRUE(back);
    EXPECT_NE(seen.gui.find("n:"), std::string::npos);
    EXPECT_NE(seen.gui.find("<position x=\"12\" label=\"n\"/>"), std::string::npos);
    EXPECT_NE(seen.render.find("<view/>"), std::string::npos);
}

namespace {

// Finds classes in a library of the host's.
class Library_resolver : public Graph_class_resolver {
public:
    explicit Library_resolver(Graph_library& library) : library_(library) {}
    Graph_node_class* find_class(const char* name) override
    {
        ++asked;
        return library_.find_class(name);
    }
    bool provides_intrinsics() override { return false; }
    int asked = 0;

private:
    Graph_library& library_;
};

}  // namespace

TEST(Graph_file, a_compound_found_through_the_resolver_brings_the_classes_it_uses)
{
    // The host's library: Four_times holds two Twice nodes, Twice a Math_Scalar_Add node.
    auto outside = std::make_unique<Graph_library>();
    std::unique_ptr<Graph_library> staged(load_file((data_dir + "/compound.xovl").c_str(), nullptr, nullptr));
    ASSERT_TRUE(staged);
    outside->merge(staged.get());
    Library_resolver resolver(*outside);
    Error_list errors;
    std::unique_ptr<Graph_library> library(load_string(R"(<root>
  <node name="big" class="Four_times"><input name="x" value="2"/></node>
</root>)",
                                                       &resolver, &errors));
    ASSERT_TRUE(library);
    EXPECT_TRUE(errors.empty());
    Graph_node_class* four = library->find_class("Four_times");
    Graph_node_class* twice = library->find_class("Twice");
    Graph_node_class* add = library->find_class("Math_Scalar_Add");
    ASSERT_TRUE(four && twice && add) << "the compound came with the classes its inner nodes use";
    EXPECT_EQ(library->class_count(), 3u) << "and only those";
    EXPECT_NE(four, outside->find_class("Four_times"));
    // Inner nodes use the library's copies, so the host's library may go.
    auto* four_compound = static_cast<Compage_node_class*>(four);
    ASSERT_EQ(four_compound->inner_nodes.size(), 2u);
    EXPECT_EQ(four_compound->inner_nodes[0]->node_class(), twice);
    EXPECT_EQ(static_cast<Compage_node_class*>(twice)->inner_nodes[0]->node_class(), add);
    EXPECT_TRUE(graph_classes_equal(four, outside->find_class("Four_times"), Class_map()));
    outside.reset();
    std::string dir = vorn_test::make_temp_dir("graph_file_resolved");
    ASSERT_TRUE(library->save((dir + "/resolved.xovl").c_str()));
    std::string text = vorn_test::read_file(dir + "/resolved.xovl");
    EXPECT_NE(text.find("<compage name=\"Twice\">"), std::string::npos) << text;
    EXPECT_LT(text.find("<compage name=\"Twice\">"), text.find("<compage name=\"Four_times\">"));
}

TEST(Graph_file, a_class_the_library_has_is_not_asked_of_the_resolver)
{
    Graph_library outside;
    outside.add_intrinsic_classes();
    Library_resolver resolver(outside);
    std::unique_ptr<Graph_library> library(load_string(R"(<root>
  <ovrel_code intrinsic_nodes="true"/>
  <node name="a" class="Math_Scalar_Add"/>
  <node name="b" class="Math_Scalar_Sin"/>
</root>)",
                                                       &resolver, nullptr));
    ASSERT_TRUE(library);
    EXPECT_EQ(resolver.asked, 0);
    EXPECT_EQ(library->class_count(), outside.class_count());
}

TEST(Graph_file, a_source_with_compile_errors_appends_them_and_the_read_goes_on)
{
    std::string dir = vorn_test::make_temp_dir("graph_file_bad_source");
    write_file(dir + "/bad.ovl", "shader Bad { output: Color result; void main() { result = missing; } };\n");
    write_file(dir + "/graph.xovl", R"(<root>
  <ovrel_code intrinsic_nodes="true"/>
  <ovrel_code file_name="bad.ovl"/>
  <ovrel_code file_name="bad.ovl"/>
  <ovrel_code file_name="absent.ovl"/>
  <node name="a" class="Math_Scalar_Add"/>
</root>)");
    Error_list errors;
    errors.push_back(QZ::SYNTAX_TREE::Error_record{});  // what the caller had stays first
    File_errors by_file;
    std::unique_ptr<Graph_library> library(
        load_file((dir + "/graph.xovl").c_str(), nullptr, &errors, {}, nullptr, &by_file));
    ASSERT_TRUE(library) << "a source that cannot be opened does not cost the graph";
    ASSERT_EQ(by_file.size(), 2u) << "one list per source file, none for the graph file";
    EXPECT_EQ(by_file[0].first, dir + "/bad.ovl");
    EXPECT_NE(by_file[1].first.find("absent.ovl"), std::string::npos);
    ASSERT_GE(errors.size(), 3u);
    EXPECT_EQ(errors[0].number, 0u);
    size_t not_opened = 0, other = 0;
    for (size_t i = 1; i < errors.size(); ++i)
        (errors[i].number == QZ::SYNTAX_TREE::DIAG_UNABLE_TO_OPEN_FILE ? not_opened : other) += 1;
    EXPECT_EQ(not_opened, 1u) << "absent.ovl";
    EXPECT_GE(other, 1u) << "bad.ovl's error, once although the file is named twice";
    EXPECT_NE(library->find_node("a"), nullptr);
}

TEST(Graph_file, a_reader_started_on_a_library_shares_its_sources_and_types)
{
    std::string dir = stage("graph_file_into", "all_types.xovl");
    auto library = load(dir + "/all_types.xovl");
    ASSERT_TRUE(library);
    Graph_node_class* all = library->find_class("All");
    ASSERT_TRUE(all);
    size_t classes = library->class_count();
    write_file(dir + "/more.xovl", R"(<root>
  <ovrel_code file_name="all_types.ovl"/>
  <node name="second" class="All"/>
</root>)");
    Error_list errors;
    EXPECT_EQ(load_file((dir + "/more.xovl").c_str(), nullptr, &errors, {}, library.get()), library.get());
    EXPECT_TRUE(errors.empty());
    EXPECT_EQ(library->class_count(), classes) << "all_types.ovl was not compiled again";
    Graph_node* second = library->find_node("second");
    ASSERT_TRUE(second);
    EXPECT_EQ(second->node_class(), all);
    EXPECT_EQ(library->nodes.size(), 2u);
}

// The reader finds a node's parameters through an index of their names: whatever the order of
// the elements, a parameter added by the file, a parameter named twice, or the next node with
// the same names, each value and wire lands on the parameter the file names.
TEST(Graph_file, values_and_wires_land_on_the_parameters_named_in_any_order)
{
    vorn_test::Log_capture log;
    std::unique_ptr<Graph_library> library(load_string(R"(<root>
  <ovrel_code intrinsic_nodes="true"/>
  <node name="source" class="Math_Scalar_Add"/>
  <node name="a" class="Math_Scalar_Add">
    <input name="right" value="2"/>
    <input name="extra" type="Scalar" value="7">
      <attachment target_name="result" target_node="source"/>
    </input>
    <input name="left" value="1"/>
    <input name="right" value="3">
      <attachment target_name="result" target_node="source"/>
    </input>
    <output name="result" value="5"/>
  </node>
  <node name="b" class="Math_Scalar_Add">
    <input name="left" value="11"/>
    <input name="extra" value="8"/>
  </node>
</root>)",
                                                       nullptr, nullptr));
    ASSERT_TRUE(library);
    Graph_node* a = library->find_node("a");
    Graph_node* b = library->find_node("b");
    ASSERT_TRUE(a && b);
    ASSERT_EQ(a->inputs.size(), 3u);
    EXPECT_STREQ(a->inputs[2].name(), "extra");
    EXPECT_EQ(read_at<float>(*a, "left"), 1.0f);
    EXPECT_EQ(read_at<float>(*a, "right"), 3.0f);
    EXPECT_EQ(read_at<float>(*a, "extra"), 7.0f);
    float result = 0.0f;
    void* place = a->find_value("result", false);
    ASSERT_TRUE(place);
    std::memcpy(&result, place, sizeof result);
    EXPECT_EQ(result, 5.0f);
    EXPECT_TRUE(a->inputs[0].attachments.empty());
    ASSERT_EQ(a->inputs[1].attachments.size(), 1u);
    ASSERT_EQ(a->inputs[2].attachments.size(), 1u);
    EXPECT_EQ(a->inputs[2].attachments[0].target_node, library->find_node("source"));

    // The next node starts from its own parameters: "extra" is no input of b's class.
    EXPECT_EQ(b->inputs.size(), 2u);
    EXPECT_EQ(read_at<float>(*b, "left"), 11.0f);
    EXPECT_TRUE(log.contains("Can not find input parameter 'extra'"));
}
