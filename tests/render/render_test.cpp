// Render checks of legacy GLSL pairs written in the shape of the "GL" target's
// texts, and of the companion source that supplies the fragment text's helpers.
#include "render_harness.h"

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <fstream>
#include <functional>
#include <sstream>
#include <string>

using vorn_render::Image;
using vorn_render::Matrix_setup;
using vorn_render::Render_failure;
using vorn_render::Render_request;
using vorn_render::Render_result;
using vorn_render::Rgba;

namespace {

// The vertex text as the generator writes it when every varying is used.
const char* const vertex_text = R"(uniform float flip_normal;

varying vec3 position;
varying vec3 normal;
varying vec4 tex_coord0;
varying vec4 tex_coord1;
varying vec4 tex_coord2;
varying vec4 tex_coord3;
varying vec3 tex_tangent;
varying vec3 tex_binormal;

void main()
{
gl_Position = ftransform();
position = (gl_ModelViewMatrix * gl_Vertex).xyz;
normal = gl_NormalMatrix * gl_Normal;
tex_coord0 = gl_MultiTexCoord0;
tex_coord1 = gl_MultiTexCoord1;
tex_coord2 = gl_MultiTexCoord2;
tex_coord3 = gl_MultiTexCoord3;
tex_tangent = gl_NormalMatrix * gl_MultiTexCoord4.xyz;
tex_binormal = gl_NormalMatrix * gl_MultiTexCoord5.xyz;

if( flip_normal > 0.0 ) {
gl_FrontColor = vec4(1.0);
gl_BackColor  = vec4(0.0);
} else {
gl_FrontColor = vec4(0.0);
gl_BackColor  = vec4(1.0);
}
}
)";

// The library declarations of the fragment text, which the companion defines.
const char* const library_declarations = R"(struct Ray {
	vec3 origin;
	vec3 direction;
};

vec4 illumination(float ndotl,float ndoth,float m);

float log10(float x);
vec2 log10(vec2 x);
vec3 log10(vec3 x);
vec4 log10(vec4 x);

float modf(float a,out float b);
vec2 modf(vec2 a,out vec2 b);
vec3 modf(vec3 a,out vec3 b);
vec4 modf(vec4 a,out vec4 b);

float round(float x);
vec2 round(vec2 x);
vec3 round(vec3 x);
vec4 round(vec4 x);

float saturate(float x);
vec2 saturate(vec2 x);
vec3 saturate(vec3 x);
vec4 saturate(vec4 x);

void sincos(float x,out float s,out float c);
void sincos(vec2 x,out vec2 s,out vec2 c);
void sincos(vec3 x,out vec3 s,out vec3 c);
void sincos(vec4 x,out vec4 s,out vec4 c);

mat2 transpose(mat2);
mat3 transpose(mat3);
mat4 transpose(mat4);

)";

// A fragment text in the generator's order: state struct, library
// declarations, varyings, uniforms and functions, root function, main.
std::string fragment_text(const std::string& declarations, const std::string& root_body)
{
    std::string text = R"(struct State
{
vec4 tex_coord[4];
vec3 tex_tangent[1];
vec3 tex_binormal[1];
vec3 position;
vec3 normal;
};

)";
    text += library_declarations;
    text += R"(varying vec3 position;
varying vec3 normal;
varying vec4 tex_coord0;
varying vec4 tex_coord1;
varying vec4 tex_coord2;
varying vec4 tex_coord3;
varying vec3 tex_tangent;
varying vec3 tex_binormal;

)";
    text += declarations;
    text += "\nvec4 shader_eval(State state)\n{\n" + root_body + "\n}\n\n";
    text += R"(void main()
{
State state;
state.position = position;
state.normal = normalize(normal);
state.tex_coord[0] = tex_coord0;
state.tex_coord[1] = tex_coord1;
state.tex_coord[2] = tex_coord2;
state.tex_coord[3] = tex_coord3;
state.tex_tangent[0] = tex_tangent;
state.tex_binormal[0] = tex_binormal;
gl_FragColor = shader_eval(state);
}
)";
    return text;
}

Render_request request_for(const std::string& declarations, const std::string& root_body, int width = 16,
                           int height = 16)
{
    Render_request request;
    request.vertex_text = vertex_text;
    request.fragment_text = fragment_text(declarations, root_body);
    request.width = width;
    request.height = height;
    return request;
}

std::string companion_source()
{
    std::ifstream in(VORN_COMPANION_PATH);
    std::stringstream text;
    text << in.rdbuf();
    return text.str();
}

std::uint8_t unorm8(double value)
{
    return static_cast<std::uint8_t>(std::lround(std::fmin(std::fmax(value, 0.0), 1.0) * 255.0));
}

Rgba colour(double r, double g, double b, double a)
{
    return Rgba{unorm8(r), unorm8(g), unorm8(b), unorm8(a)};
}

// Compares every pixel with the expectation and names the first few misses.
::testing::AssertionResult image_matches(const Image& image, const std::function<Rgba(int, int)>& expected,
                                         int tolerance)
{
    int misses = 0;
    std::string report;
    for (int y = 0; y < image.height; ++y)
        for (int x = 0; x < image.width; ++x) {
            const Rgba want = expected(x, y);
            const Rgba got = image.at(x, y);
            if (!vorn_render::near(got, want, tolerance)) {
                if (++misses <= 5)
                    report += "\n  pixel (" + std::to_string(x) + ", " + std::to_string(y) + "): got "
                        + to_string(got) + ", expected " + to_string(want);
            }
        }
    if (misses == 0)
        return ::testing::AssertionSuccess();
    return ::testing::AssertionFailure() << misses << " pixels differ" << report;
}

::testing::AssertionResult pixel_is(const Image& image, int x, int y, Rgba want, int tolerance)
{
    const Rgba got = image.at(x, y);
    if (vorn_render::near(got, want, tolerance))
        return ::testing::AssertionSuccess();
    return ::testing::AssertionFailure() << "pixel (" << x << ", " << y << ") is " << to_string(got) << ", expected "
                                         << to_string(want);
}

#define ASSERT_RENDERED(result) \
    ASSERT_TRUE((result).ok()) << to_string((result).failure) << ": " << (result).message

// The texture coordinate at the centre of a pixel, as the default quad carries it.
double centre(int i, int size) { return (i + 0.5) / size; }

} // namespace

// ---------------------------------------------------------------------------

TEST(Render_basics, Constant_colour_fills_every_pixel_of_a_non_square_image)
{
    const Render_result result = render(request_for("", "return vec4(0.2, 0.4, 0.6, 1.0);", 7, 5));
    ASSERT_RENDERED(result);
    EXPECT_EQ(result.image.width, 7);
    EXPECT_EQ(result.image.height, 5);
    EXPECT_EQ(result.image.rgba.size(), 7u * 5u * 4u);
    EXPECT_TRUE(image_matches(result.image, [](int, int) { return Rgba{51, 102, 153, 255}; }, 1));
}

// ---------------------------------------------------------------------------

TEST(Render_gradients, Texture_coordinate_gives_a_gradient_from_the_bottom_left)
{
    const Render_result result = render(request_for("", "return vec4(state.tex_coord[0].xy, 0.0, 1.0);"));
    ASSERT_RENDERED(result);
    // Pixel centres sit at s = (x + 0.5) / 16: 1/32, 17/32 and 31/32 of 255.
    EXPECT_TRUE(pixel_is(result.image, 0, 0, Rgba{8, 8, 0, 255}, 1));
    EXPECT_TRUE(pixel_is(result.image, 15, 0, Rgba{247, 8, 0, 255}, 1));
    EXPECT_TRUE(pixel_is(result.image, 0, 15, Rgba{8, 247, 0, 255}, 1));
    EXPECT_TRUE(pixel_is(result.image, 15, 15, Rgba{247, 247, 0, 255}, 1));
    EXPECT_TRUE(pixel_is(result.image, 8, 8, Rgba{135, 135, 0, 255}, 1));
    EXPECT_TRUE(image_matches(
        result.image, [](int x, int y) { return colour(centre(x, 16), centre(y, 16), 0, 1); }, 1));
}

TEST(Render_gradients, Normal_gives_a_gradient_under_both_matrix_setups)
{
    for (Matrix_setup setup : {Matrix_setup::identity, Matrix_setup::orthographic}) {
        SCOPED_TRACE(setup == Matrix_setup::identity ? "identity" : "orthographic");
        Render_request request = request_for("", "return vec4(state.normal * 0.5 + 0.5, 1.0);", 12, 20);
        request.matrices = setup;
        const Render_result result = render(request);
        ASSERT_RENDERED(result);
        auto expected = [](int x, int y) {
            const double nx = 2 * centre(x, 12) - 1, ny = 2 * centre(y, 20) - 1;
            const double length = std::sqrt(nx * nx + ny * ny + 1);
            return colour(nx / length * 0.5 + 0.5, ny / length * 0.5 + 0.5, 1 / length * 0.5 + 0.5, 1);
        };
        EXPECT_TRUE(image_matches(result.image, expected, 2));
        // The corners lean away from the middle, which faces the viewer.
        const Rgba low = result.image.at(0, 0), high = result.image.at(11, 19), middle = result.image.at(6, 10);
        EXPECT_LT(low.r, 70);
        EXPECT_LT(low.g, 70);
        EXPECT_GT(high.r, 185);
        EXPECT_GT(high.g, 185);
        EXPECT_GT(middle.b, 250);
    }
}

TEST(Render_gradients, Position_is_the_eye_space_position_of_the_matrix_setup)
{
    const std::string body = "return vec4(state.position.xy * 0.5 + 0.5, -state.position.z, 1.0);";
    Render_request request = request_for("", body);
    request.matrices = Matrix_setup::orthographic;
    const Render_result ortho = render(request);
    ASSERT_RENDERED(ortho);
    // The camera looks down -z at the quad one unit away.
    EXPECT_TRUE(image_matches(
        ortho.image, [](int x, int y) { return colour(centre(x, 16), centre(y, 16), 1, 1); }, 1));

    request.matrices = Matrix_setup::identity;
    const Render_result identity = render(request);
    ASSERT_RENDERED(identity);
    EXPECT_TRUE(image_matches(
        identity.image, [](int x, int y) { return colour(centre(x, 16), centre(y, 16), 0, 1); }, 1));
}

TEST(Render_gradients, Every_texture_unit_tangent_and_binormal_reaches_the_fragment)
{
    const Render_result units = render(request_for(
        "", "return vec4(state.tex_coord[1].z, state.tex_coord[2].z, state.tex_coord[3].z, state.tex_coord[3].w);",
        4, 4));
    ASSERT_RENDERED(units);
    EXPECT_TRUE(image_matches(units.image, [](int, int) { return colour(0.25, 0.5, 0.75, 1); }, 1));

    const Render_result frame = render(request_for(
        "", "return vec4(state.tex_tangent[0].x, state.tex_binormal[0].y, state.tex_tangent[0].y + "
            "state.tex_binormal[0].x, 1.0);",
        4, 4));
    ASSERT_RENDERED(frame);
    EXPECT_TRUE(image_matches(frame.image, [](int, int) { return Rgba{255, 255, 0, 255}; }, 1));

    // Units 1 to 3 carry s and t as unit 0 does.
    const Render_result st = render(request_for(
        "", "return vec4(state.tex_coord[1].x, state.tex_coord[2].y, state.tex_coord[3].x, 1.0);", 8, 8));
    ASSERT_RENDERED(st);
    EXPECT_TRUE(image_matches(
        st.image, [](int x, int y) { return colour(centre(x, 8), centre(y, 8), centre(x, 8), 1); }, 1));
}

TEST(Render_gradients, Corners_set_by_the_test_are_interpolated)
{
    Render_request request = request_for("", "return vec4(state.tex_coord[0].xyz, 1.0);", 8, 8);
    for (auto& corner : request.corners)
        corner.tex_coord[0] = {0.5f, 0.25f, 0.0f, 1.0f};
    request.corners[1].tex_coord[0][2] = 1.0f; // bottom right
    request.corners[2].tex_coord[0][2] = 1.0f; // top right
    const Render_result result = render(request);
    ASSERT_RENDERED(result);
    EXPECT_TRUE(image_matches(
        result.image, [](int x, int) { return colour(0.5, 0.25, centre(x, 8), 1); }, 1));
}

// ---------------------------------------------------------------------------

TEST(Render_checker, Checker_from_texture_coordinates_puts_each_colour_in_its_cells)
{
    const Render_result result = render(request_for("", R"(vec2 cell = floor(state.tex_coord[0].xy * 4.0);
if (mod(cell.x + cell.y, 2.0) < 0.5)
    return vec4(1.0, 0.0, 0.0, 1.0);
return vec4(0.0, 0.0, 1.0, 1.0);)"));
    ASSERT_RENDERED(result);
    const Rgba red{255, 0, 0, 255}, blue{0, 0, 255, 255};
    EXPECT_TRUE(pixel_is(result.image, 0, 0, red, 0));
    EXPECT_TRUE(pixel_is(result.image, 3, 3, red, 0));
    EXPECT_TRUE(pixel_is(result.image, 4, 0, blue, 0));
    EXPECT_TRUE(pixel_is(result.image, 0, 4, blue, 0));
    EXPECT_TRUE(pixel_is(result.image, 4, 4, red, 0));
    EXPECT_TRUE(pixel_is(result.image, 15, 15, red, 0));
    EXPECT_TRUE(pixel_is(result.image, 12, 8, blue, 0));
    EXPECT_TRUE(image_matches(
        result.image, [&](int x, int y) { return (x / 4 + y / 4) % 2 == 0 ? red : blue; }, 0));
}

// ---------------------------------------------------------------------------

namespace {

// 4x4 texels, each different: red counts columns, green counts rows.
Image pattern_texture()
{
    Image texture;
    texture.width = 4;
    texture.height = 4;
    for (int j = 0; j < 4; ++j)
        for (int i = 0; i < 4; ++i)
            texture.rgba.insert(texture.rgba.end(), {static_cast<std::uint8_t>(40 + 60 * i),
                                                     static_cast<std::uint8_t>(40 + 60 * j),
                                                     static_cast<std::uint8_t>((i + j) % 2 ? 255 : 0), 255});
    return texture;
}

} // namespace

TEST(Render_texture, Sampled_texture_shows_each_texel_over_its_block_of_pixels)
{
    Render_request request =
        request_for("uniform sampler2D pattern;\n", "return texture2D(pattern, state.tex_coord[0].xy);");
    request.set_texture("pattern", 2, pattern_texture());
    const Render_result result = render(request);
    ASSERT_RENDERED(result);
    // Texel row 0 is the bottom row, like the image's.
    EXPECT_TRUE(pixel_is(result.image, 0, 0, Rgba{40, 40, 0, 255}, 0));
    EXPECT_TRUE(pixel_is(result.image, 15, 0, Rgba{220, 40, 255, 255}, 0));
    EXPECT_TRUE(pixel_is(result.image, 0, 15, Rgba{40, 220, 255, 255}, 0));
    EXPECT_TRUE(image_matches(
        result.image,
        [](int x, int y) {
            const int i = x / 4, j = y / 4;
            return Rgba{static_cast<std::uint8_t>(40 + 60 * i), static_cast<std::uint8_t>(40 + 60 * j),
                        static_cast<std::uint8_t>((i + j) % 2 ? 255 : 0), 255};
        },
        0));
}

TEST(Render_texture, Two_samplers_on_different_units_see_their_own_textures)
{
    Render_request request = request_for("uniform sampler2D pattern;\nuniform sampler2D tint;\n",
                                         "return texture2D(pattern, state.tex_coord[0].xy) * "
                                         "texture2D(tint, state.tex_coord[0].xy);",
                                         8, 8);
    request.set_texture("pattern", 3, pattern_texture());
    Image tint;
    tint.width = tint.height = 1;
    tint.rgba = {255, 0, 255, 255};
    request.set_texture("tint", 0, tint);
    const Render_result result = render(request);
    ASSERT_RENDERED(result);
    EXPECT_TRUE(image_matches(
        result.image,
        [](int x, int y) {
            const int i = x / 2, j = y / 2;
            return Rgba{static_cast<std::uint8_t>(40 + 60 * i), 0, static_cast<std::uint8_t>((i + j) % 2 ? 255 : 0),
                        255};
        },
        1));
}

TEST(Render_texture, Linear_filter_blends_neighbouring_texels)
{
    Image ramp;
    ramp.width = 2;
    ramp.height = 1;
    ramp.rgba = {0, 0, 0, 255, 255, 255, 255, 255};
    Render_request request = request_for("uniform sampler2D ramp;\n",
                                         "return texture2D(ramp, vec2(0.5, 0.5));", 2, 2);
    request.set_texture("ramp", 0, ramp, true);
    const Render_result blended = render(request);
    ASSERT_RENDERED(blended);
    EXPECT_TRUE(pixel_is(blended.image, 0, 0, Rgba{128, 128, 128, 255}, 2));

    request.set_texture("ramp", 0, ramp, false);
    const Render_result nearest = render(request);
    ASSERT_RENDERED(nearest);
    const Rgba texel = nearest.image.at(0, 0);
    EXPECT_TRUE(texel == (Rgba{0, 0, 0, 255}) || texel == (Rgba{255, 255, 255, 255})) << to_string(texel);
}

// ---------------------------------------------------------------------------

TEST(Render_uniforms, A_uniform_set_by_the_test_changes_the_result)
{
    Render_request request = request_for("uniform vec4 tint;\n", "return tint;", 4, 4);
    request.set_vec4("tint", 1.0f, 0.0f, 0.5f, 1.0f);
    const Render_result first = render(request);
    ASSERT_RENDERED(first);
    EXPECT_TRUE(image_matches(first.image, [](int, int) { return Rgba{255, 0, 128, 255}; }, 1));

    request.set_vec4("tint", 0.0f, 0.75f, 0.25f, 0.5f);
    const Render_result second = render(request);
    ASSERT_RENDERED(second);
    EXPECT_TRUE(image_matches(second.image, [](int, int) { return Rgba{0, 191, 64, 128}; }, 1));
}

TEST(Render_uniforms, Float_vector_int_and_bool_uniforms_are_set_by_name)
{
    Render_request request = request_for(
        "uniform float a;\nuniform vec2 b;\nuniform vec3 c;\nuniform int d;\nuniform bool e;\n",
        "return vec4(a, b.y, c.z, e ? float(d) * 0.25 : 0.0);", 4, 4);
    request.set_float("a", 0.2f);
    request.set_vec2("b", 0.9f, 0.4f);
    request.set_vec3("c", 0.9f, 0.9f, 0.6f);
    request.set_int("d", 3);
    request.set_int("e", 1);
    const Render_result result = render(request);
    ASSERT_RENDERED(result);
    EXPECT_TRUE(image_matches(result.image, [](int, int) { return Rgba{51, 102, 153, 191}; }, 1));
}

TEST(Render_uniforms, The_vertex_text_s_flip_normal_uniform_can_be_set)
{
    // flip_normal picks the front colour in the vertex text; the fragment reads it back.
    Render_request request = request_for("", "return gl_Color;", 4, 4);
    request.set_float("flip_normal", 1.0f);
    const Render_result front = render(request);
    ASSERT_RENDERED(front);
    EXPECT_TRUE(image_matches(front.image, [](int, int) { return Rgba{255, 255, 255, 255}; }, 0));
    request.set_float("flip_normal", 0.0f);
    const Render_result back = render(request);
    ASSERT_RENDERED(back);
    EXPECT_TRUE(image_matches(back.image, [](int, int) { return Rgba{0, 0, 0, 0}; }, 0));
}

TEST(Render_uniforms, Unknown_names_and_wrong_types_are_clear_errors)
{
    Render_request request = request_for("uniform vec4 tint;\n", "return tint;", 2, 2);
    request.set_vec4("tnit", 1, 1, 1, 1);
    Render_result result = render(request);
    EXPECT_EQ(result.failure, Render_failure::uniform);
    EXPECT_NE(result.message.find("'tnit' is not an active uniform"), std::string::npos) << result.message;

    request.ignore_inactive_uniforms = true;
    result = render(request);
    EXPECT_TRUE(result.ok()) << result.message;

    request.uniforms.clear();
    request.set_float("tint", 1.0f);
    result = render(request);
    EXPECT_EQ(result.failure, Render_failure::uniform);
    EXPECT_NE(result.message.find("'tint' is a vec4 in the program but was set as a float"), std::string::npos)
        << result.message;

    request.uniforms.clear();
    request.set_texture("tint", 0, pattern_texture());
    result = render(request);
    EXPECT_EQ(result.failure, Render_failure::uniform);
    EXPECT_NE(result.message.find("set as a sampler2D"), std::string::npos) << result.message;
}

// ---------------------------------------------------------------------------

namespace {

// Evaluates `actual` (a vec4 expression, after `locals`) with the companion
// linked in, on a 2x1 image: the left pixel shows actual / 8 + 0.5 so that a
// failure can say roughly what came out, the right one the error against
// `expected`, amplified so that a byte above 25 means an error above 0.001.
void expect_companion_value(const std::string& locals, const std::string& actual, std::array<float, 4> expected)
{
    SCOPED_TRACE(actual);
    char expected_text[160];
    std::snprintf(expected_text, sizeof expected_text, "vec4(%.9g, %.9g, %.9g, %.9g)", expected[0], expected[1],
                  expected[2], expected[3]);
    const std::string body = locals + "\nvec4 actual = " + actual + ";\nvec4 expected = " + expected_text
        + ";\nif (state.tex_coord[0].x < 0.5)\n    return actual * 0.125 + 0.5;\n"
          "return min(abs(actual - expected) * 100.0, 1.0);";
    Render_request request = request_for("", body, 2, 1);
    request.extra_fragment_sources.push_back(companion_source());
    const Render_result result = render(request);
    ASSERT_RENDERED(result);
    const Rgba shown = result.image.at(0, 0), error = result.image.at(1, 0);
    auto decoded = [](std::uint8_t v) { return (v / 255.0 - 0.5) * 8.0; };
    const std::uint8_t errors[4] = {error.r, error.g, error.b, error.a};
    const std::uint8_t values[4] = {shown.r, shown.g, shown.b, shown.a};
    for (int i = 0; i < 4; ++i)
        EXPECT_LE(errors[i], 25) << "component " << i << " is about " << decoded(values[i]) << ", expected "
                                 << expected[i];
}

} // namespace

TEST(Render_companion, Illumination_gives_ambient_diffuse_and_specular_weights)
{
    expect_companion_value("", "illumination(0.5, 0.8, 2.0)", {1.0f, 0.5f, 0.64f, 1.0f});
    expect_companion_value("", "illumination(0.3, 1.0, 50.0)", {1.0f, 0.3f, 1.0f, 1.0f});
    // Light behind the surface: no diffuse and no specular.
    expect_companion_value("", "illumination(-0.5, 0.8, 2.0)", {1.0f, 0.0f, 0.0f, 1.0f});
    // Half vector behind the surface: diffuse stays, specular goes.
    expect_companion_value("", "illumination(0.5, -0.2, 2.0)", {1.0f, 0.5f, 0.0f, 1.0f});
    expect_companion_value("", "illumination(0.25, 0.5, 3.0)", {1.0f, 0.25f, 0.125f, 1.0f});
}

TEST(Render_companion, Log10_of_every_width)
{
    expect_companion_value("", "vec4(log10(100.0), log10(0.1), log10(1.0), log10(31.6227766))",
                           {2.0f, -1.0f, 0.0f, 1.5f});
    expect_companion_value("", "vec4(log10(vec2(10.0, 1000.0)), log10(vec2(0.01, 2.0)))",
                           {1.0f, 3.0f, -2.0f, 0.30103f});
    expect_companion_value("", "vec4(log10(vec3(1.0, 10.0, 100.0)), 0.0)", {0.0f, 1.0f, 2.0f, 0.0f});
    expect_companion_value("", "log10(vec4(1000.0, 0.001, 5.0, 1.0))", {3.0f, -3.0f, 0.69897f, 0.0f});
}

TEST(Render_companion, Modf_splits_towards_zero_with_the_sign_of_the_argument)
{
    expect_companion_value("float w; float f = modf(2.75, w);", "vec4(f, w, 0.0, 0.0)", {0.75f, 2.0f, 0.0f, 0.0f});
    expect_companion_value("float w; float f = modf(-2.75, w);", "vec4(f, w, 0.0, 0.0)", {-0.75f, -2.0f, 0, 0});
    expect_companion_value("vec2 w; vec2 f = modf(vec2(1.25, -0.5), w);", "vec4(f, w)", {0.25f, -0.5f, 1.0f, 0.0f});
    expect_companion_value("vec3 w; vec3 f = modf(vec3(3.5, -1.25, 2.0), w);", "vec4(f.xy, w.xy)",
                           {0.5f, -0.25f, 3.0f, -1.0f});
    expect_companion_value("vec4 w; vec4 f = modf(vec4(0.5, 1.5, -2.5, 3.0), w);", "f + w * 0.0",
                           {0.5f, 0.5f, -0.5f, 0.0f});
    expect_companion_value("vec4 w; vec4 f = modf(vec4(0.5, 1.5, -2.5, 3.0), w);", "w", {0.0f, 1.0f, -2.0f, 3.0f});
}

TEST(Render_companion, Round_takes_halves_away_from_zero)
{
    expect_companion_value("", "vec4(round(2.5), round(2.4), round(-2.5), round(-2.4))", {3.0f, 2.0f, -3.0f, -2.0f});
    expect_companion_value("", "vec4(round(vec2(0.5, -0.6)), round(vec2(1.49, 0.0)))", {1.0f, -1.0f, 1.0f, 0.0f});
    expect_companion_value("", "vec4(round(vec3(3.51, -3.49, 0.49)), 0.0)", {4.0f, -3.0f, 0.0f, 0.0f});
    expect_companion_value("", "round(vec4(1.5, -1.5, 2.999, -0.5))", {2.0f, -2.0f, 3.0f, -1.0f});
}

TEST(Render_companion, Saturate_clamps_to_the_unit_interval)
{
    expect_companion_value("", "vec4(saturate(-1.0), saturate(0.25), saturate(2.0), saturate(1.0))",
                           {0.0f, 0.25f, 1.0f, 1.0f});
    expect_companion_value("", "vec4(saturate(vec2(-0.5, 0.5)), saturate(vec2(1.5, 0.75)))", {0, 0.5f, 1, 0.75f});
    expect_companion_value("", "vec4(saturate(vec3(3.0, -3.0, 0.125)), 0.0)", {1.0f, 0.0f, 0.125f, 0.0f});
    expect_companion_value("", "saturate(vec4(-0.1, 0.6, 1.1, 0.0))", {0.0f, 0.6f, 1.0f, 0.0f});
}

TEST(Render_companion, Sincos_returns_sine_and_cosine_through_its_out_parameters)
{
    expect_companion_value("float s; float c; sincos(0.5, s, c);", "vec4(s, c, 0.0, 0.0)",
                           {0.479425539f, 0.877582562f, 0.0f, 0.0f});
    expect_companion_value("vec2 s; vec2 c; sincos(vec2(0.0, 1.5707963), s, c);", "vec4(s, c)",
                           {0.0f, 1.0f, 1.0f, 0.0f});
    expect_companion_value("vec3 s; vec3 c; sincos(vec3(3.14159265, -0.5, 2.0), s, c);", "vec4(s.xy, c.yz)",
                           {0.0f, -0.479425539f, 0.877582562f, -0.416146837f});
    expect_companion_value("vec4 s; vec4 c; sincos(vec4(1.0, 2.0, 3.0, 4.0), s, c);", "vec4(s.xw, c.xw)",
                           {0.841470985f, -0.756802495f, 0.540302306f, -0.653643621f});
}

TEST(Render_companion, Transpose_swaps_rows_and_columns_of_every_size)
{
    // mat2(1, 2, 3, 4) has columns (1, 2) and (3, 4).
    expect_companion_value("mat2 t = transpose(mat2(1.0, 2.0, 3.0, 4.0));", "vec4(t[0], t[1])", {1, 3, 2, 4});
    expect_companion_value("mat3 t = transpose(mat3(1.0, 2.0, 3.0, 4.0, 5.0, 6.0, 7.0, 8.0, 9.0));",
                           "vec4(t[0], t[1][2])", {1, 4, 7, 8});
    expect_companion_value("mat3 t = transpose(mat3(1.0, 2.0, 3.0, 4.0, 5.0, 6.0, 7.0, 8.0, 9.0));",
                           "vec4(t[2], t[1][1]) * 0.5", {1.5f, 3.0f, 4.5f, 2.5f});
    const std::string m4 = "mat4 t = transpose(mat4(0.0, 0.1, 0.2, 0.3, 1.0, 1.1, 1.2, 1.3, "
                           "2.0, 2.1, 2.2, 2.3, 3.0, 3.1, 3.2, 3.3));";
    expect_companion_value(m4, "t[0]", {0.0f, 1.0f, 2.0f, 3.0f});
    expect_companion_value(m4, "t[3]", {0.3f, 1.3f, 2.3f, 3.3f});
    expect_companion_value(m4, "vec4(t[1][2], t[2][1], t[3][0], t[0][3])", {2.1f, 1.2f, 0.3f, 3.0f});
}

TEST(Render_companion, The_declarations_stay_unresolved_without_the_companion)
{
    Render_request request = request_for("", "return vec4(saturate(2.0));", 2, 2);
    const Render_result alone = render(request);
    EXPECT_EQ(alone.failure, Render_failure::link) << alone.message;
    EXPECT_NE(alone.message.find("saturate"), std::string::npos) << alone.message;

    request.extra_fragment_sources.push_back(companion_source());
    const Render_result linked = render(request);
    ASSERT_RENDERED(linked);
    EXPECT_TRUE(image_matches(linked.image, [](int, int) { return Rgba{255, 255, 255, 255}; }, 0));
}

// ---------------------------------------------------------------------------

TEST(Render_errors, A_fragment_compile_error_is_reported_with_the_compiler_log)
{
    const Render_result result = render(request_for("", "return vec4(1.0) + ;"));
    EXPECT_EQ(result.failure, Render_failure::fragment_compile);
    EXPECT_EQ(result.message.rfind("the fragment text failed to compile:\n", 0), 0u) << result.message;
    EXPECT_NE(result.message.find("error"), std::string::npos) << result.message;
    EXPECT_TRUE(result.image.rgba.empty());
}

TEST(Render_errors, A_vertex_compile_error_is_reported_as_such)
{
    Render_request request = request_for("", "return vec4(1.0);");
    request.vertex_text = "void main() { gl_Position = undeclared_name; }\n";
    const Render_result result = render(request);
    EXPECT_EQ(result.failure, Render_failure::vertex_compile);
    EXPECT_EQ(result.message.rfind("the vertex text failed to compile:\n", 0), 0u) << result.message;
    EXPECT_NE(result.message.find("undeclared_name"), std::string::npos) << result.message;
}

TEST(Render_errors, A_broken_extra_source_is_named_by_its_position)
{
    Render_request request = request_for("", "return vec4(1.0);");
    request.extra_fragment_sources = {companion_source(), "float broken( { }\n"};
    const Render_result result = render(request);
    EXPECT_EQ(result.failure, Render_failure::fragment_compile);
    EXPECT_EQ(result.message.rfind("the extra fragment source 2 failed to compile:\n", 0), 0u) << result.message;
}

TEST(Render_errors, Impossible_requests_are_refused_before_rendering)
{
    Render_request request = request_for("", "return vec4(1.0);", 0, 4);
    Render_result result = render(request);
    EXPECT_EQ(result.failure, Render_failure::bad_request);
    EXPECT_NE(result.message.find("0x4"), std::string::npos) << result.message;

    request.width = 4;
    Image short_texture;
    short_texture.width = short_texture.height = 2;
    short_texture.rgba = {1, 2, 3};
    request.fragment_text = fragment_text("uniform sampler2D t;\n", "return texture2D(t, vec2(0.5));");
    request.set_texture("t", 0, short_texture);
    result = render(request);
    EXPECT_EQ(result.failure, Render_failure::bad_request);
    EXPECT_NE(result.message.find("texture of uniform 't'"), std::string::npos) << result.message;

    request.set_texture("t", 99, pattern_texture());
    result = render(request);
    EXPECT_EQ(result.failure, Render_failure::bad_request);
    EXPECT_NE(result.message.find("unit 99"), std::string::npos) << result.message;
}

TEST(Render_errors, A_runaway_shader_is_stopped_at_the_timeout)
{
    // The driver caps a loop at 65535 iterations, so the time comes from four
    // million pixels each running a loop that long, minutes at the least; the
    // count is a uniform so that the compiler cannot shorten the loop.
    Render_request request = request_for("uniform int count;\n", R"(float x = 0.0;
for (int i = 0; i < count; ++i)
    x += sin(x + float(i));
return vec4(x);)", 2048, 2048);
    request.set_int("count", 65535);
    request.timeout_seconds = 2;
    const Render_result result = render(request);
    EXPECT_EQ(result.failure, Render_failure::timed_out) << result.message;
    EXPECT_NE(result.message.find("longer than 2 s"), std::string::npos) << result.message;
}
