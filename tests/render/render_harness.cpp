#include "render_harness.h"

#include <GL/osmesa.h>
#include <GL/glext.h>

#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <type_traits>
#include <poll.h>
#include <sys/wait.h>
#include <unistd.h>

namespace vorn_render {

bool operator==(const Rgba& x, const Rgba& y)
{
    return x.r == y.r && x.g == y.g && x.b == y.b && x.a == y.a;
}

bool operator!=(const Rgba& x, const Rgba& y) { return !(x == y); }

bool near(const Rgba& x, const Rgba& y, int tolerance)
{
    auto close = [tolerance](int p, int q) { return p - q <= tolerance && q - p <= tolerance; };
    return close(x.r, y.r) && close(x.g, y.g) && close(x.b, y.b) && close(x.a, y.a);
}

std::string to_string(const Rgba& c)
{
    char text[64];
    std::snprintf(text, sizeof text, "(%d, %d, %d, %d)", c.r, c.g, c.b, c.a);
    return text;
}

Rgba Image::at(int x, int y) const
{
    if (x < 0 || y < 0 || x >= width || y >= height
        || rgba.size() < static_cast<std::size_t>(width) * height * 4)
        return Rgba{};
    const std::uint8_t* p = &rgba[(static_cast<std::size_t>(y) * width + x) * 4];
    return Rgba{p[0], p[1], p[2], p[3]};
}

void Render_request::set_float(const std::string& name, float x)
{
    Uniform_value v;
    v.floats = {x};
    uniforms[name] = v;
}

void Render_request::set_vec2(const std::string& name, float x, float y)
{
    Uniform_value v;
    v.floats = {x, y};
    uniforms[name] = v;
}

void Render_request::set_vec3(const std::string& name, float x, float y, float z)
{
    Uniform_value v;
    v.floats = {x, y, z};
    uniforms[name] = v;
}

void Render_request::set_vec4(const std::string& name, float x, float y, float z, float w)
{
    Uniform_value v;
    v.floats = {x, y, z, w};
    uniforms[name] = v;
}

void Render_request::set_int(const std::string& name, int value)
{
    Uniform_value v;
    v.kind = Uniform_value::Kind::integer;
    v.integer = value;
    uniforms[name] = v;
}

void Render_request::set_texture(const std::string& name, int unit, const Image& texture, bool linear_filter)
{
    Uniform_value v;
    v.kind = Uniform_value::Kind::sampler_2d;
    v.integer = unit;
    v.texture = texture;
    v.linear_filter = linear_filter;
    uniforms[name] = v;
}

std::array<Quad_corner, 4> Render_request::default_corners()
{
    static const float s_of[4] = {0, 1, 1, 0};
    static const float t_of[4] = {0, 0, 1, 1};
    std::array<Quad_corner, 4> corners{};
    for (int i = 0; i < 4; ++i) {
        const float s = s_of[i], t = t_of[i];
        corners[i].normal = {2 * s - 1, 2 * t - 1, 1};
        for (int unit = 0; unit < 4; ++unit)
            corners[i].tex_coord[unit] = {s, t, 0.25f * unit, 1};
        corners[i].tex_coord[4] = {1, 0, 0, 1};
        corners[i].tex_coord[5] = {0, 1, 0, 1};
    }
    return corners;
}

const char* to_string(Render_failure failure)
{
    switch (failure) {
    case Render_failure::none: return "none";
    case Render_failure::bad_request: return "bad request";
    case Render_failure::context: return "context";
    case Render_failure::entry_points: return "entry points";
    case Render_failure::vertex_compile: return "vertex compile";
    case Render_failure::fragment_compile: return "fragment compile";
    case Render_failure::link: return "link";
    case Render_failure::uniform: return "uniform";
    case Render_failure::gl_error: return "GL error";
    case Render_failure::crashed: return "crashed";
    case Render_failure::timed_out: return "timed out";
    }
    return "unknown";
}

namespace {

constexpr int max_size = 4096;
constexpr int max_texture_units = 8;

Render_result fail(Render_failure failure, std::string message)
{
    Render_result result;
    result.failure = failure;
    result.message = std::move(message);
    return result;
}

// The entry points beyond GL 1.1, which OSMesa hands out only by lookup.
struct Gl_entry_points {
    PFNGLACTIVETEXTUREPROC active_texture = nullptr;
    // gl.h claims GL 1.3, which hides this type in glext.h.
    void(APIENTRYP multi_tex_coord_4f)(GLenum, GLfloat, GLfloat, GLfloat, GLfloat) = nullptr;
    PFNGLCREATESHADERPROC create_shader = nullptr;
    PFNGLSHADERSOURCEPROC shader_source = nullptr;
    PFNGLCOMPILESHADERPROC compile_shader = nullptr;
    PFNGLGETSHADERIVPROC get_shader_iv = nullptr;
    PFNGLGETSHADERINFOLOGPROC get_shader_info_log = nullptr;
    PFNGLDELETESHADERPROC delete_shader = nullptr;
    PFNGLCREATEPROGRAMPROC create_program = nullptr;
    PFNGLATTACHSHADERPROC attach_shader = nullptr;
    PFNGLLINKPROGRAMPROC link_program = nullptr;
    PFNGLGETPROGRAMIVPROC get_program_iv = nullptr;
    PFNGLGETPROGRAMINFOLOGPROC get_program_info_log = nullptr;
    PFNGLDELETEPROGRAMPROC delete_program = nullptr;
    PFNGLUSEPROGRAMPROC use_program = nullptr;
    PFNGLGETACTIVEUNIFORMPROC get_active_uniform = nullptr;
    PFNGLGETUNIFORMLOCATIONPROC get_uniform_location = nullptr;
    PFNGLUNIFORM1FVPROC uniform_1fv = nullptr;
    PFNGLUNIFORM2FVPROC uniform_2fv = nullptr;
    PFNGLUNIFORM3FVPROC uniform_3fv = nullptr;
    PFNGLUNIFORM4FVPROC uniform_4fv = nullptr;
    PFNGLUNIFORM1IPROC uniform_1i = nullptr;
    PFNGLUNIFORMMATRIX4FVPROC uniform_matrix_4fv = nullptr;

    // Names every entry point that could not be found; empty when all are there.
    std::string load()
    {
        std::string missing;
        auto get = [&missing](auto& pointer, const char* name) {
            pointer = reinterpret_cast<std::remove_reference_t<decltype(pointer)>>(OSMesaGetProcAddress(name));
            if (!pointer)
                missing += std::string(missing.empty() ? "" : ", ") + name;
        };
        get(active_texture, "glActiveTexture");
        get(multi_tex_coord_4f, "glMultiTexCoord4f");
        get(create_shader, "glCreateShader");
        get(shader_source, "glShaderSource");
        get(compile_shader, "glCompileShader");
        get(get_shader_iv, "glGetShaderiv");
        get(get_shader_info_log, "glGetShaderInfoLog");
        get(delete_shader, "glDeleteShader");
        get(create_program, "glCreateProgram");
        get(attach_shader, "glAttachShader");
        get(link_program, "glLinkProgram");
        get(get_program_iv, "glGetProgramiv");
        get(get_program_info_log, "glGetProgramInfoLog");
        get(delete_program, "glDeleteProgram");
        get(use_program, "glUseProgram");
        get(get_active_uniform, "glGetActiveUniform");
        get(get_uniform_location, "glGetUniformLocation");
        get(uniform_1fv, "glUniform1fv");
        get(uniform_2fv, "glUniform2fv");
        get(uniform_3fv, "glUniform3fv");
        get(uniform_4fv, "glUniform4fv");
        get(uniform_1i, "glUniform1i");
        get(uniform_matrix_4fv, "glUniformMatrix4fv");
        return missing;
    }
};

std::string gl_error_text(GLenum error)
{
    char text[32];
    std::snprintf(text, sizeof text, "0x%04x", static_cast<unsigned>(error));
    return text;
}

// Collects every pending GL error, since GL keeps more than one flag.
std::string take_gl_errors()
{
    std::string errors;
    for (int i = 0; i < 16; ++i) {
        const GLenum error = glGetError();
        if (error == GL_NO_ERROR)
            break;
        errors += (errors.empty() ? "" : " ") + gl_error_text(error);
    }
    return errors;
}

const char* type_name(GLenum type)
{
    switch (type) {
    case GL_FLOAT: return "float";
    case GL_FLOAT_VEC2: return "vec2";
    case GL_FLOAT_VEC3: return "vec3";
    case GL_FLOAT_VEC4: return "vec4";
    case GL_FLOAT_MAT4: return "mat4";
    case GL_INT: return "int";
    case GL_BOOL: return "bool";
    case GL_SAMPLER_2D: return "sampler2D";
    default: return "another type";
    }
}

std::string check_request(const Render_request& request)
{
    if (request.width < 1 || request.height < 1 || request.width > max_size || request.height > max_size)
        return "the size " + std::to_string(request.width) + "x" + std::to_string(request.height)
            + " is outside 1.." + std::to_string(max_size);
    if (request.triangles.size() % 3 != 0)
        return "a triangle list of " + std::to_string(request.triangles.size()) + " corners is not whole triangles";
    for (const auto& [name, value] : request.uniforms) {
        switch (value.kind) {
        case Uniform_value::Kind::floats:
            if (value.floats.empty() || (value.floats.size() > 4 && value.floats.size() != 16))
                return "uniform '" + name + "' has " + std::to_string(value.floats.size())
                    + " components; 1 to 4 or 16 are allowed";
            break;
        case Uniform_value::Kind::integer:
            break;
        case Uniform_value::Kind::sampler_2d: {
            const Image& t = value.texture;
            if (value.integer < 0 || value.integer >= max_texture_units)
                return "uniform '" + name + "' asks for texture unit " + std::to_string(value.integer)
                    + "; 0 to " + std::to_string(max_texture_units - 1) + " are allowed";
            if (t.width < 1 || t.height < 1 || t.width > max_size || t.height > max_size
                || t.rgba.size() != static_cast<std::size_t>(t.width) * t.height * 4)
                return "the texture of uniform '" + name + "' is " + std::to_string(t.width) + "x"
                    + std::to_string(t.height) + " with " + std::to_string(t.rgba.size())
                    + " bytes; it needs width * height * 4 bytes and a size in 1.." + std::to_string(max_size);
            break;
        }
        }
    }
    return {};
}

// Owns the GL objects of one render, so that every exit path releases them.
class Render_session {
public:
    explicit Render_session(const Render_request& request) : request_(request) {}

    ~Render_session()
    {
        if (context_) {
            if (!textures_.empty())
                glDeleteTextures(static_cast<GLsizei>(textures_.size()), textures_.data());
            if (program_ && gl_.delete_program)
                gl_.delete_program(program_);
            for (GLuint shader : shaders_)
                if (gl_.delete_shader)
                    gl_.delete_shader(shader);
            OSMesaMakeCurrent(nullptr, nullptr, 0, 0, 0);
            OSMesaDestroyContext(context_);
        }
    }

    Render_result run()
    {
        if (std::string problem = check_request(request_); !problem.empty())
            return fail(Render_failure::bad_request, problem);
        if (Render_result r = make_context(); !r.ok())
            return r;
        if (Render_result r = build_program(); !r.ok())
            return r;
        if (Render_result r = set_uniforms(); !r.ok())
            return r;
        return draw();
    }

private:
    Render_result make_context()
    {
        context_ = OSMesaCreateContextExt(OSMESA_RGBA, 24, 0, 0, nullptr);
        if (!context_)
            return fail(Render_failure::context, "OSMesaCreateContextExt failed");
        colour_buffer_.assign(static_cast<std::size_t>(request_.width) * request_.height * 4, 0);
        if (!OSMesaMakeCurrent(context_, colour_buffer_.data(), GL_UNSIGNED_BYTE, request_.width,
                               request_.height))
            return fail(Render_failure::context, "OSMesaMakeCurrent failed");
        const char* version = reinterpret_cast<const char*>(glGetString(GL_VERSION));
        int major = 0;
        if (!version || std::sscanf(version, "%d", &major) != 1 || major < 2)
            return fail(Render_failure::context,
                        std::string("OpenGL 2.0 or later is needed; the context reports ")
                            + (version ? version : "no version"));
        if (std::string missing = gl_.load(); !missing.empty())
            return fail(Render_failure::entry_points, "OSMesaGetProcAddress found no " + missing);
        return {};
    }

    Render_result compile(GLenum stage, const std::string& text, const std::string& what, Render_failure failure)
    {
        const GLuint shader = gl_.create_shader(stage);
        if (!shader)
            return fail(Render_failure::gl_error, "glCreateShader failed for the " + what);
        shaders_.push_back(shader);
        const GLchar* source = text.c_str();
        const GLint length = static_cast<GLint>(text.size());
        gl_.shader_source(shader, 1, &source, &length);
        gl_.compile_shader(shader);
        GLint status = GL_FALSE;
        gl_.get_shader_iv(shader, GL_COMPILE_STATUS, &status);
        if (status != GL_TRUE)
            return fail(failure, "the " + what + " failed to compile:\n" + shader_log(shader));
        return {};
    }

    std::string shader_log(GLuint shader)
    {
        GLint length = 0;
        gl_.get_shader_iv(shader, GL_INFO_LOG_LENGTH, &length);
        if (length <= 1)
            return "(the compiler gave no log)";
        std::string log(static_cast<std::size_t>(length), '\0');
        gl_.get_shader_info_log(shader, length, nullptr, log.data());
        log.resize(std::strlen(log.c_str()));
        return log;
    }

    std::string program_log()
    {
        GLint length = 0;
        gl_.get_program_iv(program_, GL_INFO_LOG_LENGTH, &length);
        if (length <= 1)
            return "(the linker gave no log)";
        std::string log(static_cast<std::size_t>(length), '\0');
        gl_.get_program_info_log(program_, length, nullptr, log.data());
        log.resize(std::strlen(log.c_str()));
        return log;
    }

    Render_result build_program()
    {
        if (Render_result r = compile(GL_VERTEX_SHADER, request_.vertex_text, "vertex text",
                                      Render_failure::vertex_compile);
            !r.ok())
            return r;
        if (Render_result r = compile(GL_FRAGMENT_SHADER, request_.fragment_text, "fragment text",
                                      Render_failure::fragment_compile);
            !r.ok())
            return r;
        for (std::size_t i = 0; i < request_.extra_fragment_sources.size(); ++i) {
            const std::string what = "extra fragment source " + std::to_string(i + 1);
            if (Render_result r = compile(GL_FRAGMENT_SHADER, request_.extra_fragment_sources[i], what,
                                          Render_failure::fragment_compile);
                !r.ok())
                return r;
        }
        program_ = gl_.create_program();
        if (!program_)
            return fail(Render_failure::gl_error, "glCreateProgram failed");
        for (GLuint shader : shaders_)
            gl_.attach_shader(program_, shader);
        gl_.link_program(program_);
        GLint status = GL_FALSE;
        gl_.get_program_iv(program_, GL_LINK_STATUS, &status);
        if (status != GL_TRUE)
            return fail(Render_failure::link, "the program failed to link:\n" + program_log());
        gl_.use_program(program_);
        if (std::string errors = take_gl_errors(); !errors.empty())
            return fail(Render_failure::gl_error, "GL error while building the program: " + errors);
        return {};
    }

    // The type of each active uniform by name; arrays are listed as "name[0]".
    std::map<std::string, GLenum> active_uniforms()
    {
        std::map<std::string, GLenum> types;
        GLint count = 0, longest = 0;
        gl_.get_program_iv(program_, GL_ACTIVE_UNIFORMS, &count);
        gl_.get_program_iv(program_, GL_ACTIVE_UNIFORM_MAX_LENGTH, &longest);
        std::vector<GLchar> name(static_cast<std::size_t>(longest > 0 ? longest : 1) + 1);
        for (GLint i = 0; i < count; ++i) {
            GLsizei length = 0;
            GLint size = 0;
            GLenum type = 0;
            gl_.get_active_uniform(program_, static_cast<GLuint>(i), static_cast<GLsizei>(name.size()), &length,
                                   &size, &type, name.data());
            types[std::string(name.data(), static_cast<std::size_t>(length))] = type;
        }
        return types;
    }

    static bool type_fits(const Uniform_value& value, GLenum type)
    {
        switch (value.kind) {
        case Uniform_value::Kind::floats: {
            static const GLenum by_count[] = {GL_FLOAT, GL_FLOAT_VEC2, GL_FLOAT_VEC3, GL_FLOAT_VEC4};
            if (value.floats.size() == 16)
                return type == GL_FLOAT_MAT4;
            return type == by_count[value.floats.size() - 1];
        }
        // An integer also gives a sampler its unit, without binding a texture there.
        case Uniform_value::Kind::integer:
            return type == GL_INT || type == GL_BOOL || type == GL_SAMPLER_1D || type == GL_SAMPLER_2D
                || type == GL_SAMPLER_3D || type == GL_SAMPLER_CUBE || type == GL_SAMPLER_2D_RECT;
        case Uniform_value::Kind::sampler_2d: return type == GL_SAMPLER_2D;
        }
        return false;
    }

    static std::string requested_type(const Uniform_value& value)
    {
        switch (value.kind) {
        case Uniform_value::Kind::floats:
            if (value.floats.size() == 16)
                return "mat4";
            return value.floats.size() == 1 ? "float" : "vec" + std::to_string(value.floats.size());
        case Uniform_value::Kind::integer: return "int";
        case Uniform_value::Kind::sampler_2d: return "sampler2D";
        }
        return "?";
    }

    Render_result set_uniforms()
    {
        const std::map<std::string, GLenum> types = active_uniforms();
        for (const auto& [name, value] : request_.uniforms) {
            auto found = types.find(name);
            if (found == types.end())
                found = types.find(name + "[0]");
            const GLint location = gl_.get_uniform_location(program_, name.c_str());
            if (found == types.end() || location < 0) {
                if (request_.ignore_inactive_uniforms)
                    continue;
                return fail(Render_failure::uniform, "uniform '" + name + "' is not an active uniform of the program");
            }
            if (!type_fits(value, found->second))
                return fail(Render_failure::uniform, "uniform '" + name + "' is a " + type_name(found->second)
                                                         + " in the program but was set as a " + requested_type(value));
            switch (value.kind) {
            case Uniform_value::Kind::floats: {
                const float* v = value.floats.data();
                switch (value.floats.size()) {
                case 16: gl_.uniform_matrix_4fv(location, 1, GL_FALSE, v); break;
                case 1: gl_.uniform_1fv(location, 1, v); break;
                case 2: gl_.uniform_2fv(location, 1, v); break;
                case 3: gl_.uniform_3fv(location, 1, v); break;
                default: gl_.uniform_4fv(location, 1, v); break;
                }
                break;
            }
            case Uniform_value::Kind::integer: gl_.uniform_1i(location, value.integer); break;
            case Uniform_value::Kind::sampler_2d:
                bind_texture(value);
                gl_.uniform_1i(location, value.integer);
                break;
            }
            if (std::string errors = take_gl_errors(); !errors.empty())
                return fail(Render_failure::uniform, "setting uniform '" + name + "' raised GL error " + errors);
        }
        return {};
    }

    void bind_texture(const Uniform_value& value)
    {
        GLuint texture = 0;
        glGenTextures(1, &texture);
        textures_.push_back(texture);
        gl_.active_texture(GL_TEXTURE0 + static_cast<GLenum>(value.integer));
        glBindTexture(GL_TEXTURE_2D, texture);
        const GLint filter = value.linear_filter ? GL_LINEAR : GL_NEAREST;
        glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MIN_FILTER, filter);
        glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MAG_FILTER, filter);
        glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_WRAP_S, GL_REPEAT);
        glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_WRAP_T, GL_REPEAT);
        glPixelStorei(GL_UNPACK_ALIGNMENT, 1);
        glTexImage2D(GL_TEXTURE_2D, 0, GL_RGBA8, value.texture.width, value.texture.height, 0, GL_RGBA,
                     GL_UNSIGNED_BYTE, value.texture.rgba.data());
        gl_.active_texture(GL_TEXTURE0);
    }

    void set_matrices()
    {
        glMatrixMode(GL_TEXTURE);
        glLoadIdentity();
        glMatrixMode(GL_PROJECTION);
        glLoadIdentity();
        if (request_.matrices == Matrix_setup::orthographic)
            glOrtho(-1, 1, -1, 1, 0, 2);
        glMatrixMode(GL_MODELVIEW);
        glLoadIdentity();
        if (request_.matrices == Matrix_setup::orthographic)
            glTranslatef(0, 0, -1);
    }

    Render_result draw()
    {
        glViewport(0, 0, request_.width, request_.height);
        glDisable(GL_DEPTH_TEST);
        glDisable(GL_CULL_FACE);
        glDisable(GL_BLEND);
        glClearColor(0, 0, 0, 0);
        glClear(GL_COLOR_BUFFER_BIT);
        set_matrices();
        auto attributes = [this](const Quad_corner& corner) {
            glNormal3f(corner.normal[0], corner.normal[1], corner.normal[2]);
            for (int unit = 0; unit < 6; ++unit) {
                const auto& t = corner.tex_coord[unit];
                gl_.multi_tex_coord_4f(GL_TEXTURE0 + static_cast<GLenum>(unit), t[0], t[1], t[2], t[3]);
            }
        };
        if (!request_.triangles.empty()) {
            glBegin(GL_TRIANGLES);
            for (const Mesh_corner& corner : request_.triangles) {
                attributes(corner.attributes);
                glVertex3f(corner.position[0], corner.position[1], corner.position[2]);
            }
        } else {
            static const float x_of[4] = {-1, 1, 1, -1};
            static const float y_of[4] = {-1, -1, 1, 1};
            glBegin(GL_QUADS);
            for (int i = 0; i < 4; ++i) {
                attributes(request_.corners[i]);
                glVertex3f(x_of[i], y_of[i], 0);
            }
        }
        glEnd();
        glFinish();
        if (std::string errors = take_gl_errors(); !errors.empty())
            return fail(Render_failure::gl_error, "GL error while drawing: " + errors);

        Render_result result;
        result.image.width = request_.width;
        result.image.height = request_.height;
        result.image.rgba.assign(colour_buffer_.size(), 0);
        glPixelStorei(GL_PACK_ALIGNMENT, 1);
        glReadPixels(0, 0, request_.width, request_.height, GL_RGBA, GL_UNSIGNED_BYTE, result.image.rgba.data());
        if (std::string errors = take_gl_errors(); !errors.empty())
            return fail(Render_failure::gl_error, "GL error while reading pixels: " + errors);
        return result;
    }

    const Render_request& request_;
    OSMesaContext context_ = nullptr;
    std::vector<std::uint8_t> colour_buffer_;
    Gl_entry_points gl_;
    std::vector<GLuint> shaders_;
    GLuint program_ = 0;
    std::vector<GLuint> textures_;
};

Render_result render_here(const Render_request& request)
{
    Render_session session(request);
    return session.run();
}

// The child sends its result through a pipe as: failure, message, width, height, pixels.
void put_u32(std::string& out, std::uint32_t v)
{
    for (int i = 0; i < 4; ++i)
        out.push_back(static_cast<char>((v >> (8 * i)) & 0xff));
}

bool get_u32(const std::string& in, std::size_t& at, std::uint32_t& v)
{
    if (in.size() - at < 4)
        return false;
    v = 0;
    for (int i = 0; i < 4; ++i)
        v |= static_cast<std::uint32_t>(static_cast<unsigned char>(in[at + i])) << (8 * i);
    at += 4;
    return true;
}

std::string encode(const Render_result& result)
{
    std::string out;
    put_u32(out, static_cast<std::uint32_t>(result.failure));
    put_u32(out, static_cast<std::uint32_t>(result.message.size()));
    out += result.message;
    put_u32(out, static_cast<std::uint32_t>(result.image.width));
    put_u32(out, static_cast<std::uint32_t>(result.image.height));
    out.append(reinterpret_cast<const char*>(result.image.rgba.data()), result.image.rgba.size());
    return out;
}

bool decode(const std::string& in, Render_result& result)
{
    std::size_t at = 0;
    std::uint32_t failure = 0, length = 0, width = 0, height = 0;
    if (!get_u32(in, at, failure) || failure > static_cast<std::uint32_t>(Render_failure::timed_out)
        || !get_u32(in, at, length) || in.size() - at < length)
        return false;
    result.failure = static_cast<Render_failure>(failure);
    result.message = in.substr(at, length);
    at += length;
    if (!get_u32(in, at, width) || !get_u32(in, at, height) || width > max_size || height > max_size
        || in.size() - at != static_cast<std::size_t>(width) * height * 4)
        return false;
    result.image.width = static_cast<int>(width);
    result.image.height = static_cast<int>(height);
    result.image.rgba.assign(in.begin() + static_cast<std::ptrdiff_t>(at), in.end());
    return true;
}

bool write_all(int fd, const std::string& data)
{
    std::size_t done = 0;
    while (done < data.size()) {
        const ssize_t n = ::write(fd, data.data() + done, data.size() - done);
        if (n < 0 && errno == EINTR)
            continue;
        if (n <= 0)
            return false;
        done += static_cast<std::size_t>(n);
    }
    return true;
}

Render_result render_in_child(const Render_request& request)
{
    int fds[2];
    if (::pipe(fds) != 0)
        return fail(Render_failure::context, std::string("pipe failed: ") + std::strerror(errno));
    std::fflush(nullptr);
    const pid_t child = ::fork();
    if (child < 0) {
        ::close(fds[0]);
        ::close(fds[1]);
        return fail(Render_failure::context, std::string("fork failed: ") + std::strerror(errno));
    }
    if (child == 0) {
        ::close(fds[0]);
        const bool sent = write_all(fds[1], encode(render_here(request)));
        ::close(fds[1]);
        // No exit handlers: they belong to the parent (the test framework).
        ::_exit(sent ? 0 : 3);
    }
    ::close(fds[1]);

    std::string data;
    bool timed_out = false;
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(request.timeout_seconds);
    char buffer[65536];
    for (;;) {
        const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(deadline - std::chrono::steady_clock::now());
        if (left.count() <= 0) {
            timed_out = true;
            break;
        }
        pollfd p{fds[0], POLLIN, 0};
        const int ready = ::poll(&p, 1, static_cast<int>(left.count()));
        if (ready < 0 && errno == EINTR)
            continue;
        if (ready <= 0) {
            timed_out = ready == 0;
            break;
        }
        const ssize_t n = ::read(fds[0], buffer, sizeof buffer);
        if (n < 0 && errno == EINTR)
            continue;
        if (n <= 0)
            break;
        data.append(buffer, static_cast<std::size_t>(n));
    }
    ::close(fds[0]);
    if (timed_out)
        ::kill(child, SIGKILL);
    int status = 0;
    while (::waitpid(child, &status, 0) < 0 && errno == EINTR) {
    }
    if (timed_out)
        return fail(Render_failure::timed_out,
                    "rendering took longer than " + std::to_string(request.timeout_seconds) + " s and was stopped");
    if (WIFSIGNALED(status))
        return fail(Render_failure::crashed, "the rendering process died of signal " + std::to_string(WTERMSIG(status))
                                                 + " (" + strsignal(WTERMSIG(status)) + ")");
    Render_result result;
    if (!WIFEXITED(status) || WEXITSTATUS(status) != 0 || !decode(data, result))
        return fail(Render_failure::crashed, "the rendering process ended without a complete result (exit status "
                                                 + std::to_string(WIFEXITED(status) ? WEXITSTATUS(status) : -1) + ")");
    return result;
}

// The child of render_all sends each result as its encoded length and then the encoding.
std::vector<Render_result> render_all_in_child(const std::vector<Render_request>& requests, int timeout_seconds)
{
    std::vector<Render_result> results;
    int fds[2];
    if (::pipe(fds) != 0) {
        results.assign(requests.size(), fail(Render_failure::context, "pipe failed"));
        return results;
    }
    std::fflush(nullptr);
    const pid_t child = ::fork();
    if (child < 0) {
        ::close(fds[0]);
        ::close(fds[1]);
        results.assign(requests.size(), fail(Render_failure::context, "fork failed"));
        return results;
    }
    if (child == 0) {
        ::close(fds[0]);
        bool sent = true;
        for (const Render_request& request : requests) {
            std::string one = encode(render_here(request));
            std::string framed;
            put_u32(framed, static_cast<std::uint32_t>(one.size()));
            sent = sent && write_all(fds[1], framed + one);
        }
        ::close(fds[1]);
        ::_exit(sent ? 0 : 3);
    }
    ::close(fds[1]);
    std::string data;
    bool timed_out = false;
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(timeout_seconds);
    char buffer[65536];
    for (;;) {
        const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(deadline - std::chrono::steady_clock::now());
        if (left.count() <= 0) {
            timed_out = true;
            break;
        }
        pollfd p{fds[0], POLLIN, 0};
        const int ready = ::poll(&p, 1, static_cast<int>(left.count()));
        if (ready < 0 && errno == EINTR)
            continue;
        if (ready <= 0) {
            timed_out = ready == 0;
            break;
        }
        const ssize_t n = ::read(fds[0], buffer, sizeof buffer);
        if (n < 0 && errno == EINTR)
            continue;
        if (n <= 0)
            break;
        data.append(buffer, static_cast<std::size_t>(n));
    }
    ::close(fds[0]);
    if (timed_out)
        ::kill(child, SIGKILL);
    int status = 0;
    while (::waitpid(child, &status, 0) < 0 && errno == EINTR) {
    }
    std::size_t at = 0;
    std::uint32_t length = 0;
    while (results.size() < requests.size() && get_u32(data, at, length) && data.size() - at >= length) {
        Render_result result;
        if (!decode(data.substr(at, length), result))
            break;
        results.push_back(std::move(result));
        at += length;
    }
    const std::string why = timed_out ? "the batch took longer than " + std::to_string(timeout_seconds) + " s"
                            : WIFSIGNALED(status) ? std::string("the batch process died of signal ") + strsignal(WTERMSIG(status))
                                                  : std::string("the batch process ended early");
    while (results.size() < requests.size())
        results.push_back(fail(timed_out ? Render_failure::timed_out : Render_failure::crashed, why));
    return results;
}

} // namespace

std::vector<Render_result> render_all(const std::vector<Render_request>& requests, int timeout_seconds)
{
    if (timeout_seconds < 1)
        return std::vector<Render_result>(requests.size(), fail(Render_failure::bad_request, "the timeout must be at least one second"));
    return render_all_in_child(requests, timeout_seconds);
}

Render_result render(const Render_request& request)
{
    if (request.timeout_seconds < 1)
        return fail(Render_failure::bad_request, "the timeout must be at least one second");
    return render_in_child(request);
}

} // namespace vorn_render
