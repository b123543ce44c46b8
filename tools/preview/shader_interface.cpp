// The parts of a preview that only talk to the library: a shader's parameters, its texts, and the
// state of each pixel of the quad.
#include <cmath>
#include <cstdlib>
#include <cstring>

#include "preview.h"

namespace vorn_preview {

Shading_point quad_point(int x, int y, int width, int height)
{
    const float s = (float(x) + 0.5f) / float(width);
    const float t = (float(y) + 0.5f) / float(height);
    Shading_point p{};
    p.position[0] = 2 * s - 1;
    p.position[1] = 2 * t - 1;
    p.position[2] = -1;
    p.normal[0] = 2 * s - 1;
    p.normal[1] = 2 * t - 1;
    p.normal[2] = 1;
    for (int unit = 0; unit < 4; ++unit) {
        p.tex_coord[unit][0] = s;
        p.tex_coord[unit][1] = t;
        p.tex_coord[unit][2] = 0.25f * float(unit);
        p.tex_coord[unit][3] = 1;
    }
    p.tangent[0] = 1;
    p.binormal[1] = 1;
    p.raster[0] = float(x) + 0.5f;
    p.raster[1] = float(y) + 0.5f;
    p.position_dx[0] = 2.0f / float(width);
    p.position_dy[1] = 2.0f / float(height);
    p.uv_dx[0] = 1.0f / float(width);
    p.uv_dy[1] = 1.0f / float(height);
    p.covered = 1;
    return p;
}

const std::vector<State_uniform>& state_uniforms()
{
    static const std::vector<State_uniform> uniforms = [] {
        std::vector<State_uniform> list = {
            {"focal_length", {1.0f}}, {"aspect_ratio", {1.0f}}, {"near_clip", {0.1f}},
            {"far_clip", {1000.0f}},  {"dof_focus", {1.0f}},
        };
        std::vector<float> identity(16, 0.0f);
        for (int i = 0; i < 4; ++i)
            identity[std::size_t(i) * 5] = 1.0f;
        for (const char* name : {"world_to_object", "world_to_camera", "world_to_raster", "object_to_camera",
                                 "object_to_world", "object_to_raster", "camera_to_world", "camera_to_object",
                                 "camera_to_raster", "raster_to_object", "raster_to_world", "raster_to_camera"})
            list.push_back({name, identity});
        return list;
    }();
    return uniforms;
}

std::uint8_t to_byte(float value)
{
    if (!(value > 0.0f))
        return 0;
    if (value >= 1.0f)
        return 255;
    return std::uint8_t(std::lround(value * 255.0f));
}

namespace {

// Kinds a preview sets, with their float or int count.
int component_count(int32_t kind)
{
    switch (kind) {
    case vorn::TYPE_KIND_SCALAR:
    case vorn::TYPE_KIND_INT:
    case vorn::TYPE_KIND_BOOL: return 1;
    case vorn::TYPE_KIND_VECTOR2: return 2;
    case vorn::TYPE_KIND_VECTOR3: return 3;
    case vorn::TYPE_KIND_VECTOR4:
    case vorn::TYPE_KIND_COLOR: return 4;
    case vorn::TYPE_KIND_TEXTURE2D: return 1;
    default: return 0;
    }
}

bool read_parameters(vorn::IGraph_node_class* node_class, uint32_t selector, std::vector<Parameter>& parameters,
                     std::string& why)
{
    vorn::IParameter_iterator* it = node_class->get_parameters(selector);
    if (!it) {
        why = "the shader's parameters cannot be read";
        return false;
    }
    bool ok = true;
    uint32_t textures = 0;
    for (; !it->at_end() && ok; it->next()) {
        Parameter parameter;
        parameter.name = it->get_name();
        vorn::IType* type = it->get_type();
        parameter.kind = type ? type->get_kind() : 0;
        const bool listed = type && type->get_array_size() == 1 && component_count(parameter.kind) > 0;
        // Strings, arrays and structs (which may hold them) are objects that need constructing.
        const bool plain = type && type->get_array_size() == 1 && parameter.kind != vorn::TYPE_KIND_STRING &&
                           parameter.kind != vorn::TYPE_KIND_STRUCT;
        if (type)
            type->release();
        if (!listed) {
            // An output the preview does not draw needs only room, which zeroed bytes give plain
            // values; an input needs a value.
            if (selector == vorn::PARAMETERS_OUTPUT && plain) {
                parameters.push_back(parameter);
                continue;
            }
            why = "the " + std::string(selector == vorn::PARAMETERS_OUTPUT ? "output" : "input") + " '" +
                  parameter.name + "' is of a type that a preview cannot " +
                  (selector == vorn::PARAMETERS_OUTPUT ? "hold" : "set");
            ok = false;
            break;
        }
        const int count = component_count(parameter.kind);
        const std::size_t size = parameter.kind == vorn::TYPE_KIND_BOOL ? 1 : std::size_t(count) * 4;
        parameter.bytes.assign(size, 0);
        if (parameter.kind == vorn::TYPE_KIND_TEXTURE2D) {
            ++textures;
            std::memcpy(parameter.bytes.data(), &textures, 4);
        } else if (const void* value = it->get_value()) {
            std::memcpy(parameter.bytes.data(), value, size);
        }
        parameters.push_back(parameter);
    }
    it->release();
    return ok;
}

}  // namespace

bool describe(vorn::ICompilation_unit* unit, const std::string& shader_name, Shader_interface& shader,
              std::string& why)
{
    if (unit->get_shader_count() == 0) {
        why = "the file declares no shader";
        return false;
    }
    std::string name = shader_name.empty() ? unit->get_shader_name(0) : shader_name;
    vorn::IVelar_node_class* node_class = unit->get_node_class(name.c_str());
    if (!node_class) {
        why = "no shader '" + name + "'";
        return false;
    }
    shader = Shader_interface{};
    shader.name = name;
    bool ok = read_parameters(node_class, vorn::PARAMETERS_INPUT, shader.inputs, why) &&
              read_parameters(node_class, vorn::PARAMETERS_OUTPUT, shader.outputs, why);
    node_class->release();
    if (!ok)
        return false;
    // The output named "result" when it is a colour, else the first colour.
    for (const Parameter& output : shader.outputs)
        if (output.name == "result" && component_count(output.kind) == 4)
            shader.colour_output = output.name;
    for (const Parameter& output : shader.outputs)
        if (shader.colour_output.empty() && output.kind == vorn::TYPE_KIND_COLOR)
            shader.colour_output = output.name;
    if (shader.colour_output.empty()) {
        why = "the shader '" + name + "' has no colour output to draw";
        return false;
    }
    return true;
}

bool set_input(Shader_interface& shader, const std::string& name, const std::string& value, std::string& why)
{
    for (Parameter& input : shader.inputs) {
        if (input.name != name)
            continue;
        if (input.kind == vorn::TYPE_KIND_TEXTURE2D) {
            why = "the texture '" + name + "' cannot be set; a preview's textures are flat grey";
            return false;
        }
        const int count = component_count(input.kind);
        std::vector<double> numbers;
        const char* text = value.c_str();
        while (*text) {
            char* end = nullptr;
            double number = std::strtod(text, &end);
            if (end == text)
                break;
            numbers.push_back(number);
            text = *end == ',' ? end + 1 : end;
        }
        if (*text || int(numbers.size()) != count) {
            why = "the input '" + name + "' takes " + std::to_string(count) + " number" + (count == 1 ? "" : "s") +
                  " separated by commas, not '" + value + "'";
            return false;
        }
        for (int i = 0; i < count; ++i) {
            if (input.kind == vorn::TYPE_KIND_BOOL) {
                input.bytes[0] = numbers[0] != 0;
            } else if (input.kind == vorn::TYPE_KIND_INT) {
                int32_t v = int32_t(numbers[0]);
                std::memcpy(input.bytes.data(), &v, 4);
            } else {
                float v = float(numbers[size_t(i)]);
                std::memcpy(input.bytes.data() + 4 * i, &v, 4);
            }
        }
        return true;
    }
    why = "the shader '" + shader.name + "' has no input '" + name + "'";
    return false;
}

std::vector<std::string> generate(vorn::IVorn_compiler* compiler, vorn::ICompilation_unit* unit, const std::string& target,
                     const std::string& shader_name, std::string& why)
{
    vorn::ICompiler_options* options = compiler->create_options();
    options->set_option("shader_type", "surface");
    if (!shader_name.empty())
        options->set_option("shader_name", shader_name.c_str());
    vorn::IGenerated_shader* shader = unit->generate(target.c_str(), options);
    options->release();
    if (!shader) {
        why = "no " + target + " text was generated";
        return {};
    }
    std::vector<std::string> texts;
    for (uint32_t i = 0; i < shader->get_program_count(); ++i) {
        std::vector<char> program(shader->get_program_size(i) + 1);
        shader->copy_program(i, program.data(), uint32_t(program.size()));
        texts.push_back(program.data());
    }
    shader->release();
    if (texts.empty())
        why = "the " + target + " target gave no program";
    return texts;
}

}  // namespace vorn_preview
