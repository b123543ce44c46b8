// The Phong example exported with a point light and with an infinite light, drawn on a quad whose
// normals bulge like a sphere: lit where it faces the light, its highlight where the half vector
// meets the normal, driven by the lights' inputs, and equal to the same lighting written by hand.
#include <gtest/gtest.h>

#include <cmath>
#include <memory>
#include <string>

#include "back12/generated_shader.h"
#include "compiler/mod_compiler.h"
#include "flat12/linker.h"
#include "graph/graph_file.h"
#include "graph/graph_library.h"
#include "render_harness.h"
#include "support/test_support.h"
#include "syntax_tree/compilation_unit.h"
#include "syntax_tree/diagnostics.h"

using namespace QZ;
using vorn_render::Render_request;
using vorn_render::Render_result;
using vorn_render::Rgba;

namespace {

constexpr int SIZE = 32;

// The surface node of the example graph exported with one light, as a GL pair with every
// uniform set: the surface's values, and the light's colour, intensity and placement.
struct Lit_phong {
    std::unique_ptr<GRAPH::Graph_library> library;
    Render_request request;

    explicit Lit_phong(const char* light)
    {
        SYNTAX_TREE::Error_list errors;
        library.reset(GRAPH::load_file((std::string(VORN_SOURCE_DIR) + "/examples/lit_phong.xovl").c_str(), nullptr,
                                       &errors));
        if (!library || !errors.empty()) {
            ADD_FAILURE() << "lit_phong.xovl does not load";
            return;
        }
        FLAT12::Export_settings settings;
        settings.has_light_list = true;
        settings.library = library.get();
        settings.lights.emplace_back();
        settings.lights.back().tag = light;
        std::unique_ptr<SYNTAX_TREE::Compilation_unit> unit(
            FLAT12::link_for_export(library->find_node("surface"), settings, nullptr));
        if (!unit) {
            ADD_FAILURE() << "no unit";
            return;
        }
        for (const auto& error : unit->errors())
            ADD_FAILURE() << SYNTAX_TREE::format_error(error, "__generated");
        COMPILER::Compile_options options;
        options.shader_type = COMPILER::SHADER_SURFACE;
        std::unique_ptr<BACK12::Generated_shader> shader(
            COMPILER::mod_compiler->generate_shader(unit.get(), "GL", options));
        if (!shader || shader->program_count() != 2) {
            ADD_FAILURE() << "no GL pair";
            return;
        }
        request.vertex_text = *shader->program_text(0);
        request.fragment_text = *shader->program_text(1);
        request.extra_fragment_sources.push_back(vorn_test::read_file(VORN_COMPANION_PATH));
        request.width = request.height = SIZE;
        request.matrices = vorn_render::Matrix_setup::orthographic;
        request.set_float("flip_normal", 0.0f);
        request.set_vec4("ovl_surface_ambient", 0.05f, 0.05f, 0.05f, 1.0f);
        request.set_vec4("ovl_surface_diffuse", 0.8f, 0.3f, 0.2f, 1.0f);
        request.set_vec4("ovl_surface_specular", 1.0f, 1.0f, 1.0f, 1.0f);
        request.set_float("ovl_surface_shininess", 32.0f);
        request.set_vec4("ovl___light0_color", 1.0f, 1.0f, 1.0f, 1.0f);
        request.set_float("ovl___light0_intensity", 1.0f);
        // The geometry's own matrices are uniforms of the generated text too.
        request.ignore_inactive_uniforms = true;
    }
};

// The same lighting as one hand-written fragment shader over the same uniforms; point is true
// for the point light with its falloff, false for the infinite light.
std::string hand_written(bool point)
{
    std::string text = R"(
uniform vec4 ovl___light0_color;
uniform float ovl___light0_intensity;
uniform vec3 ovl___light0_position;
uniform vec4 ovl_surface_ambient;
uniform vec4 ovl_surface_diffuse;
uniform vec4 ovl_surface_specular;
uniform float ovl_surface_shininess;
varying vec3 position;
varying vec3 normal;
)";
    text += point ? "uniform float ovl___light0_falloff;\n" : "uniform vec3 ovl___light0_direction;\n";
    text += R"(
void main()
{
    vec3 n = normalize(normal);
    vec3 v = -normalize(position);
)";
    text += point ? R"(
    vec3 to_light = ovl___light0_position - position;
    float d = length(to_light);
    vec3 l = to_light / d;
    vec4 c = ovl___light0_color * (ovl___light0_intensity / (1.0 + ovl___light0_falloff * d * d));
)"
                  : R"(
    vec3 l = normalize(-ovl___light0_direction);
    vec4 c = ovl___light0_color * ovl___light0_intensity;
)";
    text += R"(
    float dot_nl = max(dot(n, l), 0.0);
    float dot_nh = max(dot(n, normalize(l + v)), 0.0);
    float specular = pow(dot_nh, ovl_surface_shininess);
    vec4 sum = ovl_surface_ambient + c * (ovl_surface_diffuse * dot_nl + ovl_surface_specular * specular);
    gl_FragColor = vec4(sum.rgb, 1.0);
}
)";
    return text;
}

Render_result drawn(const Render_request& request)
{
    Render_result result = vorn_render::render(request);
    EXPECT_TRUE(result.ok()) << vorn_render::to_string(result.failure) << ": " << result.message << "\n"
                             << request.fragment_text;
    return result;
}

int brightness(const Rgba& pixel) { return int(pixel.r) + int(pixel.g) + int(pixel.b); }

// Mean brightness of the columns [from, to).
double band(const vorn_render::Image& image, int from, int to)
{
    double sum = 0.0;
    for (int y = 0; y < SIZE; ++y)
        for (int x = from; x < to; ++x)
            sum += brightness(image.at(x, y));
    return sum / double(SIZE * (to - from));
}

void expect_same_pixels(const vorn_render::Image& exported, const vorn_render::Image& by_hand, const char* what)
{
    int mismatches = 0;
    for (int y = 0; y < SIZE; ++y)
        for (int x = 0; x < SIZE; ++x)
            if (!near(exported.at(x, y), by_hand.at(x, y), 2) && mismatches++ < 5)
                ADD_FAILURE() << what << " " << x << "," << y << ": " << to_string(exported.at(x, y)) << " by hand "
                              << to_string(by_hand.at(x, y));
    EXPECT_EQ(mismatches, 0) << what;
}

}  // namespace

TEST(Export_render, a_point_light_lights_the_side_that_faces_it_as_hand_written_phong_does)
{
    Lit_phong lit("key");
    ASSERT_FALSE(lit.request.fragment_text.empty());
    // The quad lies at z = -1 in view space; the light stands to its left, in front of it.
    lit.request.set_vec3("ovl___light0_position", -2.0f, 0.0f, 0.0f);
    lit.request.set_float("ovl___light0_falloff", 0.1f);
    Render_request reference = lit.request;
    reference.fragment_text = hand_written(true);
    reference.extra_fragment_sources.clear();

    Render_result exported = drawn(lit.request);
    Render_result by_hand = drawn(reference);
    ASSERT_TRUE(exported.ok() && by_hand.ok());
    expect_same_pixels(exported.image, by_hand.image, "light on the left");
    EXPECT_GT(band(exported.image, 0, 8), 3.0 * band(exported.image, 24, 32)) << "lit on the left, dark on the right";

    // Moved to the right, the light lights the other side.
    Render_request moved = lit.request;
    moved.set_vec3("ovl___light0_position", 2.0f, 0.0f, 0.0f);
    Render_result right = drawn(moved);
    ASSERT_TRUE(right.ok());
    EXPECT_GT(band(right.image, 24, 32), 3.0 * band(right.image, 0, 8)) << "lit on the right, dark on the left";

    // A red light: the lit side gains red only; green and blue stay those of the ambient term and
    // the white highlight's share of red light.
    Render_request red = lit.request;
    red.set_vec4("ovl___light0_color", 1.0f, 0.0f, 0.0f, 1.0f);
    Render_result reddened = drawn(red);
    ASSERT_TRUE(reddened.ok());
    Rgba white_lit = exported.image.at(4, 16);
    Rgba red_lit = reddened.image.at(4, 16);
    EXPECT_NEAR(int(red_lit.r), int(white_lit.r), 2);
    EXPECT_LE(int(red_lit.g), 14) << to_string(red_lit);
    EXPECT_GT(int(white_lit.g), int(red_lit.g) + 20) << to_string(white_lit);
}

TEST(Export_render, an_infinite_light_puts_the_highlight_where_the_normal_halves_light_and_view)
{
    Lit_phong lit("sun");
    ASSERT_FALSE(lit.request.fragment_text.empty());
    // Light travelling along -x and -z: it comes from the right and from the viewer's side.
    lit.request.set_vec3("ovl___light0_direction", -1.0f, 0.0f, -1.0f);
    lit.request.set_vec3("ovl___light0_position", 0.0f, 0.0f, 0.0f);
    Render_request reference = lit.request;
    reference.fragment_text = hand_written(false);
    reference.extra_fragment_sources.clear();

    Render_result exported = drawn(lit.request);
    Render_result by_hand = drawn(reference);
    ASSERT_TRUE(exported.ok() && by_hand.ok());
    expect_same_pixels(exported.image, by_hand.image, "infinite light");

    // With l = (1, 0, 1) / sqrt 2 and the view near (0, 0, 1), the half vector is near
    // (0.38, 0, 0.92); the quad's normal (2s - 1, 2t - 1, 1) points that way at s = 0.71, t = 0.5.
    int best_x = 0, best_y = 0, best = -1;
    for (int y = 0; y < SIZE; ++y)
        for (int x = 0; x < SIZE; ++x)
            if (brightness(exported.image.at(x, y)) > best) {
                best = brightness(exported.image.at(x, y));
                best_x = x;
                best_y = y;
            }
    EXPECT_NEAR(best_x, 22, 3);
    EXPECT_NEAR(best_y, 16, 3);
    EXPECT_GT(band(exported.image, 24, 32), band(exported.image, 0, 8)) << "the right side faces the light";
}
