// Export links with lights, an environment and a volume: light classes become one shared
// function each, light loops are unrolled once per light, each light's parameters become inputs
// of the shader, and environment lookups call the environment's shader.
#include <gtest/gtest.h>

#include <cstring>
#include <memory>
#include <string>

#include "flat12/linker.h"
#include "graph/graph_file.h"
#include "graph/graph_library.h"
#include "graph/graph_node.h"
#include "graph/node_class.h"
#include "support/text_support.h"
#include "syntax_tree/compilation_unit.h"
#include "syntax_tree/st_node.h"
#include "syntax_tree/tree_printer.h"
#include "unit/flat12/link_support.h"
#include "unit/graph/graph_support.h"

using namespace QZ;
using namespace QZ::GRAPH;
using QZ::SYNTAX_TREE::Compilation_unit;
using link_test::expect_valid;
using vorn_test::count_of;

namespace {

const std::string examples = std::string(VORN_TEST_DATA_DIR) + "/../../examples/";

std::unique_ptr<Graph_library> load_example(const char* file)
{
    SYNTAX_TREE::Error_list errors;
    std::unique_ptr<Graph_library> library(load_file((examples + file).c_str(), nullptr, &errors));
    EXPECT_TRUE(errors.empty()) << file;
    return library;
}

FLAT12::Export_settings with_lights(Graph_library& library, std::initializer_list<const char*> names)
{
    FLAT12::Export_settings settings;
    settings.has_light_list = true;
    settings.library = &library;
    for (const char* name : names) {
        settings.lights.emplace_back();
        settings.lights.back().tag = name;
    }
    return settings;
}

std::string tree(const Compilation_unit& unit) { return SYNTAX_TREE::tree_text(unit.tree()); }

// What no exported unit may hold: a light loop (with a light list given) or an environment lookup
// other than a trace without a ray, which stays as it is.
void expect_no_loops_or_lookups(const Compilation_unit& unit, bool light_list)
{
    std::vector<const SYNTAX_TREE::St_node*> work{unit.tree()};
    while (!work.empty()) {
        const SYNTAX_TREE::St_node* each = work.back();
        work.pop_back();
        if (!each)
            continue;
        if (light_list) {
            EXPECT_NE(each->kind, SYNTAX_TREE::NODE_FOREACH_STATEMENT) << unit.name();
        }
        if (each->kind == SYNTAX_TREE::NODE_STATE_FUNCTION_REFERENCE) {
            int32_t id = -1;
            std::memcpy(&id, each->text, sizeof id);
            const SYNTAX_TREE::St_node* arguments = each->find_child(SYNTAX_TREE::NODE_FUNCTION_CALL_PARAMETERS);
            bool bare_trace = id == 20 && (!arguments || !arguments->first_child);
            EXPECT_TRUE((id < 18 || id > 20) || bare_trace) << unit.name() << ": state function " << id;
        }
        for (const SYNTAX_TREE::St_node* child = each->first_child; child; child = child->next_sibling)
            work.push_back(child);
    }
}

// An export that must succeed: valid for both targets, with nothing left to rewrite.
std::unique_ptr<Compilation_unit> exported(Graph_node* root, const FLAT12::Export_settings& settings,
                                           const std::string& name)
{
    std::unique_ptr<Compilation_unit> unit(FLAT12::link_for_export(root, settings, nullptr));
    expect_valid(unit.get(), name);
    if (unit)
        expect_no_loops_or_lookups(*unit, settings.has_light_list);
    return unit;
}

// The text of the declaration of an input, up to the next declaration.
std::string input_text(const std::string& text, const std::string& name)
{
    size_t at = text.find("INIT_IDENTIFIER \"" + name + "\"");
    if (at == std::string::npos)
        return std::string();
    size_t end = text.find("VARIABLE_DECLARATION", at);
    return text.substr(at, end == std::string::npos ? std::string::npos : end - at);
}

}  // namespace

TEST(Render_export, two_lights_of_one_class_share_one_function_and_get_inputs_of_their_own)
{
    std::unique_ptr<Graph_library> library = load_example("lit_phong.xovl");
    ASSERT_TRUE(library);
    Graph_node* fill = library->find_class("Point_light")->create_node("fill");
    library->add_node(fill);
    float blue[4] = {0.0f, 0.0f, 1.0f, 1.0f};
    fill->set_value(*fill->find_input("color"), blue);
    FLAT12::Export_settings settings = with_lights(*library, {"key", "fill"});
    settings.lights[1].position[0] = 5.0f;
    std::unique_ptr<Compilation_unit> unit = exported(library->find_node("surface"), settings, "two_points");
    ASSERT_TRUE(unit);
    std::string text = tree(*unit);
    EXPECT_EQ(count_of(text, "IDENTIFIER \"Point_light_main\""), 1u) << "one function";
    EXPECT_EQ(count_of(text, "FUNCTION_CALL_EXPRESSION \"Point_light_main\""), 2u) << "called once per light";
    // Each light's own values: the key's colour from the graph file, the fill's set above.
    EXPECT_NE(input_text(text, "__light0_color").find("FLOAT_CONSTANT \"0.900000\""), std::string::npos);
    EXPECT_NE(input_text(text, "__light1_color").find("STRING_CONSTANT \"Light1 Color\""), std::string::npos);
    std::string fill_colour = input_text(text, "__light1_color");
    EXPECT_EQ(count_of(fill_colour, "FLOAT_CONSTANT \"0.000000\""), 2u) << fill_colour;
    EXPECT_NE(input_text(text, "__light1_position").find("FLOAT_CONSTANT \"5.000000\""), std::string::npos);
    EXPECT_NE(input_text(text, "__light1_position").find("STRING_CONSTANT \"Fill Position\""), std::string::npos);
    // The shared function numbers its iterator for the key; the fill's turn renumbers it.
    EXPECT_EQ(count_of(text, "MEMBER_VARIABLE_ID \"count\""), 2u);
}

TEST(Render_export, a_light_loop_goes_with_an_empty_list_and_stays_without_one)
{
    std::unique_ptr<Graph_library> library = load_example("lit_phong.xovl");
    ASSERT_TRUE(library);
    Graph_node* surface = library->find_node("surface");
    FLAT12::Export_settings none;
    std::unique_ptr<Compilation_unit> kept = exported(surface, none, "no_list");
    ASSERT_TRUE(kept);
    EXPECT_EQ(count_of(tree(*kept), "FOREACH_STATEMENT"), 1u);

    for (auto names : {std::initializer_list<const char*>{}, std::initializer_list<const char*>{"nowhere"}}) {
        FLAT12::Export_settings empty = with_lights(*library, names);
        std::unique_ptr<Compilation_unit> gone = exported(surface, empty, "empty_list");
        ASSERT_TRUE(gone);
        std::string text = tree(*gone);
        EXPECT_EQ(count_of(text, "FOREACH_STATEMENT"), 0u) << text;
        EXPECT_EQ(count_of(text, "__light"), 0u) << "no light, no light inputs";
    }
}

TEST(Render_export, each_kind_of_light_takes_the_light_states_it_needs_with_defaults_from_its_setup)
{
    std::unique_ptr<Graph_library> library = load_example("lit_phong.xovl");
    ASSERT_TRUE(library);
    // A light that does not say its type decides at run time, from an input of its own.
    library->add_velar_class(new Velar_node_class(graph_test::compile_source(R"(
shader Any_light {
output:
    Color result;
    void main() { result = Color(light_distance_limit, 0.0, 0.0, 1.0); }
};
)"),
                                                  "Any_light"));
    Graph_node* any = library->find_class("Any_light")->create_node("any");
    library->add_node(any);
    FLAT12::Export_settings settings = with_lights(*library, {"key", "lamp", "sun", "any"});
    settings.lights[1].spread = 0.5f;
    settings.lights[2].view_space = 0;
    settings.lights[3].type = 2;
    settings.lights[3].distance_limit = 7.0f;
    std::unique_ptr<Compilation_unit> unit = exported(library->find_node("surface"), settings, "kinds");
    ASSERT_TRUE(unit);
    std::string text = tree(*unit);
    auto has = [&](const char* name) { return !input_text(text, name).empty(); };
    // A point light needs its position only; a spot light its direction and the cone's cosine
    // that its body reads; an infinite light its direction; an unfixed light its type as well.
    EXPECT_TRUE(has("__light0_position"));
    EXPECT_FALSE(has("__light0_direction"));
    EXPECT_FALSE(has("__light0_type"));
    EXPECT_TRUE(has("__light1_direction"));
    EXPECT_TRUE(has("__light1_spread_cos"));
    EXPECT_FALSE(has("__light1_spread"));
    EXPECT_TRUE(has("__light2_direction"));
    EXPECT_TRUE(has("__light3_type"));
    EXPECT_TRUE(has("__light3_direction"));
    EXPECT_TRUE(has("__light3_distance_limit"));
    EXPECT_NE(input_text(text, "__light1_spread_cos").find("FLOAT_CONSTANT \"0.877583\""), std::string::npos)
        << "cos 0.5";
    EXPECT_NE(input_text(text, "__light3_type").find("STRING_CONSTANT \"light_infinite\""), std::string::npos);
    EXPECT_NE(input_text(text, "__light3_distance_limit").find("FLOAT_CONSTANT \"7.000000\""), std::string::npos);
    // What a host shows: the kind of value, whose, in which space, and a name.
    std::string direction = input_text(text, "__light2_direction");
    for (const char* call : {"STRING_CONSTANT \"Direction\"", "STRING_CONSTANT \"Sun\"", "STRING_CONSTANT \"World\"",
                             "STRING_CONSTANT \"Sun Direction\""})
        EXPECT_NE(direction.find(call), std::string::npos) << call << "\n" << direction;
    EXPECT_NE(input_text(text, "__light0_position").find("STRING_CONSTANT \"View\""), std::string::npos);
    EXPECT_NE(input_text(text, "__light3_type").find("STRING_CONSTANT \"Any Type\""), std::string::npos);
    // The unfixed light chooses its direction by its type.
    EXPECT_NE(text.find("STRING_CONSTANT \"light_planar\""), std::string::npos);
}

TEST(Render_export, environment_lookups_call_the_environment_and_a_trace_without_a_ray_stays)
{
    std::shared_ptr<Compiled_source> source = graph_test::compile_source(R"(
shader Shiny {
input:
    Scalar mirror = 0.5;
output:
    Color result;
    Color traced(Ray r) { return trace_environment(r); }
    void main()
    {
        result = reflect_environment() * mirror + refract_environment() * 0.25
                 + traced(Ray(position, normal)) * 0.25 + trace_environment();
    }
};
shader Sky {
input:
    Color horizon = Color(0.2, 0.3, 0.4, 1.0);
output:
    Color result;
    void main() { result = horizon * (0.5 + 0.5 * direction.y); }
};
shader Fog {
input:
    Scalar density = 0.1;
output:
    Color result;
    void main() { result = Color(density, density, density, 1.0); }
};
)");
    Graph_library library;
    for (const char* name : {"Shiny", "Sky", "Fog"})
        library.add_velar_class(new Velar_node_class(source, name));
    auto make = [&](const char* node_class, const char* name) {
        Graph_node* made = library.find_class(node_class)->create_node(name);
        library.add_node(made);
        return made;
    };
    Graph_node* shiny = make("Shiny", "shiny");
    FLAT12::Export_settings settings;
    settings.environment = make("Sky", "sky");
    settings.volume = make("Fog", "fog");
    std::unique_ptr<Compilation_unit> unit = exported(shiny, settings, "environment");
    ASSERT_TRUE(unit);
    std::string text = tree(*unit);
    for (const char* lookup : {"__reflect_environment", "__refract_environment", "__trace_environment"}) {
        EXPECT_EQ(count_of(text, std::string("IDENTIFIER \"") + lookup + "\""), 1u) << lookup;
        EXPECT_EQ(count_of(text, std::string("FUNCTION_CALL_EXPRESSION \"") + lookup + "\""), 1u) << lookup;
    }
    EXPECT_EQ(count_of(text, "STATE_FUNCTION_REFERENCE"), 1u) << "the trace without a ray stays";
    // The lookups bend the position, not the view direction, by the normal.
    for (const char* bend : {"FUNCTION_CALL_EXPRESSION \"reflect\"", "FUNCTION_CALL_EXPRESSION \"refract\""}) {
        size_t call = text.find(bend);
        ASSERT_NE(call, std::string::npos) << bend;
        EXPECT_EQ(text.find("STATE_VARIABLE_REFERENCE", call), text.find("STATE_VARIABLE_REFERENCE [00 00 00 00]", call))
            << bend;
    }
    // The environment's and the volume's inputs are the shader's; their functions are copied.
    EXPECT_FALSE(input_text(text, "sky_horizon").empty());
    EXPECT_FALSE(input_text(text, "fog_density").empty());
    EXPECT_EQ(count_of(text, "IDENTIFIER \"Sky_main\""), 1u);
    EXPECT_EQ(count_of(text, "IDENTIFIER \"Fog_main\""), 1u);
}

TEST(Render_export, a_shadow_function_gives_each_light_a_native_hook_fed_the_world_position)
{
    std::unique_ptr<Graph_library> library = load_example("lit_phong.xovl");
    ASSERT_TRUE(library);
    FLAT12::Export_settings settings = with_lights(*library, {"key", "sun"});
    settings.external_shadow_function = "shadow_of_";
    std::unique_ptr<Compilation_unit> unit(FLAT12::link_for_export(library->find_node("surface"), settings, nullptr));
    ASSERT_TRUE(unit);
    expect_no_loops_or_lookups(*unit, true);
    // The hooks are the host's to define, ahead of the generated text.
    expect_valid(unit.get(), "shadow_hooks",
                 "float shadow_of_0(vec4 p) { return 0.5; }\nfloat shadow_of_1(vec4 p) { return p.w; }\n",
                 "float shadow_of_0(float4 p) { return 0.5; }\nfloat shadow_of_1(float4 p) { return p.w; }\n");
    std::string text = tree(*unit);
    // The hooks come first, before the class.
    size_t hook = text.find("IDENTIFIER \"shadow_of_0\"");
    EXPECT_LT(hook, text.find("CLASS_DECLARATION"));
    EXPECT_LT(text.find("IDENTIFIER \"shadow_of_1\""), text.find("CLASS_DECLARATION"));
    EXPECT_EQ(count_of(text, "FUNCTION_DECLARATION \"native\""), 2u);
    EXPECT_EQ(count_of(text, "FUNCTION_CALL_EXPRESSION \"shadow_of_0\""), 1u);
    EXPECT_EQ(count_of(text, "FUNCTION_CALL_EXPRESSION \"shadow_of_1\""), 1u);
    EXPECT_EQ(count_of(text, "INIT_IDENTIFIER \"__world_pos\""), 1u) << "one world position for the loop";
    EXPECT_EQ(count_of(text, "MEMBER_VARIABLE_ID \"raw_contribution\""), 4u) << "set by each light, read after its hook";
}

TEST(Render_export, every_node_of_the_example_graphs_exports_with_every_example_light)
{
    std::unique_ptr<Graph_library> lights = load_example("lit_phong.xovl");
    ASSERT_TRUE(lights);
    for (const char* file : {"lit_phong.xovl", "tinted_tiles.xovl"}) {
        std::unique_ptr<Graph_library> library = load_example(file);
        ASSERT_TRUE(library) << file;
        std::unique_ptr<Graph_library> merged = load_example("lit_phong.xovl");
        library->merge(merged.get());
        for (Graph_node* node : library->nodes) {
            FLAT12::Export_settings settings = with_lights(*library, {"key", "lamp", "sun"});
            exported(node, settings, std::string(file) + "_" + node->name);
        }
    }
}

TEST(Render_export, resolved_unsized_arrays_are_declared_with_the_size_of_their_value)
{
    std::shared_ptr<Compiled_source> source = graph_test::compile_source(R"(
shader Weights
{
input:
    Scalar w[] = {0.5, 0.25, 0.125};
output:
    Color result;
    void main() { result = Color(w[0] + w[1], w[2], 0.0, 1.0); }
};
)");
    Graph_library library;
    library.add_velar_class(new Velar_node_class(source, "Weights"));
    Graph_node* node = library.find_class("Weights")->create_node("weights");
    library.add_node(node);
    FLAT12::Export_settings settings;
    std::unique_ptr<Compilation_unit> unsized(FLAT12::link_for_export(node, settings, nullptr));
    ASSERT_TRUE(unsized);
    std::string declared = input_text(tree(*unsized), "weights_w");
    ASSERT_FALSE(declared.empty());
    EXPECT_EQ(declared.find("INT_CONSTANT \"3\""), std::string::npos) << declared;
    settings.flags = FLAT12::EXPORT_RESOLVE_UNSIZED_ARRAYS;
    std::unique_ptr<Compilation_unit> sized = exported(node, settings, "resolved");
    ASSERT_TRUE(sized);
    declared = input_text(tree(*sized), "weights_w");
    EXPECT_NE(declared.find("INT_CONSTANT \"3\""), std::string::npos) << declared;
}
