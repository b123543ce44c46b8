// The GL pair drawn off screen by OSMesa, which is loaded only when a picture is asked for, so
// that nothing else needs it installed. The GL names used are declared here for the same reason.
#include <dlfcn.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <type_traits>

#include "preview.h"

namespace vorn_preview {

namespace {

using GLenum = unsigned int;
using GLuint = unsigned int;
using GLint = int;
using GLsizei = int;
using GLfloat = float;
using GLbitfield = unsigned int;

constexpr GLenum gl_unsigned_byte = 0x1401;
constexpr GLenum gl_rgba = 0x1908;
constexpr GLenum gl_vertex_shader = 0x8B31;
constexpr GLenum gl_fragment_shader = 0x8B30;
constexpr GLenum gl_compile_status = 0x8B81;
constexpr GLenum gl_link_status = 0x8B82;
constexpr GLenum gl_info_log_length = 0x8B84;
constexpr GLenum gl_texture0 = 0x84C0;
constexpr GLenum gl_quads = 0x0007;
constexpr GLenum gl_triangles = 0x0004;
constexpr GLenum gl_modelview = 0x1700;
constexpr GLenum gl_projection = 0x1701;
constexpr GLenum gl_texture = 0x1702;
constexpr GLbitfield gl_color_buffer_bit = 0x4000;
constexpr GLenum gl_depth_test = 0x0B71;
constexpr GLenum gl_cull_face = 0x0B44;
constexpr GLenum gl_blend = 0x0BE2;
constexpr GLenum gl_pack_alignment = 0x0D05;
constexpr GLenum gl_texture_2d = 0x0DE1;
constexpr GLenum gl_texture_min_filter = 0x2801;
constexpr GLenum gl_texture_mag_filter = 0x2800;
constexpr GLint gl_nearest = 0x2600;
constexpr GLint gl_rgba8 = 0x8058;

struct Mesa {
    void* library = nullptr;
    void* (*create_context_ext)(GLenum, GLint, GLint, GLint, void*) = nullptr;
    unsigned char (*make_current)(void*, void*, GLenum, GLsizei, GLsizei) = nullptr;
    void (*destroy_context)(void*) = nullptr;
    void* (*get_proc_address)(const char*) = nullptr;

    void (*viewport)(GLint, GLint, GLsizei, GLsizei) = nullptr;
    void (*disable)(GLenum) = nullptr;
    void (*clear_color)(GLfloat, GLfloat, GLfloat, GLfloat) = nullptr;
    void (*clear)(GLbitfield) = nullptr;
    void (*matrix_mode)(GLenum) = nullptr;
    void (*load_identity)() = nullptr;
    void (*ortho)(double, double, double, double, double, double) = nullptr;
    void (*translate)(GLfloat, GLfloat, GLfloat) = nullptr;
    void (*begin)(GLenum) = nullptr;
    void (*end)() = nullptr;
    void (*normal)(GLfloat, GLfloat, GLfloat) = nullptr;
    void (*multi_tex_coord)(GLenum, GLfloat, GLfloat, GLfloat, GLfloat) = nullptr;
    void (*vertex)(GLfloat, GLfloat, GLfloat) = nullptr;
    void (*finish)() = nullptr;
    void (*pixel_store)(GLenum, GLint) = nullptr;
    void (*read_pixels)(GLint, GLint, GLsizei, GLsizei, GLenum, GLenum, void*) = nullptr;
    GLuint (*create_shader)(GLenum) = nullptr;
    void (*shader_source)(GLuint, GLsizei, const char* const*, const GLint*) = nullptr;
    void (*compile_shader)(GLuint) = nullptr;
    void (*get_shader_iv)(GLuint, GLenum, GLint*) = nullptr;
    void (*get_shader_info_log)(GLuint, GLsizei, GLsizei*, char*) = nullptr;
    GLuint (*create_program)() = nullptr;
    void (*attach_shader)(GLuint, GLuint) = nullptr;
    void (*link_program)(GLuint) = nullptr;
    void (*get_program_iv)(GLuint, GLenum, GLint*) = nullptr;
    void (*get_program_info_log)(GLuint, GLsizei, GLsizei*, char*) = nullptr;
    void (*use_program)(GLuint) = nullptr;
    GLint (*get_uniform_location)(GLuint, const char*) = nullptr;
    void (*uniform_fv[4])(GLint, GLsizei, const GLfloat*) = {};
    void (*uniform_1i)(GLint, GLint) = nullptr;
    void (*uniform_matrix_4fv)(GLint, GLsizei, unsigned char, const GLfloat*) = nullptr;
    void (*gen_textures)(GLsizei, GLuint*) = nullptr;
    void (*bind_texture)(GLenum, GLuint) = nullptr;
    void (*tex_parameter)(GLenum, GLenum, GLint) = nullptr;
    void (*tex_image_2d)(GLenum, GLint, GLint, GLsizei, GLsizei, GLint, GLenum, GLenum, const void*) = nullptr;
    void (*active_texture)(GLenum) = nullptr;

    // Names what is missing; empty when everything is there. The library stays loaded to the end
    // of the process: the driver keeps state in its own statics past the last context, and
    // unloading it would cut that state loose.
    std::string load()
    {
        for (const char* name : {"libOSMesa.so.8", "libOSMesa.so.6", "libOSMesa.so"})
            if ((library = dlopen(name, RTLD_NOW | RTLD_LOCAL)))
                break;
        if (!library)
            return "libOSMesa is not installed (the GL preview draws with it)";
        std::string missing;
        auto from_library = [&](auto& pointer, const char* name) {
            pointer = reinterpret_cast<std::remove_reference_t<decltype(pointer)>>(dlsym(library, name));
            if (!pointer)
                missing += std::string(missing.empty() ? "" : ", ") + name;
        };
        from_library(create_context_ext, "OSMesaCreateContextExt");
        from_library(make_current, "OSMesaMakeCurrent");
        from_library(destroy_context, "OSMesaDestroyContext");
        from_library(get_proc_address, "OSMesaGetProcAddress");
        if (!missing.empty())
            return "libOSMesa lacks " + missing;
        return {};
    }

    // GL entry points exist once a context is current.
    std::string load_gl()
    {
        std::string missing;
        auto get = [&](auto& pointer, const char* name) {
            void* address = get_proc_address(name);
            if (!address)
                address = dlsym(library, name);
            pointer = reinterpret_cast<std::remove_reference_t<decltype(pointer)>>(address);
            if (!pointer)
                missing += std::string(missing.empty() ? "" : ", ") + name;
        };
        get(viewport, "glViewport");
        get(disable, "glDisable");
        get(clear_color, "glClearColor");
        get(clear, "glClear");
        get(matrix_mode, "glMatrixMode");
        get(load_identity, "glLoadIdentity");
        get(ortho, "glOrtho");
        get(translate, "glTranslatef");
        get(begin, "glBegin");
        get(end, "glEnd");
        get(normal, "glNormal3f");
        get(multi_tex_coord, "glMultiTexCoord4f");
        get(vertex, "glVertex3f");
        get(finish, "glFinish");
        get(pixel_store, "glPixelStorei");
        get(read_pixels, "glReadPixels");
        get(create_shader, "glCreateShader");
        get(shader_source, "glShaderSource");
        get(compile_shader, "glCompileShader");
        get(get_shader_iv, "glGetShaderiv");
        get(get_shader_info_log, "glGetShaderInfoLog");
        get(create_program, "glCreateProgram");
        get(attach_shader, "glAttachShader");
        get(link_program, "glLinkProgram");
        get(get_program_iv, "glGetProgramiv");
        get(get_program_info_log, "glGetProgramInfoLog");
        get(use_program, "glUseProgram");
        get(get_uniform_location, "glGetUniformLocation");
        get(uniform_fv[0], "glUniform1fv");
        get(uniform_fv[1], "glUniform2fv");
        get(uniform_fv[2], "glUniform3fv");
        get(uniform_fv[3], "glUniform4fv");
        get(uniform_1i, "glUniform1i");
        get(uniform_matrix_4fv, "glUniformMatrix4fv");
        get(gen_textures, "glGenTextures");
        get(bind_texture, "glBindTexture");
        get(tex_parameter, "glTexParameteri");
        get(tex_image_2d, "glTexImage2D");
        get(active_texture, "glActiveTexture");
        return missing.empty() ? std::string() : "OSMesa gives no " + missing;
    }
};

std::string shader_log(Mesa& gl, GLuint shader)
{
    GLint length = 0;
    gl.get_shader_iv(shader, gl_info_log_length, &length);
    std::string log(std::size_t(length > 1 ? length : 1), '\0');
    gl.get_shader_info_log(shader, GLsizei(log.size()), nullptr, &log[0]);
    log.resize(std::strlen(log.c_str()));
    return log;
}

}  // namespace

bool render_gl(const std::string& vertex_text, const std::string& fragment_text, const std::string& companion_text,
               const Shader_interface& shader, int width, int height, Image& image, std::string& why, Shape shape)
{
    if (width < 1 || height < 1 || width > 4096 || height > 4096) {
        why = "the size " + std::to_string(width) + "x" + std::to_string(height) + " is outside 1..4096";
        return false;
    }
    Mesa gl;
    why = gl.load();
    if (!why.empty())
        return false;
    void* context = gl.create_context_ext(gl_rgba, 24, 0, 0, nullptr);
    if (!context) {
        why = "OSMesa made no context";
        return false;
    }
    std::vector<std::uint8_t> buffer(std::size_t(width) * std::size_t(height) * 4, 0);
    bool ok = gl.make_current(context, buffer.data(), gl_unsigned_byte, width, height) != 0;
    if (!ok)
        why = "OSMesa cannot draw into the image";
    if (ok) {
        why = gl.load_gl();
        ok = why.empty();
    }
    GLuint program = 0;
    if (ok) {
        program = gl.create_program();
        struct Stage {
            GLenum kind;
            const std::string* text;
            const char* what;
        };
        for (const Stage& stage : {Stage{gl_vertex_shader, &vertex_text, "vertex text"},
                                   Stage{gl_fragment_shader, &fragment_text, "fragment text"},
                                   Stage{gl_fragment_shader, &companion_text, "companion source"}}) {
            GLuint object = gl.create_shader(stage.kind);
            const char* source = stage.text->c_str();
            gl.shader_source(object, 1, &source, nullptr);
            gl.compile_shader(object);
            GLint status = 0;
            gl.get_shader_iv(object, gl_compile_status, &status);
            if (!status) {
                why = std::string("the ") + stage.what + " does not compile on Mesa:\n" + shader_log(gl, object);
                ok = false;
                break;
            }
            gl.attach_shader(program, object);
        }
    }
    if (ok) {
        gl.link_program(program);
        GLint status = 0;
        gl.get_program_iv(program, gl_link_status, &status);
        if (!status) {
            GLint length = 0;
            gl.get_program_iv(program, gl_info_log_length, &length);
            std::string log(std::size_t(length > 1 ? length : 1), '\0');
            gl.get_program_info_log(program, GLsizei(log.size()), nullptr, &log[0]);
            log.resize(std::strlen(log.c_str()));
            why = "the GL pair does not link on Mesa:\n" + log;
            ok = false;
        }
    }
    if (ok) {
        gl.use_program(program);
        for (const Parameter& input : shader.inputs) {
            const GLint location = gl.get_uniform_location(program, ("ovl_" + input.name).c_str());
            if (location < 0)
                continue;  // the program does not use it
            if (input.kind == vorn::TYPE_KIND_TEXTURE2D) {
                // Texture n on unit n - 1: one texel of the preview's colour.
                GLint number = 0;
                std::memcpy(&number, input.bytes.data(), 4);
                if (number < 1 || number > 8)
                    continue;
                const std::uint8_t texel[4] = {to_byte(texture_colour[0]), to_byte(texture_colour[1]),
                                               to_byte(texture_colour[2]), to_byte(texture_colour[3])};
                GLuint texture = 0;
                gl.gen_textures(1, &texture);
                gl.active_texture(gl_texture0 + GLenum(number - 1));
                gl.bind_texture(gl_texture_2d, texture);
                gl.tex_parameter(gl_texture_2d, gl_texture_min_filter, gl_nearest);
                gl.tex_parameter(gl_texture_2d, gl_texture_mag_filter, gl_nearest);
                gl.tex_image_2d(gl_texture_2d, 0, gl_rgba8, 1, 1, 0, gl_rgba, gl_unsigned_byte, texel);
                gl.active_texture(gl_texture0);
                gl.uniform_1i(location, number - 1);
            } else if (input.kind == vorn::TYPE_KIND_BOOL) {
                gl.uniform_1i(location, input.bytes[0] ? 1 : 0);
            } else if (input.kind == vorn::TYPE_KIND_INT) {
                GLint value = 0;
                std::memcpy(&value, input.bytes.data(), 4);
                gl.uniform_1i(location, value);
            } else {
                float values[4] = {};
                std::memcpy(values, input.bytes.data(), std::min<std::size_t>(16, input.bytes.size()));
                gl.uniform_fv[input.bytes.size() / 4 - 1](location, 1, values);
            }
        }
        for (const State_uniform& uniform : state_uniforms()) {
            const GLint location = gl.get_uniform_location(program, uniform.name);
            if (location < 0)
                continue;
            if (uniform.values.size() == 16)
                gl.uniform_matrix_4fv(location, 1, 0, uniform.values.data());
            else
                gl.uniform_fv[uniform.values.size() - 1](location, 1, uniform.values.data());
        }
        gl.viewport(0, 0, width, height);
        gl.disable(gl_depth_test);
        gl.disable(gl_cull_face);
        gl.disable(gl_blend);
        gl.clear_color(0, 0, 0, 0);
        gl.clear(gl_color_buffer_bit);
        gl.matrix_mode(gl_texture);
        gl.load_identity();
        gl.matrix_mode(gl_projection);
        gl.load_identity();
        gl.ortho(-1, 1, -1, 1, 0, 2);
        gl.matrix_mode(gl_modelview);
        gl.load_identity();
        gl.translate(0, 0, -1);
        if (shape == Shape::sphere) {
            gl.begin(gl_triangles);
            for (const Mesh_vertex& v : sphere_triangles()) {
                gl.normal(v.normal[0], v.normal[1], v.normal[2]);
                for (int unit = 0; unit < 6; ++unit)
                    gl.multi_tex_coord(gl_texture0 + GLenum(unit), v.tex_coord[unit][0], v.tex_coord[unit][1],
                                       v.tex_coord[unit][2], v.tex_coord[unit][3]);
                gl.vertex(v.position[0], v.position[1], v.position[2]);
            }
        } else {
            // The corners' attributes are those of quad_point at the corners themselves.
            static const float s_of[4] = {0, 1, 1, 0};
            static const float t_of[4] = {0, 0, 1, 1};
            gl.begin(gl_quads);
            for (int i = 0; i < 4; ++i) {
                const float s = s_of[i], t = t_of[i];
                gl.normal(2 * s - 1, 2 * t - 1, 1);
                for (int unit = 0; unit < 4; ++unit)
                    gl.multi_tex_coord(gl_texture0 + GLenum(unit), s, t, 0.25f * float(unit), 1);
                gl.multi_tex_coord(gl_texture0 + 4, 1, 0, 0, 1);
                gl.multi_tex_coord(gl_texture0 + 5, 0, 1, 0, 1);
                gl.vertex(2 * s - 1, 2 * t - 1, 0);
            }
        }
        gl.end();
        gl.finish();
        image.width = width;
        image.height = height;
        image.rgba.assign(buffer.size(), 0);
        gl.pixel_store(gl_pack_alignment, 1);
        gl.read_pixels(0, 0, width, height, gl_rgba, gl_unsigned_byte, image.rgba.data());
    }
    gl.make_current(nullptr, nullptr, 0, 0, 0);
    gl.destroy_context(context);
    return ok;
}

}  // namespace vorn_preview
