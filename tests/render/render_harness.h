// Off-screen rendering of a legacy GLSL vertex and fragment pair with OSMesa,
// so that tests can check shaders by the pixels they draw.
#pragma once

#include <array>
#include <cstdint>
#include <map>
#include <string>
#include <vector>

namespace vorn_render {

// An 8-bit RGBA colour.
struct Rgba {
    std::uint8_t r = 0, g = 0, b = 0, a = 0;
};

bool operator==(const Rgba& x, const Rgba& y);
bool operator!=(const Rgba& x, const Rgba& y);
// Each channel within tolerance of the other's.
bool near(const Rgba& x, const Rgba& y, int tolerance);
std::string to_string(const Rgba& c);

// RGBA8 pixels, row 0 at the bottom, as GL stores them.
struct Image {
    int width = 0;
    int height = 0;
    std::vector<std::uint8_t> rgba;

    Rgba at(int x, int y) const;
};

// What a uniform is set to. Samplers get a texture unit and the texture bound there.
struct Uniform_value {
    enum class Kind { floats, integer, sampler_2d };
    Kind kind = Kind::floats;
    std::vector<float> floats;  // 1 to 4 components, or 16 for a mat4 by columns
    int integer = 0;            // the int value, or the unit of a sampler
    Image texture;              // for a sampler
    bool linear_filter = false; // nearest by default, so texels show exactly
};

// Attributes of one corner of the quad, through the fixed-function inputs.
struct Quad_corner {
    std::array<float, 3> normal{};                      // gl_Normal
    std::array<std::array<float, 4>, 6> tex_coord{};    // gl_MultiTexCoord0 to 5
};

// A vertex of a triangle list: where glVertex3f puts it, and its attributes.
struct Mesh_corner {
    std::array<float, 3> position{};
    Quad_corner attributes;
};

// How vertices reach the screen. Either way the quad fills the viewport.
enum class Matrix_setup {
    // Every matrix is the identity; the quad spans -1..1 in x and y at z 0.
    identity,
    // A camera at the origin looking down -z through an orthographic
    // projection onto a quad at z -1, so eye-space positions are (x, y, -1).
    orthographic,
};

struct Render_request {
    std::string vertex_text;
    std::string fragment_text;
    // Further fragment shaders linked into the same program (the companion source).
    std::vector<std::string> extra_fragment_sources;
    int width = 16;
    int height = 16;
    Matrix_setup matrices = Matrix_setup::identity;
    // Corners in the order bottom-left, bottom-right, top-right, top-left.
    std::array<Quad_corner, 4> corners = default_corners();
    // When not empty, these triangles (three corners each) are drawn instead of the quad.
    std::vector<Mesh_corner> triangles;
    std::map<std::string, Uniform_value> uniforms;
    // Off: setting a uniform the program does not use is an error, so that a
    // misspelt name does not pass unnoticed.
    bool ignore_inactive_uniforms = false;
    // Rendering always runs in a forked child, so that a driver crash or a
    // runaway shader becomes an error. The parent never starts the driver: a
    // fork would copy its locks without the threads that hold them.
    int timeout_seconds = 60;

    void set_float(const std::string& name, float x);
    void set_vec2(const std::string& name, float x, float y);
    void set_vec3(const std::string& name, float x, float y, float z);
    void set_vec4(const std::string& name, float x, float y, float z, float w);
    void set_int(const std::string& name, int value);
    void set_texture(const std::string& name, int unit, const Image& texture, bool linear_filter = false);

    // Normals (2s-1, 2t-1, 1) and texture coordinates (s, t, 0.25 * unit, 1)
    // for units 0 to 3, where s and t run from 0 at the bottom left to 1 at the
    // top right; unit 4 carries the tangent (1, 0, 0) and unit 5 the
    // binormal (0, 1, 0).
    static std::array<Quad_corner, 4> default_corners();
};

enum class Render_failure {
    none,
    bad_request,
    context,
    entry_points,
    vertex_compile,
    fragment_compile,
    link,
    uniform,
    gl_error,
    crashed,
    timed_out,
};

const char* to_string(Render_failure failure);

struct Render_result {
    Render_failure failure = Render_failure::none;
    // What went wrong, with the compiler or linker log; empty on success.
    std::string message;
    Image image;

    bool ok() const { return failure == Render_failure::none; }
};

Render_result render(const Render_request& request);

// Many requests drawn one after the other in one forked child, so that a long run does not pay
// a process per picture; each result as render() gives it. A crash or timeout of the child
// fails every request that had no result yet.
std::vector<Render_result> render_all(const std::vector<Render_request>& requests, int timeout_seconds);

} // namespace vorn_render
