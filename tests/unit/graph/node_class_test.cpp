// Node classes: names as identifiers, classes built from compiled shaders, refreshes, observer
// calls, compounds and their copies, annotations, and the library that owns them.
#include <gtest/gtest.h>

#include <cstring>
#include <memory>

#include "compiler/mod_compiler.h"
#include "graph/graph_library.h"
#include "graph/graph_node.h"
#include "graph/node_class.h"
#include "graph_support.h"
#include "support/test_support.h"
#include "syntax_tree/compilation_unit.h"

using namespace QZ::GRAPH;
using graph_test::compile_source;
using graph_test::Recorder;

TEST(Make_identifier, legal_names_from_any_text)
{
    EXPECT_EQ(make_identifier("2nd pass"), "_2nd_pass");
    EXPECT_EQ(make_identifier("shader"), "_shader_");
    EXPECT_EQ(make_identifier(""), "_");
    EXPECT_EQ(make_identifier(nullptr), "_");
    EXPECT_EQ(make_identifier("Color"), "_Color_");
    EXPECT_EQ(make_identifier("color"), "color") << "the reserved words are case-sensitive";
    EXPECT_EQ(make_identifier("_x"), "__x") << "an underscore is no letter";
    EXPECT_EQ(make_identifier("a-b.c"), "a_b_c");
    // Each byte of a non-ASCII character becomes one underscore.
    EXPECT_EQ(make_identifier("gr\xC3\xBCn"), "gr__n");
    EXPECT_EQ(make_identifier("\xC3\xA9t\xC3\xA9"), "___t__");
    // One round only: the wrapped word is not checked again.
    EXPECT_EQ(make_identifier("in"), "_in_");
}

TEST(Velar_node_class, parameters_defaults_and_annotations_from_the_unit)
{
    auto source = compile_source(R"(
enum Mode { FIRST, SECOND = 4 };
shader Lit {
input:
    Color tint = Color(1, 0.5, -0.25, 1) { display_name("Tint"); ui_range(0.0, 2); };
    Scalar gain = -3, bias(0.5);
    Int mode = SECOND;
    Scalar weights[] = {1.0, 2.5};
    String label = "hi";
    Vector3 v = Vector3(2);
    Bool on = true;
output:
    Color result;
    void main() { result = tint * gain; }
} { shader_type("surface"); hidden(); };
)");
    Velar_node_class node_class(source, "Lit");
    ASSERT_EQ(node_class.inputs.size(), 8u);
    const float* tint = static_cast<const float*>(node_class.inputs[0].value);
    EXPECT_EQ(tint[0], 1.0f);
    EXPECT_EQ(tint[1], 0.5f);
    EXPECT_EQ(tint[2], -0.25f);
    EXPECT_EQ(*static_cast<const float*>(node_class.inputs[1].value), -3.0f);
    EXPECT_STREQ(node_class.inputs[2].name(), "bias");
    EXPECT_EQ(*static_cast<const float*>(node_class.inputs[2].value), 0.5f);
    EXPECT_EQ(*static_cast<const int32_t*>(node_class.inputs[3].value), 4);
    const uint8_t* weights = static_cast<const uint8_t*>(node_class.inputs[4].value);
    EXPECT_EQ(*reinterpret_cast<const uint32_t*>(weights), 2u);
    EXPECT_EQ((*reinterpret_cast<float* const*>(weights + 8))[1], 2.5f);
    EXPECT_STREQ(*static_cast<char* const*>(node_class.inputs[5].value), "hi");
    EXPECT_EQ(static_cast<const float*>(node_class.inputs[6].value)[2], 2.0f) << "one value fills the vector";
    EXPECT_EQ(*static_cast<const uint8_t*>(node_class.inputs[7].value), 1);
    ASSERT_EQ(node_class.outputs.size(), 1u);
    EXPECT_EQ(node_class.outputs[0].exposure, 2u);

    const Annotation_list& annotations = node_class.inputs[0].annotations;
    ASSERT_EQ(annotations.size(), 2u);
    EXPECT_STREQ(annotations[0].annotation_name(), "display_name");
    EXPECT_STREQ(*static_cast<char* const*>(annotations[0].value), "Tint");
    // ui_range(0.0, 2): a Scalar then an Int, laid out as a struct of the two.
    ASSERT_EQ(annotations[1].member_count(), 2u);
    EXPECT_EQ(annotations[1].first_member()->next_member()->code(), QZ::SYNTAX_TREE::TYPE_INT32);
    EXPECT_EQ(*reinterpret_cast<const int32_t*>(static_cast<const uint8_t*>(annotations[1].value) + 4), 2);
    ASSERT_EQ(node_class.annotations.size(), 2u);
    EXPECT_EQ(find_annotation(node_class.annotations, "hidden"), 1);
    EXPECT_EQ(node_class.annotations[1].value, nullptr) << "no arguments, no value block";
    EXPECT_TRUE(node_class.has_no_file());
    EXPECT_FALSE(node_class.is_trivial());
}

TEST(Velar_node_class, refresh_follows_a_good_unit_and_ignores_a_bad_one)
{
    auto source = compile_source("shader S { input: Scalar a = 1; output: Color result; "
                                 "void main() { result = Color(a, a, a, 1); } };",
                                 "/shaders/s.ovl");
    auto node_class = std::make_unique<Velar_node_class>(source, "S");
    Graph_node* node = node_class->create_node("n");
    std::unique_ptr<Graph_node> owned(node);
    float two = 2.0f;
    node->set_value(node->inputs[0], &two);
    std::string file;
    node_class->file_name(file);
    EXPECT_EQ(file, "/shaders/s.ovl");
    EXPECT_FALSE(node_class->has_no_file());

    QZ::SYNTAX_TREE::Error_list errors;
    std::shared_ptr<QZ::SYNTAX_TREE::Compilation_unit> bad(QZ::COMPILER::mod_compiler->compile_text(
        "s.ovl", "shader S { input: Scalar b = 1; output: Color result; void main() { result = q; } };", &errors));
    ASSERT_NE(bad, nullptr);
    ASSERT_GT(bad->error_count(), 0u);
    source->set_unit(bad);
    EXPECT_STREQ(node_class->inputs[0].name(), "a") << "a unit with errors leaves the class alone";

    std::shared_ptr<QZ::SYNTAX_TREE::Compilation_unit> good(QZ::COMPILER::mod_compiler->compile_text(
        "s.ovl", "shader S { input: Scalar b = 1; Scalar a = 5; output: Color result; void main() { result = Color(a); } };",
        &errors));
    source->set_unit(good);
    ASSERT_EQ(node->inputs.size(), 2u);
    EXPECT_STREQ(node->inputs[0].name(), "b");
    EXPECT_EQ(*static_cast<float*>(node->inputs[1].value), 2.0f) << "the node keeps its value by name";

    Graph_node_class* copy = node_class->clone();
    ASSERT_NE(copy, nullptr);
    EXPECT_TRUE(copy->equals(node_class.get(), Class_map{}));
    delete copy;
    Compiled_source::drop_classes(source);
    source.reset();
    EXPECT_EQ(node_class->clone(), nullptr) << "a class that lost its source cannot be cloned";
    EXPECT_EQ(node_class->compilation_unit(), nullptr);
    EXPECT_TRUE(node_class->is_trivial());
}

TEST(Graph_node_class, observer_calls_and_the_doubled_insert)
{
    auto source = compile_source("shader S { input: Scalar a = 1; output: Color result; "
                                 "void main() { result = Color(a); } };");
    Velar_node_class velar(source, "S");
    Compage_node_class compound("Group");
    Recorder recorder;
    velar.observer = &recorder;
    compound.observer = &recorder;
    velar.insert_parameter(true, 99, Parameter("x", QZ::SYNTAX_TREE::TYPE_SCALAR));
    compound.insert_parameter(false, 0, Parameter("y", QZ::SYNTAX_TREE::TYPE_COLOR));
    velar.remove_parameter(true, nullptr);
    velar.remove_parameter(true, "x");
    compound.remove_parameter(false, "y");
    std::unique_ptr<Graph_node> node(velar.create_node("n"));
    EXPECT_EQ(recorder.calls, (std::vector<std::string>{"added S 0 x", "added S 0 x", "added Group 1 y",
                                                        "removed S 0 x", "removed Group 1 y", "created S n"}));
    EXPECT_STREQ(velar.inputs.back().name(), "a") << "an index past the end appends";
    velar.remove_node(nullptr);
    EXPECT_EQ(velar.nodes.size(), 1u);
}

TEST(Compage_node_class, interface_parameters_are_kept_twice_at_the_same_index)
{
    Compage_node_class compound("Group");
    Parameter with_wire("c", QZ::SYNTAX_TREE::TYPE_COLOR);
    compound.add_parameter(true, Parameter("first", QZ::SYNTAX_TREE::TYPE_SCALAR));
    compound.add_parameter(true, with_wire);
    compound.insert_parameter(true, 0, Parameter("zero", QZ::SYNTAX_TREE::TYPE_INT32));
    EXPECT_EQ(find_parameter(compound.inputs, "c"), 2);
    EXPECT_EQ(find_parameter(compound.interface_inputs, "c"), 2);
    compound.remove_parameter(true, "first");
    EXPECT_EQ(find_parameter(compound.inputs, "c"), 1);
    EXPECT_EQ(find_parameter(compound.interface_inputs, "c"), 1);
    EXPECT_FALSE(compound.has_no_file());
}

namespace {

// A checker pattern from intrinsic classes inside a compound:
//   u = floor(uv.x), v = floor(uv.y), sum = u + v, result = fmod(sum, 2)
struct Checker {
    Graph_library library;
    Compage_node_class* compound = new Compage_node_class("Checker");
    Checker()
    {
        library.add_intrinsic_classes();
        library.add_compage_class(compound);
        compound->add_parameter(true, Parameter("scale", QZ::SYNTAX_TREE::TYPE_SCALAR));
        compound->add_parameter(false, Parameter("result", QZ::SYNTAX_TREE::TYPE_SCALAR));
        Graph_node* u = inner("Math_Scalar_Floor", "u");
        Graph_node* v = inner("Math_Scalar_Floor", "v");
        Graph_node* sum = inner("Math_Scalar_Add", "sum");
        Graph_node* mod = inner("Math_Scalar_Fmod", "mod");
        u->attach("input", nullptr, "scale");
        v->attach("input", nullptr, "scale");
        sum->attach("left", u, "result");
        sum->attach("right", v, "result");
        mod->attach("left", sum, "result");
        float two = 2.0f;
        mod->set_value(*mod->find_input("right"), &two);
        compound->attach_interface("result", mod, "result");
    }
    Graph_node* inner(const char* node_class, const char* name)
    {
        Graph_node* node = library.find_class(node_class)->create_node(name);
        compound->add_inner_node(node);
        return node;
    }
};

}  // namespace

TEST(Compage_node_class, a_copy_is_equal_has_its_own_wires_and_differs_once_edited)
{
    Checker checker;
    Compage_node_class* compound = checker.compound;
    ASSERT_EQ(compound->interface_inputs[0].attachments.size(), 2u);
    Recorder recorder;
    auto* copy = static_cast<Compage_node_class*>(compound->clone());
    checker.library.add_compage_class(copy);
    EXPECT_TRUE(copy->equals(compound, Class_map{}));
    EXPECT_TRUE(compound->equals(copy, Class_map{}));
    // A node belongs to one owner: offering an inner node elsewhere changes nothing.
    EXPECT_EQ(checker.library.add_node(compound->inner_nodes[0]), -1);
    copy->add_inner_node(compound->inner_nodes[0]);
    EXPECT_EQ(compound->inner_nodes[0]->parent(), compound);

    // Every wire of the copy stays inside the copy.
    ASSERT_EQ(copy->inner_nodes.size(), 4u);
    for (Graph_node* node : copy->inner_nodes) {
        EXPECT_EQ(node->parent(), copy);
        for (const Parameter& parameter : node->inputs)
            for (const Attachment& record : parameter.attachments) {
                if (record.target_node) {
                    EXPECT_EQ(record.target_node->parent(), copy) << node->name;
                }
            }
    }
    const Attachment& out = copy->interface_outputs[0].attachments[0];
    EXPECT_EQ(out.target_node, copy->inner_nodes[3]);
    EXPECT_TRUE(copy->inputs[0].attachments.empty()) << "the outer list carries no wires";

    float three = 3.0f;
    Graph_node* mod = copy->find_inner_node("mod");
    mod->set_value(*mod->find_input("right"), &three);
    EXPECT_FALSE(copy->equals(compound, Class_map{}));
    mod->set_value(*mod->find_input("right"), nullptr);
    float two = 2.0f;
    mod->set_value(*mod->find_input("right"), &two);
    EXPECT_TRUE(copy->equals(compound, Class_map{}));
    copy->find_inner_node("sum")->detach("right", true);
    EXPECT_FALSE(copy->equals(compound, Class_map{}));

    // A remap moves the copied nodes to another class of the same name.
    Graph_node_class* floor = checker.library.find_class("Math_Scalar_Floor");
    Graph_node_class* other_floor = floor->clone();
    checker.library.add_velar_class(other_floor);
    Compage_node_class remapped("Checker");
    remapped.observer = &recorder;
    remapped.copy_from(compound, Class_map{{floor, other_floor}});
    EXPECT_EQ(remapped.inner_nodes[0]->node_class(), other_floor);
    EXPECT_EQ(remapped.inner_nodes[2]->node_class(), checker.library.find_class("Math_Scalar_Add"));
    EXPECT_EQ(recorder.calls.size(), 4u);
    EXPECT_EQ(recorder.calls[0], "inner Checker u");
    EXPECT_TRUE(remapped.equals(compound, Class_map{})) << "classes of one name compare equal";
}

TEST(Compage_node_class, compounds_that_hold_each_other_compare_without_end)
{
    Graph_library library;
    auto* a = new Compage_node_class("Loop");
    auto* b = new Compage_node_class("Loop");
    library.add_compage_class(a);
    library.add_compage_class(b);
    a->add_inner_node(b->create_node("inner"));
    b->add_inner_node(a->create_node("inner"));
    EXPECT_TRUE(a->equals(b, Class_map{}));
    EXPECT_TRUE(library.remove_class(a));
    EXPECT_EQ(b->inner_nodes[0]->node_class(), nullptr) << "a node outlives its class without a dangling pointer";
}

TEST(Graph_library, lookups_merge_and_removal)
{
    auto source = compile_source("shader S { output: Color result; void main() { result = Color(1); } };");
    Graph_library library;
    vorn_test::Log_capture log;
    // The line is a debug line: a library of intrinsic classes makes hundreds of them.
    uint32_t limit = QZ::LOG::mod_log->get_severity_limit();
    QZ::LOG::mod_log->set_severity_limit(limit | QZ::LOG::severity_bit(QZ::LOG::SEV_DEBUG));
    library.add_velar_class(new Velar_node_class(source, "S"));
    QZ::LOG::mod_log->set_severity_limit(limit);
    EXPECT_TRUE(log.contains("adding class 'S' to library"));
    Velar_node_class* second = new Velar_node_class(source, "S");
    EXPECT_EQ(library.add_velar_class(second), 1);
    EXPECT_EQ(library.find_class("S"), library.velar_classes[0]) << "the first of a name";
    EXPECT_EQ(library.add_velar_class(second), -1) << "an object is owned once";
    EXPECT_EQ(library.find_class(nullptr), nullptr);

    Graph_library other;
    auto* compound = new Compage_node_class("S");
    other.add_compage_class(compound);
    Graph_node* node = second->create_node("n");
    other.add_node(node);
    library.merge(&other);
    library.merge(nullptr);
    EXPECT_TRUE(other.velar_classes.empty() && other.compage_classes.empty() && other.nodes.empty());
    EXPECT_EQ(library.class_count(), 3u);
    EXPECT_EQ(library.class_at(2), compound);
    EXPECT_EQ(library.find_node("n"), node);
    EXPECT_TRUE(library.remove_class(second));
    EXPECT_EQ(node->node_class(), nullptr);
    EXPECT_TRUE(library.remove_node(node));
    EXPECT_EQ(library.find_node("n"), nullptr);
}

TEST(Graph_annotations, lookups_fall_back_to_the_class_and_edits_shift)
{
    auto source = compile_source(R"(shader L { output: Color result; void main() { result = Color(1); } }
        { shader_type("light"); tag(1); tag(2); };)");
    Velar_node_class node_class(source, "L");
    std::unique_ptr<Graph_node> node(node_class.create_node("n"));
    ASSERT_NE(shader_type(*node), nullptr);
    EXPECT_STREQ(shader_type(*node), "light");
    const Annotation* tag = annotation_on_node(*node, "tag");
    ASSERT_NE(tag, nullptr);
    EXPECT_EQ(*static_cast<const int32_t*>(tag->value), 1) << "the first of two";

    QZ::SYNTAX_TREE::Type string_type("String", QZ::SYNTAX_TREE::TYPE_STRING);
    const char* text = "volume";
    EXPECT_TRUE(add_annotation(node->annotations, "shader_type", {&string_type}, &text));
    EXPECT_STREQ(shader_type(*node), "volume") << "the node's own comes first";
    EXPECT_NE(*static_cast<const char* const*>(node->annotations[0].value), text) << "text is duplicated";
    EXPECT_TRUE(add_annotation(node->annotations, "empty", {}, nullptr));
    EXPECT_FALSE(add_annotation(node->annotations, nullptr, {}, nullptr));
    EXPECT_EQ(find_annotation(node->annotations, "empty"), 1);
    EXPECT_TRUE(remove_annotation(node->annotations, 0));
    EXPECT_EQ(find_annotation(node->annotations, "empty"), 0);
    EXPECT_FALSE(remove_annotation(node->annotations, 1));
    EXPECT_STREQ(shader_type(*node), "light");
    EXPECT_EQ(find_annotation(Annotation_list{}, "x"), -1);
    EXPECT_EQ(annotation_on_node(*node, "missing"), nullptr);
}
