// Software shaders built with a C++ compiler and run pixel by pixel. The loop over the pixels is
// compiled into the shared object beside the shaders, so that the state and the data blocks it
// hands them come from the same runtime header as the shaders themselves.
#include <dlfcn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <sstream>

#include "preview.h"

namespace vorn_preview {

namespace {

// What the loop and its caller hand each other, written once: compiled here and, as text, in the
// loop.
#define LOOP_TYPES                                                                             \
    struct Point {                                                                             \
        VORN_SHADING_POINT_FIELDS                                                              \
    };                                                                                         \
    struct Field {                                                                             \
        const char* name;                                                                      \
        const void* bytes;                                                                     \
        unsigned size;                                                                         \
    };                                                                                         \
    struct Job {                                                                               \
        unsigned width;                                                                        \
        unsigned height;                                                                       \
        const Point* points;                                                                   \
        unsigned input_count;                                                                  \
        const Field* inputs;                                                                   \
        unsigned output_count;                                                                 \
        const char* const* outputs;                                                            \
        const char* colour_output;                                                             \
        float* colours;                                                                        \
        unsigned texture_count;                                                                \
        const float* texture_colour;                                                           \
    };
#define TEXT_OF(...) #__VA_ARGS__
#define EXPANDED_TEXT_OF(...) TEXT_OF(__VA_ARGS__)
#define LOOP_TYPES_TEXT EXPANDED_TEXT_OF(LOOP_TYPES)

LOOP_TYPES
static_assert(sizeof(Point) == sizeof(Shading_point), "the loop reads the shading points as they are");

// Compiled after the shaders.
const char* const shading_loop = R"(
#include <cstring>
#include <map>
#include <string>
#include <vector>

namespace vorn_preview_loop {

using namespace QZ::SHADER;

)" LOOP_TYPES_TEXT R"(

// Values by name, each with room for any type a parameter has.
class Block : public Data_block {
public:
    void* get_field(const char* name) override
    {
        auto found = fields_.find(name);
        return found == fields_.end() ? nullptr : found->second.data();
    }
    const void* get_field(const char* name) const override
    {
        auto found = fields_.find(name);
        return found == fields_.end() ? nullptr : found->second.data();
    }
    unsigned char* field(const std::string& name)
    {
        std::vector<unsigned char>& bytes = fields_[name];
        bytes.assign(1024, 0);
        return bytes.data();
    }
    void clear()
    {
        for (auto& field : fields_)
            std::memset(field.second.data(), 0, field.second.size());
    }

private:
    std::map<std::string, std::vector<unsigned char>> fields_;
};

Vector3 vector3(const float* v) { return Vector3(v[0], v[1], v[2]); }

// The state as the GL pair's fragment main derives it from what the vertex stream carries.
void set_state(State& state, const Point& p)
{
    const Vector3 position = vector3(p.position);
    const Vector3 normal = normalize(vector3(p.normal));
    const float ray_length = length(position);
    const Vector3 direction = position / ray_length;
    state.set_vector3(State_sym::POINT, position);
    state.set_vector3(State_sym::POINT_DX, vector3(p.position_dx));
    state.set_vector3(State_sym::POINT_DY, vector3(p.position_dy));
    state.set_vector3(State_sym::NORMAL, normal);
    state.set_vector3(State_sym::NORMAL_GEOM, normal);
    state.set_vector3(State_sym::DIR, direction);
    state.set_scalar(State_sym::RAY_LENGTH, ray_length);
    state.set_scalar(State_sym::DOT_ND, dot(direction, normal));
    state.set_scalar(State_sym::IMPORTANCE, 1.0f);
    state.set_vector2(State_sym::UV, Vector2(p.tex_coord[0][0], p.tex_coord[0][1]));
    state.set_vector2(State_sym::UV_DX, Vector2(p.uv_dx[0], p.uv_dx[1]));
    state.set_vector2(State_sym::UV_DY, Vector2(p.uv_dy[0], p.uv_dy[1]));
    // The window position; nothing on screen moves.
    state.set_vector2(State_sym::RASTER, Vector2(p.raster[0], p.raster[1]));
    state.set_vector2(State_sym::RASTER_DX, Vector2(1.0f, 0.0f));
    state.set_vector2(State_sym::RASTER_DY, Vector2(0.0f, 1.0f));
    for (int unit = 0; unit < 4; ++unit) {
        const float* t = p.tex_coord[unit];
        state.set_vector4(State_sym::Id(State_sym::TEXTURE + unit), Vector4(t[0], t[1], t[2], t[3]));
        state.set_vector4(State_sym::Id(State_sym::TEXTURE_DX + unit), Vector4(p.uv_dx[0], p.uv_dx[1], 0.0f, 0.0f));
        state.set_vector4(State_sym::Id(State_sym::TEXTURE_DY + unit), Vector4(p.uv_dy[0], p.uv_dy[1], 0.0f, 0.0f));
    }
    state.set_vector3(State_sym::TEXTURE_TANGENT, vector3(p.tangent));
    state.set_vector3(State_sym::TEXTURE_BINORMAL, vector3(p.binormal));
    // Read back as texture_dv and texture_du: the tangent and the binormal, as the GL pair has them.
    state.set_vector3(State_sym::TEXTURE_DU, vector3(p.tangent));
    state.set_vector3(State_sym::TEXTURE_DV, vector3(p.binormal));
    // Rows tangent, binormal and normal.
    state.get_tangent_space.spaces[0] = Matrix3x3(normalize(vector3(p.tangent)), normalize(vector3(p.binormal)), normal);
}

}  // namespace vorn_preview_loop

extern "C" DLLEXPORT int vorn_preview_shade(QZ::PLUG::Plugin* (*initializer)(unsigned int, void*),
                                            const vorn_preview_loop::Job* job, char* message, unsigned size)
{
    using namespace vorn_preview_loop;
    QZ::PLUG::Plugin* plugin = initializer(0, nullptr);
    Software_shader_plugin* shader_plugin = dynamic_cast<Software_shader_plugin*>(plugin);
    if (!shader_plugin) {
        std::snprintf(message, size, "the shared object gives no software shader");
        if (plugin)
            plugin->release();
        return 1;
    }
    Block inputs;
    for (unsigned i = 0; i < job->input_count; ++i)
        std::memcpy(inputs.field(job->inputs[i].name), job->inputs[i].bytes, job->inputs[i].size);
    Block outputs;
    for (unsigned i = 0; i < job->output_count; ++i)
        outputs.field(job->outputs[i]);
    Shader* shader = shader_plugin->new_instance(&inputs);
    const unsigned count = job->width * job->height;
    const float* t = job->texture_colour;
    for (unsigned k = 0; k < count; ++k) {
        if (!job->points[k].covered)
            continue;
        State state;
        set_state(state, job->points[k]);
        state.texture_colors.assign(job->texture_count, Vector4(t[0], t[1], t[2], t[3]));
        outputs.clear();
        shader->main(&state, &outputs);
        std::memcpy(job->colours + 4 * k, outputs.get_field(job->colour_output), 4 * sizeof(float));
    }
    delete shader;
    shader_plugin->release();
    return 0;
}
)";

using Initializer = void* (*)(unsigned int, void*);
using Shade = int (*)(Initializer, const Job*, char*, unsigned);

std::string quoted(const std::string& word)
{
    std::string out = "'";
    for (char c : word)
        out += c == '\'' ? std::string("'\\''") : std::string(1, c);
    return out + "'";
}

std::string read_file(const std::string& path)
{
    std::ifstream in(path, std::ios::binary);
    std::ostringstream text;
    text << in.rdbuf();
    return text.str();
}

}  // namespace

struct Cpu_shaders::Loaded {
    std::string directory;
    void* handle = nullptr;
    Shade shade = nullptr;
    std::vector<Initializer> initializers;

    ~Loaded()
    {
        if (handle)
            dlclose(handle);
        if (!directory.empty()) {
            for (const char* file : {"/shaders.cpp", "/shaders.so", "/compile.log"})
                std::remove((directory + file).c_str());
            rmdir(directory.c_str());
        }
    }
};

Cpu_shaders::Cpu_shaders() = default;
Cpu_shaders::~Cpu_shaders() = default;

bool Cpu_shaders::build(const std::vector<std::string>& cpp_texts, const Build_options& options, std::string& why)
{
    loaded_.reset();
    if (cpp_texts.empty()) {
        why = "no shader to build";
        return false;
    }
    auto loaded = std::make_unique<Loaded>();
    char directory[] = "/tmp/vorn_preview_XXXXXX";
    if (!mkdtemp(directory)) {
        why = "no temporary directory for the build";
        return false;
    }
    loaded->directory = directory;
    std::string source;
    if (cpp_texts.size() == 1) {
        source = cpp_texts[0];
    } else {
        // Each shader's namespace sees the runtime's; its initializer gets a name of its own.
        source = "#include <ovrel.h>\n";
        for (std::size_t i = 0; i < cpp_texts.size(); ++i) {
            const std::string n = std::to_string(i);
            source += "namespace QZ { namespace vorn_preview_shader_" + n + " { using namespace QZ::SHADER; } }\n";
            source += "#define SHADER vorn_preview_shader_" + n + "\n#define initializer vorn_preview_initializer_" +
                      n + "\n#line 1 \"shader_" + n + ".cpp\"\n";
            source += cpp_texts[i];
            source += "\n#undef initializer\n#undef SHADER\n";
        }
    }
    source += "\n#line 1 \"shading_loop.cpp\"\n";
    source += shading_loop;
    const std::string cpp = loaded->directory + "/shaders.cpp";
    const std::string so = loaded->directory + "/shaders.so";
    const std::string log = loaded->directory + "/compile.log";
    {
        std::ofstream out(cpp, std::ios::binary);
        out << source;
        if (!out) {
            why = "cannot write " + cpp;
            return false;
        }
    }
    const std::string command = options.compiler + " -std=c++17 " + options.optimisation + " -shared -fPIC -I " +
                                quoted(options.include_directory) + " -o " + quoted(so) + " " + quoted(cpp) + " >" +
                                quoted(log) + " 2>&1";
    const int status = std::system(command.c_str());
    if (status != 0) {
        const int code = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
        if (code == 127)
            why = "the C++ compiler '" + options.compiler + "' was not found (the option cplusplus_compiler names it)";
        else
            why = "the C++ compiler '" + options.compiler + "' failed on the generated text:\n" + read_file(log);
        return false;
    }
    loaded->handle = dlopen(so.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (!loaded->handle) {
        const char* error = dlerror();
        why = std::string("cannot load the built shaders: ") + (error ? error : "unknown reason");
        return false;
    }
    loaded->shade = reinterpret_cast<Shade>(dlsym(loaded->handle, "vorn_preview_shade"));
    for (std::size_t i = 0; i < cpp_texts.size(); ++i) {
        const std::string name =
            cpp_texts.size() == 1 ? std::string("initializer") : "vorn_preview_initializer_" + std::to_string(i);
        Initializer initializer = reinterpret_cast<Initializer>(dlsym(loaded->handle, name.c_str()));
        if (!initializer) {
            why = "the built shaders export no " + name;
            return false;
        }
        loaded->initializers.push_back(initializer);
    }
    if (!loaded->shade) {
        why = "the built shaders have no shading loop";
        return false;
    }
    loaded_ = std::move(loaded);
    return true;
}

bool Cpu_shaders::shade(std::size_t index, const Shader_interface& shader, int width, int height, Image& image,
                        std::string& why, Shape shape) const
{
    if (!loaded_ || index >= loaded_->initializers.size()) {
        why = "no such built shader";
        return false;
    }
    if (width < 1 || height < 1 || width > 4096 || height > 4096) {
        why = "the size " + std::to_string(width) + "x" + std::to_string(height) + " is outside 1..4096";
        return false;
    }
    const std::vector<Shading_point> points = shading_points(shape, width, height);
    std::vector<Field> inputs;
    unsigned textures = 0;
    for (const Parameter& input : shader.inputs) {
        inputs.push_back({input.name.c_str(), input.bytes.data(), unsigned(input.bytes.size())});
        textures += input.kind == vorn::TYPE_KIND_TEXTURE2D;
    }
    std::vector<const char*> outputs;
    for (const Parameter& output : shader.outputs)
        outputs.push_back(output.name.c_str());
    std::vector<float> colours(points.size() * 4, 0.0f);
    Job job{unsigned(width),
            unsigned(height),
            reinterpret_cast<const Point*>(points.data()),  // the same fields, from one macro
            unsigned(inputs.size()),
            inputs.data(),
            unsigned(outputs.size()),
            outputs.data(),
            shader.colour_output.c_str(),
            colours.data(),
            textures,
            texture_colour};
    char message[256] = "";
    if (loaded_->shade(loaded_->initializers[index], &job, message, sizeof message) != 0) {
        why = message;
        return false;
    }
    image.width = width;
    image.height = height;
    image.rgba.resize(colours.size());
    for (std::size_t i = 0; i < colours.size(); ++i)
        image.rgba[i] = to_byte(colours[i]);
    return true;
}

}  // namespace vorn_preview
