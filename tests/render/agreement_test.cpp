// Two back ends agree: each shader's C++ text, built and run on the CPU, and its GL pair, drawn by
// Mesa, give the same picture of the same shape (the quad, and the sphere) with the same state,
// pixel by pixel. All C++ texts go into one shared object, so the runtime header is compiled once.
#include <gtest/gtest.h>

#include <dirent.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <fstream>
#include <sstream>

#include "preview.h"
#include "render_harness.h"
#include "vorn/vorn.h"

namespace {

constexpr int size = 24;
constexpr int sphere_size = 32;
// Mesa and the CPU round the same float expressions differently in the last bits.
constexpr int tolerance = 2;

struct Case {
    std::string file;
    vorn_preview::Shader_interface shader;
    std::string vertex;
    std::string fragment;
    std::string why_not;  // empty when both targets took the shader
};

std::vector<std::string> sources_in(const std::string& directory)
{
    std::vector<std::string> files;
    if (DIR* dir = opendir(directory.c_str())) {
        while (dirent* entry = readdir(dir)) {
            std::string name = entry->d_name;
            if (name.size() > 4 && name.compare(name.size() - 4, 4, ".ovl") == 0)
                files.push_back(directory + "/" + name);
        }
        closedir(dir);
    }
    std::sort(files.begin(), files.end());
    return files;
}

std::string read_text(const std::string& path)
{
    std::ifstream in(path, std::ios::binary);
    std::ostringstream text;
    text << in.rdbuf();
    return text.str();
}

// The sphere's vertex stream, as the harness takes it.
std::vector<vorn_render::Mesh_corner> sphere_corners()
{
    std::vector<vorn_render::Mesh_corner> corners;
    for (const vorn_preview::Mesh_vertex& v : vorn_preview::sphere_triangles()) {
        vorn_render::Mesh_corner corner;
        std::copy(v.position, v.position + 3, corner.position.begin());
        std::copy(v.normal, v.normal + 3, corner.attributes.normal.begin());
        for (int unit = 0; unit < 6; ++unit)
            std::copy(v.tex_coord[unit], v.tex_coord[unit] + 4, corner.attributes.tex_coord[unit].begin());
        corners.push_back(corner);
    }
    return corners;
}

vorn_render::Render_request shape_request(vorn_preview::Shape shape)
{
    vorn_render::Render_request request;
    request.width = request.height = shape == vorn_preview::Shape::sphere ? sphere_size : size;
    request.matrices = vorn_render::Matrix_setup::orthographic;
    if (shape == vorn_preview::Shape::sphere)
        request.triangles = sphere_corners();
    return request;
}

vorn_render::Render_request gl_request(const Case& one, const std::string& companion, vorn_preview::Shape shape)
{
    vorn_render::Render_request request = shape_request(shape);
    request.vertex_text = one.vertex;
    request.fragment_text = one.fragment;
    request.extra_fragment_sources.push_back(companion);
    request.ignore_inactive_uniforms = true;
    for (const vorn_preview::State_uniform& uniform : vorn_preview::state_uniforms()) {
        vorn_render::Uniform_value value;
        value.floats = uniform.values;
        request.uniforms[uniform.name] = value;
    }
    for (const vorn_preview::Parameter& input : one.shader.inputs) {
        const std::string name = "ovl_" + input.name;
        if (input.kind == vorn::TYPE_KIND_TEXTURE2D) {
            int32_t number = 0;
            std::memcpy(&number, input.bytes.data(), 4);
            vorn_render::Image texel;
            texel.width = texel.height = 1;
            for (float c : vorn_preview::texture_colour)
                texel.rgba.push_back(vorn_preview::to_byte(c));
            request.set_texture(name, number - 1, texel);
        } else if (input.kind == vorn::TYPE_KIND_BOOL) {
            request.set_int(name, input.bytes[0] ? 1 : 0);
        } else if (input.kind == vorn::TYPE_KIND_INT) {
            int32_t v = 0;
            std::memcpy(&v, input.bytes.data(), 4);
            request.set_int(name, v);
        } else {
            vorn_render::Uniform_value value;
            value.floats.resize(input.bytes.size() / 4);
            std::memcpy(value.floats.data(), input.bytes.data(), input.bytes.size());
            request.uniforms[name] = value;
        }
    }
    return request;
}

// The library runs once for the whole process: it does not start again after a stop.
class Library : public ::testing::Environment {
public:
    void SetUp() override
    {
        root_ = initialize_vorn();
        if (root_)
            compiler = static_cast<vorn::IVorn_compiler*>(root_->get_interface(vorn::IID_VORN_COMPILER));
    }
    void TearDown() override
    {
        if (compiler)
            compiler->release();
        if (root_)
            root_->release();
    }
    vorn::IVorn_compiler* compiler = nullptr;

private:
    vorn::IVorn* root_ = nullptr;
};
Library* const library = static_cast<Library*>(::testing::AddGlobalTestEnvironment(new Library));

// Where a picture of the shape is covered: on the CPU where the rasteriser found a triangle, on
// Mesa where a program of one opaque colour drew.
std::vector<bool> cpu_coverage(vorn_preview::Shape shape, int width, int height)
{
    std::vector<bool> covered;
    for (const vorn_preview::Shading_point& p : vorn_preview::shading_points(shape, width, height))
        covered.push_back(p.covered != 0);
    return covered;
}

vorn_render::Render_request coverage_request(vorn_preview::Shape shape)
{
    vorn_render::Render_request request = shape_request(shape);
    request.vertex_text = "void main() { gl_Position = ftransform(); }\n";
    request.fragment_text = "void main() { gl_FragColor = vec4(1.0); }\n";
    return request;
}

std::vector<bool> gl_coverage(const vorn_render::Image& image)
{
    std::vector<bool> covered;
    for (int y = 0; y < image.height; ++y)
        for (int x = 0; x < image.width; ++x)
            covered.push_back(image.at(x, y).a != 0);
    return covered;
}

// A pixel on the silhouette: itself or one of its eight neighbours in the picture uncovered on
// either side, where the two rasterisers' rules for pixel centres on an edge may part.
bool on_silhouette(const std::vector<bool>& cpu, const std::vector<bool>& gl, int width, int height, int x, int y)
{
    for (int dy = -1; dy <= 1; ++dy)
        for (int dx = -1; dx <= 1; ++dx) {
            const int u = x + dx, v = y + dy;
            if (u < 0 || v < 0 || u >= width || v >= height)
                continue;
            const std::size_t k = std::size_t(v) * std::size_t(width) + std::size_t(u);
            if (!cpu[k] || !gl[k])
                return true;
        }
    return false;
}

// The two coverage masks differ only on the silhouette. The count of pixels compared inside it,
// or -1 when the masks part elsewhere.
int compared_inside(const std::vector<bool>& cpu, const std::vector<bool>& gl, int width, int height)
{
    int inside = 0;
    for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x) {
            const std::size_t k = std::size_t(y) * std::size_t(width) + std::size_t(x);
            const bool edge = on_silhouette(cpu, gl, width, height, x, y);
            if (cpu[k] != gl[k] && !edge) {
                ADD_FAILURE() << "coverage differs inside the shape at (" << x << ", " << y << "): CPU "
                              << cpu[k] << ", Mesa " << gl[k];
                return -1;
            }
            inside += !edge;
        }
    return inside;
}

// Pixels covered on both sides and off the silhouette must agree.
void expect_same_picture(const vorn_preview::Image& cpu, const vorn_render::Image& gl, const std::vector<bool>& cpu_mask,
                         const std::vector<bool>& gl_mask, const char* shape)
{
    SCOPED_TRACE(shape);
    ASSERT_EQ(gl.width, cpu.width);
    ASSERT_EQ(gl.height, cpu.height);
    int differing = 0;
    std::string first;
    for (int y = 0; y < cpu.height; ++y)
        for (int x = 0; x < cpu.width; ++x) {
            if (on_silhouette(cpu_mask, gl_mask, cpu.width, cpu.height, x, y))
                continue;
            const std::uint8_t* c = &cpu.rgba[(std::size_t(y) * std::size_t(cpu.width) + std::size_t(x)) * 4];
            const vorn_render::Rgba cpu_pixel{c[0], c[1], c[2], c[3]};
            if (near(cpu_pixel, gl.at(x, y), tolerance))
                continue;
            if (differing++ == 0)
                first = "(" + std::to_string(x) + ", " + std::to_string(y) + "): CPU " + to_string(cpu_pixel) +
                        ", Mesa " + to_string(gl.at(x, y));
        }
    EXPECT_EQ(differing, 0) << "pixels differ, the first at " << first;
}

// Every shader of the files through both targets, then compared on the quad and, if asked, on the
// sphere. Returns the cases taken.
std::vector<Case> compare_files(const std::vector<std::string>& files, bool with_sphere)
{
    vorn::IVorn_compiler* compiler = library->compiler;
    if (!compiler) {
        ADD_FAILURE() << "the library did not start";
        return {};
    }
    std::vector<Case> cases;
    for (const std::string& file : files) {
        Case one;
        one.file = file;
        vorn::ICompilation_unit* unit = compiler->compile_file(file.c_str(), nullptr);
        if (!unit) {
            one.why_not = "does not compile";
        } else if (vorn_preview::describe(unit, "", one.shader, one.why_not)) {
            std::vector<std::string> gl = vorn_preview::generate(compiler, unit, "GL", "", one.why_not);
            std::vector<std::string> cpp = vorn_preview::generate(compiler, unit, "Swrc", "", one.why_not);
            if (gl.size() == 2 && !cpp.empty()) {
                one.vertex = gl[0];
                one.fragment = gl[1];
                one.shader.name = cpp[0];  // the text, until it is built
            } else if (one.why_not.empty()) {
                one.why_not = "a target gave no text";
            }
        }
        if (unit)
            unit->release();
        cases.push_back(one);
    }

    std::vector<std::string> texts;
    std::vector<Case*> taken;
    for (Case& one : cases)
        if (one.why_not.empty()) {
            texts.push_back(one.shader.name);
            taken.push_back(&one);
        }
    if (texts.empty())
        return cases;
    vorn_preview::Cpu_shaders built;
    vorn_preview::Build_options options;
    options.include_directory = VORN_SOURCE_DIR "/data";
    std::string why;
    if (!built.build(texts, options, why)) {
        ADD_FAILURE() << why;
        return cases;
    }
    using vorn_preview::Shape;
    std::vector<Shape> shapes = {Shape::quad};
    if (with_sphere)
        shapes.push_back(Shape::sphere);
    const std::string companion = read_text(VORN_SOURCE_DIR "/data/vorn_companion.glsl");
    // Per shape: its coverage on Mesa, then each case's picture.
    std::vector<vorn_render::Render_request> requests;
    for (Shape shape : shapes) {
        requests.push_back(coverage_request(shape));
        for (Case* one : taken)
            requests.push_back(gl_request(*one, companion, shape));
    }
    const std::vector<vorn_render::Render_result> drawn = vorn_render::render_all(requests, 200);
    std::size_t next = 0;
    for (Shape shape : shapes) {
        const char* shape_name = shape == Shape::sphere ? "sphere" : "quad";
        SCOPED_TRACE(shape_name);
        const int width = shape == Shape::sphere ? sphere_size : size;
        const vorn_render::Render_result& coverage = drawn[next++];
        if (!coverage.ok()) {
            ADD_FAILURE() << vorn_render::to_string(coverage.failure) << ": " << coverage.message;
            return cases;
        }
        const std::vector<bool> cpu_mask = cpu_coverage(shape, width, width);
        const std::vector<bool> gl_mask = gl_coverage(coverage.image);
        const int inside = compared_inside(cpu_mask, gl_mask, width, width);
        // The quad covers every pixel; the sphere of radius 0.9 about 64% of them, a fifth of those
        // on its silhouette.
        EXPECT_GT(inside, shape == Shape::sphere ? width * width / 3 : width * width - 1);
        for (std::size_t k = 0; k < taken.size(); ++k) {
            const vorn_render::Render_result& gl = drawn[next++];
            Case& one = *taken[k];
            SCOPED_TRACE(one.file);
            vorn_preview::Image cpu;
            if (!built.shade(k, one.shader, width, width, cpu, why, shape)) {
                ADD_FAILURE() << why;
                continue;
            }
            if (!gl.ok()) {
                ADD_FAILURE() << vorn_render::to_string(gl.failure) << ": " << gl.message;
                continue;
            }
            expect_same_picture(cpu, gl.image, cpu_mask, gl_mask, shape_name);
        }
    }
    return cases;
}

std::string untaken(const std::vector<Case>& cases)
{
    std::string text;
    for (const Case& one : cases)
        if (!one.why_not.empty())
            text += one.file + ": " + one.why_not + "\n";
    return text;
}

}  // namespace

TEST(Agreement, every_example_surface_shader_draws_the_same_on_the_cpu_and_on_mesa)
{
    std::vector<Case> cases = compare_files(sources_in(VORN_SOURCE_DIR "/examples"), true);
    // The light shaders have no colour of their own to draw; every surface is taken.
    std::string skipped = untaken(cases);
    for (const char* surface : {"checker", "layered", "phong", "rim", "technique"})
        EXPECT_EQ(skipped.find(std::string("/") + surface + ".ovl"), std::string::npos) << skipped;
}

TEST(Agreement, the_render_checks_draw_the_same_on_the_cpu_and_on_mesa)
{
    std::vector<Case> cases = compare_files(sources_in(VORN_SOURCE_DIR "/tests/data/agreement"), true);
    EXPECT_EQ(untaken(cases), "");
}

// The generator's focused inputs: those with an input or output that a preview cannot hold are
// left out; every other one must agree.
TEST(Agreement, the_focused_generator_inputs_draw_the_same_on_the_cpu_and_on_mesa)
{
    std::vector<Case> cases = compare_files(sources_in(VORN_SOURCE_DIR "/tests/data/gen"), false);
    std::string skipped = untaken(cases);
    for (const char* taken : {"state_params", "state_varying", "statements", "clashes", "component", "types", "alpha"})
        EXPECT_EQ(skipped.find(std::string("/") + taken + ".ovl"), std::string::npos) << skipped;
}

// What both sides draw must be the sphere: each covered pixel's point lies on it (within the
// flat triangles' sag), with its normal, its longitude and latitude as s and t and a tangent
// across the normal; the covered area is the disc's.
TEST(Sphere, each_covered_pixel_carries_the_state_of_its_point_on_the_sphere)
{
    const int n = 64;
    const std::vector<vorn_preview::Shading_point> points = vorn_preview::shading_points(vorn_preview::Shape::sphere, n, n);
    ASSERT_EQ(points.size(), std::size_t(n * n));
    const double pi = 3.14159265358979;
    int covered = 0;
    for (int y = 0; y < n; ++y)
        for (int x = 0; x < n; ++x) {
            const vorn_preview::Shading_point& p = points[std::size_t(y * n + x)];
            if (!p.covered)
                continue;
            ++covered;
            SCOPED_TRACE("pixel (" + std::to_string(x) + ", " + std::to_string(y) + ")");
            EXPECT_FLOAT_EQ(p.raster[0], float(x) + 0.5f);
            EXPECT_FLOAT_EQ(p.raster[1], float(y) + 0.5f);
            EXPECT_NEAR(p.position[0], (x + 0.5) * 2.0 / n - 1, 1e-5);
            EXPECT_NEAR(p.position[1], (y + 0.5) * 2.0 / n - 1, 1e-5);
            const double d[3] = {p.position[0], p.position[1], p.position[2] + 1.0};
            const double r = std::sqrt(d[0] * d[0] + d[1] * d[1] + d[2] * d[2]);
            // A band of 1/32 of a half turn sags 0.9 (1 - cos(pi / 64)) = 0.001 below the sphere.
            EXPECT_GT(r, 0.895);
            EXPECT_LT(r, 0.9 + 1e-5);
            EXPECT_GE(d[2], -1e-5) << "only the front half is drawn";
            const double nl = std::sqrt(p.normal[0] * p.normal[0] + p.normal[1] * p.normal[1] + p.normal[2] * p.normal[2]);
            for (int i = 0; i < 3; ++i)
                EXPECT_NEAR(p.normal[i] / nl, d[i] / r, 0.04);
            EXPECT_NEAR(p.tex_coord[0][0], 0.5 + std::atan2(d[0], d[2]) / (2 * pi), 0.01);
            EXPECT_NEAR(p.tex_coord[0][1], 0.5 + std::asin(d[1] / r) / pi, 0.01);
            EXPECT_NEAR(p.tex_coord[3][2], 0.75, 1e-5);
            const double along = p.tangent[0] * d[0] + p.tangent[1] * d[1] + p.tangent[2] * d[2];
            EXPECT_NEAR(along / r, 0.0, 0.04);
            EXPECT_NEAR(p.tangent[1], 0.0, 1e-5) << "the tangent runs along the latitude";
        }
    const double disc = pi * (0.9 * n / 2) * (0.9 * n / 2);
    EXPECT_NEAR(covered, disc, disc * 0.02);
    EXPECT_FALSE(points[0].covered);
    EXPECT_FALSE(points[std::size_t(n * n - 1)].covered);
}
