// Pictures of a surface shader without a host: the C++ target compiled and run on the CPU, and the
// GL target drawn off screen with OSMesa loaded at run time. Both shade the same quad with the same
// state per pixel, so their pictures can be compared. Uses only the library's public interface.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "vorn/vorn.h"

namespace vorn_preview {

// RGBA8 pixels, row 0 at the bottom, as GL stores them.
struct Image {
    int width = 0;
    int height = 0;
    std::vector<std::uint8_t> rgba;
};

// The shapes a preview draws. The camera is orthographic at the origin looking down -z, and the
// viewport spans -1..1 in x and y. The quad fills it at z -1 in eye space; the sphere of radius
// 0.9 stands at (0, 0, -1), so only its front half is seen and drawn.
enum class Shape { quad, sphere };

// The state of one pixel, as GL interpolates the vertex stream of the GL pair. On the quad s and t
// run from 0 at the bottom left to 1 at the top right; on the sphere s runs with the longitude
// (0.25 to 0.75 across the front half) and t with the latitude (0 at the bottom pole).
// position: in eye space. normal: as interpolated, not normalised (the fragment main normalises
// it). tex_coord: unit u is (s, t, 0.25 u, 1). raster: the window position of the pixel's centre.
// The _dx and _dy fields: changes across one pixel to the right and one up, as GL's derivatives
// see them. covered: 0 where the shape leaves the pixel empty.
// A macro, because the CPU loop's text, built beside each shader, declares the same struct.
#define VORN_SHADING_POINT_FIELDS                                                              \
    float position[3];                                                                         \
    float normal[3];                                                                           \
    float tex_coord[4][4];                                                                     \
    float tangent[3];                                                                          \
    float binormal[3];                                                                         \
    float raster[2];                                                                           \
    float position_dx[3], position_dy[3];                                                      \
    float uv_dx[2], uv_dy[2];                                                                  \
    int covered;

struct Shading_point {
    VORN_SHADING_POINT_FIELDS
};

// The point at the centre of pixel (x, y) of a width by height picture of the quad.
Shading_point quad_point(int x, int y, int width, int height);

// One vertex of a shape's vertex stream: the object-space position (eye space is z - 1) and what
// the GL pair reads from gl_Normal and gl_MultiTexCoord0 to 5 (4 the tangent, 5 the binormal).
struct Mesh_vertex {
    float position[3];
    float normal[3];
    float tex_coord[6][4];
};

// The sphere's front half: a few thousand triangles, three vertices each, counter-clockwise as
// the camera sees them, none covering another on the screen.
const std::vector<Mesh_vertex>& sphere_triangles();

// Every pixel of a picture of the shape, row by row from the bottom: the sphere's triangles
// rasterised at pixel centres, each value interpolated linearly on the screen as GL does under
// an orthographic camera.
std::vector<Shading_point> shading_points(Shape shape, int width, int height);

// The values that are the same at every pixel, as the GL pair's uniforms take them (1, 2 or 16
// floats; a matrix by columns): the C++ runtime's own defaults for the camera (focal length 1,
// aspect ratio 1, clipping 0.1 to 1000, focus 1), zero for the frame's times and sizes, and the
// identity for every transform between spaces. A uniform the text does not declare is skipped.
struct State_uniform {
    const char* name;
    std::vector<float> values;
};
const std::vector<State_uniform>& state_uniforms();

// A float colour as 8 bits, as a GL colour buffer stores it (clamped, rounded).
std::uint8_t to_byte(float value);

// A shader parameter: its name, type kind and value laid out as the library lays out values
// (floats, 32-bit ints, bools as one byte). A Texture2d input holds its texture's number, from
// 1; every texture of a preview is one flat colour, texture_colour.
struct Parameter {
    std::string name;
    int32_t kind = 0;
    std::vector<unsigned char> bytes;
};

// A value that 8 bits hold exactly, so that both targets read the same.
constexpr float texture_colour[4] = {128.0f / 255.0f, 128.0f / 255.0f, 128.0f / 255.0f, 1.0f};

// What a picture of one shader needs besides its texts.
struct Shader_interface {
    std::string name;
    std::vector<Parameter> inputs;   // with their defaults
    std::vector<Parameter> outputs;  // values unused, sizes only
    std::string colour_output;       // the output drawn
};

// Inputs and outputs of a unit's shader (empty name: the first one), from its node class. False
// with a reason when the shader has a parameter that a preview cannot set (a string, a struct,
// an array, a matrix or a texture other than Texture2d) or no colour to draw.
bool describe(vorn::ICompilation_unit* unit, const std::string& shader_name, Shader_interface& shader,
              std::string& why);

// Replaces the value of an input by floats or an integer given as text ("0.5,0.2,1"); false
// with a reason for an unknown name or a bad value.
bool set_input(Shader_interface& shader, const std::string& name, const std::string& value, std::string& why);

// The program texts of a target for a unit's shader as a surface, or none with a reason.
std::vector<std::string> generate(vorn::IVorn_compiler* compiler, vorn::ICompilation_unit* unit, const std::string& target,
                     const std::string& shader_name, std::string& why);

struct Build_options {
    std::string compiler = "c++";  // the command, split at blanks by the shell
    std::string include_directory;  // where ovrel.h lies
    std::string optimisation = "-O1";
};

// C++ texts of software shaders built into one shared object and loaded. A single text is built as
// it is and found through its "initializer" export; several are built into one translation unit,
// each in a namespace of its own, so the runtime header is compiled once.
class Cpu_shaders {
public:
    Cpu_shaders();
    ~Cpu_shaders();
    Cpu_shaders(const Cpu_shaders&) = delete;
    Cpu_shaders& operator=(const Cpu_shaders&) = delete;

    // False with the compiler's messages (or why it did not run) in why.
    bool build(const std::vector<std::string>& cpp_texts, const Build_options& options, std::string& why);
    // Shades every pixel with shader index of the built set. False with a reason.
    // Pixels the shape leaves empty stay (0, 0, 0, 0), as the GL picture's clear colour.
    bool shade(std::size_t index, const Shader_interface& shader, int width, int height, Image& image,
               std::string& why, Shape shape = Shape::quad) const;

private:
    struct Loaded;
    std::unique_ptr<Loaded> loaded_;
};

// Draws the GL pair of a shader with OSMesa, loaded with dlopen. False with a reason (no
// libOSMesa, a compile or link failure).
bool render_gl(const std::string& vertex_text, const std::string& fragment_text, const std::string& companion_text,
               const Shader_interface& shader, int width, int height, Image& image, std::string& why,
               Shape shape = Shape::quad);

// A PNG of the image (8-bit RGBA, top row first) in stored deflate blocks.
std::string png_bytes(const Image& image);

}  // namespace vorn_preview
