// Shaders written in Ovrel, generated for the "GL" target and drawn by a real OpenGL: the pixels
// say whether the generated pair does what the source says.
#include <gtest/gtest.h>

#include <map>
#include <memory>
#include <string>

#include "back12/generated_shader.h"
#include "compiler/mod_compiler.h"
#include "render_harness.h"
#include "support/test_support.h"
#include "syntax_tree/compilation_unit.h"
#include "syntax_tree/diagnostics.h"

using vorn_render::Render_request;
using vorn_render::Render_result;
using vorn_render::Rgba;

namespace {

// A request carrying the generated pair of the source's first shader and the companion.
Render_request generated_request(const std::string& source)
{
    Render_request request;
    QZ::SYNTAX_TREE::Error_list errors;
    std::unique_ptr<QZ::SYNTAX_TREE::Compilation_unit> unit(
        QZ::COMPILER::mod_compiler->compile_text("render.ovl", source.c_str(), &errors));
    for (const auto& error : errors)
        ADD_FAILURE() << QZ::SYNTAX_TREE::format_error(error, "render.ovl");
    if (!unit) {
        ADD_FAILURE() << "no unit";
        return request;
    }
    for (const auto& error : unit->errors())
        ADD_FAILURE() << QZ::SYNTAX_TREE::format_error(error, "render.ovl");
    QZ::COMPILER::Compile_options options;
    options.shader_type = QZ::COMPILER::SHADER_SURFACE;
    std::unique_ptr<QZ::BACK12::Generated_shader> shader(
        QZ::COMPILER::mod_compiler->generate_shader(unit.get(), "GL", options));
    if (!shader || shader->program_count() != 2) {
        ADD_FAILURE() << "no GL pair";
        return request;
    }
    request.vertex_text = *shader->program_text(0);
    request.fragment_text = *shader->program_text(1);
    request.extra_fragment_sources.push_back(vorn_test::read_file(VORN_COMPANION_PATH));
    return request;
}

Render_result checked_render(const Render_request& request)
{
    Render_result result = vorn_render::render(request);
    EXPECT_TRUE(result.ok()) << vorn_render::to_string(result.failure) << ": " << result.message;
    return result;
}

}  // namespace

TEST(Generated_render, constant_colour_fills_the_quad)
{
    Render_request request = generated_request(
        "shader Flat { output: Color result; void main() { result = Color(0.25, 0.5, 0.75, 1.0); } };");
    Render_result result = checked_render(request);
    ASSERT_TRUE(result.ok());
    Rgba expected{64, 128, 191, 255};
    for (int y = 0; y < result.image.height; ++y)
        for (int x = 0; x < result.image.width; ++x)
            ASSERT_TRUE(near(result.image.at(x, y), expected, 1)) << x << "," << y << " " << to_string(result.image.at(x, y));
}

TEST(Generated_render, shading_by_the_normal_gives_a_gradient)
{
    // Normals run from (-1,-1,1) at the bottom left to (1,1,1) at the top right.
    Render_request request = generated_request(
        "shader By_normal { output: Color result;\n"
        "void main() { Vector3 n = normalize(normal); result = Color(n.x * 0.5 + 0.5, n.y * 0.5 + 0.5, 0.0, 1.0); } };");
    Render_result result = checked_render(request);
    ASSERT_TRUE(result.ok());
    const auto& image = result.image;
    Rgba bottom_left = image.at(0, 0), bottom_right = image.at(image.width - 1, 0);
    Rgba top_left = image.at(0, image.height - 1), middle = image.at(image.width / 2, image.height / 2);
    EXPECT_LT(bottom_left.r, 80);
    EXPECT_GT(bottom_right.r, 175);
    EXPECT_LT(bottom_left.g, 80);
    EXPECT_GT(top_left.g, 175);
    EXPECT_NEAR(middle.r, 128, 12);
    EXPECT_NEAR(middle.g, 128, 12);
    // Red grows from left to right along every row.
    for (int x = 1; x < image.width; ++x)
        EXPECT_GE(image.at(x, 3).r, image.at(x - 1, 3).r) << x;
}

TEST(Generated_render, checker_example_puts_both_colours_in_their_squares)
{
    Render_request request = generated_request(vorn_test::read_file(std::string(VORN_SOURCE_DIR) + "/examples/checker.ovl"));
    request.width = request.height = 32;
    request.set_vec4("ovl_color_a", 1.0f, 1.0f, 1.0f, 1.0f);
    request.set_vec4("ovl_color_b", 0.0f, 0.0f, 0.0f, 1.0f);
    request.set_float("ovl_repeat", 2.0f);
    request.set_float("ovl_softness", 0.01f);
    Render_result result = checked_render(request);
    ASSERT_TRUE(result.ok());
    // With two repeats, each unit square holds two bands a way: squares an eighth of the image
    // wide alternate.
    const auto& image = result.image;
    Rgba white{255, 255, 255, 255}, black{0, 0, 0, 255};
    EXPECT_TRUE(near(image.at(2, 2), white, 2)) << to_string(image.at(2, 2));
    EXPECT_TRUE(near(image.at(10, 2), black, 2)) << to_string(image.at(10, 2));
    EXPECT_TRUE(near(image.at(2, 10), black, 2)) << to_string(image.at(2, 10));
    EXPECT_TRUE(near(image.at(10, 10), white, 2)) << to_string(image.at(10, 10));
    EXPECT_TRUE(near(image.at(18, 2), white, 2)) << to_string(image.at(18, 2));
}

TEST(Generated_render, a_uniform_set_by_the_host_changes_the_result)
{
    const std::string source =
        "shader Tinted { input: Color tint = Color(1, 1, 1, 1); output: Color result;\n"
        "void main() { result = Color(tint.rgb * 0.5, 1.0); } };";
    Render_request red = generated_request(source);
    red.set_vec4("ovl_tint", 1.0f, 0.0f, 0.0f, 1.0f);
    Render_request green = generated_request(source);
    green.set_vec4("ovl_tint", 0.0f, 1.0f, 0.0f, 1.0f);
    Render_result first = checked_render(red), second = checked_render(green);
    ASSERT_TRUE(first.ok() && second.ok());
    EXPECT_TRUE(near(first.image.at(5, 5), Rgba{128, 0, 0, 255}, 2)) << to_string(first.image.at(5, 5));
    EXPECT_TRUE(near(second.image.at(5, 5), Rgba{0, 128, 0, 255}, 2)) << to_string(second.image.at(5, 5));
}

TEST(Generated_render, companion_functions_reach_the_generated_text)
{
    // saturate and the illumination helper come from the companion source at link time.
    Render_request request = generated_request(
        "shader Lit { output: Color result;\n"
        "void main() { Vector4 terms = illumination(0.5, 1.0, 8.0); result = Color(saturate(terms.y * 3.0), terms.z, 0.0, 1.0); } };");
    Render_result result = checked_render(request);
    ASSERT_TRUE(result.ok());
    EXPECT_TRUE(near(result.image.at(4, 4), Rgba{255, 255, 0, 255}, 2)) << to_string(result.image.at(4, 4));
}

// What the source means, drawn: each colour below is worked out by hand from the source.

namespace {

// The colour of the middle pixel of a program whose result does not vary over the quad.
Rgba drawn_colour(const std::string& source, const std::map<std::string, float>& floats = {})
{
    Render_request request = generated_request(source);
    for (const auto& value : floats)
        request.set_float(value.first, value.second);
    Render_result result = checked_render(request);
    return result.ok() ? result.image.at(8, 8) : Rgba{};
}

std::string colour_shader(const std::string& body, const std::string& inputs = "")
{
    return "shader Meaning { input: " + inputs + " output: Color result;\nvoid main() {\n" + body + "\n} };";
}

}  // namespace

TEST(Generated_meaning, matrices_are_given_by_rows_in_every_product)
{
    // M = (1 1 / 0 1): M * (0,1) = (1,1) and (0,1) * M = (0,1).
    EXPECT_TRUE(near(drawn_colour(colour_shader(
                         "Vector2 v = Matrix2x2(1, 1, 0, 1) * Vector2(0, 1); result = Color(v, 0, 1);")),
                     Rgba{255, 255, 0, 255}, 1));
    EXPECT_TRUE(near(drawn_colour(colour_shader(
                         "Vector2 v = Vector2(0, 1) * Matrix2x2(1, 1, 0, 1); result = Color(v, 0, 1);")),
                     Rgba{0, 255, 0, 255}, 1));
    // (1 2 / 3 4) * (0 1 / 1 0) = (2 1 / 4 3).
    EXPECT_TRUE(near(drawn_colour(colour_shader(
                         "Matrix2x2 m = Matrix2x2(1, 2, 3, 4) * Matrix2x2(0, 1, 1, 0);\n"
                         "result = Color(m[0] * 0.25, m[1] * 0.125);")),
                     Rgba{128, 64, 128, 96}, 1));
    // v *= M is v * M.
    EXPECT_TRUE(near(drawn_colour(colour_shader(
                         "Vector2 v = Vector2(0, 1); v *= Matrix2x2(1, 1, 0, 1); result = Color(v, 0, 1);")),
                     Rgba{0, 255, 0, 255}, 1));
}

TEST(Generated_meaning, shapes_that_glsl_lacks_multiply_by_their_rows)
{
    // (1 0 0 / 0 0 1) * (0.25, 0.5, 0.75) = (0.25, 0.75).
    EXPECT_TRUE(near(drawn_colour(colour_shader(
                         "Vector2 v = Matrix2x3(1, 0, 0, 0, 0, 1) * Vector3(0.25, 0.5, 0.75); result = Color(v, 0, 1);")),
                     Rgba{64, 191, 0, 255}, 1));
    // (1 0 / 0 1 / 1 1) * (0.25, 0.5) = (0.25, 0.5, 0.75).
    EXPECT_TRUE(near(drawn_colour(colour_shader(
                         "Vector3 v = Matrix3x2(1, 0, 0, 1, 1, 1) * Vector2(0.25, 0.5); result = Color(v, 1);")),
                     Rgba{64, 128, 191, 255}, 1));
    // (0.5, 0.25) * (1 0 1 / 0 1 1) = (0.5, 0.25, 0.75).
    EXPECT_TRUE(near(drawn_colour(colour_shader(
                         "Vector3 v = Vector2(0.5, 0.25) * Matrix2x3(1, 0, 1, 0, 1, 1); result = Color(v, 1);")),
                     Rgba{128, 64, 191, 255}, 1));
    // (1 0 0 / 0 0 1) * (1 0 / 0 1 / 1 1) = (1 0 / 1 1); the other order gives
    // (1 0 0 / 0 0 1 / 1 0 1).
    EXPECT_TRUE(near(drawn_colour(colour_shader(
                         "Matrix2x2 m = Matrix2x3(1, 0, 0, 0, 0, 1) * Matrix3x2(1, 0, 0, 1, 1, 1);\n"
                         "result = Color(m[0], m[1].y * 0.5, 1);")),
                     Rgba{255, 0, 128, 255}, 1));
    EXPECT_TRUE(near(drawn_colour(colour_shader(
                         "Matrix3x3 m = Matrix3x2(1, 0, 0, 1, 1, 1) * Matrix2x3(1, 0, 0, 0, 0, 1);\n"
                         "result = Color(m[2], m[1].z * 0.5);")),
                     Rgba{255, 0, 255, 128}, 1));
}

TEST(Generated_meaning, file_level_array_values_are_kept)
{
    EXPECT_TRUE(near(drawn_colour("Scalar w[2] = {0.25, 0.75};\n" +
                                  colour_shader("result = Color(w[0], w[1], 0, 1);")),
                     Rgba{64, 191, 0, 255}, 1));
}

TEST(Generated_meaning, helpers_named_like_builtins_and_written_inputs)
{
    // The generator's own mix (for lerp) beside a helper called mix.
    EXPECT_TRUE(near(drawn_colour("Scalar mix(Scalar a, Scalar b) { return a * b; }\n" +
                                  colour_shader("result = Color(mix(0.5, 0.5), lerp(0.0, 1.0, 0.5), 0, 1);")),
                     Rgba{64, 128, 0, 255}, 1));
    // An input written by the body: the uniform holds 0.25, the body doubles it.
    EXPECT_TRUE(near(drawn_colour(colour_shader("gain = gain * 2.0; result = Color(gain, 0, 0, 1);",
                                                "Scalar gain = 0.25;"),
                                  {{"ovl_gain", 0.25f}}),
                     Rgba{128, 0, 0, 255}, 1));
}

TEST(Generated_meaning, reserved_names_helper_order_and_written_inputs_together)
{
    // layer.half = mix(0.1, 0.2) = 0 * 0.2 + 0.5 * (0.1 + 0.1) = 0.1; filter = 0.3 + 0.4;
    // sampler + string = 0.5 + 0.25 + 0.25; shade adds 0.1 to rim_power (1.0) and halves it,
    // so alpha is 0.55 + 2.2, cut to 1.
    Render_request request = generated_request(vorn_test::read_file(std::string(VORN_TEST_DATA_DIR) + "/gen/clashes.ovl"));
    request.set_float("ovl_rim_power", 1.0f);
    request.set_float("ovl_matrix", 0.5f);
    Render_result result = checked_render(request);
    ASSERT_TRUE(result.ok());
    EXPECT_TRUE(near(result.image.at(8, 8), Rgba{26, 179, 255, 255}, 1)) << to_string(result.image.at(8, 8));
}

TEST(Generated_meaning, results_of_every_kind_become_the_colour)
{
    auto result_of = [](const std::string& type, const std::string& value) {
        return drawn_colour("shader R { output: " + type + " r; void main() { r = " + value + "; } };");
    };
    EXPECT_TRUE(near(result_of("Bool", "true"), Rgba{255, 255, 255, 255}, 1));
    EXPECT_TRUE(near(result_of("Scalar", "0.5"), Rgba{128, 128, 128, 128}, 1));
    EXPECT_TRUE(near(result_of("Int", "1"), Rgba{255, 255, 255, 255}, 1));
    EXPECT_TRUE(near(result_of("Matrix3x3", "Matrix3x3(0.25, 1, 1, 1, 1, 1, 1, 1, 1)"), Rgba{64, 64, 64, 64}, 1));
    EXPECT_TRUE(near(result_of("Vector2b", "Vector2b(true, false)"), Rgba{255, 0, 0, 0}, 1));
    EXPECT_TRUE(near(result_of("Vector4i", "Vector4i(1, 0, 1, 1)"), Rgba{255, 0, 255, 255}, 1));
}

TEST(Generated_meaning, lookups_with_derivatives_read_the_texture)
{
    Render_request request = generated_request(
        "shader T { input: Texture2d map; output: Color result;\n"
        "void main() { Vector2 uv = Vector2(0.5, 0.5); result = tex2D(map, uv, ddx(uv), ddy(uv)); } };");
    vorn_render::Image texel;
    texel.width = texel.height = 1;
    texel.rgba = {64, 128, 191, 255};
    request.set_texture("ovl_map", 0, texel);
    Render_result result = checked_render(request);
    ASSERT_TRUE(result.ok());
    EXPECT_TRUE(near(result.image.at(8, 8), Rgba{64, 128, 191, 255}, 1)) << to_string(result.image.at(8, 8));
}
