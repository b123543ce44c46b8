// Two back ends agree: each shader's C++ text, built and run on the CPU, and its GL pair, drawn by
// Mesa, give the same picture of the same quad with the same state, pixel by pixel. All C++ texts
// go into one shared object, so the runtime header is compiled once.
#include <gtest/gtest.h>

#include <dirent.h>

#include <algorithm>
#include <cstring>
#include <fstream>
#include <sstream>

#include "preview.h"
#include "render_harness.h"
#include "vorn/vorn.h"

namespace {

constexpr int size = 24;
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

vorn_render::Render_request gl_request(const Case& one, const std::string& companion)
{
    vorn_render::Render_request request;
    request.vertex_text = one.vertex;
    request.fragment_text = one.fragment;
    request.extra_fragment_sources.push_back(companion);
    request.width = request.height = size;
    request.matrices = vorn_render::Matrix_setup::orthographic;
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

// Every shader of the files through both targets, then compared. Returns the cases taken.
std::vector<Case> compare_files(const std::vector<std::string>& files)
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
    const std::string companion = read_text(VORN_SOURCE_DIR "/data/vorn_companion.glsl");
    std::vector<vorn_render::Render_request> requests;
    for (Case* one : taken)
        requests.push_back(gl_request(*one, companion));
    std::vector<vorn_render::Render_result> drawn = vorn_render::render_all(requests, 120);
    for (std::size_t k = 0; k < taken.size(); ++k) {
        Case& one = *taken[k];
        SCOPED_TRACE(one.file);
        vorn_preview::Image cpu;
        if (!built.shade(k, one.shader, size, size, cpu, why)) {
            ADD_FAILURE() << why;
            continue;
        }
        if (!drawn[k].ok()) {
            ADD_FAILURE() << vorn_render::to_string(drawn[k].failure) << ": " << drawn[k].message;
            continue;
        }
        const vorn_render::Image& gl = drawn[k].image;
        int differing = 0;
        std::string first;
        for (int y = 0; y < size; ++y)
            for (int x = 0; x < size; ++x) {
                const std::uint8_t* c = &cpu.rgba[(std::size_t(y) * size + std::size_t(x)) * 4];
                const vorn_render::Rgba cpu_pixel{c[0], c[1], c[2], c[3]};
                if (near(cpu_pixel, gl.at(x, y), tolerance))
                    continue;
                if (differing++ == 0)
                    first = "(" + std::to_string(x) + ", " + std::to_string(y) + "): CPU " + to_string(cpu_pixel) +
                            ", Mesa " + to_string(gl.at(x, y));
            }
        EXPECT_EQ(differing, 0) << "pixels differ, the first at " << first;
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
    std::vector<Case> cases = compare_files(sources_in(VORN_SOURCE_DIR "/examples"));
    // The light shaders have no colour of their own to draw; every surface is taken.
    std::string skipped = untaken(cases);
    for (const char* surface : {"checker", "layered", "phong", "rim", "technique"})
        EXPECT_EQ(skipped.find(std::string("/") + surface + ".ovl"), std::string::npos) << skipped;
}

TEST(Agreement, the_render_checks_draw_the_same_on_the_cpu_and_on_mesa)
{
    std::vector<Case> cases = compare_files(sources_in(VORN_SOURCE_DIR "/tests/data/agreement"));
    EXPECT_EQ(untaken(cases), "");
}

// The generator's focused inputs: those with an input or output that a preview cannot hold are
// left out; every other one must agree. Also left out: state_varying, whose GL pair reads the
// varyings motion and raster that its vertex text never writes, so Mesa refuses to link it (an
// open fault of the GL target).
TEST(Agreement, the_focused_generator_inputs_draw_the_same_on_the_cpu_and_on_mesa)
{
    std::vector<std::string> files = sources_in(VORN_SOURCE_DIR "/tests/data/gen");
    files.erase(std::remove(files.begin(), files.end(), VORN_SOURCE_DIR "/tests/data/gen/state_varying.ovl"),
                files.end());
    std::vector<Case> cases = compare_files(files);
    std::string skipped = untaken(cases);
    for (const char* taken : {"state_params", "statements", "clashes", "component", "types", "alpha"})
        EXPECT_EQ(skipped.find(std::string("/") + taken + ".ovl"), std::string::npos) << skipped;
}
