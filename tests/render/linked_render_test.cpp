// Graphs linked into one unit, generated for the "GL" target and drawn: the pixels must be those
// of the same computation written by hand as one Ovrel shader.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <memory>
#include <string>

#include "back12/generated_shader.h"
#include "compiler/mod_compiler.h"
#include "flat12/linker.h"
#include "graph/graph_library.h"
#include "graph/graph_node.h"
#include "graph/node_class.h"
#include "render_harness.h"
#include "syntax_tree/compilation_unit.h"
#include "syntax_tree/diagnostics.h"

using namespace QZ::GRAPH;
using QZ::SYNTAX_TREE::Compilation_unit;
using vorn_render::Render_request;
using vorn_render::Render_result;
using vorn_render::Rgba;

namespace {

Render_request request_for(Compilation_unit* unit, const char* file)
{
    Render_request request;
    if (!unit) {
        ADD_FAILURE() << "no unit";
        return request;
    }
    for (const auto& error : unit->errors())
        ADD_FAILURE() << QZ::SYNTAX_TREE::format_error(error, file);
    QZ::COMPILER::Compile_options options;
    options.shader_type = QZ::COMPILER::SHADER_SURFACE;
    std::unique_ptr<QZ::BACK12::Generated_shader> shader(
        QZ::COMPILER::mod_compiler->generate_shader(unit, "GL", options));
    if (!shader || shader->program_count() != 2) {
        ADD_FAILURE() << "no GL pair";
        return request;
    }
    request.vertex_text = *shader->program_text(0);
    request.fragment_text = *shader->program_text(1);
    request.width = request.height = 32;
    return request;
}

struct Scene_graph {
    Graph_library library;
    Compage_node_class* scene = nullptr;

    Graph_node* inner(Compage_node_class* compound, const char* node_class, const char* name)
    {
        Graph_node* made = library.find_class(node_class)->create_node(name);
        compound->add_inner_node(made);
        return made;
    }

    static void set(Graph_node* node, const char* input, std::initializer_list<float> values)
    {
        float bytes[4] = {};
        size_t i = 0;
        for (float each : values)
            bytes[i++] = each;
        node->set_value(*node->find_input(input), bytes);
    }

    // result = fmod(floor(u) + floor(v), 2): 0 or 1 in a checker of unit squares.
    Compage_node_class* checker()
    {
        auto* compound = new Compage_node_class("Checker2");
        library.add_compage_class(compound);
        compound->add_parameter(true, Parameter("u", QZ::SYNTAX_TREE::TYPE_SCALAR));
        compound->add_parameter(true, Parameter("v", QZ::SYNTAX_TREE::TYPE_SCALAR));
        compound->add_parameter(false, Parameter("result", QZ::SYNTAX_TREE::TYPE_SCALAR));
        Graph_node* fu = inner(compound, "Math_Scalar_Floor", "fu");
        Graph_node* fv = inner(compound, "Math_Scalar_Floor", "fv");
        Graph_node* sum = inner(compound, "Math_Scalar_Add", "sum");
        Graph_node* mod = inner(compound, "Math_Scalar_Fmod", "mod");
        fu->attach("input", nullptr, "u");
        fv->attach("input", nullptr, "v");
        sum->attach("left", fu, "result");
        sum->attach("right", fv, "result");
        mod->attach("left", sum, "result");
        set(mod, "right", {2.0f});
        compound->attach_interface("result", mod, "result");
        return compound;
    }

    // A blend of red and blue by a smoothstep of the normal's x, darkened by the checker, plus
    // the y of a normal overridden for one node's call and the z of the real one read after it.
    Scene_graph()
    {
        library.add_intrinsic_classes();
        checker();
        scene = new Compage_node_class("Scene");
        library.add_compage_class(scene);
        scene->add_parameter(false, Parameter("result", QZ::SYNTAX_TREE::TYPE_COLOR));
        Graph_node* nrm = inner(scene, "State_Normal", "nrm");
        Graph_node* u = inner(scene, "Math_Scalar_Multiply", "u");
        Graph_node* v = inner(scene, "Math_Scalar_Multiply", "v");
        u->attach("left", nrm, "result.x");
        v->attach("left", nrm, "result.y");
        set(u, "right", {4.0f});
        set(v, "right", {4.0f});
        Graph_node* tile = inner(scene, "Checker2", "tile");
        tile->attach("u", u, "result");
        tile->attach("v", v, "result");
        Graph_node* step = inner(scene, "Math_Scalar_Smoothstep", "step");
        set(step, "start", {-0.5f});
        set(step, "end", {0.5f});
        step->attach("location", nrm, "result.x");
        Graph_node* blend = inner(scene, "Math_Color_Lerp", "blend");
        set(blend, "start", {1.0f, 0.0f, 0.0f, 1.0f});
        set(blend, "end", {0.0f, 0.0f, 1.0f, 1.0f});
        for (const char* member : {"location.r", "location.g", "location.b", "location.a"})
            blend->attach(member, step, "result");
        Graph_node* shade = inner(scene, "Math_Color_Multiply", "shade");
        shade->attach("left", blend, "result");
        set(shade, "right", {1.0f, 1.0f, 1.0f, 1.0f});
        for (const char* member : {"right.r", "right.g", "right.b"})
            shade->attach(member, tile, "result");
        Graph_node* over = inner(scene, "State_Normal", "over");
        over->inputs.push_back(Parameter("normal", QZ::SYNTAX_TREE::TYPE_VECTOR3));
        set(over, "normal", {0.25f, 0.5f, 0.75f});
        Graph_node* after = inner(scene, "State_Normal", "after");
        Graph_node* total = inner(scene, "Math_Color_Add", "total");
        total->attach("left", shade, "result");
        total->attach("right.g", over, "result.y");
        total->attach("right.b", after, "result.z");
        scene->attach_interface("result", total, "result");
    }
};

const char* const reference_source = R"(
shader Reference
{
output:
    Color result;

    void main()
    {
        Vector3 n = normal;
        Scalar c = fmod(floor(n.x * 4.0) + floor(n.y * 4.0), 2.0);
        Scalar s = smoothstep(-0.5, 0.5, n.x);
        Color blend = lerp(Color(1.0, 0.0, 0.0, 1.0), Color(0.0, 0.0, 1.0, 1.0), Color(s, s, s, s));
        result = blend * Color(c, c, c, 1.0) + Color(0.0, 0.5, n.z, 0.0);
    }
};
)";

}  // namespace

TEST(Linked_render, a_graph_with_a_compound_draws_what_the_same_shader_written_by_hand_draws)
{
    Scene_graph graph;
    std::unique_ptr<Compilation_unit> linked(QZ::FLAT12::link_node_class(graph.scene, nullptr));
    Render_request from_graph = request_for(linked.get(), "__generated");
    QZ::SYNTAX_TREE::Error_list errors;
    std::unique_ptr<Compilation_unit> written(
        QZ::COMPILER::mod_compiler->compile_text("reference.ovl", reference_source, &errors));
    ASSERT_TRUE(errors.empty()) << QZ::SYNTAX_TREE::format_error(errors[0], "reference.ovl");
    Render_request by_hand = request_for(written.get(), "reference.ovl");
    ASSERT_FALSE(from_graph.fragment_text.empty());
    ASSERT_FALSE(by_hand.fragment_text.empty());
    Render_result graph_image = vorn_render::render(from_graph);
    Render_result hand_image = vorn_render::render(by_hand);
    ASSERT_TRUE(graph_image.ok()) << graph_image.message << "\n" << from_graph.fragment_text;
    ASSERT_TRUE(hand_image.ok()) << hand_image.message;
    int mismatches = 0;
    for (int y = 0; y < 32; ++y)
        for (int x = 0; x < 32; ++x)
            if (!near(graph_image.image.at(x, y), hand_image.image.at(x, y), 1) && mismatches++ < 5)
                ADD_FAILURE() << x << "," << y << ": " << to_string(graph_image.image.at(x, y)) << " by hand "
                              << to_string(hand_image.image.at(x, y));
    EXPECT_EQ(mismatches, 0) << from_graph.fragment_text;
    // The picture is not flat: red of the blend and black of the checker both show; the normal
    // overridden for one call gives a green of one half everywhere.
    int most_red = 0, least_red = 255;
    for (int y = 0; y < 32; ++y)
        for (int x = 0; x < 32; ++x) {
            Rgba pixel = graph_image.image.at(x, y);
            most_red = std::max(most_red, int(pixel.r));
            least_red = std::min(least_red, int(pixel.r));
            if (std::abs(int(pixel.g) - 128) > 1 && mismatches++ < 5)
                ADD_FAILURE() << x << "," << y << ": green " << int(pixel.g);
        }
    EXPECT_GT(most_red, 200);
    EXPECT_LT(least_red, 30);
}

TEST(Linked_render, copied_methods_write_the_outputs_and_each_class_calls_its_own_global_function)
{
    // Other gives k = twice(j) = 3 j; Helped paints scaled(0.25) = 2 * 0.25 * k, and its extra is
    // that plus scaled(1) = 2 k. Mixing up the two twice functions changes both numbers.
    const char* helped_text = R"(
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
    const char* other_text = R"(
Scalar twice(Scalar x) { return x * 3.0; }
shader Other { input: Scalar j = 1.0; output: Scalar result; void main() { result = twice(j); } };
)";
    auto compiled = [](const char* name, const char* text) {
        QZ::SYNTAX_TREE::Error_list errors;
        std::shared_ptr<Compilation_unit> unit(QZ::COMPILER::mod_compiler->compile_text(name, text, &errors));
        EXPECT_TRUE(unit && errors.empty()) << name;
        return std::make_shared<Compiled_source>(unit, name);
    };
    Graph_library library;
    library.add_intrinsic_classes();
    library.add_velar_class(new Velar_node_class(compiled("helped.ovl", helped_text), "Helped"));
    library.add_velar_class(new Velar_node_class(compiled("other.ovl", other_text), "Other"));
    auto make = [&](const char* node_class, const char* name) {
        Graph_node* made = library.find_class(node_class)->create_node(name);
        library.add_node(made);
        return made;
    };
    Graph_node* o = make("Other", "o");
    Graph_node* h = make("Helped", "h");
    Graph_node* h2 = make("Helped", "h2");
    Graph_node* root = make("Math_Color_Add", "root");
    h->attach("k", o, "result");
    root->attach("left", h, "result");
    root->attach("right.r", h2, "extra");
    std::unique_ptr<Compilation_unit> unit(QZ::FLAT12::link_graph(root, nullptr, nullptr, false));
    Render_request request = request_for(unit.get(), "__generated");
    ASSERT_FALSE(request.fragment_text.empty());
    request.set_float("ovl_o_j", 0.1f);
    request.set_float("ovl_h2_k", 0.2f);
    request.set_vec4("ovl_root_right", 0.0f, 0.0f, 0.0f, 0.0f);
    Render_result result = vorn_render::render(request);
    ASSERT_TRUE(result.ok()) << result.message << "\n" << request.fragment_text;
    // h: k = 0.3, result = 0.15 grey; h2: k = 0.2, extra = 0.1 + 0.4 = 0.5, added to red.
    Rgba expected{166, 38, 38, 255};
    EXPECT_TRUE(near(result.image.at(5, 5), expected, 2)) << to_string(result.image.at(5, 5));
}

TEST(Linked_render, inputs_left_unwired_read_the_coordinate_sets_their_annotation_names)
{
    // The harness gives coordinate set k the value (s, t, 0.25 k, 1).
    const char* text = R"(
shader Stated {
input:
    Vector3 coord = Vector3(0.0) { default_to_state("texture_coordinate", "uv_set"); };
    Int uv_set = 0;
    Scalar first = 0.0 { default_to_state("texture_coordinate", 1); };
output:
    Color result;
    void main() { result = Color(coord.z, first, coord.y, 1.0); }
};
)";
    QZ::SYNTAX_TREE::Error_list errors;
    std::shared_ptr<Compilation_unit> source(QZ::COMPILER::mod_compiler->compile_text("stated.ovl", text, &errors));
    ASSERT_TRUE(source && errors.empty());
    Graph_library library;
    library.add_velar_class(new Velar_node_class(std::make_shared<Compiled_source>(source, "stated.ovl"), "Stated"));
    Graph_node* root = library.find_class("Stated")->create_node("root");
    library.add_node(root);
    int32_t two = 2;
    root->set_value(*root->find_input("uv_set"), &two);
    std::unique_ptr<Compilation_unit> unit(QZ::FLAT12::link_graph(root, nullptr, nullptr, false));
    Render_request request = request_for(unit.get(), "__generated");
    ASSERT_FALSE(request.fragment_text.empty());
    request.ignore_inactive_uniforms = true;
    request.set_int("ovl_root_uv_set", 0);
    Render_result result = vorn_render::render(request);
    ASSERT_TRUE(result.ok()) << result.message << "\n" << request.fragment_text;
    // Set 2's z is 0.5; set 1's s and set 2's t run across and up the image.
    for (int x : {4, 20})
        for (int y : {8, 28}) {
            auto channel = [](float value) { return uint8_t(value * 255.0f + 0.5f); };
            Rgba expected{128, channel((float(x) + 0.5f) / 32.0f), channel((float(y) + 0.5f) / 32.0f), 255};
            EXPECT_TRUE(near(result.image.at(x, y), expected, 2))
                << x << "," << y << ": " << to_string(result.image.at(x, y)) << " not " << to_string(expected);
        }
}

TEST(Linked_render, a_node_inside_a_compound_linked_through_its_chain_reads_the_outer_graph)
{
    Graph_library library;
    library.add_intrinsic_classes();
    auto* tint_class = new Compage_node_class("Tint");
    library.add_compage_class(tint_class);
    tint_class->add_parameter(true, Parameter("color", QZ::SYNTAX_TREE::TYPE_COLOR));
    tint_class->add_parameter(true, Parameter("gain", QZ::SYNTAX_TREE::TYPE_SCALAR));
    tint_class->add_parameter(false, Parameter("result", QZ::SYNTAX_TREE::TYPE_COLOR));
    Graph_node* n = library.find_class("Math_Color_Add")->create_node("n");
    Graph_node* m = library.find_class("Math_Color_Multiply")->create_node("m");
    tint_class->add_inner_node(n);
    tint_class->add_inner_node(m);
    n->attach("left", nullptr, "color");
    n->attach("right", nullptr, "color");
    m->attach("left", n, "result");
    m->attach("right.g", nullptr, "gain");
    tint_class->attach_interface("result", m, "result");
    Graph_node* src = library.find_class("Math_Color_Add")->create_node("src");
    library.add_node(src);
    Graph_node* tint = tint_class->create_node("tint");
    library.add_node(tint);
    tint->attach("color", src, "result");
    QZ::FLAT12::Interface_chain chain;
    chain.nodes.push_back(tint);
    chain.top = 0;
    std::unique_ptr<Compilation_unit> unit(QZ::FLAT12::link_graph(m, &chain, nullptr, false));
    Render_request request = request_for(unit.get(), "__generated");
    ASSERT_FALSE(request.fragment_text.empty());
    // What a host sets from the flat inputs: src's two inputs, m's own right, tint's gain.
    request.set_vec4("ovl_src_left", 0.125f, 0.25f, 0.375f, 0.5f);
    request.set_vec4("ovl_src_right", 0.0f, 0.0f, 0.0f, 0.0f);
    request.set_vec4("ovl_m_right", 1.0f, 1.0f, 1.0f, 1.0f);
    request.set_float("ovl_tint_gain", 0.4f);
    Render_result result = vorn_render::render(request);
    ASSERT_TRUE(result.ok()) << result.message << "\n" << request.fragment_text;
    // n = 2 src = (0.25, 0.5, 0.75, 1); m = n * (1, gain, 1, 1).
    EXPECT_TRUE(near(result.image.at(7, 7), Rgba{64, 51, 191, 255}, 2)) << to_string(result.image.at(7, 7));
}
