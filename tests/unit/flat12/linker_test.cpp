// The graph linker on graphs built in memory from the intrinsic classes: what the flat unit
// holds (one function per class, one call per node, locals, inputs, member temporaries), that
// it passes the semantic pass and that glslangValidator takes its GL and FX texts, and that
// cycles, long chains and nested compounds end cleanly.
#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>
#include <memory>
#include <string>
#include <vector>

#include "back12/generated_shader.h"
#include "compiler/compile_options.h"
#include "compiler/mod_compiler.h"
#include "flat12/linker.h"
#include "graph/graph_file.h"
#include "graph/graph_library.h"
#include "graph/graph_node.h"
#include "graph/node_class.h"
#include "support/text_support.h"
#include "syntax_tree/compilation_unit.h"
#include "syntax_tree/diagnostics.h"
#include "syntax_tree/source_printer.h"
#include "syntax_tree/st_node.h"
#include "syntax_tree/tree_printer.h"
#include "system/module.h"
#include "unit/flat12/link_support.h"
#include "unit/graph/graph_support.h"

using namespace QZ;
using namespace QZ::GRAPH;
using QZ::SYNTAX_TREE::Compilation_unit;
using link_test::expect_valid;
using vorn_test::count_of;

namespace {

struct Graph {
    Graph_library library;
    Graph() { library.add_intrinsic_classes(); }
    Graph_node* node(const char* node_class, const char* name)
    {
        Graph_node_class* found = library.find_class(node_class);
        EXPECT_NE(found, nullptr) << node_class;
        Graph_node* made = found->create_node(name);
        library.add_node(made);
        return made;
    }
};

std::string tree(const Compilation_unit& unit) { return SYNTAX_TREE::tree_text(unit.tree()); }

void set_color(Graph_node* node, const char* input, float r, float g, float b, float a)
{
    float value[4] = {r, g, b, a};
    node->set_value(*node->find_input(input), value);
}

// A checker of period 2 over a Scalar: result = fmod(floor(scale) + floor(scale), 2).
Compage_node_class* checker(Graph& graph)
{
    auto* compound = new Compage_node_class("Checker");
    graph.library.add_compage_class(compound);
    compound->add_parameter(true, Parameter("scale", SYNTAX_TREE::TYPE_SCALAR));
    compound->add_parameter(false, Parameter("result", SYNTAX_TREE::TYPE_SCALAR));
    auto inner = [&](const char* node_class, const char* name) {
        Graph_node* node = graph.library.find_class(node_class)->create_node(name);
        compound->add_inner_node(node);
        return node;
    };
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
    return compound;
}

}  // namespace

TEST(Linker, a_lone_root_reads_its_unattached_inputs_as_shader_inputs_with_their_values)
{
    Graph graph;
    Graph_node* root = graph.node("Math_Color_Add", "root");
    set_color(root, "left", 1.0f, 0.5f, 0.0f, 1.0f);
    std::unique_ptr<Compilation_unit> unit(FLAT12::link_graph(root, nullptr, nullptr, false));
    expect_valid(unit.get(), "lone_root");
    ASSERT_TRUE(unit);
    std::string text = tree(*unit);
    EXPECT_EQ(count_of(text, "INIT_IDENTIFIER \"root_left\""), 1u) << text;
    EXPECT_EQ(count_of(text, "FLOAT_CONSTANT \"0.500000\""), 1u) << "the value as the input's initialiser";
    EXPECT_EQ(count_of(text, "FUNCTION_CALL_EXPRESSION \"Math_Color_Add_main\""), 1u);
    // The root's outputs are the class's: no local, the call writes them.
    EXPECT_EQ(count_of(text, "root_result"), 0u);
    ASSERT_NE(unit->find_shader("Math_Color_Add"), nullptr);
}

TEST(Linker, shared_nodes_are_called_once_and_one_class_gives_one_function)
{
    // s = sin(x); a = s + s2 where s2 = sin(s); root.left.r = a, root.left.g = s.
    Graph graph;
    Graph_node* s = graph.node("Math_Scalar_Sin", "s");
    Graph_node* s2 = graph.node("Math_Scalar_Sin", "s2");
    Graph_node* a = graph.node("Math_Scalar_Add", "a");
    Graph_node* root = graph.node("Math_Color_Add", "root");
    s2->attach("input", s, "result");
    a->attach("left", s, "result");
    a->attach("right", s2, "result");
    root->attach("left.r", a, "result");
    root->attach("left.g", s, "result");
    std::unique_ptr<Compilation_unit> unit(FLAT12::link_graph(root, nullptr, nullptr, false));
    expect_valid(unit.get(), "shared");
    ASSERT_TRUE(unit);
    std::string text = tree(*unit);
    EXPECT_EQ(count_of(text, "IDENTIFIER \"Math_Scalar_Sin_main\""), 1u) << "one function for two nodes";
    EXPECT_EQ(count_of(text, "FUNCTION_CALL_EXPRESSION \"Math_Scalar_Sin_main\""), 2u);
    EXPECT_EQ(count_of(text, "INIT_IDENTIFIER \"s_result\""), 1u) << "s feeds three inputs, runs once";
    // Post-order: s before s2 before a before root.
    size_t at_s = text.find("INIT_IDENTIFIER \"s_result\"");
    size_t at_s2 = text.find("INIT_IDENTIFIER \"s2_result\"");
    size_t at_a = text.find("INIT_IDENTIFIER \"a_result\"");
    size_t at_root = text.find("FUNCTION_CALL_EXPRESSION \"Math_Color_Add_main\"");
    EXPECT_LT(at_s, at_s2);
    EXPECT_LT(at_s2, at_a);
    EXPECT_LT(at_a, at_root);
    // Member wires start from the default in a temporary.
    EXPECT_EQ(count_of(text, "INIT_IDENTIFIER \"root_left_param\""), 1u);
    EXPECT_EQ(count_of(text, "MEMBER_VARIABLE_ID \"r\""), 1u);
    EXPECT_EQ(count_of(text, "MEMBER_VARIABLE_ID \"g\""), 1u);
}

TEST(Linker, debug_root_names_and_unclean_node_names)
{
    Graph graph;
    Graph_node* first = graph.node("Math_Scalar_Cos", "2nd pass");
    Graph_node* root = graph.node("Math_Color_Add", "root");
    root->attach("right.b", first, "result");
    std::unique_ptr<Compilation_unit> unit(FLAT12::link_graph(root, nullptr, nullptr, true));
    expect_valid(unit.get(), "debug");
    ASSERT_TRUE(unit);
    std::string text = tree(*unit);
    EXPECT_EQ(count_of(text, "IDENTIFIER \"Math_Color_Add_main_debug\""), 1u);
    EXPECT_EQ(count_of(text, "IDENTIFIER \"Math_Scalar_Cos_main\""), 1u) << "only the root takes the suffix";
    EXPECT_EQ(count_of(text, "INIT_IDENTIFIER \"_2nd_pass_result\""), 1u) << text;
}

TEST(Linker, a_compound_links_its_inner_graph_once_and_its_node_calls_it)
{
    Graph graph;
    Compage_node_class* compound = checker(graph);
    std::unique_ptr<Compilation_unit> inner(FLAT12::link_node_class(compound, nullptr));
    expect_valid(inner.get(), "compound_class");
    ASSERT_TRUE(inner);
    std::string inner_text = tree(*inner);
    // Inside a compound, plain values become code constants.
    EXPECT_EQ(count_of(inner_text, "FLOAT_CONSTANT \"2.000000\""), 1u) << inner_text;
    EXPECT_EQ(count_of(inner_text, "FUNCTION_CALL_EXPRESSION \"Math_Scalar_Floor_main\""), 2u);
    EXPECT_EQ(count_of(inner_text, "VARIABLE_ID \"scale\""), 2u) << "interface wires read the class input";

    Graph_node* tile = graph.node("Checker", "tile");
    Graph_node* root = graph.node("Math_Color_Multiply", "root");
    root->attach("left.g", tile, "result");
    set_color(root, "right", 1.0f, 1.0f, 1.0f, 1.0f);
    std::unique_ptr<Compilation_unit> unit(FLAT12::link_graph(root, nullptr, nullptr, false));
    expect_valid(unit.get(), "compound_node");
    ASSERT_TRUE(unit);
    ASSERT_NE(compound->unit, nullptr) << "the class keeps its linked unit";
    std::string text = tree(*unit);
    EXPECT_EQ(count_of(text, "FUNCTION_CALL_EXPRESSION \"Checker_main\""), 1u) << text;
    EXPECT_EQ(count_of(text, "INIT_IDENTIFIER \"tile_scale\""), 1u);
}

TEST(Linker, a_compound_output_left_unattached_keeps_its_default)
{
    Graph graph;
    auto* compound = new Compage_node_class("Flat");
    graph.library.add_compage_class(compound);
    Parameter output("result", SYNTAX_TREE::TYPE_COLOR);
    float grey[4] = {0.25f, 0.25f, 0.25f, 1.0f};
    output.set_value(grey);
    compound->add_parameter(false, output);
    std::unique_ptr<Compilation_unit> unit(FLAT12::link_node_class(compound, nullptr));
    expect_valid(unit.get(), "unattached_output");
    ASSERT_TRUE(unit);
    std::string text = tree(*unit);
    EXPECT_EQ(count_of(text, "FLOAT_CONSTANT \"0.250000\""), 3u) << text;
    EXPECT_EQ(count_of(text, "EXPRESSION_STATEMENT"), 0u) << "main is empty";
}

TEST(Linker, cycles_and_self_holding_compounds_end_the_link_with_a_log_line)
{
    Graph graph;
    Graph_node* a = graph.node("Math_Scalar_Sin", "alpha");
    Graph_node* b = graph.node("Math_Scalar_Cos", "beta");
    Graph_node* root = graph.node("Math_Color_Add", "root");
    a->attach("input", b, "result");
    b->attach("input", a, "result");
    root->attach("left.r", a, "result");
    {
        vorn_test::Log_capture log;
        EXPECT_EQ(FLAT12::link_graph(root, nullptr, nullptr, false), nullptr);
        ASSERT_EQ(log.lines().size(), 1u);
        EXPECT_EQ(log.lines()[0].module, SYSTEM::MODULE_CL12);
        EXPECT_TRUE(log.contains("cycle of attachments through node 'alpha'")) << log.lines()[0].text;
    }
    // A node wired to itself is the smallest cycle.
    Graph_node* self = graph.node("Math_Scalar_Sin", "self");
    self->attach("input", self, "result");
    vorn_test::Log_capture log;
    EXPECT_EQ(FLAT12::link_graph(self, nullptr, nullptr, false), nullptr);
    EXPECT_TRUE(log.contains("through node 'self'"));

    // A compound whose inner graph holds a node of itself.
    auto* loop = new Compage_node_class("Loop");
    graph.library.add_compage_class(loop);
    loop->add_parameter(false, Parameter("result", SYNTAX_TREE::TYPE_SCALAR));
    Graph_node* inner = loop->create_node("inner");
    loop->add_inner_node(inner);
    loop->attach_interface("result", inner, "result");
    vorn_test::Log_capture nested;
    EXPECT_EQ(FLAT12::link_node_class(loop, nullptr), nullptr);
    EXPECT_TRUE(nested.contains("compound 'Loop' is nested more than"));
}

TEST(Linker, a_long_chain_links_without_deep_recursion)
{
    Graph graph;
    Graph_node* previous = graph.node("Math_Scalar_Sin", "n0");
    for (int i = 1; i < 100000; ++i) {
        Graph_node* next = graph.node("Math_Scalar_Sin", ("n" + std::to_string(i)).c_str());
        next->attach("input", previous, "result");
        previous = next;
    }
    Graph_node* root = graph.node("Math_Color_Add", "root");
    root->attach("left.r", previous, "result");
    std::unique_ptr<Compilation_unit> unit(FLAT12::link_graph(root, nullptr, nullptr, false));
    ASSERT_NE(unit, nullptr);
    EXPECT_TRUE(unit->errors().empty());
}

TEST(Linker, global_parameters_merge_by_name_and_a_type_clash_is_one_error)
{
    Graph graph;
    Graph_node* x = graph.node("Math_Scalar_Sin", "x");
    Graph_node* y = graph.node("Math_Int_Abs", "y");
    Graph_node* z = graph.node("Math_Scalar_Cos", "z");
    for (Graph_node* each : {x, y, z})
        each->find_input("input")->exposure = 0;
    Graph_node* root = graph.node("Math_Color_Add", "root");
    root->attach("left.r", x, "result");
    root->attach("left.g", y, "result");
    root->attach("left.b", z, "result");
    vorn_test::Log_capture log;
    std::unique_ptr<Compilation_unit> unit(FLAT12::link_graph(root, nullptr, nullptr, false));
    expect_valid(unit.get(), "globals");
    ASSERT_TRUE(unit);
    size_t linker_lines = 0;
    for (const auto& line : log.lines())
        linker_lines += line.module == SYSTEM::MODULE_CL12 ? 1 : 0;
    EXPECT_EQ(linker_lines, 1u);
    EXPECT_TRUE(log.contains("global parameters 'input' of type 'Scalar' and 'Int'"));
    EXPECT_EQ(count_of(tree(*unit), "INIT_IDENTIFIER \"input\""), 1u) << "one input, typed by the first met";
}

TEST(Linker, constants_print_floats_with_a_point_and_every_vector_shape)
{
    using SYNTAX_TREE::Type;
    auto text_of = [](uint8_t code, const void* bytes) {
        std::unique_ptr<SYNTAX_TREE::St_node> node(FLAT12::constant_expression(Type(nullptr, code), bytes));
        return node ? SYNTAX_TREE::tree_text(node.get()) : std::string("null");
    };
    float one = 1.0f;
    EXPECT_NE(text_of(SYNTAX_TREE::TYPE_SCALAR, &one).find("FLOAT_CONSTANT \"1.000000\""), std::string::npos);
    EXPECT_NE(text_of(SYNTAX_TREE::TYPE_SCALAR, nullptr).find("\"0.000000\""), std::string::npos);
    int32_t minus = -3;
    EXPECT_NE(text_of(SYNTAX_TREE::TYPE_INT32, &minus).find("INT_CONSTANT \"-3\""), std::string::npos);
    uint8_t yes = 1;
    EXPECT_NE(text_of(SYNTAX_TREE::TYPE_BOOLEAN, &yes).find("\"true\""), std::string::npos);
    float values[16] = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16};
    std::string matrix = text_of(SYNTAX_TREE::Type_code(SYNTAX_TREE::matrix_code(4, 3)), values);
    EXPECT_EQ(count_of(matrix, "FLOAT_CONSTANT"), 12u) << matrix;
    EXPECT_NE(matrix.find("\"12.000000\""), std::string::npos);
    EXPECT_EQ(count_of(text_of(SYNTAX_TREE::TYPE_COLOR, values), "FLOAT_CONSTANT"), 4u);

    // An unsized array: its count, then the pointer to its elements at offset 8.
    Parameter weights("weights", SYNTAX_TREE::TYPE_SCALAR, 0);
    struct {
        uint32_t count;
        const float* elements;
    } block{3, values};
    weights.set_value(&block);
    std::unique_ptr<SYNTAX_TREE::St_node> list(FLAT12::constant_expression(weights, weights.value));
    ASSERT_NE(list, nullptr);
    std::string list_text = SYNTAX_TREE::tree_text(list.get());
    EXPECT_EQ(count_of(list_text, "FLOAT_CONSTANT"), 3u) << list_text;
    EXPECT_NE(list_text.find("\"3.000000\""), std::string::npos);
    Parameter fixed("fixed", SYNTAX_TREE::TYPE_INT32, 2);
    std::unique_ptr<SYNTAX_TREE::St_node> zeroes(FLAT12::constant_expression(fixed, nullptr));
    ASSERT_NE(zeroes, nullptr) << "null bytes are zeroes";
    EXPECT_EQ(count_of(SYNTAX_TREE::tree_text(zeroes.get()), "INT_CONSTANT \"0\""), 2u);

    // A struct is a brace list, which holds items of one type only: a struct of mixed members
    // has no constant (an initialiser would be rejected), one of like members has.
    Type like(nullptr, SYNTAX_TREE::TYPE_STRUCT);
    like.append_member(new Type("a", SYNTAX_TREE::TYPE_SCALAR));
    like.append_member(new Type("b", SYNTAX_TREE::TYPE_SCALAR));
    std::unique_ptr<SYNTAX_TREE::St_node> pair(FLAT12::constant_expression(like, values));
    ASSERT_NE(pair, nullptr);
    EXPECT_EQ(count_of(SYNTAX_TREE::tree_text(pair.get()), "FLOAT_CONSTANT"), 2u);
    Type mixed(nullptr, SYNTAX_TREE::TYPE_STRUCT);
    mixed.append_member(new Type("a", SYNTAX_TREE::TYPE_SCALAR));
    mixed.append_member(new Type("n", SYNTAX_TREE::TYPE_INT32));
    EXPECT_EQ(std::unique_ptr<SYNTAX_TREE::St_node>(FLAT12::constant_expression(mixed, values)), nullptr);
}

TEST(Linker, node_parameters_outside_the_class_are_given_for_the_length_of_the_call_and_restored)
{
    // n reads the state normal; its own parameters "normal" and "{normal.y}" replace the whole
    // normal, then one member, around its call. "{position + 1}" names nothing to store into.
    Graph graph;
    Graph_node* n = graph.node("State_Normal", "n");
    n->inputs.push_back(Parameter("normal", SYNTAX_TREE::TYPE_VECTOR3));
    n->inputs.push_back(Parameter("{normal.y}", SYNTAX_TREE::TYPE_SCALAR));
    n->inputs.push_back(Parameter("{position + 1}", SYNTAX_TREE::TYPE_SCALAR));
    float up[3] = {0.25f, 0.5f, 0.75f};
    n->set_value(*n->find_input("normal"), up);
    Graph_node* after = graph.node("State_Normal", "after");
    Graph_node* root = graph.node("Math_Color_Add", "root");
    root->attach("left.r", n, "result.y");
    root->attach("right.g", after, "result.y");
    vorn_test::Log_capture log;
    std::unique_ptr<Compilation_unit> unit(FLAT12::link_graph(root, nullptr, nullptr, false));
    expect_valid(unit.get(), "override");
    ASSERT_TRUE(unit);
    EXPECT_TRUE(log.contains("parameter '{position + 1}' of node 'n' names no variable")) << log.lines().size();
    std::string text = tree(*unit);
    EXPECT_EQ(count_of(text, "INIT_IDENTIFIER \"temp0\""), 1u) << text;
    EXPECT_EQ(count_of(text, "INIT_IDENTIFIER \"temp1\""), 1u);
    EXPECT_EQ(count_of(text, "INIT_IDENTIFIER \"temp2\""), 0u) << "the unassignable one is dropped";
    // The parameters are not arguments: the class's function keeps only its state and output.
    EXPECT_EQ(count_of(text, "FUNCTION_PARAMETER \"normal\""), 0u);
    // Restored in the reverse order, so that normal.y comes back to the overridden whole first
    // and the whole then to what it was: the later call of 'after' reads the real normal.
    size_t restore_member = text.find("VARIABLE_ID \"temp1\"");
    size_t restore_whole = text.find("VARIABLE_ID \"temp0\"");
    size_t call_after = text.rfind("FUNCTION_CALL_EXPRESSION \"State_Normal_main\"");
    ASSERT_NE(restore_member, std::string::npos);
    ASSERT_NE(restore_whole, std::string::npos);
    EXPECT_LT(restore_member, restore_whole);
    EXPECT_LT(restore_whole, call_after);
}

namespace {

// Two sources with a global function of one name and different bodies; one class calls its
// other methods, one of which writes the outputs.
const char* const helped_source = R"(
Scalar twice(Scalar x) { return x * 2.0; }
shader Helped {
input:
    Scalar k = 1.0;
output:
    Color result;
    Scalar extra;
    Scalar scaled(Scalar x) { return twice(x) * k; }
    void paint(Scalar v) { result = Color(v, v, v, 1.0); extra = v; }
    void main() { paint(scaled(0.25)); extra = extra + scaled(1.0); }
};
)";

const char* const other_source = R"(
Scalar twice(Scalar x) { return x * 3.0; }
shader Other {
input:
    Scalar j = 1.0;
output:
    Scalar result;
    void main() { result = twice(j); }
};
)";

}  // namespace

TEST(Linker, other_methods_and_global_functions_are_copied_under_their_class_name_before_their_callers)
{
    Graph graph;
    auto helped = graph_test::compile_source(helped_source, "helped.ovl");
    auto other = graph_test::compile_source(other_source, "other.ovl");
    graph.library.add_velar_class(new Velar_node_class(helped, "Helped"));
    graph.library.add_velar_class(new Velar_node_class(other, "Other"));
    Graph_node* o = graph.node("Other", "o");
    Graph_node* h = graph.node("Helped", "h");
    Graph_node* h2 = graph.node("Helped", "h2");
    Graph_node* root = graph.node("Math_Color_Add", "root");
    h->attach("k", o, "result");
    root->attach("left", h, "result");
    root->attach("right.r", h2, "extra");
    std::unique_ptr<Compilation_unit> unit(FLAT12::link_graph(root, nullptr, nullptr, false));
    expect_valid(unit.get(), "helpers");
    ASSERT_TRUE(unit);
    std::string text = tree(*unit);
    for (const char* name : {"Helped_twice", "Other_twice", "Helped_scaled", "Helped_paint", "Helped_main"})
        EXPECT_EQ(count_of(text, std::string("IDENTIFIER \"") + name + "\""), 1u) << name << " once for two nodes";
    EXPECT_EQ(count_of(text, "IDENTIFIER \"twice\""), 0u) << "no global keeps its own name";
    // Declared before use: each callee's definition comes before its first call.
    for (const char* name : {"Helped_twice", "Other_twice", "Helped_scaled", "Helped_paint"})
        EXPECT_LT(text.find(std::string("IDENTIFIER \"") + name + "\""),
                  text.find(std::string("FUNCTION_CALL_EXPRESSION \"") + name + "\""))
            << name;
    // paint writes both outputs, scaled reads none of them.
    size_t paint = text.find("IDENTIFIER \"Helped_paint\"");
    size_t scaled = text.find("IDENTIFIER \"Helped_scaled\"");
    size_t main = text.find("IDENTIFIER \"Helped_main\"");
    std::string paint_text = text.substr(paint, text.find("FUNCTION_DEFINITION", paint) - paint);
    std::string scaled_text = text.substr(scaled, text.find("FUNCTION_DEFINITION", scaled) - scaled);
    std::string main_text = text.substr(main, text.find("FUNCTION_DEFINITION", main) - main);
    EXPECT_EQ(count_of(paint_text, "PARAMETER_QUALIFIER \"inout\""), 2u) << paint_text;
    EXPECT_EQ(count_of(scaled_text, "PARAMETER_QUALIFIER"), 0u) << scaled_text;
    EXPECT_EQ(count_of(main_text, "PARAMETER_QUALIFIER \"out\""), 2u) << main_text;
    // Each call passes the caller's input, state and outputs after its own argument.
    EXPECT_EQ(count_of(main_text, "VARIABLE_ID \"k\""), 3u) << main_text;
    // A function handed the state reads "state" as the state itself (number 79).
    EXPECT_EQ(count_of(main_text, "STATE_VARIABLE_REFERENCE [4f 00 00 00]"), 3u) << main_text;
    // Copied or made here, every node is the link's own: none keeps its source's file name.
    std::vector<const SYNTAX_TREE::St_node*> work{unit->tree()};
    size_t foreign = 0;
    while (!work.empty()) {
        const SYNTAX_TREE::St_node* each = work.back();
        work.pop_back();
        std::string file = each->file_name();
        foreign += file != "__generated" && file != "__generated__";
        for (const SYNTAX_TREE::St_node* child = each->first_child; child; child = child->next_sibling)
            work.push_back(child);
    }
    EXPECT_EQ(foreign, 0u);
}

namespace {

const char* const stated_source = R"(
struct Pair { Scalar a; Scalar b; };
Scalar gain = 0.5;
shader Stated {
input:
    Vector3 coord = Vector3(0.0) { default_to_state("texture_coordinate", "uv_set"); };
    Int uv_set = 0;
    Scalar first = 0.0 { default_to_state("texture_coordinate", 1); };
    Vector3 n = Vector3(0.0) { default_to_state("normal"); };
    Scalar plain = 0.0 { default_to_state("no_such_state"); };
    Pair pair = {0.25, 0.75};
    Scalar weights[2] = {0.5, 1.0};
    Texture2d tex = "checker.png";
    String label = "hi";
output:
    Color result;
    void main()
    {
        result = Color(coord.z, first * gain + plain, pair.b * weights[1], 1.0) + tex2D(tex, coord.xy) * 0.0
               + Color(n.x, n.y, n.z, 0.0) * 0.0;
    }
};
)";

}  // namespace

TEST(Linker, defaults_from_state_and_values_of_structs_arrays_and_texts)
{
    Graph graph;
    graph.library.add_velar_class(new Velar_node_class(graph_test::compile_source(stated_source, "stated.ovl"), "Stated"));
    Graph_node* a = graph.node("Stated", "a");
    int32_t two = 2;
    a->set_value(*a->find_input("uv_set"), &two);
    float pair[2] = {0.125f, 0.625f};
    a->set_value(*a->find_input("pair"), pair);
    Graph_node* root = graph.node("Stated", "root");
    root->attach("first", a, "result.r");
    std::unique_ptr<Compilation_unit> unit(FLAT12::link_graph(root, nullptr, nullptr, false));
    expect_valid(unit.get(), "stated");
    ASSERT_TRUE(unit);
    std::string text = tree(*unit);
    // a: coordinate set 2 through uv_set, set 1 given; root: uv_set 0, and its wired 'first'
    // ignores the annotation.
    EXPECT_EQ(count_of(text, "MEMBER_VARIABLE_ID \"xyz\""), 2u) << text;
    EXPECT_EQ(count_of(text, "MEMBER_VARIABLE_ID \"x\""), 2u) << "a's first, and n.x in the method";
    // Each state reference with the constant after it, positions and indentation dropped.
    std::string compact;
    for (size_t at = 0; at < text.size();) {
        size_t end = text.find('\n', at);
        std::string line = text.substr(at, end - at);
        at = end == std::string::npos ? text.size() : end + 1;
        if (line.find("STATE_VARIABLE_REFERENCE [07") != std::string::npos)
            compact += "[07 00 00 00]\n";
        else if (line.find("INT_CONSTANT \"") != std::string::npos)
            compact += line.substr(line.find('"') + 1, 1) + "\n";
        else
            compact += "-\n";
    }
    EXPECT_EQ(count_of(text, "STATE_VARIABLE_REFERENCE [07 00 00 00]"), 3u);
    for (const char* index : {"[07 00 00 00]\n2", "[07 00 00 00]\n1", "[07 00 00 00]\n0"})
        EXPECT_EQ(count_of(compact, index), 1u) << index << "\n" << compact;
    EXPECT_EQ(count_of(text, "INIT_IDENTIFIER \"a_first\""), 0u) << "a state default is no input";
    EXPECT_EQ(count_of(text, "INIT_IDENTIFIER \"a_plain\""), 1u) << "an unknown state name is no annotation";
    // Values the targets take only as inputs: a struct as a brace list, an array, texts.
    EXPECT_EQ(count_of(text, "INIT_IDENTIFIER \"a_pair\""), 1u);
    EXPECT_EQ(count_of(text, "FLOAT_CONSTANT \"0.625000\""), 1u) << "a_pair's second member";
    // root keeps the class's brace list {0.25, 0.75} as its value.
    EXPECT_EQ(count_of(text, "FLOAT_CONSTANT \"0.750000\""), 1u) << "root_pair's second member";
    EXPECT_EQ(count_of(text, "STRING_CONSTANT \"checker.png\""), 2u);
    EXPECT_EQ(count_of(text, "STRING_CONSTANT \"hi\""), 2u);
    // A declared input keeps its parameter's annotations as calls.
    EXPECT_EQ(count_of(text, "FUNCTION_CALL_EXPRESSION \"default_to_state\""), 2u) << "a_plain, root_plain";
    EXPECT_EQ(count_of(text, "STRING_CONSTANT \"no_such_state\""), 2u);
    // The struct type and the global the method reads come along, once.
    EXPECT_EQ(count_of(text, "IDENTIFIER \"Pair\""), 1u);
    EXPECT_EQ(count_of(text, "INIT_IDENTIFIER \"gain\""), 1u);
}

TEST(Linker, inputs_a_parent_lends_join_the_flat_inputs_once_and_a_brdf_keeps_its_class_annotations)
{
    Graph graph;
    graph.library.add_velar_class(new Velar_node_class(graph_test::compile_source(R"(
shader Base { input: Scalar lent = 0.5; output: Color result; void main() { result = Color(lent, 0, 0, 1); } };
shader Child : Base { input: Scalar own = 0.25;
    void main() { result = Color(lent, own, 0, 1); } };
)", "child.ovl"), "Child"));
    // A class that no longer shows an input its source's methods read (here the parent's).
    Graph_node_class* child = graph.library.find_class("Child");
    ASSERT_GE(find_parameter(child->inputs, "lent"), 0);
    child->inputs.erase(child->inputs.begin() + find_parameter(child->inputs, "lent"));
    Graph_node* first = graph.node("Child", "first");
    Graph_node* root = graph.node("Child", "root");
    root->attach("own", first, "result.r");
    vorn_test::Log_capture log;
    std::unique_ptr<Compilation_unit> unit(FLAT12::link_graph(root, nullptr, nullptr, false));
    for (const auto& line : log.lines())
        ADD_FAILURE() << line.text;
    expect_valid(unit.get(), "lent");
    ASSERT_TRUE(unit);
    std::string text = tree(*unit);
    EXPECT_EQ(count_of(text, "INIT_IDENTIFIER \"lent\""), 1u) << text;
    EXPECT_EQ(count_of(text, "INIT_IDENTIFIER \"first_own\""), 1u);

    auto* brdf = new Compage_node_class("Glossy");
    graph.library.add_compage_class(brdf);
    brdf->add_parameter(false, Parameter("result", SYNTAX_TREE::TYPE_COLOR));
    SYNTAX_TREE::Type text_type(nullptr, SYNTAX_TREE::TYPE_STRING);
    const char* kind = "glossy";
    ASSERT_TRUE(add_annotation(brdf->annotations, "brdf_type", {&text_type}, &kind));
    Graph_node* inner = graph.library.find_class("Math_Color_Add")->create_node("inner");
    brdf->add_inner_node(inner);
    brdf->attach_interface("result", inner, "result");
    std::unique_ptr<Compilation_unit> linked(FLAT12::link_as_brdf(brdf));
    expect_valid(linked.get(), "brdf");
    ASSERT_TRUE(linked);
    std::string brdf_text = tree(*linked);
    EXPECT_EQ(count_of(brdf_text, "ANNOTATION_BLOCK"), 1u) << brdf_text;
    EXPECT_EQ(count_of(brdf_text, "FUNCTION_CALL_EXPRESSION \"brdf_type\""), 1u);
    EXPECT_EQ(count_of(brdf_text, "STRING_CONSTANT \"glossy\""), 1u);
    // Without the annotation there is no brdf.
    remove_annotation(brdf->annotations, 0);
    EXPECT_EQ(FLAT12::link_as_brdf(brdf), nullptr);
}

TEST(Linker, a_root_inside_a_compound_reads_the_interface_through_the_chain_once_per_input)
{
    // Tint's inner graph: n = color + color, m = n * right with right.g from the gain input.
    // Linking m with the chain {tint} evaluates tint's inputs from the outer graph.
    Graph graph;
    auto* tint_class = new Compage_node_class("Tint");
    graph.library.add_compage_class(tint_class);
    tint_class->add_parameter(true, Parameter("color", SYNTAX_TREE::TYPE_COLOR));
    tint_class->add_parameter(true, Parameter("gain", SYNTAX_TREE::TYPE_SCALAR));
    tint_class->add_parameter(false, Parameter("result", SYNTAX_TREE::TYPE_COLOR));
    Graph_node* n = graph.library.find_class("Math_Color_Add")->create_node("n");
    Graph_node* m = graph.library.find_class("Math_Color_Multiply")->create_node("m");
    tint_class->add_inner_node(n);
    tint_class->add_inner_node(m);
    n->attach("left", nullptr, "color");
    n->attach("right", nullptr, "color");
    m->attach("left", n, "result");
    m->attach("right.g", nullptr, "gain");
    tint_class->attach_interface("result", m, "result");
    Graph_node* src = graph.node("Math_Color_Add", "src");
    Graph_node* tint = graph.node("Tint", "tint");
    tint->attach("color", src, "result");

    FLAT12::Interface_chain chain;
    chain.nodes.push_back(tint);
    chain.top = 0;
    std::unique_ptr<Compilation_unit> unit(FLAT12::link_graph(m, &chain, nullptr, false));
    expect_valid(unit.get(), "chain");
    ASSERT_TRUE(unit);
    std::string text = tree(*unit);
    EXPECT_EQ(count_of(text, "INIT_IDENTIFIER \"tint_color_interface\""), 1u) << "two wires, one local";
    EXPECT_EQ(count_of(text, "VARIABLE_ID \"tint_color_interface\""), 3u) << "assigned once, read twice";
    EXPECT_EQ(count_of(text, "INIT_IDENTIFIER \"tint_gain_interface\""), 1u);
    EXPECT_EQ(count_of(text, "INIT_IDENTIFIER \"tint_gain\""), 1u) << "the unwired input's default";
    EXPECT_EQ(count_of(text, "FUNCTION_CALL_EXPRESSION \"Math_Color_Add_main\""), 2u) << "src and n";
    // The outer node runs before the local that reads it, which comes before n's call.
    size_t src_call = text.find("INIT_IDENTIFIER \"src_result\"");
    size_t local = text.find("INIT_IDENTIFIER \"tint_color_interface\"");
    size_t n_call = text.find("INIT_IDENTIFIER \"n_result\"");
    EXPECT_LT(src_call, local);
    EXPECT_LT(local, n_call);

    // Without the chain the same wires read the flat class's own inputs, which do not exist.
    std::unique_ptr<Compilation_unit> bare(FLAT12::link_graph(m, nullptr, nullptr, false));
    ASSERT_TRUE(bare);
    EXPECT_FALSE(bare->errors().empty()) << "an interface wire outside its compound names nothing";
}

TEST(Linker, every_node_and_compound_of_the_example_graph_files_links_to_valid_programs)
{
    const std::string examples = std::string(VORN_TEST_DATA_DIR) + "/../../examples/";
    for (const char* file : {"glow_checker.xovl", "tinted_tiles.xovl"}) {
        SYNTAX_TREE::Error_list errors;
        std::unique_ptr<Graph_library> library(load_file((examples + file).c_str(), nullptr, &errors));
        ASSERT_NE(library, nullptr) << file;
        EXPECT_TRUE(errors.empty()) << file;
        ASSERT_FALSE(library->nodes.empty()) << file;
        for (Graph_node* node : library->nodes) {
            std::unique_ptr<Compilation_unit> unit(FLAT12::link_graph(node, nullptr, nullptr, false));
            expect_valid(unit.get(), std::string(file) + "_" + node->name);
        }
        for (Compage_node_class* compound : library->compage_classes) {
            std::unique_ptr<Compilation_unit> unit(FLAT12::link_node_class(compound, nullptr));
            expect_valid(unit.get(), std::string(file) + "_" + compound->name());
        }
    }
}
