// Runs one generated software shader on one shading point. Linked with the generated C++ text,
// it takes the shader's plug-in from the exported initializer, makes an instance from the
// parameter values given, sets the state, runs main and prints the outputs asked for.
//
// usage: driver [WORD...], each WORD one of
//   NAME=V[,V...]          a parameter of floats (Scalar, vectors, Color, matrices by rows)
//   NAME:int=N             an Int or enum parameter;  NAME:bool=0|1  a Bool parameter
//   state:SYMBOL=V[,V...]  a state value: POINT, DIR, NORMAL, TEXTURE (texture space 0)
//   light=X,Y,Z,R,G,B,A    a point light
//   texture:TAG=R,G,B,A    the colour that texture tag TAG reads
//   out:NAME:N             print output NAME, N floats, after the run
//   runs=N                 run main N times on the same instance (default 1)
// Output: one line per out: word, "NAME v1 v2 ...", each value with %.6g.
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>
#include <string>
#include <vector>

#include <ovrel.h>

extern "C" QZ::PLUG::Plugin* initializer(unsigned int index, void* context);

namespace {

using namespace QZ::SHADER;

// Values by name, each in a block of bytes that is large enough for any of the types.
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
        bytes.assign(256, 0);
        return bytes.data();
    }

private:
    std::map<std::string, std::vector<unsigned char>> fields_;
};

std::vector<float> numbers(const char* text)
{
    std::vector<float> values;
    while (*text) {
        char* end = nullptr;
        values.push_back(std::strtof(text, &end));
        if (end == text)
            break;
        text = *end == ',' ? end + 1 : end;
    }
    return values;
}

bool set_state(State& state, const std::string& symbol, const std::vector<float>& v)
{
    Vector4 value(v.size() > 0 ? v[0] : 0.0f, v.size() > 1 ? v[1] : 0.0f, v.size() > 2 ? v[2] : 0.0f,
                  v.size() > 3 ? v[3] : 0.0f);
    const std::pair<const char*, State_sym::Id> symbols[] = {
        {"POINT", State_sym::POINT}, {"DIR", State_sym::DIR}, {"NORMAL", State_sym::NORMAL},
        {"TEXTURE", State_sym::TEXTURE},
    };
    for (const auto& known : symbols)
        if (symbol == known.first) {
            state.set_vector4(known.second, value);
            return true;
        }
    return false;
}

}  // namespace

int main(int argc, char** argv)
{
    Block inputs;
    Block outputs;
    State state;
    std::vector<std::pair<std::string, int>> printed;
    int runs = 1;
    for (int i = 1; i < argc; ++i) {
        std::string word = argv[i];
        size_t equals = word.find('=');
        std::string key = word.substr(0, equals);
        const char* value = equals == std::string::npos ? "" : argv[i] + equals + 1;
        if (key.compare(0, 4, "out:") == 0) {
            size_t colon = key.find(':', 4);
            std::string name = key.substr(4, colon - 4);
            outputs.field(name);
            printed.push_back({name, colon == std::string::npos ? 4 : std::atoi(key.c_str() + colon + 1)});
        } else if (key.compare(0, 6, "state:") == 0) {
            if (!set_state(state, key.substr(6), numbers(value))) {
                std::fprintf(stderr, "driver: unknown state symbol in '%s'\n", argv[i]);
                return 2;
            }
        } else if (key == "runs") {
            runs = std::atoi(value);
        } else if (key == "light") {
            std::vector<float> v = numbers(value);
            v.resize(7, 0.0f);
            state.point_lights.push_back({Vector3(v[0], v[1], v[2]), Vector4(v[3], v[4], v[5], v[6])});
        } else if (key.compare(0, 8, "texture:") == 0) {
            size_t tag = size_t(std::atoi(key.c_str() + 8));
            std::vector<float> v = numbers(value);
            v.resize(4, 0.0f);
            if (state.texture_colors.size() < tag)
                state.texture_colors.resize(tag);
            if (tag > 0)
                state.texture_colors[tag - 1] = Vector4(v[0], v[1], v[2], v[3]);
        } else if (key.size() > 4 && key.compare(key.size() - 4, 4, ":int") == 0) {
            int number = std::atoi(value);
            std::memcpy(inputs.field(key.substr(0, key.size() - 4)), &number, sizeof number);
        } else if (key.size() > 5 && key.compare(key.size() - 5, 5, ":bool") == 0) {
            bool flag = std::atoi(value) != 0;
            std::memcpy(inputs.field(key.substr(0, key.size() - 5)), &flag, sizeof flag);
        } else if (key.size() > 4 && key.compare(key.size() - 4, 4, ":tag") == 0) {
            Tag tag = Tag(std::atoi(value));
            std::memcpy(inputs.field(key.substr(0, key.size() - 4)), &tag, sizeof tag);
        } else if (equals != std::string::npos) {
            std::vector<float> v = numbers(value);
            std::memcpy(inputs.field(key), v.data(), v.size() * sizeof(float));
        } else {
            std::fprintf(stderr, "driver: cannot read '%s'\n", argv[i]);
            return 2;
        }
    }

    QZ::PLUG::Plugin* plugin = initializer(0, nullptr);
    auto* shader_plugin = dynamic_cast<Software_shader_plugin*>(plugin);
    if (!shader_plugin || initializer(1, nullptr) != nullptr) {
        std::fprintf(stderr, "driver: initializer gives no single software shader plug-in\n");
        return 1;
    }
    if (std::strcmp(shader_plugin->get_type(), "softshader") != 0) {
        std::fprintf(stderr, "driver: plug-in type '%s'\n", shader_plugin->get_type());
        return 1;
    }
    Shader* shader = shader_plugin->new_instance(&inputs);
    for (int run = 0; run < runs; ++run)
        shader->main(&state, &outputs);
    for (const auto& output : printed) {
        const float* values = static_cast<const float*>(outputs.get_field(output.first.c_str()));
        std::printf("%s", output.first.c_str());
        for (int i = 0; i < output.second; ++i)
            std::printf(" %.6g", values[i]);
        std::printf("\n");
    }
    delete shader;
    shader_plugin->release();
    return 0;
}
